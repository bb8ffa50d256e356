#pragma once

#include <QWidget>

#include <optional>

namespace vitrek {

// The pace of ageing: the value, then "Slow" (with a tortoise) and "Fast" at either end of a 40-high
// scale of 41 ticks for 0×…2×, and a marker at the pace.
class PaceScale : public QWidget {
    Q_OBJECT

public:
    explicit PaceScale(QWidget* parent = nullptr);

    void setPace(std::optional<double> pace);
    std::optional<double> pace() const { return m_pace; }
    // The tick canvas in widget coordinates, and the marker's rectangle in them (null without a pace).
    QRectF canvasRect() const;
    QRectF markerRect() const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    std::optional<double> m_pace;
};

} // namespace vitrek
