#include "linux/PowerLogSource.h"

#include "linux/Subprocess.h"
#include "powerlog/PowerLogParser.h"

namespace vitrek {

std::string PowerLogParser::run(const std::string& path, const std::vector<std::string>& arguments,
                                double timeout) {
    return Subprocess::run(path, arguments, timeout).standardOutput;
}

PowerLog PowerLogParser::loadSystemLog(const Runner& runner) {
    return parse(runner("/usr/bin/pmset", {"-g", "log"}, 60));
}

} // namespace vitrek
