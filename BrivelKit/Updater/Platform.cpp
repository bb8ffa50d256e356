#include "Updater/Platform.h"

#include <QProcess>
#include <QStandardPaths>
#include <QString>
#include <QStringList>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <system_error>

extern char** environ;

namespace brivel::Platform {
namespace {

bool startsWith(const std::string& text, const std::string& prefix) { return text.rfind(prefix, 0) == 0; }

bool writable(const std::filesystem::path& path) { return ::access(path.c_str(), W_OK) == 0; }

// Safe to put between double quotes after "$DEST/" as it is.
bool plainPath(const std::string& path) {
    for (const char c : path) {
        const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' ||
                           c == '_' || c == '-' || c == '/' || c == '+';
        if (!plain) {
            return false;
        }
    }
    return !path.empty();
}

std::string singleQuoted(const std::string& text) {
    std::string quoted = "'";
    for (const char c : text) {
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return quoted + "'";
}

} // namespace

std::filesystem::path stagingFolder(const std::optional<std::string>& identifier) {
    // The generic cache location is $XDG_CACHE_HOME when set, else ~/.cache.
    const std::filesystem::path caches =
        QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation).toStdString();
    const std::string name = identifier && !identifier->empty() && identifier->find('/') == std::string::npos &&
                                     *identifier != "." && *identifier != ".."
                                 ? *identifier
                                 : std::string(kFallbackIdentifier);
    return caches / name / "BrivelUpdate";
}

bool isSystemPackage(const std::filesystem::path& bundle) {
    return startsWith(bundle.lexically_normal().string(), "/usr/");
}

bool canInstallInPlace(const std::filesystem::path& bundle) {
    const std::string path = bundle.lexically_normal().string();
    if (path.empty() || isSystemPackage(bundle)) {
        return false;
    }
    // An AppImage runs from a read-only mount of itself; replacing the mount would change nothing.
    const char* appDir = std::getenv("APPDIR");
    if (path.find("/.mount_") != std::string::npos || (appDir != nullptr && *appDir != '\0' &&
                                                       startsWith(path, appDir))) {
        return false;
    }
    return writable(bundle) && writable(bundle.parent_path());
}

std::string installScript(const std::string& executable) {
    const std::string program =
        plainPath(executable) ? "\"$DEST/" + executable + "\"" : "\"$DEST\"/" + singleQuoted(executable);
    return "PID=\"$1\"; SRC=\"$2\"; DEST=\"$3\"; RELAUNCH=\"$4\"; AFTER=\"$5\"\n"
           "i=0; while kill -0 \"$PID\" 2>/dev/null && [ $i -lt 600 ]; do sleep 0.1; i=$((i+1)); done\n"
           "OLD=\"$DEST.brivel-old\"; rm -rf \"$OLD\"\n"
           "if mv \"$DEST\" \"$OLD\" && cp -a \"$SRC\" \"$DEST\"; then rm -rf \"$OLD\"; "
           "if [ -n \"$AFTER\" ] && [ -x \"$DEST/$AFTER\" ]; then "
           "\"$DEST/$AFTER\" \"$DEST\" </dev/null >/dev/null 2>&1; fi; "
           "else rm -rf \"$DEST\"; mv \"$OLD\" \"$DEST\"; fi\n"
           "# Linux keeps no quarantine attribute, so there is nothing to strip here.\n"
           "rm -rf \"$(dirname \"$SRC\")\"\n"
           "[ \"$RELAUNCH\" = 1 ] && setsid " +
           program +
           " </dev/null >/dev/null 2>&1 &\n"
           "exit 0";
}

bool isAfterInstallPath(const std::string& path) {
    if (!plainPath(path) || path.front() == '/') {
        return false;
    }
    for (const auto& part : std::filesystem::path(path)) {
        if (part == "..") {
            return false;
        }
    }
    return true;
}

std::string executableInBundle(const std::filesystem::path& bundle) {
    std::error_code error;
    const auto executable = std::filesystem::canonical("/proc/self/exe", error);
    if (error) {
        return "bin/app";
    }
    const auto relative = executable.lexically_relative(std::filesystem::weakly_canonical(bundle, error));
    if (error || relative.empty() || *relative.begin() == "..") {
        return "bin/" + executable.filename().string();
    }
    return relative.string();
}

bool launchInstaller(const std::string& script, long pid, const std::filesystem::path& source,
                     const std::filesystem::path& destination, bool relaunch, const std::string& afterInstall) {
    // Detached: the shell must outlive this process, which it is waiting for.
    return QProcess::startDetached("/bin/sh", {"-c", QString::fromStdString(script), "brivel-update",
                                               QString::number(pid), QString::fromStdString(source.string()),
                                               QString::fromStdString(destination.string()),
                                               relaunch ? "1" : "0", QString::fromStdString(afterInstall)});
}

Result<int> run(const std::string& path, const std::vector<std::string>& arguments) {
    std::vector<std::string> words{path};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    for (auto& word : words) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t child = 0;
    const int status = ::posix_spawn(&child, path.c_str(), &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (status != 0) {
        return downloadError(std::strerror(status));
    }
    int exit = 0;
    while (::waitpid(child, &exit, 0) < 0) {
        if (errno != EINTR) {
            return downloadError(std::strerror(errno));
        }
    }
    if (!WIFEXITED(exit) || WEXITSTATUS(exit) != 0) {
        return UpdateError{path + " failed"};
    }
    return 0;
}

} // namespace brivel::Platform
