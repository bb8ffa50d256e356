#include "linux/BatteryHistoryFiles.h"

#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

namespace vitrek::BatteryHistoryFiles {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view kChargePrefix = "history-charge-";
constexpr std::string_view kRatePrefix = "history-rate-";
constexpr std::string_view kSuffix = ".dat";

struct BatteryFiles {
    std::optional<fs::path> charge;
    std::optional<fs::path> rate;
};

// The battery id of "<prefix><id>.dat"; empty when the name has another shape.
std::string_view batteryId(std::string_view name, std::string_view prefix) {
    if (!name.starts_with(prefix) || !name.ends_with(kSuffix)) {
        return {};
    }
    name.remove_prefix(prefix.size());
    name.remove_suffix(kSuffix.size());
    return name;
}

// The whole file; empty when it cannot be read, which then reads as a file without entries.
std::string readFile(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        return {};
    }
    std::ostringstream contents;
    contents << file.rdbuf();
    return file.bad() ? std::string{} : contents.str();
}

// The files of each battery, by id in name order (which settles ties between batteries).
std::map<std::string, BatteryFiles> batteries(const std::string& directory) {
    std::map<std::string, BatteryFiles> found;
    std::error_code error;
    fs::directory_iterator entries(directory, error);
    for (; !error && entries != fs::directory_iterator{}; entries.increment(error)) {
        if (!entries->is_regular_file(error)) {
            error.clear();
            continue;
        }
        const auto name = entries->path().filename().string();
        if (const auto id = batteryId(name, kChargePrefix); !id.empty()) {
            found[std::string(id)].charge = entries->path();
        } else if (const auto rateId = batteryId(name, kRatePrefix); !rateId.empty()) {
            found[std::string(rateId)].rate = entries->path();
        }
    }
    return found;
}

} // namespace

BatteryHistory load(const std::string& directory) {
    // A spare or long-removed battery keeps its files, so the one in use is the one written to last.
    std::optional<BatteryHistory> chosen;
    const BatteryFiles* chosenFiles = nullptr;
    const auto found = batteries(directory);
    for (const auto& [id, files] : found) {
        if (!files.charge) {
            continue;
        }
        auto charge = BatteryHistoryFile::parse(readFile(*files.charge));
        // A battery without readable entries is chosen only when no other has any.
        const bool later = !chosen || (!charge.empty() && (chosen->charge.empty() ||
                                                           charge.back().date > chosen->charge.back().date));
        if (later) {
            chosen = BatteryHistory{std::move(charge), {}};
            chosenFiles = &files;
        }
    }
    if (!chosen) {
        return {};
    }
    if (chosenFiles->rate) {
        chosen->rate = BatteryHistoryFile::parse(readFile(*chosenFiles->rate));
    }
    return *std::move(chosen);
}

} // namespace vitrek::BatteryHistoryFiles
