#include "Store.h"

#include "PowerRecorder.h"

#include "history/Day.h"
#include "powerlog/NightBuilder.h"
#include "scores/Age.h"
#include "scores/Coach.h"
#include "scores/HealthMonitor.h"
#include "scores/Recovery.h"
#include "scores/Strain.h"

#include <QCoreApplication>
#include <QPointer>
#include <QThreadPool>
#include <QTimer>
#include <algorithm>
#include <utility>

namespace vitrek {

namespace {

constexpr int kKeptDays = 400;
constexpr int kKeptSampleDays = 3;

constexpr NightWindow kNightWindow{23, 7};

// Fills the functions a caller left empty with neutral values, so a partial environment never reaches
// the running machine by accident.
StoreEnvironment completed(StoreEnvironment environment) {
    if (!environment.cpuTicks) {
        environment.cpuTicks = [] { return CPUTicks{}; };
    }
    if (!environment.heat) {
        auto reader = environment.reader;
        environment.heat = [reader] { return reader ? reader->heat() : std::nullopt; };
    }
    if (!environment.loadPowerLog) {
        environment.loadPowerLog = [] { return NightLog{}; };
    }
    if (!environment.now) {
        environment.now = [] { return Instant{std::chrono::system_clock::now()}; };
    }
    if (!environment.calendar) {
        environment.calendar = [] { return Calendar::current(); };
    }
    if (!environment.boughtAt) {
        environment.boughtAt = [] { return std::optional<Instant>{}; };
    }
    if (!environment.setUpDate) {
        environment.setUpDate = [] { return std::optional<Instant>{}; };
    }
    if (!environment.isDemo) {
        environment.isDemo = [] { return false; };
    }
    return environment;
}

} // namespace

Store::Store(StoreEnvironment environment, QObject* parent)
    : QObject(parent), m_env(completed(std::move(environment))), m_ticks(m_env.cpuTicks()) {}

Store::~Store() = default;

Store& Store::shared() {
    static Store store;
    return store;
}

template <typename T> void Store::publish(T& field, T value, void (Store::*changed)()) {
    if (field == value) {
        return;
    }
    field = std::move(value);
    emit(this->*changed)();
}

void Store::setNight(std::optional<Night> night) { publish(m_night, std::move(night), &Store::nightChanged); }
void Store::setLoadingNight(bool loading) { publish(m_loadingNight, loading, &Store::loadingNightChanged); }
void Store::setHistory(History history) { publish(m_history, std::move(history), &Store::historyChanged); }
void Store::setAge(std::optional<MacAge> age) { publish(m_age, std::move(age), &Store::ageChanged); }
void Store::setDemoSetUp(std::optional<Instant> date) { m_demoSetUp = date; }

std::optional<double> Store::lastWeekGap() const {
    if (!m_reading) {
        return std::nullopt;
    }
    return m_history.ageGap(m_reading->date, m_env.calendar());
}

std::optional<Stress::Typical> Store::typicalStress() const {
    if (!m_reading) {
        return std::nullopt;
    }
    return Stress::typical(m_history, m_reading->date, m_env.calendar());
}

void Store::start() {
    if (m_env.isDemo()) {
        if (m_env.demoFill) {
            m_env.demoFill(*this);
        }
        return;
    }
    const Calendar calendar = m_env.calendar();
    const Instant now = m_env.now();
    m_writer = std::make_unique<WriterLock>(m_env.files.dir());
    auto loaded = m_env.files.loadHistory(now, calendar);
    setHistory(std::move(loaded.history));
    if (loaded.problem) {
        // Told once; the file itself is kept as it was, and saving goes on with what could be read.
        emit storageTrouble(loaded.problem->text());
    }
    if (mayWrite()) {
        m_env.files.pruneSamples(kKeptSampleDays, now, calendar);
    }
    // The night record is written by the one process that writes this folder.
    if (m_env.startRecording && !m_recorder && m_writer->mayWrite()) {
        m_recorder = m_env.startRecording(this, m_env.files);
        publish(m_recording, m_recorder != nullptr && m_recorder->isRecording(), &Store::recordingChanged);
        if (m_recorder) {
            connect(m_recorder, &PowerRecorder::wrote, this,
                    [this](const std::optional<FileProblem>& problem) { noteWrite(Trouble::nights, problem); });
        }
    }
    apply(m_env.reader->read(now), samplesOf(now, calendar), m_night, true);
    loadNight();

    QTimer::singleShot(m_env.firstCheckUp, this, [this] { tick(m_env.now()); });
    QTimer::singleShot(m_env.secondCheckUp, this, [this] { tick(m_env.now()); });
    delete m_timer;
    m_timer = new QTimer(this);
    m_timer->setInterval(m_env.period);
    connect(m_timer, &QTimer::timeout, this, [this] { tick(m_env.now()); });
    m_timer->start();
}

void Store::tick(Instant now) {
    const Calendar calendar = m_env.calendar();
    const CPUTicks current = m_env.cpuTicks();
    const double load = CPUTicks::load(m_ticks, current);
    // A sample always carries a level; without a sensor it adds no heat to the day's strain.
    const Sample sample{now, load, m_env.heat().value_or(Heat::cool)};
    m_unsaved.push_back(sample);
    // The day's file is read once; after that each check-up only adds its own sample.
    if (History::dayID(now, calendar) == m_samplesDay) {
        m_daySamples.push_back(sample);
    }
    // Three days of check-ups at most wait in memory; older ones could not be shown anyway.
    constexpr std::size_t kMostUnsaved = 3 * 24 * 60;
    if (m_unsaved.size() > kMostUnsaved) {
        m_unsaved.erase(m_unsaved.begin(), m_unsaved.end() - static_cast<std::ptrdiff_t>(kMostUnsaved));
    }
    if (mayWrite()) {
        flushSamples(calendar);
    }
    m_ticks = current;
    if (m_recorder) {
        m_recorder->checkUp(now);
    }
    if (m_nightAt && (secondsBetween(*m_nightAt, now) > m_env.nightReloadAfter || nightEndedSince(*m_nightAt, now))) {
        loadNight();
    }
    apply(m_env.reader->read(now), samplesOf(now, calendar), m_night, true);
}

bool Store::mayWrite() {
    if (!m_writer) {
        return true;
    }
    const bool wasElsewhere = m_writer->state() == WriterLock::State::elsewhere;
    m_writer->retry();
    if (m_writer->state() == WriterLock::State::elsewhere) {
        const auto holder = m_writer->holder();
        noteWrite(Trouble::folder,
                  FileProblem{m_env.files.dir(), "another Vitrek" +
                                                     (holder ? " (process " + std::to_string(*holder) + ")"
                                                             : std::string()) +
                                                     " is recording here; this one only shows what it records"});
        return false;
    }
    if (wasElsewhere) {
        noteWrite(Trouble::folder, std::nullopt);
    }
    return true;
}

void Store::flushSamples(const Calendar& calendar) {
    std::size_t written = 0;
    std::optional<FileProblem> failed;
    for (; written < m_unsaved.size(); ++written) {
        if ((failed = m_env.files.append(m_unsaved[written], calendar))) {
            break;
        }
    }
    m_unsaved.erase(m_unsaved.begin(), m_unsaved.begin() + static_cast<std::ptrdiff_t>(written));
    noteWrite(Trouble::samples, failed);
}

std::vector<Sample> Store::samplesOf(Instant date, const Calendar& calendar) {
    const auto day = History::dayID(date, calendar);
    if (day != m_samplesDay) {
        m_daySamples = m_env.files.samples(date, calendar);
        for (const auto& sample : m_unsaved) {
            if (History::dayID(sample.date, calendar) == day) {
                m_daySamples.push_back(sample);
            }
        }
        m_samplesDay = day;
    }
    return m_daySamples;
}

void Store::noteWrite(Trouble kind, const std::optional<FileProblem>& problem) {
    if (problem) {
        const auto text = problem->text();
        const auto [at, isNew] = m_troubles.try_emplace(kind, text);
        at->second = text;
        // Another writer is not trouble with the disk; the window shows it and --headless refuses.
        if (isNew && kind != Trouble::folder) {
            const char* what = kind == Trouble::samples   ? "cannot save the check-ups, kept until it can: "
                               : kind == Trouble::history ? "cannot save the history, kept until it can: "
                                                          : "cannot save the record of the nights: ";
            emit storageTrouble(what + text);
        }
    } else if (m_troubles.erase(kind) == 0) {
        return;
    }
    std::string shown;
    if (!m_troubles.empty()) {
        const auto& first = m_troubles.begin()->second;
        shown = m_troubles.begin()->first == Trouble::folder
                    ? "Not saving: " + first + "."
                    : "Can't save to " + first + ". Vitrek keeps checking up and saves when it can.";
    }
    publish(m_storageProblem, std::move(shown), &Store::storageProblemChanged);
}

bool Store::nightEndedSince(Instant loaded, Instant now) const {
    const auto bounds = kNightWindow.bounds(now, m_env.calendar());
    return bounds && loaded < bounds->second && bounds->second <= now;
}

void Store::apply(const Reading& reading, std::vector<Sample> samples, std::optional<Night> night,
                  bool record) {
    const Calendar calendar = m_env.calendar();
    publish(m_reading, std::optional<Reading>{reading}, &Store::readingChanged);
    setNight(std::move(night));
    const std::optional<int> rest = m_night ? std::optional<int>{RestScore::score(*m_night)} : std::nullopt;

    std::vector<Factor> factors = Recovery::factors(reading, rest);
    const int recovery = Recovery::score(factors);
    publish(m_factors, std::move(factors), &Store::factorsChanged);
    publish(m_recovery, recovery, &Store::recoveryChanged);

    publish(m_strain, Strain::score(samples), &Store::strainChanged);
    publish(m_heavy, Strain::heavyTime(samples), &Store::heavyChanged);

    const std::optional<int> wakes = m_night ? std::optional<int>{m_night->wakeCount()} : std::nullopt;
    publish(m_tip, Coach::tip(m_factors, m_recovery, reading, wakes), &Store::tipChanged);

    std::optional<Instant> since;
    if (!samples.empty()) {
        since = std::min_element(samples.begin(), samples.end(), [](const Sample& a, const Sample& b) {
                    return a.date < b.date;
                })->date;
    }
    publish(m_samples, std::move(samples), &Store::samplesChanged);
    publish(m_measuredSince, since, &Store::measuredSinceChanged);

    publish(m_vitals, HealthMonitor::vitals(reading), &Store::vitalsChanged);
    publish(m_stressNow, Stress::now(m_samples, reading.date), &Store::stressNowChanged);
    updateAge();

    if (record && !m_env.isDemo()) {
        const std::optional<double> ageGap =
            m_age ? std::optional<double>{m_age->vitrekYears() - m_age->realYears} : std::nullopt;
        History history = m_history;
        history.record(
            Day{History::dayID(reading.date, calendar), m_recovery, m_strain, rest, m_heavy, ageGap},
            kKeptDays);
        setHistory(std::move(history));
        // Kept in memory whatever happens on disk: the next save that works writes every day of it.
        if (mayWrite()) {
            noteWrite(Trouble::history, m_env.files.save(m_history));
        }
    }
    publish(m_streak, m_history.streak(reading.date, calendar), &Store::streakChanged);
}

void Store::loadNight() {
    setLoadingNight(true);
    // The clock and calendar are asked here, on the Store's thread: the task must not touch the Store,
    // and the fakes tests give are not thread-safe.
    const Instant now = m_env.now();
    const Calendar calendar = m_env.calendar();
    m_nightAt = now;
    auto load = [loadPowerLog = m_env.loadPowerLog, now, calendar] {
        auto system = loadPowerLog();
        auto night = lastNight(NightSource::build(system, kNightWindow, now, calendar));
        return NightLoad{std::move(night), std::move(system.problem), system.source,
                         NightSource::recordedSince(system)};
    };

    // Without an application object no event loop could ever deliver the result, so load in place.
    QCoreApplication* app = QCoreApplication::instance();
    if (app == nullptr) {
        finishNightLoad(load());
        return;
    }
    // The result is posted to the application object, which outlives every task of the global pool (it
    // waits for them on destruction); the Store itself may be gone by then, hence the guard.
    QThreadPool::globalInstance()->start([load, app, self = QPointer<Store>{this}] {
        NightLoad loaded = load();
        QMetaObject::invokeMethod(
            app,
            [self, loaded = std::move(loaded)]() mutable {
                if (self) {
                    self->finishNightLoad(std::move(loaded));
                }
            },
            Qt::QueuedConnection);
    });
}

void Store::finishNightLoad(NightLoad loaded) {
    publish(m_powerLogProblem, std::move(loaded.problem), &Store::powerLogProblemChanged);
    publish(m_nightSource, loaded.source, &Store::nightSourceChanged);
    publish(m_recordedSince, loaded.recordedSince, &Store::recordedSinceChanged);
    setNight(std::move(loaded.night));
    setLoadingNight(false);
    if (!m_reading) {
        return;
    }
    const Reading reading = *m_reading;
    apply(reading, samplesOf(reading.date, m_env.calendar()), m_night, true);
}

void Store::updateAge() {
    if (!m_reading) {
        return;
    }
    const bool demo = m_env.isDemo();
    const std::optional<Instant> bought = demo ? std::nullopt : m_env.boughtAt();
    const std::optional<Instant> setUp = demo ? m_demoSetUp : m_env.setUpDate();
    const auto start = Age::start(bought, setUp, m_reading->model, m_reading->date, m_env.calendar());
    if (!start) {
        setAge(std::nullopt);
        return;
    }
    setAge(Age::estimate(*m_reading, start->first, start->second, m_history, m_reading->date));
}

void Store::refresh() {
    if (m_env.isDemo()) {
        if (m_env.demoFill) {
            m_env.demoFill(*this);
        }
        return;
    }
    const Instant now = m_env.now();
    apply(m_env.reader->read(now), samplesOf(now, m_env.calendar()), m_night, true);
    loadNight();
}

std::optional<Night> Store::lastNight(const std::vector<Night>& nights) {
    const auto found = std::find_if(nights.rbegin(), nights.rend(), [](const Night& night) {
        return !night.inProgress && night.end > night.start;
    });
    if (found == nights.rend()) {
        return std::nullopt;
    }
    return *found;
}

} // namespace vitrek
