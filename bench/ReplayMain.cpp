// vitrek-replay: writes the recorded power log or journal of bench/data/, replayed to the length asked for.

#include "BenchSupport.h"
#include "Replay.h"

#include <cstdio>
#include <iostream>
#include <string>
#include <string_view>

namespace {

constexpr std::string_view kUsage =
    "usage: vitrek-replay power (--days N | --megabytes N) [--out FILE]\n"
    "       vitrek-replay journal [--days N] [--per-day N] [--end UNIX_SECONDS]\n"
    "                     (--out FILE [--part system|user] | --json FILE [--since-days N])\n"
    "A power log of N nights or megabytes (its days and a --now go to stderr), or a journal of N days\n"
    "(default 60), N entries a day (40000) up to --end (1732186800) as systemd-journal-remote reads it\n"
    "(--part: system.journal's or user-1000.journal's share) or as journalctl's JSON. FILE - is stdout.\n";

bool writeTo(const std::string& path, const auto& produce) {
    std::FILE* file = path == "-" ? stdout : std::fopen(path.c_str(), "wb");
    if (file == nullptr) {
        return false;
    }
    const bool written = produce([file](std::string_view chunk) {
        return std::fwrite(chunk.data(), 1, chunk.size(), file) == chunk.size();
    });
    return (file == stdout ? std::fflush(file) == 0 : std::fclose(file) == 0) && written;
}

} // namespace

int main(int argc, char** argv) {
    using namespace vitrek;
    const std::string_view kind = argc > 1 ? argv[1] : "--help";
    if (kind != "power" && kind != "journal") {
        std::cout << kUsage;
        return kind == "--help" || kind == "-h" ? 0 : 2;
    }
    const auto number = [&](std::string_view name, double fallback) {
        return option(argc, argv, name, fallback);
    };
    Replay::JournalShape shape;
    shape.days = int(number("--days", 0));
    shape.entriesPerDay = int(number("--per-day", shape.entriesPerDay));
    shape.endMicros = static_cast<std::int64_t>(number("--end", double(shape.endMicros) / 1e6)) * 1'000'000;
    const double megabytes = number("--megabytes", 0);
    const std::string out = option(argc, argv, "--out"), json = option(argc, argv, "--json");
    const std::string partName = option(argc, argv, "--part");
    const auto part = partName == "system" ? Replay::JournalPart::system
                      : partName == "user" ? Replay::JournalPart::user
                                           : Replay::JournalPart::whole;
    if (kind == "journal" && shape.days == 0) {
        shape.days = 60;
    }
    if (shape.days < 0 || shape.entriesPerDay < 1 || out.empty() == json.empty() ||
        (kind == "power" && ((shape.days > 0) == (megabytes > 0) || !json.empty()))) {
        std::cerr << "vitrek-replay: wrong or missing options (see --help)\n";
        return 2;
    }
    const auto recorded = Replay::recorded(kind == "power" ? "power.log" : "journal.export");
    if (!recorded) {
        std::cerr << "vitrek-replay: cannot read the recorded data in " VITREK_BENCH_DATA "\n";
        return 1;
    }

    const std::string path = out.empty() ? json : out;
    const bool written = writeTo(path, [&](const auto& write) {
        if (kind == "power") {
            const auto log =
                Replay::powerLog(*recorded, shape.days, static_cast<std::size_t>(megabytes * 1e6));
            std::cerr << "vitrek-replay: wrote " << log.text.size() << " bytes, " << log.days << " nights\n"
                      << "first " << log.firstDate << "\nlast " << log.lastDate << "\nsuggested --now "
                      << log.suggestedNow << '\n';
            return write(log.text);
        }
        std::cerr << "vitrek-replay: " << shape.days << " days\nend @" << shape.endMicros / 1'000'000
                  << "; 14 days before it: @" << (shape.endMicros - 14 * 86'400'000'000LL) / 1'000'000
                  << '\n';
        if (!out.empty()) {
            return Replay::writeExport(*recorded, shape, part, write);
        }
        const auto sinceDays = static_cast<std::int64_t>(number("--since-days", 0));
        const std::int64_t since = sinceDays > 0 ? shape.endMicros - sinceDays * 86'400'000'000LL : 0;
        return write(Replay::jsonLines(*recorded, shape, since));
    });
    if (!written) {
        std::cerr << "vitrek-replay: cannot write " << path << '\n';
        return 1;
    }
    return 0;
}
