#include "shell/Appearance.h"

#include "screens/Theme.h"
#include "screens/widgets/Dial.h"

#include <QColor>
#include <QDBusConnection>
#include <QDBusError>
#include <QDBusMessage>
#include <QEvent>
#include <QGuiApplication>
#include <QPalette>
#include <QVariant>

namespace vitrek {

namespace {

const QString kPortalService = QStringLiteral("org.freedesktop.portal.Desktop");
const QString kPortalPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString kSettingsInterface = QStringLiteral("org.freedesktop.portal.Settings");
const QString kAppearanceGroup = QStringLiteral("org.freedesktop.appearance");
const QString kColorScheme = QStringLiteral("color-scheme");
const QString kInterfaceGroup = QStringLiteral("org.gnome.desktop.interface");
const QString kEnableAnimations = QStringLiteral("enable-animations");

// The portal answers at once when it runs; a missing or hung one must not hold up the first window.
constexpr int kPortalTimeoutMilliseconds = 400;

QVariant unwrapped(QVariant value) {
    while (value.userType() == qMetaTypeId<QDBusVariant>()) {
        value = value.value<QDBusVariant>().variant();
    }
    return value;
}

// One portal setting, or an invalid variant when the portal lacks it or does not answer. `reachable`
// turns false when there is no portal at all, so the next read is not tried.
QVariant readSetting(const QDBusConnection& bus, const QString& group, const QString& key, bool& reachable) {
    if (!reachable) {
        return {};
    }
    // Portals before version 2 only have Read, whose answer is wrapped in one more variant.
    for (const QString& method : {QStringLiteral("ReadOne"), QStringLiteral("Read")}) {
        QDBusMessage call =
            QDBusMessage::createMethodCall(kPortalService, kPortalPath, kSettingsInterface, method);
        call << group << key;
        const QDBusMessage reply = bus.call(call, QDBus::Block, kPortalTimeoutMilliseconds);
        if (reply.type() == QDBusMessage::ReplyMessage && !reply.arguments().isEmpty()) {
            return unwrapped(reply.arguments().constFirst());
        }
        const QDBusError::ErrorType error = QDBusError(reply).type();
        if (error != QDBusError::UnknownMethod) {
            reachable = error != QDBusError::ServiceUnknown && error != QDBusError::NoReply &&
                        error != QDBusError::Timeout && error != QDBusError::TimedOut;
            return {};
        }
    }
    return {};
}

std::optional<unsigned> colorScheme(const QVariant& value) {
    bool ok = false;
    const unsigned scheme = value.toUInt(&ok);
    return ok ? std::optional<unsigned>{scheme} : std::nullopt;
}

std::optional<bool> flag(const QVariant& value) {
    if (value.userType() != QMetaType::Bool) {
        return std::nullopt;
    }
    return value.toBool();
}

bool paletteIsDark() { return QGuiApplication::palette().color(QPalette::Window).lightness() < 128; }

} // namespace

Appearance& Appearance::shared() {
    static Appearance* appearance = new Appearance;
    return *appearance;
}

Appearance::Appearance(QObject* parent) : QObject(parent) {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (bus.isConnected()) {
        bool reachable = true;
        m_colorScheme = colorScheme(readSetting(bus, kAppearanceGroup, kColorScheme, reachable));
        m_enableAnimations = flag(readSetting(bus, kInterfaceGroup, kEnableAnimations, reachable));
        // Connecting costs nothing when no portal runs, and catches one that starts later.
        bus.connect(kPortalService, kPortalPath, kSettingsInterface, QStringLiteral("SettingChanged"), this,
                    SLOT(settingChanged(QString, QString, QDBusVariant)));
    }
    if (qApp != nullptr) {
        qApp->installEventFilter(this);
    }
    apply();
}

bool Appearance::isDark() const { return m_dark; }

bool Appearance::reduceMotion() const { return m_reduceMotion; }

void Appearance::setOverride(std::optional<bool> dark) {
    m_override = dark;
    apply();
}

bool Appearance::darkFrom(std::optional<unsigned> colorScheme, bool paletteIsDark) {
    if (colorScheme == 1u) {
        return true;
    }
    if (colorScheme == 2u) {
        return false;
    }
    return paletteIsDark;
}

bool Appearance::reduceMotionFrom(std::optional<bool> enableAnimations, bool snapshotting) {
    return snapshotting || enableAnimations == false;
}

void Appearance::settingChanged(const QString& group, const QString& key, const QDBusVariant& value) {
    if (group == kAppearanceGroup && key == kColorScheme) {
        m_colorScheme = colorScheme(unwrapped(value.variant()));
    } else if (group == kInterfaceGroup && key == kEnableAnimations) {
        m_enableAnimations = flag(unwrapped(value.variant()));
    } else {
        return;
    }
    apply();
}

void Appearance::apply() {
    // Setting the theme may change the application's palette, which brings us back here.
    static bool applying = false;
    if (applying) {
        return;
    }
    applying = true;
    const bool dark = m_override.value_or(darkFrom(m_colorScheme, paletteIsDark()));
    const bool reduce =
        reduceMotionFrom(m_enableAnimations, qEnvironmentVariableIsSet("VITREK_SNAPSHOT_DIR"));
    const bool changedNow = dark != m_dark || reduce != m_reduceMotion;
    m_dark = dark;
    m_reduceMotion = reduce;
    Theme::setAppearance(dark ? Theme::Appearance::dark : Theme::Appearance::light);
    Dial::setReduceMotion(reduce);
    applying = false;
    if (changedNow) {
        emit changed();
    }
}

bool Appearance::eventFilter(QObject* watched, QEvent* event) {
    // The application filter sees every object's events; the palette change reaches the application
    // itself, the theme change only its windows.
    const bool paletteChanged = event->type() == QEvent::ApplicationPaletteChange && watched == qApp;
    if (paletteChanged || (event->type() == QEvent::ThemeChange && watched->isWindowType())) {
        apply();
    }
    return QObject::eventFilter(watched, event);
}

} // namespace vitrek
