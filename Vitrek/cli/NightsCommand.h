#pragma once

#include "cli/CommandLine.h"
#include "cli/CommandOptions.h"
#include "powerlog/Night.h"
#include "powerlog/PowerLog.h"
#include "time/Calendar.h"

#include <optional>
#include <ostream>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace vitrek::cli {

// `vitrek nights [--log FILE|- | --journal FILE|- | --source journal|vitrek] [--now TIME] [--tz ZONE] [--json]`
using NightsOptions = CommandOptions;

std::variant<NightsOptions, UsageError> parseNightsOptions(std::span<const std::string> arguments);

// The document of `--json` (compact, one line): the source, the log's counts and every night with its
// figures, dates as Unix seconds.
void writeNightsJson(std::ostream& out, std::string_view source, const PowerLog& log,
                     const std::vector<Night>& nights);
// The story of each night for a person at a terminal, clock times in `calendar`'s zone.
std::string nightsText(const std::vector<Night>& nights, const Calendar& calendar);

int nights(std::span<const std::string> arguments, CommandContext& context);

extern const char* const kNightsUsage;

} // namespace vitrek::cli
