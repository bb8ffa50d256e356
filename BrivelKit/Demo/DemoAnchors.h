#pragma once

#include <QHash>
#include <QRectF>
#include <QString>

#include <optional>

class QWidget;

namespace brivel {

// The current frames, in global (screen) coordinates, of the widgets a demo script can point at.
class DemoAnchors {
public:
    // The one instance of the process. Main thread only.
    static DemoAnchors& shared();

    std::optional<QRectF> frame(const QString& id) const;
    void setFrame(const QString& id, const QRectF& frame);
    void remove(const QString& id);
    const QHash<QString, QRectF>& frames() const { return m_frames; }

private:
    QHash<QString, QRectF> m_frames;
};

// Makes `widget` the anchor `id`: its frame in global coordinates is written to DemoAnchors::shared()
// now (when visible) and whenever the widget or its window is shown, moved or resized. The anchor goes
// when the widget is destroyed.
void demoAnchor(QWidget* widget, const QString& id);

} // namespace brivel
