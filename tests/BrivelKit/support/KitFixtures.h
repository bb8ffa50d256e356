#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>

namespace brivel::test {

// An Ed25519 key pair made for one test: base64 of the 32-byte public key and of the 64-byte secret key.
struct KeyPair {
    std::string publicKey;
    std::string secretKey;
};
KeyPair makeKeyPair();

// Signs `data` with `secretKey` (base64) and returns the base64 signature.
std::string sign(const std::string& data, const std::string& secretKey);

// Writes a program folder at `folder`: Info.json with the identifier, name, version and the optional feed
// address and public key; bin/vitrek (an executable shell script printing the version); lib/libdemo.so
// (some bytes); share/notes.txt. `extra` adds files (relative path → content).
void writeProgram(const std::filesystem::path& folder, const std::string& identifier, const std::string& version,
                  const std::optional<std::string>& feedURL = std::nullopt,
                  const std::optional<std::string>& publicKey = std::nullopt,
                  const std::map<std::string, std::string>& extra = {});

// Manifest written, folder zipped: the archive's bytes.
std::string packProgram(const std::filesystem::path& folder, const std::filesystem::path& archive);

// Reads a whole file; empty when it can't.
std::string readFile(const std::filesystem::path& path);

// Each regular file and link below `folder` (relative path → content or link target), for comparing trees.
std::map<std::string, std::string> treeOf(const std::filesystem::path& folder);

} // namespace brivel::test
