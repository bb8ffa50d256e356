#pragma once

#include "support/ScratchDirectory.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QString>
#include <QVariant>
#include <memory>
#include <string>
#include <vector>

class QProcess;

namespace vitrek::test {

// A private dbus-daemon for one test, with mock services on it run by python-dbusmock
// (/usr/bin/python3 -m dbusmock). Everything it started is stopped when it goes, and dies with the test
// process should that crash. Two of them stand in for the system and the session bus of a program under
// test:
//
//     test::DBusMock system(test::DBusMock::Role::system);
//     ASSERT_TRUE(system.startTemplate("logind"));
//     test::DBusMock session(test::DBusMock::Role::session);
//     ASSERT_TRUE(session.startTemplate("gnome_screensaver"));
//     // the child's environment: system.environmentVariable()=system.address(), and the same for session
class DBusMock {
public:
    // Which bus the daemon stands in for: the environment variable that names it, and where the mocks
    // started on it believe they are.
    enum class Role { system, session };

    // Starts the daemon (waits for it, ten seconds at most) and connects to it.
    explicit DBusMock(Role role = Role::session);
    ~DBusMock();
    DBusMock(const DBusMock&) = delete;
    DBusMock& operator=(const DBusMock&) = delete;

    // The daemon's address ("unix:path=/tmp/vitrek-dbus-…/bus,guid=…"); empty when it did not start.
    const std::string& address() const;
    // "DBUS_SYSTEM_BUS_ADDRESS" or "DBUS_SESSION_BUS_ADDRESS", as the role says.
    const char* environmentVariable() const;
    // The test's own connection to the bus: hand it to the object under test.
    QDBusConnection connection() const;

    // Starts one of dbusmock's templates ("logind", "gnome_screensaver", …) and waits until its bus name
    // appears (ten seconds at most: Python starts slowly on a busy machine); false when it did not.
    bool startTemplate(const std::string& name);
    // Starts a bare mock object of the main interface `interface` at `path`, owning `busName`; give it
    // methods with addMethod.
    bool startObject(const std::string& busName, const std::string& path, const std::string& interface);

    // The rest talk to the mock started last, and return its reply (an error message when it failed).
    // Emits a signal from the mock's object at `path`; `signature` types `arguments` ("b", "sa{sv}as"…).
    QDBusMessage emitSignal(const QString& path, const QString& interface, const QString& name,
                            const QString& signature, const QVariantList& arguments = {}) const;
    // Gives the object at `path` a property (the logind template has no LidClosed, for one).
    QDBusMessage addProperty(const QString& path, const QString& interface, const QString& name,
                             const QVariant& value) const;
    // Gives the object at `path` a method whose Python `code` sets `ret` from `args`.
    QDBusMessage addMethod(const QString& path, const QString& interface, const QString& name,
                           const QString& inSignature, const QString& outSignature,
                           const QString& code) const;
    // Calls any method of the mock: logind's Inhibit (keep the returned QDBusUnixFileDescriptor for as
    // long as the lock should hold: the mock drops it when the descriptor closes), the screen saver's
    // SetActive.
    QDBusMessage call(const QString& path, const QString& interface, const QString& method,
                      const QVariantList& arguments = {}) const;

private:
    bool startMock(const std::vector<std::string>& arguments, const std::string& busName);

    Role m_role;
    ScratchDirectory m_folder{"vitrek-dbus"};
    std::string m_address;
    QString m_connectionName;
    QString m_service;
    std::vector<std::unique_ptr<QProcess>> m_children; // the daemon first, then the mocks
};

} // namespace vitrek::test
