#include "Demo/DemoLog.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <limits>

namespace brivel {
namespace {

using Json = nlohmann::json;
// The editing step reads these files by key, but people read them too: keep the keys in the order a
// person expects (version first) where sorting is not required.
using OrderedJson = nlohmann::ordered_json;

constexpr double kMinCaptionDuration = 0.2;
constexpr double kSpacePauseFactor = 1.6;
constexpr int kIndent = 2;

// Infinity and NaN have no JSON form; nlohmann writes them as null, which the editing step would read as
// a missing number. A 0 keeps the file valid and typed.
double finite(double value) {
    return std::isfinite(value) ? value : 0;
}

// Rounds down to an even whole number, clamped to what an int holds; anything not positive is 0. The
// tolerance keeps a product like 2,561 × (2,560 / 2,561), a hair under 2,560, from losing two pixels.
int evenFloor(double value) {
    if (!(value > 0)) {
        return 0;
    }
    constexpr double kLargest = std::numeric_limits<int>::max() - 1;
    return 2 * static_cast<int>(std::floor(std::min(value, kLargest) / 2 + 1e-9));
}

// Invalid UTF-8 in a caption or a name is replaced rather than thrown over: the recording is worth more
// than one bad character.
template <typename Document>
std::string dump(const Document& document) {
    return document.dump(kIndent, ' ', false, Json::error_handler_t::replace);
}

OrderedJson entries(const std::vector<DemoLog::Entry>& log) {
    auto array = OrderedJson::array();
    for (const auto& entry : log) {
        array.push_back(OrderedJson::array({finite(entry[0]), finite(entry[1]), finite(entry[2])}));
    }
    return array;
}

} // namespace

namespace DemoMath {

double scale(double regionWidth, double screenScale) {
    if (regionWidth <= 1) {
        return std::min(screenScale, kMaxVideoWidth);
    }
    return std::min(screenScale, kMaxVideoWidth / regionWidth);
}

std::pair<int, int> pixelSize(double regionWidth, double regionHeight, double scale) {
    return {evenFloor(regionWidth * scale), evenFloor(regionHeight * scale)};
}

double ease(double p) {
    p = std::clamp(p, 0.0, 1.0);
    if (p < 0.5) {
        return 4 * p * p * p;
    }
    const double rest = 2 - 2 * p;
    return 1 - rest * rest * rest / 2;
}

bool shouldCapture(double elapsed, double lastFrameTime, int fps) {
    if (fps <= 0) {
        return true;
    }
    return elapsed - lastFrameTime >= 0.5 / fps;
}

double typingPause(char32_t character, double perCharacter) {
    return character == U' ' ? kSpacePauseFactor * perCharacter : perCharacter;
}

DemoPoint fractionOf(DemoPoint cursor, const DemoRect& region) {
    // Qt's y grows downwards already, so no flip is needed for the top-left corner to be (0, 0).
    DemoPoint fraction;
    if (region.width != 0) {
        fraction.x = (cursor.x - region.x) / region.width;
    }
    if (region.height != 0) {
        fraction.y = (cursor.y - region.y) / region.height;
    }
    return fraction;
}

int motionSteps(double duration, int fps) {
    if (!(duration > 0) || fps <= 0) {
        return 1;
    }
    // A duration written as a decimal (0.7 s) must not lose a step to binary rounding (20.999…).
    const double steps = std::floor(duration * fps + 1e-9);
    if (steps >= std::numeric_limits<int>::max()) {
        return std::numeric_limits<int>::max();
    }
    return std::max(static_cast<int>(steps), 1);
}

} // namespace DemoMath

void DemoLog::logCursor(double time, DemoPoint fraction) {
    m_cursorLog.push_back({time, fraction.x, fraction.y});
}

void DemoLog::logClick(double time, DemoPoint fraction) {
    m_clicks.push_back({time, fraction.x, fraction.y});
}

void DemoLog::caption(const std::string& text, double time) {
    clearCaption(time);
    m_openCaption = std::pair{time, text};
}

void DemoLog::clearCaption(double time) {
    if (!m_openCaption) {
        return;
    }
    // A caption replaced almost at once was never readable; the editor would only flash it.
    if (time - m_openCaption->first > kMinCaptionDuration) {
        m_captions.push_back(Caption{m_openCaption->first, time, std::move(m_openCaption->second)});
    }
    m_openCaption.reset();
}

std::string DemoLog::eventsJson(double duration) const {
    OrderedJson document = OrderedJson::object();
    document["version"] = 1;
    document["duration"] = finite(duration);
    document["cursor"] = entries(m_cursorLog);
    document["clicks"] = entries(m_clicks);
    return dump(document);
}

std::string DemoLog::captionsJson() const {
    // A plain nlohmann object keeps its keys sorted, as the editing step expects of this file.
    auto document = Json::array();
    for (const auto& caption : m_captions) {
        document.push_back(
            {{"start", finite(caption.start)}, {"end", finite(caption.end)}, {"text", caption.text}});
    }
    return dump(document);
}

std::string DemoLog::projectJson(const std::string& name, const std::string& created, double duration,
                                 int width, int height) {
    OrderedJson document = OrderedJson::object();
    document["name"] = name;
    document["created"] = created;
    document["duration"] = finite(duration);
    document["width"] = width;
    document["height"] = height;
    document["hasCamera"] = false;
    document["cameraOffset"] = 0;
    document["hasAudio"] = false;
    document["settings"] = OrderedJson::object();
    return dump(document);
}

} // namespace brivel
