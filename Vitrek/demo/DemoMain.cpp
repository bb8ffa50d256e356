// vitrek-demo DIR: records a short tour of the main window on the demo machine into DIR (raw.mov and the
// cursor, click and caption logs an editing step reads). The only program that links the video encoder,
// so the one people run every day does not.
#include "Store.h"
#include "screens/MainWindow.h"
#include "screens/ScreenTexts.h"
#include "shell/Appearance.h"

#include <Brivel.h>
#include <Demo/DemoRecorder.h>

#include <QApplication>
#include <QtGlobal>

#include <clocale>
#include <exception>
#include <iostream>
#include <memory>
#include <string>

namespace {

using vitrek::MainWindow;
namespace Texts = vitrek::Texts;

constexpr QSize kWindow{980, 820};
constexpr const char* kUsage = "usage: vitrek-demo DIR\n"
                               "\n"
                               "Records a short tour of the window on the demo machine into DIR: raw.mov, events.json,\n"
                               "captions.json and project.json. Your own data is not touched.\n";

// The tour: what a new user sees first, then the Health tab, then back. The recorder only draws the cursor
// and logs the clicks; the script makes each click happen.
brivel::DemoTask tour(brivel::DemoRecorder& recorder, MainWindow& window) {
    recorder.caption(QStringLiteral("Your computer's day at a glance"));
    co_await recorder.wait(1.5);
    co_await recorder.click(QPointF(500, 55));
    window.setTab(Texts::Tab::health);
    recorder.caption(QStringLiteral("Its age, its vitals and today's stress"));
    co_await recorder.wait(1.5);
    co_await recorder.click(QPointF(418, 55));
    window.setTab(Texts::Tab::today);
    recorder.clearCaption();
    co_await recorder.wait(0.8);
    co_await recorder.finish(QStringLiteral("Vitrek"));
}

} // namespace

int main(int argc, char** argv) {
    const std::string dir = argc == 2 ? argv[1] : "";
    if (dir == "--help" || dir == "-h") {
        std::cout << kUsage;
        return 0;
    }
    if (argc != 2 || dir.empty() || dir.front() == '-') {
        std::cerr << "vitrek-demo: give the folder to record into (vitrek-demo DIR)\n";
        return 2;
    }
    // The demo machine, and nothing written into the user's own data.
    qputenv("VITREK_DEMO_DIR", QByteArray::fromStdString(dir));
    QApplication app(argc, argv);
    std::setlocale(LC_NUMERIC, "C");
    vitrek::Appearance::shared().setOverride(true);
    brivel::Brivel::start({QColor(22, 217, 122), QColor(45, 140, 255)});
    auto& store = vitrek::Store::shared();
    store.start();

    MainWindow window(store);
    window.resize(kWindow);
    window.move(0, 0);
    window.show();

    int status = 0;
    try {
        auto recorder = std::make_unique<brivel::DemoRecorder>(dir, QRectF(QPointF(0, 0), QSizeF(kWindow)));
        recorder->start();
        tour(*recorder, window).start([&](std::exception_ptr error) {
            if (error) {
                try {
                    std::rethrow_exception(error);
                } catch (const std::exception& failure) {
                    std::cerr << "vitrek-demo: " << failure.what() << "\n";
                    status = 1;
                }
            } else {
                std::cout << "vitrek-demo: " << recorder->framesWritten() << " frames recorded into " << dir
                          << "\n";
            }
            QApplication::quit();
        });
        QApplication::exec();
    } catch (const brivel::DemoRecorder::Failure& failure) {
        std::cerr << "vitrek-demo: " << failure.what() << "\n";
        return 1;
    }
    return status;
}
