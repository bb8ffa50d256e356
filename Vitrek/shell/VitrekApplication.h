#pragma once

#include <QIcon>

#include <functional>

class QObject;

namespace vitrek {

// The application's icon: the installed icon theme's "vitrek" when there is one, else the same drawing
// built into the program, so a folder that was never installed still shows it.
QIcon applicationIcon();

// The windowed program: claims the single instance, starts the kit and the Store, shows the main window
// and the tray, and runs until the user quits. Returns the exit status.
int runApplication(int argc, char** argv);

// Quits when the last window closes and `trayAvailable` says the desktop has no tray: with no icon to
// reopen it from, Vitrek would run on unseen. Asked at each close, since a tray can come up after launch.
// Lasts as long as `context`.
void quitWhenClosedWithoutTray(QObject& context, std::function<bool()> trayAvailable);

} // namespace vitrek
