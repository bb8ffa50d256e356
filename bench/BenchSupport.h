#pragma once

#include <cstdlib>
#include <string>
#include <string_view>

// The value after `name` among a bench program's arguments, or `fallback`.
inline std::string option(int argc, char** argv, std::string_view name, std::string fallback = {}) {
    for (int i = 1; i + 1 < argc; ++i) {
        if (argv[i] == name) {
            return argv[i + 1];
        }
    }
    return fallback;
}

inline double option(int argc, char** argv, std::string_view name, double fallback) {
    const std::string value = option(argc, argv, name);
    return value.empty() ? fallback : std::strtod(value.c_str(), nullptr);
}
