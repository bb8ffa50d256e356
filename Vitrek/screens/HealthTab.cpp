#include "screens/HealthTab.h"

#include "Store.h"
#include "screens/Labels.h"
#include "screens/ScreenTexts.h"
#include "screens/StoreViews.h"
#include "screens/widgets/AgeOrb.h"
#include "screens/widgets/Card.h"
#include "screens/widgets/Glyph.h"
#include "screens/widgets/InRangeBadge.h"
#include "screens/widgets/Kicker.h"
#include "screens/widgets/PaceScale.h"
#include "screens/widgets/StressChart.h"
#include "time/Calendar.h"

#include <QHBoxLayout>
#include <QPainter>
#include <QVBoxLayout>

namespace vitrek {

namespace {

// A 1-wide hairline between the vitals' tiles, or under headings.
class Rule : public QWidget {
public:
    explicit Rule(QSize size, QWidget* parent = nullptr) : QWidget(parent) { setFixedSize(size); }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter(this).fillRect(rect(), Theme::color(Theme::Role::hairline));
    }
};

} // namespace

struct HealthTab::Parts {
    AgeOrb* orb = nullptr;
    QLabel* realLine = nullptr;

    PaceScale* pace = nullptr;
    QWidget* weekRow = nullptr;
    Glyph* weekDot = nullptr;
    QLabel* weekLine = nullptr;
    QLabel* paceCaption = nullptr;

    Card* ageFactorsCard = nullptr;
    QVBoxLayout* ageFactorRows = nullptr;

    QHBoxLayout* tiles = nullptr;
    QLabel* checked = nullptr;
    QLabel* footer = nullptr;
    QLabel* outOfRange = nullptr;
    QWidget* nightRow = nullptr;
    Glyph* nightGlyph = nullptr;
    QLabel* nightSource = nullptr;

    QLabel* clock = nullptr;
    QLabel* hours = nullptr;
    QLabel* today = nullptr;
    QWidget* comparisonRow = nullptr;
    Glyph* comparisonArrow = nullptr;
    QLabel* comparison = nullptr;
    QLabel* now = nullptr;
    StressChart* chart = nullptr;

    QLabel* footnote = nullptr;

    std::vector<QLabel*> labels;    // fixed labels, re-tinted on refresh
    std::optional<std::pair<std::optional<MacAge>, Theme::Appearance>> shownAgeFactors;
    std::optional<std::pair<std::vector<Vital>, Theme::Appearance>> shownVitals;

    QLabel* label(const QFont& font, Theme::Role role, bool wrap = false) {
        auto* made = Labels::make(font, role, wrap);
        labels.push_back(made);
        return made;
    }
    QLabel* rowLabel(const QFont& font, Theme::Role role, const std::string& text, bool wrap = false) {
        auto* made = Labels::make(font, role, wrap);
        made->setText(Labels::q(text));
        return made;
    }
};

HealthTab::HealthTab(Store& store, QWidget* parent)
    : QWidget(parent), m_store(store), m_parts(std::make_unique<Parts>()) {
    auto& p = *m_parts;
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(24, 8, 24, 24);
    column->setSpacing(16);

    // The orb, and beside it the pace and what moves the age.
    auto* top = new QHBoxLayout;
    top->setSpacing(16);
    top->addWidget(buildOrbCard(), 0);
    auto* side = new QVBoxLayout;
    side->setSpacing(16);
    side->addWidget(buildPaceCard());
    side->addWidget(buildAgeFactorsCard(), 1);
    side->addStretch(0);
    top->addLayout(side, 1);
    column->addLayout(top);

    column->addWidget(buildHealthMonitor());
    column->addWidget(buildStressMonitor());

    p.footnote = p.label(Fonts::caption(), Theme::Role::ink3, true);
    p.footnote->setText(Labels::q(Texts::kHealthFootnote));
    column->addWidget(p.footnote);
    column->addStretch(1);

    StoreViews::refreshOn(this, m_store,
                          {&Store::readingChanged, &Store::heavyChanged, &Store::historyChanged,
                           &Store::ageChanged, &Store::samplesChanged, &Store::vitalsChanged,
                           &Store::stressNowChanged, &Store::nightSourceChanged, &Store::recordedSinceChanged,
                           &Store::recordingChanged, &Store::powerLogProblemChanged},
                          [this] { refresh(); });
    refresh();
}

HealthTab::~HealthTab() = default;

QWidget* HealthTab::buildOrbCard() {
    auto& p = *m_parts;
    auto* card = new Card(this);
    card->setFixedWidth(340);
    card->setToolTip(Labels::q(Texts::kOrbHelp));
    auto* column = new QVBoxLayout(card);
    column->setSpacing(12);
    p.orb = new AgeOrb(280, card);
    column->addWidget(p.orb, 0, Qt::AlignHCenter);
    p.realLine = p.label(Fonts::caption(), Theme::Role::ink3, true);
    p.realLine->setAlignment(Qt::AlignHCenter);
    column->addWidget(p.realLine);
    column->addStretch(1);
    return card;
}

QWidget* HealthTab::buildPaceCard() {
    auto& p = *m_parts;
    auto* card = new Card(this);
    auto* column = new QVBoxLayout(card);
    column->setSpacing(10);
    column->addWidget(new Kicker(Labels::q(Texts::kPaceKicker), card));
    p.pace = new PaceScale(card);
    column->addWidget(p.pace);
    p.weekRow = new QWidget(card);
    auto* weekLayout = new QHBoxLayout(p.weekRow);
    weekLayout->setContentsMargins(0, 0, 0, 0);
    weekLayout->setSpacing(6);
    p.weekDot = new Glyph(QSize(6, 14), QSize(6, 6), p.weekRow);
    p.weekLine = p.label(Fonts::body(), Theme::Role::ink2);
    weekLayout->addWidget(p.weekDot);
    weekLayout->addWidget(p.weekLine, 1);
    column->addWidget(p.weekRow);
    p.paceCaption = p.label(Fonts::caption(), Theme::Role::ink3, true);
    p.paceCaption->setText(Labels::q(Texts::kPaceCaption));
    column->addWidget(p.paceCaption);
    return card;
}

QWidget* HealthTab::buildAgeFactorsCard() {
    auto& p = *m_parts;
    p.ageFactorsCard = new Card(this);
    auto* column = new QVBoxLayout(p.ageFactorsCard);
    column->setSpacing(10);
    column->addWidget(new Kicker(Labels::q(Texts::kAgeFactorsKicker), p.ageFactorsCard));
    p.ageFactorRows = new QVBoxLayout;
    p.ageFactorRows->setSpacing(12);
    column->addLayout(p.ageFactorRows);
    column->addStretch(1);
    return p.ageFactorsCard;
}

// The Health Monitor: one tile per vital.
QWidget* HealthTab::buildHealthMonitor() {
    auto& p = *m_parts;
    auto* monitor = new Card(this);
    auto* column = new QVBoxLayout(monitor);
    column->setSpacing(12);
    auto* heading = new QHBoxLayout;
    heading->addWidget(new Kicker(Labels::q(Texts::kHealthKicker), monitor));
    heading->addStretch(1);
    p.checked = p.label(Fonts::caption(), Theme::Role::ink3);
    p.checked->setText(Labels::q(Texts::kHealthChecked));
    heading->addWidget(p.checked);
    column->addLayout(heading);
    p.tiles = new QHBoxLayout;
    p.tiles->setSpacing(12);
    column->addLayout(p.tiles);
    p.footer = p.label(Fonts::body(), Theme::Role::ink);
    p.outOfRange = p.label(Fonts::caption(), Theme::Role::ink3, true);
    column->addWidget(p.footer);
    column->addWidget(p.outOfRange);
    // Where Rest's nights come from, and what to do when the journal cannot be read.
    p.nightRow = new QWidget(monitor);
    p.nightRow->setToolTip(Labels::q(Texts::kRestHelp));
    auto* nightLayout = new QHBoxLayout(p.nightRow);
    nightLayout->setContentsMargins(0, 0, 0, 0);
    nightLayout->setSpacing(6);
    p.nightGlyph = new Glyph(QSize(16, 16), QSize(14, 14), p.nightRow);
    p.nightSource = Labels::make(Fonts::caption(), Theme::Role::ink3, true);
    // The fix holds a command to copy.
    p.nightSource->setTextInteractionFlags(Qt::TextSelectableByMouse);
    nightLayout->addWidget(p.nightGlyph, 0, Qt::AlignTop);
    nightLayout->addWidget(p.nightSource, 1);
    column->addWidget(p.nightRow);
    return monitor;
}

// The Stress Monitor: today's high stress on the left, the chart beside it.
QWidget* HealthTab::buildStressMonitor() {
    auto& p = *m_parts;
    auto* card = new Card(this);
    card->setToolTip(Labels::q(Texts::kStressHelp));
    auto* row = new QHBoxLayout(card);
    row->setSpacing(16);
    auto* left = new QWidget(card);
    left->setFixedWidth(260);
    auto* leftColumn = new QVBoxLayout(left);
    leftColumn->setContentsMargins(0, 0, 0, 0);
    leftColumn->setSpacing(6);
    leftColumn->addWidget(new Kicker(Labels::q(Texts::kStressKicker), left));
    auto* clockRow = new QHBoxLayout;
    clockRow->setSpacing(6);
    p.clock = p.label(Fonts::system(40, QFont::Black, true), Theme::Role::ink);
    p.hours = p.label(Fonts::system(15, QFont::DemiBold), Theme::Role::ink2);
    p.hours->setText(Labels::q(Texts::kStressHours));
    clockRow->addWidget(p.clock, 0, Qt::AlignBaseline);
    clockRow->addWidget(p.hours, 0, Qt::AlignBaseline);
    clockRow->addStretch(1);
    leftColumn->addLayout(clockRow);
    p.today = p.label(Fonts::body(), Theme::Role::ink2);
    p.today->setText(Labels::q(Texts::kStressToday));
    leftColumn->addWidget(p.today);
    p.comparisonRow = new QWidget(left);
    auto* comparisonLayout = new QHBoxLayout(p.comparisonRow);
    comparisonLayout->setContentsMargins(0, 0, 0, 0);
    comparisonLayout->setSpacing(6);
    p.comparisonArrow = new Glyph(QSize(12, 16), QSize(10, 10), p.comparisonRow);
    p.comparison = Labels::make(Fonts::body(), Theme::Role::good, true);
    comparisonLayout->addWidget(p.comparisonArrow, 0, Qt::AlignTop);
    comparisonLayout->addWidget(p.comparison, 1);
    leftColumn->addWidget(p.comparisonRow);
    p.now = p.label(Fonts::body(), Theme::Role::ink2);
    leftColumn->addWidget(p.now);
    leftColumn->addStretch(1);
    row->addWidget(left);
    p.chart = new StressChart(card);
    p.chart->setAccessibleName(Labels::q(StressChartModel::kAccessibleName));
    row->addWidget(p.chart, 1);
    return card;
}

void HealthTab::refresh() {
    const Calendar calendar = StoreViews::calendar(m_store);
    refreshAge(calendar);
    refreshAgeFactors();
    refreshVitals();
    refreshNightSource(calendar);
    refreshStress(calendar);
    for (auto* label : m_parts->labels) {
        Labels::setColor(label, static_cast<Theme::Role>(label->property("vitrekRole").toInt()));
    }
    update();
}

void HealthTab::refreshAge(const Calendar& calendar) {
    auto& p = *m_parts;
    const auto& age = m_store.age();
    std::optional<double> years;
    std::optional<double> gap;
    if (age) {
        years = age->vitrekYears();
        gap = age->difference();
    }
    p.orb->setAge(years, gap);
    p.orb->setAccessibleName(Labels::q(Texts::orbAccessibleName(years, gap)));
    Labels::setText(p.realLine, age ? Texts::realLine(*age, calendar) : std::string(Texts::kOrbNoAge));

    const auto pace = Texts::pace(age);
    p.pace->setPace(pace);
    p.pace->setAccessibleName(Labels::q(Texts::paceAccessibleName(pace)));
    const auto week = Texts::weekLine(age, m_store.lastWeekGap());
    p.weekRow->setVisible(week.has_value());
    Labels::setText(p.weekLine, week.value_or(std::string{}));
    p.weekDot->set({}, Theme::color(Theme::Role::ink2));
}

// The rows are built again only when the factors or the appearance change.
void HealthTab::refreshAgeFactors() {
    auto& p = *m_parts;
    const auto& age = m_store.age();
    const Theme::Appearance appearance = Theme::appearance();
    p.ageFactorsCard->setVisible(age.has_value());
    if (p.shownAgeFactors && p.shownAgeFactors->first == age && p.shownAgeFactors->second == appearance) {
        return;
    }
    p.shownAgeFactors.emplace(age, appearance);
    Labels::clearRows(p.ageFactorRows);
    if (age && age->factors.empty()) {
        p.ageFactorRows->addWidget(
            p.rowLabel(Fonts::body(), Theme::Role::ink2, Texts::kAgeFactorsNone, true));
    }
    for (const auto& factor : age ? age->factors : std::vector<AgeFactor>{}) {
        const bool younger = factor.years < 0;
        const QColor color = Theme::color(younger ? Theme::Role::good : Theme::Role::poor);
        auto* row = new QWidget(p.ageFactorsCard);
        auto* layout = new QHBoxLayout(row);
        layout->setContentsMargins(0, 0, 0, 0);
        layout->setSpacing(8);
        auto* arrow = new Glyph(QSize(14, 16), QSize(11, 11), row);
        arrow->set(younger ? QStringLiteral("arrow.down.right") : QStringLiteral("arrow.up.right"), color);
        layout->addWidget(arrow, 0, Qt::AlignTop);
        auto* texts = new QVBoxLayout;
        texts->setSpacing(1);
        texts->addWidget(p.rowLabel(Fonts::body(), Theme::Role::ink, factor.title));
        texts->addWidget(p.rowLabel(Fonts::caption(), Theme::Role::ink3, factor.detail, true));
        layout->addLayout(texts, 1);
        auto* amount = p.rowLabel(Fonts::system(13, QFont::DemiBold), Theme::Role::ink,
                                  Texts::ageFactorAmount(factor.years));
        Labels::setColor(amount, color);
        layout->addWidget(amount, 0, Qt::AlignTop);
        p.ageFactorRows->addWidget(row);
    }
}

// The tiles are built again only when the vitals or the appearance change.
void HealthTab::refreshVitals() {
    auto& p = *m_parts;
    const auto& vitals = m_store.vitals();
    const Theme::Appearance appearance = Theme::appearance();
    if (!p.shownVitals || p.shownVitals->first != vitals || p.shownVitals->second != appearance) {
        p.shownVitals.emplace(vitals, appearance);
        Labels::clearRows(p.tiles);
        for (std::size_t i = 0; i < vitals.size(); ++i) {
            if (i > 0) {
                p.tiles->addWidget(new Rule(QSize(1, 96)));
            }
            p.tiles->addWidget(vitalTile(vitals[i]), 1);
        }
    }
    Labels::setText(p.footer, Texts::healthFooter(vitals));
    const std::string outOfRange = Texts::outOfRangeLine(vitals);
    Labels::setText(p.outOfRange, outOfRange);
    p.outOfRange->setVisible(!outOfRange.empty());
}

QWidget* HealthTab::vitalTile(const Vital& vital) {
    auto& p = *m_parts;
    auto* tile = new QWidget;
    auto* layout = new QVBoxLayout(tile);
    layout->setContentsMargins(0, 4, 0, 4);
    layout->setSpacing(6);
    auto* symbol = new Glyph(QSize(22, 22), QSize(20, 20), tile);
    symbol->set(Labels::q(vital.symbol), Theme::color(Theme::Role::ink2));
    layout->addWidget(symbol);
    layout->addWidget(new Kicker(Labels::q(vital.title), tile));
    layout->addWidget(p.rowLabel(Fonts::system(17, QFont::Bold, true), Theme::Role::ink, vital.value));
    if (vital.measured()) {
        layout->addWidget(new InRangeBadge(vital.within(), 18, tile));
    } else {
        // No badge for a value nobody measured; the space keeps the tiles' rows aligned.
        auto* blank = new QWidget(tile);
        blank->setFixedSize(18, 18);
        layout->addWidget(blank);
    }
    tile->setToolTip(Labels::q(Texts::vitalHelp(vital)));
    tile->setAccessibleName(Labels::q(Texts::vitalAccessibleName(vital)));
    return tile;
}

void HealthTab::refreshNightSource(const Calendar& calendar) {
    auto& p = *m_parts;
    const std::string nightSource =
        Texts::nightSourceLine(StoreViews::nightStatus(m_store), StoreViews::now(m_store), calendar);
    Labels::setText(p.nightSource, nightSource);
    p.nightRow->setVisible(!nightSource.empty());
    const Theme::Role nightRole = m_store.powerLogProblem().empty() ? Theme::Role::ink3 : Theme::Role::ink2;
    Labels::setColor(p.nightSource, nightRole);
    p.nightGlyph->set(QStringLiteral("moon.zzz"), Theme::color(nightRole));
}

void HealthTab::refreshStress(const Calendar& calendar) {
    auto& p = *m_parts;
    // The weekday compared with is the latest reading's, or today's before the first one.
    const Instant day = m_store.reading() ? m_store.reading()->date : StoreViews::now(m_store);
    Labels::setText(p.clock, StressFmt::clock(m_store.heavy()));
    const auto comparison = Texts::stressComparison(m_store.heavy(), m_store.typicalStress(), day, calendar);
    p.comparisonRow->setVisible(comparison.has_value());
    if (comparison) {
        const QColor color = Theme::color(comparison->more ? Theme::Role::fair : Theme::Role::good);
        p.comparisonArrow->set(comparison->more ? QStringLiteral("arrowtriangle.up.fill")
                                                : QStringLiteral("arrowtriangle.down.fill"),
                               color);
        Labels::setText(p.comparison, comparison->text);
        Labels::setColor(p.comparison, color);
    }
    const auto nowLine = Texts::stressNowLine(m_store.stressNow());
    p.now->setVisible(nowLine.has_value());
    Labels::setText(p.now, nowLine.value_or(std::string{}));
    p.chart->setSamples(m_store.samples(), StoreViews::now(m_store), calendar);
}

} // namespace vitrek
