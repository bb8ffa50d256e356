#include "HistoryBars.h"

#include "screens/ScreenTexts.h"
#include "screens/Theme.h"

#include <QHelpEvent>
#include <QPaintEvent>
#include <QPainter>
#include <QPainterPath>
#include <QToolTip>
#include <algorithm>

namespace vitrek {

namespace {

constexpr qreal kGap = 5;
constexpr int kFrameHeight = 120;
constexpr qreal kRadius = 3;
constexpr int kPreferredWidth = 220;

} // namespace

HistoryBars::HistoryBars(QWidget* parent) : QWidget(parent) {
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

void HistoryBars::setDays(std::vector<Day> days) {
    m_days = std::move(days);
    update();
}

QRectF HistoryBars::barRect(std::size_t index) const {
    const auto count = static_cast<qreal>(m_days.size());
    if (index >= m_days.size()) {
        return {};
    }
    const qreal barWidth = (width() - kGap * (count - 1)) / count;
    if (barWidth <= 0) {
        return {};
    }
    const qreal frame = std::min(height(), kFrameHeight);
    const qreal barHeight = std::min(Texts::barHeight(m_days[index].recovery), frame);
    return QRectF{static_cast<qreal>(index) * (barWidth + kGap), height() - barHeight, barWidth, barHeight};
}

QSize HistoryBars::sizeHint() const { return QSize{kPreferredWidth, kFrameHeight}; }

void HistoryBars::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter{this};
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    for (std::size_t i = 0; i < m_days.size(); ++i) {
        const QRectF bar = barRect(i);
        if (bar.isEmpty()) {
            continue;
        }
        QPainterPath path;
        path.addRoundedRect(bar, kRadius, kRadius);
        painter.fillPath(path, Theme::color(Theme::color(Theme::recoveryBand(m_days[i].recovery))));
    }
}

bool HistoryBars::event(QEvent* event) {
    if (event->type() != QEvent::ToolTip) {
        return QWidget::event(event);
    }
    auto* help = static_cast<QHelpEvent*>(event);
    // The whole column above a bar counts, so short bars are as easy to point at as tall ones.
    for (std::size_t i = 0; i < m_days.size(); ++i) {
        const QRectF bar = barRect(i);
        if (help->pos().x() >= bar.left() && help->pos().x() < bar.right()) {
            const QRect column =
                QRectF{bar.left(), 0, bar.width(), static_cast<qreal>(height())}.toAlignedRect();
            QToolTip::showText(help->globalPos(), QString::fromStdString(Texts::dayHelp(m_days[i])), this,
                               column);
            return true;
        }
    }
    QToolTip::hideText();
    event->ignore();
    return true;
}

} // namespace vitrek
