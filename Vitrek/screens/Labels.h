#pragma once

#include "Theme.h"

#include <QLabel>

#include <string>

class QLayout;
class QScrollArea;
class QToolButton;

namespace vitrek {

// Text labels of the screens: a font and a theme colour, re-applied on every refresh so an appearance
// change only needs a refresh.
namespace Labels {

QLabel* make(const QFont& font, Theme::Role role, bool wrap = false, QWidget* parent = nullptr);
void setColor(QWidget* widget, const QColor& color);
void setColor(QWidget* widget, Theme::Role role);
void setText(QLabel* label, const std::string& text);
QString q(const std::string& text);

// A whole palette in the theme's current colours, for windows that also hold stock widgets.
QPalette palette();

// `content` in a frameless vertical scroll area on the window's colour.
QScrollArea* scrolling(QWidget* content);

// Takes every row out of `layout` and deletes it, nested layouts included, for lists built anew.
void clearRows(QLayout* layout);

// A flat icon-only button showing a symbol in ink2.
QToolButton* symbolButton(const QString& symbol, const QString& help, QWidget* parent = nullptr);

} // namespace Labels
} // namespace vitrek
