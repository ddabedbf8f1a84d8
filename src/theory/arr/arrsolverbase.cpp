#include "theory/arr/arrsolverbase.h"

#include "base/terminationtest.h"
#include "encoding/polaritychecker.h"
#include "theory/euf/eufsolver.h"
#include "theory/iesimplifier.h"

#include <algorithm>

namespace tarq::arr {

SolverBase::SolverBase(const Configuration::Theory::Arr& config, TermManager* tm, euf::Solver* euf)
    : config_(config), tm_(tm), euf_(euf)
{
}

SolverBase::~SolverBase() = default;

void SolverBase::poll() const
{
    if (termination_test_) {
        (*termination_test_)();
    }
}

const Term_* SolverBase::representative(const Term_* t) const
{
    return euf_->get_representative(t);
}

bool SolverBase::is_formula(const Term_* t) const
{
    return TermManager::get_type(t) == tm_->get_bool_type();
}

bool SolverBase::is_array(const Term_* t) const
{
    return tm_->is_array_type(TermManager::get_type(t));
}

// -- Terms

bool SolverBase::tell_atom(const Term_* atom)
{
    const size_t start = undo_.size();
    undo_.push_back({Undo::ATOM, atom});
    bool met_told = false;
    TermVector stack{atom};
    while (!stack.empty()) {
        const Term_* t = stack.back();
        stack.pop_back();
        const uint64_t id = t->get_id();
        seen_.grow(id + 1);
        plain_.grow(id + 1);
        if (seen_.get(id) || plain_.get(id)) {
            met_told = met_told || seen_.get(id);
            continue;
        }
        seen_.set(id);
        undo_.push_back({Undo::SEEN, t});
        tell_term(t);
        if (!tm_->is_term_ite(t)) { // what is below one is told with its axioms
            stack.insert(stack.end(), t->children().begin(), t->children().end());
        }
    }
    const bool found = std::any_of(undo_.begin() + static_cast<std::ptrdiff_t>(start), undo_.end(),
                                   [](const Undo& u) { return u.what > Undo::SEEN; });
    if (found || met_told) {
        return true;
    }
    while (undo_.size() > start) { // of no concern: nobody retracts it, and nobody walks it again
        if (undo_.back().what == Undo::SEEN) {
            seen_.unset(undo_.back().term->get_id());
            plain_.set(undo_.back().term->get_id());
        }
        undo_.pop_back();
    }
    return false;
}

/// Whether the truth of all formulas that are arguments is known to the closure. Of others there is
/// an equal term for which that holds.
bool SolverBase::has_plain_arguments(const Term_* t) const
{
    return std::all_of(t->children().begin(), t->children().end(), [this](const Term_* c) {
        return !is_formula(c) || tm_->is_true(c) || tm_->is_false(c) ||
               tm_->is_uninterpreted_function(c);
    });
}

void SolverBase::tell_term(const Term_* t)
{
    if (is_array(t)) {
        arrays_.push_back(t);
        undo_.push_back({Undo::ARRAY, t});
    }
    if (!has_plain_arguments(t)) {
        return;
    }
    const bool is_read = tm_->is_array_read(t);
    const bool is_write = tm_->is_array_write(t);
    if (is_write) {
        writes_.push_back(t);
        undo_.push_back({Undo::WRITE, t});
    } else if (is_read) {
        reads_.push_back(t);
        undo_.push_back({Undo::READ, t});
    } else if (tm_->is_array_const(t)) {
        constants_.push_back(t);
        undo_.push_back({Undo::CONST, t});
    }
    if (tm_->is_equal(t) && is_array(t->child(0))) {
        equalities_.push_back(t);
        undo_.push_back({Undo::EQUALITY, t});
    }
    if (tm_->is_equal(t) || tm_->is_term_ite(t)) {
        return;
    }
    const bool is_application = tm_->is_uninterpreted_function(t);
    for (size_t i = is_read || is_write ? 1 : 0; i < t->arity(); ++i) {
        if (is_array(t->child(i)) && is_application) {
            applications_.push_back(t);
            undo_.push_back({Undo::APPLICATION, t});
            break;
        }
        if (is_array(t->child(i))) {
            arg_positions_[t->child(i)].push_back({t->get_symbol()->get_id(), static_cast<int>(i)});
            undo_.push_back({Undo::ARGUMENT, t->child(i)});
        }
    }
}

void SolverBase::retract_atom(const Term_* atom)
{
    for (bool done = false; !done;) {
        const Undo u = undo_.back();
        undo_.pop_back();
        switch (u.what) {
        case Undo::ATOM:
            TARQ_ASSERT(u.term == atom);
            (void)atom;
            done = true;
            break;
        case Undo::SEEN:
            seen_.unset(u.term->get_id());
            break;
        case Undo::ARRAY:
            arrays_.pop_back();
            break;
        case Undo::WRITE:
            writes_.pop_back();
            break;
        case Undo::READ:
            reads_.pop_back();
            break;
        case Undo::CONST:
            constants_.pop_back();
            break;
        case Undo::EQUALITY:
            equalities_.pop_back();
            break;
        case Undo::APPLICATION:
            applications_.pop_back();
            break;
        case Undo::ARGUMENT: {
            std::vector<ArgPos>& list = arg_positions_[u.term];
            list.pop_back();
            if (list.empty()) {
                arg_positions_.erase(u.term);
            }
        }
        }
    }
    for (const Lemma& l : lemmas_) { // they may be about what goes
        retract_lemma(l.id);
    }
    lemmas_.clear();
}

// -- Classes

void SolverBase::group()
{
    classes_.clear();
    class_places_.clear();
    for (const Term_* a : arrays_) {
        const auto [it, fresh] =
            class_places_.insert({representative(a), static_cast<uint32_t>(classes_.size())});
        if (fresh) {
            classes_.emplace_back();
        }
        classes_[it->second].arrays.push_back(a);
    }
    read_infos_.clear();
    for (const Term_* r : reads_) {
        if (is_formula(r) && !tm_->is_true(representative(r)) &&
            !tm_->is_false(representative(r))) {
            continue; // it may still get any
        }
        const uint32_t c = class_of(r->child(0));
        classes_[c].reads.push_back(static_cast<uint32_t>(read_infos_.size()));
        read_infos_.push_back({r, key_of(r->child(1)), key_of(r), c});
    }
    for (const Term_* w : writes_) {
        const uint32_t from = class_of(w);
        const uint32_t to = class_of(w->child(0));
        const Term_* index = key_of(w->child(1));
        if (from != to) {
            classes_[from].steps.push_back({w, index, to, true});
            classes_[to].steps.push_back({w, index, from, false});
        }
    }
    for (const Term_* k : constants_) {
        classes_[class_of(k)].constants.push_back(k);
    }
}

/// The class of a told array.
uint32_t SolverBase::class_of(const Term_* array) const
{
    const auto it = class_places_.find(representative(array));
    TARQ_ASSERT(it != class_places_.end());
    return it->second;
}

/// A write holds its element at its index.
void SolverBase::make_write_lemmas()
{
    for (const Term_* w : writes_) {
        if (!writes_done_.contains(w)) {
            std::vector<std::vector<TheoryLit>> clauses{{}};
            add_equality_fully(clauses, make_read(w, w->child(1)), w->child(2), false);
            if (!clauses.empty()) {
                writes_done_.insert(w);
                ++num_write_lemmas_;
            }
            for (std::vector<TheoryLit>& clause : clauses) {
                push_lemma(Kind::WRITE, w, nullptr, std::move(clause));
            }
        }
    }
}

// -- Clauses

/// The plain term: the usual construction would look through the array.
const Term_* SolverBase::make_read(const Term_* array, const Term_* index)
{
    const auto plain = tm_->simplify_in_scope(false);
    return tm_->make_array_read(array, index);
}

/// Appends the literal of a formula, which must be an atom or a truth value. One that is false is
/// left out. Returns true when it is true.
bool SolverBase::add_truth(std::vector<TheoryLit>& clause, const Term_* f, bool value)
{
    if (tm_->is_true(f) || tm_->is_false(f)) {
        return tm_->is_true(f) == value;
    }
    clause.emplace_back(f, !value);
    return false;
}

/// Appends the literal; one that is false is left out. Returns true when it is true, so that the
/// clause is no use. Of an equality of formulas, which is no literal, the clause gets as much as is
/// false in the assignment at hand, where the equality is taken to be.
bool SolverBase::add_equality(std::vector<TheoryLit>& clause, const Term_* a, const Term_* b,
                              bool negated)
{
    if (is_formula(a) && a != b) {
        const bool x = tm_->is_true(representative(a));
        const bool y = negated ? x : !x;
        const bool first = add_truth(clause, a, !x);
        return add_truth(clause, b, !y) || first;
    }
    const Term_* eq = make_interface_equality(tm_, a, b);
    if (tm_->is_true(eq) || tm_->is_false(eq)) {
        return tm_->is_true(eq) != negated;
    }
    clause.emplace_back(eq, negated);
    return false;
}

/// Appends the literal to each of the clauses, which are doubled for formulas; those that get true
/// go.
void SolverBase::add_equality_fully(std::vector<std::vector<TheoryLit>>& clauses, const Term_* a,
                                    const Term_* b, bool negated)
{
    std::vector<std::vector<TheoryLit>> out;
    for (std::vector<TheoryLit>& c : clauses) {
        if (!is_formula(a) || a == b) {
            if (!add_equality(c, a, b, negated)) {
                out.push_back(std::move(c));
            }
            continue;
        }
        for (bool x : {false, true}) {
            std::vector<TheoryLit> copy = c;
            const bool first = add_truth(copy, a, x);
            if (!add_truth(copy, b, negated ? x : !x) && !first) {
                out.push_back(std::move(copy));
            }
        }
    }
    clauses = std::move(out);
}

/// Appends the negation of why two terms of one class are equal.
void SolverBase::add_reasons(std::vector<TheoryLit>& clause, const Term_* a, const Term_* b)
{
    if (a == b) {
        return;
    }
    std::vector<TheoryLit> reasons;
    [[maybe_unused]] const bool equal = euf_->get_congruence_reason(a, b, reasons);
    TARQ_ASSERT(equal);
    for (TheoryLit l : reasons) {
        clause.push_back(~l);
    }
}

/// Appends the negation of what lets a value at `index` get from the array `at` through the write.
/// Returns the array on its other side.
const Term_* SolverBase::add_step(std::vector<TheoryLit>& clause, const Term_* at,
                                  const Term_* index, const Term_* write, bool down)
{
    add_reasons(clause, at, down ? write : write->child(0));
    if (index) {
        add_equality(clause, index, write->child(1), false);
    }
    return down ? write->child(0) : write;
}

/// Hands a clause out.
/// once  only if it is about reads and there is no such clause
/// Returns whether it did.
bool SolverBase::push_lemma(Kind kind, const Term_* a, const Term_* b,
                            std::vector<TheoryLit> clause, bool once)
{
    std::sort(clause.begin(), clause.end());
    clause.erase(std::unique(clause.begin(), clause.end()), clause.end());
    uint64_t fingerprint = 0;
    if (kind == Kind::READ_OVER_WRITE) {
        for (TheoryLit l : clause) {
            fingerprint = (fingerprint + 2 * l.get_term()->get_id() + (l.is_neg() ? 1 : 0) + 1) *
                          0x9E3779B97F4A7C15U;
            fingerprint ^= fingerprint >> 29;
        }
        if (!rows_done_.insert(fingerprint).second && once) {
            return false;
        }
    }
    if (free_ids_.empty()) {
        lemma_keys_.emplace_back();
        free_ids_.push_back(lemma_keys_.size());
    }
    const size_t id = free_ids_.back();
    free_ids_.pop_back();
    lemma_keys_[id - 1] = {kind, a, b, fingerprint};
    lemmas_.push_back({id, std::move(clause)});
    return true;
}

SolverBase::Lemma SolverBase::get_lemma()
{
    Lemma l = std::move(lemmas_.front());
    lemmas_.pop_front();
    return l;
}

void SolverBase::retract_lemma(size_t id)
{
    const LemmaKey& key = lemma_keys_[id - 1];
    switch (key.kind) {
    case Kind::WRITE:
        writes_done_.erase(key.a);
        break;
    case Kind::EXTENSIONALITY:
        exts_done_.erase(key.a);
        break;
    case Kind::CONSTANT:
        consts_done_.erase({key.a, key.b});
        break;
    case Kind::READ_OVER_WRITE:
        rows_done_.erase(key.fingerprint);
        break;
    }
    free_ids_.push_back(id);
}

std::vector<std::pair<std::string, std::string>> SolverBase::get_stats() const
{
    return {{"write lemmas added", std::to_string(num_write_lemmas_)},
            {"row lemmas added", std::to_string(num_row_lemmas_)},
            {"ext lemmas added", std::to_string(num_ext_lemmas_)},
            {"const lemmas added", std::to_string(num_const_lemmas_)}};
}

} // namespace tarq::arr
