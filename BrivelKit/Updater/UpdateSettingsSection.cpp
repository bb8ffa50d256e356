#include "Updater/UpdateSettingsSection.h"

#include "Updater/UpdateTexts.h"
#include "Updater/Updater.h"

#include <QCheckBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QSignalBlocker>
#include <QStyle>
#include <QTimer>
#include <QVBoxLayout>
#include <chrono>
#include <optional>

namespace brivel {

namespace {

constexpr int kSpacing = 8;
constexpr std::chrono::minutes kClockInterval{1};

void useSecondaryColour(QLabel* label) {
    auto colours = label->palette();
    colours.setColor(QPalette::WindowText, colours.color(QPalette::PlaceholderText));
    label->setPalette(colours);
}

std::optional<std::chrono::system_clock::time_point> timePoint(const QDateTime& date) {
    if (!date.isValid()) {
        return std::nullopt;
    }
    return std::chrono::system_clock::time_point{std::chrono::milliseconds{date.toMSecsSinceEpoch()}};
}

} // namespace

UpdateSettingsSection::UpdateSettingsSection(Updater& updater, QWidget* parent)
    : QWidget(parent), m_updater(updater) {
    auto* layout = new QVBoxLayout(this);
    layout->setSpacing(kSpacing);

    auto* versionRow = new QHBoxLayout;
    versionRow->addWidget(new QLabel("Version"));
    versionRow->addStretch();
    auto* version = new QLabel(QString::fromStdString(m_updater.currentVersion()));
    version->setTextInteractionFlags(Qt::TextSelectableByMouse);
    versionRow->addWidget(version);
    layout->addLayout(versionRow);

    m_toggle = new QCheckBox("Download and install updates automatically");
    layout->addWidget(m_toggle);
    auto* caption = new QLabel(QString::fromStdString(
        "New versions download in the background and install when you quit " + m_updater.appName() + "."));
    caption->setWordWrap(true);
    useSecondaryColour(caption);
    // Under the check box's text, not under its box.
    const auto indent = m_toggle->style()->pixelMetric(QStyle::PM_IndicatorWidth, nullptr, m_toggle) +
                        m_toggle->style()->pixelMetric(QStyle::PM_CheckBoxLabelSpacing, nullptr, m_toggle);
    caption->setContentsMargins(indent, 0, 0, 0);
    layout->addWidget(caption);

    auto* statusRow = new QHBoxLayout;
    m_status = new QLabel;
    m_status->setWordWrap(true);
    statusRow->addWidget(m_status, 1);
    auto* checkNow = new QPushButton("Check Now");
    statusRow->addWidget(checkNow);
    layout->addLayout(statusRow);

    if (m_updater.source() != UpdateSource::feed) {
        m_toggle->hide();
        caption->hide();
        checkNow->hide();
    }

    connect(m_toggle, &QCheckBox::toggled, this,
            [this](bool checked) { m_updater.setAutomaticallyDownloads(checked); });
    connect(checkNow, &QPushButton::clicked, this, [this] { m_updater.check(true); });
    connect(&m_updater, &Updater::phaseChanged, this, &UpdateSettingsSection::refresh);
    connect(&m_updater, &Updater::lastCheckedChanged, this, &UpdateSettingsSection::refresh);
    connect(&m_updater, &Updater::automaticallyDownloadsChanged, this, &UpdateSettingsSection::refresh);

    m_clock = new QTimer(this);
    m_clock->setInterval(kClockInterval);
    connect(m_clock, &QTimer::timeout, this, &UpdateSettingsSection::refresh);
    m_clock->start();

    refresh();
}

void UpdateSettingsSection::refresh() {
    {
        // Showing the stored value must not write it back.
        const QSignalBlocker quiet(m_toggle);
        m_toggle->setChecked(m_updater.automaticallyDownloads());
    }
    const auto source = UpdateTexts::sourceLine(m_updater.source());
    m_status->setText(QString::fromStdString(
        !source.empty() ? source
                        : UpdateTexts::updateStatus(m_updater.phase(), timePoint(m_updater.lastChecked()),
                                                    std::chrono::system_clock::now())));
}

} // namespace brivel
