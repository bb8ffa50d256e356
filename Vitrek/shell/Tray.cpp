#include "shell/Tray.h"

#include "Store.h"
#include "screens/MenuBarPanel.h"
#include "screens/ScreenTexts.h"
#include "shell/Preferences.h"
#include "shell/TrayArt.h"

#include <QCursor>
#include <QGuiApplication>
#include <QMenu>
#include <QScreen>
#include <QSystemTrayIcon>

namespace vitrek {

Tray::Tray(Store& store, QObject* parent) : QObject(parent), m_store(store) {
    m_menu = new QMenu;
    connect(m_menu->addAction(QString::fromUtf8(Texts::kOpenVitrek)), &QAction::triggered, this,
            &Tray::openRequested);
    connect(m_menu->addAction(QString::fromUtf8(Texts::kSettingsMenu)), &QAction::triggered, this,
            &Tray::settingsRequested);
    m_menu->addSeparator();
    connect(m_menu->addAction(QString::fromUtf8(Texts::kQuit)), &QAction::triggered, this,
            &Tray::quitRequested);

    connect(&Preferences::shared(), &Preferences::showInMenuBarChanged, this, &Tray::follow);
    connect(&m_store, &Store::recoveryChanged, this, &Tray::updateIcon);
    connect(&m_store, &Store::readingChanged, this, &Tray::updateIcon);
    follow(Preferences::shared().showInMenuBar());
}

Tray::~Tray() {
    delete m_panel;
    delete m_icon;
    delete m_menu;
}

MenuBarPanel* Tray::panel() const { return m_panel; }

bool Tray::isShown() const { return m_icon != nullptr && m_icon->isVisible(); }

void Tray::follow(bool show) {
    if (!show) {
        delete m_icon;
        m_icon = nullptr;
        if (m_panel) {
            m_panel->close();
        }
        return;
    }
    if (m_icon != nullptr) {
        return;
    }
    m_icon = new QSystemTrayIcon;
    m_icon->setContextMenu(m_menu);
    connect(m_icon, &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
        if (reason == QSystemTrayIcon::Trigger || reason == QSystemTrayIcon::DoubleClick) {
            showPanel();
        }
    });
    m_shownRecovery = -2;
    updateIcon();
    // Without a tray the icon object is kept with its image, but nothing is shown.
    if (QSystemTrayIcon::isSystemTrayAvailable()) {
        m_icon->show();
    }
}

void Tray::updateIcon() {
    if (m_icon == nullptr) {
        return;
    }
    const int recovery = m_store.reading() ? m_store.recovery() : -1;
    if (recovery == m_shownRecovery) {
        return;
    }
    m_shownRecovery = recovery;
    m_icon->setIcon(TrayArt::icon(recovery >= 0 ? std::optional<int>(recovery) : std::nullopt));
    m_icon->setToolTip(QString::fromStdString(Texts::trayToolTip(m_store.recovery())));
}

void Tray::showPanel() {
    if (m_panel && m_panel->isVisible()) {
        m_panel->close();
        return;
    }
    if (!m_panel) {
        m_panel = new MenuBarPanel(m_store);
        m_panel->setWindowFlags(Qt::Popup | Qt::FramelessWindowHint);
        m_panel->setAttribute(Qt::WA_DeleteOnClose);
        connect(m_panel, &MenuBarPanel::openRequested, this, [this] {
            m_panel->close();
            emit openRequested();
        });
        connect(m_panel, &MenuBarPanel::quitRequested, this, &Tray::quitRequested);
    }
    m_panel->adjustSize();
    // Beside the icon when the desktop tells where it is, else at the pointer; always on the screen.
    const QRect iconPlace = m_icon != nullptr ? m_icon->geometry() : QRect();
    const QPoint anchor = iconPlace.isValid() ? iconPlace.bottomLeft() : QCursor::pos();
    const QScreen* screen = QGuiApplication::screenAt(anchor);
    if (screen == nullptr) {
        screen = QGuiApplication::primaryScreen();
    }
    QRect place(anchor, m_panel->size());
    if (screen != nullptr) {
        const QRect area = screen->availableGeometry();
        if (place.bottom() > area.bottom()) {
            place.moveBottom((iconPlace.isValid() ? iconPlace.top() : anchor.y()) - 1);
        }
        if (place.right() > area.right()) {
            place.moveRight(area.right());
        }
        place.moveTop(std::max(place.top(), area.top()));
        place.moveLeft(std::max(place.left(), area.left()));
    }
    m_panel->move(place.topLeft());
    m_panel->show();
    m_panel->activateWindow();
}

} // namespace vitrek
