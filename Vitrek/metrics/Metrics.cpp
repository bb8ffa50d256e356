#include "metrics/Metrics.h"

#include "Store.h"
#include "scores/Factor.h"
#include "scores/Grade.h"
#include "scores/Recovery.h"
#include "time/Calendar.h"
#include "time/Instant.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <utility>
#include <vector>

namespace vitrek {

namespace {

// The years the age figures are told in, as the age estimate counts them.
constexpr double kSecondsPerYear = 31'557'600;

// A sample value as the format reads it: the shortest text that reads back as the same double.
std::string number(double value) {
    if (std::isnan(value)) {
        return "NaN";
    }
    if (std::isinf(value)) {
        return value > 0 ? "+Inf" : "-Inf";
    }
    std::array<char, 32> text{};
    const auto end = std::to_chars(text.data(), text.data() + text.size(), value).ptr;
    return std::string(text.data(), end);
}

// A label value: backslash, double quote and line feed escaped.
std::string quoted(std::string_view value) {
    std::string text = "\"";
    for (const char c : value) {
        if (c == '\\' || c == '"') {
            text += '\\';
            text += c;
        } else if (c == '\n') {
            text += "\\n";
        } else {
            text += c;
        }
    }
    return text + '"';
}

using Labels = std::vector<std::pair<std::string_view, std::string_view>>;

class Exposition {
public:
    explicit Exposition(std::string_view user) : m_user(user) {}

    // A family of one gauge sample; nothing at all when `value` is absent.
    void gauge(std::string_view name, std::string_view help, std::optional<double> value) {
        if (value) {
            family(name, help);
            sample(name, {}, *value);
        }
    }
    void family(std::string_view name, std::string_view help) {
        m_text.append("# HELP ").append(name).append(" ").append(help).append("\n");
        m_text.append("# TYPE ").append(name).append(" gauge\n");
    }
    void sample(std::string_view name, const Labels& labels, double value) {
        m_text.append(name).append("{user=").append(quoted(m_user));
        for (const auto& [label, text] : labels) {
            m_text.append(",").append(label).append("=").append(quoted(text));
        }
        m_text.append("} ").append(number(value)).append("\n");
    }
    std::string text() && { return std::move(m_text); }

private:
    std::string_view m_user;
    std::string m_text;
};

} // namespace

std::string metricsUser() {
    if (const char* user = std::getenv("USER"); user && *user) {
        return user;
    }
    if (const passwd* account = ::getpwuid(::getuid()); account && account->pw_name && *account->pw_name) {
        return account->pw_name;
    }
    return std::to_string(::getuid());
}

std::string metricsText(const Store& store, const MetricsLabels& labels) {
    Exposition out(labels.user);
    const auto& reading = store.reading();
    out.family("vitrek_info", "The Vitrek version and the computer model that took the check-up.");
    out.sample("vitrek_info", {{"version", labels.version}, {"model", reading ? reading->model : ""}}, 1);
    if (reading) {
        out.gauge("vitrek_last_checkup_timestamp_seconds", "When the last check-up was taken, as Unix time.",
                  unixSeconds(reading->date));
    }
    out.gauge("vitrek_recovery_percent", "Recovery: how ready the computer is today, 0 to 100.",
              store.recovery());
    if (!store.factors().empty()) {
        out.family("vitrek_recovery_factor_ratio", "The score of each recovery factor, 0 (worst) to 1 (best).");
        for (const auto& factor : store.factors()) {
            out.sample("vitrek_recovery_factor_ratio", {{"kind", rawValue(factor.kind)}}, factor.score);
        }
    }
    out.gauge("vitrek_strain", "Strain: today's load on the computer, 0 to 21.", store.strain());
    const auto& night = store.night();
    out.gauge("vitrek_rest_score", "Rest: how well the computer slept last night, 0 to 100.",
              night ? std::optional<double>(night->score()) : std::nullopt);
    out.gauge("vitrek_last_night_wakes", "How many times the computer woke up last night.",
              night ? std::optional<double>(night->wakeCount()) : std::nullopt);
    out.gauge("vitrek_high_stress_seconds", "Time under high processor load today.", store.heavy());
    if (const auto& age = store.age()) {
        out.gauge("vitrek_age_seconds", "The computer's estimated age, from its real age and how it is treated.",
                  age->vitrekYears() * kSecondsPerYear);
        out.gauge("vitrek_real_age_seconds", "The computer's real age.", age->realYears * kSecondsPerYear);
        out.gauge("vitrek_age_pace", "How many times faster than the calendar the computer ages.", age->pace());
    }
    out.gauge("vitrek_streak", "Days in a row with a check-up, ending today (or yesterday before today's first).",
              store.streak());
    if (reading) {
        // The runs of poor days alert operators without PromQL having to piece nights together from scrapes
        // of a machine that was off for some of them.
        const auto calendar = store.environment().calendar ? store.environment().calendar() : Calendar::current();
        out.gauge("vitrek_poor_rest_streak",
                  "Days in a row, ending today, whose night's rest was poor (a rest factor below 0.55).",
                  store.history().run(reading->date, calendar, [](const Day& day) {
                      return day.rest && gradeOf(*day.rest / 100.0) == Grade::poor;
                  }));
        out.gauge("vitrek_poor_recovery_streak", "Days in a row, ending today, whose recovery was poor (33 or below).",
                  store.history().run(reading->date, calendar, [](const Day& day) {
                      return Recovery::band(day.recovery) == Grade::poor;
                  }));
    }
    if (reading && reading->battery) {
        out.gauge("vitrek_battery_health_ratio", "Battery full-charge capacity over its design capacity.",
                  reading->battery->health);
        out.gauge("vitrek_battery_cycle_count", "Battery charge cycles, as the battery reports them.",
                  reading->battery->cycles ? std::optional<double>(*reading->battery->cycles) : std::nullopt);
    }
    int measured = 0;
    int within = 0;
    for (const auto& vital : store.vitals()) {
        measured += vital.measured() ? 1 : 0;
        within += vital.within() ? 1 : 0;
    }
    if (!store.vitals().empty()) {
        out.gauge("vitrek_vitals_in_range", "Vitals within their healthy range.", within);
        out.gauge("vitrek_vitals_measured", "Vitals measured on this computer, the total the in-range count is of.",
                  measured);
    }
    return std::move(out).text();
}

std::filesystem::path metricsFile(const std::filesystem::path& folder, std::string_view user) {
    std::string name = "vitrek-";
    for (const char c : user) {
        const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                           c == '-' || c == '_' || c == '.';
        name += plain ? c : '_';
    }
    return folder / (name + ".prom");
}

std::optional<std::string> writeMetricsFile(const std::filesystem::path& file, std::string_view text) {
    const auto problem = [&](int error) {
        return "can’t write metrics to " + file.parent_path().string() + ": " + std::strerror(error);
    };
    // The collector reads only names ending in ".prom", so it never reads the temporary file.
    std::string temporary = (file.parent_path() / ("." + file.filename().string() + ".XXXXXX")).string();
    const int fd = ::mkostemp(temporary.data(), O_CLOEXEC);
    if (fd < 0) {
        return problem(errno);
    }
    int error = ::fchmod(fd, 0644) == 0 ? 0 : errno;
    for (std::size_t done = 0; error == 0 && done < text.size();) {
        const ssize_t written = ::write(fd, text.data() + done, text.size() - done);
        if (written >= 0) {
            done += static_cast<std::size_t>(written);
        } else if (errno != EINTR) {
            error = errno;
        }
    }
    if (::close(fd) != 0 && error == 0) {
        error = errno;
    }
    if (error == 0 && ::rename(temporary.c_str(), file.c_str()) != 0) {
        error = errno;
    }
    if (error != 0) {
        ::unlink(temporary.c_str());
        return problem(error);
    }
    return std::nullopt;
}

} // namespace vitrek
