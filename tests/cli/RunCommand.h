#pragma once

#include "cli/CommandLine.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace vitrek::cli {

struct Output {
    int status = 0;
    std::string out;
    std::string err;
    bool operator==(const Output&) const = default;
    friend void PrintTo(const Output& output, std::ostream* os) {
        *os << "status " << output.status << ", out " << testing::PrintToString(output.out) << ", err "
            << testing::PrintToString(output.err);
    }
};

// The power log most command tests read: one night in Berlin with a maintenance wake.
inline const std::string kOneNightLog = VITREK_TEST_DATA "/pmset/one-night-maintenance-wake.log";

// The command line run at noon on 6 March 2024 in Berlin, reading `in`; the system's nights are `system`.
inline Output runCommand(const std::vector<std::string>& arguments, std::istream& in, NightLog system = {}) {
    std::ostringstream out;
    std::ostringstream err;
    CommandContext context{in, out, err, [] { return test::at("2024-03-06T12:00:00+01:00"); },
                           [system](Instant, NightSourceChoice) { return system; }};
    const int status = run(arguments, context);
    return {status, out.str(), err.str()};
}

inline Output runCommand(const std::vector<std::string>& arguments, const std::string& input = "",
                         NightLog system = {}) {
    std::istringstream in(input);
    return runCommand(arguments, in, std::move(system));
}

} // namespace vitrek::cli
