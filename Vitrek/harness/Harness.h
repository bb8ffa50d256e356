#pragma once

#include <QString>

#include <functional>
#include <optional>

namespace vitrek {

class Store;

// The launch's harness: snapshots of the screens, the self-test, or live snapshots of the real machine,
// chosen by environment variables and run once, after which the program quits.
namespace Harness {

enum class Kind { snapshot, selfTest, liveSnapshot };

struct Run {
    Kind kind = Kind::snapshot;
    QString dir;
    bool operator==(const Run&) const = default;
};

// The environment variable's value, absent when it is not set.
using Lookup = std::function<std::optional<QString>(const char* name)>;

// At most one harness, in this order: VITREK_SNAPSHOT_DIR, VITREK_SELFTEST, VITREK_LIVE_SNAPSHOT_DIR.
std::optional<Run> choose(const Lookup& variable);
// `choose` on the process environment.
std::optional<Run> fromEnvironment();

// Runs `run` on the main thread against the started `store`, then quits the application: with 0, or 1
// when the self-test found a failure.
void start(const Run& run, Store& store);

} // namespace Harness

} // namespace vitrek
