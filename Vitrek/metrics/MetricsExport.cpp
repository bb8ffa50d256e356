#include "metrics/MetricsExport.h"

#include "Store.h"

#include <utility>

namespace vitrek {

MetricsExport::MetricsExport(Store& store, MetricsLabels labels, QObject* parent)
    : QObject(parent), m_store(store), m_labels(std::move(labels)) {
    // A check-up appends a sample after every other figure of it has been published.
    connect(&store, &Store::samplesChanged, this, &MetricsExport::write);
}

void MetricsExport::setFolder(const std::filesystem::path& folder) {
    if (folder == m_folder) {
        return;
    }
    m_folder = folder;
    setProblem({});
    write();
}

void MetricsExport::write() {
    // Another Vitrek checking up into the same data folder writes the same figures already.
    if (m_folder.empty() || !m_store.reading() || m_store.writerElsewhere()) {
        return;
    }
    auto problem = writeMetricsFile(metricsFile(m_folder, m_labels.user), metricsText(m_store, m_labels));
    setProblem(problem.value_or(std::string()));
}

void MetricsExport::setProblem(std::string problem) {
    if (problem != m_problem) {
        m_problem = std::move(problem);
        emit problemChanged(m_problem);
    }
}

} // namespace vitrek
