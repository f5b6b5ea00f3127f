// SPDX-License-Identifier: MIT
#include "keyloft/GeneratedAssetSymbols.h"
#include "keyloft/legible.h"
#include "tests/screen/screen_fixture.h"

#include <QTemporaryDir>
#include <unordered_set>

namespace {

TEST(Assets, HardwareIsTheHandleOfThatNameInTheOwnBundle) {
    EXPECT_EQ(ImageResource::hardware().name, u"hardware"_s);
    EXPECT_EQ(ImageResource::hardware().bundle, resourceBundle());
}

TEST(Assets, BundleAndHandleAreMadeOnce) {
    EXPECT_EQ(&resourceBundle(), &resourceBundle());
    EXPECT_EQ(&ImageResource::hardware(), &ImageResource::hardware());
}

template<class Resource>
void compares_by_name_and_bundle() {
    const Resource one{u"a"_s, u"x"_s};
    EXPECT_EQ(one, (Resource{u"a"_s, u"x"_s}));
    EXPECT_NE(one, (Resource{u"b"_s, u"x"_s}));
    EXPECT_NE(one, (Resource{u"a"_s, u"y"_s}));
    EXPECT_NE((Resource{u"a"_s, u"x"_s}), (Resource{u"x"_s, u"a"_s}));
    const std::unordered_set<Resource> set = {
        one, {u"a"_s, u"x"_s}, {u"b"_s, u"x"_s}, {u"a"_s, u"y"_s}, {u"x"_s, u"a"_s}};
    EXPECT_EQ(set.size(), 4U);
    const std::hash<Resource> hash;
    EXPECT_EQ(hash(one), hash({u"a"_s, u"x"_s}));
    EXPECT_NE(hash(one), hash({u"b"_s, u"x"_s}));
    EXPECT_NE(hash(one), hash({u"a"_s, u"y"_s}));
    EXPECT_EQ(hash(one), qHashMulti(0, u"a"_s, u"x"_s)) << "the name comes first";
}

TEST(Assets, ImageHandlesAreEqualByNameAndBundle) {
    compares_by_name_and_bundle<ImageResource>();
}
TEST(Assets, ColorHandlesAreEqualByNameAndBundle) {
    compares_by_name_and_bundle<ColorResource>();
}

TEST(Assets, TheToolkitImageFitsItsPlaceAtEveryRatio) {
    for (const qreal ratio : {1.0, 1.25, 1.5, 2.0, 3.0}) {
        const QPixmap image = toolkit_image(ImageResource::hardware(), {300, 300}, ratio);
        EXPECT_EQ(image.size(), QSizeF(300 * ratio, 300 * ratio).toSize());
        EXPECT_EQ(image.devicePixelRatio(), ratio);
    }
    EXPECT_EQ(toolkit_image(ImageResource::hardware(), {300, 100}, 1).size(), QSize(100, 100));
}

TEST(Assets, AMissingImageIsANullToolkitImage) {
    EXPECT_TRUE(toolkit_image({u"software"_s, resourceBundle()}, {300, 300}, 1).isNull());
}

TEST(Assets, ThePlatformImageIsThePicture) {
    EXPECT_EQ(platform_image(ImageResource::hardware()).size(), QSize(300, 300));
}

TEST(AssetsDeathTest, AMissingPlatformImageEndsTheProgram) {
    EXPECT_DEATH((void)platform_image({u"software"_s, resourceBundle()}),
                 "^Unexpectedly found nil while unwrapping an Optional value\n$");
}

TEST(Assets, AColorIsReadFromItsBundle) {
    const QTemporaryDir bundle;
    QFile file(bundle.filePath(u"accent.color"_s));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly) && file.write("#123456\n") > 0);
    file.close();
    EXPECT_EQ(toolkit_color({u"accent"_s, bundle.path()}), QColor(0x12, 0x34, 0x56));
    EXPECT_EQ(platform_color({u"accent"_s, bundle.path()}), QColor(0x12, 0x34, 0x56));
}

TEST(Assets, AMissingToolkitColorIsInvalid) {
    EXPECT_FALSE(toolkit_color({u"accent"_s, resourceBundle()}).isValid());
}

TEST(AssetsDeathTest, AMissingPlatformColorEndsTheProgram) {
    EXPECT_DEATH((void)platform_color({u"accent"_s, resourceBundle()}),
                 "^Unexpectedly found nil while unwrapping an Optional value\n$");
}

/// Pixels that are neither the background nor the full tint: the softened edges of strokes.
double share_of_soft_pixels(const QImage& picture) {
    const QRgb background = picture.pixel(0, 0);
    const QRgb tint = picture.pixel(picture.width() * 184 / 300, picture.height() * 100 / 300);
    int soft = 0;
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x)
            soft += picture.pixel(x, y) != background && picture.pixel(x, y) != tint;
    }
    return static_cast<double>(soft) / (picture.width() * picture.height());
}

class Picture300 : public OpenScreen {};

TEST_F(Picture300, IsDrawnInOneColourWithCrispEdges) {
    const QImage picture = find<QWidget>(u"picture"_s)->grab().toImage();
    // Scaled up from fewer pixels it would be soft along all of its outlines.
    EXPECT_LT(share_of_soft_pixels(picture), 0.05);
}

TEST(Legible, ContrastIsOneToTwentyOne) {
    EXPECT_DOUBLE_EQ(contrast_ratio(Qt::red, Qt::red), 1);
    EXPECT_NEAR(contrast_ratio(Qt::black, Qt::white), 21, 0.001);
    EXPECT_NEAR(contrast_ratio(Qt::red, Qt::white), 4.0, 0.01);
}

/// The contrast of the red that stands out best of all that are red.
double best_contrast(const QColor& background) {
    return std::max(contrast_ratio(QColor(0xA0, 0, 0), background),
                    contrast_ratio(QColor(0xFF, 0x70, 0x70), background));
}

TEST(Legible, EveryGreyGetsARedThatStandsOutOrTheBestOne) {
    int readable = 0;
    for (int grey = 0; grey < 256; ++grey) {
        const QColor background(grey, grey, grey);
        const QColor red = readable_red(background);
        EXPECT_GE(red.red(), 0xA0) << grey;
        EXPECT_EQ(red.green(), red.blue()) << grey;
        EXPECT_LE(red.green(), 0x70) << grey;
        EXPECT_GE(contrast_ratio(red, background) + 1e-9, std::min(4.5, best_contrast(background)))
            << grey;
        readable += contrast_ratio(red, background) >= 4.5;
    }
    EXPECT_GT(readable, 100);
    EXPECT_LT(readable, 256);
}

TEST(Legible, RedStaysPureWhereItCanBeRead) {
    EXPECT_EQ(readable_red(Qt::black), QColor(Qt::red));
    EXPECT_EQ(readable_red(Qt::white, 3.9), QColor(Qt::red));
    EXPECT_EQ(readable_red(Qt::white).green(), 0) << "darker, no less red";
}

TEST(Legible, EveryGreyGetsAGreyThatCanBeReadOnItAndTheMiddleOneIfItCan) {
    for (int grey = 0; grey < 256; ++grey) {
        const QColor background(grey, grey, grey);
        EXPECT_GE(contrast_ratio(readable_gray(background), background), 4.5) << grey;
    }
    EXPECT_EQ(readable_gray(Qt::black), QColor(0x80, 0x80, 0x80));
}

TEST(Legible, AFontIsMadeSmallerInHalfPointsDownToEight) {
    QFont font;
    font.setPointSizeF(11);
    const auto size = [&](double largest) {
        return fitted_font(font,
                           [largest](const QFont& one) { return one.pointSizeF() <= largest; })
            .pointSizeF();
    };
    EXPECT_EQ(size(20), 11);
    EXPECT_EQ(size(10.5), 10.5);
    EXPECT_EQ(size(8.7), 8.5);
    EXPECT_EQ(size(2), 8);
    font.setPointSizeF(7);
    EXPECT_EQ(size(2), 7);
}

} // namespace
