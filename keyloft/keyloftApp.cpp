// SPDX-License-Identifier: MIT
#include "keyloft/keyloftApp.h"

#include "keyloft/ContentView.h"

#include <QApplication>
#include <QLocale>
#include <QTranslator>
#include <csignal>
#include <cstdio>

#include <fcntl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

/// A standard stream that was closed by whoever started the program would leave its number to the
/// next file that is opened, the sequencer maybe, and the lines would go there.
void fill_closed_streams() {
    int file = 0;
    do
        file = open("/dev/null", O_RDWR);
    while (file >= 0 && file <= STDERR_FILENO);
    if (file >= 0)
        close(file);
}

} // namespace

int keyloftApp::run(int argc, char** argv, const std::function<void(ContentView&)>& on_screen,
                    const std::function<std::string()>& trouble_line) {
    fill_closed_streams();
    // A program that stops for good must not take lines with it.
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    // Whoever reads the lines may go; the window stays.
    std::signal(SIGPIPE, SIG_IGN);

    QApplication application(argc, argv);
    QApplication::setApplicationName(u"keyloft"_s);
    QApplication::setApplicationDisplayName(u"keyloft"_s);
    QApplication::setDesktopFileName(u"org.keyloft.Keyloft"_s);

    QTranslator translator;
    const QString catalogues = QString::fromStdString(bundle_path()) + u"/translations"_s;
    if (translator.load(QLocale(), u"keyloft"_s, u"_"_s, catalogues))
        QApplication::installTranslator(&translator);

    ContentView screen;
    screen.setWindowTitle(QApplication::applicationDisplayName());
    const auto tell_trouble = [&trouble_line] {
        const std::string line = trouble_line ? trouble_line() : std::string();
        if (!line.empty())
            std::fprintf(stderr, "keyloft: %s\n", line.c_str());
    };
    QObject::connect(&screen, &ContentView::action_finished, &screen, tell_trouble);
    screen.show();
    tell_trouble();
    if (on_screen)
        on_screen(screen);
    return QApplication::exec();
}
