#include "files/VitrekFiles.h"

#include "json/Json.h"
#include "json/JsonFields.h"
#include "text/Ascii.h"
#include "time/Calendar.h"

#include <fcntl.h>
#include <nlohmann/json.hpp>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstring>
#include <cstdlib>
#include <set>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

namespace vitrek {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view kSamplesPrefix = "samples-";
constexpr std::size_t kDayKeyLength = 10; // "2025-01-05"
constexpr std::string_view kPowerPrefix = "power-";
constexpr std::string_view kDayFileSuffix = ".jsonl";
constexpr const char* kHistoryName = "history.json";
constexpr const char* kDamagedHistoryName = "history.json.damaged";
constexpr std::size_t kKeptDamagedCopies = 5;
// No day can lie after this one; used where there is no clock to say what tomorrow is.
constexpr std::string_view kLastDayKey = "9999-12-31";

std::optional<std::string> environment(const char* name) {
    const char* value = std::getenv(name);
    if (value == nullptr || *value == '\0') {
        return std::nullopt;
    }
    return std::string(value);
}

// The home folder: $HOME, else the password database's entry for this user.
std::optional<fs::path> homeFolder() {
    if (auto home = environment("HOME")) {
        return fs::path(std::move(*home));
    }
    const long suggested = ::sysconf(_SC_GETPW_R_SIZE_MAX);
    std::string buffer(suggested > 0 ? static_cast<std::size_t>(suggested) : 16384, '\0');
    passwd entry{};
    passwd* found = nullptr;
    while (::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found) == ERANGE &&
           buffer.size() < (1u << 20)) {
        buffer.resize(buffer.size() * 2);
    }
    if (found == nullptr || found->pw_dir == nullptr || *found->pw_dir == '\0') {
        return std::nullopt;
    }
    return fs::path(found->pw_dir);
}

fs::path defaultFolder() {
    if (auto folder = environment("VITREK_DATA_DIR")) {
        return fs::path(std::move(*folder));
    }
    // A relative XDG_DATA_HOME is invalid and must be ignored.
    if (auto data = environment("XDG_DATA_HOME"); data && data->front() == '/') {
        return fs::path(std::move(*data)) / "Vitrek";
    }
    // Without any home folder the working folder is the last place left to keep the data.
    return homeFolder().value_or(fs::path()) / ".local" / "share" / "Vitrek";
}

enum class ReadStatus { read, missing, notRegular, failed };

constexpr const char* kNotRegular = "not a regular file";

// Opens without following a link and without blocking, so a link, FIFO or device put in place of a data
// file is neither followed nor waited on; only a regular file is ever read or written.
int openDataFile(const fs::path& path, int flags, ReadStatus& status) {
    int fd = -1;
    do {
        fd = ::open(path.c_str(), flags | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0644);
    } while (fd < 0 && errno == EINTR);
    if (fd < 0) {
        status = errno == ENOENT ? ReadStatus::missing
                 : errno == ELOOP || errno == ENXIO || errno == EISDIR ? ReadStatus::notRegular
                                                                          : ReadStatus::failed;
        return -1;
    }
    struct stat info {};
    if (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) {
        ::close(fd);
        status = ReadStatus::notRegular;
        return -1;
    }
    status = ReadStatus::read;
    return fd;
}

ReadStatus readFile(const fs::path& path, std::string& bytes) {
    bytes.clear();
    ReadStatus status = ReadStatus::read;
    const int fd = openDataFile(path, O_RDONLY, status);
    if (fd < 0) {
        return status;
    }
    char chunk[1 << 16];
    for (;;) {
        const ssize_t count = ::read(fd, chunk, sizeof chunk);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            ::close(fd);
            return count == 0 ? ReadStatus::read : ReadStatus::failed;
        }
        bytes.append(chunk, static_cast<std::size_t>(count));
    }
}

bool writeAll(int fd, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::write(fd, bytes.data(), bytes.size());
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

std::optional<FileProblem> problem(const fs::path& path, std::string reason) {
    return FileProblem{path, std::move(reason)};
}

std::optional<FileProblem> problem(const fs::path& path, int error) {
    return problem(path, std::generic_category().message(error));
}

// Appends the line with a single write: O_APPEND places it at the end atomically, so lines are never
// interleaved and a crash leaves at worst a partial last line. A short write is therefore left as it is
// rather than completed by a second write. The next append repairs such a tail: a fragment that is not
// JSON (it could never be read) is cut off, and a whole line that only lost its line feed gets one. The
// data folder has one writer (WriterLock), so no other process is mid-line when the tail is cut.
// Looks at the end of an open day file: true when a line feed must come before the next line.
bool repairTail(int fd) {
    struct stat status {};
    char last = '\n';
    if (::fstat(fd, &status) != 0 || status.st_size == 0 || ::pread(fd, &last, 1, status.st_size - 1) != 1 ||
        last == '\n') {
        return false;
    }
    constexpr off_t kLongestLine = 1 << 16;
    const off_t from = std::max<off_t>(0, status.st_size - kLongestLine);
    std::string tail(static_cast<std::size_t>(status.st_size - from), '\0');
    if (::pread(fd, tail.data(), tail.size(), from) != static_cast<ssize_t>(tail.size())) {
        return true;
    }
    const auto newline = tail.rfind('\n');
    if (newline == std::string::npos && from > 0) {
        return true; // a line longer than any this program writes: not ours to cut
    }
    const std::size_t start = newline == std::string::npos ? 0 : newline + 1;
    if (nlohmann::json::accept(std::string_view(tail).substr(start))) {
        return true;
    }
    return ::ftruncate(fd, from + static_cast<off_t>(start)) != 0;
}

std::optional<FileProblem> appendLine(const fs::path& path, std::string_view line) {
    ReadStatus opened = ReadStatus::read;
    int fd = openDataFile(path, O_RDWR | O_APPEND, opened);
    // A new file is created exclusively: whatever appeared under the name meanwhile is not written through.
    for (int attempt = 0; fd < 0 && opened == ReadStatus::missing && attempt < 2; ++attempt) {
        fd = openDataFile(path, O_RDWR | O_APPEND | O_CREAT | O_EXCL, opened);
        if (fd < 0 && errno == EEXIST) {
            fd = openDataFile(path, O_RDWR | O_APPEND, opened);
        }
    }
    if (fd < 0) {
        return opened == ReadStatus::notRegular ? problem(path, kNotRegular) : problem(path, errno);
    }
    std::string bytes;
    if (repairTail(fd)) {
        bytes.reserve(line.size() + 1);
        bytes += '\n';
        bytes += line;
        line = bytes;
    }
    ssize_t written = -1;
    while ((written = ::write(fd, line.data(), line.size())) < 0 && errno == EINTR) {
    }
    const int error = written < 0 ? errno : written < static_cast<ssize_t>(line.size()) ? ENOSPC : 0;
    ::close(fd);
    return error != 0 ? problem(path, error) : std::nullopt;
}

// Replaces folder/name with `bytes` so that a reader, or a crash, sees either the old or the whole new
// content: a temporary file in the same folder is written, flushed, and renamed over the name, and the
// folder is flushed so the rename itself survives a power cut. On failure the old file stays untouched.
std::optional<FileProblem> replaceAtomically(const fs::path& folder, const std::string& name,
                                             std::string_view bytes) {
    std::string temporary = (folder / ("." + name + ".XXXXXX")).string();
    const int fd = ::mkostemp(temporary.data(), O_CLOEXEC);
    if (fd < 0) {
        return problem(folder / name, errno);
    }
    const bool written = writeAll(fd, bytes) && ::fsync(fd) == 0;
    int error = written ? 0 : (errno != 0 ? errno : EIO);
    if (::close(fd) != 0 && error == 0) {
        error = errno;
    }
    if (error == 0 && ::rename(temporary.c_str(), (folder / name).c_str()) != 0) {
        error = errno;
    }
    if (error != 0) {
        ::unlink(temporary.c_str());
        return problem(folder / name, error);
    }
    if (const int folderFd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); folderFd >= 0) {
        ::fsync(folderFd);
        ::close(folderFd);
    }
    return std::nullopt;
}

// The damaged copies of the History, oldest first: "history.json.damaged", then "-2", "-3" and so on.
std::vector<std::pair<int, fs::path>> damagedCopies(const fs::path& folder) {
    std::vector<std::pair<int, fs::path>> copies;
    const std::string_view base = kDamagedHistoryName;
    std::error_code error;
    for (fs::directory_iterator it(folder, error), end; !error && it != end; it.increment(error)) {
        const std::string name = it->path().filename().string();
        if (!std::string_view(name).starts_with(base)) {
            continue;
        }
        const std::string_view rest = std::string_view(name).substr(base.size());
        int number = 1;
        if (!rest.empty()) {
            const auto [stop, failure] = std::from_chars(rest.data() + 1, rest.data() + rest.size(), number);
            if (rest[0] != '-' || failure != std::errc{} || stop != rest.data() + rest.size() || number < 2) {
                continue;
            }
        }
        copies.emplace_back(number, it->path());
    }
    std::sort(copies.begin(), copies.end());
    return copies;
}

fs::path nextDamagedCopy(const fs::path& folder, const std::vector<std::pair<int, fs::path>>& copies) {
    const int next = copies.empty() ? 1 : copies.back().first + 1;
    return folder / (next == 1 ? std::string(kDamagedHistoryName)
                               : std::string(kDamagedHistoryName) + "-" + std::to_string(next));
}

// Keeps the newest few damaged copies; each holds a History that could not be read whole.
void pruneDamagedCopies(const fs::path& folder) {
    auto copies = damagedCopies(folder);
    std::error_code error;
    for (std::size_t i = 0; i + kKeptDamagedCopies < copies.size(); ++i) {
        fs::remove(copies[i].second, error);
    }
}

// Keeps `bytes`, a History file that could not be read whole, as a new damaged copy, unless one of the
// copies already holds exactly these bytes. An earlier copy is never replaced.
std::optional<FileProblem> keepDamagedHistory(const fs::path& folder, const std::string& bytes) {
    const auto copies = damagedCopies(folder);
    std::string existing;
    for (const auto& copy : copies) {
        if (readFile(copy.second, existing) == ReadStatus::read && existing == bytes) {
            return std::nullopt;
        }
    }
    const auto target = nextDamagedCopy(folder, copies);
    if (auto failed = replaceAtomically(folder, target.filename().string(), bytes)) {
        return failed;
    }
    pruneDamagedCopies(folder);
    return std::nullopt;
}

// Moves whatever that is not a regular file sits at history.json (a link, a FIFO, a folder) aside as a
// damaged copy, without following or opening it, so a fresh History can be saved.
std::optional<FileProblem> setAsideHistory(const fs::path& folder) {
    const auto target = nextDamagedCopy(folder, damagedCopies(folder));
    if (::rename((folder / kHistoryName).c_str(), target.c_str()) != 0) {
        return problem(folder / kHistoryName, errno);
    }
    pruneDamagedCopies(folder);
    return std::nullopt;
}

// How a stored History reads: absent when the bytes are not a History at all.
std::optional<HistoryRead> readStoredHistory(std::string_view bytes, std::string_view latest) {
    const Json document = json::parse(bytes);
    if (document.is_discarded()) {
        return std::nullopt;
    }
    return readHistory(document, latest);
}

fs::path sampleFile(const fs::path& folder, Instant date, const Calendar& calendar) {
    return folder / (std::string(kSamplesPrefix) + History::dayID(date, calendar) + ".jsonl");
}

// The day key of a name that is exactly prefix + "YYYY-MM-DD" + ".jsonl" with a real calendar date.
std::optional<std::string> dayFileKey(std::string_view name, std::string_view prefix) {
    if (name.size() != prefix.size() + kDayKeyLength + kDayFileSuffix.size() || !name.starts_with(prefix) ||
        !name.ends_with(kDayFileSuffix)) {
        return std::nullopt;
    }
    const auto key = name.substr(prefix.size(), kDayKeyLength);
    if (!History::isDayKey(key)) {
        return std::nullopt;
    }
    return std::string(key);
}

// The day keys of the last `days` calendar days, today included; a negative count keeps nothing, like 0.
std::set<std::string, std::less<>> lastDays(int days, Instant now, const Calendar& calendar) {
    std::set<std::string, std::less<>> kept;
    for (int i = 0; i < days; ++i) {
        if (const auto day = calendar.addingDays(now, -i)) {
            kept.insert(History::dayID(*day, calendar));
        }
    }
    return kept;
}

// Removes the entries of `folder` that `doomed` picks. It lists first and deletes afterwards; a folder that
// cannot be listed completely is left alone.
template <typename Doomed> void removeWhere(const fs::path& folder, Doomed doomed) {
    std::vector<fs::path> picked;
    std::error_code error;
    for (fs::directory_iterator it(folder, error), end; !error && it != end; it.increment(error)) {
        if (doomed(*it)) {
            picked.push_back(it->path());
        }
    }
    if (error) {
        return;
    }
    for (const auto& path : picked) {
        fs::remove(path, error);
    }
}

// A JSON number exactly as the grammar allows it: -?(0|[1-9][0-9]*)(.[0-9]+)?([eE][+-]?[0-9]+)?
bool isJsonNumber(std::string_view text) {
    std::size_t at = 0;
    const auto digits = [&] {
        const auto begin = at;
        while (at < text.size() && Ascii::isDigit(text[at])) {
            ++at;
        }
        return at > begin;
    };
    if (at < text.size() && text[at] == '-') {
        ++at;
    }
    if (at < text.size() && text[at] == '0') {
        ++at;
    } else if (!digits()) {
        return false;
    }
    if (at < text.size() && text[at] == '.' && (++at, !digits())) {
        return false;
    }
    if (at < text.size() && (text[at] == 'e' || text[at] == 'E')) {
        ++at;
        if (at < text.size() && (text[at] == '+' || text[at] == '-')) {
            ++at;
        }
        if (!digits()) {
            return false;
        }
    }
    return at == text.size();
}

// The number between `key` and `end` at the front of `text`, which then moves past it.
std::optional<double> member(std::string_view& text, std::string_view key, char end) {
    if (!text.starts_with(key)) {
        return std::nullopt;
    }
    text.remove_prefix(key.size());
    const auto stop = text.find(end);
    if (stop == std::string_view::npos || !isJsonNumber(text.substr(0, stop))) {
        return std::nullopt;
    }
    double value = 0;
    const auto [next, error] = std::from_chars(text.data(), text.data() + stop, value);
    if (error != std::errc{} || next != text.data() + stop) {
        return std::nullopt;
    }
    text.remove_prefix(stop + 1);
    return value;
}

// A line exactly as `append` writes it, read without a JSON parser: the whole day file is read back on
// every check-up, and this is most of its cost. Anything else (other member orders, blanks, a carriage
// return) goes to the full decoder, which accepts what JSON allows.
std::optional<Sample> writtenSample(std::string_view line) {
    if (!line.starts_with('{')) {
        return std::nullopt;
    }
    line.remove_prefix(1);
    const auto date = member(line, "\"date\":", ',');
    const auto load = member(line, "\"load\":", ',');
    const auto heatValue = member(line, "\"heat\":", '}');
    if (!date || !load || !heatValue || !line.empty() || std::trunc(*heatValue) != *heatValue ||
        !loadIfPossible(*load)) {
        return std::nullopt;
    }
    const auto heat = heatFromRawValue(static_cast<int>(std::clamp(*heatValue, -1.0, 4.0)));
    if (!heat) {
        return std::nullopt;
    }
    return Sample{fromReferenceSeconds(*date), *load, *heat};
}

} // namespace

VitrekFiles::VitrekFiles(std::optional<std::filesystem::path> dir)
    : m_dir(dir ? std::move(*dir) : defaultFolder()) {}

std::string FileProblem::text() const { return path.string() + ": " + reason; }

std::optional<FileProblem> VitrekFiles::createFolder() const {
    std::error_code error;
    fs::create_directories(m_dir, error);
    if (error) {
        return FileProblem{m_dir, error.message()};
    }
    return std::nullopt;
}

std::optional<FileProblem> VitrekFiles::append(const Sample& sample, const Calendar& calendar) const {
    // JSON has no form for NaN or infinity; written as null the line could never be read back.
    if (!std::isfinite(referenceSeconds(sample.date)) || !std::isfinite(sample.load)) {
        return std::nullopt;
    }
    if (auto failed = createFolder()) {
        return failed;
    }
    return appendLine(sampleFile(m_dir, sample.date, calendar), compactText(toJson(sample)) + '\n');
}

std::vector<Sample> VitrekFiles::samples(Instant date, const Calendar& calendar) const {
    std::string bytes;
    if (readFile(sampleFile(m_dir, date, calendar), bytes) != ReadStatus::read) {
        return {};
    }
    std::vector<Sample> samples;
    samples.reserve(static_cast<std::size_t>(std::count(bytes.begin(), bytes.end(), '\n')) + 1);
    const std::string_view text(bytes);
    std::size_t start = 0;
    while (start < text.size()) {
        const auto end = std::min(text.find('\n', start), text.size());
        if (end > start) {
            const auto line = text.substr(start, end - start);
            auto sample = writtenSample(line);
            if (!sample) {
                sample = fromJsonText<Sample>(line);
            }
            if (sample) {
                samples.push_back(*sample);
            }
        }
        start = end + 1;
    }
    return samples;
}

void VitrekFiles::pruneSamples(int keepingDays, Instant now, const Calendar& calendar) const {
    const auto kept = lastDays(keepingDays, now, calendar);
    // The folder may be one the user chose for other things too: only this program's own files go.
    removeWhere(m_dir, [&](const fs::directory_entry& entry) {
        const auto key = dayFileKey(entry.path().filename().string(), kSamplesPrefix);
        std::error_code error;
        return key && !kept.contains(*key) && entry.symlink_status(error).type() == fs::file_type::regular;
    });
}

std::optional<FileProblem> VitrekFiles::appendPowerRecord(const PowerRecord& record,
                                                          const Calendar& calendar) const {
    if (!std::isfinite(unixSeconds(record.date))) {
        return std::nullopt;
    }
    if (auto failed = createFolder()) {
        return failed;
    }
    const auto name = std::string(kPowerPrefix) + History::dayID(record.date, calendar) + std::string(kDayFileSuffix);
    return appendLine(m_dir / name, compactText(toJson(record)) + '\n');
}

std::vector<PowerRecord> VitrekFiles::powerRecords() const {
    std::vector<fs::path> files;
    std::error_code error;
    for (fs::directory_iterator it(m_dir, error), end; !error && it != end; it.increment(error)) {
        if (dayFileKey(it->path().filename().string(), kPowerPrefix) && it->is_regular_file(error)) {
            files.push_back(it->path());
        }
    }
    std::sort(files.begin(), files.end());
    std::vector<PowerRecord> records;
    std::string bytes;
    for (const auto& file : files) {
        if (readFile(file, bytes) != ReadStatus::read) {
            continue;
        }
        const std::string_view text(bytes);
        std::size_t start = 0;
        while (start < text.size()) {
            const auto end = std::min(text.find('\n', start), text.size());
            if (end > start) {
                if (auto record = fromJsonText<PowerRecord>(text.substr(start, end - start))) {
                    records.push_back(std::move(*record));
                }
            }
            start = end + 1;
        }
    }
    return records;
}

void VitrekFiles::prunePowerRecords(int keepingDays, Instant now, const Calendar& calendar) const {
    const auto kept = lastDays(keepingDays, now, calendar);
    removeWhere(m_dir, [&](const fs::directory_entry& entry) {
        const auto key = dayFileKey(entry.path().filename().string(), kPowerPrefix);
        std::error_code error;
        return key && !kept.contains(*key) && entry.symlink_status(error).type() == fs::file_type::regular;
    });
}

VitrekFiles::LoadedHistory VitrekFiles::loadHistory(Instant now, const Calendar& calendar) const {
    const fs::path path = m_dir / kHistoryName;
    std::string bytes;
    switch (readFile(path, bytes)) {
    case ReadStatus::missing: return {};
    case ReadStatus::failed: return {{}, problem(path, errno)};
    case ReadStatus::notRegular: {
        auto failed = setAsideHistory(m_dir);
        return {{}, failed ? failed : problem(path, "not a regular file; set aside, a new history starts")};
    }
    case ReadStatus::read: break;
    }
    const auto tomorrow = calendar.addingDays(now, 1);
    const auto latest = tomorrow ? History::dayID(*tomorrow, calendar) : std::string(kLastDayKey);
    auto read = readStoredHistory(bytes, latest);
    if (read && read->dropped == 0) {
        return {std::move(read->history), std::nullopt};
    }
    if (bytes.empty()) {
        return {};
    }
    // Whatever could not be read stays on disk as it was, under its own name.
    if (auto failed = keepDamagedHistory(m_dir, bytes)) {
        return {read ? std::move(read->history) : History{}, failed};
    }
    const std::string kept = read ? std::to_string(read->history.days.size()) + " days kept, " +
                                        std::to_string(read->dropped) + " unreadable left out"
                                  : "unreadable";
    return {read ? std::move(read->history) : History{},
            problem(path, kept + "; the original is kept as a damaged copy")};
}

VitrekFiles::LoadedHistory VitrekFiles::peekHistory(Instant now, const Calendar& calendar) const {
    const fs::path path = m_dir / kHistoryName;
    std::string bytes;
    switch (readFile(path, bytes)) {
    case ReadStatus::missing: return {};
    case ReadStatus::failed: return {{}, problem(path, errno)};
    case ReadStatus::notRegular: return {{}, problem(path, "not a regular file; read as no history")};
    case ReadStatus::read: break;
    }
    const auto tomorrow = calendar.addingDays(now, 1);
    auto read = readStoredHistory(bytes, tomorrow ? History::dayID(*tomorrow, calendar) : std::string(kLastDayKey));
    if (!read) {
        return {{}, bytes.empty() ? std::nullopt : problem(path, "unreadable; read as no history")};
    }
    auto left = read->dropped == 0 ? std::nullopt
                                   : problem(path, std::to_string(read->dropped) + " unreadable days left out");
    return {std::move(read->history), std::move(left)};
}

std::optional<FileProblem> VitrekFiles::save(const History& history) const {
    if (auto failed = createFolder()) {
        return failed;
    }
    // A save may come without a load before it, so the damaged-file rule is checked here too. A file
    // that exists but cannot be read cannot be copied either, so it is not replaced.
    const fs::path path = m_dir / kHistoryName;
    std::string existing;
    switch (readFile(path, existing)) {
    case ReadStatus::missing: break;
    case ReadStatus::failed: return problem(path, std::string(std::strerror(errno)) + "; not replaced");
    case ReadStatus::notRegular:
        if (auto failed = setAsideHistory(m_dir)) {
            return failed;
        }
        break;
    case ReadStatus::read:
        if (!existing.empty()) {
            const auto read = readStoredHistory(existing, kLastDayKey);
            if (!read || read->dropped > 0) {
                if (auto failed = keepDamagedHistory(m_dir, existing)) {
                    return failed;
                }
            }
        }
        break;
    }
    return replaceAtomically(m_dir, kHistoryName, compactText(toJson(history)));
}

} // namespace vitrek
