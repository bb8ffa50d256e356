#include "harness/Harness.h"

#include "Store.h"
#include "card/CardExport.h"
#include "card/ShareCard.h"
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
#include <QClipboard>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QGuiApplication>
#include <QImage>
#include <QMap>
#include <QMenuBar>
#include <QMimeData>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <QUrl>
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
    EXPECT_EQ(checks[0], (SelfTest::Check{false, "recovery is a percentage (0)"}));
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
    EXPECT_FALSE(store->night().has_value());
    EXPECT_FALSE(store->strain().has_value());
    EXPECT_TRUE(filesUnder(data.path()).isEmpty()) << filesUnder(data.path()).join(", ").toStdString();
    EXPECT_FALSE(Preferences::shared().hasBoughtAt());
    EXPECT_FALSE(QFile::exists(Autostart::entryPath()));
}

// Only the age block, the factors and the tip decide the layout; each factor's detail needs all of a row.
ShareCard cardWith(bool age, std::size_t factors, std::string tip) {
    ShareCard card;
    for (std::size_t i = 0; i < factors; ++i) {
        card.factors.push_back(
            Factor{Factor::kAllKinds[i], "Free storage", "8%",
                   "41.3 GB of 494 GB free. Clear out downloads and old caches to make room.",
                   0.3 * static_cast<double>(i), 25});
    }
    card.tip = std::move(tip);
    if (age) {
        card.age = MacAge{};
    }
    return card;
}

TEST(ShareCardLayout, BothVariantsFitBetweenThePaddingsAndTheTipShrinksOrMovesUpToFit) {
    const std::string tip =
        "Your disk is nearly full. Free up at least 20 GB so updates and swap have room to work.";
    for (const bool age : {true, false}) {
        const auto layout = ShareCardView::layout(cardWith(age, 6, tip));
        const double spacing = CardTexts::sectionSpacing(age);
        EXPECT_EQ(layout.factorRows, age ? 4u : 5u);
        EXPECT_EQ(layout.age.has_value(), age);
        EXPECT_EQ(layout.header.top(), 64);
        EXPECT_EQ(layout.dials.top(), layout.header.bottom() + spacing);
        EXPECT_EQ(layout.rule.top(), (age ? layout.age->bottom() : layout.dials.bottom()) + spacing);
        EXPECT_EQ(layout.tip.top(), layout.factors.bottom() + spacing);
        EXPECT_EQ(layout.footer.bottom(), 1350 - 64);
        EXPECT_EQ(layout.tipPixelSize, 29) << age;
        EXPECT_LE(layout.tip.bottom() + spacing, layout.footer.top()) << age;
    }

    // A long tip steps down rather than run into the footer.
    std::string longTip;
    for (int i = 0; i < 4; ++i) {
        longTip += "Restart it this week: nine days of uptime leave memory fragmented and updates waiting. ";
    }
    const auto layout = ShareCardView::layout(cardWith(false, 6, longTip));
    EXPECT_LT(layout.tipPixelSize, 29);
    EXPECT_LE(layout.tip.bottom() + 44, layout.footer.top());

    // Fewer factors than rows: only those rows, and the tip moves up.
    const auto few = ShareCardView::layout(cardWith(true, 2, "Short."));
    EXPECT_EQ(few.factorRows, 2u);
    EXPECT_LT(few.tip.top(), ShareCardView::layout(cardWith(true, 6, "Short.")).tip.top());
}

// The card is drawn from the demo store the harness uses.
class CardExportTest : public DemoStoreTest {};

TEST_F(CardExportTest, NothingBeforeAReadingThenAStablePngSharedUnderTheDaysName) {
    EXPECT_EQ(CardExport::card(*store), std::nullopt);
    EXPECT_EQ(CardExport::png(*store), std::nullopt);
    CardExport::share(*store, [&](const QString&) { ADD_FAILURE() << "nothing to share yet"; });

    DemoData::fill(*store);
    const auto card = CardExport::card(*store);
    ASSERT_TRUE(card.has_value());
    EXPECT_EQ(card->restLine, "3 wakes · −2% battery");
    EXPECT_EQ(card->rest, RestScore::score(*store->night()));

    const auto first = CardExport::png(*store);
    ASSERT_TRUE(first.has_value());
    EXPECT_EQ(first, CardExport::png(*store));
    EXPECT_TRUE(first->startsWith("\x89PNG"));
    const QImage image = ShareCardView::image(*card, test::berlin());
    // Always dark: the corner is the dark face, whatever the appearance of the process.
    EXPECT_EQ(image.pixelColor(2, 2), Theme::color(Theme::Role::face, Theme::Appearance::dark));
    // Without the age block the card is another picture.
    auto ageless = *card;
    ageless.age.reset();
    EXPECT_NE(ShareCardView::image(ageless, test::berlin()), image);

    EXPECT_EQ(CardExport::fileName(test::at("2026-11-23T23:30:00Z"), test::berlin()),
              "Vitrek 2026-11-24.png");
    const test::ScopedVariable tmp{"TMPDIR", out.path().toUtf8().constData()};
    QString revealed;
    CardExport::share(*store, [&](const QString& path) { revealed = path; });
    EXPECT_EQ(revealed, QDir(out.path()).filePath("Vitrek 2026-11-24.png"));
    QFile written(revealed);
    ASSERT_TRUE(written.open(QIODevice::ReadOnly));
    EXPECT_EQ(written.readAll(), *first);
    const QMimeData* clipboard = QGuiApplication::clipboard()->mimeData();
    ASSERT_NE(clipboard, nullptr);
    EXPECT_TRUE(clipboard->hasImage());
    EXPECT_EQ(clipboard->urls(), QList<QUrl>{QUrl::fromLocalFile(revealed)});
}

// Answers the save dialog that `CardExport::save` opens: with `file`, or cancels when it is empty. Returns
// the file name the dialog proposed, then its filters.
QStringList saveAnswering(const Store& store, const QString& file) {
    QStringList proposed;
    QTimer::singleShot(0, [&] {
        auto* dialog = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
        if (dialog == nullptr) {
            ADD_FAILURE() << "no save dialog";
            return;
        }
        proposed =
            QStringList{QFileInfo(dialog->selectedFiles().value(0)).fileName()} + dialog->nameFilters();
        if (file.isEmpty()) {
            dialog->reject();
        } else {
            dialog->selectFile(file);
            QMetaObject::invokeMethod(dialog, "accept");
        }
    });
    CardExport::save(store);
    return proposed;
}

TEST_F(CardExportTest, SaveProposesTheDaysNameAndWritesAPngWhereTheUserSays) {
    DemoData::fill(*store);
    const QString chosen = QDir(out.path()).filePath("my card");
    EXPECT_EQ(saveAnswering(*store, chosen), (QStringList{"Vitrek 2026-11-24.png", "PNG image (*.png)"}));
    EXPECT_EQ(QImage(chosen + ".png").size(), QSize(1080, 1350));

    // A cancel leaves nothing behind.
    QTemporaryDir empty;
    QDir::setCurrent(empty.path());
    saveAnswering(*store, {});
    EXPECT_TRUE(QDir(empty.path()).isEmpty());
    EXPECT_EQ(QDir(out.path()).entryList(QDir::Files), QStringList{"my card.png"});
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
