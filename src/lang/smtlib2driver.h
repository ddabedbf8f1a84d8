// Runs the generated scanner and parser over a stream, one command at a time. The driver cuts the
// text into commands first (balanced parentheses; comments, strings and quoted symbols understood)
// and parses each in memory. So a command is complete before anything of it is acted upon, nothing
// is read beyond its last parenthesis, a failure in it leaves the stream right behind it, and
// tokens are slices of the buffer that cost no allocation.
#pragma once

#include "lang/smtlib2abstractparser.h"

#include <istream>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

struct tarq_smtlib2_parser_pstate; // the parser's stacks

namespace tarq {

namespace smtlib2 {
struct ParseState;
}

/// Borrows the stream. Owns the buffer, the scanner and the parser's stacks.
class SmtLib2Driver {
public:
    explicit SmtLib2Driver(std::istream& in);
    ~SmtLib2Driver();
    SmtLib2Driver(const SmtLib2Driver&) = delete;
    SmtLib2Driver& operator=(const SmtLib2Driver&) = delete;

    /// Reads one command and acts on it through `parser`.
    /// returns  false when only blanks and comments were left; then nothing was called
    /// throws   what the operations of `parser` throw, and ParserInterface::error for text that no
    ///          token matches. The stream stands behind the command in either case, the scopes that
    ///          it opened are closed (`abandon_command`), and the next call reads on.
    bool parse_command(SmtLib2AbstractParser* parser);

    /// After an error: what is left at top level up to the next opening parenthesis belongs to the
    /// broken text and will not be reported again. Reads nothing by itself.
    void skip_command() { skip_garbage_ = true; }

    /// The line (from 1) of the token read last: the place of an error, or the end of the command.
    int get_lineno() const;
    /// The line on which the command read last begins.
    int get_first_lineno() const { return first_line_; }

    /// The text of the command read last, also of a broken one: comments removed, parts separated
    /// by single blanks, none behind "(" or before ")". So an assert reads "(assert TERM)".
    std::string command_text() const;

private:
    bool next_command();
    bool fill();
    bool skip_blanks();
    void run_parser();
    char* at(std::size_t pos) { return buffer_.data() + pos; }

    std::istream& in_;
    std::unique_ptr<smtlib2::ParseState> state_;
    void* scanner_ = nullptr;
    tarq_smtlib2_parser_pstate* pstate_ = nullptr; ///< null until first used, and after an error
    /// Bytes read and not used up: [begin_, end_) holds the command, [end_, limit_) what follows
    /// it. Two bytes beyond limit_ are always there for the scanner's end marks.
    std::vector<char> buffer_;
    std::size_t begin_ = 0;
    std::size_t end_ = 0;
    std::size_t limit_ = 0;
    int line_ = 1; ///< line of the byte at end_
    int first_line_ = 1;
    bool skip_garbage_ = false;
};

/// The same text as the source, with each run of blanks and comments outside of strings and quoted
/// symbols replaced by one blank, and dropped behind "(" and before ")".
std::string normalize_smtlib2_text(std::string_view text);

} // namespace tarq
