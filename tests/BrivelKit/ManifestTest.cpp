#include "Updater/Manifest.h"

#include "support/KitFixtures.h"
#include "support/ScratchDirectory.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace brivel::test {
namespace {

namespace fs = std::filesystem;
using vitrek::test::ScratchDirectory;

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
