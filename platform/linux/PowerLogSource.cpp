#include "linux/PowerLogSource.h"

#include "linux/JournalSource.h"
#include "powerlog/NightSource.h"
#include "powerlog/RecordedPowerLog.h"

namespace vitrek {

std::optional<PowerLogParser::SourceChoice> PowerLogParser::sourceChoiceFromName(std::string_view name) {
    if (name == "journal") {
        return SourceChoice::journal;
    }
    if (name == "vitrek") {
        return SourceChoice::vitrek;
    }
    return std::nullopt;
}

PowerLogParser::SystemLog PowerLogParser::readSystemLog(const VitrekFiles& files, Instant now,
                                                        SourceChoice choice, const ProcessRunner& runner) {
    std::optional<PowerLog> journal;
    std::string journalProblem;
    if (choice != SourceChoice::vitrek) {
        auto loaded = JournalSource::load(runner, now);
        if (loaded.problem.empty()) {
            journal = std::move(loaded.log);
        } else {
            journalProblem = std::move(loaded.problem);
        }
    }
    std::optional<RecordedPowerLog::Recorded> recorded;
    if (choice != SourceChoice::journal) {
        const auto records = files.powerRecords();
        if (!records.empty()) {
            recorded = RecordedPowerLog::fromRecords(records, now);
        }
    }
    SystemLog system = NightSource::merge(std::move(journal), std::move(recorded));
    system.problem = std::move(journalProblem);
    return system;
}

} // namespace vitrek
