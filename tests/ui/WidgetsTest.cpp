#include "powerlog/WakeReason.h"
#include "scores/HealthMonitor.h"
#include "screens/ScreenTexts.h"
#include "screens/Symbols.h"
#include "screens/Theme.h"
#include "screens/widgets/AgeOrb.h"
#include "screens/widgets/Dial.h"
#include "screens/widgets/HistoryBars.h"
#include "screens/widgets/Kicker.h"
#include "screens/widgets/MiniCard.h"
#include "screens/widgets/PaceScale.h"
#include "screens/widgets/StressChart.h"
#include "shell/TrayArt.h"
#include "shell/VitrekApplication.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QFontMetricsF>
#include <QHelpEvent>
#include <QImage>
#include <QLabel>
#include <QPainter>
#include <QPicture>
#include <QTest>
#include <QToolTip>
#include <QVBoxLayout>
#include <QWindow>
#include <algorithm>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace vitrek {
namespace {

QImage render(QWidget& widget, qreal ratio) {
    QImage image{widget.size() * ratio, QImage::Format_ARGB32_Premultiplied};
    image.setDevicePixelRatio(ratio);
    image.fill(Qt::transparent);
    widget.render(&image);
    return image;
}

// The rightmost column the widget paints, clip or not: recorded, then replayed on a wide canvas, where
// text that runs past the widget's edge shows.
int lastPaintedColumn(QWidget& widget) {
    QPicture picture;
    widget.render(&picture);
    QImage image{widget.width() * 3, widget.height(), QImage::Format_ARGB32_Premultiplied};
    image.fill(Qt::transparent);
    QPainter painter{&image};
    painter.drawPicture(0, 0, picture);
    painter.end();
    for (int x = image.width() - 1; x >= 0; --x) {
        for (int y = 0; y < image.height(); ++y) {
            if (qAlpha(image.pixel(x, y)) > 24) {
                return x;
            }
        }
    }
    return -1;
}

TEST(WidgetsTheme, AppearanceSwitchesTheAdaptiveColoursOnly) {
    const Theme::Appearance before = Theme::appearance();
    const auto rgb = [](Theme::Role role) { return Theme::color(role).rgb() & 0xFFFFFFu; };
    Theme::setAppearance(Theme::Appearance::dark);
    const auto darkFace = rgb(Theme::Role::face);
    const auto darkGood = rgb(Theme::Role::good);
    Theme::setAppearance(Theme::Appearance::light);
    EXPECT_NE(rgb(Theme::Role::face), darkFace);
    EXPECT_EQ(rgb(Theme::Role::good), darkGood);
    Theme::setAppearance(before);
}

TEST(WidgetsTheme, MonospacedDigitsAllAdvanceAlike) {
    const QFontMetricsF metrics{Fonts::system(40, QFont::Black, true)};
    for (const char digit : {'1', '4', '7', '8'}) {
        EXPECT_DOUBLE_EQ(metrics.horizontalAdvance(QLatin1Char(digit)),
                         metrics.horizontalAdvance(QLatin1Char('0')))
            << digit;
    }
}

TEST(WidgetsDial, SpringSettlesOnTheTargetWithASlightOvershoot) {
    EXPECT_DOUBLE_EQ(Dial::springAt(0), 0);
    double peak = 0;
    double peakAt = 0;
    for (double t = 0; t <= 3; t += 0.005) {
        if (Dial::springAt(t) > peak) {
            peak = Dial::springAt(t);
            peakAt = t;
        }
    }
    EXPECT_GT(peak, 1.0);
    EXPECT_LT(peak, 1.05);
    // With a 0.9 s response and 0.85 damping the one overshoot peaks half a damped period in.
    EXPECT_NEAR(peakAt, 0.854, 0.02);
    EXPECT_NEAR(Dial::springAt(2.0), 1.0, 0.0005);
}

TEST(WidgetsDial, JumpsToTheClampedTargetWithReducedMotionAndOtherwiseAnimatesFromWhereItIs) {
    Dial::setReduceMotion(true);
    Dial still;
    still.show();
    const std::vector<std::pair<std::optional<double>, double>> cases{
        {0.42, 0.42}, {1.7, 1.0}, {-0.3, 0.0}, {0.9, 0.9}, {std::nullopt, 0.0}};
    for (const auto& [fraction, shown] : cases) {
        still.setFraction(fraction);
        EXPECT_DOUBLE_EQ(still.target(), shown) << fraction.value_or(-99);
        EXPECT_DOUBLE_EQ(still.shown(), shown) << fraction.value_or(-99);
    }
    Dial::setReduceMotion(false);

    if (qEnvironmentVariableIsSet("VITREK_SNAPSHOT_DIR")) {
        GTEST_SKIP() << "snapshots switch the animation off";
    }
    Dial dial;
    dial.setFraction(0.6);
    EXPECT_EQ(dial.shown(), 0) << "a dial fills only once it appears";
    dial.show();
    ASSERT_TRUE(QTest::qWaitFor([&] { return dial.shown() > 0.05; }, 500));
    EXPECT_LT(dial.shown(), 0.6);

    // Changed mid-flight, it turns back from where it is rather than starting over.
    QTest::qWait(250);
    const double before = dial.shown();
    dial.setFraction(0.2);
    EXPECT_DOUBLE_EQ(dial.shown(), before);
    EXPECT_TRUE(QTest::qWaitFor([&] { return dial.shown() == 0.2; }, 1800)) << dial.shown();
}

TEST(WidgetsKicker, UpperCasesAndShrinksIntoNarrowWidths) {
    Kicker kicker{QStringLiteral("What's behind your recovery")};
    EXPECT_EQ(kicker.text(), QStringLiteral("WHAT'S BEHIND YOUR RECOVERY"));
    const int natural = kicker.sizeHint().width();
    EXPECT_LT(kicker.minimumSizeHint().width(), natural);
    for (const double share : {1.0, 0.95, 0.8, 0.6, 0.3}) {
        kicker.resize(static_cast<int>(natural * share), kicker.sizeHint().height());
        const int painted = lastPaintedColumn(kicker);
        EXPECT_LT(painted, kicker.width()) << share;
        EXPECT_GT(painted, kicker.width() * 0.75) << share;
    }
}

// Four days, the first a poor one and the last at the top.
TEST(WidgetsHistoryBars, BarsStandAtTheirDaysHeightsNameTheirDayAndPaintAlike) {
    HistoryBars bars;
    bars.setDays({Day{"2026-11-13", 3, {}, {}, {}, {}}, Day{"2026-11-14", 50, 8.4, {}, {}, {}},
                  Day{"2026-11-15", 80, {}, {}, {}, {}}, Day{"2026-11-16", 100, 21, {}, {}, {}}});
    bars.resize(305, 120);
    bars.show();
    const double width = (305 - 5 * 3) / 4.0;
    for (std::size_t i = 0; i < bars.days().size(); ++i) {
        SCOPED_TRACE(i);
        const QRectF bar = bars.barRect(i);
        const double height = Texts::barHeight(bars.days()[i].recovery);
        EXPECT_EQ(bar, QRectF(static_cast<double>(i) * (width + 5), 120 - height, width, height));
        // High above the short bars too: the whole column belongs to its day.
        const QPoint pos{static_cast<int>(bar.center().x()), 4};
        QHelpEvent help{QEvent::ToolTip, pos, bars.mapToGlobal(pos)};
        QApplication::sendEvent(&bars, &help);
        EXPECT_EQ(QToolTip::text(), QString::fromStdString(Texts::dayHelp(bars.days()[i])));
    }
    QToolTip::hideText();
    for (const qreal ratio : {1.0, 1.5, 2.0}) {
        const QImage first = render(bars, ratio);
        EXPECT_EQ(first, render(bars, ratio)) << ratio;
        // The tallest bar reaches the top; the poor day's bar is in the poor colour.
        EXPECT_GT(qAlpha(first.pixel(first.width() - 4, static_cast<int>(2 * ratio))), 200) << ratio;
        const QPointF low = bars.barRect(0).center() * ratio;
        EXPECT_EQ(QColor{first.pixel(low.toPoint())}.rgb(), Theme::color(Theme::Role::poor).rgb()) << ratio;
    }
}

TEST(WidgetsMiniCard, ClickAnywhereOnItOrSpaceAndEnterActivateIt) {
    MiniCard card{QStringLiteral("Vitrek Age")};
    auto* value = new QLabel(QStringLiteral("3.4"));
    card.content()->addWidget(value);
    card.resize(220, 120);
    card.show();
    int clicks = 0;
    QObject::connect(&card, &MiniCard::clicked, [&] { ++clicks; });

    // Through the window, as a real pointer goes: pressed on the content, released on it or elsewhere.
    const auto click = [&](QPointF press, QPointF release) {
        QTest::mousePress(card.windowHandle(), Qt::LeftButton, {}, press.toPoint());
        QTest::mouseRelease(card.windowHandle(), Qt::LeftButton, {}, release.toPoint());
    };
    const QPointF onValue = value->geometry().center();
    click(onValue, onValue);
    EXPECT_EQ(clicks, 1);
    click(onValue, QPointF{300, 300});
    EXPECT_EQ(clicks, 1) << "released outside, the click is abandoned";

    for (const Qt::Key key : {Qt::Key_Space, Qt::Key_Return, Qt::Key_Enter, Qt::Key_A}) {
        QTest::keyClick(&card, key);
    }
    EXPECT_EQ(clicks, 4);
}

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
        EXPECT_EQ(qAlpha(image.pixel(size / 2, size / 2)), 255) << size;
        EXPECT_EQ(qAlpha(image.pixel(0, 0)), 0) << size; // the tile's rounded corner
        EXPECT_GT(pixelsNear(image, Theme::color(Theme::Role::good), 40), size / 8) << size;
    }
}

} // namespace
} // namespace vitrek
