#include "screens/ScreenTexts.h"

#include "history/Milestone.h"
#include "scores/Fmt.h"
#include "scores/Recovery.h"
#include "scores/Strain.h"
#include "scores/Rounding.h"
#include "scores/VFmt.h"
#include "time/Calendar.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace vitrek {

namespace {

// Within a month either way an age counts as right on.
constexpr double kRightOnYears = 1.0 / 12.0;
// Measuring for less than this long, the strain sub-line says since when instead of the busy time.
constexpr double kFreshMeasuring = 7'200;
constexpr std::size_t kHistoryDays = 14;
constexpr const char* kMinus = "−";
constexpr const char* kMiddleDot = " · ";

bool rightOnItsAge(double years) { return std::fabs(years) < kRightOnYears; }

std::string percentOf(double fraction) { return std::to_string(roundHalfAway(fraction * 100)) + "%"; }

std::string withShortcut(const std::string& label, const std::string& shortcut) {
    return label + " (" + shortcut + ")";
}

int inRangeCount(const std::vector<Vital>& vitals) {
    return static_cast<int>(std::count_if(vitals.begin(), vitals.end(), [](const Vital& v) { return v.within(); }));
}

// A vital nobody could measure counts neither way.
int measuredCount(const std::vector<Vital>& vitals) {
    return static_cast<int>(
        std::count_if(vitals.begin(), vitals.end(), [](const Vital& v) { return v.measured(); }));
}

// Ranges are written as sentences ("Under 80%") but read mid-line here; they start with ASCII letters.
std::string lowerFirst(std::string text) {
    if (!text.empty() && text[0] >= 'A' && text[0] <= 'Z') {
        text[0] = static_cast<char>(text[0] - 'A' + 'a');
    }
    return text;
}

} // namespace

namespace Texts {

std::string oneDecimal(double value) { return printfText("%.1f", value); }

std::string recoveryWord(int recovery) { return std::string(Recovery::word(recovery)); }

std::string strainWord(double strain) { return std::string(Strain::word(strain)); }

std::string strainLine(std::optional<double> strain, std::optional<Instant> measuredSince,
                       std::optional<Instant> readingDate, double heavy, const Calendar& calendar) {
    if (!strain) {
        return "First reading in under a minute";
    }
    const std::string word = strainWord(*strain);
    // Early in the day the busy time says little; when the counting began says more.
    if (measuredSince && readingDate && secondsBetween(*measuredSince, *readingDate) < kFreshMeasuring) {
        return word + " · since " + Fmt::time(*measuredSince, calendar);
    }
    return word + kMiddleDot + VFmt::hours(heavy) + " busy";
}

std::string restLine(const NightStatus& status, const std::optional<Night>& night, RestLinePlace place) {
    if (status.loading) {
        return "Reading last night…";
    }
    if (!night && status.recording) {
        return "Vitrek records nights from now on";
    }
    if (!night && !status.problem.empty()) {
        // The fix is a sentence with a command: too long for under a dial.
        return "Can't read nights · see Health";
    }
    if (!night) {
        return place == RestLinePlace::card ? "No night yet" : "No night recorded yet";
    }
    const int wakes = night->wakeCount();
    std::string line = std::to_string(wakes) + (wakes == 1 ? " wake" : " wakes");
    if (const auto lost = night->lost()) {
        line += kMiddleDot + std::string(kMinus) + std::to_string(*lost) + "% battery";
    } else if (night->pluggedIn && place == RestLinePlace::screen) {
        line += std::string(kMiddleDot) + "plugged in";
    }
    return line;
}

std::string nightSourceLine(const NightStatus& status, Instant now, const Calendar& calendar) {
    std::string since;
    if (status.recordedSince) {
        const auto local = calendar.local(*status.recordedSince);
        const auto today = calendar.local(now);
        const bool thisYear = local && today && local->year == today->year;
        since = " since " + (thisYear ? Fmt::dayMonth(*status.recordedSince, calendar)
                                      : Fmt::date(*status.recordedSince, calendar));
    }
    std::string line;
    switch (status.source) {
    case NightSourceKind::none:
        if (status.recording) {
            line = "Vitrek records nights from now on";
        }
        break;
    case NightSourceKind::journal:
        line = "Nights read from the system journal";
        break;
    case NightSourceKind::vitrek:
        line = "Recorded by Vitrek" + since;
        break;
    case NightSourceKind::both:
        line = "Nights from the system journal and recorded by Vitrek" + since;
        break;
    }
    if (status.problem.empty()) {
        return line;
    }
    return line.empty() ? status.problem : line + ". " + status.problem;
}

Dial recoveryDial(bool hasReading, int recovery) {
    if (!hasReading) {
        return Dial{std::nullopt, kMissing, Theme::Role::ink3, "Recovery", kReadingComputer};
    }
    return Dial{recovery / 100.0, std::to_string(recovery) + "%", Theme::color(Theme::recoveryBand(recovery)),
                "Recovery", recoveryWord(recovery)};
}

Dial strainDial(std::optional<double> strain, std::optional<Instant> measuredSince,
                std::optional<Instant> readingDate, double heavy, const Calendar& calendar) {
    return Dial{strain ? std::optional<double>{*strain / 21} : std::nullopt,
                strain ? oneDecimal(*strain) : kMissing, Theme::Role::strain, "Strain",
                strainLine(strain, measuredSince, readingDate, heavy, calendar)};
}

Dial restDial(const NightStatus& status, const std::optional<Night>& night) {
    std::optional<double> fraction;
    std::string value = kMissing;
    if (night) {
        const int score = RestScore::score(*night);
        fraction = score / 100.0;
        value = std::to_string(score) + "%";
    }
    return Dial{fraction, value, Theme::Role::rest, "Rest", restLine(status, night)};
}

std::string modelName(const std::optional<Reading>& reading) {
    if (!reading || reading->model.empty()) {
        return "Your computer";
    }
    return reading->model;
}

std::string headerDate(Instant today, const Calendar& calendar) { return Fmt::longDay(today, calendar); }

bool showsStreak(int streak) { return streak > 1; }

std::string streakHelp(int streak) { return std::to_string(streak) + " days in a row"; }

std::string tabLabel(Tab tab) {
    switch (tab) {
    case Tab::today:
        return "Today";
    case Tab::health:
        return "Health";
    }
    return "Today";
}

std::string tabHelp(Tab tab, const std::string& shortcut) { return withShortcut(tabLabel(tab), shortcut); }

std::string shareHelp(const std::string& shortcut) {
    return withShortcut("Share today's card as an image", shortcut);
}

std::string refreshHelp(const std::string& shortcut) { return withShortcut("Read your computer again", shortcut); }

std::optional<int> bannerMilestone(int streak, int seenMilestone) {
    const auto reached = Milestone::reached(streak);
    if (!reached || *reached == seenMilestone) {
        return std::nullopt;
    }
    return reached;
}

std::string milestoneDetail(int streak) {
    std::string detail = "Vitrek has checked your computer " + std::to_string(streak) + " days in a row.";
    const auto next = Milestone::next(streak);
    if (!next) {
        return detail;
    }
    std::string title = Milestone::title(*next);
    constexpr std::string_view kSuffix = " of check-ups";
    if (const auto at = title.find(kSuffix); at != std::string::npos) {
        title.erase(at, kSuffix.size());
    }
    const int days = *next - streak;
    return detail + " Next: " + title + " in " + std::to_string(days) + (days == 1 ? " day." : " days.");
}

std::string ageDifference(const std::optional<MacAge>& age) {
    return age ? VFmt::ageDifference(age->difference()) : "Not known yet";
}

Theme::Role ageTint(const std::optional<MacAge>& age) {
    if (!age) {
        return Theme::Role::ink3;
    }
    const double difference = age->difference();
    if (rightOnItsAge(difference)) {
        return Theme::Role::ink2;
    }
    return difference < 0 ? Theme::Role::good : Theme::Role::poor;
}

std::optional<double> pace(const std::optional<MacAge>& age) {
    if (!age) {
        return std::nullopt;
    }
    return age->pace();
}

AgeMini ageMini(const std::optional<MacAge>& age) {
    if (!age) {
        return AgeMini{kMissing, ageDifference(age), ageTint(age), "Set its date in Settings"};
    }
    return AgeMini{oneDecimal(age->vitrekYears()), ageDifference(age), ageTint(age),
                   printfText("Ageing at %.1f× pace", age->pace())};
}

HealthMini healthMini(const std::vector<Vital>& vitals) {
    const int inRange = inRangeCount(vitals);
    const int total = measuredCount(vitals);
    const std::string caption = std::to_string(inRange) + "/" + std::to_string(total) + " metrics";
    if (inRange == total) {
        return HealthMini{"Within range", Theme::Role::good, caption};
    }
    return HealthMini{std::to_string(total - inRange) + " to check", Theme::Role::fair, caption};
}

StressMini stressMini(std::optional<double> stressNow, double heavy) {
    const std::string caption = VFmt::hours(heavy) + " high today";
    if (!stressNow) {
        return StressMini{kMissing, "Measuring", Theme::Role::strain, caption};
    }
    const auto level = Stress::level(*stressNow);
    return StressMini{percentOf(*stressNow), std::string(Stress::rawValue(level)),
                      level == Stress::Level::high ? Theme::Role::fair : Theme::Role::strain, caption};
}

std::span<const Day> shownDays(const History& history) {
    const std::span<const Day> days{history.days};
    return days.last(std::min(days.size(), kHistoryDays));
}

std::string dayHelp(const Day& day) {
    std::string help = day.id + ": recovery " + std::to_string(day.recovery) + "%";
    if (day.strain) {
        help += ", strain " + oneDecimal(*day.strain);
    }
    return help;
}

double barHeight(int recovery) { return std::max(recovery * 1.2, 6.0); }

std::string averageRecovery(std::span<const Day> days) {
    if (days.empty()) {
        return kMissing;
    }
    long long sum = 0;
    for (const auto& day : days) {
        sum += day.recovery;
    }
    return std::to_string(sum / static_cast<long long>(days.size())) + "%";
}

std::string tipText(const std::string& tip) { return tip.empty() ? kReadingComputer : tip; }

std::string realLine(const MacAge& age, const Calendar& calendar) {
    const std::string years = VFmt::age(age.realYears);
    switch (age.source) {
    case MacAge::Source::bought:
        return "Real age " + years + ", since you got it on " + Fmt::date(age.since, calendar);
    case MacAge::Source::setUp:
        return "Real age " + years + ", set up " + Fmt::date(age.since, calendar);
    case MacAge::Source::modelYear:
        return "Real age about " + years + ", from its model year";
    }
    return "Real age " + years;
}

std::string orbYears(std::optional<double> years) { return years ? oneDecimal(*years) : kMissing; }

std::string orbPill(std::optional<double> gap) { return gap ? VFmt::ageDifference(*gap) : std::string{}; }

QColor orbPillColor(std::optional<double> gap) {
    // Without a gap no pill is drawn; the neutral colour keeps the answer harmless.
    if (!gap || rightOnItsAge(*gap)) {
        return QColor::fromRgbF(0.749f, 0.851f, 0.961f);
    }
    if (*gap < 0) {
        return QColor::fromRgbF(0.486f, 0.941f, 0.706f);
    }
    return QColor::fromRgbF(0.965f, 0.808f, 0.522f);
}

QColor orbTint(std::optional<double> gap) {
    if (!gap) {
        return QColor::fromRgbF(0.420f, 0.455f, 0.490f);
    }
    if (rightOnItsAge(*gap)) {
        return QColor::fromRgbF(0.435f, 0.718f, 1.0f);
    }
    if (*gap < 0) {
        return Theme::color(Theme::Role::good);
    }
    return QColor::fromRgbF(0.929f, 0.667f, 0.227f);
}

std::string orbAccessibleName(std::optional<double> years, std::optional<double> gap) {
    if (!years) {
        return "Vitrek Age unknown";
    }
    std::string name = printfText("Vitrek Age %.1f years", *years);
    if (gap) {
        name += ", " + orbPill(gap);
    }
    return name;
}

std::optional<std::string> weekLine(const std::optional<MacAge>& age, std::optional<double> lastWeekGap) {
    if (!age || !lastWeekGap) {
        return std::nullopt;
    }
    const double change = age->difference() - *lastWeekGap;
    if (rightOnItsAge(change)) {
        return "No change vs last week";
    }
    return VFmt::age(std::fabs(change)) + (change < 0 ? " younger" : " older") + " than last week";
}

std::string paceValue(std::optional<double> pace) { return pace ? printfText("%.1f×", *pace) : kMissing; }

std::string paceAccessibleName(std::optional<double> pace) {
    return pace ? printfText("Ageing at %.1f times the usual pace", *pace) : "Pace unknown";
}

double paceTickX(int tick, double width) { return 1 + (width - 2) * tick / 40.0; }

double paceMarkerLeft(double pace, double width) {
    const double fraction = pace < 0 ? 0 : std::min(pace / 2, 1.0);
    return (width - 4) * fraction;
}

std::string ageFactorAmount(double years) { return (years < 0 ? kMinus : "+") + VFmt::age(std::fabs(years)); }

std::string vitalHelp(const Vital& vital) {
    if (!vital.measured()) {
        return vital.title + ": not measured on this computer. Healthy range: " + vital.range + ".";
    }
    return vital.title + ": " + vital.value + ". Healthy range: " + vital.range + ".";
}

std::string vitalAccessibleName(const Vital& vital) {
    if (!vital.measured()) {
        return vital.title + ", not measured";
    }
    return vital.title + " " + vital.value + ", " + (vital.within() ? "within range" : "outside range");
}

std::string healthFooter(const std::vector<Vital>& vitals) {
    return std::to_string(inRangeCount(vitals)) + "/" + std::to_string(measuredCount(vitals)) + " within range";
}

std::string outOfRangeLine(const std::vector<Vital>& vitals) {
    std::string line;
    for (const auto& vital : vitals) {
        if (!vital.measured() || vital.within()) {
            continue;
        }
        line += (line.empty() ? "" : kMiddleDot) + vital.title + ": healthy is " + lowerFirst(vital.range);
    }
    return line;
}

std::optional<StressComparison> stressComparison(double heavy, const std::optional<Stress::Typical>& typical,
                                                 Instant day, const Calendar& calendar) {
    if (!typical) {
        return std::nullopt;
    }
    const double difference = heavy - typical->seconds;
    const bool more = difference > 0;
    const std::string other = typical->sameWeekday ? Fmt::weekday(day, calendar) : "day";
    return StressComparison{more, VFmt::hours(std::fabs(difference)) + (more ? " more" : " less") +
                                      " than a typical " + other};
}

std::optional<std::string> stressNowLine(std::optional<double> stressNow) {
    if (!stressNow) {
        return std::nullopt;
    }
    return "Now: " + std::string(Stress::rawValue(Stress::level(*stressNow))) + kMiddleDot +
           percentOf(*stressNow) + " busy";
}

std::string trayToolTip(int recovery) { return "Vitrek · Recovery " + std::to_string(recovery) + "%"; }

const std::array<GlossaryEntry, 5> kGlossary{{
    {"Recovery",
     "How ready your computer is today, 0–100%. A weighted mix of battery health (20), free storage (25), memory "
     "pressure (20), temperature (15), days since a restart (10) and last night's rest (10). 67% and up is "
     "green, 34–66% amber."},
    {"Strain",
     "How hard your computer worked today, 0–21. It adds up processor load minute by minute, with extra for time "
     "spent warm or hot, and gets harder to push near the top. Measured while Vitrek runs."},
    {"Rest",
     "How well your computer slept last night, from the system's own records of sleep and wake: wake-ups, time spent awake and "
     "battery lost."},
    {"Vitrek Age",
     "Your computer's real age (since you got it, or since the system was first set up), plus or minus time for how "
     "it's been treated: battery health against what's usual for its age, charge cycles a year, how full the "
     "disk is, average recovery and strain, and restarts. Vitrek's own estimate, not a maker's figure."},
    {"Privacy",
     "Vitrek only reads the numbers Linux gives every app, and nothing leaves your computer except the check for "
     "updates."},
}};

std::string metricsCaption(const std::string& file) {
    return "After every check-up, Vitrek also writes its figures to " + file +
           " in this folder, for node_exporter’s textfile collector to pass on to Prometheus. Empty is off.";
}

} // namespace Texts

namespace StressFmt {

std::string clock(double seconds) {
    const auto minutes = std::max<std::int64_t>(clampToInt64(std::floor(seconds / 60)), 0);
    char buffer[48];
    std::snprintf(buffer, sizeof buffer, "%d:%02d", static_cast<int>(minutes / 60),
                  static_cast<int>(minutes % 60));
    return buffer;
}

} // namespace StressFmt

namespace StressChartModel {

namespace {

constexpr double kHour = 3'600;
constexpr double kDefaultWindow = 21'600; // the chart always shows at least the last six hours

// The start of the local hour holding `instant`. Subtracting the local minutes and seconds, rather than
// asking for hour:00 of the day, stays right in zones with half-hour offsets and in the repeated autumn hour.
Instant startOfHour(Instant instant, const Calendar& calendar) {
    const double unix = unixSeconds(instant);
    const double fraction = unix - std::floor(unix);
    if (const auto local = calendar.local(instant)) {
        return instant - Seconds{local->minute * 60.0 + local->second + fraction};
    }
    return fromUnixSeconds(std::floor(unix / kHour) * kHour);
}

} // namespace

Span span(std::span<const Stress::Point> points, Instant now, const Calendar& calendar) {
    const Instant sixHoursAgo = now - Seconds{kDefaultWindow};
    const Instant first = points.empty() ? sixHoursAgo : points.front().date;
    const Instant last = points.empty() ? now : std::max(now, points.back().date);
    const Instant start = startOfHour(std::min(first, sixHoursAgo), calendar);
    Instant end = startOfHour(last, calendar) + Seconds{kHour};
    if (secondsBetween(start, end) < kHour) {
        end = start + Seconds{kHour};
    }
    return Span{start, end};
}

std::vector<std::vector<Stress::Point>> runs(std::span<const Stress::Point> points) {
    std::vector<std::vector<Stress::Point>> result;
    for (std::size_t i = 0; i < points.size(); ++i) {
        if (i == 0 || secondsBetween(points[i - 1].date, points[i].date) > kBreak) {
            result.emplace_back();
        }
        result.back().push_back(points[i]);
    }
    return result;
}

std::vector<HourMark> hourMarks(const Span& span, const Calendar& calendar) {
    std::vector<HourMark> marks;
    // Re-flooring each step keeps the marks on local whole hours even where an offset change is not a whole
    // hour.
    for (Instant hour = startOfHour(span.start, calendar); hour <= span.end;
         hour = startOfHour(hour + Seconds{kHour}, calendar)) {
        if (hour < span.start) {
            continue;
        }
        const auto local = calendar.local(hour);
        marks.push_back(HourMark{hour, local && local->hour % 3 == 0});
    }
    return marks;
}

} // namespace StressChartModel

} // namespace vitrek
