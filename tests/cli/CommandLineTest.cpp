#include "support/Program.h"

#include <gtest/gtest.h>

#include <QProcess>
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
    const auto environment = test::programEnvironment(scratch.path());
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
