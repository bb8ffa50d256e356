#pragma once

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sys/resource.h>

#include <QColor>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QImage>
#include <QProcess>
#include <QTimer>
#include <algorithm>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>

namespace brivel::test {

// Runs the main thread's event loop until `condition` holds; false when `milliseconds` pass first.
inline bool waitFor(const std::function<bool()>& condition, int milliseconds = 20'000) {
    QTimer tick; // wakes the wait below even when nothing else happens
    tick.start(5);
    QElapsedTimer elapsed;
    elapsed.start();
    while (!condition()) {
        if (elapsed.hasExpired(milliseconds)) {
            return false;
        }
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    return true;
}

// Lets the event loop run for a while, for checks that something does not happen.
inline void settle(int milliseconds = 300) {
    (void)waitFor([] { return false; }, milliseconds);
}

// Bytes that don't compress, so most of an archive holding them is compressed data.
inline std::string noise(std::size_t size) {
    std::string bytes(size, '\0');
    std::uint32_t state = 12345;
    for (char& byte : bytes) {
        state = state * 1664525u + 1013904223u;
        byte = static_cast<char>(state >> 24);
    }
    return bytes;
}

// Caps the size of the files this process and the children it starts write, so writing fails the way it
// does on a full disk.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes) : m_savedSignal(std::signal(SIGXFSZ, SIG_IGN)) {
        ::getrlimit(RLIMIT_FSIZE, &m_saved);
        const rlimit limit{bytes, m_saved.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit() {
        ::setrlimit(RLIMIT_FSIZE, &m_saved);
        std::signal(SIGXFSZ, m_savedSignal);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

private:
    void (*m_savedSignal)(int);
    rlimit m_saved{};
};

// Runs `program` to its end and returns what it printed; not finishing or failing fails the test.
inline QByteArray runProcess(const QString& program, const QStringList& arguments) {
    QProcess process;
    process.start(program, arguments);
    EXPECT_TRUE(process.waitForFinished(60'000)) << program.toStdString();
    EXPECT_EQ(process.exitCode(), 0) << process.readAllStandardError().toStdString();
    return process.readAllStandardOutput();
}

// What ffprobe reads of `movie`: the container's format_name and duration, and each stream's codec_name,
// width, height and nb_frames; an empty object when it reads nothing.
inline nlohmann::json probeMovie(const std::filesystem::path& movie) {
    const QByteArray json =
        runProcess("ffprobe", {"-v", "error", "-show_entries",
                               "stream=codec_name,width,height,nb_frames:format=format_name,duration", "-of",
                               "json", QString::fromStdString(movie.string())});
    const auto info = nlohmann::json::parse(json.toStdString(), nullptr, false);
    return info.is_object() ? info : nlohmann::json::object();
}

// The frames of the movie's first stream; -1 when there is none.
inline long frameCount(const std::filesystem::path& movie) {
    return std::stol(probeMovie(movie).value(nlohmann::json::json_pointer("/streams/0/nb_frames"), "-1"));
}

// The frame ffmpeg shows at `seconds` into `movie`, when it has `size`; a null image otherwise.
inline QImage movieFrame(const std::filesystem::path& movie, double seconds, QSize size) {
    const QByteArray rgb = runProcess("ffmpeg", {"-v", "error", "-ss", QString::number(seconds, 'f', 3), "-i",
                                                 QString::fromStdString(movie.string()), "-frames:v", "1",
                                                 "-f", "rawvideo", "-pix_fmt", "rgb24", "-"});
    if (rgb.size() != size.width() * size.height() * 3) {
        return {};
    }
    return QImage(reinterpret_cast<const uchar*>(rgb.constData()), size.width(), size.height(),
                  size.width() * 3, QImage::Format_RGB888)
        .copy();
}

// The largest difference between the colours' channels.
inline int colourDistance(const QColor& one, const QColor& other) {
    return std::max({std::abs(one.red() - other.red()), std::abs(one.green() - other.green()),
                     std::abs(one.blue() - other.blue())});
}

} // namespace brivel::test
