#include "cli/NightsCommand.h"

#include "support/TestSupport.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <array>
#include <sstream>

namespace vitrek::cli {
namespace {

struct Run {
    int status = 0;
    std::string out;
    std::string err;
};

Run nightsCommand(std::vector<std::string> arguments, std::istream& in,
                  NightLog system = {}) {
    std::ostringstream out;
    std::ostringstream err;
    CommandContext context{in, out, err, [] { return test::at("2024-03-06T12:00:00+01:00"); },
                           [system](Instant, NightSourceChoice) { return system; }};
    arguments.insert(arguments.begin(), "nights");
    const int status = run(arguments, context);
    return {status, out.str(), err.str()};
}

Run nightsCommand(std::vector<std::string> arguments, const std::string& input = "",
                  NightLog system = {}) {
    std::istringstream in(input);
    return nightsCommand(std::move(arguments), in, std::move(system));
}

// Standard input that never ends: short lines, forever.
class EndlessLines : public std::streambuf {
protected:
    int_type underflow() override {
        for (std::size_t i = 0; i < m_chunk.size(); i += 2) {
            m_chunk[i] = 'x';
            m_chunk[i + 1] = '\n';
        }
        setg(m_chunk.data(), m_chunk.data(), m_chunk.data() + m_chunk.size());
        return traits_type::to_int_type(m_chunk[0]);
    }

private:
    std::array<char, 4096> m_chunk{};
};

std::string dataPath(const char* name) { return std::string(VITREK_TEST_DATA) + "/pmset/" + name; }

// Inputs that cannot be read, are larger than a log may be or end long before --now.
TEST(NightsCommandTest, RefusesWhatItCannotUseWithOneLineAndStatusTwo) {
    const auto log = dataPath("one-night-maintenance-wake.log");
    const struct {
        std::vector<std::string> arguments;
        std::string message;
    } rows[] = {
        {{"--tz", "Mars/Base", "--log", "-"}, "vitrek: nights: unknown time zone 'Mars/Base'\n"},
        {{"--log", "/nonexistent/power.log"},
         "vitrek: cannot read /nonexistent/power.log: No such file or directory\n"},
        {{"--journal", "/nonexistent/journal.json"},
         "vitrek: cannot read /nonexistent/journal.json: No such file or directory\n"},
        {{"--log", "/dev/zero"}, "vitrek: nights: /dev/zero is over 256 MiB, the most a log may hold\n"},
        {{"--journal", "/dev/zero"}, "vitrek: nights: /dev/zero is over 256 MiB, the most a log may hold\n"},
        {{"--log", log, "--tz", "Europe/Berlin", "--now", "2024-03-08T07:00:00+01:00"},
         "vitrek: nights: --now is 3 days after the last power record of " + log +
             " (2024-03-05 06:50); give a time at most 3 days after it\n"},
        {{"--tz", "Europe/Berlin", "--now", "2024-03-10T12:00:00+01:00"},
         "vitrek: nights: --now is 4 days in the future (it is 2024-03-06 12:00); give a time at most 3 days "
         "ahead\n"},
        // A mistake the command table finds is answered like those.
        {{"--log", "a.log", "--journal", "b.json"},
         "vitrek: nights: --log and --journal name two different logs; give one\n"},
    };
    for (const auto& row : rows) {
        const auto result = nightsCommand(row.arguments);
        EXPECT_EQ(result.status, 2);
        EXPECT_EQ(result.err, row.message);
        EXPECT_EQ(result.out, "");
    }
}

TEST(NightsCommandTest, StopsReadingEndlessStandardInput) {
    EndlessLines endless;
    std::istream endlessInput(&endless);
    const auto endlessResult = nightsCommand({"--log", "-"}, endlessInput);
    EXPECT_EQ(endlessResult.status, 2);
    EXPECT_EQ(endlessResult.err, "vitrek: nights: standard input is over 256 MiB, the most a log may hold\n");

    const auto longLine = nightsCommand({"--journal", "-"}, "{}\n" + std::string(kMaxLogLine, 'x') + "\n" +
                                                                std::string(kMaxLogLine + 1, 'x'));
    EXPECT_EQ(longLine.status, 2);
    EXPECT_EQ(longLine.err,
              "vitrek: nights: line 3 of standard input is over 1 MiB, the most a log's line may hold\n");
}

TEST(NightsCommandTest, PrintsEachNightAsJson) {
    const auto result = nightsCommand({"--log", dataPath("one-night-maintenance-wake.log"), "--tz",
                                       "Europe/Berlin", "--now", "2024-03-05T12:00:00+01:00", "--json"});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.err, "");
    const auto json = nlohmann::json::parse(result.out);
    EXPECT_EQ(json["log"], nlohmann::json::parse(R"({"events": 4, "requests": 1, "releases": 0, "display": 1,
                                                     "firstDate": 1709589000, "skippedLines": 0})"));
    ASSERT_EQ(json["nights"].size(), 1u);
    const auto& night = json["nights"][0];
    EXPECT_EQ(night["id"], "2024-03-05");
    EXPECT_EQ(night["start"], 1709589600);
    EXPECT_EQ(night["end"], 1709618400);
    EXPECT_EQ(night["inProgress"], false);
    EXPECT_EQ(night["score"], 88);
    EXPECT_EQ(night["word"], "Sound");
    EXPECT_EQ(night["counts"],
              nlohmann::json::parse(R"({"darkWake": 1, "screenOn": 1, "up": 1, "wake": 2})"));
    EXPECT_EQ(night["time"],
              nlohmann::json::parse(R"({"asleep": 28140, "dark": 60, "awake": 0, "screenOn": 600})"));
    EXPECT_EQ(night["lost"], 5);
    EXPECT_EQ(night["startCharge"], 80);
    EXPECT_EQ(night["endCharge"], 75);
    ASSERT_EQ(night["events"].size(), 3u);
    EXPECT_EQ(night["events"][1]["label"], "Maintenance / Power Nap");
    EXPECT_EQ(night["events"][1]["scheduledBy"], "dasd · com.example.refresh");
    EXPECT_FALSE(night["events"][1].contains("culprit"));
    EXPECT_EQ(night["events"][2]["scheduledBy"], "Woken by: You opened the lid");
    EXPECT_EQ(night["story"][1], nlohmann::json::parse(R"({"id": "1709596800.0-darkWake",
        "label": "Maintenance / Power Nap", "count": 1, "totalDuration": 60})"));
}

TEST(NightsCommandTest, TellsTheStoryToAPerson) {
    const auto result = nightsCommand({"--log", dataPath("one-night-maintenance-wake.log"), "--tz",
                                       "Europe/Berlin", "--now", "2024-03-05T12:00:00+01:00"});
    ASSERT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "Night of 2024-03-05  23:00–07:00\n"
                          "  Rest 88, Sound\n"
                          "  2 wake-ups (1 dark wake, 1 up), battery 80\u202f% → 75\u202f% (−5\u202f%)\n"
                          "  Asleep 7 h 49 m, dark wake 1 m, awake 0 s, screen on 10 m\n"
                          "  23:00  Already asleep, 2 h\n"
                          "  01:00  Maintenance / Power Nap, 1 m — scheduled by dasd · com.example.refresh\n"
                          "  06:50  You used your computer, 10 m — woken by You opened the lid\n");
}

TEST(NightsCommandTest, AnEmptyOrUnrelatedLogHasNoNights) {
    for (const char* input : {"", "Time stamp   Domain   Message\n\x01\xff garbage\n"}) {
        const auto result = nightsCommand({"--log", "-", "--json"}, input);
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(nlohmann::json::parse(result.out)["nights"], nlohmann::json::array());
    }
    const auto fromSystem = nightsCommand({"--json"});
    EXPECT_EQ(fromSystem.status, 0);
    EXPECT_EQ(nlohmann::json::parse(fromSystem.out)["log"]["firstDate"], nullptr);
}

TEST(NightsCommandTest, CountsTheJournalRecordsItCannotUse) {
    const auto skipped = [](const std::string& journal) {
        const auto result = nightsCommand(
            {"--journal", "-", "--tz", "Europe/Berlin", "--now", "2026-11-20T12:00:00+01:00", "--json"},
            journal);
        EXPECT_EQ(result.status, 0) << result.err;
        const auto document = nlohmann::json::parse(result.out);
        return std::pair{document["log"]["skippedLines"].get<int>(), document["log"]["events"].get<int>()};
    };
    // Damaged fields: the message cannot be trusted, so the record is not used.
    const auto json = test::readTestData("journal/made-lid-close-two-dark-wakes.json");
    const std::string damaged =
        R"({"__REALTIME_TIMESTAMP":"1795107731482914","_BOOT_ID":"7d3b2a51","MESSAGE":[300]})"
        "\n"
        R"x({"__REALTIME_TIMESTAMP":"1795107731482915","MESSAGE":{"text":"PM: suspend entry (deep)"}})x"
        "\n"
        R"({"__REALTIME_TIMESTAMP":"1795107731482916","MESSAGE":"x","SYSLOG_IDENTIFIER":7})"
        "\n";
    EXPECT_EQ(skipped(json + damaged), std::pair(3, 7));
    // Entries of journalctl's other forms are counted; the prose around them is not.
    EXPECT_EQ(skipped("$ journalctl -o short-unix\n"
                      "1795107731.482913 x260 kernel: PM: suspend entry (deep)\n"
                      "Thu 2026-11-19 18:02:11 CET x260 kernel: PM: suspend entry (deep)\n"
                      "[    5.123456] x260 kernel: PM: suspend entry (deep)\n"
                      "[12345.123456 <    0.000123>] x260 kernel: PM: suspend exit\n"
                      "3.5 GHz, 16 GB: plenty\n"),
              std::pair(4, 0));
}

TEST(NightsCommandTest, AnUnreadableJournalIsAHintNotAnError) {
    NightLog system;
    system.problem = "The system journal is not readable by mira: join it.";
    const auto result = nightsCommand({}, "", system);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "vitrek: The system journal is not readable by mira: join it.\n");
    EXPECT_EQ(result.out, "No nights: the power log says nothing about any night from 23:00 to 07:00.\n");
}

} // namespace
} // namespace vitrek::cli
