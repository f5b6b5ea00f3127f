// SPDX-License-Identifier: MIT
#include "keyloft/legible.h"
#include "tests/screen/drawn_text.h"
#include "tests/screen/screen_fixture.h"

#include <QLayout>

namespace {

class ContentViewGeometry : public OpenScreen {
protected:
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

TEST_F(ContentViewGeometry, ColumnsAndRowsStandAtTheirPlaces) {
    // 10 | 9 caption 220, 6, control 130, 9 | 6 | picture 300 | 10
    const auto rows = controls();
    for (const QWidget* control : rows) {
        EXPECT_EQ(place(find<QLabel>(control->objectName() + u"_caption"_s)).left(), 19);
        EXPECT_EQ(place(control).left(), 245);
    }
    EXPECT_EQ(place(find<QWidget>(u"picture"_s)).left(), 390);
    // Rows are padded by 9 above and below, with 6 between two of them.
    for (std::size_t i = 1; i < rows.size(); ++i)
        EXPECT_EQ(place(rows[i]).top() - place(rows[i - 1]).bottom() - 1, 9 + 6 + 9);
    const int height = rows[0]->height();
    EXPECT_EQ(place(rows[0]).top(), (400 - 5 * (height + 2 * 9) - 4 * 6) / 2 + 9);
}

TEST_F(ContentViewGeometry, ThePictureAndTheButtonsAreCentred) {
    const int height = apply()->height();
    EXPECT_EQ(place(find<QWidget>(u"picture"_s)).top(), (400 - 300 - 15 - height) / 2);
    const int width = apply()->width() + 6 + save()->width();
    EXPECT_EQ(place(apply()).left(), 390 + (300 - width) / 2);
    EXPECT_EQ(place(save()).left(), place(apply()).right() + 1 + 6);
    EXPECT_EQ(save()->height(), height);
    EXPECT_EQ(save()->width(), apply()->width());
}

TEST_F(ContentViewGeometry, RightToLeftLayoutsMirror) {
    const QRect caption = place(find<QLabel>(u"machine_type_menu_string_caption"_s));
    const QRect picture = place(find<QWidget>(u"picture"_s));
    const QImage left_to_right =
        find<QLabel>(u"machine_type_menu_string_caption"_s)->grab().toImage();
    screen->setLayoutDirection(Qt::RightToLeft);
    screen->layout()->activate();
    const auto mirrored = [](QRect one) {
        return QRect(700 - one.left() - one.width(), one.top(), one.width(), one.height());
    };
    EXPECT_EQ(place(find<QLabel>(u"machine_type_menu_string_caption"_s)), mirrored(caption));
    EXPECT_EQ(place(find<QWidget>(u"picture"_s)), mirrored(picture));
    EXPECT_GT(place(apply()).left(), place(save()).left());
    const QImage right_to_left =
        find<QLabel>(u"machine_type_menu_string_caption"_s)->grab().toImage();
    // The icon is at the right end, and the text ends beside it.
    const int icon = QFontMetrics(screen->font()).height();
    const auto part = [&](const QImage& whole, int left) {
        return whole.copy(left, 0, icon, whole.height());
    };
    EXPECT_EQ(part(right_to_left, 220 - icon), part(left_to_right, 0));
    const auto* label = find<QLabel>(u"machine_type_menu_string_caption"_s);
    const DrawnText text{label->text(), label->font(),
                         label->palette().color(QPalette::WindowText)};
    const auto before = find_text(left_to_right, text);
    const auto after = find_text(right_to_left, text);
    ASSERT_TRUE(before && after);
    EXPECT_NEAR(220 - after->right(), before->left(), 4);
}

TEST_F(ContentViewGeometry, SizesFollowTheFontAtOnce) {
    const auto* caption = find<QLabel>(u"machine_type_menu_string_caption"_s);
    for (const int points : {20, 8, 13}) {
        QFont font = screen->font();
        font.setPointSize(points);
        screen->setFont(font);
        EXPECT_EQ(caption->text().contains(u"\n("_s), points > 8) << points;
        EXPECT_LT(type_menu()->font().pointSizeF(), 13) << points;
    }
}

TEST_F(ContentViewGeometry, ColoursFollowThePaletteAtOnce) {
    for (const QColor& color : {QColor(Qt::white), QColor(0x20, 0x20, 0x20), QColor(Qt::white)}) {
        QPalette palette = screen->palette();
        for (const auto role : {QPalette::Window, QPalette::Button, QPalette::Base})
            palette.setColor(role, color);
        screen->setPalette(palette);
        EXPECT_EQ(part()->palette().color(QPalette::PlaceholderText), readable_gray(color));
        EXPECT_EQ(apply()->palette().color(QPalette::ButtonText), readable_red(color, 6.75));
        EXPECT_EQ(most_frequent(find<QWidget>(u"picture"_s)->grab({240, 90, 10, 10}).toImage()),
                  readable_red(color));
    }
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
