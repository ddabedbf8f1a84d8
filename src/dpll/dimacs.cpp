// The reader works on blocks of the stream's buffer: the files are large and the format is trivial.
#include "dpll/dimacs.h"

#include "dpll/dpllsolver.h"

#include <algorithm>
#include <string>
#include <vector>

namespace tarq::dimacs {

namespace {

// A header may claim anything; room for more variables than this is made as they come.
constexpr int max_reserved_vars = 1 << 22;

class Reader {
public:
    Reader(std::istream& in, DpllSolver* solver) : in_(in), solver_(solver), buffer_(1 << 16)
    {
        advance();
    }

    Summary read()
    {
        for (;;) {
            skip_space();
            if (at_end_ || c_ == '%') {
                break;
            }
            if (c_ == 'c') {
                skip_line();
            } else if (c_ == 'p') {
                read_header();
            } else {
                read_clause();
            }
        }
        summary_.num_vars = std::max(summary_.num_vars, solver_->num_vars());
        return summary_;
    }

private:
    void advance()
    {
        if (pos_ == size_) {
            size_ = static_cast<size_t>(std::max<std::streamsize>(
                in_.rdbuf()->sgetn(buffer_.data(), static_cast<std::streamsize>(buffer_.size())),
                0));
            pos_ = 0;
            if (size_ == 0) {
                at_end_ = true;
                c_ = '\n';
                return;
            }
        }
        c_ = buffer_[pos_++];
        line_ += static_cast<uint64_t>(c_ == '\n');
    }

    static bool is_space(char c) { return c == ' ' || ('\t' <= c && c <= '\r'); }
    static bool is_digit(char c) { return '0' <= c && c <= '9'; }

    void skip_space()
    {
        while (!at_end_ && is_space(c_)) {
            advance();
        }
    }

    void skip_line()
    {
        while (!at_end_ && c_ != '\n') {
            advance();
        }
    }

    [[noreturn]] void fail(const std::string& reason) const
    {
        // the line break that is the current character counts as part of its line
        const uint64_t line = line_ - static_cast<uint64_t>(!at_end_ && c_ == '\n');
        throw make_error<error>("line ", line, ": ", reason);
    }

    [[noreturn]] void fail_at_char(const char* expected) const
    {
        if (at_end_) {
            fail(std::string("unexpected end of file, expected ") + expected);
        }
        const auto code = static_cast<unsigned char>(c_);
        fail(code > 32 && code < 127
                 ? std::string("unexpected character `") + c_ + "', expected " + expected
                 : "unexpected character code " + std::to_string(code) + ", expected " + expected);
    }

    /// A number without sign, at most `limit`.
    int64_t read_number(int64_t limit, const char* expected)
    {
        if (at_end_ || !is_digit(c_)) {
            fail_at_char(expected);
        }
        int64_t n = 0;
        while (!at_end_ && is_digit(c_)) {
            n = n * 10 + (c_ - '0');
            if (n > limit) {
                fail(std::string(expected) + " too large, at most " + std::to_string(limit));
            }
            advance();
        }
        if (!at_end_ && !is_space(c_)) {
            fail_at_char("white space");
        }
        return n;
    }

    void read_header()
    {
        if (has_header_) {
            fail("second header");
        }
        has_header_ = true;
        advance();
        skip_space();
        for (const char* word = "cnf"; *word; ++word) {
            if (at_end_ || c_ != *word) {
                fail_at_char("`cnf'");
            }
            advance();
        }
        skip_space();
        summary_.num_vars = static_cast<int>(read_number(max_var, "number of variables"));
        skip_space();
        read_number(INT64_MAX / 16, "number of clauses");
        solver_->reserve_vars(std::min(summary_.num_vars, max_reserved_vars));
    }

    void read_clause()
    {
        lits_.clear();
        for (;;) {
            skip_space();
            if (!at_end_ && c_ == 'c') { // a comment inside a clause
                skip_line();
                continue;
            }
            const bool negated = !at_end_ && c_ == '-';
            if (negated) {
                advance();
            }
            const auto var = static_cast<int>(read_number(max_var, "literal"));
            if (var == 0) {
                if (negated) {
                    fail("literal -0");
                }
                break;
            }
            while (solver_->num_vars() < var) {
                solver_->new_var();
            }
            lits_.emplace_back(var - 1, negated);
        }
        ++summary_.num_clauses;
        solver_->add_clause(lits_);
    }

    std::istream& in_;
    DpllSolver* solver_;
    std::vector<char> buffer_;
    size_t pos_ = 0;
    size_t size_ = 0;
    char c_ = '\n';
    bool at_end_ = false;
    bool has_header_ = false;
    uint64_t line_ = 1;
    std::vector<dpll::Lit> lits_;
    Summary summary_;
};

} // namespace

Summary read(std::istream& in, DpllSolver* solver)
{
    return Reader(in, solver).read();
}

} // namespace tarq::dimacs
