// SPDX-License-Identifier: MIT
#include "keyloft/keyloftApp.h"

#include "keyloft/ContentView.h"

#include <QApplication>
#include <QLocale>
#include <QTranslator>
#include <csignal>
#include <cstdio>

using namespace Qt::StringLiterals;

int keyloftApp::run(int argc, char** argv, const std::function<void(ContentView&)>& on_screen) {
    // A program that stops for good must not take lines with it.
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    // Whoever reads the lines may go; the window stays.
    std::signal(SIGPIPE, SIG_IGN);

    QApplication application(argc, argv);
    QApplication::setApplicationName(u"keyloft"_s);
    QApplication::setApplicationDisplayName(u"keyloft"_s);
    QApplication::setDesktopFileName(u"org.keyloft.Keyloft"_s);
    QApplication::setWindowIcon(QIcon::fromTheme(u"org.keyloft.Keyloft"_s));

    QTranslator translator;
    const QString catalogues = QString::fromStdString(bundle_path()) + u"/translations"_s;
    if (translator.load(QLocale(), u"keyloft"_s, u"_"_s, catalogues))
        QApplication::installTranslator(&translator);

    ContentView screen;
    screen.setWindowTitle(QApplication::applicationDisplayName());
    screen.show();
    if (on_screen)
        on_screen(screen);
    return QApplication::exec();
}
