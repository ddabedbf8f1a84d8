#include "channels.h"

#include "base/exception.h"
#include "stop.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <iostream>
#include <poll.h>
#include <unistd.h>

namespace tarq::tool {

namespace {

constexpr size_t BLOCK_SIZE = size_t(1) << 16;
constexpr int WRITE_FAILED = 2; // exit status

int open_file(const std::string& name, int flags)
{
    const int fd = open(name.c_str(), flags | O_CLOEXEC, 0666);
    if (fd < 0) {
        throw make_error<Exception>("can't open file `", name, "': ", strerror(errno));
    }
    return fd;
}

} // namespace

InputBuffer::InputBuffer(const std::string& name)
    : fd_(name == "-" ? 0 : open_file(name, O_RDONLY)), block_(BLOCK_SIZE)
{
    char* const start = block_.data();
    setg(start, start, start);
    // A directory opens, but the first read fails; say so now, while there is a name to tell.
    if (name != "-" && read(fd_, start, 0) < 0) {
        const int reason = errno;
        close(fd_);
        throw make_error<Exception>("can't read file `", name, "': ", strerror(reason));
    }
}

InputBuffer::~InputBuffer()
{
    if (fd_ > 0) {
        close(fd_);
    }
}

InputBuffer::int_type InputBuffer::underflow()
{
    if (gptr() < egptr()) {
        return traits_type::to_int_type(*gptr());
    }
    for (;;) {
        if (Stop::overdue()) {
            was_cut_ = true;
            return traits_type::eof();
        }
        const ssize_t n = read(fd_, block_.data(), block_.size());
        if (n > 0) {
            setg(block_.data(), block_.data(), block_.data() + n);
            return traits_type::to_int_type(*gptr());
        }
        if (n == 0 || (errno != EINTR && errno != EAGAIN) || Stop::requested()) {
            return traits_type::eof();
        }
        if (errno == EAGAIN) {
            pollfd wait = {fd_, POLLIN, 0};
            poll(&wait, 1, -1); // a signal ends the wait, as it ends a read
        }
    }
}

OutputChannel::~OutputChannel()
{
    if (fd_ > 2) {
        close(fd_);
    }
}

void OutputChannel::redirect(const std::string& name)
{
    const int fd = name == "stdout"   ? 1
                   : name == "stderr" ? 2
                                      : open_file(name, O_WRONLY | O_CREAT | O_APPEND);
    if (fd_ > 2) {
        close(fd_);
    }
    fd_ = fd;
    name_ = name;
}

void OutputChannel::write(std::string_view text)
{
    const OutputGuard guard;
    while (!text.empty()) {
        const ssize_t n = ::write(fd_, text.data(), text.size());
        if (n > 0) {
            text.remove_prefix(static_cast<size_t>(n));
        } else if (n < 0 && errno == EAGAIN) {
            // Somebody made the descriptor non-blocking; it has to be waited for all the same.
            pollfd wait = {fd_, POLLOUT, 0};
            poll(&wait, 1, -1);
        } else if (n < 0 && errno != EINTR) {
            // A script whose answers are lost must not seem to have run well.
            std::cerr << "tarq: can't write to " << name_ << ": " << strerror(errno) << '\n';
            _exit(WRITE_FAILED);
        }
    }
}

void OutputChannel::line(std::string_view text)
{
    std::string whole(text);
    whole += '\n';
    write(whole);
}

} // namespace tarq::tool
