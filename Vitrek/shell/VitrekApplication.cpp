#include "shell/VitrekApplication.h"

#include "Store.h"
#include "demo/DemoData.h"
#include "harness/Harness.h"
#include "harness/QuitDrill.h"
#include "metrics/MetricsExport.h"
#include "screens/MainWindow.h"
#include "screens/SettingsWindow.h"
#include "screens/Symbols.h"
#include "shell/Appearance.h"
#include "shell/Launch.h"
#include "shell/LocaleDates.h"
#include "shell/Preferences.h"
#include "shell/SingleInstance.h"
#include "shell/Tray.h"

#include <Brivel.h>
#include <Window/Quit.h>

#include <QApplication>
#include <QPixmapCache>
#include <QPointer>
#include <QSystemTrayIcon>

#include <clocale>
#include <cstdlib>
#include <malloc.h>

// The drawing is compiled into a static library, so nothing registers its resource unless something
// refers to it; Q_INIT_RESOURCE must be called outside any namespace.
static void initApplicationIconResource() { Q_INIT_RESOURCE(appicon); }

namespace vitrek {

QIcon applicationIcon() {
    static const bool registered = [] {
        initApplicationIconResource();
        return true;
    }();
    (void)registered;
    return QIcon::fromTheme(QStringLiteral("vitrek"), QIcon(QStringLiteral(":/icons/vitrek.svg")));
}

namespace {

// The windows of the running program, opened on demand. A closed main window is let go with everything it
// drew, and built again, on the tab it was on, when it opens again: the program runs all day in the tray.
class Shell : public QObject {
public:
    Shell(Store& store, MetricsExport& metrics) : m_store(store), m_metrics(metrics) {
        m_tray = new Tray(store, this);
        connect(m_tray, &Tray::openRequested, this, &Shell::showMain);
        connect(m_tray, &Tray::settingsRequested, this, &Shell::showSettings);
        connect(m_tray, &Tray::quitRequested, this, &brivel::Quit::now);
    }
    ~Shell() override {
        delete m_settings;
        delete m_main;
    }

    void showMain() {
        if (!m_main) {
            m_main = new MainWindow(m_store);
            m_main->setTab(m_tab);
            connect(m_main, &MainWindow::settingsRequested, this, &Shell::showSettings);
            connect(m_main, &MainWindow::quitRequested, this, &brivel::Quit::now);
            connect(m_main, &MainWindow::closed, this, &Shell::releaseMain);
        }
        m_main->show();
        m_main->setWindowState(m_main->windowState() & ~Qt::WindowMinimized);
        m_main->raise();
        m_main->activateWindow();
    }

    void showSettings() {
        if (m_settings && m_settings->isVisible()) {
            m_settings->raise();
            m_settings->activateWindow();
            return;
        }
        // Built anew each time, so the login switch shows the entry as it is now.
        delete m_settings;
        const bool demo = m_store.environment().isDemo && m_store.environment().isDemo();
        m_settings = new SettingsWindow(m_store, demo, QSystemTrayIcon::isSystemTrayAvailable(), &m_metrics);
        m_settings->setWindowIcon(QApplication::windowIcon());
        m_settings->show();
        m_settings->raise();
        m_settings->activateWindow();
    }

    MainWindow* main() const { return m_main; }
    SettingsWindow* settings() const { return m_settings; }
    Tray& tray() const { return *m_tray; }

private:
    void releaseMain() {
        m_tab = m_main->tab();
        connect(m_main, &QObject::destroyed, this, [] {
            // Widgets, pixmaps and fonts' caches go back to the allocator; hand its free pages back to the
            // system too, or the tray would keep the window's peak for the rest of the day.
            QPixmapCache::clear();
            ::malloc_trim(0);
        });
        m_main->deleteLater();
        m_main = nullptr;
    }

    Store& m_store;
    MetricsExport& m_metrics;
    MainWindow* m_main = nullptr;
    Texts::Tab m_tab = Texts::Tab::today;
    Tray* m_tray = nullptr;
    QPointer<SettingsWindow> m_settings;
};

} // namespace

void quitWhenClosedWithoutTray(QObject& context, std::function<bool()> trayAvailable) {
    QObject::connect(qApp, &QGuiApplication::lastWindowClosed, &context,
                     [trayAvailable = std::move(trayAvailable)] {
                         if (!trayAvailable()) {
                             brivel::Quit::now();
                         }
                     });
}

int runApplication(int argc, char** argv) {
    // A harness run needs no desktop: without one it draws on the offscreen platform.
    if (Harness::fromEnvironment() && !hasDisplay()) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    QApplication app(argc, argv);
    // The application object adopts the user's locale; the figures are formatted with the C library and
    // must keep their decimal point.
    std::setlocale(LC_NUMERIC, "C");
    QApplication::setOrganizationName(QStringLiteral("Vitrek"));
    QApplication::setApplicationName(QStringLiteral("Vitrek"));
    QApplication::setApplicationDisplayName(QStringLiteral("Vitrek"));
    QApplication::setApplicationVersion(QStringLiteral(VITREK_VERSION));
    QApplication::setDesktopFileName(QStringLiteral("vitrek"));
    // The process lives on with its check-ups and tray after the last window closes, where there is a tray.
    QApplication::setQuitOnLastWindowClosed(false);

    // A harness run renders, checks and quits: it neither waits for nor wakes a Vitrek already running.
    // Nor does the demo machine: it is shown beside the user's own Vitrek, not instead of it.
    const auto harness = Harness::fromEnvironment();
    SingleInstance instance;
    if (!harness && !DemoData::isActive() && !instance.claim()) {
        return EXIT_SUCCESS;
    }
    QApplication::setWindowIcon(applicationIcon());
    Fmt::setDateFormatter(localeDateFormatter(QLocale::system()));
    Appearance::shared();

    brivel::Brivel::start({QColor(22, 217, 122), QColor(45, 140, 255)});
    Store& store = Store::shared();
    store.start();

    if (harness) {
        // The harness draws its own windows off screen; no tray icon or window comes up for it.
        Harness::start(*harness, store);
        return QApplication::exec();
    }
    // The folder is the user's setting; the demo machine's figures are nobody's to collect.
    MetricsExport metrics(store, MetricsLabels{metricsUser(), VITREK_VERSION});
    if (!DemoData::isActive()) {
        const auto follow = [&metrics](const QString& folder) { metrics.setFolder(folder.toStdString()); };
        follow(Preferences::shared().metricsFolder());
        QObject::connect(&Preferences::shared(), &Preferences::metricsFolderChanged, &metrics, follow);
    }
    Shell shell(store, metrics);
    quitWhenClosedWithoutTray(shell, &QSystemTrayIcon::isSystemTrayAvailable);
    brivel::Quit::onShortcut(shell);
    if (!brivel::Quit::onTerminationSignals(shell)) {
        qWarning("Vitrek can’t take over the termination signals; a signal ends it without installing updates.");
    }
    QObject::connect(&instance, &SingleInstance::activated, &shell, &Shell::showMain);
    shell.showMain();
    if (const auto drill = QuitDrill::fromEnvironment()) {
        QuitDrill::start(*drill, {[&shell]() -> QWidget* {
                                      shell.showMain();
                                      return shell.main();
                                  },
                                  [&shell]() -> QWidget* {
                                      shell.showSettings();
                                      return shell.settings();
                                  },
                                  shell.tray().menu()});
    }
    return QApplication::exec();
}

} // namespace vitrek
