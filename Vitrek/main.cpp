#include "cli/CommandLine.h"
#include "cli/CommandTable.h"
#include "cli/HeadlessCommand.h"
#include "linux/LargePages.h"
#include "shell/Launch.h"

#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

namespace {

// Replaces this process with the windowed program beside this executable, with the same arguments and
// environment: the process the caller started (its PID, its signals, its exit status, the single-instance
// claim) stays the same one, and the terminal modes never map the windowing libraries. Returns only when
// that program cannot be run.
int runWindowProgram(char** argv) {
    std::error_code error;
    const auto self = std::filesystem::read_symlink("/proc/self/exe", error);
    const auto program = (error ? std::filesystem::path(argv[0]) : self).parent_path() / VITREK_WINDOW_PROGRAM;
    ::execv(program.c_str(), argv);
    std::cerr << "vitrek: cannot run " << program.string() << ": " << std::strerror(errno) << "\n";
    return vitrek::cli::kUsageError;
}

} // namespace

int main(int argc, char** argv) {
    std::ios::sync_with_stdio(false);
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    if (arguments.empty()) {
        if (vitrek::hasDisplay() || vitrek::harnessRequested()) {
            return runWindowProgram(argv);
        }
        std::cerr << "vitrek: no display to open the window on; printing a check-up instead\n";
    }
    if (vitrek::cli::isPrintingCommand(arguments)) {
        vitrek::preferLargePages();
    }
    auto context = vitrek::cli::systemContext();
    // Help and mistakes are answered here, the drawing commands' too; what draws runs in the windowed
    // program, which parses its arguments again.
    return vitrek::cli::run(
        arguments, context,
        [argc, argv](const vitrek::cli::Command& command, const vitrek::cli::CommandOptions& options) {
            if (std::string_view(command.name) == "--headless") {
                return vitrek::cli::headless(options, argc, argv, std::cout);
            }
            return runWindowProgram(argv);
        });
}
