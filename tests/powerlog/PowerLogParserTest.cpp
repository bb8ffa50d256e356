#include "powerlog/PowerLogParser.h"

#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

namespace vitrek {
namespace {

using test::at;
namespace Parser = PowerLogParser;

constexpr const char* kReplacement = "\xEF\xBF\xBD";
const Instant kDate = at("2024-01-15T22:10:05+01:00");

TEST(PowerLogParserTest, DatesAreReadFromFixedColumnsWithTheirOffset) {
    const std::pair<const char*, const char*> cases[] = {
        {"2024-01-15 22:10:05 +0100", "2024-01-15T21:10:05Z"},
        {"2024-01-15 22:10:05 -0330 Sleep", "2024-01-16T01:40:05Z"},
        {"2024-01-15 22:10:05x+0000", "2024-01-15T22:10:05Z"}, // byte 19 is never looked at
        {"2024-04-31 12:00:00 +0000", "2024-05-01T12:00:00Z"},
        {"2024-02-29 23:59:60 +0000", "2024-03-01T00:00:00Z"},
        {"1999-12-31 23:00:00 -9999", "2000-01-05T03:39:00Z"}, // no range on the zone
        {"2024-13-15 22:10:05 +0100", nullptr},
        {"2024-01-32 22:10:05 +0100", nullptr},
        {"2024-01-15 24:10:05 +0100", nullptr},
        {"2024-01-15 22:60:05 +0100", nullptr},
        {"2024-01-15 22:10:61 +0100", nullptr},
        {"2024-01-15T22:10:05 +0100", nullptr},
        {"2024-01-15 22:10:05 0100 ", nullptr},
        {"2024-01-15 22:10:05 +01a0", nullptr},
        {"2024-01-15 22:10:05 +010", nullptr},
    };
    for (const auto& [text, expected] : cases) {
        EXPECT_EQ(Parser::parseDate(text), expected ? std::optional{at(expected)} : std::nullopt) << text;
    }
}

TEST(PowerLogParserTest, DurationsNeedThreeNonNegativeNumbers) {
    const std::pair<const char*, double> cases[] = {
        {"00:10:05", 605}, {"1:2:3.5", 3723.5}, {"00:00:00.25", 0.25}, {"10:05", 0},
        {"x:10:05", 0},    {"00:-1:00", 0},     {"1:2:3:4", 0},        {"::", 0},
        {"", 0},           {"1e1:0:0", 0},      {"00:10:05 ", 0},      {"inf:0:0", 0},
    };
    for (const auto& [text, seconds] : cases) {
        EXPECT_EQ(Parser::parseDuration(text), seconds) << text;
    }
}

TEST(PowerLogParserTest, PowerSourceFollowsUsing) {
    const std::tuple<const char*, std::optional<bool>, std::optional<int>> cases[] = {
        {"due to 'Idle' Using Batt (Charge:52%) 6833 secs", true, 52},
        {"Using AC (Charge:100%)", false, 100},
        {"Using BATT (Charge:25%)", std::nullopt, 25}, // the letter case of "Batt" matters
        {"Using AC (Charge: 80%)", false, std::nullopt},
        {"Charge:80% Using UPS", std::nullopt, std::nullopt},
        {"Using AC (Charge:99999999999%)", false, std::nullopt},
        {"no source named", std::nullopt, std::nullopt},
    };
    for (const auto& [text, onBattery, charge] : cases) {
        EXPECT_EQ(Parser::powerSource(text), std::pair(onBattery, charge)) << text;
    }
}

TEST(PowerLogParserTest, StateRecordsGiveKindAndCause) {
    using enum PowerEventKind;
    const std::tuple<const char*, const char*, PowerEventKind, const char*> cases[] = {
        {"Sleep", "Entering Sleep state due to 'Idle Sleep': Using AC (Charge:0%)", sleep, "Idle Sleep"},
        {"Sleep", "Entering DarkWake state due to 'Software Sleep pid=165':TCPKeepAlive=disabled", enterDark,
         "Software Sleep pid=165"},
        {"Sleep", "Entering Sleep state due to 'Clamshell Sleep", sleep, ""},
        {"Sleep", "Entering Sleep state due to Idle", sleep, ""},
        {"Wake", "DarkWake to FullWake from Normal Sleep [CDNVA] : due to UserActivity Assertion Using AC",
         darkToFull, "UserActivity Assertion"},
        {"Wake", "DarkWake from Normal Sleep [CDN] : due to GLAN/ Using AC (Charge:100%)", darkWake, "GLAN/"},
        {"DarkWake", "Wake from Normal Sleep : due to \t RTC/Maintenance \n", darkWake, "RTC/Maintenance"},
        {"Wake", "Wake from Normal Sleep [CDNVA] : due to PWRB/User", wake, "PWRB/User"},
        {"Wake", "Wake from Normal Sleep [CDNVA]", wake, ""},
        {"Start", "powerd process is started due to 'x'", boot, "Mac started up"},
    };
    for (const auto& [type, message, kind, cause] : cases) {
        const auto event = Parser::parseStateEvent(type, message, kDate);
        EXPECT_EQ(event, (PowerEvent{kDate, kind, message, cause, event.onBattery, event.charge})) << message;
    }
}

TEST(PowerLogParserTest, ReleasesNeedAnEndVerbASleepBlockingTypeAndAPid) {
    // Most rows are process "x", pid 7, PreventSystemSleep.
    const auto release = [](double duration, const char* name, std::int32_t pid = 7,
                            const char* process = "x", const char* type = "PreventSystemSleep") {
        return std::optional{AssertionRelease{kDate, duration, pid, process, type, name}};
    };
    const std::pair<const char*, std::optional<AssertionRelease>> cases[] = {
        {R"(PID 206(coreaudiod) Released PreventUserIdleSystemSleep "audio" 00:12:47  id:0x1 [System: kDisp])",
         release(767, "audio", 206, "coreaudiod", "PreventUserIdleSystemSleep")},
        {R"(PID 7(x) TimedOut PreventSystemSleep "say "hi" now" 00:00:05)", release(5, R"(say "hi" now)")},
        {R"(PID 7(x) TurnedOff PreventSystemSleep "a"  5 b" 00:00:05)", release(0, "a")},
        {R"(PID 7(x) ClientDied NoIdleSleepAssertion "end")",
         release(0, "end", 7, "x", "NoIdleSleepAssertion")},
        {R"(PID 7(x) Released PreventSystemSleep "never closed 00:00:05)", release(0, "")},
        {"PID 7(x) Released PreventSystemSleep 00:01:00 unnamed", release(60, "")},
        {R"(PID 5(a (b))   Released PreventSystemSleep "n"   00:00:02)", release(2, "n", 5, "a (b)")},
        // The name must follow the type's blank at once; after two blanks the quote is part of the rest.
        {R"(PID 7(x) Released PreventSystemSleep  "n" 00:00:02)", release(0, "")},
        {R"(PID 2147483647(x) Released PreventSystemSleep "n")", release(0, "n", 2147483647)},
        {R"(PID 2147483648(x) Released PreventSystemSleep "n")", std::nullopt},
        {R"(PID (x) Released PreventSystemSleep "n")", std::nullopt},
        {R"(PID 12a(x) Released PreventSystemSleep "n")", std::nullopt},
        {R"(PID 7(x) Created PreventSystemSleep "n" 00:00:00)", std::nullopt},
        {R"(PID 7(x) Summary PreventSystemSleep "n" 00:00:00)", std::nullopt},
        {R"(PID 7(x) Released PreventUserIdleDisplaySleep "n" 00:00:00)", std::nullopt},
        {"PID 7(x) Released PreventSystemSleep", std::nullopt},
        {R"(PID 7(x)Released PreventSystemSleep "n")", std::nullopt},
        {R"(PID 7 x) Released PreventSystemSleep "n")", std::nullopt},
        {R"(Summary- PID 7(x) Released PreventSystemSleep "n")", std::nullopt},
    };
    for (const auto& [message, expected] : cases) {
        EXPECT_EQ(Parser::parseRelease(message, kDate), expected) << message;
    }
}

TEST(PowerLogParserTest, WakeRequestEntriesAreBracketedAndNeedAProcess) {
    const auto requests = Parser::parseWakeRequests(
        R"([*process=powerd request=UserWake deltaSecs=1 wakeAt=2024-01-16 07:00:00 info="alarm [x], 7"] )"
        R"([process=dasd request=TimerPlugin wakeAt=2024-01-16 07:30:00] [request=Orphan info="no process"] )"
        R"([process="quoted name" wakeAt=soon] [process=late info="unclosed] [process=last)",
        kDate, "+0100", Calendar::utc());
    const std::vector<WakeRequest> expected{
        {kDate, "powerd", "UserWake", at("2024-01-16T07:00:00+01:00"), "alarm [x], 7", true},
        {kDate, "dasd", "TimerPlugin", at("2024-01-16T07:30:00+01:00"), "", false},
        {kDate, "quoted name", "", std::nullopt, "", false},
        {kDate, "late", "", std::nullopt, "unclosed", false},
        {kDate, "last", "", std::nullopt, "", false},
    };
    EXPECT_EQ(requests, expected);
    EXPECT_TRUE(Parser::parseWakeRequests("no entries", kDate, "+0100", Calendar::utc()).empty());
}

TEST(PowerLogParserTest, WakeTimesFallBackToTheCalendarsZoneWhenTheLineHasNone) {
    // The user's zone is neither of the calendars', so reading it instead would show.
    const test::UserZone userZone{"Pacific/Chatham"};
    const auto kolkata = test::zone("Asia/Kolkata"), newfoundland = test::zone("America/St_Johns");
    EXPECT_EQ(Parser::logZone(kDate, kolkata), "+0530");
    for (const char* notAZone : {"0100", "+01000", "+01:0", ""}) {
        const auto requests =
            Parser::parseWakeRequests("[process=p wakeAt=2024-01-16 07:00:00]", kDate, notAZone, kolkata);
        ASSERT_EQ(requests.size(), 1u);
        EXPECT_EQ(requests[0].wakeAt, at("2024-01-16T07:00:00+05:30")) << notAZone;
    }
    EXPECT_EQ(Parser::logZone(at("2024-01-15T12:00:00Z"), newfoundland), "-0330");
    EXPECT_EQ(Parser::logZone(at("2024-07-15T12:00:00Z"), newfoundland), "-0230");
}

TEST(PowerLogParserTest, RecordedLogsYieldEveryTabbedRecordAndSkipOnlyLinesWithoutATab) {
    // File, then its events, requests, releases and display changes, its first date and skipped lines.
    using Count = std::size_t;
    const std::tuple<const char*, Count, Count, Count, Count, const char*, int> cases[] = {
        // The assertions here are created, or block only display sleep; the first date is the Sleep record's.
        {"intel-nuc8i5beh-2021-software-sleep-wake-requests.log", 1, 4, 0, 0, "2021-03-21T22:51:49+01:00", 0},
        {"thinkpad-t480-2020-clamshell-battery-overnight.log", 1, 1, 0, 1, "2020-08-29T08:11:59+08:00", 0},
        {"dell-precision-m3800-2021-clamshell-ac.log", 9, 0, 0, 0, "2021-01-21T18:56:24+01:00", 0},
        // Pasted without TABs: all 18 of its lines that begin with a date are skipped, and nothing else.
        {"dell-t3610-desktop-2021-sleep-sections.log", 0, 0, 0, 0, nullptr, 18},
    };
    for (const auto& [file, events, requests, releases, display, firstDate, skipped] : cases) {
        SCOPED_TRACE(file);
        const auto log = Parser::parse(test::readTestData(std::string{"pmset/"} + file));
        EXPECT_EQ(std::tuple(log.events.size(), log.requests.size(), log.releases.size(), log.display.size(),
                             log.firstDate, log.skippedLines),
                  std::tuple(events, requests, releases, display,
                             firstDate ? std::optional{at(firstDate)} : std::nullopt, skipped));
    }
}

TEST(PowerLogParserTest, OutOfOrderLinesComeBackSortedAndStable) {
    const auto log = Parser::parse(test::readTestData("pmset/out-of-order-crlf.log"));
    std::vector<std::pair<PowerEventKind, Instant>> events;
    std::ranges::transform(log.events, std::back_inserter(events),
                           [](auto& e) { return std::pair(e.kind, e.date); });
    using enum PowerEventKind;
    EXPECT_EQ(events, (std::vector<std::pair<PowerEventKind, Instant>>{
                          {sleep, at("2024-01-15T23:00:00+01:00")},
                          {darkWake, at("2024-01-16T03:00:00+01:00")}, // before the Sleep of the same second
                          {sleep, at("2024-01-16T03:00:00+01:00")},
                          {wake, at("2024-01-16T06:30:00+01:00")}}));
    // The carriage return is gone before the message is read.
    EXPECT_EQ(log.events.back().raw, "Wake from Normal Sleep [CDNVA] : due to EC.LidOpen/Lid Open Using Batt "
                                     "(Charge:71%) 2 secs");
    EXPECT_EQ(log.display, (std::vector<DisplayChange>{{at("2024-01-15T22:59:58+01:00"), false},
                                                       {at("2024-01-16T06:30:05+01:00"), true}}));
    // The powerd request was logged at 22:00:01 UTC, though its clock reading looks later.
    EXPECT_EQ(
        std::tuple(log.requests.at(0).process, log.requests.at(1).wakeAt, log.releases.at(0).start(),
                   log.releases.at(1).process),
        std::tuple("powerd", at("2024-01-15T23:00:00Z"), at("2024-01-15T21:58:00+01:00"), "coreaudiod"));
    EXPECT_EQ(log.firstDate, at("2024-01-15T23:00:00+01:00"));

    // Enough records that a sort could reorder equal dates; log order must survive.
    std::string text;
    for (int i = 0; i < 64; ++i) {
        text += std::string{i % 2 ? "2024-01-15 23:00:00" : "2024-01-15 22:00:00"} + " +0100 Wake\t" +
                std::to_string(i) + "\n";
    }
    std::vector<int> order;
    std::ranges::transform(Parser::parse(text).events, std::back_inserter(order),
                           [](auto& e) { return std::stoi(e.raw); });
    ASSERT_EQ(order.size(), 64u);
    EXPECT_TRUE(order[0] == 0 && std::is_sorted(order.begin(), order.begin() + 32) &&
                std::is_sorted(order.begin() + 32, order.end()));
}

TEST(PowerLogParserTest, InvalidUtf8BecomesReplacementCharacters) {
    const auto log = Parser::parse(test::readTestData("pmset/invalid-utf8.log"));
    EXPECT_EQ(log.events.at(0).cause, std::string{kReplacement} + "/Lid Open");
    // The log's last line has no line feed and ends in a cut-off four-byte sequence: one replacement.
    EXPECT_TRUE(log.events[0].raw.ends_with(std::string{"(Charge:100%) "} + kReplacement));
    EXPECT_EQ(log.releases.at(0).process, std::string{"caf\xC3\xA9"} + kReplacement);
    EXPECT_EQ(log.releases[0].name, std::string{"n"} + kReplacement + kReplacement + "me"); // overlong: two
}

TEST(PowerLogParserTest, MalformedLinesAreCountedOnlyWhenTheyLookLikeStateRecords) {
    const auto log = Parser::parse(test::readTestData("pmset/malformed-lines.log"));
    // Counted: the 28-byte and the spaces-only line, and bad dates under Wake, Start and Wake Requests.
    // Ignored: the 27-byte line, and bad dates under Notification, Assertions and other types.
    EXPECT_EQ(log.skippedLines, 5);
    std::vector<std::string> raws;
    std::ranges::transform(log.events, std::back_inserter(raws), &PowerEvent::raw);
    EXPECT_EQ(raws, (std::vector<std::string>{"DarkWake from Normal Sleep [CDN] : due to RTC/Maintenance", "",
                                              "Wake from Normal Sleep [CDNVA] : due to PWRB/User"}));
    EXPECT_TRUE(log.requests.empty() && log.releases.empty() && log.display.empty());
    // "Sleeping" is no state record, but it dates the log until a state record comes earlier; later
    // other records no longer count, even an earlier one.
    EXPECT_EQ(log.firstDate, at("2024-01-15T20:30:00+01:00"));
}

} // namespace
} // namespace vitrek
