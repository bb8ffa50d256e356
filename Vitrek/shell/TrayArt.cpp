#include "shell/TrayArt.h"

#include "screens/Symbols.h"
#include "screens/Theme.h"

#include <QFontMetricsF>
#include <QPainter>
#include <QPainterPath>
#include <QPixmap>
#include <array>
#include <cmath>
#include <functional>

namespace vitrek::TrayArt {
namespace {

// Panels come light and dark, so the art is a light tone with a dark rim: readable on either.
const QColor kSymbolTone(226, 230, 235);
const QColor kHalo(16, 18, 22, 200);
constexpr double kSymbolBehindNumber = 0.5; // the symbol steps back when the number is on it
constexpr double kDigitsWidth = 0.96;       // of the free width, for two digits
constexpr double kDigitsHeight = 0.78;      // of the side
constexpr int kSmallestDigits = 4;          // pixels
constexpr std::array<int, 5> kSizes{16, 22, 24, 32, 48};
constexpr std::array<qreal, 2> kRatios{1.0, 2.0};

// A halo one device pixel wide at 16 px, growing slowly with the size.
int haloPixels(int pixels) { return std::max(1, static_cast<int>(std::lround(pixels / 24.0))); }

void drawWithHalo(int halo, const std::function<void(QPoint, bool)>& draw) {
    for (int dy = -halo; dy <= halo; ++dy) {
        for (int dx = -halo; dx <= halo; ++dx) {
            if (dx != 0 || dy != 0) {
                draw(QPoint(dx, dy), true);
            }
        }
    }
    draw(QPoint(0, 0), false);
}

// The text's inked box in `font`; font metrics only approximate it, and the fit depends on the ink.
QRectF inkBox(const QFont& font, const QString& text) {
    QPainterPath path;
    path.addText(0, 0, font, text);
    return path.boundingRect();
}

// The largest whole-pixel font whose digits fit the box. Condensed, so two digits can stand tall in a
// square; "100" shrinks to fit like any other text.
QFont digitsFont(const QString& text, double maxWidth, double maxHeight) {
    QFont font = Fonts::system(10, QFont::Black);
    font.setStretch(QFont::Condensed);
    font.setHintingPreference(QFont::PreferFullHinting);
    font.setStyleStrategy(QFont::PreferAntialias);
    for (int pixels = static_cast<int>(std::ceil(maxHeight * 1.6)); pixels > kSmallestDigits; --pixels) {
        font.setPixelSize(pixels);
        const QRectF box = inkBox(font, text);
        if (box.width() <= maxWidth && box.height() <= maxHeight) {
            return font;
        }
    }
    font.setPixelSize(kSmallestDigits);
    return font;
}

} // namespace

QImage image(std::optional<int> recovery, int size, qreal devicePixelRatio) {
    const int pixels = std::max(1, static_cast<int>(std::lround(size * devicePixelRatio)));
    QImage result(pixels, pixels, QImage::Format_ARGB32_Premultiplied);
    result.fill(Qt::transparent);
    const int halo = haloPixels(pixels);
    {
        // Painted in device pixels so the halo and the digits land on whole pixels at any ratio.
        QPainter painter(&result);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setRenderHint(QPainter::TextAntialiasing);

        const QRectF symbolBox(halo, halo, pixels - 2 * halo, pixels - 2 * halo);
        const QString symbol = QStringLiteral("stethoscope");
        const int symbolSide = static_cast<int>(symbolBox.width());
        const QPixmap light = Symbols::pixmap(symbol, kSymbolTone, symbolSide);
        if (recovery) {
            // Behind the number the symbol is only a faint backdrop; a rim would scribble between digits.
            painter.setOpacity(kSymbolBehindNumber);
            painter.drawPixmap(symbolBox.topLeft(), light);
            painter.setOpacity(1.0);
        } else {
            const QPixmap dark = Symbols::pixmap(symbol, kHalo, symbolSide);
            drawWithHalo(halo, [&](QPoint offset, bool rim) {
                painter.drawPixmap(symbolBox.topLeft() + offset, rim ? dark : light);
            });
        }

        if (recovery) {
            const QString text = QString::number(*recovery);
            const double freeWidth = pixels - 2.0 * halo;
            const double widthShare = text.size() > 2 ? 1.0 : kDigitsWidth;
            const QFont font = digitsFont(text, freeWidth * widthShare, pixels * kDigitsHeight);
            const QRectF box = inkBox(font, text);
            // The baseline origin on whole pixels keeps hinted stems sharp.
            const QPoint origin(static_cast<int>(std::lround((pixels - box.width()) / 2 - box.left())),
                                static_cast<int>(std::lround((pixels - box.height()) / 2 - box.top())));
            const QColor band = Theme::color(Theme::color(Theme::recoveryBand(*recovery)));
            painter.setFont(font);
            painter.setPen(Qt::black);
            // A clear pixel between the symbol and the rim, so the symbol's lines never run into a digit.
            painter.setCompositionMode(QPainter::CompositionMode_DestinationOut);
            drawWithHalo(halo + 1, [&](QPoint offset, bool) { painter.drawText(origin + offset, text); });
            painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
            drawWithHalo(halo, [&](QPoint offset, bool rim) {
                painter.setPen(rim ? kHalo : band);
                painter.drawText(origin + offset, text);
            });
        }
    }
    result.setDevicePixelRatio(devicePixelRatio);
    return result;
}

QIcon icon(std::optional<int> recovery) {
    QIcon result;
    for (const int size : kSizes) {
        for (const qreal ratio : kRatios) {
            result.addPixmap(QPixmap::fromImage(image(recovery, size, ratio)));
        }
    }
    return result;
}

} // namespace vitrek::TrayArt
