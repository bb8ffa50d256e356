#include "screens/Labels.h"

#include "screens/Symbols.h"

#include <QLayout>
#include <QPalette>
#include <QScrollArea>
#include <QToolButton>

#include <memory>

namespace vitrek::Labels {

QLabel* make(const QFont& font, Theme::Role role, bool wrap, QWidget* parent) {
    auto* label = new QLabel(parent);
    label->setFont(font);
    label->setWordWrap(wrap);
    label->setTextFormat(Qt::PlainText);
    label->setProperty("vitrekRole", static_cast<int>(role));
    setColor(label, role);
    return label;
}

void setColor(QWidget* widget, const QColor& color) {
    QPalette palette = widget->palette();
    palette.setColor(QPalette::WindowText, color);
    palette.setColor(QPalette::Text, color);
    palette.setColor(QPalette::ButtonText, color);
    widget->setPalette(palette);
}

void setColor(QWidget* widget, Theme::Role role) { setColor(widget, Theme::color(role)); }

void setText(QLabel* label, const std::string& text) {
    const QString value = q(text);
    if (label->text() != value) {
        label->setText(value);
    }
}

QString q(const std::string& text) { return QString::fromStdString(text); }

QPalette palette() {
    using Theme::Role;
    QPalette palette;
    const auto set = [&](QPalette::ColorRole role, Role theme) {
        palette.setColor(QPalette::All, role, Theme::color(theme));
    };
    set(QPalette::Window, Role::face);
    set(QPalette::WindowText, Role::ink);
    set(QPalette::Base, Role::card);
    set(QPalette::AlternateBase, Role::track);
    set(QPalette::Text, Role::ink);
    set(QPalette::PlaceholderText, Role::ink3);
    set(QPalette::Button, Role::card);
    set(QPalette::ButtonText, Role::ink);
    set(QPalette::BrightText, Role::poor);
    set(QPalette::ToolTipBase, Role::card);
    set(QPalette::ToolTipText, Role::ink);
    set(QPalette::Highlight, Role::strain);
    set(QPalette::Link, Role::strain);
    set(QPalette::Light, Role::card);
    set(QPalette::Midlight, Role::track);
    set(QPalette::Mid, Role::hairline);
    set(QPalette::Dark, Role::ink3);
    set(QPalette::Shadow, Role::ink2);
    palette.setColor(QPalette::All, QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::Disabled, QPalette::WindowText, Theme::color(Role::ink3));
    palette.setColor(QPalette::Disabled, QPalette::Text, Theme::color(Role::ink3));
    palette.setColor(QPalette::Disabled, QPalette::ButtonText, Theme::color(Role::ink3));
    return palette;
}

void clearRows(QLayout* layout) {
    while (const std::unique_ptr<QLayoutItem> item{layout->takeAt(0)}) {
        if (auto* nested = item->layout()) {
            clearRows(nested);
        }
        // A widget item does not own its widget.
        const std::unique_ptr<QWidget> widget{item->widget()};
    }
}

QScrollArea* scrolling(QWidget* content) {
    auto* area = new QScrollArea;
    area->setWidget(content);
    area->setWidgetResizable(true);
    area->setFrameShape(QFrame::NoFrame);
    area->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    area->viewport()->setBackgroundRole(QPalette::Window);
    return area;
}

QToolButton* symbolButton(const QString& symbol, const QString& help, QWidget* parent) {
    auto* button = new QToolButton(parent);
    button->setAutoRaise(true);
    button->setIcon(QIcon(Symbols::pixmap(symbol, Theme::color(Theme::Role::ink2), 18, 2.0)));
    button->setIconSize(QSize(18, 18));
    button->setToolTip(help);
    button->setAccessibleName(help);
    button->setCursor(Qt::PointingHandCursor);
    return button;
}

} // namespace vitrek::Labels
