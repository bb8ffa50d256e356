#pragma once

#include "history/History.h"
#include "powerlog/PowerRecord.h"
#include "scores/Sample.h"
#include "time/Instant.h"

#include <filesystem>
#include <optional>
#include <vector>

namespace vitrek {

class Calendar;

// The data folder: one JSON Lines file of samples per calendar day ("samples-2025-01-05.jsonl") and the
// History ("history.json"). Holds no state beyond the folder; every call opens, works and closes. No
// operation reports an error: what cannot be written is lost, what cannot be read reads as no data.
class VitrekFiles {
public:
    // The folder given, else $VITREK_DATA_DIR when set and non-empty, else $XDG_DATA_HOME/Vitrek when that
    // is an absolute path, else ~/.local/share/Vitrek. Never touches the disk; the folder is created on
    // the first write.
    explicit VitrekFiles(std::optional<std::filesystem::path> dir = std::nullopt);

    const std::filesystem::path& dir() const { return m_dir; }

    // Appends the sample as one line to the file of the calendar day that contains its date. A sample
    // whose date or load is not a finite number has no JSON form and is not written.
    void append(const Sample& sample, const Calendar& calendar) const;
    // The samples stored for the calendar day that contains `date`, in file order; lines that do not
    // decode (a partial last line after a crash, foreign text) are skipped.
    std::vector<Sample> samples(Instant date, const Calendar& calendar) const;
    // Deletes the sample files of every day outside the last `keepingDays` calendar days, today included,
    // and every "samples-…" name that holds no such day. Other files are never touched.
    void pruneSamples(int keepingDays, Instant now, const Calendar& calendar) const;

    // Appends the record as one line to "power-" + its calendar day + ".jsonl", as samples are appended.
    void appendPowerRecord(const PowerRecord& record, const Calendar& calendar) const;
    // Every power record stored, file by file in day order, each file in line order; lines that do not
    // decode are skipped.
    std::vector<PowerRecord> powerRecords() const;
    // Deletes the power files of every day outside the last `keepingDays` calendar days. Only regular
    // files named exactly "power-" + a calendar date + ".jsonl" are considered; nothing else is touched.
    void prunePowerRecords(int keepingDays, Instant now, const Calendar& calendar) const;

    // The stored History; empty when there is none or it does not decode. A non-empty file that does not
    // decode is first copied to "history.json.damaged", so the next save cannot destroy it unseen.
    History loadHistory() const;
    // The stored History, or an empty one, for commands that must not write: a damaged file is left as
    // it is, with no copy kept.
    History peekHistory() const;
    // Replaces the stored History atomically (a reader sees the old or the new file, never a mix). An
    // existing file that does not decode is kept as "history.json.damaged" first; when that copy cannot be
    // made, or the file cannot be read, it is left in place and this save is skipped.
    void save(const History& history) const;

    bool operator==(const VitrekFiles&) const = default;

private:
    std::filesystem::path m_dir;
};

} // namespace vitrek
