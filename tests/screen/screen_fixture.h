// SPDX-License-Identifier: MIT
#pragma once

#include "keyloft/ContentView.h"
#include "midi_service/midi_service.h"
#include "simulation/embedded_connection.h"
#include "tests/support/captured_output.h"
#include "tests/support/virtual_pauses.h"

#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QTest>
#include <gtest/gtest.h>
#include <memory>

using namespace Qt::StringLiterals;

inline std::ostream& operator<<(std::ostream& stream, const QString& text) {
    return stream << text.toStdString();
}

/// A screen over the embedded service, with the names of its controls. No pause takes time. The
/// screen is made by the test, after it has plugged in what it wants.
class ScreenFixture : public testing::Test {
protected:
    ScreenFixture() {
        install_midi_backend(&service);
        paused_backend = &service;
        recorded_pauses.clear();
    }
    ~ScreenFixture() override {
        screen.reset();
        before_pause = nullptr;
        paused_backend = nullptr;
        install_midi_backend(nullptr);
    }

    void open_screen() {
        screen = std::make_unique<ContentView>();
        screen->show();
        ASSERT_TRUE(QTest::qWaitForWindowActive(screen.get()));
    }

    template<class Control>
    Control* find(const QString& name) {
        auto* control = screen->findChild<Control*>(name);
        if (!control)
            throw std::runtime_error("no " + name.toStdString());
        return control;
    }
    QComboBox* machine_menu() { return find<QComboBox>(u"machine_type_menu_string"_s); }
    QComboBox* type_menu() { return find<QComboBox>(u"message_type_menu_string"_s); }
    QLineEdit* part() { return find<QLineEdit>(u"hardware_part_number_code_string"_s); }
    QLineEdit* channel() { return find<QLineEdit>(u"message_channel_menu_string"_s); }
    QLineEdit* controller() { return find<QLineEdit>(u"message_controller_number_code_string"_s); }
    QPushButton* apply() { return find<QPushButton>(u"apply_button"_s); }
    QPushButton* save() { return find<QPushButton>(u"save_button"_s); }

    /// The alert while it is on the screen, else null.
    QMessageBox* alert() {
        auto* dialog = screen->findChild<QMessageBox*>(u"alert"_s);
        return dialog && dialog->isVisible() ? dialog : nullptr;
    }
    QString alert_title() { return alert()->text(); }
    QString alert_message() { return alert()->informativeText(); }
    QPushButton* alert_button(int number) {
        return alert()->findChild<QPushButton*>(u"alert_button_%1"_s.arg(number));
    }

    EmbeddedBackend service{EmbeddedBackend::Time::manual};
    std::unique_ptr<ContentView> screen;
};

/// The same, with the screen open from the start.
class OpenScreen : public ScreenFixture {
protected:
    void SetUp() override { open_screen(); }
};

static constexpr std::uint32_t machine_5 = 0x4AC5F4C4;
