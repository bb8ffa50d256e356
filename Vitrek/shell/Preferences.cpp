#include "shell/Preferences.h"

#include <QDateTime>
#include <QSettings>
#include <QVariant>

namespace vitrek {

namespace {

const QString kShowInMenuBar = QStringLiteral("showInMenuBar");
const QString kBoughtAt = QStringLiteral("boughtAt");
const QString kSeenMilestone = QStringLiteral("seenMilestone");
const QString kMetricsFolder = QStringLiteral("metricsFolder");

// Native format, so the file is ~/.config/Vitrek/Vitrek.conf whatever the application's own names are.
QSettings settings() { return QSettings{QStringLiteral("Vitrek"), QStringLiteral("Vitrek")}; }

void write(const QString& key, const QVariant& value) {
    QSettings store = settings();
    store.setValue(key, value);
    store.sync();
}

} // namespace

Preferences& Preferences::shared() {
    static Preferences* preferences = new Preferences;
    return *preferences;
}

Preferences::Preferences(QObject* parent) : QObject(parent) {}

bool Preferences::showInMenuBar() const { return settings().value(kShowInMenuBar, true).toBool(); }

void Preferences::setShowInMenuBar(bool show) {
    if (show == showInMenuBar()) {
        return;
    }
    write(kShowInMenuBar, show);
    emit showInMenuBarChanged(show);
}

bool Preferences::hasBoughtAt() const { return settings().contains(kBoughtAt); }

std::optional<QDate> Preferences::boughtAt() const {
    const QVariant value = settings().value(kBoughtAt);
    QDate date;
    switch (value.typeId()) {
    case QMetaType::QDate:
        date = value.toDate();
        break;
    case QMetaType::QDateTime:
        date = value.toDateTime().date();
        break;
    case QMetaType::QString:
        date = QDate::fromString(value.toString(), Qt::ISODate);
        break;
    default:
        break;
    }
    return date.isValid() ? std::optional<QDate>{date} : std::nullopt;
}

void Preferences::setBoughtAt(std::optional<QDate> date) {
    if (date && !date->isValid()) {
        date.reset();
    }
    // A stored value that is not a date still counts as set, so replacing it is a change.
    if (date == boughtAt() && hasBoughtAt() == date.has_value()) {
        return;
    }
    QSettings store = settings();
    if (date) {
        // A QDate: what the age reads back through `boughtAt`.
        store.setValue(kBoughtAt, *date);
    } else {
        store.remove(kBoughtAt);
    }
    store.sync();
    emit boughtAtChanged();
}

int Preferences::seenMilestone() const { return settings().value(kSeenMilestone, 0).toInt(); }

void Preferences::setSeenMilestone(int days) {
    if (days == seenMilestone()) {
        return;
    }
    write(kSeenMilestone, days);
    emit seenMilestoneChanged(days);
}

QString Preferences::metricsFolder() const { return settings().value(kMetricsFolder).toString(); }

void Preferences::setMetricsFolder(const QString& folder) {
    if (folder == metricsFolder()) {
        return;
    }
    write(kMetricsFolder, folder);
    emit metricsFolderChanged(folder);
}

} // namespace vitrek
