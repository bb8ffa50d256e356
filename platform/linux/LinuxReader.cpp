#include "linux/LinuxReader.h"

#include "text/Ascii.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

// Where each figure comes from (every path is below the reader's root):
//
// battery      sys/class/power_supply/* in name order: type "Battery", scope not "Device" (a mouse's or a
//              pen's battery is not the machine's), present not 0; the last such supply wins.
//   percent    capacity (clamped to 0…100); without it charge_now ÷ charge_full, else energy_now ÷
//              energy_full, × 100 rounded half away from zero; 0 when neither can be read.
//   onAC       any supply of type Mains or USB* with online 1. Only when there is no such supply at all
//              does the battery's status decide: Charging, Full and Not charging mean on the adapter.
//   health     charge_full ÷ charge_full_design, else energy_full ÷ energy_full_design, capped at 1.0;
//              absent when a value is missing or the design value is below 1.
//   cycles     cycle_count; absent when missing or 0, which firmwares report when they do not count.
// storage      statvfs of the root: free f_bavail × f_frsize (what an unprivileged user may fill),
//              total f_blocks × f_frsize; (0, 0) when the call fails.
// pressure     proc/pressure/memory and proc/meminfo: critical when "full avg10" ≥ 5 or the available
//              memory is below 5 % of MemTotal, warning when "some avg10" ≥ 10 or below 15 %, else normal.
//              Kernels before 3.14 print no MemAvailable; MemFree + Buffers + Cached stands in for it.
//              Whatever is unreadable does not count, so nothing readable gives normal.
// swap         proc/meminfo (SwapTotal − SwapFree) × 1024; 0 when either is missing.
// heat         the highest level among processor sensors, each judged against its own critical point:
//              hwmon chips named coretemp, k10temp, zenpower or cpu_thermal (temp*_input, temp*_crit), and
//              only when those give nothing, thermal zones of type x86_pkg_temp, cpu-thermal or acpitz
//              (temp, the trip point of type "critical"). Cool below 70 °C, warm from 70, hot from 85,
//              critical from 95; a sensor with its own critical point C is hot from C − 15 and critical
//              from C − 5. Readings outside 0…150 °C (0 is what a sensor that cannot be read reports;
//              65261 °C occurs) and critical points below 60 °C (a firmware placeholder; one X570 board
//              reports 20.8 °C) are ignored. Nothing readable gives no heat at all, never a made-up cool.
// bootedAt     btime of proc/stat; read() falls back to now − proc/uptime (the boot-time clock, which
//              keeps counting during sleep).
// model        sys/class/dmi/id: see marketingName; then proc/device-tree/model (ARM boards, NUL-ended).
//              Without either (virtual machines, some boards) the machine goes by the name its owner
//              gave it: PRETTY_HOSTNAME of etc/machine-info, then etc/hostname (first line), then
//              proc/sys/kernel/hostname, then uname's node name, read only when the root is "/" so
//              recorded trees stay deterministic. The processor architecture names no machine.
// CPUTicks     the first "cpu " line of proc/stat (CPUTicks::fromProcStat).
// set-up date  the earliest trustworthy time among files an installation creates once: lost+found
//              (made with the file system), etc/machine-id (written at the first boot and never again),
//              var/log/installer (the Debian and Ubuntu installers' logs) and etc/hostname (written by
//              every installer; a later edit only makes it younger). For each, the earlier of its birth
//              time (statx) and its modification time: a file cannot change before it exists, so an older
//              modification time means it was copied from an install image with its times kept. Times
//              before 2000 are ignored: file systems without birth times and image builders report 1970.
//              The clock is not read here: a future time loses to any past one, and the age estimate
//              ignores a set-up date that is not in the past.

namespace vitrek {

namespace {

constexpr std::size_t kLargestFile = 1 << 20;

std::optional<std::string> readFile(const std::filesystem::path& path) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        return std::nullopt;
    }
    std::string contents;
    char buffer[4096];
    while (contents.size() < kLargestFile) {
        const ssize_t count = ::read(fd, buffer, sizeof buffer);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            ::close(fd);
            return std::nullopt;
        }
        if (count == 0) {
            break;
        }
        contents.append(buffer, static_cast<std::size_t>(count));
    }
    ::close(fd);
    return contents;
}

std::optional<std::int64_t> integer(std::string_view text) {
    text = Ascii::trimmed(text);
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{} || end != text.data() + text.size() || text.empty()) {
        return std::nullopt;
    }
    return value;
}

std::optional<std::int64_t> integer(const std::optional<std::string>& text) {
    return text ? integer(std::string_view(*text)) : std::nullopt;
}

std::optional<double> decimal(std::string_view text) {
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{} || end == text.data()) {
        return std::nullopt;
    }
    return value;
}

std::string word(const std::optional<std::string>& text) {
    return text ? std::string(Ascii::trimmed(*text)) : std::string{};
}

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
    return Ascii::lowercased(a) == Ascii::lowercased(b);
}

bool startsWithIgnoringCase(std::string_view text, std::string_view prefix) {
    return text.size() >= prefix.size() && equalsIgnoringCase(text.substr(0, prefix.size()), prefix);
}

std::vector<std::string> sortedEntries(const std::filesystem::path& folder) {
    std::vector<std::string> names;
    std::error_code error;
    for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        names.push_back(entry->path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

// The rest of the first line that starts with `prefix`; absent without one.
std::optional<std::string_view> lineAfter(std::string_view text, std::string_view prefix) {
    while (!text.empty()) {
        const auto end = text.find('\n');
        const auto line = text.substr(0, end);
        if (line.starts_with(prefix)) {
            return line.substr(prefix.size());
        }
        text = end == std::string_view::npos ? std::string_view{} : text.substr(end + 1);
    }
    return std::nullopt;
}

// The value of one "Key:   1234 kB" line of /proc/meminfo.
std::optional<std::int64_t> meminfoValue(std::string_view text, const std::string& key) {
    auto value = lineAfter(text, key + ":");
    if (!value) {
        return std::nullopt;
    }
    *value = Ascii::trimmed(*value);
    if (value->ends_with("kB")) {
        value->remove_suffix(2);
    }
    return integer(*value);
}

// "avg10" of the "some" or "full" line of a PSI file.
std::optional<double> pressureAverage(std::string_view text, const std::string& kind) {
    const auto line = lineAfter(text, kind + " ");
    const auto field = line ? line->find("avg10=") : std::string_view::npos;
    return field == std::string_view::npos ? std::nullopt : decimal(line->substr(field + 6));
}

constexpr double kHottestPlausible = 150;
constexpr double kLowestPlausibleCritical = 60;

std::optional<double> celsius(const std::optional<std::string>& millidegrees) {
    const auto value = integer(millidegrees);
    if (!value || *value <= 0 || *value > kHottestPlausible * 1000) {
        return std::nullopt;
    }
    return static_cast<double>(*value) / 1000;
}

std::optional<double> criticalCelsius(const std::optional<std::string>& millidegrees) {
    const auto value = celsius(millidegrees);
    return value && *value >= kLowestPlausibleCritical ? value : std::nullopt;
}

// DMI values firmware writers leave when they do not fill a field in.
// clang-format off
constexpr std::array<std::string_view, 12> kPlaceholders{
    "To be filled by O.E.M.", "System Product Name", "System manufacturer", "System Version", "Default string",
    "Not Applicable", "Not Specified", "None", "O.E.M.", "OEM", "INVALID", "123456789"};
// clang-format on

// Trimmed, or empty for a placeholder, control characters or no letter or digit at all.
std::string cleaned(std::string_view text) {
    text = Ascii::trimmed(text);
    while (!text.empty() && text.back() == '\0') {
        text.remove_suffix(1);
        text = Ascii::trimmed(text);
    }
    const bool control = std::any_of(
        text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; });
    const bool alphanumeric = std::any_of(text.begin(), text.end(), [](char c) {
        return Ascii::isDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
    });
    const bool placeholder = std::any_of(kPlaceholders.begin(), kPlaceholders.end(),
                                         [&](std::string_view p) { return equalsIgnoringCase(text, p); });
    if (control || !alphanumeric || placeholder) {
        return {};
    }
    return std::string(text);
}

// The names people use for the vendors whose firmware spells them out in full.
std::string spokenVendor(const std::string& vendor) {
    static constexpr std::array<std::pair<std::string_view, std::string_view>, 11> kShortNames{{
        {"dell inc.", "Dell"},
        {"hewlett-packard", "HP"},
        {"hp", "HP"},
        {"asustek computer inc.", "ASUS"},
        {"micro-star international co., ltd.", "MSI"},
        {"acer", "Acer"},
        {"lenovo", "Lenovo"},
        {"gigabyte technology co., ltd.", "Gigabyte"},
        {"google", "Google"},
        {"samsung electronics co., ltd.", "Samsung"},
        {"apple inc.", "Apple"},
    }};
    const auto lower = Ascii::lowercased(vendor);
    for (const auto& [full, spoken] : kShortNames) {
        if (lower == full) {
            return std::string(spoken);
        }
    }
    return vendor;
}

// "Dell" and "XPS 13 9310" make "Dell XPS 13 9310"; a product that already names its maker stands alone.
std::string joined(const std::string& vendor, const std::string& product) {
    if (vendor.empty()) {
        return product;
    }
    const auto spoken = spokenVendor(vendor);
    for (const auto& name : {spoken, vendor}) {
        if (startsWithIgnoringCase(product, name) &&
            (product.size() == name.size() || product[name.size()] == ' ')) {
            return product;
        }
    }
    return spoken + " " + product;
}

// The value of a shell assignment: quotes removed, and backslash escapes undone where the shell undoes
// them (anywhere outside quotes; inside double quotes only before " \\ ` and $). Unquoted blanks are
// kept, as systemd keeps them when it reads the file.
std::string shellWord(std::string_view text) {
    std::string word;
    char quote = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (quote == '\'') {
            if (c == '\'') {
                quote = 0;
            } else {
                word += c;
            }
        } else if (c == '\\' && i + 1 < text.size() &&
                   (quote == 0 || std::string_view("\"\\`$").find(text[i + 1]) != std::string_view::npos)) {
            word += text[++i];
        } else if (quote == '"' && c == '"') {
            quote = 0;
        } else if (quote == 0 && (c == '"' || c == '\'')) {
            quote = c;
        } else {
            word += c;
        }
    }
    return word;
}

// The first line, trimmed; empty when it holds control characters.
std::string hostNameLine(std::string_view text) {
    const auto line = Ascii::trimmed(text.substr(0, text.find('\n')));
    const bool control = std::any_of(
        line.begin(), line.end(), [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; });
    return control ? std::string{} : std::string(line);
}

} // namespace

LinuxReader::LinuxReader(std::filesystem::path root) : m_root(std::move(root)) {
    struct utsname names {};
    if (m_root == "/" && ::uname(&names) == 0) {
        m_hostName = hostNameLine(names.nodename);
    }
}

LinuxReader::LinuxReader(std::filesystem::path root, std::string hostName)
    : m_root(std::move(root)), m_hostName(std::move(hostName)) {}

std::optional<std::string> LinuxReader::text(std::string_view relativePath) const {
    return readFile(m_root / relativePath);
}

bool LinuxReader::batteryCritical() const {
    const std::string folder = "sys/class/power_supply/";
    for (const auto& name : sortedEntries(m_root / folder)) {
        const auto supply = folder + name + "/";
        if (word(text(supply + "type")) == "Battery" && word(text(supply + "scope")) != "Device" &&
            word(text(supply + "capacity_level")) == "Critical") {
            return true;
        }
    }
    return false;
}

std::optional<BatteryInfo> LinuxReader::battery() const {
    const std::string folder = "sys/class/power_supply/";
    std::optional<std::string> chosen;
    bool adapterKnown = false;
    bool adapterOnline = false;
    for (const auto& name : sortedEntries(m_root / folder)) {
        const auto supply = folder + name + "/";
        const auto type = word(text(supply + "type"));
        if (type == "Mains" || type.starts_with("USB")) {
            adapterKnown = true;
            adapterOnline = adapterOnline || integer(text(supply + "online")) == 1;
            continue;
        }
        if (type != "Battery" || word(text(supply + "scope")) == "Device" ||
            integer(text(supply + "present")) == 0) {
            continue;
        }
        chosen = supply;
    }
    if (!chosen) {
        return std::nullopt;
    }
    const auto value = [&](const char* attribute) { return integer(text(*chosen + attribute)); };

    BatteryInfo info;
    if (const auto capacity = value("capacity")) {
        info.percent = static_cast<int>(std::clamp<std::int64_t>(*capacity, 0, 100));
    } else {
        auto now = value("charge_now");
        auto full = value("charge_full");
        if (!now || !full || *full < 1) {
            now = value("energy_now");
            full = value("energy_full");
        }
        if (now && full && *full >= 1) {
            info.percent = std::clamp(Reader::batteryPercent(*now, *full), 0, 100);
        }
    }
    if (adapterKnown) {
        info.onAC = adapterOnline;
    } else {
        const auto status = word(text(*chosen + "status"));
        info.onAC = status == "Charging" || status == "Full" || status == "Not charging";
    }
    info.health = Reader::batteryHealth(value("charge_full"), value("charge_full_design"));
    if (!info.health) {
        info.health = Reader::batteryHealth(value("energy_full"), value("energy_full_design"));
    }
    const auto cycles = value("cycle_count");
    if (cycles && *cycles > 0 && *cycles <= std::numeric_limits<int>::max()) {
        info.cycles = static_cast<int>(*cycles);
    }
    return info;
}

Reader::Storage LinuxReader::storage() const {
    struct statvfs volume {};
    if (::statvfs(m_root.c_str(), &volume) != 0) {
        return {};
    }
    const auto bytes = [](std::uint64_t blocks, std::uint64_t blockSize) {
        constexpr auto kMost = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
        if (blockSize != 0 && blocks > kMost / blockSize) {
            return std::numeric_limits<std::int64_t>::max();
        }
        return static_cast<std::int64_t>(blocks * blockSize);
    };
    return Storage{bytes(volume.f_bavail, volume.f_frsize), bytes(volume.f_blocks, volume.f_frsize)};
}

Reader::Memory LinuxReader::memory() const {
    const auto meminfo = text("proc/meminfo").value_or("");
    Memory memory{memoryPressure(text("proc/pressure/memory").value_or(""), meminfo), 0};
    const auto total = meminfoValue(meminfo, "SwapTotal");
    const auto free = meminfoValue(meminfo, "SwapFree");
    if (total && free && *total > *free) {
        memory.swapBytes = (*total - *free) * 1024;
    }
    return memory;
}

Pressure LinuxReader::memoryPressure(std::string_view pressureText, std::string_view meminfoText) {
    const auto some = pressureAverage(pressureText, "some");
    const auto full = pressureAverage(pressureText, "full");
    std::optional<double> availableShare;
    const auto total = meminfoValue(meminfoText, "MemTotal");
    auto available = meminfoValue(meminfoText, "MemAvailable");
    if (!available) {
        // What older kernels offer as an estimate: free memory plus the caches the kernel can drop.
        if (const auto free = meminfoValue(meminfoText, "MemFree")) {
            available = *free + meminfoValue(meminfoText, "Buffers").value_or(0) +
                        meminfoValue(meminfoText, "Cached").value_or(0);
        }
    }
    if (total && *total > 0 && available) {
        availableShare = static_cast<double>(*available) / static_cast<double>(*total);
    }
    if ((full && *full >= 5) || (availableShare && *availableShare < 0.05)) {
        return Pressure::critical;
    }
    if ((some && *some >= 10) || (availableShare && *availableShare < 0.15)) {
        return Pressure::warning;
    }
    return Pressure::normal;
}

std::string LinuxReader::modelName() const {
    const std::string dmi = "sys/class/dmi/id/";
    const auto field = [&](const char* name) { return word(text(dmi + name)); };
    auto name = marketingName(DmiNames{field("sys_vendor"), field("product_name"), field("product_version"),
                                       field("product_family"), field("board_vendor"), field("board_name")});
    if (name.empty()) {
        name = cleaned(text("proc/device-tree/model").value_or(""));
    }
    if (name.empty()) {
        name = prettyHostName(text("etc/machine-info").value_or(""));
    }
    for (const char* file : {"etc/hostname", "proc/sys/kernel/hostname"}) {
        if (name.empty()) {
            name = hostNameLine(text(file).value_or(""));
        }
    }
    return name.empty() ? m_hostName : name;
}

std::string LinuxReader::prettyHostName(std::string_view machineInfoText) {
    std::string found;
    while (!machineInfoText.empty()) {
        const auto end = machineInfoText.find('\n');
        auto line = Ascii::trimmed(machineInfoText.substr(0, end));
        machineInfoText.remove_prefix(end == std::string_view::npos ? machineInfoText.size() : end + 1);
        const auto equals = line.find('=');
        if (line.empty() || line[0] == '#' || line[0] == ';' || equals == std::string_view::npos ||
            Ascii::trimmed(line.substr(0, equals)) != "PRETTY_HOSTNAME") {
            continue;
        }
        // The later assignment wins, as when the file is sourced by a shell.
        found = shellWord(Ascii::trimmed(line.substr(equals + 1)));
    }
    return hostNameLine(found);
}

std::string LinuxReader::marketingName(const DmiNames& names) {
    const auto vendor = cleaned(names.vendor);
    const auto product = cleaned(names.product);
    const auto lowerVendor = Ascii::lowercased(vendor);
    const auto lowerProduct = Ascii::lowercased(product);

    // Virtual machines get the name of their software. QEMU's product name would also lend the machine
    // a model year ("Standard PC (Q35 + ICH9, 2009)") that has nothing to do with its age.
    if (lowerProduct == "virtualbox") {
        return "VirtualBox virtual machine";
    }
    if (lowerVendor.starts_with("vmware")) {
        return "VMware virtual machine";
    }
    if (lowerProduct == "kvm") {
        return "KVM virtual machine";
    }
    if (lowerVendor == "qemu" || product.starts_with("Standard PC (")) {
        return "QEMU virtual machine";
    }

    // Lenovo puts a type code ("20XW0055GE") in product_name and the marketing name in product_version.
    if (spokenVendor(vendor) == "Lenovo") {
        for (const auto& candidate : {cleaned(names.version), cleaned(names.family)}) {
            if (candidate.empty() || equalsIgnoringCase(candidate, "Lenovo")) {
                continue;
            }
            return startsWithIgnoringCase(candidate, "Think") ? candidate : joined(vendor, candidate);
        }
    }
    if (!product.empty()) {
        return joined(vendor, product);
    }
    // Boards sold on their own leave the product fields unfilled; the board's name is what owners know.
    const auto board = cleaned(names.boardName);
    if (!board.empty()) {
        const auto boardVendor = cleaned(names.boardVendor);
        return joined(boardVendor.empty() ? vendor : boardVendor, board);
    }
    return {};
}

std::optional<Instant> LinuxReader::bootTime() const {
    const auto stat = text("proc/stat").value_or("");
    const auto line = lineAfter(stat, "btime ");
    const auto seconds = line ? integer(*line) : std::nullopt;
    if (!seconds || *seconds < 1) {
        return std::nullopt;
    }
    return fromUnixSeconds(static_cast<double>(*seconds));
}

std::optional<Heat> LinuxReader::heat() const {
    std::optional<Heat> hottest;
    const auto consider = [&](double temperature, std::optional<double> critical) {
        const Heat level = heatLevel(temperature, critical);
        hottest = hottest ? std::max(*hottest, level) : level;
    };

    const std::string hwmon = "sys/class/hwmon/";
    constexpr std::array<std::string_view, 4> kChips{"coretemp", "k10temp", "zenpower", "cpu_thermal"};
    for (const auto& chip : sortedEntries(m_root / hwmon)) {
        const auto folder = hwmon + chip + "/";
        const auto name = word(text(folder + "name"));
        if (std::find(kChips.begin(), kChips.end(), name) == kChips.end()) {
            continue;
        }
        for (const auto& file : sortedEntries(m_root / folder)) {
            if (!file.starts_with("temp") || !file.ends_with("_input")) {
                continue;
            }
            const auto sensor = folder + file.substr(0, file.size() - 6);
            if (const auto temperature = celsius(text(sensor + "_input"))) {
                consider(*temperature, criticalCelsius(text(sensor + "_crit")));
            }
        }
    }
    if (hottest) {
        return *hottest;
    }

    const std::string thermal = "sys/class/thermal/";
    constexpr std::array<std::string_view, 3> kZones{"x86_pkg_temp", "cpu-thermal", "acpitz"};
    for (const auto& zone : sortedEntries(m_root / thermal)) {
        const auto folder = thermal + zone + "/";
        const auto type = word(text(folder + "type"));
        if (!zone.starts_with("thermal_zone") ||
            std::find(kZones.begin(), kZones.end(), type) == kZones.end()) {
            continue;
        }
        const auto temperature = celsius(text(folder + "temp"));
        if (!temperature) {
            continue;
        }
        std::optional<double> critical;
        for (int trip = 0; trip < 32; ++trip) {
            const auto point = folder + "trip_point_" + std::to_string(trip);
            const auto tripType = text(point + "_type");
            if (!tripType) {
                break;
            }
            if (word(tripType) == "critical") {
                critical = criticalCelsius(text(point + "_temp"));
                break;
            }
        }
        consider(*temperature, critical);
    }
    return hottest;
}

Heat LinuxReader::heatLevel(double celsius, std::optional<double> criticalCelsius) {
    const double criticalFrom = criticalCelsius ? *criticalCelsius - 5 : 95;
    const double hotFrom = criticalCelsius ? *criticalCelsius - 15 : 85;
    if (celsius >= criticalFrom) {
        return Heat::critical;
    }
    if (celsius >= hotFrom) {
        return Heat::hot;
    }
    if (celsius >= 70) {
        return Heat::warm;
    }
    return Heat::cool;
}

double LinuxReader::uptime() const {
    const auto contents = text("proc/uptime").value_or("");
    const auto seconds = decimal(contents);
    return seconds && *seconds >= 0 ? *seconds : 0;
}

CPUTicks LinuxReader::cpuTicks() const {
    return CPUTicks::fromProcStat(text("proc/stat").value_or("")).value_or(CPUTicks{});
}

std::optional<Instant> LinuxReader::setUpDate() const {
    constexpr double kTrustedFrom = 946'684'800; // 2000-01-01 00:00:00 UTC
    constexpr std::array<std::string_view, 4> kInstallFiles{"lost+found", "etc/machine-id",
                                                            "var/log/installer", "etc/hostname"};
    std::optional<double> earliest;
    const auto consider = [&](std::int64_t seconds, std::uint32_t nanoseconds) {
        const double time = static_cast<double>(seconds) + nanoseconds / 1e9;
        if (time >= kTrustedFrom && (!earliest || time < *earliest)) {
            earliest = time;
        }
    };
    for (const auto& file : kInstallFiles) {
        const auto path = m_root / file;
        struct statx status {};
        if (::statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW, STATX_BTIME | STATX_MTIME, &status) == 0) {
            if (status.stx_mask & STATX_BTIME) {
                consider(status.stx_btime.tv_sec, status.stx_btime.tv_nsec);
            }
            if (status.stx_mask & STATX_MTIME) {
                consider(status.stx_mtime.tv_sec, status.stx_mtime.tv_nsec);
            }
        } else if (errno == ENOSYS) {
            // Kernels before 4.11 have no statx; the modification time is all there is.
            struct stat plain {};
            if (::lstat(path.c_str(), &plain) == 0) {
                consider(plain.st_mtim.tv_sec, static_cast<std::uint32_t>(plain.st_mtim.tv_nsec));
            }
        }
    }
    if (!earliest) {
        return std::nullopt;
    }
    return fromUnixSeconds(*earliest);
}

CPUTicks CPUTicks::now() { return LinuxReader{"/", ""}.cpuTicks(); }

} // namespace vitrek
