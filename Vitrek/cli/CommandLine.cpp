#include "cli/CommandLine.h"

#include "cli/CommandTable.h"
#include "cli/NightsCommand.h"
#include "cli/ReportCommand.h"
#include "linux/PowerLogSource.h"

#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <iostream>
#include <cstring>
#include <ostream>

namespace vitrek::cli {

namespace {

int dispatch(std::span<const std::string> arguments, CommandContext& context, const Runner& elsewhere) {
    // Without a display to open the window on, a bare `vitrek` prints the check-up instead.
    if (arguments.empty()) {
        return report(CommandOptions{}, context);
    }
    if (arguments[0] == "--help" || arguments[0] == "-h" || arguments[0] == "help") {
        context.out << CommandTable::usage();
        return 0;
    }
    if (arguments[0] == "--version") {
        // Scripts compare this line, so it carries nothing but the name and the version.
        if (arguments.size() > 1) {
            context.err << "vitrek: --version takes no options\n";
            return kUsageError;
        }
        context.out << "vitrek " << VITREK_VERSION << "\n";
        return 0;
    }
    const Command* command = CommandTable::find(arguments[0]);
    if (!command) {
        context.err << "vitrek: unknown command '" << arguments[0] << "' (try vitrek --help)\n";
        return kUsageError;
    }
    const auto parsed = CommandTable::parse(*command, arguments.subspan(1));
    if (const auto* error = std::get_if<UsageError>(&parsed)) {
        context.err << "vitrek: " << error->message << "\n";
        return kUsageError;
    }
    const auto& options = std::get<CommandOptions>(parsed);
    if (options.help) {
        context.out << CommandTable::help(*command);
        return 0;
    }
    const std::string_view name = command->name;
    if (name == "report") {
        return report(options, context);
    }
    if (name == "nights") {
        return nights(options, context);
    }
    if (name == "metrics") {
        return metrics(options, context);
    }
    if (!elsewhere) {
        context.err << "vitrek: " << name << ": not available in this program\n";
        return kUsageError;
    }
    return elsewhere(*command, options);
}

} // namespace

bool isPrintingCommand(std::span<const std::string> arguments) {
    return arguments.empty() ||
           !(arguments[0] == "--headless" || arguments[0] == "card" || arguments[0] == "selftest" ||
             arguments[0] == "snapshot");
}

int run(std::span<const std::string> arguments, CommandContext& context, const Runner& elsewhere) {
    const int status = dispatch(arguments, context, elsewhere);
    return finishOutput(arguments.empty() ? "report" : arguments[0], status, context);
}

CommandContext systemContext() {
    // Never destroyed: std::cout flushes through it when the program exits.
    static auto* const output = new StandardOutput(STDOUT_FILENO);
    std::cout.rdbuf(output);
    return CommandContext{std::cin, std::cout, std::cerr,
                          [] { return std::chrono::time_point_cast<Seconds>(std::chrono::system_clock::now()); },
                          [](Instant now, NightSourceChoice choice) {
                              return PowerLogParser::readSystemLog(VitrekFiles(), now, choice);
                          }};
}

int finishOutput(std::string_view command, int status, CommandContext& context) {
    errno = 0;
    context.out.flush();
    if (context.out) {
        return status;
    }
    int error = errno;
    if (const auto* output = dynamic_cast<const StandardOutput*>(context.out.rdbuf());
        output && output->error()) {
        error = output->error();
    }
    context.err << "vitrek: " << command << ": cannot write to standard output";
    if (error != 0) {
        context.err << ": " << std::strerror(error);
    }
    context.err << "\n";
    return status == 0 ? 1 : status;
}

StandardOutput::StandardOutput(int fd) : m_fd(fd) {
    setp(m_buffer.data(), m_buffer.data() + m_buffer.size());
}

StandardOutput::int_type StandardOutput::overflow(int_type c) {
    if (!drain()) {
        return traits_type::eof();
    }
    if (!traits_type::eq_int_type(c, traits_type::eof())) {
        *pptr() = traits_type::to_char_type(c);
        pbump(1);
    }
    return traits_type::not_eof(c);
}

int StandardOutput::sync() { return drain() ? 0 : -1; }

bool StandardOutput::drain() {
    const char* next = pbase();
    while (m_error == 0 && next < pptr()) {
        const ssize_t written = ::write(m_fd, next, static_cast<std::size_t>(pptr() - next));
        if (written >= 0) {
            next += written;
        } else if (errno != EINTR) {
            m_error = errno;
        }
    }
    setp(m_buffer.data(), m_buffer.data() + m_buffer.size());
    return m_error == 0;
}

} // namespace vitrek::cli
