#pragma once

#include "Demo/DemoLog.h"
#include "Demo/DemoTask.h"

#include <QColor>
#include <QImage>
#include <QList>
#include <QObject>
#include <QPointF>
#include <QRectF>
#include <QSize>
#include <QString>

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

class QTimer;

namespace brivel {

class VideoWriter;

// Records a scripted demo of this program's own windows: a video of the windows inside `region` over a
// gradient backdrop, and logs of a virtual cursor, its clicks and the captions, into a project folder
// ("raw.mov", "events.json", "captions.json", "project.json") for a later editing step. Main thread only;
// the encoding runs on a thread of its own.
//
// Coordinates are Qt's global ones, in points with y growing downwards; the logs give positions as
// fractions of the region with (0, 0) at its top-left corner.
class DemoRecorder : public QObject {
    Q_OBJECT

public:
    using Caption = DemoLog::Caption;

    // A failure of the recorder, with the text to show.
    struct Failure : std::runtime_error {
        enum class Kind { writer, noAnchor };
        Kind kind;
        Failure(Kind kind, const std::string& message) : std::runtime_error(message), kind(kind) {}
        static Failure writer(const std::string& message) { return Failure(Kind::writer, message); }
        static Failure noAnchor(const std::string& id) { return Failure(Kind::noAnchor, "demo: no anchor " + id); }
    };

    // Creates `folder` (and the folders above it), removes an old "raw.mov" and opens the movie. The screen
    // scale is the device pixel ratio of the first screen that intersects `region`, else 2. An empty
    // backdrop uses the kit's brand colours. Throws Failure::writer when the folder or the movie can't be
    // made.
    DemoRecorder(std::filesystem::path folder, const QRectF& region, int fps = 30, QList<QColor> backdrop = {});
    ~DemoRecorder() override;

    // Starts the media clock, logs the cursor, captures a first frame and then one every 1/fps s.
    void start();
    // Seconds since `start`, 0 before it.
    double elapsed() const;
    // Moves the recorded region (the video keeps its pixel size).
    void setRegion(const QRectF& region);

    DemoTask wait(double seconds);
    void caption(const QString& text);
    void clearCaption();
    // Eases the cursor to `point` (or an anchor's centre) over `duration` seconds, logging each step.
    // An unknown anchor throws Failure::noAnchor.
    DemoTask move(QPointF point, double duration = 0.6);
    DemoTask move(QString anchor, double duration = 0.6);
    // Moves there, waits 0.12 s, logs the click, waits 0.18 s.
    DemoTask click(QString anchor, double duration = 0.5);
    DemoTask click(QPointF point, double duration = 0.5);
    // Hands each growing prefix of `text` to `into`, pausing `perCharacter` seconds after each character
    // (1.6 times that after a space).
    DemoTask type(QString text, std::function<void(const QString&)> into, double perCharacter = 0.08);
    // Ends the recording and writes the project files. Throws Failure::writer when no frame was captured
    // (with the count of failed captures) or a file can't be written.
    DemoTask finish(QString name);

    // One tick of the frame timer: captures and appends a frame unless the last one is less than half a
    // frame old. Public so that timing can be tested tick by tick.
    void captureFrame();

    const std::filesystem::path& folder() const { return m_folder; }
    const QRectF& region() const { return m_region; }
    int fps() const { return m_fps; }
    double scale() const { return m_scale; }
    QSize pixelSize() const { return m_pixelSize; }
    int framesWritten() const { return m_framesWritten; }
    int failedCaptures() const { return m_failedCaptures; }
    // Frames the encoder could not take in time (its queue was full).
    int framesDropped() const { return m_framesDropped; }
    QPointF cursor() const { return m_cursor; }
    const DemoLog& log() const { return m_log; }
    // The encoder thread's CPU time so far, in seconds.
    double encoderCpuSeconds() const;

private:
    using Clock = std::chrono::steady_clock;

    void logCursor();
    QPointF anchorCentre(const QString& anchor) const;
    std::optional<QImage> compose();

    std::filesystem::path m_folder;
    QRectF m_region;
    int m_fps = 30;
    double m_scale = 1;
    QList<QColor> m_backdrop;
    std::unique_ptr<VideoWriter> m_writer;
    QSize m_pixelSize;
    std::optional<Clock::time_point> m_startTime;
    double m_lastFrameTime = 0;
    QTimer* m_timer = nullptr;
    int m_failedCaptures = 0;
    int m_framesWritten = 0;
    int m_framesDropped = 0;
    QPointF m_cursor;
    DemoLog m_log;
    QImage m_backdropImage;   // the gradient at the pixel size, drawn once
    // Frames are reused once the encoder has let go of them: a fresh frame of several megabytes each tick
    // costs page faults on the main thread.
    std::vector<QImage> m_framePool;
    bool m_finished = false;
};

} // namespace brivel
