#pragma once

#include <cstddef>
#include <string_view>

namespace brivel {

// The archive's bytes as they arrive: one block of memory sized up front from the feed's "length", backed
// by 2 MiB pages where the kernel allows it. A first touch of fresh memory is what a large download costs
// on the main thread (a fault per 4 KiB page, milliseconds per megabyte on some virtual machines); large
// pages make that a fault per 2 MiB.
class DownloadBuffer {
public:
    DownloadBuffer() = default;
    explicit DownloadBuffer(std::size_t capacity);
    ~DownloadBuffer();
    DownloadBuffer(DownloadBuffer&& other) noexcept;
    DownloadBuffer& operator=(DownloadBuffer&& other) noexcept;
    DownloadBuffer(const DownloadBuffer&) = delete;
    DownloadBuffer& operator=(const DownloadBuffer&) = delete;

    // Room for `count` more bytes at `tail()`, growing the block when needed; false when memory ran out.
    bool reserveMore(std::size_t count);
    char* tail() { return m_data + m_size; }
    // Counts `count` bytes written at `tail()` as received.
    void grow(std::size_t count) { m_size += count; }

    std::size_t size() const { return m_size; }
    std::string_view bytes() const { return {m_data, m_size}; }

private:
    void release();

    char* m_data = nullptr;
    std::size_t m_size = 0;
    std::size_t m_capacity = 0;
};

} // namespace brivel
