#pragma once

#include "scores/Fmt.h"

#include <QLocale>

#include <memory>

namespace vitrek {

// The date forms the screens show, in `locale`'s words and clock (12 or 24 hours), clock times never with
// seconds: "9:14 AM" or "09:14",
// "9 AM" or "09", "Tuesday, March 4" or "Tuesday 4 March", "Mar 4, 2024" or "4 Mar 2024", "Mar 4" or "4 Mar".
std::shared_ptr<const DateFormatter> localeDateFormatter(const QLocale& locale = QLocale::system());

} // namespace vitrek
