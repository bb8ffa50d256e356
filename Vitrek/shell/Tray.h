#pragma once

#include <QObject>
#include <QPointer>

class QMenu;
class QSystemTrayIcon;

namespace vitrek {

class MenuBarPanel;
class Store;

// The tray icon while "showInMenuBar" is on: its image carries the recovery number, a click opens the
// panel beside it, and its context menu offers "Open Vitrek", "Settings…" and "Quit". Where the desktop has
// no tray, the setting is kept and nothing is shown.
class Tray : public QObject {
    Q_OBJECT

public:
    explicit Tray(Store& store, QObject* parent = nullptr);
    ~Tray() override;

    // Whether the icon is in the tray now.
    bool isShown() const;
    QSystemTrayIcon* icon() const { return m_icon; }
    // Opens the panel at `globalPosition` (the icon's place, or the cursor when the desktop keeps it).
    void showPanel();
    MenuBarPanel* panel() const;
    // The icon's context menu ("Open Vitrek", "Settings…", "Quit"), kept while the icon comes and goes.
    QMenu* menu() const { return m_menu; }

signals:
    void openRequested();
    void settingsRequested();
    void quitRequested();

private:
    void follow(bool show);
    void updateIcon();

    Store& m_store;
    QSystemTrayIcon* m_icon = nullptr;
    QMenu* m_menu = nullptr;
    QPointer<MenuBarPanel> m_panel;
    int m_shownRecovery = -1;
};

} // namespace vitrek
