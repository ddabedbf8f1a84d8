// Texts of terms, types and names for messages. They are cut to a readable length, since a term's
// full text can be exponentially larger than the term.
#pragma once

#include "terms/term.h"

#include <string>
#include <string_view>

namespace tarq {

/// Characters of one piece of a message.
inline constexpr size_t MAX_MESSAGE_TEXT = 1000;

inline std::string cut_text(std::string_view s)
{
    return s.size() <= MAX_MESSAGE_TEXT ? std::string(s)
                                        : std::string(s.substr(0, MAX_MESSAGE_TEXT)) + "...";
}
inline std::string term_text(const Term_* t)
{
    return t->to_str(MAX_MESSAGE_TEXT);
}
inline std::string type_text(const DataType* t)
{
    return t->to_str(MAX_MESSAGE_TEXT);
}

} // namespace tarq
