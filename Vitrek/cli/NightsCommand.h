#pragma once

#include "cli/CommandLine.h"
#include "cli/CommandOptions.h"
#include "powerlog/Night.h"
#include "powerlog/PowerLog.h"
#include "time/Calendar.h"

#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace vitrek::cli {

// The document of `--json` (compact, one line): the source, the log's counts and every night with its
// figures, dates as Unix seconds.
void writeNightsJson(std::ostream& out, std::string_view source, const PowerLog& log,
                     const std::vector<Night>& nights);
// The story of each night for a person at a terminal, clock times in `calendar`'s zone.
std::string nightsText(const std::vector<Night>& nights, const Calendar& calendar);

// `vitrek nights`: the nights of the log the options name, told for a person or as one JSON document.
int nights(const CommandOptions& options, CommandContext& context);

} // namespace vitrek::cli
