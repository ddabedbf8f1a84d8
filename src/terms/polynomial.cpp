#include "terms/polynomial.h"

#include "base/assertion.h"
#include "terms/termmanager.h"

#include <algorithm>
#include <utility>

namespace tarq {

namespace {

using Work = std::vector<std::pair<const Term_*, QNumber>>;

bool lower_id(const Work::value_type& a, const Work::value_type& b)
{
    return a.first->get_id() < b.first->get_id();
}

/// Puts a summand on the heap, unless it is a number, which goes into the constant.
void add_summand(TermManager* tm, Work& work, Polynomial& p, const Term_* t, QNumber factor)
{
    QNumber value;
    if (tm->is_arith_number(t, &value)) {
        p.constant += value * factor;
    } else {
        work.emplace_back(t, std::move(factor));
        std::push_heap(work.begin(), work.end(), lower_id);
    }
}

const Term_* make_raw(TermManager* tm, const Symbol* symbol, const Term_* a, const Term_* b)
{
    const Term_* args[] = {a, b};
    return tm->do_make_term(symbol, args);
}

bool is_int(TermManager* tm, const Term_* t)
{
    return TermManager::get_type(t) == tm->get_int_type();
}

const Term_* make_raw_plus(TermManager* tm, const Term_* a, const Term_* b)
{
    return make_raw(tm, tm->get_plus_symbol(is_int(tm, a) && is_int(tm, b)), a, b);
}

} // namespace

Polynomial poly_norm(TermManager* tm, const Term_* a, const Term_* b, bool normalize)
{
    // Terms are taken by descending id. A term's id is above those of its subterms, so when a
    // shared one comes off the heap, all its occurrences are there to be merged.
    Polynomial p;
    Work work;
    add_summand(tm, work, p, a, QNumber(1));
    if (b) {
        add_summand(tm, work, p, b, QNumber(-1));
    }
    while (!work.empty()) {
        const Term_* t = work.front().first;
        QNumber factor;
        while (!work.empty() && work.front().first == t) {
            std::pop_heap(work.begin(), work.end(), lower_id);
            factor += work.back().second;
            work.pop_back();
        }
        if (factor.is_zero()) {
            continue;
        }
        QNumber value;
        if (tm->is_plus(t)) {
            add_summand(tm, work, p, t->child(0), factor);
            add_summand(tm, work, p, t->child(1), std::move(factor));
        } else if (tm->is_times(t) && tm->is_arith_number(t->child(0), &value)) {
            add_summand(tm, work, p, t->child(1), factor * value);
        } else if (tm->is_times(t) && tm->is_arith_number(t->child(1), &value)) {
            add_summand(tm, work, p, t->child(0), factor * value);
        } else {
            p.vars.push_back(t);
            p.coeffs.push_back(std::move(factor));
            p.all_int = p.all_int && is_int(tm, t);
        }
    }
    std::reverse(p.vars.begin(), p.vars.end());
    std::reverse(p.coeffs.begin(), p.coeffs.end());
    if (normalize && !p.vars.empty()) {
        QNumber multiple(1), divisor;
        for (const QNumber& c : p.coeffs) {
            multiple = lcm(multiple, c.get_den());
            divisor = gcd(divisor, c.get_num());
        }
        const QNumber scale = multiple / divisor;
        if (scale != 1L) {
            for (QNumber& c : p.coeffs) {
                c *= scale;
            }
            p.constant *= scale;
        }
    }
    return p;
}

const Term_* poly_to_term(TermManager* tm, const Polynomial& p)
{
    TARQ_ASSERT(!p.vars.empty());
    const Term_* sum = nullptr;
    for (size_t i = p.vars.size(); i-- > 0;) {
        const Term_* t = p.vars[i];
        if (p.coeffs[i] != 1L) {
            const Term_* number = tm->make_number(p.coeffs[i]);
            t = make_raw(tm, tm->get_times_symbol(is_int(tm, t) && is_int(tm, number)), number, t);
        }
        sum = sum ? make_raw_plus(tm, t, sum) : t;
    }
    return sum;
}

const Term_* poly_to_term_with_constant(TermManager* tm, const Polynomial& p)
{
    if (p.vars.empty()) {
        return tm->make_number(p.constant);
    }
    const Term_* sum = poly_to_term(tm, p);
    return p.constant.is_zero() ? sum : make_raw_plus(tm, tm->make_number(p.constant), sum);
}

} // namespace tarq
