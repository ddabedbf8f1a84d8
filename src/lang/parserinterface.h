// What all script readers have in common: the entry point, the error class, the byte source.
#pragma once

#include "base/exception.h"

#include <cstddef>
#include <istream>
#include <string>

namespace tarq {

class Term_;

/// A reader that turns a whole text into one term.
class ParserInterface {
public:
    /// Every failure of reading: lexical, syntactic, unknown names, ill-typed use of a built-in.
    class error : public Exception {
    public:
        using Exception::Exception;
    };

    virtual ~ParserInterface() = default;

    /// Reads the text to its end.
    /// returns  the conjunction of what it asserts; never null
    /// throws   ParserInterface::error, or the term manager's own errors for ill-typed terms
    virtual const Term_* parse(std::istream& in) = 0;
    /// The logic that the text named, empty when it named none.
    virtual const std::string& get_logic() const = 0;
    /// The status that the text announces, coded as the format does; 0 when it announces none.
    virtual int get_status() const = 0;

    /// Reads what the stream can give at once, at least one byte unless it is at its end, at most
    /// `size`. Blocks for one byte only, so an interactive stream is served as it arrives.
    /// buffer   room for `size` bytes
    /// returns  the number of bytes stored; 0 at the end of the stream or on a failed one
    static std::size_t flex_get_input(std::istream& in, char* buffer, std::size_t size);
};

} // namespace tarq
