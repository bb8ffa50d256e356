#include <gtest/gtest.h>

#include <QDir>
#include <QProcess>
#include <QTemporaryDir>

#include <chrono>
#include <thread>

namespace vitrek {
namespace {

using namespace std::chrono_literals;

// The real program, started twice on the offscreen platform with its own settings, data and socket folder.
class LaunchTest : public testing::Test {
protected:
    QProcessEnvironment environment() const {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("QT_QPA_PLATFORM", "offscreen");
        env.insert("TMPDIR", scratch.path());
        env.insert("XDG_RUNTIME_DIR", scratch.path());
        env.insert("XDG_CONFIG_HOME", scratch.filePath("config"));
        env.insert("VITREK_DATA_DIR", scratch.filePath("data"));
        return env;
    }
    void start(QProcess& process) const {
        process.setProcessEnvironment(environment());
        process.start(QStringLiteral(VITREK_EXECUTABLE), {});
        ASSERT_TRUE(process.waitForStarted(5000));
    }

    QTemporaryDir scratch;
};

TEST_F(LaunchTest, ASecondStartHandsOverToTheRunningOneAndExits) {
    QProcess first;
    start(first);
    // The first is ready once its socket is listening.
    const auto deadline = std::chrono::steady_clock::now() + 20s;
    while (QDir(scratch.path()).entryList({"vitrek-*"}, QDir::System).isEmpty()) {
        ASSERT_LT(std::chrono::steady_clock::now(), deadline) << first.readAllStandardError().toStdString();
        ASSERT_EQ(first.state(), QProcess::Running) << first.readAllStandardError().toStdString();
        std::this_thread::sleep_for(20ms);
    }

    QProcess second;
    start(second);
    ASSERT_TRUE(second.waitForFinished(10000));
    EXPECT_EQ(second.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(second.exitCode(), 0);
    // Closing windows never ends it: the first runs on.
    EXPECT_FALSE(first.waitForFinished(300));
    EXPECT_EQ(first.state(), QProcess::Running);
    first.terminate();
    first.waitForFinished(5000);
}

} // namespace
} // namespace vitrek
