#pragma once

// Whether the manual page documents what the help texts name. Shared by the terminal commands' tests and
// the drawing commands' tests, which reach their help through different targets.

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace vitrek::test {

// The manual page's source, placeholders and all.
inline std::string manualText() {
    std::ifstream file(VITREK_MANUAL);
    std::ostringstream text;
    text << file.rdbuf();
    return std::move(text).str();
}

// A name as roff writes it, every hyphen escaped: "--out" is "\-\-out".
inline std::string roff(std::string_view name) {
    std::string text;
    for (const char c : name) {
        text += c == '-' ? std::string("\\-") : std::string(1, c);
    }
    return text;
}

// The long options a help text names, each once.
inline std::vector<std::string> longOptions(const std::string& help) {
    static const std::regex option("--[a-z][a-z-]*");
    std::vector<std::string> found;
    for (auto it = std::sregex_iterator(help.begin(), help.end(), option); it != std::sregex_iterator();
         ++it) {
        if (std::find(found.begin(), found.end(), it->str()) == found.end()) {
            found.push_back(it->str());
        }
    }
    return found;
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

// Every option the command's help names is described in the command's own subsection.
inline void expectDocumented(const std::string& manual, std::string_view command, const std::string& help) {
    const std::string section = manualSection(manual, command);
    ASSERT_FALSE(section.empty()) << "the manual has no subsection for " << command;
    for (const auto& option : longOptions(help)) {
        EXPECT_NE(section.find(roff(option)), std::string::npos)
            << "the manual's " << command << " does not mention " << option;
    }
}

} // namespace vitrek::test
