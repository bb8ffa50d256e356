#include "screens/widgets/Glyph.h"

#include "screens/Symbols.h"

#include <QPainter>

namespace vitrek {

Glyph::Glyph(QSize box, QSize glyph, QWidget* parent) : QWidget(parent), m_glyph(glyph) { setFixedSize(box); }

void Glyph::set(const QString& symbol, const QColor& color) {
    if (symbol != m_symbol || color != m_color) {
        m_symbol = symbol;
        m_color = color;
        update();
    }
}

void Glyph::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    QRectF box(QPointF(0, 0), QSizeF(m_glyph));
    box.moveCenter(QRectF(rect()).center());
    if (m_symbol.isEmpty()) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(m_color);
        painter.drawEllipse(box);
    } else {
        Symbols::paint(painter, m_symbol, box, m_color);
    }
}

} // namespace vitrek
