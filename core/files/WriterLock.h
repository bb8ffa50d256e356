#pragma once

#include <filesystem>
#include <optional>

namespace vitrek {

// One data folder has one writer: an advisory lock (flock) on "vitrek.lock" in the folder, held for as
// long as this object lives. The file holds the holder's process ID, so a second writer can say who it is.
// A lock the kernel drops when its process dies cannot go stale.
class WriterLock {
public:
    enum class State {
        held,        // this process writes
        elsewhere,   // another process holds the lock
        unavailable, // no lock file can be made (a read-only folder): writing is left to fail and say so
    };

    // Creates the folder when needed and tries the lock once.
    explicit WriterLock(std::filesystem::path dir);
    ~WriterLock();
    WriterLock(const WriterLock&) = delete;
    WriterLock& operator=(const WriterLock&) = delete;

    State state() const { return m_state; }
    // Whether this process may write: it holds the lock, or no lock can exist.
    bool mayWrite() const { return m_state != State::elsewhere; }
    // The process that holds the lock when it is elsewhere and has said who it is.
    std::optional<long> holder() const { return m_holder; }
    // Tries again when the lock was elsewhere or unavailable; returns the new state.
    State retry();

private:
    void take();

    std::filesystem::path m_dir;
    int m_fd = -1;
    State m_state = State::unavailable;
    std::optional<long> m_holder;
};

} // namespace vitrek
