// Rules on the top-level conjunction: contradictory conjuncts, and equalities said by two bounds.

#include "encoding/normrules.h"

#include "base/hashmap.h"
#include "base/hashset.h"
#include "terms/termmanager.h"
#include "terms/termnormalizer.h"

#include <utility>
#include <vector>

namespace tarq::norm {

namespace {

class GlobalRewriteRule_contradiction_and : public TermNormalizer::global_norm_fun {
public:
    SymbolTag::tag get_applicant() const override { return SymbolTag::AND; }
    std::string get_signature() const override { return "(and ... t ... (not t)) >> false"; }

    bool operator()(TermManager* tm, const Term_* t, const Term_** out) const override
    {
        hsh::HashMap<const Term_*, bool> signs; // a conjunct to whether it is negated
        TermVector stack{t};
        while (!stack.empty()) {
            const Term_* x = stack.back();
            stack.pop_back();
            bool negated = false;
            for (; tm->is_not(x); x = x->child(0)) {
                negated = !negated;
            }
            const auto [it, is_new] = signs.insert({x, negated});
            if (it->second != negated) {
                *out = tm->make_false();
                return true;
            }
            // a negated conjunction is one conjunct: what is below it need not hold
            if (is_new && !negated && tm->is_and(x)) {
                stack.push_back(x->child(0));
                stack.push_back(x->child(1));
            }
        }
        return false;
    }
};

class GlobalRewriteRule_leq_geq_eq : public TermNormalizer::global_norm_fun {
public:
    SymbolTag::tag get_applicant() const override { return SymbolTag::AND; }
    std::string get_signature() const override { return "(and (>= t) (<= t)) >> (= t)"; }

    bool operator()(TermManager* tm, const Term_* t, const Term_** out) const override
    {
        const Term_* result = tm->make_true();
        bool changed = false;
        std::vector<const Term_*> bounds;      // inequalities in the order met
        hsh::HashMap<const Term_*, bool> used; // inequality to whether an equality replaced it
        hsh::HashMap<std::pair<const Term_*, const Term_*>, const Term_*> by_sides;
        TermSet seen;
        TermVector stack{t};
        while (!stack.empty()) {
            const Term_* x = stack.back();
            stack.pop_back();
            if (!seen.insert(x).second) {
                continue;
            }
            if (tm->is_and(x)) {
                stack.push_back(x->child(1));
                stack.push_back(x->child(0));
            } else if (tm->is_leq(x)) {
                const Term_* a = x->child(0);
                const Term_* b = x->child(1);
                const auto converse = by_sides.find({b, a});
                if (converse != by_sides.end() && !used[converse->second]) {
                    used[converse->second] = true;
                    result = tm->make_and(result, tm->make_equal(a, b));
                    changed = true;
                } else {
                    by_sides[{a, b}] = x;
                    bounds.push_back(x);
                }
            } else {
                result = tm->make_and(result, x);
            }
        }
        if (!changed) {
            return false;
        }
        const auto unchecked = tm->typecheck_in_scope(false);
        const auto plain = tm->simplify_in_scope(false);
        for (const Term_* x : bounds) {
            if (!used[x]) {
                result = tm->is_true(result) ? x : tm->make_and(result, x);
            }
        }
        *out = result;
        return true;
    }
};

} // namespace

void register_global_rules(TermNormalizer* n)
{
    n->register_global_rule(std::make_unique<GlobalRewriteRule_contradiction_and>());
    n->register_global_rule(std::make_unique<GlobalRewriteRule_leq_geq_eq>());
}

} // namespace tarq::norm
