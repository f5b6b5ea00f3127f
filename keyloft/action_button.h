// SPDX-License-Identifier: MIT
#pragma once

#include <QColor>
#include <QPushButton>

/// A push button whose text is drawn smaller when it is too wide, and in a colour of its own when
/// it has one, as far as the palette lets it be read.
class ActionButton : public QPushButton {
    Q_OBJECT
public:
    /// An invalid colour: the palette's.
    explicit ActionButton(const QString& text, const QColor& color = {}, QWidget* parent = nullptr);

    /// The font and the colour that the text is drawn in, and the place it has. Tests measure them.
    [[nodiscard]] QFont text_font() const;
    [[nodiscard]] QColor text_color() const;
    [[nodiscard]] QRect text_rect() const;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QColor color_;
};
