#pragma once

#include "Card.h"

class QLabel;
class QToolButton;

namespace vitrek {

class Kicker;

// The banner of a reached streak milestone: a flame in a circle, the kicker "Milestone", the milestone's
// title, the detail line and a close button.
class MilestoneBanner : public Card {
    Q_OBJECT

public:
    explicit MilestoneBanner(QWidget* parent = nullptr);

    void setMilestone(int reached, int streak);
    // Re-reads the theme's colours.
    void refreshColors();

    QString title() const;
    QString detail() const;

signals:
    void closeRequested();

private:
    QWidget* m_flame = nullptr;
    Kicker* m_kicker = nullptr;
    QLabel* m_title = nullptr;
    QLabel* m_detail = nullptr;
    QToolButton* m_close = nullptr;
};

} // namespace vitrek
