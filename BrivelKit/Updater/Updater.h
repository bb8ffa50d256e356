#pragma once

#include "Updater/Bundle.h"
#include "Updater/DownloadBuffer.h"
#include "Updater/UpdateError.h"
#include "Updater/UpdateFeed.h"
#include "Updater/UpdateLogic.h"
#include "Updater/UpdatePhase.h"
#include "Updater/UpdateSource.h"

#include <QDateTime>
#include <QObject>
#include <QPointer>
#include <QUrl>

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

class QNetworkAccessManager;
class QNetworkReply;
class QTimer;

namespace brivel {

// Keeps the program current: polls the feed, downloads and verifies the signed archive, stages it, and
// installs it when the program quits. Lives on the main thread; only the verification, staging and
// validation of a downloaded archive run on a worker, and their result is posted back.
class Updater : public QObject {
    Q_OBJECT
    Q_PROPERTY(brivel::UpdatePhase phase READ phase NOTIFY phaseChanged)
    Q_PROPERTY(bool automaticallyDownloads READ automaticallyDownloads WRITE setAutomaticallyDownloads NOTIFY
                   automaticallyDownloadsChanged)
    Q_PROPERTY(QDateTime lastChecked READ lastChecked NOTIFY lastCheckedChanged)

public:
    using Phase = UpdatePhase;

    // Reads the configuration from the bundle's information file and "BrivelAutoUpdate" from the
    // application's QSettings.
    explicit Updater(Bundle bundle, QObject* parent = nullptr);
    ~Updater() override;

    const Phase& phase() const { return m_phase; }
    bool automaticallyDownloads() const { return m_automaticallyDownloads; }
    // Also writes "BrivelAutoUpdate" at once.
    void setAutomaticallyDownloads(bool value);
    // Invalid until the first successful check.
    QDateTime lastChecked() const { return m_lastChecked; }

    const std::optional<QUrl>& feedURL() const { return m_feedURL; }
    const std::optional<std::string>& publicKey() const { return m_publicKey; }
    const std::string& currentVersion() const { return m_currentVersion; }
    const std::string& appName() const { return m_appName; }
    const std::optional<std::filesystem::path>& stagedApp() const { return m_stagedApp; }
    bool relaunchAfterInstall() const { return m_relaunchAfterInstall; }
    const Bundle& bundle() const { return m_bundle; }

    // Nothing without a feed address. Otherwise installs on quit (QCoreApplication::aboutToQuit), checks
    // quietly 8 s from now and then every 6 hours.
    void start();
    // Checks the feed. While downloading or ready there is nothing to check, and while a check runs no second
    // one starts; a check the user asks for then shows the window on where things stand. A check the user
    // asked for shows the window and reports its failure; an automatic one fails quietly to idle unless the
    // window is open. Without a feed address there is nothing to check: a check the user asked for only shows
    // the window, which tells where updates come from. An automatic check does not download again an archive
    // that failed, as long as the feed offers the same version, length and signature; it ends failed with
    // that failure's message.
    void check(bool userInitiated);
    // Whether the update window is open, so that what a check comes to is shown there even when nobody
    // asked for the check.
    void setWindowOpen(bool open) { m_windowOpen = open; }
    // Downloads, verifies, stages and validates the feed's archive; ends ready or failed.
    void download(const UpdateFeed& feed);
    // Asks for the new version to start once the install has run, and quits the application.
    void installAndRelaunch();
    // The feed when there is a feed address; else the package manager for a copy below /usr/, else none.
    UpdateSource source() const;
    // Whether this copy of the program can replace itself (see Platform::canInstallInPlace).
    bool canInstallInPlace() const;
    // True the first time it is asked for a version (remembered in the settings), false afterwards.
    bool shouldAnnounce(const UpdateFeed& feed);
    // When ready with a staged program that can be installed, starts the install script, which waits for
    // this process to exit. Connected to the application's quit by `start`.
    void installOnQuit();

    // The version the feed's "minimumSystemVersion" is compared with; the C library's unless set.
    void setSystemVersion(SystemVersion version) { m_systemVersion = version; }

    // Unpacks the archive into `stagingFolder`/`version` (after emptying `stagingFolder`) and returns the
    // staged program folder: the first folder there with an Info.json.
    static Result<std::filesystem::path> stage(std::string_view zip, const std::string& version,
                                               const std::filesystem::path& stagingFolder);
    // The staged folder must be a bundle of the running program's identifier (two absent ones count as
    // equal) and of `expectedVersion`, and must match its manifest.
    static Result<Done> validate(const std::filesystem::path& staged, const std::string& expectedVersion,
                                 const std::optional<std::string>& runningIdentifier);

signals:
    void phaseChanged();
    void automaticallyDownloadsChanged();
    void lastCheckedChanged();
    // The update window should be shown (a check the user asked for, or a version announced for the
    // first time).
    void windowRequested();

private:
    void setPhase(Phase phase);
    void finishCheck(QNetworkReply* reply, bool userInitiated);
    void receive(QNetworkReply* reply, const UpdateFeed& feed);
    void finishTransfer(QNetworkReply* reply, const UpdateFeed& feed);
    void fail(const UpdateError& error);
    // A failure of an archive that arrived whole (or too large): remembered with the feed's download, so
    // that automatic checks don't fetch the same archive again.
    void failArchive(const UpdateFeed& feed, const UpdateError& error);
    std::optional<std::string> rememberedFailure(const UpdateFeed& feed) const;
    void finishStaging(const UpdateFeed& feed, const Result<std::filesystem::path>& staged);

    Bundle m_bundle;
    Phase m_phase;
    bool m_automaticallyDownloads = true;
    QDateTime m_lastChecked;
    std::optional<QUrl> m_feedURL;
    std::optional<std::string> m_publicKey;
    std::string m_currentVersion;
    std::string m_appName;
    std::optional<std::filesystem::path> m_stagedApp;
    bool m_relaunchAfterInstall = false;
    QTimer* m_timer = nullptr;
    QMetaObject::Connection m_terminationObserver;
    SystemVersion m_systemVersion;

    QNetworkAccessManager* m_network = nullptr;
    // The archive as it arrives, and how much of it had arrived at the last progress report.
    DownloadBuffer m_received;
    std::size_t m_reported = 0;
    std::size_t m_errorPage = 0; // bytes of an HTTP error page skipped so far
    QPointer<QNetworkReply> m_transfer;
    // The check under way, and whether the user asked for it (or for another while it ran).
    QPointer<QNetworkReply> m_checking;
    bool m_checkAsked = false;
    bool m_windowOpen = false;
};

} // namespace brivel

Q_DECLARE_METATYPE(brivel::UpdatePhase)
