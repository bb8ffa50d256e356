#pragma once

#include <QWidget>

#include <memory>

class QLabel;
class QVBoxLayout;

namespace vitrek {

class Card;
class Dial;
class HistoryBars;
class Kicker;
class MilestoneBanner;
class MiniCard;
class Store;

// The Today tab: the three dials, the milestone banner, the mini cards, the factors and history cards and
// the tip, rebuilt from the Store whenever it publishes.
class TodayTab : public QWidget {
    Q_OBJECT

public:
    explicit TodayTab(Store& store, QWidget* parent = nullptr);
    ~TodayTab() override;

    // Re-reads every value and colour.
    void refresh();

signals:
    // A mini card was clicked.
    void healthRequested();

private:
    struct Parts;
    void buildDials(QVBoxLayout* column);
    void buildMiniCards(QVBoxLayout* column);
    void buildLowerCards(QVBoxLayout* column);
    void refreshFactors();

    Store& m_store;
    std::unique_ptr<Parts> m_parts; // child widgets belong to Qt
};

} // namespace vitrek
