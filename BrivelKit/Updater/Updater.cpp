#include "Updater/Updater.h"

#include "Updater/Archive.h"
#include "Updater/Manifest.h"
#include "Updater/Platform.h"
#include "Window/Quit.h"

#include <QCoreApplication>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QSettings>
#include <QThreadPool>
#include <QTimer>

#include <unistd.h>

#include <algorithm>
#include <system_error>

namespace brivel {
namespace {

constexpr int kFirstCheckDelayMs = 8'000;
constexpr int kCheckIntervalMs = 21'600'000;   // 6 hours
constexpr int kFeedTimeoutMs = 20'000;
constexpr int kArchiveTimeoutMs = 60'000;      // without a byte arriving
constexpr qint64 kFeedLimit = 1 << 20;         // a feed is a few hundred bytes; more is not a feed
constexpr qint64 kProgressStep = 262'144;      // report at most once per 256 KiB
constexpr qint64 kSlack = 1'024;               // bytes beyond "length" before the transfer is stopped
constexpr qint64 kReadBuffer = 1 << 20;
// Capacity reserved up front is capped so that a wild "length" can't exhaust memory before a byte arrives.
constexpr qint64 kReserveLimit = qint64(1) << 30;

constexpr const char* kAutoUpdateKey = "BrivelAutoUpdate";
constexpr const char* kAnnouncedPrefix = "BrivelAnnounced-";
// The download that failed last: its version, length and signature, and the failure's message.
constexpr const char* kFailedDownload = "BrivelFailedDownload";

const char* const kCheckFailed = "Couldn’t check for updates. Check your internet connection and try again.";
const char* const kFileFailed = "The update file couldn’t be downloaded.";
const char* const kTooLarge = "The download was larger than expected.";
const char* const kIncomplete = "The download was incomplete.";
const char* const kBadSignature = "The update’s signature didn’t match, so it wasn’t installed.";
const char* const kNoApp = "The update didn’t contain an app.";
const char* const kMismatch = "The downloaded update didn’t match this app.";
const char* const kDamaged = "The downloaded program folder doesn’t match its signature.";

std::optional<QUrl> address(const std::optional<std::string>& text) {
    if (!text) {
        return std::nullopt;
    }
    const QUrl url(QString::fromStdString(*text), QUrl::StrictMode);
    if (!url.isValid() || url.scheme().isEmpty() || url.host().isEmpty()) {
        return std::nullopt;
    }
    return url;
}

// Stops a transfer without hearing from it again.
void drop(QNetworkReply* reply) {
    QObject::disconnect(reply, nullptr, nullptr, nullptr);
    if (!reply->isFinished()) {
        reply->abort();
    }
    reply->deleteLater();
}

bool isHttp(const QUrl& url) { return url.scheme() == "http" || url.scheme() == "https"; }

int httpStatus(const QNetworkReply* reply) {
    return reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
}

// The feed's version names a folder of the staging area before anything vouches for it (the signature
// covers the archive, not the feed), so it must be one plain path component.
bool namesOneFolder(const std::string& version) {
    return !version.empty() && version != "." && version != ".." && version.find('/') == std::string::npos &&
           version.find('\0') == std::string::npos;
}

} // namespace

Updater::Updater(Bundle bundle, QObject* parent)
    : QObject(parent),
      m_bundle(std::move(bundle)),
      m_automaticallyDownloads(QSettings().value(kAutoUpdateKey, true).toBool()),
      m_feedURL(address(m_bundle.feedURL)),
      m_publicKey(m_bundle.publicKey),
      m_currentVersion(m_bundle.shortVersion.value_or("1.0")),
      m_appName(m_bundle.name.value_or("App")),
      m_systemVersion(UpdateLogic::runningSystemVersion()),
      m_network(new QNetworkAccessManager(this)) {}

Updater::~Updater() = default;

void Updater::setAutomaticallyDownloads(bool value) {
    QSettings().setValue(kAutoUpdateKey, value);
    if (value != m_automaticallyDownloads) {
        m_automaticallyDownloads = value;
        emit automaticallyDownloadsChanged();
    }
}

void Updater::setPhase(Phase phase) {
    if (phase == m_phase) {
        return;
    }
    m_phase = std::move(phase);
    emit phaseChanged();
}

void Updater::start() {
    if (!m_feedURL || m_timer != nullptr) {
        return;
    }
    if (auto* application = QCoreApplication::instance()) {
        m_terminationObserver =
            connect(application, &QCoreApplication::aboutToQuit, this, &Updater::installOnQuit);
    }
    // Both are tied to this object, so neither fires once it is gone.
    QTimer::singleShot(kFirstCheckDelayMs, this, [this] { check(false); });
    m_timer = new QTimer(this);
    m_timer->setInterval(kCheckIntervalMs);
    connect(m_timer, &QTimer::timeout, this, [this] { check(false); });
    m_timer->start();
}

void Updater::check(bool userInitiated) {
    if (!m_feedURL) {
        if (userInitiated) {
            emit windowRequested();
        }
        return;
    }
    if (m_phase.kind == Phase::Kind::downloading || m_phase.kind == Phase::Kind::ready || m_checking) {
        if (userInitiated) {
            if (m_checking) {
                m_checkAsked = true;
            }
            emit windowRequested();
        }
        return;
    }
    m_checkAsked = userInitiated;
    setPhase(Phase::checking());
    if (userInitiated) {
        emit windowRequested();
    }
    QNetworkRequest request(*m_feedURL);
    request.setAttribute(QNetworkRequest::CacheLoadControlAttribute, QNetworkRequest::AlwaysNetwork);
    request.setTransferTimeout(kFeedTimeoutMs);
    request.setHeader(QNetworkRequest::UserAgentHeader, QString::fromStdString(m_appName + "/" + m_currentVersion));
    QNetworkReply* reply = m_network->get(request);
    connect(reply, &QNetworkReply::downloadProgress, reply, [reply](qint64 received, qint64) {
        if (received > kFeedLimit) {
            reply->abort();
        }
    });
    m_checking = reply;
    connect(reply, &QNetworkReply::finished, this, [this, reply] { finishCheck(reply, m_checkAsked); });
}

void Updater::finishCheck(QNetworkReply* reply, bool userInitiated) {
    reply->deleteLater();
    m_checking = nullptr;
    const QByteArray body = reply->readAll();
    const auto feed = reply->error() == QNetworkReply::NoError && httpStatus(reply) == 200
                          ? UpdateFeed::decode(std::string_view(body.constData(), std::size_t(body.size())))
                          : std::nullopt;
    if (!feed) {
        setPhase(userInitiated || m_windowOpen ? Phase::failed(kCheckFailed) : Phase::idle());
        return;
    }
    m_lastChecked = QDateTime::currentDateTimeUtc();
    emit lastCheckedChanged();

    if (!UpdateLogic::isNewer(feed->version, m_currentVersion) ||
        !UpdateLogic::systemSupports(feed->minimumSystemVersion, m_systemVersion)) {
        setPhase(Phase::upToDate());
        return;
    }
    if (m_automaticallyDownloads && feed->download && m_publicKey && canInstallInPlace()) {
        if (const auto failure = rememberedFailure(*feed); failure && !userInitiated) {
            setPhase(Phase::failed(*failure));
            return;
        }
        download(*feed);
        return;
    }
    setPhase(Phase::available(*feed));
    if (!userInitiated && shouldAnnounce(*feed)) {
        emit windowRequested();
    }
}

void Updater::download(const UpdateFeed& feed) {
    const auto url = feed.download ? address(feed.download->url) : std::nullopt;
    if (!url || !m_publicKey) {
        setPhase(Phase::available(feed));
        return;
    }
    setPhase(Phase::downloading(feed, 0));
    if (!isHttp(*url)) {
        fail(UpdateError{kFileFailed});
        return;
    }
    m_received = DownloadBuffer(std::size_t(std::min<qint64>(feed.download->length + kSlack, kReserveLimit)));
    m_reported = 0;
    m_errorPage = 0;

    QNetworkRequest request(*url);
    request.setAttribute(QNetworkRequest::CacheLoadControlAttribute, QNetworkRequest::AlwaysNetwork);
    request.setTransferTimeout(kArchiveTimeoutMs);
    request.setHeader(QNetworkRequest::UserAgentHeader, QString::fromStdString(m_appName + "/" + m_currentVersion));
    QNetworkReply* reply = m_network->get(request);
    m_transfer = reply;
    // Small reads keep each turn of the event loop short while the archive arrives.
    reply->setReadBufferSize(kReadBuffer);
    connect(reply, &QNetworkReply::readyRead, this, [this, reply, feed] { receive(reply, feed); });
    connect(reply, &QNetworkReply::finished, this, [this, reply, feed] { finishTransfer(reply, feed); });
}

void Updater::receive(QNetworkReply* reply, const UpdateFeed& feed) {
    if (const int status = httpStatus(reply); status != 200) {
        // An error page is read to its end and thrown away: aborting a reply whose error status Qt reports
        // at its end makes it report a second error, which it prints as an internal problem. `finishTransfer`
        // tells the failure. A page larger than any error page is stopped all the same.
        m_errorPage += std::size_t(reply->skip(reply->bytesAvailable()));
        if (m_errorPage > std::size_t(kFeedLimit)) {
            drop(reply);
            fail(UpdateError{kFileFailed});
        }
        return;
    }
    const qint64 available = reply->bytesAvailable();
    if (qint64(m_received.size()) + available > feed.download->length + kSlack) {
        // Stopped as soon as the excess shows, not after the whole body has arrived.
        drop(reply);
        m_received = DownloadBuffer();
        failArchive(feed, UpdateError{kTooLarge});
        return;
    }
    if (available > 0) {
        if (!m_received.reserveMore(std::size_t(available))) {
            drop(reply);
            fail(downloadError("There isn’t enough memory for the update."));
            return;
        }
        m_received.grow(std::size_t(std::max<qint64>(reply->read(m_received.tail(), available), 0)));
    }
    const std::size_t count = m_received.size();
    if (count - m_reported > kProgressStep) {
        m_reported = count;
        if (m_phase.kind == Phase::Kind::downloading) {
            const double expected = double(std::max<std::int64_t>(feed.download->length, 1));
            setPhase(Phase::downloading(feed, std::min(double(count) / expected, 1.0)));
        }
    }
}

void Updater::finishTransfer(QNetworkReply* reply, const UpdateFeed& feed) {
    reply->deleteLater();
    const int status = httpStatus(reply);
    if ((status != 0 && status != 200) || (status == 0 && reply->error() == QNetworkReply::NoError)) {
        fail(UpdateError{kFileFailed});
        return;
    }
    // A transport failure (refused, reset, timed out) has no message of its own.
    if (reply->error() != QNetworkReply::NoError) {
        fail(downloadError(reply->errorString().toStdString()));
        return;
    }
    receive(reply, feed);
    if (m_phase.kind != Phase::Kind::downloading) {
        return;
    }
    setPhase(Phase::downloading(feed, 1.0));
    if (qint64(m_received.size()) != feed.download->length) {
        const bool larger = qint64(m_received.size()) > feed.download->length;
        m_received = DownloadBuffer();
        failArchive(feed, UpdateError{larger ? kTooLarge : kIncomplete});
        return;
    }

    // Checking the signature of a large archive takes long enough to stall the interface, so it runs on a
    // worker with the staging and the validation, in the same order.
    auto data = std::make_shared<const DownloadBuffer>(std::move(m_received));
    QThreadPool::globalInstance()->start([data, feed, publicKey = *m_publicKey, identifier = m_bundle.identifier,
                                          guard = QPointer<Updater>(this)] {
        const auto staged = [&]() -> Result<std::filesystem::path> {
            if (!UpdateLogic::verify(data->bytes(), feed.download->edSignature, publicKey)) {
                return UpdateError{kBadSignature};
            }
            auto folder = stage(data->bytes(), feed.version,
                                Platform::stagingFolder(identifier));
            if (!folder) {
                return folder;
            }
            if (auto valid = validate(folder.value(), feed.version, identifier); !valid) {
                return valid.error();
            }
            return folder;
        }();
        QMetaObject::invokeMethod(
            QCoreApplication::instance(),
            [guard, feed, staged] {
                if (guard) {
                    guard->finishStaging(feed, staged);
                }
            },
            Qt::QueuedConnection);
    });
}

void Updater::finishStaging(const UpdateFeed& feed, const Result<std::filesystem::path>& staged) {
    if (!staged) {
        failArchive(feed, staged.error());
        return;
    }
    QSettings().remove(kFailedDownload);
    m_stagedApp = staged.value();
    setPhase(Phase::ready(feed));
    if (shouldAnnounce(feed)) {
        emit windowRequested();
    }
}

void Updater::fail(const UpdateError& error) { setPhase(Phase::failed(error.message)); }

void Updater::failArchive(const UpdateFeed& feed, const UpdateError& error) {
    QSettings().setValue(kFailedDownload, QStringList{QString::fromStdString(feed.version),
                                                      QString::number(feed.download->length),
                                                      QString::fromStdString(feed.download->edSignature),
                                                      QString::fromStdString(error.message)});
    fail(error);
}

std::optional<std::string> Updater::rememberedFailure(const UpdateFeed& feed) const {
    const auto failed = QSettings().value(kFailedDownload).toStringList();
    if (failed.size() != 4 || !feed.download || failed[0].toStdString() != feed.version ||
        failed[1] != QString::number(feed.download->length) ||
        failed[2].toStdString() != feed.download->edSignature) {
        return std::nullopt;
    }
    return failed[3].toStdString();
}

void Updater::installAndRelaunch() {
    m_relaunchAfterInstall = true;
    Quit::now();
}

UpdateSource Updater::source() const {
    if (m_feedURL) {
        return UpdateSource::feed;
    }
    return Platform::isSystemPackage(m_bundle.path) ? UpdateSource::packageManager : UpdateSource::none;
}

bool Updater::canInstallInPlace() const { return Platform::canInstallInPlace(m_bundle.path); }

bool Updater::shouldAnnounce(const UpdateFeed& feed) {
    QSettings settings;
    const QString key = QString::fromStdString(kAnnouncedPrefix + feed.version);
    if (settings.value(key, false).toBool()) {
        return false;
    }
    settings.setValue(key, true);
    return true;
}

void Updater::installOnQuit() {
    if (m_phase.kind != Phase::Kind::ready || !m_stagedApp || !canInstallInPlace()) {
        return;
    }
    // The new version says what it refreshes outside its folder; it was validated with the rest of it.
    const auto after = Bundle::at(*m_stagedApp).afterInstall.value_or("");
    // A shell that fails to start leaves the program as it is; it quits either way.
    Platform::launchInstaller(Platform::installScript(Platform::executableInBundle(m_bundle.path)), long(::getpid()),
                              *m_stagedApp, m_bundle.path, m_relaunchAfterInstall,
                              Platform::isAfterInstallPath(after) ? after : std::string());
}

Result<std::filesystem::path> Updater::stage(std::string_view zip, const std::string& version,
                                             const std::filesystem::path& stagingFolder) {
    std::error_code error;
    std::filesystem::remove_all(stagingFolder, error);
    if (!namesOneFolder(version)) {
        return downloadError("The version “" + version + "” can’t name a folder.");
    }
    const auto versionFolder = stagingFolder / version;
    std::filesystem::create_directories(versionFolder, error);
    if (error) {
        return downloadError(error.message());
    }
    if (auto extracted = Archive::extract(zip, versionFolder); !extracted) {
        return extracted.error();
    }
    // Linux keeps no quarantine attribute on downloaded files, so there is nothing to strip.
    std::vector<std::filesystem::path> folders;
    for (const auto& entry : std::filesystem::directory_iterator(versionFolder, error)) {
        if (entry.is_directory(error) && !entry.is_symlink(error) &&
            std::filesystem::is_regular_file(entry.path() / Bundle::kInfoFile, error)) {
            folders.push_back(entry.path());
        }
    }
    if (folders.empty()) {
        return UpdateError{kNoApp};
    }
    return *std::min_element(folders.begin(), folders.end());
}

Result<Done> Updater::validate(const std::filesystem::path& staged, const std::string& expectedVersion,
                               const std::optional<std::string>& runningIdentifier) {
    const auto bundle = Bundle::open(staged);
    if (!bundle || bundle->identifier != runningIdentifier || bundle->shortVersion != expectedVersion) {
        return UpdateError{kMismatch};
    }
    if (!Manifest::matches(staged)) {
        return UpdateError{kDamaged};
    }
    return Done{};
}

} // namespace brivel
