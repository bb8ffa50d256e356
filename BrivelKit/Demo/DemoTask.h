#pragma once

#include <QCoreApplication>
#include <QTimer>

#include <cmath>
#include <coroutine>
#include <exception>
#include <functional>
#include <utility>

namespace brivel {

// A step of a demo script: a coroutine that runs on the main thread and is resumed from the Qt event
// loop, so a script reads top to bottom without nested event loops. A task starts when it is awaited
// (`co_await recorder.move(…)`) or when `start` is called on the outermost one; an exception thrown
// inside reaches whoever awaits it.
class [[nodiscard]] DemoTask {
public:
    struct promise_type {
        std::coroutine_handle<> continuation;
        std::exception_ptr error;
        std::function<void(std::exception_ptr)> done;   // set for a started (outermost) task
        bool detached = false;

        DemoTask get_return_object() { return DemoTask(Handle::from_promise(*this)); }
        std::suspend_always initial_suspend() noexcept { return {}; }
        auto final_suspend() noexcept {
            struct Final {
                bool await_ready() noexcept { return false; }
                std::coroutine_handle<> await_suspend(Handle handle) noexcept {
                    auto& promise = handle.promise();
                    if (promise.continuation) {
                        return promise.continuation;
                    }
                    if (promise.detached) {
                        auto done = std::move(promise.done);
                        auto error = promise.error;
                        handle.destroy();
                        if (done) {
                            done(error);
                        }
                    }
                    return std::noop_coroutine();
                }
                void await_resume() noexcept {}
            };
            return Final{};
        }
        void return_void() {}
        void unhandled_exception() { error = std::current_exception(); }
    };
    using Handle = std::coroutine_handle<promise_type>;

    DemoTask(DemoTask&& other) noexcept : m_handle(std::exchange(other.m_handle, {})) {}
    DemoTask& operator=(DemoTask&&) = delete;
    DemoTask(const DemoTask&) = delete;
    ~DemoTask() {
        if (m_handle) {
            m_handle.destroy();
        }
    }

    // Awaiting runs the task and resumes the awaiting coroutine when it ends, rethrowing its failure.
    bool await_ready() const noexcept { return false; }
    std::coroutine_handle<> await_suspend(std::coroutine_handle<> awaiting) noexcept {
        m_handle.promise().continuation = awaiting;
        return m_handle;
    }
    void await_resume() {
        if (auto error = m_handle.promise().error) {
            std::rethrow_exception(error);
        }
    }

    // Runs the task on its own; `done` receives its failure (null when it succeeded) once it has ended.
    // The task keeps itself alive until then.
    void start(std::function<void(std::exception_ptr)> done = {}) && {
        auto handle = std::exchange(m_handle, {});
        handle.promise().done = std::move(done);
        handle.promise().detached = true;
        handle.resume();
    }

private:
    explicit DemoTask(Handle handle) : m_handle(handle) {}
    Handle m_handle;
};

// Suspends the awaiting coroutine for `seconds`, letting the event loop run meanwhile.
struct DemoSleep {
    double seconds = 0;

    bool await_ready() const noexcept { return false; }
    void await_suspend(std::coroutine_handle<> handle) const {
        const int milliseconds = seconds > 0 ? int(std::lround(seconds * 1000)) : 0;
        QTimer::singleShot(milliseconds, Qt::PreciseTimer, QCoreApplication::instance(), [handle] { handle.resume(); });
    }
    void await_resume() const noexcept {}
};

} // namespace brivel
