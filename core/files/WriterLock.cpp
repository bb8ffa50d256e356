#include "files/WriterLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <string>
#include <system_error>

namespace vitrek {

namespace {

constexpr const char* kLockName = "vitrek.lock";

std::optional<long> readHolder(int fd) {
    std::array<char, 32> text{};
    const ssize_t count = ::pread(fd, text.data(), text.size() - 1, 0);
    if (count <= 0) {
        return std::nullopt;
    }
    long pid = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + count, pid);
    if (error != std::errc{} || end == text.data() || pid < 1) {
        return std::nullopt;
    }
    return pid;
}

} // namespace

WriterLock::WriterLock(std::filesystem::path dir) : m_dir(std::move(dir)) { take(); }

WriterLock::~WriterLock() {
    if (m_fd >= 0) {
        // Closing releases the lock; the file stays, so the next writer locks the same inode.
        ::close(m_fd);
    }
}

WriterLock::State WriterLock::retry() {
    if (m_state != State::held) {
        take();
    }
    return m_state;
}

void WriterLock::take() {
    std::error_code error;
    std::filesystem::create_directories(m_dir, error);
    if (m_fd < 0) {
        const auto path = m_dir / kLockName;
        // Never through a link, and never blocking on a FIFO someone put in its place.
        m_fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0644);
        struct stat info {};
        if (m_fd >= 0 && (::fstat(m_fd, &info) != 0 || !S_ISREG(info.st_mode))) {
            ::close(m_fd);
            m_fd = -1;
        }
        if (m_fd < 0) {
            m_state = State::unavailable;
            m_holder.reset();
            return;
        }
    }
    int locked = -1;
    while ((locked = ::flock(m_fd, LOCK_EX | LOCK_NB)) != 0 && errno == EINTR) {
    }
    if (locked != 0) {
        m_state = errno == EWOULDBLOCK ? State::elsewhere : State::unavailable;
        m_holder = m_state == State::elsewhere ? readHolder(m_fd) : std::nullopt;
        return;
    }
    m_state = State::held;
    m_holder.reset();
    const std::string pid = std::to_string(::getpid()) + "\n";
    if (::ftruncate(m_fd, 0) == 0) {
        [[maybe_unused]] const auto written = ::pwrite(m_fd, pid.data(), pid.size(), 0);
    }
}

} // namespace vitrek
