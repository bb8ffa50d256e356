#pragma once

#include "powerlog/BatteryHistory.h"

#include <string>

namespace vitrek::BatteryHistoryFiles {

// The history of the machine's battery from the power daemon's files in `directory`
// ("history-charge-<battery>.dat" and "history-rate-<battery>.dat"). With several batteries, the one whose
// charge file has the latest entry, with its own rate file. Empty when there are none or none can be read.
BatteryHistory load(const std::string& directory = "/var/lib/upower");

} // namespace vitrek::BatteryHistoryFiles
