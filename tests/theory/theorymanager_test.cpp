// The theory manager with solvers that do what the test says: routing, conflicts, implications,
// lemmas, and the carrier of equalities.
#include "dpll/dpllsolver.h"
#include "encoding/polaritychecker.h"
#include "theory/checkedtheorysolver.h"
#include "theory/iesimplifier.h"
#include "theory/theoryeqpropagator.h"
#include "theory/theorymanager.h"

#include <gtest/gtest.h>

#include <deque>

using namespace tarq;
using dpll::Lit;

namespace {

/// Takes the atoms whose head symbol's name starts with its letter; results are queued by the test.
class ToySolver : public TheorySolver {
public:
    ToySolver(TermManager* tm, char letter, std::vector<std::string>* calls)
        : TheorySolver(tm), letter_(letter), calls_(calls)
    {
    }
    const char* get_name() const override { return letter_ == 'p' ? "P" : "Q"; }
    TellAtomResult tell_atom(const Term_* atom) override
    {
        const bool mine = atom->get_symbol()->get_name()[0] == letter_;
        return {mine, mine};
    }
    void retract_atom(const Term_* atom) override { note("retract ", atom); }
    void new_decision_level() override { calls_->push_back(std::string(1, letter_) + " level"); }
    void cancel_until(int level) override
    {
        calls_->push_back(letter_ + (" cancel " + std::to_string(level)));
    }
    bool assume(TheoryLit l) override
    {
        note(l.is_neg() ? "-" : "+", l.get_term());
        return true;
    }
    bool assume(TheoryEq* eq) override
    {
        calls_->push_back(letter_ + (" eq " + eq->to_str()));
        return accept_equalities;
    }
    bool check(bool approx) override
    {
        calls_->push_back(letter_ + std::string(approx ? " approx" : " complete"));
        return conflict.empty();
    }
    void get_conflict(std::vector<TheoryLit>& out) override
    {
        out.insert(out.end(), conflict.begin(), conflict.end());
    }
    TheoryLit get_next_implied() override
    {
        if (implied.empty()) {
            return tlit_Undef;
        }
        const TheoryLit l = implied.front();
        implied.pop_front();
        return l;
    }
    bool get_explanation(TheoryLit l, bool required, std::vector<TheoryLit>& out) override
    {
        note("explain ", l.get_term());
        out.insert(out.end(), conflict.begin(), conflict.end());
        return required;
    }
    bool has_lemmas() override { return !lemmas.empty(); }
    LemmaInfo get_lemma(std::vector<TheoryLit>& clause) override
    {
        clause = lemmas.front().first;
        const LemmaInfo info = lemmas.front().second;
        lemmas.pop_front();
        return info;
    }
    void retract_lemma(void* id) override
    {
        calls_->push_back("gone " + std::to_string(reinterpret_cast<size_t>(id)));
    }
    bool is_alien(const Term_*) override { return false; }

    std::vector<TheoryLit> conflict;
    std::deque<TheoryLit> implied;
    std::deque<std::pair<std::vector<TheoryLit>, LemmaInfo>> lemmas;
    bool accept_equalities = true;

private:
    void note(const char* what, const Term_* t)
    {
        calls_->push_back(letter_ + (" " + (what + t->get_symbol()->get_name())));
    }

    char letter_;
    std::vector<std::string>* calls_;
};

using Calls = std::vector<std::string>;

class TheoryManagerTest : public ::testing::Test {
protected:
    TheoryManagerTest()
        : engine_(config_.dpll, &tm_), polarity_(&tm_), manager_(config_.theory, &tm_, &engine_)
    {
        auto p = std::make_unique<ToySolver>(&tm_, 'p', &calls_);
        auto q = std::make_unique<ToySolver>(&tm_, 'q', &calls_);
        p_ = p.get();
        q_ = q.get();
        manager_.add_solver(TheoryManager::LA,
                            std::make_unique<CheckedTheorySolver>(&tm_, std::move(p)));
        manager_.add_solver(TheoryManager::BV,
                            std::make_unique<CheckedTheorySolver>(&tm_, std::move(q)));
        manager_.start();
        manager_.set_polarity_checker(&polarity_);
        engine_.set_theory_manager(&manager_);
        c_ = tm_.make_constant(tm_.make_symbol("c", tm_.get_simple_type("U")));
    }
    /// A predicate over c, and its variable.
    const Term_* atom(const std::string& name)
    {
        const DataType* u = tm_.get_simple_type("U");
        return tm_.make_uninterpreted_function(
            tm_.make_symbol(name, tm_.get_function_type({u}, tm_.get_bool_type())), TermVector{c_});
    }
    Lit lit(const std::string& name, bool neg = false)
    {
        int var;
        engine_.make_proxy(atom(name), &var);
        return Lit(var, neg);
    }
    Calls take_calls()
    {
        Calls out;
        out.swap(calls_);
        return out;
    }

    TermManager tm_;
    Configuration config_;
    DpllSolver engine_;
    PolarityChecker polarity_;
    std::vector<std::string> calls_;
    TheoryManager manager_;
    ToySolver* p_;
    ToySolver* q_;
    const Term_* c_;
};

TEST_F(TheoryManagerTest, literals_go_to_those_interested_and_plain_variables_to_nobody)
{
    const Lit p = lit("p1");
    const Lit q = lit("q1", true);
    int var;
    engine_.make_proxy(tm_.make_constant(tm_.make_symbol("b", tm_.get_bool_type())), &var);
    EXPECT_TRUE(manager_.boolean_vars().get(static_cast<size_t>(var)));
    EXPECT_TRUE(manager_.boolean_vars().get(static_cast<size_t>(engine_.new_var())));
    EXPECT_FALSE(manager_.boolean_vars().get(static_cast<size_t>(p.var())));
    manager_.do_assume(p, true);
    manager_.do_assume(q, true);
    manager_.check_approx();
    EXPECT_EQ((Calls{"p +p1", "q -q1", "p approx", "q approx"}), take_calls());
    EXPECT_STREQ("Q", manager_.get_tsolver("Q")->get_name());
    EXPECT_EQ(nullptr, manager_.get_tsolver("R"));
}

TEST_F(TheoryManagerTest, conflict_stops_everything_until_a_level_is_cancelled)
{
    const Lit p = lit("p1");
    const Lit q = lit("q1");
    p_->conflict = {TheoryLit(atom("p1"), false)};
    manager_.new_decision_level();
    take_calls();
    manager_.do_assume(p, true);
    manager_.check_complete();
    ASSERT_TRUE(manager_.conflict());
    manager_.do_assume(q, true);
    std::vector<Lit> out;
    manager_.get_conflict(out);
    EXPECT_EQ(std::vector<Lit>{p}, out);
    EXPECT_EQ((Calls{"p +p1", "p complete"}), take_calls());
    // a level at or above the present one only clears the conflict
    manager_.cancel_until(1);
    EXPECT_FALSE(manager_.conflict());
    EXPECT_EQ(Calls{}, take_calls());
    manager_.cancel_until(0);
    EXPECT_EQ((Calls{"p cancel 0", "q cancel 0"}), take_calls());
}

TEST_F(TheoryManagerTest, implied_literals_come_in_the_order_of_solvers_and_are_explained_by_theirs)
{
    const Lit p = lit("p1");
    const Lit q1 = lit("q1");
    const Lit q2 = lit("q2", true);
    // what is assigned is passed over
    engine_.push_backtrack_point();
    std::vector<Lit> unit{q1};
    engine_.add_clause(unit);
    ASSERT_TRUE(engine_.value(q1).is_true());
    p_->implied = {TheoryLit(atom("p1"), false)};
    q_->implied = {TheoryLit(atom("q1"), false), TheoryLit(atom("q2"), true)};
    manager_.check_approx(); // a new walk over the solvers
    q_->conflict = {TheoryLit(atom("q1"), false)};
    take_calls();
    EXPECT_EQ(p, manager_.get_next_implied());
    EXPECT_EQ(q2, manager_.get_next_implied());
    EXPECT_EQ(dpll::lit_Undef, manager_.get_next_implied());
    std::vector<Lit> reason;
    EXPECT_FALSE(manager_.get_explanation(p, false, reason));
    EXPECT_TRUE(manager_.get_explanation(q2, true, reason));
    EXPECT_EQ(std::vector<Lit>{q1}, reason);
    EXPECT_EQ((Calls{"p explain p1", "q explain q2"}), take_calls());
}

TEST_F(TheoryManagerTest, lemma_flags_reach_the_engine)
{
    struct Row {
        unsigned flags;
        bool keep, permanent;
    };
    for (const Row& r : {Row{0, false, false}, Row{LEMMA_KEEP, true, true},
                         Row{LEMMA_KEEP | LEMMA_REMOVABLE, true, false}}) {
        LemmaInfo info;
        info.flags = r.flags;
        info.id = reinterpret_cast<void*>(size_t{7});
        q_->lemmas.push_back({{TheoryLit(atom("q9"), true)}, info});
        ASSERT_TRUE(manager_.has_lemmas());
        std::vector<Lit> out;
        bool keep = !r.keep;
        bool permanent = !r.permanent;
        const unsigned id = manager_.get_lemma(out, &keep, &permanent);
        EXPECT_EQ(r.keep, keep);
        EXPECT_EQ(r.permanent, permanent);
        EXPECT_EQ(std::vector<Lit>{lit("q9", true)}, out);
        take_calls();
        manager_.retract_lemma(id);
        EXPECT_EQ(Calls{"gone 7"}, take_calls());
        EXPECT_EQ(1U, id); // used again
    }
    EXPECT_EQ(1, polarity_(atom("q9")));
    EXPECT_FALSE(manager_.has_lemmas());

    // new atoms follow the atom they depend on
    const Lit dep = lit("q1");
    engine_.set_decision_var(dep.var(), false);
    LemmaInfo info;
    info.flags = LEMMA_HAS_DEP;
    info.dep_atom = atom("q1");
    p_->lemmas.push_back({{TheoryLit(atom("p2"), false), TheoryLit(atom("q9"), false)}, info});
    std::vector<Lit> out;
    bool keep, permanent;
    ASSERT_TRUE(manager_.has_lemmas());
    manager_.get_lemma(out, &keep, &permanent);
    EXPECT_FALSE(engine_.is_decision_var(out[0].var()));
    EXPECT_TRUE(engine_.is_decision_var(out[1].var())); // was there before
    engine_.set_decision_var(dep.var(), true);
    EXPECT_TRUE(engine_.is_decision_var(out[0].var()));
}

TEST_F(TheoryManagerTest, atoms_are_retracted_newest_first_from_those_interested)
{
    const int point = engine_.push_backtrack_point();
    lit("p1");
    lit("q1");
    lit("p2");
    take_calls();
    engine_.pop_backtrack_point();
    Calls retracted;
    for (const std::string& c : take_calls()) {
        if (c.find("retract") != std::string::npos) {
            retracted.push_back(c);
        }
    }
    EXPECT_EQ((Calls{"p retract p2", "q retract q1", "p retract p1"}), retracted);
    EXPECT_EQ(point, engine_.next_var());
}

TEST_F(TheoryManagerTest, held_equalities_wait_in_order_and_never_return_to_their_sender)
{
    TheoryEqPropagator carrier;
    carrier.subscribe(p_);
    carrier.subscribe(q_);
    const DataType* u = tm_.get_simple_type("U");
    const Term_* d = tm_.make_constant(tm_.make_symbol("d", u));
    TheoryEq dc(d, c_);
    EXPECT_EQ("Teq(= c d)", dc.to_str()); // the lower id first
    EXPECT_TRUE(carrier.propagate(p_, &dc));
    EXPECT_EQ(Calls{"q eq Teq(= c d)"}, take_calls());
    carrier.hold();
    {
        const Term_* e = tm_.make_constant(tm_.make_symbol("e", u));
        TheoryEq first(c_, e);
        TheoryEq second(d, e);
        carrier.propagate(q_, &first);
        carrier.propagate(nullptr, &second);
    } // copies are what is sent later
    EXPECT_EQ(Calls{}, take_calls());
    p_->accept_equalities = false;
    EXPECT_FALSE(carrier.flush());
    EXPECT_EQ((Calls{"p eq Teq(= c e)", "p eq Teq(= d e)"}), take_calls());
    EXPECT_TRUE(carrier.flush());
    carrier.unsubscribe(p_);
    EXPECT_TRUE(carrier.propagate(nullptr, &dc));
    EXPECT_EQ(Calls{"q eq Teq(= c d)"}, take_calls());
}

TEST_F(TheoryManagerTest, a_solver_of_defaults_accepts_the_protocol_and_refuses_the_rest)
{
    TheorySolver s(&tm_);
    EXPECT_FALSE(s.tell_atom(atom("p1")).interested);
    s.new_decision_level();
    EXPECT_TRUE(s.check(true));
    EXPECT_TRUE(s.check(false));
    EXPECT_EQ(tlit_Undef, s.get_next_implied());
    EXPECT_FALSE(s.has_lemmas());
    s.cancel_until(0);
    s.build_model();
    EXPECT_EQ(nullptr, s.get_model_value(c_));
    std::vector<TheoryLit> out;
    const auto message = [](auto f) {
        try {
            f();
        } catch (const TheorySolver::error& e) {
            return std::string(e.get_msg());
        }
        return std::string("none");
    };
    EXPECT_EQ("can't be in conflict", message([&] { s.get_conflict(out); }));
    EXPECT_EQ("can't explain", message([&] { s.get_explanation(tlit_Undef, true, out); }));
    EXPECT_EQ("can't generate lemmas", message([&] { s.get_lemma(out); }));
    EXPECT_EQ("can't retract lemmas", message([&] { s.retract_lemma(nullptr); }));
    EXPECT_EQ("can't build abstract model", message([&] { s.build_abstract_model(); }));
    EXPECT_EQ("can't check equality of c and c", message([&] { s.equal_in_model(c_, c_); }));
    EXPECT_EQ("can't detect alien terms", message([&] { s.is_alien(c_); }));
    EXPECT_EQ("can't retract atom: (p1 _)", message([&] { s.retract_atom(atom("p1")); }));
}

TEST_F(TheoryManagerTest, interface_equalities_have_one_form)
{
    const DataType* integer = tm_.get_int_type();
    const Term_* x = tm_.make_constant(tm_.make_symbol("x", integer));
    const Term_* y = tm_.make_constant(tm_.make_symbol("y", integer));
    const Term_* three = tm_.make_number(QNumber(3));
    EXPECT_EQ(tm_.make_true(), make_interface_equality(&tm_, x, x));
    EXPECT_EQ(tm_.make_false(), make_interface_equality(&tm_, three, tm_.make_number(QNumber(4))));
    const Term_* xy = make_interface_equality(&tm_, y, x);
    EXPECT_EQ(xy, make_interface_equality(&tm_, x, y));
    EXPECT_EQ(x, xy->child(0));
    const Term_* x3 = make_interface_equality(&tm_, three, x);
    EXPECT_EQ(x3, make_interface_equality(&tm_, x, three));
    EXPECT_EQ(three, x3->child(1));
}

} // namespace
