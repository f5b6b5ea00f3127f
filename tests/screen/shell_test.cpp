// SPDX-License-Identifier: MIT
#include "keyloft/fatal_stop.h"
#include "keyloft/keyloftApp.h"
#include "tests/screen/qm_catalogue.h"
#include "tests/screen/screen_fixture.h"

#include <QDir>
#include <QIcon>
#include <QLocale>
#include <QMessageBox>
#include <QTemporaryFile>
#include <QTimer>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <gmock/gmock.h>
#include <stdio_ext.h>

namespace {

/// Runs the whole application; it makes its own application object.
class Shell : public testing::Test {
protected:
    Shell() {
        qputenv("QT_QPA_PLATFORM", "offscreen");
        install_midi_backend(&service);
    }
    ~Shell() override {
        install_midi_backend(nullptr);
        QLocale::setDefault(QLocale::system());
    }

    /// Runs it until `look` has looked at the screen and closed it.
    static int run(const std::function<void(ContentView&)>& look,
                   const std::function<std::string()>& trouble_line = {}) {
        char name[] = "keyloft";
        char* arguments[] = {name, nullptr};
        const auto on_screen = [&](ContentView& screen) {
            QTimer::singleShot(0, &screen, [&] {
                look(screen);
                screen.close();
            });
        };
        return keyloftApp().run(1, arguments, on_screen, trouble_line);
    }

    EmbeddedBackend service{EmbeddedBackend::Time::manual};
};

QString caption(const ContentView& screen) {
    return screen.findChild<QLabel*>(u"machine_type_menu_string_caption"_s)->text();
}

TEST_F(Shell, ShowsOneWindowWithAFreshScreenAndEndsWhenItIsClosed) {
    int status = -1;
    CapturedOutput output;
    std::string shown;
    status = run([&](ContentView& screen) {
        shown = output.take();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(&screen));
        EXPECT_TRUE(screen.isWindow());
        EXPECT_EQ(screen.size(), QSize(700, 400));
        EXPECT_EQ(screen.windowTitle(), u"keyloft"_s);
        EXPECT_EQ(QApplication::topLevelWindows().size(), 1);
        EXPECT_EQ(screen.state().machine_type_menu_string, "4AC0F4C4");
        EXPECT_FALSE(screen.state().emailFieldIsFocused);
    });
    EXPECT_EQ(status, 0);
    EXPECT_EQ(shown, "set_device_name 4accf4c4 \r\n"
                     "middle_value c \r\n"
                     "Generated device_name: 4ACCF4C4\n"
                     "MIDIGetNumberOfSources 0 \r\n"
                     "midi init failed \r\n");
    EXPECT_EQ(output.take(), "midi_exit\r\n");
}

TEST_F(Shell, TroubleIsToldAtTheStartAndAtEachPressThatFindsIt) {
    std::string trouble = "no sequencer; load it";
    testing::internal::CaptureStderr();
    {
        const CapturedOutput unread;
        run(
            [&](ContentView& screen) {
                Q_EMIT screen.action_finished();
                trouble = "no permission; join the group";
                Q_EMIT screen.action_finished();
                trouble.clear();
                Q_EMIT screen.action_finished();
            },
            [&trouble] { return trouble; });
    }
    // The toolkit has lines of its own.
    const QStringList lines = QString::fromStdString(testing::internal::GetCapturedStderr())
                                  .split(u'\n')
                                  .filter(QRegularExpression(u"^keyloft: "_s));
    EXPECT_EQ(lines,
              (QStringList{u"keyloft: no sequencer; load it"_s, u"keyloft: no sequencer; load it"_s,
                           u"keyloft: no permission; join the group"_s}));
}

TEST_F(Shell, TellsTheDesktopWhichApplicationItIs) {
    run([](ContentView&) {
        EXPECT_EQ(QApplication::desktopFileName(), u"org.keyloft.Keyloft"_s);
        EXPECT_EQ(QApplication::applicationName(), u"keyloft"_s);
        // Given, it would be added to the titles of other windows.
        EXPECT_EQ(QApplication::applicationDisplayName(), u"keyloft"_s);
    });
}

TEST_F(Shell, ALostReaderOfStandardOutputDoesNotEndIt) {
    std::signal(SIGPIPE, SIG_DFL);
    run([](ContentView&) {});
    EXPECT_EQ(std::signal(SIGPIPE, SIG_DFL), SIG_IGN);
}

TEST_F(Shell, StandardOutputIsWrittenLineByLineWhereverItGoes) {
    run([](ContentView&) {});
    EXPECT_NE(__flbf(stdout), 0);
}

TEST_F(Shell, TheScenePhaseIsAnOptionalArgument) {
    const keyloftApp usual;
    const keyloftApp background(ScenePhase::background);
    const keyloftApp copy = background;
    EXPECT_EQ(sizeof copy, sizeof usual);
}

TEST_F(Shell, GoingToTheBackgroundStartsAndStopsNothing) {
    std::string lines = "unset";
    CapturedOutput output;
    run([&](ContentView&) {
        std::ignore = output.take();
        for (const auto state : {Qt::ApplicationInactive, Qt::ApplicationHidden,
                                 Qt::ApplicationSuspended, Qt::ApplicationActive}) {
            Q_EMIT qApp->applicationStateChanged(state);
            QApplication::processEvents();
        }
        lines = output.take();
    });
    EXPECT_EQ(lines, "");
}

TEST_F(Shell, TheTextsStandAsTheyAreWithoutACatalogue) {
    for (const QLocale& locale : {QLocale::c(), QLocale(u"zh_CN"_s), QLocale(u"zh_TW"_s),
                                  QLocale(u"tr_TR"_s), QLocale(u"de_DE"_s)}) {
        QLocale::setDefault(locale);
        run([](ContentView& screen) { EXPECT_EQ(caption(screen), u"设备型号(Machine Serial)"_s); });
    }
}

TEST_F(Shell, ACatalogueOfTheUsersLanguageIsLoadedWhenItIsInstalled) {
    const QDir folder(QString::fromStdString(bundle_path()) + u"/translations"_s);
    ASSERT_TRUE(folder.mkpath(u"."_s));
    const QString catalogue = folder.filePath(u"keyloft_eo.qm"_s);
    ASSERT_TRUE(write_catalogue(catalogue, "ContentView", "设备型号(Machine Serial)",
                                u"Aparato (Machine Serial)"_s));
    QLocale::setDefault(QLocale(u"eo"_s));
    run([](ContentView& screen) {
        EXPECT_EQ(caption(screen), u"Aparato (Machine Serial)"_s);
        const auto* save = screen.findChild<QPushButton*>(u"save_button"_s);
        EXPECT_EQ(save->text(), u"保存"_s) << "not in the catalogue";
    });
    QLocale::setDefault(QLocale(u"de_DE"_s));
    run([](ContentView& screen) {
        EXPECT_EQ(caption(screen), u"设备型号(Machine Serial)"_s) << "another language";
    });
    EXPECT_TRUE(QFile::remove(catalogue));
}

TEST_F(Shell, TheToolkitsOwnTextsAreInTheUsersLanguage) {
    QLocale::setDefault(QLocale(u"zh_CN"_s));
    run([](ContentView&) {
        EXPECT_EQ(QCoreApplication::translate("QWidgetTextControl", "&Copy"), u"复制(&C)"_s);
    });
}

TEST_F(Shell, TheWindowHasItsIconWithoutATheme) {
    QIcon::setThemeSearchPaths({});
    run([](ContentView& screen) {
        ASSERT_TRUE(QTest::qWaitFor([&] { return !screen.windowIcon().isNull(); }));
        const QImage drawn = screen.windowIcon().pixmap(128, 128).toImage();
        EXPECT_EQ(drawn.pixelColor(64, 12), QColor(0xD6, 0x30, 0x3D));
        EXPECT_EQ(screen.windowIcon().availableSizes().size(), 4);
        for (const QSize size : screen.windowIcon().availableSizes())
            EXPECT_LE(size.width(), 128);
    });
}

TEST_F(Shell, CtrlQAndCtrlWCloseTheWindow) {
    for (const Qt::Key pressed : {Qt::Key_Q, Qt::Key_W}) {
        bool open = true;
        run([&](ContentView& screen) {
            ASSERT_TRUE(QTest::qWaitForWindowActive(&screen));
            QTest::keyClick(QApplication::focusWidget(), pressed, Qt::ControlModifier);
            open = screen.isVisible();
        });
        EXPECT_FALSE(open);
    }
}

TEST_F(Shell, TheScenePhaseIsTheEnvironments) {
    EXPECT_EQ(phase_of_environment(), ScenePhase::inactive) << "nothing runs yet";
    run([](ContentView& screen) {
        ASSERT_TRUE(QTest::qWaitForWindowActive(&screen));
        EXPECT_EQ(phase_of_environment(), ScenePhase::active);
    });
}

/// When the last dialog has come, reads it out on standard error and presses its button.
void press_the_last_dialog() {
    QTimer::singleShot(0, qApp, [] {
        auto* dialog = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        std::fprintf(stderr, "dialog %d %s|%s|\n", dialog->icon(),
                     dialog->text().toUtf8().constData(),
                     dialog->informativeText().toUtf8().constData());
        dialog->buttons().front()->click();
    });
}

/// The program that ends starts anew: in a fork the service has no receive thread, but the locks
/// that this one held.
class ShellDeathTest : public Shell {
protected:
    ShellDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

    /// Runs the application and makes an entry that ends it.
    static void enter_and_end(const char* field, const QString& entry) {
        run([&](ContentView& screen) {
            screen.findChild<QLineEdit*>(QString::fromLatin1(field))->setText(entry);
            press_the_last_dialog();
            screen.findChild<QPushButton*>(u"apply_button"_s)->click();
            std::fprintf(stderr, "it went on\n");
        });
    }
};

/// What standard error has then, beside the toolkit's own lines.
auto because_of(const std::string& reason) {
    return testing::AllOf(
        testing::HasSubstr("Unexpectedly found nil while unwrapping an Optional value\n"),
        testing::EndsWith("dialog 3 " + reason +
                          "|没有发送任何内容,程序即将结束。\n"
                          "Nothing was sent, and the program ends.|\n"));
}

TEST_F(ShellDeathTest, AWrongEntryIsNamedBeforeTheProgramEnds) {
    EXPECT_EXIT(enter_and_end("hardware_part_number_code_string", u"１２"_s),
                testing::KilledBySignal(SIGABRT),
                because_of("硬件编号有误:请填写 0 到 127 的整数,用半角数字。\n"
                           "The hardware part code is wrong: it has to be a whole number from "
                           "0 to 127, in plain digits."));
    EXPECT_EXIT(enter_and_end("message_channel_menu_string", u"17"_s),
                testing::KilledBySignal(SIGABRT),
                because_of("消息通道有误:请填写 1 到 16 的整数,用半角数字。\n"
                           "The message channel is wrong: it has to be a whole number from "
                           "1 to 16, in plain digits."));
    EXPECT_EXIT(enter_and_end("message_controller_number_code_string", u""_s),
                testing::KilledBySignal(SIGABRT),
                because_of("控制器号有误:请填写 0 到 127 的整数,用半角数字。\n"
                           "The controller number is wrong: it has to be a whole number from "
                           "0 to 127, in plain digits."));
}

TEST_F(ShellDeathTest, AFaultOfTheProgramIsNotCalledAnEntry) {
    const auto miss_a_picture = [] {
        run([](ContentView&) {
            press_the_last_dialog();
            (void)platform_image({u"software"_s, resourceBundle()});
        });
    };
    EXPECT_EXIT(miss_a_picture(), testing::KilledBySignal(SIGABRT),
                because_of("程序内部出错。\nSomething went wrong inside the program."));
}

TEST_F(ShellDeathTest, WithoutAWindowTheProgramEndsAtOnce) {
    EXPECT_EXIT(fatal_stop("no luck", FatalReason::part), testing::KilledBySignal(SIGABRT),
                "^no luck\n$");
    const auto while_hidden = [] {
        run([](ContentView& screen) {
            screen.hide();
            fatal_stop("no luck", FatalReason::no_entry);
        });
    };
    EXPECT_EXIT(while_hidden(), testing::KilledBySignal(SIGABRT), "no luck\n$");
}

TEST_F(ShellDeathTest, AMissingFontIsToldOnceAndOnlyThen) {
    const auto start = [] {
        run([](ContentView&) { QApplication::processEvents(); });
        std::_Exit(0);
    };
    EXPECT_EXIT(start(), testing::ExitedWithCode(0), testing::Not(testing::HasSubstr("no font")));
    QTemporaryFile none;
    ASSERT_TRUE(none.open() && none.write("<fontconfig></fontconfig>") > 0);
    none.close();
    const auto start_without = [&] {
        qputenv("FONTCONFIG_FILE", none.fileName().toLocal8Bit());
        start();
    };
    EXPECT_EXIT(start_without(), testing::ExitedWithCode(0),
                "keyloft: no font has the window's Chinese characters; install one, such as the "
                "package fonts-noto-cjk\n");
}

} // namespace
