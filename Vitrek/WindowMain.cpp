#include "cli/CommandLine.h"
#include "cli/CommandTable.h"
#include "cli/HeadlessCommand.h"
#include "harness/Harness.h"
#include "harness/HarnessCommands.h"
#include "linux/LargePages.h"
#include "shell/Launch.h"
#include "shell/VitrekApplication.h"

#include <unistd.h>

#include <chrono>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

// The windowed program: the window and tray, and the commands that draw. `vitrek` hands these over to it;
// run directly, it does everything `vitrek` does.
int main(int argc, char** argv) {
    std::ios::sync_with_stdio(false);
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    if (arguments.empty()) {
        if (vitrek::hasDisplay() || vitrek::Harness::fromEnvironment()) {
            return vitrek::runApplication(argc, argv);
        }
        std::cerr << "vitrek: no display to open the window on; printing a check-up instead\n";
    }
    if (vitrek::cli::isPrintingCommand(arguments)) {
        vitrek::preferLargePages();
    }
    auto context = vitrek::cli::systemContext();
    return vitrek::cli::run(arguments, context,
                            [argc, argv, &context](const vitrek::cli::Command& command,
                                                   const vitrek::cli::CommandOptions& options) {
                                if (std::string_view(command.name) == "--headless") {
                                    return vitrek::cli::headless(options, argc, argv, std::cout);
                                }
                                return vitrek::cli::drawingCommand(command, options, context, argc, argv);
                            });
}
