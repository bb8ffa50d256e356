#include "linux/ProcessRunner.h"

#include "linux/Subprocess.h"

namespace vitrek {

std::string runProcess(const std::string& path, const std::vector<std::string>& arguments, double timeout) {
    return Subprocess::run(path, arguments, timeout).standardOutput;
}

} // namespace vitrek
