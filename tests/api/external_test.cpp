// A foreign SAT engine through the exported table: a small search that takes every part of the
// protocol seriously, compared with the built-in one on random problems, and the failures.
#include <tarq.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

namespace {

/// Decides chronologically: propagates, asks the theories, flips the newest decision. Keeps the
/// clauses it is told and those of conflicts and reasons.
struct ToyEngine {
    tarq_ext_dpll_interface table{}; // first: a pointer to it is one to the engine
    tarq_dpll_callback cb{};
    std::vector<std::vector<int>> clauses;
    std::vector<int> value{0}; // by variable: -1, 0, 1
    std::vector<int> trail, level_start, decisions, implied, model, failed, removed, frozen;
    bool jumps = false; // goes back to level 0 as soon as a report brings a clause
    bool changed = false;
    bool searching = false;
    std::string failing; // the operation that reports a failure
    int calls = 0, jumps_done = 0, implications = 0, lemmas = 0;

    ToyEngine()
    {
        table.new_var = [](tarq_ext_dpll_interface* t, int, int) {
            self(t).value.push_back(0);
            self(t).frozen.push_back(0);
            return 0;
        };
        table.set_decision_var = [](tarq_ext_dpll_interface* t, int, int) {
            return self(t).status("set_decision_var");
        };
        table.set_frozen = [](tarq_ext_dpll_interface* t, int var, int flag) {
            self(t).frozen.at(static_cast<size_t>(var) - 1) = flag;
            return self(t).status("set_frozen");
        };
        table.add_clause = [](tarq_ext_dpll_interface* t, int* lits, int, int in_callback) {
            self(t).add(lits, in_callback != 0);
            return 0;
        };
        table.solve = [](tarq_ext_dpll_interface* t, int* assumptions, int** conflict) {
            const tarq_result r = self(t).solve(assumptions);
            *conflict = self(t).failed.data();
            return r;
        };
        table.model_value = [](tarq_ext_dpll_interface* t, int var) {
            const int v = self(t).model.at(static_cast<size_t>(var));
            return v > 0 ? TARQ_TRUE : v < 0 ? TARQ_FALSE : TARQ_UNDEF;
        };
        table.enqueue_assignment = [](tarq_ext_dpll_interface* t, int lit) {
            self(t).implied.push_back(lit);
            return self(t).status("enqueue_assignment");
        };
        table.remove_clauses_containing = [](tarq_ext_dpll_interface* t, int var) {
            auto& all = self(t).clauses;
            all.erase(std::remove_if(all.begin(), all.end(),
                                     [var](const auto& c) {
                                         return std::find(c.begin(), c.end(), -var) != c.end();
                                     }),
                      all.end());
            self(t).removed.push_back(var);
            return self(t).status("remove_clauses_containing");
        };
        table.reset = [](tarq_ext_dpll_interface* t) {
            ToyEngine& e = self(t);
            e.clauses.clear();
            e.value.assign(1, 0);
            e.trail.clear();
            e.level_start.clear();
            e.frozen.clear();
            return e.status("reset");
        };
        table.set_callback = [](tarq_ext_dpll_interface* t, tarq_dpll_callback c) {
            self(t).cb = c;
            return self(t).status("set_callback");
        };
    }

    static ToyEngine& self(tarq_ext_dpll_interface* t) { return *reinterpret_cast<ToyEngine*>(t); }
    int status(const char* operation)
    {
        ++calls;
        return failing == operation ? 1 : 0;
    }

    int& value_of(int lit) { return value.at(static_cast<size_t>(std::abs(lit))); }
    bool is(int lit, int v) { return value_of(lit) * (lit > 0 ? 1 : -1) == v; }
    int level() const { return static_cast<int>(level_start.size()); }

    void add(const int* lits, bool in_callback)
    {
        clauses.emplace_back();
        for (; *lits; ++lits) {
            clauses.back().push_back(*lits);
        }
        changed = true;
        if (in_callback) {
            ++lemmas;
            if (jumps && searching && level() > 0) {
                ++jumps_done;
                // first one level, which the second then overtakes
                EXPECT_EQ(tarq_dpll_callback_notify_backtrack(cb, level() - 1), 0);
                back_to(0);
                EXPECT_EQ(tarq_dpll_callback_notify_backtrack(cb, 1), 0); // changes nothing
            }
        }
    }

    bool assign(int lit)
    {
        value_of(lit) = lit > 0 ? 1 : -1;
        trail.push_back(lit);
        return tarq_dpll_callback_notify_assignment(cb, lit) == 0;
    }
    bool open(int lit)
    {
        level_start.push_back(static_cast<int>(trail.size()));
        decisions.resize(static_cast<size_t>(level()), 0);
        decisions.back() = lit;
        return tarq_dpll_callback_notify_new_level(cb) == 0 && assign(lit);
    }
    void back_to(int to)
    {
        const auto start = static_cast<size_t>(level_start.at(static_cast<size_t>(to)));
        while (trail.size() > start) {
            value_of(trail.back()) = 0;
            trail.pop_back();
        }
        level_start.resize(static_cast<size_t>(to));
        EXPECT_EQ(tarq_dpll_callback_notify_backtrack(cb, to), 0);
    }

    enum class Outcome { quiet, conflict, failure };

    /// To a fixpoint of clauses and theories.
    Outcome propagate()
    {
        for (;;) {
            for (size_t i = 0; i < clauses.size(); ++i) {
                int open_lit = 0;
                int num_open = 0;
                bool satisfied = false;
                for (int l : clauses[i]) {
                    satisfied = satisfied || is(l, 1);
                    if (is(l, 0) && l != open_lit) {
                        open_lit = l;
                        ++num_open;
                    }
                }
                if (satisfied || num_open > 1) {
                    continue;
                }
                if (num_open == 0) {
                    return Outcome::conflict;
                }
                if (!assign(open_lit)) {
                    return Outcome::failure;
                }
                i = static_cast<size_t>(-1); // from the start
            }
            tarq_truth_value code;
            int* list;
            implied.clear();
            changed = false;
            if (tarq_dpll_callback_no_conflict_after_bcp(cb, &code, &list) != 0) {
                return Outcome::failure;
            }
            if (code == TARQ_FALSE) {
                for (const int* l = list; *l; ++l) {
                    EXPECT_TRUE(is(*l, -1)) << "a conflict clause is false";
                }
                add(list, false);
                return Outcome::conflict;
            }
            if (code == TARQ_TRUE) {
                return Outcome::quiet;
            }
            EXPECT_TRUE(changed || !implied.empty());
            for (int l : std::vector<int>(implied)) {
                if (is(l, 0)) {
                    ++implications;
                    if (!assign(l) || tarq_dpll_callback_ask_theory_reason(cb, l, &list) != 0) {
                        return Outcome::failure;
                    }
                    bool has = false;
                    for (const int* r = list; *r; ++r) {
                        has = has || *r == l;
                        EXPECT_TRUE(*r == l || is(*r, -1)) << "a reason makes its literal true";
                    }
                    EXPECT_TRUE(has);
                    add(list, false);
                }
            }
        }
    }

    tarq_result solve(const int* assumptions)
    {
        std::vector<int> assumed;
        for (; *assumptions; ++assumptions) {
            assumed.push_back(*assumptions);
            EXPECT_EQ(frozen.at(static_cast<size_t>(std::abs(*assumptions)) - 1), 1);
        }
        failed = assumed;
        failed.push_back(0);
        if (failing == "solve") {
            return TARQ_UNKNOWN;
        }
        searching = true;
        const tarq_result r = search(assumed);
        searching = false;
        model = value;
        // Tarq goes back by itself
        const size_t start =
            level_start.empty() ? trail.size() : static_cast<size_t>(level_start[0]);
        while (trail.size() > start) {
            value_of(trail.back()) = 0;
            trail.pop_back();
        }
        level_start.clear();
        return r;
    }

    tarq_result search(const std::vector<int>& assumed)
    {
        const int base = static_cast<int>(assumed.size());
        for (;;) {
            const Outcome o = propagate();
            if (o == Outcome::failure) {
                return TARQ_UNKNOWN;
            }
            if (o == Outcome::conflict) {
                if (level() <= base) {
                    return TARQ_UNSAT;
                }
                const int flipped = -decisions[static_cast<size_t>(level()) - 1];
                back_to(level() - 1);
                if (is(flipped, 0) && !assign(flipped)) {
                    return TARQ_UNKNOWN;
                }
                continue;
            }
            if (level() < base) {
                const int a = assumed[static_cast<size_t>(level())];
                if (is(a, -1)) {
                    return TARQ_UNSAT;
                }
                if (is(a, 1)) { // its level all the same
                    level_start.push_back(static_cast<int>(trail.size()));
                    decisions.resize(static_cast<size_t>(level()), a);
                    if (tarq_dpll_callback_notify_new_level(cb) != 0) {
                        return TARQ_UNKNOWN;
                    }
                } else if (!open(a)) {
                    return TARQ_UNKNOWN;
                }
                continue;
            }
            const auto free = std::find(value.begin() + 1, value.end(), 0);
            if (free != value.end()) {
                if (!open(-static_cast<int>(free - value.begin()))) {
                    return TARQ_UNKNOWN;
                }
                continue;
            }
            tarq_truth_value code;
            int* list;
            if (tarq_dpll_callback_model_found(cb, &code, &list) != 0) {
                return TARQ_UNKNOWN;
            }
            if (code == TARQ_TRUE) {
                return TARQ_SAT;
            }
            if (code == TARQ_FALSE) {
                add(list, false); // propagation finds it false
            }
        }
    }
};

class ExternalEngine : public ::testing::Test {
protected:
    ExternalEngine() : own(make_env()), other(make_env()) {}
    ~ExternalEngine() override
    {
        tarq_destroy_env(own);
        tarq_destroy_env(other);
    }

    static tarq_env make_env()
    {
        tarq_config cfg = tarq_create_config();
        EXPECT_EQ(tarq_set_option(cfg, "model_generation", "true"), 0);
        tarq_env e = tarq_create_env(cfg);
        tarq_destroy_config(cfg);
        return e;
    }
    static tarq_term read(tarq_env e, const std::string& formula)
    {
        static const std::string declarations =
            "(declare-const p Bool)(declare-const q Bool)(declare-const r Bool)"
            "(declare-const x Real)(declare-const y Real)(declare-const i Int)(declare-const j Int)"
            "(declare-fun f (Real) Real)(declare-fun g (Int) Int)(declare-const a (Array Int Int))"
            "(declare-const b (_ BitVec 3))(declare-const c (_ BitVec 3))";
        tarq_term t = tarq_from_smtlib2(e, (declarations + "(assert " + formula + ")").c_str());
        EXPECT_FALSE(TARQ_ERROR_TERM(t)) << tarq_last_error_message(e);
        return t;
    }
    void assert_both(const std::string& formula)
    {
        for (tarq_env e : {own, other}) {
            ASSERT_EQ(tarq_assert_formula(e, read(e, formula)), 0);
        }
    }
    std::string message() { return tarq_last_error_message(other); }

    tarq_env own;   // searches by itself
    tarq_env other; // by the toy
    ToyEngine toy;
};

class RandomFormulas {
public:
    explicit RandomFormulas(unsigned seed) : rng_(seed) {}
    int below(int n) { return static_cast<int>(rng_() % static_cast<unsigned>(n)); }
    std::string atom()
    {
        static const char* const atoms[] = {"p",
                                            "q",
                                            "r",
                                            "(<= x y)",
                                            "(< (f x) (f y))",
                                            "(= (f x) y)",
                                            "(= x y)",
                                            "(<= 1 (+ x y))",
                                            "(= (f (f x)) x)",
                                            "(< (* 2 i) (* 2 j))",
                                            "(= (g i) j)",
                                            "(= i j)",
                                            "(< i (+ j 1))",
                                            "(= (select a i) j)",
                                            "(= (store a i j) (store a j i))",
                                            "(= (select a j) (g i))",
                                            "(= (+ (* 2 i) (* 4 j)) 3)",
                                            "(bvult b c)",
                                            "(= (bvadd b c) #b110)",
                                            "(= b c)"};
        return atoms[below(std::size(atoms))];
    }
    std::string formula(int depth)
    {
        if (depth == 0 || below(5) == 0) {
            return below(2) ? atom() : "(not " + atom() + ")";
        }
        static const char* const connectives[] = {"and", "or", "or", "=", "=>"};
        return std::string("(") + connectives[below(5)] + " " + formula(depth - 1) + " " +
               formula(depth - 1) + ")";
    }

private:
    std::mt19937 rng_;
};

TEST_F(ExternalEngine, random_sessions_agree_with_the_built_in_search)
{
    ASSERT_EQ(tarq_set_external_dpll_engine(other, &toy.table), 0);
    int num_sat = 0;
    int num_unsat = 0;
    for (unsigned seed = 1; seed <= 60 && !HasFailure(); ++seed) {
        SCOPED_TRACE(seed);
        toy.jumps = seed % 2 == 0;
        RandomFormulas random(seed);
        ASSERT_EQ(tarq_reset_env(own), 0);
        ASSERT_EQ(tarq_reset_env(other), 0);
        int points = 0;
        std::vector<std::vector<std::string>> asserted(1);
        for (int step = 0; step < 14 && !HasFailure(); ++step) {
            const int what = random.below(10);
            if (what < 5) {
                asserted.back().push_back(random.formula(2));
                assert_both(asserted.back().back());
            } else if (what == 5) {
                ++points;
                asserted.emplace_back();
                tarq_push_backtrack_point(own);
                tarq_push_backtrack_point(other);
            } else if (what == 6 && points > 0) {
                --points;
                asserted.pop_back();
                tarq_pop_backtrack_point(own);
                ASSERT_EQ(tarq_pop_backtrack_point(other), 0) << message();
            } else if (what == 7) {
                const tarq_term lits[][2] = {{read(own, "p"), read(own, "(not (= i j))")},
                                             {read(other, "p"), read(other, "(not (= i j))")}};
                const tarq_result r = tarq_solve_with_assumptions(own, lits[0], 2);
                ASSERT_EQ(tarq_solve_with_assumptions(other, lits[1], 2), r) << message();
                if (r == TARQ_UNSAT) {
                    size_t n = 0;
                    tarq_term* core = tarq_get_unsat_assumptions(other, &n);
                    EXPECT_EQ(tarq_solve_with_assumptions(other, core, n), TARQ_UNSAT);
                    tarq_free(core);
                }
            } else {
                const tarq_result r = tarq_solve(own);
                ASSERT_EQ(tarq_solve(other), r) << message();
                ++(r == TARQ_SAT ? num_sat : num_unsat);
                if (r != TARQ_SAT) {
                    continue;
                }
                for (const auto& scope : asserted) {
                    for (const std::string& f : scope) {
                        const tarq_term v = tarq_get_model_value(other, read(other, f));
                        ASSERT_FALSE(TARQ_ERROR_TERM(v)) << message();
                        EXPECT_TRUE(tarq_term_is_true(other, v)) << f;
                    }
                }
            }
        }
    }
    // all of the protocol took part
    EXPECT_GT(num_sat, 20);
    EXPECT_GT(num_unsat, 20);
    EXPECT_GT(toy.implications, 0);
    EXPECT_GT(toy.lemmas, 0);
    EXPECT_GT(toy.jumps_done, 0);
}

TEST_F(ExternalEngine, failures_of_the_engine_have_their_texts_and_leave_the_environment_usable)
{
    for (const char* operation : {"set_callback", "reset"}) {
        toy.failing = operation;
        EXPECT_EQ(tarq_set_external_dpll_engine(other, &toy.table), -1);
        EXPECT_EQ(message(),
                  std::string("error reported by the external SAT solver on ") + operation);
        EXPECT_EQ(tarq_solve(other), TARQ_SAT) << "by the built-in search";
    }
    toy.failing.clear();
    ASSERT_EQ(tarq_set_external_dpll_engine(other, &toy.table), 0);
    ASSERT_EQ(tarq_push_backtrack_point(other), 0);
    ASSERT_EQ(tarq_assert_formula(other, read(other, "(= (f x) y)")), 0);
    EXPECT_EQ(tarq_set_external_dpll_engine(other, nullptr), -1);
    EXPECT_EQ(message(), "can't set external solver, assertion stack is not empty");
    toy.failing = "solve";
    EXPECT_EQ(tarq_solve(other), TARQ_UNKNOWN);
    EXPECT_EQ(message(), "external SAT solver returned unknown");
    toy.failing = "set_frozen";
    EXPECT_EQ(tarq_solve(other), TARQ_UNKNOWN);
    EXPECT_EQ(message(), "error reported by the external SAT solver on set_frozen");
    toy.failing.clear();
    EXPECT_EQ(tarq_solve(other), TARQ_SAT);

    const auto stop = [](void*) { return 1; };
    ASSERT_EQ(tarq_assert_formula(other, read(other, "p")), 0);
    ASSERT_EQ(tarq_set_termination_test(other, stop, nullptr), 0);
    EXPECT_EQ(tarq_solve(other), TARQ_UNKNOWN);
    EXPECT_EQ(message(), "user-requested termination");
    ASSERT_EQ(tarq_set_termination_test(other, nullptr, nullptr), 0);
    EXPECT_EQ(tarq_solve(other), TARQ_SAT);

    ASSERT_EQ(tarq_pop_backtrack_point(other), 0);
    EXPECT_EQ(toy.removed, std::vector<int>{1}) << "the point was the first variable";
    ASSERT_EQ(tarq_set_external_dpll_engine(other, nullptr), 0);
    const int calls = toy.calls;
    EXPECT_EQ(tarq_solve(other), TARQ_SAT);
    EXPECT_EQ(toy.calls, calls) << "it has been let go";
}

TEST_F(ExternalEngine, reports_that_make_no_sense_fail)
{
    ASSERT_EQ(tarq_set_external_dpll_engine(other, &toy.table), 0);
    tarq_truth_value code;
    int* list;
    EXPECT_EQ(tarq_dpll_callback_no_conflict_after_bcp(toy.cb, nullptr, &list), -1);
    EXPECT_EQ(tarq_dpll_callback_model_found(toy.cb, &code, nullptr), -1);
    EXPECT_EQ(tarq_dpll_callback_ask_theory_reason(toy.cb, 1, nullptr), -1);
    EXPECT_EQ(tarq_dpll_callback_notify_new_level(tarq_dpll_callback{nullptr}), -1);

    // What a report fails with is what the check fails with, whatever the engine answers.
    ASSERT_EQ(tarq_assert_formula(other, read(other, "(or p (< x (f y)))")), 0);
    const auto solve = toy.table.solve;
    toy.table.solve = [](tarq_ext_dpll_interface* t, int*, int**) {
        EXPECT_EQ(tarq_dpll_callback_notify_assignment(ToyEngine::self(t).cb, 1000), -1);
        return TARQ_SAT;
    };
    EXPECT_EQ(tarq_solve(other), TARQ_UNKNOWN);
    EXPECT_EQ(message(), "external SAT solver reported an unknown literal");
    toy.table.solve = [](tarq_ext_dpll_interface*, int*, int**) { return TARQ_SAT; };
    EXPECT_EQ(tarq_solve(other), TARQ_UNKNOWN);
    EXPECT_EQ(message(), "external SAT solver reported a model that no theory has seen");
    toy.table.solve = solve;
    EXPECT_EQ(tarq_solve(other), TARQ_SAT);
}

} // namespace
