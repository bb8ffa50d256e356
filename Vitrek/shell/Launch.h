#pragma once

namespace vitrek {

// Whether a display is there to open windows on (X11, Wayland, or a platform chosen with QT_QPA_PLATFORM).
bool hasDisplay();

// Whether one of the harness variables that Harness::choose reads is set, which makes a bare `vitrek` a
// run of the windowed program even without a display.
bool harnessRequested();

} // namespace vitrek
