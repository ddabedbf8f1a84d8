#include "encoding/commonequalities.h"

#include "encoding/nestflattener.h"

#include <algorithm>

namespace tarq {

namespace {

/// The classes that the equalities of one case make, and their meet with those of further cases.
class CommonClasses {
public:
    CommonClasses(TermManager* tm, NestFlattener* nests) : tm_(tm), nests_(nests) {}

    /// False when a case has no equalities, so that nothing is common.
    bool add_case(const Term_* t)
    {
        parent_.clear();
        terms_.clear();
        conjuncts_.clear();
        nests_->add_conjuncts(t, conjuncts_);
        for (const Term_* c : conjuncts_) {
            if (tm_->is_equal(c) && is_uninterpreted_sort(TermManager::get_type(c->child(0)))) {
                const Term_* a = find(c->child(0));
                const Term_* b = find(c->child(1));
                parent_[b->get_id() < a->get_id() ? a : b] = b->get_id() < a->get_id() ? b : a;
            }
        }
        if (first_) {
            first_ = false;
            for (const Term_* x : terms_) {
                class_of_[x] = find(x);
            }
        } else {
            refine();
        }
        return !class_of_.empty();
    }

    /// Appends the equality of each term with the first of its class.
    void get_equalities(TermVector& out)
    {
        TermVector terms;
        for (const auto& [t, unused] : class_of_) {
            terms.push_back(t);
        }
        std::sort(terms.begin(), terms.end(), term_lt());
        TermMap first;
        for (const Term_* t : terms) {
            const Term_*& f = first[class_of_[t]];
            if (f) {
                out.push_back(tm_->make_equal(f, t));
            } else {
                f = t;
            }
        }
    }

private:
    bool is_uninterpreted_sort(const DataType* type) const
    {
        return !tm_->is_arith_type(type) && !tm_->is_array_type(type) &&
               !tm_->is_finite_domain_type(type);
    }

    const Term_* find(const Term_* t)
    {
        const auto known = parent_.find(t);
        if (known == parent_.end()) {
            parent_[t] = t;
            terms_.push_back(t);
            return t;
        }
        while (parent_[t] != t) {
            const Term_* up = parent_[parent_[t]];
            parent_[t] = up;
            t = up;
        }
        return t;
    }

    /// Terms stay together if they are together in both; a term that this case says nothing of is
    /// alone. A class is named by its first member, by id.
    void refine()
    {
        TermVector kept;
        for (const Term_* t : terms_) {
            if (class_of_.find(t) != class_of_.end()) {
                kept.push_back(t);
            }
        }
        std::sort(kept.begin(), kept.end(), term_lt());
        hsh::HashMap<std::pair<const Term_*, const Term_*>, TermVector> meet;
        for (const Term_* t : kept) {
            meet[{class_of_[t], find(t)}].push_back(t);
        }
        class_of_.clear();
        for (const auto& [key, members] : meet) {
            if (members.size() > 1) {
                for (const Term_* t : members) {
                    class_of_[t] = members.front();
                }
            }
        }
    }

    TermManager* tm_;
    NestFlattener* nests_;
    bool first_ = true;
    TermMap class_of_; // of the cases so far
    TermMap parent_;   // of the case at hand
    TermVector terms_; // its terms
    TermVector conjuncts_;
};

} // namespace

const Term_* add_common_equalities(TermManager* tm, const Term_* f)
{
    TermVector conjuncts;
    NestFlattener nests(tm);
    nests.add_conjuncts(f, conjuncts);
    TermVector found;
    TermVector cases;
    for (const Term_* c : conjuncts) {
        if (!tm->is_or(c)) {
            continue;
        }
        cases.clear();
        nests.add_arguments(c, cases);
        CommonClasses common(tm, &nests);
        if (std::all_of(cases.begin(), cases.end(),
                        [&](const Term_* t) { return common.add_case(t); })) {
            common.get_equalities(found);
        }
    }
    const Term_* result = f;
    for (const Term_* eq : found) {
        result = tm->make_and(result, eq);
    }
    return result;
}

} // namespace tarq
