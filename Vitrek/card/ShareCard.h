#pragma once

#include "readings/Reading.h"
#include "scores/Factor.h"
#include "scores/MacAge.h"
#include "screens/ScreenTexts.h"

#include <QColor>
#include <QImage>
#include <QRectF>

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

class QPainter;

namespace vitrek {

class Calendar;

// Today's check-up as one portrait image to share: date and machine, the three dials, the Vitrek Age, the
// main recovery factors, the tip and the footer. Always painted in the dark appearance, so shared images
// look the same whatever the sharer's desktop.
struct ShareCard {
    static constexpr int kWidth = 1080;
    static constexpr int kHeight = 1350;

    Reading reading;
    std::vector<Factor> factors;
    int recovery = 0;
    std::optional<double> strain;
    double heavy = 0; // seconds of high stress today
    std::optional<int> rest;
    std::string restLine;
    std::string tip;
    std::optional<MacAge> age;

    bool operator==(const ShareCard&) const = default;
};

// Every text and choice of the card, as pure functions.
namespace CardTexts {

// The reading's date with the full weekday, the day and the abbreviated month, upper-cased:
// "TUESDAY 4 MAR".
std::string headerDate(Instant date, const Calendar& calendar);
// The model name upper-cased.
std::string modelName(const std::string& model);

Texts::Dial recoveryDial(int recovery);
// Without strain: no fraction, "–" and "Not measured yet".
Texts::Dial strainDial(std::optional<double> strain, double heavy);
Texts::Dial restDial(std::optional<int> rest, const std::string& restLine);

// How many factor rows the card shows: 4 beside the age block, 5 without it, fewer when there are fewer.
std::size_t factorRows(bool hasAge, std::size_t factors);
// The space between sections, so both variants fill the card: 30 with the age block, 44 without.
int sectionSpacing(bool hasAge);

// "2.8 years".
std::string ageYears(const MacAge& age);
struct Pill {
    std::string text;
    QColor color;
    bool operator==(const Pill&) const = default;
};
// "Right on its age" within a month (a neutral grey), else "4 months younger" in good or
// "1.3 years older" in poor.
Pill agePill(const MacAge& age);

// The product's web address, shown in the footer.
std::string webAddress();

} // namespace CardTexts

namespace ShareCardView {

// Where each section lands on the card, top to bottom; the footer keeps to the bottom edge. Spare room
// above it opens up the factor rows a little; the tip's type steps down from 29 px only when a long tip
// would otherwise run into the footer.
struct Layout {
    QRectF header;
    QRectF dials;
    std::optional<QRectF> age;
    QRectF rule;
    QRectF factors;
    std::size_t factorRows = 0;
    double factorRowGap = 0;
    QRectF tip;
    int tipPixelSize = 29;
    QRectF footer;
    bool operator==(const Layout&) const = default;
};
Layout layout(const ShareCard& card);

// Paints the card at scale 1.0 into the rectangle (0, 0, 1080, 1350) of `painter`'s device.
void paint(QPainter& painter, const ShareCard& card, const Calendar& calendar);
// One large dial in a 280 × 280 frame at `topLeft`, drawn at its final value, with its label and sub-line
// under the ring.
void dial(QPainter& painter, QPointF topLeft, const Texts::Dial& dial);
// The card as a 1080 × 1350 image.
QImage image(const ShareCard& card, const Calendar& calendar);

} // namespace ShareCardView

} // namespace vitrek
