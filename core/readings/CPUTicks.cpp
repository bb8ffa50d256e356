#include "readings/CPUTicks.h"

#include <algorithm>

namespace vitrek {

double CPUTicks::load(const CPUTicks& from, const CPUTicks& to) {
    if (to.total <= from.total || to.busy < from.busy) {
        return 0;
    }
    const auto busy = static_cast<double>(to.busy - from.busy);
    const auto total = static_cast<double>(to.total - from.total);
    return std::min(busy / total, 1.0);
}

} // namespace vitrek
