// DelegatingSolver: a theory solver that is one of several.
#pragma once

#include "theory/bv/fpbvcombination.h"
#include "theory/theorysolver.h"

#include <memory>

namespace tarq {

/// Passes everything on to the solver that a class below has chosen.
class DelegatingSolver : public TheorySolver, public FpBvCombListener {
public:
    void set_logger(Logger* logger) override;
    void set_termination_test(const TerminationTest* test) override;
    void set_polarity_checker(const PolarityChecker* p) override;
    TellAtomResult tell_atom(const Term_* atom) override { return impl_->tell_atom(atom); }
    void retract_atom(const Term_* atom) override { impl_->retract_atom(atom); }
    void new_decision_level() override { impl_->new_decision_level(); }
    void cancel_until(int level) override { impl_->cancel_until(level); }
    void push_backtrack_point() override { impl_->push_backtrack_point(); }
    void pop_backtrack_point() override { impl_->pop_backtrack_point(); }
    bool assume(TheoryLit l) override { return impl_->assume(l); }
    bool assume(TheoryEq* eq) override { return impl_->assume(eq); }
    bool check(bool approx) override { return impl_->check(approx); }
    void get_conflict(std::vector<TheoryLit>& out) override { impl_->get_conflict(out); }
    TheoryLit get_next_implied() override { return impl_->get_next_implied(); }
    bool get_explanation(TheoryLit l, bool required, std::vector<TheoryLit>& out) override
    {
        return impl_->get_explanation(l, required, out);
    }
    bool has_lemmas() override { return impl_->has_lemmas(); }
    LemmaInfo get_lemma(std::vector<TheoryLit>& clause) override
    {
        return impl_->get_lemma(clause);
    }
    void retract_lemma(void* id) override { impl_->retract_lemma(id); }
    void build_model() override { impl_->build_model(); }
    const Term_* get_model_value(const Term_* t) override { return impl_->get_model_value(t); }
    uint32_t get_model_value_hint(const Term_* t) override
    {
        return impl_->get_model_value_hint(t);
    }
    void build_abstract_model() override { impl_->build_abstract_model(); }
    lbool equal_in_model(const Term_* a, const Term_* b) override
    {
        return impl_->equal_in_model(a, b);
    }
    bool is_alien(const Term_* t) override { return impl_->is_alien(t); }
    void notify_interface_term(const Term_* t) override { impl_->notify_interface_term(t); }
    void retract_interface_term(const Term_* t) override { impl_->retract_interface_term(t); }
    std::vector<std::pair<std::string, std::string>> get_stats() const override
    {
        return impl_->get_stats();
    }

    // FpBvCombListener.
    // throws  error "unsupported" where the chosen solver is no listener
    void set_fp_bv_combination(FpBvCombination* link) override;
    void fp_bv_comb_notify_tell(const Term_* t) override;
    bool fp_bv_comb_get_bits(const Term_* t, std::vector<bv::BvLit>* bits) override;

protected:
    explicit DelegatingSolver(TermManager* tm) : TheorySolver(tm) {}

    /// Once, in the constructor of the class below.
    void choose(std::unique_ptr<TheorySolver> solver) { impl_ = std::move(solver); }
    /// The same for one that knows the link between floats and bit-vectors.
    template <typename Solver>
    void choose_listener(std::unique_ptr<Solver> solver)
    {
        listener_ = solver.get();
        impl_ = std::move(solver);
    }

private:
    FpBvCombListener& listener();

    std::unique_ptr<TheorySolver> impl_;
    FpBvCombListener* listener_ = nullptr; // the same, or null
};

} // namespace tarq
