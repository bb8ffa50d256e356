#include "linux/JournalSource.h"

#include "linux/BatteryHistoryFiles.h"
#include "powerlog/BatteryHistory.h"
#include "powerlog/JournalPowerLog.h"
#include "powerlog/JournalReader.h"
#include "powerlog/NightSource.h"

#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace vitrek {

namespace {

// journalctl answers in well under a second on a large journal; this bounds a stuck one.
constexpr double kTimeout = 10;
constexpr std::string_view kGroup = "systemd-journal";

std::string userName() {
    if (const passwd* entry = ::getpwuid(::geteuid()); entry && entry->pw_name) {
        return entry->pw_name;
    }
    if (const char* user = std::getenv("USER"); user && *user) {
        return user;
    }
    return "this user";
}

std::optional<std::string> journalctl() {
    for (const char* path : {"/usr/bin/journalctl", "/bin/journalctl"}) {
        if (::access(path, X_OK) == 0) {
            return path;
        }
    }
    return std::nullopt;
}

} // namespace

std::vector<std::string> JournalSource::arguments(Instant since,
                                                  const std::optional<std::string>& directory) {
    std::vector<std::string> arguments{
        "--output=json",
        "--output-fields=SYSLOG_IDENTIFIER,MESSAGE,_TRANSPORT",
        "--no-pager",
        "--quiet",
        "--since=@" + std::to_string(static_cast<long long>(std::floor(unixSeconds(since)))),
    };
    if (directory) {
        arguments.push_back("--directory=" + *directory);
    }
    // Matches on different fields combine with "and", on one field with "or", and "+" joins alternatives:
    // every kernel record, or any record of the sleep, login and power services.
    for (const char* match : {"_TRANSPORT=kernel", "+", "SYSLOG_IDENTIFIER=systemd-logind",
                              "SYSLOG_IDENTIFIER=systemd-sleep", "SYSLOG_IDENTIFIER=upowerd"}) {
        arguments.emplace_back(match);
    }
    return arguments;
}

std::string JournalSource::accessProblem(const std::string& root) {
    const bool superuser = ::geteuid() == 0;
    // The system journal is the file system.journal (and its archives) in a folder named after the
    // machine id; the per-user files beside it are readable by their owner alone.
    bool found = false;
    for (const char* folder : {"var/log/journal", "run/log/journal"}) {
        std::error_code error;
        for (const auto& machine :
             std::filesystem::directory_iterator(std::filesystem::path(root) / folder, error)) {
            const auto file = machine.path() / "system.journal";
            if (!std::filesystem::exists(file, error)) {
                continue;
            }
            found = true;
            if (superuser || ::access(file.c_str(), R_OK) == 0) {
                return {};
            }
        }
    }
    if (!found) {
        return "This system keeps no journal in /var/log/journal or /run/log/journal, so Rest has no nights "
               "to read.";
    }
    const std::string user = userName();
    return "The system journal is not readable by " + user + ": join the " + std::string(kGroup) +
           " group (sudo usermod -aG " + std::string(kGroup) + " " + user +
           ", then log in again) so Rest can read the nights.";
}

namespace {

NightLog unreadable(std::string problem) {
    NightLog system;
    system.problem = std::move(problem);
    return system;
}

} // namespace

NightLog JournalSource::load(const ProcessRunner& runner, Instant now, const Options& options) {
    std::string path = "/usr/bin/journalctl";
    if (!options.directory) {
        if (auto problem = accessProblem(options.root); !problem.empty()) {
            return unreadable(std::move(problem));
        }
        const auto found = journalctl();
        if (!found) {
            return unreadable("journalctl is not installed, so Rest cannot read the nights from the journal.");
        }
        path = *found;
    }
    const Instant since = now - Seconds{options.days * 86'400};
    PowerLog log = JournalPowerLog::fromRecords(
        JournalReader::readJson(runner(path, arguments(since, options.directory), kTimeout)));
    BatteryHistoryFile::annotate(log, BatteryHistoryFiles::load(options.batteryDirectory));
    return NightSource::merge(std::move(log), std::nullopt);
}

} // namespace vitrek
