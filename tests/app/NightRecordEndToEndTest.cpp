#include "history/History.h"
#include "powerlog/PowerRecord.h"
#include "support/DBusMock.h"
#include "support/Program.h"
#include "support/ScratchDirectory.h"
#include "support/TestSupport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <QDBusVariant>
#include <QProcess>
#include <QTest>
#include <QThread>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <string>

namespace vitrek {
namespace {

const QString kLogindPath = "/org/freedesktop/login1";
const QString kManager = "org.freedesktop.login1.Manager";
const QString kSaverPath = "/org/gnome/ScreenSaver";
const QString kSaver = "org.gnome.ScreenSaver";

// A zone with a whole-hour offset in which it is now between 02:00 and 03:00, inside the night window,
// so the test need not wait for 23:00.
std::string zoneAtTwoInTheMorning() {
    const std::time_t now = std::time(nullptr);
    std::tm utc{};
    ::gmtime_r(&now, &utc);
    const int offsetHours = ((2 - utc.tm_hour) % 24 + 24 + 12) % 24 - 12; // −12 … 11
    if (offsetHours == 0) {
        return "Etc/GMT";
    }
    // The Etc zones count the other way round: Etc/GMT-7 is seven hours ahead of UTC.
    return (offsetHours > 0 ? "Etc/GMT-" : "Etc/GMT+") + std::to_string(std::abs(offsetHours));
}

class NightRecordEndToEndTest : public testing::Test {
protected:
    QProcessEnvironment environment(const std::string& zone) const {
        QProcessEnvironment env = test::programEnvironment(scratch.path());
        env.insert("TZ", QString::fromStdString(zone));
        env.insert("VITREK_SYS_ROOT", QString::fromStdString((scratch.path() / "root").string()));
        env.insert(system.environmentVariable(), QString::fromStdString(system.address()));
        env.insert(session.environmentVariable(), QString::fromStdString(session.address()));
        return env;
    }

    // The record so far, all day files together.
    std::string record() const { return test::readFiles(scratch.path() / "data", "power-"); }
    // Waits (ten seconds at most) until the record holds `times` lines of `kind`.
    bool waitForLines(const std::string& kind, std::size_t times) const {
        return QTest::qWaitFor(
            [&] { return test::occurrences(record(), "\"kind\":\"" + kind + "\"") >= times; }, 10'000);
    }
    // A wakeup source as the kernel shows it, with its counts.
    void writeSource(const std::string& folder, const std::string& name, int count, int changedMs) const {
        const std::string dir = "root/sys/class/wakeup/" + folder + "/";
        scratch.write(dir + "name", name + "\n");
        for (const char* counter : {"event_count", "wakeup_count", "active_count"}) {
            scratch.write(dir + counter, std::to_string(count) + "\n");
        }
        scratch.write(dir + "last_change_ms", std::to_string(changedMs) + "\n");
    }
    void setLid(bool closed) const {
        system.call(kLogindPath, "org.freedesktop.DBus.Properties", "Set",
                    {kManager, "LidClosed", QVariant::fromValue(QDBusVariant(closed))});
    }
    void prepareForSleep(bool start) const {
        system.emitSignal(kLogindPath, kManager, "PrepareForSleep", "b", {start});
    }

    test::ScratchDirectory scratch{"vitrek-night-record"};
    test::DBusMock system{test::DBusMock::Role::system};
    test::DBusMock session{test::DBusMock::Role::session};
};

TEST_F(NightRecordEndToEndTest, HeadlessRecordsALidClosedNightThatNightsThenTells) {
    ASSERT_TRUE(system.startTemplate("logind"));
    ASSERT_TRUE(session.startTemplate("gnome_screensaver"));
    system.addProperty(kLogindPath, kManager, "LidClosed", false);
    const std::string zone = zoneAtTwoInTheMorning();
    writeSource("wakeup0", "rtc0", 3, 1000);
    writeSource("wakeup1", "PNP0C0D:00", 1, 500);

    // An earlier Vitrek recorded the evening up to a minute ago, from 22:30 on, with the screen off, into the
    // day file the program itself would use: one file of the current day's name is enough for the reader,
    // whatever day the lines fall on.
    const auto now = std::chrono::system_clock::now();
    const Instant start = Instant{now} - Seconds{4 * 3600};
    auto begun = powerRecord(start, PowerRecordKind::start);
    begun.pid = 1;
    begun.screenOn = false;
    std::string seeded = compactText(toJson(begun)) + "\n";
    for (Instant t = start + Seconds{270}; t < Instant{now} - Seconds{60}; t += Seconds{270}) {
        seeded += compactText(toJson(powerRecord(t, PowerRecordKind::alive))) + "\n";
    }
    scratch.write("data/power-" + History::dayID(Instant{now}, test::zone(zone)) + ".jsonl", seeded);
    // The machine booted an hour before that.
    const auto booted = static_cast<long long>(unixSeconds(start)) - 3600;
    scratch.write("root/proc/stat", "cpu  1 0 1 1 0 0 0 0 0 0\nbtime " + std::to_string(booted) + "\n");

    // A backup blocks sleep while the machine is awake, for as long as the reply's descriptor stays open.
    const auto inhibit = system.call(kLogindPath, kManager, "Inhibit",
                                     {"sleep", "backup-tool", "Backing up your files", "block"});

    // The screen saver has blanked the screen: only an awake machine with its screen off counts as kept up.
    session.call(kSaverPath, kSaver, "SetActive", {true});

    QProcess headless;
    headless.setProcessEnvironment(environment(zone));
    headless.start(VITREK_EXECUTABLE, {"--headless"});
    ASSERT_TRUE(headless.waitForStarted(10'000));
    ASSERT_TRUE(waitForLines("start", 2)) << record();
    ASSERT_TRUE(waitForLines("inhibitors", 1)) << record();
    QThread::sleep(21); // the backup keeps the machine up for more than 20 s

    // The lid closes; an RTC alarm wakes the machine, which goes back to sleep; the lid opens.
    setLid(true);
    prepareForSleep(true);
    ASSERT_TRUE(waitForLines("sleep", 1)) << record();
    writeSource("wakeup0", "rtc0", 4, 2000);
    prepareForSleep(false);
    ASSERT_TRUE(waitForLines("wake", 1)) << record();
    QThread::sleep(1);
    prepareForSleep(true);
    ASSERT_TRUE(waitForLines("sleep", 2)) << record();
    writeSource("wakeup1", "PNP0C0D:00", 2, 3000);
    setLid(false);
    prepareForSleep(false);
    ASSERT_TRUE(waitForLines("wake", 2)) << record();
    session.call(kSaverPath, kSaver, "SetActive", {false});
    QThread::sleep(2);
    headless.terminate();
    ASSERT_TRUE(headless.waitForFinished(10'000));

    const auto nights = test::runProgram(VITREK_EXECUTABLE, {"nights", "--source", "vitrek", "--json"},
                                         environment(zone), 30'000);
    EXPECT_EQ(nights.status, 0) << nights.err;
    const auto document = nlohmann::json::parse(nights.out, nullptr, false);
    EXPECT_EQ(document["source"], "vitrek");
    ASSERT_FALSE(document["nights"].empty()) << document.dump();
    const auto& night = document["nights"].back();
    EXPECT_EQ(night["inProgress"], true);
    EXPECT_EQ(night["counts"]["darkWake"], 1) << night.dump();
    std::vector<std::string> labels;
    for (const auto& event : night["events"]) {
        labels.push_back(event["kind"].get<std::string>() + ": " + event["label"].get<std::string>());
    }
    EXPECT_EQ(labels.front(), "awakeAtStart: Awake, screen off") << night.dump();
    EXPECT_THAT(labels, testing::IsSupersetOf(
                            {"fellAsleep: Lid closed — went to sleep", "darkWake: Scheduled timer"}))
        << night.dump();
    EXPECT_EQ(labels.back(), "screenOn: Screen lit up briefly") << night.dump();
    ASSERT_EQ(night["keptAwake"].size(), 1u) << night.dump();
    EXPECT_EQ(night["keptAwake"][0]["process"], "backup-tool");
    EXPECT_EQ(night["keptAwake"][0]["detail"], "Backing up your files");
    EXPECT_EQ(test::occurrences(record(), "\"kind\":\"boot\""), 1u) << record();
}

} // namespace
} // namespace vitrek
