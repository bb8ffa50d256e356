#include "cli/NightsCommand.h"

#include "cli/RunCommand.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <array>

namespace vitrek::cli {
namespace {

Output nightsCommand(std::vector<std::string> arguments, const std::string& input = "",
                     NightLog system = {}) {
    arguments.insert(arguments.begin(), "nights");
    return runCommand(arguments, input, std::move(system));
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

// Inputs that cannot be read, are larger than a log may be or end long before --now.
TEST(NightsCommandTest, RefusesWhatItCannotUseWithOneLineAndStatusTwo) {
    const struct {
        std::vector<std::string> arguments;
        std::string message;
        std::string input = "";
    } rows[] = {
        {{"--tz", "Mars/Base", "--log", "-"}, "vitrek: nights: unknown time zone 'Mars/Base'\n"},
        {{"--log", "/nonexistent/power.log"},
         "vitrek: cannot read /nonexistent/power.log: No such file or directory\n"},
        {{"--journal", "/nonexistent/journal.json"},
         "vitrek: cannot read /nonexistent/journal.json: No such file or directory\n"},
        {{"--log", "/dev/zero"}, "vitrek: nights: /dev/zero is over 256 MiB, the most a log may hold\n"},
        {{"--journal", "/dev/zero"}, "vitrek: nights: /dev/zero is over 256 MiB, the most a log may hold\n"},
        {{"--journal", "-"},
         "vitrek: nights: line 3 of standard input is over 1 MiB, the most a log's line may hold\n",
         "{}\n" + std::string(kMaxLogLine, 'x') + "\n" + std::string(kMaxLogLine + 1, 'x')},
        {{"--log", kOneNightLog, "--tz", "Europe/Berlin", "--now", "2024-03-08T07:00:00+01:00"},
         "vitrek: nights: --now is 3 days after the last power record of " + kOneNightLog +
             " (2024-03-05 06:50); give a time at most 3 days after it\n"},
        {{"--tz", "Europe/Berlin", "--now", "2024-03-10T12:00:00+01:00"},
         "vitrek: nights: --now is 4 days in the future (it is 2024-03-06 12:00); give a time at most 3 days "
         "ahead\n"},
        // A mistake the command table finds is answered like those.
        {{"--log", "a.log", "--journal", "b.json"},
         "vitrek: nights: --log and --journal name two different logs; give one\n"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(nightsCommand(row.arguments, row.input), (Output{2, "", row.message}));
    }
}

TEST(NightsCommandTest, StopsReadingEndlessStandardInput) {
    EndlessLines endless;
    std::istream endlessInput(&endless);
    EXPECT_EQ(runCommand({"nights", "--log", "-"}, endlessInput),
              (Output{2, "", "vitrek: nights: standard input is over 256 MiB, the most a log may hold\n"}));
}

TEST(NightsCommandTest, TellsTheStoryToAPersonAndEachNightAsJsonFromALogOrAJournal) {
    const std::vector<std::string> arguments{"--log",         kOneNightLog, "--tz",
                                             "Europe/Berlin", "--now",      "2024-03-05T12:00:00+01:00"};
    EXPECT_EQ(nightsCommand(arguments),
              (Output{0,
                      "Night of 2024-03-05  23:00–07:00\n"
                      "  Rest 88, Sound\n"
                      "  2 wake-ups (1 dark wake, 1 up), battery 80\u202f% → 75\u202f% (−5\u202f%)\n"
                      "  Asleep 7 h 49 m, dark wake 1 m, awake 0 s, screen on 10 m\n"
                      "  23:00  Already asleep, 2 h\n"
                      "  01:00  Maintenance / Power Nap, 1 m — scheduled by dasd · com.example.refresh\n"
                      "  06:50  You used your computer, 10 m — woken by You opened the lid\n",
                      ""}));
    auto withJson = arguments;
    withJson.push_back("--json");
    const auto result = nightsCommand(withJson);
    ASSERT_EQ(result, (Output{0, result.out, ""}));
    const auto json = nlohmann::json::parse(result.out);
    EXPECT_EQ(json["log"], nlohmann::json::parse(R"({"events": 4, "requests": 1, "releases": 0, "display": 1,
                                                     "firstDate": 1709589000, "skippedLines": 0})"));
    ASSERT_EQ(json["nights"].size(), 1u);
    auto night = json["nights"][0];
    EXPECT_EQ(night["events"].size(), 3u);
    EXPECT_EQ(night["story"][1], nlohmann::json::parse(R"({"id": "1709596800.0-darkWake",
        "label": "Maintenance / Power Nap", "count": 1, "totalDuration": 60})"));
    for (const char* list : {"segments", "events", "battery", "keptAwake", "story"}) {
        night.erase(list);
    }
    EXPECT_EQ(night, nlohmann::json::parse(R"({"id": "2024-03-05", "start": 1709589600, "end": 1709618400,
        "inProgress": false, "isDemo": false, "hasBattery": true, "pluggedIn": false, "score": 88,
        "word": "Sound", "counts": {"darkWake": 1, "screenOn": 1, "up": 1, "wake": 2}, "lost": 5,
        "startCharge": 80, "endCharge": 75,
        "time": {"asleep": 28140, "dark": 60, "awake": 0, "screenOn": 600}})"));

    // A journal read from standard input, with one record it cannot use.
    const auto journal =
        nightsCommand({"--journal", "-", "--now", "2026-11-20T12:00:00+01:00", "--json"},
                      test::readTestData("journal/made-lid-close-two-dark-wakes.json") + "{}\n");
    ASSERT_EQ(journal.status, 0) << journal.err;
    const auto counted = nlohmann::json::parse(journal.out)["log"];
    EXPECT_EQ(std::pair(counted["skippedLines"].get<int>(), counted["events"].get<int>()), std::pair(1, 7));
}

TEST(NightsCommandTest, AnEmptyOrUnrelatedLogHasNoNightsAndAnUnreadableJournalIsAHint) {
    for (const char* input : {"", "Time stamp   Domain   Message\n\x01\xff garbage\n"}) {
        const auto result = nightsCommand({"--log", "-", "--json"}, input);
        EXPECT_EQ(result.status, 0);
        const auto json = nlohmann::json::parse(result.out);
        EXPECT_EQ(json["nights"], nlohmann::json::array());
        EXPECT_EQ(json["log"]["firstDate"], nullptr);
    }
    // An unreadable journal is a hint, not an error.
    NightLog system;
    system.problem = "The system journal is not readable by mira: join it.";
    EXPECT_EQ(nightsCommand({}, "", system),
              (Output{0, "No nights: the power log says nothing about any night from 23:00 to 07:00.\n",
                      "vitrek: The system journal is not readable by mira: join it.\n"}));
}

} // namespace
} // namespace vitrek::cli
