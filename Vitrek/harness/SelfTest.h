#pragma once

#include <QString>

#include <string>
#include <vector>

namespace vitrek {

class Store;

// Checks the installed program without a test runner: fills the Store with the demo machine, checks what
// the screens and the card would show, and writes the report.
namespace SelfTest {

struct Check {
    bool passed = false;
    std::string description;
    bool operator==(const Check&) const = default;
};

// The checks in order, on `store` as it is; the card is written to dir/card.png and samples to dir/data.
std::vector<Check> checks(const Store& store, const QString& dir);
// "PASS …"/"FAIL …" lines, then "ALL PASS" or "2 FAILED".
std::vector<std::string> report(const std::vector<Check>& checks);

// Creates dir, fills `store` with the demo machine, runs the checks and writes dir/selftest.txt
// atomically in UTF-8; the report also goes to standard output. Returns the number of failures.
int run(const QString& dir, Store& store);

} // namespace SelfTest

} // namespace vitrek
