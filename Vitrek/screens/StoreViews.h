#pragma once

#include "screens/ScreenTexts.h"
#include "time/Calendar.h"
#include "time/Instant.h"

#include <array>
#include <functional>
#include <initializer_list>

class QObject;

namespace vitrek {

class Store;

// What several screens read off the Store the same way.
namespace StoreViews {

// The Store's calendar and clock (the user's and the system's unless a test gave others).
Calendar calendar(const Store& store);
Instant now(const Store& store);
// The recovery, strain and rest dials, as the main window and the tray panel show them.
std::array<Texts::Dial, 3> dials(const Store& store);
// Where the nights come from and what kept the journal from being read.
Texts::NightStatus nightStatus(const Store& store);

using Signal = void (Store::*)();
// Runs `refresh` once on the next turn of the event loop after any of the `changes`: one check-up changes
// several fields, and one refresh after the last of them is enough. Stops with `owner`.
void refreshOn(QObject* owner, Store& store, std::initializer_list<Signal> changes, std::function<void()> refresh);

} // namespace StoreViews
} // namespace vitrek
