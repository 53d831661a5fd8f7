// A file with a path but no place on disk, for the fuzz targets: the readers
// take a file name, and the inputs come as bytes.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <string>

// A file with a path but no place on disk: a memfd, or else an unlinked
// temporary file, reached through /proc/self/fd.
struct memory_file {
    int fd;
    std::string path;
    explicit memory_file(const char* name) : fd(memfd_create(name, 0)) {
        if (fd < 0) {
            char pattern[] = "/tmp/cellworks-fuzz-XXXXXX";
            fd = mkstemp(pattern);
            unlink(pattern);
        }
        if (fd < 0) std::abort();
        path = "/proc/self/fd/" + std::to_string(fd);
    }
    void fill(const std::uint8_t* data, std::size_t size) const {
        if (ftruncate(fd, 0) != 0) std::abort();
        for (std::size_t done = 0; done < size;) {
            const ssize_t n = pwrite(fd, data + done, size - done, off_t(done));
            if (n <= 0) std::abort();
            done += std::size_t(n);
        }
    }
    std::string bytes() const {
        std::string s;
        char block[4096];
        for (ssize_t n; (n = pread(fd, block, sizeof block, off_t(s.size()))) > 0;) s.append(block, std::size_t(n));
        return s;
    }
};
