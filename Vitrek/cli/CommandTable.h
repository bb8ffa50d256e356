#pragma once

#include "cli/CommandOptions.h"

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>

namespace vitrek::cli {

// One option of a command, `--name` or `--name VALUE`. `set` stores it in the options (a switch's value is
// empty) or returns what is wrong with the value, worded to follow "vitrek: COMMAND: ".
struct Option {
    const char* name = "";       // "log", without its dashes
    const char* value = nullptr; // the value's name in the help ("FILE"); null for a switch
    const char* needs = "";      // what a missing value should have been: "--log needs a file"
    const char* help = "";       // one line for the command's help
    std::optional<std::string> (*set)(CommandOptions& options, const std::string& value) = nullptr;
};

// One terminal command: everything it accepts, and what its help and vitrek --help say about it.
struct Command {
    const char* name = "";    // "report", or "--headless"
    const char* summary = ""; // its line in vitrek --help
    const char* usage = "";   // what follows "usage: vitrek NAME " in its help
    const char* about = "";   // its help's paragraph
    std::span<const Option> options;
    const char* folder =
        nullptr; // the one argument that is no option ("DIR"), stored in `folder`; null for none
};

// A mistake in the arguments, worded for "vitrek: " + message: "nights: --log given twice".
struct UsageError {
    std::string message;
    bool operator==(const UsageError&) const = default;
};

namespace CommandTable {

// Every command, in the order vitrek --help lists them.
std::span<const Command> commands();

// The command called `name`; null when there is none.
const Command* find(std::string_view name);

// The arguments after the command's name, read against its table: `--name value` and `--name=value`,
// options and its folder in any order. `--help` or `-h` anywhere sets `help` and nothing else. Otherwise
// the options, or the first mistake: an unknown option, a missing, repeated or bad value, a missing or
// extra argument, options that cannot go together.
std::variant<CommandOptions, UsageError> parse(const Command& command,
                                               std::span<const std::string> arguments);

// The command's help: its usage, its paragraph and a line for each option, `--help` included.
std::string help(const Command& command);

// What vitrek --help prints: the forms of the program and a line for each command.
std::string usage();

} // namespace CommandTable

} // namespace vitrek::cli
