// SPDX-License-Identifier: MIT
#include "keyloft/caption.h"
#include "keyloft/drop_down.h"
#include "keyloft/legible.h"
#include "tests/screen/drawn_text.h"
#include "tests/screen/screen_fixture.h"

#include <QDir>
#include <QPainter>
#include <QRegularExpression>
#include <QStyleFactory>

namespace {

/// Font size in points, background and style that a screen is looked at in.
struct Look {
    int points;
    const char* palette; ///< "Own": the style's
    std::string style;
};

QPalette palette_of(const Look& look) {
    const std::string name = look.palette;
    if (name == "Own")
        return QApplication::style()->standardPalette();
    if (name == "Light")
        return QPalette(QColor(0xEF, 0xEF, 0xEF));
    if (name == "Gray")
        return QPalette(QColor(0x80, 0x80, 0x80));
    QPalette palette(QColor(0x35, 0x35, 0x35));
    palette.setColor(QPalette::Base, QColor(0x23, 0x23, 0x23));
    return palette;
}

std::string look_name(const testing::TestParamInfo<Look>& look) {
    std::string name = look.param.style + look.param.palette;
    std::erase(name, '-');
    return name + std::to_string(look.param.points);
}

void PrintTo(const Look& look, std::ostream* stream) {
    *stream << look_name({look, 0});
}

class ContentViewMatrix : public ScreenFixture, public testing::WithParamInterface<Look> {
protected:
    void SetUp() override {
        QFont font = QApplication::font();
        font.setPointSize(GetParam().points);
        QApplication::setFont(font);
        QApplication::setStyle(QStyleFactory::create(QString::fromStdString(GetParam().style)));
        QApplication::setPalette(palette_of(GetParam()));
        open_screen();
        screen->setFocus(); // no control is marked
    }

    /// Whether the text is drawn whole in the widget, in one of the colours of these roles.
    static testing::AssertionResult draws(QWidget* widget, const QString& text,
                                          const std::vector<QPalette::ColorRole>& roles,
                                          int width = 0) {
        const QImage picture = widget->grab().toImage();
        for (const QPalette::ColorRole role : roles) {
            if (find_text(picture, {text, widget->font(), widget->palette().color(role), width}))
                return testing::AssertionSuccess();
        }
        return testing::AssertionFailure() << "no " << text << " in " << widget->objectName();
    }

    QList<Caption*> captions() { return screen->findChildren<Caption*>(); }
    std::vector<QWidget*> controls() {
        return {machine_menu(), part(), type_menu(), channel(), controller(), apply(), save()};
    }
};

QFont half_a_point_larger(QFont font) {
    font.setPointSizeF(font.pointSizeF() + 0.5);
    return font;
}

TEST_P(ContentViewMatrix, EveryCaptionIsDrawnWhole) {
    for (Caption* caption : captions())
        EXPECT_TRUE(draws(caption, caption->text(), {QPalette::WindowText},
                          caption->width() - caption->indent()));
}

TEST_P(ContentViewMatrix, EveryChoiceIsDrawnWholeAsTheTitle) {
    for (QComboBox* menu : {machine_menu(), type_menu()}) {
        for (int i = 0; i < menu->count(); ++i) {
            menu->setCurrentIndex(i);
            EXPECT_TRUE(draws(menu, menu->itemText(i),
                              {QPalette::ButtonText, QPalette::Text, QPalette::WindowText}));
        }
    }
}

TEST_P(ContentViewMatrix, EveryEntryAndPlaceholderIsDrawnWhole) {
    for (QLineEdit* field : {part(), channel(), controller()}) {
        field->setText(u"-127"_s);
        EXPECT_TRUE(draws(field, u"-127"_s, {QPalette::Text}));
        field->clear();
        EXPECT_TRUE(draws(field, u"Placeholder"_s, {QPalette::PlaceholderText}));
    }
}

TEST_P(ContentViewMatrix, TheButtonsTextsAreDrawnWhole) {
    EXPECT_TRUE(draws(apply(), u"设置"_s, {QPalette::ButtonText}));
    EXPECT_TRUE(draws(save(), u"保存"_s, {QPalette::ButtonText}));
}

TEST_P(ContentViewMatrix, CaptionsHaveOneSizeTheLargestThatFits) {
    bool larger_fits = true;
    const QFont font = captions().front()->font();
    EXPECT_GE(font.pointSizeF(), 8);
    for (const Caption* caption : captions()) {
        EXPECT_EQ(caption->font(), font);
        // Broken at the gloss, all of them or none.
        const bool broken = caption->text().contains(u"\n("_s);
        EXPECT_EQ(broken, captions().front()->text().contains(u"\n("_s));
        EXPECT_TRUE(broken || caption->height() < 2 * caption->fontMetrics().height());
        larger_fits = larger_fits && caption->fits({half_a_point_larger(font), true}, 57);
    }
    EXPECT_TRUE(font.pointSizeF() == GetParam().points || !larger_fits);
    // Half as large again as the usual 9 points still has its place.
    EXPECT_GE(font.pointSizeF(), std::min(GetParam().points, 13));
}

TEST_P(ContentViewMatrix, ControlsHaveOneSizeTheLargestThatFits) {
    const QFont font = machine_menu()->font();
    EXPECT_GE(font.pointSizeF(), 8);
    for (const QWidget* control : controls()) {
        EXPECT_EQ(control->font().pointSizeF(), font.pointSizeF()) << control->objectName();
        EXPECT_EQ(control->height(), machine_menu()->height()) << control->objectName();
    }
    // Alone among larger ones it would not fit.
    auto* types = find<DropDown>(u"message_type_menu_string"_s);
    EXPECT_TRUE(types->fits() || font.pointSizeF() == 8);
    types->setFont(half_a_point_larger(font));
    EXPECT_TRUE(font.pointSizeF() == GetParam().points || !types->fits());
}

TEST_P(ContentViewMatrix, NothingOverlapsAndTheContentKeepsItsSize) {
    EXPECT_EQ(screen->size(), QSize(700, 400));
    const auto parts = screen->findChildren<QWidget*>(Qt::FindDirectChildrenOnly);
    ASSERT_EQ(parts.size(), 13);
    for (int i = 0; i < parts.size(); ++i) {
        EXPECT_TRUE(screen->rect().contains(parts[i]->geometry())) << parts[i]->objectName();
        for (int j = 0; j < i; ++j)
            EXPECT_FALSE(parts[i]->geometry().intersects(parts[j]->geometry()))
                << parts[i]->objectName() << ' ' << parts[j]->objectName();
    }
}

TEST_P(ContentViewMatrix, ThePlaceholderStandsOutFromItsField) {
    const QPalette palette = part()->palette();
    EXPECT_GE(
        contrast_ratio(palette.color(QPalette::PlaceholderText), palette.color(QPalette::Base)),
        4.5);
}

/// The lowest contrast that a colour has with anything near the middle of a button without a text.
double contrast_on(QPushButton* button, const QColor& color) {
    button->setText(u" "_s);
    const QRect middle = QStyle::alignedRect(Qt::LeftToRight, Qt::AlignCenter,
                                             {24, button->fontMetrics().height()}, button->rect());
    const QImage background = button->grab(middle).toImage();
    double lowest = 21;
    for (int y = 0; y < background.height(); ++y) {
        for (int x = 0; x < background.width(); ++x)
            lowest = std::min(lowest, contrast_ratio(color, background.pixelColor(x, y)));
    }
    return lowest;
}

TEST_P(ContentViewMatrix, RedIsRedAndStandsOutOrIsBold) {
    const auto is_red = [](const QColor& color) {
        return color.red() >= 0xA0 && color.green() == color.blue() && color.green() <= 0x70;
    };
    const QColor text = apply()->palette().color(QPalette::ButtonText);
    EXPECT_TRUE(is_red(text)) << text.name();
    EXPECT_FALSE(save()->font().bold());
    EXPECT_FALSE(is_red(save()->palette().color(QPalette::ButtonText)));
    for (const bool down : {false, true}) {
        apply()->setDown(down);
        EXPECT_TRUE(apply()->font().bold() || contrast_on(apply(), text) >= 4.5)
            << contrast_on(apply(), text);
    }
    // A pad of the picture.
    const QColor pad(most_frequent(find<QWidget>(u"picture"_s)->grab({240, 90, 10, 10}).toImage()));
    EXPECT_TRUE(is_red(pad)) << pad.name();
    EXPECT_EQ(pad, readable_red(screen->palette().color(QPalette::Window)));
}

TEST_P(ContentViewMatrix, TheAlertsTextsAreDrawnWhole) {
    save()->click();
    ASSERT_NE(alert(), nullptr);
    const auto labels = alert()->findChildren<QLabel*>();
    for (const QString& text : {u"hardware"_s, u"保存成功!"_s}) {
        const auto drawn = [&](QLabel* label) {
            return label->text() == text && draws(label, text, {QPalette::WindowText});
        };
        EXPECT_TRUE(std::ranges::any_of(labels, drawn)) << text;
    }
    for (const int number : {1, 2})
        EXPECT_TRUE(draws(alert_button(number), u"确定"_s, {QPalette::ButtonText}));
}

TEST_P(ContentViewMatrix, IsKeptAsAPictureToLookAt) {
    const QDir folder(QStringLiteral(KEYLOFT_PICTURES));
    ASSERT_TRUE(folder.mkpath(u"."_s));
    QPixmap picture = screen->grab();
    EmbeddedMachine machine(service, machine_5);
    apply()->click();
    ASSERT_NE(alert(), nullptr);
    QPainter(&picture).drawPixmap(QPoint(20, 20), alert()->grab());
    const QString name = QString::fromStdString(look_name({GetParam(), 0}));
    EXPECT_TRUE(
        picture.save(folder.filePath(u"%1-at-%2.png"_s.arg(name).arg(picture.devicePixelRatio()))));
}

/// The styles that are installed besides the toolkit's own.
QStringList installed_styles() {
    QStringList styles = QStyleFactory::keys().filter(QRegularExpression(u"^(Adwaita|Breeze)"_s));
    styles.sort();
    return styles;
}

TEST(ContentViewStyles, OneThatPeopleHaveIsInstalled) {
    if (installed_styles().isEmpty())
        GTEST_SKIP() << "no style Adwaita or Breeze (package adwaita-qt6)";
}

std::vector<Look> all_looks() {
    std::vector<Look> looks;
    for (const int points : {8, 9, 11, 13, 16, 20}) {
        for (const char* palette : {"Light", "Gray", "Dark"}) {
            for (const char* style : {"Fusion", "Windows"})
                looks.push_back({points, palette, style});
        }
        for (const QString& style : installed_styles())
            looks.push_back({points, "Own", style.toStdString()});
    }
    return looks;
}

INSTANTIATE_TEST_SUITE_P(AllLooks, ContentViewMatrix, testing::ValuesIn(all_looks()), look_name);

} // namespace
