#pragma once

#include <QWidget>

#include <optional>

namespace vitrek {

// The Vitrek Age orb: a soft blob in the gap's tint with a sprinkle of dots, the kicker, the years and a
// pill saying how far from its real age the machine is. The blob and the dots are the same for the same
// size, so two paints of the same values are identical.
class AgeOrb : public QWidget {
    Q_OBJECT

public:
    explicit AgeOrb(int size = 280, QWidget* parent = nullptr);

    void setAge(std::optional<double> years, std::optional<double> gap);

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    int m_size;
    std::optional<double> m_years;
    std::optional<double> m_gap;
};

} // namespace vitrek
