#pragma once

#include <iosfwd>

namespace vitrek::cli {

// `vitrek --headless`: runs the Store's check-up loop without a window until SIGINT or SIGTERM, printing a
// line per check-up to `out`. Creates only a core application object, so it runs without a display.
int headless(int argc, char** argv, std::ostream& out);

} // namespace vitrek::cli
