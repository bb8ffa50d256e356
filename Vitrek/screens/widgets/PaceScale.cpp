#include "screens/widgets/PaceScale.h"

#include "screens/ScreenTexts.h"
#include "screens/Symbols.h"
#include "screens/Theme.h"

#include <QFontMetricsF>
#include <QPainter>
#include <cmath>

namespace vitrek {
namespace {

constexpr double kCanvasHeight = 40;
constexpr int kTicks = 41;
constexpr int kMajorEvery = 10;
constexpr double kMajorWidth = 2;
constexpr double kMajorHeight = 0.9;
constexpr double kMajorOpacity = 0.9;
constexpr double kMinorWidth = 1.2;
constexpr double kMinorHeight = 0.62;
constexpr double kMinorOpacity = 0.55;
constexpr double kMarkerWidth = 4;
constexpr double kMarkerRadius = 2;
constexpr double kRowGap = 6;
constexpr double kSymbolGap = 4;

QFont valueFont() { return Fonts::system(30, QFont::Bold, true); }
QFont endFont() { return Fonts::system(12.5); }

double valueHeight() { return std::ceil(QFontMetricsF(valueFont()).height()); }
double endRowHeight() { return std::ceil(QFontMetricsF(endFont()).height()); }

} // namespace

PaceScale::PaceScale(QWidget* parent) : QWidget(parent) {
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setAccessibleName(QString::fromStdString(Texts::paceAccessibleName(m_pace)));
}

void PaceScale::setPace(std::optional<double> pace) {
    if (pace == m_pace) {
        return;
    }
    m_pace = pace;
    setAccessibleName(QString::fromStdString(Texts::paceAccessibleName(m_pace)));
    update();
}

QRectF PaceScale::canvasRect() const {
    const double top = valueHeight() + kRowGap + endRowHeight() + kRowGap;
    return {0, top, static_cast<double>(width()), kCanvasHeight};
}

QRectF PaceScale::markerRect() const {
    if (!m_pace) {
        return {};
    }
    const QRectF canvas = canvasRect();
    return {canvas.left() + Texts::paceMarkerLeft(*m_pace, canvas.width()), canvas.top(), kMarkerWidth,
            canvas.height()};
}

QSize PaceScale::sizeHint() const { return {300, static_cast<int>(std::ceil(canvasRect().bottom()))}; }

QSize PaceScale::minimumSizeHint() const { return {160, static_cast<int>(std::ceil(canvasRect().bottom()))}; }

void PaceScale::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const double w = width();

    painter.setFont(valueFont());
    painter.setPen(Theme::color(m_pace ? Theme::Role::ink : Theme::Role::ink3));
    painter.drawText(QRectF(0, 0, w, valueHeight()), Qt::AlignLeft | Qt::AlignVCenter,
                     QString::fromStdString(Texts::paceValue(m_pace)));

    // The ends: a tortoise and "Slow" on the left, "Fast" on the right.
    const QRectF row(0, valueHeight() + kRowGap, w, endRowHeight());
    const QFontMetricsF metrics(endFont());
    const double symbolSide = std::round(metrics.height());
    Symbols::paint(painter, QStringLiteral("tortoise"),
                   QRectF(0, row.center().y() - symbolSide / 2, symbolSide, symbolSide),
                   Theme::color(Theme::Role::ink3));
    painter.setFont(endFont());
    painter.setPen(Theme::color(Theme::Role::ink2));
    painter.drawText(row.adjusted(symbolSide + kSymbolGap, 0, 0, 0), Qt::AlignLeft | Qt::AlignVCenter,
                     QStringLiteral("Slow"));
    painter.drawText(row, Qt::AlignRight | Qt::AlignVCenter, QStringLiteral("Fast"));

    const QRectF canvas = canvasRect();
    const double h = canvas.height();
    const QColor tickColor = Theme::color(Theme::Role::ink3);
    painter.setPen(Qt::NoPen);
    for (int tick = 0; tick < kTicks; ++tick) {
        const bool major = tick % kMajorEvery == 0;
        const double tickWidth = major ? kMajorWidth : kMinorWidth;
        const double tickHeight = (major ? kMajorHeight : kMinorHeight) * h;
        const double centre = canvas.left() + Texts::paceTickX(tick, w);
        painter.setOpacity(major ? kMajorOpacity : kMinorOpacity);
        painter.setBrush(tickColor);
        painter.drawRect(
            QRectF(centre - tickWidth / 2, canvas.center().y() - tickHeight / 2, tickWidth, tickHeight));
    }
    painter.setOpacity(1.0);

    if (m_pace) {
        painter.setBrush(Theme::color(Theme::Role::ink));
        painter.drawRoundedRect(markerRect(), kMarkerRadius, kMarkerRadius);
    }
}

} // namespace vitrek
