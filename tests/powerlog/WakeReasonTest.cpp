#include "powerlog/WakeReason.h"

#include <gtest/gtest.h>

#include <string>

namespace vitrek {
namespace {

const WakeReason kLid{"You opened the lid", "laptopcomputer", true};
const WakeReason kPowerButton{"Power button pressed", "power", true};
const WakeReason kMaintenance{"Maintenance / Power Nap", "wrench.and.screwdriver", false};
const WakeReason kBackgroundTask{"Scheduled background task", "calendar.badge.clock", false};
const WakeReason kNotification{"A notification arrived", "bell", false};
const WakeReason kCharger{"Charger connected", "powerplug", false};
const WakeReason kUnplugged{"Charger disconnected", "powerplug", false};
const WakeReason kWiredInput{"You \u2014 keyboard or mouse", "keyboard", true};
const WakeReason kWirelessInput{"You \u2014 wireless keyboard or mouse", "computermouse", true};
const WakeReason kUser{"You were back", "person", true};
const WakeReason kNetwork{"Network keep-alive (Wi-Fi)", "wifi", false};
const WakeReason kTimer{"Scheduled timer", "timer", false};
const WakeReason kUsb{"USB device", "cable.connector", false};
const WakeReason kBluetooth{"Bluetooth device", "dot.radiowaves.left.and.right", false};
const WakeReason kThermal{"Temperature check", "thermometer.medium", false};
const WakeReason kStartUp{"Computer started up", "power", true};
const WakeReason kUnknown{"Unknown reason", "questionmark", false};

WakeReason other(const std::string& shown) {
    return {"Other (" + shown + ")", "questionmark", false};
}

TEST(WakeReasonTest, TheFirstMatchingRuleWinsOnTheLowerCaseText) {
    const struct {
        const char* cause;
        WakeReason expected;
    } cases[] = {
        {"Lid Open", kLid},
        {"EC.LidOpen (User)", kLid},
        {"EC.PWRB usb keyboard", kPowerButton},
        {"com.apple.alarm/SleepService.Maintenance", kMaintenance},
        {"Maintenance/SleepService", kBackgroundTask},
        {"NotificationWake/wifi", kNotification},
        {"wifi/com.apple.notification.center", kNotification},
        {"AC Attach keyboard", kCharger},
        {"ACDetach", kUnplugged},
        {"USB keyboard", kWiredInput},
        {"HID Activity XHCI1", kWiredInput},
        {"HID Activity Bluetooth usb", kWiredInput},
        {"HID Activity Bluetooth", kWirelessInput},
        {"trackpad (wifibt)", kWirelessInput},
        {"trackpad wifibtle wifi", kUser},
        {"UserActivity Assertion", kUser},
        {"ARPT.en0 rtc", kNetwork},
        {"E_RX_IP_PACKET", kNetwork},
        {"WLAN timer", kNetwork},
        {"nub-spmi0.0x02 XHC1", kTimer},
        {"RTC/Alarm", kTimer},
        {"XHC1 thermal", kUsb},
        {"BT.OutboxNotEmpty", kBluetooth},
        {"Bluetooth", kBluetooth},
        {"Thermal", kThermal},
        // Whole pieces only: these look like rows above but name none of their tokens.
        {"rtcalarm", other("rtcalarm")},
        {"btle", other("btle")},
        {"arptx en01", other("arptx en01")},
        // The leaf of a text ending in "/" is empty.
        {"Maintenance/", other("Maintenance/")},
        {" \t", kUnknown},
        {"", kUnknown},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(WakeReason::classify(c.cause, PowerEventKind::wake), c.expected) << c.cause;
    }
}

TEST(WakeReasonTest, AStartUpIsTheUsersUnlessItsTextNamesAnotherCause) {
    EXPECT_EQ(WakeReason::classify("", PowerEventKind::boot), kStartUp);
    EXPECT_EQ(WakeReason::classify("Unrecognised", PowerEventKind::boot), kStartUp);
    EXPECT_EQ(WakeReason::classify("RTC timer", PowerEventKind::boot), kTimer);
    EXPECT_EQ(WakeReason::classify("Unrecognised", PowerEventKind::darkWake), other("Unrecognised"));
}

TEST(WakeReasonTest, AnUnknownCauseShowsItsFirst24CharactersWholeAndTrimmed) {
    const std::string pad(23, 'x');
    const struct {
        std::string cause;
        std::string shown;
    } cases[] = {
        {"  Some Long Unknown Cause Name\n", "Some Long Unknown Cause "},
        {std::string(30, 'y'), std::string(24, 'y')},
        {pad + "\u20AC\u20AC", pad + "\u20AC"},          // three bytes, one character
        {pad + "e\u0301\u0302z", pad + "e\u0301\u0302"}, // marks stay on their letter
        {pad + "\U0001F469\u200D\U0001F4BB!", pad + "\U0001F469\u200D\U0001F4BB"},        // joined emoji
        {pad + "\U0001F44D\U0001F3FD!", pad + "\U0001F44D\U0001F3FD"},                    // skin tone
        {pad + "\U0001F1E9\U0001F1EA\U0001F1EB\U0001F1F7", pad + "\U0001F1E9\U0001F1EA"}, // one flag
        {std::string(12, 'a') + "\u00E9\uFE0F" + std::string(20, 'b'),
         std::string(12, 'a') + "\u00E9\uFE0F" + std::string(11, 'b')},
        {"\xFF\xE2\x82" + std::string(30, 'q'),
         "\xFF\xE2\x82" + std::string(21, 'q')}, // stray bytes count one each
    };
    for (const auto& c : cases) {
        EXPECT_EQ(WakeReason::classify(c.cause, PowerEventKind::wake), other(c.shown)) << c.cause;
    }
}

// Only the whole cause, letter case and blanks included, picks a sentence; anything else is quoted.
TEST(WakeReasonTest, SleepLabelsMatchTheWholeCauseExactly) {
    const std::pair<const char*, const char*> cases[] = {
        {"Clamshell Sleep", "Lid closed \u2014 went to sleep"},
        {"Dark Wake Thermal Emergency", "Back to sleep (too warm to stay up)"},
        {"", "Went to sleep"},
        {"idle sleep", "Went to sleep (idle sleep)"},
        {"Idle Sleep ", "Went to sleep (Idle Sleep )"},
    };
    for (const auto& [cause, label] : cases) {
        EXPECT_EQ(WakeReason::sleepLabel(cause), label) << cause;
    }
}

} // namespace
} // namespace vitrek
