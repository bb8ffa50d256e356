#pragma once

#include "Updater/UpdatePhase.h"
#include "Updater/UpdateSource.h"

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace brivel {

// What the update window and the settings section say, as pure functions of the updater's state, so
// the widgets only lay them out.
namespace UpdateTexts {

// What the window's detail area shows below the title.
enum class Detail { spinner, progress, lines };

// A line of the detail; `warning` lines are drawn in orange, `secondary` ones in the secondary colour.
struct Line {
    enum class Style { body, secondary, warning };
    std::string text;
    Style style = Style::body;
    bool operator==(const Line&) const = default;
};

enum class Action { close, downloadAndInstall, openDownloadPage, restartNow };

struct Button {
    std::string label;
    Action action = Action::close;
    bool operator==(const Button&) const = default;
};

// The updater's facts the texts depend on besides the phase.
struct Context {
    std::string appName;
    std::string currentVersion;
    bool canInstallInPlace = true;
    bool hasPublicKey = false;
    UpdateSource source = UpdateSource::feed;
    bool operator==(const Context&) const = default;
};

struct Window {
    std::string title;
    Detail detail = Detail::lines;
    std::vector<Line> lines;   // for Detail::lines
    double fraction = 0;       // for Detail::progress, 0…1
    std::vector<Button> buttons;   // in order; the last is the default action
    bool operator==(const Window&) const = default;
};

// Without a feed, where new versions come from: "Updates come from your package manager (apt)." or
// "This build has no update feed."; empty with a feed.
std::string sourceLine(UpdateSource source);

// The window's content for a phase; without a feed, whatever the phase, where updates come from.
Window window(const UpdatePhase& phase, const Context& context);

// The feed's notes, else "You have " + current version + ".".
std::string notes(const UpdateFeed& feed, const std::string& currentVersion);

// Whether "Download & Install" is offered (else "Open Download Page").
bool offersDownload(const UpdateFeed& feed, const Context& context);

// The settings section's status line for a phase; for idle "Last checked " + relative date + ".", or
// empty when never checked.
std::string updateStatus(const UpdatePhase& phase,
                         std::optional<std::chrono::system_clock::time_point> lastChecked,
                         std::chrono::system_clock::time_point now);

// A named relative date with wide units, as English text: "now", "5 minutes ago", "yesterday",
// "last week", "in 2 hours"…
std::string relativeDate(std::chrono::system_clock::time_point date, std::chrono::system_clock::time_point now);

} // namespace UpdateTexts
} // namespace brivel
