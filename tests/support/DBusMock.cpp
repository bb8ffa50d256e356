#include "support/DBusMock.h"

#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <QDBusConnectionInterface>
#include <QDBusReply>
#include <QDBusVariant>
#include <QProcess>
#include <QStringList>
#include <atomic>
#include <chrono>

namespace vitrek::test {

namespace {

using namespace std::chrono_literals;

const QString kMockInterface = QStringLiteral("org.freedesktop.DBus.Mock");
constexpr auto kStartTimeout = 10s; // Python and its bindings start slowly on a machine busy building
constexpr int kCallTimeoutMilliseconds = 5000;

// A bus of the test's own: no service files, so nothing is started on demand, and anyone may own any name.
std::string configuration(DBusMock::Role role, const std::filesystem::path& socket) {
    const std::string type = role == DBusMock::Role::system ? "system" : "session";
    // clang-format off
    return "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-BUS Bus Configuration 1.0//EN\"\n"
           " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
           "<busconfig>\n"
           "  <type>" + type + "</type>\n"
           "  <listen>unix:path=" + socket.string() + "</listen>\n"
           "  <auth>EXTERNAL</auth>\n"
           "  <policy context=\"default\">\n"
           "    <allow send_destination=\"*\" eavesdrop=\"true\"/>\n"
           "    <allow eavesdrop=\"true\"/>\n"
           "    <allow own=\"*\"/>\n"
           "  </policy>\n"
           "</busconfig>\n";
    // clang-format on
}

// Starts `program` with `environment` and its input on /dev/null; it dies with the test process should that
// crash. The daemon's output is read and its complaints hidden; a mock's output is dropped, its complaints
// ours.
std::unique_ptr<QProcess> spawn(const QString& program, const QStringList& arguments,
                                const QProcessEnvironment& environment, bool isDaemon) {
    auto process = std::make_unique<QProcess>();
    process->setProcessEnvironment(environment);
    process->setStandardInputFile(QProcess::nullDevice());
    if (isDaemon) {
        process->setStandardErrorFile(QProcess::nullDevice());
    } else {
        process->setStandardOutputFile(QProcess::nullDevice());
        process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    }
    process->setChildProcessModifier([parent = ::getpid()] {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (::getppid() != parent) {
            ::_exit(127);
        }
    });
    process->start(program, arguments);
    return process;
}

QStringList wellKnownNames(const QDBusConnection& bus) {
    QStringList names = bus.interface()->registeredServiceNames().value();
    names.removeIf([](const QString& name) { return name.startsWith(u':'); });
    return names;
}

} // namespace

DBusMock::DBusMock(Role role) : m_role(role) {
    if (m_folder.path().empty()) {
        return;
    }
    m_folder.write("bus.conf", configuration(role, m_folder.path() / "bus"));
    // Run as root without the right to raise its descriptor limit (a container), the daemon says so on
    // every start; whether it started is told by the address it prints.
    const QString configFile = QString::fromStdString((m_folder.path() / "bus.conf").string());
    auto& daemon = *m_children.emplace_back(
        spawn("/usr/bin/dbus-daemon", {"--config-file=" + configFile, "--nofork", "--print-address"},
              QProcessEnvironment::systemEnvironment(), true));
    const auto deadline = std::chrono::steady_clock::now() + kStartTimeout;
    while (!daemon.canReadLine() && daemon.state() != QProcess::NotRunning &&
           std::chrono::steady_clock::now() < deadline) {
        daemon.waitForReadyRead(100);
    }
    m_address = daemon.canReadLine() ? daemon.readLine().trimmed().toStdString() : std::string();
    if (m_address.empty()) {
        return;
    }
    static std::atomic<int> serial = 0;
    m_connectionName = QStringLiteral("vitrek-test-bus-%1").arg(++serial);
    QDBusConnection::connectToBus(QString::fromStdString(m_address), m_connectionName);
}

DBusMock::~DBusMock() {
    if (!m_connectionName.isEmpty()) {
        QDBusConnection::disconnectFromBus(m_connectionName);
    }
    // The mocks first, so none of them sees its bus vanish and complains.
    for (auto child = m_children.rbegin(); child != m_children.rend(); ++child) {
        (*child)->terminate();
        if (!(*child)->waitForFinished(2000)) {
            (*child)->kill();
            (*child)->waitForFinished();
        }
    }
}

const std::string& DBusMock::address() const { return m_address; }

const char* DBusMock::environmentVariable() const {
    return m_role == Role::system ? "DBUS_SYSTEM_BUS_ADDRESS" : "DBUS_SESSION_BUS_ADDRESS";
}

QDBusConnection DBusMock::connection() const {
    return m_connectionName.isEmpty() ? QDBusConnection(QString()) : QDBusConnection(m_connectionName);
}

bool DBusMock::startTemplate(const std::string& name) { return startMock({"--template", name}, {}); }

bool DBusMock::startObject(const std::string& busName, const std::string& path,
                           const std::string& interface) {
    return startMock({busName, path, interface}, busName);
}

bool DBusMock::startMock(const std::vector<std::string>& arguments, const std::string& busName) {
    if (m_address.empty() || !connection().isConnected()) {
        return false;
    }
    const QDBusConnection bus = connection();
    const QStringList namesBefore = wellKnownNames(bus);
    // Debian's bindings belong to its own interpreter, whatever python3 comes first on the PATH. Both
    // addresses name this bus, so a mock can never reach the machine's own.
    QStringList command{"-m", "dbusmock", m_role == Role::system ? "--system" : "--session"};
    for (const auto& argument : arguments) {
        command << QString::fromStdString(argument);
    }
    auto environment = QProcessEnvironment::systemEnvironment();
    environment.insert("DBUS_SYSTEM_BUS_ADDRESS", QString::fromStdString(m_address));
    environment.insert("DBUS_SESSION_BUS_ADDRESS", QString::fromStdString(m_address));
    auto& mock = *m_children.emplace_back(spawn("/usr/bin/python3", command, environment, false));

    // A template's bus name is the one that appears.
    const auto deadline = std::chrono::steady_clock::now() + kStartTimeout;
    while (std::chrono::steady_clock::now() < deadline) {
        for (const QString& name : wellKnownNames(bus)) {
            if (!namesBefore.contains(name) && (busName.empty() || name.toStdString() == busName)) {
                m_service = name;
                return true;
            }
        }
        if (mock.waitForFinished(20)) {
            m_children.pop_back();
            return false;
        }
    }
    return false;
}

QDBusMessage DBusMock::call(const QString& path, const QString& interface, const QString& method,
                            const QVariantList& arguments) const {
    QDBusMessage message = QDBusMessage::createMethodCall(m_service, path, interface, method);
    message.setArguments(arguments);
    return connection().call(message, QDBus::Block, kCallTimeoutMilliseconds);
}

QDBusMessage DBusMock::emitSignal(const QString& path, const QString& interface, const QString& name,
                                  const QString& signature, const QVariantList& arguments) const {
    return call(path, kMockInterface, QStringLiteral("EmitSignal"),
                {interface, name, signature, QVariant::fromValue(arguments)});
}

QDBusMessage DBusMock::addProperty(const QString& path, const QString& interface, const QString& name,
                                   const QVariant& value) const {
    return call(path, kMockInterface, QStringLiteral("AddProperty"),
                {interface, name, QVariant::fromValue(QDBusVariant(value))});
}

QDBusMessage DBusMock::addMethod(const QString& path, const QString& interface, const QString& name,
                                 const QString& inSignature, const QString& outSignature,
                                 const QString& code) const {
    return call(path, kMockInterface, QStringLiteral("AddMethod"),
                {interface, name, inSignature, outSignature, code});
}

} // namespace vitrek::test
