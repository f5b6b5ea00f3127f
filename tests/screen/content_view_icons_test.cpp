// SPDX-License-Identifier: MIT
#include "keyloft/caption.h"
#include "keyloft/picture.h"
#include "tests/screen/screen_fixture.h"

#include <QDir>
#include <QFile>
#include <QIcon>
#include <QPainter>
#include <QTemporaryDir>

namespace {

class Icons : public ScreenFixture {};

/// The snowflake as it ought to look on a background: keyloft's own, in the colour of the text.
QImage snow_on(const QColor& background, const QColor& color, int size) {
    TintedImage snow({u"snow"_s, resourceBundle()});
    QImage image(size, size, QImage::Format_RGB32);
    image.fill(background);
    QPainter(&image).drawPixmap(0, 0, snow.drawn({size, size}, 1, color));
    return image;
}

TEST_F(Icons, EveryCaptionShowsOurOwnSnowflakeWhateverTheThemeHas) {
    const QTemporaryDir themes;
    ASSERT_TRUE(QDir(themes.path()).mkpath(u"squares/48"_s));
    QFile index(themes.filePath(u"squares/index.theme"_s));
    ASSERT_TRUE(index.open(QIODevice::WriteOnly) &&
                index.write("[Icon Theme]\nName=squares\nDirectories=48\n[48]\nSize=48\n") > 0);
    index.close();
    QImage square(48, 48, QImage::Format_ARGB32);
    square.fill(Qt::green);
    for (const QString& name : {u"weather-snow"_s, u"weather-snow-symbolic"_s, u"snow"_s})
        ASSERT_TRUE(square.save(themes.filePath(u"squares/48/%1.png"_s.arg(name))));
    QIcon::setThemeSearchPaths({themes.path()});
    QIcon::setThemeName(u"squares"_s);
    ASSERT_FALSE(QIcon::fromTheme(u"weather-snow"_s).isNull());

    open_screen();
    for (const QColor& color : {QColor(Qt::black), QColor(Qt::blue)}) {
        QPalette palette = screen->palette();
        palette.setColor(QPalette::WindowText, color);
        screen->setPalette(palette);
        for (Caption* caption : screen->findChildren<Caption*>()) {
            const int size = QFontMetrics(caption->font()).height();
            const QImage drawn =
                caption->grab({0, (caption->height() - size) / 2, size, size}).toImage();
            EXPECT_EQ(drawn.convertToFormat(QImage::Format_RGB32),
                      snow_on(palette.color(QPalette::Window), color, size))
                << caption->objectName();
        }
    }
}

TEST(TintedImage, IsDrawnAnewOnlyWhenItHasToLookDifferent) {
    TintedImage image(ImageResource::hardware());
    const auto drawn = [&](int size, qreal ratio, const QColor& color) {
        const QPixmap& pixmap = image.drawn({size, size}, ratio, color);
        // A pad of the picture, in its middle on the right.
        const QPoint pad = QPoint(184, 100) * size * ratio / 300;
        EXPECT_EQ(pixmap.toImage().pixelColor(pad), color);
        EXPECT_EQ(pixmap.size(), QSize(size, size) * ratio);
        return pixmap.cacheKey();
    };
    const qint64 first = drawn(60, 2, Qt::red);
    EXPECT_EQ(drawn(60, 2, Qt::red), first);
    const qint64 larger = drawn(90, 2, Qt::red);
    EXPECT_NE(larger, first);
    const qint64 coarser = drawn(90, 1, Qt::red);
    EXPECT_NE(coarser, larger);
    const qint64 blue = drawn(90, 1, Qt::blue);
    EXPECT_NE(blue, coarser);
    EXPECT_EQ(drawn(90, 1, Qt::blue), blue);
}

} // namespace
