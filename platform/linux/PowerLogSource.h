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

// The system's power log: "/usr/bin/pmset -g log" (60 s at most), parsed. Empty where the tool is missing.
// Blocks for as long as the tool runs; call it off the main thread.
PowerLog loadSystemLog(const Runner& runner = run);

} // namespace vitrek::PowerLogParser
