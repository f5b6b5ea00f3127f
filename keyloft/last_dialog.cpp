// SPDX-License-Identifier: MIT
#include "keyloft/fatal_stop.h"

#include <QApplication>
#include <QMessageBox>
#include <QThread>
#include <cstdio>
#include <cstdlib>

using namespace Qt::StringLiterals;

namespace {

QString what_was_wrong(FatalReason reason) {
    switch (reason) {
    case FatalReason::part:
        return u"硬件编号有误:请填写 0 到 127 的整数,用半角数字。\n"
               "The hardware part code is wrong: it has to be a whole number from 0 to 127, "
               "in plain digits."_s;
    case FatalReason::channel:
        return u"消息通道有误:请填写 1 到 16 的整数,用半角数字。\n"
               "The message channel is wrong: it has to be a whole number from 1 to 16, "
               "in plain digits."_s;
    case FatalReason::controller:
        return u"控制器号有误:请填写 0 到 127 的整数,用半角数字。\n"
               "The controller number is wrong: it has to be a whole number from 0 to 127, "
               "in plain digits."_s;
    case FatalReason::no_entry:
        break;
    }
    return u"程序内部出错。\nSomething went wrong inside the program."_s;
}

/// The window, if there is one on the screen and its event loop runs on this thread.
QWidget* shown_window() {
    if (!qApp || QThread::currentThread() != qApp->thread() ||
        QThread::currentThread()->loopLevel() == 0)
        return nullptr;
    for (QWidget* window : QApplication::topLevelWidgets()) {
        if (window->isVisible())
            return window;
    }
    return nullptr;
}

} // namespace

/// The program's own, in place of the weak one: before the end it says why, in a dialog, since
/// hardly anybody sees standard error. It has to run a loop of its own: its caller cannot go on.
void fatal_stop(const char* message, FatalReason reason) {
    std::fflush(stdout);
    std::fprintf(stderr, "%s\n", message);
    if (QWidget* window = shown_window()) {
        QMessageBox dialog(window);
        dialog.setObjectName(u"last_dialog"_s);
        dialog.setIcon(QMessageBox::Critical);
        dialog.setWindowTitle(u"keyloft"_s);
        dialog.setText(what_was_wrong(reason));
        dialog.setInformativeText(u"没有发送任何内容,程序即将结束。\n"
                                  "Nothing was sent, and the program ends."_s);
        dialog.addButton(u"结束(End)"_s, QMessageBox::RejectRole);
        dialog.exec();
    }
    std::abort();
}
