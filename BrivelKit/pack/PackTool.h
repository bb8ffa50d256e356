#pragma once

#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

namespace brivel::PackTool {

// `brivel-pack` with its arguments (without the program name):
//   keygen SECRET_FILE
//       makes an Ed25519 key pair, writes the 64-byte secret key in base64 to SECRET_FILE (mode 0600;
//       never over an existing file) and prints the public key (base64 of 32 bytes) for
//       "BrivelUpdatePublicKey".
//   pack FOLDER VERSION --key SECRET_FILE --out ZIP --url URL --page PAGE_URL [--notes TEXT] [--min VERSION]
//       checks that FOLDER/Info.json says VERSION and that every symbolic link in FOLDER stays inside it by
//       the rule installed copies unpack with, zips FOLDER with its MANIFEST (computed into the archive only:
//       FOLDER is left as it is) to ZIP, signs the archive and prints the feed JSON. SECRET_FILE is read only
//       when it is a regular file of a key's size and must not lie inside FOLDER. ZIP is written beside and
//       renamed into place; an existing ZIP is replaced only when it is an earlier archive of this tool (a
//       zip of one folder holding its Info.json and MANIFEST), never when it is the key or a file of FOLDER.
// Errors are one line "brivel-pack: …" on `err`; returns 0, or 2 for bad usage or input, 1 for a failure
// writing.
int run(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err);

// A new Ed25519 key pair: the public key in base64, as "BrivelUpdatePublicKey" holds it, and the 64-byte
// secret key as it is. Empty when the cryptography library can't be started.
struct KeyPair {
    std::string publicKey;
    std::string secretKey;
};
KeyPair makeKeyPair();

// The Ed25519 signature of `data` by the 64-byte `secretKey`, in base64 as the feed carries it; empty for a
// key of another size.
std::string sign(std::string_view data, std::string_view secretKey);

} // namespace brivel::PackTool
