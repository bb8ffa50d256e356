#include "Updater/DownloadBuffer.h"

#include <sys/mman.h>

#include <algorithm>
#include <utility>

namespace brivel {
namespace {

constexpr std::size_t kLargePage = std::size_t(2) << 20;

std::size_t roundedUp(std::size_t size) { return (size + kLargePage - 1) / kLargePage * kLargePage; }

char* map(std::size_t capacity) {
    void* block = ::mmap(nullptr, capacity, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (block == MAP_FAILED) {
        return nullptr;
    }
    // Advice only: without transparent huge pages the block works the same with small pages.
    ::madvise(block, capacity, MADV_HUGEPAGE);
    return static_cast<char*>(block);
}

} // namespace

DownloadBuffer::DownloadBuffer(std::size_t capacity) {
    if (capacity > 0) {
        m_capacity = roundedUp(capacity);
        m_data = map(m_capacity);
        m_capacity = m_data != nullptr ? m_capacity : 0;
    }
}

DownloadBuffer::~DownloadBuffer() { release(); }

DownloadBuffer::DownloadBuffer(DownloadBuffer&& other) noexcept
    : m_data(std::exchange(other.m_data, nullptr)),
      m_size(std::exchange(other.m_size, 0)),
      m_capacity(std::exchange(other.m_capacity, 0)) {}

DownloadBuffer& DownloadBuffer::operator=(DownloadBuffer&& other) noexcept {
    if (this != &other) {
        release();
        m_data = std::exchange(other.m_data, nullptr);
        m_size = std::exchange(other.m_size, 0);
        m_capacity = std::exchange(other.m_capacity, 0);
    }
    return *this;
}

bool DownloadBuffer::reserveMore(std::size_t count) {
    if (m_capacity - m_size >= count) {
        return true;
    }
    const std::size_t capacity = roundedUp(std::max(m_size + count, m_capacity * 2));
    void* moved = m_data == nullptr ? static_cast<void*>(map(capacity))
                                    : ::mremap(m_data, m_capacity, capacity, MREMAP_MAYMOVE);
    if (moved == nullptr || moved == MAP_FAILED) {
        return false;
    }
    if (m_data != nullptr) {
        ::madvise(moved, capacity, MADV_HUGEPAGE);
    }
    m_data = static_cast<char*>(moved);
    m_capacity = capacity;
    return true;
}

void DownloadBuffer::release() {
    if (m_data != nullptr) {
        ::munmap(m_data, m_capacity);
    }
    m_data = nullptr;
    m_size = 0;
    m_capacity = 0;
}

} // namespace brivel
