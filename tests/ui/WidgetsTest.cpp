#include "screens/ScreenTexts.h"
#include "screens/Theme.h"
#include "screens/widgets/Dial.h"
#include "screens/widgets/HistoryBars.h"
#include "screens/widgets/Kicker.h"
#include "screens/widgets/MiniCard.h"

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
#include <optional>

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

} // namespace
} // namespace vitrek
