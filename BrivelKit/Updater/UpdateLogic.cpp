#include "Updater/UpdateLogic.h"

#include <gnu/libc-version.h>
#include <sodium.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <vector>

namespace brivel::UpdateLogic {
namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }

bool sodiumReady() {
    static const bool ready = sodium_init() >= 0;
    return ready;
}

// Compares two runs of digits by value, without converting them, so no length of run overflows.
int compareNumbers(std::string_view a, std::string_view b) {
    const auto significant = [](std::string_view run) {
        const auto first = run.find_first_not_of('0');
        return first == std::string_view::npos ? std::string_view{} : run.substr(first);
    };
    a = significant(a);
    b = significant(b);
    if (a.size() != b.size()) {
        return a.size() < b.size() ? -1 : 1;
    }
    const int order = a.compare(b);
    return order < 0 ? -1 : (order > 0 ? 1 : 0);
}

std::string_view digitRun(std::string_view text, std::size_t from) {
    std::size_t end = from;
    while (end < text.size() && isDigit(text[end])) {
        ++end;
    }
    return text.substr(from, end - from);
}

// Ordering with numeric digit runs: -1, 0 or 1.
int compareVersions(std::string_view a, std::string_view b) {
    std::size_t i = 0;
    std::size_t j = 0;
    while (i < a.size() && j < b.size()) {
        if (isDigit(a[i]) && isDigit(b[j])) {
            const auto runA = digitRun(a, i);
            const auto runB = digitRun(b, j);
            if (const int order = compareNumbers(runA, runB); order != 0) {
                return order;
            }
            i += runA.size();
            j += runB.size();
            continue;
        }
        if (a[i] != b[j]) {
            return static_cast<unsigned char>(a[i]) < static_cast<unsigned char>(b[j]) ? -1 : 1;
        }
        ++i;
        ++j;
    }
    if (i < a.size()) {
        return 1;
    }
    return j < b.size() ? -1 : 0;
}

std::optional<int> decimal(std::string_view piece) {
    if (!piece.empty() && piece.front() == '+') {
        piece.remove_prefix(1);
    }
    int value = 0;
    const auto [end, error] = std::from_chars(piece.data(), piece.data() + piece.size(), value);
    if (piece.empty() || error != std::errc{} || end != piece.data() + piece.size()) {
        return std::nullopt;
    }
    return value;
}

} // namespace

bool isNewer(std::string_view candidate, std::string_view current) {
    return compareVersions(candidate, current) > 0;
}

bool systemSupports(const std::optional<std::string>& minimum, SystemVersion system) {
    if (!minimum || minimum->empty()) {
        return true;
    }
    std::array<int, 3> required{0, 0, 0};
    std::size_t kept = 0;
    std::string_view rest = *minimum;
    while (kept < required.size() && !rest.empty()) {
        const auto dot = rest.find('.');
        const auto piece = rest.substr(0, dot);
        rest = dot == std::string_view::npos ? std::string_view{} : rest.substr(dot + 1);
        if (const auto number = decimal(piece)) {
            required[kept++] = *number;
        }
    }
    const std::array<int, 3> running{system.majorVersion, system.minorVersion, system.patchVersion};
    return !std::lexicographical_compare(running.begin(), running.end(), required.begin(), required.end());
}

std::optional<std::string> decodeBase64(std::string_view text) {
    if (!sodiumReady()) {
        return std::nullopt;
    }
    std::string bytes(text.size() / 4 * 3 + 3, '\0');
    std::size_t length = 0;
    const char* end = nullptr;
    const int status = sodium_base642bin(reinterpret_cast<unsigned char*>(bytes.data()), bytes.size(), text.data(),
                                         text.size(), nullptr, &length, &end, sodium_base64_VARIANT_ORIGINAL);
    if (status != 0 || end != text.data() + text.size()) {
        return std::nullopt;
    }
    bytes.resize(length);
    return bytes;
}

std::string encodeBase64(std::string_view bytes) {
    if (!sodiumReady()) {
        return {};
    }
    std::string text(sodium_base64_encoded_len(bytes.size(), sodium_base64_VARIANT_ORIGINAL), '\0');
    sodium_bin2base64(text.data(), text.size(), reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(),
                      sodium_base64_VARIANT_ORIGINAL);
    text.resize(text.size() - 1);   // the terminating NUL
    return text;
}

bool verify(std::string_view data, std::string_view signature, std::string_view publicKey) {
    const auto signatureBytes = decodeBase64(signature);
    const auto keyBytes = decodeBase64(publicKey);
    if (!signatureBytes || !keyBytes || signatureBytes->size() != crypto_sign_BYTES ||
        keyBytes->size() != crypto_sign_PUBLICKEYBYTES) {
        return false;
    }
    return crypto_sign_verify_detached(reinterpret_cast<const unsigned char*>(signatureBytes->data()),
                                       reinterpret_cast<const unsigned char*>(data.data()), data.size(),
                                       reinterpret_cast<const unsigned char*>(keyBytes->data())) == 0;
}

SystemVersion runningSystemVersion() {
    std::array<int, 3> parts{0, 0, 0};
    std::string_view rest = gnu_get_libc_version();
    for (auto& part : parts) {
        const auto dot = rest.find('.');
        part = decimal(rest.substr(0, dot)).value_or(0);
        if (dot == std::string_view::npos) {
            break;
        }
        rest.remove_prefix(dot + 1);
    }
    return SystemVersion{parts[0], parts[1], parts[2]};
}

} // namespace brivel::UpdateLogic
