#include "screens/widgets/AgeOrb.h"

#include "screens/ScreenTexts.h"
#include "screens/Theme.h"

#include <QFontMetricsF>
#include <QHash>
#include <QImage>
#include <QPainter>
#include <QPainterPath>
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <vector>

namespace vitrek {
namespace {

constexpr int kBlobPoints = 8;
constexpr double kBlobRadius = 0.41; // of the orb's side; the shadow fades out by the widget's edge
constexpr double kBlobWobble = 0.08; // the largest radius change, as a share of the radius
constexpr double kShadowOpacity = 0.35;
constexpr double kShadowRadius = 28;
constexpr double kShadowFade = 22;
constexpr int kDots = 90;
constexpr std::uint32_t kSeed = 0x5eed'0b1bU;
constexpr double kPillPaddingX = 12;
constexpr double kPillPaddingY = 5;
constexpr double kGap = 6;
constexpr double kContentLift = 0.035; // of the orb's side
const QColor kPillText(15, 18, 22);

// A small fixed generator, so the blob and the dots are the same on every run and every platform.
class Jitter {
public:
    explicit Jitter(std::uint32_t seed) : m_state(seed) {}
    // The next value in [0, 1).
    double next() {
        m_state = m_state * 1'664'525U + 1'013'904'223U;
        return static_cast<double>(m_state >> 8) / static_cast<double>(1U << 24);
    }

private:
    std::uint32_t m_state;
};

// A closed smooth outline through radius-perturbed points around the centre (Catmull-Rom as cubic curves).
QPainterPath blob(QPointF centre, double radius) {
    Jitter jitter(kSeed);
    std::array<QPointF, kBlobPoints> points;
    for (int i = 0; i < kBlobPoints; ++i) {
        const double angle = 2 * std::numbers::pi * (i + (jitter.next() - 0.5) * 0.3) / kBlobPoints;
        const double r = radius * (1 + kBlobWobble * (2 * jitter.next() - 1));
        points[static_cast<std::size_t>(i)] = centre + QPointF(r * std::cos(angle), r * std::sin(angle));
    }
    const auto at = [&](int i) { return points[static_cast<std::size_t>((i + kBlobPoints) % kBlobPoints)]; };
    QPainterPath path(at(0));
    for (int i = 0; i < kBlobPoints; ++i) {
        const QPointF c1 = at(i) + (at(i + 1) - at(i - 1)) / 6;
        const QPointF c2 = at(i + 1) - (at(i + 2) - at(i)) / 6;
        path.cubicTo(c1, c2, at(i + 1));
    }
    path.closeSubpath();
    return path;
}

// One pass of a box blur of `radius` pixels along rows (or columns) of an alpha plane.
void boxBlur(std::vector<float>& alpha, int width, int height, int radius, bool rows) {
    const int lines = rows ? height : width;
    const int length = rows ? width : height;
    std::vector<float> line(static_cast<std::size_t>(length));
    const auto index = [&](int l, int i) {
        return static_cast<std::size_t>(rows ? l * width + i : i * width + l);
    };
    const float scale = 1.0F / static_cast<float>(2 * radius + 1);
    for (int l = 0; l < lines; ++l) {
        for (int i = 0; i < length; ++i) {
            line[static_cast<std::size_t>(i)] = alpha[index(l, i)];
        }
        float sum = 0;
        for (int i = -radius; i <= radius; ++i) {
            sum += (i >= 0 && i < length) ? line[static_cast<std::size_t>(i)] : 0.0F;
        }
        for (int i = 0; i < length; ++i) {
            alpha[index(l, i)] = sum * scale;
            const int leaving = i - radius;
            const int entering = i + radius + 1;
            sum -= (leaving >= 0) ? line[static_cast<std::size_t>(leaving)] : 0.0F;
            sum += (entering < length) ? line[static_cast<std::size_t>(entering)] : 0.0F;
        }
    }
}

// The blob's soft shadow: its shape in the tint, blurred with three box passes each way (close to a
// Gaussian of half the shadow radius). Blurring is the costly part, so results are kept per size, tint and
// pixel ratio.
QImage shadow(const QPainterPath& shape, QSize size, const QColor& tint, qreal ratio) {
    static QHash<QString, QImage> cache;
    const QString key =
        QStringLiteral("%1x%2:%3:%4").arg(size.width()).arg(size.height()).arg(tint.rgba()).arg(ratio);
    if (const auto found = cache.constFind(key); found != cache.constEnd()) {
        return *found;
    }
    const int width = static_cast<int>(std::ceil(size.width() * ratio));
    const int height = static_cast<int>(std::ceil(size.height() * ratio));
    QImage mask(width, height, QImage::Format_Alpha8);
    mask.fill(0);
    {
        QPainter painter(&mask);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.scale(ratio, ratio);
        painter.fillPath(shape, Qt::black);
    }
    std::vector<float> alpha(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    for (int y = 0; y < height; ++y) {
        const uchar* line = mask.constScanLine(y);
        for (int x = 0; x < width; ++x) {
            alpha[static_cast<std::size_t>(y * width + x)] = line[x];
        }
    }
    const double sigma = kShadowRadius / 2 * ratio;
    const int boxRadius =
        std::max(1, static_cast<int>(std::lround((std::sqrt(4 * sigma * sigma + 1) - 1) / 2)));
    for (int pass = 0; pass < 3; ++pass) {
        boxBlur(alpha, width, height, boxRadius, true);
        boxBlur(alpha, width, height, boxRadius, false);
    }
    // The widget's edge would cut the shadow's tail into a visible box on dark faces, so the shadow fades
    // out on a circle just inside it.
    const double edge = std::min(width, height) / 2.0;
    const double fadeWidth = kShadowFade * ratio;
    QImage result(width, height, QImage::Format_ARGB32_Premultiplied);
    for (int y = 0; y < height; ++y) {
        auto* line = reinterpret_cast<QRgb*>(result.scanLine(y));
        for (int x = 0; x < width; ++x) {
            const double reach = std::hypot(x + 0.5 - width / 2.0, y + 0.5 - height / 2.0);
            const double t = std::clamp((edge - reach) / fadeWidth, 0.0, 1.0);
            const double a =
                alpha[static_cast<std::size_t>(y * width + x)] / 255.0 * kShadowOpacity * t * t * (3 - 2 * t);
            const auto channel = [&](int c) { return static_cast<int>(std::lround(c * a)); };
            line[x] = qRgba(channel(tint.red()), channel(tint.green()), channel(tint.blue()),
                            static_cast<int>(std::lround(255 * a)));
        }
    }
    result.setDevicePixelRatio(ratio);
    if (cache.size() >= 8) {
        cache.clear();
    }
    cache.insert(key, result);
    return result;
}

// Small light dots scattered over the blob, fainter in the middle and brighter towards the rim.
void sprinkle(QPainter& painter, QPointF centre, double radius) {
    Jitter jitter(kSeed ^ 0x00d0'75edU);
    painter.setPen(Qt::NoPen);
    for (int i = 0; i < kDots; ++i) {
        const double reach = std::sqrt(jitter.next()); // even over the area
        const double angle = 2 * std::numbers::pi * jitter.next();
        const double size = 1.0 + 1.6 * jitter.next();
        const double r = radius * reach * 1.05;
        painter.setOpacity(0.06 + 0.5 * reach * reach * reach);
        painter.setBrush(Qt::white);
        painter.drawEllipse(centre + QPointF(r * std::cos(angle), r * std::sin(angle)), size, size);
    }
    painter.setOpacity(1.0);
}

QFont kickerFont() {
    QFont font = Fonts::kicker();
    font.setLetterSpacing(QFont::AbsoluteSpacing, 1.6);
    return font;
}
QFont yearsFont() { return Fonts::system(44, QFont::Black, true); }
QFont pillFont() { return Fonts::system(16, QFont::DemiBold); }

} // namespace

AgeOrb::AgeOrb(int size, QWidget* parent) : QWidget(parent), m_size(size) {
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    setAccessibleName(QString::fromStdString(Texts::orbAccessibleName(m_years, m_gap)));
}

void AgeOrb::setAge(std::optional<double> years, std::optional<double> gap) {
    if (years == m_years && gap == m_gap) {
        return;
    }
    m_years = years;
    m_gap = gap;
    setAccessibleName(QString::fromStdString(Texts::orbAccessibleName(m_years, m_gap)));
    update();
}

QSize AgeOrb::sizeHint() const { return {m_size, m_size}; }

void AgeOrb::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::TextAntialiasing);

    const double side = std::min(width(), height());
    const QPointF centre(width() / 2.0, height() / 2.0);
    const double radius = side * kBlobRadius;
    const QPainterPath shape = blob(centre, radius);
    const QColor tint = Texts::orbTint(m_gap);
    const qreal ratio = devicePixelRatioF();

    painter.drawImage(QPointF(0, 0), shadow(shape, size(), tint, ratio));

    // A gentle light from the upper left gives the blob some depth without changing its colour much.
    QRadialGradient light(centre + QPointF(-radius * 0.35, -radius * 0.45), radius * 1.5);
    light.setColorAt(0, tint.lighter(118));
    light.setColorAt(1, tint.darker(106));
    painter.fillPath(shape, light);

    painter.save();
    painter.setClipPath(shape);
    sprinkle(painter, centre, radius);
    painter.restore();

    // The content, stacked and centred: kicker, years, pill.
    const QFontMetricsF kickerMetrics(kickerFont());
    const QFontMetricsF yearsMetrics(yearsFont());
    const QFontMetricsF pillMetrics(pillFont());
    const QString pill = QString::fromStdString(Texts::orbPill(m_gap));
    const double pillHeight = pill.isEmpty() ? 0 : pillMetrics.height() + 2 * kPillPaddingY;
    const double total =
        kickerMetrics.height() + yearsMetrics.height() + (pill.isEmpty() ? 0 : kGap + pillHeight);
    // A little above the middle, so the wide pill sits where the blob is widest.
    double y = centre.y() - total / 2 - side * kContentLift;

    painter.setFont(kickerFont());
    painter.setPen(QColor(255, 255, 255, 220));
    painter.drawText(QRectF(0, y, width(), kickerMetrics.height()), Qt::AlignCenter,
                     QString::fromLatin1(Texts::kOrbKicker));
    y += kickerMetrics.height();

    painter.setFont(yearsFont());
    painter.setPen(Qt::white);
    painter.drawText(QRectF(0, y, width(), yearsMetrics.height()), Qt::AlignCenter,
                     QString::fromStdString(Texts::orbYears(m_years)));
    y += yearsMetrics.height() + kGap;

    if (!pill.isEmpty()) {
        const double pillWidth = pillMetrics.horizontalAdvance(pill) + 2 * kPillPaddingX;
        const QRectF capsule(centre.x() - pillWidth / 2, y, pillWidth, pillHeight);
        painter.setPen(Qt::NoPen);
        painter.setBrush(Texts::orbPillColor(m_gap));
        painter.drawRoundedRect(capsule, pillHeight / 2, pillHeight / 2);
        painter.setFont(pillFont());
        painter.setPen(kPillText);
        painter.drawText(capsule, Qt::AlignCenter, pill);
    }
}

} // namespace vitrek
