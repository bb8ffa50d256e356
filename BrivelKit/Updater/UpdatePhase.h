#pragma once

#include "Updater/UpdateFeed.h"

#include <optional>
#include <string>

namespace brivel {

// Where the updater stands. `feed` is set for available, downloading and ready; `fraction` (0…1) only
// means something while downloading; `message` only when failed.
struct UpdatePhase {
    enum class Kind { available, downloading, ready, failed, idle, checking, upToDate };

    Kind kind = Kind::idle;
    std::optional<UpdateFeed> feed;
    double fraction = 0;
    std::string message;

    bool operator==(const UpdatePhase&) const = default;

    static UpdatePhase available(UpdateFeed feed) { return {Kind::available, std::move(feed), 0, {}}; }
    static UpdatePhase downloading(UpdateFeed feed, double fraction) {
        return {Kind::downloading, std::move(feed), fraction, {}};
    }
    static UpdatePhase ready(UpdateFeed feed) { return {Kind::ready, std::move(feed), 0, {}}; }
    static UpdatePhase failed(std::string message) { return {Kind::failed, std::nullopt, 0, std::move(message)}; }
    static UpdatePhase idle() { return {}; }
    static UpdatePhase checking() { return {Kind::checking, std::nullopt, 0, {}}; }
    static UpdatePhase upToDate() { return {Kind::upToDate, std::nullopt, 0, {}}; }
};

} // namespace brivel
