#pragma once

#include <QDBusConnection>
#include <QObject>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vitrek {

// systemd-logind (or elogind) on the system bus: the moments of sleep and wake, the lid, the idle hint and
// the inhibitors. Every call blocks for a second at most.
class LogindWatcher : public QObject {
    Q_OBJECT

public:
    struct Inhibitor {    // one entry of ListInhibitors() a(ssssuu)
        std::string what; // "sleep:idle:handle-lid-switch", colon-separated
        std::string who;
        std::string why;
        std::string mode; // "block" or "delay"
        std::uint32_t uid = 0;
        std::uint32_t pid = 0;
        bool operator==(const Inhibitor&) const = default;
    };

    // Asks for a sleep delay lock at once when logind answers; carries on without one when it is refused.
    explicit LogindWatcher(QDBusConnection systemBus, QObject* parent = nullptr);
    ~LogindWatcher() override;

    // Whether org.freedesktop.login1 answered on the bus when constructed; without it the watcher never
    // signals and every reading is absent or empty.
    bool isAvailable() const;
    // The Manager property LidClosed; absent when logind has none (desktops) or does not answer.
    std::optional<bool> lidClosed() const;
    // The Manager property IdleHint; absent when logind does not answer.
    std::optional<bool> idleHint() const;
    // Manager.ListInhibitors(), the lock of our own included; empty when unavailable or on error.
    std::vector<Inhibitor> inhibitors() const;

    // Lets the pending sleep go ahead: closes the delay lock taken so the moment of sleep can be written
    // first. Does nothing when no lock is held.
    void releaseDelay();
    bool holdsDelay() const;

signals:
    // PrepareForSleep(true). The delay lock is held while the receivers run and released as soon as the
    // emission returns, whether or not they called releaseDelay(); connect directly, since a queued
    // receiver runs after the machine may already be asleep.
    void aboutToSleep();
    // PrepareForSleep(false), after a fresh delay lock has been taken for the next sleep.
    void wokeUp();

private slots:
    void prepareForSleep(bool start);

private:
    void takeDelay();

    QDBusConnection m_bus;
    bool m_available = false;
    int m_delayFd = -1;
};

} // namespace vitrek
