#include "Window/WindowHost.h"

#include <QGuiApplication>
#include <QLayout>
#include <QPointer>
#include <QScreen>
#include <QVBoxLayout>
#include <QWidget>
#include <map>

namespace brivel::WindowHost {

namespace {

// Never destroyed: the windows it names live as long as the program, and tearing the map down after the
// application object is gone would only leave dangling guards behind.
std::map<QString, QPointer<QWidget>>& windows() {
    static auto* kept = new std::map<QString, QPointer<QWidget>>;
    return *kept;
}

void centreOnScreen(QWidget* window) {
    const auto* screen = QGuiApplication::primaryScreen();
    if (screen == nullptr) {
        return;
    }
    auto frame = window->frameGeometry();
    frame.moveCenter(screen->availableGeometry().center());
    window->move(frame.topLeft());
}

} // namespace

void show(const QString& id, const QString& title, int width, const std::function<QWidget*()>& content) {
    auto& kept = windows()[id];
    if (kept && kept->isVisible()) {
        kept->raise();
        kept->activateWindow();
        return;
    }
    if (kept) {
        kept->deleteLater();
    }

    auto* window = new QWidget(nullptr, Qt::Window | Qt::WindowTitleHint | Qt::WindowCloseButtonHint |
                                            Qt::WindowStaysOnTopHint);
    window->setWindowTitle(title);
    auto* body = content();
    body->setFixedWidth(width);
    // A fixed-size constraint makes the window take the height the content needs at this width, and take it
    // again whenever the content changes (a longer title, another phase's detail).
    auto* layout = new QVBoxLayout(window);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSizeConstraint(QLayout::SetFixedSize);
    layout->addWidget(body);
    layout->activate();

    centreOnScreen(window);
    kept = window;
    window->show();
    window->activateWindow();
}

void close(const QString& id) {
    if (auto* kept = window(id)) {
        kept->close();
    }
}

QWidget* window(const QString& id) {
    const auto& kept = windows();
    const auto found = kept.find(id);
    return found == kept.end() ? nullptr : found->second.data();
}

} // namespace brivel::WindowHost
