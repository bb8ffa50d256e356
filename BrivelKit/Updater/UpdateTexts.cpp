#include "Updater/UpdateTexts.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace brivel::UpdateTexts {

namespace {

using Style = Line::Style;

constexpr std::int64_t kMinute = 60;
constexpr std::int64_t kHour = 60 * kMinute;
constexpr std::int64_t kDay = 24 * kHour;

// A phase that should carry a feed but doesn't still gets a window, only with empty names.
const UpdateFeed& feedOf(const UpdatePhase& phase) {
    static const UpdateFeed kNone;
    return phase.feed ? *phase.feed : kNone;
}

double clampedFraction(double fraction) {
    if (std::isnan(fraction)) {
        return 0;
    }
    return std::clamp(fraction, 0.0, 1.0);
}

Button ok() { return {"OK", Action::close}; }
Button later() { return {"Later", Action::close}; }

// "N units ago" or "in N units", singular for one.
std::string counted(std::int64_t count, const std::string& unit, bool past) {
    const auto amount = std::to_string(count) + " " + unit + (count == 1 ? "" : "s");
    return past ? amount + " ago" : "in " + amount;
}

} // namespace

std::string notes(const UpdateFeed& feed, const std::string& currentVersion) {
    return feed.notes ? *feed.notes : "You have " + currentVersion + ".";
}

bool offersDownload(const UpdateFeed& feed, const Context& context) {
    return feed.download.has_value() && context.hasPublicKey && context.canInstallInPlace;
}

std::string sourceLine(UpdateSource source) {
    switch (source) {
    case UpdateSource::feed:
        return {};
    case UpdateSource::packageManager:
        return "Updates come from your package manager (apt).";
    case UpdateSource::none:
        return "This build has no update feed.";
    }
    return {};
}

Window window(const UpdatePhase& phase, const Context& context) {
    const auto& app = context.appName;
    const auto installed = app + " " + context.currentVersion;
    switch (context.source) {
    case UpdateSource::feed:
        break;
    case UpdateSource::packageManager:
        return {sourceLine(context.source),
                Detail::lines,
                {{installed + " came with the system’s packages; apt brings its new versions with theirs.",
                  Style::body}},
                0,
                {ok()}};
    case UpdateSource::none:
        return {sourceLine(context.source),
                Detail::lines,
                {{installed + " can’t look for new versions by itself. Build a newer one from its source.",
                  Style::body}},
                0,
                {ok()}};
    }
    const auto& feed = feedOf(phase);
    switch (phase.kind) {
    case UpdatePhase::Kind::idle:
    case UpdatePhase::Kind::checking:
        return {"Checking for updates…", Detail::spinner, {}, 0, {ok()}};
    case UpdatePhase::Kind::upToDate:
        return {"You’re up to date",
                Detail::lines,
                {{installed + " is the newest version.", Style::body}},
                0,
                {ok()}};
    case UpdatePhase::Kind::available: {
        std::vector<Line> lines{{notes(feed, context.currentVersion), Style::secondary}};
        if (!context.canInstallInPlace) {
            lines.push_back({app + " can’t replace itself in the folder it runs from. Install it in a folder "
                             "you own, such as ~/.local/opt, to get updates automatically.",
                             Style::warning});
        }
        const auto install = offersDownload(feed, context)
                                 ? Button{"Download & Install", Action::downloadAndInstall}
                                 : Button{"Open Download Page", Action::openDownloadPage};
        return {app + " " + feed.version + " is available",
                Detail::lines,
                std::move(lines),
                0,
                {later(), install}};
    }
    case UpdatePhase::Kind::downloading:
        return {"Downloading " + app + " " + feed.version + "…",
                Detail::progress,
                {},
                clampedFraction(phase.fraction),
                {ok()}};
    case UpdatePhase::Kind::ready:
        return {app + " " + feed.version + " is ready",
                Detail::lines,
                {{notes(feed, context.currentVersion), Style::secondary},
                 {"It installs automatically the next time you quit " + app + ".", Style::body}},
                0,
                {later(), {"Restart Now", Action::restartNow}}};
    case UpdatePhase::Kind::failed:
        return {"Update problem", Detail::lines, {{phase.message, Style::body}}, 0, {ok()}};
    }
    return {};
}

std::string updateStatus(const UpdatePhase& phase,
                         std::optional<std::chrono::system_clock::time_point> lastChecked,
                         std::chrono::system_clock::time_point now) {
    const auto& version = feedOf(phase).version;
    switch (phase.kind) {
    case UpdatePhase::Kind::available:
        return "Version " + version + " is available.";
    case UpdatePhase::Kind::downloading: {
        // Whole percent, truncated, so 100% only shows once every byte is in. The tiny bias keeps
        // fractions such as 0.29, which are a hair below their decimal in binary, from showing one less.
        const auto percent = static_cast<int>(std::floor(clampedFraction(phase.fraction) * 100 + 1e-9));
        return "Downloading " + version + "… " + std::to_string(percent) + "%";
    }
    case UpdatePhase::Kind::ready:
        return "Version " + version + " installs when you quit.";
    case UpdatePhase::Kind::failed:
        return phase.message;
    case UpdatePhase::Kind::checking:
        return "Checking…";
    case UpdatePhase::Kind::upToDate:
        return "You’re up to date.";
    case UpdatePhase::Kind::idle:
        return lastChecked ? "Last checked " + relativeDate(*lastChecked, now) + "." : "";
    }
    return {};
}

// Elapsed time picks the largest unit that fits, truncating toward zero: under 1 s is "now"; then
// seconds, minutes and hours; 1 day is "yesterday"/"tomorrow", 2–6 days are counted; 7–13 days are
// "last/next week", 14–29 days whole weeks; 30–59 days "last/next month", then 30-day months up to 11;
// 365–729 days "last/next year", then 365-day years.
std::string relativeDate(std::chrono::system_clock::time_point date,
                         std::chrono::system_clock::time_point now) {
    const auto elapsed = std::chrono::duration_cast<std::chrono::seconds>(now - date).count();
    const bool past = elapsed > 0;
    const std::int64_t seconds = past ? elapsed : -elapsed;
    const auto named = [past](const char* unit) { return std::string(past ? "last " : "next ") + unit; };

    if (seconds < 1) {
        return "now";
    }
    if (seconds < kMinute) {
        return counted(seconds, "second", past);
    }
    if (seconds < kHour) {
        return counted(seconds / kMinute, "minute", past);
    }
    if (seconds < kDay) {
        return counted(seconds / kHour, "hour", past);
    }
    const auto days = seconds / kDay;
    if (days == 1) {
        return past ? "yesterday" : "tomorrow";
    }
    if (days < 7) {
        return counted(days, "day", past);
    }
    if (days < 14) {
        return named("week");
    }
    if (days < 30) {
        return counted(days / 7, "week", past);
    }
    if (days < 60) {
        return named("month");
    }
    if (days < 365) {
        return counted(std::min<std::int64_t>(days / 30, 11), "month", past);
    }
    if (days < 2 * 365) {
        return named("year");
    }
    return counted(days / 365, "year", past);
}

} // namespace brivel::UpdateTexts
