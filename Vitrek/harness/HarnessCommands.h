#pragma once

#include "cli/CommandLine.h"
#include "cli/CommandTable.h"

namespace vitrek::cli {

// Runs a command that draws, its options parsed: `card` writes today's share card (or the demo machine's)
// as PNG without opening a window; `selftest` and `snapshot` run the launch's harness, chosen through the
// same environment variables.
int drawingCommand(const Command& command, const CommandOptions& options, CommandContext& context, int argc,
                   char** argv);

} // namespace vitrek::cli
