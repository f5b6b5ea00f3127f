// SPDX-License-Identifier: MIT
#include "keyloft/keyloftApp.h"

#include "keyloft/ContentView.h"

#include <QApplication>
#include <QFontMetrics>
#include <QIcon>
#include <QLabel>
#include <QLibraryInfo>
#include <QLocale>
#include <QShortcut>
#include <QTimer>
#include <QTranslator>
#include <csignal>
#include <cstdio>

#include <fcntl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

/// If the parent closed descriptors 0 to 2, the next file that is opened, perhaps the sequencer,
/// would get such a number and our output.
void fill_closed_streams() {
    int file = 0;
    do
        file = open("/dev/null", O_RDWR);
    while (file >= 0 && file <= STDERR_FILENO);
    if (file >= 0)
        close(file);
}

/// Loads a catalogue of the user's language, if there is one.
void load_catalogue(QTranslator& translator, const QString& name, const QString& folder) {
    if (translator.load(QLocale(), name, u"_"_s, folder))
        QApplication::installTranslator(&translator);
}

/// Only the sizes that desktops show: the X server keeps each of them.
QIcon program_icon() {
    QIcon icon;
    for (const int size : {16, 32, 48, 128})
        icon.addPixmap(
            toolkit_image({u"org.keyloft.Keyloft"_s, resourceBundle()}, {size, size}, 1));
    return icon;
}

/// Without a Chinese font the window shows boxes, and nobody would know what to do about it.
void notice_missing_font(const ContentView& screen) {
    for (const QLabel* label : screen.findChildren<QLabel*>()) {
        const QFontMetrics metrics(label->font());
        for (const char32_t character : label->text().toUcs4()) {
            if (QChar::isPrint(character) && !metrics.inFontUcs4(character)) {
                std::fprintf(stderr,
                             "keyloft: no font has the window's Chinese characters; install "
                             "one, such as the package fonts-noto-cjk\n");
                return;
            }
        }
    }
}

} // namespace

ScenePhase phase_of_environment() {
    switch (QGuiApplication::applicationState()) {
    case Qt::ApplicationActive:
        return ScenePhase::active;
    case Qt::ApplicationInactive:
        return ScenePhase::inactive;
    default:
        return ScenePhase::background;
    }
}

int keyloftApp::run(int argc, char** argv, const std::function<void(ContentView&)>& on_screen,
                    const std::function<std::string()>& trouble_line) {
    fill_closed_streams();
    // A program that stops for good must not take lines with it.
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    // If the reader of the lines goes away, the window stays.
    std::signal(SIGPIPE, SIG_IGN);

    // A desktop's own message box would not show two equal buttons.
    QApplication::setAttribute(Qt::AA_DontUseNativeDialogs);
    QApplication application(argc, argv);
    // No display name: on X11 it would be added to the alert's title.
    QApplication::setApplicationName(u"keyloft"_s);
    QApplication::setDesktopFileName(u"org.keyloft.Keyloft"_s);

    QTranslator toolkit_catalogue;
    load_catalogue(toolkit_catalogue, u"qtbase"_s,
                   QLibraryInfo::path(QLibraryInfo::TranslationsPath));
    QTranslator catalogue;
    load_catalogue(catalogue, u"keyloft"_s,
                   QString::fromStdString(bundle_path()) + u"/translations"_s);

    ContentView screen;
    const auto tell_trouble = [&trouble_line] {
        const std::string line = trouble_line ? trouble_line() : std::string();
        if (!line.empty())
            std::fprintf(stderr, "keyloft: %s\n", line.c_str());
    };
    QObject::connect(&screen, &ContentView::action_finished, &screen, tell_trouble);
    screen.setWindowTitle(QApplication::applicationName());
    for (const Qt::Key key : {Qt::Key_Q, Qt::Key_W}) {
        auto* shortcut = new QShortcut(Qt::CTRL | key, &screen);
        QObject::connect(shortcut, &QShortcut::activated, &screen, &QWidget::close);
    }
    screen.show();
    tell_trouble();
    // The window need not wait for these.
    QTimer::singleShot(0, &screen, [&screen] {
        QApplication::setWindowIcon(program_icon());
        notice_missing_font(screen);
    });
    if (on_screen)
        on_screen(screen);
    return QApplication::exec();
}
