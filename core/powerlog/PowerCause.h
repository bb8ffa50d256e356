#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace vitrek {

// The causes of sleeps and wakes on Linux, in the words the wake and sleep reasons understand. Both
// sources of nights, the journal and Vitrek's own record, name causes through these, so one machine's
// night reads the same whichever source told it.
namespace PowerCause {

// A resume that nobody caused and that is back asleep this soon is a dark wake: logind puts a machine
// with a closed lid back to sleep after its 30-second hold-off, and an alarm-driven hibernate is faster.
inline constexpr double kDarkWakeLimit = 120;

// What logind saw just before a sleep.
enum class SleepTrigger { lid, powerKey, sleepKey, idle };

// The facts known at the moment of a sleep.
struct SleepFacts {
    bool lowBattery = false;             // a critical battery was reported just before
    std::optional<SleepTrigger> trigger; // the lid, a key or the idle timer, just before
    bool afterDarkWake = false;          // the machine was in a dark wake
    bool lidClosed = false;              // the lid was closed
    bool requested = false;              // the service manager carried out a sleep someone asked for
    bool operator==(const SleepFacts&) const = default;
};

// "Low Power Sleep" beats the trigger ("Clamshell Sleep", "Power Button", "Sleep Key", "Idle Sleep");
// back to sleep after a dark wake is "Clamshell Sleep" with the lid closed, else "Maintenance Sleep"; any
// other requested sleep is "Software Sleep"; empty when nothing is known.
std::string sleepCause(const SleepFacts& facts);

// A kernel wakeup source's name ("PNP0C0D:00", "rtc0", "1-4", "wlp2s0") as a wake cause: "RTC Alarm",
// "Lid Open", "Power Button", "USB keyboard or mouse", "USB (1-4)", "Keyboard", "WLAN (…)", "Wake on LAN",
// "Bluetooth", or the name as given.
std::string fromWakeupSource(std::string_view name);

// Whether a wake cause is a person: the lid, the power button, a keyboard or a mouse.
bool isUserCause(std::string_view cause);

// How strongly a cause explains a resume: a person (3) beats a named device (2), which beats a bare
// interrupt number (1); no cause is 0.
int rank(std::string_view cause);

// Whether a resume with `cause`, followed by sleep `secondsAwake` later, was a dark wake.
bool isDarkWake(std::string_view cause, double secondsAwake);

} // namespace PowerCause
} // namespace vitrek
