#pragma once

#include <QColor>
#include <QList>
#include <QString>

namespace brivel {

class Updater;

// The kit's shared state: the brand colours and the one updater of the running program.
namespace Brivel {

// Called once at launch: keeps the brand colours (two or more as given; one colour twice; none leaves the
// default, the palette's accent twice) and starts the updater. A second call does nothing.
void start(const QList<QColor>& brand);

// The brand colours, always at least two.
QList<QColor> brand();

// The updater of the running program, created from its bundle on first use; its window requests open
// the update window.
Updater& updater();

// The program's display name: its Info.json's "name", else the application's name.
QString appName();

// A check the user asked for: shows the update window and reports the result there.
void checkForUpdates();

} // namespace Brivel
} // namespace brivel
