#include "linux/PowerLogSource.h"

#include "linux/JournalSource.h"
#include "linux/Subprocess.h"

#include <chrono>

namespace vitrek {

std::string PowerLogParser::run(const std::string& path, const std::vector<std::string>& arguments,
                                double timeout) {
    return Subprocess::run(path, arguments, timeout).standardOutput;
}

PowerLogParser::SystemLog PowerLogParser::readSystemLog(const Runner& runner) {
    return JournalSource::load(runner, std::chrono::system_clock::now());
}

PowerLog PowerLogParser::loadSystemLog(const Runner& runner) { return readSystemLog(runner).log; }

} // namespace vitrek
