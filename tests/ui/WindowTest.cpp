#include "Store.h"
#include "screens/MainWindow.h"
#include "screens/MenuBarPanel.h"
#include "screens/SettingsWindow.h"
#include "screens/widgets/Dial.h"
#include "screens/widgets/HistoryBars.h"
#include "screens/widgets/Kicker.h"
#include "screens/widgets/MilestoneBanner.h"
#include "shell/Preferences.h"
#include "shell/Tray.h"
#include "support/FakeReader.h"
#include "support/ScratchDirectory.h"

#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QApplication>
#include <QCheckBox>
#include <QLabel>
#include <QSystemTrayIcon>
#include <QTest>
#include <QToolButton>
#include <filesystem>

namespace vitrek {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

// The same machine on a day it needs care: worn battery, full disk, memory pressure, a month up, hot.
void needCare(test::FakeReader& reader) {
    reader.batteryInfo = BatteryInfo{0.55, 1400, 12, false};
    reader.disk = {8'000'000'000, 500'000'000'000};
    reader.ram = {Pressure::critical, 6'000'000'000};
    reader.boot = test::at("2024-02-01T08:00:00+01:00");
    reader.warmth = Heat::hot;
}

class WindowTest : public testing::Test {
protected:
    void SetUp() override {
        Preferences::shared().setSeenMilestone(0);
        Preferences::shared().setBoughtAt(std::nullopt);
        Preferences::shared().setShowInMenuBar(true);
        store = std::make_unique<Store>(environment());
    }

    StoreEnvironment environment() {
        StoreEnvironment env;
        env.reader = reader;
        env.files = VitrekFiles{dir};
        env.now = [this] { return clock; };
        env.calendar = [] { return test::berlin(); };
        env.setUpDate = [r = reader] { return r->setUpDate(); };
        env.boughtAt = StoreEnvironment::system().boughtAt; // the date Settings stores
        return env;
    }

    // `count` recorded days up to today: today's recovery is `today`, an earlier day's 40 + its days ago.
    void recordDays(int count, int today) {
        History history;
        for (int i = count - 1; i >= 0; --i) {
            history.days.push_back(Day{History::dayID(clock - std::chrono::hours(24 * i), test::berlin()),
                                       i == 0 ? today : 40 + i, 8.4, std::nullopt, 600, std::nullopt});
        }
        store->setHistory(history);
    }

    // A day of check-ups: 20 recorded days up to today, samples since 09:00 and a night with one wake.
    void checkUp() {
        recordDays(20, 90);
        std::vector<Sample> samples;
        for (Instant t = test::at("2024-03-05T09:00:00+01:00"); t <= clock; t += 60s) {
            samples.push_back(Sample{t, 0.3, Heat::cool});
        }
        Night night;
        night.id = "2024-03-05";
        night.start = test::at("2024-03-04T23:00:00+01:00");
        night.end = test::at("2024-03-05T07:00:00+01:00");
        night.segments = {Segment{night.start, night.end, PowerState::asleep}};
        night.events = {NightEvent{night.start + 2h, NightEvent::Kind::darkWake, "Dark wake", "moon.haze", "",
                                   45, std::nullopt, std::nullopt, std::nullopt}};
        night.pluggedIn = true;
        store->apply(reader->read(clock), samples, night, false);
        QApplication::processEvents();
    }

    static QStringList texts(const QWidget& root) {
        QStringList result;
        for (const auto* label : root.findChildren<QLabel*>()) {
            if (label->isVisibleTo(&root)) {
                result << label->text();
            }
        }
        for (const auto* dial : root.findChildren<Dial*>()) {
            result << dial->value();
        }
        for (const auto* kicker : root.findChildren<Kicker*>()) {
            result << kicker->text();
        }
        return result;
    }

    test::ScratchDirectory scratch{"vitrek-window"};
    fs::path dir = scratch.path() / "data";
    Instant clock = test::at("2024-03-05T12:00:00+01:00");
    std::shared_ptr<test::FakeReader> reader = std::make_shared<test::FakeReader>();
    std::unique_ptr<Store> store;
};

// The open window, the tray and its panel follow every check-up, from before the first reading on.
TEST_F(WindowTest, EveryFigureWaitsForAReadingThenAGoodDayAndANeedsCareDayShowInTheWindowTrayAndPanel) {
    MainWindow window{*store};
    window.show();
    QApplication::setActiveWindow(&window);
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
    const auto waiting = texts(window);
    for (const char* text :
         {"Your computer", "Reading your computer…", "First reading in under a minute", "Reading last night…",
          "Your recovery shows up here day by day.", "Not known yet"}) {
        EXPECT_TRUE(waiting.contains(QString::fromUtf8(text))) << text;
    }
    EXPECT_EQ(waiting.count(QStringLiteral("–")), 5); // three dials, age and stress mini cards

    checkUp();
    Tray tray{*store};
    ASSERT_NE(tray.icon(), nullptr);
    const QImage goodIcon = tray.icon()->icon().pixmap(32).toImage();
    const QString tip = QString::fromUtf8("Vitrek · Recovery %1%");
    EXPECT_EQ(tray.icon()->toolTip(), tip.arg(store->recovery()));
    const auto shown = texts(window);
    EXPECT_GE(store->recovery(), 67);
    for (const QString& text :
         {QStringLiteral("ThinkPad X1 Carbon Gen 9"), QStringLiteral("Ready for a heavy day"),
          QStringLiteral("Tuesday 5 March"), QString::number(RestScore::score(*store->night())) + "%",
          QString::number(store->recovery()) + "%", QStringLiteral("Within range")}) {
        EXPECT_TRUE(shown.contains(text)) << text.toStdString();
    }
    const auto* bars = window.findChild<HistoryBars*>();
    ASSERT_NE(bars, nullptr);
    ASSERT_EQ(bars->days().size(), 14u);
    EXPECT_EQ(bars->days().back().recovery, 90);
    // 13 days of 53…41 and today's 90: (611 + 90) / 14.
    EXPECT_TRUE(shown.contains(QStringLiteral("50%")));
    // A streak of 20 reached no milestone that day, so no banner.
    EXPECT_FALSE(window.findChild<MilestoneBanner*>()->isVisibleTo(&window));
    // The tray's panel shows the three figures and opens the window.
    MenuBarPanel panel{*store};
    const auto inPanel = texts(panel);
    for (const QString& text : {QString::number(store->recovery()) + "%", QStringLiteral("RECOVERY"),
                                QStringLiteral("REST"), QString::fromStdString(store->tip())}) {
        EXPECT_TRUE(inPanel.contains(text)) << text.toStdString();
    }
    int opened = 0;
    QObject::connect(&panel, &MenuBarPanel::openRequested, [&] { ++opened; });
    for (auto* button : panel.findChildren<QAbstractButton*>()) {
        if (button->text() == "Open Vitrek") {
            button->click();
        }
    }
    EXPECT_EQ(opened, 1);

    // The open window follows the next check-up, rows and all: a day that needs care asks for checking.
    needCare(*reader);
    store->apply(reader->read(clock + 60s), {}, std::nullopt, false);
    QApplication::processEvents();
    EXPECT_NE(tray.icon()->icon().pixmap(32).toImage(), goodIcon);
    EXPECT_EQ(tray.icon()->toolTip(), tip.arg(store->recovery()));
    const auto care = texts(window);
    EXPECT_TRUE(care.contains(QStringLiteral("Needs some care")));
    EXPECT_TRUE(std::any_of(care.begin(), care.end(),
                            [](const QString& text) { return text.endsWith(" to check"); }));
    // Tabs switch with their shortcuts.
    QTest::keyClick(&window, Qt::Key_2, Qt::ControlModifier);
    EXPECT_EQ(window.tab(), Texts::Tab::health);
    QStringList names;
    for (const auto* child : window.findChildren<QWidget*>()) {
        names << child->accessibleName();
    }
    EXPECT_TRUE(std::any_of(names.begin(), names.end(),
                            [](const QString& name) { return name.endsWith(", outside range"); }));
    QTest::keyClick(&window, Qt::Key_1, Qt::ControlModifier);
    EXPECT_EQ(window.tab(), Texts::Tab::today);
    const auto buttons = window.findChildren<QAbstractButton*>();
    const auto health = std::find_if(buttons.begin(), buttons.end(),
                                     [](const auto* button) { return button->text() == "Health"; });
    ASSERT_NE(health, buttons.end());
    EXPECT_EQ((*health)->toolTip(), QStringLiteral("Health (Ctrl+2)"));

    Preferences::shared().setShowInMenuBar(false);
    EXPECT_EQ(tray.icon(), nullptr);
    Preferences::shared().setShowInMenuBar(true);
    EXPECT_NE(tray.icon(), nullptr);
}

TEST_F(WindowTest, DismissingAMilestoneKeepsItHiddenUntilTheNextOne) {
    recordDays(7, 70);
    store->apply(reader->read(clock), {}, std::nullopt, false);
    MainWindow window{*store};
    window.show();
    QApplication::processEvents();
    auto* banner = window.findChild<MilestoneBanner*>();
    ASSERT_TRUE(banner->isVisibleTo(&window));
    EXPECT_EQ(banner->title(), QStringLiteral("1 week of check-ups"));
    EXPECT_EQ(banner->detail(),
              QStringLiteral("Vitrek has checked your computer 7 days in a row. Next: 2 weeks in 7 days."));
    banner->findChild<QToolButton*>()->click();
    QApplication::processEvents();
    EXPECT_EQ(Preferences::shared().seenMilestone(), 7);
    EXPECT_FALSE(banner->isVisibleTo(&window));
}

TEST_F(WindowTest, SettingsSwitchTheAgeToTheSetUpDateAtOnceAndSayWhenThereIsNoTray) {
    Preferences::shared().setBoughtAt(QDate(2023, 1, 10));
    store->apply(reader->read(clock), {}, std::nullopt, false);
    ASSERT_EQ(store->age()->source, MacAge::Source::bought);
    SettingsWindow settings{*store};
    const auto boxes = settings.findChildren<QCheckBox*>();
    const auto toggle = std::find_if(boxes.begin(), boxes.end(), [](const auto* box) {
        return box->text() == "Set the date I got this computer";
    });
    ASSERT_NE(toggle, boxes.end());
    ASSERT_TRUE((*toggle)->isChecked());
    (*toggle)->setChecked(false);
    EXPECT_FALSE(Preferences::shared().hasBoughtAt());
    EXPECT_EQ(store->age()->source, MacAge::Source::setUp);

    // Only a desktop without a tray says so under the tray setting.
    for (const bool trayAvailable : {true, false}) {
        SettingsWindow settings{*store, false, trayAvailable};
        EXPECT_EQ(texts(settings).contains(QString::fromUtf8(Texts::kNoTray)), !trayAvailable)
            << trayAvailable;
    }
}

TEST_F(WindowTest, TheJournalsProblemReachesTheScreensAndLeavesWhenTheJournalIsRead) {
    auto problem = std::make_shared<std::string>("The system journal is not readable by mira: join the "
                                                 "systemd-journal group so Rest can read the nights.");
    StoreEnvironment env = environment();
    env.loadPowerLog = [problem] {
        NightLog system;
        system.problem = *problem;
        system.source = problem->empty() ? NightSourceKind::journal : NightSourceKind::none;
        return system;
    };
    store = std::make_unique<Store>(env);
    store->apply(reader->read(clock), {}, std::nullopt, false);
    MainWindow window{*store};
    window.show();
    SettingsWindow settings{*store};
    const auto settingsShow = [&settings](const QString& text) {
        const auto labels = settings.findChildren<QLabel*>();
        return std::any_of(labels.begin(), labels.end(),
                           [&](const QLabel* label) { return label->text() == text && !label->isHidden(); });
    };
    const auto load = [&] {
        store->loadNight();
        ASSERT_TRUE(QTest::qWaitFor([&] { return !store->loadingNight(); }));
        QApplication::processEvents();
    };

    load();
    const QString fix = QString::fromStdString(*problem);
    EXPECT_TRUE(texts(window).contains(QStringLiteral("Can't read nights · see Health")));
    window.setTab(Texts::Tab::health);
    EXPECT_TRUE(texts(window).contains(fix));
    EXPECT_TRUE(settingsShow(fix));

    *problem = ""; // the user joined the group
    load();
    const QString journal = QStringLiteral("Nights read from the system journal");
    EXPECT_FALSE(texts(window).contains(fix));
    EXPECT_TRUE(texts(window).contains(journal));
    EXPECT_FALSE(settingsShow(fix));
    EXPECT_TRUE(settingsShow(journal));
    window.setTab(Texts::Tab::today);
    EXPECT_TRUE(texts(window).contains(QStringLiteral("No night recorded yet")));
}

} // namespace
} // namespace vitrek
