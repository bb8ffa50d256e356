// Whether memory stays flat over days of running: the Store driven through N (10,000) check-ups on a clock
// that moves a minute each time (real files, real History), with the main window open on its Today tab or
// with no window at all. Prints the resident memory after the warm-up (500 check-ups) and at the end.
//   CheckUpMemoryBench [--window] [N]
// Run under QT_QPA_PLATFORM=offscreen; the data folder is a fresh temporary one.
#include "BenchStore.h"
#include "Store.h"
#include "screens/MainWindow.h"

#include <unistd.h>

#include <QApplication>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

namespace {

namespace fs = std::filesystem;
using namespace vitrek;

// Resident memory in kB, from the kernel's own count.
long residentKilobytes() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.rfind("VmRSS:", 0) == 0) {
            return std::atol(line.c_str() + 6);
        }
    }
    return -1;
}

} // namespace

int main(int argc, char** argv) {
    const bool window = argc > 1 && std::string_view{argv[1]} == "--window";
    const int checkUps = std::max(600, argc > 1 + int(window) ? std::atoi(argv[1 + int(window)]) : 10'000);
    QApplication app(argc, argv);
    const fs::path dir = fs::temp_directory_path() / ("vitrek-memory-bench-" + std::to_string(::getpid()));
    fs::remove_all(dir);

    Instant now = fromUnixSeconds(1'709'900'000);
    Store store{benchEnvironment(dir, [&now] { return now; })};
    store.start();

    std::unique_ptr<MainWindow> shown;
    if (window) {
        shown = std::make_unique<MainWindow>(store);
        shown->setAttribute(Qt::WA_DontShowOnScreen);
        shown->resize(980, 820);
        shown->show();
    }
    constexpr int kWarmUp = 500;
    long afterWarmUp = 0;
    for (int i = 1; i <= checkUps; ++i) {
        now = now + Seconds{60};
        store.tick(now);
        QApplication::processEvents();
        if (window) {
            shown->grab(); // a full paint, as the screen would ask for
        }
        if (i == kWarmUp) {
            afterWarmUp = residentKilobytes();
        }
    }
    const long atEnd = residentKilobytes();
    std::printf("%s: %d check-ups, resident %.1f MB after %d, %.1f MB at the end: %+.2f MB\n",
                window ? "window open" : "no window", checkUps, afterWarmUp / 1024.0, kWarmUp, atEnd / 1024.0,
                (atEnd - afterWarmUp) / 1024.0);
    shown.reset();
    fs::remove_all(dir);
    return 0;
}
