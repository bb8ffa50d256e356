#include "Updater/UpdateView.h"

#include "Updater/UpdateFeed.h"
#include "Updater/UpdateSettingsSection.h"
#include "Updater/Updater.h"
#include "Window/WindowHost.h"
#include "support/KitFixtures.h"
#include "support/KitTesting.h"
#include "support/LoopbackServer.h"
#include "support/ScratchDirectory.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QCheckBox>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <cstdint>
#include <string>

namespace brivel::test {
namespace {

constexpr const char* kFeed = "https://example.org/vitrek/feed.json";

// A Vitrek 1.0 folder in a scratch directory, with the feed address given or none.
class Program {
public:
    explicit Program(const std::string& feed = {}) {
        const auto address = feed.empty() ? std::string() : R"(, "BrivelUpdateFeedURL": ")" + feed + "\"";
        m_folder.write(Bundle::kInfoFile,
                       R"({"CFBundleName": "Vitrek", "CFBundleShortVersionString": "1.0")" + address + "}");
    }
    Bundle bundle() const { return Bundle::at(m_folder.path()); }

private:
    vitrek::test::ScratchDirectory m_folder{"brivel-view"};
};

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

TEST(UpdateViewTest, DownloadAndInstallDownloadsTheOfferedVersionAndThenOffersARestart) {
    const vitrek::test::ScratchDirectory scratch("brivel-view");
    const auto keys = makeKeyPair();
    writeProgram(scratch.path() / "new" / "Vitrek", "org.example.vitrek", "1.1");
    const auto archive = packProgram(scratch.path() / "new" / "Vitrek", scratch.path() / "new.zip");
    LoopbackServer server;
    server.serve("/vitrek.zip", LoopbackServer::ok(archive));
    const UpdateFeed feed{"1.1", "https://example.org/vitrek", std::nullopt, std::nullopt,
                          UpdateFeed::Download{server.url("/vitrek.zip"),
                                               static_cast<std::int64_t>(archive.size()),
                                               sign(archive, keys.secretKey)}};
    server.serve("/feed.json", LoopbackServer::ok(feed.encode()));
    writeProgram(scratch.path() / "old" / "Vitrek", "org.example.vitrek", "1.0", server.url("/feed.json"),
                 keys.publicKey);

    Updater updater{Bundle::at(scratch.path() / "old" / "Vitrek")};
    updater.setAutomaticallyDownloads(false);
    const UpdateView view(updater);
    updater.check(true);
    ASSERT_TRUE(waitFor([&] { return updater.phase().kind == UpdatePhase::Kind::available; }));
    // Shown with the ampersand doubled: a single one would turn " I" into a keyboard mnemonic.
    ASSERT_EQ(texts<QPushButton>(view), (QStringList{"Later", "Download && Install"}));

    shown<QPushButton>(view).back()->click();
    ASSERT_TRUE(waitFor([&] { return updater.phase().kind == UpdatePhase::Kind::ready; }));
    EXPECT_TRUE(texts<QLabel>(view).contains("Vitrek 1.1 is ready"));
    EXPECT_EQ(texts<QPushButton>(view), (QStringList{"Later", "Restart Now"}));
}

TEST(UpdateViewTest, TheUpdateWindowIsKeptOnceAndItsOKClosesIt) {
    Updater updater{Program().bundle()};
    UpdateView::showWindow(updater);
    auto* window = WindowHost::window("update");
    ASSERT_NE(window, nullptr);
    EXPECT_EQ(window->windowTitle(), "Software Update");
    EXPECT_EQ(window->width(), 420);
    EXPECT_TRUE(window->isVisible());

    UpdateView::showWindow(updater);
    EXPECT_EQ(WindowHost::window("update"), window);

    window->findChild<QPushButton*>()->click();
    EXPECT_FALSE(window->isVisible());
    // Kept after closing, so the program decides when it goes; here the updater goes first.
    delete window;
}

TEST(UpdateViewTest, TheSettingsToggleAndTheUpdaterStayInStep) {
    Updater updater{Program(kFeed).bundle()};
    updater.setAutomaticallyDownloads(true);
    const UpdateSettingsSection section(updater);
    auto* toggle = section.findChild<QCheckBox*>();
    ASSERT_NE(toggle, nullptr);
    EXPECT_TRUE(toggle->isChecked());

    toggle->click();
    EXPECT_FALSE(updater.automaticallyDownloads());
    EXPECT_FALSE(
        Updater{Program(kFeed).bundle()}.automaticallyDownloads()); // written to the settings at once

    updater.setAutomaticallyDownloads(true);
    EXPECT_TRUE(toggle->isChecked());
    EXPECT_TRUE(texts<QLabel>(section).contains("1.0"));
    EXPECT_TRUE(texts<QLabel>(section).contains(
        "New versions download in the background and install when you quit Vitrek."));
}

TEST(UpdateViewTest, WithoutAFeedCheckingTellsWhereUpdatesComeFromInsteadOfDoingNothing) {
    const Program selfBuilt;
    Bundle packaged;
    packaged.path = "/usr/lib/vitrek";
    packaged.name = "Vitrek";
    packaged.shortVersion = "1.0";
    const std::pair<Bundle, QString> cases[] = {
        {selfBuilt.bundle(), "This build has no update feed."},
        {packaged, "Updates come from your package manager (apt)."},
    };
    for (const auto& [bundle, line] : cases) {
        Updater updater{bundle};
        int windows = 0;
        QObject::connect(&updater, &Updater::windowRequested, &updater, [&windows] { ++windows; });
        updater.check(false);
        EXPECT_EQ(windows, 0) << line.toStdString();
        updater.check(true);
        EXPECT_EQ(windows, 1) << line.toStdString();
        EXPECT_EQ(updater.phase(), UpdatePhase::idle());

        const UpdateView view(updater);
        EXPECT_TRUE(texts<QLabel>(view).contains(line)) << texts<QLabel>(view).join(" | ").toStdString();
        EXPECT_TRUE(shown<QProgressBar>(view).isEmpty()) << "no check is under way";
        EXPECT_EQ(texts<QPushButton>(view), QStringList{"OK"});

        // The section says it at once, with no download toggle or Check Now that could never act.
        const UpdateSettingsSection section(updater);
        EXPECT_TRUE(texts<QLabel>(section).contains(line))
            << texts<QLabel>(section).join(" | ").toStdString();
        EXPECT_TRUE(shown<QPushButton>(section).isEmpty());
        EXPECT_TRUE(shown<QCheckBox>(section).isEmpty());
    }
}

} // namespace
} // namespace brivel::test
