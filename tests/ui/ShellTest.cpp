#include "shell/Appearance.h"
#include "shell/Autostart.h"
#include "shell/LocaleDates.h"
#include "shell/Preferences.h"
#include "shell/SingleInstance.h"
#include "shell/VitrekApplication.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <QApplication>
#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <QUuid>
#include <QWidget>

namespace vitrek {
namespace {

QSettings store() { return QSettings{QStringLiteral("Vitrek"), QStringLiteral("Vitrek")}; }

TEST(ShellPreferencesTest, FirstLaunchShowsTheTraySettersSignalOnChangesAndTheDateIsStoredAsADate) {
    store().clear();
    Preferences& preferences = Preferences::shared();
    EXPECT_TRUE(preferences.showInMenuBar());
    EXPECT_FALSE(preferences.hasBoughtAt());
    EXPECT_EQ(preferences.seenMilestone(), 0);
    const QSignalSpy shown(&preferences, &Preferences::showInMenuBarChanged);
    const QSignalSpy bought(&preferences, &Preferences::boughtAtChanged);
    const QSignalSpy seen(&preferences, &Preferences::seenMilestoneChanged);
    preferences.setShowInMenuBar(true);
    preferences.setShowInMenuBar(false);
    preferences.setShowInMenuBar(false);
    preferences.setBoughtAt(std::nullopt);
    preferences.setBoughtAt(QDate{2022, 1, 9});
    preferences.setBoughtAt(QDate{2022, 1, 9});
    preferences.setSeenMilestone(7);
    preferences.setSeenMilestone(7);
    EXPECT_EQ(shown.count(), 1);
    EXPECT_EQ(bought.count(), 1);
    EXPECT_EQ(seen.count(), 1);
    EXPECT_FALSE(store().value("showInMenuBar").toBool());
    EXPECT_EQ(store().value("seenMilestone").toInt(), 7);

    // A stored value that is not a date is replaced by removing it, which the toggle notices.
    store().setValue("boughtAt", QStringLiteral("soon"));
    preferences.setBoughtAt(std::nullopt);
    EXPECT_EQ(bought.count(), 2);
    EXPECT_FALSE(preferences.hasBoughtAt());

    const QDate day{2021, 11, 3};
    preferences.setBoughtAt(day);
    EXPECT_EQ(preferences.boughtAt(), day);
    // The Store reads the same key and accepts only dates and date-times.
    EXPECT_EQ(store().value("boughtAt").typeId(), QMetaType::QDate);
    preferences.setBoughtAt(std::nullopt);
    EXPECT_FALSE(store().contains("boughtAt"));

    const std::pair<QVariant, std::optional<QDate>> cases[] = {
        {QDateTime{day, QTime{23, 30}}, day},
        {QStringLiteral("2021-11-03"), day},
        {QStringLiteral("last spring"), std::nullopt},
        {42, std::nullopt},
    };
    for (const auto& [stored, expected] : cases) {
        store().setValue("boughtAt", stored);
        EXPECT_TRUE(preferences.hasBoughtAt()) << stored.toString().toStdString();
        EXPECT_EQ(preferences.boughtAt(), expected) << stored.toString().toStdString();
    }
    store().clear();
}

// Each test gets its own empty config folder, so the entry written is the only one there.
class ShellAutostartTest : public testing::Test {
protected:
    void SetUp() override {
        m_saved = qgetenv("XDG_CONFIG_HOME");
        qputenv("XDG_CONFIG_HOME", m_config.path().toUtf8());
    }
    void TearDown() override { qputenv("XDG_CONFIG_HOME", m_saved); }

    QTemporaryDir m_config;
    QByteArray m_saved;
};

TEST_F(ShellAutostartTest, EntryIsWrittenReadBackAndRemovedOrFailsQuietlyInAnUnwritableFolder) {
    EXPECT_EQ(Autostart::entryPath(), m_config.path() + "/autostart/vitrek.desktop");
    EXPECT_FALSE(Autostart::isEnabled());
    ASSERT_TRUE(Autostart::enable("/opt/vitrek/bin/vitrek"));
    EXPECT_TRUE(Autostart::isEnabled());
    QFile file(Autostart::entryPath());
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QString text = QString::fromUtf8(file.readAll());
    EXPECT_TRUE(text.startsWith("[Desktop Entry]\n")) << text.toStdString();
    EXPECT_TRUE(text.contains("\nExec=/opt/vitrek/bin/vitrek\n")) << text.toStdString();

    EXPECT_TRUE(Autostart::disable());
    EXPECT_FALSE(QFileInfo::exists(Autostart::entryPath()));
    EXPECT_TRUE(Autostart::disable());

    // An unwritable folder fails quietly; root writes into any folder.
    if (::geteuid() != 0) {
        QFile::setPermissions(m_config.path(), QFile::ReadOwner | QFile::ExeOwner);
        EXPECT_FALSE(Autostart::enable("/opt/vitrek/bin/vitrek"));
        EXPECT_FALSE(Autostart::isEnabled());
        QFile::setPermissions(m_config.path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }
}

// The entry quotes what a shell would split or expand; only Hidden=true in its own group turns it off.
TEST_F(ShellAutostartTest, ExecIsQuotedAndOnlyHiddenTrueInTheEntryGroupTurnsItOff) {
    const char* quoted[][2] = {
        {"/opt/My Apps/vitrek", "Exec=\"/opt/My Apps/vitrek\"\n"},
        {"/home/a$b/vitrek", "Exec=\"/home/a\\\\$b/vitrek\"\n"},
        {"/opt/100%/vitrek", "Exec=/opt/100%%/vitrek\n"},
    };
    for (const auto& [executable, line] : quoted) {
        EXPECT_TRUE(Autostart::entryText(executable).contains(line))
            << Autostart::entryText(executable).toStdString();
    }
    const std::pair<const char*, bool> cases[] = {
        {"[Desktop Entry]\nType=Application\nHidden=true\n", false},
        {"[Desktop Entry]\nHidden = true\nExec=vitrek\n", false},
        {"[Desktop Entry]\nHidden=false\n", true},
        {"[Desktop Entry]\nExec=vitrek\n[Desktop Action quit]\nHidden=true\n", true},
    };
    QDir().mkpath(m_config.path() + "/autostart");
    for (const auto& [text, enabled] : cases) {
        QFile file(Autostart::entryPath());
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(text);
        file.close();
        EXPECT_EQ(Autostart::isEnabled(), enabled) << text;
    }
}

// A socket file left by a crashed instance blocks nobody; a later start hands over to the first and stops;
// once the first has quit, the name is free again.
TEST(ShellSingleInstanceTest, ALaterStartHandsOverToTheFirstAndAStaleSocketBlocksNobody) {
    const QString key =
        QStringLiteral("vitrek-test-%1-%2").arg(::getpid()).arg(QUuid::createUuid().toString(QUuid::Id128));
    QFile leftover(QDir::tempPath() + "/" + key);
    ASSERT_TRUE(leftover.open(QIODevice::WriteOnly));
    leftover.close();
    {
        SingleInstance first{key};
        int activations = 0;
        QObject::connect(&first, &SingleInstance::activated, [&] { ++activations; });
        ASSERT_TRUE(first.claim());
        SingleInstance second{key};
        EXPECT_FALSE(second.claim());
        EXPECT_TRUE(QTest::qWaitFor([&] { return activations > 0; }, 2000));
        EXPECT_EQ(activations, 1);
    }
    SingleInstance next{key};
    EXPECT_TRUE(next.claim());
}

TEST(ShellAppearanceTest, ThePortalDecidesBeforeThePaletteAndSnapshotsStandStill) {
    const std::tuple<std::optional<unsigned>, bool, bool> dark[] = {
        {1u, false, true},  {2u, true, false},          {0u, true, true},
        {0u, false, false}, {std::nullopt, true, true}, {std::nullopt, false, false},
        {7u, true, true},
    };
    for (const auto& [scheme, paletteIsDark, expected] : dark) {
        EXPECT_EQ(Appearance::darkFrom(scheme, paletteIsDark), expected)
            << scheme.value_or(99) << paletteIsDark;
    }
    const std::tuple<std::optional<bool>, bool, bool> motion[] = {
        {true, false, false},
        {std::nullopt, false, false},
        {false, false, true},
        {true, true, true},
    };
    for (const auto& [animations, snapshotting, expected] : motion) {
        EXPECT_EQ(Appearance::reduceMotionFrom(animations, snapshotting), expected)
            << animations.value_or(false) << snapshotting;
    }
}

TEST(ShellQuitTest, ClosingTheLastWindowQuitsOnlyWhereThereIsNoTray) {
    // As in the program: the application itself never quits when its windows close.
    const bool quitOnClose = QApplication::quitOnLastWindowClosed();
    QApplication::setQuitOnLastWindowClosed(false);
    constexpr int kStillRunning = 7;
    for (const bool trayAvailable : {false, true}) {
        QObject shell;
        int asked = 0;
        quitWhenClosedWithoutTray(shell, [&] {
            ++asked;
            return trayAvailable;
        });
        QWidget window;
        window.show();
        QTimer::singleShot(0, &window, &QWidget::close);
        QTimer::singleShot(1000, &shell, [] { QCoreApplication::exit(kStillRunning); });
        EXPECT_EQ(QApplication::exec(), trayAvailable ? kStillRunning : 0) << trayAvailable;
        // Decided when the window closed, not before.
        EXPECT_EQ(asked, 1) << trayAvailable;
    }
    QApplication::setQuitOnLastWindowClosed(quitOnClose);
}

// 23:30 UTC is already Tuesday in Berlin, whatever zone the machine runs in; its seconds never show.
TEST(ShellLocaleDatesTest, FormsFollowTheLocalesWordsOrderAndClock) {
    const Instant when = test::at("2024-03-04T23:30:45Z");
    const Calendar zone = test::berlin();
    // time, hour, day, longDay, date, weekday, weekdayDay (the share card's), dayMonth (the record's start).
    const char* cases[][9] = {
        // The C locale's own short time form has seconds.
        {"C", "00:30", "00", "Tue, 5 Mar", "Tuesday, 5 March", "5 Mar 2024", "Tuesday", "Tuesday, 5 Mar",
         "5 Mar"},
        {"en_US", "12:30 AM", "12 AM", "Tue, Mar 5", "Tuesday, March 5", "Mar 5, 2024", "Tuesday",
         "Tuesday, Mar 5", "Mar 5"},
        {"en_GB", "00:30", "00", "Tue, 5 Mar", "Tuesday, 5 March", "5 Mar 2024", "Tuesday", "Tuesday, 5 Mar",
         "5 Mar"},
        {"de_DE", "00:30", "00", "Di., 5. März", "Dienstag, 5. März", "5. März 2024", "Dienstag",
         "Dienstag, 5. März", "5. März"},
        // Where the year carries its own word, the word goes with it.
        {"ru_RU", "00:30", "00", "вт, 5 мар.", "вторник, 5 марта", "5 мар. 2024 г.", "вторник",
         "вторник, 5 мар.", "5 мар."},
        {"ja_JP", "0:30", "0", "3月5日火", "3月5日火曜日", "2024年3月5日", "火曜日", "3月5日火曜日",
         "3月5日"},
    };
    for (const auto& c : cases) {
        const auto formatter = localeDateFormatter(QLocale{c[0]});
        const std::string forms[] = {formatter->time(when, zone),       formatter->hour(when, zone),
                                     formatter->day(when, zone),        formatter->longDay(when, zone),
                                     formatter->date(when, zone),       formatter->weekday(when, zone),
                                     formatter->weekdayDay(when, zone), formatter->dayMonth(when, zone)};
        for (int form = 0; form < 8; ++form) {
            EXPECT_EQ(forms[form], c[form + 1]) << c[0] << " form " << form;
        }
        EXPECT_EQ(formatter->clockTime(when, zone), forms[0]) << c[0];
    }
}

} // namespace
} // namespace vitrek
