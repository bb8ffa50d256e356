#pragma once

#include "readings/Reading.h"
#include "scores/MacAge.h"

#include <filesystem>
#include <optional>
#include <string_view>
#include <utility>

namespace vitrek {

class Calendar;
struct History;

// The machine's age estimate.
namespace Age {

// Where the age is counted from: the purchase date, else the set-up date, else 1 July of the model's year,
// each only when earlier than `now`; absent when none applies.
std::optional<std::pair<Instant, MacAge::Source>> start(std::optional<Instant> bought,
                                                        std::optional<Instant> setUp,
                                                        std::string_view modelName, Instant now,
                                                        const Calendar& calendar);
// The modification date of the file that marks the system's first set-up; absent when it cannot be read.
std::optional<Instant> setUpDate(const std::filesystem::path& marker);
// The first stand-alone 20xx year in a model name; absent when there is none.
std::optional<int> modelYear(std::string_view name);
// The real age since `since` with the adjustments for battery, cycles, storage, recovery, strain and restarts.
MacAge estimate(const Reading& reading, Instant since, MacAge::Source source, const History& history,
                Instant now);

} // namespace Age
} // namespace vitrek
