#pragma once

#include <QDBusVariant>
#include <QObject>

#include <optional>

namespace vitrek {

// The desktop's appearance and motion settings: dark when the freedesktop settings portal's
// org.freedesktop.appearance color-scheme prefers dark, else when the palette's window colour is dark;
// reduce motion when org.gnome.desktop.interface enable-animations is off, or when VITREK_SNAPSHOT_DIR is
// set. Follows the portal's change signal and keeps Theme's appearance and the dials' motion in step.
class Appearance : public QObject {
    Q_OBJECT

public:
    static Appearance& shared();

    bool isDark() const;
    bool reduceMotion() const;

    // Fixes the appearance whatever the desktop says (the snapshot harness); absent follows the desktop.
    void setOverride(std::optional<bool> dark);

    // The decisions, apart from D-Bus (for tests): portal color-scheme 1 means dark, 2 light, 0 or absent
    // no preference (the palette decides).
    static bool darkFrom(std::optional<unsigned> colorScheme, bool paletteIsDark);
    static bool reduceMotionFrom(std::optional<bool> enableAnimations, bool snapshotting);

signals:
    void changed();

private slots:
    void settingChanged(const QString& group, const QString& key, const QDBusVariant& value);

private:
    explicit Appearance(QObject* parent = nullptr);
    void apply();
    bool eventFilter(QObject* watched, QEvent* event) override;

    std::optional<unsigned> m_colorScheme;
    std::optional<bool> m_enableAnimations;
    std::optional<bool> m_override;
    bool m_dark = false;
    bool m_reduceMotion = false;
};

} // namespace vitrek
