#include "cli/HeadlessCommand.h"

#include "Store.h"
#include "metrics/MetricsExport.h"
#include "scores/Fmt.h"
#include "scores/Rounding.h"

#include <unistd.h>

#include <QCoreApplication>
#include <clocale>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <string>
#include <ostream>

namespace vitrek::cli {

namespace {

// Every check-up has already saved what it recorded, so there is nothing to finish: leave at once.
extern "C" void leaveAtOnce(int) { _exit(0); }

} // namespace

int headless(const CommandOptions& options, int argc, char** argv, std::ostream& out) {
    // Those variables turn the program into the demo machine, which records nothing: refuse rather than
    // pretend to check up.
    for (const char* harness : {"VITREK_SNAPSHOT_DIR", "VITREK_DEMO_DIR", "VITREK_SELFTEST"}) {
        if (std::getenv(harness) != nullptr) {
            std::cerr << "vitrek: --headless records this machine, so it does not run with " << harness
                      << " set\n";
            return 2;
        }
    }
    std::optional<std::filesystem::path> metricsDir;
    if (options.metricsDir) {
        std::error_code error;
        if (!std::filesystem::is_directory(*options.metricsDir, error)) {
            std::cerr << "vitrek: --headless: --metrics-dir " << *options.metricsDir << " is not a folder\n";
            return 2;
        }
        metricsDir = std::filesystem::absolute(*options.metricsDir, error);
    }
    QCoreApplication application(argc, argv);
    // The application object adopts the user's locale; the figures are formatted with the C library and
    // must keep their decimal point.
    std::setlocale(LC_NUMERIC, "C");
    std::signal(SIGINT, leaveAtOnce);
    std::signal(SIGTERM, leaveAtOnce);

    auto& store = Store::shared();
    // A check-up appends a sample, so the samples change exactly once per check-up, after every other
    // figure of that check-up has been published.
    QObject::connect(&store, &Store::samplesChanged, &application, [&store, &out] {
        if (!store.reading() || store.samples().empty()) {
            return;
        }
        const auto calendar =
            store.environment().calendar ? store.environment().calendar() : Calendar::current();
        out << Fmt::clockTime(store.reading()->date, calendar) << "  recovery " << store.recovery()
            << "  strain " << (store.strain() ? printfText("%.1f", *store.strain()) : std::string("–"))
            << "  load " << Fmt::percent(static_cast<int>(roundHalfAway(store.samples().back().load * 100)))
            << std::endl;
    });
    QObject::connect(&store, &Store::storageTrouble, &application,
                     [](const std::string& text) { std::cerr << "vitrek: " << text << std::endl; });
    MetricsExport metrics(store, MetricsLabels{metricsUser(), VITREK_VERSION});
    // Said once; the export keeps trying quietly at every check-up and says it again only after a success.
    QObject::connect(&metrics, &MetricsExport::problemChanged, &application, [](const std::string& problem) {
        if (!problem.empty()) {
            std::cerr << "vitrek: " << problem << std::endl;
        }
    });
    store.start();
    if (store.writerElsewhere()) {
        const auto holder = store.writerHolder();
        std::cerr << "vitrek: another Vitrek" << (holder ? " (process " + std::to_string(*holder) + ")" : "")
                  << " is already checking up into " << store.files().dir().string() << "\n";
        return 2;
    }
    if (metricsDir) {
        metrics.setFolder(*metricsDir);
    }
    out << "vitrek: checking up every minute into " << store.files().dir().string();
    if (metricsDir) {
        out << ", metrics into " << metricsFile(*metricsDir, metricsUser()).string();
    }
    out << "; stop with Ctrl-C" << std::endl;
    return QCoreApplication::exec();
}

} // namespace vitrek::cli
