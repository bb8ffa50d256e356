// The main window's speed, on whatever display Qt is given (Xvfb for figures like a desktop's):
//   WindowBench first-paint      milliseconds from the process's start to the main window's first paint,
//                                after the same launch steps as the program (kit, Store start, window)
//   WindowBench repaint [N]      N (200) full renders of the window on its Today tab at 980 × 820: median,
//                                p95, max
// Run under a fresh VITREK_DATA_DIR so the user's data is not touched.
#include "Store.h"
#include "screens/MainWindow.h"
#include "shell/Appearance.h"
#include "shell/LocaleDates.h"

#include <Brivel.h>

#include <QApplication>
#include <QElapsedTimer>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

// Seconds since the process started, from /proc (its start time is in clock ticks since boot).
double sinceProcessStart() {
    std::ifstream stat("/proc/self/stat");
    std::string text((std::istreambuf_iterator<char>(stat)), std::istreambuf_iterator<char>());
    const auto afterName = text.rfind(')');
    std::vector<std::string> fields;
    std::string field;
    for (std::size_t i = afterName + 2; i <= text.size(); ++i) {
        if (i == text.size() || text[i] == ' ') {
            fields.push_back(field);
            field.clear();
        } else {
            field += text[i];
        }
    }
    const double started = std::stod(fields.at(19)) / static_cast<double>(::sysconf(_SC_CLK_TCK));
    std::ifstream uptimeFile("/proc/uptime");
    double uptime = 0;
    uptimeFile >> uptime;
    return uptime - started;
}

class FirstPaint : public QObject {
public:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Paint && !m_done) {
            m_done = true;
            // /proc/uptime has 10 ms steps; the started time 1 tick. Good enough for a 400 ms budget.
            std::printf("first paint: %.0f ms after the process started (%s)\n", sinceProcessStart() * 1000,
                        qPrintable(watched->objectName()));
            QMetaObject::invokeMethod(qApp, &QApplication::quit, Qt::QueuedConnection);
        }
        return false;
    }

private:
    bool m_done = false;
};

} // namespace

int main(int argc, char** argv) {
    const std::string mode = argc > 1 ? argv[1] : "first-paint";
    QApplication app(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    vitrek::Fmt::setDateFormatter(vitrek::localeDateFormatter(QLocale::system()));
    vitrek::Appearance::shared();
    brivel::Brivel::start({QColor(22, 217, 122), QColor(45, 140, 255)});
    auto& store = vitrek::Store::shared();
    store.start();
    vitrek::MainWindow window{store};
    window.resize(980, 820);

    if (mode == "first-paint") {
        FirstPaint watcher;
        window.installEventFilter(&watcher);
        window.show();
        return QApplication::exec();
    }

    const int count = argc > 2 ? std::max(1, std::atoi(argv[2])) : 200;
    window.show();
    for (int i = 0; i < 50; ++i) {
        QApplication::processEvents();
    }
    // Every widget of the window painted into one reused image: what a full repaint costs, whatever the
    // platform's own flushing does.
    QImage canvas(window.size() * window.devicePixelRatioF(), QImage::Format_ARGB32_Premultiplied);
    canvas.setDevicePixelRatio(window.devicePixelRatioF());
    std::vector<double> times;
    QElapsedTimer timer;
    for (int i = 0; i < count; ++i) {
        timer.start();
        window.render(&canvas);
        times.push_back(static_cast<double>(timer.nsecsElapsed()) / 1e6);
    }
    std::sort(times.begin(), times.end());
    std::printf("Today tab at %dx%d, %d full repaints: median %.2f ms, p95 %.2f ms, max %.2f ms\n", window.width(),
                window.height(), count, times[times.size() / 2], times[times.size() * 95 / 100], times.back());
    return 0;
}
