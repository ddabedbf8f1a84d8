#include "theory/fp/fpbveagersolver.h"

#include "dpll/dpllsolver.h"
#include "theory/fp/fpterms.h"

namespace tarq::fp {

using bv::BvLit;
using bv::BvLitList;

FpBvEagerSolver::FpBvEagerSolver(TermManager* tm, const Configuration::Theory::Fp& options,
                                 DpllSolver* engine)
    : EagerEqualitySolver(tm, engine, options.bv.delay_propagated_eqs, "fpteq."), options_(options),
      word_options_(options), encoder_(tm, &target_, &options), ite_filter_(tm), sink_(engine),
      words_(bv::WordClausifierInterface::make(&target_, word_options_,
                                               bv::WordClausifierInterface::Ites::CIRCUITS)),
      model_(&target_, words_.get(), word_options_)
{
    target_.set_simplifier(&folding_);
    encoder_.set_ite_filter([this](const Term_* t) { return ite_filter_(t); });
}

void FpBvEagerSolver::set_logger(Logger* logger)
{
    TheorySolver::set_logger(logger);
    words_->set_logger(logger);
}

void FpBvEagerSolver::set_termination_test(const TerminationTest* test)
{
    TheorySolver::set_termination_test(test);
    encoder_.set_termination_test(test);
    words_->set_termination_test(test);
}

// Atoms

TellAtomResult FpBvEagerSolver::tell_atom(const Term_* atom)
{
    if (!should_handle(*tm_, atom)) {
        log(3, "FP") << "don't have to handle this!: " << atom->to_shallow_str() << EndLog;
        return {};
    }
    if (options_.parent->parent->proof_generation) {
        throw make_error<Exception>("eager fp solver does not support proof generation");
    }
    const Term_* encoding = ensure_encoded(atom);
    const BvLit lit = BvLit::from_sat(dpll::Lit(engine_->proxy_for_term(atom)));
    sink_.set_output(encoding, lit);
    const BvLit bit = words_->bit_blast(encoding, &sink_);
    sink_.set_output(nullptr, lit);
    if (bit != lit) {
        sink_.clause(-bit, lit);
        sink_.clause(bit, -lit);
    }
    return {true, false};
}

/// Encodes a term, and writes the clauses of all that its encoding needs to mean the term.
const Term_* FpBvEagerSolver::ensure_encoded(const Term_* t)
{
    if (const Term_* known = encoder_.get_cached(t)) {
        return known;
    }
    if (link_) {
        link_->tell_subterms(t);
    }
    TermVector side_constraints;
    std::vector<FpBvEncoder::BvLeaf> leaves;
    const Term_* encoding = encoder_.get_bv_encoding(t, side_constraints);
    encoder_.get_new_bv_terms(leaves);
    for (const FpBvEncoder::BvLeaf& leaf : leaves) {
        tie_leaf(leaf);
    }
    for (const Term_* c : side_constraints) {
        sink_.clause(words_->bit_blast(c, &sink_));
    }
    return encoding;
}

/// Makes the bits of a term of another theory those of the word that stands for it.
void FpBvEagerSolver::tie_leaf(const FpBvEncoder::BvLeaf& leaf)
{
    BvLitList bits;
    if (TermManager::get_type(leaf.term) == tm_->get_bool_type()) {
        bits.resize(1);
        sink_.bv::eager::EagerClauseSink::make_proxy(leaf.term, &bits[0]);
    } else if (!link_) {
        throw make_error<FpBvCombination::error>(
            "FP<->BV combination unsupported by the current configuration");
    } else {
        link_->tell_term(leaf.term);
        link_->get_bits(leaf.term, &bits);
    }
    words_->set_bits(leaf.word, &sink_, bits);
}

void FpBvEagerSolver::push_backtrack_point()
{
    if (link_) {
        link_->push_backtrack_point();
    }
    encoder_.push_backtrack_point();
    words_->push_backtrack_point();
    EagerEqualitySolver::push_backtrack_point();
}

void FpBvEagerSolver::pop_backtrack_point()
{
    EagerEqualitySolver::pop_backtrack_point();
    words_->pop_backtrack_point();
    encoder_.pop_backtrack_point();
    if (link_) {
        link_->pop_backtrack_point();
    }
}

// Theory combination

bool FpBvEagerSolver::is_alien(const Term_* t)
{
    return fp::is_alien(*tm_, t);
}

bool FpBvEagerSolver::is_own_sort(const DataType* type) const
{
    return is_fp_sort(*tm_, type);
}

bool FpBvEagerSolver::has_word(const Term_* t) const
{
    const Term_* encoding = encoder_.get_cached(t);
    return encoding && words_->is_cached(encoding);
}

void FpBvEagerSolver::make_word(const Term_* t)
{
    const Term_* encoding = ensure_encoded(t);
    words_->notify_interface_term(encoding, &sink_);
}

bool FpBvEagerSolver::define_equality(BvLit lit, const Term_* a, const Term_* b)
{
    const Term_* x = ensure_encoded(a);
    const Term_* y = ensure_encoded(b);
    return words_->bit_blast_theory_eq(lit, x, y, &sink_);
}

bool FpBvEagerSolver::fp_bv_comb_get_bits(const Term_* t, std::vector<BvLit>* bits)
{
    const Term_* encoding = encoder_.get_cached(t);
    if (!encoding) {
        return false;
    }
    words_->bit_blast_word(encoding, &sink_, bits);
    return true;
}

// Models

void FpBvEagerSolver::build_abstract_model()
{
    std::vector<lbool> values; // the engine may have eliminated bits
    engine_->get_full_assignment(values);
    model_.set_assignment(engine_->num_vars(),
                          [&values](int v) { return values[static_cast<size_t>(v)] == l_True; });
}

const Term_* FpBvEagerSolver::get_model_value(const Term_* t)
{
    const Term_* encoding = is_fp_sorted(*tm_, t) ? encoder_.get_cached(t) : nullptr;
    return encoding ? from_word(tm_, t, target_, model_(encoding, false)) : nullptr;
}

lbool FpBvEagerSolver::equal_in_model(const Term_* a, const Term_* b)
{
    const Term_* x = get_model_value(a);
    const Term_* y = get_model_value(b);
    if (!x || !y) {
        return l_Undef;
    }
    return x == y ? l_True : l_False;
}

std::vector<std::pair<std::string, std::string>> FpBvEagerSolver::get_stats() const
{
    return {{"bit-blasting variables", std::to_string(sink_.num_variables)},
            {"bit-blasting clauses", std::to_string(sink_.num_clauses)},
            {"propagated equalities", std::to_string(num_proxies())}};
}

} // namespace tarq::fp
