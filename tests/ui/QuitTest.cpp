#include "support/KitFixtures.h"
#include "support/KitTesting.h"
#include "support/LoopbackServer.h"
#include "support/Program.h"
#include "support/ScratchDirectory.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <QProcess>
#include <QProcessEnvironment>
#include <array>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <string>

namespace vitrek {
namespace {

namespace fs = std::filesystem;
using brivel::test::LoopbackServer;

constexpr int kRuns = 20;
constexpr const char* kIdentifier = "app.vitrek.Vitrek";

constexpr const char* kNewIcon = "<svg><!-- 0.2.0 --></svg>";

// Publishes 0.2.0 signed with the returned keys: a small program folder whose window program only notes
// that it was started, with the real launcher entry and its script, and an icon of its own.
brivel::test::KeyPair publish(LoopbackServer& server, const fs::path& scratch) {
    const auto keys = brivel::test::makeKeyPair();
    const fs::path folder = scratch / "release/Vitrek";
    brivel::test::writeProgram(
        folder, kIdentifier, "0.2.0", server.url("/feed.json"), keys.publicKey,
        {{"bin/vitrek-window", "#!/bin/sh\necho started >> \"$VITREK_RELAUNCH_MARKER\"\n"},
         {"libexec/vitrek-desktop-entry", brivel::test::readFile(VITREK_DIST "/vitrek-desktop-entry")},
         {"share/applications/vitrek.desktop", brivel::test::readFile(VITREK_DIST "/vitrek.desktop")},
         {"share/icons/hicolor/scalable/apps/vitrek.svg", kNewIcon}});
    for (const char* program : {"bin/vitrek-window", "libexec/vitrek-desktop-entry"}) {
        fs::permissions(folder / program, fs::perms(0755), fs::perm_options::replace);
    }
    auto info = nlohmann::json::parse(brivel::test::readFile(folder / "Info.json"));
    info["BrivelAfterInstall"] = "libexec/vitrek-desktop-entry";
    std::ofstream(folder / "Info.json", std::ios::trunc) << info.dump(4);
    const auto archive = brivel::test::packProgram(folder, scratch / "Vitrek-0.2.0.zip");
    const nlohmann::json feed{{"version", "0.2.0"},
                              {"url", "https://example.org/vitrek"},
                              {"download",
                               {{"url", server.url("/Vitrek-0.2.0.zip")},
                                {"length", archive.size()},
                                {"edSignature", brivel::test::sign(archive, keys.secretKey)}}}};
    server.serve("/feed.json", LoopbackServer::ok(feed.dump()));
    server.serve("/Vitrek-0.2.0.zip", LoopbackServer::ok(archive));
    return keys;
}

// The real window program installed as 0.1.0 in a folder of its own, reading its updates from `feed`.
fs::path installProgram(const fs::path& run, const std::string& publicKey, const std::string& feed) {
    const fs::path program = run / "Vitrek";
    brivel::test::writeProgram(program, kIdentifier, "0.1.0", feed, publicKey);
    std::error_code linked;
    // A link, not a copy: a hundred copies of the program would only test the disk.
    fs::create_hard_link(VITREK_WINDOW_EXECUTABLE, program / "bin/vitrek-window", linked);
    if (linked) {
        fs::copy_file(VITREK_WINDOW_EXECUTABLE, program / "bin/vitrek-window");
    }
    return program;
}

// The program's own settings, cache, data and launcher folder under `run`, and the drill to play.
QProcessEnvironment environmentFor(const fs::path& run, const std::string& drill) {
    auto environment = test::programEnvironment(run);
    environment.insert("XDG_DATA_HOME", QString::fromStdString((run / "share").string()));
    environment.insert("VITREK_QUIT_DRILL", QString::fromStdString(drill));
    environment.insert("VITREK_RELAUNCH_MARKER", QString::fromStdString((run / "relaunched").string()));
    return environment;
}

// The launcher entry of a per-user install: this program folder's (`ours`), or another copy's.
void writeLauncherEntry(const fs::path& run, const fs::path& program, bool ours) {
    const auto share = run / "share";
    fs::create_directories(share / "applications");
    fs::create_directories(share / "icons/hicolor/scalable/apps");
    const auto target = ours ? program : fs::path("/opt/elsewhere/Vitrek");
    std::ofstream(share / "applications/vitrek.desktop")
        << "[Desktop Entry]\nName=Vitrek 0.1.0\nExec=\"" << (target / "bin/vitrek").string() << "\"\n";
    std::ofstream(share / "icons/hicolor/scalable/apps/vitrek.svg") << "<svg><!-- 0.1.0 --></svg>";
}

// The real program, its update staged and the update window, Settings and About open, is quit many times
// by each way a person quits it: the process always ends and the staged 0.2.0 is always installed; "Restart
// Now" also starts the new version. The installed version refreshes the launcher entry and icon of a
// per-user install of this folder, and leaves another copy's alone.
TEST(QuitTest, EveryWayOfQuittingEndsTheProgramAndInstallsTheStagedUpdate) {
    const test::ScratchDirectory scratch("vitrek-quit");
    LoopbackServer server;
    const auto keys = publish(server, scratch.path());
    const std::array<std::string, 3> fronts{"update", "settings", "about"};

    for (const std::string path : {"menu", "shortcut", "tray", "restart", "signal"}) {
        for (int run = 0; run < kRuns; ++run) {
            const auto drill = path + "," + fronts[std::size_t(run) % fronts.size()];
            SCOPED_TRACE(drill + " run " + std::to_string(run));
            const fs::path folder = scratch.path() / (path + "-" + std::to_string(run));
            const auto program = installProgram(folder, keys.publicKey, server.url("/feed.json"));
            const bool ourEntry = run % 2 == 1;
            writeLauncherEntry(folder, program, ourEntry);

            const auto vitrek =
                test::runProgram(QString::fromStdString((program / "bin/vitrek-window").string()), {},
                                 environmentFor(folder, drill));
            EXPECT_EQ(vitrek.status, 0) << vitrek.err;
            // The install script waits for the process to end, swaps the folders and clears the staging
            // folder last.
            const fs::path staged = folder / "cache" / kIdentifier / "BrivelUpdate/0.2.0";
            EXPECT_TRUE(brivel::test::waitFor(
                [&] { return fs::exists(folder / "cache") && !fs::exists(staged); }, 20'000));
            EXPECT_EQ(brivel::test::readFile(program / "share/notes.txt"), "Notes for version 0.2.0.\n");
            EXPECT_FALSE(fs::exists(program.string() + ".brivel-old"));
            const auto share = folder / "share";
            const auto entry = brivel::test::readFile(share / "applications/vitrek.desktop");
            EXPECT_EQ(entry.find("Name=Vitrek\n") != std::string::npos, ourEntry) << entry;
            EXPECT_EQ(entry.find("Exec=\"" + (program / "bin/vitrek").string() + "\"\n") != std::string::npos,
                      ourEntry);
            EXPECT_EQ(brivel::test::readFile(share / "icons/hicolor/scalable/apps/vitrek.svg") == kNewIcon,
                      ourEntry);
            if (path == "restart") {
                EXPECT_TRUE(brivel::test::waitFor([&] { return fs::exists(folder / "relaunched"); }, 20'000));
            }
        }
    }
}

// A missing archive on a real web server, which answers with its error page: the window says so and Qt
// says nothing on the terminal, not even when the program quits right after.
TEST(QuitTest, AMissingArchiveIsToldInTheWindowOnly) {
    const test::ScratchDirectory scratch("vitrek-quit");
    const auto site = scratch.path() / "site";
    fs::create_directories(site);
    QProcess web;
    web.start("/usr/bin/python3", {"-m", "http.server", "--bind", "127.0.0.1", "--directory",
                                   QString::fromStdString(site.string()), "0"});
    std::string said;
    ASSERT_TRUE(brivel::test::waitFor(
        [&] {
            web.waitForReadyRead(20);
            said += web.readAllStandardOutput().toStdString();
            return said.find("port ") != std::string::npos;
        },
        10'000));
    const std::string address =
        "http://127.0.0.1:" + std::to_string(std::stoi(said.substr(said.find("port ") + 5)));

    const auto program =
        installProgram(scratch.path(), brivel::test::makeKeyPair().publicKey, address + "/feed.json");
    const nlohmann::json feed{
        {"version", "0.2.0"},
        {"url", "https://example.org/vitrek"},
        {"download",
         {{"url", address + "/Vitrek-0.2.0.zip"}, {"length", 1000}, {"edSignature", "c2lnbmF0dXJl"}}}};
    std::ofstream(site / "feed.json") << feed.dump();

    const auto vitrek = test::runProgram(QString::fromStdString((program / "bin/vitrek-window").string()), {},
                                         environmentFor(scratch.path(), "menu,update"));
    web.kill();
    web.waitForFinished();
    EXPECT_EQ(vitrek.status, 3);
    EXPECT_NE(vitrek.err.find("The update file couldn’t be downloaded."), std::string::npos) << vitrek.err;
    EXPECT_EQ(vitrek.err.find("QNetworkReply"), std::string::npos) << vitrek.err;
}

} // namespace
} // namespace vitrek
