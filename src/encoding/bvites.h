// Which term-ITEs the solvers that build circuits take as they stand.
#pragma once

#include "base/bitvector.h"
#include "terms/termmanager.h"

namespace tarq {

/// A term-ITE can be a row of multiplexers when its condition is a Boolean combination of Boolean
/// constants and atoms of the theory that it belongs to. Then it needs no axioms: who defines
/// term-ITEs and who builds circuits ask the same question here. Borrows the term manager.
class IteFilter {
public:
    explicit IteFilter(TermManager* tm) : tm_(tm) {}
    virtual ~IteFilter() = default;

    /// Linear in the part of the condition that no earlier call has seen.
    bool operator()(const Term_* t);

protected:
    TermManager* tm_;

private:
    virtual bool is_own_type(const DataType* type) const = 0;
    /// atom  no Boolean constant, and no equality
    virtual bool is_own_atom(SymbolTag::tag tag) const = 0;
    bool is_good_atom(const Term_* t) const;

    BitVector good_; // by term id: Boolean terms known to be such combinations
    BitVector bad_;
    TermVector stack_;
};

/// Term-ITEs over bit-vectors.
class BvIteFilter : public IteFilter {
public:
    using IteFilter::IteFilter;

private:
    bool is_own_type(const DataType* type) const override { return tm_->is_bv_type(type); }
    bool is_own_atom(SymbolTag::tag tag) const override
    {
        return tag >= SymbolTag::BV_ULT && tag <= SymbolTag::BV_SLE;
    }
};

/// Term-ITEs over floats and rounding modes.
class FpIteFilter : public IteFilter {
public:
    using IteFilter::IteFilter;

private:
    bool is_own_type(const DataType* type) const override
    {
        return tm_->is_fp_type(type) || type == tm_->get_rounding_type();
    }
    bool is_own_atom(SymbolTag::tag tag) const override
    {
        return (tag >= SymbolTag::FP_EQ && tag <= SymbolTag::FP_LE) ||
               (tag >= SymbolTag::FP_ISNAN && tag <= SymbolTag::FP_ISPOS);
    }
};

} // namespace tarq
