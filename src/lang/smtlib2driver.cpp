// Cutting a stream into commands and parsing them.
#include "lang/smtlib2driver.h"

#include "lang/smtlib2parsestate.h"
#include "smtlib2_grammar.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstring>
#include <new>

// The generated scanner.
using yyscan_t = void*;
struct yy_buffer_state;
int tarq_smtlib2_parser_lex_init(yyscan_t* scanner);
int tarq_smtlib2_parser_lex_destroy(yyscan_t scanner);
void tarq_smtlib2_parser_set_extra(tarq::smtlib2::ParseState* state, yyscan_t scanner);
int tarq_smtlib2_parser_lex(TARQ_SMTLIB2_PARSER_STYPE* value, yyscan_t scanner);
yy_buffer_state* tarq_smtlib2_parser__scan_buffer(char* base, std::size_t size, yyscan_t scanner);
void tarq_smtlib2_parser__delete_buffer(yy_buffer_state* buffer, yyscan_t scanner);

namespace tarq {

using smtlib2::ParseState;

namespace {

constexpr std::size_t END_MARKS = 2;
constexpr std::size_t FIRST_CHUNK = std::size_t{1} << 16;
/// The scanner counts in ints.
constexpr std::size_t MAX_COMMAND = std::size_t{INT_MAX} - 64;

enum CharClass : unsigned char { PLAIN, BLANK, OPEN, CLOSE, QUOTE, BAR, SEMICOLON };

constexpr std::array<CharClass, 256> make_char_classes()
{
    std::array<CharClass, 256> classes{};
    classes[' '] = classes['\t'] = classes['\r'] = classes['\n'] = BLANK;
    classes['('] = OPEN;
    classes[')'] = CLOSE;
    classes['"'] = QUOTE;
    classes['|'] = BAR;
    classes[';'] = SEMICOLON;
    return classes;
}

constexpr std::array<CharClass, 256> CHAR_CLASSES = make_char_classes();

CharClass class_of(char c)
{
    return CHAR_CLASSES[static_cast<unsigned char>(c)];
}

/// Steps over strings, quoted symbols and comments. It may stop at any byte and go on later, when
/// more of the text is there.
class Cutter {
public:
    enum Mode : unsigned char { NORMAL, STRING, SYMBOL, ESCAPE, COMMENT };

    /// Goes on until the character after the one that closes all parentheses, or one that ends a
    /// token outside of them, or `end`. Sets `done` in the first two cases.
    const char* run(const char* p, const char* end)
    {
        while (p != end && !done) {
            switch (mode) {
            case NORMAL:
                p = run_normal(p, end);
                break;
            case STRING:
                p = find(p, end, '"');
                break;
            case COMMENT:
                p = find(p, end, '\n');
                break;
            case SYMBOL:
                while (p != end && *p != '|' && *p != '\\') {
                    ++p;
                }
                if (p != end) {
                    mode = *p++ == '|' ? NORMAL : ESCAPE;
                }
                break;
            case ESCAPE: // a backslash escapes nothing but a bar
                p += *p == '|';
                mode = SYMBOL;
                break;
            }
        }
        return p;
    }

    bool done = false;
    Mode mode = NORMAL;

private:
    const char* run_normal(const char* p, const char* end)
    {
        if (depth_ > 0) {
            while (p != end && class_of(*p) <= BLANK) {
                ++p;
            }
            if (p == end) {
                return p;
            }
        } else if (started_ && class_of(*p) != PLAIN) {
            done = true;
            return p;
        }
        started_ = true;
        switch (class_of(*p++)) {
        case OPEN:
            ++depth_;
            break;
        case CLOSE:
            done = depth_ <= 1;
            --depth_;
            break;
        case QUOTE:
            mode = STRING;
            break;
        case BAR:
            mode = SYMBOL;
            break;
        case SEMICOLON:
            mode = COMMENT;
            break;
        case PLAIN:
        case BLANK:
            break;
        }
        return p;
    }

    /// Behind the next `c`, back in normal mode; a doubled quotation mark is two strings here.
    const char* find(const char* p, const char* end, char c)
    {
        const auto* found =
            static_cast<const char*>(std::memchr(p, c, static_cast<std::size_t>(end - p)));
        if (!found) {
            return end;
        }
        mode = NORMAL;
        return found + 1;
    }

    std::size_t depth_ = 0;
    bool started_ = false;
};

} // namespace

SmtLib2Driver::SmtLib2Driver(std::istream& in) : in_(in), state_(std::make_unique<ParseState>())
{
    buffer_.resize(FIRST_CHUNK);
    yyscan_t scanner = nullptr;
    if (tarq_smtlib2_parser_lex_init(&scanner) != 0) {
        throw std::bad_alloc();
    }
    scanner_ = scanner;
    tarq_smtlib2_parser_set_extra(state_.get(), scanner);
}

SmtLib2Driver::~SmtLib2Driver()
{
    tarq_smtlib2_parser_lex_destroy(scanner_);
    tarq_smtlib2_parser_pstate_delete(pstate_);
}

bool SmtLib2Driver::fill()
{
    if (begin_ > 0) {
        std::memmove(buffer_.data(), at(begin_), limit_ - begin_);
        limit_ -= begin_;
        end_ -= begin_;
        begin_ = 0;
    }
    if (limit_ > buffer_.size() / 2) {
        buffer_.resize(2 * buffer_.size());
    }
    const std::size_t n =
        ParserInterface::flex_get_input(in_, at(limit_), buffer_.size() - limit_ - END_MARKS);
    limit_ += n;
    return n > 0;
}

/// Moves begin_ = end_ to the next token, or gives false at the end of the input.
bool SmtLib2Driver::skip_blanks()
{
    bool comment = false;
    for (begin_ = end_;;) {
        if (end_ == limit_) {
            begin_ = end_;
            if (!fill()) {
                return false;
            }
            continue;
        }
        const char c = *at(end_);
        const bool garbage = skip_garbage_ && c != '(';
        if (!comment && class_of(c) == SEMICOLON) {
            comment = true;
        } else if (comment) {
            comment = c != '\n';
        } else if (class_of(c) != BLANK && !garbage) {
            begin_ = end_;
            skip_garbage_ = false;
            return true;
        }
        line_ += c == '\n';
        ++end_;
    }
}

/// Makes [begin_, end_) the next command, as much of it as there is.
bool SmtLib2Driver::next_command()
{
    if (!skip_blanks()) {
        first_line_ = line_;
        return false;
    }
    Cutter cutter;
    for (;;) {
        end_ = static_cast<std::size_t>(cutter.run(at(end_), at(limit_)) - buffer_.data());
        if (cutter.done) {
            break;
        }
        if (end_ - begin_ > MAX_COMMAND) {
            skip_garbage_ = true;
            begin_ = end_;
            throw ParserInterface::error("command too long");
        }
        if (!fill()) {
            break;
        }
    }
    first_line_ = line_;
    line_ += static_cast<int>(std::count(at(begin_), at(end_), '\n'));
    return true;
}

bool SmtLib2Driver::parse_command(SmtLib2AbstractParser* parser)
{
    state_->at_token = false;
    if (!next_command()) {
        state_->line = line_;
        return false;
    }
    // The scanner wants two zero bytes behind the text; the text that follows is put back.
    const std::array<char, END_MARKS> saved{*at(end_), *at(end_ + 1)};
    *at(end_) = *at(end_ + 1) = 0;
    state_->begin_command(parser, first_line_);
    state_->text_end = at(end_);
    auto* scan_buffer =
        tarq_smtlib2_parser__scan_buffer(at(begin_), end_ - begin_ + END_MARKS, scanner_);
    const auto finish = [&] {
        tarq_smtlib2_parser__delete_buffer(scan_buffer, scanner_);
        if (state_->at_token) {
            *state_->token_end = state_->token_hold;
            state_->at_token = false;
        }
        *at(end_) = saved[0];
        *at(end_ + 1) = saved[1];
    };
    try {
        run_parser();
    } catch (...) {
        finish();
        // its stacks hold a half-parsed command
        tarq_smtlib2_parser_pstate_delete(pstate_);
        pstate_ = nullptr;
        parser->abandon_command();
        throw;
    }
    finish();
    return true;
}

void SmtLib2Driver::run_parser()
{
    if (!pstate_) {
        pstate_ = tarq_smtlib2_parser_pstate_new();
        if (!pstate_) {
            throw std::bad_alloc();
        }
    }
    for (;;) {
        TARQ_SMTLIB2_PARSER_STYPE value;
        value.text = {nullptr, 0};
        const int token = tarq_smtlib2_parser_lex(&value, scanner_);
        if (token == smtlib2::ERROR_TOKEN) {
            throw ParserInterface::error(state_->lexical_error);
        }
        const int status = tarq_smtlib2_parser_push_parse(pstate_, token, &value, state_.get());
        if (status == 0) {
            return;
        }
        if (status != YYPUSH_MORE) {
            state_->fail(state_->syntax_error);
        }
    }
}

int SmtLib2Driver::get_lineno() const
{
    return state_->line;
}

std::string SmtLib2Driver::command_text() const
{
    std::string text(buffer_.data() + begin_, end_ - begin_);
    if (state_->at_token && state_->token_end < buffer_.data() + end_) {
        text[static_cast<std::size_t>(state_->token_end - buffer_.data()) - begin_] =
            state_->token_hold;
    }
    return normalize_smtlib2_text(text);
}

std::string normalize_smtlib2_text(std::string_view text)
{
    std::string out;
    out.reserve(text.size());
    bool gap = false;
    for (const char *p = text.data(), *end = p + text.size(); p != end;) {
        const CharClass c = class_of(*p);
        if (c == BLANK || c == SEMICOLON) {
            gap = true;
            p = c == BLANK ? p + 1 : std::find(p, end, '\n');
            continue;
        }
        if (gap && !out.empty() && out.back() != '(' && c != CLOSE) {
            out += ' ';
        }
        gap = false;
        const char* start = p;
        if (c == QUOTE || c == BAR) {
            Cutter token;
            p = token.run(p, end);
        } else {
            ++p;
        }
        out.append(start, p);
    }
    return out;
}

} // namespace tarq
