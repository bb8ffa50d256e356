#include "linux/WakeupSources.h"

#include "text/Ascii.h"

#include <algorithm>
#include <charconv>
#include <fstream>
#include <iterator>
#include <map>
#include <optional>
#include <sstream>
#include <system_error>
#include <utility>

namespace vitrek::WakeupSources {

namespace {

std::optional<std::string> text(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        return std::nullopt;
    }
    std::ostringstream contents;
    contents << file.rdbuf();
    return contents.str();
}

std::int64_t count(const std::filesystem::path& path) {
    const auto contents = text(path);
    if (!contents) {
        return 0;
    }
    const std::string_view digits = Ascii::trimmed(*contents);
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    return error == std::errc{} && end == digits.data() + digits.size() ? value : 0;
}

// A source's place among the sources of the same name in one reading.
using Key = std::pair<std::string, int>;

std::map<Key, const WakeupSource*> byName(std::span<const WakeupSource> sources) {
    std::map<Key, const WakeupSource*> keyed;
    std::map<std::string, int> seen;
    for (const auto& source : sources) {
        keyed.emplace(Key{source.name, seen[source.name]++}, &source);
    }
    return keyed;
}

} // namespace

std::vector<WakeupSource> read(const std::filesystem::path& root) {
    const auto classFolder = root / "sys/class/wakeup";
    std::vector<std::filesystem::path> folders;
    std::error_code error;
    for (std::filesystem::directory_iterator entry(classFolder, error), end; !error && entry != end;
         entry.increment(error)) {
        folders.push_back(entry->path());
    }
    std::sort(folders.begin(), folders.end());

    std::vector<WakeupSource> sources;
    for (const auto& folder : folders) {
        const auto name = text(folder / "name");
        const std::string_view trimmed = name ? Ascii::trimmed(*name) : std::string_view{};
        if (trimmed.empty()) {
            continue;
        }
        sources.push_back({.name = std::string(trimmed),
                           .eventCount = count(folder / "event_count"),
                           .wakeupCount = count(folder / "wakeup_count"),
                           .lastChangeMs = count(folder / "last_change_ms")});
    }
    return sources;
}

std::vector<WakeupSource> moved(std::span<const WakeupSource> before, std::span<const WakeupSource> after) {
    const auto earlier = byName(before);
    struct Candidate {
        bool woke;
        WakeupSource source;
    };
    std::vector<Candidate> candidates;
    for (const auto& [key, source] : byName(after)) {
        const auto match = earlier.find(key);
        const WakeupSource previous = match == earlier.end() ? WakeupSource{} : *match->second;
        // A source whose counts fell was registered again (a device that came back at resume): its
        // counts start from its return, not from the last reading, so they say nothing about the wake.
        if (source->eventCount < previous.eventCount || source->wakeupCount < previous.wakeupCount) {
            continue;
        }
        const bool woke = source->wakeupCount > previous.wakeupCount;
        if (woke || source->eventCount > previous.eventCount) {
            candidates.push_back({woke, *source});
        }
    }
    std::sort(candidates.begin(), candidates.end(), [](const Candidate& a, const Candidate& b) {
        if (a.woke != b.woke) {
            return a.woke;
        }
        if (a.source.lastChangeMs != b.source.lastChangeMs) {
            return a.source.lastChangeMs < b.source.lastChangeMs;
        }
        return a.source.name < b.source.name;
    });
    std::vector<WakeupSource> ordered;
    ordered.reserve(candidates.size());
    std::transform(candidates.begin(), candidates.end(), std::back_inserter(ordered),
                   [](const Candidate& candidate) { return candidate.source; });
    return ordered;
}

} // namespace vitrek::WakeupSources
