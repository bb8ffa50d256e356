#include "cli/ManualCheck.h"

#include <gtest/gtest.h>

#include <QProcess>

namespace vitrek {
namespace {

// The drawing commands answer --help before any window system starts; the program itself is asked, as
// their code lives in the executable's drawing library.
TEST(DrawingManualTest, DocumentsEveryOptionOfTheDrawingCommands) {
    const std::string manual = test::manualText();
    ASSERT_FALSE(manual.empty()) << VITREK_MANUAL;
    for (const char* command : {"card", "selftest", "snapshot"}) {
        QProcess process;
        process.start(QStringLiteral(VITREK_EXECUTABLE),
                      {QString::fromUtf8(command), QStringLiteral("--help")});
        ASSERT_TRUE(process.waitForFinished(30'000)) << command;
        EXPECT_EQ(process.exitCode(), 0) << command;
        const std::string help = process.readAllStandardOutput().toStdString();
        EXPECT_TRUE(help.starts_with(std::string("usage: vitrek ") + command)) << help;
        test::expectDocumented(manual, command, help);
    }
}

} // namespace
} // namespace vitrek
