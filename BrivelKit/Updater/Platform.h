#pragma once

// What the updater asks of the operating system: the folder an update is staged in, whether the installed
// program may be replaced where it lies, the shell script that replaces it and relaunches it once this
// process has exited, and running a helper program. The rest of the updater is logic over folders and
// files and does not change from one system to another.

#include "Updater/UpdateError.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace brivel::Platform {

// Used for the staging folder when the program's Info.json names no identifier.
constexpr const char* kFallbackIdentifier = "app.brivel.unidentified";

// $XDG_CACHE_HOME (as Qt reads it), else $HOME/.cache, / identifier (or the fallback) / "BrivelUpdate".
std::filesystem::path stagingFolder(const std::optional<std::string>& identifier);

// Whether `bundle` lies below /usr/, where a distribution's package manager installed it and updates it.
bool isSystemPackage(const std::filesystem::path& bundle);

// False for a folder below /usr/ (isSystemPackage), inside an AppImage mount,
// or when the folder or its parent is not writable by this user; true otherwise.
bool canInstallInPlace(const std::filesystem::path& bundle);

// The install script for a program whose executable is at `executable` (relative to the bundle, such as
// "bin/vitrek"). Its arguments: PID SRC DEST RELAUNCH [AFTER]. It waits up to a minute for PID to exit,
// moves DEST aside, copies SRC there with `cp -a`, puts the old folder back if that fails, runs DEST/AFTER
// with DEST as its argument when the copy succeeded and AFTER names an executable there, removes the
// staging folder and, when RELAUNCH is 1, starts the program detached.
std::string installScript(const std::string& executable);

// Whether `path` may be given to the install script as AFTER: a plain relative path that stays inside the
// folder.
bool isAfterInstallPath(const std::string& path);

// The running executable's path relative to `bundle` ("bin/vitrek"), or "bin/" + its file name when it
// lies elsewhere.
std::string executableInBundle(const std::filesystem::path& bundle);

// Starts `/bin/sh -c script brivel-update pid source destination relaunch afterInstall` detached from this
// process (it outlives it); false when the shell could not be started.
bool launchInstaller(const std::string& script, long pid, const std::filesystem::path& source,
                     const std::filesystem::path& destination, bool relaunch, const std::string& afterInstall = {});

// Starts the executable at `path` with `arguments`, output to /dev/null, and waits for it. Exit status 0
// gives 0; another status gives UpdateError(path + " failed"); failing to start gives downloadError with
// the system's reason.
Result<int> run(const std::string& path, const std::vector<std::string>& arguments);

} // namespace brivel::Platform
