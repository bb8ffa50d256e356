// vitrek-journal-gen: writes a generated laptop journal, as the export stream systemd-journal-remote turns
// into journal files (see make-journal) or as the JSON lines journalctl prints.

#include "JournalGenerator.h"

#include <charconv>
#include <cstdint>
#include <cstdio>
#include <iostream>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <system_error>

namespace {

constexpr std::string_view kUsage =
    "usage: vitrek-journal-gen [--days N] [--per-day N] [--seed N] [--end UNIX_SECONDS]\n                    "
    "      (--out FILE.export [--part system|user] | --json FILE [--power] [--since-days N])\nWrites a "
    "generated laptop journal of N days (default 60) with about N entries a day (default 40000),\nending at "
    "--end (default 1732186800, 2024-11-21 12:00 +0100). --out writes journal export format\n('-' is "
    "standard output): feed it to systemd-journal-remote; --part keeps the entries journald writes\nto "
    "system.journal, or those of the owner's session (user-1000.journal). --json writes journalctl's JSON "
    "lines;\n--power keeps only the kernel, systemd-logind, systemd-sleep and upowerd, --since-days only the "
    "last\nN days. A summary goes to standard error.\n";

int usageError(std::string_view message) {
    std::cerr << "vitrek-journal-gen: " << message << '\n';
    return 2;
}

template <class Number> std::optional<Number> number(std::string_view text) {
    Number value{};
    const auto* end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, value);
    if (result.ec != std::errc{} || result.ptr != end || value < 0) {
        return std::nullopt;
    }
    return value;
}

// Writes through `write` into `path` ('-' for standard output); false when it cannot be opened or written.
template <class Produce> bool toFile(const std::string& path, Produce produce) {
    std::FILE* file = path == "-" ? stdout : std::fopen(path.c_str(), "wb");
    if (file == nullptr) {
        return false;
    }
    const bool written = produce([file](std::string_view chunk) {
        return std::fwrite(chunk.data(), 1, chunk.size(), file) == chunk.size();
    });
    const bool closed = file == stdout ? std::fflush(file) == 0 : std::fclose(file) == 0;
    return written && closed;
}

} // namespace

int main(int argc, char** argv) {
    vitrek::JournalShape shape;
    std::string exportPath;
    std::string jsonPath;
    bool powerOnly = false;
    vitrek::JournalPart part = vitrek::JournalPart::whole;
    std::optional<int> sinceDays;
    for (int i = 1; i < argc; ++i) {
        const std::string_view option = argv[i];
        if (option == "--help" || option == "-h") {
            std::cout << kUsage;
            return 0;
        }
        if (option == "--power") {
            powerOnly = true;
            continue;
        }
        if (i + 1 >= argc) {
            return usageError(std::string{option} + " needs a value (see --help)");
        }
        const std::string_view value = argv[++i];
        if (option == "--days" || option == "--per-day" || option == "--since-days") {
            const auto count = number<int>(value);
            if (!count || *count < 1) {
                return usageError(std::string{option} + " wants a whole number of at least 1, not " +
                                  std::string{value});
            }
            if (option == "--days") {
                shape.days = *count;
            } else if (option == "--per-day") {
                shape.entriesPerDay = *count;
            } else {
                sinceDays = *count;
            }
        } else if (option == "--seed") {
            const auto seed = number<std::uint64_t>(value);
            if (!seed) {
                return usageError("--seed wants a whole number, not " + std::string{value});
            }
            shape.seed = *seed;
        } else if (option == "--end") {
            const auto seconds = number<std::int64_t>(value.starts_with('@') ? value.substr(1) : value);
            if (!seconds || *seconds > 100'000'000'000) {
                return usageError("--end wants Unix seconds, not " + std::string{value});
            }
            shape.endMicros = *seconds * 1'000'000;
        } else if (option == "--part") {
            if (value != "system" && value != "user") {
                return usageError("--part wants system or user, not " + std::string{value});
            }
            part = value == "system" ? vitrek::JournalPart::system : vitrek::JournalPart::user;
        } else if (option == "--out") {
            exportPath = value;
        } else if (option == "--json") {
            jsonPath = value;
        } else {
            return usageError("unknown option " + std::string{option} + " (see --help)");
        }
    }
    if (exportPath.empty() == jsonPath.empty()) {
        return usageError("give one of --out and --json (see --help)");
    }

    vitrek::JournalSummary summary;
    bool written = false;
    if (!exportPath.empty()) {
        written = toFile(exportPath, [&](const auto& write) {
            return vitrek::JournalGenerator::writeExport(shape, part, write, &summary);
        });
    } else {
        const std::int64_t since =
            sinceDays ? shape.endMicros - std::int64_t{*sinceDays} * 86'400'000'000 : 0;
        const auto identifiers =
            powerOnly ? std::span<const std::string_view>{vitrek::JournalGenerator::kPowerIdentifiers}
                      : std::span<const std::string_view>{};
        written = toFile(jsonPath, [&](const auto& write) {
            return write(vitrek::JournalGenerator::jsonLines(shape, since, identifiers, &summary));
        });
    }
    if (!written) {
        return usageError("cannot write " + (exportPath.empty() ? jsonPath : exportPath));
    }
    std::cerr << "vitrek-journal-gen: " << shape.days << " days, " << summary.boots << " boots, "
              << summary.sleeps << " suspends (" << summary.darkWakes << " dark wakes)";
    if (summary.entries > 0) {
        std::cerr << ", " << summary.entries << " entries from @" << summary.firstMicros / 1'000'000
                  << " to @" << summary.lastMicros / 1'000'000;
    }
    std::cerr << "\nend @" << shape.endMicros / 1'000'000 << "; 14 days before it: @"
              << (shape.endMicros - 14 * 86'400'000'000LL) / 1'000'000 << '\n';
    return 0;
}
