#pragma once

#include "powerlog/PowerLog.h"
#include "time/Calendar.h"

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vitrek {

// Turns the text of the system power log into a PowerLog. Pure: the platform's
// PowerLogParser::run and loadSystemLog (platform/) obtain the text.
namespace PowerLogParser {

// The whole log text (any bytes; invalid UTF-8 becomes U+FFFD first). Never fails: unusable lines are
// ignored or counted in `skippedLines`.
PowerLog parse(std::string_view text);

// The steps of `parse`, exposed for their own tests.

// The instant of a "2024-01-15 22:10:05 +0100" date in the first 25 bytes; absent when malformed.
std::optional<Instant> parseDate(std::string_view text);
// A "Sleep", "Wake", "DarkWake" or "Start" record.
PowerEvent parseStateEvent(std::string_view type, std::string_view message, Instant date);
// An "Assertions" message; absent unless it releases a sleep-blocking assertion.
std::optional<AssertionRelease> parseRelease(std::string_view message, Instant date);
// The entries of a "Wake Requests" message; `zone` is the log line's "+0100", and `calendar` gives the
// zone when that is not one.
std::vector<WakeRequest> parseWakeRequests(std::string_view message, Instant logged, std::string_view zone,
                                           const Calendar& calendar);
// "Using Batt… (Charge:80%)": on battery, and the charge in percent.
std::pair<std::optional<bool>, std::optional<int>> powerSource(std::string_view text);
// "hh:mm:ss" (pieces may carry fractions) in seconds; 0 when malformed or negative.
double parseDuration(std::string_view text);
// Exactly five bytes: a sign and four ASCII digits.
bool isZone(std::string_view text);
// The offset of `calendar`'s zone at `date` as "+0530"/"-0700".
std::string logZone(Instant date, const Calendar& calendar);

} // namespace PowerLogParser
} // namespace vitrek
