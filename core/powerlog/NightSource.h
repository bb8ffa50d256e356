#pragma once

#include "powerlog/Night.h"
#include "powerlog/NightBuilder.h"
#include "powerlog/NightLog.h"
#include "powerlog/PowerLog.h"
#include "powerlog/RecordedPowerLog.h"
#include "time/Calendar.h"
#include "time/Instant.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vitrek {

// One night source out of the journal (absent when it could not be read) and Vitrek's own record (absent
// when there is none). Where both exist, each moment is told by one of them: Vitrek's record while it was
// recording (it knows the inhibitors and the screen), the journal at every other time (it knows the
// nights when Vitrek was not running). So no sleep or wake is counted twice, and a night may be told
// partly by each.
namespace NightSource {

// The problem is left empty.
NightLog merge(std::optional<PowerLog> journal, std::optional<RecordedPowerLog::Recorded> recorded);

// `NightBuilder::build` over the merged log, keeping only the nights some source vouches for: every night
// the journal spans, and the nights Vitrek recorded from start to end. No night is made up for a time
// nobody recorded.
std::vector<Night> build(const NightLog& log, const NightWindow& window, Instant now, const Calendar& calendar);

// When Vitrek's own record of the nights begins; absent when it took no part.
std::optional<Instant> recordedSince(const NightLog& log);

} // namespace NightSource
} // namespace vitrek
