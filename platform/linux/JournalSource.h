#pragma once

#include "linux/ProcessRunner.h"
#include "powerlog/NightLog.h"
#include "time/Instant.h"

#include <optional>
#include <string>
#include <vector>

namespace vitrek::JournalSource {

// Where the journal and the battery history are read from; tests and benchmarks point them elsewhere.
struct Options {
    std::optional<std::string> directory; // a journal directory instead of the system's journal
    std::string batteryDirectory = "/var/lib/upower";
    std::string root = "/"; // where /var/log/journal and /run/log/journal are looked for
    double days = 14;
};

// journalctl's arguments: JSON of the records since `since` from the kernel and the services that
// sleep, wake and power the machine, with only the fields the mapping reads.
std::vector<std::string> arguments(Instant since, const std::optional<std::string>& directory);

// What keeps this process from reading the system journal under `root`, as one sentence saying how a
// person fixes it; empty when the journal can be read.
std::string accessProblem(const std::string& root = "/");

// The power log of the last `days` days before `now`, from journalctl (run by `runner`, 10 s at most)
// and the battery history; the log is empty and `problem` set when the journal cannot be read.
NightLog load(const ProcessRunner& runner, Instant now, const Options& options = {});

} // namespace vitrek::JournalSource
