// Taking apart the source text of a command, as the driver hands it out: parts separated by single
// blanks, no comments.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tarq::tool {

/// The elements of a list: `(a (b c) "d e")` gives `a`, `(b c)`, `"d e"`. Only looks at brackets,
/// strings and quoted symbols, without recursion.
/// text  a complete list with its parentheses
std::vector<std::string_view> split_list(std::string_view text);

} // namespace tarq::tool
