#pragma once

class QObject;

namespace brivel {

// Ending the program from any place: a menu, a shortcut in any of its windows, the tray, "Restart Now" or a
// termination signal. Qt's own quit asks every window to close and gives up when one refuses, and a
// window's shortcut only reaches that window; here a quit always ends the event loop, after which what
// waits for the quit (QCoreApplication::aboutToQuit, such as the updater's install) runs as usual.
namespace Quit {

// Ends every running event loop (menus and dialogs included) whatever the windows say. Before the
// application's event loop has started, the quit is kept and happens as soon as it starts.
void now();

// Makes the platform's quit key (Ctrl+Q) quit from every window of the program, `context`'s lifetime long.
void onShortcut(QObject& context);

// Makes SIGTERM, SIGINT and SIGHUP quit through `now` from the event loop, so that what waits for the quit
// still runs; false when the signals could not be taken over.
bool onTerminationSignals(QObject& context);

} // namespace Quit
} // namespace brivel
