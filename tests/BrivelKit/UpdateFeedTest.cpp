#include "Updater/UpdateFeed.h"

#include <gtest/gtest.h>

namespace brivel::test {
namespace {

TEST(UpdateFeedTest, DecodesEveryKeyAndIgnoresUnknownOnes) {
    const auto feed = UpdateFeed::decode(R"({
        "version": "1.4.2", "url": "https://example.org/vitrek", "notes": "Faster nights.",
        "minimumSystemVersion": "2.31", "channel": "stable",
        "download": {"url": "https://example.org/v.zip", "length": 52428800, "edSignature": "c2ln", "x": 1}
    })");
    ASSERT_TRUE(feed);
    EXPECT_EQ(*feed, (UpdateFeed{"1.4.2", "https://example.org/vitrek", "Faster nights.", "2.31",
                                 UpdateFeed::Download{"https://example.org/v.zip", 52428800, "c2ln"}}));
    EXPECT_EQ(UpdateFeed::decode(feed->encode()), feed);
}

TEST(UpdateFeedTest, OptionalKeysMayBeMissingOrNull) {
    const auto feed = UpdateFeed::decode(R"({"version": "2.0", "url": "https://e.org", "notes": null,
                                             "download": null})");
    ASSERT_TRUE(feed);
    EXPECT_FALSE(feed->notes);
    EXPECT_FALSE(feed->minimumSystemVersion);
    EXPECT_FALSE(feed->download);
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
