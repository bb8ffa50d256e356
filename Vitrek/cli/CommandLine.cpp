#include "cli/CommandLine.h"

#include "cli/NightsCommand.h"
#include "cli/ReportCommand.h"

#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <iostream>
#include <cstring>
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

int dispatch(std::span<const std::string> arguments, CommandContext& context) {
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

} // namespace

bool isCommand(std::span<const std::string> arguments) {
    return arguments.empty() || arguments[0] != "--headless";
}

bool isDrawingCommand(std::string_view command) {
    return command == "card" || command == "selftest" || command == "snapshot";
}

int run(std::span<const std::string> arguments, CommandContext& context) {
    const int status = dispatch(arguments, context);
    return finishOutput(arguments.empty() ? "report" : arguments[0], status, context);
}

CommandContext systemContext() {
    // Never destroyed: std::cout flushes through it when the program exits.
    static auto* const output = new StandardOutput(STDOUT_FILENO);
    std::cout.rdbuf(output);
    return CommandContext{std::cin, std::cout, std::cerr,
                          [] { return std::chrono::time_point_cast<Seconds>(std::chrono::system_clock::now()); },
                          [](Instant now, PowerLogParser::SourceChoice choice) {
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
