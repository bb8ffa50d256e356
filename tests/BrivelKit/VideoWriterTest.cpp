#include "Demo/VideoWriter.h"

#include "support/KitTesting.h"
#include "support/ScratchDirectory.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <QColor>
#include <QImage>
#include <algorithm>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

namespace brivel::test {
namespace {

using Json = nlohmann::json;

constexpr int kFps = 30;

QImage solid(int width, int height, const QColor& colour, QImage::Format format = QImage::Format_ARGB32) {
    QImage image(width, height, format);
    image.fill(colour);
    return image;
}

// Each test writes "raw.mov" in a scratch folder of its own.
class VideoWriterTest : public ::testing::Test {
protected:
    void open(int width, int height) {
        std::string error;
        writer = VideoWriter::open(movie, VideoWriter::Settings{width, height, kFps, 0}, error);
        ASSERT_TRUE(writer) << error;
    }

    vitrek::test::ScratchDirectory folder{"video-writer"};
    std::filesystem::path movie = folder.path() / "raw.mov";
    std::unique_ptr<VideoWriter> writer;
};

// Lets the encoder catch up until at most two frames wait, so the next append can't find the queue full.
void waitForEncoder(const VideoWriter& writer, std::size_t accepted) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (writer.framesEncoded() + 2 < accepted && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

TEST_F(VideoWriterTest, WritesAnH264MovieThatKeepsTheFramesTimes) {
    ASSERT_NO_FATAL_FAILURE(open(320, 240));

    // Red for the first second, blue after, a few milliseconds off the nominal rate, and frames 10 to 12
    // missing: a writer that counted frames instead of reading their times would turn blue at 0.9 s and end
    // early. Frames 57 and 58 are missing too, so the last frame's length can't come from the gap before it.
    const QColor red(220, 30, 30);
    const QColor blue(30, 30, 220);
    // The blue frames are a window into a wider green buffer: a writer that ignored the line stride would
    // read green at the centre.
    constexpr int kStride = 1000;
    std::vector<QRgb> buffer(std::size_t{kStride} * 240, qRgb(0, 200, 0));
    for (int y = 0; y < 240; ++y) {
        std::fill_n(buffer.begin() + y * kStride, 320, blue.rgb());
    }
    const QImage blueFrame(reinterpret_cast<const uchar*>(buffer.data()), 320, 240, kStride * 4,
                           QImage::Format_ARGB32);
    const QImage redFrame = solid(320, 240, red);
    std::size_t accepted = 0;
    double last = 0;
    for (int index = 0; index < 2 * kFps; ++index) {
        if ((index >= 10 && index <= 12) || index == 57 || index == 58) {
            continue;
        }
        const double jitter = index == 2 * kFps - 1 ? 0.0 : ((index * 7) % 5 - 2) * 0.002;
        last = std::max(0.0, double(index) / kFps + jitter);
        waitForEncoder(*writer, accepted);
        ASSERT_TRUE(writer->append(index < kFps ? redFrame : blueFrame, last)) << "frame " << index;
        ++accepted;
    }
    EXPECT_EQ(writer->finish(), std::nullopt);
    EXPECT_EQ(writer->framesEncoded(), accepted);
    EXPECT_GT(writer->encoderCpuSeconds(), 0.0);

    const Json info = probeMovie(movie);
    EXPECT_EQ(info["streams"], Json::array({{{"codec_name", "h264"},
                                             {"width", 320},
                                             {"height", 240},
                                             {"nb_frames", std::to_string(accepted)}}}));
    EXPECT_NE(info["format"].value("format_name", "").find("mov"), std::string::npos);
    EXPECT_NEAR(std::stod(info["format"].value("duration", "0")), last + 1.0 / kFps, 0.05);
    for (const auto& [seconds, colour] : {std::pair{0.95, red}, {1.05, blue}}) {
        const QImage frame = movieFrame(movie, seconds, QSize(320, 240));
        ASSERT_FALSE(frame.isNull()) << seconds;
        EXPECT_LE(colourDistance(frame.pixelColor(160, 120), colour), 24) << "at " << seconds << " s";
    }
}

TEST_F(VideoWriterTest, RefusesFramesOfTheWrongShapeOrTimeAndAfterFinishing) {
    ASSERT_NO_FATAL_FAILURE(open(64, 48));
    const QImage good = solid(64, 48, Qt::green, QImage::Format_ARGB32_Premultiplied);
    ASSERT_TRUE(writer->append(good, 1.0));

    const struct {
        const char* what;
        QImage frame;
        double seconds;
        bool accepted;
    } cases[] = {
        {"wider", solid(66, 48, Qt::green), 2.0, false},
        {"shorter", solid(64, 46, Qt::green), 2.0, false},
        {"no alpha channel", solid(64, 48, Qt::green, QImage::Format_RGB888), 2.0, false},
        {"the same time", good, 1.0, false},
        {"an earlier time", good, 0.5, false},
        {"within a microsecond", good, 1.0000004, false},
        {"later", good, 1.1, true},
    };
    for (const auto& item : cases) {
        EXPECT_EQ(writer->append(item.frame, item.seconds), item.accepted) << item.what;
    }
    EXPECT_EQ(writer->finish(), std::nullopt);
    EXPECT_FALSE(writer->append(good, 5.0)) << "after finishing";
    EXPECT_EQ(writer->finish(), std::nullopt) << "finishing twice";
    EXPECT_EQ(writer->framesDropped(), 0u) << "a refusal isn't a drop";
    EXPECT_EQ(frameCount(movie), 2);
}

TEST_F(VideoWriterTest, AFullQueueDropsFramesInsteadOfWaitingAndDestroyingStillCompletesTheMovie) {
    ASSERT_NO_FATAL_FAILURE(open(1280, 800));
    const QImage frame = solid(1280, 800, QColor(90, 120, 200));
    constexpr std::size_t kAppended = 40;
    std::size_t accepted = 0;
    for (std::size_t index = 0; index < kAppended; ++index) {
        accepted += writer->append(frame, double(index) / kFps) ? 1 : 0;
    }
    EXPECT_GT(writer->framesDropped(), 0u);
    EXPECT_EQ(accepted + writer->framesDropped(), kAppended);
    writer.reset(); // unfinished
    EXPECT_EQ(frameCount(movie), long(accepted));
}

TEST_F(VideoWriterTest, AWriteFailureRefusesLaterFramesAndIsReportedByFinish) {
    ASSERT_NO_FATAL_FAILURE(open(320, 240));
    const FileSizeLimit limit(4096);
    // Two kinds of noise in turn make every frame large, so the output buffer soon reaches the disk.
    const std::string bytes = noise(2 * 320 * 240 * 4);
    const QImage noisy[2] = {
        QImage(reinterpret_cast<const uchar*>(bytes.data()), 320, 240, QImage::Format_ARGB32),
        QImage(reinterpret_cast<const uchar*>(bytes.data()) + 320 * 240 * 4, 320, 240,
               QImage::Format_ARGB32)};
    bool refused = false;
    for (int index = 0; index < 10 * kFps && !refused; ++index) {
        const std::size_t dropped = writer->framesDropped();
        refused =
            !writer->append(noisy[index % 2], index / double(kFps)) && writer->framesDropped() == dropped;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    EXPECT_TRUE(refused);
    EXPECT_EQ(writer->finish(), "Couldn’t write " + movie.string() + ": File too large");
}

TEST_F(VideoWriterTest, OpeningFailsWithAOneLineReason) {
    const auto inMissingFolder = folder.path() / "missing" / "raw.mov";
    const struct {
        std::filesystem::path path;
        VideoWriter::Settings settings;
        std::string reason;
    } cases[] = {
        {inMissingFolder,
         {64, 48, kFps, 0},
         "Couldn’t create " + inMissingFolder.string() + ": No such file or directory"},
        {movie,
         {65, 48, kFps, 0},
         "Can’t encode a 65 × 48 video: the width and height must be even and above 0."},
        {movie, {64, 48, 0, 0}, "Can’t encode a video at 0 frames per second."},
    };
    for (const auto& item : cases) {
        std::string error;
        EXPECT_EQ(VideoWriter::open(item.path, item.settings, error), nullptr);
        EXPECT_EQ(error, item.reason);
    }
    EXPECT_FALSE(std::filesystem::exists(movie));
}

} // namespace
} // namespace brivel::test
