#pragma once

#include "powerlog/NightLog.h"
#include "powerlog/PowerLog.h"
#include "time/Instant.h"

#include <array>
#include <functional>
#include <iosfwd>
#include <span>
#include <streambuf>
#include <string>
#include <string_view>

namespace vitrek::cli {

struct Command;
struct CommandOptions;

// What a terminal command may touch; tests replace the clock, the system's log and the streams.
struct CommandContext {
    std::istream& in;
    std::ostream& out;
    std::ostream& err;
    std::function<Instant()> now;
    // The system's nights up to `now`: the journal and Vitrek's own record, or the one chosen.
    std::function<NightLog(Instant now, NightSourceChoice choice)> loadSystemLog;
};

// The running program's context: the standard streams (standard output through a StandardOutput, so a
// failed write is noticed), the system clock and the system's nights. Call once.
CommandContext systemContext();

// Usage errors and unreadable inputs: one line on stderr, exit status 2.
inline constexpr int kUsageError = 2;

// Runs a command whose options parsed that `run` does not run itself: the check-up loop and the commands
// that draw, which need the program's own arguments or the windowing library.
using Runner = std::function<int(const Command& command, const CommandOptions& options)>;

// Runs `vitrek <arguments…>` (the program name excluded) and returns the exit status, after
// `finishOutput`. Every command's help and usage errors are answered here; `elsewhere` runs what is left
// (without it, such a command is a usage error).
int run(std::span<const std::string> arguments, CommandContext& context, const Runner& elsewhere = {});

// Flushes `context.out`; when any of it could not be written (a full disk, a closed pipe) says so on one
// line, with the reason, and returns 1 unless `status` already reports a failure. A script must not take a
// truncated document for a whole one.
int finishOutput(std::string_view command, int status, CommandContext& context);

// The commands' standard output: written straight to the descriptor, and remembering why a write failed,
// which a stream forgets.
class StandardOutput final : public std::streambuf {
public:
    explicit StandardOutput(int fd);
    // The errno of the first write that failed; 0 while none has. Output after it is dropped.
    int error() const { return m_error; }

protected:
    int_type overflow(int_type c) override;
    int sync() override;

private:
    bool drain();

    int m_fd;
    int m_error = 0;
    std::array<char, 1 << 16> m_buffer{};
};

// Whether the arguments ask for a command that prints and ends: not the check-up loop, and none of the
// commands that draw (`card`, `selftest`, `snapshot`), which the windowed program runs.
bool isPrintingCommand(std::span<const std::string> arguments);

} // namespace vitrek::cli
