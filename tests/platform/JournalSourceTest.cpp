#include "linux/JournalSource.h"

#include "linux/Subprocess.h"
#include "support/ScratchDirectory.h"
#include "support/TestSupport.h"

#include <grp.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

namespace vitrek {
namespace {

const Instant kNow = test::at("2026-11-23T12:00:00+01:00");
constexpr const char* kJournalRemote = "/lib/systemd/systemd-journal-remote";

// The mains night recorded as journalctl prints it, and the power daemon's history of a full battery.
struct MainsNight {
    test::ScratchDirectory battery{"vitrek-upower"};
    MainsNight() {
        battery.write("history-charge-DELL-7FHHV-1234.dat", "1795190000\t100.000\tfully-charged\n"
                                                            "1795240000\t99.000\tcharging\n");
        battery.write("history-rate-DELL-7FHHV-1234.dat", "1795190000\t0.000\tfully-charged\n");
    }
    JournalSource::Options options(std::optional<std::string> directory = "/recorded") const {
        JournalSource::Options options;
        options.directory = std::move(directory);
        options.batteryDirectory = battery.string();
        return options;
    }
};

void expectMainsNight(const NightLog& system) {
    EXPECT_EQ(system.problem, "");
    const auto& events = system.log.events;
    ASSERT_EQ(events.size(), 3u); // boot, idle sleep, wake
    EXPECT_EQ(events[1].cause, "Idle Sleep");
    EXPECT_EQ(events[2].cause, "USB (1-4)");
    EXPECT_EQ(events[2].date, test::at("2026-11-22T06:50:17.520114+01:00"));
    for (const auto& event : events) {
        // Charged overnight on mains: every event carries the charge the daemon last wrote before it.
        EXPECT_EQ(event.onBattery, false);
        EXPECT_EQ(event.charge, event.date < fromUnixSeconds(1795240000) ? 100 : 99);
    }
}

TEST(JournalSourceTest, AsksJournalctlForTwoWeeksOfThePowerRecords) {
    MainsNight night;
    std::vector<std::string> seen;
    const auto system = JournalSource::load(
        [&](const std::string& path, const std::vector<std::string>& arguments, double timeout) {
            seen = arguments;
            seen.insert(seen.begin(), path);
            EXPECT_EQ(timeout, 10);
            return test::readTestData("journal/made-mains-night.json");
        },
        kNow, night.options());
    EXPECT_EQ(seen,
              (std::vector<std::string>{"/usr/bin/journalctl", "--output=json",
                                        "--output-fields=SYSLOG_IDENTIFIER,MESSAGE,_TRANSPORT", "--no-pager",
                                        "--quiet", "--since=@1794222000", "--directory=/recorded",
                                        "_TRANSPORT=kernel", "+", "SYSLOG_IDENTIFIER=systemd-logind",
                                        "SYSLOG_IDENTIFIER=systemd-sleep", "SYSLOG_IDENTIFIER=upowerd"}));
    expectMainsNight(system);
}

TEST(JournalSourceTest, ReadsARealJournalThroughJournalctl) {
    if (::access(kJournalRemote, X_OK) != 0) {
        GTEST_SKIP() << kJournalRemote << " is missing (scripts/install-deps installs it)";
    }
    // The recording becomes a real journal file, read back by the real journalctl with our matches.
    MainsNight night;
    test::ScratchDirectory journal{"vitrek-journal"};
    const auto made = Subprocess::run(kJournalRemote,
                                      {"--output=" + journal.string() + "/remote.journal",
                                       std::string(VITREK_TEST_DATA) + "/journal/made-mains-night.export"},
                                      30);
    ASSERT_EQ(made.exitStatus, 0) << made.standardError;
    expectMainsNight(JournalSource::load(runProcess, kNow, night.options(journal.string())));

    // Records older than two weeks are not even read.
    const auto later = JournalSource::load(runProcess, kNow + Seconds{20 * 86'400},
                                           night.options(journal.string()));
    EXPECT_TRUE(later.log.events.empty());
}

// Whether accessProblem and load under `root`, run as the unprivileged user "nobody" in a child process,
// both give `expected` ("ran journalctl" once the journal is read); the child prints any other answer.
bool asNobodyGives(const std::string& root, const std::string& expected) {
    const pid_t child = ::fork();
    if (child == 0) {
        if (::setgroups(0, nullptr) != 0 || ::setgid(65534) != 0 || ::setuid(65534) != 0) {
            ::_exit(3);
        }
        JournalSource::Options options;
        options.root = root;
        bool ran = false;
        const auto system = JournalSource::load(
            [&](const std::string&, const std::vector<std::string>&, double) {
                ran = true;
                return std::string{};
            },
            kNow, options);
        std::string answer = ran || !system.log.events.empty() ? "ran journalctl" : system.problem;
        answer = JournalSource::accessProblem(root) == system.problem ? answer : "problems differ";
        if (answer != expected) {
            std::fprintf(stderr, "as nobody: %s\n", answer.c_str());
        }
        ::_exit(answer == expected ? 0 : 1);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

TEST(JournalSourceTest, AUserOutsideTheJournalGroupIsToldHowToJoinIt) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "needs root to become another user";
    }
    test::ScratchDirectory root{"vitrek-root"};
    ::chmod(root.path().c_str(), 0755);
    EXPECT_TRUE(asNobodyGives(root.string(), "This system keeps no journal in /var/log/journal or "
                                             "/run/log/journal, so Rest has no nights to read."));

    // journald's own modes: the folders are open, the system file is for root and the journal groups.
    const std::string machine = "var/log/journal/5e1c0ffee0ddba11deadbeef5ca1ab1e";
    root.write(machine + "/system.journal", "LPKSHHRH");
    for (const char* folder : {"var", "var/log", "var/log/journal", machine.c_str()}) {
        ::chmod((root.path() / folder).c_str(), 02755);
    }
    ::chmod((root.path() / machine / "system.journal").c_str(), 0640);
    EXPECT_TRUE(asNobodyGives(root.string(),
                              "The system journal is not readable by nobody: join the systemd-journal group "
                              "(sudo usermod -aG systemd-journal nobody, then log in again) so Rest can read "
                              "the nights."));

    ::chmod((root.path() / machine / "system.journal").c_str(), 0644);
    EXPECT_TRUE(asNobodyGives(root.string(), "ran journalctl"));
}

} // namespace
} // namespace vitrek
