#pragma once

#include "Updater/UpdateError.h"

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace brivel {

// Zip archives of program folders, read and written in process.
namespace Archive {

// Unpacks the zip archive held in `bytes` into the existing folder `destination`, keeping permissions
// (the executable bit) and symbolic links. An entry with an absolute path, a ".." component, a link that
// points outside `destination`, a device, a FIFO or a socket is refused and the whole unpacking fails
// with `downloadError(<a description naming the entry>)`; nothing is ever written outside `destination`.
// An archive libarchive can't read fails the same way.
Result<Done> extract(std::string_view bytes, const std::filesystem::path& destination);

// Whether a symbolic link at `link` (a relative path below some folder) pointing at `target` stays inside
// that folder, judged from the text alone: the target must be relative and may climb with ".." only at its
// start (after a name, that name could itself be a link), never above the folder. extract() refuses every
// other link; the packer refuses to archive one.
bool linkStaysInside(std::string_view link, std::string_view target);

// Writes a zip archive of `folder` to `archive`: the folder itself is the archive's one top-level entry
// (named after the folder), files are stored with their permissions, symbolic links as links, entries in
// path order so the same tree always gives the same bytes (modification times are kept as they are).
// `added` (relative path → content) goes in as files (mode 0644, the folder's modification time) in place of
// whatever the folder holds at those paths.
Result<Done> create(const std::filesystem::path& folder, const std::filesystem::path& archive,
                    const std::map<std::string, std::string>& added = {});

// The names of the entries of the zip archive at `archive` in their order; absent when it isn't one that can
// be read.
std::optional<std::vector<std::string>> entryNames(const std::filesystem::path& archive);

} // namespace Archive
} // namespace brivel
