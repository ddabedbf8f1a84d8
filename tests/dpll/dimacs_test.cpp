// The DIMACS reader: what it accepts beyond the letter of the format, and its errors by line.
#include "dpll/dimacs.h"
#include "testsupport.h"

#include <gtest/gtest.h>

#include <sstream>

using namespace tarq;

namespace {

struct Read {
    dimacs::Summary summary;
    bool sat = false;
    std::string error;
};

Read read(const std::string& text)
{
    Configuration config;
    DpllSolver solver(config.dpll, nullptr);
    std::istringstream in(text);
    Read r;
    try {
        r.summary = dimacs::read(in, &solver);
    } catch (const dimacs::error& e) {
        r.error = e.what();
    }
    r.sat = solver.solve(); // also after an error the engine is usable
    return r;
}

TEST(Dimacs, reads_what_solvers_commonly_accept)
{
    const struct {
        const char* text;
        int vars;
        uint64_t clauses;
        bool sat;
    } cases[] = {
        {"c hello\np cnf 3 2\n1 -3 0\n2 3 -1 0\n", 3, 2, true},
        {"p cnf 5 0\n", 5, 0, true},
        {"", 0, 0, true},
        {"1 2 0 -1 0 -2 0", 2, 3, false},      // no header, one line, no line break at the end
        {"p cnf 1 7\n1 0\n4 0\n", 4, 2, true}, // wrong figures
        {"p cnf 2 2\r\n1\r\n2 0\r\n-1 0\r\n", 2, 2, true},
        {"p cnf 1 1\n0\n", 1, 1, false}, // the empty clause
        {"p  cnf  2  2\n1 2\nc between\n 0\n-2 0\n%\n0\n", 2, 2, true},
        {"p cnf 2 3\n1 -1 0\n2 2 2 0\n-2 1 0", 2, 3, true},
    };
    for (const auto& c : cases) {
        const Read r = read(c.text);
        EXPECT_EQ("", r.error) << c.text;
        EXPECT_EQ(c.vars, r.summary.num_vars) << c.text;
        EXPECT_EQ(c.clauses, r.summary.num_clauses) << c.text;
        EXPECT_EQ(c.sat, r.sat) << c.text;
    }
}

TEST(Dimacs, errors_name_line_and_reason)
{
    const struct {
        const char* text;
        const char* error;
    } cases[] = {
        {"p cnf 2 1\n1 2", "line 2: unexpected end of file, expected literal"},
        {"p cnf 2 1\n1 x 0\n", "line 2: unexpected character `x', expected literal"},
        {"p cnf 2 1\n1 2x 0\n", "line 2: unexpected character `x', expected white space"},
        {"1 0\n\n1 --2 0\n", "line 3: unexpected character `-', expected literal"},
        {"1 0\n2 -\n0\n", "line 2: unexpected character code 10, expected literal"},
        {"1 0\n-0\n", "line 2: literal -0"},
        {"p dnf 2 1\n", "line 1: unexpected character `d', expected `cnf'"},
        {"p cnf two 1\n", "line 1: unexpected character `t', expected number of variables"},
        {"p cnf 2\n", "line 2: unexpected end of file, expected number of clauses"},
        {"p cnf 2 1\np cnf 2 1\n", "line 2: second header"},
        {"p cnf 2 1\n1 268435456 0\n", "line 2: literal too large, at most 268435455"},
        {"p cnf 99999999999999999999 1\n",
         "line 1: number of variables too large, at most 268435455"},
        {"\x01", "line 1: unexpected character code 1, expected literal"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.error, read(c.text).error);
    }
}

/// Larger than the reader's block, so that numbers stand across its end.
TEST(Dimacs, long_text)
{
    std::string text = "p cnf 20000 20001\n";
    for (int i = 1; i < 20000; ++i) {
        text += "-" + std::to_string(i) + " " + std::to_string(i + 1) + " 0\n";
    }
    text += "1 0\n-20000 0\n";
    const Read r = read(text);
    EXPECT_EQ("", r.error);
    EXPECT_EQ(20001U, r.summary.num_clauses);
    EXPECT_FALSE(r.sat);
}

} // namespace
