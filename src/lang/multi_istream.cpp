// Reading one part after the other.
#include "lang/multi_istream.h"

#include "lang/parserinterface.h"

namespace tarq {

multi_istream::multi_istream() : std::istream(nullptr)
{
    rdbuf(&buffer_);
}

void multi_istream::add(std::string_view text)
{
    buffer_.parts.push_back({text, nullptr});
}

void multi_istream::add(std::istream& in)
{
    buffer_.parts.push_back({{}, &in});
}

multi_istream::Buffer::int_type multi_istream::Buffer::underflow()
{
    constexpr std::size_t chunk_size = std::size_t{1} << 14;
    while (gptr() == egptr()) {
        if (next_ == parts.size()) {
            return traits_type::eof();
        }
        const Part& part = parts[next_];
        // texts go through the buffer too: a stream buffer's area is not const
        chunk_.resize(chunk_size);
        std::size_t n = 0;
        if (part.stream) {
            n = ParserInterface::flex_get_input(*part.stream, chunk_.data(), chunk_size);
        } else {
            n = part.text.copy(chunk_.data(), chunk_size, offset_);
            offset_ += n;
        }
        if (n == 0) {
            ++next_;
            offset_ = 0;
        }
        setg(chunk_.data(), chunk_.data(), chunk_.data() + n);
    }
    return traits_type::to_int_type(*gptr());
}

/// More may come until the last part is used up; nothing is promised about how much.
std::streamsize multi_istream::Buffer::showmanyc()
{
    return next_ == parts.size() ? -1 : 0;
}

} // namespace tarq
