#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QString>
#include <optional>

namespace vitrek {

// The session's screen saver: whether the screen is blanked or locked. Tries org.freedesktop.ScreenSaver
// (/org/freedesktop/ScreenSaver, then /ScreenSaver: KDE and others), then org.gnome.ScreenSaver
// (/org/gnome/ScreenSaver); the first that answers GetActive is followed. Every call blocks for a second
// at most.
class ScreenSaverWatcher : public QObject {
    Q_OBJECT

public:
    explicit ScreenSaverWatcher(QDBusConnection sessionBus, QObject* parent = nullptr);

    // Whether a screen saver answered when constructed; without one the watcher never signals.
    bool isAvailable() const;
    std::optional<bool> active() const; // GetActive(); absent without a service or when it does not answer

signals:
    void activeChanged(bool active); // ActiveChanged(b) of whichever service answered

private slots:
    void activeChangedOnBus(bool active);

private:
    std::optional<bool> getActive(const QString& service, const QString& path,
                                  const QString& interface) const;

    QDBusConnection m_bus;
    QString m_service;
    QString m_path;
    QString m_interface;
};

} // namespace vitrek
