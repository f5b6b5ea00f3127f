// SPDX-License-Identifier: MIT
#include "keyloft/action_button.h"
#include "keyloft/caption.h"
#include "keyloft/drop_down.h"
#include "keyloft/readable_color.h"
#include "tests/screen/screen_fixture.h"

#include <QDir>
#include <QStyleFactory>
#include <map>

namespace {

QPalette light_palette() {
    return QPalette(QColor(0xEF, 0xEF, 0xEF));
}

QPalette dark_palette() {
    QPalette palette(QColor(0x35, 0x35, 0x35));
    palette.setColor(QPalette::Base, QColor(0x23, 0x23, 0x23));
    return palette;
}

/// Font size in points, palette and style that a screen is looked at in.
struct Look {
    int points;
    bool dark;
    const char* style;
};

void PrintTo(const Look& look, std::ostream* stream) {
    *stream << look.points << "pt " << (look.dark ? "dark " : "light ") << look.style;
}

std::string look_name(const testing::TestParamInfo<Look>& look) {
    return std::string(look.param.style) + (look.param.dark ? "Dark" : "Light") +
           std::to_string(look.param.points);
}

class ContentViewMatrix : public ScreenFixture, public testing::WithParamInterface<Look> {
protected:
    void SetUp() override {
        QFont font = QApplication::font();
        font.setPointSize(GetParam().points);
        QApplication::setFont(font);
        QApplication::setStyle(QStyleFactory::create(QString::fromLatin1(GetParam().style)));
        QApplication::setPalette(GetParam().dark ? dark_palette() : light_palette());
        open_screen();
        picture = screen->grab().toImage();
    }

    /// The picture of a part of the window.
    QImage picture_of(const QWidget* widget, QRect part) {
        part.translate(widget->mapTo(screen.get(), QPoint()));
        const qreal ratio = picture.devicePixelRatio();
        return picture.copy(
            QRectF(QPointF(part.topLeft()) * ratio, QSizeF(part.size()) * ratio).toRect());
    }

    QImage picture;
};

QRgb most_frequent(const QImage& picture) {
    std::map<QRgb, int> count;
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x)
            ++count[picture.pixel(x, y)];
    }
    return std::ranges::max_element(count, {}, [](const auto& one) { return one.second; })->first;
}

/// The lowest contrast that a text colour has with anything in the picture of its empty background.
double lowest_contrast(const QColor& text, const QImage& background) {
    double lowest = 21;
    for (int y = 0; y < background.height(); ++y) {
        for (int x = 0; x < background.width(); ++x)
            lowest = std::min(lowest, contrast_ratio(text, background.pixelColor(x, y)));
    }
    return lowest;
}

/// Whether the outermost pixels all have the background's colour: nothing was cut off there.
bool edges_are_empty(const QImage& picture) {
    const QRgb background = most_frequent(picture);
    const QRect inside = picture.rect().adjusted(1, 1, -1, -1);
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x) {
            if (!inside.contains(x, y) && picture.pixel(x, y) != background)
                return false;
        }
    }
    return true;
}

double points(const QFont& font) {
    return font.pointSizeF();
}

QFont half_a_point_larger(QFont font) {
    font.setPointSizeF(points(font) + 0.5);
    return font;
}

TEST_P(ContentViewMatrix, CaptionsAreWholeAndOfOneSize) {
    const auto captions = screen->findChildren<Caption*>();
    ASSERT_EQ(captions.size(), 5);
    bool larger_fits = true;
    for (const Caption* caption : captions) {
        const QString what = caption->text();
        const QFont font = caption->setting().font;
        EXPECT_TRUE(QRectF(caption->rect()).contains(caption->text_rect())) << what;
        EXPECT_TRUE(QRectF(caption->rect()).contains(caption->icon_rect())) << what;
        EXPECT_FALSE(caption->text_rect().intersects(caption->icon_rect())) << what;
        // The icon's own place starts at the left edge; beyond the text there is room or none.
        EXPECT_TRUE(edges_are_empty(picture_of(caption, caption->rect().adjusted(-1, -1, 1, 1))))
            << what;
        EXPECT_GE(points(font), 8) << what;
        EXPECT_LE(points(font), GetParam().points) << what;
        EXPECT_EQ(font, captions[0]->setting().font) << what;
        larger_fits = larger_fits && caption->fits({half_a_point_larger(font), true}, 55);
    }
    const double size = points(captions[0]->setting().font);
    EXPECT_TRUE(size == GetParam().points || !larger_fits) << "smaller than they need to be";
    // Half as large again as the usual 9 points still has its place.
    EXPECT_GE(size, std::min(GetParam().points, 13));
}

TEST_P(ContentViewMatrix, TitlesAndButtonTextsFitAtTheLargestSizeThatDoes) {
    const auto check = [](const QString& text, const QFont& font, const QSize& room, int base) {
        EXPECT_GE(points(font), 8) << text;
        EXPECT_LE(QFontMetrics(font).horizontalAdvance(text), room.width()) << text;
        EXPECT_LE(QFontMetrics(font).tightBoundingRect(text).height(), room.height()) << text;
        const QFontMetrics larger(half_a_point_larger(font));
        EXPECT_TRUE(points(font) == base || larger.horizontalAdvance(text) > room.width()) << text;
    };
    for (const DropDown* menu : screen->findChildren<DropDown*>())
        check(menu->currentText(), menu->title_font(), menu->title_rect().size(),
              menu->font().pointSize());
    for (const ActionButton* button : screen->findChildren<ActionButton*>())
        check(button->text(), button->text_font(), button->text_rect().size(),
              button->font().pointSize());
}

TEST_P(ContentViewMatrix, MenusAndFieldsHaveOneHeightThatHoldsTheirText) {
    for (const QWidget* control : std::initializer_list<QWidget*>{
             machine_menu(), type_menu(), part(), channel(), controller()}) {
        EXPECT_EQ(control->height(), part()->height());
        EXPECT_GE(control->height(), control->sizeHint().height());
        EXPECT_EQ(control->font().pointSize(), GetParam().points);
    }
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

TEST_P(ContentViewMatrix, EveryTextCanBeReadOnItsBackground) {
    const QPalette palette = screen->palette();
    const QColor window = palette.color(QPalette::Window);
    const QColor base = part()->palette().color(QPalette::Base);
    EXPECT_EQ(QColor(picture.pixel(0, 0)), window);
    EXPECT_GE(contrast_ratio(palette.color(QPalette::WindowText), window), 4.5);
    EXPECT_GE(contrast_ratio(part()->palette().color(QPalette::Text), base), 4.5);
    EXPECT_GE(contrast_ratio(part()->palette().color(QPalette::PlaceholderText), base), 4.5);

    // Beside the text a button shows its shading from top to bottom and nothing else.
    for (ActionButton* button : screen->findChildren<ActionButton*>()) {
        QRect beside = QFontMetrics(button->text_font()).tightBoundingRect(button->text());
        beside.setWidth(3);
        beside.moveCenter(button->text_rect().center());
        beside.moveLeft(button->text_rect().left() + 4); // clear of the frame
        EXPECT_GE(lowest_contrast(button->text_color(), picture_of(button, beside)), 4.5);
        button->setDown(true);
        picture = screen->grab().toImage();
        EXPECT_GE(lowest_contrast(button->text_color(), picture_of(button, beside)), 4.5);
    }
}

TEST_P(ContentViewMatrix, TheRedOfTheButtonAndThePictureIsRed) {
    const auto reddish = [](const QColor& color) {
        return color.hue() == 0 && color.red() - color.green() > 90;
    };
    EXPECT_TRUE(reddish(screen->findChild<ActionButton*>(u"apply_button"_s)->text_color()));
    const QImage tint = picture_of(find<QWidget>(u"picture"_s), {240, 90, 10, 10});
    const QColor pad(most_frequent(tint));
    EXPECT_TRUE(reddish(pad)) << pad.name();
    EXPECT_GE(contrast_ratio(pad, screen->palette().color(QPalette::Window)), 4.5);
}

TEST_P(ContentViewMatrix, IsKeptAsAPictureToLookAt) {
    const QDir folder(QStringLiteral(KEYLOFT_PICTURES));
    ASSERT_TRUE(folder.mkpath(u"."_s));
    const QString name = QString::fromStdString(look_name({GetParam(), 0}));
    EXPECT_TRUE(
        picture.save(folder.filePath(u"%1-at-%2.png"_s.arg(name).arg(picture.devicePixelRatio()))));
}

std::vector<Look> all_looks() {
    std::vector<Look> looks;
    for (int points = 8; points <= 18; ++points) {
        for (const bool dark : {false, true}) {
            for (const char* style : {"Fusion", "Windows"})
                looks.push_back({points, dark, style});
        }
    }
    return looks;
}

INSTANTIATE_TEST_SUITE_P(AllLooks, ContentViewMatrix, testing::ValuesIn(all_looks()), look_name);

} // namespace
