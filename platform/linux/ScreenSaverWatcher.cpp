#include "linux/ScreenSaverWatcher.h"

#include <QDBusMessage>
#include <QVariant>
#include <array>
#include <utility>

namespace vitrek {

namespace {

// A desktop answers at once; a hung service must not hold up the recorder.
constexpr int kCallTimeoutMilliseconds = 1000;

struct Candidate {
    const char* service;
    const char* path;
    const char* interface;
};

// GNOME's settings daemon owns the freedesktop name only to take inhibitions and answers GetActive with an
// error, so its shell's own service is asked next.
constexpr std::array<Candidate, 3> kCandidates{{
    {"org.freedesktop.ScreenSaver", "/org/freedesktop/ScreenSaver", "org.freedesktop.ScreenSaver"},
    {"org.freedesktop.ScreenSaver", "/ScreenSaver", "org.freedesktop.ScreenSaver"},
    {"org.gnome.ScreenSaver", "/org/gnome/ScreenSaver", "org.gnome.ScreenSaver"},
}};

} // namespace

ScreenSaverWatcher::ScreenSaverWatcher(QDBusConnection sessionBus, QObject* parent)
    : QObject(parent), m_bus(std::move(sessionBus)) {
    if (!m_bus.isConnected()) {
        return;
    }
    for (const auto& candidate : kCandidates) {
        const QString service = QString::fromLatin1(candidate.service);
        const QString path = QString::fromLatin1(candidate.path);
        const QString interface = QString::fromLatin1(candidate.interface);
        if (getActive(service, path, interface)) {
            m_service = service;
            m_path = path;
            m_interface = interface;
            m_bus.connect(m_service, m_path, m_interface, QStringLiteral("ActiveChanged"), this,
                          SLOT(activeChangedOnBus(bool)));
            return;
        }
    }
}

bool ScreenSaverWatcher::isAvailable() const { return !m_service.isEmpty(); }

std::optional<bool> ScreenSaverWatcher::active() const {
    return isAvailable() ? getActive(m_service, m_path, m_interface) : std::nullopt;
}

void ScreenSaverWatcher::activeChangedOnBus(bool active) { emit activeChanged(active); }

std::optional<bool> ScreenSaverWatcher::getActive(const QString& service, const QString& path,
                                                  const QString& interface) const {
    const QDBusMessage reply =
        m_bus.call(QDBusMessage::createMethodCall(service, path, interface, QStringLiteral("GetActive")),
                   QDBus::Block, kCallTimeoutMilliseconds);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.signature() != QStringLiteral("b")) {
        return std::nullopt;
    }
    return reply.arguments().constFirst().toBool();
}

} // namespace vitrek
