#include "Demo/DemoRecorder.h"

#include "Demo/DemoAnchors.h"
#include "support/KitFixtures.h"
#include "support/KitTesting.h"
#include "support/ScratchDirectory.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>
#include <QWidget>
#include <optional>
#include <thread>

namespace brivel::test {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::json;

const QColor kWindowColour(250, 250, 250);
const QColor kButtonColour(0, 190, 0);
const QList<QColor> kBackdrop{QColor(10, 10, 40), QColor(40, 10, 10)};

// Runs a script to its end; the message of the failure it ended with, empty when none.
std::string play(DemoTask script) {
    bool done = false;
    std::string failure;
    std::move(script).start([&](std::exception_ptr error) {
        try {
            if (error) {
                std::rethrow_exception(error);
            }
        } catch (const DemoRecorder::Failure& thrown) {
            failure = thrown.what();
        }
        done = true;
    });
    EXPECT_TRUE(waitFor([&] { return done; })) << "the script never ended";
    return failure;
}

Json readJson(const fs::path& path) { return Json::parse(readFile(path), nullptr, false); }

// A small window of the program: two anchored buttons and a line edit, in colours the backdrop never has.
struct DemoWindow {
    DemoWindow() {
        window.setWindowTitle("Demo");
        window.setAutoFillBackground(true);
        QPalette palette = window.palette();
        palette.setColor(QPalette::Window, kWindowColour);
        window.setPalette(palette);
        auto* layout = new QVBoxLayout(&window);
        save = new QPushButton("Save");
        save->setStyleSheet("background: rgb(0, 190, 0); border: none; min-height: 60px;");
        cancel = new QPushButton("Cancel");
        edit = new QLineEdit;
        layout->addWidget(save);
        layout->addWidget(cancel);
        layout->addWidget(edit);
        window.setGeometry(100, 120, 400, 300);
        demoAnchor(save, "save");
        demoAnchor(cancel, "cancel");
        window.show();
        (void)waitFor([] { return DemoAnchors::shared().frame("save").has_value(); }, 2'000);
    }
    QWidget window;
    QPushButton* save = nullptr;
    QPushButton* cancel = nullptr;
    QLineEdit* edit = nullptr;
};

DemoTask clickAndType(DemoRecorder& recorder, QLineEdit* edit, double& clickTime) {
    recorder.caption("Save the check-up");
    co_await recorder.move(QString("cancel"), 0.4);
    co_await recorder.click(QString("save"), 0.3);
    clickTime = recorder.log().clicks().back()[0];
    recorder.caption("Name it");
    co_await recorder.type(
        "Vitrek", [edit](const QString& text) { edit->setText(text); }, 0.05);
    co_await recorder.wait(0.6);
    co_await recorder.finish("Test demo");
}

TEST(DemoRecorderTest, RecordsTheProgramsWindowsWithTheLogsOfAScriptAndNamesTheCauseOfFailures) {
    const vitrek::test::ScratchDirectory scratch("brivel-demo");
    DemoWindow demo;
    const QRectF region(60, 80, 480, 380);
    const fs::path folder = scratch.path() / "project";
    DemoRecorder recorder(folder, region, 30, kBackdrop);
    ASSERT_EQ(recorder.pixelSize(), QSize(480, 380)); // the offscreen screen's scale is 1

    recorder.start();
    double clickTime = 0;
    ASSERT_EQ(play(clickAndType(recorder, demo.edit, clickTime)), "");
    EXPECT_EQ(demo.edit->text(), "Vitrek");

    const Json events = readJson(folder / "events.json");
    ASSERT_TRUE(events.is_object());
    const double duration = events["duration"].get<double>();
    EXPECT_GT(duration, 1.7);
    EXPECT_LT(duration, 3.5);
    ASSERT_EQ(events["clicks"].size(), 1u);
    // The click lands on the save button's centre, as a fraction of the region from its top-left corner.
    const QPointF centre = DemoAnchors::shared().frame("save")->center();
    EXPECT_NEAR(events["clicks"][0][1].get<double>(), (centre.x() - region.x()) / region.width(), 1e-9);
    EXPECT_NEAR(events["clicks"][0][2].get<double>(), (centre.y() - region.y()) / region.height(), 1e-9);
    EXPECT_GE(events["cursor"].size(), 12u + 9u); // two motions at 30 fps, and the first position

    // The files' exact forms are the log's own tests; here, that the recording reached them.
    const Json captions = readJson(folder / "captions.json");
    EXPECT_EQ(captions.size(), 2u);
    EXPECT_EQ(readJson(folder / "project.json")["name"], "Test demo");

    // The movie lasts as long as the script, at the recorder's rate. At the click, the button's pixels are in
    // the picture where the button is; the corner shows the backdrop.
    const fs::path movie = folder / "raw.mov";
    const Json info = probeMovie(movie);
    const double movieDuration = std::stod(info["format"].value("duration", "0"));
    EXPECT_NEAR(movieDuration, duration, 0.2);
    EXPECT_NEAR(frameCount(movie), movieDuration * 30, movieDuration * 30 * 0.1);
    const QImage frame = movieFrame(movie, clickTime, recorder.pixelSize());
    ASSERT_FALSE(frame.isNull());
    const QPoint onButton = (centre - region.topLeft()).toPoint() + QPoint(30, 15);
    EXPECT_LE(colourDistance(frame.pixelColor(onButton), kButtonColour), 40);
    EXPECT_LE(colourDistance(frame.pixelColor(4, 4), kBackdrop[0]), 40);

    // Ticks within half a frame write one frame; failures name their cause.
    DemoRecorder onWindow(scratch.path() / "second", region, 1, kBackdrop);
    onWindow.start();
    EXPECT_EQ(onWindow.framesWritten(), 1);
    // No events are processed meanwhile, so the recorder's own timer can't tick in between.
    std::this_thread::sleep_for(std::chrono::milliseconds(600));
    onWindow.captureFrame();
    onWindow.captureFrame();
    EXPECT_EQ(onWindow.framesWritten(), 2);
    EXPECT_EQ(play(onWindow.click(QString("nowhere"), 0.1)), "demo: no anchor nowhere");

    DemoRecorder offScreen(scratch.path() / "elsewhere", QRectF(5000, 5000, 200, 100), 30, kBackdrop);
    EXPECT_EQ(offScreen.pixelSize(), QSize(400, 200)); // no screen there: twice the points
    offScreen.start();
    const auto failure = play([](DemoRecorder& r) -> DemoTask {
        co_await r.wait(0.3);
        co_await r.finish("Nothing");
    }(offScreen));
    EXPECT_GE(offScreen.failedCaptures(), 2);
    EXPECT_EQ(failure, "No frames were captured (" + std::to_string(offScreen.failedCaptures()) +
                           " failed). Is the window on screen inside the region?");
    EXPECT_FALSE(fs::exists(scratch.path() / "elsewhere/events.json"));
}

std::optional<QRectF> anchor(const char* id) { return DemoAnchors::shared().frame(id); }

// The button's frame worked out from the window's geometry rather than by mapping the button.
QRectF expectedFrame(const QWidget& window, const QWidget& button) {
    return QRectF(window.geometry().topLeft() + button.pos(), QSizeF(button.size()));
}

TEST(DemoAnchorsTest, FrameFollowsTheWidgetThroughMovesAndWindowsUntilItGoes) {
    QWidget window;
    QWidget second;
    window.setGeometry(100, 120, 400, 300);
    second.setGeometry(600, 300, 200, 100);
    auto* button = new QPushButton("Save", &window);
    button->setGeometry(30, 40, 120, 32);
    demoAnchor(button, "demo.save");
    EXPECT_FALSE(anchor("demo.save")) << "not on screen yet";

    window.show();
    second.show();
    const auto frame = [] { return anchor("demo.save"); };
    ASSERT_TRUE(waitFor([&] { return frame() == expectedFrame(window, *button); }));
    EXPECT_EQ(frame()->topLeft(), QPointF(130, 160));

    // move() places the window's frame, which may have borders: move it by a known shift instead.
    window.move(window.frameGeometry().topLeft() + QPoint(200, 80));
    EXPECT_TRUE(waitFor([&] { return frame() == QRectF(330, 240, 120, 32); }));
    button->resize(150, 40);
    EXPECT_TRUE(waitFor([&] { return frame() == QRectF(330, 240, 150, 40); }));

    // A widget that took the id over keeps it when the old one goes.
    auto* replacement = new QPushButton("New", &window);
    replacement->setGeometry(100, 100, 60, 24);
    demoAnchor(replacement, "demo.save");
    replacement->show();
    ASSERT_TRUE(waitFor([&] { return frame() == expectedFrame(window, *replacement); }));
    delete button;
    EXPECT_EQ(frame(), expectedFrame(window, *replacement));

    // Moved into another window, it follows that window.
    replacement->setParent(&second);
    replacement->move(20, 30);
    replacement->show();
    ASSERT_TRUE(waitFor([&] { return frame() == expectedFrame(second, *replacement); }));
    const auto before = frame();
    second.move(second.frameGeometry().topLeft() + QPoint(100, 50));
    EXPECT_TRUE(waitFor([&] { return frame() == before->translated(100, 50); }));

    delete replacement;
    EXPECT_FALSE(frame());
}

} // namespace
} // namespace brivel::test
