// SPDX-License-Identifier: MIT
#include "keyloft/caption.h"
#include "keyloft/tinted_image.h"
#include "tests/screen/screen_fixture.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QIcon>
#include <QImage>
#include <QTemporaryDir>

namespace {

constexpr QRgb full = 0xFF00FF00; // icons of the theme are squares without a hole

/// A theme with the icons that a test puts there.
class Icons : public ScreenFixture {
protected:
    Icons() {
        QApplication::setWindowIcon({});
        QApplication::setDesktopFileName(u"org.keyloft.Keyloft"_s);
        QIcon::setThemeSearchPaths({themes_.path()});
        QIcon::setThemeName(u"squares"_s);
        for (const int size : {48, 512})
            QDir(themes_.path()).mkpath(u"squares/%1"_s.arg(size));
        QFile index(themes_.filePath(u"squares/index.theme"_s));
        if (index.open(QIODevice::WriteOnly))
            index.write("[Icon Theme]\nName=squares\nDirectories=48,512\n"
                        "[48]\nSize=48\nType=Fixed\n[512]\nSize=512\nType=Fixed\n");
    }
    ~Icons() override {
        screen.reset();
        QIcon::setThemeName({});
        QIcon::setThemeSearchPaths(paths_before_);
        QApplication::setWindowIcon({});
    }

    void put(const QString& name, int size = 48) {
        QImage square(size, size, QImage::Format_ARGB32);
        square.fill(full);
        ASSERT_TRUE(square.save(themes_.filePath(u"squares/%1/%2.png"_s.arg(size).arg(name))));
    }

    /// How much of the first caption's icon is in the text's colour.
    double snow_coverage() {
        const auto* caption = screen->findChild<Caption*>(u"machine_type_menu_string_caption"_s);
        const QRect place =
            caption->icon_rect().translated(caption->mapTo(screen.get(), QPoint())).toRect();
        const QImage drawn = screen->grab(place).toImage();
        const QRgb color = caption->palette().color(caption->foregroundRole()).rgb();
        int covered = 0;
        for (int y = 0; y < drawn.height(); ++y) {
            for (int x = 0; x < drawn.width(); ++x)
                covered += drawn.pixel(x, y) == color;
        }
        return static_cast<double>(covered) / (drawn.width() * drawn.height());
    }

private:
    QTemporaryDir themes_;
    QStringList paths_before_ = QIcon::themeSearchPaths();
};

TEST_F(Icons, SnowIsTheThemesInTheTextsColour) {
    put(u"weather-snow-symbolic"_s);
    open_screen();
    EXPECT_TRUE(QTest::qWaitFor([this] { return snow_coverage() == 1; }));
}

TEST_F(Icons, SnowIsTheThemesColouredOneWhereThereIsNoSymbol) {
    put(u"weather-snow"_s);
    open_screen();
    EXPECT_TRUE(QTest::qWaitFor([this] { return snow_coverage() == 1; }));
}

TEST_F(Icons, SnowIsOurOwnWhereTheThemeHasNone) {
    put(u"org.keyloft.Keyloft"_s);
    open_screen();
    ASSERT_TRUE(QTest::qWaitFor([] { return !QApplication::windowIcon().isNull(); }));
    EXPECT_GT(snow_coverage(), 0.03);
    EXPECT_LT(snow_coverage(), 0.7);
}

TEST_F(Icons, WindowHasTheProgramsIconInNoMoreSizesThanItIsShownIn) {
    put(u"org.keyloft.Keyloft"_s);
    put(u"org.keyloft.Keyloft"_s, 512);
    open_screen();
    ASSERT_TRUE(QTest::qWaitFor([] { return !QApplication::windowIcon().isNull(); }));
    EXPECT_EQ(screen->windowIcon().pixmap(48, 48).toImage().pixel(24, 24), full);
    for (const QSize size : QApplication::windowIcon().availableSizes())
        EXPECT_LE(size.width(), 128);
}

TEST_F(Icons, WindowWithoutAnIconInTheThemeHasNone) {
    put(u"weather-snow-symbolic"_s);
    open_screen();
    ASSERT_TRUE(QTest::qWaitFor([this] { return snow_coverage() == 1; }));
    EXPECT_TRUE(QApplication::windowIcon().isNull());
}

TEST(TintedImage, IsDrawnAnewOnlyWhenItHasToLookDifferent) {
    int drawings = 0;
    TintedImage image([&drawings](QSize size, qreal /*ratio*/) {
        ++drawings;
        QPixmap shape(size); // a theme's smaller picture: its ratio is not the one asked for
        shape.fill(Qt::black);
        return shape;
    });
    const auto draw = [&](int size, qreal ratio, const QColor& color) {
        EXPECT_EQ(image.drawn({size, size}, ratio, color).toImage().pixelColor(0, 0), color);
        return drawings;
    };
    EXPECT_EQ(draw(16, 2, Qt::red), 1);
    EXPECT_EQ(draw(16, 2, Qt::red), 1);
    EXPECT_EQ(draw(17, 2, Qt::red), 2);
    EXPECT_EQ(draw(17, 1, Qt::red), 3);
    EXPECT_EQ(draw(17, 1, Qt::blue), 4);
    EXPECT_EQ(draw(17, 1, Qt::blue), 4);
}

/// Notes whether the theme had been read when something was painted for the first time.
class FirstPaint : public QObject {
public:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Paint && !seen) {
            seen = true;
            theme_was_read = !QApplication::windowIcon().isNull();
        }
        return QObject::eventFilter(watched, event);
    }

    bool seen = false;
    bool theme_was_read = false;
};

TEST_F(Icons, FirstPaintDoesNotWaitForTheTheme) {
    put(u"org.keyloft.Keyloft"_s);
    FirstPaint first_paint;
    qApp->installEventFilter(&first_paint);
    open_screen();
    ASSERT_TRUE(QTest::qWaitFor([] { return !QApplication::windowIcon().isNull(); }));
    EXPECT_TRUE(first_paint.seen);
    EXPECT_FALSE(first_paint.theme_was_read);
}

} // namespace
