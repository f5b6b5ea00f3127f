// SPDX-License-Identifier: MIT
#include "tests/screen/screen_fixture.h"

#include <QWindow>

namespace {

class ContentViewGeometry : public ScreenFixture {
protected:
    void SetUp() override { open_screen(); }

    QRect place(const QWidget* widget) const {
        return {widget->mapTo(screen.get(), QPoint()), widget->size()};
    }
    std::vector<QWidget*> controls() {
        return {machine_menu(), part(), type_menu(), channel(), controller()};
    }
};

TEST_F(ContentViewGeometry, TheContentIs700By400AndStaysSo) {
    EXPECT_EQ(screen->size(), QSize(700, 400));
    EXPECT_EQ(screen->minimumSize(), QSize(700, 400));
    EXPECT_EQ(screen->maximumSize(), QSize(700, 400));
}

TEST_F(ContentViewGeometry, ThePictureIs300By300WithTheButtons15Below) {
    const QRect picture = place(find<QWidget>(u"picture"_s));
    EXPECT_EQ(picture.size(), QSize(300, 300));
    for (const QPushButton* button : {apply(), save()})
        EXPECT_EQ(place(button).top() - (picture.top() + picture.height()), 15);
}

TEST_F(ContentViewGeometry, CaptionsAre220WideAndControls130) {
    for (const QWidget* control : controls()) {
        EXPECT_EQ(control->width(), 130);
        EXPECT_EQ(find<QLabel>(control->objectName() + u"_caption"_s)->width(), 220);
    }
}

TEST_F(ContentViewGeometry, RowsStandOnCommonEdgesAtEqualDistances) {
    const auto rows = controls();
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const QRect caption = place(find<QLabel>(rows[i]->objectName() + u"_caption"_s));
        const QRect control = place(rows[i]);
        EXPECT_EQ(control.left(), place(rows[0]).left());
        EXPECT_EQ(control.height(), place(rows[0]).height());
        EXPECT_GE(control.left(), caption.left() + caption.width());
        EXPECT_LE(std::abs(caption.center().y() - control.center().y()), 1);
        if (i > 0) {
            EXPECT_EQ(control.top() - place(rows[i - 1]).top(),
                      place(rows[1]).top() - place(rows[0]).top());
        }
    }
}

TEST_F(ContentViewGeometry, TheLastRowAndTheButtonsAreOneLine) {
    for (const QPushButton* button : {apply(), save()}) {
        EXPECT_EQ(place(button).top(), place(controller()).top());
        EXPECT_EQ(place(button).height(), place(controller()).height());
    }
    EXPECT_EQ(apply()->width(), save()->width());
    EXPECT_LT(place(apply()).right(), place(save()).left());
}

TEST_F(ContentViewGeometry, NothingOverlapsOrLeavesTheContent) {
    std::vector<QWidget*> parts = controls();
    for (const QWidget* control : controls())
        parts.push_back(find<QLabel>(control->objectName() + u"_caption"_s));
    parts.insert(parts.end(), {find<QWidget>(u"picture"_s), apply(), save()});
    for (std::size_t i = 0; i < parts.size(); ++i) {
        EXPECT_TRUE(screen->rect().contains(place(parts[i]))) << parts[i]->objectName();
        for (std::size_t j = 0; j < i; ++j) {
            EXPECT_FALSE(place(parts[i]).intersects(place(parts[j])))
                << parts[i]->objectName() << ' ' << parts[j]->objectName();
        }
    }
}

} // namespace
