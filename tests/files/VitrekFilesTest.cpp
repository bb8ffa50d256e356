#include "files/VitrekFiles.h"

#include "support/ScratchDirectory.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace vitrek {
namespace {

namespace fs = std::filesystem;

std::set<std::string> names(const fs::path& folder) {
    std::set<std::string> found;
    for (const auto& entry : fs::directory_iterator(folder)) {
        found.insert(entry.path().filename().string());
    }
    return found;
}

// A data folder of each test's own, absent until something writes it.
class VitrekFilesTest : public testing::Test {
protected:
    VitrekFiles files() const { return VitrekFiles{folder}; }
    History loaded() const { return files().loadHistory(kToday, test::berlin()).history; }

    inline static const Instant kToday = test::local(test::berlin(), 2025, 1, 10, 12, 0, 0);

    test::ScratchDirectory scratch{"vitrek-files"};
    const fs::path folder = scratch.path() / "data";
};

const Calendar kBerlin = test::berlin();

TEST_F(VitrekFilesTest, AppendWritesOneCompactLinePerSampleInCallOrderIntoTheFileOfItsLocalDay) {
    const auto noon = test::local(kBerlin, 2025, 1, 5, 12, 0, 0);
    files().append(Sample{noon, 0.25, Heat::warm}, kBerlin);
    files().append(Sample{noon + Seconds{60.5}, 1, Heat::critical}, kBerlin);
    EXPECT_EQ(test::readFile(folder / "samples-2025-01-05.jsonl"),
              "{\"date\":757767600.0,\"load\":0.25,\"heat\":1}\n"
              "{\"date\":757767660.5,\"load\":1.0,\"heat\":3}\n");
    // A sample without a JSON form is not written at all.
    files().append(Sample{noon, NAN}, kBerlin);
    EXPECT_EQ(files().samples(noon, kBerlin).size(), 2u);
    // The local midnight splits the files (23:00:01 UTC is already 6 January in Berlin).
    const auto firstSecond = test::local(kBerlin, 2025, 1, 6, 0, 0, 1);
    files().append(Sample{firstSecond, 0.2}, kBerlin);
    EXPECT_EQ(names(folder), (std::set<std::string>{"samples-2025-01-05.jsonl", "samples-2025-01-06.jsonl"}));
    EXPECT_EQ(files().samples(firstSecond, kBerlin), (std::vector{Sample{firstSecond, 0.2}}));
    EXPECT_TRUE(files().samples(test::local(kBerlin, 2025, 1, 7), kBerlin).empty());
}

// A crash in the middle of an append leaves half a line at the end; the complete lines still count, and
// the next append repairs the tail: the fragment is cut, a whole line that only lost its line feed stays.
TEST_F(VitrekFilesTest, APartialLastLineIsSkippedAndTheNextAppendRepairsIt) {
    const auto noon = test::local(kBerlin, 2025, 1, 5, 12);
    files().append(Sample{noon, 0.25}, kBerlin);
    const auto file = folder / "samples-2025-01-05.jsonl";
    const auto firstLine = fs::file_size(file);
    files().append(Sample{noon + Seconds{60}, 0.5}, kBerlin);
    fs::resize_file(file, firstLine + 20);
    EXPECT_EQ(files().samples(noon, kBerlin), (std::vector{Sample{noon, 0.25}}));
    files().append(Sample{noon + Seconds{120}, 0.75}, kBerlin);
    EXPECT_EQ(files().samples(noon, kBerlin),
              (std::vector{Sample{noon, 0.25}, Sample{noon + Seconds{120}, 0.75}}));
    const auto repaired = test::readFile(file);
    EXPECT_EQ(std::count(repaired.begin(), repaired.end(), '\n'), 2) << repaired;

    fs::resize_file(file, fs::file_size(file) - 1);
    files().append(Sample{noon + Seconds{180}, 1}, kBerlin);
    EXPECT_EQ(files().samples(noon, kBerlin).size(), 3u);
}

TEST_F(VitrekFilesTest, BlankForeignAndIncompleteLinesAreSkipped) {
    const auto text = "\n{\"date\":757767600,\"load\":0.1,\"heat\":0}\n\n\n"
                      "{\"heat\":2,\"load\":0.2,\"date\":757767660.5}\r\n"
                      "{\"date\":757767720,\"load\":0.3}\n"
                      "{\"date\":757767780,\"load\":0.3,\"heat\":9}\n"
                      "not json\n\r\n[1,2,3]\n"
                      "{\"date\":0757767800,\"load\":0.3,\"heat\":0}\n"
                      "{\"date\":757767810,\"load\":0.3,\"heat\":1.5}\n"
                      "{\"date\":7.5776783e8,\"load\":5E-1,\"heat\":2.0}\n"
                      "{\"date\":757767840,\"load\":1,\"heat\":3}";
    scratch.write("data/samples-2025-01-05.jsonl", text);
    const auto noon = fromReferenceSeconds(757767600);
    EXPECT_EQ(files().samples(noon, kBerlin),
              (std::vector{Sample{noon, 0.1}, Sample{noon + Seconds{60.5}, 0.2, Heat::hot},
                           Sample{noon + Seconds{230}, 0.5, Heat::hot},
                           Sample{noon + Seconds{240}, 1, Heat::critical}}));
}

TEST_F(VitrekFilesTest, PruningKeepsTheLastDaysSampleFilesOnly) {
    const auto now = test::local(kBerlin, 2025, 1, 10, 0, 30);
    // The folder may be an ordinary one: only this program's own day files ever go.
    const std::set<std::string> others{
        "samples-junk.jsonl", "sample-2025-01-01.jsonl",  "samples-2025-01-10.jsonl.old", "history.json",
        "notes.txt",          "samples-2025-02-30.jsonl", "samples-of-my-thesis.docx",    "samples-"};
    const std::set<std::string> doomed{"samples-2025-01-07.jsonl", "samples-2025-01-11.jsonl"};
    const std::set<std::string> kept{"samples-2025-01-08.jsonl", "samples-2025-01-09.jsonl",
                                     "samples-2025-01-10.jsonl"};
    for (const int days : {3, 0, -1}) {
        for (const auto& set : {others, doomed, kept}) {
            for (const auto& name : set) {
                scratch.write("data/" + name, "x");
            }
        }
        fs::create_directories(folder / "samples-empty");
        fs::create_directories(folder / "samples-2025-01-01.jsonl");
        fs::create_symlink(folder / "notes.txt", folder / "samples-2025-01-02.jsonl");
        files().pruneSamples(days, now, kBerlin);
        auto expected = others;
        expected.insert({"samples-empty", "samples-2025-01-01.jsonl", "samples-2025-01-02.jsonl"});
        if (days == 3) {
            expected.insert(kept.begin(), kept.end());
        }
        EXPECT_EQ(names(folder), expected) << days << " days";
        fs::remove_all(folder);
    }
    files().pruneSamples(3, now, kBerlin);
    EXPECT_FALSE(fs::exists(folder));
}

TEST_F(VitrekFilesTest, PowerRecordsReadBackInDayOrderAndPruningTouchesOnlyTheirOwnFiles) {
    const auto now = test::local(kBerlin, 2025, 1, 20, 0, 30);
    auto sleep = powerRecord(test::local(kBerlin, 2025, 1, 19, 23, 50), PowerRecordKind::sleep);
    sleep.lidClosed = true;
    const auto wake = powerRecord(test::local(kBerlin, 2025, 1, 20, 0, 20), PowerRecordKind::wake);
    // Written out of order across midnight: read back by day, then line.
    files().appendPowerRecord(wake, kBerlin);
    files().appendPowerRecord(sleep, kBerlin);
    scratch.write("data/power-2025-01-19.jsonl",
                  test::readFile(folder / "power-2025-01-19.jsonl") + "{torn\n");
    EXPECT_EQ(files().powerRecords(), (std::vector<PowerRecord>{sleep, wake}));

    const std::set<std::string> others{"power-2025-01-19.jsonl",  "power-2025-01-20.jsonl",
                                       "power-notes.jsonl",       "power-2024-02-30.jsonl",
                                       "power-2024-13-01.jsonl",  "power-2025-01-01.json",
                                       "samples-2025-01-01.jsonl"};
    for (const auto& name : others) {
        if (!fs::exists(folder / name)) {
            scratch.write("data/" + name, "x");
        }
    }
    scratch.write("data/power-2024-12-01.jsonl", "x");
    fs::create_directories(folder / "power-2024-12-02.jsonl");
    fs::create_symlink(folder / "power-notes.jsonl", folder / "power-2024-12-03.jsonl");
    files().prunePowerRecords(15, now, kBerlin);
    auto expected = others;
    expected.insert({"power-2024-12-02.jsonl", "power-2024-12-03.jsonl"});
    EXPECT_EQ(names(folder), expected);
}

// A missing or empty file is no damage: nothing is set aside, and the save leaves only its own file.
TEST_F(VitrekFilesTest, AMissingOrEmptyHistoryLoadsEmptyAndSaveWritesCompactJSONAtomicallyThatLoadsBack) {
    EXPECT_EQ(loaded(), History{});
    EXPECT_FALSE(fs::exists(folder));
    scratch.write("data/history.json", "");
    EXPECT_EQ(loaded(), History{});
    const History history{{Day{"2025-01-05", 70, 12.5, std::nullopt, std::nullopt, -0.25},
                           Day{"2025-01-06", 81, std::nullopt, 90, 600, std::nullopt}}};
    files().save(history);
    EXPECT_EQ(test::readFile(folder / "history.json"),
              R"({"days":[{"id":"2025-01-05","recovery":70,"strain":12.5,"ageGap":-0.25},)"
              R"({"id":"2025-01-06","recovery":81,"rest":90,"stress":600.0}]})");
    EXPECT_EQ(names(folder), std::set<std::string>{"history.json"});
    EXPECT_EQ(loaded(), history);
}

// A History that does not decode is a person's record all the same: it must survive the next save, and
// so must every earlier damaged copy.
TEST_F(VitrekFilesTest, ADamagedHistoryIsKeptUnderItsOwnNameBeforeAnySaveReplacesIt) {
    const History fresh{{Day{"2025-01-06", 55, {}, {}, {}, {}}}};
    const auto damaged = folder / "history.json.damaged-2";
    // Another shape, a truncated file, and bytes that are not text.
    for (const std::string bytes :
         {R"({"days":{"id":"2025-01-05"}})", R"({"days":[{"id":"2025-01-05","rec)", "\xff\xfe\r\n"}) {
        for (const bool loadFirst : {true, false}) {
            scratch.write("data/history.json.damaged", "an older damaged copy");
            scratch.write("data/history.json", bytes);
            if (loadFirst) {
                const auto load = files().loadHistory(kToday, kBerlin);
                EXPECT_EQ(load.history, History{}) << bytes;
                EXPECT_TRUE(load.problem.has_value());
                EXPECT_EQ(test::readFile(damaged), bytes);
            }
            EXPECT_EQ(files().save(fresh), std::nullopt);
            EXPECT_EQ(test::readFile(damaged), bytes);
            EXPECT_EQ(loaded(), fresh);
            EXPECT_EQ(names(folder), (std::set<std::string>{"history.json", "history.json.damaged",
                                                            "history.json.damaged-2"}));
            fs::remove_all(folder);
        }
    }
    // Each new damage gets the next number; the same bytes are not copied twice; five copies at most.
    for (int damage = 1; damage <= 7; ++damage) {
        scratch.write("data/history.json", "damage " + std::to_string(damage));
        loaded();
        files().save(fresh);
    }
    EXPECT_EQ(names(folder), (std::set<std::string>{"history.json", "history.json.damaged-3",
                                                    "history.json.damaged-4", "history.json.damaged-5",
                                                    "history.json.damaged-6", "history.json.damaged-7"}));
    EXPECT_EQ(test::readFile(folder / "history.json.damaged-7"), "damage 7");
}

// One bad day costs that day only, and a key that is no day (or lies after tomorrow) cannot push the
// real days out of the 400 kept.
TEST_F(VitrekFilesTest, AHistoryIsReadDayByDayAndKeysThatAreNoDaysAreLeftOut) {
    std::string days;
    for (int day = 1; day <= 9; ++day) {
        days += R"({"id":"2025-01-0)" + std::to_string(day) + R"(","recovery":)" + std::to_string(50 + day) +
                "},";
    }
    const std::string bogus = R"({"id":"9999-15-08","recovery":50},{"id":"9999-01-01","recovery":50},)"
                              R"({"id":"2025-01-12","recovery":50},{"id":"2025-1-10","recovery":50},)"
                              R"({"id":"2025-01-03","recovery":"x"},{"id":"2025-01-04","recovery":101},)"
                              R"({"id":"2025-01-05","recovery":60,"strain":1e308},[],)";
    const std::string bytes = R"({"days":[)" + bogus + days + R"({"id":"2025-01-11","recovery":70}]})";
    scratch.write("data/history.json", bytes);

    const auto load = files().loadHistory(kToday, kBerlin);
    ASSERT_EQ(load.history.days.size(), 10u);
    EXPECT_EQ(load.history.days.front(), (Day{"2025-01-01", 51, {}, {}, {}, {}}));
    EXPECT_EQ(load.history.days[4], (Day{"2025-01-05", 55, {}, {}, {}, {}}))
        << "a bad entry costs no good one";
    EXPECT_EQ(load.history.days.back().id, "2025-01-11") << "tomorrow is a day";
    ASSERT_TRUE(load.problem.has_value());
    EXPECT_NE(load.problem->reason.find("10 days kept, 8 unreadable left out"), std::string::npos)
        << load.problem->reason;
    EXPECT_EQ(test::readFile(folder / "history.json.damaged"), bytes);
    EXPECT_EQ(files().peekHistory(kToday, kBerlin).history, load.history);
}

// A link is never followed and a FIFO never waited on: each is set aside like a damaged file.
TEST_F(VitrekFilesTest, OnlyRegularFilesAreReadOrWritten) {
    fs::create_directories(folder);
    const auto outside = scratch.path() / "outside";
    scratch.write("outside", "not Vitrek's");
    const auto today = folder / "samples-2025-01-10.jsonl";
    fs::create_symlink(outside, today);
    ASSERT_EQ(::mkfifo((folder / "samples-2025-01-09.jsonl").c_str(), 0644), 0);
    ASSERT_EQ(::mkfifo((folder / "history.json").c_str(), 0644), 0);

    const auto problem = files().append(Sample{kToday, 0.5}, kBerlin);
    ASSERT_TRUE(problem.has_value());
    EXPECT_EQ(problem->text(), today.string() + ": not a regular file");
    EXPECT_EQ(test::readFile(outside), "not Vitrek's");
    EXPECT_TRUE(files().samples(kToday - Seconds{86'400}, kBerlin).empty());

    const auto peeked = files().peekHistory(kToday, kBerlin);
    EXPECT_EQ(peeked.problem->reason, "not a regular file; read as no history");
    EXPECT_TRUE(fs::is_fifo(folder / "history.json")) << "a command that must not write moves nothing";
    const auto load = files().loadHistory(kToday, kBerlin);
    ASSERT_TRUE(load.problem.has_value());
    EXPECT_TRUE(fs::is_fifo(folder / "history.json.damaged"));
    const History fresh{{Day{"2025-01-10", 55, {}, {}, {}, {}}}};
    EXPECT_EQ(files().save(fresh), std::nullopt);
    EXPECT_EQ(loaded(), fresh);
}

TEST_F(VitrekFilesTest, WritesSayWhatFailed) {
    scratch.write("data", "a file where the folder should be");
    const auto sample = files().append(Sample{kToday, 0.5}, kBerlin);
    const auto history = files().save(History{});
    ASSERT_TRUE(sample.has_value());
    EXPECT_EQ(sample->path, folder);
    EXPECT_NE(sample->reason.find("Not a directory"), std::string::npos) << sample->reason;
    EXPECT_EQ(history, sample);
}

TEST(VitrekFilesFolderTest, TheFolderGivenThenTheVariableThenTheXDGDataFolderThenHome) {
    const passwd* user = ::getpwuid(::getuid());
    const fs::path account = user ? user->pw_dir : "";
    struct Row {
        std::optional<fs::path> given;
        const char* variable;
        const char* xdg;
        const char* home;
        fs::path expected;
    };
    // clang-format off
    for (const auto& row : {
             Row{"/given", "/variable", "/xdg", "/home/ana", "/given"},
             Row{std::nullopt, "/variable", "/xdg", "/home/ana", "/variable"},
             Row{std::nullopt, "relative/variable", nullptr, "/home/ana", "relative/variable"},
             Row{std::nullopt, "", "/xdg", "/home/ana", "/xdg/Vitrek"},
             Row{std::nullopt, nullptr, "xdg", "/home/ana", "/home/ana/.local/share/Vitrek"},
             Row{std::nullopt, nullptr, "", "/home/ana", "/home/ana/.local/share/Vitrek"},
             Row{std::nullopt, nullptr, nullptr, nullptr, account / ".local/share/Vitrek"}}) {
        // clang-format on
        const test::ScopedVariable variable("VITREK_DATA_DIR", row.variable);
        const test::ScopedVariable xdg("XDG_DATA_HOME", row.xdg);
        const test::ScopedVariable home("HOME", row.home);
        EXPECT_EQ(VitrekFiles{row.given}.dir(), row.expected) << row.expected;
    }
}

} // namespace
} // namespace vitrek
