#include "linux/Subprocess.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>

extern char** environ;

namespace vitrek {

namespace {

constexpr std::size_t kStandardErrorLimit = 64 * 1024;
constexpr double kKillGrace = 2.0;

using Clock = std::chrono::steady_clock;

// Closes a descriptor once, on every path out.
class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int fd) : m_fd(fd) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() { reset(); }

    int get() const { return m_fd; }
    void reset(int fd = -1) {
        if (m_fd >= 0) {
            ::close(m_fd);
        }
        m_fd = fd;
    }

private:
    int m_fd = -1;
};

struct Pipe {
    Descriptor read;
    Descriptor write;
};

bool makePipe(Pipe& pipe) {
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC) != 0) {
        return false;
    }
    pipe.read.reset(fds[0]);
    pipe.write.reset(fds[1]);
    return true;
}

// Reads what is available; false at end of file or on an error other than an interruption.
bool drain(int fd, std::string* into, std::size_t limit) {
    char buffer[65536];
    const ssize_t count = ::read(fd, buffer, sizeof buffer);
    if (count < 0) {
        return errno == EINTR || errno == EAGAIN;
    }
    if (count == 0) {
        return false;
    }
    const auto length = static_cast<std::size_t>(count);
    if (into->size() < limit) {
        into->append(buffer, std::min(length, limit - into->size()));
    }
    return true;
}

int millisecondsUntil(Clock::time_point deadline) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    return static_cast<int>(std::clamp<long long>(left, 0, 60'000));
}

} // namespace

SubprocessOutput Subprocess::run(const std::string& path, const std::vector<std::string>& arguments,
                                 double timeout) {
    SubprocessOutput result;
    Pipe out;
    Pipe err;
    if (!makePipe(out) || !makePipe(err)) {
        return result;
    }
    const Descriptor input{::open("/dev/null", O_RDONLY | O_CLOEXEC)};

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (input.get() >= 0) {
        posix_spawn_file_actions_adddup2(&actions, input.get(), STDIN_FILENO);
    }
    posix_spawn_file_actions_adddup2(&actions, out.write.get(), STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, err.write.get(), STDERR_FILENO);

    std::vector<char*> argv;
    argv.push_back(const_cast<char*>(path.c_str()));
    for (const auto& argument : arguments) {
        argv.push_back(const_cast<char*>(argument.c_str()));
    }
    argv.push_back(nullptr);

    pid_t pid = 0;
    const int spawned = ::posix_spawn(&pid, path.c_str(), &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (spawned != 0) {
        return result;
    }
    result.launched = true;
    // Only the child may hold the write ends, or end of file never comes.
    out.write.reset();
    err.write.reset();

    // Both pipes are read together so a child that writes much to standard error never blocks on it.
    const auto start = Clock::now();
    const auto seconds = std::chrono::duration<double>(std::max(timeout, 0.0));
    auto deadline = start + std::chrono::duration_cast<Clock::duration>(seconds);
    bool outOpen = true;
    bool errOpen = true;
    bool terminated = false;
    bool killed = false;
    while (outOpen || errOpen) {
        pollfd fds[2] = {{outOpen ? out.read.get() : -1, POLLIN, 0},
                         {errOpen ? err.read.get() : -1, POLLIN, 0}};
        const int ready = ::poll(fds, 2, millisecondsUntil(deadline));
        if (ready < 0 && errno != EINTR) {
            break;
        }
        if (ready > 0) {
            if (outOpen && (fds[0].revents & (POLLIN | POLLHUP | POLLERR))) {
                outOpen = drain(out.read.get(), &result.standardOutput, std::string::npos);
            }
            if (errOpen && (fds[1].revents & (POLLIN | POLLHUP | POLLERR))) {
                errOpen = drain(err.read.get(), &result.standardError, kStandardErrorLimit);
            }
            continue;
        }
        if (Clock::now() < deadline) {
            continue;
        }
        if (!terminated) {
            ::kill(pid, SIGTERM);
            terminated = true;
            result.timedOut = true;
        } else if (!killed) {
            ::kill(pid, SIGKILL);
            killed = true;
        } else {
            // A grandchild still holds the pipes open; what it writes after this is not ours.
            break;
        }
        deadline = Clock::now() +
                   std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(kKillGrace));
    }

    int status = 0;
    while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    if (WIFEXITED(status)) {
        result.exitStatus = WEXITSTATUS(status);
    }
    return result;
}

} // namespace vitrek
