#include "linux/LogindWatcher.h"

#include <fcntl.h>
#include <unistd.h>

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusUnixFileDescriptor>
#include <QDBusVariant>
#include <QVariant>
#include <utility>

namespace vitrek {

namespace {

const QString kService = QStringLiteral("org.freedesktop.login1");
const QString kPath = QStringLiteral("/org/freedesktop/login1");
const QString kManager = QStringLiteral("org.freedesktop.login1.Manager");

// logind answers at once; a hung one must not hold up the recorder, least of all on the way to sleep.
constexpr int kCallTimeoutMilliseconds = 1000;

QDBusMessage call(const QDBusConnection& bus, const QString& interface, const QString& method,
                  const QVariantList& arguments = {}) {
    QDBusMessage message = QDBusMessage::createMethodCall(kService, kPath, interface, method);
    message.setArguments(arguments);
    return bus.call(message, QDBus::Block, kCallTimeoutMilliseconds);
}

std::optional<bool> boolProperty(const QDBusConnection& bus, const QString& name) {
    const QDBusMessage reply =
        call(bus, QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"), {kManager, name});
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) {
        return std::nullopt;
    }
    const QVariant value = reply.arguments().constFirst().value<QDBusVariant>().variant();
    if (value.userType() != QMetaType::Bool) {
        return std::nullopt;
    }
    return value.toBool();
}

} // namespace

LogindWatcher::LogindWatcher(QDBusConnection systemBus, QObject* parent)
    : QObject(parent), m_bus(std::move(systemBus)) {
    if (!m_bus.isConnected()) {
        return;
    }
    // Ping answers from any implementation (and starts an activatable one) without touching its state.
    m_available = call(m_bus, QStringLiteral("org.freedesktop.DBus.Peer"), QStringLiteral("Ping")).type() ==
                  QDBusMessage::ReplyMessage;
    if (!m_available) {
        return;
    }
    m_bus.connect(kService, kPath, kManager, QStringLiteral("PrepareForSleep"), this,
                  SLOT(prepareForSleep(bool)));
    takeDelay();
}

LogindWatcher::~LogindWatcher() { releaseDelay(); }

bool LogindWatcher::isAvailable() const { return m_available; }

std::optional<bool> LogindWatcher::lidClosed() const {
    return m_available ? boolProperty(m_bus, QStringLiteral("LidClosed")) : std::nullopt;
}

std::optional<bool> LogindWatcher::idleHint() const {
    return m_available ? boolProperty(m_bus, QStringLiteral("IdleHint")) : std::nullopt;
}

std::vector<LogindWatcher::Inhibitor> LogindWatcher::inhibitors() const {
    if (!m_available) {
        return {};
    }
    const QDBusMessage reply = call(m_bus, kManager, QStringLiteral("ListInhibitors"));
    if (reply.type() != QDBusMessage::ReplyMessage || reply.signature() != QStringLiteral("a(ssssuu)")) {
        return {};
    }
    std::vector<Inhibitor> inhibitors;
    const auto argument = reply.arguments().constFirst().value<QDBusArgument>();
    argument.beginArray();
    while (!argument.atEnd()) {
        QString what, who, why, mode;
        uint uid = 0, pid = 0;
        argument.beginStructure();
        argument >> what >> who >> why >> mode >> uid >> pid;
        argument.endStructure();
        inhibitors.push_back(
            {what.toStdString(), who.toStdString(), why.toStdString(), mode.toStdString(), uid, pid});
    }
    argument.endArray();
    return inhibitors;
}

void LogindWatcher::releaseDelay() {
    if (m_delayFd >= 0) {
        ::close(m_delayFd);
        m_delayFd = -1;
    }
}

bool LogindWatcher::holdsDelay() const { return m_delayFd >= 0; }

void LogindWatcher::takeDelay() {
    if (m_delayFd >= 0) {
        return;
    }
    const QDBusMessage reply =
        call(m_bus, kManager, QStringLiteral("Inhibit"),
             {QStringLiteral("sleep"), QStringLiteral("Vitrek"),
              QStringLiteral("Recording the moment of sleep"), QStringLiteral("delay")});
    // Refused (polkit may deny it) or unanswered: the moments are still recorded, only without the
    // guarantee that the moment of sleep is written before the machine goes.
    if (reply.type() != QDBusMessage::ReplyMessage || reply.signature() != QStringLiteral("h")) {
        return;
    }
    const auto lock = reply.arguments().constFirst().value<QDBusUnixFileDescriptor>();
    if (lock.isValid()) {
        // Our own copy, closed exactly when we release; close-on-exec, so a child process started
        // meanwhile cannot hold the machine awake.
        m_delayFd = ::fcntl(lock.fileDescriptor(), F_DUPFD_CLOEXEC, 0);
    }
}

void LogindWatcher::prepareForSleep(bool start) {
    if (start) {
        emit aboutToSleep();
        releaseDelay();
    } else {
        takeDelay();
        emit wokeUp();
    }
}

} // namespace vitrek
