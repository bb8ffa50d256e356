#include "powerlog/PowerCause.h"

#include "text/Ascii.h"

#include <algorithm>
#include <initializer_list>

namespace vitrek::PowerCause {

namespace {

bool has(std::string_view text, std::string_view part) { return text.find(part) != std::string_view::npos; }

} // namespace

std::string sleepCause(const SleepFacts& facts) {
    if (facts.lowBattery) {
        return "Low Power Sleep";
    }
    if (facts.trigger) {
        switch (*facts.trigger) {
        case SleepTrigger::lid:
            return "Clamshell Sleep";
        case SleepTrigger::powerKey:
            return "Power Button";
        case SleepTrigger::sleepKey:
            return "Sleep Key";
        case SleepTrigger::idle:
            return "Idle Sleep";
        }
    }
    if (facts.afterDarkWake) {
        return facts.lidClosed ? "Clamshell Sleep" : "Maintenance Sleep";
    }
    return facts.requested ? "Software Sleep" : "";
}

std::string fromWakeupSource(std::string_view name) {
    const std::string n = Ascii::lowercased(name);
    const auto any = [&](std::initializer_list<std::string_view> parts) {
        return std::any_of(parts.begin(), parts.end(), [&](std::string_view part) { return has(n, part); });
    };
    if (any({"rtc", "alarm"})) {
        return "RTC Alarm";
    }
    if (any({"pnp0c0d", "lid"})) {
        return "Lid Open";
    }
    if (any({"pnp0c0c", "pwrb", "power"})) {
        return "Power Button";
    }
    const bool input = any({"kbd", "keyboard", "hid", "mouse", "touchpad", "i8042", "pnp0303"});
    // USB devices are named by their port path, "1-4" or "3-1.2".
    const bool portPath = !n.empty() && n.find_first_not_of("0123456789-.") == std::string::npos &&
                          has(n, "-") && n.front() != '-';
    if (portPath || any({"usb", "xhci", "ehci", "ohci"})) {
        return input ? "USB keyboard or mouse" : "USB (" + std::string(name) + ")";
    }
    if (input) {
        return "Keyboard";
    }
    if (any({"wlan", "wlp", "wifi", "iwlwifi", "ath", "brcmf", "mt76", "rtw"})) {
        return "WLAN (" + std::string(name) + ")";
    }
    if (any({"eth", "enp", "eno", "ens", "r8169", "e1000", "igb", "igc", "tg3"})) {
        return "Wake on LAN";
    }
    if (any({"bluetooth", "btusb", "hci"})) {
        return "Bluetooth";
    }
    return std::string(name);
}

bool isUserCause(std::string_view cause) {
    return cause == "Lid Open" || cause == "Power Button" || cause == "Keyboard" ||
           cause == "USB keyboard or mouse";
}

int rank(std::string_view cause) {
    if (cause.empty()) {
        return 0;
    }
    if (isUserCause(cause)) {
        return 3;
    }
    return cause.starts_with("IRQ ") ? 1 : 2;
}

bool isDarkWake(std::string_view cause, double secondsAwake) {
    return !isUserCause(cause) && secondsAwake <= kDarkWakeLimit;
}

} // namespace vitrek::PowerCause
