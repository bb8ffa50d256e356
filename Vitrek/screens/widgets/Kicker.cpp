#include "Kicker.h"

#include "screens/Theme.h"

#include <QFontMetricsF>
#include <QPaintEvent>
#include <QPainter>
#include <algorithm>
#include <cmath>

namespace vitrek {

namespace {

// The kicker shrinks no further than this before it elides.
constexpr qreal kMinimumScale = 0.7;

QFont scaled(QFont font, qreal tracking, qreal scale) {
    font.setPointSizeF(font.pointSizeF() * scale);
    font.setLetterSpacing(QFont::AbsoluteSpacing, tracking * scale);
    return font;
}

qreal textWidth(const QFont& font, const QString& text) {
    return QFontMetricsF{font}.horizontalAdvance(text);
}

} // namespace

Kicker::Kicker(const QString& text, QWidget* parent) : QWidget(parent) {
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    setText(text);
}

void Kicker::setText(const QString& text) {
    m_text = text.toUpper();
    setAccessibleName(text);
    updateGeometry();
    update();
}

void Kicker::setColor(const QColor& color) {
    m_color = color;
    update();
}

void Kicker::setTracking(qreal tracking) {
    m_tracking = tracking;
    updateGeometry();
    update();
}

QFont Kicker::font() const { return scaled(Fonts::kicker(), m_tracking, 1.0); }

QSize Kicker::sizeHint() const {
    const QFont full = font();
    return QSize{static_cast<int>(std::ceil(textWidth(full, m_text))),
                 static_cast<int>(std::ceil(QFontMetricsF{full}.height()))};
}

QSize Kicker::minimumSizeHint() const {
    const QFont smallest = scaled(Fonts::kicker(), m_tracking, kMinimumScale);
    return QSize{static_cast<int>(std::ceil(textWidth(smallest, m_text))), sizeHint().height()};
}

void Kicker::paintEvent(QPaintEvent* /*event*/) {
    if (m_text.isEmpty()) {
        return;
    }
    QPainter painter{this};
    painter.setRenderHint(QPainter::TextAntialiasing);
    painter.setPen(m_color.isValid() ? m_color : Theme::color(Theme::Role::ink3));

    const qreal available = width();
    QFont drawn = font();
    const qreal natural = textWidth(drawn, m_text);
    QString text = m_text;
    if (natural > available && natural > 0) {
        // Font sizes do not scale text widths exactly (hinting, whole-pixel advances): step down until
        // the text fits or the smallest size is reached.
        for (qreal scale = available / natural;; scale -= 0.02) {
            drawn = scaled(Fonts::kicker(), m_tracking, std::max(kMinimumScale, scale));
            if (scale <= kMinimumScale || textWidth(drawn, text) <= available) {
                break;
            }
        }
        // Past the smallest size it may take, the text is cut short with an ellipsis instead.
        if (textWidth(drawn, text) > available) {
            text = QFontMetricsF{drawn}.elidedText(text, Qt::ElideRight, available);
        }
    }
    painter.setFont(drawn);
    // The full-size baseline stays put when the text shrinks, so kickers in a row line up.
    const QFontMetricsF fullMetrics{font()};
    const qreal baseline = (height() - fullMetrics.height()) / 2 + fullMetrics.ascent();
    painter.drawText(QPointF{0, baseline}, text);
}

} // namespace vitrek
