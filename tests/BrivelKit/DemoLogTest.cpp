#include "Demo/DemoLog.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace brivel::test {
namespace {

using Json = nlohmann::json;

TEST(DemoMathTest, ScaleKeepsTheVideoAtMost2560PixelsWideWithEvenSides) {
    struct Case {
        double width;
        double height;
        double screenScale;
        double scale;
        int pixelWidth;
        int pixelHeight;
    };
    const Case cases[] = {
        {1600, 1000, 2, 1.6, 2560, 1600},
        {801, 601, 1, 1, 800, 600},              // odd sides round down to even
        {4183, 100, 1, 2560.0 / 4183, 2560, 60}, // 4,183 × (2,560 / 4,183) is a hair under 2,560
    };
    for (const auto& row : cases) {
        const double scale = DemoMath::scale(row.width, row.screenScale);
        EXPECT_DOUBLE_EQ(scale, row.scale) << row.width << " at " << row.screenScale;
        const auto pixels = DemoMath::pixelSize(row.width, row.height, scale);
        EXPECT_EQ(pixels, std::pair(row.pixelWidth, row.pixelHeight)) << row.width << " × " << row.height;
    }
    EXPECT_EQ(DemoMath::pixelSize(std::numeric_limits<double>::quiet_NaN(), -5, 1), std::pair(0, 0));
}

TEST(DemoMathTest, EaseIsASymmetricMonotonicCurveFromZeroToOne) {
    // With the sum of mirrored points checked below, this pins both ends and the middle too.
    EXPECT_EQ(DemoMath::ease(1), 1);
    EXPECT_DOUBLE_EQ(DemoMath::ease(0.25), 0.0625);
    double previous = 0;
    for (int i = 1; i <= 100; ++i) {
        const double p = i / 100.0;
        EXPECT_NEAR(DemoMath::ease(p) + DemoMath::ease(1 - p), 1, 1e-12) << p;
        EXPECT_GT(DemoMath::ease(p), previous) << p;
        previous = DemoMath::ease(p);
    }
}

TEST(DemoMathTest, TimingRules) {
    // Two timer ticks 10 ms apart at 30 fps write one frame; 17 ms apart is more than half a frame.
    EXPECT_FALSE(DemoMath::shouldCapture(1.010, 1.0, 30));
    EXPECT_TRUE(DemoMath::shouldCapture(1.017, 1.0, 30));
    EXPECT_TRUE(DemoMath::shouldCapture(0.5 / 30, 0, 30));

    EXPECT_DOUBLE_EQ(DemoMath::typingPause(U' ', 0.1), 0.16);
    EXPECT_DOUBLE_EQ(DemoMath::typingPause(U'a', 0.1), 0.1);

    struct Case {
        double duration;
        int fps;
        int steps;
    };
    const Case cases[] = {{0.6, 30, 18}, {0.7, 30, 21}, {0.01, 30, 1}, {0, 30, 1}, {-1, 30, 1}, {1, 0, 1}};
    for (const auto& row : cases) {
        EXPECT_EQ(DemoMath::motionSteps(row.duration, row.fps), row.steps) << row.duration << " s";
    }
}

TEST(DemoMathTest, FractionsPutTheTopLeftCornerAtZero) {
    const DemoRect region{100, 50, 400, 200};
    EXPECT_EQ(DemoMath::fractionOf({200, 200}, region), (DemoPoint{0.25, 0.75}));
    EXPECT_EQ(DemoMath::fractionOf({200, 200}, DemoRect{0, 0, 0, 400}), (DemoPoint{0, 0.5}));
}

TEST(DemoLogTest, CaptionsShorterThanAFifthOfASecondAreDropped) {
    DemoLog log;
    log.caption("flash", 1.0);
    log.caption("kept", 1.1);  // replaces "flash" after 0.1 s
    log.caption("short", 1.4); // "kept" lasted 0.3 s
    log.clearCaption(1.5);
    log.clearCaption(2.0); // nothing open
    log.caption("left open", 3.0);
    log.clearCaption(4.0); // what finishing the recording does
    const std::vector<DemoLog::Caption> expected = {{1.1, 1.4, "kept"}, {3.0, 4.0, "left open"}};
    EXPECT_EQ(log.captions(), expected);
}

TEST(DemoLogTest, ProjectFilesParseBackWithExactlyTheirKeys) {
    DemoLog log;
    log.logCursor(0, {0.5, 0.5});
    log.logCursor(0.1, {0.25, std::numeric_limits<double>::infinity()});
    log.logClick(0.2, {0.25, 0.75});
    log.caption("Größe \xff", 0.5); // invalid UTF-8 must not throw
    log.clearCaption(1.0);

    // Non-finite numbers come out as 0, not as null.
    EXPECT_EQ(Json::parse(log.eventsJson(std::numeric_limits<double>::quiet_NaN())),
              Json::parse(R"({"version": 1, "duration": 0, "cursor": [[0, 0.5, 0.5], [0.1, 0.25, 0]],
                  "clicks": [[0.2, 0.25, 0.75]]})"));

    const std::string captionsText = log.captionsJson();
    EXPECT_LT(captionsText.find("\"end\""), captionsText.find("\"start\""));
    EXPECT_LT(captionsText.find("\"start\""), captionsText.find("\"text\""));
    EXPECT_EQ(Json::parse(captionsText),
              Json::parse(R"([{"end": 1.0, "start": 0.5, "text": "Größe \ufffd"}])"));
    EXPECT_EQ(DemoLog{}.captionsJson(), "[]");

    const auto project = Json::parse(DemoLog::projectJson("Tour", "2026-11-23T16:20:00Z", 2.5, 1280, 800));
    EXPECT_EQ(project, Json::parse(R"({"name": "Tour", "created": "2026-11-23T16:20:00Z", "duration": 2.5,
        "width": 1280, "height": 800, "hasCamera": false, "cameraOffset": 0, "hasAudio": false,
        "settings": {}})"));
}

} // namespace
} // namespace brivel::test
