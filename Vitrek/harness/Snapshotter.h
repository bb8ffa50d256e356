#pragma once

#include "screens/Theme.h"

#include <Demo/DemoTask.h>

#include <QSize>
#include <QString>

#include <memory>
#include <optional>
#include <string>
#include <vector>

class QWidget;

namespace vitrek {

class Store;

// Renders the real screens to PNG files: the marketing set on the demo machine, or live shots of this one.
namespace Snapshotter {

// One screen to render: the widget, already sized, and the file name without ".png". A view that fits its
// height takes the height its content asks for at its width once the content is in.
struct Shot {
    std::unique_ptr<QWidget> view;
    QString name;
    bool fitsHeight = false;
};

// Light then dark, or only the one `only` names when it is given.
std::vector<Theme::Appearance> appearances(const std::optional<QString>& only);

// Shows the views off screen, lets layout and data settle for a second, then grabs each and writes
// dir/name.png. A view that cannot be encoded or written is skipped. Adds the files written to `written`.
brivel::DemoTask render(std::vector<Shot> shots, QString dir, int* written = nullptr);

// The marketing set on the demo Store: 01 to 04 and 07 in each appearance VITREK_SNAPSHOT_ONLY leaves,
// the share card as 05, then the needs-care day as 06 (dark).
brivel::DemoTask run(QString dir, Store& store, int* written = nullptr);
// The real machine after 5, 35 and 65 seconds (Today, light), then Health in light and dark, and live.txt.
brivel::DemoTask live(QString dir, Store& store);

// live.txt's line: "strain 8.4 · samples 412 · recovery 72 · age 2.52 (real 2.80) · vitals 4/5 · night yes".
std::string liveLine(const Store& store);

} // namespace Snapshotter

} // namespace vitrek
