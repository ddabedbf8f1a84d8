// Which operators take any value when some of their arguments can be chosen.
#include "encoding/freecoder.h"

#include "terms/bvnumber.h"

namespace tarq::freecoding {

namespace {

constexpr unsigned BOTH = 3;

class BoolFreeCoderTest : public FreeCoder::test_fun {
public:
    bool operator()(TermManager* tm, const Term_* t, unsigned free) const override
    {
        switch (tm->get_tag(t)) {
        case SymbolTag::AND:
        case SymbolTag::OR:
            return free == BOTH;
        case SymbolTag::NOT:
        case SymbolTag::IFF:
            return true;
        case SymbolTag::EQ:
            // the other values of a type with one value or of a subtype are not there to choose
            return tm->is_bv_type(TermManager::get_type(t->child(0)));
        case SymbolTag::ITE:
            return is_free_ite(t, free);
        default:
            return false;
        }
    }

private:
    /// A free branch must be able to take every value of the whole.
    static bool is_free_ite(const Term_* t, unsigned free)
    {
        const auto usable = [&](unsigned i) {
            return (free >> i & 1) &&
                   TermManager::get_type(t->child(i)) == TermManager::get_type(t);
        };
        return (free & 1) ? usable(1) || usable(2) : usable(1) && usable(2);
    }
};

class BVFreeCoderTest : public FreeCoder::test_fun {
public:
    bool operator()(TermManager* tm, const Term_* t, unsigned free) const override
    {
        switch (tm->get_tag(t)) {
        case SymbolTag::BV_EXTRACT:
        case SymbolTag::BV_NOT:
        case SymbolTag::BV_NEG:
        case SymbolTag::BV_ROL:
        case SymbolTag::BV_ROR:
        case SymbolTag::BV_XOR:
        case SymbolTag::BV_COMP:
        case SymbolTag::BV_ADD:
        case SymbolTag::BV_SUB:
            return true;
        case SymbolTag::BV_AND:
        case SymbolTag::BV_OR:
        case SymbolTag::BV_CONCAT:
        case SymbolTag::BV_UDIV:
        case SymbolTag::BV_SDIV:
        case SymbolTag::BV_LSHL:
        case SymbolTag::BV_LSHR:
        case SymbolTag::BV_ASHR:
            return free == BOTH;
        case SymbolTag::BV_ULT:
        case SymbolTag::BV_ULE:
        case SymbolTag::BV_SLT:
        case SymbolTag::BV_SLE:
            return free == BOTH || has_both_outcomes(tm, t, free);
        case SymbolTag::BV_MUL:
            return free == BOTH || has_odd_number(tm, t);
        default:
            return false;
        }
    }

private:
    static bool has_odd_number(TermManager* tm, const Term_* t)
    {
        QNumber n;
        return (tm->is_bv_number(t->child(0), &n) || tm->is_bv_number(t->child(1), &n)) &&
               BVNumber::test_bit(n, 0);
    }

    /// Whether the comparison of a word with a number is not decided by the number alone.
    static bool has_both_outcomes(TermManager* tm, const Term_* t, unsigned free)
    {
        const SymbolTag::tag tag = tm->get_tag(t);
        const bool is_signed = tag == SymbolTag::BV_SLT || tag == SymbolTag::BV_SLE;
        const bool is_strict = tag == SymbolTag::BV_ULT || tag == SymbolTag::BV_SLT;
        const bool number_is_left = free == 2;
        QNumber n;
        size_t width = 0;
        if (!tm->is_bv_number(t->child(number_is_left ? 0 : 1), &n, &width)) {
            return false;
        }
        // x < smallest, largest < x, x <= largest and smallest <= x are decided
        QNumber smallest = is_signed ? BVNumber::pow2(width - 1) : QNumber(0);
        QNumber largest = (is_signed ? BVNumber::pow2(width - 1) : BVNumber::pow2(width)) - 1;
        return n != (is_strict == number_is_left ? largest : smallest);
    }
};

class ArrayFreeCoderTest : public FreeCoder::test_fun {
public:
    bool operator()(TermManager* tm, const Term_* t, unsigned free) const override
    {
        const DataType* element = nullptr;
        if (tm->is_array_read(t)) {
            return free & 1;
        }
        // what is written must be able to take every value of an element
        return tm->is_array_write(t) && (free & 5) == 5 &&
               tm->is_array_type(TermManager::get_type(t), nullptr, &element) &&
               TermManager::get_type(t->child(2)) == element;
    }
};

} // namespace

std::unique_ptr<FreeCoder::test_fun> make_bool_test()
{
    return std::make_unique<BoolFreeCoderTest>();
}

std::unique_ptr<FreeCoder::test_fun> make_bv_test()
{
    return std::make_unique<BVFreeCoderTest>();
}

std::unique_ptr<FreeCoder::test_fun> make_array_test()
{
    return std::make_unique<ArrayFreeCoderTest>();
}

} // namespace tarq::freecoding
