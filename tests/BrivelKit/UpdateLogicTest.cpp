#include "Updater/UpdateLogic.h"

#include "Updater/Bundle.h"
#include "Updater/Platform.h"
#include "Updater/UpdateFeed.h"
#include "Updater/UpdateTexts.h"
#include "support/KitFixtures.h"
#include "support/ScratchDirectory.h"

#include <gtest/gtest.h>

#include <chrono>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace brivel::test {
namespace {

TEST(UpdateLogicTest, VersionsOrderDigitRunsAsNumbers) {
    struct Case {
        const char* candidate;
        const char* current;
        bool newer;
    };
    const Case cases[] = {
        {"1.0", "1.0", false},  {"1.10", "1.9", true},
        {"1.9", "1.10", false}, {"2", "1.99.99", true},
        {"1.01", "1.1", false}, {"1.2b", "1.2a", true},
        {"1.2", "1.2b", false}, {"", "1.0", false},
        {"1.0", "", true},      {"123456789012345678901", "123456789012345678900", true},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(UpdateLogic::isNewer(row.candidate, row.current), row.newer)
            << row.candidate << " against " << row.current;
    }
}

TEST(UpdateLogicTest, MinimumSystemVersionComparesThreeNumbers) {
    struct Case {
        std::optional<std::string> minimum;
        SystemVersion system;
        bool supported;
    };
    const Case cases[] = {
        {std::nullopt, {2, 36, 0}, true}, {"", {2, 36, 0}, true},     {"14", {14, 0, 0}, true},
        {"14.1", {14, 0, 5}, false},      {"2.36", {2, 36, 0}, true}, {"2.37", {2, 36, 0}, false},
        {"2..36", {2, 36, 0}, true},   // empty pieces are dropped
        {"2.x.40", {2, 36, 0}, false}, // "x" is skipped, so 40 is the minor version
        {"beta", {0, 0, 0}, true},     // no number at all compares with 0.0.0
        {"1.2.3.4", {1, 2, 3}, true},  // only three numbers count
        {"3", {2, 99, 99}, false},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(UpdateLogic::systemSupports(row.minimum, row.system), row.supported)
            << row.minimum.value_or("(absent)");
    }
}

TEST(UpdateLogicTest, RunningSystemIsTheCLibrary) {
    const auto version = UpdateLogic::runningSystemVersion();
    EXPECT_GE(version.majorVersion, 2);
    EXPECT_TRUE(UpdateLogic::systemSupports("2.17", version));
}

TEST(UpdateLogicTest, SignatureHoldsOnlyForTheSignedBytesAndKey) {
    const auto keys = makeKeyPair();
    const std::string data = "archive bytes \x01\x02\x03 and more";
    const std::string signature = sign(data, keys.secretKey);
    EXPECT_TRUE(UpdateLogic::verify(data, signature, keys.publicKey));

    // Other bytes, another key and a signature that isn't base64 are the updater's refusals.
    auto rawSignature = *UpdateLogic::decodeBase64(signature);
    rawSignature[10] ^= 0x01;
    EXPECT_FALSE(UpdateLogic::verify(data, UpdateLogic::encodeBase64(rawSignature), keys.publicKey));
    const auto key31 = UpdateLogic::encodeBase64(UpdateLogic::decodeBase64(keys.publicKey)->substr(0, 31));
    EXPECT_FALSE(UpdateLogic::verify(data, signature, key31));
    EXPECT_FALSE(UpdateLogic::verify(data, signature, ""));
}

TEST(UpdateLogicTest, Base64IsStrict) {
    EXPECT_EQ(UpdateLogic::decodeBase64("aGVsbG8="), "hello");
    EXPECT_EQ(UpdateLogic::decodeBase64(""), "");
    EXPECT_EQ(UpdateLogic::encodeBase64("hello"), "aGVsbG8=");
    EXPECT_FALSE(UpdateLogic::decodeBase64("aGVsbG8"));   // padding missing
    EXPECT_FALSE(UpdateLogic::decodeBase64("aGVs bG8=")); // white space
    EXPECT_FALSE(UpdateLogic::decodeBase64("aGVsbG8=\n"));
    EXPECT_FALSE(UpdateLogic::decodeBase64("aGVsbG8-")); // the URL alphabet is another encoding
}

TEST(UpdateFeedTest, OptionalKeysMayBeMissingOrNullAndUnknownOnesAreIgnored) {
    const auto feed = UpdateFeed::decode(R"({"version": "2.0", "url": "https://e.org", "notes": null,
                                             "download": null, "channel": "stable"})");
    ASSERT_TRUE(feed);
    EXPECT_EQ(*feed, (UpdateFeed{"2.0", "https://e.org", std::nullopt, std::nullopt, std::nullopt}));
    EXPECT_TRUE(UpdateFeed::decode(R"({"version": "2.0", "url": "u", "download": {"url": "u", "length": 1,
                                      "edSignature": "s", "x": 1}})"));
}

TEST(UpdateFeedTest, MissingOrMistypedKeysMakeTheFeedUnreadable) {
    const char* unreadable[] = {
        "",
        "not json",
        "[]",
        R"({"url": "https://e.org"})",
        R"({"version": "2.0"})",
        R"({"version": 2.0, "url": "https://e.org"})",
        R"({"version": "2.0", "url": "https://e.org", "notes": 5})",
        R"({"version": "2.0", "url": "https://e.org", "download": "https://e.org/v.zip"})",
        R"({"version": "2.0", "url": "https://e.org", "download": {"url": "u", "edSignature": "s"}})",
        R"({"version": "2.0", "url": "https://e.org", "download": {"url": "u", "length": 1.5, "edSignature": "s"}})",
        R"({"version": "2.0", "url": "https://e.org", "download": {"url": "u", "length": -1, "edSignature": "s"}})",
        R"({"version": "2.0", "url": "https://e.org", "download": {"url": "u", "length": "10", "edSignature": "s"}})",
        R"({"version": "2.0", "url": "https://e.org", "download": {"length": 10, "edSignature": "s"}})",
        R"({"version": "2.0", "url": "https://e.org"} trailing)",
    };
    for (const char* text : unreadable) {
        EXPECT_FALSE(UpdateFeed::decode(text)) << text;
    }
}

TEST(BundleTest, ReadsItsIdentityUnderTheKeysOfEveryRelease) {
    const struct {
        const char* info;
        std::optional<std::string> identifier;
        std::optional<std::string> version;
    } cases[] = {
        {R"({"id": "app.vitrek.Vitrek", "name": "Vitrek", "version": "0.2.0"})", "app.vitrek.Vitrek",
         "0.2.0"},
        // What 0.1.0 wrote: an installed copy of it must still know itself to update.
        {R"({"CFBundleIdentifier": "app.vitrek.Vitrek", "CFBundleName": "Vitrek",
             "CFBundleShortVersionString": "0.1.0"})",
         "app.vitrek.Vitrek", "0.1.0"},
        {R"({"id": "new.id", "CFBundleIdentifier": "old.id", "version": 3})", "new.id", std::nullopt},
    };
    for (const auto& [info, identifier, version] : cases) {
        vitrek::test::ScratchDirectory folder{"brivel-bundle"};
        folder.write(Bundle::kInfoFile, info);
        const auto bundle = Bundle::at(folder.path());
        EXPECT_EQ(bundle.identifier, identifier) << info;
        EXPECT_EQ(bundle.shortVersion, version) << info;
    }
}

// The new version names the program the install script runs after the swap; it must stay in its folder.
TEST(PlatformTest, AfterInstallProgramsStayInsideTheFolder) {
    for (const auto& [path, allowed] :
         std::vector<std::pair<std::string, bool>>{{"libexec/vitrek-desktop-entry", true},
                                                   {"refresh", true},
                                                   {"", false},
                                                   {"/usr/bin/env", false},
                                                   {"../../bin/sh", false},
                                                   {"libexec/../../x", false},
                                                   {"libexec/refresh me", false},
                                                   {"libexec/$(reboot)", false}}) {
        EXPECT_EQ(Platform::isAfterInstallPath(path), allowed) << path;
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
        const auto shown = UpdateTexts::window(UpdatePhase::available(feed(row.withDownload)),
                                               context(row.inPlace, row.key));
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
