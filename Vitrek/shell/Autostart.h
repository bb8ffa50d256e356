#pragma once

#include <QString>

namespace vitrek {

// Opening at login through the freedesktop autostart entry $XDG_CONFIG_HOME/autostart/vitrek.desktop.
namespace Autostart {

// The entry's path (XDG_CONFIG_HOME, else ~/.config).
QString entryPath();
// On when the entry exists and does not say Hidden=true.
bool isEnabled();
// Writes the entry, atomically, starting `executable` (an absolute path). False when it could not.
bool enable(const QString& executable);
// Removes the entry; true when none is left.
bool disable();
// The entry's text for `executable`.
QString entryText(const QString& executable);

} // namespace Autostart
} // namespace vitrek
