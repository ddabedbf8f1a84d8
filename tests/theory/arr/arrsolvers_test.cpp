// Both procedures for arrays, driven by hand over a congruence closure; the values that the second
// one asks for are given by the test.
#include "terms/stdtermsimplifier.h"
#include "theory/arr/arraysolverlod.h"
#include "theory/arr/arrsolver.h"
#include "theory/euf/eufsolver.h"
#include "theory/iesimplifier.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <memory>

using namespace tarq;

namespace {

using Lits = std::vector<TheoryLit>;

class ArrTest : public ::testing::Test {
protected:
    ArrTest()
        : index_(tm_.get_simple_type("I")), element_(tm_.get_simple_type("E")),
          array_(tm_.get_array_type(index_, element_)), closure_(&tm_)
    {
        make(1);
    }

    void make(int mode)
    {
        if (mode == 0) {
            solver_ = std::make_unique<arr::Solver>(config_.theory.arr, &tm_, &closure_);
            return;
        }
        auto lod = std::make_unique<arr::ArraySolverLOD>(config_.theory.arr, &tm_, &closure_);
        lod->set_model_computer([this] { return has_model_; },
                                [this](const Term_* t) {
                                    const auto it = values_.find(t->get_id());
                                    return it == values_.end() ? closure_.get_representative(t)
                                                               : it->second;
                                });
        solver_ = std::move(lod);
    }

    const Term_* constant(const std::string& name, const DataType* type)
    {
        return tm_.make_constant(tm_.make_symbol(name, type));
    }
    const Term_* array(const std::string& name) { return constant(name, array_); }
    const Term_* index(const std::string& name) { return constant(name, index_); }
    const Term_* element(const std::string& name) { return constant(name, element_); }
    const Term_* eq(const Term_* a, const Term_* b) { return make_interface_equality(&tm_, a, b); }
    const Term_* read(const Term_* a, const Term_* i) { return tm_.make_array_read(a, i); }

    const Term_* tell(const Term_* atom)
    {
        closure_.tell_atom(atom);
        solver_->tell_atom(atom);
        return atom;
    }
    /// Tells the atom and takes it to be true or false.
    void say(const Term_* atom, bool positive)
    {
        ASSERT_TRUE(closure_.push_constraint(tell(atom), positive));
    }
    void give_value(const Term_* t, const Term_* value) { values_[t->get_id()] = value; }

    std::vector<Lits> lemmas()
    {
        std::vector<Lits> out;
        solver_->check();
        while (solver_->has_lemmas()) {
            arr::SolverBase::Lemma l = solver_->get_lemma();
            ids_.push_back(l.id);
            out.push_back(std::move(l.clause));
        }
        return out;
    }
    static Lits clause(Lits lits)
    {
        std::sort(lits.begin(), lits.end());
        return lits;
    }
    static TheoryLit pos(const Term_* t) { return {t, false}; }
    static TheoryLit neg(const Term_* t) { return {t, true}; }

    TermManager tm_;
    Configuration config_;
    const DataType* index_;
    const DataType* element_;
    const DataType* array_;
    euf::Solver closure_;
    std::unique_ptr<arr::SolverBase> solver_;
    std::map<uint64_t, const Term_*> values_;
    std::vector<size_t> ids_;
    bool has_model_ = true;
};

TEST_F(ArrTest, nothing_is_asked_of_a_problem_without_reads_and_equalities)
{
    for (int mode : {0, 1}) {
        make(mode);
        EXPECT_FALSE(solver_->tell_atom(eq(index("i"), index("j"))));
        EXPECT_TRUE(lemmas().empty());
    }
}

TEST_F(ArrTest, a_write_holds_its_element_and_says_so_again_when_the_clause_is_gone)
{
    for (int mode : {0, 1}) {
        make(mode);
        const Term_* w = tm_.make_array_write(array("a"), index("i"), element("v"));
        const Term_* atom = eq(array("b"), w);
        closure_.tell_atom(atom);
        ASSERT_TRUE(solver_->tell_atom(atom));
        const std::vector<Lits> wanted{clause({pos(eq(read(w, index("i")), element("v")))})};
        EXPECT_EQ(lemmas(), wanted);
        EXPECT_TRUE(lemmas().empty());
        solver_->retract_lemma(ids_.back());
        EXPECT_EQ(lemmas(), wanted);
        solver_->retract_atom(atom);
        EXPECT_TRUE(lemmas().empty());
    }
}

/// By classes the two indices are different, and nothing is wrong.
TEST_F(ArrTest, reads_at_one_index_value_that_differ_make_one_lemma)
{
    const Term_* i = index("i");
    const Term_* j = index("j");
    const Term_* r = read(array("a"), i);
    const Term_* s = read(array("a"), j);
    for (int mode : {0, 1}) {
        make(mode);
        values_.clear();
        tell(eq(r, element("v")));
        tell(eq(s, element("v")));
        EXPECT_TRUE(lemmas().empty());
        give_value(i, index("value"));
        give_value(j, index("value"));
        const std::vector<Lits> got = lemmas();
        if (mode == 0) {
            EXPECT_TRUE(got.empty());
            continue;
        }
        ASSERT_EQ(got.size(), 1U);
        EXPECT_EQ(got[0], clause({pos(eq(r, s)), neg(eq(i, j))}));
        // nobody did anything about it: what the closure knows is all there is to say
        EXPECT_TRUE(lemmas().empty());
        solver_->retract_lemma(ids_.back());
        EXPECT_EQ(lemmas(), got);
    }
}

TEST_F(ArrTest, values_are_not_asked_for_while_some_theory_has_none)
{
    const Term_* r = read(array("a"), index("i"));
    const Term_* s = read(array("a"), index("j"));
    tell(eq(r, s));
    give_value(index("j"), index("i"));
    has_model_ = false;
    EXPECT_TRUE(lemmas().empty());
    has_model_ = true;
    EXPECT_EQ(lemmas().size(), 1U);
}

/// A read passes a write whose index has another value, and stops at one whose index has its own.
TEST_F(ArrTest, a_read_passes_the_writes_at_other_indices)
{
    for (int mode : {0, 1}) {
        make(mode);
        const std::string n = std::to_string(mode); // the closure keeps what the first round said
        const Term_* i = index("i" + n);
        const Term_* j = index("j" + n);
        const Term_* a = array("a" + n);
        const Term_* w = tm_.make_array_write(a, i, element("v" + n));
        const Term_* r = read(array("b" + n), j);
        const Term_* s = read(a, j);
        say(eq(array("b" + n), w), true);
        tell(eq(r, s));
        say(eq(read(w, i), element("v" + n)), true);
        EXPECT_EQ(lemmas().size(), 1U); // that of the write
        const std::vector<Lits> got = lemmas();
        // both of them travel, in both directions; each may find the other
        ASSERT_FALSE(got.empty());
        for (const Lits& l : got) {
            EXPECT_EQ(l, clause({pos(eq(r, s)), neg(eq(array("b" + n), w)), pos(eq(i, j))}));
        }
        say(eq(i, j), true); // now r has to be v, which the closure does not see through w
        for (const Lits& l : lemmas()) {
            EXPECT_EQ(std::count(l.begin(), l.end(), pos(eq(r, s))), 0);
            EXPECT_EQ(std::count(l.begin(), l.end(), neg(eq(i, j))), 1);
        }
    }
}

TEST_F(ArrTest, equal_arrays_show_each_others_reads)
{
    for (int mode : {0, 1}) {
        make(mode);
        const std::string n = std::to_string(mode);
        const Term_* r = read(array("a" + n), index("i" + n));
        const Term_* s = read(array("b" + n), index("j" + n));
        const Term_* same = eq(array("a" + n), array("b" + n));
        tell(eq(r, s));
        say(eq(index("i" + n), index("j" + n)), true);
        EXPECT_TRUE(lemmas().empty());
        closure_.push_checkpoint();
        say(same, true);
        // the closure finds it by itself: the two reads are congruent
        EXPECT_TRUE(lemmas().empty());
        closure_.backtrack(1);
    }
}

TEST_F(ArrTest, arrays_that_differ_get_an_index_where_they_do)
{
    const Term_* a = array("a");
    const Term_* b = array("b");
    for (int mode : {0, 1}) {
        make(mode);
        const Term_* same = eq(a, b);
        closure_.push_checkpoint();
        say(same, false);
        const std::vector<Lits> got = lemmas();
        ASSERT_EQ(got.size(), 1U);
        const Term_* k = index(".idx" + std::to_string(same->get_id()));
        EXPECT_EQ(got[0], clause({pos(same), neg(eq(read(a, k), read(b, k)))}));
        EXPECT_TRUE(lemmas().empty());
        solver_->retract_lemma(ids_.back()); // the index is the same the next time
        EXPECT_EQ(lemmas(), got);
        closure_.backtrack(1);
    }
}

/// By values any two reads that differ will do; by classes they have to be known to differ.
TEST_F(ArrTest, reads_that_differ_in_the_model_make_an_index_needless)
{
    const Term_* i = index("i");
    const Term_* j = index("j");
    say(eq(array("a"), array("b")), false);
    tell(eq(read(array("a"), i), element("v")));
    tell(eq(read(array("b"), j), element("v")));
    give_value(i, j);
    EXPECT_TRUE(lemmas().empty());
    give_value(read(array("b"), j), read(array("a"), i));
    EXPECT_EQ(lemmas().size(), 1U);
}

TEST_F(ArrTest, constant_arrays_hold_one_element)
{
    for (int mode : {0, 1}) {
        make(mode);
        const std::string n = std::to_string(mode);
        const Term_* k = tm_.make_array_const(array_, element("v" + n));
        const Term_* other = tm_.make_array_const(array_, element("w" + n));
        const Term_* r = read(array("a" + n), index("i"));
        say(eq(array("a" + n), k), true);
        tell(eq(r, element("u")));
        const std::vector<Lits> got = lemmas();
        ASSERT_EQ(got.size(), 1U);
        EXPECT_EQ(got[0], clause({pos(eq(r, element("v" + n))), neg(eq(array("a" + n), k))}));
        // and two of them that one write connects hold the same one
        make(mode);
        say(eq(tm_.make_array_write(k, index("i"), element("u")), other), true);
        lemmas(); // of the write
        say(eq(element("v" + n), element("u")), false);
        bool found = false;
        for (const Lits& l : lemmas()) {
            found = found || std::count(l.begin(), l.end(),
                                        pos(eq(element("v" + n), element("w" + n)))) == 1;
        }
        EXPECT_TRUE(found);
    }
}

} // namespace
