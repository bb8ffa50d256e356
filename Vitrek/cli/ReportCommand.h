#pragma once

#include "cli/CommandLine.h"
#include "cli/CommandOptions.h"
#include "readings/Reading.h"
#include "time/Calendar.h"

#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>

namespace vitrek {
class Store;
}

namespace vitrek::cli {

// `vitrek report`: one check-up, computed by the Store's own `apply` with recording off, printed for a
// person or as one JSON document.
int report(const CommandOptions& options, CommandContext& context);

// `vitrek metrics`: the same check-up as `report`, in Prometheus's text exposition format.
int metrics(const CommandOptions& options, CommandContext& context);

// One check-up as the options describe it (the machine or a stored reading, the power log, the time and
// zone), applied by a Store that records nothing. Null, with the error written, when an option's input
// cannot be read.
std::unique_ptr<Store> checkUp(const CommandOptions& options, CommandContext& context, std::string_view command);

// The "reading" member of the report's JSON (dates as Unix seconds); absent with `error` set when the
// text is not such an object or holds a figure no machine reports (a health slightly above 1, as firmware
// may give it, is read as 1).
std::optional<Reading> readingFromReportJson(std::string_view text, std::string& error);

// The report of what `store` publishes after an apply.
void writeReportJson(std::ostream& out, const Store& store);
std::string reportText(const Store& store, const Calendar& calendar);

} // namespace vitrek::cli
