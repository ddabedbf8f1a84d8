#include "theory/euf/referenceclosure.h"

#include <map>

namespace tarq::euf {

namespace {

/// Classes as a map from each subterm to a term of its class, recomputed until nothing changes.
class ReferenceClosure {
public:
    explicit ReferenceClosure(TermManager* tm) : tm_(tm) {}

    void add(const Term_* t)
    {
        TermVector stack{t};
        while (!stack.empty()) {
            const Term_* s = stack.back();
            stack.pop_back();
            if (parent_.emplace(s, s).second) {
                if (!tm_->is_term_ite(s)) {
                    stack.insert(stack.end(), s->children().begin(), s->children().end());
                }
            }
        }
    }

    const Term_* find(const Term_* t) const
    {
        while (parent_.at(t) != t) {
            t = parent_.at(t);
        }
        return t;
    }

    void unite(const Term_* a, const Term_* b)
    {
        a = find(a);
        b = find(b);
        if (a != b) {
            // a number stands for its class
            if (is_value(a)) {
                clash_ = clash_ || is_value(b);
                parent_[b] = a;
            } else {
                parent_[a] = b;
            }
        }
    }

    void close()
    {
        for (bool changed = true; changed;) {
            changed = false;
            std::map<std::vector<uint64_t>, const Term_*> signatures;
            for (const auto& [t, unused] : parent_) {
                if (t->arity() == 0 || tm_->is_term_ite(t)) {
                    continue;
                }
                std::vector<uint64_t> key{t->get_symbol()->get_id()};
                for (const Term_* c : t->children()) {
                    key.push_back(find(c)->get_id());
                }
                if (tm_->is_equal(t) && key[2] < key[1]) {
                    std::swap(key[1], key[2]);
                }
                const Term_* other = signatures.emplace(key, t).first->second;
                if (find(other) != find(t)) {
                    unite(other, t);
                    changed = true;
                }
            }
        }
    }

    bool has_clash() const { return clash_; }
    bool is_value(const Term_* t) const
    {
        return t->arity() == 0 && tm_->is_interpreted(t) && !tm_->is_pi(t);
    }

private:
    TermManager* tm_;
    std::map<const Term_*, const Term_*, term_lt> parent_;
    bool clash_ = false;
};

ReferenceClosure closure_of(TermManager* tm, const std::vector<TheoryLit>& lits)
{
    ReferenceClosure c(tm);
    c.add(tm->make_true());
    c.add(tm->make_false());
    for (TheoryLit l : lits) {
        c.add(l.get_term());
        c.unite(l.get_term(), tm->make_bool(!l.is_neg()));
        if (!l.is_neg() && tm->is_equal(l.get_term())) {
            c.unite(l.get_term()->child(0), l.get_term()->child(1));
        }
    }
    return c;
}

} // namespace

bool is_inconsistent(TermManager* tm, const std::vector<TheoryLit>& lits)
{
    ReferenceClosure c = closure_of(tm, lits);
    c.close();
    if (c.has_clash()) {
        return true;
    }
    for (TheoryLit l : lits) {
        const Term_* t = l.get_term();
        if (!l.is_neg() || !(tm->is_equal(t) || tm->is_leq(t))) {
            continue;
        }
        const Term_* a = c.find(t->child(0));
        const Term_* b = c.find(t->child(1));
        QNumber x;
        QNumber y;
        if (a == b || (tm->is_leq(t) && tm->is_number(a, &x) && tm->is_number(b, &y) && !(y < x))) {
            return true;
        }
    }
    return false;
}

bool implies_equality(TermManager* tm, const std::vector<TheoryLit>& lits, const Term_* a,
                      const Term_* b)
{
    ReferenceClosure c = closure_of(tm, lits);
    c.add(a);
    c.add(b);
    c.close();
    return c.has_clash() || c.find(a) == c.find(b);
}

} // namespace tarq::euf
