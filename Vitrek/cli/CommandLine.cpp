#include "cli/CommandLine.h"

#include "cli/NightsCommand.h"

#include <ostream>

namespace vitrek::cli {

namespace {

constexpr const char* kUsage =
    "usage: vitrek [COMMAND] [OPTIONS]\n"
    "\n"
    "Commands:\n"
    "  nights    rebuild each night from the power log and print its rest score and story\n"
    "\n"
    "Run vitrek COMMAND --help for the options of a command.\n";

} // namespace

bool isCommand(std::span<const std::string> arguments) { return !arguments.empty(); }

int run(std::span<const std::string> arguments, CommandContext& context) {
    if (arguments.empty() || arguments[0] == "--help" || arguments[0] == "-h" || arguments[0] == "help") {
        context.out << kUsage;
        return 0;
    }
    const auto& command = arguments[0];
    if (command == "nights") {
        return nights(arguments.subspan(1), context);
    }
    context.err << "vitrek: unknown command '" << command << "' (try vitrek --help)\n";
    return kUsageError;
}

} // namespace vitrek::cli
