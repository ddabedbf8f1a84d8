#include "sourcetext.h"

namespace tarq::tool {

std::vector<std::string_view> split_list(std::string_view text)
{
    std::vector<std::string_view> parts;
    size_t start = std::string_view::npos; // of the element under way
    size_t depth = 0;                      // below the list itself
    const auto end_element = [&](size_t end) {
        if (start != std::string_view::npos) {
            parts.push_back(text.substr(start, end - start));
            start = std::string_view::npos;
        }
    };
    for (size_t i = 1; i + 1 < text.size(); ++i) {
        const char c = text[i];
        if (c == ' ' && depth == 0) {
            end_element(i);
            continue;
        }
        if (depth == 0 && (c == '(' || start == std::string_view::npos)) {
            // "(a(b)c)" has three elements without a blank between them
            end_element(i);
            start = i;
        }
        if (c == '(') {
            ++depth;
        } else if (c == ')') {
            if (--depth == 0) {
                end_element(i + 1);
            }
        } else if (c == '"' || c == '|') {
            // A doubled quotation mark reads as two strings side by side, which is as good here.
            do {
                i += c == '|' && text[i] == '\\' && text[i + 1] == '|' ? 2 : 1;
            } while (i + 1 < text.size() && text[i] != c);
        }
    }
    end_element(text.size() - 1);
    return parts;
}

} // namespace tarq::tool
