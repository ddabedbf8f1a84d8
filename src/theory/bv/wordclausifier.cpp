#include "theory/bv/wordclausifier.h"

#include "theory/bv/aigwordclausifier.h"

#include <algorithm>

namespace tarq::bv {

std::unique_ptr<WordClausifierInterface>
WordClausifierInterface::make(TermManager* tm, const Configuration::Theory::Bv& options, Ites ites)
{
    if (options.bit_blast_mode == 0) {
        return std::make_unique<WordClausifier>(tm, &options, ites);
    }
    return std::make_unique<AigWordClausifier>(tm, &options, ites);
}

bool WordClausifier::get_bits(const Term_* t, BvLitList* out) const
{
    if (!is_cached(t)) {
        return false;
    }
    const std::span<const BvLit> w = word(t);
    out->assign(w.begin(), w.end());
    return true;
}

BvLit WordClausifier::bit_blast(const Term_* t, ClauseSink* sink)
{
    const bool was_cached = is_cached(t);
    bit_blast_term(t, sink);
    const BvLit bit = word(t)[0];
    BvLit proxy;
    if (was_cached && sink->get_proxy(t, &proxy) && proxy != bit) {
        // it was met below another term before it had a variable
        sink->clause(-bit, proxy);
        sink->clause(bit, -proxy);
        return proxy;
    }
    return bit;
}

void WordClausifier::bit_blast_word(const Term_* t, ClauseSink* sink, BvLitList* out)
{
    bit_blast_term(t, sink);
    get_bits(t, out);
}

void WordClausifier::set_bits(const Term_* t, ClauseSink* sink, const BvLitList& bits)
{
    if (!is_cached(t)) {
        TARQ_ASSERT(bits.size() == width_of(t));
        add_to_cache(t, bits);
        return;
    }
    const std::span<const BvLit> w = word(t);
    TARQ_ASSERT(w.size() == bits.size());
    for (size_t i = 0; i < w.size(); ++i) {
        sink->clause(-w[i], bits[i]);
        sink->clause(w[i], -bits[i]);
    }
}

bool WordClausifier::make_bits(const Term_* t, BvLitList* out, ClauseSink* sink)
{
    if (!is_cached(t)) {
        return false;
    }
    out->clear();
    for (size_t i = 0; i < word(t).size(); ++i) {
        const BvLit fresh = sink->new_atom();
        sink->clause(-fresh, word(t)[i]);
        sink->clause(fresh, -word(t)[i]);
        out->push_back(fresh);
    }
    return true;
}

bool WordClausifier::bit_blast_theory_eq(BvLit lit, const Term_* a, const Term_* b,
                                         ClauseSink* sink)
{
    bit_blast_term(a, sink);
    bit_blast_term(b, sink);
    const std::span<const BvLit> x = word(a);
    const std::span<const BvLit> y = word(b);
    for (size_t i = 0; i < x.size(); ++i) {
        if (x[i] == -y[i]) {
            return false;
        }
    }
    for (size_t i = 0; i < x.size(); ++i) {
        if (x[i] != y[i]) {
            sink->clause(-lit, -x[i], y[i]);
            sink->clause(-lit, x[i], -y[i]);
        }
    }
    return true;
}

bool WordClausifier::evaluate(const Term_* t, const std::function<bool(BvLit)>& value, bool,
                              std::vector<bool>* out)
{
    if (!is_cached(t)) {
        return false;
    }
    out->clear();
    for (BvLit l : word(t)) {
        out->push_back(l.is_constant() ? l.is_true() : value(l));
    }
    return true;
}

} // namespace tarq::bv
