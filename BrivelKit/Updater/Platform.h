#pragma once

// How the updater's steps map onto Linux, kept in one place:
//
// - The program's bundle is its installed folder, a relocatable tree with `bin/<program>`, its libraries
//   and resources, and `Info.json` at its root; the running one is the folder above the directory of
//   /proc/self/exe (Bundle::main).
// - The information dictionary is that `Info.json`, written by the build, with the keys
//   "id", "name", "version", "BrivelUpdateFeedURL" and
//   "BrivelUpdatePublicKey" (Bundle).
// - User defaults are QSettings under the application's organisation and name.
// - The caches folder is $XDG_CACHE_HOME, else ~/.cache (stagingFolder).
// - The archive is unpacked in process with libarchive, refusing any entry that could land outside the
//   version folder (Archive::extract); the staged program is the first folder in the version folder that
//   holds an Info.json.
// - There is no quarantine attribute to strip on Linux.
// - The code-signature check is the folder's MANIFEST (Manifest::matches): it is inside the signed archive,
//   so it vouches for every file of the unpacked tree.
// - In-place installs are refused for distribution packages (below /usr/), AppImage mounts, and folders
//   the user can't write (canInstallInPlace).
// - The system version compared with "minimumSystemVersion" is the C library's
//   (UpdateLogic::runningSystemVersion).
// - The install script keeps its shape: wait for the process, move the old folder aside, `cp -a` the staged
//   one, roll back on failure, relaunch the program detached (installScript).

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
// "bin/vitrek"). Its arguments: PID SRC DEST RELAUNCH.
std::string installScript(const std::string& executable);

// The running executable's path relative to `bundle` ("bin/vitrek"), or "bin/" + its file name when it
// lies elsewhere.
std::string executableInBundle(const std::filesystem::path& bundle);

// Starts `/bin/sh -c script brivel-update pid source destination relaunch` detached from this process
// (it outlives it); false when the shell could not be started.
bool launchInstaller(const std::string& script, long pid, const std::filesystem::path& source,
                     const std::filesystem::path& destination, bool relaunch);

// Starts the executable at `path` with `arguments`, output to /dev/null, and waits for it. Exit status 0
// gives 0; another status gives UpdateError(path + " failed"); failing to start gives downloadError with
// the system's reason.
Result<int> run(const std::string& path, const std::vector<std::string>& arguments);

} // namespace brivel::Platform
