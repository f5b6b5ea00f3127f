// SPDX-License-Identifier: MIT
#include "keyloft/ContentView.h"

#include "keyloft/caption.h"
#include "keyloft/drop_down.h"
#include "keyloft/legible.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QScopedValueRollback>
#include <QShowEvent>
#include <QStyleOptionButton>
#include <limits>

using namespace Qt::StringLiterals;

namespace {

constexpr int content_width = 700;
constexpr int content_height = 400;
constexpr int caption_width = 220;
constexpr int control_width = 130;
constexpr int picture_size = 300;
constexpr int above_buttons = 15;
// The toolkit's default padding and spacing; fixed, because the frames have to fit in every style.
constexpr int padding = 9;
constexpr int spacing = 6;
constexpr int row_count = 5;
constexpr int highest_row = (content_height - (row_count - 1) * spacing) / row_count - 2 * padding;
constexpr int widest_button = (picture_size - spacing) / 2;

QString from_utf8(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

bool button_fits(const QPushButton* button) {
    QStyleOptionButton option;
    option.initFrom(button);
    option.rect.setWidth(widest_button);
    const QRect room =
        button->style()->subElementRect(QStyle::SE_PushButtonContents, &option, button);
    return button->fontMetrics().horizontalAdvance(button->text()) <= room.width();
}

void set_color(QWidget* widget, QPalette::ColorRole role, const QColor& color) {
    QPalette palette; // with this one role set, the others stay the parent's
    palette.setColor(role, color);
    widget->setPalette(palette);
}

} // namespace

ContentView::ContentView(bool emailFieldIsFocused, QWidget* parent) : QWidget(parent) {
    state_.emailFieldIsFocused = emailFieldIsFocused;
    install_screen_accessible();
    setFixedSize(content_width, content_height);

    QStringList machines;
    for (const std::string& machine : machine_type_array)
        machines += from_utf8(machine);
    const QStringList types = {from_utf8(NOTE_ON), from_utf8(NOTE_OFF), from_utf8(CONTROL_CHANGE),
                               from_utf8(BEND_CHANGE)};

    auto* rows = new QVBoxLayout;
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

    auto* picture = new Picture(ImageResource::hardware());
    picture->setObjectName(u"picture"_s);
    picture->setAccessibleName(ImageResource::hardware().name);
    picture->setFixedSize(picture_size, picture_size);
    auto* buttons = new QHBoxLayout;
    buttons->setContentsMargins(0, above_buttons, 0, 0);
    buttons->setSpacing(spacing);
    buttons->addStretch();
    auto* apply = new_button(tr("设置"), u"apply_button"_s, &apply_action);
    buttons->addWidget(apply);
    buttons->addWidget(new_button(tr("保存"), u"save_button"_s, &save_action));
    buttons->addStretch();
    auto* right = new QVBoxLayout;
    right->setSpacing(0);
    right->addWidget(picture);
    right->addLayout(buttons);

    auto* columns = new QHBoxLayout(this);
    columns->setContentsMargins(0, 0, 0, 0);
    columns->setSpacing(spacing);
    columns->addStretch();
    columns->addLayout(rows);
    columns->addLayout(right);
    columns->addStretch();
    columns->setAlignment(rows, Qt::AlignVCenter);
    columns->setAlignment(right, Qt::AlignVCenter);
    arrange();
    draw();
}

ContentView::~ContentView() {
    leave();
}

QPushButton* ContentView::new_button(const QString& text, const QString& name, Action action) {
    auto* button = new QPushButton(text);
    button->setObjectName(name);
    button->setAccessibleName(text);
    button->setAutoDefault(true); // Enter presses it on every desktop
    // A click leaves the focus in the field, ready for the next entry.
    button->setFocusPolicy(Qt::TabFocus);
    connect(button, &QPushButton::clicked, this, [this, action] { run(action); });
    button->setMaximumWidth(widest_button);
    controls_.push_back(button);
    buttons_.push_back(button);
    return button;
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
    controls_.push_back(control);

    auto* row = new QHBoxLayout;
    row->setContentsMargins(padding, padding, padding, padding);
    row->setSpacing(spacing);
    row->addWidget(label, 0, Qt::AlignVCenter);
    row->addWidget(control, 0, Qt::AlignVCenter);
    rows->addLayout(row);
}

void ContentView::add_menu(QVBoxLayout* rows, const QString& caption, const QStringList& items,
                           const QString& name, Field field) {
    auto* menu = new DropDown(items);
    add_row(rows, caption, menu, name);
    menus_.emplace_back(menu, field);
    connect(menu, &QComboBox::textActivated, this,
            [this, field](const QString& text) { state_.*field = text.toStdString(); });
}

void ContentView::add_field(QVBoxLayout* rows, const QString& caption, const QString& name,
                            Field field) {
    auto* edit = new QLineEdit;
    edit->setMaxLength(std::numeric_limits<int>::max());
    edit->setPlaceholderText(tr("Placeholder"));
    // A Chinese input method would write full-width digits, which are no numbers here.
    edit->setInputMethodHints(Qt::ImhDigitsOnly | Qt::ImhPreferNumbers);
    add_row(rows, caption, edit, name);
    fields_.emplace_back(edit, field);
    // Not textEdited: edits through the accessibility bus do not emit it.
    connect(edit, &QLineEdit::textChanged, this,
            [this, field](const QString& text) { state_.*field = text.toStdString(); });
    connect(edit, &QLineEdit::returnPressed, this, [this] { run(&apply_action); });
}

void ContentView::run(Action action) {
    if (running_ || state_.showAlert)
        return;
    {
        const QScopedValueRollback running(running_, true);
        action(state_);
    }
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
    if (state_.showAlert)
        show_alert();
}

void ContentView::show_alert() {
    if (!alert_) {
        alert_ = new QMessageBox(this);
        alert_->setObjectName(u"alert"_s);
        for (const QString& name : {u"alert_button_1"_s, u"alert_button_2"_s}) {
            auto* button = alert_->addButton(tr("确定"), QMessageBox::AcceptRole);
            button->setObjectName(name);
            button->setAccessibleName(button->text());
        }
        // Of two equal buttons Escape needs one to stand for.
        alert_->setEscapeButton(alert_->buttons().front());
        alert_->installEventFilter(this);
    }
    const QString title = from_utf8(state_.showmessage_title);
    const QString message = from_utf8(state_.showmessage);
    alert_->setIcon(command_setup_succeed_flag == 0 ? QMessageBox::Information
                                                    : QMessageBox::Warning);
    alert_->setWindowTitle(title);
    alert_->setAccessibleName(title);
    alert_->setAccessibleDescription(message);
    alert_->setText(title);
    alert_->setInformativeText(message);
    for (QLabel* label : alert_->findChildren<QLabel*>())
        label->setTextFormat(Qt::PlainText);
    alert_->buttons().front()->setFocus();
    alert_->open();
}

bool ContentView::eventFilter(QObject* watched, QEvent* event) {
    // The alert has left the screen, in whatever way.
    if (event->type() == QEvent::Hide && !event->spontaneous() && watched == alert_) {
        state_.showAlert = false;
        window()->activateWindow();
        // Ready for the next part: what is typed replaces the entry.
        if (auto* edit = qobject_cast<QLineEdit*>(window()->focusWidget()))
            edit->selectAll();
    }
    return QWidget::eventFilter(watched, event);
}

void ContentView::arrange() {
    arrange_captions();
    arrange_controls();
    const QColor button = palette().color(QPalette::Button);
    // Styles shade their buttons by as much as a third of the contrast, pressed ones most.
    constexpr double ratio = enough_contrast * 1.5;
    const QColor red = readable_red(button, ratio);
    set_color(buttons_.front(), QPalette::ButtonText, red);
    QFont font = buttons_.front()->font();
    font.setBold(contrast_ratio(red, button) < ratio);
    buttons_.front()->setFont(font);
    // Half transparent, as the toolkit has it, a placeholder cannot be read.
    const QColor gray = readable_gray(palette().color(QPalette::Base));
    for (const auto& [edit, field] : fields_)
        set_color(edit, QPalette::PlaceholderText, gray);
}

/// The captions make one column: all of them on one line or all broken, and in one size.
void ContentView::arrange_captions() {
    Caption::Setting setting{font()};
    const auto all_fit = [&](const QFont& font, int height) {
        return std::ranges::all_of(captions_, [&](const Caption* caption) {
            return caption->fits({font, setting.broken}, height);
        });
    };
    setting.broken = !all_fit(font(), QFontMetrics(font()).height() * 3 / 2);
    setting.font =
        fitted_font(font(), [&](const QFont& font) { return all_fit(font, highest_row); });
    for (Caption* caption : captions_)
        caption->set(setting);
}

/// The controls have one text size, too, and one height.
void ContentView::arrange_controls() {
    const auto set = [&](const QFont& font) {
        int height = 0;
        for (QWidget* control : controls_) {
            control->setFont(font);
            height = std::max(height, control->sizeHint().height());
        }
        for (QWidget* control : controls_)
            control->setFixedHeight(std::min(height, highest_row));
    };
    // A style may give a higher menu a wider arrow, so that the room depends on the font, too.
    set(fitted_font(font(), [&](const QFont& font) {
        set(font);
        return std::ranges::all_of(menus_, [](const Menu& menu) { return menu.first->fits(); }) &&
               std::ranges::all_of(buttons_, &button_fits);
    }));
}

void ContentView::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    if (event->spontaneous() || on_screen_)
        return;
    on_screen_ = true;
    // Styles mark the control with the focus only once this is set, by default at the first Tab.
    window()->setAttribute(Qt::WA_KeyboardFocusChange);
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
    case QEvent::LayoutDirectionChange:
        arrange();
        break;
    default:
        break;
    }
}
