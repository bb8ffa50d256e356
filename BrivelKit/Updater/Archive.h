#pragma once

#include "Updater/UpdateError.h"

#include <filesystem>
#include <string>
#include <string_view>

namespace brivel {

// Zip archives of program folders, read and written in process.
namespace Archive {

// Unpacks the zip archive held in `bytes` into the existing folder `destination`, keeping permissions
// (the executable bit) and symbolic links. An entry with an absolute path, a ".." component, a link that
// points outside `destination`, a device, a FIFO or a socket is refused and the whole unpacking fails
// with `downloadError(<a description naming the entry>)`; nothing is ever written outside `destination`.
// An archive libarchive can't read fails the same way.
Result<Done> extract(std::string_view bytes, const std::filesystem::path& destination);

// Writes a zip archive of `folder` to `archive`: the folder itself is the archive's one top-level entry
// (named after the folder), files are stored with their permissions, symbolic links as links, entries in
// path order so the same tree always gives the same bytes (modification times are kept as they are).
Result<Done> create(const std::filesystem::path& folder, const std::filesystem::path& archive);

} // namespace Archive
} // namespace brivel
