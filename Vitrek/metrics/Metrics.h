#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace vitrek {

class Store;

// Who and what a machine's metrics describe: every family carries `user`, so two people's files on one
// machine never collide in the collector; the info metric carries the rest.
struct MetricsLabels {
    std::string user;
    std::string version;
};

// The user the metrics are labelled with: $USER, else the account's name, else the numeric user ID.
std::string metricsUser();

// One check-up of `store` in the Prometheus text exposition format (version 0.0.4): `# HELP` and `# TYPE`
// for every family, no timestamps, base units. Families without a value (no night, no battery, no age)
// are left out whole.
std::string metricsText(const Store& store, const MetricsLabels& labels);

// The file the textfile collector reads for `user` in `folder`: "vitrek-USER.prom", the user's name kept
// to letters, digits, '-', '_' and '.' so it stays one file name.
std::filesystem::path metricsFile(const std::filesystem::path& folder, std::string_view user);

// Writes `text` to `file` through a temporary file beside it and a rename, so a collector never reads half
// a file; readable by everyone, as the collector runs as another user. The problem, worded for a person,
// when it can't.
std::optional<std::string> writeMetricsFile(const std::filesystem::path& file, std::string_view text);

} // namespace vitrek
