#include "linux/PowerLogSource.h"

#include "linux/JournalSource.h"
#include "powerlog/NightSource.h"
#include "powerlog/RecordedPowerLog.h"

namespace vitrek {

NightLog PowerLogParser::readSystemLog(const VitrekFiles& files, Instant now, NightSourceChoice choice,
                                       const ProcessRunner& runner) {
    std::optional<PowerLog> journal;
    std::string journalProblem;
    if (choice != NightSourceChoice::vitrek) {
        auto loaded = JournalSource::load(runner, now);
        if (loaded.problem.empty()) {
            journal = std::move(loaded.log);
        } else {
            journalProblem = std::move(loaded.problem);
        }
    }
    std::optional<RecordedPowerLog::Recorded> recorded;
    if (choice != NightSourceChoice::journal) {
        const auto records = files.powerRecords();
        if (!records.empty()) {
            recorded = RecordedPowerLog::fromRecords(records, now);
        }
    }
    NightLog system = NightSource::merge(std::move(journal), std::move(recorded));
    system.problem = std::move(journalProblem);
    return system;
}

} // namespace vitrek
