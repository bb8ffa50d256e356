#include "readings/CPUTicks.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace vitrek {
namespace {

// user nice system idle iowait irq softirq steal guest guest_nice
TEST(CPUTicksTest, ProcStatCountsInterruptsAndStolenTimeAsBusyButNotGuestTimeTwiceInKernelsOfAnyAge) {
    const std::vector<std::pair<std::string, std::optional<CPUTicks>>> cases = {
        {"cpu  100 20 30 1000 5 1 2 3 50 10\n", CPUTicks{156, 1161}},
        {"cpu  100 20 30 1000\n", CPUTicks{150, 1150}},     // 2.4: no iowait and later columns
        {"cpu  100 20 30 1000 5 1 2", CPUTicks{153, 1158}}, // 2.6.0: no steal, no final newline
        {"intr 5 6\ncpu0 1 1 1 1\ncpu  2 0 0 8\n",
         CPUTicks{2, 10}}, // the summed line, not the first processor
        {"cpu  1 2 3\n", std::nullopt},
        {"cpu  1 x 3 4\n", std::nullopt},
        {"cpu0 1 2 3 4\n", std::nullopt},
        {"", std::nullopt}};
    for (const auto& [text, ticks] : cases) {
        EXPECT_EQ(CPUTicks::fromProcStat(text), ticks) << text;
    }
}

} // namespace
} // namespace vitrek
