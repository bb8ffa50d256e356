// vitrek-powerlog-gen: writes a generated power log for benchmarks and manual runs of `vitrek nights`.

#include "PowerLogGenerator.h"

#include <charconv>
#include <cstdio>
#include <iostream>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

namespace {

constexpr std::string_view kUsage =
    "usage: vitrek-powerlog-gen (--megabytes N | --days N) [--seed N] [--out FILE]\n"
    "Writes a generated power log (N decimal megabytes, or N days and nights) to FILE or standard output,\n"
    "then prints its first and last day and a --now for `vitrek nights` to standard error.\n";

int usageError(std::string_view message) {
    std::cerr << "vitrek-powerlog-gen: " << message << '\n';
    return 2;
}

template <class Number> std::optional<Number> number(std::string_view text) {
    Number value{};
    const auto* end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, value);
    if (result.ec != std::errc{} || result.ptr != end || value < 0) {
        return std::nullopt;
    }
    return value;
}

bool write(const std::string& text, const std::string& path) {
    if (path == "-") {
        return std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0;
    }
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) {
        return false;
    }
    const bool written = std::fwrite(text.data(), 1, text.size(), file) == text.size();
    return std::fclose(file) == 0 && written;
}

} // namespace

int main(int argc, char** argv) {
    vitrek::PowerLogShape shape;
    std::string out = "-";
    bool sized = false;
    for (int i = 1; i < argc; ++i) {
        const std::string_view option = argv[i];
        if (option == "--help" || option == "-h") {
            std::cout << kUsage;
            return 0;
        }
        if (i + 1 >= argc) {
            return usageError(std::string{option} + " needs a value (see --help)");
        }
        const std::string_view value = argv[++i];
        if (option == "--megabytes") {
            const auto megabytes = number<double>(value);
            if (!megabytes || *megabytes <= 0 || *megabytes > 100'000) {
                return usageError("--megabytes wants a positive number, not " + std::string{value});
            }
            shape.targetBytes = static_cast<std::size_t>(*megabytes * 1e6);
            sized = true;
        } else if (option == "--days") {
            const auto days = number<int>(value);
            if (!days || *days < 1) {
                return usageError("--days wants a whole number of at least 1, not " + std::string{value});
            }
            shape.days = *days;
            sized = true;
        } else if (option == "--seed") {
            const auto seed = number<std::uint64_t>(value);
            if (!seed) {
                return usageError("--seed wants a whole number, not " + std::string{value});
            }
            shape.seed = *seed;
        } else if (option == "--out") {
            out = value;
        } else {
            return usageError("unknown option " + std::string{option} + " (see --help)");
        }
    }
    if (!sized) {
        return usageError("give --megabytes or --days (see --help)");
    }

    const auto log = vitrek::PowerLogGenerator::generate(shape);
    if (!write(log.text, out)) {
        return usageError("cannot write " + out);
    }
    std::cerr << "vitrek-powerlog-gen: wrote " << log.text.size() << " bytes, " << log.days << " nights\n"
              << "first " << log.firstDate << '\n'
              << "last " << log.lastDate << '\n'
              << "suggested --now " << log.suggestedNow << '\n';
    return 0;
}
