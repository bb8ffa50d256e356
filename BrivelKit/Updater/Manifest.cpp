#include "Updater/Manifest.h"

#include <fcntl.h>
#include <openssl/evp.h>
#include <sodium.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <optional>
#include <sstream>
#include <system_error>
#include <utility>
#include <vector>

namespace brivel::Manifest {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kBlockSize = 256 * 1024;
constexpr std::size_t kDigestSize = 32;

UpdateError unreadable(const fs::path& path, const std::string& reason) {
    return UpdateError{"Can’t read " + path.string() + ": " + reason};
}

using Digest = std::array<unsigned char, kDigestSize>;

// SHA-256 through OpenSSL, which uses the processor's SHA instructions where it has them: the manifest of
// a large update is hashed in full on every install, and this is several times faster than portable code.
class Sha256 {
public:
    Sha256() : m_context(EVP_MD_CTX_new()) {
        m_ok = m_context != nullptr && EVP_DigestInit_ex(m_context, EVP_sha256(), nullptr) == 1;
    }
    ~Sha256() { EVP_MD_CTX_free(m_context); }
    Sha256(const Sha256&) = delete;
    Sha256& operator=(const Sha256&) = delete;

    void update(const void* data, std::size_t size) {
        m_ok = m_ok && EVP_DigestUpdate(m_context, data, size) == 1;
    }
    // Absent when the library failed.
    std::optional<Digest> finish() {
        Digest digest{};
        unsigned int size = 0;
        m_ok = m_ok && EVP_DigestFinal_ex(m_context, digest.data(), &size) == 1 && size == kDigestSize;
        return m_ok ? std::optional<Digest>(digest) : std::nullopt;
    }

private:
    EVP_MD_CTX* m_context;
    bool m_ok = false;
};

std::string hex(const Digest& digest) {
    std::string text(digest.size() * 2 + 1, '\0');
    sodium_bin2hex(text.data(), text.size(), digest.data(), digest.size());
    text.pop_back();
    return text;
}

// Closes a descriptor when it goes out of scope.
struct Descriptor {
    int fd = -1;
    ~Descriptor() {
        if (fd >= 0) {
            ::close(fd);
        }
    }
};

// The file's hash and its mode, both from the one opened file, so the line describes a single version of it.
Result<std::string> fileLine(const fs::path& path) {
    Descriptor file{::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC)};
    struct stat status {};
    if (file.fd < 0 || ::fstat(file.fd, &status) != 0) {
        return unreadable(path, std::strerror(errno));
    }
    Sha256 hash;
    std::vector<unsigned char> block(kBlockSize);
    for (;;) {
        const ssize_t count = ::read(file.fd, block.data(), block.size());
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            return unreadable(path, std::strerror(errno));
        }
        if (count == 0) {
            break;
        }
        hash.update(block.data(), static_cast<std::size_t>(count));
    }
    const auto digest = hash.finish();
    if (!digest) {
        return unreadable(path, "it couldn’t be hashed");
    }
    char mode[16];
    std::snprintf(mode, sizeof mode, "%o", static_cast<unsigned>(status.st_mode));
    return hex(*digest) + " " + mode;
}

Result<std::string> linkLine(const fs::path& path, mode_t mode) {
    std::error_code error;
    const std::string target = fs::read_symlink(path, error).string();
    if (error) {
        return unreadable(path, error.message());
    }
    Sha256 hash;
    hash.update(target.data(), target.size());
    const auto digest = hash.finish();
    if (!digest) {
        return unreadable(path, "it couldn’t be hashed");
    }
    char text[16];
    std::snprintf(text, sizeof text, "%o", static_cast<unsigned>(mode));
    return hex(*digest) + " " + text;
}

} // namespace

Result<std::string> compute(const std::filesystem::path& folder) {
    if (sodium_init() < 0) {
        return UpdateError{"The hashing library couldn’t be started."};
    }
    std::vector<std::pair<std::string, std::string>> lines; // path → "hash mode"
    std::vector<std::string> pending{""};
    while (!pending.empty()) {
        const std::string prefix = pending.back();
        pending.pop_back();
        const fs::path directory = prefix.empty() ? folder : folder / prefix;
        std::error_code error;
        fs::directory_iterator iterator(directory, error);
        for (; !error && iterator != fs::directory_iterator(); iterator.increment(error)) {
            const std::string name = iterator->path().filename().string();
            const std::string relative = prefix.empty() ? name : prefix + "/" + name;
            if (relative == kFileName) {
                continue;
            }
            if (relative.find('\n') != std::string::npos) {
                return UpdateError{"A file name holds a line break: " + relative};
            }
            struct stat status {};
            if (::lstat(iterator->path().c_str(), &status) != 0) {
                return unreadable(iterator->path(), std::strerror(errno));
            }
            if (S_ISDIR(status.st_mode)) {
                pending.push_back(relative);
                continue;
            }
            // A device or FIFO is never part of a program, and opening a FIFO would wait forever.
            if (!S_ISREG(status.st_mode) && !S_ISLNK(status.st_mode)) {
                return UpdateError{iterator->path().string() + " is not a file, folder or link."};
            }
            auto line = S_ISLNK(status.st_mode) ? linkLine(iterator->path(), status.st_mode)
                                                : fileLine(iterator->path());
            if (!line) {
                return line.error();
            }
            lines.emplace_back(relative, std::move(line.value()));
        }
        if (error) {
            return unreadable(directory, error.message());
        }
    }
    std::sort(lines.begin(), lines.end());
    std::string text;
    for (const auto& [path, line] : lines) {
        text += line + " " + path + "\n";
    }
    return text;
}

Result<Done> write(const std::filesystem::path& folder) {
    const auto text = compute(folder);
    if (!text) {
        return text.error();
    }
    // Written beside and renamed over, so a packer stopped halfway never leaves a half manifest.
    const fs::path target = folder / kFileName;
    const fs::path partial = folder / (std::string(kFileName) + ".partial");
    {
        std::ofstream file(partial, std::ios::binary | std::ios::trunc);
        file << text.value();
        if (!file.flush()) {
            std::error_code ignored;
            fs::remove(partial, ignored);
            return UpdateError{"Can’t write " + partial.string()};
        }
    }
    std::error_code error;
    fs::rename(partial, target, error);
    if (error) {
        fs::remove(partial, error);
        return UpdateError{"Can’t write " + target.string() + ": " + error.message()};
    }
    return Done{};
}

bool matches(const std::filesystem::path& folder) {
    std::ifstream file(folder / kFileName, std::ios::binary);
    if (!file) {
        return false;
    }
    std::ostringstream recorded;
    recorded << file.rdbuf();
    if (!file.good() && !file.eof()) {
        return false;
    }
    const auto actual = compute(folder);
    return actual && actual.value() == recorded.str();
}

} // namespace brivel::Manifest
