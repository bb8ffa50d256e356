#include "pack/PackTool.h"

#include "Updater/Archive.h"
#include "Updater/Bundle.h"
#include "Updater/Manifest.h"
#include "Updater/UpdateFeed.h"
#include "Updater/UpdateLogic.h"

#include <fcntl.h>
#include <sodium.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <map>
#include <optional>
#include <ostream>
#include <string_view>
#include <system_error>
#include <variant>

namespace brivel::PackTool {
namespace {

namespace fs = std::filesystem;

constexpr int kUsage = 2;
constexpr int kWriteFailure = 1;
constexpr const char* kUsageLine =
    "usage: brivel-pack keygen SECRET_FILE | brivel-pack pack FOLDER VERSION --key SECRET_FILE --out ZIP "
    "--url URL --page PAGE_URL [--notes TEXT] [--min VERSION]";

// Started once, before the first use of any of its functions.
bool sodiumReady() {
    static const bool ready = sodium_init() >= 0;
    return ready;
}

// Why the command stopped: one line for standard error and the exit status.
struct Failure {
    std::string message;
    int status = kUsage;
};

struct PackOptions {
    fs::path folder;
    std::string version;
    fs::path key;
    fs::path out;
    std::string url;
    std::string page;
    std::optional<std::string> notes;
    std::optional<std::string> minimumSystemVersion;
};

std::variant<PackOptions, Failure> parsePack(const std::vector<std::string>& arguments) {
    std::map<std::string, std::optional<std::string>> options{
        {"--key", std::nullopt},  {"--out", std::nullopt},   {"--url", std::nullopt},
        {"--page", std::nullopt}, {"--notes", std::nullopt}, {"--min", std::nullopt},
    };
    std::vector<std::string> positional;
    for (std::size_t index = 1; index < arguments.size(); ++index) {
        const std::string& argument = arguments[index];
        if (argument.size() < 2 || argument[0] != '-') {
            positional.push_back(argument);
            continue;
        }
        const auto option = options.find(argument);
        if (option == options.end()) {
            return Failure{"unknown option " + argument};
        }
        if (index + 1 >= arguments.size()) {
            return Failure{argument + " needs a value"};
        }
        option->second = arguments[++index];
    }
    if (positional.size() != 2) {
        return Failure{positional.size() < 2 ? "pack needs FOLDER and VERSION; " + std::string(kUsageLine)
                                             : "unexpected argument " + positional[2]};
    }
    for (const char* required : {"--key", "--out", "--url", "--page"}) {
        if (!options[required]) {
            return Failure{std::string("pack needs ") + required};
        }
    }
    return PackOptions{positional[0],     positional[1],      *options["--key"],  *options["--out"],
                       *options["--url"], *options["--page"], options["--notes"], options["--min"]};
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

// Which file a path names, whatever the path's spelling: "./K", a hard link and K itself are one file.
struct Identity {
    dev_t device = 0;
    ino_t inode = 0;
    bool operator==(const Identity&) const = default;
};

Identity identityOf(const struct stat& status) {
    Identity identity;
    identity.device = status.st_dev;
    identity.inode = status.st_ino;
    return identity;
}

std::optional<Identity> identityOf(const fs::path& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        return std::nullopt;
    }
    return identityOf(status);
}

std::string_view trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(" \t\r\n");
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

struct SecretKey {
    std::string bytes;
    Identity file;
};

// The 64 bytes in base64 are 88 characters: room for a line ending and stray blanks, and no more.
constexpr std::size_t kKeyFileLimit = 128;

// The secret key of the file, checked against the public half it carries so a damaged file is caught
// before it signs anything.
std::variant<SecretKey, Failure> readSecretKey(const fs::path& path) {
    // Without O_NONBLOCK, opening a FIFO would wait for a writer before the check below could refuse it.
    const Descriptor file{::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC)};
    struct stat status {};
    if (file.fd < 0 || ::fstat(file.fd, &status) != 0) {
        return Failure{"can’t read the key file " + path.string() + ": " + std::strerror(errno)};
    }
    if (!S_ISREG(status.st_mode)) {
        return Failure{"the key file " + path.string() + " is not a regular file"};
    }
    std::string text(kKeyFileLimit + 1, '\0');
    std::size_t size = 0;
    while (size < text.size()) {
        const ssize_t count = ::read(file.fd, text.data() + size, text.size() - size);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            const int reason = errno;
            sodium_memzero(text.data(), text.size());
            return Failure{"can’t read the key file " + path.string() + ": " + std::strerror(reason)};
        }
        if (count == 0) {
            break;
        }
        size += static_cast<std::size_t>(count);
    }
    auto key = size > kKeyFileLimit
                   ? std::nullopt
                   : UpdateLogic::decodeBase64(trimmed(std::string_view(text).substr(0, size)));
    sodium_memzero(text.data(), text.size());
    if (!key || key->size() != crypto_sign_SECRETKEYBYTES) {
        return Failure{"the key file " + path.string() + " doesn’t hold a 64-byte secret key in base64"};
    }
    std::array<unsigned char, crypto_sign_PUBLICKEYBYTES> publicKey{};
    std::array<unsigned char, crypto_sign_SECRETKEYBYTES> derived{};
    crypto_sign_seed_keypair(publicKey.data(), derived.data(),
                             reinterpret_cast<const unsigned char*>(key->data()));
    const bool consistent = std::memcmp(derived.data(), key->data(), derived.size()) == 0;
    sodium_memzero(derived.data(), derived.size());
    if (!consistent) {
        sodium_memzero(key->data(), key->size());
        return Failure{"the key file " + path.string() + " holds a damaged secret key"};
    }
    return SecretKey{std::move(*key), identityOf(status)};
}

int keygen(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err) {
    if (arguments.size() != 2) {
        err << "brivel-pack: keygen needs exactly one SECRET_FILE\n";
        return kUsage;
    }
    const std::string& path = arguments[1];
    KeyPair keys = makeKeyPair();
    std::string text = UpdateLogic::encodeBase64(keys.secretKey) + "\n";
    sodium_memzero(keys.secretKey.data(), keys.secretKey.size());

    // O_EXCL: an existing key may be the one every installed copy trusts; losing it would strand them.
    const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (file < 0) {
        const int reason = errno;
        sodium_memzero(text.data(), text.size());
        if (reason == EEXIST) {
            err << "brivel-pack: " << path << " already exists; keygen never replaces a key\n";
            return kUsage;
        }
        err << "brivel-pack: can’t create " << path << ": " << std::strerror(reason) << "\n";
        return kWriteFailure;
    }
    std::size_t written = 0;
    while (written < text.size()) {
        const ssize_t count = ::write(file, text.data() + written, text.size() - written);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            break;
        }
        written += static_cast<std::size_t>(count);
    }
    const bool complete = written == text.size() && ::fsync(file) == 0;
    ::close(file);
    sodium_memzero(text.data(), text.size());
    if (!complete) {
        std::error_code ignored;
        fs::remove(path, ignored);
        err << "brivel-pack: can’t write " << path << "\n";
        return kWriteFailure;
    }
    out << keys.publicKey << "\n";
    return 0;
}

// Whether a file made at `path` would lie inside `folder`: the folders on its way, resolved, are compared
// with `folder` itself, so no spelling of the path (links, "..", a second mount) hides it.
bool isInside(const fs::path& path, const Identity& folder) {
    std::error_code error;
    fs::path current = fs::weakly_canonical(fs::absolute(path).parent_path(), error);
    if (error) {
        return false;
    }
    for (;;) {
        if (identityOf(current) == folder) {
            return true;
        }
        if (current == current.parent_path()) {
            return false;
        }
        current = current.parent_path();
    }
}

// What this tool writes: one folder holding its Info.json and MANIFEST, and nothing beside it. Anything else
// at --out is someone's file, never a release to replace.
bool isEarlierArchive(const fs::path& path) {
    const auto names = Archive::entryNames(path);
    if (!names || names->empty()) {
        return false;
    }
    const std::string top = names->front().substr(0, names->front().find('/')) + "/";
    if (names->front() != top || top == "/") {
        return false;
    }
    bool info = false;
    bool manifest = false;
    for (const std::string& name : *names) {
        if (name.rfind(top, 0) != 0) {
            return false;
        }
        info = info || name == top + Bundle::kInfoFile;
        manifest = manifest || name == top + Manifest::kFileName;
    }
    return info && manifest;
}

// Refuses an --out that would replace the key, a file of the folder or anything but an earlier archive;
// otherwise what it names now, if anything.
std::variant<std::optional<Identity>, Failure> checkOut(const fs::path& out, const Identity& folder,
                                                        const Identity& key) {
    const std::string name = out.string();
    if (isInside(out, folder)) {
        return Failure{"the archive " + name + " can’t be inside the folder it packs"};
    }
    struct stat status {};
    if (::lstat(out.c_str(), &status) != 0) {
        if (errno == ENOENT) {
            return std::optional<Identity>();
        }
        return Failure{"can’t use " + name + " for the archive: " + std::strerror(errno)};
    }
    if (identityOf(status) == key || identityOf(out) == key) {
        return Failure{name + " is the key file; --out never replaces it"};
    }
    if (!S_ISREG(status.st_mode) || !isEarlierArchive(out)) {
        return Failure{name + " exists and isn’t an archive brivel-pack wrote; --out replaces nothing else"};
    }
    return std::optional<Identity>(identityOf(status));
}

// Refuses a folder whose archive would publish the key or a file that is also --out, or that no installed
// copy could unpack: a link must stay inside the folder by the very rule the extractor applies.
std::optional<Failure> checkFolder(const fs::path& folder, const Identity& key,
                                   const std::optional<Identity>& out) {
    std::error_code error;
    for (fs::recursive_directory_iterator iterator(folder, error), end; !error && iterator != end;
         iterator.increment(error)) {
        const fs::path& path = iterator->path();
        struct stat status {};
        if (::lstat(path.c_str(), &status) != 0) {
            return Failure{"can’t read " + path.string() + ": " + std::strerror(errno)};
        }
        if (identityOf(status) == key) {
            return Failure{"the key file " + path.string() +
                           " lies inside the folder: packing would publish it"};
        }
        if (out && identityOf(status) == *out) {
            return Failure{"the archive would replace " + path.string() + ", a file of the folder it packs"};
        }
        if (S_ISLNK(status.st_mode)) {
            const fs::path target = fs::read_symlink(path, error);
            if (!error &&
                !Archive::linkStaysInside(path.lexically_relative(folder).string(), target.string())) {
                return Failure{"the link " + path.string() + " leads outside " + folder.string() + " (to " +
                               target.string() + "); installed copies would refuse the update"};
            }
        }
    }
    if (error) {
        return Failure{"can’t read " + folder.string() + ": " + error.message()};
    }
    return std::nullopt;
}

// A file beside the archive that becomes it by a rename, or is removed, so that --out is only ever an
// archive in full.
class PartialFile {
public:
    explicit PartialFile(const fs::path& out) {
        std::string name = (out.parent_path() / ("." + out.filename().string() + ".partial-XXXXXX")).string();
        m_fd = ::mkostemp(name.data(), O_CLOEXEC);
        if (m_fd >= 0) {
            m_path = name;
            // Readable as a plain write would have made it: the archive is published.
            const mode_t mask = ::umask(0);
            ::umask(mask);
            ::fchmod(m_fd, 0666 & ~mask);
        }
    }
    ~PartialFile() {
        if (m_fd >= 0) {
            ::close(m_fd);
        }
        if (!m_path.empty()) {
            ::unlink(m_path.c_str());
        }
    }
    PartialFile(const PartialFile&) = delete;
    PartialFile& operator=(const PartialFile&) = delete;

    bool created() const { return m_fd >= 0; }
    const fs::path& path() const { return m_path; }

    // The bytes as they reached the disk.
    std::optional<std::string> contents() const {
        std::string bytes;
        char block[64 * 1024];
        if (::fsync(m_fd) != 0 || ::lseek(m_fd, 0, SEEK_SET) != 0) {
            return std::nullopt;
        }
        for (;;) {
            const ssize_t count = ::read(m_fd, block, sizeof block);
            if (count < 0 && errno == EINTR) {
                continue;
            }
            if (count < 0) {
                return std::nullopt;
            }
            if (count == 0) {
                return bytes;
            }
            bytes.append(block, static_cast<std::size_t>(count));
        }
    }

    bool renameTo(const fs::path& target) {
        if (::rename(m_path.c_str(), target.c_str()) != 0) {
            return false;
        }
        m_path.clear();
        return true;
    }

private:
    int m_fd = -1;
    fs::path m_path;
};

int pack(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err) {
    auto parsed = parsePack(arguments);
    if (const auto* failure = std::get_if<Failure>(&parsed)) {
        err << "brivel-pack: " << failure->message << "\n";
        return failure->status;
    }
    const PackOptions& options = std::get<PackOptions>(parsed);

    auto key = readSecretKey(options.key);
    if (const auto* failure = std::get_if<Failure>(&key)) {
        err << "brivel-pack: " << failure->message << "\n";
        return failure->status;
    }
    SecretKey& secretKey = std::get<SecretKey>(key);
    struct Wipe {
        std::string& secret;
        ~Wipe() { sodium_memzero(secret.data(), secret.size()); }
    } wipe{secretKey.bytes};

    const auto bundle = Bundle::open(options.folder);
    const auto folder = identityOf(options.folder);
    if (!bundle || !folder) {
        err << "brivel-pack: " << options.folder.string() << " has no readable " << Bundle::kInfoFile << "\n";
        return kUsage;
    }
    if (bundle->shortVersion != options.version) {
        err << "brivel-pack: " << (options.folder / Bundle::kInfoFile).string() << " says version "
            << bundle->shortVersion.value_or("(none)") << ", not " << options.version << "\n";
        return kUsage;
    }
    const auto earlier = checkOut(options.out, *folder, secretKey.file);
    if (const auto* failure = std::get_if<Failure>(&earlier)) {
        err << "brivel-pack: " << failure->message << "\n";
        return failure->status;
    }
    if (const auto failure = checkFolder(options.folder, secretKey.file, std::get<0>(earlier))) {
        err << "brivel-pack: " << failure->message << "\n";
        return failure->status;
    }
    // The manifest goes into the archive only: the folder is the maker's, and is left as it was.
    const auto manifest = Manifest::compute(options.folder);
    if (!manifest) {
        err << "brivel-pack: " << manifest.error().message << "\n";
        return kUsage;
    }

    PartialFile partial(options.out);
    if (!partial.created()) {
        err << "brivel-pack: can’t write beside " << options.out.string() << ": " << std::strerror(errno)
            << "\n";
        return kWriteFailure;
    }
    if (const auto created =
            Archive::create(options.folder, partial.path(), {{Manifest::kFileName, manifest.value()}});
        !created) {
        err << "brivel-pack: " << created.error().message << "\n";
        return kWriteFailure;
    }
    // The signature covers the bytes as they are on disk, the very ones the feed's length describes.
    const auto archive = partial.contents();
    if (!archive) {
        err << "brivel-pack: can’t read back " << partial.path().string() << "\n";
        return kWriteFailure;
    }
    const std::string signature = sign(*archive, secretKey.bytes);
    if (!partial.renameTo(options.out)) {
        err << "brivel-pack: can’t write " << options.out.string() << ": " << std::strerror(errno) << "\n";
        return kWriteFailure;
    }

    const UpdateFeed feed{
        options.version,
        options.page,
        options.notes,
        options.minimumSystemVersion,
        UpdateFeed::Download{
            options.url,
            static_cast<std::int64_t>(archive->size()),
            signature,
        },
    };
    out << feed.encode() << "\n";
    return 0;
}

} // namespace

KeyPair makeKeyPair() {
    std::array<unsigned char, crypto_sign_PUBLICKEYBYTES> publicKey{};
    std::array<unsigned char, crypto_sign_SECRETKEYBYTES> secretKey{};
    if (!sodiumReady() || crypto_sign_keypair(publicKey.data(), secretKey.data()) != 0) {
        return {};
    }
    KeyPair keys{
        UpdateLogic::encodeBase64({reinterpret_cast<const char*>(publicKey.data()), publicKey.size()}),
        std::string(reinterpret_cast<const char*>(secretKey.data()), secretKey.size())};
    sodium_memzero(secretKey.data(), secretKey.size());
    return keys;
}

std::string sign(std::string_view data, std::string_view secretKey) {
    if (!sodiumReady() || secretKey.size() != crypto_sign_SECRETKEYBYTES) {
        return {};
    }
    std::array<unsigned char, crypto_sign_BYTES> signature{};
    crypto_sign_detached(signature.data(), nullptr, reinterpret_cast<const unsigned char*>(data.data()),
                         data.size(), reinterpret_cast<const unsigned char*>(secretKey.data()));
    return UpdateLogic::encodeBase64({reinterpret_cast<const char*>(signature.data()), signature.size()});
}

int run(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err) {
    if (!sodiumReady()) {
        err << "brivel-pack: the cryptography library couldn’t be started\n";
        return kWriteFailure;
    }
    if (arguments.empty()) {
        err << "brivel-pack: " << kUsageLine << "\n";
        return kUsage;
    }
    if (arguments[0] == "keygen") {
        return keygen(arguments, out, err);
    }
    if (arguments[0] == "pack") {
        return pack(arguments, out, err);
    }
    err << "brivel-pack: unknown command " << arguments[0] << "; " << kUsageLine << "\n";
    return kUsage;
}

} // namespace brivel::PackTool
