#include "powerlog/JournalReader.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

namespace {

// A second, deliberately plain UTF-8 check (code point by code point, no fast paths): every string the
// reader hands out must be valid text.
bool isUtf8(std::string_view text) {
    std::size_t i = 0;
    while (i < text.size()) {
        const auto lead = static_cast<unsigned char>(text[i]);
        std::size_t length = 0;
        std::uint32_t point = 0;
        if (lead < 0x80) {
            length = 1;
            point = lead;
        } else if ((lead & 0xE0) == 0xC0) {
            length = 2;
            point = lead & 0x1F;
        } else if ((lead & 0xF0) == 0xE0) {
            length = 3;
            point = lead & 0x0F;
        } else if ((lead & 0xF8) == 0xF0) {
            length = 4;
            point = lead & 0x07;
        } else {
            return false;
        }
        if (i + length > text.size()) {
            return false;
        }
        for (std::size_t k = 1; k < length; ++k) {
            const auto next = static_cast<unsigned char>(text[i + k]);
            if ((next & 0xC0) != 0x80) {
                return false;
            }
            point = point << 6 | (next & 0x3F);
        }
        const std::uint32_t smallest = length == 1 ? 0 : length == 2 ? 0x80 : length == 3 ? 0x800 : 0x10000;
        if (point < smallest || point > 0x10FFFF || (point >= 0xD800 && point <= 0xDFFF)) {
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

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text{reinterpret_cast<const char*>(data), size};
    // A fixed clock and zone, so that a failure found once reproduces.
    static const vitrek::Calendar calendar = vitrek::Calendar::utc();
    const auto now = vitrek::fromUnixSeconds(1'725'192'000); // 2024-09-01 12:00 UTC
    const auto result = vitrek::JournalReader::read(text, now, calendar);

    const auto lines = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')) + 1;
    require(result.skippedLines >= 0);
    require(result.records.size() + static_cast<std::size_t>(result.skippedLines) <= lines);
    require(result.records.empty() ? !result.firstDate : result.firstDate == result.records.front().date);
    for (const auto& record : result.records) {
        require(isUtf8(record.message) && isUtf8(record.identifier) && isUtf8(record.boot));
    }
    return 0;
}
