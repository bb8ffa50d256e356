#include "screens/SettingsWindow.h"

#include "Store.h"
#include "metrics/MetricsExport.h"
#include "screens/Labels.h"
#include "screens/ScreenTexts.h"
#include "screens/StoreViews.h"
#include "screens/Symbols.h"
#include "shell/Autostart.h"
#include "shell/Launch.h"
#include "shell/Preferences.h"

#include <Brivel.h>
#include <Updater/UpdateSettingsSection.h>

#include <QCheckBox>
#include <QCoreApplication>
#include <QDateEdit>
#include <QFileDialog>
#include <QLineEdit>
#include <QPushButton>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QScrollArea>
#include <QTabWidget>
#include <QVBoxLayout>

namespace vitrek {

namespace {

QLabel* caption(const char* text) {
    auto* label = Labels::make(Fonts::caption(), Theme::Role::ink2, true);
    label->setText(Labels::q(text));
    return label;
}

QIcon tabIcon(const char* symbol) {
    return QIcon(Symbols::pixmap(QString::fromLatin1(symbol), Theme::color(Theme::Role::ink2), 16, 2.0));
}

// The definitions, with `nightSource` under Rest's.
QWidget* howItWorks(QLabel* nightSource) {
    auto* content = new QWidget;
    auto* column = new QVBoxLayout(content);
    column->setContentsMargins(24, 24, 24, 24);
    column->setSpacing(12);
    for (const auto& entry : Texts::kGlossary) {
        auto* block = new QVBoxLayout;
        block->setSpacing(4);
        auto* title = Labels::make(Fonts::title(), Theme::Role::ink);
        title->setText(Labels::q(entry.title));
        auto* text = Labels::make(Fonts::body(), Theme::Role::ink2, true);
        text->setText(Labels::q(entry.text));
        block->addWidget(title);
        block->addWidget(text);
        if (&entry == &Texts::kGlossary[Texts::kGlossaryRest]) {
            block->addWidget(nightSource);
        }
        column->addLayout(block);
    }
    column->addStretch(1);
    return Labels::scrolling(content);
}

} // namespace

struct SettingsWindow::Parts {
    QCheckBox* showInMenuBar = nullptr;
    QCheckBox* openAtLogin = nullptr;
    QCheckBox* setBought = nullptr;
    QWidget* boughtRow = nullptr;
    QDateEdit* bought = nullptr;
    QLabel* nightSource = nullptr;
    QLineEdit* metricsFolder = nullptr;
    QLabel* metricsProblem = nullptr;
};

SettingsWindow::SettingsWindow(Store& store, bool demo, bool trayAvailable, MetricsExport* metrics,
                               QWidget* parent)
    : QWidget(parent), m_store(store), m_demo(demo), m_parts(std::make_unique<Parts>()) {
    setWindowTitle(QStringLiteral("Vitrek Settings"));
    setObjectName(QStringLiteral("settings"));
    setFixedSize(520, 400);
    setPalette(Labels::palette());
    setAutoFillBackground(true);
    auto& p = *m_parts;
    auto& preferences = Preferences::shared();

    auto* general = new QWidget;
    auto* generalColumn = new QVBoxLayout(general);
    generalColumn->setContentsMargins(20, 20, 20, 20);
    generalColumn->setSpacing(16);
    auto* startup = new QGroupBox(general);
    auto* startupColumn = new QVBoxLayout(startup);
    p.showInMenuBar = new QCheckBox(Labels::q(Texts::kShowInMenuBar), startup);
    p.showInMenuBar->setChecked(preferences.showInMenuBar());
    p.openAtLogin = new QCheckBox(Labels::q(Texts::kOpenAtLogin), startup);
    p.openAtLogin->setChecked(Autostart::isEnabled());
    startupColumn->addWidget(p.showInMenuBar);
    if (!trayAvailable) {
        startupColumn->addWidget(caption(Texts::kNoTray));
    }
    startupColumn->addWidget(p.openAtLogin);
    startupColumn->addWidget(caption(Texts::kOpenAtLoginCaption));
    generalColumn->addWidget(startup);

    auto* ageGroup = new QGroupBox(Labels::q(Texts::kAgeSection), general);
    auto* ageColumn = new QVBoxLayout(ageGroup);
    p.setBought = new QCheckBox(Labels::q(Texts::kSetBought), ageGroup);
    p.setBought->setChecked(preferences.hasBoughtAt());
    p.boughtRow = new QWidget(ageGroup);
    auto* boughtLayout = new QHBoxLayout(p.boughtRow);
    boughtLayout->setContentsMargins(0, 0, 0, 0);
    auto* gotItOn = new QLabel(Labels::q(Texts::kGotItOn), p.boughtRow);
    p.bought = new QDateEdit(preferences.boughtAt().value_or(QDate::currentDate()), p.boughtRow);
    p.bought->setCalendarPopup(true);
    p.bought->setDisplayFormat(QLocale().dateFormat(QLocale::ShortFormat));
    p.bought->setMaximumDate(QDate::currentDate());
    gotItOn->setBuddy(p.bought);
    boughtLayout->addWidget(gotItOn);
    boughtLayout->addWidget(p.bought);
    boughtLayout->addStretch(1);
    p.boughtRow->setVisible(p.setBought->isChecked());
    ageColumn->addWidget(p.setBought);
    ageColumn->addWidget(p.boughtRow);
    ageColumn->addWidget(caption(Texts::kSetBoughtCaption));
    generalColumn->addWidget(ageGroup);
    generalColumn->addStretch(1);

    auto* updates = new QWidget;
    auto* updatesColumn = new QVBoxLayout(updates);
    updatesColumn->setContentsMargins(20, 20, 20, 20);
    updatesColumn->addWidget(new brivel::UpdateSettingsSection(brivel::Brivel::updater(), updates));
    updatesColumn->addStretch(1);

    auto* tabs = new QTabWidget(this);
    tabs->addTab(general, tabIcon("gearshape"), Labels::q(Texts::kGeneralTab));
    tabs->addTab(updates, tabIcon("arrow.triangle.2.circlepath"), Labels::q(Texts::kUpdatesTab));
    tabs->addTab(metricsTab(metrics), tabIcon("dot.radiowaves.left.and.right"), Labels::q(Texts::kMetricsTab));
    p.nightSource = Labels::make(Fonts::caption(), Theme::Role::ink2, true);
    // The fix holds a command to copy.
    p.nightSource->setTextInteractionFlags(Qt::TextSelectableByMouse);
    tabs->addTab(howItWorks(p.nightSource), tabIcon("info.circle"), Labels::q(Texts::kHowItWorksTab));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(8, 8, 8, 8);
    layout->addWidget(tabs);

    // The menu-bar setting is written even in demo mode; the others only change on screen there.
    connect(p.showInMenuBar, &QCheckBox::toggled, this, [](bool on) { Preferences::shared().setShowInMenuBar(on); });
    connect(&preferences, &Preferences::showInMenuBarChanged, p.showInMenuBar, &QCheckBox::setChecked);
    connect(p.openAtLogin, &QCheckBox::toggled, this, [this](bool on) {
        if (m_demo) {
            return;
        }
        // A refusal is not shown: the switch keeps the user's position until the window is built again.
        if (on) {
            Autostart::enable(QString::fromStdString(
                frontProgram(QCoreApplication::applicationFilePath().toStdString())));
        } else {
            Autostart::disable();
        }
    });
    connect(p.setBought, &QCheckBox::toggled, this, [this](bool on) {
        m_parts->boughtRow->setVisible(on);
        if (m_demo) {
            return;
        }
        Preferences::shared().setBoughtAt(on ? std::optional<QDate>(m_parts->bought->date()) : std::nullopt);
        m_store.updateAge();
    });
    connect(p.bought, &QDateEdit::dateChanged, this, [this](QDate date) {
        if (m_demo || !m_parts->setBought->isChecked()) {
            return;
        }
        Preferences::shared().setBoughtAt(date);
        m_store.updateAge();
    });

    StoreViews::refreshOn(this, m_store,
                          {&Store::nightSourceChanged, &Store::recordedSinceChanged, &Store::recordingChanged,
                           &Store::powerLogProblemChanged},
                          [this] { refreshNightSource(); });
    refreshNightSource();
}

QWidget* SettingsWindow::metricsTab(MetricsExport* metrics) {
    auto& p = *m_parts;
    auto* page = new QWidget;
    auto* column = new QVBoxLayout(page);
    column->setContentsMargins(20, 20, 20, 20);
    auto* group = new QGroupBox(Labels::q(Texts::kMetricsSection), page);
    auto* groupColumn = new QVBoxLayout(group);
    auto* row = new QHBoxLayout;
    auto* label = new QLabel(Labels::q(Texts::kMetricsFolder), group);
    p.metricsFolder = new QLineEdit(m_demo ? QString() : Preferences::shared().metricsFolder(), group);
    p.metricsFolder->setPlaceholderText(Labels::q(Texts::kMetricsOff));
    p.metricsFolder->setClearButtonEnabled(true);
    label->setBuddy(p.metricsFolder);
    auto* choose = new QPushButton(Labels::q(Texts::kChooseFolder), group);
    row->addWidget(label);
    row->addWidget(p.metricsFolder, 1);
    row->addWidget(choose);
    groupColumn->addLayout(row);
    // The demo machine's user is nobody in particular.
    const std::string file = m_demo ? "vitrek-USER.prom" : metricsFile({}, metricsUser()).string();
    groupColumn->addWidget(caption(Texts::metricsCaption(file).c_str()));
    p.metricsProblem = Labels::make(Fonts::caption(), Theme::Role::poor, true);
    groupColumn->addWidget(p.metricsProblem);
    column->addWidget(group);
    column->addStretch(1);

    const auto save = [this] {
        if (!m_demo) {
            Preferences::shared().setMetricsFolder(m_parts->metricsFolder->text().trimmed());
        }
    };
    connect(p.metricsFolder, &QLineEdit::editingFinished, this, save);
    connect(choose, &QPushButton::clicked, this, [this, save] {
        const QString folder =
            QFileDialog::getExistingDirectory(this, Labels::q(Texts::kMetricsSection), m_parts->metricsFolder->text());
        if (!folder.isEmpty()) {
            m_parts->metricsFolder->setText(folder);
            save();
        }
    });
    const auto showProblem = [this](const std::string& problem) {
        Labels::setText(m_parts->metricsProblem, problem);
        m_parts->metricsProblem->setVisible(!problem.empty());
    };
    showProblem(metrics ? metrics->problem() : std::string());
    if (metrics) {
        connect(metrics, &MetricsExport::problemChanged, this, showProblem);
    }
    return page;
}

void SettingsWindow::refreshNightSource() {
    const std::string line = Texts::nightSourceLine(StoreViews::nightStatus(m_store),
                                                    StoreViews::now(m_store), StoreViews::calendar(m_store));
    Labels::setText(m_parts->nightSource, line);
    m_parts->nightSource->setVisible(!line.empty());
}

SettingsWindow::~SettingsWindow() = default;

} // namespace vitrek
