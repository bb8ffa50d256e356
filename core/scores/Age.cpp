#include "scores/Age.h"

#include "history/History.h"
#include "scores/Rounding.h"
#include "scores/VFmt.h"
#include "text/Ascii.h"
#include "time/Calendar.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <span>
#include <system_error>

namespace vitrek::Age {

namespace {

constexpr double kSecondsPerYear = 31'557'600; // 365.25 days
constexpr double kRestartAfter = 1'814'400;    // 21 days
constexpr std::size_t kRecentDays = 14;
constexpr std::size_t kMinimumDays = 5;
constexpr double kNegligibleYears = 0.05;

bool isWordCharacter(char c) {
    return Ascii::isDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}

std::string wholePercent(double fraction) { return std::to_string(roundHalfAway(fraction * 100)); }

std::optional<AgeFactor> batteryHealth(const BatteryInfo& battery, double real) {
    if (!battery.health) {
        return std::nullopt;
    }
    const double health = *battery.health;
    // Capacity usually fades 2 % a year and 2 % per 100 cycles, but is never expected below 60 %.
    const double cycleWear = battery.cycles ? 0.0002 * *battery.cycles : 0.0;
    const double expected = std::max(1.0 - 0.02 * real - cycleWear, 0.6);
    const double years = std::clamp((expected - health) * 10, -0.6, 1.0);
    if (std::fabs(years) < kNegligibleYears) {
        return std::nullopt;
    }
    return AgeFactor{"Battery health",
                     wholePercent(health) + "%, " + (years < 0 ? "better" : "worse") +
                         " than usual for its age and use",
                     years};
}

std::optional<AgeFactor> chargeCycles(const BatteryInfo& battery, double real) {
    if (!battery.cycles || real < 0.25) {
        return std::nullopt;
    }
    const double perYear = *battery.cycles / real;
    const double years = std::clamp((perYear - 300) / 300 * 0.5, -0.5, 1.0);
    if (std::fabs(years) < kNegligibleYears) {
        return std::nullopt;
    }
    return AgeFactor{"Charge cycles", std::to_string(roundHalfAway(perYear)) + " a year", years};
}

std::optional<AgeFactor> freeStorage(const Reading& reading) {
    const double share = reading.freeShare();
    double years = 0;
    if (share < 0.05) {
        years = 0.8;
    } else if (share < 0.1) {
        years = 0.4;
    } else if (share > 0.3) {
        years = -0.2;
    } else {
        return std::nullopt;
    }
    return AgeFactor{"Free storage", wholePercent(share) + "% free", years};
}

std::optional<AgeFactor> averageRecovery(std::span<const Day> days) {
    double total = 0;
    for (const auto& day : days) {
        total += day.recovery;
    }
    const double average = total / static_cast<double>(days.size());
    const double years = std::clamp((70 - average) / 30, -0.6, 0.8);
    if (std::fabs(years) < kNegligibleYears) {
        return std::nullopt;
    }
    return AgeFactor{"Average recovery",
                     std::to_string(roundHalfAway(average)) + "% over " + std::to_string(days.size()) + " days",
                     years};
}

std::optional<AgeFactor> dailyStrain(std::span<const Day> days) {
    double total = 0;
    std::size_t count = 0;
    for (const auto& day : days) {
        if (day.strain) {
            total += *day.strain;
            ++count;
        }
    }
    if (count < kMinimumDays) {
        return std::nullopt;
    }
    const double average = total / static_cast<double>(count);
    if (average >= 16) {
        return AgeFactor{"Daily strain", printfText("%.1f on average", average), 0.4};
    }
    if (average <= 6) {
        return AgeFactor{"Daily strain", printfText("%.1f on average", average), -0.2};
    }
    return std::nullopt;
}

std::optional<AgeFactor> restarts(const Reading& reading) {
    const double sinceBoot = secondsBetween(reading.bootedAt, reading.date);
    if (!(sinceBoot > kRestartAfter)) {
        return std::nullopt;
    }
    return AgeFactor{"Restarts", VFmt::uptime(sinceBoot) + " since the last one", 0.2};
}

} // namespace

std::optional<std::pair<Instant, MacAge::Source>> start(std::optional<Instant> bought,
                                                        std::optional<Instant> setUp,
                                                        std::string_view modelName, Instant now,
                                                        const Calendar& calendar) {
    if (bought && *bought < now) {
        return std::pair{*bought, MacAge::Source::bought};
    }
    if (setUp && *setUp < now) {
        return std::pair{*setUp, MacAge::Source::setUp};
    }
    if (const auto year = modelYear(modelName)) {
        if (const auto firstOfJuly = calendar.date(*year, 7, 1); firstOfJuly && *firstOfJuly < now) {
            return std::pair{*firstOfJuly, MacAge::Source::modelYear};
        }
    }
    return std::nullopt;
}

std::optional<Instant> setUpDate(const std::filesystem::path& marker) {
    std::error_code error;
    const auto modified = std::filesystem::last_write_time(marker, error);
    if (error) {
        return std::nullopt;
    }
    const auto system = std::chrono::file_clock::to_sys(modified);
    return std::chrono::time_point_cast<Seconds>(system);
}

std::optional<int> modelYear(std::string_view name) {
    // The first "20" and two digits standing alone as a word, as \b(20[0-9]{2})\b finds it.
    for (std::size_t i = 0; i + 4 <= name.size(); ++i) {
        if (name[i] != '2' || name[i + 1] != '0' || !Ascii::isDigit(name[i + 2]) ||
            !Ascii::isDigit(name[i + 3])) {
            continue;
        }
        const bool startsWord = i == 0 || !isWordCharacter(name[i - 1]);
        const bool endsWord = i + 4 == name.size() || !isWordCharacter(name[i + 4]);
        if (startsWord && endsWord) {
            return 2000 + (name[i + 2] - '0') * 10 + (name[i + 3] - '0');
        }
    }
    return std::nullopt;
}

MacAge estimate(const Reading& reading, Instant since, MacAge::Source source, const History& history,
                Instant now) {
    const double real = std::max(secondsBetween(since, now) / kSecondsPerYear, 0.0);

    std::vector<AgeFactor> factors;
    const auto add = [&](std::optional<AgeFactor> factor) {
        if (factor) {
            factors.push_back(std::move(*factor));
        }
    };
    if (reading.battery) {
        add(batteryHealth(*reading.battery, real));
        add(chargeCycles(*reading.battery, real));
    }
    add(freeStorage(reading));
    const std::span<const Day> all(history.days);
    const auto recent = all.last(std::min(all.size(), kRecentDays));
    if (recent.size() >= kMinimumDays) {
        add(averageRecovery(recent));
        add(dailyStrain(recent));
    }
    add(restarts(reading));

    std::stable_sort(factors.begin(), factors.end(), [](const AgeFactor& a, const AgeFactor& b) {
        return std::fabs(a.years) > std::fabs(b.years);
    });
    return MacAge{real, source, since, std::move(factors)};
}

} // namespace vitrek::Age
