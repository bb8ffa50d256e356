#include "cli/CommandLine.h"
#include "cli/CommandTable.h"
#include "cli/ManualCheck.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <regex>
#include <set>
#include <sstream>

namespace vitrek::cli {
namespace {

struct Output {
    int status = 0;
    std::string out;
    std::string err;
};

Output vitrek(const std::vector<std::string>& arguments) {
    std::istringstream in;
    std::ostringstream out;
    std::ostringstream err;
    CommandContext context{in, out, err, [] { return Instant{}; },
                           [](Instant, NightSourceChoice) { return NightLog{}; }};
    const int status = run(arguments, context);
    return {status, out.str(), err.str()};
}

using Names = std::set<std::string>;

Names asSet(const std::vector<std::string>& words) { return {words.begin(), words.end()}; }

std::string unroff(const std::string& text) { return std::regex_replace(text, std::regex(R"(\\-)"), "-"); }

// Every command's table is what its help, its usage line, its section of the manual and the completion
// name: no option missing anywhere, none named that the table lacks.
TEST(ManualTest, TheHelpManualAndCompletionNameWhatEachCommandAccepts) {
    const std::string manual = test::manualText();
    const std::string completion = test::completionText();
    ASSERT_FALSE(manual.empty() || completion.empty()) << VITREK_MANUAL;
    Names names{"--help", "--version"};
    Names valueOptions;
    for (const auto& command : CommandTable::commands()) {
        const std::string name = command.name;
        names.insert(name);
        Names options;
        for (const auto& option : command.options) {
            options.insert(std::string("--") + option.name);
            if (option.value) {
                valueOptions.insert(std::string("--") + option.name);
            }
        }
        EXPECT_EQ(asSet(test::longOptions(command.usage)), options) << name << ": " << command.usage;
        const std::string section = unroff(test::manualSection(manual, name));
        ASSERT_FALSE(section.empty()) << "the manual has no subsection for " << name;
        auto documented = asSet(test::longOptions(section));
        documented.erase(name);
        EXPECT_EQ(documented, options) << "the manual's " << name;

        options.insert("--help");
        // --help anywhere, even after an argument the command does not take, answers with the help.
        const Output help = vitrek({name, "x", "--help"});
        ASSERT_EQ(help.status, 0) << name << help.err;
        EXPECT_TRUE(help.out.starts_with("usage: vitrek " + name)) << help.out;
        EXPECT_EQ(asSet(test::longOptions(help.out.substr(help.out.find('\n')))), options) << help.out;
        EXPECT_EQ(asSet(test::completed(completion, name)), options) << "the completion of " << name;
    }
    EXPECT_EQ(asSet(test::completed(completion, "")), names);
    EXPECT_EQ(asSet(test::completed(completion, "$prev")), valueOptions);
    const std::string synopsis = unroff(manual.substr(0, manual.find(".SH DESCRIPTION")));
    EXPECT_EQ(asSet(test::matchedWords(synopsis, std::regex(R"(\n\.B vitrek (\S+))"))), names) << synopsis;
}

TEST(CommandLineTest, VersionPrintsTheNameAndVersionAlone) {
    const Output version = vitrek({"--version"});
    EXPECT_EQ(version.status, 0);
    EXPECT_EQ(version.out, std::string("vitrek ") + VITREK_VERSION + "\n");
    EXPECT_EQ(version.err, "");

    const Output extra = vitrek({"--version", "--json"});
    EXPECT_EQ(extra.status, kUsageError);
    EXPECT_EQ(extra.out, "");
    EXPECT_EQ(extra.err, "vitrek: --version takes no options\n");
}

} // namespace
} // namespace vitrek::cli
