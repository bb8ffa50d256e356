#pragma once

#include <QIcon>
#include <QImage>

#include <optional>

namespace vitrek {

// The tray icon: the Vitrek symbol ("stethoscope") with the recovery number over it in the recovery
// band's colour, redrawn whenever recovery changes. Without a reading yet only the symbol shows.
namespace TrayArt {

// One square image `size` logical pixels across at `devicePixelRatio`, crisp from 16 to 48.
QImage image(std::optional<int> recovery, int size, qreal devicePixelRatio = 1.0);
// An icon holding the image at 16, 22, 24, 32 and 48, at ratios 1 and 2.
QIcon icon(std::optional<int> recovery);

} // namespace TrayArt
} // namespace vitrek
