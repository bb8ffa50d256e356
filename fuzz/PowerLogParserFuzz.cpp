#include "powerlog/PowerLogParser.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

namespace {

using vitrek::AssertionRelease;
using vitrek::Instant;

std::size_t sequenceLength(unsigned char lead) {
    if (lead < 0x80) {
        return 1;
    }
    if (lead >= 0xC2 && lead <= 0xDF) {
        return 2;
    }
    if (lead >= 0xE0 && lead <= 0xEF) {
        return 3;
    }
    return lead >= 0xF0 && lead <= 0xF4 ? 4 : 0;
}

// A second, deliberately plain UTF-8 check: every string the parser hands out must be valid text.
bool isUtf8(std::string_view text) {
    constexpr std::array<std::uint32_t, 5> smallest{0, 0, 0x80, 0x800, 0x10000}; // shorter forms are overlong
    for (std::size_t i = 0; i < text.size();) {
        const auto length = sequenceLength(static_cast<unsigned char>(text[i]));
        if (length == 0 || i + length > text.size()) {
            return false;
        }
        std::uint32_t point = static_cast<unsigned char>(text[i]) & (length == 1 ? 0x7F : 0x7F >> length);
        for (std::size_t k = 1; k < length; ++k) {
            const auto next = static_cast<unsigned char>(text[i + k]);
            if ((next & 0xC0) != 0x80) {
                return false;
            }
            point = point << 6 | (next & 0x3F);
        }
        if (point < smallest[length] || point > 0x10FFFF || (point >= 0xD800 && point <= 0xDFFF)) {
            return false;
        }
        i += length;
    }
    return true;
}

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

template <typename T, typename Date> bool sortedBy(const std::vector<T>& items, Date date) {
    return std::is_sorted(items.begin(), items.end(),
                          [date](const T& a, const T& b) { return a.*date < b.*date; });
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto log = vitrek::PowerLogParser::parse({reinterpret_cast<const char*>(data), size});

    require(log.skippedLines >= 0);
    require(sortedBy(log.events, &vitrek::PowerEvent::date));
    require(sortedBy(log.requests, &vitrek::WakeRequest::logged));
    require(sortedBy(log.releases, &AssertionRelease::end));
    require(sortedBy(log.display, &vitrek::DisplayChange::date));
    for (const auto& event : log.events) {
        require(isUtf8(event.raw) && isUtf8(event.cause));
        require(!log.firstDate || *log.firstDate <= event.date);
    }
    for (const auto& request : log.requests) {
        require(!request.process.empty() && isUtf8(request.process) && isUtf8(request.request) &&
                isUtf8(request.info));
    }
    for (const auto& release : log.releases) {
        require(release.duration >= 0 && std::isfinite(release.duration) && isUtf8(release.process) &&
                isUtf8(release.name));
        require(release.type == "PreventUserIdleSystemSleep" || release.type == "PreventSystemSleep" ||
                release.type == "NoIdleSleepAssertion");
    }
    return 0;
}
