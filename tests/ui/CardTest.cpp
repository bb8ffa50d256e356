#include "card/CardExport.h"
#include "card/ShareCard.h"
#include "support/DemoStore.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QClipboard>
#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QGuiApplication>
#include <QMimeData>
#include <QTemporaryDir>
#include <QTimer>
#include <QUrl>

namespace vitrek {
namespace {

// Only the age block, the factors and the tip decide the layout; each factor's detail needs all of a row.
ShareCard cardWith(bool age, std::size_t factors, std::string tip) {
    ShareCard card;
    for (std::size_t i = 0; i < factors; ++i) {
        card.factors.push_back(
            Factor{Factor::kAllKinds[i], "Free storage", "8%",
                   "41.3 GB of 494 GB free. Clear out downloads and old caches to make room.",
                   0.3 * static_cast<double>(i), 25});
    }
    card.tip = std::move(tip);
    if (age) {
        card.age = MacAge{};
    }
    return card;
}

TEST(ShareCardLayout, BothVariantsFitBetweenThePaddingsAndTheTipShrinksOrMovesUpToFit) {
    const std::string tip =
        "Your disk is nearly full. Free up at least 20 GB so updates and swap have room to work.";
    for (const bool age : {true, false}) {
        const auto layout = ShareCardView::layout(cardWith(age, 6, tip));
        const double spacing = CardTexts::sectionSpacing(age);
        EXPECT_EQ(layout.factorRows, age ? 4u : 5u);
        EXPECT_EQ(layout.age.has_value(), age);
        EXPECT_EQ(layout.header.top(), 64);
        EXPECT_EQ(layout.dials.top(), layout.header.bottom() + spacing);
        EXPECT_EQ(layout.rule.top(), (age ? layout.age->bottom() : layout.dials.bottom()) + spacing);
        EXPECT_EQ(layout.tip.top(), layout.factors.bottom() + spacing);
        EXPECT_EQ(layout.footer.bottom(), 1350 - 64);
        EXPECT_EQ(layout.tipPixelSize, 29) << age;
        EXPECT_LE(layout.tip.bottom() + spacing, layout.footer.top()) << age;
    }

    // A long tip steps down rather than run into the footer.
    std::string longTip;
    for (int i = 0; i < 4; ++i) {
        longTip += "Restart it this week: nine days of uptime leave memory fragmented and updates waiting. ";
    }
    const auto layout = ShareCardView::layout(cardWith(false, 6, longTip));
    EXPECT_LT(layout.tipPixelSize, 29);
    EXPECT_LE(layout.tip.bottom() + 44, layout.footer.top());

    // Fewer factors than rows: only those rows, and the tip moves up.
    const auto few = ShareCardView::layout(cardWith(true, 2, "Short."));
    EXPECT_EQ(few.factorRows, 2u);
    EXPECT_LT(few.tip.top(), ShareCardView::layout(cardWith(true, 6, "Short.")).tip.top());
}

TEST(CardExportTest, NothingBeforeAReadingThenAStablePngSharedUnderTheDaysName) {
    const auto store = test::demoStore();
    EXPECT_EQ(CardExport::card(*store), std::nullopt);
    EXPECT_EQ(CardExport::png(*store), std::nullopt);
    CardExport::share(*store, [&](const QString&) { ADD_FAILURE() << "nothing to share yet"; });

    DemoData::fill(*store);
    const auto card = CardExport::card(*store);
    ASSERT_TRUE(card.has_value());
    EXPECT_EQ(card->restLine, "3 wakes · −2% battery");
    EXPECT_EQ(card->rest, RestScore::score(*store->night()));

    const auto first = CardExport::png(*store);
    const auto second = CardExport::png(*store);
    ASSERT_TRUE(first.has_value());
    EXPECT_EQ(*first, *second);
    EXPECT_TRUE(first->startsWith("\x89PNG"));
    const QImage image = ShareCardView::image(*card, test::berlin());
    EXPECT_EQ(image.size(), QSize(1080, 1350));
    // Always dark: the corner is the dark face, whatever the appearance of the process.
    EXPECT_EQ(image.pixelColor(2, 2), Theme::color(Theme::Role::face, Theme::Appearance::dark));
    // Without the age block the card is another picture.
    auto ageless = *card;
    ageless.age.reset();
    EXPECT_NE(ShareCardView::image(ageless, test::berlin()), image);

    EXPECT_EQ(CardExport::fileName(test::at("2026-11-23T23:30:00Z"), test::berlin()),
              "Vitrek 2026-11-24.png");
    QTemporaryDir temporary;
    const QByteArray previous = qgetenv("TMPDIR");
    qputenv("TMPDIR", temporary.path().toUtf8());
    QString revealed;
    CardExport::share(*store, [&](const QString& path) { revealed = path; });
    // Unset again if it was unset: an empty TMPDIR would break every later test that asks for it.
    (void)(previous.isNull() ? qunsetenv("TMPDIR") : qputenv("TMPDIR", previous));
    EXPECT_EQ(revealed, QDir(temporary.path()).filePath("Vitrek 2026-11-24.png"));
    QFile written(revealed);
    ASSERT_TRUE(written.open(QIODevice::ReadOnly));
    EXPECT_EQ(written.readAll(), *first);
    const QMimeData* clipboard = QGuiApplication::clipboard()->mimeData();
    ASSERT_NE(clipboard, nullptr);
    EXPECT_TRUE(clipboard->hasImage());
    EXPECT_EQ(clipboard->urls(), QList<QUrl>{QUrl::fromLocalFile(revealed)});
}

// Answers the save dialog that `CardExport::save` opens: with `file`, or cancels when it is empty. Returns
// the file name the dialog proposed, then its filters.
QStringList saveAnswering(const Store& store, const QString& file) {
    QStringList proposed;
    QTimer::singleShot(0, [&] {
        auto* dialog = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
        if (dialog == nullptr) {
            ADD_FAILURE() << "no save dialog";
            return;
        }
        proposed =
            QStringList{QFileInfo(dialog->selectedFiles().value(0)).fileName()} + dialog->nameFilters();
        if (file.isEmpty()) {
            dialog->reject();
        } else {
            dialog->selectFile(file);
            QMetaObject::invokeMethod(dialog, "accept");
        }
    });
    CardExport::save(store);
    return proposed;
}

TEST(CardExportTest, SaveProposesTheDaysNameAndWritesAPngWhereTheUserSays) {
    const auto store = test::demoStore();
    DemoData::fill(*store);
    QTemporaryDir folder;
    const QString chosen = QDir(folder.path()).filePath("my card");
    EXPECT_EQ(saveAnswering(*store, chosen), (QStringList{"Vitrek 2026-11-24.png", "PNG image (*.png)"}));
    EXPECT_EQ(QImage(chosen + ".png").size(), QSize(1080, 1350));

    // A cancel leaves nothing behind.
    QTemporaryDir empty;
    QDir::setCurrent(empty.path());
    saveAnswering(*store, {});
    EXPECT_TRUE(QDir(empty.path()).isEmpty());
    EXPECT_EQ(QDir(folder.path()).entryList(QDir::Files), QStringList{"my card.png"});
}

} // namespace
} // namespace vitrek
