#include "powerlog/WakeReason.h"

#include <gtest/gtest.h>

#include <string>

namespace vitrek {
namespace {

std::string label(const std::string& cause, PowerEventKind kind = PowerEventKind::wake) {
    return WakeReason::classify(cause, kind).label;
}

TEST(WakeReasonTest, TheFirstMatchingRuleWinsOnTheLowerCaseText) {
    const struct {
        const char* cause;
        const char* label;
        PowerEventKind kind = PowerEventKind::wake;
    } cases[] = {
        {"Lid Open", "You opened the lid"},
        {"EC.LidOpen (User)", "You opened the lid"},
        {"EC.PWRB usb keyboard", "Power button pressed"},
        {"com.apple.alarm/SleepService.Maintenance", "Maintenance / Power Nap"},
        {"Maintenance/SleepService", "Scheduled background task"},
        {"NotificationWake/wifi", "A notification arrived"},
        {"wifi/com.apple.notification.center", "A notification arrived"},
        {"AC Attach keyboard", "Charger connected"},
        {"ACDetach", "Charger disconnected"},
        {"USB keyboard", "You \u2014 keyboard or mouse"},
        {"HID Activity XHCI1", "You \u2014 keyboard or mouse"},
        {"HID Activity Bluetooth usb", "You \u2014 keyboard or mouse"},
        {"HID Activity Bluetooth", "You \u2014 wireless keyboard or mouse"},
        {"trackpad (wifibt)", "You \u2014 wireless keyboard or mouse"},
        {"trackpad wifibtle wifi", "You were back"},
        {"UserActivity Assertion", "You were back"},
        {"ARPT.en0 rtc", "Network keep-alive (Wi-Fi)"},
        {"E_RX_IP_PACKET", "Network keep-alive (Wi-Fi)"},
        {"WLAN timer", "Network keep-alive (Wi-Fi)"},
        {"nub-spmi0.0x02 XHC1", "Scheduled timer"},
        {"RTC/Alarm", "Scheduled timer"},
        {"XHC1 thermal", "USB device"},
        {"BT.OutboxNotEmpty", "Bluetooth device"},
        {"Bluetooth", "Bluetooth device"},
        {"Thermal", "Temperature check"},
        // Whole pieces only: these look like rows above but name none of their tokens.
        {"rtcalarm", "Other (rtcalarm)"},
        {"btle", "Other (btle)"},
        {"arptx en01", "Other (arptx en01)"},
        // The leaf of a text ending in "/" is empty.
        {"Maintenance/", "Other (Maintenance/)"},
        {" \t", "Unknown reason"},
        {"", "Unknown reason"},
        // A start-up is the user's unless its text names another cause.
        {"", "Computer started up", PowerEventKind::boot},
        {"Unrecognised", "Computer started up", PowerEventKind::boot},
        {"RTC timer", "Scheduled timer", PowerEventKind::boot},
        {"Unrecognised", "Other (Unrecognised)", PowerEventKind::darkWake},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(label(c.cause, c.kind), c.label) << c.cause;
    }
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
        EXPECT_EQ(label(c.cause), "Other (" + c.shown + ")") << c.cause;
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
