#include "pack/PackTool.h"

#include "Updater/Archive.h"
#include "Updater/Manifest.h"
#include "Updater/UpdateFeed.h"
#include "Updater/UpdateLogic.h"
#include "support/KitFixtures.h"
#include "support/ScratchDirectory.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <future>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

namespace brivel::test {
namespace {

namespace fs = std::filesystem;
using vitrek::test::ScratchDirectory;

struct Outcome {
    int status = -1;
    std::string out;
    std::string err;
};

Outcome runTool(const std::vector<std::string>& arguments) {
    std::ostringstream out;
    std::ostringstream err;
    const int status = PackTool::run(arguments, out, err);
    return Outcome{status, out.str(), err.str()};
}

// "pack" with the required addresses.
std::vector<std::string> packArguments(const fs::path& folder, const std::string& version,
                                       const fs::path& key, const fs::path& zip) {
    return {"pack",
            folder.string(),
            version,
            "--key",
            key.string(),
            "--out",
            zip.string(),
            "--url",
            "https://example.org/v.zip",
            "--page",
            "https://example.org/"};
}

// Refused: status 2, nothing printed, one line that names the tool.
void expectRefused(const Outcome& outcome, const std::string& what) {
    EXPECT_EQ(outcome.status, 2) << what;
    EXPECT_EQ(outcome.out, "") << what;
    EXPECT_EQ(outcome.err.rfind("brivel-pack: ", 0), 0u) << outcome.err;
    EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
}

std::string withoutNewline(std::string text) {
    if (!text.empty() && text.back() == '\n') {
        text.pop_back();
    }
    return text;
}

// The printed feed describes the archive on disk exactly and is signed by the printed key's partner.
void expectPublished(const std::string& printed, const std::string& publicKey, const fs::path& zip) {
    ASSERT_FALSE(printed.empty());
    EXPECT_EQ(printed.back(), '\n');
    const auto feed = UpdateFeed::decode(printed);
    ASSERT_TRUE(feed) << printed;
    ASSERT_TRUE(feed->download);
    const std::string archive = readFile(zip);
    EXPECT_EQ(feed->download->length, static_cast<std::int64_t>(fs::file_size(zip)));
    EXPECT_TRUE(UpdateLogic::verify(archive, feed->download->edSignature, withoutNewline(publicKey)));
}

TEST(PackToolTest, PackPublishesASignedFeedForTheArchiveItWrote) {
    const ScratchDirectory scratch("brivel-pack");
    const std::string secret = (scratch.path() / "release.key").string();
    const Outcome keygen = runTool({"keygen", secret});
    ASSERT_EQ(keygen.status, 0) << keygen.err;
    EXPECT_EQ(fs::status(secret).permissions(), fs::perms(0600));
    const auto publicKey = UpdateLogic::decodeBase64(withoutNewline(keygen.out));
    ASSERT_TRUE(publicKey);
    EXPECT_EQ(publicKey->size(), 32u);

    const fs::path folder = scratch.path() / "Vitrek";
    writeProgram(folder, "app.brivel.test", "1.1", std::nullopt, std::nullopt,
                 {{"MANIFEST", "an older one"}});
    const auto tree = treeOf(folder);
    const std::string zip = (scratch.path() / "Vitrek-1.1.zip").string();
    const Outcome packed =
        runTool({"pack", folder.string(), "1.1", "--key", secret, "--out", zip, "--url",
                 "https://example.org/Vitrek-1.1.zip", "--page", "https://example.org/vitrek", "--notes",
                 "Faster nights.", "--min", "2.31"});
    ASSERT_EQ(packed.status, 0) << packed.err;
    EXPECT_EQ(packed.err, "");
    expectPublished(packed.out, keygen.out, zip);
    const auto feed = UpdateFeed::decode(packed.out);
    ASSERT_TRUE(feed);
    EXPECT_EQ(*feed, (UpdateFeed{"1.1", "https://example.org/vitrek", "Faster nights.", "2.31",
                                 UpdateFeed::Download{"https://example.org/Vitrek-1.1.zip",
                                                      feed->download->length, feed->download->edSignature}}));

    // The manifest travels inside the signed archive only, in place of any stale one in the folder, and
    // vouches for the unpacked tree.
    EXPECT_EQ(treeOf(folder), tree);
    const fs::path staged = scratch.path() / "staged";
    fs::create_directory(staged);
    ASSERT_TRUE(Archive::extract(readFile(zip), staged));
    EXPECT_TRUE(Manifest::matches(staged / "Vitrek"));

    const Outcome failed =
        runTool(packArguments(folder, "1.1", secret, scratch.path() / "missing/Vitrek-1.1.zip"));
    EXPECT_EQ(failed.status, 1);
    EXPECT_EQ(treeOf(folder), tree) << "a failed pack leaves the folder as it was";
}

TEST(PackToolTest, BadUsageAndInputExitTwoWithOneLine) {
    const ScratchDirectory scratch("brivel-pack");
    const std::string secret = (scratch.path() / "release.key").string();
    ASSERT_EQ(runTool({"keygen", secret}).status, 0);
    const std::string original = readFile(secret);
    scratch.write("short.key", UpdateLogic::encodeBase64(std::string(32, 'k')) + "\n");
    const std::string shortKey = (scratch.path() / "short.key").string();
    const std::string program = (scratch.path() / "Vitrek").string();
    writeProgram(program, "app.brivel.test", "1.1");
    scratch.write("Bare/bin/vitrek", "#!/bin/sh\n");
    const std::string zip = (scratch.path() / "out.zip").string();
    const auto pack = [&](const std::string& folder, const std::string& version, const std::string& key) {
        return packArguments(folder, version, key, zip);
    };
    auto withBogus = pack(program, "1.1", secret);
    withBogus.push_back("--bogus");
    auto missingValue = pack(program, "1.1", secret);
    missingValue.push_back("--notes");
    auto missingPage = pack(program, "1.1", secret);
    missingPage.resize(missingPage.size() - 2);

    const std::vector<std::vector<std::string>> cases{
        {},
        {"publish"},
        {"keygen"},
        {"keygen", secret}, // never replaces a key
        withBogus,
        missingValue,
        missingPage,
        pack(program, "1.1", (scratch.path() / "missing.key").string()),
        pack(program, "1.1", shortKey),
        pack((scratch.path() / "Bare").string(), "1.1", secret),
        pack(program, "1.2", secret),
    };
    for (const auto& arguments : cases) {
        expectRefused(runTool(arguments), arguments.empty() ? "" : arguments.back());
    }
    EXPECT_EQ(readFile(secret), original);
    EXPECT_FALSE(fs::exists(zip));
    EXPECT_FALSE(fs::exists(fs::path(program) / "MANIFEST"))
        << "nothing is written before the input is checked";
}

TEST(PackToolTest, OutReplacesOnlyAnEarlierArchiveAndNeverTheKeyOrAnInput) {
    const ScratchDirectory scratch("brivel-pack");
    const fs::path secret = scratch.path() / "release.key";
    const Outcome keygen = runTool({"keygen", secret.string()});
    ASSERT_EQ(keygen.status, 0);
    const fs::path folder = scratch.path() / "Vitrek";
    writeProgram(folder, "app.brivel.test", "1.1");
    fs::copy_file(secret, folder / "release.key");
    fs::create_hard_link(secret, scratch.path() / "key-link");
    fs::create_symlink(secret, scratch.path() / "key-alias.zip");
    fs::create_hard_link(folder / "share/notes.txt", scratch.path() / "notes.zip");
    scratch.write("draft.zip", "not an archive");
    writeProgram(scratch.path() / "Other", "app.brivel.other", "1.0");
    ASSERT_TRUE(Archive::create(scratch.path() / "Other", scratch.path() / "other.zip"))
        << "a zip without a manifest is not one this tool wrote";
    const auto pack = [&](const fs::path& key, const fs::path& zip) {
        return runTool(packArguments(folder, "1.1", key, zip));
    };

    const std::vector<std::pair<fs::path, fs::path>> refused{
        {secret, secret},
        {secret, scratch.path() / "." / "release.key"},
        {secret, scratch.path() / "key-link"},
        {secret, scratch.path() / "key-alias.zip"},
        {secret, scratch.path() / "notes.zip"},
        {secret, scratch.path() / "draft.zip"},
        {secret, scratch.path() / "other.zip"},
        {secret, folder / "Vitrek.zip"},
        {secret, scratch.path()},
        {folder / "release.key", scratch.path() / "Vitrek.zip"}, // would publish the secret key
    };
    const auto before = treeOf(scratch.path());
    for (const auto& [key, zip] : refused) {
        expectRefused(pack(key, zip), zip.string());
    }
    EXPECT_EQ(treeOf(scratch.path()), before);

    // An archive this tool wrote is replaced, through a file beside it that is renamed over it.
    fs::remove(folder / "release.key");
    const fs::path zip = scratch.path() / "Vitrek.zip";
    ASSERT_EQ(pack(secret, zip).status, 0);
    writeProgram(folder, "app.brivel.test", "1.2");
    auto expected = treeOf(scratch.path());
    const Outcome again = runTool(packArguments(folder, "1.2", secret, zip));
    ASSERT_EQ(again.status, 0) << again.err;
    expectPublished(again.out, keygen.out, zip);
    expected["Vitrek.zip"] = readFile(zip);
    EXPECT_EQ(treeOf(scratch.path()), expected);
}

TEST(PackToolTest, LinksLeavingTheFolderAreNeverPacked) {
    const ScratchDirectory scratch("brivel-pack");
    const std::string secret = (scratch.path() / "release.key").string();
    ASSERT_EQ(runTool({"keygen", secret}).status, 0);
    const fs::path zip = scratch.path() / "Vitrek.zip";
    const std::vector<std::pair<std::string, std::string>> outside{
        {"etc", "/etc"},
        {"share/up", "../../../../etc/shadow"},
        {"bin/sibling", "../../Other"},
        // Leads back inside, but only if "lib" is no link: installed copies refuse ".." after a name.
        {"lib/back", "../lib/../share"},
    };
    for (const auto& [link, target] : outside) {
        const fs::path folder = scratch.path() / "Vitrek";
        fs::remove_all(folder);
        writeProgram(folder, "app.brivel.test", "1.1");
        fs::create_symlink("../share", folder / "bin/share"); // stays inside: packed as it is
        fs::create_symlink(target, folder / link);
        const Outcome outcome = runTool(packArguments(folder, "1.1", secret, zip));
        expectRefused(outcome, link);
        EXPECT_NE(outcome.err.find((fs::path("Vitrek") / link).string()), std::string::npos) << outcome.err;
        EXPECT_FALSE(fs::exists(zip)) << link;
    }
}

TEST(PackToolTest, TheKeyIsReadOnlyFromARegularFileOfKeySize) {
    const ScratchDirectory scratch("brivel-pack");
    const fs::path folder = scratch.path() / "Vitrek";
    writeProgram(folder, "app.brivel.test", "1.1");
    const fs::path fifo = scratch.path() / "key.fifo";
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    scratch.write("huge.key", std::string(1 << 20, 'A'));
    fs::create_directory(scratch.path() / "key.d");

    for (const fs::path& key : {fifo, scratch.path() / "huge.key", scratch.path() / "key.d"}) {
        auto pending = std::async(std::launch::async, [&] {
            return runTool(packArguments(folder, "1.1", key, scratch.path() / "Vitrek.zip"));
        });
        if (pending.wait_for(std::chrono::seconds(10)) == std::future_status::timeout) {
            ADD_FAILURE() << "still reading " << key;
            ::close(::open(fifo.c_str(), O_WRONLY | O_NONBLOCK)); // lets a reader waiting for a writer go
        }
        expectRefused(pending.get(), key.string());
    }
}

} // namespace
} // namespace brivel::test
