#pragma once

#include "history/History.h"
#include "powerlog/PowerRecord.h"
#include "scores/Sample.h"
#include "time/Instant.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace vitrek {

class Calendar;

// What went wrong with one file of the data folder, in words for a person.
struct FileProblem {
    std::filesystem::path path;
    std::string reason; // "Read-only file system", "not a regular file"

    std::string text() const; // path + ": " + reason
    bool operator==(const FileProblem&) const = default;
};

// The data folder: one JSON Lines file of samples per calendar day ("samples-2025-01-05.jsonl") and the
// History ("history.json"). Holds no state beyond the folder; every call opens, works and closes. Only
// regular files are read or written: a link is never followed and a FIFO never waited on. Writes say
// what failed; what cannot be read reads as no data.
class VitrekFiles {
public:
    // The folder given, else $VITREK_DATA_DIR when set and non-empty, else $XDG_DATA_HOME/Vitrek when that
    // is an absolute path, else ~/.local/share/Vitrek. Never touches the disk; the folder is created on
    // the first write.
    explicit VitrekFiles(std::optional<std::filesystem::path> dir = std::nullopt);

    const std::filesystem::path& dir() const { return m_dir; }

    // Appends the sample as one line to the file of the calendar day that contains its date, creating the
    // file exclusively when it is new. A sample whose date or load is not a finite number has no JSON form
    // and is not written.
    std::optional<FileProblem> append(const Sample& sample, const Calendar& calendar) const;
    // The samples stored for the calendar day that contains `date`, in file order; lines that do not
    // decode (a partial last line after a crash, foreign text, a load outside 0…1) are skipped.
    std::vector<Sample> samples(Instant date, const Calendar& calendar) const;
    // Deletes the sample files of every day outside the last `keepingDays` calendar days, today included.
    // Only regular files named exactly "samples-" + a calendar date + ".jsonl" are considered; nothing else
    // is touched.
    void pruneSamples(int keepingDays, Instant now, const Calendar& calendar) const;

    // Appends the record as one line to "power-" + its calendar day + ".jsonl", as samples are appended.
    std::optional<FileProblem> appendPowerRecord(const PowerRecord& record, const Calendar& calendar) const;
    // Every power record stored, file by file in day order, each file in line order; lines that do not
    // decode are skipped.
    std::vector<PowerRecord> powerRecords() const;
    // Deletes the power files of every day outside the last `keepingDays` calendar days. Only regular
    // files named exactly "power-" + a calendar date + ".jsonl" are considered; nothing else is touched.
    void prunePowerRecords(int keepingDays, Instant now, const Calendar& calendar) const;

    struct LoadedHistory {
        History history;
        std::optional<FileProblem> problem; // what was left out or set aside, or could not be read
    };
    // The stored History, read day by day: a day that does not decode, or whose key is not a real date
    // or lies after tomorrow, is left out. When anything was left out the file is first kept as a damaged
    // copy, so the next save cannot destroy it unseen; something other than a regular file is moved aside
    // as one. Damaged copies are "history.json.damaged", then "…damaged-2", "-3", …; an existing copy is
    // never replaced, the same bytes are never copied twice, and only the newest five are kept.
    LoadedHistory loadHistory(Instant now, const Calendar& calendar) const;
    // The stored History read the same way, for commands that must not write: nothing is copied or moved.
    LoadedHistory peekHistory(Instant now, const Calendar& calendar) const;
    // Replaces the stored History atomically (a reader sees the old or the new file, never a mix). An
    // existing file that does not read whole is kept as a damaged copy first; when that copy cannot be
    // made, or the file cannot be read, it is left in place and this save is skipped.
    std::optional<FileProblem> save(const History& history) const;

    bool operator==(const VitrekFiles&) const = default;

private:
    std::optional<FileProblem> createFolder() const;

    std::filesystem::path m_dir;
};

} // namespace vitrek
