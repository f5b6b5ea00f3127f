// SPDX-License-Identifier: MIT
#pragma once

#include <QComboBox>

/// A drop-down menu whose title is the value chosen last. The wheel does not choose, so that
/// scrolling past it changes nothing. A title that is too wide is drawn smaller.
class DropDown : public QComboBox {
    Q_OBJECT
public:
    explicit DropDown(const QStringList& items, QWidget* parent = nullptr);

    /// Chooses an item as a click on it does.
    void choose(int index);
    /// The font that the title is drawn in, and the place it has. Tests measure them.
    [[nodiscard]] QFont title_font() const;
    [[nodiscard]] QRect title_rect() const;

    void showPopup() override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
};
