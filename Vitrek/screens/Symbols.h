#pragma once

#include <QColor>
#include <QPixmap>
#include <QRectF>
#include <QString>

class QPainter;

namespace vitrek {

// The program's own monochrome symbol set, addressed by the names the screens and the core use
// ("flame.fill", "moon.zzz", …). Each is an SVG drawn in black and tinted when painted.
namespace Symbols {

// Whether the set has a drawing under `name`.
bool has(const QString& name);
// Paints the symbol tinted `color`, fitted into `rect` keeping its square shape; a name the set lacks
// paints a neutral dot, never nothing.
void paint(QPainter& painter, const QString& name, const QRectF& rect, const QColor& color);
// The symbol as a pixmap `size` logical pixels square at `devicePixelRatio`.
QPixmap pixmap(const QString& name, const QColor& color, int size, qreal devicePixelRatio = 1.0);
// Every name the set has, sorted.
QStringList names();

} // namespace Symbols
} // namespace vitrek
