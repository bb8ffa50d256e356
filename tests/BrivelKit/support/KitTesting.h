#pragma once

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QProcess>
#include <QTimer>
#include <functional>

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

// Runs `program` to its end and returns what it printed; not finishing or failing fails the test.
inline QByteArray runProcess(const QString& program, const QStringList& arguments) {
    QProcess process;
    process.start(program, arguments);
    EXPECT_TRUE(process.waitForFinished(60'000)) << program.toStdString();
    EXPECT_EQ(process.exitCode(), 0) << process.readAllStandardError().toStdString();
    return process.readAllStandardOutput();
}

} // namespace brivel::test
