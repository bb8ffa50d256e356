#pragma once

#include <QImage>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

namespace brivel {

// Writes a QuickTime movie with one H.264 stream (libx264) from BGRA frames stamped with their real
// presentation time. Encoding runs on one thread of its own fed through a small bounded queue, so the
// thread that appends never waits for the encoder: when the queue is full the frame is dropped and
// counted.
class VideoWriter {
public:
    struct Settings {
        int width = 0;              // pixels, even
        int height = 0;             // pixels, even
        int fps = 30;               // nominal rate; also the longest distance between key frames, in frames
        std::int64_t bitRate = 0;   // average bits per second; width × height × 8 when 0
    };

    ~VideoWriter();
    VideoWriter(const VideoWriter&) = delete;
    VideoWriter& operator=(const VideoWriter&) = delete;

    // Opens `path` (replacing it) and starts the encoder thread; absent with `error` set when the file,
    // the container or the encoder can't be set up.
    static std::unique_ptr<VideoWriter> open(const std::filesystem::path& path, const Settings& settings,
                                             std::string& error);

    // Queues `frame` (Format_ARGB32 or Format_ARGB32_Premultiplied, exactly width × height) to be shown at
    // `seconds` after the start. Times must increase; a frame no later than the previous one is refused.
    // False when the frame was dropped (queue full, wrong size or format, writer finished or failed).
    bool append(const QImage& frame, double seconds);

    // Encodes what is queued, flushes the encoder and closes the file. Nothing is empty when it worked,
    // else the reason. Further appends are refused.
    std::optional<std::string> finish();

    // Frames handed to the encoder so far, and frames dropped because the queue was full.
    std::size_t framesEncoded() const;
    std::size_t framesDropped() const;
    // CPU time the encoder thread has used so far, in seconds.
    double encoderCpuSeconds() const;

private:
    struct State;
    explicit VideoWriter(std::unique_ptr<State> state);
    std::unique_ptr<State> m_state;
};

} // namespace brivel
