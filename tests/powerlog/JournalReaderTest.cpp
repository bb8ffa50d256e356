#include "powerlog/JournalReader.h"

#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <string>
#include <tuple>
#include <vector>

namespace vitrek {
namespace {

using test::at;

constexpr const char* kReplacement = "\xEF\xBF\xBD";
const Instant kNow = at("2024-09-01T12:00:00Z");
const std::string kStamp = R"("__REALTIME_TIMESTAMP":"1700000000123456")";
const Instant kStampDate = at("2023-11-14T22:13:20.123456Z");

JournalRecords readUtc(const std::string& text, Instant now = kNow) {
    return JournalReader::readText(text, now, Calendar::utc());
}

std::vector<Instant> datesOf(const std::string& text, Instant now,
                             const Calendar& calendar = Calendar::utc()) {
    std::vector<Instant> dates;
    std::ranges::transform(JournalReader::readText(text, now, calendar).records, std::back_inserter(dates),
                           &JournalRecord::date);
    return dates;
}

TEST(JournalReaderTest, JsonFieldsAreDecodedInAnyOrder) {
    const std::pair<std::string, JournalRecord> cases[] = {
        {R"j({"MESSAGE":"PM: suspend entry (deep)","_BOOT_ID":"b1","__MONOTONIC_TIMESTAMP":"5000000",)j"
         R"("__CURSOR":"s=4db4;i=1","SYSLOG_IDENTIFIER":"kernel",)" +
             kStamp + "}",
         {kStampDate, "b1", "kernel", "PM: suspend entry (deep)"}},
        {"{" + kStamp + R"(, "_COMM" : "systemd-sleep", "MESSAGE" : "a\"b\\c\/d\te\n\n")" +
             R"(, "PRIORITY": 6, "_X": [1, {"y": null}], "_Y": true})",
         {kStampDate, "", "systemd-sleep", "a\"b\\c/d\te"}},
        {"{" + kStamp + R"(,"_TRANSPORT":"kernel","MESSAGE":"caf\u00e9 \ud83d\ude00 \ud800x \udc00")" + "}",
         {kStampDate, "", "kernel",
          std::string{"caf\xC3\xA9 \xF0\x9F\x98\x80 "} + kReplacement + "x " + kReplacement}},
        // Bytes that are not UTF-8 come as numbers; a field given twice as an array of its values.
        {"{" + kStamp + R"(,"MESSAGE":[76,105,100,255,10],"SYSLOG_IDENTIFIER":["logind","x"],)" +
             R"("_COMM":"ignored","_BOOT_ID":null})",
         {kStampDate, "", "logind", std::string{"Lid"} + kReplacement}},
        {"{" + kStamp + R"(,"MESSAGE":null,"_TRANSPORT":"journal","SYSLOG_IDENTIFIER":"",)" +
             R"("_BOOT_ID":["b2","b3"],"MESSAGE":"second copy of a key"})",
         {kStampDate, "b2", "", ""}},
        // The stamp may come as a bare number.
        {R"({"__REALTIME_TIMESTAMP":1700000000123456,"MESSAGE":"m"})", {kStampDate, "", "", "m"}},
        {"{" + kStamp + ",\"MESSAGE\":\"raw \xC3\x28 bytes\\u12\"}",
         {kStampDate, "", "", std::string{"raw "} + kReplacement + "( bytes" + kReplacement + "12"}},
    };
    for (const auto& [line, expected] : cases) {
        const auto records = JournalReader::readJson(line + "\n");
        EXPECT_EQ(records, (JournalRecords{{expected}, kStampDate, 0})) << line;
    }
}

// A field of another type than journalctl writes damages the record: its message cannot be trusted.
TEST(JournalReaderTest, JsonLinesWithoutAnObjectAStampOrTextFieldsAreCounted) {
    const std::string good = "{" + kStamp + R"(,"MESSAGE":"ok"})";
    const char* const bad[] = {
        "not json",
        R"({"MESSAGE":"no stamp"})",
        R"({"__REALTIME_TIMESTAMP":"17e5","MESSAGE":"x"})",
        R"({"__REALTIME_TIMESTAMP":null})",
        R"({"__REALTIME_TIMESTAMP":"-5"})",
        R"({"__REALTIME_TIMESTAMP":"1700000000123456","MESSAGE":"cut off)",
        R"({"__REALTIME_TIMESTAMP":"1700000000123456"} trailing)",
        R"({"__REALTIME_TIMESTAMP":"1700000000123456","MESSAGE":nul})",
        R"({"__REALTIME_TIMESTAMP":"1700000000123456",})",
        R"(["__REALTIME_TIMESTAMP","1700000000123456"])",
        "{}",
        R"({"__REALTIME_TIMESTAMP":"1700000000123456","MESSAGE":[300]})",
        R"({"__REALTIME_TIMESTAMP":"1700000000123456","MESSAGE":{"text":"x"}})",
        R"({"__REALTIME_TIMESTAMP":"1700000000123456","MESSAGE":"x","SYSLOG_IDENTIFIER":7})",
    };
    std::string text = good + "\n\n   \r\n";
    for (const char* line : bad) {
        text += std::string{line} + "\r\n";
    }
    const auto records = JournalReader::readJson(text + good);
    EXPECT_EQ(records.records.size(), 2u);
    EXPECT_EQ(records.skippedLines, std::ssize(bad));
}

TEST(JournalReaderTest, TextFormsGiveTheSameRecords) {
    const Instant date = at("2024-08-01T20:50:01Z");
    const Instant precise = at("2024-08-01T20:50:01.123456Z");
    const std::tuple<const char*, Instant, const char*> cases[] = {
        {"2024-08-01T22:50:01+0200 pop-os systemd-sleep[4480]: Entering sleep state 'suspend'...", date,
         "systemd-sleep"},
        {"2024-08-01T16:50:01-04:00 pop-os systemd-sleep: Entering sleep state 'suspend'...", date,
         "systemd-sleep"},
        {"2024-08-01T20:50:01.123456Z pop-os kernel: Entering sleep state 'suspend'...", precise, "kernel"},
        {"Aug 01 20:50:01 pop-os my app[1]: Entering sleep state 'suspend'...  ", date, "my app"},
        {"aug  1 20:50:01.123456 pop-os kernel: Entering sleep state 'suspend'...", precise, "kernel"},
        // Without a host name the first word after the date is the identifier.
        {"2024-08-01T20:50:01+00:00 systemd-logind[7]: Entering sleep state 'suspend'...", date,
         "systemd-logind"},
        {"Aug 01 20:50:01 kernel: Entering sleep state 'suspend'...", date, "kernel"},
    };
    for (const auto& [line, expected, identifier] : cases) {
        EXPECT_EQ(
            readUtc(line),
            (JournalRecords{{{expected, "", identifier, "Entering sleep state 'suspend'..."}}, expected, 0}))
            << line;
    }
    EXPECT_EQ(readUtc("Aug 01 20:50:01 host kernel:").records.at(0).message, "");
    EXPECT_EQ(readUtc("Aug 01 20:50:01 host kernel: a: b").records.at(0).message, "a: b");
    // Bytes that are not UTF-8 are replaced, in the identifier too.
    EXPECT_EQ(readUtc("Aug 01 20:50:01 h id\xFF[1]: caf\xC3\xA9 \xE2\x82 \xF0\x9F\x98\n").records.at(0),
              (JournalRecord{date, "", std::string{"id"} + kReplacement,
                             std::string{"caf\xC3\xA9 "} + kReplacement + " " + kReplacement}));
}

TEST(JournalReaderTest, MarkersStartBootsAndNonEntriesAreIgnored) {
    const auto records = readUtc("-- Logs begin at Thu 2024-08-01 20:00:00 UTC. --\n"
                                 "$ journalctl -b\n"
                                 "3.5 GHz, 16 GB: plenty\n"
                                 "Aug 01 20:50:01 host a: one\n"
                                 "    a continuation: 12 10:00:00\n"
                                 "-- Reboot --\n"
                                 "Aug 01 20:51:01 host b: two\n"
                                 "-- Boot 0a1b2c3d4e5f  --\n"
                                 "Aug 01 20:52:01 host c: three\n"
                                 "-- No entries --\n"
                                 "-- Reboot --\n"
                                 "Aug 01 20:53:01 host d: four\n");
    std::vector<std::pair<std::string, std::string>> boots;
    std::ranges::transform(records.records, std::back_inserter(boots),
                           [](auto& r) { return std::pair(r.identifier, r.boot); });
    EXPECT_EQ(boots, (std::vector<std::pair<std::string, std::string>>{
                         {"a", ""}, {"b", "reboot-1"}, {"c", "0a1b2c3d4e5f"}, {"d", "reboot-3"}}));
    EXPECT_EQ(records.skippedLines, 0);
}

TEST(JournalReaderTest, ShortFormYearIsTheLatestThatKeepsTheLastLineBeforeNow) {
    const std::string newYear = "Dec 31 23:59:00 h k: a\nJan 01 00:01:00 h k: b\n";
    // A day of slack for a machine in another zone; a later last line belongs to the year before.
    for (const char* now : {"2024-01-05T00:00:00Z", "2023-12-31T00:02:00Z"}) {
        EXPECT_EQ(datesOf(newYear, at(now)),
                  (std::vector{at("2023-12-31T23:59:00Z"), at("2024-01-01T00:01:00Z")}));
    }
    EXPECT_EQ(datesOf(newYear, at("2023-12-30T23:59:00Z")),
              (std::vector{at("2022-12-31T23:59:00Z"), at("2023-01-01T00:01:00Z")}));
    // 29 February of a year that has none is counted; a last line on that day goes back to a leap year.
    EXPECT_EQ(readUtc("Feb 29 10:00:00 h k: a\nMar 01 10:00:00 h k: b\n", at("2023-06-01T00:00:00Z")),
              (JournalRecords{{{at("2023-03-01T10:00:00Z"), "", "k", "b"}}, at("2023-03-01T10:00:00Z"), 1}));
    EXPECT_EQ(datesOf("Nov 30 10:00:00 h k: a\nFeb 29 10:00:00 h k: b\n", at("2026-06-01T00:00:00Z")),
              (std::vector{at("2023-11-30T10:00:00Z"), at("2024-02-29T10:00:00Z")}));
}

TEST(JournalReaderTest, ShortFormIsWallClockTimeInTheCalendar) {
    const auto dates = datesOf("Mar 31 01:59:59 h k: before the gap\n"
                               "Mar 31 02:30:00 h k: in the skipped hour\n"
                               "Oct 27 02:30:00 h k: summer time\n"
                               "Oct 27 02:10:00 h k: the hour again, winter time\n"
                               "Oct 27 03:00:00 h k: after\n",
                               at("2024-12-01T00:00:00Z"), test::berlin());
    EXPECT_EQ(dates, (std::vector{at("2024-03-31T01:59:59+01:00"), at("2024-03-31T03:00:00+02:00"),
                                  at("2024-10-27T02:30:00+02:00"), at("2024-10-27T02:10:00+01:00"),
                                  at("2024-10-27T03:00:00+01:00")}));
}

TEST(JournalReaderTest, MonthNamesOfEuropeanLocales) {
    const std::pair<const char*, const char*> cases[] = {
        {"Jan", "01"},  {"janv.", "01"}, {"ene", "01"},   {"gen", "01"},   {"févr.", "02"}, {"fev", "02"},
        {"Mär", "03"},  {"mrt", "03"},   {"MARS", "03"},  {"avril", "04"}, {"abr", "04"},   {"Mai", "05"},
        {"mei", "05"},  {"mag", "05"},   {"juin", "06"},  {"giu", "06"},   {"juil.", "07"}, {"lug", "07"},
        {"août", "08"}, {"ago", "08"},   {"sept.", "09"}, {"set", "09"},   {"Okt", "10"},   {"ott", "10"},
        {"out", "10"},  {"déc.", "12"},  {"Dez", "12"},   {"dic", "12"},
    };
    for (const auto& [month, number] : cases) {
        const auto records = readUtc(std::string{month} + " 05 10:00:00 h k: m", at("2024-12-31T00:00:00Z"));
        EXPECT_EQ(records.records.at(0).date, at(std::string{"2024-"} + number + "-05T10:00:00Z")) << month;
    }
    // Unknown or unreadable dates count, and so do journalctl's forms without a wall-clock date; the
    // non-ASCII initial is not folded.
    for (const char* line :
         {"1795107731.482913 x260 kernel: m", "Thu 2026-11-19 18:02:11 CET x260 kernel: m",
          "[    5.123456] x260 kernel: m", "[12345.123456 <    0.000123>] x260 kernel: m",
          "Aout 05 10:00:00 h k: m", "DÉC 05 10:00:00 h k: m", "Feb 30 10:00:00 h k: m",
          "Aug 05 24:00:00 h k: m", "Aug 05 10:00:00.x h k: m", "Aug 05 10:00:00 no colon",
          "2024-08-05T10:00:00 h k: m", "2024-08-05T10:00:00+2 h k: m", "2024-02-30 h k: m"}) {
        EXPECT_EQ(readUtc(line), (JournalRecords{{}, std::nullopt, 1})) << line;
    }
}

TEST(JournalReaderTest, ReadTellsTheFormsApartByTheFirstCharacter) {
    const std::string json = "\n  {" + kStamp + R"(,"MESSAGE":"m"})";
    EXPECT_EQ(JournalReader::read(json, kNow, Calendar::utc()), JournalReader::readJson(json));
    const std::string text = "\nNov 14 22:13:20 h k: m";
    EXPECT_EQ(JournalReader::read(text, kNow, Calendar::utc()).firstDate, at("2023-11-14T22:13:20Z"));
    EXPECT_EQ(JournalReader::read("", kNow, Calendar::utc()), JournalRecords{});
}

} // namespace
} // namespace vitrek
