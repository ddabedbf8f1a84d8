// Input and output of the program by file descriptor: a stream that can be cut off when the run has
// to stop, and the output channels of a script.
#pragma once

#include <streambuf>
#include <string>
#include <string_view>
#include <vector>

namespace tarq::tool {

/// A stream buffer that reads a descriptor block by block. It hands on what a read delivers without
/// waiting for more, so a script that comes through a pipe is answered command by command. Once the
/// stop flag is up it ends the input: at once where it would have to wait, and after the grace
/// where a file could go on for long.
class InputBuffer : public std::streambuf {
public:
    /// Opens `name`, or takes standard input for "-".
    /// throws  Exception "can't open file `NAME': REASON"
    explicit InputBuffer(const std::string& name);
    ~InputBuffer() override;
    InputBuffer(const InputBuffer&) = delete;
    InputBuffer& operator=(const InputBuffer&) = delete;

    /// True if the input was ended early although more of it was there to read.
    bool was_cut() const { return was_cut_; }

protected:
    int_type underflow() override;

private:
    int fd_;
    bool was_cut_ = false;
    std::vector<char> block_;
};

/// Where answers or diagnostics go: standard output, standard error, or a file that is appended to.
/// Nothing is buffered here: each `write` is complete when it returns.
class OutputChannel {
public:
    /// fd  a descriptor that outlives the channel: 1 or 2
    explicit OutputChannel(int fd) : fd_(fd) {}
    ~OutputChannel();
    OutputChannel(const OutputChannel&) = delete;
    OutputChannel& operator=(const OutputChannel&) = delete;

    /// Directs the channel to "stdout", "stderr" or a file, which is made if it does not exist.
    /// throws  Exception "can't open file `NAME': REASON"; the channel stays as it was
    void redirect(const std::string& name);
    /// The name given last; "stdout" or "stderr" at first.
    const std::string& name() const { return name_; }
    int fd() const { return fd_; }

    /// Returns when all of it is written; ends the process with status 2 when that is impossible.
    void write(std::string_view text);
    /// Writes `text` and a line end in one go.
    void line(std::string_view text);

private:
    int fd_;
    std::string name_ = fd_ == 1 ? "stdout" : "stderr";
};

} // namespace tarq::tool
