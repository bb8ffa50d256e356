#include "shell/Launch.h"
#include "support/ScratchDirectory.h"

#include <gtest/gtest.h>

#include <QProcess>
#include <algorithm>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

namespace vitrek {
namespace {

namespace fs = std::filesystem;

// The libraries the program asks the loader for, from its dynamic section.
std::vector<std::string> neededLibraries(const std::string& program) {
    QProcess readelf;
    readelf.start("readelf", {"--dynamic", "--wide", QString::fromStdString(program)});
    if (!readelf.waitForFinished(30'000) || readelf.exitCode() != 0) {
        return {};
    }
    std::vector<std::string> needed;
    std::istringstream in(readelf.readAllStandardOutput().toStdString());
    for (std::string line; std::getline(in, line);) {
        const auto open = line.find("(NEEDED)") != std::string::npos ? line.find('[') : std::string::npos;
        if (open != std::string::npos) {
            needed.push_back(line.substr(open + 1, line.find(']', open) - open - 1));
        }
    }
    return needed;
}

// Every mode `vitrek` runs itself (the loop, report, nights, help) links nothing that draws or encodes.
TEST(WindowProgramTest, TheProgramUsersRunNeedsNoWindowingOrVideoLibrary) {
    const auto needed = neededLibraries(VITREK_EXECUTABLE);
    ASSERT_NE(std::find_if(needed.begin(), needed.end(),
                           [](const std::string& name) { return name.starts_with("libQt6Core"); }),
              needed.end())
        << "readelf found no libraries";
    for (const auto& name : needed) {
        for (const char* drawing : {"libQt6Widgets", "libQt6Gui", "libQt6Svg", "libQt6Network", "libav", "libsw"}) {
            EXPECT_FALSE(name.starts_with(drawing)) << name;
        }
    }
}

// A copy of `vitrek` on its own still prints, and says in one line that it cannot draw.
TEST(WindowProgramTest, WithoutTheWindowProgramBesideItOnlyTheDrawingFails) {
    test::ScratchDirectory scratch{"vitrek-alone"};
    const auto alone = scratch.path() / "vitrek";
    fs::copy_file(VITREK_EXECUTABLE, alone);

    QProcess version;
    version.start(QString::fromStdString(alone.string()), {"--version"});
    ASSERT_TRUE(version.waitForFinished(10'000));
    EXPECT_EQ(version.exitCode(), 0);
    EXPECT_EQ(version.readAllStandardOutput().toStdString(), "vitrek " VITREK_VERSION "\n");

    QProcess card;
    card.start(QString::fromStdString(alone.string()),
               {"card", "--out", QString::fromStdString((scratch.path() / "card.png").string())});
    ASSERT_TRUE(card.waitForFinished(10'000));
    EXPECT_EQ(card.exitCode(), 2);
    const auto error = card.readAllStandardError().toStdString();
    EXPECT_NE(error.find("vitrek-window"), std::string::npos) << error;
    EXPECT_EQ(std::count(error.begin(), error.end(), '\n'), 1) << error;
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
    QProcess demo;
    auto environment = QProcessEnvironment::systemEnvironment();
    environment.insert("QT_QPA_PLATFORM", "offscreen");
    environment.insert("VITREK_DATA_DIR", QString::fromStdString((scratch.path() / "data").string()));
    environment.insert("XDG_CONFIG_HOME", QString::fromStdString((scratch.path() / "config").string()));
    demo.setProcessEnvironment(environment);
    demo.start(VITREK_DEMO_PROGRAM, {QString::fromStdString(project.string())});
    ASSERT_TRUE(demo.waitForFinished(60'000));
    EXPECT_EQ(demo.exitCode(), 0) << demo.readAllStandardError().toStdString();
    EXPECT_GT(fs::file_size(project / "raw.mov"), 10'000u);
    for (const char* log : {"events.json", "captions.json", "project.json"}) {
        EXPECT_TRUE(fs::exists(project / log)) << log;
    }
    EXPECT_FALSE(fs::exists(scratch.path() / "data")) << "the demo machine writes no data";
}

} // namespace
} // namespace vitrek
