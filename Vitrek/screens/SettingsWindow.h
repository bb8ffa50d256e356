#pragma once

#include <QWidget>

#include <memory>

namespace vitrek {

class MetricsExport;
class Store;

// The Settings window, 520 × 400: General (tray, login, purchase date), Updates (the kit's section),
// Metrics (the folder for a Prometheus collector) and How It Works. Built anew each time it opens, so the login switch shows the real entry.
class SettingsWindow : public QWidget {
    Q_OBJECT

public:
    // `demo` keeps the login, purchase-date and metrics controls on screen only. Without `trayAvailable`, a
    // note under the tray setting says there is no tray and how to get one. `metrics`, when given, tells
    // why its folder can't be written.
    explicit SettingsWindow(Store& store, bool demo = false, bool trayAvailable = true,
                            MetricsExport* metrics = nullptr, QWidget* parent = nullptr);
    ~SettingsWindow() override;

private:
    void refreshNightSource();
    QWidget* metricsTab(MetricsExport* metrics);

    struct Parts;
    Store& m_store;
    bool m_demo;
    std::unique_ptr<Parts> m_parts; // child widgets belong to Qt
};

} // namespace vitrek
