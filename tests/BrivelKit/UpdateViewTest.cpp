#include "Updater/UpdateView.h"

#include "Updater/UpdateFeed.h"
#include "Updater/UpdateSettingsSection.h"
#include "Updater/UpdateTexts.h"
#include "Updater/Updater.h"
#include "Window/WindowHost.h"
#include "support/KitFixtures.h"
#include "support/KitTesting.h"
#include "support/LoopbackServer.h"
#include "support/ScratchDirectory.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QCheckBox>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace brivel::test {
namespace {

constexpr const char* kFeed = "https://example.org/vitrek/feed.json";

// A Vitrek 1.0 folder in a scratch directory, with the feed address given or none.
class Program {
public:
    explicit Program(const std::string& feed = {}) {
        const auto address = feed.empty() ? std::string() : R"(, "BrivelUpdateFeedURL": ")" + feed + "\"";
        m_folder.write(Bundle::kInfoFile,
                       R"({"CFBundleName": "Vitrek", "CFBundleShortVersionString": "1.0")" + address + "}");
    }
    Bundle bundle() const { return Bundle::at(m_folder.path()); }

private:
    vitrek::test::ScratchDirectory m_folder{"brivel-view"};
};

// The children of type T that are part of the view now (a rebuild hides the old ones before they go).
template <typename T> QList<T*> shown(const QWidget& widget) {
    QList<T*> result;
    for (auto* child : widget.findChildren<T*>()) {
        if (!child->isHidden()) {
            result << child;
        }
    }
    return result;
}

template <typename T> QStringList texts(const QWidget& widget) {
    QStringList result;
    for (const auto* child : shown<T>(widget)) {
        result << child->text();
    }
    return result;
}

TEST(UpdateViewTest, DownloadAndInstallDownloadsTheOfferedVersionAndThenOffersARestart) {
    const vitrek::test::ScratchDirectory scratch("brivel-view");
    const auto keys = makeKeyPair();
    writeProgram(scratch.path() / "new" / "Vitrek", "org.example.vitrek", "1.1");
    const auto archive = packProgram(scratch.path() / "new" / "Vitrek", scratch.path() / "new.zip");
    LoopbackServer server;
    server.serve("/vitrek.zip", LoopbackServer::ok(archive));
    const UpdateFeed feed{"1.1", "https://example.org/vitrek", std::nullopt, std::nullopt,
                          UpdateFeed::Download{server.url("/vitrek.zip"),
                                               static_cast<std::int64_t>(archive.size()),
                                               sign(archive, keys.secretKey)}};
    server.serve("/feed.json", LoopbackServer::ok(feed.encode()));
    writeProgram(scratch.path() / "old" / "Vitrek", "org.example.vitrek", "1.0", server.url("/feed.json"),
                 keys.publicKey);

    Updater updater{Bundle::at(scratch.path() / "old" / "Vitrek")};
    updater.setAutomaticallyDownloads(false);
    const UpdateView view(updater);
    updater.check(true);
    ASSERT_TRUE(waitFor([&] { return updater.phase().kind == UpdatePhase::Kind::available; }));
    // Shown with the ampersand doubled: a single one would turn " I" into a keyboard mnemonic.
    ASSERT_EQ(texts<QPushButton>(view), (QStringList{"Later", "Download && Install"}));

    shown<QPushButton>(view).back()->click();
    ASSERT_TRUE(waitFor([&] { return updater.phase().kind == UpdatePhase::Kind::ready; }));
    EXPECT_TRUE(texts<QLabel>(view).contains("Vitrek 1.1 is ready"));
    EXPECT_EQ(texts<QPushButton>(view), (QStringList{"Later", "Restart Now"}));
}

TEST(UpdateViewTest, TheUpdateWindowIsKeptOnceAndItsOKClosesIt) {
    // A feed nobody answers: a check fails at once.
    Updater updater{Program("http://127.0.0.1:1/feed.json").bundle()};
    UpdateView::showWindow(updater);
    auto* window = WindowHost::window("update");
    ASSERT_NE(window, nullptr);
    EXPECT_TRUE(window->isVisible());
    // With the window open, even an automatic check ends in what it shows rather than a spinner.
    updater.check(false);
    ASSERT_TRUE(waitFor([&] { return updater.phase().kind != UpdatePhase::Kind::checking; }));
    EXPECT_EQ(updater.phase().kind, UpdatePhase::Kind::failed);
    EXPECT_TRUE(shown<QProgressBar>(*window).empty());

    UpdateView::showWindow(updater);
    EXPECT_EQ(WindowHost::window("update"), window);

    window->findChild<QPushButton*>()->click();
    EXPECT_FALSE(window->isVisible());
    updater.check(false);
    ASSERT_TRUE(waitFor([&] { return updater.phase().kind != UpdatePhase::Kind::checking; }));
    EXPECT_EQ(updater.phase().kind, UpdatePhase::Kind::idle);
    // Kept after closing, so the program decides when it goes; here the updater goes first.
    delete window;
}

TEST(UpdateViewTest, TheSettingsToggleAndTheUpdaterStayInStep) {
    Updater updater{Program(kFeed).bundle()};
    updater.setAutomaticallyDownloads(true);
    const UpdateSettingsSection section(updater);
    auto* toggle = section.findChild<QCheckBox*>();
    ASSERT_NE(toggle, nullptr);
    EXPECT_TRUE(toggle->isChecked());

    toggle->click();
    EXPECT_FALSE(updater.automaticallyDownloads());
    EXPECT_FALSE(
        Updater{Program(kFeed).bundle()}.automaticallyDownloads()); // written to the settings at once

    updater.setAutomaticallyDownloads(true);
    EXPECT_TRUE(toggle->isChecked());
    EXPECT_TRUE(texts<QLabel>(section).contains("1.0"));
    EXPECT_TRUE(texts<QLabel>(section).contains(
        "New versions download in the background and install when you quit Vitrek."));
}

TEST(UpdateViewTest, WithoutAFeedCheckingTellsWhereUpdatesComeFromInsteadOfDoingNothing) {
    const Program selfBuilt;
    Bundle packaged;
    packaged.path = "/usr/lib/vitrek";
    packaged.name = "Vitrek";
    packaged.shortVersion = "1.0";
    const std::pair<Bundle, QString> cases[] = {
        {selfBuilt.bundle(), "This build has no update feed."},
        {packaged, "Updates come from your package manager (apt)."},
    };
    for (const auto& [bundle, line] : cases) {
        Updater updater{bundle};
        int windows = 0;
        QObject::connect(&updater, &Updater::windowRequested, &updater, [&windows] { ++windows; });
        updater.check(false);
        EXPECT_EQ(windows, 0) << line.toStdString();
        updater.check(true);
        EXPECT_EQ(windows, 1) << line.toStdString();
        EXPECT_EQ(updater.phase(), UpdatePhase::idle());

        const UpdateView view(updater);
        EXPECT_TRUE(texts<QLabel>(view).contains(line)) << texts<QLabel>(view).join(" | ").toStdString();
        EXPECT_TRUE(shown<QProgressBar>(view).isEmpty()) << "no check is under way";
        EXPECT_EQ(texts<QPushButton>(view), QStringList{"OK"});

        // The section says it at once, with no download toggle or Check Now that could never act.
        const UpdateSettingsSection section(updater);
        EXPECT_TRUE(texts<QLabel>(section).contains(line))
            << texts<QLabel>(section).join(" | ").toStdString();
        EXPECT_TRUE(shown<QPushButton>(section).isEmpty());
        EXPECT_TRUE(shown<QCheckBox>(section).isEmpty());
    }
}

using UpdateTexts::Action;
using UpdateTexts::Button;
using UpdateTexts::Context;
using UpdateTexts::Detail;
using UpdateTexts::Line;
using UpdateTexts::Window;
using Style = Line::Style;

const std::chrono::system_clock::time_point kNow{std::chrono::seconds{1'700'000'000}};

UpdateFeed feed(bool withDownload = true, std::optional<std::string> notes = "Faster nights.") {
    UpdateFeed result{"1.1", "https://example.org/vitrek", std::move(notes), std::nullopt, std::nullopt};
    if (withDownload) {
        result.download = UpdateFeed::Download{"https://example.org/vitrek-1.1.zip", 1234, "c2lnbmF0dXJl"};
    }
    return result;
}

Context context(bool inPlace = true, bool key = true) {
    return {"Vitrek", "1.0", inPlace, key, UpdateSource::feed};
}

TEST(UpdateTextsTest, EachPhaseHasItsTitleDetailAndButtons) {
    const struct {
        UpdatePhase phase;
        Window expected;
    } cases[] = {
        {UpdatePhase::idle(), {"Checking for updates…", Detail::spinner, {}, 0, {{"OK", Action::close}}}},
        {UpdatePhase::upToDate(),
         {"You’re up to date",
          Detail::lines,
          {{"Vitrek 1.0 is the newest version.", Style::body}},
          0,
          {{"OK", Action::close}}}},
        {UpdatePhase::available(feed()),
         {"Vitrek 1.1 is available",
          Detail::lines,
          {{"Faster nights.", Style::secondary}},
          0,
          {{"Later", Action::close}, {"Download & Install", Action::downloadAndInstall}}}},
        {UpdatePhase::downloading(feed(), 1.5),
         {"Downloading Vitrek 1.1…", Detail::progress, {}, 1, {{"OK", Action::close}}}},
        {UpdatePhase::ready(feed(true, std::nullopt)),
         {"Vitrek 1.1 is ready",
          Detail::lines,
          {{"You have 1.0.", Style::secondary},
           {"It installs automatically the next time you quit Vitrek.", Style::body}},
          0,
          {{"Later", Action::close}, {"Restart Now", Action::restartNow}}}},
        {UpdatePhase::failed("The download was incomplete."),
         {"Update problem",
          Detail::lines,
          {{"The download was incomplete.", Style::body}},
          0,
          {{"OK", Action::close}}}},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(UpdateTexts::window(row.phase, context()), row.expected)
            << static_cast<int>(row.phase.kind);
    }
}

TEST(UpdateTextsTest, DownloadIsOfferedOnlyWithAnArchiveAKeyAndAWritableInstall) {
    const struct {
        bool withDownload;
        bool key;
        bool inPlace;
        bool offered;
    } cases[] = {
        {true, true, true, true},
        {false, true, true, false},
        {true, false, true, false},
        {true, true, false, false},
    };
    for (const auto& row : cases) {
        const auto ctx = context(row.inPlace, row.key);
        EXPECT_EQ(UpdateTexts::offersDownload(feed(row.withDownload), ctx), row.offered);
        const auto shown = UpdateTexts::window(UpdatePhase::available(feed(row.withDownload)), ctx);
        const Button install = row.offered ? Button{"Download & Install", Action::downloadAndInstall}
                                           : Button{"Open Download Page", Action::openDownloadPage};
        EXPECT_EQ(shown.buttons, (std::vector<Button>{{"Later", Action::close}, install}));
        // The orange hint is about where the program lives, not about the feed or the key.
        const Line hint{"Vitrek can’t replace itself in the folder it runs from. Install it in a folder you "
                        "own, such as ~/.local/opt, to get updates automatically.",
                        Style::warning};
        EXPECT_EQ(shown.lines.back() == hint, !row.inPlace);
    }
}

TEST(UpdateTextsTest, StatusLineByPhase) {
    const struct {
        UpdatePhase phase;
        std::string expected;
    } cases[] = {
        {UpdatePhase::downloading(feed(), 0), "Downloading 1.1… 0%"},
        {UpdatePhase::downloading(feed(), 0.29), "Downloading 1.1… 29%"},
        {UpdatePhase::downloading(feed(), 0.999), "Downloading 1.1… 99%"},
        {UpdatePhase::downloading(feed(), 1), "Downloading 1.1… 100%"},
        {UpdatePhase::downloading(feed(), 1.5), "Downloading 1.1… 100%"},
        {UpdatePhase::failed("The update didn’t contain an app."), "The update didn’t contain an app."},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(UpdateTexts::updateStatus(row.phase, kNow, kNow), row.expected);
    }
}

TEST(UpdateTextsTest, IdleStatusTellsWhenTheLastCheckWasAndNothingBeforeTheFirst) {
    EXPECT_EQ(UpdateTexts::updateStatus(UpdatePhase::idle(), std::nullopt, kNow), "");
    EXPECT_EQ(UpdateTexts::updateStatus(UpdatePhase::idle(), kNow - std::chrono::hours{26}, kNow),
              "Last checked yesterday.");
}

TEST(UpdateTextsTest, RelativeDatePicksTheLargestUnitAtEachBoundary) {
    using std::chrono::seconds;
    constexpr long kDay = 86'400;
    const struct {
        std::chrono::milliseconds ago;
        std::string expected;
    } cases[] = {
        {seconds{0}, "now"},
        {std::chrono::milliseconds{999}, "now"},
        {seconds{1}, "1 second ago"},
        {seconds{59}, "59 seconds ago"},
        {seconds{60}, "1 minute ago"},
        {seconds{3'599}, "59 minutes ago"},
        {seconds{3'600}, "1 hour ago"},
        {seconds{kDay - 1}, "23 hours ago"},
        {seconds{kDay}, "yesterday"},
        {seconds{2 * kDay - 1}, "yesterday"},
        {seconds{2 * kDay}, "2 days ago"},
        {seconds{7 * kDay}, "last week"},
        {seconds{13 * kDay}, "last week"},
        {seconds{14 * kDay}, "2 weeks ago"},
        {seconds{29 * kDay}, "4 weeks ago"},
        {seconds{30 * kDay}, "last month"},
        {seconds{59 * kDay}, "last month"},
        {seconds{60 * kDay}, "2 months ago"},
        {seconds{364 * kDay}, "11 months ago"},
        {seconds{365 * kDay}, "last year"},
        {seconds{730 * kDay}, "2 years ago"},
        {seconds{-1}, "in 1 second"},
        {seconds{-kDay}, "tomorrow"},
        {seconds{-8 * kDay}, "next week"},
        {seconds{-40 * kDay}, "next month"},
        {seconds{-400 * kDay}, "next year"},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(UpdateTexts::relativeDate(kNow - row.ago, kNow), row.expected) << row.ago.count();
    }
}

} // namespace
} // namespace brivel::test
