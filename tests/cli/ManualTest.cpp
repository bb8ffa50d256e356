#include "cli/CommandLine.h"
#include "cli/ManualCheck.h"

#include <gtest/gtest.h>

#include <algorithm>
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
                           [](Instant, PowerLogParser::SourceChoice) { return PowerLogParser::SystemLog{}; }};
    const int status = run(arguments, context);
    return {status, out.str(), err.str()};
}

// The first word of each line of the usage's command list.
std::vector<std::string> listedCommands(const std::string& usage) {
    std::vector<std::string> commands;
    std::istringstream lines(usage.substr(usage.find("Commands:\n") + 10));
    std::string line;
    while (std::getline(lines, line) && line.starts_with("  ")) {
        commands.push_back(line.substr(2, line.find(' ', 2) - 2));
    }
    return commands;
}

// The word after `.B vitrek` on each line of the manual's synopsis, hyphens unescaped.
std::vector<std::string> synopsisForms(const std::string& manual) {
    const auto start = manual.find(".SH SYNOPSIS\n");
    std::istringstream lines(manual.substr(start, manual.find("\n.SH ", start + 1) - start));
    std::vector<std::string> forms;
    std::string line;
    while (std::getline(lines, line)) {
        if (line.starts_with(".B vitrek ")) {
            std::string form;
            for (std::size_t i = 10; i < line.size() && line[i] != ' '; ++i) {
                if (line.compare(i, 2, "\\-") == 0) {
                    ++i;
                }
                form += line[i];
            }
            forms.push_back(form);
        }
    }
    return forms;
}

TEST(ManualTest, DocumentsEveryCommandAndOptionTheHelpNames) {
    const std::string manual = test::manualText();
    ASSERT_FALSE(manual.empty()) << VITREK_MANUAL;
    const Output usage = vitrek({"--help"});
    ASSERT_EQ(usage.status, 0);
    const auto commands = listedCommands(usage.out);
    ASSERT_GE(commands.size(), 7u) << usage.out;

    for (const auto& option : test::longOptions(usage.out)) {
        EXPECT_NE(manual.find(test::roff(option)), std::string::npos) << option;
    }
    for (const auto& command : commands) {
        EXPECT_FALSE(test::manualSection(manual, command).empty()) << command;
    }
    // card, selftest and snapshot answer from the drawing library, whose tests check them.
    for (const std::string command : {"report", "nights"}) {
        const Output help = vitrek({command, "--help"});
        ASSERT_EQ(help.status, 0) << command;
        EXPECT_FALSE(test::longOptions(help.out).empty()) << command;
        test::expectDocumented(manual, command, help.out);
    }

    const auto forms = synopsisForms(manual);
    for (const auto& form : forms) {
        const bool listed = std::find(commands.begin(), commands.end(), form) != commands.end();
        EXPECT_TRUE(listed || (form.starts_with("--") && usage.out.find(form) != std::string::npos))
            << "the synopsis shows vitrek " << form << ", which the usage does not name";
    }
    for (const auto& command : commands) {
        EXPECT_NE(std::find(forms.begin(), forms.end(), command), forms.end())
            << "the synopsis lacks vitrek " << command;
    }
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
