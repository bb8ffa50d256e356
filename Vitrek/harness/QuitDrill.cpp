#include "harness/QuitDrill.h"

#include <Brivel.h>
#include <Updater/UpdateView.h>
#include <Updater/Updater.h>
#include <Window/WindowHost.h>

#include <QAction>
#include <QCoreApplication>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QPushButton>
#include <QTimer>
#include <QWidget>
#include <QWindow>

#include <csignal>
#include <cstdio>
#include <unistd.h>

// QtGui's entry for a key as the windowing system delivers it (shortcuts first, then the focus widget),
// the one its own test library types with.
Q_GUI_EXPORT void qt_handleKeyEvent(QWindow* window, QEvent::Type type, int key, Qt::KeyboardModifiers modifiers,
                                    const QString& text = QString(), bool autorepeat = false, ushort count = 1);

namespace vitrek::QuitDrill {

namespace {

// The drill's step between opening the windows and quitting: long enough for each to be shown and
// activated, as a person's hands would be.
constexpr int kSettleMs = 150;

QAction* actionWithRole(QWidget* window, QAction::MenuRole role) {
    for (auto* action : window->findChildren<QAction*>()) {
        if (action->menuRole() == role) {
            return action;
        }
    }
    return nullptr;
}

QAction* actionNamed(QMenu* menu, const QString& text) {
    for (auto* action : menu->actions()) {
        if (action->text() == text) {
            return action;
        }
    }
    return nullptr;
}

QWidget* frontWindow(Front front, QWidget* main, QWidget* settings) {
    switch (front) {
    case Front::update:
        return brivel::WindowHost::window(QStringLiteral("update"));
    case Front::settings:
        return settings;
    case Front::about:
        return main->findChild<QMessageBox*>(QStringLiteral("about"));
    }
    return nullptr;
}

void fail(const char* what) {
    std::fprintf(stderr, "vitrek: quit drill: %s\n", what);
    QCoreApplication::exit(3);
}

void quitBy(Path path, QWidget* main, QWidget* front, QMenu* trayMenu) {
    switch (path) {
    case Path::menu:
        if (auto* quit = actionWithRole(main, QAction::QuitRole)) {
            quit->trigger();
            return;
        }
        return fail("no Quit in the menu");
    case Path::shortcut:
        qt_handleKeyEvent(front->windowHandle(), QEvent::KeyPress, Qt::Key_Q, Qt::ControlModifier);
        qt_handleKeyEvent(front->windowHandle(), QEvent::KeyRelease, Qt::Key_Q, Qt::ControlModifier);
        return;
    case Path::tray:
        if (auto* quit = trayMenu ? actionNamed(trayMenu, QStringLiteral("Quit")) : nullptr) {
            quit->trigger();
            return;
        }
        return fail("no Quit in the tray menu");
    case Path::restart:
        for (auto* button : brivel::WindowHost::window(QStringLiteral("update"))->findChildren<QPushButton*>()) {
            if (button->text() == QStringLiteral("Restart Now")) {
                button->click();
                return;
            }
        }
        return fail("no Restart Now button");
    case Path::signal:
        ::kill(::getpid(), SIGTERM);
        return;
    }
}

} // namespace

std::optional<Drill> parse(const QString& text) {
    const auto words = text.split(QLatin1Char(','));
    if (words.size() != 2) {
        return std::nullopt;
    }
    static const QStringList kPaths{"menu", "shortcut", "tray", "restart", "signal"};
    static const QStringList kFronts{"update", "settings", "about"};
    const auto path = kPaths.indexOf(words[0]);
    const auto front = kFronts.indexOf(words[1]);
    if (path < 0 || front < 0) {
        return std::nullopt;
    }
    return Drill{static_cast<Path>(path), static_cast<Front>(front)};
}

std::optional<Drill> fromEnvironment() {
    if (!qEnvironmentVariableIsSet("VITREK_QUIT_DRILL")) {
        return std::nullopt;
    }
    return parse(qEnvironmentVariable("VITREK_QUIT_DRILL"));
}

void start(const Drill& drill, const Shell& shell) {
    auto& updater = brivel::Brivel::updater();
    auto* watch = new QObject(&updater);
    QObject::connect(&updater, &brivel::Updater::phaseChanged, watch, [drill, shell, watch, &updater] {
        const auto& phase = updater.phase();
        if (phase.kind == brivel::UpdatePhase::Kind::failed) {
            return fail(phase.message.c_str());
        }
        if (phase.kind != brivel::UpdatePhase::Kind::ready) {
            return;
        }
        watch->deleteLater();
        QWidget* main = shell.showMain();
        QWidget* settings = shell.showSettings();
        actionWithRole(main, QAction::AboutRole)->trigger();
        brivel::UpdateView::showWindow(updater);
        QWidget* front = frontWindow(drill.front, main, settings);
        if (front == nullptr) {
            return fail("the front window is missing");
        }
        front->raise();
        front->activateWindow();
        QTimer::singleShot(kSettleMs, main, [drill, main, front, menu = shell.trayMenu] {
            quitBy(drill.path, main, front, menu);
        });
    });
    QTimer::singleShot(0, watch, [] { brivel::Brivel::checkForUpdates(); });
}

} // namespace vitrek::QuitDrill
