// The grammar's actions that are more than one call.
#include "lang/smtlib2parsestate.h"

#include "lang/smtlib2driver.h"

#include <charconv>
#include <cstdlib>

namespace tarq::smtlib2 {

void ParseState::begin_command(SmtLib2AbstractParser* p, int first_line)
{
    parser = p;
    line = first_line;
    depth = 0;
    num_tokens = 0;
    takes_opt_attributes = false;
    takes_brackets = false;
    at_token = false;
    lexical_error.clear();
    syntax_error.clear();
    terms.clear();
    vars.clear();
    sorts.clear();
    sort_params.clear();
    bindings.clear();
    heads.clear();
    indices.clear();
    attributes.clear();
    texts.clear();
    opt_attributes = {};
    decoded_.clear();
}

std::string_view ParseState::name(Text symbol)
{
    std::string_view text = symbol.view();
    if (text.front() != '|') {
        return text;
    }
    text = text.substr(1, text.size() - 2);
    if (text.find("\\|") == std::string_view::npos) {
        return text;
    }
    std::string& plain = decoded_.emplace_back();
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\' || i + 1 == text.size() || text[i + 1] != '|') {
            plain += text[i];
        }
    }
    return plain;
}

std::string_view ParseState::string_content(Text token)
{
    const std::string_view text = token.view().substr(1, token.size - 2);
    if (text.find('"') == std::string_view::npos) {
        return text;
    }
    std::string& plain = decoded_.emplace_back();
    for (std::size_t i = 0; i < text.size(); ++i) {
        plain += text[i];
        i += text[i] == '"'; // the second one of a pair
    }
    return plain;
}

std::string_view ParseState::value(Text slice)
{
    if (slice.size == 0) {
        return {};
    }
    if (*slice.data == '"') {
        return string_content(slice);
    }
    return *slice.data == '(' ? decoded_.emplace_back(normalize_smtlib2_text(slice.view()))
                              : slice.view();
}

std::size_t ParseState::push_head(Text symbol, std::size_t first_index)
{
    heads.push_back({symbol, nullptr, first_index, indices.size() - first_index});
    return heads.size() - 1;
}

const Term_* ParseState::apply_head(TermArgs args)
{
    const Head head = heads.back();
    heads.pop_back();
    if (head.num_indices == 0) {
        return args.empty() ? parser->make_term(name(head.name), head.sort)
                            : parser->make_term(name(head.name), head.sort, args);
    }
    const auto first = indices.begin() + static_cast<std::ptrdiff_t>(head.first_index);
    head_indices_.assign(first, indices.end());
    indices.resize(head.first_index);
    return args.empty() ? parser->make_term(name(head.name), head.sort, head_indices_)
                        : parser->make_term(name(head.name), head.sort, head_indices_, args);
}

std::size_t ParseState::push_index(Text numeral)
{
    indices.push_back(QNumber::from_str(std::string(numeral.view())));
    return indices.size() - 1;
}

std::size_t ParseState::push_bound_variable(Text symbol, const DataType* sort)
{
    const std::string_view var_name = name(symbol);
    const Term_* var = parser->make_named_variable(var_name, sort);
    parser->push_bound_variable(var_name, var);
    vars.push_back(var);
    return vars.size() - 1;
}

std::size_t ParseState::push_parameter(Text symbol, const DataType* sort)
{
    const Term_* var = parser->make_fresh_variable(sort);
    parser->define_let_binding(name(symbol), var, true);
    vars.push_back(var);
    return vars.size() - 1;
}

void ParseState::define_bindings(std::size_t first)
{
    for (std::size_t i = first; i < bindings.size(); ++i) {
        parser->define_let_binding(name(bindings[i].first), bindings[i].second, false);
    }
    bindings.resize(first);
}

void ParseState::add_attribute(Text keyword, Text slice)
{
    const bool is_name = keyword.view() == ":named" && slice.size > 0 && *slice.data == '|';
    attributes.emplace_back(keyword.view(), is_name ? name(slice) : value(slice));
}

void ParseState::add_text(Text slice)
{
    texts.push_back(normalize_smtlib2_text(slice.view()));
}

void ParseState::set_logic(Text symbol, Text numeral)
{
    std::string logic(name(symbol));
    logic.append("[").append(numeral.view()).append("]");
    parser->set_logic(logic);
}

namespace {

template <class Int>
bool read_int(std::string_view text, Int* out)
{
    const auto result = std::from_chars(text.data(), text.data() + text.size(), *out);
    return result.ec == std::errc() && result.ptr == text.data() + text.size();
}

} // namespace

int ParseState::to_int(Text numeral)
{
    int result = 0;
    if (!read_int(numeral.view(), &result)) {
        fail("number too large: " + std::string(numeral.view()));
    }
    return result;
}

unsigned ParseState::to_unsigned(Text numeral)
{
    unsigned result = 0;
    if (!read_int(numeral.view(), &result)) {
        fail("number too large: " + std::string(numeral.view()));
    }
    return result;
}

void ParseState::set_option(Text keyword, Text numeral_or_decimal, bool decimal)
{
    int number = 0;
    if (decimal) {
        double rational = 0;
        const std::string_view text = numeral_or_decimal.view();
        std::from_chars(text.data(), text.data() + text.size(), rational);
        parser->set_option(keyword.view(), rational);
    } else if (read_int(numeral_or_decimal.view(), &number)) {
        parser->set_option(keyword.view(), number);
    } else {
        parser->set_option(keyword.view(), numeral_or_decimal.view());
    }
}

void ParseState::set_option_symbol(Text keyword, Text symbol)
{
    const std::string_view text = symbol.view();
    if (text == "true" || text == "false") {
        parser->set_option(keyword.view(), text == "true" ? 1 : 0);
    } else if (text == "none") {
        parser->set_option(keyword.view(), 0.0);
    } else {
        parser->set_option(keyword.view(), name(symbol));
    }
}

void ParseState::generic_command(Text symbol, bool has_args)
{
    const std::string_view command = name(symbol);
    if (!has_args) {
        return command == "reset" ? parser->reset() : parser->generic_command(command);
    }
    const std::string& first = texts.front();
    if (texts.size() == 1 && command == "echo" && first.front() == '"') {
        parser->echo(string_content({first.data(), first.size()}));
    } else if (texts.size() == 1 && command == "get-option" && first.front() == ':') {
        parser->get_option(first);
    } else {
        parser->generic_command(command, texts);
    }
}

void ParseState::fail(const std::string& message)
{
    parser->handle_error(message);
    throw ParserInterface::error(message);
}

} // namespace tarq::smtlib2
