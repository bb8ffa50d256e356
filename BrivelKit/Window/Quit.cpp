#include "Window/Quit.h"

#include <QCoreApplication>
#include <QKeyEvent>
#include <QSocketNotifier>
#include <QThread>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

namespace brivel::Quit {

namespace {

// Written by the signal handler, read by the event loop: the only thing a handler may safely do.
int signalPipe[2] = {-1, -1};

extern "C" void noteSignal(int) {
    const int saved = errno;
    const char byte = 1;
    [[maybe_unused]] const auto written = ::write(signalPipe[1], &byte, 1);
    errno = saved;
}

// Ctrl+Q itself, not the theme's Quit binding: some platforms' themes (the offscreen one among them) have
// none, and the program's menu names Ctrl+Q.
class QuitKey : public QObject {
public:
    using QObject::QObject;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::KeyPress &&
            static_cast<QKeyEvent*>(event)->keyCombination() == QKeyCombination(Qt::ControlModifier, Qt::Key_Q)) {
            now();
            return true;
        }
        return QObject::eventFilter(watched, event);
    }
};

} // namespace

void now() {
    auto* application = QCoreApplication::instance();
    if (application == nullptr) {
        return;
    }
    if (QThread::currentThread() == application->thread() && application->thread()->loopLevel() > 0) {
        QCoreApplication::exit(0);
        return;
    }
    QMetaObject::invokeMethod(application, [] { QCoreApplication::exit(0); }, Qt::QueuedConnection);
}

void onShortcut(QObject& context) {
    if (auto* application = QCoreApplication::instance()) {
        application->installEventFilter(new QuitKey(&context));
    }
}

bool onTerminationSignals(QObject& context) {
    if (signalPipe[0] < 0 && ::pipe2(signalPipe, O_CLOEXEC | O_NONBLOCK) != 0) {
        return false;
    }
    auto* notifier = new QSocketNotifier(signalPipe[0], QSocketNotifier::Read, &context);
    QObject::connect(notifier, &QSocketNotifier::activated, notifier, [] {
        char drained[16];
        while (::read(signalPipe[0], drained, sizeof drained) > 0) {
        }
        now();
    });
    struct sigaction action = {};
    action.sa_handler = noteSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    bool taken = true;
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        taken = ::sigaction(signal, &action, nullptr) == 0 && taken;
    }
    return taken;
}

} // namespace brivel::Quit
