#pragma once

#include <QString>

#include <functional>

class QWidget;

namespace brivel {

// Stand-alone windows kept by identifier: showing one that is open brings it to the front instead of
// opening a second.
namespace WindowHost {

// When a visible window is kept under `id`, raises and activates it. Otherwise makes a window titled
// `title` around the widget `content()` returns, `width` logical pixels wide with a height that follows the
// content, closable, staying above the program's other windows, centred on the screen; it is kept (not
// deleted) when closed, and shown and activated.
void show(const QString& id, const QString& title, int width, const std::function<QWidget*()>& content);

// Closes the window kept under `id`, if any.
void close(const QString& id);

// The window kept under `id`, or null.
QWidget* window(const QString& id);

} // namespace WindowHost
} // namespace brivel
