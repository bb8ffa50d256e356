#pragma once

#include "support/ScratchDirectory.h"

#include <QProcess>
#include <QProcessEnvironment>
#include <QStringList>
#include <filesystem>
#include <string>

namespace vitrek::test {

// The environment of a program under test: no harness variable of the caller's, drawing off screen, and its
// settings, cache, data, temporary files and socket under `home` (data in home/data).
inline QProcessEnvironment programEnvironment(const std::filesystem::path& home) {
    auto env = QProcessEnvironment::systemEnvironment();
    for (const char* name : {"VITREK_SNAPSHOT_DIR", "VITREK_SNAPSHOT_ONLY", "VITREK_SELFTEST",
                             "VITREK_LIVE_SNAPSHOT_DIR", "VITREK_DEMO_DIR"}) {
        env.remove(name);
    }
    const auto under = [&home](const char* name) { return QString::fromStdString((home / name).string()); };
    env.insert("QT_QPA_PLATFORM", "offscreen");
    env.insert("TMPDIR", QString::fromStdString(home.string()));
    env.insert("XDG_RUNTIME_DIR", QString::fromStdString(home.string()));
    env.insert("XDG_CONFIG_HOME", under("config"));
    env.insert("XDG_CACHE_HOME", under("cache"));
    env.insert("VITREK_DATA_DIR", under("data"));
    return env;
}

// How a program run to its end went: its exit status (-1 when it crashed or ran out of time) and its output.
struct Finished {
    int status = -1;
    std::string out;
    std::string err;
};

inline Finished runProgram(const QString& program, const QStringList& arguments,
                           const QProcessEnvironment& env = QProcessEnvironment::systemEnvironment(),
                           int timeoutMilliseconds = 60'000) {
    QProcess process;
    process.setProcessEnvironment(env);
    process.start(program, arguments);
    const bool ended =
        process.waitForFinished(timeoutMilliseconds) && process.exitStatus() == QProcess::NormalExit;
    if (!ended) {
        process.kill();
        process.waitForFinished();
    }
    return {ended ? process.exitCode() : -1, process.readAllStandardOutput().toStdString(),
            process.readAllStandardError().toStdString()};
}

// How often `part` occurs in `text`.
inline std::size_t occurrences(const std::string& text, const std::string& part) {
    std::size_t found = 0;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++found;
    }
    return found;
}

} // namespace vitrek::test
