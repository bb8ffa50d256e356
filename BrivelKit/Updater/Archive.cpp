#include "Updater/Archive.h"

#include <archive.h>
#include <archive_entry.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <memory>
#include <optional>
#include <set>
#include <system_error>
#include <vector>

namespace brivel::Archive {
namespace {

namespace fs = std::filesystem;

using ReadHandle = std::unique_ptr<archive, decltype(&archive_read_free)>;
using WriteHandle = std::unique_ptr<archive, decltype(&archive_write_free)>;
using EntryHandle = std::unique_ptr<archive_entry, decltype(&archive_entry_free)>;

constexpr std::size_t kBlockSize = 64 * 1024;

// Every entry is judged here before libarchive sees it; libarchive's own guards then refuse, a second time,
// to write through a link on disk or to climb with "..". Owners are never set (no ARCHIVE_EXTRACT_OWNER).
// Its guard against absolute paths can't be used: every path it gets is the absolute destination plus the
// entry's name.
constexpr int kExtractFlags = ARCHIVE_EXTRACT_PERM | ARCHIVE_EXTRACT_TIME | ARCHIVE_EXTRACT_SECURE_SYMLINKS |
                              ARCHIVE_EXTRACT_SECURE_NODOTDOT;

std::string libraryError(archive* handle, const char* fallback) {
    const char* text = archive_error_string(handle);
    return text != nullptr && *text != '\0' ? std::string(text) : std::string(fallback);
}

std::string quoted(const std::string& name) { return "“" + name + "”"; }

UpdateError outside(const std::string& name) {
    return downloadError("The archive entry " + quoted(name) + " points outside the update folder.");
}

// The names along an entry's path, without empty and "." pieces; absent when the path is absolute or climbs
// with "..".
std::optional<std::vector<std::string>> componentsOf(std::string_view path) {
    if (path.empty() || path.front() == '/') {
        return std::nullopt;
    }
    std::vector<std::string> components;
    std::size_t start = 0;
    while (start <= path.size()) {
        const std::size_t end = std::min(path.find('/', start), path.size());
        const std::string_view piece = path.substr(start, end - start);
        if (piece == "..") {
            return std::nullopt;
        }
        if (!piece.empty() && piece != ".") {
            components.emplace_back(piece);
        }
        start = end + 1;
    }
    return components;
}

std::string joined(const std::vector<std::string>& components) {
    std::string path;
    for (const std::string& component : components) {
        path += (path.empty() ? "" : "/") + component;
    }
    return path;
}

// Whether a link at `link` (the names of its path) pointing at `target` stays inside the folder they are
// relative to. The target is read lexically, so ".." is only accepted at its start: after a name, that name
// could itself be a link (to "." for instance) and the lexical reading would no longer be where the system
// goes. Every link checked this way lands inside, so a name followed through another such link stays inside
// too.
bool staysInside(const std::vector<std::string>& link, std::string_view target) {
    if (target.empty() || target.front() == '/') {
        return false;
    }
    std::size_t climbs = 0;
    bool named = false;
    std::size_t start = 0;
    while (start <= target.size()) {
        const std::size_t end = std::min(target.find('/', start), target.size());
        const std::string_view piece = target.substr(start, end - start);
        if (piece == "..") {
            if (named) {
                return false;
            }
            ++climbs;
        } else if (!piece.empty() && piece != ".") {
            named = true;
        }
        start = end + 1;
    }
    // The link's own folder is `link.size() - 1` names deep.
    return climbs < link.size();
}

// What the archive has put on disk so far, so that later entries can be judged against it.
class Extraction {
public:
    enum class Verdict { write, skip };

    // Refuses the entry, or rewrites its paths to lie below `root`.
    Result<Verdict> admit(archive_entry* entry, const fs::path& root) {
        const char* rawName = archive_entry_pathname(entry);
        if (rawName == nullptr) {
            return downloadError("An archive entry has a name that can’t be read.");
        }
        const std::string name = rawName;
        const auto components = componentsOf(name);
        const auto type = archive_entry_filetype(entry);
        if (!components) {
            return outside(name);
        }
        if (components->empty()) {
            // "./" names the destination itself, which exists already.
            if (type == AE_IFDIR) {
                return Verdict::skip;
            }
            return outside(name);
        }
        const std::string path = joined(*components);
        for (std::size_t count = 1; count < components->size(); ++count) {
            const std::vector<std::string> folder(components->begin(), components->begin() + count);
            if (m_links.count(joined(folder)) != 0) {
                return downloadError("The archive entry " + quoted(name) +
                                     " would be written through a link.");
            }
        }

        const char* hardlink = archive_entry_hardlink(entry);
        if (hardlink != nullptr) {
            // Only a file this archive has already written can be linked to: anything else (a link, or a
            // file outside) would make a second name for something that isn't part of the update.
            const auto target = componentsOf(hardlink);
            if (!target || m_files.count(joined(*target)) == 0) {
                return outside(name);
            }
            archive_entry_set_hardlink(entry, (root / joined(*target)).c_str());
        } else if (type == AE_IFLNK) {
            const char* target = archive_entry_symlink(entry);
            if (target == nullptr || !linkStaysInside(path, target)) {
                return outside(name);
            }
        } else if (type != AE_IFREG && type != AE_IFDIR) {
            return downloadError("The archive entry " + quoted(name) + " is not a file, folder or link.");
        }

        // Set-id bits never come from a download; folders stay open to their owner so the staging folder
        // can always be read and removed.
        auto permissions = archive_entry_perm(entry) & 0777;
        if (type == AE_IFDIR) {
            permissions |= 0700;
        }
        archive_entry_set_perm(entry, permissions);
        archive_entry_set_pathname(entry, (root / path).c_str());

        m_links.erase(path);
        m_files.erase(path);
        if (hardlink == nullptr && type == AE_IFLNK) {
            m_links.insert(path);
        } else if (type == AE_IFREG) {
            m_files.insert(path);
        }
        return Verdict::write;
    }

private:
    std::set<std::string> m_links;
    std::set<std::string> m_files;
};

std::optional<UpdateError> copyData(archive* reader, archive* writer) {
    for (;;) {
        const void* block = nullptr;
        std::size_t size = 0;
        la_int64_t offset = 0;
        const int status = archive_read_data_block(reader, &block, &size, &offset);
        if (status == ARCHIVE_EOF) {
            return std::nullopt;
        }
        // A warning here is a damaged entry (a bad checksum), not something to write anyway.
        if (status != ARCHIVE_OK) {
            return downloadError(libraryError(reader, "The archive couldn’t be read."));
        }
        if (archive_write_data_block(writer, block, size, offset) < ARCHIVE_WARN) {
            return downloadError(libraryError(writer, "A file of the update couldn’t be written."));
        }
    }
}

// Every path below `folder`, relative to it, in byte order: a parent always comes before what it holds.
Result<std::vector<std::string>> treeBelow(const fs::path& folder) {
    std::vector<std::string> paths;
    std::vector<std::string> pending{""};
    while (!pending.empty()) {
        const std::string prefix = pending.back();
        pending.pop_back();
        std::error_code error;
        fs::directory_iterator iterator(prefix.empty() ? folder : folder / prefix, error);
        for (; !error && iterator != fs::directory_iterator(); iterator.increment(error)) {
            const std::string path =
                (prefix.empty() ? "" : prefix + "/") + iterator->path().filename().string();
            paths.push_back(path);
            if (fs::is_directory(iterator->symlink_status(error))) {
                pending.push_back(path);
            }
        }
        if (error) {
            return UpdateError{"Can’t list " + (folder / prefix).string() + ": " + error.message()};
        }
    }
    std::sort(paths.begin(), paths.end());
    return paths;
}

std::optional<UpdateError> addEntry(archive* writer, const fs::path& source, const std::string& name,
                                    bool followLink = false) {
    struct stat status {};
    if ((followLink ? ::stat(source.c_str(), &status) : ::lstat(source.c_str(), &status)) != 0) {
        return UpdateError{"Can’t read " + source.string() + ": " + std::strerror(errno)};
    }
    EntryHandle entry{archive_entry_new(), &archive_entry_free};
    archive_entry_set_pathname(entry.get(), name.c_str());
    archive_entry_set_mode(entry.get(), status.st_mode);
    // Only what the tree itself says goes in, so the same tree gives the same bytes: no owner, and no access
    // or change time (reading the tree changes those).
    archive_entry_set_mtime(entry.get(), status.st_mtim.tv_sec, status.st_mtim.tv_nsec);
    archive_entry_set_uid(entry.get(), 0);
    archive_entry_set_gid(entry.get(), 0);

    std::ifstream file;
    if (S_ISLNK(status.st_mode)) {
        std::error_code error;
        const fs::path target = fs::read_symlink(source, error);
        if (error) {
            return UpdateError{"Can’t read the link " + source.string() + ": " + error.message()};
        }
        archive_entry_set_symlink(entry.get(), target.c_str());
    } else if (S_ISREG(status.st_mode)) {
        archive_entry_set_size(entry.get(), status.st_size);
        file.open(source, std::ios::binary);
        if (!file) {
            return UpdateError{"Can’t read " + source.string() + ": " + std::strerror(errno)};
        }
    } else if (!S_ISDIR(status.st_mode)) {
        return UpdateError{source.string() + " is not a file, folder or link."};
    }

    if (archive_write_header(writer, entry.get()) < ARCHIVE_WARN) {
        return UpdateError{libraryError(writer, "Can’t write the archive.")};
    }
    if (file.is_open()) {
        std::vector<char> block(kBlockSize);
        std::int64_t remaining = status.st_size;
        while (remaining > 0) {
            file.read(block.data(),
                      static_cast<std::streamsize>(std::min<std::int64_t>(remaining, kBlockSize)));
            const std::streamsize count = file.gcount();
            if (count <= 0) {
                return UpdateError{source.string() + " changed while it was being archived."};
            }
            if (archive_write_data(writer, block.data(), static_cast<std::size_t>(count)) < 0) {
                return UpdateError{libraryError(writer, "Can’t write the archive.")};
            }
            remaining -= count;
        }
    }
    return std::nullopt;
}

// A file that exists only in the archive.
std::optional<UpdateError> addContent(archive* writer, const std::string& name, const std::string& content,
                                      const timespec& modified) {
    EntryHandle entry{archive_entry_new(), &archive_entry_free};
    archive_entry_set_pathname(entry.get(), name.c_str());
    archive_entry_set_mode(entry.get(), S_IFREG | 0644);
    archive_entry_set_mtime(entry.get(), modified.tv_sec, modified.tv_nsec);
    archive_entry_set_uid(entry.get(), 0);
    archive_entry_set_gid(entry.get(), 0);
    archive_entry_set_size(entry.get(), static_cast<la_int64_t>(content.size()));
    if (archive_write_header(writer, entry.get()) < ARCHIVE_WARN ||
        archive_write_data(writer, content.data(), content.size()) < 0) {
        return UpdateError{libraryError(writer, "Can’t write the archive.")};
    }
    return std::nullopt;
}

} // namespace

bool linkStaysInside(std::string_view link, std::string_view target) {
    const auto components = componentsOf(link);
    return components && !components->empty() && staysInside(*components, target);
}

Result<Done> extract(std::string_view bytes, const std::filesystem::path& destination) {
    // The destination's own path may pass through links (a cache folder moved elsewhere); those are not the
    // archive's doing, and resolving them leaves only the archive's own paths for the link guard to judge.
    std::error_code error;
    const fs::path root = fs::canonical(destination, error);
    if (error) {
        return downloadError("The update folder can’t be used: " + error.message() + ".");
    }

    ReadHandle reader{archive_read_new(), &archive_read_free};
    WriteHandle writer{archive_write_disk_new(), &archive_write_free};
    if (!reader || !writer) {
        return downloadError("The archive couldn’t be read.");
    }
    archive_read_support_format_zip(reader.get());
    if (archive_read_open_memory(reader.get(), bytes.data(), bytes.size()) != ARCHIVE_OK) {
        return downloadError(libraryError(reader.get(), "The archive couldn’t be read."));
    }
    archive_write_disk_set_options(writer.get(), kExtractFlags);

    Extraction extraction;
    for (;;) {
        archive_entry* entry = nullptr;
        const int status = archive_read_next_header(reader.get(), &entry);
        if (status == ARCHIVE_EOF) {
            break;
        }
        if (status < ARCHIVE_WARN) {
            return downloadError(libraryError(reader.get(), "The archive couldn’t be read."));
        }
        const auto verdict = extraction.admit(entry, root);
        if (!verdict) {
            return verdict.error();
        }
        if (verdict.value() == Extraction::Verdict::skip) {
            continue;
        }
        if (archive_write_header(writer.get(), entry) < ARCHIVE_WARN) {
            return downloadError(libraryError(writer.get(), "A file of the update couldn’t be written."));
        }
        if (archive_entry_filetype(entry) == AE_IFREG) {
            if (auto failure = copyData(reader.get(), writer.get())) {
                return *failure;
            }
        }
        if (archive_write_finish_entry(writer.get()) < ARCHIVE_WARN) {
            return downloadError(libraryError(writer.get(), "A file of the update couldn’t be written."));
        }
    }
    // Closing applies what had to wait for the end: the folders' own permissions and times.
    if (archive_write_close(writer.get()) < ARCHIVE_WARN) {
        return downloadError(libraryError(writer.get(), "A file of the update couldn’t be written."));
    }
    return Done{};
}

Result<Done> create(const std::filesystem::path& folder, const std::filesystem::path& archivePath,
                    const std::map<std::string, std::string>& added) {
    fs::path source = fs::absolute(folder).lexically_normal();
    if (!source.has_filename()) {
        source = source.parent_path();
    }
    const std::string top = source.filename().string();
    auto tree = treeBelow(source);
    if (!tree) {
        return tree.error();
    }
    struct stat folderStatus {};
    if (::stat(source.c_str(), &folderStatus) != 0) {
        return UpdateError{"Can’t read " + source.string() + ": " + std::strerror(errno)};
    }
    std::vector<std::string> paths;
    for (const std::string& path : tree.value()) {
        const bool replaced = std::any_of(added.begin(), added.end(), [&](const auto& item) {
            return path == item.first || path.rfind(item.first + "/", 0) == 0;
        });
        if (!replaced) {
            paths.push_back(path);
        }
    }
    for (const auto& item : added) {
        paths.push_back(item.first);
    }
    std::sort(paths.begin(), paths.end());

    WriteHandle writer{archive_write_new(), &archive_write_free};
    if (!writer) {
        return UpdateError{"Can’t write the archive."};
    }
    archive_write_set_format_zip(writer.get());
    archive_write_zip_set_compression_deflate(writer.get());
    // A zip ends with its directory; padding after it would only change the archive's length.
    archive_write_set_bytes_in_last_block(writer.get(), 1);
    if (archive_write_open_filename(writer.get(), archivePath.c_str()) != ARCHIVE_OK) {
        return UpdateError{libraryError(writer.get(), "Can’t write the archive.")};
    }
    // The folder may be named through a link; stored as a link, it would put every other entry behind one,
    // which extract() refuses to write through.
    if (auto failure = addEntry(writer.get(), source, top, true)) {
        return *failure;
    }
    for (const std::string& path : paths) {
        const auto content = added.find(path);
        auto failure = content == added.end() ? addEntry(writer.get(), source / path, top + "/" + path)
                                              : addContent(writer.get(), top + "/" + path, content->second,
                                                           folderStatus.st_mtim);
        if (failure) {
            return *failure;
        }
    }
    if (archive_write_close(writer.get()) != ARCHIVE_OK) {
        return UpdateError{libraryError(writer.get(), "Can’t write the archive.")};
    }
    return Done{};
}

std::optional<std::vector<std::string>> entryNames(const std::filesystem::path& archivePath) {
    ReadHandle reader{archive_read_new(), &archive_read_free};
    if (!reader) {
        return std::nullopt;
    }
    archive_read_support_format_zip(reader.get());
    if (archive_read_open_filename(reader.get(), archivePath.c_str(), kBlockSize) != ARCHIVE_OK) {
        return std::nullopt;
    }
    std::vector<std::string> names;
    for (;;) {
        archive_entry* entry = nullptr;
        const int status = archive_read_next_header(reader.get(), &entry);
        if (status == ARCHIVE_EOF) {
            return names;
        }
        const char* name = status < ARCHIVE_WARN ? nullptr : archive_entry_pathname(entry);
        if (name == nullptr) {
            return std::nullopt;
        }
        names.emplace_back(name);
    }
}

} // namespace brivel::Archive
