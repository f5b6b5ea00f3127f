// SPDX-License-Identifier: MIT
// The least that a program with a window of this toolkit can be.

#include <QApplication>
#include <QWidget>

int main(int argc, char** argv) {
    const QApplication application(argc, argv);
    QWidget window;
    window.resize(700, 400);
    window.show();
    return QApplication::exec();
}
