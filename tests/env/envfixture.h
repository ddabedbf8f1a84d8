// What the tests of the environment share: one to work on, and ways to ask it.
#pragma once

#include "../encoding/boolformulas.h"

#include "env/environment.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace tarq::test {

/// Stops at the call after `left` further ones; negative never stops.
class Countdown : public TerminationTest {
public:
    void operator()() const override
    {
        if (left >= 0 && left-- == 0) {
            throw terminated("stopped by the test");
        }
    }
    mutable int left = -1;
};

class EnvTest : public ::testing::Test {
protected:
    /// Makes the environment anew from `config`.
    void make()
    {
        formulas.reset();
        env.reset();
        env = std::make_unique<Environment>(&config);
        tm = env->get_term_manager();
        formulas = std::make_unique<Formulas>(*tm);
    }
    void SetUp() override { make(); }

    const Term_* constant(const std::string& name)
    {
        return tm->make_constant(tm->make_symbol(name, tm->get_bool_type()));
    }
    const Term_* p(size_t i) { return formulas->constants[i]; }
    const Term_* no(const Term_* t) { return tm->make_not(t); }

    int check(const std::vector<TheoryLit>& lits) { return env->check_with_assumptions(lits); }
    static TheoryLit pos(const Term_* t) { return TheoryLit(t, false); }
    static TheoryLit neg(const Term_* t) { return TheoryLit(t, true); }

    /// The text of the error that `f` throws, empty if it throws none.
    template <class F>
    std::string error_of(F&& f)
    {
        try {
            f();
        } catch (const Exception& e) {
            return e.get_msg();
        }
        return "";
    }

    std::vector<TheoryLit> core()
    {
        return {env->unsat_assumptions_begin(), env->unsat_assumptions_end()};
    }

    Configuration config;
    std::unique_ptr<Environment> env;
    TermManager* tm = nullptr;
    std::unique_ptr<Formulas> formulas;
};

} // namespace tarq::test
