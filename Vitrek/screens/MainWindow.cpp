#include "screens/MainWindow.h"

#include "Store.h"
#include "card/CardExport.h"
#include "screens/HealthTab.h"
#include "screens/Labels.h"
#include "screens/StoreViews.h"
#include "screens/Symbols.h"
#include "screens/TodayTab.h"
#include "shell/Appearance.h"

#include <BrivelCommands.h>

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QHBoxLayout>
#include <QKeySequence>
#include <QMenuBar>
#include <QMessageBox>
#include <QPainter>
#include <QScrollArea>
#include <QStackedWidget>
#include <QTimer>
#include <QToolButton>
#include <QVBoxLayout>

#include <array>

namespace vitrek {

namespace {

constexpr std::array<Texts::Tab, 2> kTabs{Texts::Tab::today, Texts::Tab::health};

QKeySequence tabShortcut(std::size_t index) {
    return QKeySequence(Qt::CTRL | static_cast<Qt::Key>(Qt::Key_1 + static_cast<int>(index)));
}

std::string native(const QKeySequence& sequence) {
    return sequence.toString(QKeySequence::NativeText).toStdString();
}

// The streak badge: a flame and the number of days in a row.
class StreakBadge : public QWidget {
public:
    explicit StreakBadge(QWidget* parent = nullptr) : QWidget(parent) {}
    void setStreak(int streak) {
        m_streak = streak;
        setToolTip(Labels::q(Texts::streakHelp(streak)));
        setAccessibleName(toolTip());
        updateGeometry();
        update();
    }
    QSize sizeHint() const override {
        const QFontMetrics metrics(font());
        return {22 + 4 + metrics.horizontalAdvance(QString::number(m_streak)), 24};
    }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        Symbols::paint(painter, QStringLiteral("flame.fill"), QRectF(0, 2, 20, 20), Theme::flame());
        painter.setFont(font());
        painter.setPen(Theme::color(Theme::Role::ink));
        painter.drawText(QRectF(24, 0, width() - 24, height()), Qt::AlignVCenter | Qt::AlignLeft,
                         QString::number(m_streak));
    }

private:
    int m_streak = 0;
};

} // namespace

struct MainWindow::Parts {
    QLabel* model = nullptr;
    QLabel* date = nullptr;
    std::array<QToolButton*, 2> tabButtons{};
    StreakBadge* streak = nullptr;
    QToolButton* shareButton = nullptr;
    QToolButton* refreshButton = nullptr;
    QStackedWidget* stack = nullptr;
    TodayTab* today = nullptr;
    HealthTab* health = nullptr;
    std::array<QAction*, 2> tabActions{};
};

MainWindow::MainWindow(Store& store, QWidget* parent)
    : QMainWindow(parent), m_store(store), m_parts(std::make_unique<Parts>()) {
    setWindowTitle(QStringLiteral("Vitrek"));
    setObjectName(QStringLiteral("main"));
    setMinimumSize(820, 700);
    resize(980, 820);

    m_refresh = new QAction(QStringLiteral("Refresh"), this);
    m_refresh->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_R));
    connect(m_refresh, &QAction::triggered, this, [this] { m_store.refresh(); });
    m_share = new QAction(QStringLiteral("Share Card…"), this);
    m_share->setShortcut(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_S));
    connect(m_share, &QAction::triggered, this, [this] { CardExport::share(m_store); });
    m_saveCard = new QAction(QStringLiteral("Save Card as Image…"), this);
    m_saveCard->setShortcut(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_E));
    connect(m_saveCard, &QAction::triggered, this, [this] { CardExport::save(m_store, this); });

    auto* central = new QWidget(this);
    auto* column = new QVBoxLayout(central);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addWidget(buildHeader());
    m_parts->stack = new QStackedWidget(central);
    m_parts->today = new TodayTab(store);
    m_parts->health = new HealthTab(store);
    m_parts->stack->addWidget(Labels::scrolling(m_parts->today));
    m_parts->stack->addWidget(Labels::scrolling(m_parts->health));
    column->addWidget(m_parts->stack, 1);
    setCentralWidget(central);
    connect(m_parts->today, &TodayTab::healthRequested, this, [this] { setTab(Texts::Tab::health); });

    buildMenus();
    connect(&Appearance::shared(), &Appearance::changed, this, &MainWindow::refresh);
    // The tabs follow the Store themselves; a check-up only changes the header here.
    StoreViews::refreshOn(this, m_store, {&Store::readingChanged, &Store::streakChanged},
                          [this] { refreshHeader(); });
    setTab(Texts::Tab::today);
    refresh();
}

MainWindow::~MainWindow() = default;

QWidget* MainWindow::buildHeader() {
    auto* header = new QWidget(this);
    auto* row = new QHBoxLayout(header);
    row->setContentsMargins(24, 16, 16, 12);
    row->setSpacing(12);

    auto* titles = new QVBoxLayout;
    titles->setSpacing(2);
    m_parts->model = Labels::make(Fonts::system(20, QFont::Bold), Theme::Role::ink);
    m_parts->date = Labels::make(Fonts::body(), Theme::Role::ink2);
    titles->addWidget(m_parts->model);
    titles->addWidget(m_parts->date);
    row->addLayout(titles, 1);

    auto* tabs = new QHBoxLayout;
    tabs->setSpacing(4);
    for (std::size_t i = 0; i < kTabs.size(); ++i) {
        auto* button = new QToolButton(header);
        button->setText(Labels::q(Texts::tabLabel(kTabs[i])));
        button->setFont(Fonts::title());
        button->setAutoRaise(true);
        button->setCheckable(true);
        button->setCursor(Qt::PointingHandCursor);
        // The selected tab is told by its ink alone, not by a pressed frame.
        button->setStyleSheet(QStringLiteral("QToolButton { border: none; background: transparent; padding: 4px 8px; }"));
        button->setToolTip(Labels::q(Texts::tabHelp(kTabs[i], native(tabShortcut(i)))));
        connect(button, &QToolButton::clicked, this, [this, i] { setTab(kTabs[i]); });
        m_parts->tabButtons[i] = button;
        tabs->addWidget(button);
    }
    row->addLayout(tabs);
    row->addStretch(1);

    m_parts->streak = new StreakBadge(header);
    m_parts->streak->setFont(Fonts::system(15, QFont::Black, true));
    row->addWidget(m_parts->streak);
    m_parts->shareButton = Labels::symbolButton(
        QStringLiteral("square.and.arrow.up"), Labels::q(Texts::shareHelp(native(m_share->shortcut()))), header);
    connect(m_parts->shareButton, &QToolButton::clicked, m_share, &QAction::trigger);
    row->addWidget(m_parts->shareButton);
    m_parts->refreshButton = Labels::symbolButton(
        QStringLiteral("arrow.clockwise"), Labels::q(Texts::refreshHelp(native(m_refresh->shortcut()))), header);
    connect(m_parts->refreshButton, &QToolButton::clicked, m_refresh, &QAction::trigger);
    row->addWidget(m_parts->refreshButton);
    return header;
}

void MainWindow::buildMenus() {
    auto* file = menuBar()->addMenu(QStringLiteral("&File"));
    file->addAction(m_refresh);
    file->addAction(m_share);
    file->addAction(m_saveCard);
    file->addSeparator();
    auto* settings = file->addAction(QStringLiteral("Settings…"));
    settings->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Comma));
    settings->setMenuRole(QAction::PreferencesRole);
    connect(settings, &QAction::triggered, this, &MainWindow::settingsRequested);
    file->addSeparator();
    auto* close = file->addAction(QStringLiteral("Close Window"));
    close->setShortcut(QKeySequence::Close);
    connect(close, &QAction::triggered, this, &QWidget::close);
    auto* quit = file->addAction(QStringLiteral("Quit"));
    quit->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Q));
    quit->setMenuRole(QAction::QuitRole);
    connect(quit, &QAction::triggered, this, &MainWindow::quitRequested);

    auto* view = menuBar()->addMenu(QStringLiteral("&View"));
    for (std::size_t i = 0; i < kTabs.size(); ++i) {
        auto* action = view->addAction(Labels::q(Texts::tabLabel(kTabs[i])));
        action->setShortcut(tabShortcut(i));
        action->setCheckable(true);
        connect(action, &QAction::triggered, this, [this, i] { setTab(kTabs[i]); });
        m_parts->tabActions[i] = action;
    }

    auto* help = menuBar()->addMenu(QStringLiteral("&Help"));
    auto* about = help->addAction(QStringLiteral("About Vitrek"));
    about->setMenuRole(QAction::AboutRole);
    connect(about, &QAction::triggered, this, [this] {
        // Not modal: a modal box would shut the other windows' menus and keys, Quit among them, until closed.
        auto* box = findChild<QMessageBox*>(QStringLiteral("about"), Qt::FindDirectChildrenOnly);
        if (box == nullptr) {
            box = new QMessageBox(QMessageBox::NoIcon, QStringLiteral("About Vitrek"),
                                  QStringLiteral("Vitrek %1\nA daily check-up of this computer.")
                                      .arg(QApplication::applicationVersion()),
                                  QMessageBox::Ok, this);
            box->setObjectName(QStringLiteral("about"));
            box->setIconPixmap(QApplication::windowIcon().pixmap(64, 64));
            box->setWindowModality(Qt::NonModal);
            box->setAttribute(Qt::WA_DeleteOnClose);
        }
        box->show();
        box->raise();
        box->activateWindow();
    });
    brivel::BrivelCommands::addTo(help, about);
}

Texts::Tab MainWindow::tab() const {
    return m_parts->stack->currentIndex() == 1 ? Texts::Tab::health : Texts::Tab::today;
}

void MainWindow::setTab(Texts::Tab tab) {
    const int index = tab == Texts::Tab::health ? 1 : 0;
    m_parts->stack->setCurrentIndex(index);
    for (int i = 0; i < 2; ++i) {
        m_parts->tabButtons[static_cast<std::size_t>(i)]->setChecked(i == index);
        m_parts->tabActions[static_cast<std::size_t>(i)]->setChecked(i == index);
        Labels::setColor(m_parts->tabButtons[static_cast<std::size_t>(i)],
                         i == index ? Theme::Role::ink : Theme::Role::ink3);
    }
}

void MainWindow::refresh() {
    setPalette(Labels::palette());
    centralWidget()->setAutoFillBackground(true);
    refreshHeader();
    m_parts->shareButton->setIcon(
        QIcon(Symbols::pixmap(QStringLiteral("square.and.arrow.up"), Theme::color(Theme::Role::ink2), 18, 2.0)));
    m_parts->refreshButton->setIcon(
        QIcon(Symbols::pixmap(QStringLiteral("arrow.clockwise"), Theme::color(Theme::Role::ink2), 18, 2.0)));
    setTab(tab());
    m_parts->today->refresh();
    m_parts->health->refresh();
}

void MainWindow::refreshHeader() {
    Labels::setText(m_parts->model, Texts::modelName(m_store.reading()));
    Labels::setText(m_parts->date, Texts::headerDate(StoreViews::now(m_store), StoreViews::calendar(m_store)));
    Labels::setColor(m_parts->model, Theme::Role::ink);
    Labels::setColor(m_parts->date, Theme::Role::ink2);
    m_parts->streak->setVisible(Texts::showsStreak(m_store.streak()));
    m_parts->streak->setStreak(m_store.streak());
}

void MainWindow::closeEvent(QCloseEvent* event) {
    // The close is never refused, or a quit that closes every window would stop here; the check-ups and
    // the tray go on without the window until the user quits.
    event->accept();
    emit closed();
}

} // namespace vitrek
