#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace brivel {

// A dotted system version; on Linux the C library's, which is what decides whether a build runs.
struct SystemVersion {
    int majorVersion = 0;
    int minorVersion = 0;
    int patchVersion = 0;
    bool operator==(const SystemVersion&) const = default;
};

// The updater's decisions that need neither the network nor the file system.
namespace UpdateLogic {

// True only when `candidate` orders strictly after `current`, comparing runs of digits as numbers
// (1.10 is newer than 1.9) and everything else character by character.
bool isNewer(std::string_view candidate, std::string_view current);

// True when `system` is at least `minimum` (dotted; pieces that aren't decimal integers are skipped,
// missing ones count as 0). An absent or empty minimum is always supported.
bool systemSupports(const std::optional<std::string>& minimum, SystemVersion system);

// Whether `signature` (base64) is a valid Ed25519 signature of exactly `data` under `publicKey` (base64
// of the raw 32 bytes). Malformed base64, a key of the wrong size or a bad signature give false.
bool verify(std::string_view data, std::string_view signature, std::string_view publicKey);

// Strict standard base64 (padding required, no white space, no stray characters); absent when malformed.
std::optional<std::string> decodeBase64(std::string_view text);
std::string encodeBase64(std::string_view bytes);

// The running C library's version, e.g. 2.36 → 2.36.0.
SystemVersion runningSystemVersion();

} // namespace UpdateLogic
} // namespace brivel
