#pragma once

#include <QColor>
#include <QWidget>

#include <optional>

class QVariantAnimation;

namespace vitrek {

// A ring gauge: a track circle, the arc from the top to `shown` in the dial's colour with round caps, and
// the value in the centre. `shown` follows the fraction with a damped spring (response 0.9 s, damping
// fraction 0.85), or jumps there at once when motion is reduced.
class Dial : public QWidget {
    Q_OBJECT

public:
    explicit Dial(int size = 168, int line = 16, QWidget* parent = nullptr);

    // Absent: an empty ring, and the value in the tertiary ink.
    void setFraction(std::optional<double> fraction);
    void setValue(const QString& value);
    void setColor(const QColor& color);

    std::optional<double> fraction() const { return m_fraction; }
    QString value() const { return m_value; }
    // Where the arc is drawn to now, 0…1.
    double shown() const { return m_shown; }
    // The target `shown` moves to: the fraction clamped to 0…1, 0 when absent.
    double target() const;

    // Process-wide: when on, dials jump to their targets (the desktop's animations are off, or snapshots
    // are being taken).
    static void setReduceMotion(bool reduce);
    static bool reduceMotion();

    QSize sizeHint() const override;

    // The spring's position at `t` seconds for a move from 0 to 1 (exposed for tests).
    static double springAt(double t);

protected:
    void paintEvent(QPaintEvent* event) override;
    void showEvent(QShowEvent* event) override;

private:
    void moveToTarget();

    int m_size;
    int m_line;
    std::optional<double> m_fraction;
    QString m_value;
    QColor m_color;
    double m_shown = 0;
    bool m_appeared = false;
    QVariantAnimation* m_animation = nullptr;
    // The running spring: where it started, how fast `shown` moved then (per second), and where it goes.
    double m_springFrom = 0;
    double m_springVelocity = 0;
    double m_springGoal = 0;
};

} // namespace vitrek
