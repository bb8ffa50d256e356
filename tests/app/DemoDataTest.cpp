#include "support/DemoStore.h"
#include "support/ScratchDirectory.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace vitrek {
namespace {

// The demo day's figures are what the self-test checks (run on the demo machine by the window tests);
// here is what it does not: a settled night, a fair day, and the needs-care day the snapshots show.
TEST(DemoDataFill, IsAFairDayThenANeedsCareDayAndRecordsNothing) {
    test::ScratchDirectory data;
    const auto store = test::demoStore(data.path());
    store->start();
    store->refresh();
    EXPECT_FALSE(store->loadingNight());
    EXPECT_GE(store->recovery(), 34);

    DemoData::fillNeedsCare(*store);
    EXPECT_EQ(store->reading()->freeBytes, 9'000'000'000);
    EXPECT_EQ(store->reading()->heat, Heat::hot);
    EXPECT_FALSE(store->night().has_value());
    EXPECT_FALSE(store->strain().has_value());
    EXPECT_LT(store->recovery(), 67);
    EXPECT_TRUE(std::filesystem::is_empty(data.path()));
}

} // namespace
} // namespace vitrek
