// SPDX-License-Identifier: MIT
#pragma once

#include <QComboBox>

/// A drop-down menu whose title is the value chosen last. The wheel does not choose, so that
/// scrolling past it changes nothing.
class DropDown : public QComboBox {
    Q_OBJECT
public:
    explicit DropDown(const QStringList& items, QWidget* parent = nullptr);

    /// Chooses an item as a click on it does.
    void choose(int index);
    /// Whether each item would have its place as the title.
    [[nodiscard]] bool fits() const;

protected:
    void paintEvent(QPaintEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;

private:
    [[nodiscard]] int unused_room(const QStyleOptionComboBox& option) const;
};
