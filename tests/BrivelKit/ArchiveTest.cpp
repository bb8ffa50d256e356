#include "Updater/Archive.h"

#include "Updater/Manifest.h"
#include "support/KitFixtures.h"
#include "support/KitTesting.h"
#include "support/ScratchDirectory.h"

#include <archive.h>
#include <archive_entry.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <functional>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

namespace brivel::test {
namespace {

namespace fs = std::filesystem;
using vitrek::test::ScratchDirectory;

const std::string kRefusal = "The update couldn’t be downloaded. The archive entry “";

// One entry of a hand-made archive: `mode` carries the type (0100644, 0120777, 040755) and `data` is the
// file's content or the link's target.
struct Entry {
    std::string path;
    unsigned mode = 0100644;
    std::string data;
};

// A zip written entry by entry, the way a hostile packer could write one: nothing is cleaned up.
std::string zipOf(const std::vector<Entry>& entries) {
    std::string bytes;
    archive* writer = archive_write_new();
    archive_write_set_format_zip(writer);
    archive_write_set_bytes_in_last_block(writer, 1);
    const auto append = [](archive*, void* sink, const void* data, std::size_t size) -> la_ssize_t {
        static_cast<std::string*>(sink)->append(static_cast<const char*>(data), size);
        return static_cast<la_ssize_t>(size);
    };
    archive_write_open(writer, &bytes, nullptr, append, nullptr);
    for (const Entry& item : entries) {
        archive_entry* entry = archive_entry_new();
        archive_entry_set_pathname(entry, item.path.c_str());
        archive_entry_set_mode(entry, item.mode);
        if (S_ISLNK(item.mode)) {
            archive_entry_set_symlink(entry, item.data.c_str());
        } else {
            archive_entry_set_size(entry, static_cast<la_int64_t>(item.data.size()));
        }
        EXPECT_EQ(archive_write_header(writer, entry), ARCHIVE_OK) << item.path;
        if (S_ISREG(item.mode)) {
            archive_write_data(writer, item.data.data(), item.data.size());
        }
        archive_entry_free(entry);
    }
    archive_write_close(writer);
    archive_write_free(writer);
    return bytes;
}

// The zip writer only stores files, folders and links, so a device or socket entry is made by rewriting the
// type in the central directory, which is where the reader takes it from. (The reader itself turns a FIFO
// into a plain file.)
std::string retyped(std::string zip, const std::string& path, unsigned mode) {
    for (std::size_t at = zip.find("PK\x01\x02"); at != std::string::npos;
         at = zip.find("PK\x01\x02", at + 4)) {
        const auto byte = [&](std::size_t offset) { return static_cast<unsigned char>(zip[at + offset]); };
        const std::size_t nameLength = byte(28) | byte(29) << 8;
        if (zip.compare(at + 46, nameLength, path) == 0) {
            zip[at + 40] = static_cast<char>(mode & 0xff);
            zip[at + 41] = static_cast<char>(mode >> 8 & 0xff);
        }
    }
    return zip;
}

TEST(ArchiveTest, ARoundTripGivesBackTheTreeWithModesAndLinks) {
    const ScratchDirectory scratch("brivel-archive");
    const fs::path program = scratch.path() / "source/Vitrek";
    writeProgram(program, "app.brivel.test", "1.0");
    fs::permissions(program / "share/notes.txt", fs::perms(0640), fs::perm_options::replace);
    fs::create_symlink("libdemo.so", program / "lib/libdemo.so.1");
    fs::create_symlink("../share", program / "bin/share");
    fs::create_symlink(".", program / "self");

    const std::string zip = packProgram(program, scratch.path() / "one.zip");
    ASSERT_FALSE(zip.empty());
    // Archived again as it is: packing anew would rewrite the manifest, whose time may then be a second
    // later.
    ASSERT_TRUE(Archive::create(program, scratch.path() / "two.zip"));
    EXPECT_EQ(readFile(scratch.path() / "two.zip"), zip) << "the same tree gives the same bytes";
    const auto names = Archive::entryNames(scratch.path() / "one.zip");
    ASSERT_TRUE(names && !names->empty());
    EXPECT_EQ(names->front(), "Vitrek/");

    const fs::path destination = scratch.path() / "staged";
    fs::create_directory(destination);
    const auto extracted = Archive::extract(zip, destination);
    ASSERT_TRUE(extracted) << extracted.error().message;
    const fs::path copy = destination / "Vitrek";
    EXPECT_EQ(treeOf(copy), treeOf(program));
    EXPECT_EQ(fs::status(copy / "bin/vitrek").permissions(), fs::perms(0755));
    EXPECT_EQ(fs::status(copy / "share/notes.txt").permissions(), fs::perms(0640));

    // Named through a link, the folder is still archived as a folder.
    fs::create_symlink("Vitrek", scratch.path() / "source/Alias");
    ASSERT_TRUE(Archive::create(scratch.path() / "source/Alias", scratch.path() / "alias.zip"));
    ASSERT_TRUE(Archive::extract(readFile(scratch.path() / "alias.zip"), destination));
    EXPECT_EQ(treeOf(destination / "Alias"), treeOf(program));
}

TEST(ArchiveTest, EntriesThatCouldLandOutsideFailTheWholeUnpackingAndWriteNothingThere) {
    const ScratchDirectory scratch("brivel-archive");
    const fs::path destination = scratch.path() / "cache/BrivelUpdate/1.1";
    fs::create_directories(destination);
    const std::string absolute = (scratch.path() / "cache/abs-file").string();

    struct Case {
        std::string zip;
        std::string refused; // the entry the message names
    };
    const std::vector<Case> cases{
        {zipOf({{"Vitrek/ok.txt", 0100644, "fine"}, {"../escape", 0100644, "out"}}), "../escape"},
        {zipOf({{"Vitrek/../../escape", 0100644, "out"}}), "Vitrek/../../escape"},
        {zipOf({{absolute, 0100644, "out"}}), absolute},
        {zipOf({{"link", 0120777, "/etc"}, {"link/escape", 0100644, "out"}}), "link"},
        {zipOf({{"Vitrek/up", 0120777, "../.."}, {"Vitrek/up/escape", 0100644, "out"}}), "Vitrek/up"},
        // "here" leads back to the destination, so "here/.." is its parent although it reads as inside.
        {zipOf({{"Vitrek/here", 0120777, ".."},
                {"Vitrek/up", 0120777, "here/.."},
                {"Vitrek/up/escape", 0100644, "out"}}),
         "Vitrek/up"},
        {zipOf({{"Vitrek/share", 040755, ""},
                {"Vitrek/lib", 0120777, "share"},
                {"Vitrek/lib/x", 0100644, "x"}}),
         "Vitrek/lib/x"},
        {retyped(zipOf({{"Vitrek/socket", 0100604, ""}}), "Vitrek/socket", S_IFSOCK | 0604), "Vitrek/socket"},
        {retyped(zipOf({{"Vitrek/tty", 0100604, ""}}), "Vitrek/tty", S_IFCHR | 0604), "Vitrek/tty"},
    };
    for (const Case& item : cases) {
        const auto extracted = Archive::extract(item.zip, destination);
        ASSERT_FALSE(extracted) << item.refused;
        EXPECT_EQ(extracted.error().message.rfind(kRefusal + item.refused + "”", 0), 0u)
            << extracted.error().message;
        fs::remove_all(destination);
        fs::create_directories(destination);
        // Nothing landed outside: the scratch folder holds the emptied destination and its parents only.
        EXPECT_EQ(std::distance(fs::recursive_directory_iterator(scratch.path()), {}), 3) << item.refused;
    }
}

TEST(ArchiveTest, BytesThatAreNoSoundZipFail) {
    const ScratchDirectory scratch("brivel-archive");
    writeProgram(scratch.path() / "Vitrek", "app.brivel.test", "1.0", std::nullopt, std::nullopt,
                 {{"share/big.bin", noise(200'000)}});
    const std::string zip = packProgram(scratch.path() / "Vitrek", scratch.path() / "good.zip");
    std::string damaged = zip;
    damaged[zip.size() / 2] = static_cast<char>(damaged[zip.size() / 2] ^ 0x55);

    const std::vector<std::string> inputs{"", "PK not really a zip", zip.substr(0, zip.size() / 2), damaged};
    for (const std::string& input : inputs) {
        const fs::path destination = scratch.path() / "staged";
        fs::create_directory(destination);
        const auto extracted = Archive::extract(input, destination);
        ASSERT_FALSE(extracted) << input.size();
        EXPECT_EQ(extracted.error().message.rfind("The update couldn’t be downloaded. ", 0), 0u);
        fs::remove_all(destination);
    }
}

// SHA-256 of "abc" and of nothing, the standard's own test vectors.
constexpr const char* kHashOfABC = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";
constexpr const char* kHashOfNothing = "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";

TEST(ManifestTest, ListsFilesAndLinksByPathWithHashAndModeButNotItself) {
    const ScratchDirectory scratch("brivel-manifest");
    scratch.write("b/tool", "");
    scratch.write("a.txt", "abc");
    scratch.write("MANIFEST", "an older one");
    fs::permissions(scratch.path() / "a.txt", fs::perms(0644), fs::perm_options::replace);
    fs::permissions(scratch.path() / "b/tool", fs::perms(0755), fs::perm_options::replace);
    fs::create_symlink("abc", scratch.path() / "b/link");
    fs::create_directory(scratch.path() / "empty");

    const auto text = Manifest::compute(scratch.path());
    ASSERT_TRUE(text) << text.error().message;
    EXPECT_EQ(text.value(), std::string(kHashOfABC) + " 100644 a.txt\n" + kHashOfABC + " 120777 b/link\n" +
                                kHashOfNothing + " 100755 b/tool\n");
}

TEST(ManifestTest, AnyChangeAfterWritingIsCaught) {
    const std::vector<std::pair<const char*, std::function<void(const fs::path&)>>> changes{
        // Changed, added and removed files and modes are the updater's refusals; these are the rest.
        {"link retargeted",
         [](const fs::path& folder) {
             fs::remove(folder / "lib/current");
             fs::create_symlink("libother.so", folder / "lib/current");
         }},
        {"FIFO added", [](const fs::path& folder) { ::mkfifo((folder / "share/pipe").c_str(), 0644); }},
        {"manifest deleted", [](const fs::path& folder) { fs::remove(folder / Manifest::kFileName); }},
        {"manifest unreadable",
         [](const fs::path& folder) {
             fs::remove(folder / Manifest::kFileName);
             fs::create_directory(folder / Manifest::kFileName);
         }},
    };
    for (const auto& [change, apply] : changes) {
        const ScratchDirectory scratch("brivel-manifest");
        const fs::path folder = scratch.path() / "Vitrek";
        writeProgram(folder, "app.brivel.test", "1.0");
        fs::create_symlink("libdemo.so", folder / "lib/current");
        ASSERT_TRUE(Manifest::write(folder));
        ASSERT_TRUE(Manifest::matches(folder)) << change;
        apply(folder);
        EXPECT_FALSE(Manifest::matches(folder)) << change;
    }
}

} // namespace
} // namespace brivel::test
