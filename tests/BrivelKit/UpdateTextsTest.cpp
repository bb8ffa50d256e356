#include "Updater/UpdateTexts.h"

#include <gtest/gtest.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace brivel::test {
namespace {

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
