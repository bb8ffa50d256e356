#pragma once

#include <QDate>
#include <QObject>

#include <optional>

namespace vitrek {

// The user's settings, in QSettings under organisation and application "Vitrek" with the literal keys
// "showInMenuBar" (default true), "boughtAt" (a date, absent by default) and "seenMilestone" (default 0)
// and "metricsFolder" (default empty).
// One object per process, so every window hears a change made in another.
class Preferences : public QObject {
    Q_OBJECT

public:
    static Preferences& shared();

    bool showInMenuBar() const;
    void setShowInMenuBar(bool show);

    // Whether "boughtAt" holds any value (the Settings toggle shows on even for one that is not a date).
    bool hasBoughtAt() const;
    // The purchase date when "boughtAt" holds a date; absent otherwise.
    std::optional<QDate> boughtAt() const;
    // Writes the date, or removes the key for absent.
    void setBoughtAt(std::optional<QDate> date);

    int seenMilestone() const;
    void setSeenMilestone(int days);

    // "metricsFolder": where each check-up is also written for a Prometheus collector; empty for off.
    QString metricsFolder() const;
    void setMetricsFolder(const QString& folder);

signals:
    void showInMenuBarChanged(bool show);
    void boughtAtChanged();
    void seenMilestoneChanged(int days);
    void metricsFolderChanged(const QString& folder);

private:
    explicit Preferences(QObject* parent = nullptr);
};

} // namespace vitrek
