#include "InRangeBadge.h"

#include "screens/Symbols.h"
#include "screens/Theme.h"

#include <QPaintEvent>
#include <QPainter>
#include <algorithm>

namespace vitrek {

namespace {

constexpr qreal kFillOpacity = 0.18;

} // namespace

InRangeBadge::InRangeBadge(bool ok, int size, QWidget* parent) : QWidget(parent), m_ok(ok), m_size(size) {
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

void InRangeBadge::setOk(bool ok) {
    m_ok = ok;
    update();
}

QSize InRangeBadge::sizeHint() const { return QSize{m_size, m_size}; }

void InRangeBadge::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter{this};
    painter.setRenderHint(QPainter::Antialiasing);
    const QColor color = Theme::color(m_ok ? Theme::Role::good : Theme::Role::fair);
    const qreal side = std::min({width(), height(), m_size}) * 1.0;
    const QPointF centre = QRectF{rect()}.center();
    QColor fill = color;
    fill.setAlphaF(kFillOpacity);
    painter.setPen(Qt::NoPen);
    painter.setBrush(fill);
    painter.drawEllipse(centre, side / 2, side / 2);
    const qreal symbol = side / 2;
    Symbols::paint(painter, m_ok ? QStringLiteral("checkmark") : QStringLiteral("exclamationmark"),
                   QRectF{centre.x() - symbol / 2, centre.y() - symbol / 2, symbol, symbol}, color);
}

} // namespace vitrek
