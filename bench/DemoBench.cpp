// The demo recorder on a busy window: a 1280 × 800-point region at 30 fps for 20 s, with a window that
// changes every frame, while a script moves the cursor about. Prints frames written against frames
// expected, the longest gap between ticks of a 1 ms timer on the main thread, and the encoder's CPU time
// per second of video.
//
// DemoBench [--seconds N] [--fps N] [--width N] [--height N] [--keep 1]   (--keep leaves the project folder)

#include "BenchSupport.h"
#include "Demo/DemoAnchors.h"
#include "Demo/DemoRecorder.h"

#include <QApplication>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>
#include <QWidget>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

brivel::DemoTask tour(brivel::DemoRecorder& recorder, double seconds, bool& done) {
    const auto end = Clock::now() + std::chrono::duration<double>(seconds);
    int round = 0;
    while (Clock::now() < end) {
        recorder.caption(QString("Round %1").arg(++round));
        co_await recorder.click(QString(round % 2 == 0 ? "left" : "right"), 0.8);
        co_await recorder.wait(0.2);
    }
    done = true;
}

} // namespace

int main(int argc, char** argv) {
    const double seconds = option(argc, argv, "--seconds", 20.0);
    const int fps = int(option(argc, argv, "--fps", 30.0));
    const int width = int(option(argc, argv, "--width", 1280.0));
    const int height = int(option(argc, argv, "--height", 800.0));
    const bool keep = option(argc, argv, "--keep", 0.0) != 0;
    ::setenv("QT_QPA_PLATFORM", "offscreen", 0);
    QApplication application(argc, argv);

    // A window that changes every frame, so each one is new to the encoder.
    QWidget window;
    auto* layout = new QVBoxLayout(&window);
    auto* label = new QLabel;
    auto* progress = new QProgressBar;
    auto* left = new QPushButton("Left");
    auto* right = new QPushButton("Right");
    QFont font = label->font();
    font.setPointSize(48);
    label->setFont(font);
    layout->addWidget(label);
    layout->addWidget(progress);
    layout->addWidget(left);
    layout->addWidget(right);
    window.setGeometry(0, 0, width, height);
    brivel::demoAnchor(left, "left");
    brivel::demoAnchor(right, "right");
    window.show();
    int counter = 0;
    QTimer animation;
    QObject::connect(&animation, &QTimer::timeout, [&] {
        ++counter;
        label->setText(QString("Frame %1").arg(counter));
        progress->setValue(counter % 101);
    });
    animation.start(1000 / fps);

    const std::filesystem::path folder = std::filesystem::temp_directory_path() / "vitrek-demo-bench";
    std::vector<Clock::time_point> ticks;
    ticks.reserve(std::size_t(seconds * 2000) + 1000);
    QTimer ticker;
    ticker.setTimerType(Qt::PreciseTimer);
    QObject::connect(&ticker, &QTimer::timeout, [&] { ticks.push_back(Clock::now()); });

    try {
        brivel::DemoRecorder recorder(folder, QRectF(0, 0, width, height), fps);
        ticker.start(1);
        recorder.start();
        bool done = false;
        tour(recorder, seconds, done).start();
        while (!done) {
            QApplication::processEvents(QEventLoop::WaitForMoreEvents);
        }
        const double recorded = recorder.elapsed();
        ticker.stop();
        bool finished = false;
        std::string failure;
        [](brivel::DemoRecorder& r) -> brivel::DemoTask { co_await r.finish("Bench"); }(recorder).start(
                                        [&](std::exception_ptr error) {
                                            try {
                                                if (error) {
                                                    std::rethrow_exception(error);
                                                }
                                            } catch (const std::exception& problem) {
                                                failure = problem.what();
                                            }
                                            finished = true;
                                        });
        while (!finished) {
            QApplication::processEvents(QEventLoop::WaitForMoreEvents);
        }
        if (!failure.empty()) {
            std::printf("failed: %s\n", failure.c_str());
            return 1;
        }
        Clock::duration stall{};
        std::vector<std::pair<double, double>> gaps; // (length ms, at s)
        for (std::size_t i = 1; i < ticks.size(); ++i) {
            stall = std::max(stall, ticks[i] - ticks[i - 1]);
            gaps.emplace_back(std::chrono::duration<double, std::milli>(ticks[i] - ticks[i - 1]).count(),
                              std::chrono::duration<double>(ticks[i - 1] - ticks[0]).count());
        }
        std::sort(gaps.rbegin(), gaps.rend());
        std::printf("longest gaps:");
        for (std::size_t i = 0; i < std::min<std::size_t>(5, gaps.size()); ++i) {
            std::printf(" %.1f ms at %.2f s;", gaps[i].first, gaps[i].second);
        }
        std::printf("\n");
        const double expected = recorded * fps;
        std::printf("region %d × %d pt → %d × %d px at %d fps for %.1f s\n", width, height,
                    recorder.pixelSize().width(), recorder.pixelSize().height(), fps, recorded);
        std::printf("frames written %d of %.0f expected (%.3f); dropped by the encoder queue %d; failed "
                    "captures %d\n",
                    recorder.framesWritten(), expected, recorder.framesWritten() / expected,
                    recorder.framesDropped(), recorder.failedCaptures());
        std::printf("longest main-thread stall %.1f ms\n",
                    std::chrono::duration<double, std::milli>(stall).count());
        std::printf("encoder CPU %.3f s per second of video\n", recorder.encoderCpuSeconds() / recorded);
        std::error_code error;
        std::printf("raw.mov %.1f MB\n", double(std::filesystem::file_size(folder / "raw.mov", error)) / 1e6);
    } catch (const brivel::DemoRecorder::Failure& failure) {
        std::printf("failed: %s\n", failure.what());
        return 1;
    }
    if (keep) {
        std::printf("project folder %s\n", folder.c_str());
    } else {
        std::error_code error;
        std::filesystem::remove_all(folder, error);
    }
    return 0;
}
