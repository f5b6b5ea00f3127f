// SPDX-License-Identifier: MIT
#include "tests/screen/drawn_text.h"
#include "tests/screen/screen_fixture.h"

#include <QFontDatabase>
#include <QLayout>
#include <QRawFont>
#include <QTextLayout>
#include <QTranslator>

namespace {

/// A language in which every text is itself in brackets.
class PseudoLanguage : public QTranslator {
public:
    QString translate(const char* context, const char* text, const char* /*comment*/,
                      int /*count*/) const override {
        if (QLatin1StringView(context) != "ContentView"_L1)
            return {};
        keys += QString::fromUtf8(text);
        return u'[' + QString::fromUtf8(text) + u']';
    }
    bool isEmpty() const override { return false; }

    mutable QStringList keys{};
};

class ContentViewLanguage : public OpenScreen {
protected:
    ContentViewLanguage() { QApplication::installTranslator(&language); }
    ~ContentViewLanguage() override { QApplication::removeTranslator(&language); }

    PseudoLanguage language;
};

TEST_F(ContentViewLanguage, ExactlyTheKeysOfTheScreenAreAskedFor) {
    save()->click();
    language.keys.removeDuplicates();
    language.keys.sort();
    QStringList keys = {u"设备型号(Machine Serial)"_s,
                        u"硬件编号(Hardware Part Code)"_s,
                        u"消息类型(Message Type)："_s,
                        u"消息通道(Message Channel)："_s,
                        u"控制器号(Controller Number)："_s,
                        u"Placeholder"_s,
                        u"设置"_s,
                        u"保存"_s,
                        u"确定"_s};
    keys.sort();
    EXPECT_EQ(language.keys, keys);
}

TEST_F(ContentViewLanguage, TheKeysChange) {
    EXPECT_EQ(find<QLabel>(u"machine_type_menu_string_caption"_s)->text(),
              u"[设备型号(Machine Serial)]"_s);
    EXPECT_EQ(machine_menu()->accessibleName(), u"[设备型号(Machine Serial)]"_s);
    EXPECT_EQ(part()->placeholderText(), u"[Placeholder]"_s);
    EXPECT_EQ(apply()->text(), u"[设置]"_s);
    EXPECT_EQ(save()->text(), u"[保存]"_s);
    save()->click();
    EXPECT_EQ(alert_button(1)->text(), u"[确定]"_s);
    EXPECT_EQ(alert_button(2)->text(), u"[确定]"_s);
}

TEST_F(ContentViewLanguage, MenusAndResultsDoNotChange) {
    EmbeddedMachine machine(service, machine_5);
    EXPECT_EQ(machine_menu()->currentText(), u"4AC0F4C4"_s);
    EXPECT_EQ(type_menu()->currentText(), u"Control Change"_s);
    EXPECT_EQ(type_menu()->itemText(0), u"Note On"_s);
    apply()->click();
    EXPECT_EQ(alert_title(), u"设置成功!"_s);
    EXPECT_EQ(alert_message(), u"旋钮0--设置成功!"_s);
}

TEST_F(ContentViewLanguage, ALongTranslationIsDrawnSmallerAndWhole) {
    QApplication::removeTranslator(&language);
    apply()->setText(u"Einstellungen übertragen"_s);
    QEvent restyled(QEvent::StyleChange);
    QApplication::sendEvent(screen.get(), &restyled);
    screen->layout()->activate();
    EXPECT_EQ(apply()->width(), 147);
    EXPECT_EQ(screen->size(), QSize(700, 400));
    const QFont font = apply()->font();
    EXPECT_LT(font.pointSizeF(), screen->font().pointSizeF());
    EXPECT_GE(font.pointSizeF(), 8);
    EXPECT_EQ(part()->font().pointSizeF(), font.pointSizeF()) << "as the other controls";
    EXPECT_TRUE(find_text(apply()->grab().toImage(),
                          {apply()->text(), font, apply()->palette().color(QPalette::ButtonText)}));
}

/// Every character of a text has a glyph in one of the fonts that draw it.
bool has_glyphs(const QString& text) {
    QTextLayout layout(text, QApplication::font());
    layout.beginLayout();
    layout.createLine();
    layout.endLayout();
    for (const QGlyphRun& run : layout.glyphRuns()) {
        if (run.glyphIndexes().contains(0))
            return false;
    }
    return !layout.glyphRuns().isEmpty();
}

TEST_F(ContentViewLanguage, EveryChineseCharacterHasAGlyph) {
    EXPECT_TRUE(has_glyphs(u"设备型号硬件编号消息类型消息通道控制器号：设置保存确定"_s));
    EXPECT_TRUE(
        has_glyphs(u"旋钮--设置成功!设置失败,检查连接状态[当前可选-选项-连接列表]保存失败!"_s));
    EXPECT_FALSE(has_glyphs(QString(QChar(0xE0F0)))) << "a private character has no glyph";
}

} // namespace
