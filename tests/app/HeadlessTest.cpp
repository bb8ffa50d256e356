#include "support/Program.h"
#include "support/ScratchDirectory.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <QProcess>
#include <QTest>
#include <QThread>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace vitrek {
namespace {

namespace fs = std::filesystem;

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    return lines;
}

// The real program, checking up every 20 ms into scratch/data, with no bus to find (the night record says so
// once and stays off) and its settings in the scratch folder.
class HeadlessTest : public testing::Test {
protected:
    QProcessEnvironment environment() const {
        auto environment = test::programEnvironment(scratch.path());
        environment.insert("VITREK_CHECKUP_MS", "20");
        environment.insert("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus");
        environment.insert("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus");
        return environment;
    }

    // The program started headless, killed when it goes, with what it has printed so far.
    struct Headless : QProcess {
        explicit Headless(const QProcessEnvironment& environment) {
            setProcessEnvironment(environment);
            start(VITREK_EXECUTABLE, {"--headless"});
        }
        ~Headless() override {
            kill();
            waitForFinished(10'000);
        }
        // Reads standard output until it holds `count` check-up lines (twenty seconds at most).
        bool waitForCheckUps(std::size_t count) {
            return QTest::qWaitFor(
                [&] {
                    out += readAllStandardOutput().toStdString();
                    return test::occurrences(out, "recovery") >= count;
                },
                20'000);
        }
        std::string out;
    };

    test::ScratchDirectory scratch{"vitrek-headless"};
    fs::path data = scratch.path() / "data";
};

// One writer per folder, and none under the demo's variables. The always-on loop pays for none of the
// window's libraries nor the demo recorder's video encoder; without logind it keeps checking up, says once
// that it records no nights, and writes no record. What it cannot save it says why on standard error (the
// Store's own tests cover telling each trouble once and keeping the check-ups).
TEST_F(HeadlessTest, RefusesDemoVariablesAndASecondWriterMapsNoWindowLibraryAndSaysWhatItCannotRecordOrSave) {
    for (const char* harness : {"VITREK_SNAPSHOT_DIR", "VITREK_DEMO_DIR", "VITREK_SELFTEST"}) {
        auto env = environment();
        env.insert(harness, QString::fromStdString(scratch.string()));
        const auto demo = test::runProgram(VITREK_EXECUTABLE, {"--headless"}, env, 10'000);
        EXPECT_EQ(demo.status, 2);
        EXPECT_NE(demo.err.find(harness), std::string::npos);
    }
    EXPECT_FALSE(fs::exists(data)) << "nothing recorded, not even a folder";

    auto first = std::make_unique<Headless>(environment());
    ASSERT_TRUE(first->waitForCheckUps(3)) << first->out;
    const auto maps = test::readFile("/proc/" + std::to_string(first->processId()) + "/maps");
    const auto second = test::runProgram(VITREK_EXECUTABLE, {"--headless"}, environment(), 10'000);
    EXPECT_EQ(second.status, 2);
    EXPECT_NE(second.err.find("process " + std::to_string(first->processId())), std::string::npos);
    first->kill();
    first->waitForFinished(10'000);
    const std::string err = first->readAllStandardError().toStdString();
    EXPECT_EQ(test::occurrences(err, "cannot keep its own record of the nights"), 1u) << err;
    EXPECT_EQ(test::readFiles(data, "power-"), "");
    ASSERT_NE(maps.find("libQt6Core"), std::string::npos) << maps;
    for (const char* library : {"libQt6Widgets", "libQt6Gui", "libQt6Svg", "libQt6Network", "libavcodec",
                                "libavformat", "libswscale", "/plugins/"}) {
        EXPECT_EQ(maps.find(library), std::string::npos) << library;
    }
    first.reset();

    // The kernel drops the lock with its holder: the next writer starts at once, into a folder that is a
    // file.
    fs::remove_all(data);
    std::ofstream(data) << "a file where the data folder should be";
    Headless next{environment()};
    ASSERT_TRUE(next.waitForCheckUps(2)) << next.readAllStandardError().toStdString();
    const auto told = next.readAllStandardError().toStdString();
    EXPECT_NE(told.find("Not a directory"), std::string::npos) << told;
}

// Killed at any moment, the program leaves a history that parses and day files of whole lines, but for
// at most one partial last line, which the next run repairs.
TEST_F(HeadlessTest, KilledAtRandomMomentsItLeavesEveryFileReadable) {
    const auto seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    std::uniform_int_distribution<int> moment(20, 250);
    for (int run = 0; run < 30; ++run) {
        Headless headless{environment()};
        ASSERT_TRUE(headless.waitForStarted(10'000));
        QThread::msleep(static_cast<unsigned long>(moment(random)));
        headless.kill();
        ASSERT_TRUE(headless.waitForFinished(10'000));

        if (fs::exists(data / "history.json")) {
            const auto history = nlohmann::json::parse(test::readFile(data / "history.json"), nullptr, false);
            ASSERT_FALSE(history.is_discarded()) << "run " << run;
        }
        std::error_code error;
        for (const auto& entry : fs::directory_iterator(data, error)) {
            const auto name = entry.path().filename().string();
            if (!name.starts_with("samples-") && !name.starts_with("power-")) {
                continue;
            }
            const auto lines = linesOf(test::readFile(entry.path()));
            for (std::size_t i = 0; i + 1 < lines.size(); ++i) {
                ASSERT_TRUE(nlohmann::json::accept(lines[i])) << name << " line " << i << ", run " << run;
            }
        }
    }
}

} // namespace
} // namespace vitrek
