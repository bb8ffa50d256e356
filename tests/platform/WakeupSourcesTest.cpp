#include "linux/WakeupSources.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace vitrek {
namespace {

std::filesystem::path tree(const std::string& name) {
    return std::filesystem::path(VITREK_TEST_DATA) / "sysfs" / name;
}

std::vector<std::string> names(const std::vector<WakeupSource>& sources) {
    std::vector<std::string> names;
    for (const auto& source : sources) {
        names.push_back(source.name);
    }
    return names;
}

TEST(WakeupSourcesTest, ReadsEveryNamedSourceInFolderOrder) {
    // A board whose kernel has no wakeup_count or last_change_ms files for us: they read as 0.
    const auto board = WakeupSources::read(tree("hostmobility-hmx-wakeup"));
    ASSERT_EQ(board.size(), 15u);
    EXPECT_EQ(board[11], (WakeupSource{.name = "gpio-keys", .eventCount = 242}));
    EXPECT_EQ(board[14], (WakeupSource{.name = "1-0051", .eventCount = 946}));

    // The laptop's wakeup9 has no name and is left out; a padded name is trimmed.
    const auto laptop = WakeupSources::read(tree("laptop-wakeup-before-sleep"));
    EXPECT_EQ(names(laptop),
              (std::vector<std::string>{"PNP0C0C:00", "PNP0C0D:00", "PNP0C0A:00", "LNXPWRBN:00", "00:02",
                                        "alarmtimer.0.auto", "0000:00:14.3", "1-4", "0000:00:14.0"}));
    EXPECT_EQ(
        laptop[1],
        (WakeupSource{.name = "PNP0C0D:00", .eventCount = 6, .wakeupCount = 2, .lastChangeMs = 7195113}));

    EXPECT_TRUE(WakeupSources::read(tree("no-such-tree")).empty());
}

TEST(WakeupSourcesTest, MovedOrdersTheLikeliestWakerFirst) {
    // name, events, wakeups, last change
    auto source = [](std::string name, std::int64_t events, std::int64_t wakeups, std::int64_t lastChange) {
        return WakeupSource{std::move(name), events, wakeups, lastChange};
    };
    struct Row {
        const char* what;
        std::vector<WakeupSource> before;
        std::vector<WakeupSource> after;
        std::vector<WakeupSource> expected;
    };
    const std::vector<Row> rows{
        {"nothing moved", {source("PNP0C0D:00", 6, 2, 900)}, {source("PNP0C0D:00", 6, 2, 900)}, {}},
        {"a counted wakeup beats an earlier event",
         {source("1-4", 2, 0, 10), source("PNP0C0D:00", 6, 2, 900)},
         {source("1-4", 3, 0, 1000), source("PNP0C0D:00", 7, 3, 1200)},
         {source("PNP0C0D:00", 7, 3, 1200), source("1-4", 3, 0, 1000)}},
        {"of two wakeups the first to fire",
         {source("PNP0C0C:00", 0, 0, 0), source("00:02", 1, 1, 50)},
         {source("PNP0C0C:00", 1, 1, 1300), source("00:02", 2, 2, 1250)},
         {source("00:02", 2, 2, 1250), source("PNP0C0C:00", 1, 1, 1300)}},
        {"a tie goes by name",
         {source("rtc0", 0, 0, 0), source("alarmtimer.0.auto", 0, 0, 0)},
         {source("rtc0", 1, 1, 1250), source("alarmtimer.0.auto", 1, 1, 1250)},
         {source("alarmtimer.0.auto", 1, 1, 1250), source("rtc0", 1, 1, 1250)}},
        {"namesakes pair up in order",
         {source("0000:00:14.0", 1, 0, 5), source("0000:00:14.0", 5, 0, 6), source("0000:00:14.0", 9, 0, 7)},
         {source("0000:00:14.0", 1, 0, 5), source("0000:00:14.0", 6, 0, 1100),
          source("0000:00:14.0", 9, 0, 7)},
         {source("0000:00:14.0", 6, 0, 1100)}},
        {"a source that appeared counts from zero",
         {},
         {source("1-4", 1, 1, 1100)},
         {source("1-4", 1, 1, 1100)}},
        {"a source registered again says nothing",
         {source("1-4", 7, 2, 500)},
         {source("1-4", 1, 1, 1100)},
         {}},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(WakeupSources::moved(row.before, row.after), row.expected) << row.what;
    }
}

} // namespace
} // namespace vitrek
