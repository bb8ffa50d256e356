#pragma once

#include "Updater/UpdateError.h"

#include <filesystem>
#include <string>

namespace brivel {

// The list of a program folder's files that the packer adds to the folder's archive before signing it, and
// that the updater checks the unpacked folder against: the signature covers the archive, the archive
// covers the manifest, and the manifest covers every file, so a tree changed after packing is caught.
//
// Format: one line per file or symbolic link (not folders), "SHA256-HEX MODE-OCTAL relative/path",
// sorted by path (byte order), each line ending in "\n"; MANIFEST itself is not listed. The mode is the
// whole st_mode in octal ("100755", "100644"); for a symbolic link ("120777") the hash is over the link's
// target text.
namespace Manifest {

constexpr const char* kFileName = "MANIFEST";

// The manifest text of `folder` as it is now; an error when a file can't be read.
Result<std::string> compute(const std::filesystem::path& folder);

// Computes the manifest and writes it to `folder`/MANIFEST (replacing any older one).
Result<Done> write(const std::filesystem::path& folder);

// Whether `folder`/MANIFEST exists and matches the folder exactly: no file missing, changed (content or
// mode) or added.
bool matches(const std::filesystem::path& folder);

} // namespace Manifest
} // namespace brivel
