// SPDX-License-Identifier: MIT
#pragma once

#include "keyloft/screen_controller.h"
#include "keyloft/tinted_image.h"

#include <QWidget>
#include <vector>

class ActionButton;
class Caption;
class DropDown;
class QLineEdit;
class QVBoxLayout;
class ResultAlert;

/// The configuration screen: five inputs, the picture, two buttons and the result alert. It starts
/// the MIDI link when it comes on screen and stops it when it leaves; minimising is neither.
/// Each control's object name is the name of the state's field that it edits; the others are
/// "picture", "apply_button", "save_button", "alert", "alert_title", "alert_message" and
/// "alert_button_1" and "_2", and captions are named after their controls, "<field>_caption".
class ContentView : public QWidget {
    Q_OBJECT
public:
    explicit ContentView(bool emailFieldIsFocused = false, QWidget* parent = nullptr);
    ~ContentView() override;

    [[nodiscard]] const ScreenState& state() const { return state_; }

Q_SIGNALS:
    /// An action has run to its end and its result is on the screen.
    void action_finished();

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void changeEvent(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    using Field = std::string ScreenState::*;
    struct Menu {
        DropDown* control;
        Field field;
    };
    struct TextField {
        QLineEdit* control;
        Field field;
    };

    void add_row(QVBoxLayout* rows, const QString& caption, QWidget* control, const QString& name);
    void add_menu(QVBoxLayout* rows, const QString& caption, const QStringList& items,
                  const QString& name, Field field);
    void add_field(QVBoxLayout* rows, const QString& caption, const QString& name, Field field);
    void add_picture_and_buttons();
    void run(void (*action)(ScreenState&), QWidget* pressed);
    /// Shows what the state holds.
    void draw();
    /// Gives texts their sizes and controls their common height, after the font or style changed.
    void arrange();
    /// Takes the icons of the desktop's theme where it has them.
    void take_theme_icons();
    void leave();

    TintedImage snow_; ///< the captions' icon
    ScreenState state_{};
    std::vector<Caption*> captions_{};
    std::vector<Menu> menus_{};
    std::vector<TextField> fields_{};
    std::vector<QWidget*> buttons_{};
    QVBoxLayout* right_ = nullptr; ///< the picture and the buttons
    ResultAlert* alert_ = nullptr;
    QWidget* pressed_ = nullptr; ///< the button that the alert's dismissal goes back to
    bool running_ = false;       ///< an action is running
    bool painted_ = false;       ///< at least once
    bool on_screen_ = false;     ///< the appear hook has run and the disappear hook has not
};
