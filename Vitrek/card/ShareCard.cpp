#include "card/ShareCard.h"

#include "scores/Fmt.h"
#include "scores/Rounding.h"
#include "scores/VFmt.h"
#include "time/Calendar.h"

#include <QFontMetricsF>
#include <QPainter>
#include <QPainterPath>
#include <QString>

#include <algorithm>
#include <array>
#include <cmath>

namespace vitrek {

namespace {

constexpr double kRightOnYears = 1.0 / 12.0;

constexpr double kPadding = 64;
constexpr double kContentWidth = ShareCard::kWidth - 2 * kPadding;
constexpr double kModelWidth = 520;
constexpr double kDialFrame = 280;
constexpr double kDialLine = 22;
constexpr double kDialValueRoom = 0.88; // of the ring's opening the value may take
constexpr double kDialLabelGap = 16;
constexpr double kDialSubGap = 4;
// A sub-line may reach into the space between two dials, never into the next one.
constexpr double kDialSubWidth = kDialFrame + 48;
constexpr double kKickerGap = 8;
constexpr double kRuleHeight = 2;
constexpr double kFactorsGap = 18;
constexpr double kFactorRowGap = 18;
constexpr double kMostExtraRowGap = 22;
constexpr double kFactorIndent = 30;
constexpr double kDot = 14;
constexpr double kDetailGap = 2;
constexpr double kPillGap = 24;
constexpr double kPillPaddingX = 20;
constexpr double kPillPaddingY = 8;
constexpr int kTipPixels = 29;
constexpr int kSmallestTipPixels = 20;
constexpr double kFooterGap = 16;

const QColor kDetail = QColor::fromRgbF(0.498f, 0.529f, 0.565f);
const QColor kRightOnAge = QColor::fromRgbF(0.776f, 0.800f, 0.824f);

QColor dark(Theme::Role role) { return Theme::color(role, Theme::Appearance::dark); }

QString q(const std::string& text) { return QString::fromStdString(text); }

// The card's type is set in pixels at scale 1.0, whatever the desktop's text scaling, and unhinted, so the
// image is the same on every machine with the same fonts.
QFont font(int pixels, QFont::Weight weight, bool expanded = false, double tracking = 0, bool digits = false) {
    QFont font = Fonts::system(pixels, weight, digits);
    font.setPixelSize(pixels);
    if (expanded) {
        font = Fonts::expanded(font);
    }
    if (tracking != 0) {
        font.setLetterSpacing(QFont::AbsoluteSpacing, tracking);
    }
    font.setHintingPreference(QFont::PreferNoHinting);
    return font;
}

QFont dateFont() { return font(24, QFont::Bold, true, 2.0); }
QFont modelFont(int pixels = 22) { return font(pixels, QFont::Black, false, 1.0); }
QFont dialValueFont(int pixels = 76) { return font(pixels, QFont::Black, false, 0, true); }
QFont dialLabelFont() { return font(24, QFont::Bold, true); }
QFont dialSubFont(int pixels = 22) { return font(pixels, QFont::Medium); }
QFont kickerFont() { return font(20, QFont::Bold, true, 2.0); }
QFont ageFont() { return font(80, QFont::Black, false, 0, true); }
QFont pillFont() { return font(24, QFont::DemiBold); }
QFont factorFont() { return font(30, QFont::Medium); }
QFont factorValueFont() { return font(30, QFont::DemiBold, false, 0, true); }
QFont detailFont() { return font(24, QFont::Medium); }
QFont tipFont(int pixels) { return font(pixels, QFont::Medium); }
QFont brandFont() { return font(26, QFont::Black, true, 3.0); }
QFont webFont() { return font(22, QFont::DemiBold); }

double lineHeight(const QFont& font) { return QFontMetricsF{font}.height(); }
double textWidth(const QFont& font, const QString& text) { return QFontMetricsF{font}.horizontalAdvance(text); }

// The largest size from `pixels` down to three quarters of it at which `text` fits `width`; the smallest
// otherwise (the caller elides what still does not fit).
template <typename MakeFont> QFont shrunkToFit(MakeFont make, int pixels, const QString& text, double width) {
    const int smallest = std::max(1, pixels * 3 / 4);
    for (int size = pixels; size > smallest; --size) {
        const QFont candidate = make(size);
        if (textWidth(candidate, text) <= width) {
            return candidate;
        }
    }
    return make(smallest);
}

double tipHeight(const QString& tip, int pixels) {
    const QFontMetricsF metrics{tipFont(pixels)};
    return metrics.boundingRect(QRectF{0, 0, kContentWidth, 1e6}, Qt::TextWordWrap, tip).height();
}

double factorRowHeight(const Factor& factor) {
    double height = lineHeight(factorFont());
    if (!factor.detail.empty()) {
        height += kDetailGap + lineHeight(detailFont());
    }
    return height;
}

double dialHeight() { return kDialFrame + kDialLabelGap + lineHeight(dialLabelFont()) + kDialSubGap + lineHeight(dialSubFont()); }

double ageHeight() { return lineHeight(kickerFont()) + kKickerGap + lineHeight(ageFont()); }

// One line of text with its box's left edge at `x`, vertically centred in `box`.
void drawLine(QPainter& painter, const QRectF& box, const QFont& font, const QColor& color, const QString& text,
              Qt::Alignment horizontal = Qt::AlignLeft) {
    painter.setFont(font);
    painter.setPen(color);
    painter.drawText(box, static_cast<int>(horizontal | Qt::AlignVCenter | Qt::TextSingleLine), text);
}

// Text centred on `centre` by its inked shape rather than its line box, so digits and a lone dash alike
// sit in the middle of the ring whatever the font's ascent and descent.
void drawCentred(QPainter& painter, QPointF centre, const QFont& font, const QColor& color, const QString& text) {
    const QFontMetricsF metrics{font};
    QPainterPath outline;
    outline.addText(0, 0, font, text);
    const QRectF ink = outline.boundingRect();
    painter.setFont(font);
    painter.setPen(color);
    painter.drawText(QPointF{centre.x() - metrics.horizontalAdvance(text) / 2, centre.y() - ink.center().y()}, text);
}

void paintHeader(QPainter& painter, const QRectF& box, const ShareCard& card, const Calendar& calendar) {
    drawLine(painter, box, dateFont(), dark(Theme::Role::ink), q(CardTexts::headerDate(card.reading.date, calendar)));
    const QString model = q(CardTexts::modelName(card.reading.model));
    QFont shrunk = shrunkToFit([](int size) { return modelFont(size); }, 22, model, kModelWidth);
    const QString shown = QFontMetricsF{shrunk}.elidedText(model, Qt::ElideRight, kModelWidth);
    drawLine(painter, box, shrunk, dark(Theme::Role::ink3), shown, Qt::AlignRight);
}

void paintAge(QPainter& painter, const QRectF& box, const MacAge& age) {
    const QRectF kicker{box.left(), box.top(), box.width(), lineHeight(kickerFont())};
    drawLine(painter, kicker, kickerFont(), dark(Theme::Role::ink3), QStringLiteral("VITREK AGE"));

    const QFont years = ageFont();
    const QString yearsText = q(CardTexts::ageYears(age));
    const QRectF number{box.left(), kicker.bottom() + kKickerGap, textWidth(years, yearsText), lineHeight(years)};
    drawLine(painter, number, years, dark(Theme::Role::ink), yearsText);

    const CardTexts::Pill pill = CardTexts::agePill(age);
    const QFont pillType = pillFont();
    const QString pillText = q(pill.text);
    const double height = lineHeight(pillType) + 2 * kPillPaddingY;
    // Centred on the number's capital height rather than its line box, which carries the descent.
    const QFontMetricsF yearsMetrics{years};
    const double baseline = number.center().y() + yearsMetrics.capHeight() / 2;
    const double middle = baseline - yearsMetrics.capHeight() / 2;
    const QRectF capsule{number.right() + kPillGap, middle - height / 2, textWidth(pillType, pillText) + 2 * kPillPaddingX,
                         height};
    QColor fill = pill.color;
    fill.setAlphaF(0.16f);
    painter.setPen(Qt::NoPen);
    painter.setBrush(fill);
    painter.drawRoundedRect(capsule, height / 2, height / 2);
    painter.setBrush(Qt::NoBrush);
    drawLine(painter, capsule, pillType, pill.color, pillText, Qt::AlignHCenter);
}

void paintFactors(QPainter& painter, const QRectF& box, const std::vector<Factor>& factors, std::size_t rows,
                  double rowGap) {
    const QRectF kicker{box.left(), box.top(), box.width(), lineHeight(kickerFont())};
    drawLine(painter, kicker, kickerFont(), dark(Theme::Role::ink3), QString::fromUtf8("WHAT'S BEHIND YOUR RECOVERY"));

    const QFont title = factorFont();
    const QFont value = factorValueFont();
    const QFont detail = detailFont();
    const double textLeft = box.left() + kFactorIndent;
    const double textWidthAvailable = box.right() - textLeft;
    double y = kicker.bottom() + kFactorsGap;
    for (std::size_t i = 0; i < rows; ++i) {
        const Factor& factor = factors[i];
        const QRectF line{textLeft, y, textWidthAvailable, lineHeight(title)};

        painter.setPen(Qt::NoPen);
        painter.setBrush(dark(Theme::color(Theme::factorBand(factor.score))));
        painter.drawEllipse(QRectF{box.left(), line.center().y() - kDot / 2, kDot, kDot});
        painter.setBrush(Qt::NoBrush);

        const QString valueText = q(factor.value);
        const double valueWidth = textWidth(value, valueText);
        drawLine(painter, line, value, dark(Theme::Role::ink), valueText, Qt::AlignRight);
        const double titleRoom = std::max(0.0, textWidthAvailable - valueWidth - kPillGap);
        drawLine(painter, line, title, dark(Theme::Role::ink),
                 QFontMetricsF{title}.elidedText(q(factor.title), Qt::ElideRight, titleRoom));
        y = line.bottom();
        if (!factor.detail.empty()) {
            const QRectF under{textLeft, y + kDetailGap, textWidthAvailable, lineHeight(detail)};
            drawLine(painter, under, detail, kDetail,
                     QFontMetricsF{detail}.elidedText(q(factor.detail), Qt::ElideRight, textWidthAvailable));
            y = under.bottom();
        }
        y += rowGap;
    }
}

void paintFooter(QPainter& painter, const QRectF& box) {
    const QFont brand = brandFont();
    const QString brandText = QStringLiteral("VITREK");
    const double brandWidth = textWidth(brand, brandText);
    // Both words share a baseline, however different their sizes.
    const double baseline = box.center().y() + QFontMetricsF{brand}.capHeight() / 2;
    painter.setPen(dark(Theme::Role::ink));
    painter.setFont(brand);
    painter.drawText(QPointF{box.left(), baseline}, brandText);
    painter.setPen(dark(Theme::Role::ink3));
    painter.setFont(webFont());
    painter.drawText(QPointF{box.left() + brandWidth + kFooterGap, baseline}, q(CardTexts::webAddress()));
}

} // namespace

namespace CardTexts {

std::string headerDate(Instant date, const Calendar& calendar) {
    return q(Fmt::weekdayDay(date, calendar)).toUpper().toStdString();
}

std::string modelName(const std::string& model) {
    Reading named;
    named.model = model;
    return q(Texts::modelName(named)).toUpper().toStdString();
}

Texts::Dial recoveryDial(int recovery) { return Texts::recoveryDial(true, recovery); }

Texts::Dial strainDial(std::optional<double> strain, double heavy) {
    if (!strain) {
        return Texts::Dial{std::nullopt, Texts::kMissing, Theme::Role::strain, "Strain", "Not measured yet"};
    }
    return Texts::Dial{*strain / 21, printfText("%.1f", *strain), Theme::Role::strain, "Strain",
                       VFmt::hours(heavy) + " busy"};
}

Texts::Dial restDial(std::optional<int> rest, const std::string& restLine) {
    if (!rest) {
        return Texts::Dial{std::nullopt, Texts::kMissing, Theme::Role::rest, "Rest", restLine};
    }
    return Texts::Dial{*rest / 100.0, std::to_string(*rest) + "%", Theme::Role::rest, "Rest", restLine};
}

std::size_t factorRows(bool hasAge, std::size_t factors) { return std::min<std::size_t>(hasAge ? 4 : 5, factors); }

int sectionSpacing(bool hasAge) { return hasAge ? 30 : 44; }

std::string ageYears(const MacAge& age) { return printfText("%.1f years", age.vitrekYears()); }

Pill agePill(const MacAge& age) {
    const double difference = age.vitrekYears() - age.realYears;
    if (std::fabs(difference) < kRightOnYears) {
        return Pill{VFmt::ageDifference(difference), kRightOnAge};
    }
    return Pill{VFmt::ageDifference(difference), dark(difference < 0 ? Theme::Role::good : Theme::Role::poor)};
}

std::string webAddress() { return VITREK_WEB_ADDRESS; }

} // namespace CardTexts

namespace ShareCardView {

namespace {

Layout layoutWithRowGap(const ShareCard& card, double rowGap) {
    const bool hasAge = card.age.has_value();
    const double spacing = CardTexts::sectionSpacing(hasAge);
    Layout result;
    result.factorRowGap = rowGap;
    double y = kPadding;
    const auto next = [&](double height) {
        const QRectF box{kPadding, y, kContentWidth, height};
        y += height + spacing;
        return box;
    };
    result.header = next(std::max(lineHeight(dateFont()), lineHeight(modelFont())));
    result.dials = next(dialHeight());
    if (hasAge) {
        result.age = next(ageHeight());
    }
    result.rule = next(kRuleHeight);
    result.factorRows = CardTexts::factorRows(hasAge, card.factors.size());
    double factors = lineHeight(kickerFont());
    for (std::size_t i = 0; i < result.factorRows; ++i) {
        factors += (i == 0 ? kFactorsGap : rowGap) + factorRowHeight(card.factors[i]);
    }
    result.factors = next(factors);

    const double footer = std::max(lineHeight(brandFont()), lineHeight(webFont()));
    result.footer = QRectF{kPadding, ShareCard::kHeight - kPadding - footer, kContentWidth, footer};
    const QString tip = q(card.tip);
    const double room = result.footer.top() - spacing - y;
    int pixels = kTipPixels;
    while (pixels > kSmallestTipPixels && tipHeight(tip, pixels) > room) {
        --pixels;
    }
    result.tipPixelSize = pixels;
    // A tip longer than any the coach gives would be cut at the footer rather than run over it.
    result.tip = QRectF{kPadding, y, kContentWidth, std::min(tipHeight(tip, pixels), std::max(0.0, room))};
    return result;
}

} // namespace

Layout layout(const ShareCard& card) {
    const Layout tight = layoutWithRowGap(card, kFactorRowGap);
    // Room left above the footer goes between the factor rows, up to a point, so a short card does not
    // end in a hole; whatever remains stays above the footer.
    const double spare = tight.footer.top() - CardTexts::sectionSpacing(card.age.has_value()) - tight.tip.bottom();
    if (tight.factorRows < 2 || spare <= 0) {
        return tight;
    }
    const double gaps = static_cast<double>(tight.factorRows - 1);
    const double extra = std::min(std::floor(spare / (gaps + 1)), kMostExtraRowGap);
    return layoutWithRowGap(card, kFactorRowGap + extra);
}

void dial(QPainter& painter, QPointF topLeft, const Texts::Dial& dial) {
    const QRectF frame{topLeft, QSizeF{kDialFrame, kDialFrame}};
    const QRectF ring = frame.adjusted(kDialLine / 2, kDialLine / 2, -kDialLine / 2, -kDialLine / 2);
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen{dark(Theme::Role::track), kDialLine});
    painter.drawEllipse(ring);

    const double shown = std::clamp(dial.fraction.value_or(0.0), 0.0, 1.0);
    if (shown > 0) {
        QPainterPath arc;
        arc.arcMoveTo(ring, 90);
        arc.arcTo(ring, 90, -360 * shown);
        QPen pen{dark(dial.color), kDialLine};
        pen.setCapStyle(Qt::RoundCap);
        painter.setPen(pen);
        painter.drawPath(arc);
    }
    // "100%" is wider than the ring's opening at full size; it steps down rather than touch the ring.
    const QString value = q(dial.value);
    const double opening = (kDialFrame - 2 * kDialLine) * kDialValueRoom;
    drawCentred(painter, frame.center(), shrunkToFit([](int size) { return dialValueFont(size); }, 76, value, opening),
                dark(dial.fraction ? Theme::Role::ink : Theme::Role::ink3), value);

    const QFont label = dialLabelFont();
    const QRectF labelBox{frame.center().x() - kDialSubWidth / 2, frame.bottom() + kDialLabelGap, kDialSubWidth,
                          lineHeight(label)};
    drawLine(painter, labelBox, label, dark(Theme::Role::ink), q(dial.label), Qt::AlignHCenter);
    const QString subText = q(dial.sub);
    const QFont sub = shrunkToFit([](int size) { return dialSubFont(size); }, 22, subText, kDialSubWidth);
    const QRectF subBox{labelBox.left(), labelBox.bottom() + kDialSubGap, kDialSubWidth, lineHeight(dialSubFont())};
    drawLine(painter, subBox, sub, dark(Theme::Role::ink2),
             QFontMetricsF{sub}.elidedText(subText, Qt::ElideRight, kDialSubWidth), Qt::AlignHCenter);
}

void paint(QPainter& painter, const ShareCard& card, const Calendar& calendar) {
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::TextAntialiasing);
    painter.fillRect(QRectF{0, 0, ShareCard::kWidth, ShareCard::kHeight}, dark(Theme::Role::face));

    const Layout at = layout(card);
    paintHeader(painter, at.header, card, calendar);

    const std::array<Texts::Dial, 3> dials{CardTexts::recoveryDial(card.recovery),
                                           CardTexts::strainDial(card.strain, card.heavy),
                                           CardTexts::restDial(card.rest, card.restLine)};
    const double gap = (kContentWidth - 3 * kDialFrame) / 2;
    for (std::size_t i = 0; i < dials.size(); ++i) {
        dial(painter, QPointF{at.dials.left() + static_cast<double>(i) * (kDialFrame + gap), at.dials.top()},
             dials[i]);
    }
    if (at.age && card.age) {
        paintAge(painter, *at.age, *card.age);
    }
    painter.fillRect(at.rule, dark(Theme::Role::hairline));
    paintFactors(painter, at.factors, card.factors, at.factorRows, at.factorRowGap);

    painter.setFont(tipFont(at.tipPixelSize));
    painter.setPen(dark(Theme::Role::ink));
    painter.drawText(at.tip, static_cast<int>(Qt::AlignLeft | Qt::AlignTop | Qt::TextWordWrap), q(card.tip));

    paintFooter(painter, at.footer);
    painter.restore();
}

QImage image(const ShareCard& card, const Calendar& calendar) {
    QImage image{ShareCard::kWidth, ShareCard::kHeight, QImage::Format_RGB32};
    image.setDevicePixelRatio(1.0);
    QPainter painter{&image};
    paint(painter, card, calendar);
    painter.end();
    return image;
}

} // namespace ShareCardView

} // namespace vitrek
