#include "Brivel.h"

#include "Updater/UpdateView.h"
#include "Updater/Updater.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <QPalette>

namespace brivel::Brivel {

namespace {

struct State {
    bool started = false;
    QList<QColor> brand; // empty until `start` is given colours
};

State& state() {
    static State kept;
    return kept;
}

} // namespace

void start(const QList<QColor>& brand) {
    auto& kept = state();
    if (kept.started) {
        return;
    }
    kept.started = true;
    if (brand.size() == 1) {
        kept.brand = {brand.front(), brand.front()};
    } else if (!brand.isEmpty()) {
        kept.brand = brand;
    }
    updater().start();
}

QList<QColor> brand() {
    const auto& kept = state().brand;
    if (!kept.isEmpty()) {
        return kept;
    }
    // Qt 6.4's palette has no accent role; the selection colour is the system's accent.
    const auto accent = QGuiApplication::palette().color(QPalette::Highlight);
    return {accent, accent};
}

Updater& updater() {
    // Owned by the application object, so it goes with it rather than after it, when its network
    // objects could no longer be torn down.
    static Updater* const shared = [] {
        auto* made = new Updater(Bundle::main(), QCoreApplication::instance());
        QObject::connect(made, &Updater::windowRequested, made, [made] { UpdateView::showWindow(*made); });
        return made;
    }();
    return *shared;
}

QString appName() {
    const auto& name = updater().bundle().name;
    return name ? QString::fromStdString(*name) : QCoreApplication::applicationName();
}

void checkForUpdates() { updater().check(true); }

} // namespace brivel::Brivel
