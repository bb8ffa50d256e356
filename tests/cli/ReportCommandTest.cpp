#include "cli/ReportCommand.h"

#include "cli/RunCommand.h"
#include "support/ScratchDirectory.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

namespace vitrek::cli {
namespace {

namespace fs = std::filesystem;

constexpr const char* kReading =
    "{\"date\": 1709636400, \"model\": \"MacBook Pro (14-inch, 2021)\", \"battery\": {\"health\": 0.87, "
    "\"cycles\": 412, \"percent\": 64, \"onAC\": false}, \"freeBytes\": 20000000000, \"totalBytes\": "
    "500000000000, \"pressure\": 2, \"swapBytes\": 3000000000, \"heat\": 1, \"bootedAt\": 1709000000}";

class ReportCommandTest : public ::testing::Test {
protected:
    void SetUp() override { std::ofstream(folder / "reading.json") << kReading; }

    static Output run(std::vector<std::string> arguments, const char* command = "report") {
        arguments.insert(arguments.begin(), command);
        return runCommand(arguments);
    }

    const test::ScratchDirectory scratch{"vitrek-report"};
    const fs::path& folder = scratch.path();
    const test::ScopedVariable dataDirectory{"VITREK_DATA_DIR", (folder / "data").c_str()};
};

TEST_F(ReportCommandTest, AReadingWithoutATemperatureLeavesHeatOutRatherThanCallingItCool) {
    auto reading = nlohmann::json::parse(kReading);
    reading["heat"] = nullptr;
    std::ofstream(folder / "sensorless.json") << reading.dump();
    const auto result = run({"--reading", (folder / "sensorless.json").string(), "--json"});
    ASSERT_EQ(result.status, 0) << result.err;
    const auto json = nlohmann::json::parse(result.out);
    const auto heat = std::find_if(json["vitals"].begin(), json["vitals"].end(),
                                   [](const auto& vital) { return vital["kind"] == "heat"; });
    ASSERT_NE(heat, json["vitals"].end());
    EXPECT_EQ((*heat)["value"], "–");
    EXPECT_EQ((*heat)["inRange"], nullptr);

    const auto text = run({"--reading", (folder / "sensorless.json").string(), "--tz", "UTC"}).out;
    EXPECT_NE(text.find("Temp: – (healthy: Cool or warm)  ← no sensor could be read"), std::string::npos)
        << text;
    EXPECT_EQ(text.find("Temperature"), std::string::npos) << "a heat factor without a sensor";
}

TEST_F(ReportCommandTest, RefusesReadingsThatCannotBeReadOrHoldFiguresNoMachineReports) {
    const struct {
        const char* pointer;
        nlohmann::json value;
        const char* error;
    } rows[] = {
        {"/battery/health", -5, "battery.health -5 is not between 0 and 1"},
        {"/battery/health", 1e308, "battery.health 1e+308 is not between 0 and 1"},
        {"/battery/cycles", -1, "battery.cycles -1 is not 0 or more"},
        {"/battery/percent", 101, "battery.percent 101 is not between 0 and 100"},
        {"/battery/percent", -1, "battery.percent -1 is not between 0 and 100"},
        {"/freeBytes", 500000000001, "freeBytes 500000000001 is not between 0 and totalBytes (500000000000)"},
        {"/freeBytes", -1, "freeBytes -1 is not between 0 and totalBytes (500000000000)"},
        {"/totalBytes", -2, "totalBytes -2 is not 0 or more"},
        {"/swapBytes", -1, "swapBytes -1 is not 0 or more"},
        {"/date", 1e308, "date 1e+308 is not a time in the years 2001 to 2200"},
        {"/date", 0, "date 0 is not a time in the years 2001 to 2200"},
        {"/bootedAt", -1e12, "bootedAt -1e+12 is not a time in the years 2001 to 2200"},
        {"/bootedAt", 1709636401, "bootedAt is after date"},
        {"/pressure", 3, "pressure is not 1, 2 or 4"},
    };
    const auto file = folder / "impossible.json";
    for (const auto& row : rows) {
        auto reading = nlohmann::json::parse(kReading);
        reading[nlohmann::json::json_pointer(row.pointer)] = row.value;
        std::ofstream(file) << reading.dump();
        EXPECT_EQ(
            run({"--reading", file.string()}),
            (Output{2, "", "vitrek: report: " + file.string() + " is not a reading: " + row.error + "\n"}));
    }

    // A new battery's firmware may report a little more than its design: read as full health.
    auto generous = nlohmann::json::parse(kReading);
    generous["battery"]["health"] = 1.04;
    std::ofstream(file) << generous.dump();
    const auto generousResult = run({"--reading", file.string(), "--json"});
    ASSERT_EQ(generousResult.status, 0) << generousResult.err;
    EXPECT_EQ(nlohmann::json::parse(generousResult.out)["reading"]["battery"]["health"], 1.0);

    EXPECT_EQ(run({"--reading", "/dev/zero"}),
              (Output{2, "", "vitrek: report: /dev/zero is over 1 MiB, the most a reading may hold\n"}));
    const auto missing = (folder / "missing.json").string();
    EXPECT_EQ(run({"--reading", missing}),
              (Output{2, "", "vitrek: cannot read " + missing + ": No such file or directory\n"}));
}

// The samples of an exposition text by "name{labels}", each checked to follow its family's HELP and TYPE.
std::map<std::string, double> samplesOf(const std::string& text) {
    std::map<std::string, double> samples;
    std::set<std::string> described;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("# TYPE ")) {
            described.insert(line.substr(7, line.find(' ', 7) - 7));
        } else if (!line.starts_with("# HELP ")) {
            const auto name = line.substr(0, line.find('{'));
            EXPECT_TRUE(described.contains(name)) << line;
            samples[line.substr(0, line.rfind(' '))] = std::stod(line.substr(line.rfind(' ') + 1));
        }
    }
    return samples;
}

// The report of a stored reading and last night, and its metrics labelled with the user; neither writes.
TEST_F(ReportCommandTest, ReportsAStoredReadingWithLastNightAndItsMetrics) {
    const test::ScopedVariable userName("USER", "ada \"the\" admin");
    const std::vector<std::string> options{
        "--reading", (folder / "reading.json").string(), "--log", kOneNightLog, "--tz", "Europe/Berlin"};
    const auto metrics = run(options, "metrics");
    ASSERT_EQ(metrics.status, 0) << metrics.err;
    auto withJson = options;
    withJson.push_back("--json");
    const auto report = run(withJson);
    ASSERT_EQ(report.status, 0) << report.err;
    const auto json = nlohmann::json::parse(report.out);
    // The reading comes back as it was given, dated at the default `now`: the reading's own date.
    EXPECT_EQ(json["reading"], nlohmann::json::parse(kReading));
    EXPECT_EQ(json["rest"], 88);
    EXPECT_EQ(json["wakes"], 2);
    EXPECT_EQ(json["factors"].size(), 6u);
    EXPECT_EQ(json["strain"], nullptr);
    EXPECT_EQ(json["age"]["source"], "modelYear");
    EXPECT_EQ(json["streak"], 0);
    EXPECT_FALSE(fs::exists(folder / "data"));
    const auto samples = samplesOf(metrics.out);
    const std::string user = "{user=\"ada \\\"the\\\" admin\"";
    EXPECT_EQ(samples.at("vitrek_recovery_percent" + user + "}"), json["recovery"].get<double>());
    EXPECT_EQ(samples.at("vitrek_rest_score" + user + "}"), json["rest"].get<double>());
    EXPECT_EQ(samples.at("vitrek_last_night_wakes" + user + "}"), json["wakes"].get<double>());
    EXPECT_EQ(samples.at("vitrek_battery_health_ratio" + user + "}"), 0.87);
    EXPECT_EQ(samples.at("vitrek_battery_cycle_count" + user + "}"), 412);
    EXPECT_EQ(samples.at("vitrek_recovery_factor_ratio" + user + ",kind=\"battery\"}"),
              json["factors"][0]["score"].get<double>());
    EXPECT_EQ(samples.at("vitrek_last_checkup_timestamp_seconds" + user + "}"), 1709636400);
    EXPECT_TRUE(samples.contains("vitrek_info" + user +
                                 ",version=\"" VITREK_VERSION "\",model=\"MacBook Pro (14-inch, 2021)\"}"));

    // A desktop with no night to tell leaves those families out rather than reporting zeros.
    auto reading = nlohmann::json::parse(kReading);
    reading.erase("battery");
    std::ofstream(folder / "desktop.json") << reading.dump();
    const auto desktop = run({"--reading", (folder / "desktop.json").string()}, "metrics");
    ASSERT_EQ(desktop.status, 0) << desktop.err;
    for (const char* absent : {"vitrek_battery", "vitrek_rest_score", "vitrek_last_night_wakes"}) {
        EXPECT_EQ(desktop.out.find(absent), std::string::npos) << absent;
    }
}

} // namespace
} // namespace vitrek::cli
