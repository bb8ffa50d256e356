#include "screens/TodayTab.h"

#include "Store.h"
#include "history/Milestone.h"
#include "screens/Labels.h"
#include "screens/ScreenTexts.h"
#include "screens/StoreViews.h"
#include "screens/widgets/Card.h"
#include "screens/widgets/Dial.h"
#include "screens/widgets/Glyph.h"
#include "screens/widgets/HistoryBars.h"
#include "screens/widgets/Kicker.h"
#include "screens/widgets/MilestoneBanner.h"
#include "screens/widgets/MiniCard.h"
#include "shell/Preferences.h"

#include <QFrame>
#include <QHBoxLayout>
#include <QVBoxLayout>

#include <array>

namespace vitrek {

namespace {

struct DialBlock {
    Dial* dial = nullptr;
    QLabel* label = nullptr;
    QLabel* sub = nullptr;
    QWidget* block = nullptr;
};

} // namespace

struct TodayTab::Parts {
    std::array<DialBlock, 3> dials;
    MilestoneBanner* banner = nullptr;

    QLabel* ageValue = nullptr;
    QLabel* ageLine = nullptr;
    QLabel* ageCaption = nullptr;
    QLabel* healthHeadline = nullptr;
    QLabel* healthCaption = nullptr;
    QLabel* stressValue = nullptr;
    QLabel* stressLabel = nullptr;
    QLabel* stressCaption = nullptr;
    std::array<MiniCard*, 3> minis{};

    Card* factorsCard = nullptr;
    QVBoxLayout* factorRows = nullptr;
    std::vector<Factor> shownFactors;
    bool factorsShown = false;
    Theme::Appearance factorsAppearance = Theme::Appearance::light;

    HistoryBars* bars = nullptr;
    QLabel* historyEmpty = nullptr;
    QWidget* historyChart = nullptr;
    QLabel* average = nullptr;
    QLabel* averageLabel = nullptr;

    Glyph* tipSymbol = nullptr;
    QLabel* tip = nullptr;

    QLabel* storage = nullptr; // why check-ups are not being saved; hidden while saving works

    std::vector<QLabel*> labels; // every label with a theme role, re-tinted on refresh
    std::vector<Kicker*> kickers;
};

TodayTab::TodayTab(Store& store, QWidget* parent)
    : QWidget(parent), m_store(store), m_parts(std::make_unique<Parts>()) {
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(24, 8, 24, 24);
    column->setSpacing(16);
    buildDials(column);

    m_parts->storage = Labels::make(Fonts::body(), Theme::Role::fair);
    m_parts->storage->setWordWrap(true);
    m_parts->storage->setVisible(false);
    m_parts->labels.push_back(m_parts->storage);
    column->addWidget(m_parts->storage);

    m_parts->banner = new MilestoneBanner(this);
    column->addWidget(m_parts->banner);
    connect(m_parts->banner, &MilestoneBanner::closeRequested, this, [this] {
        if (const auto reached = Milestone::reached(m_store.streak())) {
            Preferences::shared().setSeenMilestone(*reached);
        }
    });
    connect(&Preferences::shared(), &Preferences::seenMilestoneChanged, this, &TodayTab::refresh);

    buildMiniCards(column);
    buildLowerCards(column);
    column->addStretch(1);

    StoreViews::refreshOn(this, m_store,
                          {&Store::readingChanged, &Store::factorsChanged, &Store::recoveryChanged,
                           &Store::strainChanged, &Store::heavyChanged, &Store::nightChanged,
                           &Store::historyChanged, &Store::tipChanged, &Store::loadingNightChanged,
                           &Store::recordingChanged, &Store::powerLogProblemChanged, &Store::ageChanged,
                           &Store::vitalsChanged, &Store::stressNowChanged, &Store::streakChanged,
                           &Store::measuredSinceChanged, &Store::storageProblemChanged},
                          [this] { refresh(); });
    refresh();
}

TodayTab::~TodayTab() = default;

void TodayTab::buildDials(QVBoxLayout* column) {
    auto* row = new QHBoxLayout;
    row->setSpacing(16);
    const std::array<const char*, 3> helps{Texts::kRecoveryHelp, Texts::kStrainHelp, Texts::kRestHelp};
    for (std::size_t i = 0; i < 3; ++i) {
        auto& block = m_parts->dials[i];
        block.block = new QWidget(this);
        auto* layout = new QVBoxLayout(block.block);
        layout->setContentsMargins(0, 0, 0, 0);
        layout->setSpacing(4);
        block.dial = new Dial(168, 16, block.block);
        block.label = Labels::make(Fonts::title(), Theme::Role::ink);
        block.sub = Labels::make(Fonts::body(), Theme::Role::ink2);
        block.label->setAlignment(Qt::AlignHCenter);
        block.sub->setAlignment(Qt::AlignHCenter);
        layout->addWidget(block.dial, 0, Qt::AlignHCenter);
        layout->addSpacing(6);
        layout->addWidget(block.label);
        layout->addWidget(block.sub);
        block.block->setToolTip(Labels::q(helps[i]));
        m_parts->labels.push_back(block.label);
        m_parts->labels.push_back(block.sub);
        row->addWidget(block.block, 1);
    }
    column->addLayout(row);
}

void TodayTab::buildMiniCards(QVBoxLayout* column) {
    auto* row = new QHBoxLayout;
    row->setSpacing(16);
    auto& p = *m_parts;
    const std::array<const char*, 3> titles{Texts::kAgeMiniTitle, Texts::kHealthMiniTitle,
                                            Texts::kStressMiniTitle};
    for (std::size_t i = 0; i < 3; ++i) {
        p.minis[i] = new MiniCard(Labels::q(titles[i]), this);
        connect(p.minis[i], &MiniCard::clicked, this, &TodayTab::healthRequested);
        row->addWidget(p.minis[i], 1);
    }
    const auto add = [&](MiniCard* card, QLabel*& label, const QFont& font, Theme::Role role) {
        label = Labels::make(font, role);
        card->content()->addWidget(label);
        p.labels.push_back(label);
    };
    const QFont big = Fonts::system(28, QFont::Black, true);
    const QFont strong = Fonts::system(13, QFont::Bold);
    add(p.minis[0], p.ageValue, big, Theme::Role::ink);
    add(p.minis[0], p.ageLine, strong, Theme::Role::ink3);
    add(p.minis[0], p.ageCaption, Fonts::caption(), Theme::Role::ink3);
    add(p.minis[1], p.healthHeadline, Fonts::system(20, QFont::Bold), Theme::Role::good);
    add(p.minis[1], p.healthCaption, Fonts::caption(), Theme::Role::ink3);
    add(p.minis[2], p.stressValue, big, Theme::Role::strain);
    add(p.minis[2], p.stressLabel, strong, Theme::Role::strain);
    add(p.minis[2], p.stressCaption, Fonts::system(13), Theme::Role::ink2);
    for (auto* card : p.minis) {
        card->content()->addStretch(1);
    }
    column->addLayout(row);
}

void TodayTab::buildLowerCards(QVBoxLayout* column) {
    auto& p = *m_parts;
    auto* row = new QHBoxLayout;
    row->setSpacing(16);

    p.factorsCard = new Card(this);
    auto* factors = new QVBoxLayout(p.factorsCard);
    factors->setSpacing(10);
    auto* factorsKicker = new Kicker(Labels::q(Texts::kFactorsKicker), p.factorsCard);
    p.kickers.push_back(factorsKicker);
    factors->addWidget(factorsKicker);
    p.factorRows = new QVBoxLayout;
    p.factorRows->setSpacing(8);
    factors->addLayout(p.factorRows);
    factors->addStretch(1);
    row->addWidget(p.factorsCard, 1);

    auto* history = new Card(this);
    history->setFixedWidth(300);
    auto* historyColumn = new QVBoxLayout(history);
    historyColumn->setSpacing(10);
    auto* historyKicker = new Kicker(Labels::q(Texts::kHistoryKicker), history);
    p.kickers.push_back(historyKicker);
    historyColumn->addWidget(historyKicker);
    p.historyChart = new QWidget(history);
    auto* chartRow = new QHBoxLayout(p.historyChart);
    chartRow->setContentsMargins(0, 0, 0, 0);
    chartRow->setSpacing(12);
    p.bars = new HistoryBars(p.historyChart);
    chartRow->addWidget(p.bars, 1);
    auto* averageColumn = new QVBoxLayout;
    averageColumn->addStretch(1);
    p.averageLabel = Labels::make(Fonts::caption(), Theme::Role::ink3);
    p.averageLabel->setText(Labels::q(Texts::kAverage));
    p.average = Labels::make(Fonts::system(15, QFont::Bold), Theme::Role::ink);
    averageColumn->addWidget(p.averageLabel);
    averageColumn->addWidget(p.average);
    chartRow->addLayout(averageColumn);
    p.labels.push_back(p.averageLabel);
    p.labels.push_back(p.average);
    historyColumn->addWidget(p.historyChart);
    p.historyEmpty = Labels::make(Fonts::caption(), Theme::Role::ink3, true);
    p.historyEmpty->setText(Labels::q(Texts::kHistoryEmpty));
    p.historyEmpty->setFixedHeight(120);
    p.historyEmpty->setAlignment(Qt::AlignCenter);
    p.labels.push_back(p.historyEmpty);
    historyColumn->addWidget(p.historyEmpty);
    historyColumn->addStretch(1);
    row->addWidget(history, 0);
    column->addLayout(row);

    auto* tipCard = new Card(this);
    auto* tipRow = new QHBoxLayout(tipCard);
    tipRow->setSpacing(12);
    p.tipSymbol = new Glyph(QSize(22, 22), QSize(22, 22), tipCard);
    p.tip = Labels::make(Fonts::body(), Theme::Role::ink, true);
    p.tip->setTextInteractionFlags(Qt::TextSelectableByMouse);
    p.labels.push_back(p.tip);
    tipRow->addWidget(p.tipSymbol, 0, Qt::AlignTop);
    tipRow->addWidget(p.tip, 1);
    column->addWidget(tipCard);
}

void TodayTab::refresh() {
    auto& p = *m_parts;
    const auto dials = StoreViews::dials(m_store);
    for (std::size_t i = 0; i < 3; ++i) {
        auto& block = p.dials[i];
        block.dial->setFraction(dials[i].fraction);
        block.dial->setValue(Labels::q(dials[i].value));
        block.dial->setColor(Theme::color(dials[i].color));
        Labels::setText(block.label, dials[i].label);
        Labels::setText(block.sub, dials[i].sub);
        block.dial->setAccessibleName(Labels::q(dials[i].label + " " + dials[i].value));
    }

    Labels::setText(p.storage, m_store.storageProblem());
    p.storage->setVisible(!m_store.storageProblem().empty());

    const auto milestone = Texts::bannerMilestone(m_store.streak(), Preferences::shared().seenMilestone());
    if (milestone) {
        p.banner->setMilestone(*milestone, m_store.streak());
    }
    p.banner->refreshColors();
    p.banner->setVisible(milestone.has_value());

    const auto& age = m_store.age();
    const auto ageMini = Texts::ageMini(age);
    Labels::setText(p.ageValue, ageMini.value);
    Labels::setText(p.ageLine, ageMini.line);
    p.ageLine->setProperty("vitrekRole", static_cast<int>(ageMini.lineTint));
    Labels::setText(p.ageCaption, ageMini.caption);
    const auto health = Texts::healthMini(m_store.vitals());
    Labels::setText(p.healthHeadline, health.headline);
    p.healthHeadline->setProperty("vitrekRole", static_cast<int>(health.tint));
    Labels::setText(p.healthCaption, health.caption);
    const auto stress = Texts::stressMini(m_store.stressNow(), m_store.heavy());
    Labels::setText(p.stressValue, stress.value);
    Labels::setText(p.stressLabel, stress.label);
    p.stressLabel->setProperty("vitrekRole", static_cast<int>(stress.labelTint));
    Labels::setText(p.stressCaption, stress.caption);

    refreshFactors();

    const auto days = Texts::shownDays(m_store.history());
    const bool bars = days.size() > 1;
    p.historyChart->setVisible(bars);
    p.historyEmpty->setVisible(!bars);
    p.bars->setDays(std::vector<Day>(days.begin(), days.end()));
    Labels::setText(p.average, Texts::averageRecovery(days));

    Labels::setText(p.tip, Texts::tipText(m_store.tip()));
    p.tipSymbol->set(QStringLiteral("lightbulb.max"),
                     Theme::color(Theme::color(Theme::recoveryBand(m_store.recovery()))));

    for (auto* label : p.labels) {
        Labels::setColor(label, static_cast<Theme::Role>(label->property("vitrekRole").toInt()));
    }
    update();
}

void TodayTab::refreshFactors() {
    auto& p = *m_parts;
    const auto& factors = m_store.factors();
    if (p.factorsShown && factors == p.shownFactors && p.factorsAppearance == Theme::appearance()) {
        return;
    }
    Labels::clearRows(p.factorRows);
    p.shownFactors = factors;
    p.factorsShown = true;
    p.factorsAppearance = Theme::appearance();

    const auto label = [&](const QFont& font, Theme::Role role, const std::string& text, bool wrap = false) {
        // Coloured once: the rows are built again when the appearance changes.
        auto* made = Labels::make(font, role, wrap);
        made->setText(Labels::q(text));
        return made;
    };
    if (factors.empty()) {
        auto* placeholder = label(Fonts::body(), Theme::Role::ink2, Texts::kReadingComputer);
        placeholder->setContentsMargins(0, 12, 0, 12);
        p.factorRows->addWidget(placeholder);
        return;
    }
    QFont medium = Fonts::body();
    medium.setWeight(QFont::Medium);
    for (std::size_t i = 0; i < factors.size(); ++i) {
        const auto& factor = factors[i];
        auto* row = new QWidget(p.factorsCard);
        auto* layout = new QHBoxLayout(row);
        layout->setContentsMargins(0, 0, 0, 0);
        layout->setSpacing(10);
        auto* dot = new Glyph(QSize(9, 9), QSize(9, 9), row);
        dot->set({}, Theme::color(Theme::color(Theme::factorBand(factor.score))));
        layout->addWidget(dot, 0, Qt::AlignVCenter);
        auto* texts = new QVBoxLayout;
        texts->setSpacing(1);
        texts->addWidget(label(medium, Theme::Role::ink, factor.title));
        if (!factor.detail.empty()) {
            texts->addWidget(label(Fonts::caption(), Theme::Role::ink3, factor.detail, true));
        }
        layout->addLayout(texts, 1);
        auto* value = label(Fonts::body(), Theme::Role::ink, factor.value);
        value->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
        layout->addWidget(value);
        row->setAccessibleName(Labels::q(factor.title + " " + factor.value));
        p.factorRows->addWidget(row);
        if (i + 1 < factors.size()) {
            auto* rule = new QFrame(p.factorsCard);
            rule->setFixedHeight(1);
            rule->setAutoFillBackground(true);
            QPalette palette = rule->palette();
            palette.setColor(QPalette::Window, Theme::color(Theme::Role::hairline));
            rule->setPalette(palette);
            p.factorRows->addWidget(rule);
        }
    }
}

} // namespace vitrek
