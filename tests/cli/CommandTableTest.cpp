#include "cli/CommandTable.h"

#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <regex>

namespace vitrek::cli {
namespace {

using Parsed = std::variant<CommandOptions, UsageError>;

Parsed options(const auto& change) {
    CommandOptions options;
    change(options);
    return options;
}

Parsed mistake(const char* message) { return UsageError{message}; }

TEST(CommandTableTest, ReadsEachCommandsArgumentsOrNamesTheFirstMistake) {
    const struct {
        const char* command;
        std::vector<std::string> arguments;
        Parsed parsed;
    } rows[] = {
        {"nights", {"--log=a.log", "--now", "1709636400", "--json"},
         options([](auto& o) { o.logPath = "a.log", o.now = fromUnixSeconds(1709636400), o.json = true; })},
        // A file name that is no UTF-8 comes through byte for byte, and "-" is a value like any other.
        {"report", {"--reading", "r\xff.json", "--journal", "-", "--now=2024-03-05T12:00:00Z"},
         options([](auto& o) {
             o.readingPath = "r\xff.json", o.journalPath = "-", o.now = test::at("2024-03-05T13:00:00+01:00");
         })},
        {"nights", {"--source", "vitrek", "--tz=UTC"},
         options([](auto& o) { o.source = NightSourceChoice::vitrek, o.zone = "UTC"; })},
        {"card", {"--demo", "--out", "-"}, options([](auto& o) { o.demo = true, o.out = "-"; })},
        {"snapshot", {"--only=dark", "shots"}, options([](auto& o) { o.only = "dark", o.folder = "shots"; })},
        {"selftest", {"--", "-check"}, options([](auto& o) { o.folder = "-check"; })},
        {"--headless", {}, CommandOptions{}},
        // Help wins wherever it stands, over any mistake before it.
        {"selftest", {"/tmp/x", "--help"}, options([](auto& o) { o.help = true; })},
        {"nights", {"--bogus", "-h"}, options([](auto& o) { o.help = true; })},
        {"nights", {"--verbose"}, mistake("nights: unknown option '--verbose'")},
        {"report", {"-x"}, mistake("report: unknown option '-x'")},
        {"report", {"--source", "journal"}, mistake("report: unknown option '--source'")},
        {"--headless", {"--json"}, mistake("--headless: unknown option '--json'")},
        {"nights", {"--log"}, mistake("nights: --log needs a file (or - for standard input)")},
        {"nights", {"--journal="}, mistake("nights: --journal needs a file (or - for standard input)")},
        {"snapshot", {"a", "--only"}, mistake("snapshot: --only needs light or dark")},
        {"report", {"--json=yes"}, mistake("report: --json takes no value")},
        {"nights", {"--log", "a", "--log", "b"}, mistake("nights: --log given twice")},
        {"nights", {"--now", "2024-03-05T12:00:00"},
         mistake("nights: --now '2024-03-05T12:00:00' is neither ISO 8601 with an offset "
                 "(2024-03-05T12:00:00+01:00) nor Unix seconds")},
        {"report", {"--now", "99999999999"},
         mistake("report: --now '99999999999' is not a time in the years 2001 to 2200")},
        {"nights", {"--source", "x"}, mistake("nights: --source 'x' is neither journal nor vitrek")},
        {"snapshot", {"a", "--only", "sepia"}, mistake("snapshot: --only takes light or dark, not 'sepia'")},
        {"report", {"today"}, mistake("report: unexpected argument 'today'")},
        {"selftest", {""}, mistake("selftest: needs DIR (vitrek selftest DIR)")},
        {"snapshot", {"a", "b"}, mistake("snapshot: one DIR only, got 'a' and 'b'")},
        {"nights", {"--log", "a.log", "--journal", "b.json"},
         mistake("nights: --log and --journal name two different logs; give one")},
        {"nights", {"--journal", "-", "--source", "journal"},
         mistake("nights: --source chooses among the system's nights; it does not go with --log or "
                 "--journal")},
        {"card", {"--demo", "--reading", "r.json"},
         mistake("card: --demo draws the demo machine and reads no other input")},
    };
    for (const auto& row : rows) {
        const auto parsed = CommandTable::parse(*CommandTable::find(row.command), row.arguments);
        const auto* error = std::get_if<UsageError>(&parsed);
        EXPECT_EQ(parsed, row.parsed) << row.command << " " << testing::PrintToString(row.arguments)
                                      << (error ? ": " + error->message : "");
    }
}

// The limits the help states are the ones applied.
TEST(CommandTableTest, TheHelpStatesTheLimitsApplied) {
    const std::string help =
        std::regex_replace(CommandTable::help(*CommandTable::find("nights")), std::regex("\\s+"), " ");
    EXPECT_NE(help.find("at most " + mebibytes(kMaxLogBytes) + ", in lines of at most " +
                        mebibytes(kMaxLogLine)),
              std::string::npos);
    EXPECT_NE(help.find("at most " + std::to_string(kMaxDaysAfterLog) + " days after"), std::string::npos);
}

} // namespace
} // namespace vitrek::cli
