#include "linux/MappedFile.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

namespace vitrek {

namespace {

std::string failure(const std::string& name, int error) {
    return "cannot read " + name + ": " + std::strerror(error);
}

} // namespace

std::optional<MappedFile> MappedFile::open(const std::string& path, std::string& error, std::size_t limit) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        error = failure(path, errno);
        return std::nullopt;
    }
    struct stat status {};
    if (::fstat(fd, &status) != 0) {
        error = failure(path, errno);
        ::close(fd);
        return std::nullopt;
    }
    if (S_ISDIR(status.st_mode)) {
        error = failure(path, EISDIR);
        ::close(fd);
        return std::nullopt;
    }
    if (!S_ISREG(status.st_mode) || status.st_size == 0) {
        auto file = readAll(fd, path, error, limit);
        ::close(fd);
        return file;
    }
    const auto size = std::min(static_cast<std::size_t>(status.st_size), limit);
    void* mapping = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE | MAP_POPULATE, fd, 0);
    const int mapError = errno;
    ::close(fd);
    if (mapping == MAP_FAILED) {
        error = failure(path, mapError);
        return std::nullopt;
    }
    ::madvise(mapping, size, MADV_SEQUENTIAL);
    MappedFile file;
    file.m_mapping = mapping;
    file.m_size = size;
    return file;
}

std::optional<MappedFile> MappedFile::readAll(int fd, const std::string& name, std::string& error,
                                              std::size_t limit) {
    MappedFile file;
    if (limit != SIZE_MAX) {
        // Growing the buffer step by step would, at the limit, briefly hold it twice.
        file.m_buffer.reserve(limit);
    }
    char chunk[1 << 16];
    for (;;) {
        const ssize_t count = ::read(fd, chunk, std::min(sizeof chunk, limit - file.m_buffer.size()));
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            error = failure(name, errno);
            return std::nullopt;
        }
        if (count == 0) {
            return file;
        }
        file.m_buffer.append(chunk, static_cast<std::size_t>(count));
        if (file.m_buffer.size() == limit) {
            return file;
        }
    }
}

MappedFile::MappedFile(MappedFile&& other) noexcept
    : m_mapping(std::exchange(other.m_mapping, nullptr)), m_size(std::exchange(other.m_size, 0)),
      m_buffer(std::move(other.m_buffer)) {}

MappedFile& MappedFile::operator=(MappedFile&& other) noexcept {
    if (this != &other) {
        if (m_mapping != nullptr) {
            ::munmap(m_mapping, m_size);
        }
        m_mapping = std::exchange(other.m_mapping, nullptr);
        m_size = std::exchange(other.m_size, 0);
        m_buffer = std::move(other.m_buffer);
    }
    return *this;
}

MappedFile::~MappedFile() {
    if (m_mapping != nullptr) {
        ::munmap(m_mapping, m_size);
    }
}

std::string_view MappedFile::text() const {
    if (m_mapping != nullptr) {
        return {static_cast<const char*>(m_mapping), m_size};
    }
    return m_buffer;
}

} // namespace vitrek
