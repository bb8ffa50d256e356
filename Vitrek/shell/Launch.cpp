#include "shell/Launch.h"

#include <QtGlobal>

namespace vitrek {

bool hasDisplay() {
    return qEnvironmentVariableIsSet("QT_QPA_PLATFORM") || !qEnvironmentVariableIsEmpty("DISPLAY") ||
           !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
}

bool harnessRequested() {
    return qEnvironmentVariableIsSet("VITREK_SNAPSHOT_DIR") || qEnvironmentVariableIsSet("VITREK_SELFTEST") ||
           qEnvironmentVariableIsSet("VITREK_LIVE_SNAPSHOT_DIR");
}

} // namespace vitrek
