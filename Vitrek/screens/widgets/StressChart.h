#pragma once

#include "scores/Sample.h"
#include "scores/Stress.h"
#include "time/Calendar.h"
#include "time/Instant.h"

#include <QWidget>
#include <vector>

namespace vitrek {

// Today's processor load in ten-minute points over at least the last six hours, with hour marks, a dashed
// "High" line at half load and the placeholder text while there are fewer than two points.
class StressChart : public QWidget {
    Q_OBJECT

public:
    explicit StressChart(QWidget* parent = nullptr);

    void setSamples(std::vector<Sample> samples, Instant now, Calendar calendar);
    // Whether the chart shows only its placeholder.
    bool showsPlaceholder() const;

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    std::vector<Sample> m_samples;
    std::vector<Stress::Point> m_points; // the ten-minute curve of m_samples
    Instant m_now{};
    Calendar m_calendar;
};

} // namespace vitrek
