#pragma once

#include <QColor>
#include <QWidget>

namespace vitrek {

// A small heading: the text upper-cased in the kicker font with 1.2 of tracking, on one line, shrunk down
// to 0.7 of its size when it does not fit.
class Kicker : public QWidget {
    Q_OBJECT

public:
    explicit Kicker(const QString& text = {}, QWidget* parent = nullptr);

    void setText(const QString& text);
    QString text() const { return m_text; }
    // Absent: Theme's ink3 in the current appearance.
    void setColor(const QColor& color);
    // Extra letter spacing in points (1.2 by default; the orb's kicker uses 1.6).
    void setTracking(qreal tracking);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QFont font() const;

    QString m_text;
    QColor m_color;
    qreal m_tracking = 1.2;
};

} // namespace vitrek
