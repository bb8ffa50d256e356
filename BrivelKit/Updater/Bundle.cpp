#include "Updater/Bundle.h"

#include <nlohmann/json.hpp>

#include <fstream>
#include <iterator>
#include <system_error>

namespace brivel {
namespace {

std::optional<std::string> text(const nlohmann::json& info, const char* key) {
    const auto found = info.find(key);
    if (found == info.end() || !found->is_string()) {
        return std::nullopt;
    }
    return found->get<std::string>();
}

// The key as written now, else the key the first release (0.1.0) wrote, so that an installed copy of it
// still knows itself and can update.
std::optional<std::string> text(const nlohmann::json& info, const char* key, const char* firstReleaseKey) {
    auto value = text(info, key);
    return value ? value : text(info, firstReleaseKey);
}

} // namespace

std::optional<Bundle> Bundle::open(const std::filesystem::path& path) {
    std::ifstream file(path / kInfoFile, std::ios::binary);
    if (!file) {
        return std::nullopt;
    }
    const std::string contents{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    const auto info = nlohmann::json::parse(contents, nullptr, false);
    if (info.is_discarded() || !info.is_object()) {
        return std::nullopt;
    }
    return Bundle{path,
                  text(info, "id", "CFBundleIdentifier"),
                  text(info, "name", "CFBundleName"),
                  text(info, "version", "CFBundleShortVersionString"),
                  text(info, "BrivelUpdateFeedURL"),
                  text(info, "BrivelUpdatePublicKey"),
                  text(info, "BrivelAfterInstall")};
}

Bundle Bundle::at(const std::filesystem::path& path) {
    if (auto bundle = open(path)) {
        return *bundle;
    }
    Bundle bundle;
    bundle.path = path;
    return bundle;
}

Bundle Bundle::main() {
    std::error_code error;
    const auto executable = std::filesystem::canonical("/proc/self/exe", error);
    return at(error ? std::filesystem::path{} : executable.parent_path().parent_path());
}

} // namespace brivel
