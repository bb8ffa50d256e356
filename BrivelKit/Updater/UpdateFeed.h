#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace brivel {

// The update feed: the newest version, where to read about it, and optionally the signed archive.
struct UpdateFeed {
    // The archive of the new program folder.
    struct Download {
        std::string url;
        std::int64_t length = 0;   // exact size of the archive in bytes
        std::string edSignature;   // base64 Ed25519 signature over the archive's bytes
        bool operator==(const Download&) const = default;
    };

    std::string version;
    std::string url;   // the download page, for when the update can't be installed in place
    std::optional<std::string> notes;
    std::optional<std::string> minimumSystemVersion;
    std::optional<Download> download;

    bool operator==(const UpdateFeed&) const = default;

    // Absent when the text is not JSON, a required key is missing, or a key has the wrong type (a
    // negative length included). Unknown keys are ignored; null counts as absent for optional keys.
    static std::optional<UpdateFeed> decode(std::string_view json);
    // The feed as JSON, the form `brivel-pack` prints.
    std::string encode() const;
};

} // namespace brivel
