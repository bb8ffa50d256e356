#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>

namespace vitrek::test {

// A folder of the test's own under the temporary directory, removed with everything in it afterwards.
class ScratchDirectory {
public:
    explicit ScratchDirectory(const std::string& prefix = "vitrek-test") {
        std::string name = (std::filesystem::temp_directory_path() / (prefix + "-XXXXXX")).string();
        m_path = ::mkdtemp(name.data()) ? std::filesystem::path(name) : std::filesystem::path{};
    }
    ~ScratchDirectory() {
        std::error_code error;
        std::filesystem::remove_all(m_path, error);
    }
    ScratchDirectory(const ScratchDirectory&) = delete;
    ScratchDirectory& operator=(const ScratchDirectory&) = delete;

    // Writes `text` to the file at `relative`, making the folders on the way.
    void write(const std::string& relative, const std::string& text) const {
        std::filesystem::create_directories((m_path / relative).parent_path());
        std::ofstream(m_path / relative, std::ios::binary) << text;
    }
    const std::filesystem::path& path() const { return m_path; }
    std::string string() const { return m_path.string(); }

private:
    std::filesystem::path m_path;
};

// The bytes of the file at `path`; empty when it cannot be read.
inline std::string readFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// The files of `folder` whose names start with `prefix`, one after another (nothing when there is no folder).
inline std::string readFiles(const std::filesystem::path& folder, const std::string& prefix) {
    std::string text;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
        text += entry.path().filename().string().starts_with(prefix) ? readFile(entry.path()) : "";
    }
    return text;
}

} // namespace vitrek::test
