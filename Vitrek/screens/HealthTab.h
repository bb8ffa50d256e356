#pragma once

#include <QWidget>

namespace vitrek {

class Store;

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
    Store& m_store;
    Parts* m_parts = nullptr;
};

} // namespace vitrek
