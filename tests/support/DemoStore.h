#pragma once

#include "Store.h"
#include "demo/DemoData.h"
#include "support/FakeReader.h"

#include <filesystem>
#include <memory>
#include <optional>

namespace vitrek::test {

// A Store in demo mode on `data` (none by default), on a Tuesday afternoon in Berlin; the machine it is given
// is never read.
inline std::unique_ptr<Store> demoStore(std::optional<std::filesystem::path> data = std::nullopt) {
    StoreEnvironment env;
    env.reader = std::make_shared<const FakeReader>();
    env.files = VitrekFiles{data};
    env.now = [] { return at("2026-11-24T14:30:00+01:00"); };
    env.calendar = [] { return berlin(); };
    env.isDemo = [] { return true; };
    env.demoFill = [](Store& store) { DemoData::fill(store); };
    return std::make_unique<Store>(env);
}

} // namespace vitrek::test
