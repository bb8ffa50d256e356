#include "screens/widgets/StressChart.h"

#include "scores/Fmt.h"
#include "screens/ScreenTexts.h"
#include "screens/Theme.h"

#include <QFontMetricsF>
#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <algorithm>
#include <cmath>

namespace vitrek {
namespace {

constexpr double kLabelBand = 18; // room under the plot for the hour labels
constexpr double kTopRoom = 6;    // so a full load's line is not cut by the edge
constexpr double kTick = 4;
constexpr double kLabelledTick = 7;
constexpr double kHighOpacity = 0.7;
constexpr double kLineWidth = 2;

} // namespace

StressChart::StressChart(QWidget* parent) : QWidget(parent) {
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    setAccessibleName(QString::fromLatin1(StressChartModel::kAccessibleName));
}

void StressChart::setSamples(std::vector<Sample> samples, Instant now, Calendar calendar) {
    m_samples = std::move(samples);
    m_points = Stress::curve(m_samples, StressChartModel::kBucket);
    m_now = now;
    m_calendar = std::move(calendar);
    update();
}

bool StressChart::showsPlaceholder() const { return m_points.size() < 2; }

QSize StressChart::sizeHint() const { return {420, 160}; }

void StressChart::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setFont(Fonts::caption());
    const QFontMetricsF metrics(painter.font());

    if (showsPlaceholder()) {
        painter.setPen(Theme::color(Theme::Role::ink3));
        painter.drawText(QRectF(rect()), Qt::AlignCenter | Qt::TextWordWrap,
                         QString::fromLatin1(StressChartModel::kPlaceholder));
        return;
    }

    const auto span = StressChartModel::span(m_points, m_now, m_calendar);
    const double seconds = std::max(span.seconds(), 1.0);
    const QRectF plot(0, kTopRoom, width(), std::max(height() - kTopRoom - kLabelBand, 1.0));
    const auto xOf = [&](Instant date) {
        return plot.left() + plot.width() * secondsBetween(span.start, date) / seconds;
    };
    const auto yOf = [&](double load) { return plot.bottom() - plot.height() * std::clamp(load, 0.0, 1.0); };

    // The baseline, with a tick at every hour and the label under every third.
    const QColor ink3 = Theme::color(Theme::Role::ink3);
    painter.setPen(QPen(Theme::color(Theme::Role::hairline), 1));
    painter.drawLine(QPointF(plot.left(), plot.bottom()), QPointF(plot.right(), plot.bottom()));
    for (const auto& mark : StressChartModel::hourMarks(span, m_calendar)) {
        const double x = xOf(mark.date);
        painter.setPen(QPen(ink3, 1));
        painter.setOpacity(mark.labelled ? 0.6 : 0.35);
        painter.drawLine(QPointF(x, plot.bottom()),
                         QPointF(x, plot.bottom() - (mark.labelled ? kLabelledTick : kTick)));
        painter.setOpacity(1.0);
        if (mark.labelled) {
            const QString label = QString::fromStdString(Fmt::hour(mark.date, m_calendar));
            const double labelWidth = metrics.horizontalAdvance(label);
            const double left = std::clamp(x - labelWidth / 2, 0.0, std::max(width() - labelWidth, 0.0));
            painter.drawText(QRectF(left, plot.bottom() + 2, labelWidth + 1, kLabelBand - 2),
                             Qt::AlignLeft | Qt::AlignVCenter, label);
        }
    }

    // High stress starts at half load.
    const QColor fair = Theme::color(Theme::Role::fair);
    const double highY = yOf(Stress::high);
    QPen dashed(fair, 1);
    dashed.setDashPattern({4, 3});
    painter.setOpacity(kHighOpacity);
    painter.setPen(dashed);
    painter.drawLine(QPointF(plot.left(), highY), QPointF(plot.right(), highY));
    painter.setOpacity(1.0);
    // The label sits at the early end, where the day's line is least likely to run.
    painter.setPen(fair);
    painter.drawText(
        QRectF(plot.left() + 2, highY - metrics.height() - 1, plot.width() - 2, metrics.height()),
        Qt::AlignLeft | Qt::AlignBottom, QString::fromLatin1(StressChartModel::kHighLabel));

    const QColor strain = Theme::color(Theme::Role::strain);
    QColor fillTop = strain;
    fillTop.setAlphaF(0.22F);
    QColor fillBottom = strain;
    fillBottom.setAlphaF(0.0F);
    QLinearGradient fill(0, plot.top(), 0, plot.bottom());
    fill.setColorAt(0, fillTop);
    fill.setColorAt(1, fillBottom);
    QPen line(strain, kLineWidth, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);

    for (const auto& run : StressChartModel::runs(m_points)) {
        if (run.empty()) {
            continue;
        }
        QPainterPath path(QPointF(xOf(run.front().date), yOf(run.front().load)));
        for (std::size_t i = 1; i < run.size(); ++i) {
            path.lineTo(xOf(run[i].date), yOf(run[i].load));
        }
        if (run.size() == 1) {
            // A lone point between gaps would vanish as a line of no length.
            painter.setPen(Qt::NoPen);
            painter.setBrush(strain);
            painter.drawEllipse(path.currentPosition(), kLineWidth, kLineWidth);
            continue;
        }
        QPainterPath area = path;
        area.lineTo(xOf(run.back().date), plot.bottom());
        area.lineTo(xOf(run.front().date), plot.bottom());
        area.closeSubpath();
        painter.fillPath(area, fill);
        painter.strokePath(path, line);
    }
}

} // namespace vitrek
