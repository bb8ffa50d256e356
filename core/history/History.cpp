#include "history/History.h"

#include "json/JsonFields.h"
#include "time/Calendar.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <map>
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
    return run(today, calendar, [](const Day&) { return true; });
}

int History::run(Instant today, const Calendar& calendar, const std::function<bool(const Day&)>& holds) const {
    // The record of a day, asked for newest first. The days are kept in order, so one backward pass finds
    // them all without indexing 400 keys at every check-up; any other order is indexed, the last record of a
    // day winning as it does when saved.
    const auto byID = [](const Day& a, const Day& b) { return a.id < b.id; };
    const bool ordered = std::is_sorted(days.begin(), days.end(), byID);
    std::map<std::string_view, const Day*> index;
    if (!ordered) {
        for (const auto& day : days) {
            index[day.id] = &day;
        }
    }
    auto next = days.rbegin();
    const auto recordOf = [&](std::optional<Instant> date) -> const Day* {
        if (!date) {
            return nullptr;
        }
        const auto id = dayID(*date, calendar);
        if (!ordered) {
            const auto found = index.find(id);
            return found == index.end() ? nullptr : found->second;
        }
        while (next != days.rend() && next->id > id) {
            ++next;
        }
        return next != days.rend() && next->id == id ? &*next : nullptr;
    };
    auto cursor = calendar.startOfDay(today);
    if (!cursor) {
        return 0;
    }
    const Day* day = recordOf(cursor);
    // A day without a record yet does not break the run: count from yesterday then.
    if (!day) {
        cursor = calendar.addingDays(*cursor, -1);
        day = recordOf(cursor);
    }
    int count = 0;
    while (day && holds(*day)) {
        ++count;
        cursor = calendar.addingDays(*cursor, -1);
        day = cursor ? recordOf(cursor) : nullptr;
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

bool History::isDayKey(std::string_view id) {
    if (id.size() != 10 || id[4] != '-' || id[7] != '-') {
        return false;
    }
    int year = 0;
    unsigned month = 0;
    unsigned day = 0;
    const auto number = [&](std::size_t at, std::size_t length, auto& value) {
        const auto [end, error] = std::from_chars(id.data() + at, id.data() + at + length, value);
        return error == std::errc{} && end == id.data() + at + length;
    };
    if (!number(0, 4, year) || !number(5, 2, month) || !number(8, 2, day)) {
        return false;
    }
    static constexpr unsigned kDays[] = {31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    return month >= 1 && month <= 12 && day >= 1 && day <= (month == 2 && !leap ? 28 : kDays[month - 1]);
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

std::optional<HistoryRead> readHistory(const Json& object, std::string_view latest) {
    const auto* list = object.is_object() && object.contains("days") ? &object["days"] : nullptr;
    if (list == nullptr || !list->is_array()) {
        return std::nullopt;
    }
    HistoryRead read;
    read.history.days.reserve(list->size());
    for (const auto& element : *list) {
        auto day = fromJson<Day>(element);
        // Keys compare as text: both are zero-padded "YYYY-MM-DD".
        if (!day || !History::isDayKey(day->id) || day->id > latest) {
            ++read.dropped;
            continue;
        }
        read.history.days.push_back(std::move(*day));
    }
    auto& days = read.history.days;
    std::stable_sort(days.begin(), days.end(), [](const Day& a, const Day& b) { return a.id < b.id; });
    // Of a repeated id the later entry wins, as `record` would have replaced the earlier one.
    const auto repeated = std::unique(days.rbegin(), days.rend(),
                                      [](const Day& a, const Day& b) { return a.id == b.id; });
    const auto kept = static_cast<std::size_t>(std::distance(days.rbegin(), repeated));
    read.dropped += static_cast<int>(days.size() - kept);
    days.erase(days.begin(), days.begin() + static_cast<std::ptrdiff_t>(days.size() - kept));
    return read;
}

} // namespace vitrek
