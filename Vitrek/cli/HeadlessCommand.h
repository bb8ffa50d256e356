#pragma once

#include "cli/CommandOptions.h"

#include <iosfwd>

namespace vitrek::cli {

// `vitrek --headless`: runs the Store's check-up loop without a window until SIGINT or SIGTERM, printing a
// line per check-up to `out`. Creates only a core application object, so it runs without a display.
// `options` are those its table names (none yet).
int headless(const CommandOptions& options, int argc, char** argv, std::ostream& out);

} // namespace vitrek::cli
