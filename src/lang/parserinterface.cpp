// The byte source of the scanners.
#include "lang/parserinterface.h"

namespace tarq {

std::size_t ParserInterface::flex_get_input(std::istream& in, char* buffer, std::size_t size)
{
    if (!in || size == 0) {
        return 0;
    }
    const auto wanted = static_cast<std::streamsize>(size);
    std::streamsize n = in.readsome(buffer, wanted);
    if (n <= 0 && in) {
        const auto c = in.get();
        if (c == std::istream::traits_type::eof()) {
            return 0;
        }
        buffer[0] = std::istream::traits_type::to_char_type(c);
        n = 1;
        if (wanted > 1) {
            n += in.readsome(buffer + 1, wanted - 1);
        }
    }
    return n > 0 ? static_cast<std::size_t>(n) : 0;
}

} // namespace tarq
