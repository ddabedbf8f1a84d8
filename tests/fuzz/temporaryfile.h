// A file that another program reads.
#pragma once

#include <cstdlib>
#include <stdexcept>
#include <string>

#include <unistd.h>

namespace tarq::fuzz {

/// Gone with the object.
class TemporaryFile {
public:
    /// throws  std::runtime_error if it can't be written
    explicit TemporaryFile(const std::string& text)
    {
        const int fd = mkstemp(path_); // fills in the last characters
        const bool written =
            fd >= 0 && write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
        if (fd < 0 || close(fd) != 0 || !written) {
            throw std::runtime_error("no temporary file");
        }
    }
    ~TemporaryFile() { unlink(path_); }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    const char* path() const { return path_; }

private:
    char path_[24] = "/tmp/tarq-fuzz-XXXXXX";
};

} // namespace tarq::fuzz
