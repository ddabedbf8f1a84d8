// The clause conversion over a sink that records clauses: their exact shape for small formulas, and
// for random ones that the clauses, by unit propagation from every full assignment, say what the
// formulas say.
#include "boolformulas.h"

#include "encoding/tseitincnfgenerator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <unordered_map>

namespace tarq::test {
namespace {

struct Literal {
    const Term_* term;
    bool neg;
};
using Clause = std::vector<Literal>;

/// Keeps what it is given, and drops clauses with the backtrack point that they came under, as the
/// engine does.
class RecordingSink {
public:
    explicit RecordingSink(TermManager* tm) : tm_(tm) {}
    void begin_clause(bool) { clauses.emplace_back(); }
    void end_clause() {}
    void create_label(const Term_* t) { labels.push_back(t); }
    void add_literal(const Term_* t, bool neg)
    {
        while (tm_->is_not(t)) {
            t = t->child(0);
            neg = !neg;
        }
        clauses.back().push_back({t, neg});
    }
    void push() { marks_.emplace_back(clauses.size(), labels.size()); }
    void pop()
    {
        clauses.resize(marks_.back().first);
        labels.resize(marks_.back().second);
        marks_.pop_back();
    }

    std::vector<Clause> clauses;
    std::vector<const Term_*> labels;

private:
    TermManager* tm_;
    std::vector<std::pair<size_t, size_t>> marks_;
};

class CnfTest : public ::testing::Test {
protected:
    void use(bool full_cnf)
    {
        sink = std::make_unique<RecordingSink>(&tm);
        cnf = std::make_unique<TseitinCNFGenerator<RecordingSink>>(&tm, sink.get(), full_cnf);
    }
    void SetUp() override { use(false); }

    /// One clause as text: names, "~" for a negation, labels as L and the position of the label.
    std::string text(const Clause& c)
    {
        std::string out;
        for (const Literal& l : c) {
            auto label = std::find(sink->labels.begin(), sink->labels.end(), l.term);
            out += out.empty() ? "" : " ";
            out += l.neg ? "~" : "";
            out += label == sink->labels.end() ? l.term->to_str()
                                               : "L" + std::to_string(label - sink->labels.begin());
        }
        return out;
    }
    std::vector<std::string> texts()
    {
        std::vector<std::string> out;
        for (const Clause& c : sink->clauses) {
            out.push_back(text(c));
        }
        return out;
    }
    std::vector<std::string> convert(const Term_* t)
    {
        sink->clauses.clear();
        (*cnf)(t);
        return texts();
    }

    /// The truth table of the clauses: unit propagation from all 64 assignments to the constants at
    /// once, a bit for each. A label that stays open is a failure: its definition is incomplete.
    uint64_t clause_table()
    {
        struct Lanes {
            uint64_t is_true = 0;
            uint64_t is_false = 0;
        };
        std::unordered_map<const Term_*, Lanes> values;
        for (const Term_* c : f.constants) {
            values[c] = {f.table(c), ~f.table(c)};
        }
        uint64_t conflicts = 0;
        for (bool changed = true; changed;) {
            changed = false;
            for (const Clause& c : sink->clauses) {
                uint64_t satisfied = 0;
                uint64_t open = 0; // lanes with at least one open literal, and with at least two
                uint64_t two_open = 0;
                for (const Literal& l : c) {
                    Lanes v = values[l.term];
                    uint64_t undecided = ~(v.is_true | v.is_false);
                    satisfied |= l.neg ? v.is_false : v.is_true;
                    two_open |= open & undecided;
                    open |= undecided;
                }
                conflicts |= ~satisfied & ~open;
                uint64_t unit = ~satisfied & open & ~two_open & ~conflicts;
                for (const Literal& l : c) {
                    Lanes& v = values[l.term];
                    uint64_t implied = unit & ~(v.is_true | v.is_false);
                    (l.neg ? v.is_false : v.is_true) |= implied;
                    changed = changed || implied;
                }
            }
        }
        for (const Term_* label : sink->labels) {
            Lanes v = values[label];
            EXPECT_EQ(v.is_true | v.is_false | conflicts, ~uint64_t(0)) << label->to_str();
        }
        return ~conflicts;
    }

    TermManager tm;
    Formulas f{tm};
    const Term_* p = f.constants[0];
    const Term_* q = f.constants[1];
    const Term_* r = f.constants[2];
    const Term_* s = f.constants[3];
    std::unique_ptr<RecordingSink> sink;
    std::unique_ptr<TseitinCNFGenerator<RecordingSink>> cnf;
};

using Texts = std::vector<std::string>;

TEST_F(CnfTest, what_is_in_clausal_form_stays_as_it_is)
{
    EXPECT_EQ(convert(p), Texts{"p0"});
    EXPECT_EQ(convert(tm.make_and(p, tm.make_or(q, r))), (Texts{"p2 p1"}))
        << "the unit clause was written before";
    use(false);
    EXPECT_EQ(convert(tm.make_and(p, tm.make_or(q, r))), (Texts{"p2 p1", "p0"}));
    EXPECT_EQ(convert(tm.make_not(tm.make_and(p, tm.make_not(q)))), (Texts{"p1 ~p0"}));
    EXPECT_EQ(convert(tm.make_iff(p, tm.make_not(q))), (Texts{"~p0 ~p1", "p1 p0"}));
    EXPECT_EQ(convert(tm.make_not(tm.make_iff(p, q))), (Texts{"p0 p1", "~p1 ~p0"}));
    EXPECT_TRUE(sink->labels.empty());
}

TEST_F(CnfTest, other_connectives_get_labels)
{
    EXPECT_EQ(convert(tm.make_or(tm.make_and(p, q), r)),
              (Texts{"~L0 p1", "~L0 p0", "L0 ~p1 ~p0", "L1 ~p2", "L1 ~L0", "~L1 p2 L0", "L1"}));
    use(false);
    // An equivalence is two clauses at the root only.
    EXPECT_EQ(convert(tm.make_or(tm.make_iff(p, q), r)),
              (Texts{"~L0 ~p0 p1", "~L0 p0 ~p1", "L0 ~p0 ~p1", "L0 p0 p1", "L1 ~p2", "L1 ~L0",
                     "~L1 p2 L0", "L1"}));
    use(true);
    EXPECT_EQ(convert(tm.make_or(p, q)), (Texts{"L0 ~p1", "L0 ~p0", "~L0 p1 p0", "L0"}));
}

TEST_F(CnfTest, a_shared_part_is_defined_once_while_it_is_in_use)
{
    const Term_* shared = tm.make_and(p, q);
    cnf->push_backtrack_point();
    sink->push();
    (*cnf)(tm.make_or(shared, r));
    size_t with_definition = sink->clauses.size();
    (*cnf)(tm.make_or(shared, s));
    EXPECT_EQ(sink->labels.size(), 3u);
    EXPECT_EQ(std::count(sink->labels.begin(), sink->labels.end(), shared), 1);
    EXPECT_EQ(sink->clauses.size(), 2 * with_definition - 3) << "the definition came twice";
    cnf->pop_backtrack_point();
    sink->pop();
    (*cnf)(tm.make_or(shared, s));
    EXPECT_EQ(std::count(sink->labels.begin(), sink->labels.end(), shared), 1);
    EXPECT_EQ(sink->clauses.size(), with_definition);
}

TEST_F(CnfTest, a_clause_is_written_once_between_pushes)
{
    const Term_* clause = tm.make_or(p, q);
    (*cnf)(clause);
    (*cnf)(clause);
    EXPECT_EQ(sink->clauses.size(), 1u);
    const Term_* other = tm.make_or(p, r);
    cnf->push_backtrack_point();
    sink->push();
    (*cnf)(other);
    (*cnf)(clause);
    EXPECT_EQ(sink->clauses.size(), 2u);
    cnf->pop_backtrack_point();
    sink->pop();
    (*cnf)(other);
    EXPECT_EQ(sink->clauses.size(), 2u) << "a popped clause must come back";
}

TEST_F(CnfTest, refuses_what_has_no_clauses)
{
    auto message = [&](const Term_* t) -> std::string {
        try {
            (*cnf)(t);
        } catch (const CNFGenerator::error& e) {
            return e.get_msg();
        }
        return "";
    };
    const Term_* x = tm.make_named_variable("x", tm.get_int_type());
    const Term_* all = tm.make_forall(x, tm.make_leq(x, x));
    EXPECT_EQ(message(all), "The CNF conversion does not support quantifiers");
    EXPECT_EQ(message(tm.make_or(tm.make_and(p, all), q)),
              "The CNF conversion does not support quantifiers");
    EXPECT_EQ(message(tm.make_false()), "The CNF conversion does not support `true' and `false'");
    EXPECT_EQ(message(tm.make_or(tm.make_and(p, q), tm.make_true())),
              "The CNF conversion does not support `true' and `false'");
}

TEST_F(CnfTest, the_termination_test_ends_a_conversion)
{
    class Stop : public TerminationTest {
    public:
        void operator()() const override { throw terminated("stop"); }
    };
    Stop stop;
    cnf->set_termination_test(&stop);
    EXPECT_THROW((*cnf)(tm.make_or(tm.make_and(p, q), r)), TerminationTest::terminated);
}

TEST_F(CnfTest, clauses_mean_the_same_as_random_formulas)
{
    for (bool full : {false, true}) {
        for (int round = 0; round < 150; ++round) {
            use(full);
            const Term_* t = f.random(1 + round % 20);
            (*cnf)(t);
            ASSERT_EQ(clause_table(), f.table(t)) << t->to_str();
        }
    }
}

TEST_F(CnfTest, clauses_follow_random_pushes_and_pops)
{
    for (int round = 0; round < 30; ++round) {
        use(round % 4 == 0);
        std::vector<uint64_t> expected{~uint64_t(0)};
        for (int step = 0; step < 20; ++step) {
            switch (f.rng() % 5) {
            case 0:
                cnf->push_backtrack_point();
                sink->push();
                expected.push_back(expected.back());
                break;
            case 1:
                if (expected.size() > 1) {
                    cnf->pop_backtrack_point();
                    sink->pop();
                    expected.pop_back();
                }
                break;
            default:
                const Term_* t = f.random(3);
                (*cnf)(t);
                expected.back() &= f.table(t);
            }
            ASSERT_EQ(clause_table(), expected.back()) << "round " << round << " step " << step;
        }
    }
}

TEST_F(CnfTest, shared_disjunctions_are_walked_once)
{
    // Each level doubles the number of paths.
    for (bool full : {false, true}) {
        use(full);
        const Term_* t = tm.make_or(p, q);
        for (int i = 0; i < 60; ++i) {
            t = tm.make_or(tm.make_or(t, r), tm.make_or(t, tm.make_not(s)));
        }
        (*cnf)(t);
        EXPECT_EQ(clause_table(), f.table(t));
    }
}

TEST_F(CnfTest, depth_needs_no_stack)
{
    const Term_* conjunction = p;
    const Term_* disjunction = p;
    const Term_* mixed = p;
    const Term_* equivalence = p;
    for (int i = 0; i < 200000; ++i) {
        const Term_* c = f.constants[i % Formulas::NUM_CONSTANTS];
        conjunction = tm.make_and(c, conjunction);
        disjunction = tm.make_or(disjunction, c);
        mixed = i % 2 ? tm.make_and(c, mixed) : tm.make_not(tm.make_and(mixed, c));
        equivalence = tm.make_iff(equivalence, tm.make_not(c));
    }
    (*cnf)(conjunction);
    EXPECT_EQ(sink->clauses.size(), 6u) << "one unit clause for each constant";
    for (const Term_* t : {disjunction, mixed, equivalence}) {
        use(false);
        (*cnf)(t);
        EXPECT_FALSE(sink->clauses.empty());
    }
}

} // namespace
} // namespace tarq::test
