#pragma once

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QProcess>
#include <QTimer>
#include <csignal>
#include <cstdint>
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

} // namespace brivel::test
