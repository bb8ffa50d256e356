#include "Updater/UpdateLogic.h"

#include "Updater/Bundle.h"
#include "Updater/Platform.h"
#include "Updater/UpdateFeed.h"
#include "support/KitFixtures.h"
#include "support/ScratchDirectory.h"

#include <gtest/gtest.h>

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
        {"1.0", "1.0", false},
        {"1.10", "1.9", true},
        {"1.9", "1.10", false},
        {"1.0.1", "1.0", true},
        {"1.0", "1.0.1", false},
        {"2", "1.99.99", true},
        {"1.01", "1.1", false},
        {"1.2b", "1.2a", true},
        {"1.2", "1.2b", false},
        {"10.0", "9.9", true},
        {"", "1.0", false},
        {"1.0", "", true},
        {"123456789012345678901", "123456789012345678900", true},
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
    for (const auto& [path, allowed] : std::vector<std::pair<std::string, bool>>{
             {"libexec/vitrek-desktop-entry", true},
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

} // namespace
} // namespace brivel::test
