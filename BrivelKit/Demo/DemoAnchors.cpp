#include "Demo/DemoAnchors.h"

#include <QEvent>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QWidget>

#include <utility>

namespace brivel {
namespace {

// The reporter that wrote each anchor last. Another widget may take over an id (a view rebuilt before the
// old one is gone), so a dying widget may only remove the id while the frame there is still its own.
// Only compared, never dereferenced.
QHash<QString, const QObject*>& writers() {
    static QHash<QString, const QObject*> writers;
    return writers;
}

// Keeps one widget's frame in DemoAnchors::shared(). It watches the widget and every widget above it up
// to its window: a container moved by its layout moves the widget on screen without the widget or the
// window hearing of it.
class AnchorReporter : public QObject {
public:
    AnchorReporter(QWidget* widget, QString id) : QObject(widget), m_widget(widget), m_id(std::move(id)) {
        // Whichever comes first, the signal or the reporter's own end as the widget's child, forgets the id.
        connect(widget, &QObject::destroyed, this, [this] { forget(); });
        watchAncestors();
    }

    ~AnchorReporter() override { forget(); }

    const QString& id() const { return m_id; }

    void report() {
        if (m_gone || !m_widget->isVisible()) {
            return;
        }
        const QRectF frame(m_widget->mapToGlobal(QPoint(0, 0)), QSizeF(m_widget->size()));
        DemoAnchors::shared().setFrame(m_id, frame);
        writers().insert(m_id, this);
    }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (m_gone) {
            return false;
        }
        switch (event->type()) {
        case QEvent::ParentChange:
            // Reparented into another window, or a container above it was: watch the new chain.
            watchAncestors();
            report();
            break;
        case QEvent::Show:
        case QEvent::Move:
        case QEvent::Resize:
            report();
            break;
        default:
            break;
        }
        return QObject::eventFilter(watched, event);
    }

private:
    void watchAncestors() {
        for (const auto& watched : std::as_const(m_watched)) {
            if (watched) {
                watched->removeEventFilter(this);
            }
        }
        m_watched.clear();
        for (QWidget* ancestor = m_widget; ancestor != nullptr; ancestor = ancestor->parentWidget()) {
            ancestor->installEventFilter(this);
            m_watched.append(ancestor);
            if (ancestor->isWindow()) {
                break;
            }
        }
    }

    void forget() {
        if (m_gone) {
            return;
        }
        m_gone = true;
        auto& owners = writers();
        const auto found = owners.find(m_id);
        if (found != owners.end() && found.value() == this) {
            owners.erase(found);
            DemoAnchors::shared().remove(m_id);
        }
    }

    QWidget* m_widget;
    QString m_id;
    QList<QPointer<QWidget>> m_watched;
    bool m_gone = false;
};

} // namespace

DemoAnchors& DemoAnchors::shared() {
    static DemoAnchors anchors;
    return anchors;
}

std::optional<QRectF> DemoAnchors::frame(const QString& id) const {
    const auto found = m_frames.constFind(id);
    if (found == m_frames.cend()) {
        return std::nullopt;
    }
    return found.value();
}

void DemoAnchors::setFrame(const QString& id, const QRectF& frame) {
    m_frames.insert(id, frame);
}

void DemoAnchors::remove(const QString& id) {
    m_frames.remove(id);
}

void demoAnchor(QWidget* widget, const QString& id) {
    if (widget == nullptr) {
        return;
    }
    // Anchoring the same widget under the same id twice keeps one reporter.
    for (QObject* child : widget->children()) {
        auto* reporter = dynamic_cast<AnchorReporter*>(child);
        if (reporter != nullptr && reporter->id() == id) {
            reporter->report();
            return;
        }
    }
    (new AnchorReporter(widget, id))->report();
}

} // namespace brivel
