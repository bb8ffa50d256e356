#include "scores/Coach.h"

#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <tuple>

namespace vitrek {
namespace {

using enum Factor::Kind;

// 12.5 % free, very hot and up a day: numbers the tips take from the reading.
const Reading kLaptop{test::at("2025-03-04T07:12:00Z"), "", BatteryInfo{0.95, 312, 80, false}, 125, 1000,
                      Pressure::warning, 0, Heat::critical, test::at("2025-03-03T04:12:00Z")};
// A factor scored `s` out of weight `w`, showing 78 %.
const auto f = [](auto kind, double s = 0.3, double w = 10) { return Factor{kind, "", "78%", "", s, w}; };

// Each tip once, for a lone factor and last night's wakes.
const std::tuple<Factor, std::optional<int>, const char*> kTips[] = {
    {f(storage, 0.85, 25), {}, "Everything looks good. Your computer is ready for a heavy day."},
    {f(battery),
     {},
     "Battery health is 78%. Set a charge limit of about 80% in your power settings to slow the wear."},
    {f(storage),
     {},
     "Only 13% of your disk is free, which slows updates and builds. Caches and old downloads are the easy "
     "wins."},
    {f(memory), {}, "Memory is tight. Quit apps you're not using, especially browsers with many tabs."},
    {f(heat), {}, "Your computer is running very hot. Give it some air, or check which app is keeping it busy."},
    {f(uptime), {}, "Restart tonight. It's been 1 day, and a fresh start clears memory and pending updates."},
    {f(rest), {}, "Your computer didn't rest well last night. Close the lid or let it sleep when you're done."},
    {f(rest), 0, "Your computer didn't rest well last night. Close the lid or let it sleep when you're done."},
    {f(rest),
     1,
     "Your computer woke 1 time last night. Turn off wake-up by USB devices and Wake-on-LAN if you don't need "
     "them."},
    {f(rest),
     4,
     "Your computer woke 4 times last night. Turn off wake-up by USB devices and Wake-on-LAN if you don't need "
     "them."}};

TEST(CoachTest, TipsAimAtTheCostliestWeakFactorAndQuoteItsValueTheReadingAndTheWakes) {
    for (const auto& [factor, wakes, tip] : kTips) {
        EXPECT_EQ(Coach::tip({factor}, 40, kLaptop, wakes), tip);
    }
    // Costs 14.5 over 13.5; 7, then 10 and a tie at 10 that keeps the earlier; a good factor never competes.
    // Ties exact only on paper keep the earlier too: (1 − 0.8) × 20 is 3.999999999999999 in doubles, against 4.
    const std::pair<std::vector<Factor>, std::size_t> cases[] = {
        {{f(storage, 0.42, 25), f(heat, 0.1, 15)}, 0},
        {{f(rest), f(battery, 0.5, 20), f(uptime, 0)}, 1},
        {{f(storage, 0.85, 25), f(uptime, 0.849)}, 1},
        {{f(memory, 0.8, 20), f(uptime, 0.6, 10)}, 0},
        {{f(uptime, 0.6, 10), f(memory, 0.8, 20)}, 0},
        {{f(battery, 0.55, 20), f(uptime, 0.1, 10)}, 0}};
    for (const auto& [factors, choice] : cases) {
        EXPECT_EQ(Coach::tip(factors, 60, kLaptop, {}), Coach::tip({factors[choice]}, 60, kLaptop, {}));
    }
}

} // namespace
} // namespace vitrek
