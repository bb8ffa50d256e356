#include "powerlog/WakeReason.h"
#include "scores/HealthMonitor.h"
#include "screens/Symbols.h"
#include "screens/Theme.h"
#include "screens/widgets/AgeOrb.h"
#include "screens/widgets/PaceScale.h"
#include "screens/widgets/StressChart.h"
#include "shell/TrayArt.h"
#include "shell/VitrekApplication.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <QImage>
#include <QPainter>
#include <algorithm>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace vitrek {
namespace {

QImage grabbed(QWidget& widget) { return widget.grab().toImage().convertToFormat(QImage::Format_ARGB32); }

// How many pixels are opaque and within a small distance of `color`.
int pixelsNear(const QImage& image, const QColor& color, int tolerance = 24) {
    const QImage plain = image.convertToFormat(QImage::Format_ARGB32);
    int count = 0;
    for (int y = 0; y < plain.height(); ++y) {
        for (int x = 0; x < plain.width(); ++x) {
            const QColor pixel = plain.pixelColor(x, y);
            if (pixel.alpha() > 230 && std::abs(pixel.red() - color.red()) <= tolerance &&
                std::abs(pixel.green() - color.green()) <= tolerance &&
                std::abs(pixel.blue() - color.blue()) <= tolerance) {
                ++count;
            }
        }
    }
    return count;
}

TEST(ArtSymbols, HasEveryNameTheScreensAndTheCoreAskFor) {
    std::vector<std::string> wanted{"flame.fill",
                                    "lightbulb.max",
                                    "tortoise",
                                    "arrow.down.right",
                                    "arrow.up.right",
                                    "checkmark",
                                    "exclamationmark",
                                    "arrowtriangle.down.fill",
                                    "arrowtriangle.up.fill",
                                    "square.and.arrow.up",
                                    "arrow.clockwise",
                                    "xmark",
                                    "gearshape",
                                    "info.circle",
                                    "stethoscope",
                                    "arrow.triangle.2.circlepath",
                                    "moon.zzz",
                                    "moon.haze",
                                    "display",
                                    "eye.slash"};

    Reading reading;
    reading.totalBytes = 100;
    reading.battery = BatteryInfo{.health = 0.9, .cycles = std::nullopt, .percent = 50, .onAC = false};
    const auto vitals = HealthMonitor::vitals(reading);
    ASSERT_EQ(vitals.size(), 5U);
    for (const auto& vital : vitals) {
        wanted.push_back(vital.symbol);
    }
    // Only a boot's kind picks its symbol; every other symbol follows the cause.
    wanted.push_back(WakeReason::classify("", PowerEventKind::boot).symbol);
    for (const char* cause : {"LidOpen", "PWRB", "x/Maintenance", "x/SleepService", "Notification",
                              "ACAttach", "UserActivity usb", "UserActivity bluetooth", "UserActivity",
                              "wifi", "rtc", "usb", "bluetooth", "thermal", "gibberish"}) {
        wanted.push_back(WakeReason::classify(cause, PowerEventKind::darkWake).symbol);
    }

    const QStringList names = Symbols::names();
    for (const auto& name : wanted) {
        const QString symbol = QString::fromStdString(name);
        EXPECT_TRUE(Symbols::has(symbol)) << name;
        EXPECT_TRUE(names.contains(symbol)) << name;
    }
    EXPECT_TRUE(std::is_sorted(names.begin(), names.end()));
    for (const auto& name : names) {
        EXPECT_TRUE(Symbols::has(name)) << name.toStdString();
    }
    EXPECT_FALSE(Symbols::has(QStringLiteral("no.such.symbol")));
}

TEST(ArtSymbols, PaintsTheAskedColourAndADotForAMissingName) {
    const QColor red(220, 30, 40);
    const auto painted = [&](const QString& name) {
        QImage image(48, 48, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        QPainter painter(&image);
        Symbols::paint(painter, name, QRectF(0, 0, 48, 48), red);
        painter.end();
        return image.convertToFormat(QImage::Format_ARGB32);
    };

    const QImage missing = painted(QStringLiteral("no.such.symbol"));
    EXPECT_EQ(missing.pixelColor(24, 24), red);
    EXPECT_EQ(missing.pixelColor(2, 2).alpha(), 0);

    // Every opaque pixel of a known symbol carries the tint and nothing else.
    const QImage check = painted(QStringLiteral("checkmark"));
    const int tinted = pixelsNear(check, red, 2);
    EXPECT_GT(tinted, 30);
    EXPECT_EQ(pixelsNear(check, red, 255), tinted);

    const QPixmap sharp = Symbols::pixmap(QStringLiteral("bell"), red, 20, 2.0);
    EXPECT_EQ(sharp.size(), QSize(40, 40));
    EXPECT_DOUBLE_EQ(sharp.devicePixelRatio(), 2.0);
}

TEST(ArtPaceScale, MarkerSitsAtItsShareOfTheCanvas) {
    PaceScale scale;
    scale.resize(300, scale.sizeHint().height());
    EXPECT_TRUE(scale.markerRect().isNull());

    const double w = scale.canvasRect().width();
    const std::pair<double, double> lefts[] = {{0, 0}, {1, (w - 4) / 2}, {2, w - 4}, {3, w - 4}, {-1, 0}};
    for (const auto& [pace, left] : lefts) {
        SCOPED_TRACE(pace);
        scale.setPace(pace);
        const QRectF canvas = scale.canvasRect();
        const QRectF marker = scale.markerRect();
        EXPECT_EQ(marker, QRectF(canvas.left() + left, canvas.top(), 4, canvas.height()));

        // The marker is painted where it says: near its top edge, above every tick.
        EXPECT_EQ(grabbed(scale).pixelColor(marker.topLeft().toPoint() + QPoint(2, 1)).rgb(),
                  Theme::color(Theme::Role::ink).rgb());
    }
}

TEST(ArtAgeOrb, PaintsTheSameForTheSameValuesAndTintsByGap) {
    const auto orb = [](std::optional<double> years, std::optional<double> gap) {
        AgeOrb widget;
        widget.resize(widget.sizeHint());
        widget.setAge(years, gap);
        return grabbed(widget);
    };
    const QImage younger = orb(3.0, -1.0);
    EXPECT_EQ(younger, orb(3.0, -1.0));
    const QImage older = orb(5.0, 1.0);
    EXPECT_NE(younger, older);
    EXPECT_NE(orb(std::nullopt, std::nullopt), orb(4.0, 0.0));

    // Left of the text, inside the blob: green when younger, orange when older.
    const QPoint side(younger.width() / 2 - 70, younger.height() / 2);
    const QColor green = younger.pixelColor(side);
    const QColor orange = older.pixelColor(side);
    EXPECT_GT(green.green(), green.red());
    EXPECT_GT(orange.red(), orange.green());
    EXPECT_GT(orange.red(), orange.blue());
}

TEST(ArtStressChart, ShowsThePlaceholderUntilThereAreTwoPoints) {
    const Calendar calendar = test::berlin();
    const Instant now = test::at("2024-03-05T12:00:00+01:00");
    StressChart chart;
    chart.resize(chart.sizeHint());
    const QColor strain = Theme::color(Theme::Role::strain);

    chart.setSamples({Sample{.date = now - Seconds{60}, .load = 0.7, .heat = Heat::cool}}, now, calendar);
    EXPECT_TRUE(chart.showsPlaceholder());
    EXPECT_EQ(pixelsNear(grabbed(chart), strain), 0);

    std::vector<Sample> samples;
    for (int minute = 0; minute < 90; ++minute) {
        samples.push_back({.date = now - Seconds{60.0 * (90 - minute)}, .load = 0.8, .heat = Heat::cool});
    }
    chart.setSamples(samples, now, calendar);
    EXPECT_FALSE(chart.showsPlaceholder());
    EXPECT_GT(pixelsNear(grabbed(chart), strain), 20);
}

TEST(ArtTray, ShowsTheNumberInItsBandColourAtEverySize) {
    const QList<QSize> sizes = TrayArt::icon(72).availableSizes();
    for (const int size : {16, 22, 24, 32, 48}) {
        EXPECT_TRUE(sizes.contains(QSize(size, size))) << size;
        for (const qreal ratio : {1.0, 2.0}) {
            const QImage image = TrayArt::image(72, size, ratio);
            EXPECT_EQ(image.size(), QSize(size, size) * ratio) << size << "@" << ratio;
            EXPECT_DOUBLE_EQ(image.devicePixelRatio(), ratio);
        }
    }

    EXPECT_NE(TrayArt::image(71, 24), TrayArt::image(72, 24));
    EXPECT_NE(TrayArt::image(std::nullopt, 24), TrayArt::image(72, 24));
    for (const int recovery : {100, 72, 50, 20}) {
        const QColor band = Theme::color(Theme::color(Theme::recoveryBand(recovery)));
        EXPECT_GT(pixelsNear(TrayArt::image(recovery, 32), band, 10), 20) << recovery;
    }
    EXPECT_EQ(pixelsNear(TrayArt::image(std::nullopt, 32), Theme::color(Theme::Role::good), 10), 0);
}

// The built-in drawing stands in when no icon theme has Vitrek: a program folder that was never installed
// must still show its icon rather than a blank window icon.
TEST(ArtApplicationIcon, DrawsTheDialAtTheThemesSmallestAndLargestSizes) {
    const QIcon icon = applicationIcon();
    ASSERT_FALSE(icon.isNull());
    for (const int size : {16, 256}) {
        const QImage image = icon.pixmap(size, size).toImage().convertToFormat(QImage::Format_ARGB32);
        ASSERT_EQ(image.size(), QSize(size, size));
        EXPECT_EQ(qAlpha(image.pixel(size / 2, size / 2)), 255) << size;
        EXPECT_EQ(qAlpha(image.pixel(0, 0)), 0) << size; // the tile's rounded corner
        EXPECT_GT(pixelsNear(image, Theme::color(Theme::Role::good), 40), size / 8) << size;
    }
}

} // namespace
} // namespace vitrek
