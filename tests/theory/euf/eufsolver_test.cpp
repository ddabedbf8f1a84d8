// The congruence closure: random histories of telling, retracting, asserting and undoing against a
// closure that starts over each time, and the cases that histories reach seldom.
#include "terms/stdtermsimplifier.h"
#include "theory/euf/eufsolver.h"
#include "theory/euf/referenceclosure.h"
#include "theory/iesimplifier.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>

using namespace tarq;

namespace {

using Lits = std::vector<TheoryLit>;

/// A manager with a few constants and functions of sort U.
class EufTest : public ::testing::Test {
protected:
    EufTest() : sort_(tm_.get_simple_type("U")) {}

    const Term_* constant(const std::string& name, const DataType* type = nullptr)
    {
        return tm_.make_constant(tm_.make_symbol(name, type ? type : sort_));
    }
    const Term_* apply(const std::string& name, TermVector args, const DataType* result = nullptr)
    {
        TypeVector types;
        for (const Term_* a : args) {
            types.push_back(TermManager::get_type(a));
        }
        const Symbol* f =
            tm_.make_symbol(name, tm_.get_function_type(types, result ? result : sort_));
        return tm_.make_uninterpreted_function(f, args);
    }
    const Term_* eq(const Term_* a, const Term_* b) { return make_interface_equality(&tm_, a, b); }
    const Term_* num(int n) { return tm_.make_number(QNumber(n)); }

    static Lits conflict_of(euf::Solver& s)
    {
        Lits out;
        s.get_conflict(out);
        std::sort(out.begin(), out.end());
        out.erase(std::unique(out.begin(), out.end()), out.end());
        return out;
    }
    static Lits sorted(Lits l)
    {
        std::sort(l.begin(), l.end());
        return l;
    }
    static TheoryLit pos(const Term_* t) { return {t, false}; }
    static TheoryLit neg(const Term_* t) { return {t, true}; }

    TermManager tm_;
    const DataType* sort_;
};

/// One random history over random atoms.
class History {
public:
    History(TermManager* tm, uint32_t seed) : tm_(tm), rng_(seed), solver_(tm)
    {
        const DataType* sort = tm->get_simple_type("U");
        for (int i = 0; i < 4; ++i) {
            terms_.push_back(tm->make_constant(tm->make_symbol("c" + std::to_string(i), sort)));
        }
        const Symbol* f = tm->make_symbol("f", tm->get_function_type({sort}, sort));
        const Symbol* g = tm->make_symbol("g", tm->get_function_type({sort, sort}, sort));
        const Symbol* p = tm->make_symbol("p", tm->get_function_type({sort}, tm->get_bool_type()));
        for (int i = 0; i < 8; ++i) {
            const Term_* a = any_term();
            const Term_* b = any_term();
            terms_.push_back(pick(2) ? tm->make_uninterpreted_function(f, TermVector{a})
                                     : tm->make_uninterpreted_function(g, TermVector{a, b}));
        }
        for (int i = 0; i < 14; ++i) {
            const Term_* a = any_term();
            const Term_* atom = pick(4) ? make_interface_equality(tm, a, any_term())
                                        : tm->make_uninterpreted_function(p, TermVector{a});
            if (tm->is_boolean_atom(atom) &&
                std::find(atoms_.begin(), atoms_.end(), atom) == atoms_.end()) {
                atoms_.push_back(atom);
            }
        }
        scopes_.push_back({0, 0});
    }

    void step()
    {
        switch (pick(10)) {
        case 0: // a new atom, at any level
        case 1:
            tell();
            break;
        case 2: // retraction of a scope, as at a pop of a backtrack point
            if (scopes_.size() > 1) {
                close_scope();
            }
            break;
        case 3:
            if (scopes_.size() < 4) {
                scopes_.push_back({told_.size(), marks_.size()});
                checkpoint();
            }
            break;
        case 4:
        case 5:
            checkpoint();
            break;
        case 6:
            if (marks_.size() > scopes_.back().checkpoints) {
                backtrack(scopes_.back().checkpoints +
                          pick(marks_.size() - scopes_.back().checkpoints));
            }
            break;
        default:
            assume();
            break;
        }
        compare();
    }

private:
    struct Scope {
        size_t atoms;
        size_t checkpoints; // those that stay open while the scope is
    };

    size_t pick(size_t n) { return std::uniform_int_distribution<size_t>(0, n - 1)(rng_); }
    const Term_* any_term() { return terms_[pick(terms_.size())]; }

    void tell()
    {
        const Term_* a = atoms_[pick(atoms_.size())];
        if (std::find(told_.begin(), told_.end(), a) == told_.end()) {
            solver_.tell_atom(a);
            told_.push_back(a);
        }
    }

    void checkpoint()
    {
        solver_.push_checkpoint();
        marks_.push_back(assumed_.size());
    }

    void backtrack(size_t level)
    {
        if (level >= marks_.size()) {
            return;
        }
        solver_.backtrack(marks_.size() - level);
        assumed_.resize(marks_[level]);
        marks_.resize(level);
    }

    void close_scope()
    {
        backtrack(scopes_.back().checkpoints);
        while (told_.size() > scopes_.back().atoms) {
            // a literal may stand at a level below that of the scope, and goes with its atom
            const Term_* atom = told_.back();
            std::erase_if(assumed_, [atom](TheoryLit l) { return l.get_term() == atom; });
            solver_.retract_atom(atom);
            told_.pop_back();
        }
        scopes_.pop_back();
    }

    void assume()
    {
        if (told_.empty() || !solver_.is_consistent()) {
            return;
        }
        const TheoryLit l(told_[pick(told_.size())], pick(2) == 0);
        if (std::find(assumed_.begin(), assumed_.end(), l) == assumed_.end() &&
            std::find(assumed_.begin(), assumed_.end(), ~l) == assumed_.end()) {
            assumed_.push_back(l);
            solver_.push_constraint(l.get_term(), !l.is_neg());
        }
    }

    void expect_valid(const Lits& reasons, TheoryLit implied)
    {
        Lits lits = reasons;
        for (TheoryLit l : reasons) {
            EXPECT_TRUE(std::find(assumed_.begin(), assumed_.end(), l) != assumed_.end());
        }
        if (implied != tlit_Undef) {
            EXPECT_TRUE(std::find(reasons.begin(), reasons.end(), implied) == reasons.end());
            lits.push_back(~implied);
        }
        EXPECT_TRUE(euf::is_inconsistent(tm_, lits));
    }

    void compare()
    {
        const bool consistent = solver_.check();
        ASSERT_EQ(consistent, !euf::is_inconsistent(tm_, assumed_));
        ASSERT_TRUE(solver_.check_invariants());
        Lits reasons;
        if (!consistent) {
            solver_.get_conflict(reasons);
            expect_valid(reasons, tlit_Undef);
            return;
        }
        const Term_* atom;
        bool negated;
        while (solver_.get_next_implied(&atom, &negated)) {
            const TheoryLit l(atom, negated);
            ASSERT_TRUE(std::find(told_.begin(), told_.end(), atom) != told_.end());
            if (std::find(assumed_.begin(), assumed_.end(), l) == assumed_.end()) {
                reasons.clear();
                solver_.get_implied_reason(atom, negated, reasons);
                expect_valid(reasons, l);
            }
        }
        for (const Term_* a : terms_) {
            const Term_* b = any_term();
            if (a != b && solver_.is_known(a) && solver_.is_known(b)) {
                ASSERT_EQ(solver_.are_equal(a, b), euf::implies_equality(tm_, assumed_, a, b));
                reasons.clear();
                if (solver_.get_congruence_reason(a, b, reasons)) {
                    EXPECT_TRUE(euf::implies_equality(tm_, reasons, a, b));
                }
            }
        }
    }

    TermManager* tm_;
    std::mt19937 rng_;
    euf::Solver solver_;
    TermVector terms_;
    TermVector atoms_;
    TermVector told_;
    Lits assumed_;
    std::vector<size_t> marks_; // length of assumed_ at each checkpoint
    std::vector<Scope> scopes_;
};

TEST_F(EufTest, random_histories_agree_with_a_closure_from_scratch)
{
    for (uint32_t seed = 0; seed < 60; ++seed) {
        SCOPED_TRACE(seed);
        History h(&tm_, seed);
        for (int i = 0; i < 150 && !HasFatalFailure(); ++i) {
            h.step();
        }
    }
}

TEST_F(EufTest, conflict_of_two_numbers_names_the_link_between_them)
{
    const DataType* integer = tm_.get_int_type();
    const Term_* a = constant("a", integer);
    const Term_* b = constant("b", integer);
    const Term_* fa = apply("f", {a}, integer);
    const Term_* fb = apply("f", {b}, integer);
    euf::Solver s(&tm_);
    EXPECT_TRUE(s.push_constraint(eq(fa, num(3)), true));
    EXPECT_TRUE(s.push_constraint(eq(fb, num(5)), true));
    EXPECT_EQ(num(3), s.get_representative(fa));
    EXPECT_FALSE(s.push_constraint(eq(a, b), true));
    EXPECT_EQ(sorted({pos(eq(fa, num(3))), pos(eq(fb, num(5))), pos(eq(a, b))}), conflict_of(s));
}

TEST_F(EufTest, negated_order_between_numbers)
{
    const DataType* integer = tm_.get_int_type();
    const Term_* x = constant("x", integer);
    const Term_* y = constant("y", integer);
    const Term_* leq = tm_.make_leq(x, y);
    for (auto [vx, vy, consistent] : {std::tuple(3, 5, false), {5, 5, false}, {5, 3, true}}) {
        euf::Solver s(&tm_);
        s.push_constraint(eq(x, num(vx)), true);
        s.push_constraint(eq(y, num(vy)), true);
        EXPECT_EQ(consistent, s.push_constraint(leq, false));
        if (!consistent) {
            EXPECT_EQ(sorted({pos(eq(x, num(vx))), pos(eq(y, num(vy))), neg(leq)}), conflict_of(s));
        }
    }
    // the sides differ even if nothing is known of their values
    euf::Solver s(&tm_);
    s.push_checkpoint();
    EXPECT_TRUE(s.push_constraint(leq, false));
    EXPECT_TRUE(s.unmergeable_terms(x, y));
    EXPECT_FALSE(s.push_constraint(eq(x, y), true));
    s.backtrack(1);
    EXPECT_TRUE(s.push_constraint(eq(x, y), true));
}

TEST_F(EufTest, signs_of_all_literals_are_right)
{
    const DataType* boolean = tm_.get_bool_type();
    const Term_* a = constant("a");
    const Term_* b = constant("b");
    const Term_* pa = apply("p", {a}, boolean);
    const Term_* pb = apply("p", {b}, boolean);
    euf::Solver s(&tm_);
    s.push_constraint(pa, false);
    s.push_constraint(pb, true);
    EXPECT_FALSE(s.push_constraint(eq(a, b), true));
    EXPECT_EQ(sorted({neg(pa), pos(pb), pos(eq(a, b))}), conflict_of(s));
}

TEST_F(EufTest, negative_literals_are_implied_and_explained)
{
    const Term_* a = constant("a");
    const Term_* b = constant("b");
    const Term_* c = constant("c");
    const Term_* d = constant("d");
    euf::Solver s(&tm_);
    s.tell_atom(eq(b, c));
    s.tell_atom(eq(a, d));
    s.push_constraint(eq(a, c), false);
    s.push_constraint(eq(b, a), true);
    const Term_* atom = nullptr;
    bool negated = false;
    bool found = false;
    while (!found && s.get_next_implied(&atom, &negated)) {
        found = atom == eq(b, c);
    }
    ASSERT_TRUE(found);
    EXPECT_TRUE(negated);
    // what comes later, the literal itself too, does not get into the explanation
    s.push_constraint(eq(b, c), false);
    s.push_constraint(eq(a, d), true);
    Lits reasons;
    s.get_implied_reason(eq(b, c), true, reasons);
    EXPECT_EQ(sorted({neg(eq(a, c)), pos(eq(a, b))}), sorted(reasons));
    reasons.clear();
    EXPECT_TRUE(s.collect_disequalities(d, c, reasons));
    EXPECT_TRUE(euf::is_inconsistent(&tm_, [&] {
        Lits l = reasons;
        l.push_back(pos(eq(d, c)));
        return l;
    }()));
}

TEST_F(EufTest, term_ites_are_not_congruent)
{
    const Term_* a = constant("a");
    const Term_* b = constant("b");
    const Term_* c = constant("c");
    const Term_* cond = constant("q", tm_.get_bool_type());
    const Term_* x = tm_.make_term_ite(cond, a, c);
    const Term_* y = tm_.make_term_ite(cond, b, c);
    euf::Solver s(&tm_);
    s.tell_term(x);
    s.tell_term(y);
    s.push_constraint(eq(a, b), true);
    EXPECT_FALSE(s.are_equal(x, y));
    EXPECT_FALSE(s.is_known(cond));
}

/// Collects what is propagated.
class Receiver : public euf::EqPropagator {
public:
    void propagate(const Term_* a, const Term_* b) override
    {
        pairs.insert(std::minmax(a, b, term_lt()));
    }
    std::set<std::pair<const Term_*, const Term_*>> pairs;
};

TEST_F(EufTest, equalities_of_interface_terms_are_sent_again_after_an_undo)
{
    const DataType* integer = tm_.get_int_type();
    const Term_* a = constant("a", integer);
    const Term_* b = constant("b", integer);
    const Term_* fa = apply("f", {a}, integer);
    const Term_* fb = apply("f", {b}, integer);
    euf::Solver s(&tm_);
    Receiver r;
    s.set_eq_propagator(&r);
    s.push_constraint(eq(a, b), true);
    s.push_checkpoint();
    // become known at a level at which they are equal already, for a reason below that level
    s.add_interface_term(fa);
    s.add_interface_term(fb);
    EXPECT_EQ(1U, r.pairs.count({fa, fb}));
    r.pairs.clear();
    s.backtrack(1);
    s.check();
    EXPECT_EQ(1U, r.pairs.count({fa, fb}));
    r.pairs.clear();
    s.push_checkpoint();
    s.backtrack(1);
    s.check();
    EXPECT_TRUE(r.pairs.empty());
    s.remove_interface_term(fb);
    s.check();
    EXPECT_TRUE(s.are_equal(fa, fb));
    EXPECT_TRUE(r.pairs.empty());
}

TEST_F(EufTest, retracting_terms_leaves_what_was_asserted_without_them)
{
    const Term_* a = constant("a");
    const Term_* b = constant("b");
    const Term_* c = constant("c");
    const Term_* fa = apply("f", {a});
    const Term_* fb = apply("f", {b});
    euf::Solver s(&tm_);
    for (const Term_* t : {eq(a, b), eq(b, c)}) {
        s.tell_atom(t);
    }
    s.push_constraint(eq(a, b), true);
    const size_t nodes = s.num_nodes();
    for (int round = 0; round < 3; ++round) {
        s.push_checkpoint();
        s.tell_atom(eq(fa, c));
        s.tell_atom(eq(fb, c)); // congruent with the one before
        s.push_constraint(eq(fa, c), false);
        s.push_checkpoint();
        EXPECT_FALSE(s.push_constraint(eq(fb, c), true));
        s.backtrack(2);
        // at level 0 by now, where the two terms were merged again
        EXPECT_TRUE(s.are_equal(fa, fb));
        s.push_constraint(eq(b, c), true);
        s.retract_atom(eq(fb, c));
        s.retract_atom(eq(fa, c));
        EXPECT_TRUE(s.are_equal(a, c));
        EXPECT_FALSE(s.is_known(fa));
        EXPECT_EQ(nodes, s.num_nodes());
        EXPECT_TRUE(s.check_invariants());
    }
}

TEST_F(EufTest, deep_terms_need_no_recursion)
{
    const Term_* a = constant("a");
    const Term_* b = constant("b");
    const Term_* x = a;
    const Term_* y = b;
    for (int i = 0; i < 100000; ++i) {
        x = apply("f", {x});
        y = apply("f", {y});
    }
    euf::Solver s(&tm_);
    s.tell_term(x);
    s.tell_term(y);
    s.push_constraint(eq(x, y), false);
    EXPECT_FALSE(s.push_constraint(eq(a, b), true));
    EXPECT_EQ(sorted({neg(eq(x, y)), pos(eq(a, b))}), conflict_of(s));
}

} // namespace
