#pragma once

#include <optional>
#include <string>
#include <vector>

namespace vitrek {

// What a finished child process left behind.
struct SubprocessOutput {
    bool launched = false;
    bool timedOut = false;         // terminated because the time limit passed
    std::optional<int> exitStatus; // absent when it was killed by a signal
    std::string standardOutput;    // everything written before it ended
    std::string standardError;     // the first 64 KiB; the rest is drained and dropped
    bool operator==(const SubprocessOutput&) const = default;
};

namespace Subprocess {

// Runs `path` with `arguments` (no shell, the environment inherited, standard input empty), reads both
// output pipes to their end and waits for it. Past `timeout` seconds the child gets SIGTERM, and SIGKILL
// two seconds later if it is still there; what it wrote before is kept.
SubprocessOutput run(const std::string& path, const std::vector<std::string>& arguments, double timeout);

} // namespace Subprocess
} // namespace vitrek
