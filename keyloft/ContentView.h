// SPDX-License-Identifier: MIT
#pragma once

#include "keyloft/picture.h"
#include "keyloft/screen_controller.h"

#include <QWidget>
#include <utility>
#include <vector>

class Caption;
class DropDown;
class QLineEdit;
class QMessageBox;
class QPushButton;
class QVBoxLayout;

/// The configuration screen: five inputs, the picture, two buttons and the result alert. It starts
/// the MIDI link when it comes on screen and stops it when it leaves; minimising does neither.
/// The object name of a control is the name of the state's field that it edits, the one of its
/// caption ends in "_caption". The others are "picture", "apply_button", "save_button", "alert",
/// "alert_button_1" and "alert_button_2".
class ContentView : public QWidget {
    Q_OBJECT
public:
    explicit ContentView(bool emailFieldIsFocused = false, QWidget* parent = nullptr);
    ~ContentView() override;

    [[nodiscard]] const ScreenState& state() const { return state_; }

Q_SIGNALS:
    /// An action is done and its result is on the screen.
    void action_finished();

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void changeEvent(QEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    using Field = std::string ScreenState::*;
    using Action = void (*)(ScreenState&);
    using Menu = std::pair<DropDown*, Field>;
    using TextField = std::pair<QLineEdit*, Field>;

    void add_row(QVBoxLayout* rows, const QString& caption, QWidget* control, const QString& name);
    void add_menu(QVBoxLayout* rows, const QString& caption, const QStringList& items,
                  const QString& name, Field field);
    void add_field(QVBoxLayout* rows, const QString& caption, const QString& name, Field field);
    QPushButton* new_button(const QString& text, const QString& name, Action action);
    void run(Action action);
    /// Shows what the state holds.
    void draw();
    void show_alert();
    /// Fits texts, sizes and colours to the window's font, style and palette.
    void arrange();
    void arrange_captions();
    void arrange_controls();
    void leave();

    TintedImage snow_{{QStringLiteral("snow"), resourceBundle()}}; ///< the captions' icon
    ScreenState state_{};
    std::vector<Caption*> captions_{};
    std::vector<Menu> menus_{};
    std::vector<TextField> fields_{};
    std::vector<QPushButton*> buttons_{}; ///< apply and save
    std::vector<QWidget*> controls_{};    ///< all of the three
    QMessageBox* alert_ = nullptr;
    bool running_ = false;   ///< an action is running
    bool on_screen_ = false; ///< the appear hook has run and the disappear hook has not
};

/// From now on the screen's widgets show what they are in the accessibility tree: the screen a
/// window, its picture a graphic, its menus operable combo boxes. Any number of calls; needs the
/// application object.
void install_screen_accessible();
