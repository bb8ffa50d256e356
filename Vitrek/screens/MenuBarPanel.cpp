#include "screens/MenuBarPanel.h"

#include "Store.h"
#include "screens/Labels.h"
#include "screens/ScreenTexts.h"
#include "screens/StoreViews.h"
#include "screens/widgets/Dial.h"
#include "screens/widgets/Kicker.h"
#include "shell/Appearance.h"

#include <QFrame>
#include <QHBoxLayout>
#include <QKeySequence>
#include <QPainter>
#include <QPushButton>
#include <QVBoxLayout>

#include <array>

namespace vitrek {

namespace {

// The panel's hairline divider.
class Divider : public QWidget {
public:
    explicit Divider(QWidget* parent = nullptr) : QWidget(parent) { setFixedHeight(1); }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter(this).fillRect(rect(), Theme::color(Theme::Role::hairline));
    }
};

} // namespace

struct MenuBarPanel::Parts {
    std::array<Dial*, 3> dials{};
    std::array<Kicker*, 3> labels{};
    QLabel* tip = nullptr;
    QPushButton* open = nullptr;
    QPushButton* quit = nullptr;
};

MenuBarPanel::MenuBarPanel(Store& store, QWidget* parent)
    : QWidget(parent), m_store(store), m_parts(std::make_unique<Parts>()) {
    setFixedWidth(320);
    setAutoFillBackground(true);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(16, 16, 16, 16);
    column->setSpacing(12);

    auto* dials = new QHBoxLayout;
    dials->setSpacing(12);
    for (std::size_t i = 0; i < 3; ++i) {
        auto* block = new QVBoxLayout;
        block->setSpacing(6);
        m_parts->dials[i] = new Dial(80, 8, this);
        m_parts->labels[i] = new Kicker({}, this);
        block->addWidget(m_parts->dials[i], 0, Qt::AlignHCenter);
        block->addWidget(m_parts->labels[i], 0, Qt::AlignHCenter);
        dials->addLayout(block, 1);
    }
    column->addLayout(dials);

    m_parts->tip = Labels::make(Fonts::caption(), Theme::Role::ink2, true);
    column->addWidget(m_parts->tip);
    column->addWidget(new Divider(this));

    auto* buttons = new QHBoxLayout;
    m_parts->open = new QPushButton(Labels::q(Texts::kOpenVitrek), this);
    m_parts->quit = new QPushButton(Labels::q(Texts::kQuit), this);
    m_parts->quit->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Q));
    m_parts->quit->setToolTip(m_parts->quit->shortcut().toString(QKeySequence::NativeText));
    buttons->addWidget(m_parts->open);
    buttons->addStretch(1);
    buttons->addWidget(m_parts->quit);
    column->addLayout(buttons);
    connect(m_parts->open, &QPushButton::clicked, this, &MenuBarPanel::openRequested);
    connect(m_parts->quit, &QPushButton::clicked, this, &MenuBarPanel::quitRequested);

    StoreViews::refreshOn(this, m_store,
                          {&Store::readingChanged, &Store::recoveryChanged, &Store::strainChanged,
                           &Store::nightChanged, &Store::loadingNightChanged, &Store::recordingChanged,
                           &Store::powerLogProblemChanged, &Store::tipChanged, &Store::heavyChanged,
                           &Store::measuredSinceChanged},
                          [this] { refresh(); });
    connect(&Appearance::shared(), &Appearance::changed, this, &MenuBarPanel::refresh);
    refresh();
}

MenuBarPanel::~MenuBarPanel() = default;

void MenuBarPanel::refresh() {
    const auto dials = StoreViews::dials(m_store);
    for (std::size_t i = 0; i < 3; ++i) {
        m_parts->dials[i]->setFraction(dials[i].fraction);
        m_parts->dials[i]->setValue(Labels::q(dials[i].value));
        m_parts->dials[i]->setColor(Theme::color(dials[i].color));
        m_parts->dials[i]->setAccessibleName(Labels::q(dials[i].label + " " + dials[i].value));
        m_parts->labels[i]->setText(Labels::q(dials[i].label));
        // The panel has no room for the sub-lines under its small dials; they are a hover away.
        m_parts->dials[i]->setToolTip(Labels::q(dials[i].sub));
    }
    Labels::setText(m_parts->tip, Texts::tipText(m_store.tip()));
    Labels::setColor(m_parts->tip, Theme::Role::ink2);
    QPalette palette = Labels::palette();
    palette.setColor(QPalette::Window, Theme::color(Theme::Role::card));
    setPalette(palette);
    update();
}

} // namespace vitrek
