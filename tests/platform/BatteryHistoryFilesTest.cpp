#include "linux/BatteryHistoryFiles.h"

#include "support/ScratchDirectory.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace vitrek {
namespace {

TEST(BatteryHistoryFilesTest, TheBatteryWrittenToLastIsReadWithItsOwnRateFileAndNoFolderGivesNone) {
    // The stale pack's id sorts first, so name order alone would pick the wrong battery.
    const std::string folder = std::string(VITREK_TEST_DATA) + "/upower";
    const auto history = BatteryHistoryFiles::load(folder);
    ASSERT_EQ(history.charge.size(), 12u); // the run-together line and the cut-off last line are left out
    EXPECT_EQ(history.charge.back(), (BatteryHistoryEntry{fromUnixSeconds(1'700'007'200), 100, false}));
    ASSERT_EQ(history.rate.size(), 7u);
    EXPECT_EQ(history.rate.back(), (BatteryHistoryEntry{fromUnixSeconds(1'700'007'800), 7.125, true}));
    EXPECT_EQ(BatteryHistoryFiles::load(folder + "/missing"), BatteryHistory{});
}

TEST(BatteryHistoryFilesTest, ChoosesByLatestChargeEntryThenByName) {
    const std::string older = "1700000000\t90.000\tdischarging\n";
    const std::string newer = "1700000600\t80.000\tdischarging\n";
    const std::string rate = "1700000600\t12.000\tdischarging\n";
    const struct {
        const char* what;
        std::vector<std::pair<std::string, std::string>> files;
        BatteryHistory expected;
    } cases[] = {
        // clang-format off
        {"same latest entry: the first id",
         {{"history-charge-DELL_7FHHV-1234.dat", newer}, {"history-charge-BAT1-9.dat", newer},
          {"history-rate-BAT1-9.dat", rate}},
         {BatteryHistoryFile::parse(newer), BatteryHistoryFile::parse(rate)}},
        {"the latest entry counts, not the file's last line",
         {{"history-charge-A.dat", older}, {"history-charge-B.dat", newer + older}},
         {BatteryHistoryFile::parse(newer + older), {}}},
        {"no rate file of its own; another battery's is not used",
         {{"history-charge-A.dat", older}, {"history-rate-A.dat", rate}, {"history-charge-B.dat", newer}},
         {BatteryHistoryFile::parse(newer), {}}},
        {"an empty charge file loses to any entry",
         {{"history-charge-A.dat", ""}, {"history-charge-B.dat", older}},
         {BatteryHistoryFile::parse(older), {}}},
        {"only empty charge files: the first id, with its rates",
         {{"history-charge-B.dat", "garbage"}, {"history-charge-A.dat", ""}, {"history-rate-A.dat", rate}},
         {{}, BatteryHistoryFile::parse(rate)}},
        {"other files and names are ignored",
         {{"history-rate-A.dat", rate}, {"history-time-full-A.dat", newer}, {"history-charge-.dat", newer},
          {"history-charge-A.dat.bak", newer}, {"charge-A.dat", newer}},
         {}},
        // clang-format on
    };
    for (const auto& row : cases) {
        const test::ScratchDirectory directory{"vitrek-upower"};
        for (const auto& [name, text] : row.files) {
            directory.write(name, text);
        }
        EXPECT_EQ(BatteryHistoryFiles::load(directory.string()), row.expected) << row.what;
    }
}

} // namespace
} // namespace vitrek
