#pragma once

#include <string>
#include <utility>
#include <variant>

namespace brivel {

// A failure the updater shows to the user; `message` is the text shown, as is.
struct UpdateError {
    std::string message;
    bool operator==(const UpdateError&) const = default;
};

// The message for a failure that has no text of its own (a file that could not be written, an archive
// entry refused): the fixed lead-in, then what went wrong.
inline UpdateError downloadError(const std::string& description) {
    return UpdateError{"The update couldn’t be downloaded. " + description};
}

// A value, or the error that stopped it. Small on purpose: C++20 has no std::expected.
template <typename T>
class [[nodiscard]] Result {
public:
    Result(T value) : m_state(std::move(value)) {}
    Result(UpdateError error) : m_state(std::move(error)) {}

    bool ok() const { return m_state.index() == 0; }
    explicit operator bool() const { return ok(); }
    const T& value() const { return std::get<0>(m_state); }
    T& value() { return std::get<0>(m_state); }
    const UpdateError& error() const { return std::get<1>(m_state); }

private:
    std::variant<T, UpdateError> m_state;
};

// For operations that return nothing but may fail.
struct Done {
    bool operator==(const Done&) const = default;
};

} // namespace brivel
