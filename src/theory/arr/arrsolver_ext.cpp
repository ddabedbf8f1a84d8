// Constant arrays that meet, and arrays that have to differ somewhere.
#include "encoding/polaritychecker.h"
#include "theory/arr/arrsolver.h"
#include "theory/euf/eufsolver.h"
#include "theory/iesimplifier.h"

#include <algorithm>

namespace tarq::arr {

namespace {

/// From here on a number of values counts as infinite.
constexpr long MANY_VALUES = 1L << 40;

} // namespace

QNumber Solver::num_values(const TermManager* tm, const DataType* type)
{
    const DataType* index = nullptr;
    const DataType* element = nullptr;
    QNumber size;
    if (tm->is_array_type(type, &index, &element)) {
        const QNumber indices = num_values(tm, index);
        const QNumber elements = num_values(tm, element);
        if (indices.is_zero() || elements.is_zero()) {
            return elements == 1L ? QNumber(1) : QNumber();
        }
        QNumber power(1);
        for (QNumber i; i < indices; i += 1L) {
            power *= elements;
            if (power > QNumber(MANY_VALUES)) {
                return QNumber();
            }
        }
        return power;
    }
    if (!tm->is_finite_domain_type(type, &size) || size > QNumber(MANY_VALUES)) {
        return QNumber();
    }
    size_t exp = 0;
    size_t mant = 0;
    if (tm->is_fp_type(type, &exp, &mant)) { // all patterns of NaN are one value
        size = size - QNumber(1L << (mant + 1)) + QNumber(3);
    }
    return size;
}

// -- Constant arrays

/// Two constant arrays that writes connect have one element if some index stays unwritten on the
/// way.
void Solver::make_const_lemmas()
{
    for (const Term_* k : constants_) {
        poll();
        if (!join_constants(k) && config_.lazy_lemmas) {
            return;
        }
    }
}

/// Returns false when it made a lemma.
bool Solver::join_constants(const Term_* first)
{
    const Term_* element = first->child(0);
    return walk(classes_, first, nullptr, [&](const Term_* c) {
        for (const Term_* k : classes_[c].constants) {
            if (representative(k->child(0)) == representative(element)) {
                continue;
            }
            std::vector<TheoryLit> clause;
            add_equality(clause, element, k->child(0), false);
            const Term_* at = add_path(clause, first, nullptr, c);
            add_reasons(clause, at, k);
            const DataType* index = nullptr;
            tm_->is_array_type(TermManager::get_type(first), &index);
            const QNumber size = num_values(tm_, index);
            if (!size.is_zero() && size <= QNumber(path_.size() - 1)) {
                if (instantiate_everywhere(first)) {
                    return false;
                }
                continue; // the reads of `first` at all indices say the rest
            }
            ++num_const_lemmas_;
            push_lemma({Kind::READ_OVER_WRITE, nullptr, nullptr}, std::move(clause));
            return false;
        }
        return true;
    });
}

/// Reads a constant array over a small type at every index. Returns false when that is done
/// already.
bool Solver::instantiate_everywhere(const Term_* constant)
{
    const DataType* index = nullptr;
    tm_->is_array_type(TermManager::get_type(constant), &index);
    size_t width = 0;
    if (!tm_->is_bv_type(index, &width)) {
        throw make_error<Exception>("constant arrays over the small index type ", index->to_str(),
                                    " are not supported");
    }
    bool made = false;
    const QNumber size = num_values(tm_, index);
    for (QNumber i; i < size; i += 1L) {
        const Term_* at = tm_->make_bv_number(i, width);
        if (!consts_done_.insert({constant, at}).second) {
            continue;
        }
        std::vector<TheoryLit> clause;
        add_equality(clause, make_read(constant, at), constant->child(0), false);
        push_lemma({Kind::CONSTANT, constant, at}, std::move(clause));
        ++num_const_lemmas_;
        made = true;
    }
    return made;
}

// -- Arrays that differ

/// A read of each of two arrays at a fresh index, where they differ if they do at all. Needed for
/// arrays that an atom says to differ, and for those that stand as the same argument of the same
/// function, whose values could otherwise turn out the same.
void Solver::make_ext_lemmas()
{
    poll();
    const size_t limit = config_.lazy_lemmas ? static_cast<size_t>(config_.max_ext_lemmas) : 0;
    const auto is_full = [&] { return limit != 0 && lemmas_.size() >= limit; };
    hsh::HashSet<std::pair<const Term_*, const Term_*>> pairs; // of classes, one lemma for each
    const auto is_new = [&](const Term_* a, const Term_* b) {
        const Term_* ra = representative(a);
        const Term_* rb = representative(b);
        if (ra->get_id() > rb->get_id()) {
            std::swap(ra, rb);
        }
        return ra != rb && pairs.insert({ra, rb}).second;
    };
    // by symbol and position, the classes that stand there
    hsh::HashMap<std::pair<uint64_t, uint64_t>, TermVector> positions;
    std::vector<std::pair<uint64_t, uint64_t>> position_order;
    for (const Term_* a : arrays_) {
        const auto it = arg_positions_.find(a);
        if (it == arg_positions_.end()) {
            continue;
        }
        for (const ArgPos& p : it->second) {
            const std::pair<uint64_t, uint64_t> key{p.symbol, static_cast<uint64_t>(p.position)};
            TermVector& list = positions[key];
            if (list.empty()) {
                position_order.push_back(key);
            }
            const bool known = std::any_of(list.begin(), list.end(), [&](const Term_* t) {
                return representative(t) == representative(a);
            });
            if (!known) {
                list.push_back(a);
            }
        }
    }
    for (const auto& key : position_order) {
        const TermVector& list = positions[key];
        for (size_t i = 0; i < list.size() && !is_full(); ++i) {
            for (size_t j = i + 1; j < list.size() && !is_full(); ++j) {
                const Class& a = classes_[representative(list[i])];
                const Class& b = classes_[representative(list[j])];
                if (is_new(list[i], list[j]) && !(config_.enable_witness && has_witness(a, b))) {
                    make_ext_lemma(list[i], list[j]);
                }
            }
        }
    }
    for (const Term_* eq : equalities_) {
        const Term_* a = eq->child(0);
        const Term_* b = eq->child(1);
        if (is_full()) {
            return;
        }
        if (euf_->unmergeable_terms(a, b) && is_new(a, b) &&
            !(config_.enable_witness &&
              has_witness(classes_[representative(a)], classes_[representative(b)])) &&
            !(config_.enable_ext_polarity && is_irrelevant(a, b))) {
            make_ext_lemma(a, b);
        }
    }
}

/// Whether reads at one index show that the two differ.
bool Solver::has_witness(const Class& a, const Class& b)
{
    hsh::HashMap<const Term_*, const Term_*> by_index;
    for (const Term_* r : a.reads) {
        by_index.insert({representative(r->child(1)), r});
    }
    return std::any_of(b.reads.begin(), b.reads.end(), [&](const Term_* s) {
        const auto it = by_index.find(representative(s->child(1)));
        return it != by_index.end() && euf_->unmergeable_terms(it->second, s);
    });
}

/// Whether all atoms that say that the two differ occur positively only: the formula is satisfied
/// without them.
bool Solver::is_irrelevant(const Term_* a, const Term_* b)
{
    std::vector<TheoryLit> lits;
    if (!polarity_ || !euf_->collect_disequalities(a, b, lits)) {
        return false;
    }
    return std::all_of(lits.begin(), lits.end(), [this](TheoryLit l) {
        return !l.is_neg() || !tm_->is_equal(l.get_term()) || (*polarity_)(l.get_term()) == 2;
    });
}

void Solver::make_ext_lemma(const Term_* a, const Term_* b)
{
    const Term_* eq = make_interface_equality(tm_, a, b);
    if (!tm_->is_equal(eq) || !exts_done_.insert(eq).second) {
        return;
    }
    const DataType* index = nullptr;
    tm_->is_array_type(TermManager::get_type(a), &index);
    const Symbol* symbol = tm_->make_symbol(".idx" + std::to_string(eq->get_id()), index);
    const Term_* k = tm_->make_constant(symbol);
    std::vector<TheoryLit> clause{TheoryLit(eq, false)};
    add_equality(clause, make_read(a, k), make_read(b, k), true);
    push_lemma({Kind::EXTENSIONALITY, eq, nullptr}, std::move(clause));
    ++num_ext_lemmas_;
}

} // namespace tarq::arr
