#include "Card.h"

#include "screens/Theme.h"

#include <QPaintEvent>
#include <QPainter>
#include <QPainterPath>

namespace vitrek {

namespace {

constexpr int kPadding = 16;
constexpr qreal kRadius = 16;
constexpr qreal kFocusWidth = 2;

} // namespace

Card::Card(QWidget* parent) : QWidget(parent) {
    setContentsMargins(kPadding, kPadding, kPadding, kPadding);
    // The frame is painted here in the theme's colours, never by a style sheet or the palette.
    setAttribute(Qt::WA_StyledBackground, false);
    setAutoFillBackground(false);
}

void Card::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter{this};
    painter.setRenderHint(QPainter::Antialiasing);
    // Half a pixel in, the 1-wide border covers whole pixels instead of blurring across two.
    const QRectF frame = QRectF{rect()}.adjusted(0.5, 0.5, -0.5, -0.5);
    QPainterPath path;
    path.addRoundedRect(frame, kRadius, kRadius);
    painter.fillPath(path, Theme::color(Theme::Role::card));
    painter.setPen(QPen{Theme::color(Theme::Role::hairline), 1});
    painter.drawPath(path);
    // Cards that take the keyboard focus (the mini cards) show it with a ring inside their border, once
    // the keyboard has moved the focus, as the style does for buttons.
    if (hasFocus() && window()->testAttribute(Qt::WA_KeyboardFocusChange)) {
        QPainterPath ring;
        const qreal inset = 0.5 + kFocusWidth / 2;
        ring.addRoundedRect(QRectF{rect()}.adjusted(inset, inset, -inset, -inset), kRadius - inset,
                            kRadius - inset);
        painter.setPen(QPen{Theme::color(Theme::Role::strain), kFocusWidth});
        painter.drawPath(ring);
    }
}

} // namespace vitrek
