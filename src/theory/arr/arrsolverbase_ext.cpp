// Constant arrays that meet, and arrays that have to differ somewhere.
#include "encoding/polaritychecker.h"
#include "terms/typesize.h"
#include "theory/arr/arrsolverbase.h"
#include "theory/euf/eufsolver.h"
#include "theory/iesimplifier.h"

#include <algorithm>

namespace tarq::arr {

// -- Constant arrays

/// Two constant arrays that writes connect have one element if some index stays unwritten on the
/// way.
void SolverBase::make_const_lemmas()
{
    for (const Term_* k : constants_) {
        poll();
        if (!join_constants(k) && config_.lazy_lemmas) {
            return;
        }
    }
}

/// Returns false when it made a lemma.
bool SolverBase::join_constants(const Term_* first)
{
    const Term_* element = first->child(0);
    const Term_* value = key_of(element);
    return walk(class_of(first), nullptr, [&](uint32_t c) {
        for (const Term_* k : classes_[c].constants) {
            if (key_of(k->child(0)) == value) {
                continue;
            }
            std::vector<TheoryLit> clause;
            add_equality(clause, element, k->child(0), false);
            const Term_* at = add_path(clause, first, nullptr, visits_, c);
            add_reasons(clause, at, k);
            const DataType* index = nullptr;
            tm_->is_array_type(TermManager::get_type(first), &index);
            const QNumber size = num_values(tm_, index);
            if (!size.is_zero() && size <= QNumber(path_.size())) {
                if (instantiate_everywhere(first)) {
                    return false;
                }
                continue; // the reads of `first` at all indices say the rest
            }
            ++num_const_lemmas_;
            push_lemma(Kind::READ_OVER_WRITE, nullptr, nullptr, std::move(clause));
            return false;
        }
        return true;
    });
}

/// Reads a constant array over a small type at every index. Returns false when that is done
/// already.
bool SolverBase::instantiate_everywhere(const Term_* constant)
{
    const DataType* index = nullptr;
    tm_->is_array_type(TermManager::get_type(constant), &index);
    bool made = false;
    for (const Term_* at : list_values(tm_, index)) {
        if (!consts_done_.insert({constant, at}).second) {
            continue;
        }
        std::vector<std::vector<TheoryLit>> clauses{{}};
        add_equality_fully(clauses, make_read(constant, at), constant->child(0), false);
        for (std::vector<TheoryLit>& clause : clauses) {
            push_lemma(Kind::CONSTANT, constant, at, std::move(clause));
        }
        ++num_const_lemmas_;
        made = true;
    }
    return made;
}

// -- Arrays that differ

/// For each place where arrays stand that are compared as a whole, those that stand there, one of
/// each class. Without theory.arr.enable_ext_arg every two arrays of one type count as compared, but
/// for those that only lemmas of this kind brought: they would bring ever more of them.
void SolverBase::list_positions(std::vector<TermVector>& lists)
{
    hsh::HashMap<PositionKey, size_t> places;
    hsh::HashMap<const DataType*, size_t> type_places;
    hsh::HashSet<std::pair<uint32_t, size_t>> known; // class and list
    const auto add = [&](const Term_* a, auto& table, const auto& key) {
        const auto [it, fresh] = table.insert({key, lists.size()});
        if (fresh) {
            lists.emplace_back();
        }
        if (known.insert({class_of(a), it->second}).second) {
            lists[it->second].push_back(a);
        }
    };
    for (const Term_* a : arrays_) {
        const Term_* index = tm_->is_array_read(a) ? a->child(1) : a;
        if (!config_.enable_ext_arg && !witnesses_.contains(index)) {
            add(a, type_places, TermManager::get_type(a));
        }
        const auto it = arg_positions_.find(a);
        if (it == arg_positions_.end()) {
            continue;
        }
        for (const ArgPos& p : it->second) {
            add(a, places, PositionKey{p.symbol, static_cast<uint64_t>(p.position)});
        }
    }
}

/// A read of each of two arrays at a fresh index, where they differ if they do at all. Needed for
/// arrays that an atom says to differ, and for those whose values must not turn out the same since
/// functions of them have different ones.
void SolverBase::make_ext_lemmas()
{
    poll();
    note_known_pairs();
    std::vector<TermVector> lists;
    list_positions(lists);
    for (const TermVector& list : lists) {
        for (size_t i = 0; i < list.size() && !is_full(); ++i) {
            for (size_t j = i + 1; j < list.size() && !is_full(); ++j) {
                separate(list[i], list[j]);
            }
        }
    }
    separate_all_arguments();
    for (const Term_* eq : equalities_) {
        if (is_full()) {
            return;
        }
        // Each atom counts for itself: of two that say the same, one may matter.
        if (!is_irrelevant(eq) && euf_->unmergeable_terms(eq->child(0), eq->child(1))) {
            separate(eq->child(0), eq->child(1));
        }
    }
}

/// Whether the check has made as many lemmas of this kind as it may.
bool SolverBase::is_full() const
{
    const size_t limit = config_.lazy_lemmas ? static_cast<size_t>(config_.max_ext_lemmas) : 0;
    return limit != 0 && lemmas_.size() >= limit;
}

/// What the classes at hand are known to differ by: reads, and lemmas of earlier checks.
void SolverBase::note_known_pairs()
{
    read_at_.clear();
    for (size_t r = 0; r < read_infos_.size(); ++r) {
        read_at_.insert({{read_infos_[r].array, read_infos_[r].index}, static_cast<uint32_t>(r)});
    }
    apart_.clear();
    for (const Term_* eq : exts_done_) {
        const auto a = class_places_.find(representative(eq->child(0)));
        const auto b = class_places_.find(representative(eq->child(1)));
        if (a != class_places_.end() && b != class_places_.end()) {
            apart_.insert(std::minmax(a->second, b->second));
        }
    }
}

/// Whether two different classes have an index at which they will differ.
bool SolverBase::are_told_apart(uint32_t a, uint32_t b)
{
    const std::pair<uint32_t, uint32_t> pair = std::minmax(a, b);
    if (apart_.contains(pair)) {
        return true;
    }
    const bool found = config_.enable_witness && has_witness(a, b);
    if (found) {
        apart_.insert(pair);
    }
    return found;
}

/// Whether reads at one index show that two classes differ.
bool SolverBase::has_witness(uint32_t a, uint32_t b)
{
    if (classes_[a].reads.size() < classes_[b].reads.size()) {
        std::swap(a, b);
    }
    return std::any_of(classes_[b].reads.begin(), classes_[b].reads.end(), [&](uint32_t s) {
        const auto it = read_at_.find({a, read_infos_[s].index});
        return it != read_at_.end() && are_apart(read_infos_[it->second], read_infos_[s]);
    });
}

void SolverBase::separate(const Term_* a, const Term_* b)
{
    const uint32_t x = class_of(a);
    const uint32_t y = class_of(b);
    if (x != y && !are_told_apart(x, y)) {
        apart_.insert(std::minmax(x, y));
        make_ext_lemma(a, b);
    }
}

/// Two applications of one function with different results need arguments of different values.
/// Arguments of other types have that with their classes, so that it is up to the arrays only if
/// those are all equal. One array is enough.
/// s, t  places in group_
void SolverBase::separate_arguments(size_t s, size_t t)
{
    const size_t arity = group_[s]->arity();
    const Term_* const* of_s = &representatives_[s * (arity + 1)];
    const Term_* const* of_t = &representatives_[t * (arity + 1)];
    if (of_s[0] == of_t[0]) {
        return;
    }
    const Term_* a = nullptr;
    const Term_* b = nullptr;
    for (size_t i = 0; i < arity; ++i) {
        if (of_s[i + 1] == of_t[i + 1]) {
            continue;
        }
        const Term_* x = group_[s]->child(i);
        const Term_* y = group_[t]->child(i);
        if (is_array(x)) {
            if (are_told_apart(class_of(x), class_of(y))) {
                return;
            }
            if (!a) {
                a = x;
                b = y;
            }
        } else if (!is_formula(x) || euf_->unmergeable_terms(x, y)) { // formulas may be undecided
            return;
        }
    }
    if (a) {
        separate(a, b);
    }
}

void SolverBase::separate_all_arguments()
{
    hsh::HashMap<const Symbol*, TermVector> groups;
    std::vector<const Symbol*> symbols; // in the order they were told
    for (const Term_* t : applications_) {
        TermVector& group = groups[t->get_symbol()];
        if (group.empty()) {
            symbols.push_back(t->get_symbol());
        }
        group.push_back(t);
    }
    for (const Symbol* f : symbols) {
        group_.swap(groups[f]);
        representatives_.clear();
        for (const Term_* t : group_) {
            representatives_.push_back(representative(t));
            for (const Term_* argument : t->children()) {
                representatives_.push_back(representative(argument));
            }
        }
        for (size_t i = 0; i < group_.size(); ++i) {
            poll();
            for (size_t j = i + 1; j < group_.size() && !is_full(); ++j) {
                separate_arguments(i, j);
            }
        }
    }
}

/// Whether the closure knows that two terms differ, and the model will have it so: what the formula
/// does not need of disequalities may be kept from the solver of numbers, and gets no lemma for
/// arrays.
bool SolverBase::are_surely_apart(const Term_* a, const Term_* b) const
{
    if (!euf_->unmergeable_terms(a, b)) {
        return false;
    }
    const DataType* type = TermManager::get_type(a);
    const bool by_value =
        tm_->is_arith_type(type) || (config_.enable_ext_polarity && tm_->is_array_type(type));
    std::vector<TheoryLit> lits;
    if (!polarity_ || !by_value || !euf_->collect_disequalities(a, b, lits)) {
        return true;
    }
    return std::none_of(lits.begin(), lits.end(), [this](TheoryLit l) {
        return l.is_neg() && tm_->is_equal(l.get_term()) && (*polarity_)(l.get_term()) == 2;
    });
}

/// Whether the atom occurs positively only: the formula is satisfied without its being false.
bool SolverBase::is_irrelevant(const Term_* eq) const
{
    return config_.enable_ext_polarity && polarity_ && (*polarity_)(eq) == 2;
}

void SolverBase::make_ext_lemma(const Term_* a, const Term_* b)
{
    const Term_* eq = make_interface_equality(tm_, a, b);
    if (!tm_->is_equal(eq) || !exts_done_.insert(eq).second) {
        return;
    }
    const DataType* index = nullptr;
    tm_->is_array_type(TermManager::get_type(a), &index);
    TermVector indices{tm_->make_true(), tm_->make_false()}; // of a truth value there are no others
    if (index != tm_->get_bool_type()) {
        const Symbol* symbol = tm_->make_symbol(".idx" + std::to_string(eq->get_id()), index);
        indices = {tm_->make_constant(symbol)};
        witnesses_.insert(indices.front());
    }
    std::vector<std::vector<TheoryLit>> clauses{{TheoryLit(eq, false)}};
    for (const Term_* k : indices) {
        add_equality_fully(clauses, make_read(a, k), make_read(b, k), true);
    }
    for (std::vector<TheoryLit>& clause : clauses) {
        push_lemma(Kind::EXTENSIONALITY, eq, nullptr, std::move(clause));
    }
    ++num_ext_lemmas_;
}

} // namespace tarq::arr
