#include "linux/LargePages.h"

#include <malloc.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>

namespace vitrek {

void preferLargePages() {
    constexpr std::size_t kReserve = std::size_t{256}
                                     << 20; // address space only; untouched pages cost nothing
    constexpr std::uintptr_t kLargePage = std::uintptr_t{2} << 20;
    // Keep large blocks in the heap and grow it in one step, so the range advised below is where the
    // records will live.
    mallopt(M_MMAP_THRESHOLD, static_cast<int>(kReserve));
    mallopt(M_TRIM_THRESHOLD, static_cast<int>(kReserve));
    mallopt(M_TOP_PAD, static_cast<int>(kReserve));
    void* probe = std::malloc(std::size_t{1} << 20);
    if (probe == nullptr) {
        return;
    }
    const auto begin = (reinterpret_cast<std::uintptr_t>(probe) + kLargePage - 1) & ~(kLargePage - 1);
    const auto end = reinterpret_cast<std::uintptr_t>(sbrk(0)) & ~(kLargePage - 1);
    if (end > begin) {
        madvise(reinterpret_cast<void*>(begin), end - begin, MADV_HUGEPAGE);
    }
    std::free(probe);
}

} // namespace vitrek
