#include "harness/Harness.h"

#include "harness/SelfTest.h"
#include "harness/Snapshotter.h"

#include <QCoreApplication>
#include <QtGlobal>
#include <QTimer>

#include <exception>
#include <iostream>

namespace vitrek::Harness {

namespace {

brivel::DemoTask runTask(Run run, Store& store, int* status) {
    switch (run.kind) {
    case Kind::snapshot: {
        int written = 0;
        co_await Snapshotter::run(run.dir, store, &written);
        std::cout << written << (written == 1 ? " image" : " images") << " written to "
                  << run.dir.toStdString() << "\n";
        break;
    }
    case Kind::selfTest:
        *status = SelfTest::run(run.dir, store) == 0 ? 0 : 1;
        break;
    case Kind::liveSnapshot:
        co_await Snapshotter::live(run.dir, store);
        break;
    }
}

QtMessageHandler g_previousHandler = nullptr;

// The offscreen platform warns each time a window is sized ("does not support propagateSizeHints()"),
// which says nothing to the person who asked for snapshots; everything else still gets through.
void quietOffscreenSizing(QtMsgType type, const QMessageLogContext& context, const QString& message) {
    if (message.contains(QLatin1String("propagateSizeHints"))) {
        return;
    }
    if (g_previousHandler) {
        g_previousHandler(type, context, message);
    } else {
        std::cerr << qFormatLogMessage(type, context, message).toStdString() << "\n";
    }
}

} // namespace

std::optional<Run> choose(const Lookup& variable) {
    if (auto dir = variable("VITREK_SNAPSHOT_DIR")) {
        return Run{Kind::snapshot, *dir};
    }
    if (auto dir = variable("VITREK_SELFTEST")) {
        return Run{Kind::selfTest, *dir};
    }
    if (auto dir = variable("VITREK_LIVE_SNAPSHOT_DIR")) {
        return Run{Kind::liveSnapshot, *dir};
    }
    return std::nullopt;
}

std::optional<Run> fromEnvironment() {
    return choose([](const char* name) -> std::optional<QString> {
        if (!qEnvironmentVariableIsSet(name)) {
            return std::nullopt;
        }
        return qEnvironmentVariable(name);
    });
}

void start(const Run& run, Store& store) {
    g_previousHandler = qInstallMessageHandler(quietOffscreenSizing);
    // Started from the event loop, so the harness sees the launch finished (windows polished, the first
    // check-up published) just as an interactive run would.
    QTimer::singleShot(0, QCoreApplication::instance(), [run, &store] {
        auto status = std::make_shared<int>(0);
        runTask(run, store, status.get()).start([status](std::exception_ptr error) {
            if (error) {
                try {
                    std::rethrow_exception(error);
                } catch (const std::exception& failure) {
                    std::cerr << "vitrek: the harness stopped: " << failure.what() << "\n";
                } catch (...) {
                    std::cerr << "vitrek: the harness stopped\n";
                }
                QCoreApplication::exit(1);
                return;
            }
            std::cout.flush();
            QCoreApplication::exit(*status);
        });
    });
}

} // namespace vitrek::Harness
