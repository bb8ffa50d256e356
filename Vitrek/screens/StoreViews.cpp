#include "screens/StoreViews.h"

#include "Store.h"

#include <QTimer>

#include <memory>

namespace vitrek::StoreViews {

Calendar calendar(const Store& store) {
    const auto& env = store.environment();
    return env.calendar ? env.calendar() : Calendar::current();
}

Instant now(const Store& store) {
    const auto& env = store.environment();
    return env.now ? env.now() : Instant{std::chrono::system_clock::now()};
}

std::array<Texts::Dial, 3> dials(const Store& store) {
    const auto& reading = store.reading();
    return {Texts::recoveryDial(reading.has_value(), store.recovery()),
            Texts::strainDial(store.strain(), store.measuredSince(),
                              reading ? std::optional<Instant>(reading->date) : std::nullopt, store.heavy(),
                              calendar(store)),
            Texts::restDial(nightStatus(store), store.night())};
}

Texts::NightStatus nightStatus(const Store& store) {
    Texts::NightStatus status;
    status.loading = store.loadingNight();
    status.recording = store.recording();
    status.source = store.nightSource();
    status.recordedSince = store.recordedSince();
    status.problem = store.powerLogProblem();
    return status;
}

void refreshOn(QObject* owner, Store& store, std::initializer_list<Signal> changes, std::function<void()> refresh) {
    auto queued = std::make_shared<bool>(false);
    const auto queue = [owner, queued, refresh = std::move(refresh)] {
        if (!*queued) {
            *queued = true;
            QTimer::singleShot(0, owner, [queued, refresh] {
                *queued = false;
                refresh();
            });
        }
    };
    for (const Signal signal : changes) {
        QObject::connect(&store, signal, owner, queue);
    }
}

} // namespace vitrek::StoreViews
