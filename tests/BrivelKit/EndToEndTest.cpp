#include "support/KitFixtures.h"
#include "support/KitTesting.h"
#include "support/LoopbackServer.h"
#include "support/ScratchDirectory.h"

#include <gtest/gtest.h>

#include <QProcess>
#include <QProcessEnvironment>
#include <filesystem>
#include <map>

namespace brivel::test {
namespace {

namespace fs = std::filesystem;

// The whole path a user's copy takes: version 1.0 is installed, 1.1 is packed and signed by the maker's
// tool and published; the running 1.0 finds it, downloads, verifies and stages it; "Restart Now" in its
// update window quits it, the install script replaces it and relaunches it, and the relaunched program
// is 1.1.
TEST(EndToEndTest, InstalledProgramReplacesItselfWithTheSignedNewVersion) {
    const vitrek::test::ScratchDirectory scratch("brivel-e2e");
    LoopbackServer server;
    const std::string identifier = "app.brivel.e2e";

    const fs::path secretKey = scratch.path() / "secret.key";
    const std::string publicKey =
        runProcess(BRIVEL_PACK, {"keygen", QString::fromStdString(secretKey)}).trimmed().toStdString();

    // Both versions' bin/vitrek is the stub program, which runs the real updater.
    const std::map<std::string, std::string> stub{{"bin/vitrek", readFile(BRIVEL_STUB_APP)}};
    const fs::path installed = scratch.path() / "opt/Vitrek";
    writeProgram(installed, identifier, "1.0", server.url("/feed.json"), publicKey, stub);
    const fs::path release = scratch.path() / "release/Vitrek";
    writeProgram(release, identifier, "1.1", server.url("/feed.json"), publicKey, stub);
    const fs::path archive = scratch.path() / "Vitrek-1.1.zip";
    const QString feed = QString::fromUtf8(
        runProcess(BRIVEL_PACK, {"pack", QString::fromStdString(release), "1.1", "--key",
                                 QString::fromStdString(secretKey), "--out", QString::fromStdString(archive),
                                 "--url", QString::fromStdString(server.url("/Vitrek-1.1.zip")), "--page",
                                 "https://example.org/vitrek", "--notes", "Nights, faster."}));
    server.serve("/feed.json", LoopbackServer::ok(feed.toStdString()));
    server.serve("/Vitrek-1.1.zip", LoopbackServer::ok(readFile(archive)));

    const fs::path marker = scratch.path() / "marker.txt";
    QProcess program;
    auto environment = QProcessEnvironment::systemEnvironment();
    environment.insert("BRIVEL_STUB_MARKER", QString::fromStdString(marker));
    program.setProcessEnvironment(environment);
    program.start(QString::fromStdString(installed / "bin/vitrek"), {});
    ASSERT_TRUE(program.waitForFinished(60'000));
    EXPECT_EQ(program.exitCode(), 0) << program.readAllStandardError().toStdString();

    ASSERT_TRUE(waitFor([&] { return readFile(marker).find("1.1 upToDate") != std::string::npos; }, 60'000))
        << readFile(marker);
    // The relaunched program reads its version from the swapped folder; what the swap leaves behind is the
    // install script's tests', and the unpacked tree the archive's and the updater's.
    EXPECT_EQ(readFile(marker), "1.0 started\n1.0 ready 1.1\n1.1 started\n1.1 upToDate\n");
}

} // namespace
} // namespace brivel::test
