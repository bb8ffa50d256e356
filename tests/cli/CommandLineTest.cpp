#include "support/ScratchDirectory.h"

#include <gtest/gtest.h>

#include <QProcess>
#include <QProcessEnvironment>
#include <string>

namespace vitrek::cli {
namespace {

// The real program with its standard output on a full disk: a short document fails only when it is
// flushed at the end, the card's image already while it is written.
TEST(CommandLineTest, SaysWhenStandardOutputCannotBeWritten) {
    const test::ScratchDirectory scratch("vitrek-full");
    const QString log = QStringLiteral(VITREK_TEST_DATA "/pmset/one-night-maintenance-wake.log");
    const QStringList rows[] = {
        {"report", "--log", log},
        {"nights", "--log", log, "--now", "2024-03-05T12:00:00+01:00", "--json"},
        {"card", "--demo", "--out", "-"},
        {"--version"},
    };
    auto environment = QProcessEnvironment::systemEnvironment();
    const QString home = QString::fromStdString(scratch.path().string());
    environment.insert("VITREK_DATA_DIR", home + "/data");
    environment.insert("XDG_CONFIG_HOME", home + "/config");
    environment.insert("XDG_CACHE_HOME", home + "/cache");
    environment.insert("XDG_RUNTIME_DIR", home);
    environment.insert("QT_QPA_PLATFORM", "offscreen");
    for (const auto& arguments : rows) {
        const std::string command = arguments[0].toStdString();
        QProcess process;
        process.setProcessEnvironment(environment);
        process.setStandardOutputFile("/dev/full");
        process.start(QStringLiteral(VITREK_EXECUTABLE), arguments);
        ASSERT_TRUE(process.waitForFinished(60'000)) << command;
        EXPECT_EQ(process.exitStatus(), QProcess::NormalExit) << command;
        EXPECT_EQ(process.exitCode(), 1) << command;
        EXPECT_EQ(process.readAllStandardError().toStdString(),
                  "vitrek: " + command + ": cannot write to standard output: No space left on device\n");
    }
}

} // namespace
} // namespace vitrek::cli
