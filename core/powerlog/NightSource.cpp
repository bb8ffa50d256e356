#include "powerlog/NightSource.h"

#include <algorithm>

namespace vitrek {

std::optional<NightSourceChoice> nightSourceChoice(std::string_view name) {
    if (name == "journal") {
        return NightSourceChoice::journal;
    }
    if (name == "vitrek") {
        return NightSourceChoice::vitrek;
    }
    return std::nullopt;
}

std::string_view rawValue(NightSourceKind kind) {
    switch (kind) {
    case NightSourceKind::none:
        return "none";
    case NightSourceKind::journal:
        return "journal";
    case NightSourceKind::vitrek:
        return "vitrek";
    case NightSourceKind::both:
        return "journal+vitrek";
    }
    return "none";
}

namespace NightSource {

namespace {

bool recording(std::span<const RecordedSpan> spans, Instant date) {
    return std::any_of(spans.begin(), spans.end(),
                       [&](const RecordedSpan& span) { return span.from <= date && date <= span.to; });
}

template <typename T, typename Date>
void mergeList(std::vector<T>& out, const std::vector<T>& journal, const std::vector<T>& own,
               std::span<const RecordedSpan> spans, Date date) {
    out.clear();
    for (const auto& item : journal) {
        if (!recording(spans, date(item))) {
            out.push_back(item);
        }
    }
    for (const auto& item : own) {
        if (recording(spans, date(item))) {
            out.push_back(item);
        }
    }
    std::stable_sort(out.begin(), out.end(), [&](const T& a, const T& b) { return date(a) < date(b); });
}

} // namespace

NightLog merge(std::optional<PowerLog> journal, std::optional<RecordedPowerLog::Recorded> recorded) {
    NightLog night;
    const bool own = recorded && !recorded->coverage.empty();
    if (journal && !own) {
        night.log = std::move(*journal);
        night.source = NightSourceKind::journal;
        night.journalFrom = night.log.firstDate;
        return night;
    }
    if (!journal) {
        if (recorded) {
            night.log = std::move(recorded->log);
            night.recorded = std::move(recorded->coverage);
            night.source = NightSourceKind::vitrek;
        }
        return night;
    }
    const std::span<const RecordedSpan> spans = recorded->coverage;
    PowerLog& log = night.log;
    mergeList(log.events, journal->events, recorded->log.events, spans, [](const PowerEvent& e) { return e.date; });
    mergeList(log.display, journal->display, recorded->log.display, spans,
              [](const DisplayChange& d) { return d.date; });
    mergeList(log.releases, journal->releases, recorded->log.releases, spans,
              [](const AssertionRelease& r) { return r.end; });
    log.requests = std::move(journal->requests);
    log.skippedLines = journal->skippedLines;
    log.firstDate = journal->firstDate;
    if (recorded->log.firstDate && (!log.firstDate || *recorded->log.firstDate < *log.firstDate)) {
        log.firstDate = recorded->log.firstDate;
    }
    night.journalFrom = journal->firstDate;
    night.recorded = std::move(recorded->coverage);
    night.source = NightSourceKind::both;
    return night;
}

std::vector<Night> build(const NightLog& log, const NightWindow& window, Instant now, const Calendar& calendar) {
    auto nights = NightBuilder::build(log.log, window, now, calendar);
    if (log.source == NightSourceKind::journal || log.source == NightSourceKind::none) {
        return nights;
    }
    std::erase_if(nights, [&](const Night& night) {
        const bool journalSpans = log.journalFrom && *log.journalFrom <= night.start;
        return !journalSpans && !RecordedPowerLog::covers(log.recorded, night.start, night.end);
    });
    return nights;
}

std::optional<Instant> recordedSince(const NightLog& log) {
    if (log.recorded.empty()) {
        return std::nullopt;
    }
    return log.recorded.front().from;
}

} // namespace NightSource
} // namespace vitrek
