#include "Updater/UpdateFeed.h"

#include <gtest/gtest.h>

namespace brivel::test {
namespace {

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

} // namespace
} // namespace brivel::test
