#pragma once

#include <QWidget>

#include <memory>

namespace vitrek {

class Calendar;
class Store;
struct Vital;

// The Health tab: the Vitrek Age orb, the pace of ageing, the age factors, the Health Monitor, the Stress
// Monitor with its chart and the footnote.
class HealthTab : public QWidget {
    Q_OBJECT

public:
    explicit HealthTab(Store& store, QWidget* parent = nullptr);
    ~HealthTab() override;

    void refresh();

private:
    struct Parts;
    QWidget* buildOrbCard();
    QWidget* buildPaceCard();
    QWidget* buildAgeFactorsCard();
    QWidget* buildHealthMonitor();
    QWidget* buildStressMonitor();
    QWidget* vitalTile(const Vital& vital);
    void refreshAge(const Calendar& calendar);
    void refreshAgeFactors();
    void refreshVitals();
    void refreshNightSource(const Calendar& calendar);
    void refreshStress(const Calendar& calendar);

    Store& m_store;
    std::unique_ptr<Parts> m_parts; // child widgets belong to Qt
};

} // namespace vitrek
