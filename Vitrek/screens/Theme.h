#pragma once

#include "scores/Grade.h"

#include <QColor>
#include <QFont>

namespace vitrek {

// The shared colours and type of the screens. Seven colours adapt to the appearance; the grade colours,
// strain and rest are the same in both.
namespace Theme {

enum class Role { face, card, track, hairline, ink, ink2, ink3, good, fair, poor, strain, rest };
enum class Appearance { light, dark };

QColor color(Role role, Appearance appearance);
// The colour in the process's current appearance (see `Appearance` in the shell).
QColor color(Role role);
Role color(Grade grade);

// Recovery band: good from 67, fair from 34, else poor.
Grade recoveryBand(int recovery);
// Factor band: good from 0.85, fair from 0.55, else poor.
Grade factorBand(double score);

// The streak flame's orange.
QColor flame();

// The process-wide appearance the colours above follow; light until told otherwise.
Appearance appearance();
void setAppearance(Appearance appearance);

} // namespace Theme

// The type scale: the system font at fixed sizes in logical pixels (the desktop's text scaling applies).
namespace Fonts {
QFont kicker();  // 11 pt bold, expanded where the font has it
QFont title();   // 15 pt semibold
QFont body();    // 13 pt
QFont caption(); // 11.5 pt
// `font` in its family's expanded face, where the family has one (never widened by scaling).
QFont expanded(QFont font);
// The system font `pointSize` logical pixels high (at 96 dpi) and of `weight`, with tabular figures when `monospacedDigits`.
QFont system(double pointSize, QFont::Weight weight = QFont::Normal, bool monospacedDigits = false);
} // namespace Fonts

} // namespace vitrek
