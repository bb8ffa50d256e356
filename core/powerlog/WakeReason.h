#pragma once

#include "powerlog/PowerLog.h"

#include <string>
#include <string_view>

namespace vitrek {

// A wake's cause in plain language, with the name of the symbol shown beside it.
struct WakeReason {
    std::string label;
    std::string symbol;
    bool isYou = false; // the user woke the machine (lid, power button, keyboard or mouse, start-up)
    bool operator==(const WakeReason&) const = default;

    // The reason for a wake whose log cause is `cause`; never fails ("Unknown reason" at worst).
    static WakeReason classify(std::string_view cause, PowerEventKind kind);
    // The sentence for going to sleep with the log cause `cause` (compared exactly).
    static std::string sleepLabel(std::string_view cause);
};

} // namespace vitrek
