#include "JournalGenerator.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <utility>
#include <vector>

namespace vitrek::JournalGenerator {

namespace {

// Journal time: microseconds.
using Micros = std::int64_t;

constexpr Micros kMillisecond = 1'000;
constexpr Micros kSecond = 1'000'000;
constexpr Micros kMinute = 60 * kSecond;
constexpr Micros kHour = 60 * kMinute;
constexpr Micros kDay = 24 * kHour;

constexpr std::string_view kHostname = "lenovo-t14";
constexpr std::string_view kUser = "alex";
constexpr std::string_view kHomeAccessPoint = "3c:84:6a:a1:22:5e";
constexpr std::string_view kRoamAccessPoint = "3c:84:6a:a1:22:5f";
constexpr std::string_view kAddress = "192.168.178.37";
constexpr std::string_view kRouter = "192.168.178.1";
constexpr int kCpus = 8;
constexpr std::size_t kChunkBytes = 1 << 20;

// splitmix64: a fixed sequence for a seed on every platform, which std distributions do not promise.
class Random {
public:
    explicit Random(std::uint64_t seed) : m_state(seed) {}

    std::uint64_t next() {
        std::uint64_t z = (m_state += 0x9e37'79b9'7f4a'7c15ULL);
        z = (z ^ (z >> 30)) * 0xbf58'476d'1ce4'e5b9ULL;
        z = (z ^ (z >> 27)) * 0x94d0'49bb'1331'11ebULL;
        return z ^ (z >> 31);
    }
    // low … high, both included.
    std::int64_t between(std::int64_t low, std::int64_t high) {
        return low + static_cast<std::int64_t>(next() % static_cast<std::uint64_t>(high - low + 1));
    }
    bool chance(int percent) { return between(0, 99) < percent; }
    template <class T, std::size_t N> const T& pick(const std::array<T, N>& items) {
        return items[static_cast<std::size_t>(between(0, static_cast<std::int64_t>(N) - 1))];
    }
    // An index drawn with the given weights.
    template <std::size_t N> std::size_t weighted(const std::array<int, N>& weights) {
        int total = 0;
        for (const int weight : weights) {
            total += weight;
        }
        auto roll = static_cast<int>(between(0, total - 1));
        for (std::size_t i = 0; i < N; ++i) {
            if (roll < weights[i]) {
                return i;
            }
            roll -= weights[i];
        }
        return N - 1;
    }

private:
    std::uint64_t m_state;
};

// A value derived from several numbers without disturbing any sequence: ids of boots, units and streams.
std::uint64_t mix(std::uint64_t a, std::uint64_t b, std::uint64_t c = 0) {
    Random random{a * 0x100'0000'01b3ULL ^ b * 0x9e37'79b9ULL ^ c};
    random.next();
    return random.next();
}

// Appending by hand instead of through streams or printf keeps two months of chatter to seconds.
struct Hex {
    std::uint64_t value = 0;
    int width = 0; // zero-padded to this many digits
};
struct Padded {
    std::int64_t value = 0;
    int width = 0;
};
// Seconds since 1970 with `decimals` digits after the point, as NetworkManager and audit stamp lines.
struct Stamp {
    Micros micros = 0;
    int decimals = 0;
};

void append(std::string& out, std::string_view text) { out += text; }
void append(std::string& out, std::int64_t value) {
    std::array<char, 24> buffer{};
    const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value);
    out.append(buffer.data(), result.ptr);
}
void append(std::string& out, Padded padded) {
    std::array<char, 24> buffer{};
    const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), padded.value);
    const auto digits = static_cast<int>(result.ptr - buffer.data());
    if (digits < padded.width) {
        out.append(static_cast<std::size_t>(padded.width - digits), '0');
    }
    out.append(buffer.data(), result.ptr);
}
void append(std::string& out, Hex hex) {
    std::array<char, 24> buffer{};
    const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), hex.value, 16);
    const auto digits = static_cast<int>(result.ptr - buffer.data());
    if (digits < hex.width) {
        out.append(static_cast<std::size_t>(hex.width - digits), '0');
    }
    out.append(buffer.data(), result.ptr);
}
void append(std::string& out, Stamp stamp) {
    append(out, stamp.micros / kSecond);
    out += '.';
    Micros fraction = stamp.micros % kSecond;
    for (int i = stamp.decimals; i < 6; ++i) {
        fraction /= 10;
    }
    append(out, Padded{fraction, stamp.decimals});
}

template <class... Parts> std::string cat(const Parts&... parts) {
    std::string out;
    (append(out, parts), ...);
    return out;
}

// 128 bits as the journal writes ids: 32 lower-case hex digits.
std::string id128(std::uint64_t high, std::uint64_t low) { return cat(Hex{high, 16}, Hex{low, 16}); }

// ---------------------------------------------------------------------------------------------------
// Who writes to the journal.

enum class Transport : std::uint8_t { kernel, driver, journal, syslog, stdoutStream };
constexpr std::array<std::string_view, 5> kTransportNames{"kernel", "driver", "journal", "syslog", "stdout"};

enum class Service : std::uint8_t {
    kernel,
    systemd,
    journald,
    udevd,
    logind,
    sleep,
    upowerd,
    timesyncd,
    networkManager,
    wpaSupplicant,
    dbus,
    avahi,
    cron,
    cronJob,
    sshd,
    sudo,
    polkitd,
    rtkit,
    bluetoothd,
    packagekitd,
    gdm,
    userSystemd,
    gnomeShell,
    pipewire,
    wireplumber,
    tracker,
    firefox,
};
constexpr std::size_t kServiceCount = 27;

struct ServiceInfo {
    std::string_view identifier;
    Transport transport = Transport::journal;
    std::string_view comm;
    std::string_view exe;
    std::string_view cmdline;
    std::string_view cgroup;
    std::string_view unit;
    std::string_view slice;
    std::string_view userUnit; // _SYSTEMD_USER_UNIT of the session's services
    std::string_view codeFile; // CODE_FILE and CODE_FUNC, which systemd's own programs send
    std::string_view codeFunc;
    int uid = 0;
    int facility = 3; // daemon
    int pidBase = 0;  // where its process id lands at boot; 0 for a new process at every use
};

constexpr std::string_view kUserSlice = "user-1000.slice";
constexpr std::string_view kUserManager = "user@1000.service";

// In the order of Service.
constexpr std::array<ServiceInfo, kServiceCount> kServices{{
    {"kernel", Transport::kernel, "", "", "", "", "", "", "", "", "", 0, 0, 0},
    {"systemd", Transport::journal, "systemd", "/usr/lib/systemd/systemd", "/sbin/init splash", "/init.scope",
     "init.scope", "-.slice", "", "src/core/unit.c", "unit_log_success", 0, 3, 1},
    {"systemd-journald", Transport::driver, "systemd-journal", "/usr/lib/systemd/systemd-journald",
     "/lib/systemd/systemd-journald", "/system.slice/systemd-journald.service", "systemd-journald.service",
     "system.slice", "", "", "", 0, 3, 281},
    {"systemd-udevd", Transport::journal, "systemd-udevd", "/usr/bin/udevadm", "/lib/systemd/systemd-udevd",
     "/system.slice/systemd-udevd.service", "systemd-udevd.service", "system.slice", "", "src/udev/udevd.c",
     "on_post", 0, 3, 312},
    {"systemd-logind", Transport::journal, "systemd-logind", "/usr/lib/systemd/systemd-logind",
     "/lib/systemd/systemd-logind", "/system.slice/systemd-logind.service", "systemd-logind.service",
     "system.slice", "", "src/login/logind-button.c", "button_dispatch", 0, 3, 702},
    {"systemd-sleep", Transport::journal, "systemd-sleep", "/usr/lib/systemd/systemd-sleep",
     "/lib/systemd/systemd-sleep suspend", "/system.slice/systemd-suspend.service", "systemd-suspend.service",
     "system.slice", "", "src/sleep/sleep.c", "execute", 0, 3, 0},
    {"upowerd", Transport::journal, "upowerd", "/usr/libexec/upowerd", "/usr/libexec/upowerd",
     "/system.slice/upower.service", "upower.service", "system.slice", "", "", "", 0, 3, 1288},
    {"systemd-timesyncd", Transport::journal, "systemd-timesyn", "/usr/lib/systemd/systemd-timesyncd",
     "/lib/systemd/systemd-timesyncd", "/system.slice/systemd-timesyncd.service", "systemd-timesyncd.service",
     "system.slice", "", "src/timesync/timesyncd-manager.c", "manager_receive_response", 997, 3, 561},
    {"NetworkManager", Transport::syslog, "NetworkManager", "/usr/sbin/NetworkManager",
     "/usr/sbin/NetworkManager --no-daemon", "/system.slice/NetworkManager.service", "NetworkManager.service",
     "system.slice", "", "", "", 0, 3, 717},
    {"wpa_supplicant", Transport::syslog, "wpa_supplicant", "/usr/sbin/wpa_supplicant",
     "/sbin/wpa_supplicant -u -s -O DIR=/run/wpa_supplicant GROUP=netdev",
     "/system.slice/wpa_supplicant.service", "wpa_supplicant.service", "system.slice", "", "", "", 0, 3, 733},
    {"dbus-daemon", Transport::syslog, "dbus-daemon", "/usr/bin/dbus-daemon",
     "/usr/bin/dbus-daemon --system --address=systemd: --nofork --nopidfile --systemd-activation "
     "--syslog-only",
     "/system.slice/dbus.service", "dbus.service", "system.slice", "", "", "", 101, 3, 690},
    {"avahi-daemon", Transport::syslog, "avahi-daemon", "/usr/sbin/avahi-daemon",
     "avahi-daemon: running [lenovo-t14.local]", "/system.slice/avahi-daemon.service", "avahi-daemon.service",
     "system.slice", "", "", "", 105, 3, 684},
    {"cron", Transport::syslog, "cron", "/usr/sbin/cron", "/usr/sbin/cron -f", "/system.slice/cron.service",
     "cron.service", "system.slice", "", "", "", 0, 9, 688},
    {"CRON", Transport::syslog, "cron", "/usr/sbin/cron", "/usr/sbin/CRON -f", "/system.slice/cron.service",
     "cron.service", "system.slice", "", "", "", 0, 10, 0},
    {"sshd", Transport::syslog, "sshd", "/usr/sbin/sshd", "sshd: alex [priv]", "/system.slice/ssh.service",
     "ssh.service", "system.slice", "", "", "", 0, 4, 0},
    {"sudo", Transport::syslog, "sudo", "/usr/bin/sudo", "sudo apt update",
     "/user.slice/user-1000.slice/session-2.scope", "session-2.scope", kUserSlice, "", "", "", 0, 10, 0},
    {"polkitd", Transport::journal, "polkitd", "/usr/lib/polkit-1/polkitd",
     "/usr/lib/polkit-1/polkitd --no-debug", "/system.slice/polkit.service", "polkit.service", "system.slice",
     "", "", "", 998, 3, 709},
    {"rtkit-daemon", Transport::syslog, "rtkit-daemon", "/usr/libexec/rtkit-daemon",
     "/usr/libexec/rtkit-daemon", "/system.slice/rtkit-daemon.service", "rtkit-daemon.service",
     "system.slice", "", "", "", 0, 3, 1093},
    {"bluetoothd", Transport::syslog, "bluetoothd", "/usr/libexec/bluetooth/bluetoothd",
     "/usr/libexec/bluetooth/bluetoothd", "/system.slice/bluetooth.service", "bluetooth.service",
     "system.slice", "", "", "", 0, 3, 683},
    {"PackageKit", Transport::journal, "packagekitd", "/usr/libexec/packagekitd", "/usr/libexec/packagekitd",
     "/system.slice/packagekit.service", "packagekit.service", "system.slice", "", "", "", 0, 3, 2217},
    {"gdm-password]", Transport::syslog, "gdm-session-wor", "/usr/libexec/gdm-session-worker",
     "gdm-session-worker [pam/gdm-password]", "/user.slice/user-1000.slice/session-2.scope",
     "session-2.scope", kUserSlice, "", "", "", 0, 10, 1451},
    {"systemd", Transport::journal, "systemd", "/usr/lib/systemd/systemd", "/lib/systemd/systemd --user",
     "/user.slice/user-1000.slice/user@1000.service/init.scope", kUserManager, kUserSlice, "init.scope",
     "src/core/unit.c", "unit_log_success", 1000, 3, 1461},
    {"gnome-shell", Transport::journal, "gnome-shell", "/usr/bin/gnome-shell", "/usr/bin/gnome-shell",
     "/user.slice/user-1000.slice/user@1000.service/session.slice/org.gnome.Shell@wayland.service",
     kUserManager, kUserSlice, "org.gnome.Shell@wayland.service", "", "", 1000, 3, 1534},
    {"pipewire", Transport::journal, "pipewire", "/usr/bin/pipewire", "/usr/bin/pipewire",
     "/user.slice/user-1000.slice/user@1000.service/session.slice/pipewire.service", kUserManager, kUserSlice,
     "pipewire.service", "", "", 1000, 3, 1475},
    {"wireplumber", Transport::journal, "wireplumber", "/usr/bin/wireplumber", "/usr/bin/wireplumber",
     "/user.slice/user-1000.slice/user@1000.service/session.slice/wireplumber.service", kUserManager,
     kUserSlice, "wireplumber.service", "", "", 1000, 3, 1477},
    {"tracker-miner-fs-3", Transport::journal, "tracker-miner-f", "/usr/libexec/tracker-miner-fs-3",
     "/usr/libexec/tracker-miner-fs-3",
     "/user.slice/user-1000.slice/user@1000.service/app.slice/tracker-miner-fs-3.service", kUserManager,
     kUserSlice, "tracker-miner-fs-3.service", "", "", 1000, 3, 1502},
    {"firefox-esr", Transport::stdoutStream, "firefox-esr", "/usr/lib/firefox-esr/firefox-esr",
     "/usr/lib/firefox-esr/firefox-esr",
     "/user.slice/user-1000.slice/user@1000.service/app.slice/app-gnome-firefox\\x2desr-2311.scope",
     kUserManager, kUserSlice, "app-gnome-firefox\\x2desr-2311.scope", "", "", 1000, 3, 2311},
}};

const ServiceInfo& info(Service service) { return kServices[static_cast<std::size_t>(service)]; }

// One line of the journal before it is spelled out as fields.
struct Line {
    Micros realtime = 0;
    Micros monotonic = 0;
    int boot = 0;
    Service service = Service::kernel;
    int priority = 6;
    int pid = 0; // 0: the service's process of this boot
    std::string_view messageId;
    std::string message;
};

// Systemd's catalogue ids of the messages that have one.
constexpr std::string_view kLidOpenedId = "b72ea4a2881545a0b50e200e55b9b06f";
constexpr std::string_view kLidClosedId = "b72ea4a2881545a0b50e200e55b9b070";
constexpr std::string_view kPowerKeyId = "b72ea4a2881545a0b50e200e55b9b071";
constexpr std::string_view kSleepStartId = "6bbd95ee977941e497c48be27c254128";
constexpr std::string_view kSleepStopId = "8811e6df2a8e40f58a94cea26f8ebf14";
constexpr std::string_view kSessionStartId = "8d45620c1a4348dbb17410da57c60c66";
constexpr std::string_view kSessionStopId = "3354939424b4456d9802ca8333ed424a";
constexpr std::string_view kShutdownId = "98268866d1d54a499c4e98921d93bc40";
constexpr std::string_view kStartupFinishedId = "b07a249cd024414a82dd00cd181378ff";
constexpr std::string_view kJournalStartId = "f77379a8490b408bbe5f6940505a777b";
constexpr std::string_view kJournalStopId = "d93fb3c9c24d451a97cea615ce59c00b";
constexpr std::string_view kUnitStartingId = "7d4958e842da4a758f6c1cdc7b36dcc5";
constexpr std::string_view kUnitStartedId = "39f53479d3a045ac8e11786248231fbf";
constexpr std::string_view kUnitDeactivatedId = "7ad2d189f7e94e70a38c781354912448";

// ---------------------------------------------------------------------------------------------------
// Units systemd starts and stops.

struct Unit {
    std::string_view name;
    std::string_view description;
};

// Started at boot, in this order, each followed by "Started" (services) or "Finished" (one-shots).
struct BootUnit {
    Unit unit;
    bool oneShot = false;
};
constexpr std::array<BootUnit, 30> kBootUnits{{
    {{"systemd-journald.service", "Journal Service"}, false},
    {{"systemd-remount-fs.service", "Remount Root and Kernel File Systems"}, true},
    {{"systemd-udev-trigger.service", "Coldplug All udev Devices"}, true},
    {{"systemd-random-seed.service", "Load/Save Random Seed"}, true},
    {{"systemd-sysusers.service", "Create System Users"}, true},
    {{"systemd-tmpfiles-setup-dev.service", "Create Static Device Nodes in /dev"}, true},
    {{"systemd-udevd.service", "Rule-based Manager for Device Events and Files"}, false},
    {{"systemd-fsck@dev-disk-by\\x2duuid-6A1C\\x2d2E1F.service",
      "File System Check on /dev/disk/by-uuid/6A1C-2E1F"},
     true},
    {{"systemd-journal-flush.service", "Flush Journal to Persistent Storage"}, true},
    {{"apparmor.service", "Load AppArmor profiles"}, true},
    {{"systemd-tmpfiles-setup.service", "Create System Files and Directories"}, true},
    {{"systemd-timesyncd.service", "Network Time Synchronization"}, false},
    {{"systemd-update-utmp.service", "Record System Boot/Shutdown in UTMP"}, true},
    {{"dbus.service", "D-Bus System Message Bus"}, false},
    {{"avahi-daemon.service", "Avahi mDNS/DNS-SD Stack"}, false},
    {{"bluetooth.service", "Bluetooth service"}, false},
    {{"cron.service", "Regular background program processing daemon"}, false},
    {{"e2scrub_reap.service", "Remove Stale Online ext4 Metadata Check Snapshots"}, true},
    {{"polkit.service", "Authorization Manager"}, false},
    {{"systemd-logind.service", "User Login Management"}, false},
    {{"wpa_supplicant.service", "WPA supplicant"}, false},
    {{"NetworkManager.service", "Network Manager"}, false},
    {{"ModemManager.service", "Modem Manager"}, false},
    {{"cups.service", "CUPS Scheduler"}, false},
    {{"gdm.service", "GNOME Display Manager"}, false},
    {{"upower.service", "Daemon for power management"}, false},
    {{"rtkit-daemon.service", "RealtimeKit Scheduling Policy Service"}, false},
    {{"user-runtime-dir@1000.service", "User Runtime Directory /run/user/1000"}, true},
    {{"user@1000.service", "User Manager for UID 1000"}, false},
    {{"systemd-update-utmp-runlevel.service", "Record Runlevel Change in UTMP"}, true},
}};
constexpr std::array<Unit, 12> kBootTargets{{
    {"local-fs-pre.target", "Preparation for Local File Systems"},
    {"local-fs.target", "Local File Systems"},
    {"sysinit.target", "System Initialization"},
    {"timers.target", "Timer Units"},
    {"sockets.target", "Socket Units"},
    {"basic.target", "Basic System"},
    {"network.target", "Network"},
    {"nss-lookup.target", "Host and Network Name Lookups"},
    {"bluetooth.target", "Bluetooth Support"},
    {"sound.target", "Sound Card"},
    {"multi-user.target", "Multi-User System"},
    {"graphical.target", "Graphical Interface"},
}};

// One-shots that timers run while the machine is awake.
constexpr std::array<Unit, 10> kTimerUnits{{
    {"sysstat-collect.service", "system activity accounting tool"}, // every ten minutes, not drawn
    {"man-db.service", "Daily man-db regeneration"},
    {"apt-daily.service", "Daily apt download activities"},
    {"apt-daily-upgrade.service", "Daily apt upgrade and clean activities"},
    {"logrotate.service", "Rotate log files"},
    {"systemd-tmpfiles-clean.service", "Cleanup of Temporary Directories"},
    {"fwupd-refresh.service", "Refresh fwupd metadata and update motd"},
    {"anacron.service", "Run anacron jobs"},
    {"e2scrub_all.service", "Online ext4 Metadata Check for All Filesystems"},
    {"dpkg-db-backup.service", "Daily dpkg database backup service"},
}};
constexpr std::array<int, 10> kTimerWeights{0, 4, 4, 2, 2, 2, 3, 8, 1, 2};

// Services D-Bus starts on demand: the bus name, the unit and its description.
struct Activation {
    std::string_view busName;
    Unit unit;
};
constexpr std::array<Activation, 6> kActivations{{
    {"org.freedesktop.nm_dispatcher",
     {"NetworkManager-dispatcher.service", "Network Manager Script Dispatcher Service"}},
    {"org.freedesktop.hostname1", {"systemd-hostnamed.service", "Hostname Service"}},
    {"org.freedesktop.locale1", {"systemd-localed.service", "Locale Service"}},
    {"org.freedesktop.PackageKit", {"packagekit.service", "PackageKit Daemon"}},
    {"net.reactivated.Fprint", {"fprintd.service", "Fingerprint Authentication Daemon"}},
    {"org.freedesktop.fwupd", {"fwupd.service", "Firmware update daemon"}},
}};

// Stopped, in this order, by a shutdown.
constexpr std::array<Unit, 16> kShutdownUnits{{
    {"session-2.scope", "Session 2 of User alex"},
    {"user@1000.service", "User Manager for UID 1000"},
    {"gdm.service", "GNOME Display Manager"},
    {"NetworkManager.service", "Network Manager"},
    {"wpa_supplicant.service", "WPA supplicant"},
    {"ModemManager.service", "Modem Manager"},
    {"cups.service", "CUPS Scheduler"},
    {"upower.service", "Daemon for power management"},
    {"avahi-daemon.service", "Avahi mDNS/DNS-SD Stack"},
    {"bluetooth.service", "Bluetooth service"},
    {"cron.service", "Regular background program processing daemon"},
    {"polkit.service", "Authorization Manager"},
    {"rtkit-daemon.service", "RealtimeKit Scheduling Policy Service"},
    {"systemd-logind.service", "User Login Management"},
    {"dbus.service", "D-Bus System Message Bus"},
    {"systemd-timesyncd.service", "Network Time Synchronization"},
}};

// The kernel's start-up lines of a Debian 12 ThinkPad, after the version line.
constexpr std::array<std::string_view, 58> kKernelBoot{
    "Command line: BOOT_IMAGE=/boot/vmlinuz-6.1.0-13-amd64 root=UUID=4f1c6e7d-2b1a-4c55-9a51-6f0b7b7d21c3 ro "
    "quiet splash",
    "BIOS-provided physical RAM map:",
    "BIOS-e820: [mem 0x0000000000000000-0x000000000009efff] usable",
    "BIOS-e820: [mem 0x000000000009f000-0x00000000000fffff] reserved",
    "BIOS-e820: [mem 0x0000000000100000-0x000000003f8a1fff] usable",
    "BIOS-e820: [mem 0x000000003f8a2000-0x0000000043e3bfff] reserved",
    "BIOS-e820: [mem 0x0000000043e3c000-0x0000000043f14fff] ACPI NVS",
    "BIOS-e820: [mem 0x0000000100000000-0x00000004af7fffff] usable",
    "NX (Execute Disable) protection: active",
    "efi: EFI v2.70 by Lenovo",
    "SMBIOS 3.2.0 present.",
    "DMI: LENOVO 20W000T9GE/20W000T9GE, BIOS N34ET53W (1.53 ) 09/29/2022",
    "tsc: Detected 2800.000 MHz processor",
    "tsc: Detected 2803.200 MHz TSC",
    "e820: update [mem 0x00000000-0x00000fff] usable ==> reserved",
    "last_pfn = 0x4af800 max_arch_pfn = 0x400000000",
    "x86/PAT: Configuration [0-7]: WB  WC  UC- UC  WB  WP  UC- WT  ",
    "ACPI: Early table checksum verification disabled",
    "ACPI: RSDP 0x0000000043F14014 000024 (v02 LENOVO)",
    "ACPI: FACP 0x0000000043EF9000 000114 (v06 LENOVO TP-N34   00001530 PTEC 00000002)",
    "ACPI: DSDT 0x0000000043ECF000 026C13 (v02 LENOVO TGL      00000002 INTL 20160527)",
    "No NUMA configuration found",
    "Zone ranges:",
    "  DMA      [mem 0x0000000000001000-0x0000000000ffffff]",
    "  DMA32    [mem 0x0000000001000000-0x00000000ffffffff]",
    "  Normal   [mem 0x0000000100000000-0x00000004af7fffff]",
    "ACPI: PM-Timer IO Port: 0x1808",
    "PM: hibernation: Registered nosave memory: [mem 0x00000000-0x00000fff]",
    "PM: hibernation: Registered nosave memory: [mem 0x0009f000-0x000fffff]",
    "smpboot: Allowing 8 CPUs, 0 hotplug CPUs",
    "Kernel command line: BOOT_IMAGE=/boot/vmlinuz-6.1.0-13-amd64 "
    "root=UUID=4f1c6e7d-2b1a-4c55-9a51-6f0b7b7d21c3 ro quiet splash",
    "Memory: 15962416K/16592080K available (14342K kernel code, 2327K rwdata, 8896K rodata, 2796K init, "
    "17476K bss, 629404K reserved, 0K cma-reserved)",
    "SLUB: HWalign=64, Order=0-3, MinObjects=0, CPUs=8, Nodes=1",
    "rcu: Hierarchical RCU implementation.",
    "Console: colour dummy device 80x25",
    "printk: console [tty0] enabled",
    "smpboot: CPU0: 11th Gen Intel(R) Core(TM) i7-1165G7 @ 2.80GHz (family: 0x6, model: 0x8c, stepping: 0x1)",
    "smp: Brought up 1 node, 8 CPUs",
    "smpboot: Max logical packages: 1",
    "ACPI: PM: Registering ACPI NVS region [mem 0x43e3c000-0x43f14fff] (888832 bytes)",
    "ACPI: (supports S0 S3 S4 S5)",
    "ACPI: Using IOAPIC for interrupt routing",
    "PCI: Using host bridge windows from ACPI; if necessary, use \"pci=nocrs\" and report a bug",
    "ACPI: button: Lid Switch [LID]",
    "ACPI: button: Sleep Button [SLPB]",
    "ACPI: button: Power Button [PWRF]",
    "thermal LNXTHERM:00: registered as thermal_zone0",
    "nvme nvme0: pci function 0000:04:00.0",
    "nvme nvme0: 8/0/0 default/read/poll queues",
    " nvme0n1: p1 p2 p3",
    "PM:   Magic number: 13:417:851",
    "EXT4-fs (nvme0n1p2): mounted filesystem with ordered data mode. Quota mode: none.",
    "Intel(R) Wireless WiFi driver for Linux",
    "iwlwifi 0000:03:00.0: loaded firmware version 72.daa05125.0 QuZ-a0-hr-b0-72.ucode op_mode iwlmvm",
    "iwlwifi 0000:03:00.0: Detected Intel(R) Wi-Fi 6 AX201 160MHz, REV=0x351",
    "iwlwifi 0000:03:00.0 wlp3s0: renamed from wlan0",
    "thinkpad_acpi: ThinkPad ACPI Extras v0.26",
    "EXT4-fs (nvme0n1p2): re-mounted. Quota mode: none.",
};

// ---------------------------------------------------------------------------------------------------
// The days: when the laptop sleeps, wakes, starts and stops, with the lines of each transition.

// A stretch in which the machine is awake and its services chatter.
struct Awake {
    Micros from = 0;
    Micros to = 0;
    Micros offset = 0; // realtime minus monotonic while it lasts
    int boot = 0;
};

enum class SleepCause { lid, idle, powerKey, menu };

struct Timeline {
    std::vector<Line> lines; // the power, start-up and shutdown lines, in order
    std::vector<Awake> awake;
    std::vector<std::string> boots;                          // their ids
    std::vector<std::array<int, kServiceCount>> servicePids; // per boot
    JournalSummary summary;
};

class Simulator {
public:
    Simulator(const JournalShape& shape, Timeline& timeline)
        : m_shape(shape), m_timeline(timeline), m_random(shape.seed), m_end(shape.endMicros),
          m_zone(static_cast<Micros>(shape.utcOffsetMinutes) * kMinute) {}

    void run() {
        const Micros start = m_end - static_cast<Micros>(std::max(m_shape.days, 1)) * kDay;
        boot(start);
        for (Micros day = localMidnight(start); m_now < m_end; day += kDay) {
            if (day > start) {
                const Micros morning =
                    day + m_random.between(6 * kHour + 40 * kMinute, 8 * kHour + 30 * kMinute);
                if (m_state == State::off) {
                    boot(morning);
                } else if (m_state == State::asleep) {
                    resume(morning, m_lastCause == SleepCause::lid, false);
                }
            }
            liveDay(day);
            evening(day);
        }
        if (m_state == State::awake) {
            closeAwake(m_end);
        }
    }

private:
    enum class State { awake, asleep, off };

    Micros localMidnight(Micros t) const {
        const Micros local = t + m_zone;
        Micros days = local / kDay;
        if (local % kDay < 0) {
            --days;
        }
        return days * kDay - m_zone;
    }

    // The daytime breaks: a nap over lunch, a restart for updates.
    void liveDay(Micros day) {
        struct Event {
            Micros at = 0;
            bool restart = false;
        };
        std::vector<Event> events;
        if (m_random.chance(30)) {
            events.push_back({day + m_random.between(12 * kHour, 13 * kHour + 30 * kMinute), false});
        }
        if (m_random.chance(14)) {
            const bool morning = m_random.chance(50);
            const Micros at = morning ? m_random.between(9 * kHour, 11 * kHour + 30 * kMinute)
                                      : m_random.between(14 * kHour + 50 * kMinute, 18 * kHour);
            events.push_back({day + at, true});
        }
        std::sort(events.begin(), events.end(), [](const Event& a, const Event& b) { return a.at < b.at; });
        for (const Event& event : events) {
            if (m_state != State::awake || event.at < m_now + 10 * kMinute || event.at >= m_end) {
                continue;
            }
            if (event.restart) {
                shutdown(event.at, true);
                boot(m_now + m_random.between(35, 80) * kSecond);
                continue;
            }
            const SleepCause cause = m_random.chance(55) ? SleepCause::idle : SleepCause::lid;
            suspend(event.at, cause, false);
            resume(event.at + m_random.between(20, 75) * kMinute, cause == SleepCause::lid, false);
        }
    }

    // The evening's suspend, or power-off, and the night's dark wakes.
    void evening(Micros day) {
        const Micros at = day + m_random.between(22 * kHour + 15 * kMinute, 25 * kHour + 15 * kMinute);
        const Micros nextMorning = day + kDay + 6 * kHour + 40 * kMinute;
        if (m_state != State::awake || at < m_now + 10 * kMinute) {
            return;
        }
        if (m_random.chance(9)) {
            shutdown(at, false);
            return;
        }
        const std::array<int, 4> causeWeights{58, 16, 12, 14};
        const auto cause = static_cast<SleepCause>(m_random.weighted(causeWeights));
        suspend(at, cause, false);
        const std::array<int, 3> darkWakeWeights{55, 30, 15};
        const auto darkWakes = static_cast<int>(m_random.weighted(darkWakeWeights));
        std::vector<Micros> wakes;
        for (int i = 0; i < darkWakes; ++i) {
            wakes.push_back(m_random.between(at + 40 * kMinute, nextMorning - 30 * kMinute));
        }
        std::sort(wakes.begin(), wakes.end());
        for (const Micros wake : wakes) {
            if (wake > m_now + 5 * kMinute) {
                resume(wake, false, true);
                // With the lid shut logind suspends again as soon as the resume settles; with it open the
                // machine waits for the idle timeout, shortened here to keep the wake dark.
                const Micros back = m_now + m_random.between(18, 32) * kSecond;
                suspend(back, cause == SleepCause::lid ? SleepCause::lid : SleepCause::idle, true);
            }
        }
    }

    // Lets a little time pass, as between the lines one program writes in a burst.
    void wait(Micros low = 200, Micros high = 9 * kMillisecond) { m_now += m_random.between(low, high); }

    // A line now from the process of this boot, unless now is after the journal's end.
    void say(Service service, std::string message, int priority = 6, std::string_view messageId = {},
             int pid = 0) {
        if (m_now <= m_end) {
            m_timeline.lines.push_back(
                Line{m_now, m_now - m_offset, m_boot, service, priority, pid, messageId, std::move(message)});
        }
        wait();
    }
    void kernel(std::string message, int priority = 6) { say(Service::kernel, std::move(message), priority); }
    void systemd(std::string message, std::string_view messageId = {}) {
        say(Service::systemd, std::move(message), 6, messageId);
    }
    void networkManager(std::string_view text) {
        say(Service::networkManager, cat("<info>  [", Stamp{m_now, 4}, "] ", text));
    }

    // The process id a program started now gets.
    int freshPid() {
        m_lastPid += static_cast<int>(m_random.between(1, 40));
        return m_lastPid;
    }

    void openAwake() {
        m_awakeFrom = m_now;
        m_state = State::awake;
    }
    void closeAwake(Micros at) {
        const Micros to = std::min(at, m_end);
        if (m_awakeFrom >= 0 && to > m_awakeFrom) {
            m_timeline.awake.push_back(Awake{m_awakeFrom, to, m_offset, m_boot});
        }
        m_awakeFrom = -1;
    }

    void boot(Micros at) {
        m_boot = static_cast<int>(m_timeline.boots.size());
        const auto index = static_cast<std::uint64_t>(m_boot);
        m_timeline.boots.push_back(id128(mix(m_shape.seed, 0xb007, index), mix(m_shape.seed, 0xb008, index)));
        const std::string& id = m_timeline.boots.back();
        std::array<int, kServiceCount> pids{};
        for (std::size_t i = 0; i < kServiceCount; ++i) {
            pids[i] = kServices[i].pidBase;
            if (pids[i] > 1) {
                pids[i] += static_cast<int>(m_random.between(0, 40));
            }
        }
        m_timeline.servicePids.push_back(pids);
        ++m_timeline.summary.boots;
        m_offset = at;
        m_now = at;
        m_lastPid = 2'600;

        kernel("Linux version 6.1.0-13-amd64 (debian-kernel@lists.debian.org) (gcc-12 (Debian 12.2.0-14) "
               "12.2.0, GNU ld (GNU Binutils for Debian) 2.40) #1 SMP PREEMPT_DYNAMIC Debian 6.1.55-1 "
               "(2023-09-29)",
               5);
        for (const std::string_view text : kKernelBoot) {
            wait(50, 40 * kMillisecond);
            kernel(std::string{text});
        }
        wait(200 * kMillisecond, 600 * kMillisecond);
        systemd(
            "systemd 252.17-1~deb12u1 running in system mode (+PAM +AUDIT +SELINUX +APPARMOR +IMA +SMACK "
            "+SECCOMP +GCRYPT -GNUTLS +OPENSSL +ACL +BLKID +CURL +ELFUTILS +FIDO2 +IDN2 -IDN +IPTC +KMOD "
            "+LIBCRYPTSETUP +LIBFDISK +PCRE2 -PWQUALITY +P11KIT +QRENCODE +TPM2 +BZIP2 +LZ4 +XZ +ZLIB +ZSTD "
            "-BPF_FRAMEWORK -XKBCOMMON +UTMP +SYSVINIT default-hierarchy=unified)");
        systemd("Detected architecture x86-64.");
        systemd(cat("Hostname set to <", kHostname, ">."));
        say(Service::journald, "Journal started", 6, kJournalStartId);
        say(Service::journald, "Runtime Journal (/run/log/journal/5f0e2f1c8a3b4d7e9c6a1b2d3e4f5a6b) is 8.0M, "
                               "max 78.3M, 70.3M free.");
        std::size_t target = 0;
        for (const BootUnit& unit : kBootUnits) {
            systemd(cat("Starting ", unit.unit.name, " - ", unit.unit.description, "..."), kUnitStartingId);
            wait(1 * kMillisecond, 120 * kMillisecond);
            systemd(cat(unit.oneShot ? "Finished " : "Started ", unit.unit.name, " - ", unit.unit.description,
                        "."),
                    kUnitStartedId);
            if (target < kBootTargets.size() && m_random.chance(45)) {
                const Unit& reached = kBootTargets[target++];
                systemd(cat("Reached target ", reached.name, " - ", reached.description, "."));
            }
        }
        for (; target < kBootTargets.size(); ++target) {
            systemd(cat("Reached target ", kBootTargets[target].name, " - ", kBootTargets[target].description,
                        "."));
        }
        say(Service::udevd, "Using default interface naming scheme 'v252'.");
        say(Service::cron, "(CRON) INFO (pidfile fd = 3)");
        say(Service::cron, "(CRON) INFO (Running @reboot jobs)");
        wait(10 * kMillisecond, 50 * kMillisecond);
        say(Service::logind, "New seat seat0.");
        say(Service::logind, "Watching system buttons on /dev/input/event2 (Power Button)");
        say(Service::logind, "Watching system buttons on /dev/input/event1 (Lid Switch)");
        say(Service::logind, "Watching system buttons on /dev/input/event0 (Sleep Button)");
        say(Service::logind, "Watching system buttons on /dev/input/event3 (AT Translated Set 2 keyboard)");
        say(Service::logind, "Watching system buttons on /dev/input/event12 (ThinkPad Extra Buttons)");
        networkManager(cat("NetworkManager (version 1.42.4) is starting... (boot:", id.substr(0, 8), "-",
                           id.substr(8, 4), "-", id.substr(12, 4), "-", id.substr(16, 4), "-", id.substr(20),
                           ")"));
        networkManager("Read config: /etc/NetworkManager/NetworkManager.conf");
        networkManager("manager[0x55d1c3a0e0a0]: monitoring kernel firmware directory '/lib/firmware'.");
        say(Service::polkitd, "Loading rules from directory /etc/polkit-1/rules.d");
        say(Service::logind, "New session c1 of user Debian-gdm.", 6, kSessionStartId);
        wait(400 * kMillisecond, 900 * kMillisecond);
        systemd("Startup finished in 6.912s (firmware) + 2.104s (loader) + 2.317s (kernel) + 5.624s "
                "(userspace) = 16.958s.",
                kStartupFinishedId);
        // The owner logs in a little later.
        wait(6 * kSecond, 25 * kSecond);
        say(Service::gdm,
            cat("pam_unix(gdm-password:session): session opened for user ", kUser, "(uid=1000) by (uid=0)"));
        say(Service::logind, cat("New session 2 of user ", kUser, "."), 6, kSessionStartId);
        say(Service::userSystemd, "Reached target default.target - Main User Target.");
        say(Service::userSystemd, "Startup finished in 211ms.");
        wait(200 * kMillisecond, 2 * kSecond);
        say(Service::gnomeShell, "Registering session with GDM");
        wait(2 * kSecond, 10 * kSecond);
        say(Service::logind, "Removed session c1.", 6, kSessionStopId);
        upowerMaybe();
        reconnect(true);
        wait(kSecond, 3 * kSecond);
        openAwake();
    }

    // Wi-Fi association after a start or a resume.
    void reconnect(bool started) {
        wait(800 * kMillisecond, 2'500 * kMillisecond);
        networkManager(started ? "device (wlp3s0): state change: unavailable -> disconnected (reason "
                                 "'supplicant-available', sys-iface-state: 'managed')"
                               : "device (wlp3s0): state change: unmanaged -> unavailable (reason 'managed', "
                                 "sys-iface-state: 'managed')");
        networkManager(
            "device (wlp3s0): Activation: starting connection 'Home' (8b4c1d2e-6a0f-4f51-b1f3-2c9d8e7a6b5c)");
        wait(20 * kMillisecond, 300 * kMillisecond);
        kernel(cat("wlp3s0: authenticate with ", kHomeAccessPoint));
        kernel(cat("wlp3s0: send auth to ", kHomeAccessPoint, " (try 1/3)"));
        kernel("wlp3s0: authenticated");
        kernel(cat("wlp3s0: associate with ", kHomeAccessPoint, " (try 1/3)"));
        const auto aid = m_random.between(1, 12);
        kernel(cat("wlp3s0: RX AssocResp from ", kHomeAccessPoint, " (capab=0x1411 status=0 aid=", aid, ")"));
        kernel("wlp3s0: associated");
        say(Service::wpaSupplicant, cat("wlp3s0: CTRL-EVENT-CONNECTED - Connection to ", kHomeAccessPoint,
                                        " completed [id=0 id_str=]"));
        kernel("IPv6: ADDRCONF(NETDEV_CHANGE): wlp3s0: link becomes ready");
        wait(100 * kMillisecond, 900 * kMillisecond);
        networkManager(cat("dhcp4 (wlp3s0): state changed new lease, address=", kAddress));
        networkManager("manager: NetworkManager state is now CONNECTED_SITE");
        networkManager("device (wlp3s0): Activation: successful, device activated.");
        wait(300 * kMillisecond, 1'500 * kMillisecond);
        networkManager("manager: NetworkManager state is now CONNECTED_GLOBAL");
        say(Service::timesyncd, "Network configuration changed, trying to establish connection.");
        wait(100 * kMillisecond, 600 * kMillisecond);
        say(Service::timesyncd, "Contacted time server 151.101.130.132:123 (2.debian.pool.ntp.org).");
    }

    void upowerMaybe() {
        if (m_random.chance(6)) {
            say(Service::upowerd,
                "treating change event as add on /sys/devices/LNXSYSTM:00/LNXSYBUS:00/PNP0A08:00/device:1d/"
                "PNP0C09:00/PNP0C0A:00/power_supply/BAT0",
                4);
        }
    }

    // How Linux logs going to sleep: the trigger, systemd's sleep target and the sleep program, and the
    // kernel's first line; the rest of the kernel's lines wait for the resume.
    void suspend(Micros at, SleepCause cause, bool afterDarkWake) {
        closeAwake(at);
        m_now = at;
        if (!afterDarkWake) {
            m_lastCause = cause;
        }
        switch (cause) {
        case SleepCause::lid:
            if (!afterDarkWake) {
                say(Service::logind, "Lid closed.", 6, kLidClosedId);
            }
            say(Service::logind, "Suspending...");
            break;
        case SleepCause::powerKey:
            say(Service::logind, "Power key pressed short.", 6, kPowerKeyId);
            say(Service::logind, "Suspending...");
            break;
        case SleepCause::idle:
            say(Service::logind, "System idle. Will suspend now.");
            break;
        case SleepCause::menu:
            break;
        }
        networkManager("manager: sleep: sleep requested (sleeping: no  enabled: yes)");
        networkManager(
            "device (wlp3s0): state change: activated -> unmanaged (reason 'sleeping', sys-iface-state: "
            "'managed')");
        kernel(cat("wlp3s0: deauthenticating from ", kHomeAccessPoint,
                   " by local choice (Reason: 3=DEAUTH_LEAVING)"));
        wait(5 * kMillisecond, 60 * kMillisecond);
        systemd("Reached target sleep.target - Sleep.");
        systemd("Starting systemd-suspend.service - System Suspend...", kUnitStartingId);
        m_sleepPid = freshPid();
        say(Service::sleep, "Entering sleep state 'suspend'...", 6, kSleepStartId, m_sleepPid);
        m_asleepAt = m_now;
        kernel("PM: suspend entry (deep)");
        m_state = State::asleep;
        ++m_timeline.summary.sleeps;
    }

    // The kernel writes its lines of the sleep before it sleeps, but they reach the journal, and get their
    // stamps, at the resume. The monotonic clock stood still in between.
    void resume(Micros at, bool lidOpened, bool darkWake) {
        if (darkWake) {
            ++m_timeline.summary.darkWakes;
        }
        const Micros monotonicAtSleep = m_asleepAt - m_offset;
        m_offset = at - (monotonicAtSleep + m_random.between(20, 60) * kMillisecond);
        m_now = at;
        const auto sync = m_random.between(3, 60);
        kernel(cat("Filesystems sync: 0.0", Padded{sync, 2}, " seconds"));
        kernel("Freezing user space processes");
        const auto freezeUser = m_random.between(1, 9);
        kernel(cat("Freezing user space processes completed (elapsed 0.00", freezeUser, " seconds)"));
        kernel("OOM killer disabled.");
        kernel("Freezing remaining freezable tasks");
        const auto freezeRest = m_random.between(0, 4);
        kernel(cat("Freezing remaining freezable tasks completed (elapsed 0.00", freezeRest, " seconds)"));
        kernel("printk: Suspending console(s) (use no_console_suspend to debug)");
        kernel("ACPI: EC: interrupt blocked");
        kernel("ACPI: PM: Preparing to enter system sleep state S3");
        kernel("ACPI: EC: event blocked");
        kernel("ACPI: EC: EC stopped");
        kernel("ACPI: PM: Saving platform NVS memory");
        kernel("Disabling non-boot CPUs ...");
        for (int cpu = 1; cpu < kCpus; ++cpu) {
            kernel(cat("smpboot: CPU ", cpu, " is now offline"));
        }
        kernel("ACPI: PM: Low-level resume complete");
        kernel("ACPI: EC: EC started");
        kernel("ACPI: PM: Restoring platform NVS memory");
        kernel("Enabling non-boot CPUs ...");
        for (int cpu = 1; cpu < kCpus; ++cpu) {
            // Four cores with two threads each: the second thread of a core has the odd APIC id.
            const int apic = cpu < kCpus / 2 ? cpu * 2 : (cpu - kCpus / 2) * 2 + 1;
            kernel(cat("smpboot: Booting Node 0 Processor ", cpu, " APIC 0x",
                       Hex{static_cast<std::uint64_t>(apic)}));
            kernel(cat("CPU", cpu, " is up"));
        }
        kernel("ACPI: PM: Waking up from system sleep state S3");
        kernel("ACPI: EC: interrupt unblocked");
        kernel("ACPI: EC: event unblocked");
        kernel("nvme nvme0: 8/0/0 default/read/poll queues");
        if (m_random.chance(20)) {
            kernel("usb 3-10: reset full-speed USB device number 4 using xhci_hcd");
        }
        wait(20 * kMillisecond, 200 * kMillisecond);
        kernel("OOM killer enabled.");
        kernel("Restarting tasks ... done.");
        kernel("random: crng reseeded on system resumption");
        kernel("PM: suspend exit");
        say(Service::sleep, "System returned from sleep state.", 6, kSleepStopId, m_sleepPid);
        if (lidOpened) {
            say(Service::logind, "Lid opened.", 6, kLidOpenedId);
        }
        systemd("systemd-suspend.service: Deactivated successfully.", kUnitDeactivatedId);
        systemd("Finished systemd-suspend.service - System Suspend.", kUnitStartedId);
        systemd("Stopped target sleep.target - Sleep.");
        systemd("Reached target suspend.target - Suspend.");
        say(Service::logind, "Operation 'suspend' finished.");
        systemd("Stopped target suspend.target - Suspend.");
        networkManager("manager: sleep: wake requested (sleeping: yes  enabled: yes)");
        upowerMaybe();
        if (!darkWake) {
            reconnect(false);
        }
        wait(500 * kMillisecond, 2 * kSecond);
        openAwake();
    }

    void shutdown(Micros at, bool reboot) {
        closeAwake(at);
        m_now = at;
        say(Service::logind, reboot ? "System is rebooting." : "System is powering down.", 6, kShutdownId);
        for (const Unit& unit : kShutdownUnits) {
            systemd(cat("Stopping ", unit.name, " - ", unit.description, "..."));
        }
        for (const Unit& unit : kShutdownUnits) {
            wait(1 * kMillisecond, 150 * kMillisecond);
            systemd(cat(unit.name, ": Deactivated successfully."), kUnitDeactivatedId);
            systemd(cat("Stopped ", unit.name, " - ", unit.description, "."));
        }
        for (auto target = kBootTargets.rbegin(); target != kBootTargets.rend(); ++target) {
            systemd(cat("Stopped target ", target->name, " - ", target->description, "."));
        }
        systemd("Reached target shutdown.target - System Shutdown.");
        systemd("Reached target final.target - Late Shutdown.");
        if (reboot) {
            systemd("systemd-reboot.service: Deactivated successfully.");
            systemd("Finished systemd-reboot.service - System Reboot.");
            systemd("Reached target reboot.target - System Reboot.");
        } else {
            systemd("systemd-poweroff.service: Deactivated successfully.");
            systemd("Finished systemd-poweroff.service - System Power Off.");
            systemd("Reached target poweroff.target - System Power Off.");
        }
        systemd("Shutting down.");
        say(Service::journald, "Received SIGTERM from PID 1 (systemd-shutdow).");
        say(Service::journald, "Journal stopped", 6, kJournalStopId);
        m_state = State::off;
    }

    JournalShape m_shape;
    Timeline& m_timeline;
    Random m_random;
    Micros m_end = 0;
    Micros m_zone = 0;
    Micros m_now = 0;
    Micros m_offset = 0; // realtime minus monotonic in the current boot
    Micros m_awakeFrom = -1;
    Micros m_asleepAt = 0;
    int m_boot = 0;
    int m_lastPid = 0;
    int m_sleepPid = 0;
    State m_state = State::off;
    SleepCause m_lastCause = SleepCause::lid;
};

// ---------------------------------------------------------------------------------------------------
// The chatter of an awake machine: bursts of lines from many services at random times.

// What the machine says while awake. The first kinds grow with the volume asked for; the rest come at the
// pace a real machine has, whatever the volume: timers, logins, plugging in a stick.
enum class Chatter : std::uint8_t {
    gnomeShell,
    wpaSignal,
    firefox,
    networkState,
    wpaScan,
    userScope,
    kernelFirewall,
    audio,
    rtkit,
    kernelAudit,
    kernelMisc,
    tracker,
    avahi,
    bluetooth,
    polkit,
    // Paced by the clock.
    sysstat,
    cronJob,
    cronHourly,
    dhcpRenew,
    activation,
    timer,
    sudo,
    ssh,
    kernelUsb,
    kernelRoam,
    packageKit,
    journalRotation,
};
constexpr std::array<int, 15> kVolumeWeights{16, 14, 9, 6, 5, 5, 4, 3, 3, 2, 2, 2, 2, 2, 1};

// Kinds that come at random times, this far apart on average.
struct Occasional {
    Chatter kind = Chatter::timer;
    Micros meanGap = 0;
};
constexpr std::array<Occasional, 9> kOccasional{{
    {Chatter::dhcpRenew, 30 * kMinute},
    {Chatter::activation, 40 * kMinute},
    {Chatter::timer, 2 * kHour},
    {Chatter::sudo, 3 * kHour},
    {Chatter::ssh, 20 * kHour},
    {Chatter::kernelUsb, 10 * kHour},
    {Chatter::kernelRoam, 3 * kHour},
    {Chatter::packageKit, 5 * kHour},
    {Chatter::journalRotation, 30 * kHour},
}};

constexpr std::array<std::string_view, 8> kShellMessages{
    "JS ERROR: TypeError: this._windowActor is null",
    "meta_window_set_stack_position_no_sync: assertion 'window->stack_position >= 0' failed",
    "Window manager warning: Overwriting existing binding of keysym 32 with keysym 32 (keycode b).",
    "libinput error: client bug: timer event5 debounce short: scheduled expiry is in the past (-7ms), your "
    "system is too slow",
    "Can't update stage views actor <unnamed>[<MetaWindowActorWayland>:0x55d6f2b4c9a0] is on because it "
    "needs an allocation.",
    "clutter_actor_set_child_at_index: assertion 'index <= self->priv->n_children' failed",
    "Removing a network device that was not added",
    "Window manager warning: WM_TRANSIENT_FOR window 0x1c00007 for 0x1c0000a window override-redirect is an "
    "override-redirect window and this is not correct according to the standard, so we'll fallback to the "
    "first non-override-redirect window 0x1c00003.",
};
constexpr std::array<std::string_view, 6> kFirefoxMessages{
    "[Parent 2311, Main Thread] WARNING: Failed to mkdir /home/alex/.cache/mozilla/firefox: 'glib warning', "
    "file /build/firefox-esr-ZIbL1n/firefox-esr-115.4.0esr/toolkit/xre/nsSigHandlers.cpp:187",
    "ATTENTION: default value of option mesa_glthread overridden by environment.",
    "[GFX1-]: RenderCompositorSWGL failed mapping default framebuffer, no dt",
    "console.error: services.settings: \"main/nimbus-desktop-experiments\" signature failed to verify.",
    "JavaScript error: resource://gre/modules/UrlClassifierListManager.jsm, line 691: TypeError: can't "
    "access property \"updateUrl\", tables[0] is undefined",
    "[Child 4087, MediaDecoderStateMachine #1] WARNING: Decoder=7f3a2c1b5e00 state=DECODING_METADATA Decode "
    "metadata failed, shutting down decoder: file "
    "/build/firefox-esr/dom/media/MediaDecoderStateMachine.cpp:372",
};
constexpr std::array<std::string_view, 5> kAudioMessages{
    "spa.alsa: hw:0,0: snd_pcm_avail after recover: Broken pipe",
    "spa.alsa: front:0p: (1 suspended) hw:sofhdadsp,0: underrun",
    "pw.node: (alsa_output.pci-0000_00_1f.3-platform-skl_hda_dsp_generic.HiFi__hw_sofhdadsp__sink-53) "
    "running -> suspended",
    "spa.bluez5: BlueZ system service is not available",
    "default: Failed to get percentage from UPower: org.freedesktop.DBus.Error.NameHasNoOwner",
};

class ChatterWriter {
public:
    ChatterWriter(const JournalShape& shape, const Timeline& timeline)
        : m_random(mix(shape.seed, 0xc4a7)), m_deviceNumbers(timeline.boots.size(), 2),
          m_auditSerials(timeline.boots.size(), 180), m_sessions(timeline.boots.size(), 2) {}

    // The lines of the stretch, in the order of their stamps: what the clock brings, then bursts at random
    // times until there are at least `budget`.
    void fill(const Awake& awake, std::int64_t budget, std::vector<Line>& out) {
        out.clear();
        m_awake = awake;
        m_out = &out;
        const Micros from = awake.from + 500 * kMillisecond;
        const Micros to = awake.to - 500 * kMillisecond;
        if (to <= from) {
            return;
        }
        paced(from, to, 10 * kMinute, 0, Chatter::sysstat);
        paced(from, to, 10 * kMinute, 5 * kMinute, Chatter::cronJob);
        paced(from, to, kHour, 17 * kMinute, Chatter::cronHourly);
        for (const Occasional& occasional : kOccasional) {
            // Each kind in the order of time, so that numbered things (sessions, devices) count up.
            for (Micros t = from + m_random.between(0, 2 * occasional.meanGap); t < to;
                 t += m_random.between(1, 2 * occasional.meanGap)) {
                m_now = t;
                burst(occasional.kind);
            }
        }
        while (static_cast<std::int64_t>(out.size()) < budget) {
            m_now = m_random.between(from, to);
            burst(static_cast<Chatter>(m_random.weighted(kVolumeWeights)));
        }
        std::stable_sort(out.begin(), out.end(),
                         [](const Line& a, const Line& b) { return a.realtime < b.realtime; });
        const auto late =
            std::find_if(out.begin(), out.end(), [to](const Line& line) { return line.realtime > to; });
        out.erase(late, out.end());
    }

private:
    // A burst at every `period` of the clock, `phase` past it, as timers and cron run.
    void paced(Micros from, Micros to, Micros period, Micros phase, Chatter kind) {
        for (Micros t = (from - phase) / period * period + phase; t < to; t += period) {
            if (t >= from) {
                m_now = t + m_random.between(0, 900 * kMillisecond);
                burst(kind);
            }
        }
    }

    void say(Service service, std::string message, int priority = 6, int pid = 0,
             std::string_view messageId = {}) {
        m_out->push_back(Line{m_now, m_now - m_awake.offset, m_awake.boot, service, priority, pid, messageId,
                              std::move(message)});
    }
    // The next line of a burst comes a little later.
    void later(Micros low = 100, Micros high = 30 * kMillisecond) { m_now += m_random.between(low, high); }
    int freshPid() {
        return 3'000 + static_cast<int>((m_now - m_awake.offset) / (3 * kSecond)) +
               static_cast<int>(m_random.between(0, 2));
    }
    std::string networkManager(std::string_view level, std::string_view text) const {
        return cat("<", level, ">  [", Stamp{m_now, 4}, "] ", text);
    }

    void burst(Chatter kind) {
        const auto boot = static_cast<std::size_t>(m_awake.boot);
        switch (kind) {
        case Chatter::networkState:
            say(Service::networkManager,
                networkManager(
                    "info", "device (wlp3s0): set-hw-addr: set MAC address to 7A:2E:11:C0:35:9D (scanning)"));
            later();
            say(Service::networkManager,
                networkManager("info", "device (wlp3s0): supplicant interface state: completed -> scanning"));
            later(kMillisecond, 2 * kSecond);
            say(Service::networkManager,
                networkManager("info", "device (wlp3s0): supplicant interface state: scanning -> completed"));
            if (m_random.chance(30)) {
                later();
                say(Service::networkManager,
                    networkManager("warn",
                                   "device (wlp3s0): connectivity: check for uri 'http://connectivity-check."
                                   "debian.net' failed with 'Connection timed out'"),
                    4);
            }
            break;
        case Chatter::dhcpRenew:
            say(Service::networkManager,
                networkManager("info", cat("dhcp4 (wlp3s0): state changed new lease, address=", kAddress)));
            later();
            say(Service::networkManager,
                networkManager("info", "policy: set 'Home' (wlp3s0) as default for IPv4 routing and DNS"));
            later(10 * kMillisecond, 200 * kMillisecond);
            activation(0);
            break;
        case Chatter::wpaSignal: {
            const auto signal = m_random.between(48, 79);
            const auto rate = m_random.pick(std::array<std::int64_t, 4>{144'400, 286'700, 390'000, 573'500});
            say(Service::wpaSupplicant, cat("wlp3s0: CTRL-EVENT-SIGNAL-CHANGE above=", signal < 65 ? 1 : 0,
                                            " signal=-", signal, " noise=9999 txrate=", rate));
            break;
        }
        case Chatter::wpaScan:
            say(Service::wpaSupplicant, m_random.chance(70)
                                            ? "wlp3s0: CTRL-EVENT-BEACON-LOSS"
                                            : "wlp3s0: CTRL-EVENT-SCAN-FAILED ret=-16 retry=1");
            if (m_random.chance(40)) {
                later();
                say(Service::wpaSupplicant,
                    cat("wlp3s0: WPA: Group rekeying completed with ", kHomeAccessPoint, " [GTK=CCMP]"));
            }
            break;
        case Chatter::gnomeShell: {
            const auto lines = m_random.between(1, 3);
            for (std::int64_t i = 0; i < lines; ++i) {
                say(Service::gnomeShell, std::string{m_random.pick(kShellMessages)}, 4);
                later();
            }
            break;
        }
        case Chatter::sysstat:
        case Chatter::timer: {
            const Unit& unit =
                kind == Chatter::sysstat ? kTimerUnits[0] : kTimerUnits[m_random.weighted(kTimerWeights)];
            say(Service::systemd, cat("Starting ", unit.name, " - ", unit.description, "..."), 6, 0,
                kUnitStartingId);
            later(50 * kMillisecond, 4 * kSecond);
            say(Service::systemd, cat(unit.name, ": Deactivated successfully."), 6, 0, kUnitDeactivatedId);
            later();
            say(Service::systemd, cat("Finished ", unit.name, " - ", unit.description, "."), 6, 0,
                kUnitStartedId);
            if (m_random.chance(25)) {
                later();
                const auto cpuTime = m_random.between(1, 40) * 100;
                say(Service::systemd, cat(unit.name, ": Consumed ", cpuTime, "ms CPU time."));
            }
            break;
        }
        case Chatter::userScope: {
            const int pid = freshPid();
            const Hex scope{m_random.next(), 16};
            if (m_random.chance(60)) {
                say(Service::userSystemd, cat("Started vte-spawn-", scope, ".scope - VTE child process ", pid,
                                              " launched by gnome-terminal-server process 2688."));
            } else {
                say(Service::userSystemd, cat("Started app-gnome-org.gnome.Nautilus-", pid,
                                              ".scope - Application launched by gnome-shell."));
            }
            if (m_random.chance(50)) {
                later(kSecond, 40 * kSecond);
                const auto cpuTime = m_random.between(1'100, 90'999);
                say(Service::userSystemd,
                    cat("app-gnome-org.gnome.Nautilus-", pid, ".scope: Consumed ", cpuTime / 1'000, ".",
                        Padded{cpuTime % 1'000, 3}, "s CPU time."));
            }
            break;
        }
        case Chatter::cronJob:
        case Chatter::cronHourly: {
            const int pid = freshPid();
            say(Service::cronJob, "pam_unix(cron:session): session opened for user root(uid=0) by (uid=0)", 6,
                pid);
            later();
            say(Service::cronJob,
                kind == Chatter::cronJob ? "(root) CMD (command -v debian-sa1 > /dev/null && debian-sa1 1 1)"
                                         : "(root) CMD (   cd / && run-parts --report /etc/cron.hourly)",
                6, pid + 1);
            later(20 * kMillisecond, 400 * kMillisecond);
            say(Service::cronJob, "pam_unix(cron:session): session closed for user root", 6, pid);
            break;
        }
        case Chatter::activation:
            activation(static_cast<std::size_t>(m_random.between(0, kActivations.size() - 1)));
            break;
        case Chatter::kernelUsb: {
            const int number = ++m_deviceNumbers[boot];
            say(Service::kernel,
                cat("usb 3-2: new high-speed USB device number ", number, " using xhci_hcd"));
            later();
            say(Service::kernel,
                "usb 3-2: New USB device found, idVendor=0781, idProduct=5583, bcdDevice= 1.00");
            later();
            say(Service::kernel, "usb 3-2: New USB device strings: Mfr=1, Product=2, SerialNumber=3");
            later();
            say(Service::kernel, "usb 3-2: Product: Ultra Fit");
            later();
            say(Service::kernel, "usb 3-2: Manufacturer: SanDisk");
            later();
            say(Service::kernel, "usb-storage 3-2:1.0: USB Mass Storage device detected");
            later(kSecond, 30 * kMinute);
            say(Service::kernel, cat("usb 3-2: USB disconnect, device number ", number));
            break;
        }
        case Chatter::kernelRoam:
            say(Service::kernel,
                cat("wlp3s0: disconnect from AP ", kHomeAccessPoint, " for new auth to ", kRoamAccessPoint));
            later();
            say(Service::kernel, cat("wlp3s0: authenticate with ", kRoamAccessPoint));
            later();
            say(Service::kernel, cat("wlp3s0: send auth to ", kRoamAccessPoint, " (try 1/3)"));
            later();
            say(Service::kernel, "wlp3s0: authenticated");
            later();
            say(Service::kernel, cat("wlp3s0: associate with ", kRoamAccessPoint, " (try 1/3)"));
            later();
            say(Service::kernel, cat("wlp3s0: RX ReassocResp from ", kRoamAccessPoint,
                                     " (capab=0x1511 status=0 aid=", m_random.between(1, 12), ")"));
            later();
            say(Service::kernel, "wlp3s0: associated");
            later();
            say(Service::wpaSupplicant, cat("wlp3s0: CTRL-EVENT-CONNECTED - Connection to ", kRoamAccessPoint,
                                            " completed [id=0 id_str=]"));
            break;
        case Chatter::kernelFirewall:
            say(Service::kernel,
                cat("[UFW BLOCK] IN=wlp3s0 OUT= MAC=01:00:5e:00:00:01:", kHomeAccessPoint, ":08:00 SRC=",
                    kRouter, " DST=224.0.0.1 LEN=36 TOS=0x00 PREC=0xC0 TTL=1 ID=0 DF PROTO=2 "),
                4);
            break;
        case Chatter::kernelAudit: {
            const auto serial = ++m_auditSerials[boot];
            say(Service::kernel,
                cat("audit: type=1400 audit(", Stamp{m_now, 3}, ":", serial,
                    "): apparmor=\"DENIED\" operation=\"capable\" class=\"cap\" "
                    "profile=\"/usr/sbin/cups-browsed\" pid=",
                    freshPid(), " comm=\"cups-browsed\" capability=23  capname=\"sys_nice\""),
                5);
            break;
        }
        case Chatter::kernelMisc:
            say(Service::kernel,
                std::string{m_random.pick(std::array<std::string_view, 4>{
                    "thinkpad_acpi: unhandled HKEY event 0x60b0",
                    "Bluetooth: hci0: Bad flag given (0x1) vs supported (0x0)",
                    "mce: CPU3: Package temperature above threshold, cpu clock throttled (total events = 1)",
                    "i915 0000:00:02.0: [drm] *ERROR* Unexpected DP dual mode adaptor ID 00"})},
                4);
            break;
        case Chatter::firefox: {
            const auto lines = m_random.between(1, 4);
            for (std::int64_t i = 0; i < lines; ++i) {
                say(Service::firefox, std::string{m_random.pick(kFirefoxMessages)});
                later();
            }
            break;
        }
        case Chatter::audio: {
            const Service service = m_random.chance(60) ? Service::pipewire : Service::wireplumber;
            say(service, std::string{m_random.pick(kAudioMessages)}, 4);
            break;
        }
        case Chatter::rtkit: {
            const auto threads = m_random.between(4, 12);
            const auto processes = m_random.between(2, 6);
            say(Service::rtkit,
                cat("Supervising ", threads, " threads of ", processes, " processes of 1 users."));
            later();
            say(Service::rtkit, cat("Successfully made thread ", freshPid(),
                                    " of process 1475 owned by '1000' RT at priority 20."));
            break;
        }
        case Chatter::tracker:
            say(Service::tracker,
                cat("Could not process 'file:///home/alex/Downloads/scan-", m_random.between(1, 999),
                    ".pdf': Error when getting information for file: No such file or directory"),
                4);
            break;
        case Chatter::avahi: {
            const std::uint64_t address = m_random.next();
            say(Service::avahi, cat("Registering new address record for fe80::", Hex{address & 0xffff, 4},
                                    ":", Hex{address >> 16 & 0xffff, 4}, " on wlp3s0.*."));
            later();
            say(Service::avahi,
                cat("Withdrawing address record for fe80::", Hex{address >> 32 & 0xffff, 4}, " on wlp3s0."));
            break;
        }
        case Chatter::bluetooth:
            say(Service::bluetoothd,
                "src/profile.c:ext_connect() Hands-Free Voice gateway failed connect to 5C:44:3E:12:AB:01: "
                "Connection refused (111)",
                3);
            break;
        case Chatter::ssh:
            session(Service::sshd, "sshd");
            break;
        case Chatter::sudo:
            session(Service::sudo, "sudo");
            break;
        case Chatter::polkit:
            say(Service::polkitd,
                cat("Operator of unix-session:2 successfully authenticated as unix-user:", kUser,
                    " to gain TEMPORARY authorization for action "
                    "org.freedesktop.packagekit.system-sources-refresh for system-bus-name::1.84 "
                    "[/usr/bin/gnome-software --gapplication-service] (owned by unix-user:alex)"),
                5);
            break;
        case Chatter::packageKit:
            say(Service::packagekitd, "Failed to get cache filename for mesa-vulkan-drivers", 4);
            later(kSecond, 5 * kMinute);
            say(Service::packagekitd, "daemon quit");
            break;
        case Chatter::journalRotation:
            say(Service::journald,
                "Data hash table of /var/log/journal/5f0e2f1c8a3b4d7e9c6a1b2d3e4f5a6b/system.journal has a "
                "fill level at 75.0 (174763 of 233016 items, 134217728 file size, 768 bytes per hash table "
                "item), suggesting rotation.");
            later();
            say(Service::journald,
                "/var/log/journal/5f0e2f1c8a3b4d7e9c6a1b2d3e4f5a6b/system.journal: Journal header limits "
                "reached or header out-of-date, rotating.");
            break;
        }
    }

    void activation(std::size_t which) {
        const Activation& activation = kActivations[which];
        say(Service::dbus,
            cat("[system] Activating via systemd: service name='", activation.busName, "' unit='",
                activation.unit.name, "' requested by ':1.", m_random.between(10, 140),
                "' (uid=0 pid=717 comm=\"/usr/sbin/NetworkManager --no-daemon\")"),
            5);
        later();
        say(Service::systemd,
            cat("Starting ", activation.unit.name, " - ", activation.unit.description, "..."), 6, 0,
            kUnitStartingId);
        later(5 * kMillisecond, 300 * kMillisecond);
        say(Service::dbus, cat("[system] Successfully activated service '", activation.busName, "'"), 5);
        later();
        say(Service::systemd, cat("Started ", activation.unit.name, " - ", activation.unit.description, "."),
            6, 0, kUnitStartedId);
        later(10 * kSecond, 2 * kMinute);
        say(Service::systemd, cat(activation.unit.name, ": Deactivated successfully."), 6, 0,
            kUnitDeactivatedId);
    }

    // A login over SSH or a sudo: its PAM lines, and for SSH the session logind counts.
    void session(Service service, std::string_view pam) {
        const auto boot = static_cast<std::size_t>(m_awake.boot);
        const int pid = freshPid();
        const bool ssh = service == Service::sshd;
        if (ssh) {
            say(service,
                cat("Accepted publickey for ", kUser, " from 192.168.178.20 port ",
                    m_random.between(40000, 60999),
                    " ssh2: ED25519 SHA256:+Pq3kLm9Y0aVt2rXcN8dQe1fWb7sH4uJ6iGo5zTlRkA"),
                6, pid);
            later();
            say(service,
                cat("pam_unix(sshd:session): session opened for user ", kUser, "(uid=1000) by (uid=0)"), 6,
                pid);
            later();
            const int number = ++m_sessions[boot];
            say(Service::logind, cat("New session ", number, " of user ", kUser, "."), 6, 0, kSessionStartId);
            later(10 * kSecond, 20 * kMinute);
            say(service, "Received disconnect from 192.168.178.20 port 52814:11: disconnected by user", 6,
                pid);
            later();
            say(service, cat("pam_unix(sshd:session): session closed for user ", kUser), 6, pid);
            later();
            say(Service::logind, cat("Session ", number, " logged out. Waiting for processes to exit."));
            later();
            say(Service::logind, cat("Removed session ", number, "."), 6, 0, kSessionStopId);
            return;
        }
        say(service,
            cat("    ", kUser, " : TTY=pts/1 ; PWD=/home/", kUser,
                " ; USER=root ; COMMAND=/usr/bin/apt update"),
            5, pid);
        later();
        say(service,
            cat("pam_unix(", pam, ":session): session opened for user root(uid=0) by ", kUser, "(uid=1000)"),
            6, pid);
        later(kSecond, 90 * kSecond);
        say(service, cat("pam_unix(", pam, ":session): session closed for user root"), 6, pid);
    }

    Random m_random;
    Awake m_awake;
    std::vector<Line>* m_out = nullptr;
    Micros m_now = 0;
    std::vector<int> m_deviceNumbers; // per boot
    std::vector<int> m_auditSerials;
    std::vector<int> m_sessions;
};

// ---------------------------------------------------------------------------------------------------
// Spelling lines out as fields.

class EntryMaker {
public:
    EntryMaker(const JournalShape& shape, const Timeline& timeline)
        : m_seed(shape.seed), m_timeline(timeline),
          m_machine(id128(mix(shape.seed, 0x3ac1), mix(shape.seed, 0x3ac2))) {}

    JournalEntry make(const Line& line) {
        const ServiceInfo& service = info(line.service);
        const auto boot = static_cast<std::size_t>(line.boot);
        m_count = 0;
        m_priority = cat(static_cast<std::int64_t>(line.priority));
        if (service.transport == Transport::kernel) {
            m_sourceMonotonic = cat(line.monotonic);
            add("_SOURCE_MONOTONIC_TIMESTAMP", m_sourceMonotonic);
            add("_TRANSPORT", kTransportNames[static_cast<std::size_t>(service.transport)]);
            add("PRIORITY", m_priority);
            add("SYSLOG_FACILITY", "0");
            add("SYSLOG_IDENTIFIER", service.identifier);
            add("MESSAGE", line.message);
            add("_MACHINE_ID", m_machine);
            add("_HOSTNAME", kHostname);
            return entry(line);
        }
        const int pid =
            line.pid != 0 ? line.pid : m_timeline.servicePids[boot][static_cast<std::size_t>(line.service)];
        m_pid = cat(static_cast<std::int64_t>(pid));
        m_uid = cat(static_cast<std::int64_t>(service.uid));
        m_facility = cat(static_cast<std::int64_t>(service.facility));
        m_invocation = id128(
            mix(m_seed ^ static_cast<std::uint64_t>(line.service), boot, static_cast<std::uint64_t>(pid)),
            mix(m_seed, static_cast<std::uint64_t>(line.service), boot));
        m_sourceRealtime =
            cat(line.realtime - static_cast<Micros>(static_cast<std::uint64_t>(line.realtime) % 97));

        add("PRIORITY", m_priority);
        add("SYSLOG_FACILITY", m_facility);
        if (!service.codeFile.empty()) {
            add("CODE_FILE", service.codeFile);
            add("CODE_LINE", "126");
            add("CODE_FUNC", service.codeFunc);
        }
        add("SYSLOG_IDENTIFIER", service.identifier);
        if (service.transport == Transport::syslog) {
            add("SYSLOG_PID", m_pid);
        }
        if (!line.messageId.empty()) {
            add("MESSAGE_ID", line.messageId);
        }
        add("MESSAGE", line.message);
        add("_PID", m_pid);
        add("_UID", m_uid);
        add("_GID", m_uid);
        add("_COMM", service.comm);
        add("_EXE", service.exe);
        add("_CMDLINE", service.cmdline);
        add("_CAP_EFFECTIVE", service.uid == 0 ? "1ffffffffff" : "0");
        add("_SELINUX_CONTEXT", "unconfined");
        add("_SYSTEMD_CGROUP", service.cgroup);
        add("_SYSTEMD_UNIT", service.unit);
        add("_SYSTEMD_SLICE", service.slice);
        if (!service.userUnit.empty()) {
            add("_SYSTEMD_USER_UNIT", service.userUnit);
            add("_SYSTEMD_OWNER_UID", "1000");
            add("_SYSTEMD_USER_SLICE", "session.slice");
        }
        add("_SYSTEMD_INVOCATION_ID", m_invocation);
        if (service.transport == Transport::stdoutStream) {
            add("_STREAM_ID", m_invocation);
        }
        add("_MACHINE_ID", m_machine);
        add("_HOSTNAME", kHostname);
        add("_TRANSPORT", kTransportNames[static_cast<std::size_t>(service.transport)]);
        if (service.transport != Transport::stdoutStream && service.transport != Transport::driver) {
            add("_SOURCE_REALTIME_TIMESTAMP", m_sourceRealtime);
        }
        return entry(line);
    }

private:
    void add(std::string_view name, std::string_view value) {
        m_fields[m_count++] = JournalField{name, value};
    }

    JournalEntry entry(const Line& line) const {
        return JournalEntry{line.realtime,
                            line.monotonic,
                            m_timeline.boots[static_cast<std::size_t>(line.boot)],
                            info(line.service).identifier,
                            line.message,
                            kTransportNames[static_cast<std::size_t>(info(line.service).transport)],
                            std::span<const JournalField>{m_fields.data(), m_count},
                            info(line.service).uid >= 1000};
    }

    std::uint64_t m_seed;
    const Timeline& m_timeline;
    std::string m_machine;
    std::array<JournalField, 32> m_fields{};
    std::size_t m_count = 0;
    std::string m_priority;
    std::string m_facility;
    std::string m_pid;
    std::string m_uid;
    std::string m_invocation;
    std::string m_sourceRealtime;
    std::string m_sourceMonotonic;
};

// Escapes as journalctl's JSON output does.
void appendJsonString(std::string& out, std::string_view text) {
    out += '"';
    for (const char c : text) {
        switch (c) {
        case '"':
            out += "\\\"";
            break;
        case '\\':
            out += "\\\\";
            break;
        case '\n':
            out += "\\n";
            break;
        case '\t':
            out += "\\t";
            break;
        case '\r':
            out += "\\r";
            break;
        default:
            if (static_cast<unsigned char>(c) < 0x20) {
                out += "\\u";
                append(out, Hex{static_cast<unsigned char>(c), 4});
            } else {
                out += c;
            }
        }
    }
    out += '"';
}

} // namespace

JournalSummary generate(const JournalShape& shape, const std::function<void(const JournalEntry&)>& visit) {
    Timeline timeline;
    Simulator{shape, timeline}.run();

    // The chatter fills the awake time evenly, up to the lines a day is meant to hold on average.
    const std::int64_t wanted = static_cast<std::int64_t>(std::max(shape.days, 1)) * shape.entriesPerDay;
    const std::int64_t chatterLines =
        std::max<std::int64_t>(0, wanted - static_cast<std::int64_t>(timeline.lines.size()));
    // Whole seconds keep lines × time far below 2^63 for any journal a disk holds.
    std::int64_t awakeSeconds = 0;
    for (const Awake& awake : timeline.awake) {
        awakeSeconds += (awake.to - awake.from) / kSecond;
    }

    EntryMaker maker{shape, timeline};
    JournalSummary summary = timeline.summary;
    const auto emit = [&](const Line& line) {
        if (summary.entries == 0) {
            summary.firstMicros = line.realtime;
        }
        summary.lastMicros = line.realtime;
        ++summary.entries;
        visit(maker.make(line));
    };

    ChatterWriter chatter{shape, timeline};
    std::vector<Line> lines;
    std::size_t next = 0; // the first line of the timeline not yet emitted
    std::int64_t awakeSoFar = 0;
    std::int64_t chatterSoFar = 0;
    for (const Awake& awake : timeline.awake) {
        awakeSoFar += (awake.to - awake.from) / kSecond;
        const std::int64_t due = awakeSeconds == 0 ? 0 : chatterLines * awakeSoFar / awakeSeconds;
        chatter.fill(awake, due - chatterSoFar, lines);
        chatterSoFar += static_cast<std::int64_t>(lines.size());
        for (const Line& line : lines) {
            while (next < timeline.lines.size() && timeline.lines[next].realtime <= line.realtime) {
                emit(timeline.lines[next++]);
            }
            emit(line);
        }
    }
    while (next < timeline.lines.size()) {
        emit(timeline.lines[next++]);
    }
    return summary;
}

void appendExport(std::string& out, const JournalEntry& entry) {
    out += "__REALTIME_TIMESTAMP=";
    append(out, entry.realtime);
    out += "\n__MONOTONIC_TIMESTAMP=";
    append(out, entry.monotonic);
    out += "\n_BOOT_ID=";
    out += entry.boot;
    out += '\n';
    for (const JournalField& field : entry.fields) {
        out += field.name;
        out += '=';
        out += field.value;
        out += '\n';
    }
    out += '\n';
}

void appendJson(std::string& out, const JournalEntry& entry, std::uint64_t sequence) {
    constexpr std::size_t kFields = 7;
    const auto field = [&](std::size_t which) {
        switch (which) {
        case 0:
            out += "\"__CURSOR\":\"s=49680c841625445091701cbe9569b417;i=";
            append(out, Hex{sequence, 0});
            out += ";b=";
            out += entry.boot;
            out += ";m=";
            append(out, Hex{static_cast<std::uint64_t>(entry.monotonic), 0});
            out += ";t=";
            append(out, Hex{static_cast<std::uint64_t>(entry.realtime), 0});
            out += ";x=";
            append(out, Hex{mix(sequence, static_cast<std::uint64_t>(entry.realtime)), 16});
            out += '"';
            break;
        case 1:
            out += "\"__REALTIME_TIMESTAMP\":\"";
            append(out, entry.realtime);
            out += '"';
            break;
        case 2:
            out += "\"__MONOTONIC_TIMESTAMP\":\"";
            append(out, entry.monotonic);
            out += '"';
            break;
        case 3:
            out += "\"_BOOT_ID\":\"";
            out += entry.boot;
            out += '"';
            break;
        case 4:
            out += "\"SYSLOG_IDENTIFIER\":";
            appendJsonString(out, entry.identifier);
            break;
        case 5:
            out += "\"_TRANSPORT\":";
            appendJsonString(out, entry.transport);
            break;
        default:
            out += "\"MESSAGE\":";
            appendJsonString(out, entry.message);
        }
    };
    // A rotation, forwards or backwards, of the seven fields.
    const std::uint64_t order = mix(sequence, 0x0dde);
    const std::size_t first = order % kFields;
    const bool backwards = (order >> 8 & 1) != 0;
    out += '{';
    for (std::size_t i = 0; i < kFields; ++i) {
        if (i > 0) {
            out += ',';
        }
        field(backwards ? (first + kFields - i) % kFields : (first + i) % kFields);
    }
    out += "}\n";
}

bool writeExport(const JournalShape& shape, JournalPart part,
                 const std::function<bool(std::string_view)>& write, JournalSummary* summary) {
    std::string chunk;
    chunk.reserve(kChunkBytes + 64 * 1024);
    bool ok = true;
    const JournalSummary made = generate(shape, [&](const JournalEntry& entry) {
        if (!ok || (part == JournalPart::system && entry.user) ||
            (part == JournalPart::user && !entry.user)) {
            return;
        }
        appendExport(chunk, entry);
        if (chunk.size() >= kChunkBytes) {
            ok = write(chunk);
            chunk.clear();
        }
    });
    if (ok && !chunk.empty()) {
        ok = write(chunk);
    }
    if (summary != nullptr) {
        *summary = made;
    }
    return ok;
}

std::string jsonLines(const JournalShape& shape, std::int64_t sinceMicros,
                      std::span<const std::string_view> identifiers, JournalSummary* summary) {
    std::string out;
    std::uint64_t sequence = 0;
    const JournalSummary made = generate(shape, [&](const JournalEntry& entry) {
        ++sequence;
        if (entry.realtime < sinceMicros) {
            return;
        }
        if (!identifiers.empty() &&
            std::find(identifiers.begin(), identifiers.end(), entry.identifier) == identifiers.end()) {
            return;
        }
        appendJson(out, entry, sequence);
    });
    if (summary != nullptr) {
        *summary = made;
    }
    return out;
}

} // namespace vitrek::JournalGenerator
