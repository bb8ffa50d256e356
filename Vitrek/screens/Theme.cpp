#include "Theme.h"

#include "scores/Recovery.h"

#include <QFontDatabase>
#include <QFontInfo>
#include <QFontMetricsF>
#include <QGuiApplication>
#include <QHash>
#include <array>
#include <cmath>

namespace vitrek {

namespace {

struct Pair {
    QRgb light;
    QRgb dark;
};

// In the order of Theme::Role; the last five are the same in both appearances.
constexpr std::array<Pair, 12> kColors{{
    {0xF4F5F7, 0x0B0D10}, // face
    {0xFFFFFF, 0x12161B}, // card
    {0xE6E9ED, 0x1C2128}, // track
    {0xE3E6EA, 0x1D2228}, // hairline
    {0x0F1216, 0xF2F4F6}, // ink
    {0x5B6570, 0xA3ABB3}, // ink2
    {0x8D96A0, 0x6B747D}, // ink3
    {0x16D97A, 0x16D97A}, // good
    {0xFFB82E, 0xFFB82E}, // fair
    {0xFF5A5F, 0xFF5A5F}, // poor
    {0x2D8CFF, 0x2D8CFF}, // strain
    {0xA78BFA, 0xA78BFA}, // rest
}};

Theme::Appearance g_appearance = Theme::Appearance::light;

// Whether the ten digits of `font` all advance the same, so changing numbers do not make text jitter.
bool hasEvenDigits(const QFont& font) {
    static QHash<QString, bool> known;
    const QString key = font.key();
    const auto found = known.constFind(key);
    if (found != known.constEnd()) {
        return *found;
    }
    const QFontMetricsF metrics{font};
    const qreal zero = metrics.horizontalAdvance(QLatin1Char('0'));
    bool even = true;
    for (char digit = '1'; digit <= '9'; ++digit) {
        if (std::abs(metrics.horizontalAdvance(QLatin1Char(digit)) - zero) > 0.01) {
            even = false;
            break;
        }
    }
    known.insert(key, even);
    return even;
}

// Whether the font's family has a wider face of its own. Without one Qt would widen the glyphs by
// scaling them, which distorts the strokes, so the kicker then keeps the normal width.
bool hasExpandedFace(const QFont& font) {
    static QHash<QString, bool> known;
    const QString family = QFontInfo{font}.family();
    const auto found = known.constFind(family);
    if (found != known.constEnd()) {
        return *found;
    }
    bool expanded = false;
    for (const QString& style : QFontDatabase::styles(family)) {
        for (const char* word : {"Expanded", "Extended", "Wide"}) {
            expanded = expanded || style.contains(QLatin1String(word), Qt::CaseInsensitive);
        }
    }
    known.insert(family, expanded);
    return expanded;
}

} // namespace

namespace Theme {

QColor color(Role role, Appearance appearance) {
    const Pair& pair = kColors.at(static_cast<std::size_t>(role));
    return QColor::fromRgb(appearance == Appearance::dark ? pair.dark : pair.light);
}

QColor color(Role role) { return color(role, g_appearance); }

Role color(Grade grade) {
    switch (grade) {
    case Grade::good:
        return Role::good;
    case Grade::fair:
        return Role::fair;
    case Grade::poor:
        break;
    }
    return Role::poor;
}

Grade recoveryBand(int recovery) { return Recovery::band(recovery); }

Grade factorBand(double score) { return gradeOf(score); }

QColor flame() { return QColor::fromRgbF(1.0f, 0.478f, 0.180f); }

Appearance appearance() { return g_appearance; }

void setAppearance(Appearance appearance) { g_appearance = appearance; }

} // namespace Theme

namespace Fonts {

QFont kicker() { return expanded(system(11, QFont::Bold)); }

QFont expanded(QFont font) {
    if (hasExpandedFace(font)) {
        font.setStretch(QFont::Expanded);
    }
    return font;
}

QFont title() { return system(15, QFont::DemiBold); }

QFont body() { return system(13); }

QFont caption() { return system(11.5); }

QFont system(double pointSize, QFont::Weight weight, bool monospacedDigits) {
    // The application font is the desktop's general font unless the program was told otherwise.
    QFont font = QGuiApplication::font();
    // The sizes are given in logical pixels; a typographic point is 4/3 of one at the desktop's usual 96
    // dpi, and a desktop that scales its text scales these with it.
    font.setPointSizeF(pointSize * 72.0 / 96.0);
    font.setWeight(weight);
    // Qt 6.4 cannot ask for tabular figures, so a font with uneven digits gives way to the fixed-width one.
    if (monospacedDigits && !hasEvenDigits(font)) {
        font.setFamily(QFontDatabase::systemFont(QFontDatabase::FixedFont).family());
    }
    return font;
}

} // namespace Fonts

} // namespace vitrek
