// SPDX-License-Identifier: MIT
#include "keyloft/result_alert.h"

#include <QAccessible>
#include <QHideEvent>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

static QLabel* add_label(QVBoxLayout* column, const QString& name) {
    auto* label = new QLabel;
    label->setObjectName(name);
    label->setTextFormat(Qt::PlainText);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    column->addWidget(label);
    return label;
}

ResultAlert::ResultAlert(const QString& dismiss, QWidget* parent) : QDialog(parent) {
    setObjectName(u"alert"_s);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(20, 18, 20, 16);
    column->setSpacing(8);
    column->addStrut(280);
    column->setSizeConstraint(QLayout::SetFixedSize);
    title_ = add_label(column, u"alert_title"_s);
    message_ = add_label(column, u"alert_message"_s);
    column->addSpacing(10);

    auto* row = new QHBoxLayout;
    row->addStretch();
    for (const QString& name : {u"alert_button_1"_s, u"alert_button_2"_s}) {
        auto* button = new QPushButton(dismiss);
        button->setObjectName(name);
        button->setAccessibleName(dismiss);
        connect(button, &QPushButton::clicked, this, &QDialog::accept);
        row->addWidget(button);
        if (!first_button_)
            first_button_ = button;
    }
    column->addLayout(row);
}

void ResultAlert::present(const QString& title, const QString& message) {
    setWindowTitle(title);
    setAccessibleName(title);
    setAccessibleDescription(message);
    QFont bold = font();
    bold.setBold(true);
    title_->setFont(bold);
    title_->setText(title);
    message_->setText(message);
    first_button_->setFocus();
    open();
}

void ResultAlert::showEvent(QShowEvent* event) {
    QDialog::showEvent(event);
    if (event->spontaneous())
        return;
    QAccessibleEvent announcement(this, QAccessible::Alert);
    QAccessible::updateAccessibility(&announcement);
}

void ResultAlert::hideEvent(QHideEvent* event) {
    QDialog::hideEvent(event);
    if (!event->spontaneous())
        Q_EMIT dismissed();
}
