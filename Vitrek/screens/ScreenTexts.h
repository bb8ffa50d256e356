#pragma once

#include "Theme.h"
#include "history/Day.h"
#include "history/History.h"
#include "powerlog/Night.h"
#include "powerlog/NightSource.h"
#include "readings/Reading.h"
#include "scores/MacAge.h"
#include "scores/Sample.h"
#include "scores/Stress.h"
#include "scores/Vital.h"
#include "time/Instant.h"

#include <array>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace vitrek {

class Calendar;

// Every text the main window and the tray panel show, and the condition that chooses it, as pure functions
// of the Store's values. The widgets only paint what these return.
namespace Texts {

// A figure with one decimal, as the dials and cards show strain and age ("13.9").
std::string oneDecimal(double value);

// Placeholders and fixed lines.
inline constexpr const char* kMissing = "–"; // a missing dial or card value
inline constexpr const char* kReadingComputer = "Reading your computer…";
inline constexpr const char* kRecoveryHelp =
    "How ready your computer is today: battery health, free storage, memory, temperature, time since a restart "
    "and last night's rest.";
inline constexpr const char* kStrainHelp =
    "How hard your computer worked today, 0–21: processor load over time, with extra for running warm. Vitrek "
    "measures it once a minute while it's open or in the tray, so turn on Open at login in Settings to "
    "count the whole day.";
inline constexpr const char* kRestHelp =
    "How well your computer slept last night: wake-ups, time spent awake and battery lost, read from the system's own "
    "records of sleep and wake.";

// One dial with its label and sub-line. `fraction` is absent when the dial has no value.
struct Dial {
    std::optional<double> fraction;
    std::string value;
    Theme::Role color = Theme::Role::ink3;
    std::string label;
    std::string sub;
    bool operator==(const Dial&) const = default;
};

// "Ready for a heavy day" from 67, "Take it easy today" from 34, else "Needs some care".
std::string recoveryWord(int recovery);
// "All-out" from 18, "Strenuous" from 14, "Moderate" from 10, else "Light".
std::string strainWord(double strain);
// The strain sub-line: "First reading in under a minute" without strain; "Light · since 9:14" while the
// reading is less than two hours after the first sample; else "Light · 45 min busy".
std::string strainLine(std::optional<double> strain, std::optional<Instant> measuredSince,
                       std::optional<Instant> readingDate, double heavy, const Calendar& calendar);
// What the Store knows of where the nights come from, besides the night itself.
struct NightStatus {
    bool loading = false;
    bool recording = false; // Vitrek keeps its own record of the nights from now on
    NightSourceKind source = NightSourceKind::none;
    std::optional<Instant> recordedSince;
    std::string problem; // why the journal could not be read, with the fix; empty when it could
};

// Where a rest line is shown. The share card is shorter than the Today screen and knows no status.
enum class RestLinePlace { screen, card };
// The rest sub-line: "Reading last night…"; with a night "3 wakes · −4% battery", "1 wake · plugged in"
// ("plugged in" never on the card), "0 wakes"; without one "Vitrek records nights from now on" while
// recording, "Can't read nights · see Health" when the journal has a problem, else "No night recorded yet"
// ("No night yet" on the card).
std::string restLine(const NightStatus& status, const std::optional<Night>& night,
                     RestLinePlace place = RestLinePlace::screen);
// Where Rest's nights come from, with the journal's problem after it: "Recorded by Vitrek since 12 Nov",
// "Nights read from the system journal", "Nights from the system journal and recorded by Vitrek since 12
// Nov", "Vitrek records nights from now on"; the date has its year when it is not `now`'s. Empty when there
// is nothing to say.
std::string nightSourceLine(const NightStatus& status, Instant now, const Calendar& calendar);

Dial recoveryDial(bool hasReading, int recovery);
Dial strainDial(std::optional<double> strain, std::optional<Instant> measuredSince,
                std::optional<Instant> readingDate, double heavy, const Calendar& calendar);
Dial restDial(const NightStatus& status, const std::optional<Night>& night);

// Header: the model name ("Your computer" before the first reading) and today's long date.
std::string modelName(const std::optional<Reading>& reading);
std::string headerDate(Instant today, const Calendar& calendar);
// The streak badge is shown from 2 days on; its help is "15 days in a row".
bool showsStreak(int streak);
std::string streakHelp(int streak);

// Tabs: labels "Today", "Health"; help "Today (Ctrl+1)" with the shortcut's native text.
enum class Tab { today, health };
std::string tabLabel(Tab tab);
std::string tabHelp(Tab tab, const std::string& shortcut);
// Toolbar help with the shortcut's native text: "Share today's card as an image (Ctrl+Shift+S)",
// "Read your computer again (Ctrl+R)".
std::string shareHelp(const std::string& shortcut);
std::string refreshHelp(const std::string& shortcut);

// The milestone the banner shows: the one the streak has reached unless it is the one last dismissed.
std::optional<int> bannerMilestone(int streak, int seenMilestone);
// "Vitrek has checked your computer 15 days in a row. Next: 1 month in 15 days."
std::string milestoneDetail(int streak);
inline constexpr const char* kMilestoneKicker = "Milestone";
inline constexpr const char* kMilestoneCloseHelp = "Hide this milestone";

// "Right on its age", "4 months younger", "1.3 years older", "Not known yet" without an age.
std::string ageDifference(const std::optional<MacAge>& age);
// ink3 without an age, ink2 right on its age, good when younger, poor when older.
Theme::Role ageTint(const std::optional<MacAge>& age);
// Vitrek Age over real age, 1.0 for a real age of 0.05 year or less; absent without an age.
std::optional<double> pace(const std::optional<MacAge>& age);

struct AgeMini {
    std::string value;   // "3.4" or "–"
    std::string line;    // ageDifference
    Theme::Role lineTint = Theme::Role::ink3;
    std::string caption; // "Ageing at 1.2× pace" or "Set its date in Settings"
    bool operator==(const AgeMini&) const = default;
};
AgeMini ageMini(const std::optional<MacAge>& age);

struct HealthMini {
    std::string headline; // "Within range" or "2 to check"
    Theme::Role tint = Theme::Role::good;
    std::string caption; // "4/5 metrics"
    bool operator==(const HealthMini&) const = default;
};
HealthMini healthMini(const std::vector<Vital>& vitals);

struct StressMini {
    std::string value; // "42%" or "–"
    std::string label; // "Low", "Medium", "High" or "Measuring"
    Theme::Role labelTint = Theme::Role::strain;
    std::string caption; // "45 min high today"
    bool operator==(const StressMini&) const = default;
};
StressMini stressMini(std::optional<double> stressNow, double heavy);

inline constexpr const char* kAgeMiniTitle = "Vitrek Age";
inline constexpr const char* kHealthMiniTitle = "Health Monitor";
inline constexpr const char* kStressMiniTitle = "Stress Monitor";

// Factors card.
inline constexpr const char* kFactorsKicker = "What's behind your recovery";

// History card: the last 14 days (all when fewer); bars only with more than one day.
inline constexpr const char* kHistoryKicker = "Last 14 days";
inline constexpr const char* kHistoryEmpty = "Your recovery shows up here day by day.";
inline constexpr const char* kAverage = "Average";
std::span<const Day> shownDays(const History& history);
// "2026-11-16: recovery 72%, strain 8.4" (the strain only when the day has one).
std::string dayHelp(const Day& day);
// The bar's height in points: recovery × 1.2, at least 6.
double barHeight(int recovery);
// The integer average recovery of the days followed by "%"; "–" for none.
std::string averageRecovery(std::span<const Day> days);

// The tip card's text: the tip, or "Reading your computer…" while it is empty.
std::string tipText(const std::string& tip);

// Health tab: the orb.
inline constexpr const char* kOrbKicker = "VITREK AGE";
inline constexpr const char* kOrbHelp =
    "Vitrek's own estimate: your computer's real age, plus or minus time for how it's been treated. Set the date "
    "you got it in Settings.";
inline constexpr const char* kOrbNoAge = "Set the date you got this computer in Settings to see its Vitrek Age.";
// "Real age 3.4 years, since you got it on 4 Mar 2024", "Real age 2 years, set up 4 Mar 2024",
// "Real age about 3 years, from its model year".
std::string realLine(const MacAge& age, const Calendar& calendar);
// The orb's years with one decimal, or "–".
std::string orbYears(std::optional<double> years);
// The pill: "Right on its age" within a month, else "4 months younger" / "1.3 years older"; empty without a gap.
std::string orbPill(std::optional<double> gap);
QColor orbPillColor(std::optional<double> gap);
QColor orbTint(std::optional<double> gap);
// "Vitrek Age 3.4 years, 4 months younger", or "Vitrek Age unknown" without years.
std::string orbAccessibleName(std::optional<double> years, std::optional<double> gap);

// Pace card.
inline constexpr const char* kPaceKicker = "Pace of ageing";
inline constexpr const char* kPaceCaption =
    "1× is the usual pace for a computer that's used normally. Below 1×, it's ageing more slowly than the calendar.";
// "No change vs last week", "2 months younger than last week"; absent without an age or last week's gap.
std::optional<std::string> weekLine(const std::optional<MacAge>& age, std::optional<double> lastWeekGap);
// "1.2×" or "–".
std::string paceValue(std::optional<double> pace);
// "Ageing at 1.2 times the usual pace" or "Pace unknown".
std::string paceAccessibleName(std::optional<double> pace);
// The scale's geometry on a canvas `width` wide: tick i of 41 is centred at 1 + (width − 2) × i / 40; the
// 4-wide marker's left edge is at (width − 4) × min(pace / 2, 1), 0 for a negative pace.
double paceTickX(int tick, double width);
double paceMarkerLeft(double pace, double width);

// Age factors.
inline constexpr const char* kAgeFactorsKicker = "What's making it younger or older";
inline constexpr const char* kAgeFactorsNone = "Nothing unusual: it's ageing at a normal pace.";
// "−4 months" when younger, "+1.3 years" when older.
std::string ageFactorAmount(double years);

// Health Monitor card.
inline constexpr const char* kHealthKicker = "Health Monitor";
inline constexpr const char* kHealthChecked = "Checked every minute";
// "Memory: 62%. Healthy range: Under 80%."; "Temp: not measured on this computer. …" without a value.
std::string vitalHelp(const Vital& vital);
// "Memory 62%, within range" / "…, outside range" / "Temp, not measured".
std::string vitalAccessibleName(const Vital& vital);
// "4/5 within range".
std::string healthFooter(const std::vector<Vital>& vitals);
// "Memory: healthy is under 80% · Storage: healthy is …"; empty when every vital is in range.
std::string outOfRangeLine(const std::vector<Vital>& vitals);

// Stress Monitor card.
inline constexpr const char* kStressKicker = "Stress Monitor";
inline constexpr const char* kStressHelp =
    "High stress is time the processor was more than half busy. Vitrek measures it once a minute while it's "
    "open or in the tray.";
inline constexpr const char* kStressToday = "Today's high stress";
inline constexpr const char* kStressHours = "hrs";
struct StressComparison {
    bool more = false;      // arrowtriangle.up.fill in fair when more, down in good when less or equal
    std::string text;       // "45 min less than a typical Tuesday"
    bool operator==(const StressComparison&) const = default;
};
// Absent without a typical value. The weekday is of `day` (the latest reading's date, or today).
std::optional<StressComparison> stressComparison(double heavy, const std::optional<Stress::Typical>& typical,
                                                 Instant day, const Calendar& calendar);
// "Now: Low · 12% busy"; absent without a current stress.
std::optional<std::string> stressNowLine(std::optional<double> stressNow);

inline constexpr const char* kHealthFootnote =
    "Vitrek Age, the Health Monitor and the Stress Monitor are Vitrek's own estimates from what Linux tells any "
    "app. They aren't the maker's diagnostics and can't find a fault inside your computer.";

// The tray icon's tool tip: "Vitrek · Recovery 72%".
std::string trayToolTip(int recovery);
// The tray panel's buttons and the tray's context menu.
inline constexpr const char* kOpenVitrek = "Open Vitrek";
inline constexpr const char* kQuit = "Quit";
inline constexpr const char* kSettingsMenu = "Settings…";

// The Settings window.
inline constexpr const char* kGeneralTab = "General";
inline constexpr const char* kUpdatesTab = "Updates";
inline constexpr const char* kHowItWorksTab = "How It Works";
inline constexpr const char* kMetricsTab = "Metrics";
inline constexpr const char* kShowInMenuBar = "Show Vitrek in the tray";
// Under the tray setting when the desktop has no tray.
inline constexpr const char* kNoTray =
    "This desktop shows no tray icons, so closing the window quits Vitrek. On GNOME, the AppIndicator "
    "extension adds them.";
inline constexpr const char* kOpenAtLogin = "Open Vitrek when you log in";
inline constexpr const char* kOpenAtLoginCaption =
    "Strain is measured while Vitrek is open or in the tray, once a minute. Opening it at login gives a "
    "full day.";
inline constexpr const char* kAgeSection = "Vitrek Age";
inline constexpr const char* kSetBought = "Set the date I got this computer";
inline constexpr const char* kGotItOn = "Got it on";
inline constexpr const char* kSetBoughtCaption =
    "Otherwise Vitrek uses the day the system was first set up on this computer, which a clean reinstall resets.";
inline constexpr const char* kMetricsSection = "Prometheus";
inline constexpr const char* kMetricsFolder = "Folder";
inline constexpr const char* kMetricsOff = "Off";
inline constexpr const char* kChooseFolder = "Choose…";
// Under the metrics folder: `file` is the file written there, "vitrek-USER.prom".
std::string metricsCaption(const std::string& file);

// The long definitions of the figures, shown under "How It Works", then the privacy note.
struct GlossaryEntry {
    const char* title;
    const char* text;
};
extern const std::array<GlossaryEntry, 5> kGlossary;
// The Rest entry, which the nights' source follows.
inline constexpr std::size_t kGlossaryRest = 2;

} // namespace Texts

// The stress monitor's big number.
namespace StressFmt {
// Whole minutes as "%d:%02d" hours and minutes: 5,400 s → "1:30".
std::string clock(double seconds);
} // namespace StressFmt

// The stress chart's geometry, apart from painting.
namespace StressChartModel {
inline constexpr double kBucket = 600;   // ten-minute points
inline constexpr double kBreak = 1800;   // a gap wider than this breaks the line
inline constexpr const char* kPlaceholder = "The day's stress shows up here as Vitrek measures it.";
inline constexpr const char* kHighLabel = "High";
inline constexpr const char* kAccessibleName = "Today's processor load chart";

struct Span {
    Instant start; // floored to the hour
    Instant end;   // the end of the last hour
    double seconds() const { return secondsBetween(start, end); }
    bool operator==(const Span&) const = default;
};
// From the hour holding the earlier of the first point (or now − 6 h without points) and now − 6 h, to the
// end of the hour holding the later of now and the last point; at least an hour.
Span span(std::span<const Stress::Point> points, Instant now, const Calendar& calendar);
// The runs of the load line: neighbours more than 1,800 s apart start a new run.
std::vector<std::vector<Stress::Point>> runs(std::span<const Stress::Point> points);
// The whole hours within the span; those whose local hour is a multiple of three carry a label.
struct HourMark {
    Instant date;
    bool labelled = false;
    bool operator==(const HourMark&) const = default;
};
std::vector<HourMark> hourMarks(const Span& span, const Calendar& calendar);
} // namespace StressChartModel

} // namespace vitrek
