#pragma once

#include "readings/Reader.h"

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace vitrek {

// Reads procfs and sysfs below a root folder ("/" for the running machine, a recorded tree in tests).
// LinuxReader.cpp documents where each figure comes from.
class LinuxReader final : public Reader {
public:
    // The DMI strings a model name is made from, as the firmware wrote them.
    struct DmiNames {
        std::string vendor;      // sys_vendor
        std::string product;     // product_name
        std::string version;     // product_version
        std::string family;      // product_family
        std::string boardVendor; // board_vendor
        std::string boardName;   // board_name
    };

    // Below `root`; the last-resort name is uname's node name when `root` is "/", else empty.
    explicit LinuxReader(std::filesystem::path root = "/");
    // Below `root`, with `hostName` as the last-resort name.
    LinuxReader(std::filesystem::path root, std::string hostName);

    std::optional<BatteryInfo> battery() const override;
    Storage storage() const override;
    Memory memory() const override;
    std::string modelName() const override;
    std::optional<Instant> bootTime() const override;
    std::optional<Heat> heat() const override;
    double uptime() const override;
    CPUTicks cpuTicks() const override;
    std::optional<Instant> setUpDate() const override;
    // Whether an internal battery reports the capacity level "Critical" (the level at which the desktop
    // puts the machine to sleep or hibernates it).
    bool batteryCritical() const;

    // The pressure level from the texts of /proc/pressure/memory and /proc/meminfo (either may be empty).
    static Pressure memoryPressure(std::string_view pressureText, std::string_view meminfoText);
    // The level of a processor sensor at `celsius`, against its own critical temperature when it has one.
    static Heat heatLevel(double celsius, std::optional<double> criticalCelsius);
    // A clean name such as "ThinkPad X1 Carbon Gen 9" or "Dell XPS 13 9310"; empty when the firmware left
    // only placeholders.
    static std::string marketingName(const DmiNames& names);
    // PRETTY_HOSTNAME from the text of /etc/machine-info (shell-like KEY=value lines, quotes and backslash
    // escapes undone); empty when it is missing or blank.
    static std::string prettyHostName(std::string_view machineInfoText);

private:
    std::optional<std::string> text(std::string_view relativePath) const;

    std::filesystem::path m_root;
    std::string m_hostName;
};

} // namespace vitrek
