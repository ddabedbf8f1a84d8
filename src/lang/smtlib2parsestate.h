// What scanner, grammar actions and driver share while one command is parsed. Internal to the
// SMT-LIB 2 reader.
#pragma once

#include "lang/smtlib2abstractparser.h"

#include <cstddef>
#include <deque>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tarq::smtlib2 {

/// A token or a run of tokens: a slice of the command's buffer. Trivial, so that it can stand in
/// the parser's union and be moved with its stack.
struct Text {
    const char* data;
    std::size_t size;

    std::string_view view() const { return {data, size}; }
};

/// From the first byte of one slice to the last of another.
inline Text span_of(Text first, Text last)
{
    return {first.data, static_cast<std::size_t>(last.data + last.size - first.data)};
}

/// The head of an application, kept aside while its arguments are parsed.
struct Head {
    Text name;
    const DataType* sort;    ///< of "as", or null
    std::size_t first_index; ///< its indices start here in `indices`
    std::size_t num_indices;
};

/// All lists of the grammar live on the stacks below: a list is the upper end of its stack from the
/// position that the grammar keeps as its value. That works because the lists of one kind nest: an
/// inner list is finished and cut off before the next element of the outer one is added. Everything
/// is cleared by `begin_command`, so a broken command leaves nothing behind.
struct ParseState {
    SmtLib2AbstractParser* parser = nullptr;

    // Scanner.
    int line = 1;                      ///< line of the token read last
    int depth = 0;                     ///< open parentheses
    std::size_t num_tokens = 0;        ///< tokens of this command so far
    bool takes_opt_attributes = false; ///< the command is an objective or a soft constraint
    bool takes_brackets = false;       ///< the command is a set-logic
    bool at_token = false;             ///< a token was scanned, so the next two fields are set
    char* token_end = nullptr;         ///< the scanner overwrote this byte ...
    char token_hold = 0;               ///< ... which was this
    const char* text_end = nullptr;    ///< end of the command's text
    std::string lexical_error;         ///< set with the token ERROR_TOKEN
    std::string syntax_error;          ///< set by the parser

    // Lists.
    std::vector<const Term_*> terms;
    std::vector<const Term_*> vars;
    std::vector<const DataType*> sorts;
    std::vector<const DataType*> sort_params;
    std::vector<std::pair<Text, const Term_*>> bindings;
    std::vector<Head> heads;
    std::vector<QNumber> indices;
    std::vector<unsigned> sort_indices;
    std::vector<SmtLib2AbstractParser::Attribute> attributes;
    std::vector<std::string> texts;
    SmtLib2AbstractParser::OptAttributes opt_attributes;

    void begin_command(SmtLib2AbstractParser* p, int first_line);

    /// The name that a symbol token stands for: without bars, and with each escaped bar replaced.
    std::string_view name(Text symbol);
    /// The content of a string token.
    std::string_view string_content(Text token);
    /// A value as text: the content of a string, anything else as in the source (see
    /// normalize_smtlib2_text).
    std::string_view value(Text slice);

    TermArgs terms_from(std::size_t first) const { return TermArgs(terms).subspan(first); }
    TermArgs vars_from(std::size_t first) const { return TermArgs(vars).subspan(first); }
    SortArgs sorts_from(std::size_t first) const { return SortArgs(sorts).subspan(first); }

    std::size_t push_head(Text symbol, std::size_t first_index);
    /// Applies the topmost head, which is taken off with its indices, to args.
    const Term_* apply_head(TermArgs args);
    /// The position at which the index was put.
    std::size_t push_index(Text numeral);
    std::size_t push_bound_variable(Text symbol, const DataType* sort);
    std::size_t push_parameter(Text symbol, const DataType* sort);
    /// Binds all names of a let at once, so that no binding sees another one of the same let.
    void define_bindings(std::size_t first);
    void add_attribute(Text keyword, Text slice);
    void add_text(Text slice);
    void set_logic(Text symbol, Text numeral);

    int to_int(Text numeral);
    unsigned to_unsigned(Text numeral);
    void set_option(Text keyword, Text numeral_or_decimal, bool decimal);
    void set_option_symbol(Text keyword, Text symbol);
    void generic_command(Text symbol, bool has_args);

    /// Reports through the interface; does not return.
    [[noreturn]] void fail(const std::string& message);

private:
    std::deque<std::string>
        decoded_; ///< texts that differ from the source; a deque keeps them in place
    std::vector<QNumber> head_indices_;
};

/// What the scanner returns for text that no rule matches; no token has this code.
constexpr int ERROR_TOKEN = 1;

} // namespace tarq::smtlib2
