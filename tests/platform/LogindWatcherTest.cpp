#include "linux/LogindWatcher.h"

#include "linux/ScreenSaverWatcher.h"
#include "support/DBusMock.h"

#include <gtest/gtest.h>

#include <QSignalSpy>
#include <QTest>
#include <algorithm>
#include <chrono>

namespace vitrek {
namespace {

using namespace std::chrono_literals;
using Inhibitor = LogindWatcher::Inhibitor;

const QString kPath = QStringLiteral("/org/freedesktop/login1");
const QString kManager = QStringLiteral("org.freedesktop.login1.Manager");
// The mock gives every inhibitor uid 1000 and pid 123456.
const Inhibitor kOurLock{"sleep", "Vitrek", "Recording the moment of sleep", "delay", 1000, 123456};

bool listed(const LogindWatcher& watcher, const Inhibitor& inhibitor) {
    const auto all = watcher.inhibitors();
    return std::find(all.begin(), all.end(), inhibitor) != all.end();
}

void prepareForSleep(const test::DBusMock& logind, bool start) {
    const auto reply =
        logind.emitSignal(kPath, kManager, QStringLiteral("PrepareForSleep"), QStringLiteral("b"), {start});
    ASSERT_EQ(reply.type(), QDBusMessage::ReplyMessage) << reply.errorMessage().toStdString();
}

TEST(LogindWatcherTest, ReadsTheLidAndInhibitorsAndTurnsLogindsPrepareForSleepIntoSleepAndWake) {
    test::DBusMock logind{test::DBusMock::Role::system};
    ASSERT_TRUE(logind.startTemplate("logind"));
    // Another program's lock, held while the reply's descriptor stays open, is listed before ours.
    const auto keys = logind.call(kPath, kManager, QStringLiteral("Inhibit"),
                                  {QStringLiteral("handle-power-key:handle-suspend-key:handle-hibernate-key"),
                                   QStringLiteral("GNOME handling keypresses"),
                                   QStringLiteral("GNOME handling keypresses"), QStringLiteral("block")});
    LogindWatcher watcher(logind.connection());
    // A desktop's logind has no lid; the night record's end-to-end test reads a closed one.
    EXPECT_EQ(watcher.lidClosed(), std::nullopt);
    EXPECT_EQ(watcher.idleHint(), false);

    bool lockedWhileFallingAsleep = false;
    bool lockedOnWaking = false;
    QObject::connect(&watcher, &LogindWatcher::aboutToSleep,
                     [&] { lockedWhileFallingAsleep = watcher.holdsDelay() && listed(watcher, kOurLock); });
    QObject::connect(&watcher, &LogindWatcher::wokeUp, [&] { lockedOnWaking = watcher.holdsDelay(); });
    QSignalSpy asleep(&watcher, &LogindWatcher::aboutToSleep);
    QSignalSpy awake(&watcher, &LogindWatcher::wokeUp);
    prepareForSleep(logind, true);
    ASSERT_TRUE(asleep.wait(5000));
    EXPECT_TRUE(lockedWhileFallingAsleep);
    // The receiver never released the lock; the machine must be let go all the same.
    EXPECT_FALSE(watcher.holdsDelay());
    // The mock notices a closed lock on its next turn of the loop, not at once.
    EXPECT_TRUE(QTest::qWaitFor([&] { return !listed(watcher, kOurLock); }, 2000));
    EXPECT_EQ(awake.count(), 0);

    prepareForSleep(logind, false);
    ASSERT_TRUE(awake.wait(5000));
    EXPECT_TRUE(lockedOnWaking);
    EXPECT_EQ(asleep.count(), 1);

    // Anyone but logind may send the same signal: it is ignored, and the lock kept.
    ASSERT_TRUE(logind.startObject("org.example.Impostor", kPath.toStdString(), kManager.toStdString()));
    prepareForSleep(logind, true);
    EXPECT_FALSE(asleep.wait(300));
    EXPECT_TRUE(watcher.holdsDelay());
}

TEST(LogindWatcherTest, StaysQuietWithoutLogindAndSleepsAndWakesWithoutALockWhenRefused) {
    test::DBusMock bus(test::DBusMock::Role::system);
    const auto start = std::chrono::steady_clock::now();
    const LogindWatcher absent(bus.connection());
    EXPECT_FALSE(absent.isAvailable());
    EXPECT_LT(std::chrono::steady_clock::now() - start, 1s);

    // A bare logind answers Inhibit with an error, as polkit's refusal does.
    ASSERT_TRUE(bus.startObject("org.freedesktop.login1", kPath.toStdString(), kManager.toStdString()));
    LogindWatcher watcher(bus.connection());
    QSignalSpy asleep(&watcher, &LogindWatcher::aboutToSleep);
    QSignalSpy awake(&watcher, &LogindWatcher::wokeUp);
    prepareForSleep(bus, true);
    EXPECT_TRUE(asleep.wait(5000));
    prepareForSleep(bus, false);
    EXPECT_TRUE(awake.wait(5000));
}

const QString kGnomePath = QStringLiteral("/org/gnome/ScreenSaver");
const QString kGnomeInterface = QStringLiteral("org.gnome.ScreenSaver");
const QString kFreedesktop = QStringLiteral("org.freedesktop.ScreenSaver");

TEST(ScreenSaverWatcherTest, AbsentWithoutAScreenSaverThenFollowsGnomeShellPastTheSettingsDaemonsStandIn) {
    test::DBusMock session;
    const auto start = std::chrono::steady_clock::now();
    const ScreenSaverWatcher absent(session.connection());
    EXPECT_FALSE(absent.isAvailable());
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));

    // GNOME's settings daemon owns the freedesktop name without answering GetActive.
    ASSERT_TRUE(session.startObject(kFreedesktop.toStdString(), "/org/freedesktop/ScreenSaver",
                                    kFreedesktop.toStdString()));
    ASSERT_TRUE(session.startTemplate("gnome_screensaver"));
    ScreenSaverWatcher watcher(session.connection());
    EXPECT_EQ(watcher.active(), false);

    QSignalSpy changed(&watcher, &ScreenSaverWatcher::activeChanged);
    session.call(kGnomePath, kGnomeInterface, QStringLiteral("SetActive"), {true});
    ASSERT_TRUE(changed.wait(5000));
    EXPECT_EQ(changed.at(0).at(0).toBool(), true);
}

TEST(ScreenSaverWatcherTest, FindsTheFreedesktopServiceAtItsShortPath) {
    test::DBusMock session;
    ASSERT_TRUE(session.startObject(kFreedesktop.toStdString(), "/ScreenSaver", kFreedesktop.toStdString()));
    session.addMethod(QStringLiteral("/ScreenSaver"), kFreedesktop, QStringLiteral("GetActive"), QString(),
                      QStringLiteral("b"), QStringLiteral("ret = True"));
    ScreenSaverWatcher watcher(session.connection());
    EXPECT_EQ(watcher.active(), true);

    QSignalSpy changed(&watcher, &ScreenSaverWatcher::activeChanged);
    session.emitSignal(QStringLiteral("/ScreenSaver"), kFreedesktop, QStringLiteral("ActiveChanged"),
                       QStringLiteral("b"), {false});
    ASSERT_TRUE(changed.wait(5000));
    EXPECT_EQ(changed.at(0).at(0).toBool(), false);
}

} // namespace
} // namespace vitrek
