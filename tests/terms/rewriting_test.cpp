// Walks over terms: the visitor, substitution, free variables, copying and collection.
#include "terms/stdtermsimplifier.h"
#include "terms/termvisitor.h"
#include "termtesting.h"

#include <gtest/gtest.h>

using namespace tarq;
using tarq::termtest::bool_constant;
using tarq::termtest::constant;
using tarq::termtest::message_of;

namespace {

constexpr int DEPTH = 1000000;

/// Records the walk as text: +name at the entry, -name at the exit.
struct Recorder {
    std::string log;
    std::string skip, abort_at;
    VisitResult visit(const Term_* t, bool pre)
    {
        const std::string& name = t->get_symbol()->get_name();
        log += (pre ? "+" : "-") + name + " ";
        return name == abort_at      ? VisitResult::ABORT
               : pre && name == skip ? VisitResult::SKIP
                                     : VisitResult::PROCESS;
    }
};

struct Thrower {
    VisitResult visit(const Term_* t, bool pre)
    {
        if (!pre && t->arity() == 2) {
            throw TermManager::error("stop");
        }
        return VisitResult::PROCESS;
    }
};

class Rewriting : public ::testing::Test {
protected:
    Rewriting()
    {
        p = tm.make_symbol("p", tm.get_function_type({tm.get_int_type()}, tm.get_bool_type()));
        x = tm.make_named_variable("x", tm.get_int_type());
        y = tm.make_named_variable("y", tm.get_int_type());
        c = constant(tm, "c", tm.get_int_type());
    }
    const Term_* apply(const Term_* t)
    {
        const Term_* args[] = {t};
        return tm.make_uninterpreted_function(p, args);
    }
    const Term_* substitute(const Term_* t, const Term_* from, const Term_* to)
    {
        return tm.substitute(t, TermArgs(&from, 1), TermArgs(&to, 1));
    }

    TermManager tm;
    const Symbol* p;
    const Term_* x;
    const Term_* y;
    const Term_* c;
};

} // namespace

TEST_F(Rewriting, the_visitor_enters_and_leaves_each_term_once_and_obeys_the_callback)
{
    const Term_* a = bool_constant(tm, "a");
    const Term_* t = tm.make_or(tm.make_and(a, a), a);
    BitVector marks;
    const auto walk = [&](Recorder r, bool once) {
        const bool finished = TermVisitor(marks, r, once).visit(t);
        return r.log + (finished ? "." : "!");
    };
    EXPECT_EQ(walk({}, true), "+`or` +a -a +`and` -`and` -`or` .");
    EXPECT_EQ(walk({}, false), "+`or` +a -a +`and` +a -a +a -a -`and` -`or` .");
    EXPECT_EQ(walk({"", "`or`", ""}, true), "+`or` -`or` .");
    EXPECT_EQ(walk({"", "", "a"}, true), "+`or` +a !");
    Thrower thrower;
    EXPECT_THROW(TermVisitor(marks, thrower).visit(t), TermManager::error);
    // the shared marks are clean again after every way out
    EXPECT_EQ(walk({}, true), "+`or` +a -a +`and` -`and` -`or` .");
    // without clearing, the next walk leaves out what is finished
    Recorder r;
    TermVisitor visitor(r);
    visitor.visit(t->child(0), false);
    r.log.clear();
    visitor.visit(t, false);
    EXPECT_EQ(r.log, "+`or` -`or` ");
}

TEST_F(Rewriting, replacement_is_simultaneous_and_does_not_walk_what_it_replaces)
{
    const Term_* t = tm.make_and(apply(x), apply(y));
    const TermVector from = {x, y};
    const TermVector to = {y, x};
    EXPECT_EQ(tm.substitute(t, from, to), tm.make_and(apply(y), apply(x)));
    EXPECT_EQ(substitute(t, apply(x), tm.make_not(apply(x))),
              tm.make_and(tm.make_not(apply(x)), apply(y)));
    EXPECT_EQ(substitute(t, c, x), t);
    EXPECT_EQ(message_of<TermManager::error>([&] { tm.substitute(t, from, {}); }),
              "Incompatible arguments to substitute");
    // the cache holds results for the next call, the plain form leaves the map alone
    TermMap map;
    map[x] = c;
    tm.substitute(t, map, false);
    EXPECT_EQ(map.size(), 1u);
    tm.substitute(t, map, true);
    EXPECT_EQ(map[apply(x)], apply(c));
    EXPECT_EQ(map[t], tm.make_and(apply(c), apply(y)));
}

TEST_F(Rewriting, quantifiers_capture_nothing_and_shadow_their_variable)
{
    const Term_* body = tm.make_and(apply(x), apply(y));
    const Term_* t = tm.make_forall(x, body);
    // x is bound: not replaced
    EXPECT_EQ(substitute(t, x, c), t);
    EXPECT_EQ(substitute(t, apply(x), tm.make_true()), t);
    // y is free: replaced; by x only under another bound variable
    EXPECT_EQ(substitute(t, y, c), tm.make_forall(x, tm.make_and(apply(x), apply(c))));
    const Term_* r = substitute(t, y, x);
    ASSERT_TRUE(tm.is_forall(r));
    const Term_* z = r->child(0);
    EXPECT_TRUE(tm.is_variable(z) && z != x && z != y);
    EXPECT_EQ(r->child(1), tm.make_and(apply(z), apply(x)));
    // no renaming where nothing is replaced
    const Term_* closed = tm.make_exists(x, apply(x));
    EXPECT_EQ(substitute(closed, y, x), closed);
    // a closed key is replaced below any quantifier
    EXPECT_EQ(substitute(tm.make_forall(x, tm.make_or(apply(x), closed)), closed, apply(c)),
              tm.make_forall(x, tm.make_or(apply(x), apply(c))));
}

// The meaning of a substitution is that of the term under changed values of the variables.
TEST(Substitution, random_quantified_terms_keep_their_meaning)
{
    for (unsigned seed = 0; seed < 400; ++seed) {
        TermManager tm;
        TermVector vars;
        for (int i = 0; i < 4; ++i) {
            vars.push_back(tm.make_fresh_variable(tm.get_bool_type()));
        }
        termtest::RandomTerms random(tm, vars, vars, seed);
        const Term_* t = random.make(14);
        const TermVector from = {vars[0], vars[1], vars[2]};
        const TermVector to = {random.make(3), random.make(3), random.leaf()};
        const Term_* r = tm.substitute(t, from, to);
        for (unsigned row = 0; row < 16; ++row) {
            termtest::Assignment values;
            for (size_t i = 0; i < 4; ++i) {
                values[vars[i]] = (row >> i & 1) != 0;
            }
            termtest::Assignment changed = values;
            for (size_t i = 0; i < 3; ++i) {
                changed[from[i]] = termtest::evaluate(tm, to[i], values);
            }
            ASSERT_EQ(termtest::evaluate(tm, r, values), termtest::evaluate(tm, t, changed))
                << "seed " << seed;
        }
    }
}

TEST_F(Rewriting, free_variables_are_those_no_quantifier_binds)
{
    const Term_* both = tm.make_and(apply(y), apply(x));
    const Term_* t = tm.make_or(tm.make_exists(x, both), apply(c));
    const FreeVariableMap map = tm.get_free_variable_map(t);
    EXPECT_EQ(map[both], (TermVector{x, y}));
    EXPECT_EQ(map[t], (TermVector{y}));
    EXPECT_TRUE(map[apply(c)].empty());
    auto sets = tm.get_free_variable_set_map(t);
    EXPECT_EQ(sets.size(), map.size());
    EXPECT_TRUE(sets[t].contains(y) && sets[t].size() == 1);
}

TEST_F(Rewriting, a_million_levels_are_walked_without_recursion)
{
    const Term_* v = tm.make_fresh_variable(tm.get_bool_type());
    const Term_* a = bool_constant(tm, "a");
    const Term_* t = v;
    const Term_* expected = a;
    for (int i = 0; i < DEPTH; ++i) {
        t = i % 1000 == 0 ? tm.make_forall(x, tm.make_not(t)) : tm.make_not(t);
        expected = i % 1000 == 0 ? tm.make_forall(x, tm.make_not(expected)) : tm.make_not(expected);
    }
    EXPECT_EQ(substitute(t, v, a), expected);
    const FreeVariableMap map = tm.get_free_variable_map(t);
    EXPECT_EQ(map[t], TermVector{v});
    const std::string text = t->to_str();
    EXPECT_GT(text.size(), 8u * DEPTH);
    EXPECT_EQ(t->to_str(10), text.substr(0, 10) + "...");
    EXPECT_EQ(text.substr(text.size() - 3), ")))");
    TermManager other;
    const Term_* copy = other.copy_term(&tm, t);
    EXPECT_EQ(copy->to_str(), text);
    EXPECT_TRUE(tm.gc({t}, {}, {}));
    EXPECT_EQ(t->to_str(), text);
}

TEST_F(Rewriting, copies_mean_the_same_in_the_other_manager)
{
    TermManager other;
    other.make_symbol("zzz", other.get_bool_type()); // ids differ from here on
    const DataType* u = tm.get_simple_type("U");
    const DataType* array = tm.get_array_type(u, tm.get_bv_type(8));
    const Term_* a = constant(tm, "a", array);
    const Term_* i = constant(tm, "i", u);
    const Term_* f = constant(tm, "f", tm.get_fp_type(5, 10));
    const Term_* read = tm.make_array_read(tm.make_array_write(a, i, tm.make_bv_number(3, 8)), i);
    const Term_* rm = tm.make_fprounding_plus_inf();
    const TermVector terms = {
        tm.make_forall(x, tm.make_leq(x, tm.make_times(tm.make_number(QNumber(1, 2)), c))),
        tm.make_bv_ult(tm.make_bv_rotate_left(2, read), tm.make_bv_not(read)),
        tm.make_fp_lt(tm.make_fp_add(rm, f, tm.make_fp_nan(5, 10)),
                      tm.make_fp_from_sbv(5, 10, rm, read)),
        tm.make_term_ite(tm.make_true(), tm.make_sin(tm.make_pi()), c),
        tm.make_int_modular_congruence(7, c, tm.make_int_from_ubv(read)),
        tm.make_equal(a, tm.make_array_const(array, tm.make_bv_number(0, 8))),
    };
    const TermVector copies = other.copy_terms(&tm, terms);
    for (size_t k = 0; k < terms.size(); ++k) {
        EXPECT_EQ(copies[k]->to_str(), terms[k]->to_str());
        EXPECT_EQ(other.get_type(copies[k])->to_str(), tm.get_type(terms[k])->to_str());
        EXPECT_EQ(other.get_tag(copies[k]), tm.get_tag(terms[k]));
        EXPECT_EQ(tm.copy_term(&other, copies[k]), terms[k]);
    }
    EXPECT_EQ(other.get_simple_type("U", true), other.get_type(other.copy_term(&tm, i)));
    // replaced terms are not walked, so what they hold need not exist here
    TermMap map;
    map[read] = other.make_bv_number(1, 8);
    const Term_* r = other.copy_term_with_subst(&tm, terms[4], map);
    EXPECT_EQ(r->to_str(), "(`int_mod_congr_7` c (`ubv2int_8` 1_8))");
}

TEST_F(Rewriting, symbols_that_share_a_name_stay_apart_in_a_copy)
{
    TermManager other;
    const Term_* old_a = bool_constant(tm, "a");
    tm.remove_symbol("a");
    const Term_* new_a = bool_constant(tm, "a");
    const Term_* copy_new = other.copy_term(&tm, new_a);
    const Term_* copy_old = other.copy_term(&tm, old_a);
    EXPECT_NE(copy_old, copy_new);
    EXPECT_EQ(other.copy_term(&tm, old_a), copy_old);
    EXPECT_EQ(bool_constant(other, "a"), copy_new);
    // a user's name with another type is an error, a variable's is not
    constant(other, "c", other.get_bool_type());
    EXPECT_EQ(message_of<TermManager::error>([&] { other.copy_term(&tm, c); }),
              "A symbol with name `c' already exists, with type: Bool");
    const Term_* clash = other.make_named_variable("x", other.get_bool_type());
    const Term_* copy = other.copy_term(&tm, x);
    EXPECT_TRUE(copy != clash && other.is_variable(copy) &&
                other.get_type(copy) == other.get_int_type());
    EXPECT_EQ(other.copy_term(&tm, x), copy);
    const DataType* hidden = tm.make_hidden_type("U");
    EXPECT_NE(other.copy_type(&tm, hidden), other.get_simple_type("U"));
    EXPECT_EQ(other.copy_type(&tm, hidden), other.copy_type(&tm, hidden));
}

TEST_F(Rewriting, collection_keeps_what_is_asked_for_and_the_rest_can_be_made_again)
{
    const DataType* u = tm.get_simple_type("U");
    const DataType* v = tm.get_simple_type("V");
    const Symbol* fu = tm.make_symbol("fu", tm.get_function_type({u}, tm.get_bv_type(4)));
    const Term_* a = constant(tm, "a", u);
    const Term_* number = tm.make_bv_number(3, 4);
    const Term_* five = tm.make_number(5);
    const Symbol* five_symbol = five->get_symbol();
    const TermVector args = {a};
    const Term_* kept = tm.make_equal(tm.make_term(fu, args), tm.make_bv_add(number, number));
    const std::string text = kept->to_str();
    constant(tm, "dead", v);
    tm.make_equal(c, tm.make_number(77));
    tm.make_bv_mul(number, number);
    tm.make_forall(x, apply(x));
    tm.make_int_modular_congruence(3, five, c);

    tm.add_user();
    tm.add_user();
    EXPECT_FALSE(tm.gc({kept}, {}, {}));
    EXPECT_TRUE(tm.get_symbol("dead"));
    tm.remove_user();
    EXPECT_TRUE(tm.gc({kept}, {five_symbol}, {}));
    tm.remove_user();

    EXPECT_EQ(kept->to_str(), text);
    EXPECT_EQ(tm.make_equal(tm.make_term(fu, args), tm.make_bv_add(number, number)), kept);
    EXPECT_EQ(tm.make_bv_number(3, 4), number);
    EXPECT_EQ(tm.get_symbol("dead"), nullptr);
    EXPECT_EQ(tm.get_simple_type("V", true), nullptr);
    EXPECT_EQ(tm.get_simple_type("U", true), u);
    // the symbol was kept without its term
    EXPECT_TRUE(tm.is_arith_number(five_symbol));
    EXPECT_EQ(tm.make_number(5)->get_symbol(), five_symbol);
    size_t w = 0;
    EXPECT_TRUE(tm.is_bv_type(tm.get_bv_type(4), &w) && w == 4);
    const Term_* again = constant(tm, "c", tm.get_int_type());
    QNumber q;
    EXPECT_TRUE(tm.is_number(tm.make_equal(again, tm.make_number(77))->child(1), &q) && q == 77);
    EXPECT_TRUE(tm.is_bv_mul(tm.make_bv_mul(number, number), &w) && w == 4);
    EXPECT_TRUE(tm.is_int_modular_congruence(tm.make_int_modular_congruence(3, again, again)));
    EXPECT_TRUE(tm.is_and(tm.make_and(tm.make_true(), tm.make_false())));
    EXPECT_EQ(tm.debug_get_term(kept->get_id()), kept);
    EXPECT_EQ(tm.debug_get_term(0), nullptr);
}
