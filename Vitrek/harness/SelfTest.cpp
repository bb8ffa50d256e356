#include "harness/SelfTest.h"

#include "Store.h"
#include "card/CardExport.h"
#include "demo/DemoData.h"
#include "files/VitrekFiles.h"
#include "history/Milestone.h"
#include "scores/VFmt.h"
#include "screens/ScreenTexts.h"
#include "shell/ImageFiles.h"

#include <QDir>
#include <QImage>
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <iostream>

namespace vitrek::SelfTest {

namespace {

std::string sizeText(const QSize& size) {
    return std::to_string(size.width()) + " × " + std::to_string(size.height());
}

// Two samples a minute apart go into a fresh sample store and must come back. A folder reused from an
// earlier run keeps its samples (nothing is deleted), so the check looks for exactly these two.
bool samplesRoundTrip(const Store& store, const QString& dir) {
    const VitrekFiles files(std::filesystem::path(QDir(dir).filePath(QStringLiteral("data")).toStdString()));
    const Calendar calendar = store.environment().calendar();
    const Instant now = store.environment().now();
    const std::array<Sample, 2> written{Sample{now - Seconds(60), 0.25, Heat::cool}, Sample{now, 0.5, Heat::warm}};
    const auto countWritten = [&] {
        std::vector<Sample> read = files.samples(now, calendar);
        if (History::dayID(written[0].date, calendar) != History::dayID(now, calendar)) {
            const auto earlier = files.samples(written[0].date, calendar);
            read.insert(read.end(), earlier.begin(), earlier.end());
        }
        // The stored dates count from another epoch, so they come back to within a rounding.
        return std::count_if(read.begin(), read.end(), [&](const Sample& sample) {
            return std::any_of(written.begin(), written.end(), [&](const Sample& mine) {
                return std::abs(secondsBetween(mine.date, sample.date)) < 0.001 && mine.load == sample.load &&
                       mine.heat == sample.heat;
            });
        });
    };
    const auto before = countWritten();
    for (const auto& sample : written) {
        files.append(sample, calendar);
    }
    return countWritten() - before == 2;
}

} // namespace

std::vector<Check> checks(const Store& store, const QString& dir) {
    std::vector<Check> result;
    const auto add = [&result](bool passed, std::string description) {
        result.push_back(Check{passed, std::move(description)});
    };

    const int recovery = store.recovery();
    add(recovery >= 1 && recovery <= 100, "recovery is a percentage (" + std::to_string(recovery) + ")");

    const auto factors = store.factors().size();
    add(factors == 6, "six factors with battery and rest (" + std::to_string(factors) + ")");

    const auto strain = store.strain();
    add(strain && *strain > 0 && *strain <= 21,
        "strain is on the 0–21 scale (" + (strain ? Texts::oneDecimal(*strain) : std::string("none")) + ")");

    add(store.night().has_value() && !store.tip().empty(), "rest and a tip are shown");

    const auto& age = store.age();
    add(age && age->vitrekYears() < age->realYears,
        "the demo computer's Vitrek Age is younger than it is (" +
            (age ? VFmt::age(age->vitrekYears()) : std::string("none")) + ")");

    const auto& vitals = store.vitals();
    const auto inRange = std::count_if(vitals.begin(), vitals.end(), [](const Vital& vital) { return vital.within(); });
    add(vitals.size() == 5 && inRange == 4, "the Health Monitor flags the nearly full disk");

    add(store.streak() == 15 && Milestone::reached(15) == 14, "a 15-day streak shows the two-week milestone");

    add(store.typicalStress().has_value() && store.lastWeekGap().has_value(), "stress and age compare with last week");

    const auto png = CardExport::png(store);
    add(png.has_value(), "the share card renders");
    if (png) {
        const QString path = QDir(dir).filePath(QStringLiteral("card.png"));
        const QImage image = writeAtomically(path, *png) ? QImage(path) : QImage();
        add(image.size() == QSize(ShareCard::kWidth, ShareCard::kHeight),
            "the card is 1080 × 1350 (" + sizeText(image.size()) + ")");
    }

    add(samplesRoundTrip(store, dir), "samples are written and read back");
    return result;
}

std::vector<std::string> report(const std::vector<Check>& checks) {
    std::vector<std::string> lines;
    int failures = 0;
    for (const auto& check : checks) {
        lines.push_back((check.passed ? "PASS " : "FAIL ") + check.description);
        failures += check.passed ? 0 : 1;
    }
    lines.push_back(failures == 0 ? std::string("ALL PASS") : std::to_string(failures) + " FAILED");
    return lines;
}

int run(const QString& dir, Store& store) {
    QDir().mkpath(dir);
    DemoData::fill(store);
    const auto found = checks(store, dir);
    std::string text;
    for (const auto& line : report(found)) {
        text += line + "\n";
    }
    std::cout << text;
    const QString path = QDir(dir).filePath(QStringLiteral("selftest.txt"));
    if (!writeAtomically(path, QByteArray::fromStdString(text))) {
        std::cerr << "vitrek: couldn’t write " << path.toStdString() << "\n";
    }
    return static_cast<int>(std::count_if(found.begin(), found.end(), [](const Check& check) { return !check.passed; }));
}

} // namespace vitrek::SelfTest
