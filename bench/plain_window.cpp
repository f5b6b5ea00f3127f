// SPDX-License-Identifier: MIT
// keyloft's texts and controls in a window of this toolkit, with nothing of our own: what such a
// window takes at least.

#include <QApplication>
#include <QComboBox>
#include <QFormLayout>
#include <QLineEdit>
#include <QPushButton>

using namespace Qt::StringLiterals;

int main(int argc, char** argv) {
    const QApplication application(argc, argv);
    QWidget window;
    window.resize(700, 400);
    auto* rows = new QFormLayout(&window);
    const auto menu = [](const QStringList& items) {
        auto* box = new QComboBox;
        box->addItems(items);
        return box;
    };
    const auto field = [] {
        auto* edit = new QLineEdit;
        edit->setPlaceholderText(u"Placeholder"_s);
        return edit;
    };
    rows->addRow(u"设备型号(Machine Serial)"_s, menu({u"4AC0F4C4"_s}));
    rows->addRow(u"硬件编号(Hardware Part Code)"_s, field());
    rows->addRow(u"消息类型(Message Type)："_s, menu({u"NOTE_ON"_s}));
    rows->addRow(u"消息通道(Message Channel)："_s, field());
    rows->addRow(u"控制器号(Controller Number)："_s, field());
    rows->addRow(new QPushButton(u"设置"_s), new QPushButton(u"保存"_s));
    window.show();
    return QApplication::exec();
}
