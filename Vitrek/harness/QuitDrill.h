#pragma once

#include <QString>

#include <functional>
#include <optional>

class QMenu;
class QWidget;

namespace vitrek {

// A rehearsal of quitting, for the test that quits the real program many times. With
// VITREK_QUIT_DRILL=PATH,FRONT the program checks for updates as a user would; once the update is ready it
// opens Settings and About beside the update window, brings FRONT (update, settings or about) to the front
// and quits by PATH: menu (File ▸ Quit), shortcut (Ctrl+Q typed into the front window), tray (the tray
// menu's Quit), restart (the update window's "Restart Now") or signal (SIGTERM). A failed update exits 3.
namespace QuitDrill {

enum class Path { menu, shortcut, tray, restart, signal };
enum class Front { update, settings, about };

struct Drill {
    Path path = Path::menu;
    Front front = Front::update;
    bool operator==(const Drill&) const = default;
};

// The drill the text "PATH,FRONT" names; absent for anything else.
std::optional<Drill> parse(const QString& text);
// `parse` of VITREK_QUIT_DRILL; absent when it is not set.
std::optional<Drill> fromEnvironment();

// What the drill reaches of the running program's shell.
struct Shell {
    std::function<QWidget*()> showMain;
    std::function<QWidget*()> showSettings;
    QMenu* trayMenu = nullptr;
};

void start(const Drill& drill, const Shell& shell);

} // namespace QuitDrill
} // namespace vitrek
