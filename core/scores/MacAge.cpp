#include "scores/MacAge.h"

#include <algorithm>

namespace vitrek {

double MacAge::vitrekYears() const {
    double adjustment = 0;
    for (const auto& factor : factors) {
        adjustment += factor.years;
    }
    return std::max(realYears + adjustment, 0.1);
}

double MacAge::difference() const { return vitrekYears() - realYears; }

double MacAge::pace() const { return realYears > 0.05 ? vitrekYears() / realYears : 1.0; }

std::string_view rawValue(MacAge::Source source) {
    switch (source) {
    case MacAge::Source::bought: return "bought";
    case MacAge::Source::setUp: return "setUp";
    case MacAge::Source::modelYear: return "modelYear";
    }
    return "bought";
}

} // namespace vitrek
