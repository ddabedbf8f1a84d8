// The theory solvers of an environment: which ones there are, and what they decide.
#include "env/environment_solvers.h"
#include "lang/smtlibtermprinter.h"
#include "theory/arr/arrsolverinterface.h"
#include "theory/bv/bvsolverinterface.h"
#include "theory/checkedtheorysolver.h"
#include "theory/euf/eufsolverinterface.h"
#include "theory/fp/fpbvdpllcombination.h"
#include "theory/fp/fpsolverinterface.h"
#include "theory/fp/fpterms.h"
#include "theory/la/lasolverinterface.h"

#include <fstream>

namespace tarq {

namespace {

/// With whole-structure checks on, every call of a solver goes through the checks of its contract.
std::unique_ptr<TheorySolver> checked([[maybe_unused]] TermManager* tm,
                                      std::unique_ptr<TheorySolver> solver,
                                      [[maybe_unused]] bool retracts_all = false)
{
#if TARQ_CHECKS >= 2
    return std::make_unique<CheckedTheorySolver>(tm, std::move(solver), retracts_all);
#else
    return solver;
#endif
}

/// Writes each formula to a file of its own, tlemma_1.smt2 and so on, in the working directory.
class LemmaFiles : public TheoryLemmaDump {
public:
    LemmaFiles(const Configuration& config, TermManager* tm) : config_(config), tm_(tm) {}
    void dump(const Term_* formula) override
    {
        const std::string name = "tlemma_" + std::to_string(++count_) + ".smt2";
        std::ofstream out(name);
        SmtLib2TermPrinter(tm_, &config_.printer, "", "", false).print_formula(out, formula);
        out << "(check-sat)\n";
        out.close();
        if (!out) {
            throw make_error<Environment::error>("can't write ", name);
        }
    }

private:
    const Configuration& config_;
    TermManager* tm_;
    unsigned count_ = 0;
};

} // namespace

/// Makes the solvers that exist and are enabled. A problem without theory atoms costs them nothing.
void Environment::Solvers::make_theories(const Configuration& config, TermManager* tm)
{
    theories = std::make_unique<TheoryManager>(config.theory, tm, &engine);
    if (config.theory.euf.enabled) {
        auto euf = std::make_unique<EufSolverInterface>(config.theory.euf, tm);
        EufSolverInterface* closure = euf.get();
        theories->add_euf_solver(checked(tm, std::move(euf), true), closure);
        if (config.theory.arr.enabled) {
            auto arr = std::make_unique<ArrSolverInterface>(config.theory, tm, closure);
            TheoryManager* m = theories.get();
            arr->set_model_computer([m] { return m->build_candidate_model(TheoryManager::ARR); },
                                    [m](const Term_* t) { return m->get_model_value(t); });
            theories->add_solver(TheoryManager::ARR, checked(tm, std::move(arr)));
        }
    }
    if (config.theory.la.enabled) {
        theories->add_solver(TheoryManager::LA,
                             checked(tm, std::make_unique<LaSolverInterface>(config.theory, tm)));
    }
    std::unique_ptr<BVSolverInterface> bv;
    std::unique_ptr<FPSolverInterface> fp;
    if (config.theory.bv.enabled) {
        bv = std::make_unique<BVSolverInterface>(tm, config.theory.bv, &engine);
    }
    if (config.theory.fp.enabled) {
        fp = std::make_unique<FPSolverInterface>(tm, config.theory.fp, &engine);
    }
    if (bv && fp && config.theory.fp.bv_combination_enabled && config.theory.bv.eager &&
        config.theory.fp.mode == 1) {
        auto link = std::make_unique<FpBvDpllCombination>(tm, true);
        link->set_bv_listener(bv.get());
        link->set_fp_listener(fp.get());
        bv->set_fp_bv_combination(link.get());
        fp->set_fp_bv_combination(link.get());
        fp_bv_combination = std::move(link);
    }
    if (bv) {
        theories->add_solver(TheoryManager::BV, std::move(bv));
    }
    if (fp) {
        theories->add_solver(TheoryManager::FP, std::move(fp));
    }
    theories->start();
    theories->set_polarity_checker(&polarity);
    if (config.debug.dump_theory_lemmas) {
        lemma_dump = std::make_unique<LemmaFiles>(config, tm);
        theories->set_lemma_dump(lemma_dump.get());
    }
    engine.set_theory_manager(theories.get());
}

/// Whether values of that type are looked after.
bool Environment::Solvers::decides_type(const TermManager* tm, const DataType* type) const
{
    const auto has = [this](TheoryManager::SolverIndex i) {
        return theories->get_tsolver(i) != nullptr;
    };
    if (tm->is_bv_type(type)) {
        return has(TheoryManager::BV);
    }
    if (tm->is_fp_type(type) || tm->is_finite_domain_type(type)) {
        return has(TheoryManager::FP);
    }
    const DataType* index = nullptr;
    const DataType* element = nullptr;
    if (tm->is_array_type(type, &index, &element)) {
        return has(TheoryManager::ARR) && decides_type(tm, index) && decides_type(tm, element);
    }
    if (tm->is_arith_type(type)) {
        return has(TheoryManager::LA) || has(TheoryManager::EUF);
    }
    return has(TheoryManager::EUF);
}

/// Whether the head of `t`, which is an atom or below one, belongs to a solver. What is below a
/// term-ITE does not matter: axioms say what it means.
bool Environment::Solvers::decides(const TermManager* tm, const Term_* t) const
{
    const auto has = [this](TheoryManager::SolverIndex i) {
        return theories->get_tsolver(i) != nullptr;
    };
    if (tm->is_equal(t)) {
        return decides_type(tm, TermManager::get_type(t->child(0)));
    }
    const DataType* type = TermManager::get_type(t);
    const bool is_predicate = type == tm->get_bool_type();
    if (!is_predicate && !decides_type(tm, type)) {
        return false;
    }
    if (!tm->is_interpreted(t) || tm->is_term_ite(t)) {
        return t->arity() == 0 || tm->is_term_ite(t) || has(TheoryManager::EUF);
    }
    const SymbolTag::tag tag = tm->get_tag(t);
    switch (tag) {
    case SymbolTag::PLUS:
    case SymbolTag::LEQ:
    case SymbolTag::FLOOR:
    case SymbolTag::DIVIDE:
    case SymbolTag::INT_MOD_CONGR:
        return has(TheoryManager::LA);
    case SymbolTag::TIMES:
        return has(TheoryManager::LA) &&
               (tm->is_arith_number(t->child(0)) || tm->is_arith_number(t->child(1)));
    case SymbolTag::INT_FROM_UBV:
    case SymbolTag::INT_FROM_SBV:
    case SymbolTag::INT_TO_BV:
        return has(TheoryManager::LA) && has(TheoryManager::BV);
    case SymbolTag::ARRAY_READ:
    case SymbolTag::ARRAY_WRITE:
    case SymbolTag::ARRAY_CONST:
        return has(TheoryManager::ARR);
    case SymbolTag::PI:
        return false;
    default:
        break;
    }
    if (SymbolTag::BV_CONCAT <= tag && tag <= SymbolTag::BV_SEXT) {
        return has(TheoryManager::BV);
    }
    if (fp::converts_from_bv(*tm, t) || fp::converts_to_bv(*tm, t)) {
        return fp_bv_combination != nullptr;
    }
    if ((SymbolTag::FP_EQ <= tag && tag <= SymbolTag::FP_ROUND_TO_INT) ||
        (SymbolTag::FP_ISNAN <= tag && tag <= SymbolTag::FP_ISPOS)) {
        return has(TheoryManager::FP);
    }
    return t->arity() == 0; // a number
}

} // namespace tarq
