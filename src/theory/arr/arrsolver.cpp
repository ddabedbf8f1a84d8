#include "theory/arr/arrsolver.h"

#include "base/terminationtest.h"
#include "encoding/polaritychecker.h"
#include "theory/euf/eufsolver.h"
#include "theory/iesimplifier.h"

#include <algorithm>

namespace tarq::arr {

Solver::Solver(const Configuration::Theory::Arr& config, TermManager* tm, euf::Solver* euf)
    : config_(config), tm_(tm), euf_(euf)
{
}

void Solver::poll() const
{
    if (termination_test_) {
        (*termination_test_)();
    }
}

const Term_* Solver::representative(const Term_* t) const
{
    return euf_->get_representative(t);
}

bool Solver::is_array(const Term_* t) const
{
    return tm_->is_array_type(TermManager::get_type(t));
}

// -- Terms

bool Solver::tell_atom(const Term_* atom)
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

void Solver::tell_term(const Term_* t)
{
    if (is_array(t)) {
        arrays_.push_back(t);
        undo_.push_back({Undo::ARRAY, t});
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
    for (size_t i = is_read || is_write ? 1 : 0; i < t->arity(); ++i) {
        if (is_array(t->child(i))) {
            arg_positions_[t->child(i)].push_back({t->get_symbol()->get_id(), static_cast<int>(i)});
            undo_.push_back({Undo::ARGUMENT, t->child(i)});
        }
    }
}

void Solver::retract_atom(const Term_* atom)
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

// -- Checks

void Solver::group(hsh::HashMap<const Term_*, Class>& classes, TermVector& order) const
{
    classes.clear();
    order.clear();
    for (const Term_* a : arrays_) {
        const Term_* r = representative(a);
        Class& c = classes[r];
        if (c.arrays.empty()) {
            order.push_back(r);
        }
        c.arrays.push_back(a);
    }
    for (const Term_* r : reads_) {
        classes[representative(r->child(0))].reads.push_back(r);
    }
    for (const Term_* w : writes_) {
        classes[representative(w)].writes.push_back(w);
        classes[representative(w->child(0))].writes_over.push_back(w);
    }
    for (const Term_* k : constants_) {
        classes[representative(k)].constants.push_back(k);
    }
}

void Solver::check()
{
    if (!lemmas_.empty() || arrays_.empty()) {
        return;
    }
    poll();
    make_write_lemmas();
    if (!lemmas_.empty()) {
        return;
    }
    group(classes_, order_);
    make_row_lemmas();
    if (lemmas_.empty()) {
        make_const_lemmas();
    }
    if (lemmas_.empty()) {
        make_ext_lemmas();
    }
}

/// A write holds its element at its index.
void Solver::make_write_lemmas()
{
    for (const Term_* w : writes_) {
        if (!writes_done_.contains(w)) {
            std::vector<TheoryLit> clause;
            if (!add_equality(clause, make_read(w, w->child(1)), w->child(2), false)) {
                writes_done_.insert(w);
                push_lemma({Kind::WRITE, w, nullptr}, std::move(clause));
                ++num_write_lemmas_;
            }
        }
    }
}

void Solver::make_row_lemmas()
{
    for (const Term_* r : reads_) {
        poll();
        if (!check_read(r) && config_.lazy_lemmas) {
            return;
        }
    }
}

/// Returns false when the read met another value; there is a lemma then.
bool Solver::check_read(const Term_* read)
{
    const Term_* index = representative(read->child(1));
    const Term_* value = representative(read);
    return walk(classes_, read->child(0), read->child(1), [&](const Term_* c) {
        const Class& members = classes_[c];
        for (const Term_* s : members.reads) {
            if (representative(s->child(1)) == index && representative(s) != value) {
                std::vector<TheoryLit> clause;
                const bool valid = add_equality(clause, read, s, false);
                const Term_* at = add_path(clause, read->child(0), read->child(1), c);
                add_reasons(clause, at, s->child(0));
                add_reasons(clause, read->child(1), s->child(1));
                TARQ_ASSERT(!valid);
                (void)valid;
                ++num_row_lemmas_;
                push_lemma({Kind::READ_OVER_WRITE, nullptr, nullptr}, std::move(clause));
                return false;
            }
        }
        for (const Term_* k : members.constants) {
            if (representative(k->child(0)) != value) {
                std::vector<TheoryLit> clause;
                add_equality(clause, read, k->child(0), false);
                const Term_* at = add_path(clause, read->child(0), read->child(1), c);
                add_reasons(clause, at, k);
                ++num_row_lemmas_;
                push_lemma({Kind::READ_OVER_WRITE, nullptr, nullptr}, std::move(clause));
                return false;
            }
        }
        return true;
    });
}

// -- Clauses

/// The plain term: the usual construction would look through the array.
const Term_* Solver::make_read(const Term_* array, const Term_* index)
{
    const auto plain = tm_->simplify_in_scope(false);
    return tm_->make_array_read(array, index);
}

/// Appends the literal; one that is false is left out. Returns true when it is true, so that the
/// clause is no use.
bool Solver::add_equality(std::vector<TheoryLit>& clause, const Term_* a, const Term_* b,
                          bool negated)
{
    const Term_* eq = make_interface_equality(tm_, a, b);
    if (tm_->is_true(eq) || tm_->is_false(eq)) {
        return tm_->is_true(eq) != negated;
    }
    clause.emplace_back(eq, negated);
    return false;
}

/// Appends the negation of why two terms of one class are equal.
void Solver::add_reasons(std::vector<TheoryLit>& clause, const Term_* a, const Term_* b)
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

/// Appends the negation of what lets a value at `index` get from `array` to the class `to`, by the
/// walk that was just made. Without index all steps count as passable. Returns the array that is
/// reached there.
const Term_* Solver::add_path(std::vector<TheoryLit>& clause, const Term_* array,
                              const Term_* index, const Term_* to)
{
    path_.clear();
    for (const Term_* c = to; c; c = visited_[c].from) {
        path_.push_back(c);
    }
    const Term_* at = array;
    for (size_t i = path_.size() - 1; i > 0; --i) {
        const Edge& e = visited_[path_[i - 1]];
        add_reasons(clause, at, e.down ? e.write : e.write->child(0));
        at = e.down ? e.write->child(0) : e.write;
        if (index) {
            add_equality(clause, index, e.write->child(1), false);
        }
    }
    return at;
}

void Solver::push_lemma(LemmaKey key, std::vector<TheoryLit> clause)
{
    std::sort(clause.begin(), clause.end());
    clause.erase(std::unique(clause.begin(), clause.end()), clause.end());
    if (free_ids_.empty()) {
        lemma_keys_.push_back({Kind::WRITE, nullptr, nullptr});
        free_ids_.push_back(lemma_keys_.size());
    }
    const size_t id = free_ids_.back();
    free_ids_.pop_back();
    lemma_keys_[id - 1] = key;
    lemmas_.push_back({id, std::move(clause)});
}

Solver::Lemma Solver::get_lemma()
{
    Lemma l = std::move(lemmas_.front());
    lemmas_.pop_front();
    return l;
}

void Solver::retract_lemma(size_t id)
{
    LemmaKey& key = lemma_keys_[id - 1];
    if (key.a) {
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
            break;
        }
    }
    key = {Kind::WRITE, nullptr, nullptr};
    free_ids_.push_back(id);
}

std::vector<std::pair<std::string, std::string>> Solver::get_stats() const
{
    return {{"write lemmas added", std::to_string(num_write_lemmas_)},
            {"row lemmas added", std::to_string(num_row_lemmas_)},
            {"ext lemmas added", std::to_string(num_ext_lemmas_)},
            {"const lemmas added", std::to_string(num_const_lemmas_)}};
}

} // namespace tarq::arr
