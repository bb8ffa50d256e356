#pragma once

#include "metrics/Metrics.h"

#include <QObject>

#include <filesystem>
#include <string>

namespace vitrek {

// Writes the Store's figures for the textfile collector after every check-up, into a folder that may
// change (Settings) or be empty (off). A folder that can't be written is said once through `problem`; the
// export keeps trying quietly at each check-up and clears the problem when a write succeeds.
class MetricsExport final : public QObject {
    Q_OBJECT

public:
    MetricsExport(Store& store, MetricsLabels labels, QObject* parent = nullptr);

    // An empty folder turns the export off. A new folder is written at once when there is a check-up.
    void setFolder(const std::filesystem::path& folder);
    const std::filesystem::path& folder() const { return m_folder; }
    // Why the last write failed; empty while writing works or the export is off.
    const std::string& problem() const { return m_problem; }
    // Writes the current check-up now; nothing without a folder or a reading.
    void write();

signals:
    void problemChanged(const std::string& problem);

private:
    void setProblem(std::string problem);

    Store& m_store;
    MetricsLabels m_labels;
    std::filesystem::path m_folder;
    std::string m_problem;
};

} // namespace vitrek
