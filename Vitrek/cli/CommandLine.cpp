#include "cli/CommandLine.h"

#include "cli/NightsCommand.h"
#include "cli/ReportCommand.h"

#include <ostream>

namespace vitrek::cli {

namespace {

constexpr const char* kUsage =
    "usage: vitrek [COMMAND] [OPTIONS]\n"
    "       vitrek --headless\n"
    "\n"
    "Without a command, vitrek opens its window and tray icon (or prints a check-up when there is no\n"
    "display).\n"
    "\n"
    "Commands:\n"
    "  report      take one check-up of this machine and print it\n"
    "  nights      rebuild each night from the power log and print its rest score and story\n"
    "  card        write today's share card as a PNG image\n"
    "  selftest    check the program on the demo machine and write a report\n"
    "  snapshot    render the screens on the demo machine to PNG files\n"
    "  --headless  take a check-up every minute without a window, until interrupted\n"
    "  --version   print the version\n"
    "\n"
    "Run vitrek COMMAND --help for the options of a command.\n";

} // namespace

bool isCommand(std::span<const std::string> arguments) {
    return arguments.empty() || arguments[0] != "--headless";
}

int run(std::span<const std::string> arguments, CommandContext& context) {
    // Without a display to open the window on, a bare `vitrek` prints the check-up instead.
    if (arguments.empty()) {
        return report(arguments, context);
    }
    if (arguments[0] == "--help" || arguments[0] == "-h" || arguments[0] == "help") {
        context.out << kUsage;
        return 0;
    }
    const auto& command = arguments[0];
    if (command == "--version") {
        // Scripts compare this line, so it carries nothing but the name and the version.
        if (arguments.size() > 1) {
            context.err << "vitrek: --version takes no options\n";
            return kUsageError;
        }
        context.out << "vitrek " << VITREK_VERSION << "\n";
        return 0;
    }
    if (command == "nights") {
        return nights(arguments.subspan(1), context);
    }
    if (command == "--headless") {
        context.err << "vitrek: --headless takes no options\n";
        return kUsageError;
    }
    if (command == "report") {
        return report(arguments.subspan(1), context);
    }
    context.err << "vitrek: unknown command '" << command << "' (try vitrek --help)\n";
    return kUsageError;
}

} // namespace vitrek::cli
