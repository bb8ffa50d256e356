#include "Store.h"
#include "demo/DemoData.h"
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

// The open window, the tray and its panel follow every check-up, from before the first reading on: the demo
// machine's day, then its needs-care day.
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

    DemoData::fill(*store);
    QApplication::processEvents();
    Tray tray{*store};
    ASSERT_NE(tray.icon(), nullptr);
    const QImage goodIcon = tray.icon()->icon().pixmap(32).toImage();
    const QString tip = QString::fromUtf8("Vitrek · Recovery %1%");
    EXPECT_EQ(tray.icon()->toolTip(), tip.arg(store->recovery()));
    const auto shown = texts(window);
    for (const QString& text :
         {QStringLiteral("ThinkPad X1 Carbon Gen 11 (2023)"), QStringLiteral("Tuesday 5 March"),
          QString::number(RestScore::score(*store->night())) + "%", QString::number(store->recovery()) + "%",
          QStringLiteral("1 to check")}) {
        EXPECT_TRUE(shown.contains(text)) << text.toStdString();
    }
    const auto* bars = window.findChild<HistoryBars*>();
    ASSERT_NE(bars, nullptr);
    ASSERT_EQ(bars->days().size(), 14u);
    EXPECT_EQ(bars->days().back().recovery, 86);
    // The demo's last 14 days average 73.5.
    EXPECT_TRUE(shown.contains(QStringLiteral("73%")));
    // Its 15-day streak has passed two weeks: the banner shows until dismissed.
    auto* banner = window.findChild<MilestoneBanner*>();
    ASSERT_TRUE(banner->isVisibleTo(&window));
    EXPECT_EQ(banner->title(), QStringLiteral("2 weeks of check-ups"));
    EXPECT_EQ(banner->detail().toStdString(), Texts::milestoneDetail(15));
    banner->findChild<QToolButton*>()->click();
    QApplication::processEvents();
    EXPECT_EQ(Preferences::shared().seenMilestone(), 14);
    EXPECT_FALSE(banner->isVisibleTo(&window));
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

    // The open window follows the next check-up, rows and all: a worse day asks for checking.
    DemoData::fillNeedsCare(*store);
    QApplication::processEvents();
    EXPECT_NE(tray.icon()->icon().pixmap(32).toImage(), goodIcon);
    EXPECT_EQ(tray.icon()->toolTip(), tip.arg(store->recovery()));
    const auto care = texts(window);
    EXPECT_TRUE(care.contains(QStringLiteral("Take it easy today")));
    EXPECT_TRUE(care.contains(QStringLiteral("3 to check")));
    // Tabs switch with their shortcuts.
    QTest::keyClick(&window, Qt::Key_2, Qt::ControlModifier);
    EXPECT_EQ(window.tab(), Texts::Tab::health);
    const auto widgets = window.findChildren<QWidget*>();
    EXPECT_TRUE(std::any_of(widgets.begin(), widgets.end(), [](const QWidget* widget) {
        return widget->accessibleName().endsWith(", outside range");
    }));
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
