#include "harness/Snapshotter.h"

#include "Store.h"
#include "card/CardExport.h"
#include "demo/DemoData.h"
#include "scores/Rounding.h"
#include "screens/MainWindow.h"
#include "screens/MenuBarPanel.h"
#include "screens/SettingsWindow.h"
#include "shell/Appearance.h"
#include "shell/ImageFiles.h"

#include <QDir>
#include <QPixmap>

#include <algorithm>
#include <array>
#include <utility>

namespace vitrek::Snapshotter {

namespace {

// Long enough for the queued refreshes, layout and the first paint to have happened.
constexpr double kSettleSeconds = 1.0;

constexpr QSize kMain{980, 820};
constexpr QSize kMainMinimum{820, 700};
constexpr QSize kHealth{980, 1060};

struct Named {
    Theme::Appearance appearance;
    const char* name;
};
constexpr std::array<Named, 2> kAppearances{{{Theme::Appearance::light, "light"}, {Theme::Appearance::dark, "dark"}}};

QString nameOf(Theme::Appearance appearance) {
    return QLatin1String(appearance == Theme::Appearance::dark ? "dark" : "light");
}

void useAppearance(Theme::Appearance appearance) {
    Appearance::shared().setOverride(appearance == Theme::Appearance::dark);
}

Shot mainWindow(Store& store, Texts::Tab tab, QSize size, QString name) {
    auto window = std::make_unique<MainWindow>(store);
    window->setTab(tab);
    window->resize(size);
    return Shot{std::move(window), std::move(name), false};
}

bool writePng(const QString& path, const QImage& image) {
    const auto bytes = pngBytes(image);
    return bytes && writeAtomically(path, *bytes);
}

} // namespace

std::vector<Theme::Appearance> appearances(const std::optional<QString>& only) {
    std::vector<Theme::Appearance> result;
    for (const auto& [appearance, name] : kAppearances) {
        if (!only || *only == QLatin1String(name)) {
            result.push_back(appearance);
        }
    }
    return result;
}

brivel::DemoTask render(std::vector<Shot> shots, QString dir, int* written) {
    // Shown but never mapped: layout, polish and the Store's queued refreshes run as for a real window,
    // and nothing flashes on a desktop.
    for (auto& shot : shots) {
        shot.view->setAttribute(Qt::WA_DontShowOnScreen);
        shot.view->show();
    }
    co_await brivel::DemoSleep{kSettleSeconds};
    bool fitted = false;
    for (auto& shot : shots) {
        if (shot.fitsHeight) {
            shot.view->adjustSize();
            fitted = true;
        }
    }
    if (fitted) {
        co_await brivel::DemoSleep{0};
    }
    for (auto& shot : shots) {
        const QImage image = shot.view->grab().toImage();
        if (writePng(QDir(dir).filePath(shot.name + QStringLiteral(".png")), image) && written) {
            ++*written;
        }
    }
}

brivel::DemoTask run(QString dir, Store& store, int* written) {
    QDir().mkpath(dir);
    for (const auto appearance : appearances(qEnvironmentVariableIsSet("VITREK_SNAPSHOT_ONLY")
                                                 ? std::optional<QString>(qEnvironmentVariable("VITREK_SNAPSHOT_ONLY"))
                                                 : std::nullopt)) {
        useAppearance(appearance);
        const QString suffix = nameOf(appearance);
        std::vector<Shot> shots;
        shots.push_back(mainWindow(store, Texts::Tab::today, kMain, QStringLiteral("01-main-") + suffix));
        shots.push_back(mainWindow(store, Texts::Tab::today, kMainMinimum, QStringLiteral("02-main-min-") + suffix));
        shots.push_back(mainWindow(store, Texts::Tab::health, kHealth, QStringLiteral("07-health-") + suffix));
        shots.push_back(Shot{std::make_unique<MenuBarPanel>(store), QStringLiteral("03-menubar-") + suffix, true});
        shots.push_back(Shot{std::make_unique<SettingsWindow>(store, true), QStringLiteral("04-settings-") + suffix, false});
        // A desktop without a tray (stock GNOME) shows Settings with the note on how to get one.
        shots.push_back(Shot{std::make_unique<SettingsWindow>(store, true, false),
                             QStringLiteral("08-settings-no-tray-") + suffix, false});
        co_await render(std::move(shots), dir, written);
    }

    if (const auto png = CardExport::png(store); png && writeAtomically(QDir(dir).filePath(QStringLiteral("05-share-card.png")), *png)) {
        if (written) {
            ++*written;
        }
    }

    DemoData::fillNeedsCare(store);
    useAppearance(Theme::Appearance::dark);
    std::vector<Shot> needsCare;
    needsCare.push_back(mainWindow(store, Texts::Tab::today, kMain, QStringLiteral("06-main-needs-care-dark")));
    co_await render(std::move(needsCare), dir, written);
}

brivel::DemoTask live(QString dir, Store& store) {
    QDir().mkpath(dir);
    useAppearance(Theme::Appearance::light);
    struct Stage {
        double at;
        const char* name;
    };
    constexpr std::array<Stage, 3> kStages{{{5, "a-5s"}, {35, "b-35s"}, {65, "c-65s"}}};
    double previous = 0;
    for (const auto& stage : kStages) {
        co_await brivel::DemoSleep{stage.at - previous};
        previous = stage.at;
        std::vector<Shot> shots;
        shots.push_back(mainWindow(store, Texts::Tab::today, kMain,
                                   QStringLiteral("live-today-") + QLatin1String(stage.name)));
        co_await render(std::move(shots), dir);
    }
    for (const auto& [appearance, name] : kAppearances) {
        useAppearance(appearance);
        std::vector<Shot> shots;
        shots.push_back(mainWindow(store, Texts::Tab::health, kHealth, QStringLiteral("live-health-") + QLatin1String(name)));
        co_await render(std::move(shots), dir);
    }
    writeAtomically(QDir(dir).filePath(QStringLiteral("live.txt")), QByteArray::fromStdString(liveLine(store) + "\n"));
}

std::string liveLine(const Store& store) {
    std::string line = "strain " + (store.strain() ? printfText("%.1f", *store.strain()) : std::string("none"));
    line += " · samples " + std::to_string(store.samples().size());
    line += " · recovery " + std::to_string(store.recovery());
    line += " · age ";
    if (const auto& age = store.age()) {
        line += printfText("%.2f", age->vitrekYears()) + " (real " + printfText("%.2f", age->realYears) + ")";
    } else {
        line += "none";
    }
    const auto& vitals = store.vitals();
    const auto count = [&](bool (Vital::*test)() const) {
        return std::to_string(std::count_if(vitals.begin(), vitals.end(), [&](const Vital& v) { return (v.*test)(); }));
    };
    line += " · vitals " + count(&Vital::within) + "/" + count(&Vital::measured);
    line += std::string(" · night ") + (store.night() ? "yes" : "none");
    return line;
}

} // namespace vitrek::Snapshotter
