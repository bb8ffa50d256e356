#pragma once

#include <array>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace brivel {

// A rectangle in global coordinates, y growing downwards (Qt's convention), in points.
struct DemoRect {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;
    bool operator==(const DemoRect&) const = default;
};

struct DemoPoint {
    double x = 0;
    double y = 0;
    bool operator==(const DemoPoint&) const = default;
};

// The recorder's arithmetic, free of any window or clock.
namespace DemoMath {

constexpr double kMaxVideoWidth = 2560;

// Pixels per point: the screen's scale, but never so much that the video is wider than 2,560 pixels; a
// region 1 point wide or less gets min(screen scale, 2,560).
double scale(double regionWidth, double screenScale);

// The video's size in pixels: each side × scale, rounded down to an even number.
std::pair<int, int> pixelSize(double regionWidth, double regionHeight, double scale);

// Cubic ease-in-out of p in 0…1: 4p³ below 0.5, else 1 − (2 − 2p)³ / 2.
double ease(double p);

// Whether a frame at `elapsed` may follow the one written at `lastFrameTime`: not within half a frame.
bool shouldCapture(double elapsed, double lastFrameTime, int fps);

// The pause after typing `character`: 1.6 × perCharacter after a space, else perCharacter.
double typingPause(char32_t character, double perCharacter);

// The cursor's position as fractions of the region, (0, 0) being its top-left corner.
DemoPoint fractionOf(DemoPoint cursor, const DemoRect& region);

// The number of steps of a cursor motion: max(⌊duration × fps⌋, 1).
int motionSteps(double duration, int fps);

} // namespace DemoMath

// What a recording logs besides the video: the cursor path, the clicks and the captions; and the three
// JSON files of the project folder.
class DemoLog {
public:
    struct Caption {
        double start = 0;
        double end = 0;
        std::string text;
        bool operator==(const Caption&) const = default;
    };

    // [time, x, y]: seconds since the start, and fractions of the region.
    using Entry = std::array<double, 3>;

    void logCursor(double time, DemoPoint fraction);
    void logClick(double time, DemoPoint fraction);

    // Closes any open caption, then opens `text` at `time`.
    void caption(const std::string& text, double time);
    // Closes the open caption at `time`, keeping it only if it lasted more than 0.2 s.
    void clearCaption(double time);

    const std::vector<Entry>& cursorLog() const { return m_cursorLog; }
    const std::vector<Entry>& clicks() const { return m_clicks; }
    const std::vector<Caption>& captions() const { return m_captions; }
    const std::optional<std::pair<double, std::string>>& openCaption() const { return m_openCaption; }

    // "events.json": {"version": 1, "duration", "cursor", "clicks"}, pretty-printed.
    std::string eventsJson(double duration) const;
    // "captions.json": [{"end", "start", "text"}…], pretty-printed with sorted keys.
    std::string captionsJson() const;
    // "project.json": name, created (ISO 8601, UTC, e.g. "2026-11-23T16:20:00Z"), duration, width, height,
    // hasCamera false, cameraOffset 0, hasAudio false, settings {}; pretty-printed.
    static std::string projectJson(const std::string& name, const std::string& created, double duration,
                                   int width, int height);

private:
    std::vector<Entry> m_cursorLog;
    std::vector<Entry> m_clicks;
    std::vector<Caption> m_captions;
    std::optional<std::pair<double, std::string>> m_openCaption;
};

} // namespace brivel
