// A stream that delivers several texts and streams one after the other, without copying them
// together: what puts the frame of a command around a caller's bare terms.
#pragma once

#include <cstddef>
#include <istream>
#include <streambuf>
#include <string_view>
#include <vector>

namespace tarq {

/// Borrows all parts; texts and streams must outlive it. Reading stops within a part that fails.
class multi_istream : public std::istream {
public:
    multi_istream();
    multi_istream(const multi_istream&) = delete;
    multi_istream& operator=(const multi_istream&) = delete;

    /// Appends a part; before the first read.
    void add(std::string_view text);
    void add(std::istream& in);

private:
    class Buffer : public std::streambuf {
    public:
        struct Part {
            std::string_view text;
            std::istream* stream = nullptr;
        };
        std::vector<Part> parts;

    protected:
        int_type underflow() override;
        std::streamsize showmanyc() override;

    private:
        std::size_t next_ = 0;   ///< the part to read from
        std::size_t offset_ = 0; ///< what is read of it, if it is a text
        std::vector<char> chunk_;
    };

    Buffer buffer_;
};

/// The frame that makes a script of bare terms. The closing text begins with a line feed, since the
/// terms may end in a comment.
inline constexpr std::string_view SMTLIB2_TERMS_PREFIX = "(.internal-parse-terms (";
inline constexpr std::string_view SMTLIB2_TERMS_SUFFIX = "\n))";

} // namespace tarq
