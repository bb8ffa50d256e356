#include "cli/CommandLine.h"
#include "cli/HeadlessCommand.h"
#include "harness/Harness.h"
#include "harness/HarnessCommands.h"
#include "linux/LargePages.h"
#include "linux/PowerLogSource.h"
#include "shell/Launch.h"
#include "shell/VitrekApplication.h"

#include <unistd.h>

#include <chrono>
#include <iostream>
#include <string>
#include <vector>

// The windowed program: the window and tray, and the commands that draw. `vitrek` hands these over to it;
// run directly, it does everything `vitrek` does.
int main(int argc, char** argv) {
    std::ios::sync_with_stdio(false);
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    if (arguments.size() == 1 && arguments[0] == "--headless") {
        return vitrek::cli::headless(argc, argv, std::cout);
    }
    if (arguments.empty()) {
        if (vitrek::hasDisplay() || vitrek::Harness::fromEnvironment()) {
            return vitrek::runApplication(argc, argv);
        }
        std::cerr << "vitrek: no display to open the window on; printing a check-up instead\n";
    }
    auto context = vitrek::cli::systemContext();
    if (!arguments.empty() && vitrek::cli::isDrawingCommand(arguments[0])) {
        const int status = vitrek::cli::drawingCommand(arguments, context, argc, argv);
        return vitrek::cli::finishOutput(arguments[0], status, context);
    }
    if (vitrek::cli::isCommand(arguments)) {
        vitrek::preferLargePages();
    }
    return vitrek::cli::run(arguments, context);
}
