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
#include <fstream>
#include <map>
#include <optional>
#include <ostream>
#include <sstream>
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

std::optional<std::string> readFile(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        return std::nullopt;
    }
    std::ostringstream contents;
    contents << file.rdbuf();
    if (file.bad()) {
        return std::nullopt;
    }
    return contents.str();
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

std::string_view trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(" \t\r\n");
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

// The 64 bytes in base64 are 88 characters: room for a line ending and stray blanks, and no more.
constexpr std::size_t kKeyFileLimit = 128;

// The secret key of the file, checked against the public half it carries so a damaged file is caught
// before it signs anything.
std::variant<std::string, Failure> readSecretKey(const fs::path& path) {
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
    return std::move(*key);
}

int keygen(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err) {
    if (arguments.size() != 2) {
        err << "brivel-pack: keygen needs exactly one SECRET_FILE\n";
        return kUsage;
    }
    const std::string& path = arguments[1];
    std::array<unsigned char, crypto_sign_PUBLICKEYBYTES> publicKey{};
    std::array<unsigned char, crypto_sign_SECRETKEYBYTES> secretKey{};
    crypto_sign_keypair(publicKey.data(), secretKey.data());
    std::string text =
        UpdateLogic::encodeBase64({reinterpret_cast<const char*>(secretKey.data()), secretKey.size()}) + "\n";
    sodium_memzero(secretKey.data(), secretKey.size());

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
    out << UpdateLogic::encodeBase64({reinterpret_cast<const char*>(publicKey.data()), publicKey.size()})
        << "\n";
    return 0;
}

// Whether `path` is `folder` or lies inside it (both compared by their resolved form).
bool isInside(const fs::path& path, const fs::path& folder) {
    std::error_code error;
    const fs::path resolvedPath = fs::weakly_canonical(path, error);
    const fs::path resolvedFolder = fs::weakly_canonical(folder, error);
    if (error) {
        return false;
    }
    const auto relative = resolvedPath.lexically_relative(resolvedFolder);
    return !relative.empty() && *relative.begin() != "..";
}

// Refuses a folder that no installed copy could unpack: a link must stay inside the folder by the very rule
// the extractor applies.
std::optional<Failure> checkFolder(const fs::path& folder) {
    std::error_code error;
    for (fs::recursive_directory_iterator iterator(folder, error), end; !error && iterator != end;
         iterator.increment(error)) {
        const fs::path& path = iterator->path();
        struct stat status {};
        if (::lstat(path.c_str(), &status) != 0) {
            return Failure{"can’t read " + path.string() + ": " + std::strerror(errno)};
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
    std::string& secretKey = std::get<std::string>(key);
    struct Wipe {
        std::string& secret;
        ~Wipe() { sodium_memzero(secret.data(), secret.size()); }
    } wipe{secretKey};

    const auto bundle = Bundle::open(options.folder);
    if (!bundle) {
        err << "brivel-pack: " << options.folder.string() << " has no readable " << Bundle::kInfoFile << "\n";
        return kUsage;
    }
    if (bundle->shortVersion != options.version) {
        err << "brivel-pack: " << (options.folder / Bundle::kInfoFile).string() << " says version "
            << bundle->shortVersion.value_or("(none)") << ", not " << options.version << "\n";
        return kUsage;
    }
    if (isInside(options.out, options.folder)) {
        err << "brivel-pack: the archive " << options.out.string()
            << " can’t be inside the folder it packs\n";
        return kUsage;
    }
    if (const auto failure = checkFolder(options.folder)) {
        err << "brivel-pack: " << failure->message << "\n";
        return failure->status;
    }

    // The manifest goes into the archive only: the folder is the maker's, and is left as it was.
    const auto manifest = Manifest::compute(options.folder);
    if (!manifest) {
        err << "brivel-pack: " << manifest.error().message << "\n";
        return kUsage;
    }
    if (const auto created =
            Archive::create(options.folder, options.out, {{Manifest::kFileName, manifest.value()}});
        !created) {
        err << "brivel-pack: " << created.error().message << "\n";
        return kWriteFailure;
    }
    // The signature covers the bytes as they are on disk, the very ones the feed's length describes.
    const auto archive = readFile(options.out);
    if (!archive) {
        err << "brivel-pack: can’t read back " << options.out.string() << "\n";
        return kWriteFailure;
    }
    std::array<unsigned char, crypto_sign_BYTES> signature{};
    crypto_sign_detached(signature.data(), nullptr, reinterpret_cast<const unsigned char*>(archive->data()),
                         archive->size(), reinterpret_cast<const unsigned char*>(secretKey.data()));

    const UpdateFeed feed{
        options.version,
        options.page,
        options.notes,
        options.minimumSystemVersion,
        UpdateFeed::Download{
            options.url,
            static_cast<std::int64_t>(archive->size()),
            UpdateLogic::encodeBase64({reinterpret_cast<const char*>(signature.data()), signature.size()}),
        },
    };
    out << feed.encode() << "\n";
    return 0;
}

} // namespace

int run(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err) {
    static const bool sodiumReady = sodium_init() >= 0;
    if (!sodiumReady) {
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
