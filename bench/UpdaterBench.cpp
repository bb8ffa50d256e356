// The updater end to end over loopback: a check that finds a newer version, the download of its signed
// archive, the signature check, the unpacking and the validation, timed from the check to `ready`, with the
// longest stall of the main thread's event loop over the whole run.
//
// UpdaterBench [--megabytes N] [--runs N]

#include "BenchSupport.h"
#include "Updater/Updater.h"
#include "support/KitFixtures.h"
#include "support/LoopbackServer.h"

#include <QCoreApplication>
#include <QTimer>
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr const char* kIdentifier = "app.brivel.bench";

// Incompressible bytes, so that the archive is as large as its contents (splitmix64, fixed seed).
std::string noise(std::size_t size) {
    std::string bytes(size, '\0');
    std::uint64_t state = 0x9e3779b97f4a7c15u;
    for (std::size_t offset = 0; offset < size; offset += 8) {
        std::uint64_t z = (state += 0x9e3779b97f4a7c15u);
        z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9u;
        z = (z ^ (z >> 27)) * 0x94d049bb133111ebu;
        z ^= z >> 31;
        std::memcpy(bytes.data() + offset, &z, std::min<std::size_t>(8, size - offset));
    }
    return bytes;
}

double seconds(Clock::duration duration) { return std::chrono::duration<double>(duration).count(); }
double milliseconds(Clock::duration duration) {
    return std::chrono::duration<double, std::milli>(duration).count();
}

// The largest gap between consecutive ticks among those that start in [from, to): a stall belongs to the
// step during which the event loop stopped turning.
Clock::duration longestGap(const std::vector<Clock::time_point>& ticks, Clock::time_point from,
                           Clock::time_point to) {
    Clock::duration longest{};
    for (std::size_t i = 1; i < ticks.size(); ++i) {
        if (ticks[i - 1] >= from && ticks[i - 1] < to) {
            longest = std::max(longest, ticks[i] - ticks[i - 1]);
        }
    }
    return longest;
}

struct Run {
    bool ready = false;
    std::string failure;
    Clock::duration total{};    // check → ready
    Clock::duration download{}; // downloading(0) → downloading(1.0)
    Clock::duration staging{};  // downloading(1.0) → ready: signature, unpacking, validation
    Clock::duration stall{};    // whole run
    Clock::duration downloadStall{};
    Clock::duration stagingStall{};
};

Run runOnce(const brivel::Bundle& bundle) {
    brivel::Updater updater(bundle);
    Run run;
    std::vector<Clock::time_point> ticks;
    ticks.reserve(1 << 16);
    QTimer ticker;
    ticker.setTimerType(Qt::PreciseTimer);
    QObject::connect(&ticker, &QTimer::timeout, [&] { ticks.push_back(Clock::now()); });

    Clock::time_point downloadStart{};
    Clock::time_point downloadEnd{};
    Clock::time_point end{};
    QObject::connect(&updater, &brivel::Updater::phaseChanged, [&] {
        const auto& phase = updater.phase();
        const auto now = Clock::now();
        using Kind = brivel::UpdatePhase::Kind;
        if (phase.kind == Kind::downloading && downloadStart == Clock::time_point{}) {
            downloadStart = now;
        }
        if (phase.kind == Kind::downloading && phase.fraction >= 1.0) {
            downloadEnd = now;
        }
        if (phase.kind != Kind::checking && phase.kind != Kind::downloading) {
            end = now;
            run.ready = phase.kind == Kind::ready;
            run.failure = phase.message;
            QCoreApplication::exit(0);
        }
    });

    ticker.start(1);
    const auto begin = Clock::now();
    ticks.push_back(begin);
    QTimer::singleShot(0, &updater, [&] { updater.check(false); });
    QTimer::singleShot(120'000, &updater, [&] {
        run.failure = "no result after 120 s";
        QCoreApplication::exit(1);
    });
    QCoreApplication::exec();
    ticker.stop();
    ticks.push_back(Clock::now());

    run.total = end - begin;
    run.download = downloadEnd - downloadStart;
    run.staging = end - downloadEnd;
    run.stall = longestGap(ticks, begin, end);
    run.downloadStall = longestGap(ticks, downloadStart, downloadEnd);
    run.stagingStall = longestGap(ticks, downloadEnd, end);
    return run;
}

} // namespace

int main(int argc, char** argv) {
    const auto megabytes = static_cast<std::size_t>(option(argc, argv, "--megabytes", 50.0));
    const int runs = int(option(argc, argv, "--runs", 3.0));

    // Caches and settings of this run only, never the user's.
    std::string home = (fs::temp_directory_path() / "brivel-bench-XXXXXX").string();
    if (::mkdtemp(home.data()) == nullptr) {
        std::perror("mkdtemp");
        return 1;
    }
    ::setenv("XDG_CACHE_HOME", (home + "/cache").c_str(), 1);
    ::setenv("XDG_CONFIG_HOME", (home + "/config").c_str(), 1);
    QCoreApplication application(argc, argv);
    QCoreApplication::setOrganizationName("BrivelBench");
    QCoreApplication::setApplicationName("UpdaterBench");

    brivel::test::LoopbackServer server;
    const auto keys = brivel::test::makeKeyPair();
    const fs::path installed = fs::path(home) / "installed" / "Vitrek";
    const fs::path release = fs::path(home) / "release" / "Vitrek";
    brivel::test::writeProgram(installed, kIdentifier, "1.0", server.url("/feed.json"), keys.publicKey);
    brivel::test::writeProgram(release, kIdentifier, "1.1", std::nullopt, std::nullopt,
                               {{"share/payload.bin", noise(megabytes * 1'000'000)}});
    const std::string archive = brivel::test::packProgram(release, fs::path(home) / "Vitrek.zip");
    const brivel::UpdateFeed feed{"1.1", server.url("/releases"), std::nullopt, std::nullopt,
                                  brivel::UpdateFeed::Download{server.url("/Vitrek.zip"),
                                                               static_cast<std::int64_t>(archive.size()),
                                                               brivel::test::sign(archive, keys.secretKey)}};
    server.serve("/feed.json", brivel::test::LoopbackServer::ok(feed.encode()));
    server.serve("/Vitrek.zip", brivel::test::LoopbackServer::ok(archive));

    const double archiveMB = static_cast<double>(archive.size()) / 1e6;
    std::printf("archive: %.1f MB (%zu bytes), %d runs\n", archiveMB, archive.size(), runs);
    int status = 0;
    for (int i = 1; i <= runs; ++i) {
        const Run run = runOnce(brivel::Bundle::at(installed));
        if (!run.ready) {
            std::printf("run %d: did not end ready: %s\n", i, run.failure.c_str());
            status = 1;
            continue;
        }
        std::printf("run %d: end to end %.3f s = %.0f MB/s; download %.3f s = %.0f MB/s; "
                    "signature + unpacking + validation %.3f s; longest main-thread stall %.1f ms "
                    "(download %.1f ms, staging %.1f ms)\n",
                    i, seconds(run.total), archiveMB / seconds(run.total), seconds(run.download),
                    archiveMB / seconds(run.download), seconds(run.staging), milliseconds(run.stall),
                    milliseconds(run.downloadStall), milliseconds(run.stagingStall));
    }

    std::error_code error;
    fs::remove_all(home, error);
    return status;
}
