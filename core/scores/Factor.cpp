#include "scores/Factor.h"

namespace vitrek {

Grade gradeOf(double fraction) {
    if (fraction >= kGoodFraction) {
        return Grade::good;
    }
    if (fraction >= kFairFraction) {
        return Grade::fair;
    }
    return Grade::poor;
}

std::string_view rawValue(Grade grade) {
    switch (grade) {
    case Grade::good: return "good";
    case Grade::fair: return "fair";
    case Grade::poor: return "poor";
    }
    return "poor";
}

std::string_view rawValue(Factor::Kind kind) {
    switch (kind) {
    case Factor::Kind::battery: return "battery";
    case Factor::Kind::storage: return "storage";
    case Factor::Kind::memory: return "memory";
    case Factor::Kind::heat: return "heat";
    case Factor::Kind::uptime: return "uptime";
    case Factor::Kind::rest: return "rest";
    }
    return "battery";
}

std::string_view Factor::id() const { return rawValue(kind); }

} // namespace vitrek
