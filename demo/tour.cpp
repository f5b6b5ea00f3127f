// SPDX-License-Identifier: MIT
#include "demo/demo.h"

#include "keyloft/ContentView.h"

#include <QApplication>
#include <QDir>
#include <QTimer>
#include <cstdio>

// The demo, operated by mouse and keyboard events. The argument is the folder for the pictures,
// ./tour by default.
int main(int argc, char** argv) {
    // Without a display draw in memory, unless the user has chosen a platform.
    if (!qEnvironmentVariableIsSet("DISPLAY") && !qEnvironmentVariableIsSet("WAYLAND_DISPLAY") &&
        !qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    return run_demo(argc, argv, [](ContentView& screen, EmbeddedMachine& machine) {
        QTimer::singleShot(0, &screen, [&] {
            const QStringList arguments = QCoreApplication::arguments();
            const QDir folder(arguments.value(1, QStringLiteral("tour")));
            const bool right = run_tour(screen, machine, folder);
            std::printf("tour: pictures are in %s\n",
                        folder.absolutePath().toLocal8Bit().constData());
            std::printf(right ? "tour: the machine holds and has saved what was asked for\n"
                              : "tour: FAILED\n");
            QCoreApplication::exit(right ? 0 : 1);
        });
    });
}
