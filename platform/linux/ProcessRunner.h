#pragma once

#include <functional>
#include <string>
#include <vector>

namespace vitrek {

// How platform code runs a tool: the standard output of `path` run with `arguments`, read until it exits or
// `timeout` seconds pass. Tests pass one that returns recorded output.
using ProcessRunner =
    std::function<std::string(const std::string& path, const std::vector<std::string>& arguments, double timeout)>;

// The real runner; the empty string when the tool cannot be started. Invalid UTF-8 is left for the parsers.
std::string runProcess(const std::string& path, const std::vector<std::string>& arguments, double timeout);

} // namespace vitrek
