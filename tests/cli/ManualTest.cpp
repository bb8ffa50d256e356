#include "cli/CommandTable.h"
#include "cli/RunCommand.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>

namespace vitrek::cli {
namespace {

using Names = std::set<std::string>;

std::string fileText(const std::filesystem::path& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return std::move(text).str();
}

// The words of each match of `pattern` in `text`, which its first group holds.
Names matchedWords(const std::string& text, const std::regex& pattern) {
    Names words;
    for (auto it = std::sregex_iterator(text.begin(), text.end(), pattern); it != std::sregex_iterator();
         ++it) {
        std::istringstream line((*it)[1].str());
        for (std::string word; line >> word;) {
            if (word != "|") {
                words.insert(word);
            }
        }
    }
    return words;
}

Names longOptions(const std::string& text) { return matchedWords(text, std::regex("(--[a-z][a-z-]*)")); }

// What the bash completion offers: after `vitrek` (`command` empty), after `vitrek COMMAND` (its line
// `COMMAND) options='…'`), or the options whose value it completes (`command` "$prev", its case patterns).
Names completed(const std::string& completion, const std::string& command) {
    const std::string pattern = command.empty()      ? R"(\(\(cword == 1\)\).*\n.*compgen -W '([^']*)')"
                                : command == "$prev" ? R"(\n +(--[a-z-]+(?: \| --[a-z-]+)*)\)\n)"
                                                     : R"(\n +)" + command + R"(\) options='([^']*)')";
    return matchedWords(completion, std::regex(pattern));
}

// The manual's subsection `.SS "vitrek COMMAND"` up to the next heading; empty when there is none.
std::string manualSection(const std::string& manual, const std::string& command) {
    const auto start = manual.find(".SS \"vitrek " + command + "\"\n");
    if (start == std::string::npos) {
        return {};
    }
    const auto end = std::min(manual.find("\n.SS ", start + 1), manual.find("\n.SH ", start + 1));
    return manual.substr(start, end == std::string::npos ? std::string::npos : end - start);
}

// Every command's table is what its help, its usage line, its section of the manual and the completion
// name: no option missing anywhere, none named that the table lacks.
TEST(ManualTest, TheHelpManualAndCompletionNameWhatEachCommandAccepts) {
    // roff escapes every hyphen: "--out" is "\-\-out".
    const std::string manual = std::regex_replace(fileText(VITREK_MANUAL), std::regex(R"(\\-)"), "-");
    const std::string completion =
        fileText(std::filesystem::path(VITREK_MANUAL).parent_path() / "vitrek.bash-completion");
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
        EXPECT_EQ(longOptions(command.usage), options) << name << ": " << command.usage;
        const std::string section = manualSection(manual, name);
        ASSERT_FALSE(section.empty()) << "the manual has no subsection for " << name;
        auto documented = longOptions(section);
        documented.erase(name);
        EXPECT_EQ(documented, options) << "the manual's " << name;

        options.insert("--help");
        // --help anywhere, even after an argument the command does not take, answers with the help.
        const Output help = runCommand({name, "x", "--help"});
        ASSERT_EQ(help.status, 0) << name << help.err;
        EXPECT_TRUE(help.out.starts_with("usage: vitrek " + name)) << help.out;
        EXPECT_EQ(longOptions(help.out.substr(help.out.find('\n'))), options) << help.out;
        EXPECT_EQ(completed(completion, name), options) << "the completion of " << name;
    }
    EXPECT_EQ(completed(completion, ""), names);
    EXPECT_EQ(completed(completion, "$prev"), valueOptions);
    const std::string synopsis = manual.substr(0, manual.find(".SH DESCRIPTION"));
    EXPECT_EQ(matchedWords(synopsis, std::regex(R"(\n\.B vitrek (\S+))")), names) << synopsis;
}

TEST(CommandLineTest, VersionPrintsTheNameAndVersionAlone) {
    EXPECT_EQ(runCommand({"--version"}), (Output{0, "vitrek " VITREK_VERSION "\n", ""}));
    EXPECT_EQ(runCommand({"--version", "--json"}),
              (Output{kUsageError, "", "vitrek: --version takes no options\n"}));
}

} // namespace
} // namespace vitrek::cli
