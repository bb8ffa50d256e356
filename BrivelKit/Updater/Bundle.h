#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace brivel {

// An installed program folder (`bin/<program>`, its libraries and resources, and `Info.json` at its
// root) with the keys of its information file. Every key is absent when the file or the key is missing
// or not a string; "id", "name" and "version" are also read under the keys 0.1.0 wrote them with
// ("CFBundleIdentifier", "CFBundleName", "CFBundleShortVersionString").
struct Bundle {
    std::filesystem::path path;
    std::optional<std::string> identifier;      // "id"
    std::optional<std::string> name;            // "name"
    std::optional<std::string> shortVersion;    // "version"
    std::optional<std::string> feedURL;         // "BrivelUpdateFeedURL"
    std::optional<std::string> publicKey;       // "BrivelUpdatePublicKey"
    // A program of the folder (a path relative to it) that the install script runs, with the folder as its
    // argument, once this version has been put in place: how a program refreshes what lives outside its folder.
    std::optional<std::string> afterInstall;    // "BrivelAfterInstall"

    bool operator==(const Bundle&) const = default;

    static constexpr const char* kInfoFile = "Info.json";

    // The folder at `path` with whatever its Info.json says (nothing when it has none).
    static Bundle at(const std::filesystem::path& path);
    // Like `at`, but absent when the folder has no Info.json that parses as a JSON object.
    static std::optional<Bundle> open(const std::filesystem::path& path);
    // The running program's folder: the one above the directory of /proc/self/exe.
    static Bundle main();
};

} // namespace brivel
