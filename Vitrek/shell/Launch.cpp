#include "shell/Launch.h"

#include <QtGlobal>

#include <unistd.h>

#include <filesystem>
#include <system_error>

namespace vitrek {

bool hasDisplay() {
    return qEnvironmentVariableIsSet("QT_QPA_PLATFORM") || !qEnvironmentVariableIsEmpty("DISPLAY") ||
           !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
}

bool harnessRequested() {
    return qEnvironmentVariableIsSet("VITREK_SNAPSHOT_DIR") || qEnvironmentVariableIsSet("VITREK_SELFTEST") ||
           qEnvironmentVariableIsSet("VITREK_LIVE_SNAPSHOT_DIR");
}

std::string frontProgram(const std::string& running) {
    const auto front = std::filesystem::path(running).parent_path() / "vitrek";
    std::error_code error;
    return std::filesystem::is_regular_file(front, error) && ::access(front.c_str(), X_OK) == 0 ? front.string()
                                                                                                : running;
}

} // namespace vitrek
