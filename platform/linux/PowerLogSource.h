#pragma once

#include "powerlog/PowerLog.h"

#include <functional>
#include <string>
#include <vector>

namespace vitrek::PowerLogParser {

// The standard output of `path` run with `arguments`, read until it exits or `timeout` seconds pass;
// the empty string when it cannot be started. Invalid UTF-8 is left for `parse` to replace.
std::string run(const std::string& path, const std::vector<std::string>& arguments, double timeout);

// How the log source runs its tools; tests pass recorded output.
using Runner = std::function<std::string(const std::string&, const std::vector<std::string>&, double)>;

// The system's power log, with what kept it from being read (one sentence with the fix; empty when
// nothing did). On Linux it is built from the journal and the battery history. Blocks for as long as
// the tools run; call it off the main thread.
struct SystemLog {
    PowerLog log;
    std::string problem;
    bool operator==(const SystemLog&) const = default;
};
SystemLog readSystemLog(const Runner& runner = run);

// The log of `readSystemLog` alone.
PowerLog loadSystemLog(const Runner& runner = run);

} // namespace vitrek::PowerLogParser
