#include "support/DBusMock.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QDBusConnectionInterface>
#include <QDBusReply>
#include <QDBusVariant>
#include <QStringList>
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <string_view>
#include <thread>

extern char** environ;

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

std::vector<char*> pointers(std::vector<std::string>& strings) {
    std::vector<char*> list;
    for (auto& string : strings) {
        list.push_back(string.data());
    }
    list.push_back(nullptr);
    return list;
}

enum class Complaints { shown, hidden };

// Starts `arguments` with our environment plus `overrides` ("NAME=value"), standard input and output on
// /dev/null, standard error ours or hidden, and `descriptor3`, when given, as its descriptor 3.
pid_t spawn(std::vector<std::string> arguments, const std::vector<std::string>& overrides,
            Complaints complaints, int descriptor3 = -1) {
    std::vector<std::string> environment;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string_view variable(*entry);
        const bool overridden = std::any_of(overrides.begin(), overrides.end(), [&](const std::string& o) {
            return variable.substr(0, variable.find('=') + 1) ==
                   std::string_view(o).substr(0, o.find('=') + 1);
        });
        if (!overridden) {
            environment.emplace_back(variable);
        }
    }
    environment.insert(environment.end(), overrides.begin(), overrides.end());
    const auto argv = pointers(arguments);
    const auto envp = pointers(environment);

    const pid_t parent = ::getpid();
    const pid_t pid = ::fork();
    if (pid != 0) {
        return pid;
    }
    // Only async-signal-safe calls from here on: the test process has other threads.
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != parent) {
        ::_exit(127);
    }
    const int null = ::open("/dev/null", O_RDWR);
    ::dup2(null, STDIN_FILENO);
    ::dup2(null, STDOUT_FILENO);
    if (complaints == Complaints::hidden) {
        ::dup2(null, STDERR_FILENO);
    }
    if (descriptor3 == 3) {
        ::fcntl(3, F_SETFD, 0); // dup2 onto itself would leave it to close on exec
    } else if (descriptor3 >= 0) {
        ::dup2(descriptor3, 3);
    }
    ::execve(argv[0], argv.data(), envp.data());
    ::_exit(127);
}

bool exited(pid_t pid) { return ::waitpid(pid, nullptr, WNOHANG) == pid; }

void stop(pid_t pid) {
    ::kill(pid, SIGTERM);
    const auto deadline = std::chrono::steady_clock::now() + 2s;
    while (std::chrono::steady_clock::now() < deadline) {
        if (exited(pid)) {
            return;
        }
        std::this_thread::sleep_for(10ms);
    }
    ::kill(pid, SIGKILL);
    ::waitpid(pid, nullptr, 0);
}

// The first line written to `fd` before the deadline, without its line feed.
std::string firstLine(int fd, std::chrono::steady_clock::time_point deadline) {
    std::string text;
    while (text.find('\n') == std::string::npos) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        pollfd readable{fd, POLLIN, 0};
        if (left.count() <= 0 || ::poll(&readable, 1, static_cast<int>(left.count())) <= 0) {
            return {};
        }
        char buffer[256];
        const ssize_t count = ::read(fd, buffer, sizeof buffer);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            return {};
        }
        text.append(buffer, static_cast<std::size_t>(count));
    }
    return text.substr(0, text.find('\n'));
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
    int address[2];
    if (::pipe2(address, O_CLOEXEC) != 0) {
        return;
    }
    m_children.push_back(
        spawn({"/usr/bin/dbus-daemon", "--config-file=" + (m_folder.path() / "bus.conf").string(), "--nofork",
               "--print-address=3"},
              {}, Complaints::hidden, address[1]));
    ::close(address[1]);
    m_address = firstLine(address[0], std::chrono::steady_clock::now() + kStartTimeout);
    ::close(address[0]);
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
        stop(*child);
    }
}

bool DBusMock::isRunning() const { return !m_address.empty() && connection().isConnected(); }

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
    if (!isRunning()) {
        return false;
    }
    const QDBusConnection bus = connection();
    const QStringList namesBefore = wellKnownNames(bus);
    // Debian's bindings belong to its own interpreter, whatever python3 comes first on the PATH. Both
    // addresses name this bus, so a mock can never reach the machine's own.
    std::vector<std::string> command{"/usr/bin/python3", "-m", "dbusmock",
                                     m_role == Role::system ? "--system" : "--session"};
    command.insert(command.end(), arguments.begin(), arguments.end());
    const pid_t pid =
        spawn(command, {"DBUS_SYSTEM_BUS_ADDRESS=" + m_address, "DBUS_SESSION_BUS_ADDRESS=" + m_address},
              Complaints::shown);
    m_children.push_back(pid);

    // A template's bus name is the one that appears.
    const auto deadline = std::chrono::steady_clock::now() + kStartTimeout;
    while (std::chrono::steady_clock::now() < deadline) {
        for (const QString& name : wellKnownNames(bus)) {
            if (!namesBefore.contains(name) && (busName.empty() || name.toStdString() == busName)) {
                m_service = name;
                return true;
            }
        }
        if (exited(pid)) {
            m_children.pop_back();
            return false;
        }
        std::this_thread::sleep_for(20ms);
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
