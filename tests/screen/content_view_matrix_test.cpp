// SPDX-License-Identifier: MIT
#include "keyloft/action_button.h"
#include "keyloft/caption.h"
#include "keyloft/drop_down.h"
#include "keyloft/readable_color.h"
#include "tests/screen/screen_fixture.h"

#include <QDir>
#include <QFontInfo>
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

QRgb background_of(const QImage& picture) {
    std::map<QRgb, int> count;
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x)
            ++count[picture.pixel(x, y)];
    }
    return std::ranges::max_element(count, {}, [](const auto& one) { return one.second; })->first;
}

/// The highest contrast that any pixel has with the background: the inside of the strokes.
double contrast_in(const QImage& picture) {
    const QColor background(background_of(picture));
    double best = 1;
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x)
            best = std::max(best, contrast_ratio(picture.pixelColor(x, y), background));
    }
    return best;
}

TEST_P(ContentViewMatrix, Shot) {
    const QString folder = qEnvironmentVariable("SHOTS", u"/tmp/shots"_s);
    QDir().mkpath(folder);
    picture.save(folder + u"/%1-%2-%3-x%4.png"_s.arg(QString::fromLatin1(GetParam().style))
                              .arg(GetParam().dark ? u"dark"_s : u"light"_s)
                              .arg(GetParam().points)
                              .arg(picture.devicePixelRatio()));
    EXPECT_GE(contrast_in(picture_of(apply(), apply()->rect().adjusted(4, 4, -4, -4))), 4.5);
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
