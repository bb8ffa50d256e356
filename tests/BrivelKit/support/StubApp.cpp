// Plays the installed program in the end-to-end test of the updater: it notes each start and outcome in
// the file named by BRIVEL_STUB_MARKER, checks the feed of its own Info.json, and when an update is ready
// installs it as a user would: the update window's "Restart Now", which quits and relaunches.

#include "Updater/UpdateView.h"
#include "Updater/Updater.h"
#include "Window/WindowHost.h"

#include <QApplication>
#include <QPushButton>
#include <QTimer>

#include <cstdlib>
#include <fstream>
#include <string>

namespace {

void note(const std::string& line) {
    if (const char* marker = std::getenv("BRIVEL_STUB_MARKER")) {
        std::ofstream(marker, std::ios::app) << line << '\n';
    }
}

void pressRestartNow() {
    for (auto* button : brivel::WindowHost::window("update")->findChildren<QPushButton*>()) {
        if (button->text() == "Restart Now") {
            button->click();
            return;
        }
    }
    note("no Restart Now");
    QCoreApplication::exit(4);
}

} // namespace

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    QCoreApplication::setOrganizationName("BrivelStub");
    QCoreApplication::setApplicationName("BrivelStub");

    brivel::Updater updater(brivel::Bundle::main());
    const std::string version = updater.currentVersion();
    note(version + " started");
    QObject::connect(&updater, &brivel::Updater::phaseChanged, [&] {
        using Kind = brivel::UpdatePhase::Kind;
        const auto& phase = updater.phase();
        if (phase.kind == Kind::ready) {
            note(version + " ready " + phase.feed->version);
            brivel::UpdateView::showWindow(updater);
            // The window shows the phase once this change has reached it.
            QTimer::singleShot(0, &pressRestartNow);
        } else if (phase.kind == Kind::failed) {
            note(version + " failed " + phase.message);
            QCoreApplication::exit(1);
        } else if (phase.kind == Kind::upToDate || phase.kind == Kind::available || phase.kind == Kind::idle) {
            note(version + " " + (phase.kind == Kind::upToDate ? "upToDate" : "noUpdate"));
            QCoreApplication::exit(0);
        }
    });
    QTimer::singleShot(30'000, [&] {
        note(version + " timeout");
        QCoreApplication::exit(3);
    });
    updater.setAutomaticallyDownloads(true);
    updater.start();
    updater.check(false);
    return QApplication::exec();
}
