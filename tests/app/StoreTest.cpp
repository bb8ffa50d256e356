#include "Store.h"

#include "powerlog/PowerLogParser.h"
#include "support/FakeReader.h"
#include "support/ScratchDirectory.h"

#include <gtest/gtest.h>

#include <QTest>
#include <QThreadPool>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <future>

namespace vitrek {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

Night night(std::string id, double hours, bool inProgress = false) {
    Night result;
    result.id = std::move(id);
    result.start = test::at("2024-03-04T23:00:00+01:00");
    result.end = result.start + Seconds{hours * 3600};
    result.inProgress = inProgress;
    return result;
}

class StoreTest : public testing::Test {
protected:
    StoreEnvironment environment() {
        StoreEnvironment env;
        env.reader = reader;
        env.cpuTicks = [this] { return counters; };
        env.files = VitrekFiles{dir};
        env.loadPowerLog = [] { return NightLog{}; };
        env.now = [this] { return clock; };
        env.calendar = [] { return test::berlin(); };
        env.setUpDate = [r = reader] { return r->setUpDate(); };
        return env;
    }

    test::ScratchDirectory scratch{"vitrek-store"};
    fs::path dir = scratch.path() / "data"; // absent until the Store writes
    Instant clock = test::at("2024-03-05T12:00:00+01:00");
    CPUTicks counters{1000, 4000};
    std::shared_ptr<test::FakeReader> reader = std::make_shared<test::FakeReader>();
};

TEST_F(StoreTest, StartPublishesTodaysStoredSamplesAndTheFirstTickCoversTheTimeSinceConstruction) {
    reader->warmth = Heat::warm;
    VitrekFiles{dir}.append(Sample{clock - 60s, 0.2, Heat::cool}, test::berlin());
    Store store{environment()};
    store.start();
    EXPECT_TRUE(store.loadingNight());
    EXPECT_EQ(store.samples().size(), 1u);
    EXPECT_EQ(store.measuredSince(), clock - 60s);

    counters = {2000, 6000}; // half busy since the Store was made
    clock += 10s;
    store.tick(clock);
    ASSERT_EQ(store.samples().size(), 2u);
    EXPECT_EQ(store.samples().back(), (Sample{clock, 0.5, Heat::warm}));
}

// The window's line says why check-ups are not being saved, and goes once saving works again; the
// check-ups of the meantime are not lost.
TEST_F(StoreTest, AFolderThatCannotBeWrittenIsShownUntilSavingWorksAndItsCheckUpsAreKept) {
    std::ofstream(dir) << "not a folder";
    Store store{environment()};
    std::vector<std::string> told;
    QObject::connect(&store, &Store::storageTrouble, [&](const std::string& text) { told.push_back(text); });
    store.start();
    for (int i = 0; i < 3; ++i) {
        clock += 60s;
        store.tick(clock);
    }
    EXPECT_EQ(store.storageProblem().rfind("Can't save to " + dir.string() + ": Not a directory", 0), 0u)
        << store.storageProblem();
    EXPECT_EQ(store.samples().size(), 3u);
    EXPECT_EQ(told.size(), 3u) << "the history read at start, its save, the check-ups: each once";

    fs::remove(dir);
    clock += 60s;
    store.tick(clock);
    EXPECT_EQ(store.storageProblem(), "");
    EXPECT_EQ(VitrekFiles{dir}.samples(clock, test::berlin()).size(), 4u);
    EXPECT_EQ(VitrekFiles{dir}.peekHistory(clock, test::berlin()).history, store.history());
}

TEST_F(StoreTest, ATickReloadsTheNightMoreThanAnHourAfterTheLastLoadOrOnceTheNightHasEnded) {
    const struct {
        const char* loaded;
        std::chrono::seconds after;
        bool reloads;
    } cases[] = {
        {"2024-03-05T12:00:00+01:00", 3600s, false},
        {"2024-03-05T12:00:00+01:00", 3601s, true},
        // The night ends at 07:00: the first check-up after it shows it, not one an hour later.
        {"2024-03-05T06:50:00+01:00", 600s, true},
        {"2024-03-05T06:00:00+01:00", 3000s, false},
    };
    for (const auto& [loaded, after, reloads] : cases) {
        clock = test::at(loaded);
        Store store{environment()};
        store.tick(clock);
        EXPECT_TRUE(store.loadingNight()) << "no load has started, so a tick never reloads";
        store.loadNight();
        ASSERT_TRUE(QTest::qWaitFor([&] { return !store.loadingNight(); }));
        clock += after;
        store.tick(clock);
        EXPECT_EQ(store.loadingNight(), reloads) << loaded << " + " << after.count();
        ASSERT_TRUE(QTest::qWaitFor([&] { return !store.loadingNight(); }));
    }
}

TEST_F(StoreTest, LastNightIsTheNewestFinishedNightThatLasts) {
    const struct {
        std::vector<Night> nights;
        std::optional<std::string> chosen;
    } cases[] = {
        {{}, std::nullopt},
        {{night("a", 8), night("b", 8)}, "b"},
        {{night("a", 8), night("b", 5, true)}, "a"},
        {{night("a", 8), night("b", 0)}, "a"},
        {{night("a", 0), night("b", 3, true)}, std::nullopt},
    };
    for (const auto& c : cases) {
        const auto chosen = Store::lastNight(c.nights);
        EXPECT_EQ(chosen ? std::optional{chosen->id} : std::nullopt, c.chosen) << c.nights.size();
    }
}

TEST_F(StoreTest, ApplyWithoutRecordingOrInADemoPublishesButWritesNothing) {
    Store store{environment()};
    store.apply(reader->read(clock), {}, std::nullopt, true);
    EXPECT_EQ(store.streak(), 1);
    fs::remove_all(dir);

    const Instant later = clock + 3 * 86400s;
    store.apply(reader->read(later), {Sample{later, 0.9, Heat::hot}}, night("n", 8), false);
    EXPECT_FALSE(fs::exists(dir));
    // The demo's own fill never asks to record; should anything else ask, the demo still writes nothing.
    StoreEnvironment demo = environment();
    demo.isDemo = [] { return true; };
    Store{demo}.apply(reader->read(later), {}, std::nullopt, true);
    EXPECT_FALSE(fs::exists(dir));
    EXPECT_EQ(store.history().days.size(), 1u);
    EXPECT_EQ(store.streak(), 0);
    EXPECT_EQ(store.reading()->date, later);
    EXPECT_EQ(store.stressNow(), 0.9);
    EXPECT_EQ(store.factors().back().kind, Factor::Kind::rest);
    EXPECT_FALSE(store.tip().empty());
    EXPECT_FALSE(store.vitals().empty());
}

TEST_F(StoreTest, CheckUpsOfOneDayShareOneDayAndTheFirstAfterMidnightStartsANewOne) {
    clock = test::at("2024-03-05T23:58:00+01:00");
    Store store{environment()};
    store.tick(clock);
    counters = {5000, 6000};
    store.tick(clock + 60s);
    ASSERT_EQ(store.history().days.size(), 1u);
    const Day evening = store.history().days[0];
    EXPECT_EQ(evening.id, "2024-03-05");
    EXPECT_EQ(evening.strain, store.strain());
    EXPECT_TRUE(evening.strain.has_value());
    EXPECT_EQ(evening.stress, 60.0);

    store.tick(test::at("2024-03-06T00:01:00+01:00"));
    EXPECT_EQ(store.samples().size(), 1u);
    EXPECT_EQ(store.strain(), std::nullopt);
    ASSERT_EQ(store.history().days.size(), 2u);
    EXPECT_EQ(store.history().days[0], evening);
    EXPECT_EQ(store.history().days[1].id, "2024-03-06");
    EXPECT_EQ(store.streak(), 2);
    EXPECT_EQ(VitrekFiles{dir}.peekHistory(store.reading()->date, test::berlin()).history, store.history());
}

TEST_F(StoreTest, DerivedValuesWaitForAReadingAndRecoveryChangedFiresOnlyWhenTheValueChanges) {
    Store store{environment()};
    int changes = 0;
    QObject::connect(&store, &Store::recoveryChanged, [&] { ++changes; });
    store.updateAge();
    EXPECT_EQ(store.age(), std::nullopt);
    EXPECT_EQ(store.lastWeekGap(), std::nullopt);
    EXPECT_EQ(store.typicalStress(), std::nullopt);
    store.apply(reader->read(clock), {}, std::nullopt, false);
    ASSERT_TRUE(store.age().has_value());
    EXPECT_EQ(store.age()->source, MacAge::Source::setUp);
    store.apply(reader->read(clock), {}, std::nullopt, false);
    EXPECT_EQ(changes, 1);
    reader->disk.freeBytes = 10'000'000'000;
    store.apply(reader->read(clock), {}, std::nullopt, false);
    EXPECT_EQ(changes, 2);
}

TEST_F(StoreTest, TheLoadThatFinishesLastWinsEvenWhenItStartedFirst) {
    QThreadPool::globalInstance()->setMaxThreadCount(
        std::max(4, QThreadPool::globalInstance()->maxThreadCount()));
    const PowerLog spells = PowerLogParser::parse(test::readTestData("pmset/awake-spells.log"));
    // Each load waits at a gate of its own; the test opens them in its own order.
    std::promise<void> withNight;
    std::promise<void> without;
    const std::shared_future<void> gates[] = {withNight.get_future().share(), without.get_future().share()};
    auto started = std::make_shared<std::atomic<int>>(0);
    StoreEnvironment env = environment();
    // Whichever load starts first gets the real log.
    env.loadPowerLog = [=] {
        const bool first = started->fetch_add(1) == 0;
        gates[first ? 0 : 1].wait();
        NightLog system;
        system.log = first ? spells : PowerLog{};
        return system;
    };
    Store store{env};
    store.apply(reader->read(clock), {}, std::nullopt, true);
    store.loadNight();
    store.loadNight();
    ASSERT_TRUE(QTest::qWaitFor([&] { return started->load() == 2; }));

    withNight.set_value();
    ASSERT_TRUE(QTest::qWaitFor([&] { return store.night().has_value(); }));
    EXPECT_EQ(store.history().days.back().rest, store.night()->score());

    without.set_value();
    ASSERT_TRUE(QTest::qWaitFor([&] { return !store.night().has_value(); }));
    EXPECT_FALSE(store.loadingNight());
    EXPECT_EQ(store.history().days.back().rest, std::nullopt);
}

} // namespace
} // namespace vitrek
