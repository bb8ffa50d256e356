#include "readings/CPUTicks.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace vitrek {

double CPUTicks::load(const CPUTicks& from, const CPUTicks& to) {
    if (to.total <= from.total || to.busy < from.busy) {
        return 0;
    }
    const auto busy = static_cast<double>(to.busy - from.busy);
    const auto total = static_cast<double>(to.total - from.total);
    return std::min(busy / total, 1.0);
}

std::optional<CPUTicks> CPUTicks::fromProcStat(std::string_view text) {
    // The summed line is "cpu" and blanks, then user nice system idle iowait irq softirq steal guest
    // guest_nice. Kernels before 2.6 stop after idle and later ones added a column at a time, so columns
    // that are missing count as 0. Guest time is already inside user and nice and is not added again.
    std::string_view line;
    while (!text.empty()) {
        const auto end = text.find('\n');
        line = text.substr(0, end);
        if (line.starts_with("cpu ")) {
            break;
        }
        line = {};
        text = end == std::string_view::npos ? std::string_view{} : text.substr(end + 1);
    }
    if (line.empty()) {
        return std::nullopt;
    }
    enum { user, nice, system, idle, iowait, irq, softirq, steal, kColumns };
    std::array<std::uint64_t, kColumns> columns{};
    int count = 0;
    const char* position = line.data() + 3;
    const char* const end = line.data() + line.size();
    while (count < kColumns) {
        while (position < end && (*position == ' ' || *position == '\t')) {
            ++position;
        }
        if (position == end) {
            break;
        }
        const auto [next, error] = std::from_chars(position, end, columns[static_cast<std::size_t>(count)]);
        if (error != std::errc{}) {
            return std::nullopt;
        }
        position = next;
        ++count;
    }
    if (count <= idle) {
        return std::nullopt;
    }
    const std::uint64_t busy =
        columns[user] + columns[nice] + columns[system] + columns[irq] + columns[softirq] + columns[steal];
    return CPUTicks{busy, busy + columns[idle] + columns[iowait]};
}

} // namespace vitrek
