#include "card/CardExport.h"

#include "Store.h"
#include "history/History.h"
#include "shell/ImageFiles.h"
#include "time/Calendar.h"

#include <QClipboard>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDesktopServices>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QGuiApplication>
#include <QMimeData>
#include <QStandardPaths>
#include <QUrl>

namespace vitrek::CardExport {

namespace {

QString proposedName(const Store& store) {
    return QString::fromStdString(fileName(store.environment().now(), store.environment().calendar()));
}

} // namespace

std::optional<ShareCard> card(const Store& store) {
    const auto& reading = store.reading();
    if (!reading) {
        return std::nullopt;
    }
    const auto& night = store.night();
    return ShareCard{*reading,
                     store.factors(),
                     store.recovery(),
                     store.strain(),
                     store.heavy(),
                     night ? std::optional<int>{RestScore::score(*night)} : std::nullopt,
                     Texts::restLine({}, night, Texts::RestLinePlace::card),
                     store.tip(),
                     store.age()};
}

std::optional<QByteArray> png(const Store& store) {
    const auto shared = card(store);
    if (!shared) {
        return std::nullopt;
    }
    return pngBytes(ShareCardView::image(*shared, store.environment().calendar()));
}

std::string fileName(Instant now, const Calendar& calendar) {
    return "Vitrek " + History::dayID(now, calendar) + ".png";
}

void save(const Store& store, QWidget* parent) {
    const auto data = png(store);
    if (!data) {
        return;
    }
    QString folder = QStandardPaths::writableLocation(QStandardPaths::PicturesLocation);
    if (folder.isEmpty() || !QDir(folder).exists()) {
        folder = QDir::homePath();
    }
    QFileDialog dialog(parent, QStringLiteral("Save Card as Image"));
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setFileMode(QFileDialog::AnyFile);
    dialog.setNameFilter(QStringLiteral("PNG image (*.png)"));
    dialog.setDefaultSuffix(QStringLiteral("png"));
    dialog.setDirectory(folder);
    dialog.selectFile(proposedName(store));
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty()) {
        return;
    }
    // A failure to write is not reported: the user sees no file and can try again.
    writeAtomically(dialog.selectedFiles().constFirst(), *data);
}

std::optional<QString> writeForSharing(const Store& store) {
    const auto data = png(store);
    if (!data) {
        return std::nullopt;
    }
    const QString path = QDir(QDir::tempPath()).filePath(proposedName(store));
    if (!writeAtomically(path, *data)) {
        return std::nullopt;
    }
    return path;
}

void revealInFileManager(const QString& path) {
    const QUrl file = QUrl::fromLocalFile(path);
    const QUrl folder = QUrl::fromLocalFile(QFileInfo(path).absolutePath());
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("/org/freedesktop/FileManager1"),
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("ShowItems"));
    call << QStringList{file.toString()} << QString();
    const QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        QDesktopServices::openUrl(folder);
        return;
    }
    // Asynchronous, so a slow or absent file manager never holds up the window; without one the folder
    // opens in whatever handles folders.
    auto* watcher = new QDBusPendingCallWatcher(bus.asyncCall(call, 5'000), QCoreApplication::instance());
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, [folder](QDBusPendingCallWatcher* finished) {
        if (finished->isError()) {
            QDesktopServices::openUrl(folder);
        }
        finished->deleteLater();
    });
}

void share(const Store& store, const std::function<void(const QString&)>& reveal) {
    // Linux has no system share sheet. The closest a desktop offers: the card as a file under its proper
    // name, the image on the clipboard (with the file's address, so a file manager pastes the file and an
    // editor or chat pastes the picture), and the file shown in the file manager to drag anywhere.
    const auto path = writeForSharing(store);
    if (!path) {
        return;
    }
    if (auto* clipboard = QGuiApplication::clipboard()) {
        auto* mime = new QMimeData;
        mime->setImageData(QImage(*path));
        mime->setUrls({QUrl::fromLocalFile(*path)});
        clipboard->setMimeData(mime);
    }
    if (reveal) {
        reveal(*path);
    }
}

} // namespace vitrek::CardExport
