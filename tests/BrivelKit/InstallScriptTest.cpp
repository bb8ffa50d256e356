#include "Updater/Manifest.h"
#include "Updater/Platform.h"
#include "support/KitFixtures.h"
#include "support/KitTesting.h"
#include "support/ScratchDirectory.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <QProcess>
#include <chrono>
#include <filesystem>
#include <map>
#include <string>
#include <thread>

namespace brivel::test {
namespace {

namespace fs = std::filesystem;
using Tree = std::map<std::string, std::string>;

class InstallScriptTest : public ::testing::Test {
protected:
    fs::path installed() const { return m_scratch.path() / "Programs" / "Vitrek"; }
    fs::path old() const { return m_scratch.path() / "Programs" / "Vitrek.brivel-old"; }
    fs::path versionFolder() const { return m_scratch.path() / "BrivelUpdate" / "1.1"; }
    fs::path staged() const { return versionFolder() / "Vitrek"; }
    fs::path marker() const { return m_scratch.path() / "relaunched"; }

    // The installed 1.0 and the staged 1.1, whose program leaves a marker naming itself when it runs.
    void prepare(std::map<std::string, std::string> stagedExtra = {}) {
        fs::remove_all(m_scratch.path() / "Programs");
        fs::remove_all(versionFolder());
        fs::remove(marker());
        writeProgram(installed(), "app.brivel.tests.install", "1.0");
        stagedExtra["bin/vitrek"] = "#!/bin/sh\necho \"$0\" > '" + marker().string() + "'\n";
        writeProgram(staged(), "app.brivel.tests.install", "1.1", std::nullopt, std::nullopt, stagedExtra);
        // As every staged update has, so that the swap is seen to carry it too.
        (void)Manifest::write(staged());
    }

    // Starts the installer of the staged folder for a running program that exits after `seconds`; QProcess
    // reaps it as it exits, so it no longer answers `kill -0`.
    bool launch(const QString& seconds) {
        m_program.start("sleep", {seconds});
        return m_program.waitForStarted() &&
               Platform::launchInstaller(Platform::installScript("bin/vitrek"),
                                         static_cast<pid_t>(m_program.processId()), staged(), installed(),
                                         false);
    }

    vitrek::test::ScratchDirectory m_scratch{"brivel-install"};
    QProcess m_program;
};

// Relaunching is the end-to-end test's: here, that the swap waits and relaunches only when asked.
TEST_F(InstallScriptTest, SwapsTheFolderOnceTheProgramHasExitedAndRelaunchesOnlyOnRequest) {
    prepare();
    const Tree before = treeOf(installed());
    const Tree update = treeOf(staged());

    ASSERT_TRUE(launch("1"));
    // The program is still running: nothing may change under it.
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    EXPECT_EQ(treeOf(installed()), before);
    EXPECT_TRUE(fs::exists(staged()));
    m_program.waitForFinished();

    EXPECT_TRUE(waitFor(
        [&] { return treeOf(installed()) == update && !fs::exists(old()) && !fs::exists(versionFolder()); }));
    EXPECT_EQ(::access((installed() / "bin/vitrek").c_str(), X_OK), 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    EXPECT_FALSE(fs::exists(marker()));
}

TEST_F(InstallScriptTest, PutsTheOldFolderBackWhenTheCopyFails) {
    // Permissions can't make the copy fail here: the tests may run as root, who reads everything. A file
    // size limit binds root too, and children inherit it: the installer starts under a 1 MiB limit, so `cp`
    // writes the small files and fails on the 2 MiB one, leaving a partial copy that must be cleared before
    // the old folder can move back. The limit is lifted again as soon as the installer has started, and
    // nothing in this process writes a file in between.
    prepare({{"share/large.bin", std::string(2 << 20, 'x')}});
    const Tree before = treeOf(installed());
    {
        const FileSizeLimit limit(1 << 20);
        ASSERT_TRUE(launch("0.2"));
    }
    m_program.waitForFinished();

    EXPECT_TRUE(waitFor(
        [&] { return fs::exists(installed()) && !fs::exists(old()) && !fs::exists(versionFolder()); }));
    EXPECT_EQ(treeOf(installed()), before);
}

} // namespace
} // namespace brivel::test
