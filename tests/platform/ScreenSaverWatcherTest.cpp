#include "linux/ScreenSaverWatcher.h"

#include "support/DBusMock.h"

#include <gtest/gtest.h>

#include <QSignalSpy>
#include <chrono>

namespace vitrek {
namespace {

const QString kGnomePath = QStringLiteral("/org/gnome/ScreenSaver");
const QString kGnomeInterface = QStringLiteral("org.gnome.ScreenSaver");
const QString kFreedesktop = QStringLiteral("org.freedesktop.ScreenSaver");

TEST(ScreenSaverWatcherTest, AbsentWithoutAScreenSaverThenFollowsGnomeShellPastTheSettingsDaemonsStandIn) {
    test::DBusMock session;
    ASSERT_TRUE(session.isRunning());
    const auto start = std::chrono::steady_clock::now();
    const ScreenSaverWatcher absent(session.connection());
    EXPECT_FALSE(absent.isAvailable());
    EXPECT_EQ(absent.active(), std::nullopt);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));

    // GNOME's settings daemon owns the freedesktop name without answering GetActive.
    ASSERT_TRUE(session.startObject(kFreedesktop.toStdString(), "/org/freedesktop/ScreenSaver",
                                    kFreedesktop.toStdString()));
    ASSERT_TRUE(session.startTemplate("gnome_screensaver"));
    ScreenSaverWatcher watcher(session.connection());
    ASSERT_TRUE(watcher.isAvailable());
    EXPECT_EQ(watcher.active(), false);

    QSignalSpy changed(&watcher, &ScreenSaverWatcher::activeChanged);
    session.call(kGnomePath, kGnomeInterface, QStringLiteral("SetActive"), {true});
    ASSERT_TRUE(changed.wait(5000));
    EXPECT_EQ(changed.at(0).at(0).toBool(), true);
    EXPECT_EQ(watcher.active(), true);
}

TEST(ScreenSaverWatcherTest, FindsTheFreedesktopServiceAtItsShortPath) {
    test::DBusMock session;
    ASSERT_TRUE(session.startObject(kFreedesktop.toStdString(), "/ScreenSaver", kFreedesktop.toStdString()));
    session.addMethod(QStringLiteral("/ScreenSaver"), kFreedesktop, QStringLiteral("GetActive"), QString(),
                      QStringLiteral("b"), QStringLiteral("ret = True"));
    ScreenSaverWatcher watcher(session.connection());
    ASSERT_TRUE(watcher.isAvailable());
    EXPECT_EQ(watcher.active(), true);

    QSignalSpy changed(&watcher, &ScreenSaverWatcher::activeChanged);
    session.emitSignal(QStringLiteral("/ScreenSaver"), kFreedesktop, QStringLiteral("ActiveChanged"),
                       QStringLiteral("b"), {false});
    ASSERT_TRUE(changed.wait(5000));
    EXPECT_EQ(changed.at(0).at(0).toBool(), false);
}

} // namespace
} // namespace vitrek
