#include "linux/Subprocess.h"

#include "linux/ProcessRunner.h"

#include <gtest/gtest.h>

#include <chrono>

namespace vitrek {
namespace {

SubprocessOutput shell(const std::string& script, double timeout = 30) {
    return Subprocess::run("/bin/sh", {"-c", script}, timeout);
}

TEST(SubprocessTest, ReturnsStandardOutputAndExitStatusWithoutAShellAndNothingWhenItCannotStart) {
    const auto output = Subprocess::run("/bin/echo", {"two words", "$HOME", "*"}, 10);
    EXPECT_TRUE(output.launched);
    EXPECT_EQ(output.standardOutput, "two words $HOME *\n");
    EXPECT_EQ(output.exitStatus, 0);
    EXPECT_FALSE(output.timedOut);

    EXPECT_EQ(shell("echo oops >&2; exit 3").exitStatus, 3);
    EXPECT_EQ(shell("echo oops >&2; exit 3").standardError, "oops\n");
    // A program that cannot start gives nothing.
    const auto missing = Subprocess::run("/nonexistent/tool", {}, 5);
    EXPECT_FALSE(missing.launched);
    EXPECT_EQ(runProcess("/nonexistent/tool", {"-g", "log"}, 5), "");
}

TEST(SubprocessTest, ReadsLargeOutputOnBothPipesWithoutBlocking) {
    // A child that fills its error pipe before writing anything else would hang if that pipe went unread.
    const auto output = shell("head -c 3000000 /dev/zero >&2; head -c 5000000 /dev/zero; echo end");
    EXPECT_EQ(output.exitStatus, 0);
    EXPECT_EQ(output.standardOutput.size(), 5'000'004u);
    EXPECT_EQ(output.standardError.size(), 64u * 1024);
}

// The second child ignores the polite request and must be killed.
TEST(SubprocessTest, EndsTheChildAtTheTimeoutAndKeepsWhatWasWritten) {
    for (const auto& [script, written] :
         {std::pair{"echo early; exec sleep 30", "early\n"},
          std::pair{"trap '' TERM; echo stubborn; while :; do sleep 0.05; done", "stubborn\n"}}) {
        const auto begin = std::chrono::steady_clock::now();
        const auto output = shell(script, 0.3);
        EXPECT_TRUE(output.timedOut);
        EXPECT_EQ(output.standardOutput, written);
        EXPECT_FALSE(output.exitStatus);
        EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(20));
    }
}

} // namespace
} // namespace vitrek
