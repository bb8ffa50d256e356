#include "Demo/DemoRecorder.h"

#include "Brivel.h"
#include "Demo/DemoAnchors.h"
#include "Demo/VideoWriter.h"

#include <QApplication>
#include <QDateTime>
#include <QGuiApplication>
#include <QLinearGradient>
#include <QPainter>
#include <QScreen>
#include <QThreadPool>
#include <QTimer>
#include <QWidget>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <system_error>
#include <type_traits>
#include <vector>

namespace brivel {
namespace {

constexpr double kDefaultScreenScale = 2.0;
constexpr double kClickSettle = 0.12;   // from arriving to pressing
constexpr double kClickRelease = 0.18;  // from pressing to the next step
// Enough for the encoder's queue and the frame it is working on, so a free one is always at hand.
constexpr std::size_t kPooledFrames = 8;

// Runs `work` on a worker thread and resumes the awaiting coroutine on the main thread with its result.
template <typename Work>
struct OffMainThread {
    Work work;
    std::invoke_result_t<Work> result{};

    bool await_ready() const noexcept { return false; }
    void await_suspend(std::coroutine_handle<> handle) {
        QThreadPool::globalInstance()->start([this, handle] {
            result = work();
            QMetaObject::invokeMethod(QCoreApplication::instance(), [handle] { handle.resume(); }, Qt::QueuedConnection);
        });
    }
    std::invoke_result_t<Work> await_resume() { return std::move(result); }
};

double screenScale(const QRectF& region) {
    const QRect area = region.toAlignedRect();
    for (const QScreen* screen : QGuiApplication::screens()) {
        if (screen->geometry().intersects(area)) {
            return screen->devicePixelRatio();
        }
    }
    return kDefaultScreenScale;
}

QImage gradient(QSize size, const QList<QColor>& colours) {
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    QPainter painter(&image);
    QLinearGradient fill(0, 0, size.width(), size.height());
    for (qsizetype i = 0; i < colours.size(); ++i) {
        fill.setColorAt(colours.size() == 1 ? 0.0 : double(i) / double(colours.size() - 1), colours[i]);
    }
    painter.fillRect(image.rect(), fill);
    return image;
}

void writeFile(const std::filesystem::path& path, const std::string& text) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << text << '\n';
    if (!file.flush()) {
        throw DemoRecorder::Failure::writer("Couldn’t write " + path.string() + ".");
    }
}

} // namespace

DemoRecorder::DemoRecorder(std::filesystem::path folder, const QRectF& region, int fps, QList<QColor> backdrop)
    : m_folder(std::move(folder)),
      m_region(region),
      m_fps(fps > 0 ? fps : 30),
      m_backdrop(backdrop.isEmpty() ? Brivel::brand() : std::move(backdrop)),
      m_cursor(region.center()) {
    m_scale = DemoMath::scale(region.width(), screenScale(region));
    const auto [width, height] = DemoMath::pixelSize(region.width(), region.height(), m_scale);
    if (width < 2 || height < 2) {
        throw Failure::writer("The region is too small to record.");
    }
    m_pixelSize = QSize(width, height);

    std::error_code error;
    std::filesystem::create_directories(m_folder, error);
    if (error) {
        throw Failure::writer("Couldn’t create " + m_folder.string() + ": " + error.message());
    }
    std::filesystem::remove(m_folder / "raw.mov", error);
    std::string reason;
    m_writer = VideoWriter::open(m_folder / "raw.mov", VideoWriter::Settings{width, height, m_fps, 0}, reason);
    if (!m_writer) {
        throw Failure::writer(reason);
    }
    m_backdropImage = gradient(m_pixelSize, m_backdrop);
    for (std::size_t i = 0; i < kPooledFrames; ++i) {
        m_framePool.push_back(m_backdropImage.copy());
    }
    // The first rendering of a window fills Qt's caches (glyphs, style pixmaps); done here, it doesn't
    // stall the recording's first frames.
    (void)compose();
}

DemoRecorder::~DemoRecorder() = default;

void DemoRecorder::start() {
    if (m_startTime) {
        return;
    }
    m_startTime = Clock::now();
    logCursor();
    captureFrame();
    m_timer = new QTimer(this);
    m_timer->setTimerType(Qt::PreciseTimer);
    m_timer->setInterval(std::max(1, int(1000 / m_fps)));
    connect(m_timer, &QTimer::timeout, this, &DemoRecorder::captureFrame);
    m_timer->start();
}

double DemoRecorder::elapsed() const {
    return m_startTime ? std::chrono::duration<double>(Clock::now() - *m_startTime).count() : 0.0;
}

void DemoRecorder::setRegion(const QRectF& region) { m_region = region; }

double DemoRecorder::encoderCpuSeconds() const { return m_writer ? m_writer->encoderCpuSeconds() : 0.0; }

void DemoRecorder::logCursor() {
    const DemoRect region{m_region.x(), m_region.y(), m_region.width(), m_region.height()};
    m_log.logCursor(elapsed(), DemoMath::fractionOf(DemoPoint{m_cursor.x(), m_cursor.y()}, region));
}

QPointF DemoRecorder::anchorCentre(const QString& anchor) const {
    const auto frame = DemoAnchors::shared().frame(anchor);
    if (!frame) {
        throw Failure::noAnchor(anchor.toStdString());
    }
    return frame->center();
}

std::optional<QImage> DemoRecorder::compose() {
    // Only this program's own windows are drawn, over the backdrop; nothing else on the screen can appear.
    std::vector<QWidget*> windows;
    for (QWidget* window : QApplication::topLevelWidgets()) {
        if (window->isVisible() && !window->isMinimized() && window->frameGeometry().intersects(m_region.toAlignedRect())) {
            windows.push_back(window);
        }
    }
    if (windows.empty()) {
        return std::nullopt;
    }
    // The active window goes last so that it is drawn on top, as on the screen.
    std::stable_partition(windows.begin(), windows.end(), [](QWidget* window) { return !window->isActiveWindow(); });

    auto free = std::find_if(m_framePool.begin(), m_framePool.end(), [](QImage& image) { return image.isDetached(); });
    if (free == m_framePool.end()) {
        free = m_framePool.insert(m_framePool.end(), m_backdropImage.copy());
    } else {
        std::memcpy(free->bits(), m_backdropImage.constBits(), std::size_t(m_backdropImage.sizeInBytes()));
    }
    // Painted in place: a second handle would make the painter copy the frame.
    QPainter painter(&*free);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.scale(m_pixelSize.width() / m_region.width(), m_pixelSize.height() / m_region.height());
    painter.translate(-m_region.topLeft());
    // Each window draws itself straight into the frame: no picture of it is made first, which would be a
    // fresh allocation of megabytes on every tick.
    for (QWidget* window : windows) {
        if (window->size().isEmpty()) {
            return std::nullopt;
        }
        painter.save();
        painter.translate(window->geometry().topLeft());
        window->render(&painter, QPoint(), QRegion(), QWidget::DrawWindowBackground | QWidget::DrawChildren);
        painter.restore();
    }
    painter.end();
    return *free;
}

void DemoRecorder::captureFrame() {
    if (!m_writer || m_finished || !m_startTime) {
        return;
    }
    const double time = elapsed();
    if (m_framesWritten > 0 && !DemoMath::shouldCapture(time, m_lastFrameTime, m_fps)) {
        return;
    }
    const auto frame = compose();
    if (!frame) {
        ++m_failedCaptures;
        return;
    }
    if (!m_writer->append(*frame, time)) {
        ++m_framesDropped;
        return;
    }
    ++m_framesWritten;
    m_lastFrameTime = time;
}

DemoTask DemoRecorder::wait(double seconds) { co_await DemoSleep{seconds}; }

void DemoRecorder::caption(const QString& text) { m_log.caption(text.toStdString(), elapsed()); }

void DemoRecorder::clearCaption() { m_log.clearCaption(elapsed()); }

DemoTask DemoRecorder::move(QPointF point, double duration) {
    const QPointF from = m_cursor;
    const int steps = DemoMath::motionSteps(duration, m_fps);
    for (int step = 1; step <= steps; ++step) {
        const double progress = double(step) / double(steps);
        m_cursor = step == steps ? point : from + (point - from) * DemoMath::ease(progress);
        logCursor();
        co_await DemoSleep{std::max(duration, 0.0) / steps};
    }
}

DemoTask DemoRecorder::move(QString anchor, double duration) {
    co_await move(anchorCentre(anchor), duration);
}

DemoTask DemoRecorder::click(QString anchor, double duration) {
    co_await click(anchorCentre(anchor), duration);
}

DemoTask DemoRecorder::click(QPointF point, double duration) {
    co_await move(point, duration);
    co_await DemoSleep{kClickSettle};
    const DemoRect region{m_region.x(), m_region.y(), m_region.width(), m_region.height()};
    m_log.logClick(elapsed(), DemoMath::fractionOf(DemoPoint{m_cursor.x(), m_cursor.y()}, region));
    co_await DemoSleep{kClickRelease};
}

DemoTask DemoRecorder::type(QString text, std::function<void(const QString&)> into, double perCharacter) {
    qsizetype index = 0;
    while (index < text.size()) {
        // A character outside the basic plane is two UTF-16 units; it is typed as one.
        const bool pair = text[index].isHighSurrogate() && index + 1 < text.size() && text[index + 1].isLowSurrogate();
        const char32_t character = pair ? QChar::surrogateToUcs4(text[index], text[index + 1]) : text[index].unicode();
        index += pair ? 2 : 1;
        into(text.left(index));
        co_await DemoSleep{DemoMath::typingPause(character, perCharacter)};
    }
}

DemoTask DemoRecorder::finish(QString name) {
    clearCaption();
    if (m_timer != nullptr) {
        m_timer->stop();
    }
    m_finished = true;
    // Flushing waits for the encoder to drain its queue; off the main thread, the interface keeps drawing.
    VideoWriter* writer = m_writer.get();
    auto flushed = co_await OffMainThread<std::function<std::optional<std::string>()>>{
        [writer] { return writer->finish(); }};
    if (m_framesWritten == 0) {
        throw Failure::writer("No frames were captured (" + std::to_string(m_failedCaptures) +
                              " failed). Is the window on screen inside the region?");
    }
    if (flushed) {
        throw Failure::writer(*flushed);
    }
    const double duration = elapsed();
    writeFile(m_folder / "events.json", m_log.eventsJson(duration));
    writeFile(m_folder / "captions.json", m_log.captionsJson());
    writeFile(m_folder / "project.json",
              DemoLog::projectJson(name.toStdString(),
                                   QDateTime::currentDateTimeUtc().toString(Qt::ISODate).toStdString(), duration,
                                   m_pixelSize.width(), m_pixelSize.height()));
}

} // namespace brivel
