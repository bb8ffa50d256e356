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

// A scratch folder with a new key pair (the secret key in release.key) and a program folder, Vitrek 1.1.
class PackToolTest : public ::testing::Test {
protected:
    void SetUp() override {
        const Outcome keygen = runTool({"keygen", secret});
        ASSERT_EQ(keygen.status, 0) << keygen.err;
        publicKey = keygen.out.substr(0, keygen.out.find('\n'));
        writeProgram(folder, "app.brivel.test", "1.1");
    }

    const ScratchDirectory scratch{"brivel-pack"};
    const std::string secret = (scratch.path() / "release.key").string();
    const fs::path folder = scratch.path() / "Vitrek";
    std::string publicKey;
};

TEST_F(PackToolTest, PackPublishesASignedFeedForTheArchiveItWrote) {
    EXPECT_EQ(fs::status(secret).permissions(), fs::perms(0600));
    scratch.write("Vitrek/MANIFEST", "an older one");
    const auto tree = treeOf(folder);
    const std::string zip = (scratch.path() / "Vitrek-1.1.zip").string();
    auto arguments = packArguments(folder, "1.1", secret, zip);
    arguments.insert(arguments.end(), {"--notes", "Faster nights.", "--min", "2.31"});
    const Outcome packed = runTool(arguments);
    ASSERT_EQ(packed.status, 0) << packed.err;
    EXPECT_EQ(packed.err, "");
    // The printed feed describes the archive on disk and is signed by the printed key's partner.
    const auto feed = UpdateFeed::decode(packed.out);
    ASSERT_TRUE(feed && feed->download) << packed.out;
    const std::string signature = feed->download->edSignature;
    EXPECT_EQ(*feed, (UpdateFeed{"1.1", "https://example.org/", "Faster nights.", "2.31",
                                 UpdateFeed::Download{"https://example.org/v.zip",
                                                      std::int64_t(fs::file_size(zip)), signature}}));
    EXPECT_TRUE(UpdateLogic::verify(readFile(zip), signature, publicKey));

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

TEST_F(PackToolTest, BadUsageAndInputExitTwoWithOneLine) {
    const std::string original = readFile(secret);
    scratch.write("short.key", UpdateLogic::encodeBase64(std::string(32, 'k')) + "\n");
    const std::string shortKey = (scratch.path() / "short.key").string();
    const std::string program = folder.string();
    scratch.write("Bare/bin/vitrek", "#!/bin/sh\n");
    const std::string zip = (scratch.path() / "out.zip").string();
    const auto pack = [&](const std::string& folder, const std::string& version, const std::string& key) {
        return packArguments(folder, version, key, zip);
    };
    const auto good = pack(program, "1.1", secret);
    const auto with = [&](const std::string& last) {
        auto arguments = good;
        arguments.push_back(last);
        return arguments;
    };

    const std::vector<std::vector<std::string>> cases{
        {},
        {"publish"},
        {"keygen"},
        {"keygen", secret}, // never replaces a key
        with("--bogus"),
        with("--notes"),
        {good.begin(), good.end() - 2}, // without --page
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

TEST_F(PackToolTest, OutReplacesOnlyAnEarlierArchiveAndNeverTheKeyOrAnInput) {
    fs::copy_file(secret, folder / "release.key");
    fs::create_hard_link(secret, scratch.path() / "key-link");
    fs::create_symlink(secret, scratch.path() / "key-alias.zip");
    scratch.write("draft.zip", "not an archive");
    writeProgram(scratch.path() / "Other", "app.brivel.other", "1.0");
    // A zip without a manifest is not one this tool wrote.
    (void)Archive::create(scratch.path() / "Other", scratch.path() / "other.zip");
    const auto pack = [&](const fs::path& key, const fs::path& zip) {
        return runTool(packArguments(folder, "1.1", key, zip));
    };

    const std::vector<std::pair<fs::path, fs::path>> refused{
        {secret, scratch.path() / "key-link"},
        {secret, scratch.path() / "key-alias.zip"},
        {secret, scratch.path() / "draft.zip"},
        {secret, scratch.path() / "other.zip"},
        {secret, folder / "Vitrek.zip"},
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
    expected["Vitrek.zip"] = readFile(zip);
    EXPECT_EQ(treeOf(scratch.path()), expected);
}

// Which link targets leave is the extractor's rule and its tests'; here, that the packer applies it to the
// folder it packs, not to the archive, whose top folder is one level deeper.
TEST_F(PackToolTest, ALinkLeavingTheFolderIsNeverPacked) {
    const fs::path zip = scratch.path() / "Vitrek.zip";
    fs::create_symlink("../share", folder / "bin/share");
    fs::create_symlink("../../Other", folder / "bin/sibling");
    const Outcome outcome = runTool(packArguments(folder, "1.1", secret, zip));
    expectRefused(outcome, outcome.err);
    EXPECT_NE(outcome.err.find((fs::path("Vitrek") / "bin/sibling").string()), std::string::npos)
        << outcome.err;
    EXPECT_FALSE(fs::exists(zip));
}

TEST_F(PackToolTest, AKeyFileThatIsAFifoIsRefusedWithoutWaitingForAWriter) {
    const fs::path fifo = scratch.path() / "key.fifo";
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    auto pending = std::async(std::launch::async, [&] {
        return runTool(packArguments(folder, "1.1", fifo, scratch.path() / "Vitrek.zip"));
    });
    if (pending.wait_for(std::chrono::seconds(10)) == std::future_status::timeout) {
        ADD_FAILURE() << "still waiting for a writer";
        ::close(::open(fifo.c_str(), O_WRONLY | O_NONBLOCK)); // lets the reader go
    }
    expectRefused(pending.get(), fifo.string());
}

} // namespace
} // namespace brivel::test
