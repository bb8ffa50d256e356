#pragma once

#include "history/History.h"
#include "powerlog/Night.h"
#include "readings/Reading.h"
#include "scores/Sample.h"
#include "time/Calendar.h"
#include "time/Instant.h"

#include <vector>

namespace vitrek {

class Store;

// A fixed, believable demo machine for screenshots, the self-test and demonstrations. Everything is
// deterministic apart from the current date and time, so two runs on the same day give the same figures.
namespace DemoData {

// Whether this process runs on demo data: VITREK_SNAPSHOT_DIR, VITREK_DEMO_DIR or VITREK_SELFTEST is set.
// Read once, at the first call.
bool isActive();

// The demo machine's reading at `now`: a 2.8-year-old laptop with a nearly full disk.
Reading reading(Instant now);
// The same machine on a day it needs care: 9 GB free, memory pressure warning, hot, 23 days up.
Reading needsCareReading(Instant now);
// The set-up date its age counts from: now − 2.8 years.
Instant setUp(Instant now);

// One sample a minute from today's 09:00 until now, and always at least until 17:00, busy at 11, 12 and
// 15 o'clock.
std::vector<Sample> samples(Instant now, const Calendar& calendar);
// Fifteen days up to today, so the streak is 15 and last week's values exist.
History history(Instant now, const Calendar& calendar);
// Last night, 23:00 to 07:00 today, with three 45-second dark wakes.
Night night(Instant now, const Calendar& calendar);

// Fills `store` with the demo machine at the Store's own now and calendar, recording nothing.
void fill(Store& store);
// Switches `store` to the needs-care day: its reading, the demo history, no samples and no night.
void fillNeedsCare(Store& store);

} // namespace DemoData

} // namespace vitrek
