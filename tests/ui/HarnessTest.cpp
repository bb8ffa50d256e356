#include "harness/Harness.h"

#include "Store.h"
#include "harness/SelfTest.h"
#include "harness/Snapshotter.h"
#include "scores/Rounding.h"
#include "screens/MainWindow.h"
#include "screens/SettingsWindow.h"
#include "shell/Autostart.h"
#include "shell/Preferences.h"
#include "support/DemoStore.h"
#include "support/Program.h"

#include <gtest/gtest.h>

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QImage>
#include <QMap>
#include <QMenuBar>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <filesystem>

namespace vitrek {
namespace {

namespace fs = std::filesystem;

QStringList filesUnder(const QString& dir) {
    QStringList files;
    QDirIterator it(dir, QDir::Files | QDir::Hidden | QDir::System, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        files << QDir(dir).relativeFilePath(it.next());
    }
    files.sort();
    return files;
}

TEST(HarnessChoice, TakesTheSnapshotThenTheSelfTestThenTheLiveSnapshotAndTheReportCountsFailures) {
    QMap<QString, QString> variables;
    const Harness::Lookup lookup = [&variables](const char* name) {
        return variables.contains(name) ? std::optional(variables.value(name)) : std::nullopt;
    };
    EXPECT_EQ(Harness::choose(lookup), std::nullopt);
    variables["VITREK_DEMO_DIR"] = "/tmp/x";
    EXPECT_EQ(Harness::choose(lookup), std::nullopt);
    variables["VITREK_LIVE_SNAPSHOT_DIR"] = "/tmp/live";
    EXPECT_EQ(Harness::choose(lookup), (Harness::Run{Harness::Kind::liveSnapshot, "/tmp/live"}));
    variables["VITREK_SELFTEST"] = "/tmp/check";
    EXPECT_EQ(Harness::choose(lookup), (Harness::Run{Harness::Kind::selfTest, "/tmp/check"}));
    variables["VITREK_SNAPSHOT_DIR"] = "/tmp/shots";
    EXPECT_EQ(Harness::choose(lookup), (Harness::Run{Harness::Kind::snapshot, "/tmp/shots"}));

    using Theme::Appearance;
    EXPECT_EQ(Snapshotter::appearances(std::nullopt), (std::vector{Appearance::light, Appearance::dark}));
    EXPECT_EQ(Snapshotter::appearances(QString("dark")), (std::vector{Appearance::dark}));
    EXPECT_EQ(Snapshotter::appearances(QString("sepia")), (std::vector<Appearance>{}));

    // The self-test's report ends in all pass or the number of failures.
    EXPECT_EQ(SelfTest::report({{true, "a"}, {true, "b"}}),
              (std::vector<std::string>{"PASS a", "PASS b", "ALL PASS"}));
    EXPECT_EQ(SelfTest::report({{false, "a"}, {true, "b"}, {false, "c"}}),
              (std::vector<std::string>{"FAIL a", "PASS b", "FAIL c", "2 FAILED"}));
}

// A Store in demo mode on a scratch data folder, at a fixed time in Berlin.
class DemoStoreTest : public testing::Test {
protected:
    void SetUp() override {
        Preferences::shared().setBoughtAt(std::nullopt);
        Autostart::disable();
        store = test::demoStore(data.path().toStdString());
    }

    QTemporaryDir data;
    QTemporaryDir out;
    std::unique_ptr<Store> store;
};

// At the demo's fixed time a second run in the same folder finds the first one's samples, and still passes.
TEST_F(DemoStoreTest, ASecondSelfTestInTheSameFolderKeepsTheEarlierSamplesAndPasses) {
    EXPECT_EQ(SelfTest::run(out.path(), *store), 0);
    EXPECT_EQ(SelfTest::run(out.path(), *store), 0);
    EXPECT_TRUE(filesUnder(data.path()).isEmpty());
}

// A bare store's live line and checks say what it lacks; the filled one's line sums it up.
TEST_F(DemoStoreTest, TheLiveLineAndTheChecksSayWhatIsMissingUntilTheStoreIsFilled) {
    EXPECT_EQ(Snapshotter::liveLine(*store),
              "strain none · samples 0 · recovery 0 · age none · vitals 0/0 · night none");
    const auto checks = SelfTest::checks(*store, out.path());
    ASSERT_EQ(checks.size(), 10u);
    EXPECT_FALSE(checks[0].passed);
    EXPECT_EQ(checks[0].description, "recovery is a percentage (0)");
    EXPECT_EQ(checks[8], (SelfTest::Check{false, "the share card renders"}));
    EXPECT_TRUE(checks[9].passed) << checks[9].description; // no card, so no size to check

    DemoData::fill(*store);
    const std::string line = Snapshotter::liveLine(*store);
    EXPECT_TRUE(line.starts_with("strain " + printfText("%.1f", *store->strain()) +
                                 " · samples 481 · recovery " + std::to_string(store->recovery()) +
                                 " · age "))
        << line;
    EXPECT_TRUE(line.ends_with(" (real 2.80) · vitals 4/5 · night yes")) << line;
}

// The demo day's figures are what the self-test checks; here is what it does not: a settled night, a fair
// day, the needs-care day the snapshots show, and nothing written through the window, Settings or refresh;
// the window's File menu has Refresh, then the card commands.
TEST_F(DemoStoreTest, TheDemoIsAFairDayThenANeedsCareDayAndWritesNothingThroughTheWindowOrItsFileMenu) {
    store->start();
    ASSERT_TRUE(store->reading().has_value());
    MainWindow window{*store};
    const auto menus = window.menuBar()->findChildren<QMenu*>();
    const auto file =
        std::find_if(menus.begin(), menus.end(), [](QMenu* menu) { return menu->title() == "&File"; });
    ASSERT_NE(file, menus.end());
    const auto actions = (*file)->actions();
    ASSERT_GE(actions.size(), 3);
    EXPECT_EQ(actions[0], window.refreshAction());
    EXPECT_EQ(actions[1]->text(), QString::fromUtf8("Share Card…"));
    EXPECT_EQ(actions[1]->shortcut(), QKeySequence("Ctrl+Shift+S"));
    EXPECT_EQ(actions[2]->text(), QString::fromUtf8("Save Card as Image…"));
    EXPECT_EQ(actions[2]->shortcut(), QKeySequence("Ctrl+Shift+E"));
    window.refreshAction()->trigger();
    EXPECT_FALSE(store->loadingNight());
    EXPECT_EQ(store->reading()->model, "ThinkPad X1 Carbon Gen 11 (2023)");
    EXPECT_GE(store->recovery(), 34);
    {
        SettingsWindow settings{*store, true};
        for (auto* box : settings.findChildren<QCheckBox*>()) {
            if (box->text() != "Show Vitrek in the tray") {
                box->setChecked(!box->isChecked());
            }
        }
    }
    QApplication::processEvents();

    DemoData::fillNeedsCare(*store);
    EXPECT_EQ(store->reading()->freeBytes, 9'000'000'000);
    EXPECT_EQ(store->reading()->heat, Heat::hot);
    EXPECT_FALSE(store->night().has_value());
    EXPECT_FALSE(store->strain().has_value());
    EXPECT_LT(store->recovery(), 67);
    EXPECT_TRUE(filesUnder(data.path()).isEmpty()) << filesUnder(data.path()).join(", ").toStdString();
    EXPECT_FALSE(Preferences::shared().hasBoughtAt());
    EXPECT_FALSE(QFile::exists(Autostart::entryPath()));
}

// The real program, on the offscreen platform, with its own settings, data, cache and socket folders.
class HarnessRunTest : public testing::Test {
protected:
    QString dataDir() const { return scratch.filePath("data"); }
    QString outDir() const { return scratch.filePath("out"); }

    test::Finished run(const QStringList& arguments, const QMap<QString, QString>& variables = {}) const {
        QProcessEnvironment env = test::programEnvironment(scratch.path().toStdString());
        for (auto it = variables.begin(); it != variables.end(); ++it) {
            env.insert(it.key(), it.value());
        }
        return test::runProgram(QStringLiteral(VITREK_EXECUTABLE), arguments, env, 180'000);
    }

    QTemporaryDir scratch;
};

TEST_F(HarnessRunTest, DarkSnapshotsWriteExactlyTheirFilesAtTheirSizes) {
    const auto result = run({}, {{"VITREK_SNAPSHOT_DIR", outDir()}, {"VITREK_SNAPSHOT_ONLY", "dark"}});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(filesUnder(outDir()),
              (QStringList{"01-main-dark.png", "02-main-min-dark.png", "03-menubar-dark.png",
                           "04-settings-dark.png", "05-share-card.png", "06-main-needs-care-dark.png",
                           "07-health-dark.png", "08-settings-no-tray-dark.png"}));
    // The panel's height follows its contents; the other sizes are fixed ones.
    EXPECT_GT(QImage(QDir(outDir()).filePath("03-menubar-dark.png")).height(), 200);
    // The needs-care day is another picture than the healthy one.
    EXPECT_NE(QImage(QDir(outDir()).filePath("06-main-needs-care-dark.png")),
              QImage(QDir(outDir()).filePath("01-main-dark.png")));
    EXPECT_TRUE(filesUnder(dataDir()).isEmpty()) << filesUnder(dataDir()).join(", ").toStdString();
}

// The self-test passes on the demo machine; its report reads the figures as the screens show them.
TEST_F(HarnessRunTest, TheCommandsRunTheSameHarnessAndDrawTheCard) {
    const auto selftest = run({"selftest", outDir()}, {{"VITREK_SNAPSHOT_DIR", scratch.filePath("ignored")}});
    ASSERT_EQ(selftest.status, 0) << selftest.out << selftest.err;
    QFile report(QDir(outDir()).filePath("selftest.txt"));
    ASSERT_TRUE(report.open(QIODevice::ReadOnly));
    EXPECT_EQ(selftest.out, report.readAll().toStdString());
    const QStringList lines = QString::fromStdString(selftest.out).split('\n', Qt::SkipEmptyParts);
    ASSERT_EQ(lines.size(), 12);
    EXPECT_EQ(lines.last(), "ALL PASS");
    const QRegularExpression strainLine(
        QString::fromUtf8("^PASS strain is on the 0–21 scale \\(\\d+\\.\\d\\)$"));
    EXPECT_TRUE(strainLine.match(lines[2]).hasMatch()) << lines[2].toStdString();
    EXPECT_TRUE(QRegularExpression("\\(\\d+\\.\\d years\\)$").match(lines[4]).hasMatch())
        << lines[4].toStdString();
    EXPECT_EQ(lines[9], QString::fromUtf8("PASS the card is 1080 × 1350 (1080 × 1350)"));
    EXPECT_EQ(QImage(QDir(outDir()).filePath("card.png")).size(), QSize(1080, 1350));
    EXPECT_FALSE(QDir(scratch.filePath("ignored")).exists());

    const QString card = scratch.filePath("card.png");
    const auto drawn = run({"card", "--demo", "--out", card});
    ASSERT_EQ(drawn.status, 0) << drawn.err;
    EXPECT_EQ(QImage(card).size(), QSize(1080, 1350));
    EXPECT_EQ(drawn.out, "Wrote " + card.toStdString() + " (1080 × 1350)\n");
    EXPECT_TRUE(filesUnder(dataDir()).isEmpty());
}

TEST_F(HarnessRunTest, ASecondStartHandsOverToTheRunningOneAndExits) {
    QProcess first;
    first.setProcessEnvironment(test::programEnvironment(scratch.path().toStdString()));
    first.start(QStringLiteral(VITREK_EXECUTABLE), {});
    // The first is ready once its socket is listening.
    const auto listening = [&] {
        return !QDir(scratch.path()).entryList({"vitrek-*"}, QDir::System).isEmpty();
    };
    ASSERT_TRUE(QTest::qWaitFor(listening, 20'000)) << first.readAllStandardError().toStdString();
    const auto second = run({});
    EXPECT_EQ(second.status, 0) << second.err;
    // Closing windows never ends it: the first runs on.
    EXPECT_FALSE(first.waitForFinished(300));
    first.terminate();
    first.waitForFinished(5000);
}

// The command table's mistakes are answered before anything draws (its own test has them all); the rest
// only once the card is being made.
TEST_F(HarnessRunTest, BadArgumentsGetOneLineAndStatusTwo) {
    for (const char* arguments : {"snapshot a b", "selftest a --fast", "card --tz Mars/Olympus",
                                  "card --demo --out /nonexistent/card.png"}) {
        const auto result = run(QString::fromUtf8(arguments).split(' '));
        EXPECT_EQ(result.status, 2) << arguments;
        EXPECT_TRUE(result.err.starts_with("vitrek: ")) << result.err;
        EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
    }
    EXPECT_FALSE(QDir(scratch.filePath("a")).exists());
}

} // namespace
} // namespace vitrek
