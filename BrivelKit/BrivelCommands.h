#pragma once

class QAction;
class QMenu;
class QObject;

namespace brivel {

// The kit's menu commands, which the program adds to its menus.
namespace BrivelCommands {

// A new "Check for Updates…" action that calls Brivel::checkForUpdates.
QAction* checkForUpdates(QObject* parent);

// Inserts "Check for Updates…" into `menu` right after `about` (at the top when `about` is null or not in
// the menu) and returns it.
QAction* addTo(QMenu* menu, QAction* about);

} // namespace BrivelCommands
} // namespace brivel
