#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vitrek {

// A whole file read-only in memory. Regular files are mapped, so a large log costs neither a copy nor
// fresh pages; anything else (a pipe, a terminal) is read into a buffer.
class MappedFile {
public:
    // The file at `path`, or its first `limit` bytes when it is longer (so that a device without an end, such
    // as /dev/zero, stops there); absent with `error` set to "cannot read PATH: REASON".
    static std::optional<MappedFile> open(const std::string& path, std::string& error,
                                          std::size_t limit = SIZE_MAX);
    // Everything on the descriptor until its end (standard input), or its first `limit` bytes; absent with
    // `error` set.
    static std::optional<MappedFile> readAll(int fd, const std::string& name, std::string& error,
                                             std::size_t limit = SIZE_MAX);

    MappedFile(MappedFile&& other) noexcept;
    MappedFile& operator=(MappedFile&& other) noexcept;
    MappedFile(const MappedFile&) = delete;
    MappedFile& operator=(const MappedFile&) = delete;
    ~MappedFile();

    std::string_view text() const;

private:
    MappedFile() = default;

    void* m_mapping = nullptr;
    std::size_t m_size = 0;
    std::string m_buffer; // used when the file cannot be mapped
};

} // namespace vitrek
