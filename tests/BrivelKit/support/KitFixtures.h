#pragma once

#include "pack/PackTool.h"

#include <filesystem>
#include <map>
#include <optional>
#include <string>

namespace brivel::test {

// Keys and signatures as the maker's tool makes them.
using PackTool::KeyPair;
using PackTool::makeKeyPair;
using PackTool::sign;

// Writes a program folder at `folder`: Info.json with the identifier, name, version and the optional feed
// address and public key; bin/vitrek (an executable shell script printing the version); lib/libdemo.so
// (some bytes); share/notes.txt. `extra` adds or replaces files (relative path → content); a replaced
// bin/vitrek stays executable.
void writeProgram(const std::filesystem::path& folder, const std::string& identifier,
                  const std::string& version, const std::optional<std::string>& feedURL = std::nullopt,
                  const std::optional<std::string>& publicKey = std::nullopt,
                  const std::map<std::string, std::string>& extra = {});

// Manifest written, folder zipped: the archive's bytes.
std::string packProgram(const std::filesystem::path& folder, const std::filesystem::path& archive);

// Reads a whole file; empty when it can't.
std::string readFile(const std::filesystem::path& path);

// Each regular file and link below `folder` (relative path → content or link target), for comparing trees.
std::map<std::string, std::string> treeOf(const std::filesystem::path& folder);

} // namespace brivel::test
