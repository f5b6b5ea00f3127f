// SPDX-License-Identifier: MIT
#include "keyloft/ContentView.h"

#include "keyloft/action_button.h"
#include "keyloft/caption.h"
#include "keyloft/drop_down.h"
#include "keyloft/picture.h"
#include "keyloft/readable_color.h"
#include "keyloft/result_alert.h"
#include "keyloft/screen_accessible.h"
#include "keyloft/text_fit.h"

#include <QApplication>
#include <QHBoxLayout>
#include <QIcon>
#include <QLineEdit>
#include <QScopedValueRollback>
#include <QShowEvent>
#include <QStyleOptionFrame>
#include <QTimer>
#include <functional>
#include <limits>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr int content_width = 700;
constexpr int content_height = 400;
constexpr int caption_width = 220;
constexpr int control_width = 130;
constexpr int picture_size = 300;
constexpr int above_buttons = 15;
// The toolkit's own padding and spacing; fixed, because the frames have to fit whatever the style.
constexpr int padding = 9;
constexpr int spacing = 6;
// The rows spread over the height of the picture and the buttons beside it, so that the last
// control is on one line with the buttons.
constexpr int rows_top = 5;
constexpr int row_height = 73;
constexpr int row_count = 5;
constexpr int last_row_top = rows_top + (row_count - 1) * (row_height + spacing);

QString from_utf8(const std::string& text) {
    return QString::fromStdString(text);
}

QString from_utf8(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

/// Half transparent on a white field, as the toolkit has it, a placeholder cannot be read.
void make_placeholder_readable(QLineEdit* field) {
    QPalette palette = field->palette();
    const QColor base = palette.color(QPalette::Base);
    const QColor color = readable_color(QColor(Qt::gray), base);
    if (palette.color(QPalette::PlaceholderText) == color)
        return;
    palette.setColor(QPalette::PlaceholderText, color);
    field->setPalette(palette);
}

/// How far a field's text has to move in to stand under the menu's title.
int text_indent(const QLineEdit* field, const DropDown* menu) {
    constexpr int own_margin = 2; // a field's, inside its frame
    QStyleOptionFrame option;
    option.initFrom(field);
    option.lineWidth = field->style()->pixelMetric(QStyle::PM_DefaultFrameWidth, &option, field);
    const QRect inside =
        field->style()->subElementRect(QStyle::SE_LineEditContents, &option, field);
    return std::max(0, menu->title_rect().left() - inside.left() - own_margin);
}

} // namespace

ContentView::ContentView(bool emailFieldIsFocused, QWidget* parent)
    : QWidget(parent),
      snow_(std::bind_front(&toolkit_image, ImageResource{u"snow"_s, resourceBundle()})) {
    state_.emailFieldIsFocused = emailFieldIsFocused;
    install_screen_accessible();
    setFixedSize(content_width, content_height);

    QStringList machines;
    for (const std::string& machine : machine_type_array)
        machines += from_utf8(machine);
    const QStringList types = {from_utf8(NOTE_ON), from_utf8(NOTE_OFF), from_utf8(CONTROL_CHANGE),
                               from_utf8(BEND_CHANGE)};

    auto* rows = new QVBoxLayout;
    rows->setContentsMargins(0, rows_top, 0, 0);
    rows->setSpacing(spacing);
    add_menu(rows, tr("设备型号(Machine Serial)"), machines, u"machine_type_menu_string"_s,
             &ScreenState::machine_type_menu_string);
    add_field(rows, tr("硬件编号(Hardware Part Code)"), u"hardware_part_number_code_string"_s,
              &ScreenState::hardware_part_number_code_string);
    add_menu(rows, tr("消息类型(Message Type)："), types, u"message_type_menu_string"_s,
             &ScreenState::message_type_menu_string);
    add_field(rows, tr("消息通道(Message Channel)："), u"message_channel_menu_string"_s,
              &ScreenState::message_channel_menu_string);
    add_field(rows, tr("控制器号(Controller Number)："), u"message_controller_number_code_string"_s,
              &ScreenState::message_controller_number_code_string);

    rows->addStretch();
    add_picture_and_buttons();

    auto* columns = new QHBoxLayout(this);
    columns->setContentsMargins(0, 0, 0, 0);
    columns->setSpacing(spacing);
    columns->addStretch();
    columns->addLayout(rows);
    columns->addLayout(right_);
    columns->addStretch();
    arrange();
    draw();
}

ContentView::~ContentView() {
    leave();
}

void ContentView::add_picture_and_buttons() {
    auto* picture = new Picture(ImageResource::hardware());
    picture->setObjectName(u"picture"_s);
    picture->setAccessibleName(ImageResource::hardware().name);
    picture->setFixedSize(picture_size, picture_size);
    auto* buttons = new QHBoxLayout;
    buttons->setContentsMargins(0, above_buttons, 0, 0);
    buttons->setSpacing(spacing);
    buttons->addStretch();
    const auto add_button = [&](ActionButton* button, const QString& name, auto action) {
        button->setObjectName(name);
        button->setAccessibleName(button->text());
        connect(button, &QPushButton::clicked, this, [=, this] { run(action, button); });
        buttons->addWidget(button);
        buttons_.push_back(button);
    };
    add_button(new ActionButton(tr("设置"), Qt::red), u"apply_button"_s, &apply_action);
    add_button(new ActionButton(tr("保存")), u"save_button"_s, &save_action);
    buttons->addStretch();

    right_ = new QVBoxLayout;
    right_->setSpacing(0);
    right_->addWidget(picture);
    right_->addLayout(buttons);
    right_->addStretch();
}

void ContentView::add_row(QVBoxLayout* rows, const QString& caption, QWidget* control,
                          const QString& name) {
    auto* label = new Caption(caption, snow_);
    label->setObjectName(name + u"_caption"_s);
    label->setFixedWidth(caption_width);
    label->setBuddy(control);
    captions_.push_back(label);
    control->setObjectName(name);
    control->setAccessibleName(caption);
    control->setFixedWidth(control_width);

    auto* row = new QHBoxLayout;
    row->setContentsMargins(padding, padding, padding, padding);
    row->setSpacing(spacing);
    row->addWidget(label, 0, Qt::AlignVCenter);
    row->addWidget(control, 0, Qt::AlignVCenter);
    row->addStrut(row_height - 2 * padding);
    rows->addLayout(row);
}

void ContentView::add_menu(QVBoxLayout* rows, const QString& caption, const QStringList& items,
                           const QString& name, Field field) {
    auto* menu = new DropDown(items);
    add_row(rows, caption, menu, name);
    menus_.push_back({menu, field});
    connect(menu, &QComboBox::textActivated, this,
            [this, field](const QString& text) { state_.*field = text.toStdString(); });
}

void ContentView::add_field(QVBoxLayout* rows, const QString& caption, const QString& name,
                            Field field) {
    auto* edit = new QLineEdit;
    edit->setMaxLength(std::numeric_limits<int>::max());
    edit->setPlaceholderText(tr("Placeholder"));
    add_row(rows, caption, edit, name);
    fields_.push_back({edit, field});
    // Not textEdited: edits that come over the accessibility bus do not emit it.
    connect(edit, &QLineEdit::textChanged, this,
            [this, field](const QString& text) { state_.*field = text.toStdString(); });
}

void ContentView::run(void (*action)(ScreenState&), QWidget* pressed) {
    if (running_ || state_.showAlert)
        return;
    {
        const QScopedValueRollback running(running_, true);
        action(state_);
    }
    pressed_ = pressed;
    draw();
    Q_EMIT action_finished();
}

void ContentView::draw() {
    for (const auto& [menu, field] : menus_)
        menu->setCurrentIndex(menu->findText(from_utf8(state_.*field), Qt::MatchExactly));
    for (const auto& [edit, field] : fields_) {
        if (edit->text() != from_utf8(state_.*field))
            edit->setText(from_utf8(state_.*field));
    }
    if (!state_.showAlert)
        return;
    if (!alert_) {
        alert_ = new ResultAlert(tr("确定"), this);
        connect(alert_, &ResultAlert::dismissed, this, [this] { state_.showAlert = false; });
        connect(alert_, &QDialog::finished, this, [this] {
            window()->activateWindow();
            pressed_->setFocus();
        });
    }
    alert_->present(from_utf8(state_.showmessage_title), from_utf8(state_.showmessage));
}

void ContentView::arrange() {
    // The captions make one column: all of them on one line, or all broken, and of one size.
    Caption::Setting setting{font()};
    const auto all_fit = [&](const QFont& font) {
        return std::ranges::all_of(captions_, [&](const Caption* caption) {
            return caption->fits({font, setting.broken}, row_height - 2 * padding);
        });
    };
    const int one_line = QFontMetrics(font()).height() * 3 / 2;
    setting.broken = !std::ranges::all_of(
        captions_, [&](const Caption* caption) { return caption->fits({font()}, one_line); });
    setting.font = fitted_font(font(), all_fit);
    for (Caption* caption : captions_)
        caption->set(setting);

    std::vector<QWidget*> controls = buttons_;
    int button_width = 0;
    for (const QWidget* button : buttons_)
        button_width = std::max(button_width, button->sizeHint().width());
    button_width = std::min(button_width, (picture_size - spacing) / 2);
    for (QWidget* button : buttons_)
        button->setFixedWidth(button_width);
    for (const auto& [menu, field] : menus_)
        controls.push_back(menu);
    for (const auto& [edit, field] : fields_) {
        controls.push_back(edit);
        make_placeholder_readable(edit);
        edit->setTextMargins(text_indent(edit, menus_.front().control), 0, 0, 0);
    }
    int height = 0;
    for (const QWidget* control : controls)
        height = std::max(height, control->sizeHint().height());
    for (QWidget* control : controls)
        control->setFixedHeight(height);
    const int buttons_top = last_row_top + (row_height - height) / 2;
    right_->setContentsMargins(0, buttons_top - above_buttons - picture_size, 0, 0);
}

void ContentView::paintEvent(QPaintEvent* event) {
    QWidget::paintEvent(event);
    // A theme can have thousands of files to look for: the window need not wait for it.
    if (!std::exchange(painted_, true))
        QTimer::singleShot(0, this, &ContentView::take_theme_icons);
}

void ContentView::take_theme_icons() {
    const QIcon snow =
        QIcon::fromTheme(u"weather-snow-symbolic"_s, QIcon::fromTheme(u"weather-snow"_s));
    if (!snow.isNull()) {
        snow_ = TintedImage([snow](QSize size, qreal ratio) { return snow.pixmap(size, ratio); });
        for (Caption* caption : captions_)
            caption->update();
    }
    // The theme's own icon would be sent to the X server in every size, and 512 x 512 is a
    // megabyte.
    const QIcon program = QIcon::fromTheme(QGuiApplication::desktopFileName());
    QIcon icon;
    for (const int size : {16, 32, 48, 128})
        icon.addPixmap(program.pixmap({size, size}, 1));
    QApplication::setWindowIcon(icon);
}

void ContentView::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    if (event->spontaneous() || on_screen_)
        return;
    on_screen_ = true;
    appear_hook();
}

void ContentView::hideEvent(QHideEvent* event) {
    QWidget::hideEvent(event);
    if (!event->spontaneous())
        leave();
}

void ContentView::leave() {
    if (!on_screen_)
        return;
    on_screen_ = false;
    disappear_hook();
}

void ContentView::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    switch (event->type()) {
    case QEvent::FontChange:
    case QEvent::StyleChange:
    case QEvent::PaletteChange:
        arrange();
        break;
    default:
        break;
    }
}
