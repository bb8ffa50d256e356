#pragma once

// Whether the manual page and the bash completion document what the commands accept. Shared by the
// terminal commands' tests and the drawing commands' tests, which reach their help through different targets.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace vitrek::test {

inline std::string fileText(const std::filesystem::path& path) {
    std::ifstream file(path);
    std::ostringstream text;
    text << file.rdbuf();
    return std::move(text).str();
}

// The manual page's source, placeholders and all.
inline std::string manualText() { return fileText(VITREK_MANUAL); }

// The bash completion, which sits beside the manual.
inline std::string completionText() {
    return fileText(std::filesystem::path(VITREK_MANUAL).parent_path() / "vitrek.bash-completion");
}

// A name as roff writes it, every hyphen escaped: "--out" is "\-\-out".
inline std::string roff(std::string_view name) {
    std::string text;
    for (const char c : name) {
        text += c == '-' ? std::string("\\-") : std::string(1, c);
    }
    return text;
}

// The words of each match of `pattern` in `text`, which its first group holds, sorted.
inline std::vector<std::string> matchedWords(const std::string& text, const std::regex& pattern) {
    std::vector<std::string> words;
    for (auto it = std::sregex_iterator(text.begin(), text.end(), pattern); it != std::sregex_iterator();
         ++it) {
        std::istringstream line((*it)[1].str());
        for (std::string word; line >> word;) {
            if (word != "|") {
                words.push_back(word);
            }
        }
    }
    std::sort(words.begin(), words.end());
    return words;
}

// The long options a text names, sorted, each once.
inline std::vector<std::string> longOptions(const std::string& text) {
    auto found = matchedWords(text, std::regex("(--[a-z][a-z-]*)"));
    found.erase(std::unique(found.begin(), found.end()), found.end());
    return found;
}

// What the bash completion offers: after `vitrek` (`command` empty), after `vitrek COMMAND` (its line
// `COMMAND) options='…'`), or the options whose value it completes (`command` "$prev", its case patterns).
inline std::vector<std::string> completed(const std::string& completion, const std::string& command) {
    const std::string pattern = command.empty()      ? R"(\(\(cword == 1\)\).*\n.*compgen -W '([^']*)')"
                                : command == "$prev" ? R"(\n +(--[a-z-]+(?: \| --[a-z-]+)*)\)\n)"
                                                     : R"(\n +)" + command + R"(\) options='([^']*)')";
    return matchedWords(completion, std::regex(pattern));
}

// The manual's subsection `.SS "vitrek COMMAND"` up to the next heading; empty when there is none.
inline std::string manualSection(const std::string& manual, std::string_view command) {
    const std::string heading = ".SS \"vitrek " + roff(command) + "\"\n";
    const auto start = manual.find(heading);
    if (start == std::string::npos) {
        return {};
    }
    const auto end = std::min(manual.find("\n.SS ", start + 1), manual.find("\n.SH ", start + 1));
    return manual.substr(start, end == std::string::npos ? std::string::npos : end - start);
}

// Every option the command's help names is described in the command's own subsection; --help, which
// every command takes, once for all of them.
inline void expectDocumented(const std::string& manual, std::string_view command, const std::string& help) {
    const std::string section = manualSection(manual, command);
    ASSERT_FALSE(section.empty()) << "the manual has no subsection for " << command;
    for (const auto& option : longOptions(help)) {
        EXPECT_TRUE(option == "--help" || section.find(roff(option)) != std::string::npos)
            << "the manual's " << command << " does not mention " << option;
    }
}

} // namespace vitrek::test
