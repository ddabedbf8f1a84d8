#include "terms/polynomial.h"

#include "base/assertion.h"
#include "terms/termmanager.h"

#include <algorithm>
#include <utility>

namespace tarq {

namespace {

using Part = Polynomial::Part;

bool lower_id(const Part& a, const Part& b)
{
    return a.term->get_id() < b.term->get_id();
}

/// Puts a summand on the heap, unless it is a number, which goes into the constant.
void add_summand(TermManager* tm, Polynomial& p, const Term_* t, QNumber factor,
                 const Term_* product = nullptr)
{
    QNumber value;
    if (tm->is_arith_number(t, &value)) {
        p.constant += value * factor;
    } else {
        p.parts.push_back({t, product, std::move(factor)});
        std::push_heap(p.parts.begin(), p.parts.end(), lower_id);
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

const Symbol* times_symbol(TermManager* tm, const Term_* number, const Term_* t)
{
    return tm->get_times_symbol(is_int(tm, t) && is_int(tm, number));
}

const Term_* make_raw_plus(TermManager* tm, const Term_* a, const Term_* b)
{
    return make_raw(tm, tm->get_plus_symbol(is_int(tm, a) && is_int(tm, b)), a, b);
}

/// Scales by the least positive factor that makes the coefficients coprime integers.
void scale(Polynomial& p)
{
    QNumber multiple(1), divisor;
    for (const QNumber& c : p.coeffs) {
        if (!c.is_int()) {
            multiple = lcm(multiple, c.get_den());
        }
        if (divisor != 1L) {
            divisor = gcd(divisor, c.get_num());
        }
    }
    if (multiple == 1L && divisor == 1L) {
        return;
    }
    const QNumber factor = multiple / divisor;
    if (factor == 1L) {
        return;
    }
    for (QNumber& c : p.coeffs) {
        c *= factor;
    }
    p.constant *= factor;
    std::fill(p.products.begin(), p.products.end(), nullptr);
}

} // namespace

void Polynomial::clear()
{
    vars.clear();
    coeffs.clear();
    products.clear();
    parts.clear();
    constant = QNumber();
    all_int = true;
}

void Polynomial::negate_coeffs()
{
    for (QNumber& c : coeffs) {
        c.self_neg();
    }
    std::fill(products.begin(), products.end(), nullptr);
}

void poly_norm(TermManager* tm, const Term_* a, const Term_* b, bool normalize, Polynomial* out)
{
    // Terms are taken by descending id. A term's id is above those of its subterms, so when a
    // shared one comes off the heap, all its occurrences are there to be merged.
    Polynomial& p = *out;
    p.clear();
    add_summand(tm, p, a, QNumber(1));
    if (b) {
        add_summand(tm, p, b, QNumber(-1));
    }
    QNumber value;
    while (!p.parts.empty()) {
        std::pop_heap(p.parts.begin(), p.parts.end(), lower_id);
        Part part = std::move(p.parts.back());
        p.parts.pop_back();
        const Term_* t = part.term;
        while (!p.parts.empty() && p.parts.front().term == t) {
            std::pop_heap(p.parts.begin(), p.parts.end(), lower_id);
            part.factor += p.parts.back().factor;
            part.product = nullptr;
            p.parts.pop_back();
        }
        if (part.factor.is_zero()) {
            continue;
        }
        if (tm->is_plus(t)) {
            add_summand(tm, p, t->child(0), part.factor);
            add_summand(tm, p, t->child(1), std::move(part.factor));
        } else if (tm->is_times(t) && tm->is_arith_number(t->child(0), &value)) {
            const bool usual = part.factor.is_one() && !value.is_one() &&
                               t->get_symbol() == times_symbol(tm, t->child(0), t->child(1));
            part.factor *= value;
            add_summand(tm, p, t->child(1), std::move(part.factor), usual ? t : nullptr);
        } else if (tm->is_times(t) && tm->is_arith_number(t->child(1), &value)) {
            part.factor *= value;
            add_summand(tm, p, t->child(0), std::move(part.factor));
        } else {
            p.vars.push_back(t);
            p.coeffs.push_back(std::move(part.factor));
            p.products.push_back(part.product);
            p.all_int = p.all_int && is_int(tm, t);
        }
    }
    std::reverse(p.vars.begin(), p.vars.end());
    std::reverse(p.coeffs.begin(), p.coeffs.end());
    std::reverse(p.products.begin(), p.products.end());
    if (normalize && !p.vars.empty()) {
        scale(p);
    }
}

const Term_* poly_to_term(TermManager* tm, Polynomial& p)
{
    TARQ_ASSERT(!p.vars.empty());
    // the products first: they do not wait for each other, and most of the time here is waiting for
    // memory
    for (size_t i = 0; i < p.vars.size(); ++i) {
        if (!p.products[i]) {
            const Term_* t = p.vars[i];
            if (p.coeffs[i] != 1L) {
                const Term_* number = tm->make_number(p.coeffs[i]);
                t = make_raw(tm, times_symbol(tm, number, t), number, t);
            }
            p.products[i] = t;
        }
    }
    const Term_* sum = p.products.back();
    for (size_t i = p.vars.size() - 1; i-- > 0;) {
        sum = make_raw_plus(tm, p.products[i], sum);
    }
    return sum;
}

const Term_* poly_to_term_with_constant(TermManager* tm, Polynomial& p)
{
    if (p.vars.empty()) {
        return tm->make_number(p.constant);
    }
    const Term_* sum = poly_to_term(tm, p);
    return p.constant.is_zero() ? sum : make_raw_plus(tm, tm->make_number(p.constant), sum);
}

} // namespace tarq
