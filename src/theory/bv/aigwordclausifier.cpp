#include "theory/bv/aigwordclausifier.h"

#include "encoding/aigmanager_cnf.h"

namespace tarq::bv {

/// What a conversion of the graph writes to: labels of nodes, and clauses over them.
class AigWordClausifier::AigClauseSink {
public:
    /// wanted  the literal that the node `root` shall get; undefined for a fresh one
    AigClauseSink(AigWordClausifier& owner, ClauseSink* sink, uint32_t root, BvLit wanted)
        : owner_(owner), sink_(sink), root_(root), wanted_(wanted)
    {
    }

    /// Asked once or more for each node, so it is also the place to stop a long conversion. Whoever
    /// stops one drops the clausifier: a label may then lack its clauses.
    bool has_label(uint32_t id)
    {
        if (++owner_.unpolled_ % POLL_INTERVAL == 0) {
            owner_.gates_.poll();
        }
        return !owner_.labels_[id].is_undef();
    }
    void set_label(uint32_t id)
    {
        const bool take = id == root_ && !wanted_.is_undef();
        owner_.set_label(id, take ? wanted_ : sink_->new_atom());
    }
    void add_literal(Aig a) { sink_->push(owner_.label(a)); }
    void add_clause() { sink_->add_clause(); }

private:
    static constexpr uint32_t POLL_INTERVAL = 1 << 16;

    AigWordClausifier& owner_;
    ClauseSink* sink_;
    uint32_t root_;
    BvLit wanted_;
};

AigWordClausifier::AigWordClausifier(TermManager* tm, const Configuration::Theory::Bv* options,
                                     Ites ites)
    : WordClausifierBase(tm, options, ites),
      logic_synthesis_(options && options->bit_blast_mode == 2)
{
}

// Labels

BvLit AigWordClausifier::label(Aig a) const
{
    if (gates_.manager().is_constant(a)) {
        return a.is_negated() ? l_false : l_true;
    }
    const BvLit l = a.id() < labels_.size() ? labels_[a.id()] : l_undef;
    return a.is_negated() ? -l : l;
}

void AigWordClausifier::set_label(uint32_t id, BvLit l)
{
    labels_[id] = l;
    if (!label_marks_.empty()) {
        label_trail_.push_back(id);
    }
}

Aig AigWordClausifier::bound_variable(BvLit l)
{
    const Aig a = gates_.fresh();
    labels_.resize(gates_.manager().num_ids());
    set_label(a.id(), l);
    return a;
}

/// The literal of a handle, with clauses for what has none yet.
/// wanted  the literal to take if there is none; undefined for a fresh one
BvLit AigWordClausifier::convert(Aig a, BvLit wanted, ClauseSink* sink)
{
    if (label(a).is_undef()) {
        labels_.resize(gates_.manager().num_ids());
        AigClauseSink out(*this, sink, a.id(), a.is_negated() ? -wanted : wanted);
        if (logic_synthesis_) {
            gates_.manager().aig2cnf_ls(a, out);
        } else {
            gates_.manager().aig2cnf_tseitin(a, out);
        }
    }
    return label(a);
}

void AigWordClausifier::push_backtrack_point()
{
    WordClausifierBase::push_backtrack_point();
    label_marks_.push_back(label_trail_.size());
}

void AigWordClausifier::pop_backtrack_point()
{
    WordClausifierBase::pop_backtrack_point();
    for (size_t i = label_marks_.back(); i < label_trail_.size(); ++i) {
        labels_[label_trail_[i]] = l_undef;
    }
    label_trail_.resize(label_marks_.back());
    label_marks_.pop_back();
}

// Words

std::span<const Aig> AigWordClausifier::bit_blast_aigs(const Term_* t)
{
    bit_blast_term(t, nullptr);
    return word(t);
}

bool AigWordClausifier::get_bits(const Term_* t, BvLitList* out) const
{
    if (!is_cached(t)) {
        return false;
    }
    out->clear();
    for (const Aig a : word(t)) {
        out->push_back(label(a));
    }
    return true;
}

BvLit AigWordClausifier::bit_blast(const Term_* t, ClauseSink* sink)
{
    bit_blast_term(t, sink);
    const Aig a = word(t)[0];
    BvLit proxy;
    const bool has_proxy = sink->get_proxy(t, &proxy);
    if (gates_.manager().is_constant(a)) {
        if (has_proxy) {
            sink->clause(a.is_negated() ? -proxy : proxy);
        }
        return label(a);
    }
    // An equality of shared terms may be kept out of the search, but never a bit that it stands for.
    const bool take = has_proxy && (!has_shared_terms_ || gates_.manager().is_and(a));
    const BvLit l = convert(a, take ? proxy : l_undef, sink);
    if (has_proxy && l != proxy) {
        sink->clause(-l, proxy);
        sink->clause(l, -proxy);
        return proxy;
    }
    return l;
}

void AigWordClausifier::bit_blast_word(const Term_* t, ClauseSink* sink, BvLitList* out)
{
    bit_blast_term(t, sink);
    out->clear();
    for (size_t i = 0; i < word(t).size(); ++i) {
        out->push_back(convert(word(t)[i], l_undef, sink));
    }
}

void AigWordClausifier::notify_interface_term(const Term_* t, ClauseSink* sink)
{
    has_shared_terms_ = true;
    WordClausifierBase::notify_interface_term(t, sink);
}

void AigWordClausifier::set_bits(const Term_* t, ClauseSink* sink, const BvLitList& bits)
{
    if (!is_cached(t)) {
        TARQ_ASSERT(bits.size() == width_of(t));
        Word w;
        for (BvLit l : bits) {
            w.push_back(l.is_constant() ? gates_.bit_constant(l.is_true()) : gates_.fresh());
        }
        add_to_cache(t, w);
    }
    TARQ_ASSERT(word(t).size() == bits.size());
    for (size_t i = 0; i < bits.size(); ++i) {
        // constants are no labels: a node must be tied to them
        const Aig a = word(t)[i];
        const BvLit l = convert(a, bits[i].is_constant() ? l_undef : bits[i], sink);
        if (l != bits[i]) {
            sink->clause(-l, bits[i]);
            sink->clause(l, -bits[i]);
        }
    }
}

bool AigWordClausifier::make_bits(const Term_* t, BvLitList* out, ClauseSink* sink)
{
    if (!is_cached(t)) {
        return false;
    }
    out->clear();
    for (size_t i = 0; i < word(t).size(); ++i) {
        const BvLit l = convert(word(t)[i], l_undef, sink);
        const BvLit fresh = sink->new_atom();
        sink->clause(-fresh, l);
        sink->clause(fresh, -l);
        out->push_back(fresh);
    }
    return true;
}

bool AigWordClausifier::bit_blast_theory_eq(BvLit lit, const Term_* a, const Term_* b,
                                            ClauseSink* sink)
{
    bit_blast_term(a, sink);
    bit_blast_term(b, sink);
    const std::span<const Aig> x = word(a);
    const std::span<const Aig> y = word(b);
    for (size_t i = 0; i < x.size(); ++i) {
        if (x[i] == ~y[i]) {
            return false;
        }
    }
    // The bits get their literals first: these are decided like all others, while whoever asks may
    // take what belongs to the equality alone out of the search.
    for (size_t i = 0; i < x.size(); ++i) {
        if (x[i] != y[i]) {
            const BvLit l = convert(x[i], l_undef, sink);
            const BvLit m = convert(y[i], l_undef, sink);
            sink->clause(-lit, -l, m);
            sink->clause(-lit, l, -m);
        }
    }
    return true;
}

bool AigWordClausifier::evaluate(const Term_* t, const std::function<bool(BvLit)>& value,
                                 bool fresh, std::vector<bool>* out)
{
    if (fresh) {
        evaluator_.reset();
    }
    if (!is_cached(t)) {
        return false;
    }
    out->clear();
    for (const Aig a : word(t)) {
        out->push_back(evaluator_(a, [&](uint32_t id, bool* v) {
            const BvLit l = label(Aig(id, false));
            if (!l.is_undef()) {
                *v = value(l);
                return true;
            }
            *v = false;
            return !gates_.manager().is_and(Aig(id, false));
        }));
    }
    return true;
}

} // namespace tarq::bv
