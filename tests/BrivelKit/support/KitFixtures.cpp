#include "support/KitFixtures.h"

#include "Updater/Archive.h"
#include "Updater/Manifest.h"

#include <nlohmann/json.hpp>

#include <fstream>
#include <sstream>
#include <system_error>

namespace brivel::test {
namespace {

namespace fs = std::filesystem;

void writeFile(const fs::path& path, const std::string& content) {
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
}

} // namespace

void writeProgram(const fs::path& folder, const std::string& identifier, const std::string& version,
                  const std::optional<std::string>& feedURL, const std::optional<std::string>& publicKey,
                  const std::map<std::string, std::string>& extra) {
    nlohmann::json info{
        {"id", identifier},
        {"name", "Vitrek"},
        {"version", version},
    };
    if (feedURL) {
        info["BrivelUpdateFeedURL"] = *feedURL;
    }
    if (publicKey) {
        info["BrivelUpdatePublicKey"] = *publicKey;
    }
    writeFile(folder / "Info.json", info.dump(4) + "\n");
    writeFile(folder / "bin/vitrek", "#!/bin/sh\necho " + version + "\n");
    fs::permissions(folder / "bin/vitrek", fs::perms(0755), fs::perm_options::replace);
    writeFile(folder / "lib/libdemo.so", std::string("\x7f") + "ELF demo library " + version);
    writeFile(folder / "share/notes.txt", "Notes for version " + version + ".\n");
    for (const auto& [path, content] : extra) {
        writeFile(folder / path, content);
    }
}

std::string packProgram(const fs::path& folder, const fs::path& archive) {
    if (!Manifest::write(folder) || !Archive::create(folder, archive)) {
        return {};
    }
    return readFile(archive);
}

std::string readFile(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream contents;
    if (file) {
        contents << file.rdbuf();
    }
    return contents.str();
}

std::map<std::string, std::string> treeOf(const fs::path& folder) {
    std::map<std::string, std::string> tree;
    std::error_code error;
    for (fs::recursive_directory_iterator iterator(folder, error), end; !error && iterator != end;
         iterator.increment(error)) {
        const auto relative = iterator->path().lexically_relative(folder).generic_string();
        if (iterator->is_symlink(error)) {
            tree[relative] = fs::read_symlink(iterator->path(), error).string();
        } else if (iterator->is_regular_file(error)) {
            tree[relative] = readFile(iterator->path());
        }
    }
    return tree;
}

} // namespace brivel::test
