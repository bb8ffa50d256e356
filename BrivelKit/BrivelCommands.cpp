#include "BrivelCommands.h"

#include "Brivel.h"

#include <QAction>
#include <QMenu>

namespace brivel::BrivelCommands {

QAction* checkForUpdates(QObject* parent) {
    auto* action = new QAction("Check for Updates…", parent);
    // Where the platform has an application menu, this puts the command there.
    action->setMenuRole(QAction::ApplicationSpecificRole);
    QObject::connect(action, &QAction::triggered, action, [] { Brivel::checkForUpdates(); });
    return action;
}

QAction* addTo(QMenu* menu, QAction* about) {
    auto* action = checkForUpdates(menu);
    const auto actions = menu->actions();
    const auto at = about != nullptr ? actions.indexOf(about) : -1;
    if (at < 0) {
        menu->insertAction(actions.isEmpty() ? nullptr : actions.first(), action);
    } else {
        menu->insertAction(at + 1 < actions.size() ? actions[at + 1] : nullptr, action);
    }
    return action;
}

} // namespace brivel::BrivelCommands
