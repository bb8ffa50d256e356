#pragma once

#include <QWidget>

#include <memory>

namespace vitrek {

class Store;

// The tray's panel, 320 wide: three small dials, the tip, and "Open Vitrek" and "Quit".
class MenuBarPanel : public QWidget {
    Q_OBJECT

public:
    explicit MenuBarPanel(Store& store, QWidget* parent = nullptr);
    ~MenuBarPanel() override;

    void refresh();

signals:
    void openRequested();
    void quitRequested();

private:
    struct Parts;
    Store& m_store;
    std::unique_ptr<Parts> m_parts; // child widgets belong to Qt
};

} // namespace vitrek
