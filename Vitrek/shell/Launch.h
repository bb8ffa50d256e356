#pragma once

#include <string>

namespace vitrek {

// Whether a display is there to open windows on (X11, Wayland, or a platform chosen with QT_QPA_PLATFORM).
bool hasDisplay();

// Whether one of the harness variables that Harness::choose reads is set, which makes a bare `vitrek` a
// run of the windowed program even without a display.
bool harnessRequested();

// The program people start: `vitrek` beside `running` (the windowed program's own path) when it is there,
// else `running` itself. The login entry names it, so it starts the way a user would.
std::string frontProgram(const std::string& running);

} // namespace vitrek
