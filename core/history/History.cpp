#include "history/History.h"

#include "json/JsonFields.h"
#include "time/Calendar.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <set>

namespace vitrek {

namespace {

// A piece of a day key as a base-10 integer with an optional sign; absent when it is anything else.
std::optional<std::int64_t> keyNumber(std::string_view piece) {
    if (!piece.empty() && piece.front() == '+') {
        piece.remove_prefix(1);
        if (!piece.empty() && piece.front() == '-') {
            return std::nullopt;
        }
    }
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(piece.data(), piece.data() + piece.size(), value);
    if (error != std::errc{} || end != piece.data() + piece.size() || piece.empty()) {
        return std::nullopt;
    }
    return value;
}

} // namespace

std::string History::dayID(Instant date, const Calendar& calendar) {
    const auto local = calendar.local(date).value_or(LocalDateTime{});
    char key[48];
    std::snprintf(key, sizeof key, "%04d-%02d-%02d", local.year, local.month, local.day);
    return key;
}

std::optional<Instant> History::date(std::string_view id, const Calendar& calendar) {
    std::vector<std::int64_t> numbers;
    std::size_t position = 0;
    while (position <= id.size()) {
        const auto hyphen = std::min(id.find('-', position), id.size());
        const auto piece = id.substr(position, hyphen - position);
        if (!piece.empty()) {
            if (const auto number = keyNumber(piece)) {
                numbers.push_back(*number);
            }
        }
        position = hyphen + 1;
    }
    if (numbers.size() != 3) {
        return std::nullopt;
    }
    constexpr auto fitsInt = [](std::int64_t number) {
        return number >= std::numeric_limits<int>::min() && number <= std::numeric_limits<int>::max();
    };
    if (!std::ranges::all_of(numbers, fitsInt)) {
        return std::nullopt;
    }
    return calendar.date(static_cast<int>(numbers[0]), static_cast<int>(numbers[1]),
                         static_cast<int>(numbers[2]));
}

void History::record(Day day, int keep) {
    std::erase_if(days, [&](const Day& existing) { return existing.id == day.id; });
    days.push_back(std::move(day));
    std::stable_sort(days.begin(), days.end(), [](const Day& a, const Day& b) { return a.id < b.id; });
    const auto limit = static_cast<std::size_t>(std::max(keep, 0));
    if (days.size() > limit) {
        days.erase(days.begin(), days.end() - static_cast<std::ptrdiff_t>(limit));
    }
}

int History::streak(Instant today, const Calendar& calendar) const {
    std::set<std::string, std::less<>> recorded;
    for (const auto& day : days) {
        recorded.insert(day.id);
    }
    auto cursor = calendar.startOfDay(today);
    if (!cursor) {
        return 0;
    }
    // A day without a record yet does not break the streak: count from yesterday then.
    if (!recorded.contains(dayID(*cursor, calendar))) {
        cursor = calendar.addingDays(*cursor, -1);
        if (!cursor || !recorded.contains(dayID(*cursor, calendar))) {
            return 0;
        }
    }
    int count = 0;
    while (cursor && recorded.contains(dayID(*cursor, calendar))) {
        ++count;
        cursor = calendar.addingDays(*cursor, -1);
    }
    return count;
}

std::optional<double> History::ageGap(Instant now, const Calendar& calendar) const {
    const auto today = calendar.startOfDay(now);
    if (!today) {
        return std::nullopt;
    }
    std::optional<double> best;
    int bestDistance = 0;
    for (const auto& day : days) {
        if (!day.ageGap) {
            continue;
        }
        const auto start = date(day.id, calendar);
        const auto elapsed = start ? calendar.daysBetween(*start, *today) : std::nullopt;
        if (!elapsed || *elapsed < 6 || *elapsed > 8) {
            continue;
        }
        const int distance = std::abs(*elapsed - 7);
        if (!best || distance < bestDistance) {
            best = day.ageGap;
            bestDistance = distance;
        }
    }
    return best;
}

Json toJson(const History& history) {
    auto days = Json::array();
    for (const auto& day : history.days) {
        days.push_back(toJson(day));
    }
    Json json;
    json["days"] = std::move(days);
    return json;
}

template <>
std::optional<History> fromJson<History>(const Json& object) {
    return json::guarded([&] {
        const auto& list = json::member(object, "days");
        if (!list.is_array()) {
            throw json::DecodeError("days is not a list");
        }
        History history;
        history.days.reserve(list.size());
        for (const auto& element : list) {
            auto day = fromJson<Day>(element);
            if (!day) {
                throw json::DecodeError("malformed day");
            }
            history.days.push_back(std::move(*day));
        }
        return history;
    });
}

} // namespace vitrek
