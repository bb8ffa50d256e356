#include "screens/Symbols.h"

#include <QDir>
#include <QFile>
#include <QHash>
#include <QImage>
#include <QPaintDevice>
#include <QPainter>
#include <QPixmapCache>
#include <QSvgRenderer>
#include <algorithm>
#include <cmath>
#include <memory>

// The set is compiled into a static library, so nothing registers its resource unless something refers to
// it. Q_INIT_RESOURCE declares a global function, which rules out calling it inside any namespace.
static void initSymbolResources() { Q_INIT_RESOURCE(symbols); }

namespace vitrek::Symbols {
namespace {

constexpr double kMissingDot = 0.4; // the fallback dot's diameter as a share of the symbol's side

QString pathOf(const QString& name) { return QStringLiteral(":/symbols/%1.svg").arg(name); }

void ensureResources() {
    static const bool done = [] {
        initSymbolResources();
        return true;
    }();
    (void)done;
}

// One renderer per name, parsed on first use and kept; a name without a drawing maps to null. Painting
// happens on the GUI thread only, so the cache needs no lock.
QSvgRenderer* renderer(const QString& name) {
    ensureResources();
    static QHash<QString, std::shared_ptr<QSvgRenderer>> renderers;
    if (const auto found = renderers.constFind(name); found != renderers.constEnd()) {
        return found->get();
    }
    std::shared_ptr<QSvgRenderer> made;
    if (const QString path = pathOf(name); QFile::exists(path)) {
        made = std::make_shared<QSvgRenderer>(path);
        if (!made->isValid()) {
            made.reset();
        } else {
            made->setAspectRatioMode(Qt::KeepAspectRatio);
        }
    }
    renderers.insert(name, made);
    return made.get();
}

void paintDot(QPainter& painter, const QRectF& square, const QColor& color) {
    const double diameter = square.width() * kMissingDot;
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
    painter.drawEllipse(
        QRectF(square.center().x() - diameter / 2, square.center().y() - diameter / 2, diameter, diameter));
    painter.restore();
}

// The symbol as a tinted square image `pixels` across: drawn in black, then every covered pixel takes
// the colour with the drawing's coverage as its alpha.
QImage tinted(const QString& name, const QColor& color, int pixels) {
    QImage image(pixels, pixels, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    if (QSvgRenderer* svg = renderer(name)) {
        svg->render(&painter, QRectF(0, 0, pixels, pixels));
        painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
        painter.fillRect(image.rect(), color);
    } else {
        paintDot(painter, QRectF(0, 0, pixels, pixels), color);
    }
    return image;
}

QPixmap cachedPixmap(const QString& name, const QColor& color, int pixels) {
    const QString key = QStringLiteral("vitrek-symbol:%1:%2:%3")
                            .arg(name)
                            .arg(color.rgba(), 8, 16, QLatin1Char('0'))
                            .arg(pixels);
    QPixmap pixmap;
    if (!QPixmapCache::find(key, &pixmap)) {
        pixmap = QPixmap::fromImage(tinted(name, color, pixels));
        QPixmapCache::insert(key, pixmap);
    }
    return pixmap;
}

} // namespace

bool has(const QString& name) { return renderer(name) != nullptr; }

void paint(QPainter& painter, const QString& name, const QRectF& rect, const QColor& color) {
    const double side = std::min(rect.width(), rect.height());
    if (side <= 0) {
        return;
    }
    const QRectF square(rect.center().x() - side / 2, rect.center().y() - side / 2, side, side);
    const qreal ratio = painter.device() != nullptr ? painter.device()->devicePixelRatioF() : 1.0;
    const int pixels = std::max(1, static_cast<int>(std::ceil(side * ratio)));
    const QPixmap pixmap = cachedPixmap(name, color, pixels);
    painter.save();
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawPixmap(square, pixmap, QRectF(pixmap.rect()));
    painter.restore();
}

QPixmap pixmap(const QString& name, const QColor& color, int size, qreal devicePixelRatio) {
    const int pixels = std::max(1, static_cast<int>(std::lround(size * devicePixelRatio)));
    QPixmap result = cachedPixmap(name, color, pixels);
    result.setDevicePixelRatio(devicePixelRatio);
    return result;
}

QStringList names() {
    ensureResources();
    QStringList result;
    const QStringList files =
        QDir(QStringLiteral(":/symbols")).entryList({QStringLiteral("*.svg")}, QDir::Files);
    for (const QString& file : files) {
        result.append(file.chopped(4));
    }
    result.sort();
    return result;
}

} // namespace vitrek::Symbols
