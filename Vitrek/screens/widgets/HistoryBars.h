#pragma once

#include "history/Day.h"

#include <QWidget>

#include <vector>

namespace vitrek {

// The recovery of the shown days as bottom-aligned rounded bars 5 apart in a frame 120 high, each in the
// recovery band's colour, with the day's help as the tool tip of its bar.
class HistoryBars : public QWidget {
    Q_OBJECT

public:
    explicit HistoryBars(QWidget* parent = nullptr);

    void setDays(std::vector<Day> days);
    const std::vector<Day>& days() const { return m_days; }
    // The bar of day `index` in widget coordinates.
    QRectF barRect(std::size_t index) const;

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    bool event(QEvent* event) override;

private:
    std::vector<Day> m_days;
};

} // namespace vitrek
