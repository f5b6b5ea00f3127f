// SPDX-License-Identifier: MIT
#include "keyloft/keyloftApp.h"
#include "tests/screen/qm_catalogue.h"
#include "tests/screen/screen_fixture.h"

#include <QDir>
#include <QLocale>
#include <QTimer>
#include <csignal>
#include <cstdio>
#include <cstdlib>
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

} // namespace
