#include "Updater/Updater.h"

#include "Updater/Archive.h"
#include "Updater/Platform.h"
#include "Updater/UpdateSettingsSection.h"
#include "Updater/UpdateView.h"
#include "Window/WindowHost.h"
#include "support/KitFixtures.h"
#include "support/KitTesting.h"
#include "support/LoopbackServer.h"
#include "support/ScratchDirectory.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <QCheckBox>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QSettings>
#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <system_error>
#include <tuple>
#include <utility>
#include <vector>

namespace brivel::test {
namespace {

namespace fs = std::filesystem;
using Kind = UpdatePhase::Kind;

constexpr const char* kFeedPath = "/feed.json";
constexpr const char* kArchivePath = "/Vitrek.zip";

bool settled(Kind kind) { return kind != Kind::checking && kind != Kind::downloading; }

// An updater with every phase it passes through and every window it asks for recorded.
struct Session {
    explicit Session(Bundle bundle) : updater(std::move(bundle)) {
        QObject::connect(&updater, &Updater::phaseChanged, &updater,
                         [this] { phases.push_back(updater.phase()); });
        QObject::connect(&updater, &Updater::windowRequested, &updater, [this] { ++windows; });
    }

    // Checks and runs the event loop until the check (and any download it starts) has ended.
    const UpdatePhase& check(bool userInitiated) {
        phases.clear();
        updater.check(userInitiated);
        EXPECT_TRUE(waitFor([this] { return !phases.empty() && settled(phases.back().kind); }))
            << "the check never ended";
        return updater.phase();
    }

    Updater updater;
    std::vector<UpdatePhase> phases;
    int windows = 0;
};

class UpdaterTest : public ::testing::Test {
protected:
    // The updater keeps what it remembers in the settings, which are this test run's own.
    void SetUp() override { QSettings().clear(); }
    void TearDown() override { QSettings().clear(); }

    // Each test stages into a folder of its own.
    static std::string identifier() {
        return std::string("app.brivel.tests.") +
               ::testing::UnitTest::GetInstance()->current_test_info()->name();
    }
    fs::path stagingFolder() const { return Platform::stagingFolder(identifier()); }

    // The running program, at `root`/Vitrek, reading its feed from the test server.
    Bundle install(const std::string& version = "1.0", bool withKey = true,
                   std::optional<fs::path> root = {}) {
        const auto folder = root.value_or(m_scratch.path() / "installed") / "Vitrek";
        fs::remove_all(folder);
        writeProgram(folder, identifier(), version, m_server.url(kFeedPath),
                     withKey ? std::optional(m_keys.publicKey) : std::nullopt);
        return Bundle::at(folder);
    }

    // A release folder named like the program, so that it is the archive's one top-level entry.
    fs::path writeRelease(const std::string& version, const std::map<std::string, std::string>& extra = {},
                          const std::optional<std::string>& identifierInside = {}) {
        const auto folder = m_scratch.path() / "release" / "Vitrek";
        fs::remove_all(folder);
        writeProgram(folder, identifierInside.value_or(identifier()), version, std::nullopt, std::nullopt,
                     extra);
        return folder;
    }
    std::string pack(const fs::path& folder) { return packProgram(folder, m_scratch.path() / "release.zip"); }

    UpdateFeed feedFor(const std::string& version, const std::string& archive,
                       const std::optional<std::string>& signature = {},
                       const std::string& archivePath = kArchivePath) {
        return UpdateFeed{version, m_server.url("/releases"), std::nullopt, std::nullopt,
                          UpdateFeed::Download{m_server.url(archivePath),
                                               static_cast<std::int64_t>(archive.size()),
                                               signature.value_or(sign(archive, m_keys.secretKey))}};
    }
    // Serves `feed` and, unless told otherwise, `archive` where the feed says.
    void publish(const UpdateFeed& feed, const std::string& archive,
                 std::optional<LoopbackServer::Response> archiveResponse = {}) {
        m_server.serve(kFeedPath, LoopbackServer::ok(feed.encode()));
        if (feed.download) {
            const auto path = feed.download->url.substr(m_server.url("").size());
            m_server.serve(path, archiveResponse.value_or(LoopbackServer::ok(archive)));
        }
    }
    long requestsFor(const std::string& path) const {
        const auto requests = m_server.requests();
        return std::count_if(requests.begin(), requests.end(),
                             [&](const auto& request) { return request.path == path; });
    }

    vitrek::test::ScratchDirectory m_scratch{"brivel-updater"};
    LoopbackServer m_server;
    KeyPair m_keys = makeKeyPair();
};

TEST_F(UpdaterTest, ComparesTheFeedWithTheRunningVersionAndSystem) {
    struct Case {
        std::string current;
        std::string offered;
        std::optional<std::string> minimumSystem;
        Kind expected;
    };
    const Case cases[] = {
        {"1.0", "0.9", std::nullopt, Kind::upToDate},
        {"1.9", "1.10", std::nullopt, Kind::available},
        {"1.0", "1.1", "2.37", Kind::upToDate},
        {"1.0", "1.1", "2.36", Kind::available},
    };
    for (const auto& [current, offered, minimumSystem, expected] : cases) {
        SCOPED_TRACE(current + " → " + offered);
        m_server.serve(kFeedPath, LoopbackServer::ok(UpdateFeed{offered, m_server.url("/releases"),
                                                                std::nullopt, minimumSystem, std::nullopt}
                                                         .encode()));
        Session session(install(current));
        session.updater.setSystemVersion(SystemVersion{2, 36, 0});

        EXPECT_EQ(session.check(false).kind, expected);
        const auto checked = session.updater.lastChecked();
        EXPECT_TRUE(checked.isValid());
        EXPECT_LE(std::abs(checked.secsTo(QDateTime::currentDateTimeUtc())), 60);
        const auto requests = m_server.requests();
        ASSERT_FALSE(requests.empty());
        EXPECT_EQ(requests.back().userAgent, "Vitrek/" + current);
    }
}

TEST_F(UpdaterTest, DownloadsVerifiesAndStagesANewerVersionThenIgnoresChecks) {
    const auto release = writeRelease("1.1", {{"share/data.bin", noise(3 << 20)}});
    const auto archive = pack(release);
    const auto feed = feedFor("1.1", archive);
    // Small writes with pauses, so the body arrives in many pieces as it would over a real network.
    auto slow = LoopbackServer::ok(archive);
    slow.chunkSize = 32 * 1024;
    slow.pause = std::chrono::milliseconds(2);
    publish(feed, archive, slow);
    Session session(install());

    EXPECT_EQ(session.check(false), UpdatePhase::ready(feed));
    ASSERT_TRUE(session.updater.stagedApp());
    const auto staged = *session.updater.stagedApp();
    EXPECT_EQ(staged.parent_path(), stagingFolder() / "1.1");
    EXPECT_EQ(treeOf(staged), treeOf(release));
    EXPECT_FALSE(fs::exists(stagingFolder() / "update.zip"));
    EXPECT_EQ(session.windows, 1);

    // Progress: from 0 up to 1, at most once per 256 KiB received (plus the start and the end).
    std::vector<double> fractions;
    for (const auto& phase : session.phases) {
        if (phase.kind == Kind::downloading) {
            fractions.push_back(phase.fraction);
        }
    }
    ASSERT_GE(fractions.size(), 3u);
    EXPECT_LE(fractions.size(), archive.size() / (256 * 1024) + 2);
    EXPECT_EQ(fractions.front(), 0.0);
    EXPECT_EQ(fractions.back(), 1.0);
    EXPECT_TRUE(std::is_sorted(fractions.begin(), fractions.end()));

    // An update in hand is never replaced: no check reaches the server; the one the user asks for opens
    // the window on it, where "Restart Now" is.
    const auto requests = m_server.requests().size();
    session.updater.check(false);
    session.updater.check(true);
    settle();
    EXPECT_EQ(m_server.requests().size(), requests);
    EXPECT_EQ(session.updater.phase(), UpdatePhase::ready(feed));
    EXPECT_EQ(session.windows, 2);

    // Staged again by the next launch, the version announced already is not announced again.
    Session relaunched(install());
    EXPECT_EQ(relaunched.check(false), UpdatePhase::ready(feed));
    EXPECT_EQ(relaunched.windows, 0);
}

// One check at a time: a check the user asks for while an automatic one runs joins it, so the window
// shows how it ends even when it fails; while a download is under way, checks wait for it.
TEST_F(UpdaterTest, ChecksWaitForTheCheckOrDownloadUnderWay) {
    m_server.serve(kFeedPath, LoopbackServer::status(404));
    Session session(install());
    session.updater.check(false);
    session.updater.check(true);
    EXPECT_EQ(session.windows, 1);
    ASSERT_TRUE(waitFor([&] { return settled(session.updater.phase().kind); }));
    settle(100);
    EXPECT_EQ(
        session.updater.phase(),
        UpdatePhase::failed("Couldn’t check for updates. Check your internet connection and try again."));
    EXPECT_EQ(requestsFor(kFeedPath), 1);

    const auto archive = pack(writeRelease("1.1", {{"share/data.bin", noise(1 << 20)}}));
    auto held = LoopbackServer::ok(archive);
    held.holdAfter = archive.size() / 2;
    publish(feedFor("1.1", archive), archive, held);
    session.updater.check(false);
    ASSERT_TRUE(waitFor([&] { return m_server.bytesSent(kArchivePath) == archive.size() / 2; }));
    settle(100);
    ASSERT_EQ(session.updater.phase().kind, Kind::downloading);
    session.updater.check(false);
    session.updater.check(true);
    settle();
    EXPECT_EQ(requestsFor(kFeedPath), 2);
    EXPECT_EQ(session.windows, 2);
}

// An archive that arrived and failed is not fetched again by automatic checks while the feed offers the
// same one; a check the user asks for tries again, and a changed feed is downloaded as usual.
TEST_F(UpdaterTest, AnArchiveThatFailedIsFetchedAgainOnlyWhenAskedOrWhenTheFeedChanges) {
    const auto archive = pack(writeRelease("1.1"));
    const std::string incomplete = "The download was incomplete.";
    const auto half = LoopbackServer::ok(archive.substr(0, archive.size() / 2));
    publish(feedFor("1.1", archive), archive, half);
    Session session(install());

    EXPECT_EQ(session.check(false), UpdatePhase::failed(incomplete));
    EXPECT_EQ(Session(install()).check(false), UpdatePhase::failed(incomplete));
    EXPECT_EQ(requestsFor(kArchivePath), 1);
    EXPECT_EQ(session.check(true), UpdatePhase::failed(incomplete));
    EXPECT_EQ(requestsFor(kArchivePath), 2);
    // Re-signed at the same length is another archive.
    const auto resigned = feedFor("1.1", archive, sign("another archive", m_keys.secretKey));
    publish(resigned, archive, half);
    EXPECT_EQ(session.check(false), UpdatePhase::failed(incomplete));
    EXPECT_EQ(requestsFor(kArchivePath), 3);

    const auto mended = pack(writeRelease("1.1", {{"share/mended.txt", "whole"}}));
    publish(feedFor("1.1", mended), mended);
    EXPECT_EQ(session.check(false).kind, Kind::ready);
    EXPECT_EQ(requestsFor(kArchivePath), 4);
    // A success forgets the failure: the failed archive, offered again, is fetched again.
    publish(resigned, archive, half);
    EXPECT_EQ(Session(install()).check(false), UpdatePhase::failed(incomplete));
    EXPECT_EQ(requestsFor(kArchivePath), 5);
}

TEST_F(UpdaterTest, AnnouncesEachVersionOnceButShowsEveryCheckTheUserAsksFor) {
    const auto offer = [this](const std::string& version) {
        const UpdateFeed feed{version, m_server.url("/releases"), "Faster nights.", std::nullopt,
                              std::nullopt};
        publish(feed, {});
        return feed;
    };
    Session session(install());
    const auto feed = offer("1.1");

    // Each check: whether the user asked for it, and how many windows have been shown after it.
    for (const auto& [asked, windows] : {std::pair{false, 1}, {false, 1}, {true, 2}, {true, 3}}) {
        EXPECT_EQ(session.check(asked), UpdatePhase::available(feed));
        EXPECT_EQ(session.windows, windows);
    }

    // Remembered across launches, and per version; a check the user asked for shows the window once.
    Session relaunched(install());
    EXPECT_EQ(relaunched.check(false).kind, Kind::available);
    EXPECT_EQ(relaunched.windows, 0);
    offer("1.2");
    EXPECT_EQ(relaunched.check(true).kind, Kind::available);
    EXPECT_EQ(relaunched.windows, 1);
    offer("1.3");
    EXPECT_EQ(relaunched.check(false).kind, Kind::available);
    EXPECT_EQ(relaunched.windows, 2);
}

TEST_F(UpdaterTest, OnlyOffersTheDownloadPageWhenItMayNotDownloadByItself) {
    const auto archive = pack(writeRelease("1.1"));
    const auto feed = feedFor("1.1", archive);
    publish(feed, archive);
    // A folder inside an AppImage's mount: replacing it would change nothing, whoever runs the program.
    vitrek::test::ScratchDirectory mounted(".mount_brivel");
    vitrek::test::ScratchDirectory readOnly("brivel-read-only");

    // Downloads turned off by the user are the settings test's.
    std::vector<std::pair<std::string, std::function<Bundle()>>> cases = {
        {"no public key", [&] { return install("1.0", false); }},
        {"inside an AppImage", [&] { return install("1.0", true, mounted.path()); }},
    };
    // Root writes to read-only folders anyway, so for root there is nothing to refuse.
    if (::geteuid() != 0) {
        cases.emplace_back("a folder the user cannot write", [&] {
            const auto bundle = install("1.0", true, readOnly.path());
            fs::permissions(bundle.path, fs::perms(0555), fs::perm_options::replace);
            return bundle;
        });
    }
    for (const auto& [name, prepare] : cases) {
        SCOPED_TRACE(name);
        QSettings().clear();
        Session session(prepare());
        EXPECT_EQ(session.check(false), UpdatePhase::available(feed));
        EXPECT_EQ(session.windows, 1);
        EXPECT_EQ(requestsFor(kArchivePath), 0);
    }
    std::error_code noneForRoot;
    fs::permissions(readOnly.path() / "Vitrek", fs::perms(0755), fs::perm_options::replace, noneForRoot);
    // Asked outright, without a key it still only offers the page.
    Session keyless(install("1.0", false));
    keyless.updater.download(feed);
    settle(100);
    EXPECT_EQ(keyless.updater.phase(), UpdatePhase::available(feed));
    EXPECT_EQ(requestsFor(kArchivePath), 0);
}

TEST_F(UpdaterTest, AcceptsExactlyTheAnnouncedLengthAndStopsAnExcessAsSoonAsItShows) {
    const auto archive = pack(writeRelease("1.1"));
    const auto bundle = install();
    struct Case {
        std::string name;
        std::string body;
        std::optional<std::size_t> holdAfter;
        std::optional<std::string> failure;
    };
    const std::string incomplete = "The download was incomplete.";
    const std::string larger = "The download was larger than expected.";
    const Case cases[] = {
        {"exact", archive, std::nullopt, std::nullopt},
        {"one short", archive.substr(0, archive.size() - 1), std::nullopt, incomplete},
        {"one more", archive + std::string(1, '\0'), std::nullopt, larger},
        {"1024 more", archive + std::string(1024, '\0'), std::nullopt, larger},
        // The server sends 1,025 bytes too many and then stalls with most of the body still to come.
        {"1025 more, the rest held back", archive + std::string(4 << 20, '\0'), archive.size() + 1025,
         larger},
    };
    int row = 0;
    for (const auto& [name, body, holdAfter, failure] : cases) {
        SCOPED_TRACE(name);
        QSettings().clear();
        const auto path = "/Vitrek-" + std::to_string(++row) + ".zip";
        auto response = LoopbackServer::ok(body);
        response.holdAfter = holdAfter;
        const auto feed = feedFor("1.1", archive, std::nullopt, path);
        publish(feed, archive, response);
        Session session(bundle);

        EXPECT_EQ(session.check(false), failure ? UpdatePhase::failed(*failure) : UpdatePhase::ready(feed));
        EXPECT_EQ(session.updater.stagedApp().has_value(), !failure);
        EXPECT_EQ(m_server.bytesSent(path), holdAfter.value_or(body.size()));
    }
}

TEST_F(UpdaterTest, ReportsAFailedCheckOnlyToTheUserAndAFailedTransferAlways) {
    const auto archive = pack(writeRelease("1.1"));
    const std::string checkFailed =
        "Couldn’t check for updates. Check your internet connection and try again.";
    const std::string fileFailed = "The update file couldn’t be downloaded.";
    struct Case {
        std::string name;
        LoopbackServer::Response feed;
        std::optional<LoopbackServer::Response> archive;
        bool userInitiated;
    };
    const auto goodFeed = LoopbackServer::ok(feedFor("1.1", archive).encode());
    // A body with an error status: read by the length, refused by the status.
    const auto withStatus = [](LoopbackServer::Response response, int status) {
        response.status = status;
        return response;
    };
    const Case cases[] = {
        {"feed missing, asked", LoopbackServer::status(404), std::nullopt, true},
        {"feed missing, automatic", LoopbackServer::status(404), std::nullopt, false},
        {"feed answered with an error, asked", withStatus(goodFeed, 500), std::nullopt, true},
        {"archive missing", goodFeed, LoopbackServer::status(404), false},
        {"archive answered with an error", goodFeed, withStatus(LoopbackServer::ok(archive), 503), true},
    };
    const auto bundle = install();
    for (const auto& [name, feed, archiveResponse, userInitiated] : cases) {
        SCOPED_TRACE(name);
        QSettings().clear();
        m_server.serve(kFeedPath, feed);
        m_server.serve(kArchivePath, archiveResponse.value_or(LoopbackServer::status(404)));
        Session session(bundle);
        EXPECT_EQ(session.check(userInitiated), archiveResponse ? UpdatePhase::failed(fileFailed)
                                                : userInitiated ? UpdatePhase::failed(checkFailed)
                                                                : UpdatePhase::idle());
        EXPECT_EQ(session.updater.lastChecked().isValid(), archiveResponse.has_value());
        EXPECT_EQ(session.windows, userInitiated ? 1 : 0);
    }
}

TEST_F(UpdaterTest, RefusesAnythingButTheSignedReleaseOfThisApp) {
    const std::string badSignature = "The update’s signature didn’t match, so it wasn’t installed.";
    const std::string mismatch = "The downloaded update didn’t match this app.";
    const std::string damaged = "The downloaded program folder doesn’t match its signature.";
    const auto bundle = install();
    const auto refuses = [&](const std::string& archive, const std::string& failure,
                             const std::optional<std::string>& signature = {}) {
        QSettings().clear();
        publish(feedFor("1.1", archive, signature), archive);
        Session session(bundle);
        EXPECT_EQ(session.check(false), UpdatePhase::failed(failure));
        EXPECT_FALSE(session.updater.stagedApp());
        EXPECT_EQ(session.windows, 0);
    };
    const auto release = writeRelease("1.1");
    const auto archive = pack(release);
    for (const auto& signature : {sign("other bytes", m_keys.secretKey),
                                  sign(archive, makeKeyPair().secretKey), std::string("not*a*signature")}) {
        SCOPED_TRACE(signature);
        refuses(archive, badSignature, signature);
    }
    refuses(pack(writeRelease("1.1", {}, "org.example.other")), mismatch);
    refuses(pack(writeRelease("1.2")), mismatch);

    // Changed after packing and zipped again as it is, the way a tampered download would be.
    const std::tuple<const char*, std::function<void(const fs::path&)>, std::string> tamperings[] = {
        {"no program folder", [](auto& folder) { fs::remove(folder / "Info.json"); },
         "The update didn’t contain an app."},
        {"a file changed",
         [](auto& folder) { std::ofstream(folder / "lib/libdemo.so", std::ios::app) << "patched"; }, damaged},
        {"a file added", [](auto& folder) { std::ofstream(folder / "lib/libinject.so") << "injected"; },
         damaged},
        {"a file removed", [](auto& folder) { fs::remove(folder / "share/notes.txt"); }, damaged},
        {"a mode changed",
         [](auto& folder) {
             fs::permissions(folder / "share/notes.txt", fs::perms(0755), fs::perm_options::replace);
         },
         damaged},
    };
    for (const auto& [name, change, failure] : tamperings) {
        SCOPED_TRACE(name);
        pack(writeRelease("1.1"));
        change(release);
        // Zipped again as it is now, without writing its manifest.
        ASSERT_TRUE(Archive::create(release, m_scratch.path() / "release.zip"));
        refuses(readFile(m_scratch.path() / "release.zip"), failure);
    }
}

// The children of type T that are part of the view now (a rebuild hides the old ones before they go).
template <typename T> QList<T*> shown(const QWidget& widget) {
    QList<T*> result;
    for (auto* child : widget.findChildren<T*>()) {
        if (!child->isHidden()) {
            result << child;
        }
    }
    return result;
}

template <typename T> QStringList texts(const QWidget& widget) {
    QStringList result;
    for (const auto* child : shown<T>(widget)) {
        result << child->text();
    }
    return result;
}

TEST_F(UpdaterTest, WithDownloadsOffInTheSettingsDownloadAndInstallFetchesTheVersionAndOffersARestart) {
    const auto archive = pack(writeRelease("1.1"));
    publish(feedFor("1.1", archive), archive);
    Session session(install());
    // Automatic downloads turned off in the settings' section, which is written at once.
    const UpdateSettingsSection section(session.updater);
    auto* toggle = section.findChild<QCheckBox*>();
    ASSERT_TRUE(toggle && toggle->isChecked());
    toggle->click();
    EXPECT_FALSE(Updater{install()}.automaticallyDownloads());
    EXPECT_TRUE(texts<QLabel>(section).contains("1.0"));
    EXPECT_TRUE(texts<QLabel>(section).contains(
        "New versions download in the background and install when you quit Vitrek."));
    const UpdateView view(session.updater);
    EXPECT_EQ(session.check(true).kind, Kind::available);
    // Shown with the ampersand doubled: a single one would turn " I" into a keyboard mnemonic.
    ASSERT_EQ(texts<QPushButton>(view), (QStringList{"Later", "Download && Install"}));

    shown<QPushButton>(view).back()->click();
    ASSERT_TRUE(waitFor([&] { return session.updater.phase().kind == Kind::ready; }));
    EXPECT_TRUE(texts<QLabel>(view).contains("Vitrek 1.1 is ready"));
    EXPECT_EQ(texts<QPushButton>(view), (QStringList{"Later", "Restart Now"}));
    // The toggle follows the updater's own switch too.
    session.updater.setAutomaticallyDownloads(true);
    EXPECT_TRUE(toggle->isChecked());
}

TEST_F(UpdaterTest, TheUpdateWindowIsKeptOnceAndItsOKClosesIt) {
    // The feed isn't served: a check fails at once.
    Session session(install());
    UpdateView::showWindow(session.updater);
    auto* window = WindowHost::window("update");
    ASSERT_NE(window, nullptr);
    // With the window open, even an automatic check ends in what it shows rather than a spinner.
    EXPECT_EQ(session.check(false).kind, Kind::failed);
    EXPECT_TRUE(shown<QProgressBar>(*window).empty());

    UpdateView::showWindow(session.updater);
    EXPECT_EQ(WindowHost::window("update"), window);

    window->findChild<QPushButton*>()->click();
    EXPECT_FALSE(window->isVisible());
    EXPECT_EQ(session.check(false).kind, Kind::idle);
    // Kept after closing, so the program decides when it goes; here the updater goes first.
    delete window;
}

TEST_F(UpdaterTest, WithoutAFeedCheckingTellsWhereUpdatesComeFromInsteadOfDoingNothing) {
    writeProgram(m_scratch.path() / "self-built", identifier(), "1.0");
    Bundle packaged;
    packaged.path = "/usr/lib/vitrek";
    const std::pair<Bundle, QString> cases[] = {
        {Bundle::at(m_scratch.path() / "self-built"), "This build has no update feed."},
        {packaged, "Updates come from your package manager (apt)."},
    };
    for (const auto& [bundle, line] : cases) {
        SCOPED_TRACE(line.toStdString());
        Session session(bundle);
        session.updater.check(false);
        EXPECT_EQ(session.windows, 0);
        session.updater.check(true);
        EXPECT_EQ(session.windows, 1);
        EXPECT_EQ(session.updater.phase(), UpdatePhase::idle());

        const UpdateView view(session.updater);
        EXPECT_TRUE(texts<QLabel>(view).contains(line)) << texts<QLabel>(view).join(" | ").toStdString();
        EXPECT_TRUE(shown<QProgressBar>(view).isEmpty()) << "no check is under way";
        EXPECT_EQ(texts<QPushButton>(view), QStringList{"OK"});

        // The section says it at once, with no download toggle or Check Now that could never act.
        const UpdateSettingsSection section(session.updater);
        EXPECT_TRUE(texts<QLabel>(section).contains(line))
            << texts<QLabel>(section).join(" | ").toStdString();
        EXPECT_TRUE(shown<QPushButton>(section).isEmpty());
        EXPECT_TRUE(shown<QCheckBox>(section).isEmpty());
    }
}

} // namespace
} // namespace brivel::test
