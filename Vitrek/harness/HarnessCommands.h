#pragma once

#include "cli/CommandLine.h"

#include <span>
#include <string>
#include <string_view>

namespace vitrek::cli {

// `vitrek card [--out FILE] [--demo] [report's options]`: writes today's share card (or the demo
// machine's) as PNG, without opening a window.
// `vitrek selftest DIR`, `vitrek snapshot DIR [--only light|dark]`: the launch's harness, chosen through
// the same environment variables.
int drawingCommand(std::span<const std::string> arguments, CommandContext& context, int argc, char** argv);

} // namespace vitrek::cli
