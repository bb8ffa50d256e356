#include "shell/Launch.h"
#include "support/Program.h"
#include "support/ScratchDirectory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

namespace vitrek {
namespace {

namespace fs = std::filesystem;

// A copy of `vitrek` on its own still prints, and says in one line that it cannot draw.
TEST(WindowProgramTest, WithoutTheWindowProgramBesideItOnlyTheDrawingFails) {
    test::ScratchDirectory scratch{"vitrek-alone"};
    const auto alone = scratch.path() / "vitrek";
    fs::copy_file(VITREK_EXECUTABLE, alone);

    const QString program = QString::fromStdString(alone.string());
    const auto version = test::runProgram(program, {"--version"});
    EXPECT_EQ(version.status, 0);
    EXPECT_EQ(version.out, "vitrek " VITREK_VERSION "\n");

    const auto card = test::runProgram(
        program, {"card", "--out", QString::fromStdString((scratch.path() / "card.png").string())});
    EXPECT_EQ(card.status, 2);
    EXPECT_NE(card.err.find("vitrek-window"), std::string::npos) << card.err;
    EXPECT_EQ(std::count(card.err.begin(), card.err.end(), '\n'), 1) << card.err;
    EXPECT_FALSE(fs::exists(scratch.path() / "card.png"));

    // The login entry names the program people start, not the windowed one it hands over to.
    const auto window = fs::path(VITREK_EXECUTABLE).parent_path() / "vitrek-window";
    EXPECT_EQ(frontProgram(window.string()), VITREK_EXECUTABLE);
    const auto lone = (scratch.path() / "elsewhere" / "vitrek-window").string();
    EXPECT_EQ(frontProgram(lone), lone);
}

// The recorder lives in a program of its own: it records the demo machine's window into a project folder.
TEST(WindowProgramTest, TheDemoProgramRecordsATourOfTheWindow) {
    test::ScratchDirectory scratch{"vitrek-demo"};
    const auto project = scratch.path() / "tour";
    const auto demo = test::runProgram(VITREK_DEMO_PROGRAM, {QString::fromStdString(project.string())},
                                       test::programEnvironment(scratch.path()));
    ASSERT_EQ(demo.status, 0) << demo.err;
    // The kit's own tests check the logs the recording ends with; one shows this one reached its end.
    EXPECT_GT(fs::file_size(project / "raw.mov"), 10'000u);
    EXPECT_TRUE(fs::exists(project / "project.json"));
    EXPECT_FALSE(fs::exists(scratch.path() / "data")) << "the demo machine writes no data";
}

} // namespace
} // namespace vitrek
