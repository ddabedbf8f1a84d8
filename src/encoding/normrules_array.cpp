// Rules on arrays: writes that later writes cover, and reads through writes and conditionals.

#include "encoding/normrules.h"

#include "base/hashmap.h"
#include "terms/termmanager.h"
#include "terms/termnormalizer.h"

#include <utility>

namespace tarq::norm {

namespace {

const Term_* make_element_equality(TermManager* tm, const Term_* a, const Term_* b)
{
    return TermManager::get_type(a) == tm->get_bool_type() ? tm->make_iff(a, b)
                                                           : tm->make_equal(a, b);
}

/// c ? a : b, for Boolean elements by connectives.
const Term_* make_element_ite(TermManager* tm, const Term_* c, const Term_* a, const Term_* b)
{
    if (TermManager::get_type(a) != tm->get_bool_type()) {
        return tm->make_term_ite(c, a, b);
    }
    const Term_* then_part = tm->make_or(tm->make_not(c), a);
    return tm->make_and(then_part, tm->make_or(c, b));
}

/// The chain of writes that starts at `w` without those that a later write to the same index
/// covers.
const Term_* normalize_write_chain(TermManager* tm, const Term_* w)
{
    TermVector indices{w->child(1)};
    TermVector kept;
    const Term_* x = w->child(0);
    for (; tm->is_array_write(x); x = x->child(0)) {
        bool covered = false;
        for (const Term_* i : indices) {
            covered = covered || tm->is_true(make_element_equality(tm, i, x->child(1)));
        }
        if (!covered) {
            kept.push_back(x);
            indices.push_back(x->child(1));
        }
        if (indices.size() > 64) {
            return w; // comparing all pairs of a longer chain costs more than it gains
        }
    }
    for (auto it = kept.rbegin(); it != kept.rend(); ++it) {
        const Term_* args[] = {x, (*it)->child(1), (*it)->child(2)};
        x = tm->do_make_term((*it)->get_symbol(), args);
    }
    return tm->make_array_write(x, w->child(1), w->child(2));
}

const Term_* normalize_if_write(TermManager* tm, const Term_* t)
{
    return tm->is_array_write(t) ? normalize_write_chain(tm, t) : t;
}

const char* const WRITE_SIGNATURE = "(store (store a i v) ...) >> (store a i v)";

class RewriteRule_array_write_eq : public TermNormalizer::norm_fun {
public:
    SymbolTag::tag get_applicant() const override { return SymbolTag::EQ; }
    TermNormalizer::norm_group get_group() const override
    {
        return TermNormalizer::norm_group::ARRAY;
    }
    std::string get_signature() const override { return WRITE_SIGNATURE; }

    bool operator()(TermManager* tm, const Term_* t, const Term_** out) const override
    {
        const Term_* a = t->child(0);
        const Term_* b = t->child(1);
        if (tm->is_array_write(a) && tm->is_array_write(b) && a->child(0) == b->child(0) &&
            a->child(1) == b->child(1)) {
            *out = make_element_equality(tm, a->child(2), b->child(2));
            return true;
        }
        const Term_* x = normalize_if_write(tm, a);
        const Term_* y = normalize_if_write(tm, b);
        if (x == a && y == b) {
            return false;
        }
        *out = tm->make_equal(x, y);
        return true;
    }
};

class RewriteRule_array_write_uf : public TermNormalizer::norm_fun {
public:
    SymbolTag::tag get_applicant() const override { return SymbolTag::UNKNOWN; }
    std::string get_signature() const override { return WRITE_SIGNATURE; }

    bool operator()(TermManager* tm, const Term_* t, const Term_** out) const override
    {
        bool changed = false;
        TermVector args;
        for (const Term_* child : t->children()) {
            args.push_back(normalize_if_write(tm, child));
            changed = changed || args.back() != child;
        }
        if (!changed) {
            return false;
        }
        *out = tm->do_make_term(t->get_symbol(), args);
        return true;
    }
};

class RewriteRule_array_write_ite : public TermNormalizer::norm_fun {
public:
    SymbolTag::tag get_applicant() const override { return SymbolTag::ITE; }
    std::string get_signature() const override { return WRITE_SIGNATURE; }

    /// Only the chains: two writes to one place can't be merged into one element here, since the
    /// branches are arrays.
    bool operator()(TermManager* tm, const Term_* t, const Term_** out) const override
    {
        const Term_* x = normalize_if_write(tm, t->child(1));
        const Term_* y = normalize_if_write(tm, t->child(2));
        if (x == t->child(1) && y == t->child(2)) {
            return false;
        }
        *out = tm->make_term_ite(t->child(0), x, y);
        return true;
    }
};

/// Keeps, per array, whether all writes in it have numerals as indices. Terms live at least as long
/// as the rule.
class RewriteRule_array_read : public TermNormalizer::norm_fun {
public:
    SymbolTag::tag get_applicant() const override { return SymbolTag::ARRAY_READ; }
    std::string get_signature() const override
    {
        return "(select (store a i v) ...) >> (select a i)";
    }

    bool operator()(TermManager* tm, const Term_* t, const Term_** out) const override
    {
        const Term_* a = t->child(0);
        const Term_* i = t->child(1);
        if (tm->is_array_write(a)) {
            const Term_* b = normalize_write_chain(tm, a);
            while (tm->is_array_write(b)) {
                const Term_* same = make_element_equality(tm, b->child(1), i);
                if (tm->is_true(same)) {
                    *out = b->child(2);
                    return true;
                }
                if (!tm->is_false(same)) {
                    break;
                }
                b = b->child(0);
            }
            if (b != a) {
                *out = eliminate_read(tm, b, i);
                return true;
            }
        }
        *out = eliminate_read(tm, a, i);
        return *out != t;
    }

private:
    bool has_numeral_indices(TermManager* tm, const Term_* array) const
    {
        TermVector stack{array};
        while (!stack.empty()) {
            const Term_* x = stack.back();
            if (const_index_.contains(x)) {
                stack.pop_back();
                continue;
            }
            bool result = !tm->is_array_write(x) || tm->is_number(x->child(1));
            const size_t size = stack.size();
            for (const Term_* child : x->children()) {
                if (!result || !tm->is_array_type(TermManager::get_type(child))) {
                    continue;
                }
                const auto it = const_index_.find(child);
                if (it == const_index_.end()) {
                    stack.push_back(child);
                } else {
                    result = it->second;
                }
            }
            if (!result || stack.size() == size) {
                stack.resize(size - 1);
                const_index_[x] = result;
            }
        }
        return const_index_.find(array)->second;
    }

    /// read(array, i) with the read pushed through writes at numerals and through conditionals.
    const Term_* eliminate_read(TermManager* tm, const Term_* array, const Term_* i) const
    {
        TermMap expansion; // an array x to what read(x, i) becomes
        TermVector stack{array};
        while (!stack.empty()) {
            const Term_* x = stack.back();
            if (expansion.contains(x)) {
                stack.pop_back();
                continue;
            }
            const bool is_write = tm->is_array_write(x);
            const bool is_ite = !is_write && tm->is_term_ite(x);
            if ((!is_write && !is_ite) || !has_numeral_indices(tm, x)) {
                expansion[x] = tm->make_array_read(x, i);
                continue;
            }
            const size_t size = stack.size();
            const auto need = [&](const Term_* y) {
                const auto it = expansion.find(y);
                if (it == expansion.end()) {
                    stack.push_back(y);
                    return static_cast<const Term_*>(nullptr);
                }
                return it->second;
            };
            const Term_* first = need(x->child(is_write ? 0 : 1));
            const Term_* second = is_ite ? need(x->child(2)) : nullptr;
            if (stack.size() != size) {
                continue;
            }
            if (is_write) {
                const Term_* same = make_element_equality(tm, i, x->child(1));
                expansion[x] = make_element_ite(tm, same, x->child(2), first);
            } else {
                expansion[x] = make_element_ite(tm, x->child(0), first, second);
            }
        }
        return expansion.find(array)->second;
    }

    mutable hsh::HashMap<const Term_*, bool> const_index_;
};

} // namespace

void register_array_rules(TermNormalizer* n)
{
    n->register_rule(std::make_unique<RewriteRule_array_write_eq>());
    n->register_rule(std::make_unique<RewriteRule_array_write_uf>());
    n->register_rule(std::make_unique<RewriteRule_array_write_ite>());
    n->register_rule(std::make_unique<RewriteRule_array_read>());
}

} // namespace tarq::norm
