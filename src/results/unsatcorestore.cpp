#include "results/unsatcorestore.h"

#include "base/hashmap.h"
#include "dpll/clause.h"
#include "dpll/dpllsolver.h"

#include <algorithm>
#include <string>

namespace tarq {

using dpll::Clause;
using dpll::Lit;

UnsatCoreStore::UnsatCoreStore(const Configuration& config, TermManager* tm, DpllSolver* solver)
    : tm_(tm), solver_(solver), use_labels_(config.unsat_core_generation == 3)
{
}

UnsatCoreStore::~UnsatCoreStore()
{
    for (const ClauseOrigin& c : clause_formula_) {
        solver_->release_clause(c.clause);
    }
}

// While formulas are asserted

const Term_* UnsatCoreStore::add_formula(const Term_* f, const Term_* meaning)
{
    formulas_.push_back(f);
    const bool is_false = tm_->is_false(meaning);
    if (use_labels_) {
        labels_.push_back(dpll::lit_Undef);
        if (!is_false) {
            const Term_* label = create_label();
            meaning = tm_->make_or(tm_->make_not(label), meaning);
        }
    }
    if (is_false) {
        set_trivial_unsat_core();
    }
    return meaning;
}

/// Makes the label of the newest formula. Its name is free again at once, so that no symbol of a
/// user can ever be the label.
const Term_* UnsatCoreStore::create_label()
{
    const std::string name =
        tm_->get_unused_symbol_name(".{uclbl}" + std::to_string(num_labels_++));
    const Term_* label = tm_->make_constant(tm_->make_symbol(name, tm_->get_bool_type()));
    tm_->remove_symbol(name);
    int var;
    solver_->make_proxy(label, &var);
    solver_->set_frozen(var, true);
    labels_.back() = Lit(var, true);
    return label;
}

void UnsatCoreStore::set_trivial_unsat_core()
{
    if (trivial_index_ < 0) {
        trivial_index_ = static_cast<long>(formulas_.size()) - 1;
        computed_ = false;
    }
}

void UnsatCoreStore::add_clause(Clause* c)
{
    if (use_labels_ || !c) {
        return;
    }
    c->add_reference();
    clause_formula_.push_back({c, is_defining_ ? NO_FORMULA : formulas_.size() - 1});
}

void UnsatCoreStore::push_backtrack_point()
{
    frames_.push_back({formulas_.size(), clause_formula_.size()});
}

void UnsatCoreStore::pop_backtrack_point(bool keep_clauses)
{
    const Frame frame = frames_.back();
    frames_.pop_back();
    formulas_.resize(frame.formulas);
    if (use_labels_) {
        labels_.resize(frame.formulas, dpll::lit_Undef);
    }
    for (size_t i = frame.clauses; i < clause_formula_.size(); ++i) {
        if (keep_clauses) {
            clause_formula_[i].formula = NO_FORMULA;
        } else {
            solver_->release_clause(clause_formula_[i].clause);
        }
    }
    if (!keep_clauses) {
        clause_formula_.resize(frame.clauses);
    }
    if (trivial_index_ >= static_cast<long>(formulas_.size())) {
        trivial_index_ = -1;
    }
    if (trivial_index_ < 0) {
        computed_ = false;
        core_.clear();
    }
}

// Around checks

void UnsatCoreStore::get_assumptions(std::vector<Lit>* out) const
{
    for (Lit l : labels_) {
        if (l != dpll::lit_Undef) {
            out->push_back(~l);
        }
    }
}

void UnsatCoreStore::forget_refutation()
{
    has_refutation_ = false;
    failed_.clear();
    computed_ = false;
    core_.clear();
}

void UnsatCoreStore::tell_unsat()
{
    forget_refutation();
    has_refutation_ = true;
    failed_ = solver_->get_conflict();
}

// The core

UnsatCoreStore::iterator UnsatCoreStore::begin()
{
    if (!computed_) {
        core_.clear();
        compute();
        computed_ = true;
    }
    return core_.begin();
}

void UnsatCoreStore::compute()
{
    if (trivial_index_ >= 0) {
        core_.insert(formulas_[static_cast<size_t>(trivial_index_)]);
    } else if (has_refutation_ && use_labels_) {
        compute_from_labels();
    } else if (has_refutation_ && external_) {
        compute_external();
    } else {
        throw make_error<error>("no unsatisfiability proof, impossible to compute unsat core");
    }
}

void UnsatCoreStore::compute_from_labels()
{
    hsh::HashMap<int, size_t> positions; // of the formulas, by the index of the label's literal
    for (size_t i = 0; i < labels_.size(); ++i) {
        if (labels_[i] != dpll::lit_Undef) {
            positions[labels_[i].index()] = i;
        }
    }
    for (Lit l : failed_) {
        const auto it = positions.find(l.index());
        if (it != positions.end()) {
            core_.insert(formulas_[it->second]);
        }
    }
}

void UnsatCoreStore::compute_external()
{
    const std::vector<ExtractorClause> clauses = collect_clauses();
    hsh::HashMap<int, int> numbers; // by variable of the engine
    std::vector<std::vector<int>> numbered;
    for (const ExtractorClause& c : clauses) {
        std::vector<int>& out = numbered.emplace_back();
        for (Lit l : c.lits) {
            const auto it = numbers.find(l.var());
            const int n = it != numbers.end() ? it->second : static_cast<int>(numbers.size()) + 1;
            if (it == numbers.end()) {
                numbers[l.var()] = n;
            }
            out.push_back(l.sign() ? -n : n);
        }
    }
    std::vector<size_t> indices;
    bool ok = (*external_)(numbered, indices);
    ok = ok &&
         std::all_of(indices.begin(), indices.end(), [&](size_t i) { return i < clauses.size(); });
    if (!ok) {
        throw make_error<error>("failure in computing unsat core with external extractor");
    }
    for (size_t i : indices) {
        if (clauses[i].formula != NO_FORMULA) {
            core_.insert(formulas_[clauses[i].formula]);
        }
    }
}

/// Everything that the refutation may rest on, in an order that depends on the literals alone: the
/// clauses of the formulas, what the theories had to say, and the assumptions that failed.
std::vector<UnsatCoreStore::ExtractorClause> UnsatCoreStore::collect_clauses() const
{
    std::vector<ExtractorClause> out;
    for (const ClauseOrigin& c : clause_formula_) {
        out.push_back({without_guards(c.clause), c.formula});
    }
    for (const Clause* c : solver_->get_theory_lemmas()) {
        out.push_back({without_guards(c), NO_FORMULA});
    }
    for (Lit l : failed_) {
        out.push_back({{~l}, NO_FORMULA});
    }
    std::sort(out.begin(), out.end());
    return out;
}

/// The literals of a clause but for the negations of backtrack points, ascending. A clause is there
/// only while its points are, so they all hold.
std::vector<Lit> UnsatCoreStore::without_guards(const Clause* c) const
{
    const std::vector<Lit>& points = solver_->get_backtrack_points(); // ascending
    std::vector<Lit> out;
    for (Lit l : *c) {
        if (!std::binary_search(points.begin(), points.end(), ~l)) {
            out.push_back(l);
        }
    }
    std::sort(out.begin(), out.end());
    return out;
}

} // namespace tarq
