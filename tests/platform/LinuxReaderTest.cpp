#include "linux/LinuxReader.h"

#include "linux/WakeupSources.h"
#include "support/ScratchDirectory.h"
#include "support/TestSupport.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>
#include <tuple>
#include <vector>

namespace vitrek {
namespace {

namespace fs = std::filesystem;

fs::path recorded(const std::string& machine) { return fs::path(VITREK_TEST_DATA) / "sysfs" / machine; }
LinuxReader reader(const std::string& machine) { return LinuxReader{recorded(machine), "node"}; }

// A root folder of the test's own, optionally starting as a copy of a recorded tree.
class ScratchRoot : public test::ScratchDirectory {
public:
    explicit ScratchRoot(const std::string& machine = {}) : ScratchDirectory("vitrek-reader") {
        if (!machine.empty()) {
            fs::copy(recorded(machine), path(), fs::copy_options::recursive);
        }
    }
    void setModified(const std::string& relative, Instant time) const {
        const timespec times[2] = {{0, UTIME_OMIT}, {static_cast<time_t>(unixSeconds(time)), 0}};
        ASSERT_EQ(::utimensat(AT_FDCWD, (path() / relative).c_str(), times, 0), 0) << relative;
    }
    // Writes the files of one sysfs folder, name and contents.
    void writeAll(const std::string& folder,
                  std::initializer_list<std::pair<const char*, const char*>> files) const {
        for (const auto& [name, text] : files) {
            write(folder + name, text);
        }
    }
    LinuxReader reader() const { return LinuxReader{path(), "node"}; }
};

TEST(LinuxReaderTest, EachRecordedBatteryGivesExactlyWhatItsFilesSay) {
    const std::vector<std::tuple<std::string, std::optional<BatteryInfo>>> cases = {
        // capacity as reported; the adapter is online although the pack is "Not charging"; 0 cycles = unknown
        {"dell-xps15-9560-charge", BatteryInfo{2871000.0 / 8509000.0, std::nullopt, 94, true}},
        // energy_* values; no adapter listed and status Unknown
        {"thinkpad-42t4977-energy", BatteryInfo{25500000.0 / 38920000.0, std::nullopt, 32, false}},
        // no capacity file: 94860 of 94860 mWh; full above design caps at 1; "Full" means on the adapter
        {"thinkpad-45n1173-energy-above-design", BatteryInfo{1.0, std::nullopt, 100, true}},
        // 501000 of 1802000 µAh is 27.8 %: rounded, where the kernel's own capacity file truncates to 27
        {"battery-without-design-values", BatteryInfo{std::nullopt, std::nullopt, 28, true}},
        {"desktop-x570", std::nullopt},
        {"debian-vm", std::nullopt}};
    for (const auto& [machine, battery] : cases) {
        EXPECT_EQ(reader(machine).battery(), battery) << machine;
    }
}

TEST(LinuxReaderTest, OnlyThePresentBatteriesOfTheMachineCountAndTheLastOneWins) {
    const ScratchRoot root{"dell-xps15-9560-charge"};
    const std::string supplies = "sys/class/power_supply/";
    // A wireless mouse's battery sorts last; it would win if it counted.
    root.writeAll(supplies + "hidpp_battery_0/",
                  {{"type", "Battery\n"}, {"scope", "Device\n"}, {"capacity", "5\n"}});
    root.writeAll(supplies + "BAT1/", {{"type", "Battery\n"}, {"present", "0\n"}, {"capacity", "60\n"}});
    EXPECT_EQ(root.reader().battery()->percent, 94);
    root.write(supplies + "BAT1/present", "1\n");
    EXPECT_EQ(root.reader().battery()->percent, 60);

    // An adapter that is known but offline wins over a status that suggests charging.
    root.writeAll(supplies, {{"BAT1/status", "Not charging\n"}, {"AC/online", "0\n"}});
    EXPECT_FALSE(root.reader().battery()->onAC);
    root.writeAll(supplies + "ucsi-source-psy-USBC000:001/", {{"type", "USB\n"}, {"online", "1\n"}});
    EXPECT_TRUE(root.reader().battery()->onAC);
}

TEST(LinuxReaderTest, MemoryPressureComesFromPsiAndTheShareOfAvailableMemory) {
    const auto pressureText = [](const std::string& some, const std::string& full) {
        return "some avg10=" + some + " avg60=0.00 avg300=0.00 total=7\nfull avg10=" + full + " avg60=0.00";
    };
    const auto meminfo = [](int available) {
        return "MemTotal:       1000 kB\nMemFree:          10 kB\nMemAvailable:   " +
               std::to_string(available) + " kB\n";
    };
    const std::vector<std::tuple<std::string, std::string, Pressure>> cases = {
        {"", "", Pressure::normal},
        {"some avg10=garbage\n", "MemTotal: 0 kB\n", Pressure::normal},
        {pressureText("9.99", "4.99"), meminfo(150), Pressure::normal},
        {pressureText("10.00", "0.00"), meminfo(500), Pressure::warning},
        {pressureText("10.00", "5.00"), meminfo(500), Pressure::critical},
        {"", meminfo(149), Pressure::warning},
        {"", meminfo(50), Pressure::warning},
        {"", meminfo(49), Pressure::critical},
        // Without MemAvailable: free memory plus buffers and page cache.
        {"", "MemTotal: 1000 kB\nMemFree: 20 kB\nBuffers: 10 kB\nCached: 19 kB\n", Pressure::critical},
        {"", "MemTotal: 1000 kB\nMemFree: 20 kB\nBuffers: 10 kB\nCached: 120 kB\n", Pressure::normal}};
    for (const auto& [pressure, memory, level] : cases) {
        EXPECT_EQ(LinuxReader::memoryPressure(pressure, memory), level) << pressure << "|" << memory;
    }

    // An old router kernel whose 125 MB are mostly free (87.6 % by the estimate).
    EXPECT_EQ(reader("openwrt-arm-no-psi").memory(), (Reader::Memory{Pressure::normal, 0}));

    const ScratchRoot root;
    root.write("proc/meminfo", "SwapTotal:       2097148 kB\nSwapFree:        1048572 kB\n");
    EXPECT_EQ(root.reader().memory().swapBytes, 1048576LL * 1024);
    root.write("proc/meminfo", "SwapTotal:       0 kB\nSwapFree:        4 kB\n");
    EXPECT_EQ(root.reader().memory().swapBytes, 0);
}

TEST(LinuxReaderTest, HeatIsTheHottestProcessorSensorAgainstItsOwnCriticalPoint) {
    const std::optional<double> none;
    const std::vector<std::tuple<double, std::optional<double>, Heat>> levels = {
        {69.9, none, Heat::cool}, {70, none, Heat::warm},     {84.9, none, Heat::warm},
        {85, none, Heat::hot},    {95, none, Heat::critical}, {84.9, 100.0, Heat::warm},
        {85, 100.0, Heat::hot},   {94.9, 100.0, Heat::hot},   {95, 100.0, Heat::critical},
        {65, 80.0, Heat::hot},    {96, 105.0, Heat::hot}};
    for (const auto& [celsius, critical, heat] : levels) {
        EXPECT_EQ(LinuxReader::heatLevel(celsius, critical), heat) << celsius << " " << critical.value_or(0);
    }

    // k10temp reads 0 and the board's only thermal zone claims a critical point of 20.8 °C; the
    // embedded controller's 111 °C junk is not a processor sensor.
    EXPECT_EQ(reader("desktop-x570").heat(), Heat::cool);
    EXPECT_EQ(reader("thinkpad-x390-yoga").heat(), Heat::cool);
    EXPECT_EQ(reader("debian-vm").heat(), std::nullopt) << "a machine without sensors has no temperature";

    const ScratchRoot root{"thinkpad-x390-yoga"};
    root.writeAll("sys/class/hwmon/hwmon1/", {{"temp4_input", "96000\n"}, {"temp4_crit", "105000\n"}});
    EXPECT_EQ(root.reader().heat(), Heat::hot);
    root.write("sys/class/hwmon/hwmon1/temp4_crit", "garbage\n");
    EXPECT_EQ(root.reader().heat(), Heat::critical);

    // Thermal zones count only when no processor chip gives a plausible reading.
    const ScratchRoot zones{"desktop-x570"};
    zones.write("sys/class/hwmon/hwmon0/temp1_input", "65261800\n");
    zones.writeAll("sys/class/thermal/thermal_zone1/", {{"type", "x86_pkg_temp\n"},
                                                        {"temp", "88000\n"},
                                                        {"trip_point_0_type", "passive\n"},
                                                        {"trip_point_1_type", "critical\n"},
                                                        {"trip_point_1_temp", "110000\n"}});
    zones.writeAll("sys/class/thermal/thermal_zone2/", {{"type", "iwlwifi_1\n"}, {"temp", "120000\n"}});
    EXPECT_EQ(zones.reader().heat(), Heat::warm);
    zones.write("sys/class/hwmon/hwmon0/temp1_input", "50000\n");
    EXPECT_EQ(zones.reader().heat(), Heat::cool);
}

TEST(LinuxReaderTest, ModelNamesAreWhatPeopleCallTheMachine) {
    const std::vector<std::tuple<std::vector<std::string>, std::string>> cases = {
        {{"LENOVO", "20XW0055GE", "ThinkPad X1 Carbon Gen 9", "ThinkPad X1 Carbon Gen 9"},
         "ThinkPad X1 Carbon Gen 9"},
        {{"LENOVO", "82A1", "IdeaPad 5 14ARE05", "IdeaPad 5 14ARE05"}, "Lenovo IdeaPad 5 14ARE05"},
        {{"Dell Inc.", "XPS 13 9310", "", "XPS"}, "Dell XPS 13 9310"},
        {{"HP", "HP Pavilion Power Laptop 15-cb0xx", "Type1ProductConfigId"},
         "HP Pavilion Power Laptop 15-cb0xx"},
        {{"Hewlett-Packard", "HP EliteBook 8460p", "A0001D02"}, "HP EliteBook 8460p"},
        {{"Micro-Star International Co., Ltd.", "MS-7C37", "1.0"}, "MSI MS-7C37"},
        {{"GOOGLE", "Peppy", "1.0", "Google_Slippy"}, "Google Peppy"},
        {{"System manufacturer", "System Product Name", "System Version", "To be filled by O.E.M.",
          "ASUSTeK COMPUTER INC.", "PRIME X570-PRO"},
         "ASUS PRIME X570-PRO"},
        {{"QEMU", "Standard PC (Q35 + ICH9, 2009)", "pc-q35-7.2"}, "QEMU virtual machine"},
        {{"innotek GmbH", "VirtualBox", "1.2"}, "VirtualBox virtual machine"},
        {{"VMware, Inc.", "VMware7,1"}, "VMware virtual machine"},
        {{"Red Hat", "KVM"}, "KVM virtual machine"},
        {{"To Be Filled By O.E.M.", "To be filled by O.E.M.", "Default string", "", "Default string", "  "},
         ""},
        {{"Acme", "-", "\x01\x02"}, ""}};
    for (auto [fields, name] : cases) {
        // sys_vendor, product_name, product_version, product_family, board_vendor, board_name
        fields.resize(6);
        const LinuxReader::DmiNames names{fields[0], fields[1], fields[2], fields[3], fields[4], fields[5]};
        EXPECT_EQ(LinuxReader::marketingName(names), name) << fields[0] << "|" << fields[1];
    }

    EXPECT_EQ(reader("desktop-x570").modelName(), "node");
    EXPECT_EQ(LinuxReader(recorded("desktop-x570"), "").modelName(), "");
    EXPECT_EQ(reader("raspberry-pi-4b").modelName(), "Raspberry Pi 4 Model B Rev 1.4");
}

TEST(LinuxReaderTest, WithoutDMINamesAMachineGoesByItsFirmwareModelElseItsHostName) {
    // The build VM has no DMI names; its kernel's host name is all there is.
    EXPECT_EQ(reader("debian-vm").modelName(), "vm");

    const ScratchRoot root{"debian-vm"};
    root.write("etc/hostname", "  build-box \nsecond line\n");
    EXPECT_EQ(root.reader().modelName(), "build-box");
    root.write("etc/machine-info",
               "# written by hostnamectl\nPRETTY_HOSTNAME=\"Anna\\'s \\\"Build\\\" Box\"\n");
    EXPECT_EQ(root.reader().modelName(), "Anna\\'s \"Build\" Box");
    root.write("etc/machine-info", "PRETTY_HOSTNAME=\n");
    EXPECT_EQ(root.reader().modelName(), "build-box");
    // A model name from the firmware comes first, unless DMI gives one (an empty name is none).
    root.write("proc/device-tree/model", std::string("Raspberry Pi 4 Model B Rev 1.4") + '\0');
    EXPECT_EQ(root.reader().modelName(), "Raspberry Pi 4 Model B Rev 1.4");
    root.write("sys/class/dmi/id/product_name", "\n");
    EXPECT_EQ(root.reader().modelName(), "Raspberry Pi 4 Model B Rev 1.4");
    root.writeAll("sys/class/dmi/id/", {{"product_name", "Latitude 7490\n"}, {"sys_vendor", "Dell Inc.\n"}});
    EXPECT_EQ(root.reader().modelName(), "Dell Latitude 7490");
}

TEST(LinuxReaderTest, ThePrettyHostNameIsReadAsTheShellWouldReadIt) {
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"PRETTY_HOSTNAME=\"Lennart's Laptop\"\n", "Lennart's Laptop"},
        {"PRETTY_HOSTNAME='Say \"hi\" \\ there'\n", "Say \"hi\" \\ there"},
        {"PRETTY_HOSTNAME=Anna\\'s\\ Desk\n", "Anna's Desk"},
        {"PRETTY_HOSTNAME=\"Tab\\t \\$HOME\"", "Tab\\t $HOME"},
        {"CHASSIS=laptop\n  PRETTY_HOSTNAME = \"Mia’s Zenbook\"  \nDEPLOYMENT=production\n", "Mia’s Zenbook"},
        {"PRETTY_HOSTNAME=first\nPRETTY_HOSTNAME=second\n", "second"},
        {"#PRETTY_HOSTNAME=commented\nICON_NAME=computer-laptop\n", ""},
        {"PRETTY_HOSTNAME=\"  \"\n", ""},
        {"", ""}};
    for (const auto& [text, name] : cases) {
        EXPECT_EQ(LinuxReader::prettyHostName(text), name) << text;
    }
}

TEST(LinuxReaderTest, ProcStatGivesBootTimeAndTicksAndTheUptimeIsTheFallback) {
    const auto now = test::at("2026-11-23T12:00:00Z");
    const auto vm = reader("debian-vm");
    EXPECT_EQ(vm.bootTime(), fromUnixSeconds(1795421848));
    EXPECT_EQ(vm.cpuTicks(), (CPUTicks{7126, 160622}));

    const ScratchRoot root;
    EXPECT_EQ(root.reader().cpuTicks(), (CPUTicks{0, 0}));
    EXPECT_EQ(root.reader().read(now).bootedAt, now);
    root.writeAll("proc/", {{"stat", "cpu  3479 0 3520 153382 114 0 127 0 0 0\nbtime 0\n"},
                            {"uptime", "13834.69 20837.62\n"}});
    EXPECT_EQ(root.reader().bootTime(), std::nullopt);
    EXPECT_EQ(root.reader().read(now).bootedAt, now - Seconds{13834.69});
}

TEST(LinuxReaderTest, StorageIsTheRootsVolumeAndZeroWhenItCannotBeAsked) {
    const ScratchRoot root;
    const auto volume = root.reader().storage();
    EXPECT_GT(volume.totalBytes, 0);
    EXPECT_GE(volume.freeBytes, 0);
    EXPECT_LE(volume.freeBytes, volume.totalBytes);
    EXPECT_EQ(LinuxReader(recorded("no-such-machine"), "").storage(), (Reader::Storage{0, 0}));
}

TEST(LinuxReaderTest, SetUpDateIsTheEarliestTrustworthyInstallTime) {
    const ScratchRoot root;
    EXPECT_EQ(root.reader().setUpDate(), std::nullopt);
    // Files created now have a recent birth time; the modification times below are older still.
    root.write("lost+found/.keep", "");
    root.write("etc/machine-id", "0123456789abcdef0123456789abcdef\n");
    root.write("etc/hostname", "vm\n");
    root.write("etc/motd", "not an install-time file\n");
    root.setModified("lost+found", fromUnixSeconds(0)); // what images without real times carry
    root.setModified("etc/machine-id", test::at("2019-05-01T10:00:00Z"));
    root.setModified("etc/hostname", test::at("2021-02-03T04:05:06Z"));
    root.setModified("etc/motd", test::at("2010-01-01T00:00:00Z"));
    EXPECT_EQ(root.reader().setUpDate(), test::at("2019-05-01T10:00:00Z"));
}

std::vector<std::string> names(const std::vector<WakeupSource>& sources) {
    std::vector<std::string> names;
    for (const auto& source : sources) {
        names.push_back(source.name);
    }
    return names;
}

TEST(WakeupSourcesTest, ReadsEveryNamedSourceInFolderOrder) {
    // A board whose kernel has no wakeup_count or last_change_ms files for us: they read as 0.
    const auto board = WakeupSources::read(recorded("hostmobility-hmx-wakeup"));
    ASSERT_EQ(board.size(), 15u);
    EXPECT_EQ(board[11], (WakeupSource{.name = "gpio-keys", .eventCount = 242}));
    EXPECT_EQ(board[14], (WakeupSource{.name = "1-0051", .eventCount = 946}));

    // The laptop's wakeup9 has no name and is left out; a padded name is trimmed.
    const auto laptop = WakeupSources::read(recorded("laptop-wakeup-before-sleep"));
    EXPECT_EQ(names(laptop),
              (std::vector<std::string>{"PNP0C0C:00", "PNP0C0D:00", "PNP0C0A:00", "LNXPWRBN:00", "00:02",
                                        "alarmtimer.0.auto", "0000:00:14.3", "1-4", "0000:00:14.0"}));
    EXPECT_EQ(
        laptop[1],
        (WakeupSource{.name = "PNP0C0D:00", .eventCount = 6, .wakeupCount = 2, .lastChangeMs = 7195113}));

    EXPECT_TRUE(WakeupSources::read(recorded("no-such-tree")).empty());
}

TEST(WakeupSourcesTest, MovedOrdersTheLikeliestWakerFirst) {
    // name, events, wakeups, last change
    auto source = [](std::string name, std::int64_t events, std::int64_t wakeups, std::int64_t lastChange) {
        return WakeupSource{std::move(name), events, wakeups, lastChange};
    };
    struct Row {
        const char* what;
        std::vector<WakeupSource> before;
        std::vector<WakeupSource> after;
        std::vector<WakeupSource> expected;
    };
    const std::vector<Row> rows{
        {"nothing moved", {source("PNP0C0D:00", 6, 2, 900)}, {source("PNP0C0D:00", 6, 2, 900)}, {}},
        {"a counted wakeup beats an earlier event",
         {source("1-4", 2, 0, 10), source("PNP0C0D:00", 6, 2, 900)},
         {source("1-4", 3, 0, 1000), source("PNP0C0D:00", 7, 3, 1200)},
         {source("PNP0C0D:00", 7, 3, 1200), source("1-4", 3, 0, 1000)}},
        {"of two wakeups the first to fire",
         {source("PNP0C0C:00", 0, 0, 0), source("00:02", 1, 1, 50)},
         {source("PNP0C0C:00", 1, 1, 1300), source("00:02", 2, 2, 1250)},
         {source("00:02", 2, 2, 1250), source("PNP0C0C:00", 1, 1, 1300)}},
        {"a tie goes by name",
         {source("rtc0", 0, 0, 0), source("alarmtimer.0.auto", 0, 0, 0)},
         {source("rtc0", 1, 1, 1250), source("alarmtimer.0.auto", 1, 1, 1250)},
         {source("alarmtimer.0.auto", 1, 1, 1250), source("rtc0", 1, 1, 1250)}},
        {"namesakes pair up in order",
         {source("0000:00:14.0", 1, 0, 5), source("0000:00:14.0", 5, 0, 6), source("0000:00:14.0", 9, 0, 7)},
         {source("0000:00:14.0", 1, 0, 5), source("0000:00:14.0", 6, 0, 1100),
          source("0000:00:14.0", 9, 0, 7)},
         {source("0000:00:14.0", 6, 0, 1100)}},
        {"a source that appeared counts from zero",
         {},
         {source("1-4", 1, 1, 1100)},
         {source("1-4", 1, 1, 1100)}},
        {"a source registered again says nothing",
         {source("1-4", 7, 2, 500)},
         {source("1-4", 1, 1, 1100)},
         {}},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(WakeupSources::moved(row.before, row.after), row.expected) << row.what;
    }
}

} // namespace
} // namespace vitrek
