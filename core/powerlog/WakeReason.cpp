#include "powerlog/WakeReason.h"

#include "text/Ascii.h"

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

namespace vitrek {

namespace {

std::vector<std::string_view> tokens(std::string_view text) {
    std::vector<std::string_view> pieces;
    std::size_t begin = 0;
    while (begin <= text.size()) {
        const auto end = std::min(text.find_first_of(" /.()", begin), text.size());
        if (end > begin) {
            pieces.push_back(text.substr(begin, end - begin));
        }
        begin = end + 1;
    }
    return pieces;
}

// The code point starting at byte `at` and its length in bytes. A malformed sequence counts as one
// byte of its own, so a valid multi-byte sequence is never split.
std::pair<char32_t, std::size_t> decode(std::string_view text, std::size_t at) {
    constexpr char32_t kInvalid = 0xFFFD;
    constexpr char32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000}; // shorter forms are overlong
    const auto lead = static_cast<unsigned char>(text[at]);
    if (lead < 0x80) {
        return {lead, 1};
    }
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC2 || lead > 0xF4 || at + length > text.size()) {
        return {kInvalid, 1};
    }
    char32_t code = lead & (0x7F >> length);
    for (std::size_t i = 1; i < length; ++i) {
        const auto next = static_cast<unsigned char>(text[at + i]);
        if ((next & 0xC0) != 0x80) {
            return {kInvalid, 1};
        }
        code = (code << 6) | (next & 0x3F);
    }
    if (code < kSmallest[length] || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) {
        return {kInvalid, 1};
    }
    return {code, length};
}

bool inRange(char32_t c, char32_t low, char32_t high) { return c >= low && c <= high; }

// Marks that belong to the character before them: combining marks, variation selectors, skin tones.
bool extends(char32_t c) {
    return inRange(c, 0x0300, 0x036F) || inRange(c, 0x1AB0, 0x1AFF) || inRange(c, 0x1DC0, 0x1DFF) ||
           inRange(c, 0x20D0, 0x20FF) || inRange(c, 0xFE20, 0xFE2F) || inRange(c, 0xFE00, 0xFE0F) ||
           inRange(c, 0xE0100, 0xE01EF) || inRange(c, 0x1F3FB, 0x1F3FF);
}

bool isRegionalIndicator(char32_t c) { return inRange(c, 0x1F1E6, 0x1F1FF); }

// The first `count` user-perceived characters of `text`, approximated by a base code point with its
// marks, joiner sequences and flag pairs; this keeps accented names and emoji whole.
std::string_view prefixOfCharacters(std::string_view text, std::size_t count) {
    std::size_t at = 0;
    for (std::size_t characters = 0; characters < count && at < text.size(); ++characters) {
        auto [base, length] = decode(text, at);
        at += length;
        if (isRegionalIndicator(base) && at < text.size()) {
            if (const auto [next, nextLength] = decode(text, at); isRegionalIndicator(next)) {
                at += nextLength;
            }
        }
        while (at < text.size()) {
            const auto [next, nextLength] = decode(text, at);
            if (next == 0x200D) {
                at += nextLength;
                if (at < text.size()) {
                    at += decode(text, at).second;
                }
            } else if (extends(next)) {
                at += nextLength;
            } else {
                break;
            }
        }
    }
    return text.substr(0, at);
}

} // namespace

WakeReason WakeReason::classify(std::string_view cause, PowerEventKind kind) {
    const std::string t = Ascii::lowercased(cause);
    const auto pieces = tokens(t);
    const auto slash = t.rfind('/');
    const std::string_view leaf = std::string_view(t).substr(slash == std::string::npos ? 0 : slash + 1);
    const auto has = [&](std::string_view x) { return t.find(x) != std::string::npos; };
    const auto token = [&](std::string_view x) {
        return std::find(pieces.begin(), pieces.end(), x) != pieces.end();
    };
    const auto leafHas = [&](std::string_view x) { return leaf.find(x) != std::string_view::npos; };

    if (has("lidopen") || has("lid open")) {
        return {"You opened the lid", "laptopcomputer", true};
    }
    if (has("powerbutton") || has("pwrb") || has("power button")) {
        return {"Power button pressed", "power", true};
    }
    if (leafHas("maintenance")) {
        return {"Maintenance / Power Nap", "wrench.and.screwdriver", false};
    }
    if (leafHas("sleepservice")) {
        return {"Scheduled background task", "calendar.badge.clock", false};
    }
    if (t.starts_with("notification") || leafHas("notification")) {
        return {"A notification arrived", "bell", false};
    }
    if (has("acattach") || has("ac attach")) {
        return {"Charger connected", "powerplug", false};
    }
    if (has("acdetach")) {
        return {"Charger disconnected", "powerplug", false};
    }
    if (has("hid activity") || has("useractivity") || has("keyboard") || has("trackpad")) {
        if (has("usb") || has("xhci")) {
            return {"You \u2014 keyboard or mouse", "keyboard", true};
        }
        if (token("wifibt") || has("bluetooth")) {
            return {"You \u2014 wireless keyboard or mouse", "computermouse", true};
        }
        return {"You were back", "person", true};
    }
    if (has("e_rx_ip_packet") || token("arpt") || has("wlan") || token("en0") || has("wifi")) {
        return {"Network keep-alive (Wi-Fi)", "wifi", false};
    }
    if (token("rtc") || has("spmi") || has("timer")) {
        return {"Scheduled timer", "timer", false};
    }
    if (has("usb") || has("xhc")) {
        return {"USB device", "cable.connector", false};
    }
    if (has("bluetooth") || token("bt")) {
        return {"Bluetooth device", "dot.radiowaves.left.and.right", false};
    }
    if (has("thermal")) {
        return {"Temperature check", "thermometer.medium", false};
    }
    if (kind == PowerEventKind::boot) {
        return {"Computer started up", "power", true};
    }
    if (const auto text = Ascii::trimmed(cause); !text.empty()) {
        return {"Other (" + std::string(prefixOfCharacters(text, 24)) + ")", "questionmark", false};
    }
    return {"Unknown reason", "questionmark", false};
}

std::string WakeReason::sleepLabel(std::string_view cause) {
    static constexpr std::array<std::pair<std::string_view, std::string_view>, 9> kLabels{{
        {"Idle Sleep", "Fell asleep after sitting idle"},
        {"Maintenance Sleep", "Back to sleep after maintenance"},
        {"Sleep Service Back to Sleep", "Back to sleep after a background task"},
        {"Notification Wake Back to Sleep", "Back to sleep after a notification"},
        {"Clamshell Sleep", "Lid closed \u2014 went to sleep"},
        {"Software Sleep", "Put to sleep from the menu"},
        {"Power Button", "Power button \u2014 went to sleep"},
        {"Low Power Sleep", "Battery low \u2014 went to sleep"},
        {"Dark Wake Thermal Emergency", "Back to sleep (too warm to stay up)"},
    }};
    for (const auto& [known, label] : kLabels) {
        if (cause == known) {
            return std::string(label);
        }
    }
    if (cause.empty()) {
        return "Went to sleep";
    }
    return "Went to sleep (" + std::string(cause) + ")";
}

} // namespace vitrek
