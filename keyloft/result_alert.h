// SPDX-License-Identifier: MIT
#pragma once

#include <QDialog>

class QLabel;

/// Shows a title and a message, plain text both, until it is dismissed by either of two identical
/// buttons, Enter, Escape or the window manager. It blocks its window and no more.
class ResultAlert : public QDialog {
    Q_OBJECT
public:
    /// `dismiss`: the text of the two buttons.
    explicit ResultAlert(const QString& dismiss, QWidget* parent = nullptr);

    void present(const QString& title, const QString& message);

Q_SIGNALS:
    /// It has left the screen, in whatever way.
    void dismissed();

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    QLabel* title_;
    QLabel* message_;
    QWidget* first_button_ = nullptr;
};
