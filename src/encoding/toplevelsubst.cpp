// The patterns by which a conjunct defines a constant.
#include "encoding/toplevelpropagator.h"
#include "terms/polynomial.h"

#include <string>
#include <utility>

namespace tarq::tpsubst {

namespace {

using subst_check_fun = ToplevelPropagator::subst_check_fun;

bool is_open_constant(ToplevelPropagator* tp, TermManager* tm, const Term_* t)
{
    return tm->is_constant(t) && !tp->is_forbidden(t);
}

class BoolConstSubst : public subst_check_fun {
public:
    bool operator()(ToplevelPropagator* tp, TermManager* tm, const Term_* t, const Term_** lhs,
                    const Term_** rhs) override
    {
        *lhs = t;
        *rhs = tm->make_true();
        return is_open_constant(tp, tm, t);
    }
    const char* get_signature() const override { return "p"; }
};

class NegBoolConstSubst : public subst_check_fun {
public:
    bool operator()(ToplevelPropagator* tp, TermManager* tm, const Term_* t, const Term_** lhs,
                    const Term_** rhs) override
    {
        *lhs = t->child(0);
        *rhs = tm->make_false();
        return is_open_constant(tp, tm, *lhs);
    }
    const char* get_signature() const override { return "(not p)"; }
};

/// An equality or equivalence, one side of which is a constant. The first side is preferred, but an
/// Int side can stand for an Int only.
bool match_sides(ToplevelPropagator* tp, TermManager* tm, const Term_* t, const Term_** lhs,
                 const Term_** rhs)
{
    for (size_t side : {0, 1}) {
        *lhs = t->child(side);
        *rhs = t->child(1 - side);
        const bool loses_type = TermManager::get_type(*lhs) == tm->get_int_type() &&
                                TermManager::get_type(*rhs) != tm->get_int_type();
        if (is_open_constant(tp, tm, *lhs) && !loses_type) {
            return true;
        }
    }
    return false;
}

class IffSubst : public subst_check_fun {
public:
    bool operator()(ToplevelPropagator* tp, TermManager* tm, const Term_* t, const Term_** lhs,
                    const Term_** rhs) override
    {
        return match_sides(tp, tm, t, lhs, rhs);
    }
    const char* get_signature() const override { return "(= p f)"; }
};

class NotIffSubst : public subst_check_fun {
public:
    bool operator()(ToplevelPropagator* tp, TermManager* tm, const Term_* t, const Term_** lhs,
                    const Term_** rhs) override
    {
        if (!tm->is_iff(t->child(0)) || !match_sides(tp, tm, t->child(0), lhs, rhs)) {
            return false;
        }
        *rhs = tm->make_not(*rhs);
        return true;
    }
    const char* get_signature() const override { return "(not (= p f))"; }
};

class EqSubst : public subst_check_fun {
public:
    bool operator()(ToplevelPropagator* tp, TermManager* tm, const Term_* t, const Term_** lhs,
                    const Term_** rhs) override
    {
        return match_sides(tp, tm, t, lhs, rhs);
    }
    const char* get_signature() const override { return "(= x t)"; }
};

/// A linear equation, solved for the first constant with the coefficient 1 or, without one, for one
/// with -1.
class RatPolyEqSubst : public subst_check_fun {
public:
    bool operator()(ToplevelPropagator* tp, TermManager* tm, const Term_* t, const Term_** lhs,
                    const Term_** rhs) override
    {
        if (!tm->is_arith_type(TermManager::get_type(t->child(0)))) {
            return false;
        }
        poly_norm(tm, t->child(0), t->child(1), false, &p_);
        size_t pivot = p_.vars.size();
        for (size_t i = 0; i < p_.vars.size(); ++i) {
            const bool is_one = p_.coeffs[i].is_one();
            if ((is_one || (p_.coeffs[i] == -1 && pivot == p_.vars.size())) &&
                is_open_constant(tp, tm, p_.vars[i])) {
                pivot = i;
                if (is_one) {
                    break;
                }
            }
        }
        if (pivot == p_.vars.size()) {
            return false;
        }
        *lhs = p_.vars[pivot];
        // c*x + rest = 0 with c = 1 or -1 gives x = -c*rest
        const bool negate = p_.coeffs[pivot].is_one();
        const auto at = static_cast<ptrdiff_t>(pivot);
        p_.vars.erase(p_.vars.begin() + at);
        p_.coeffs.erase(p_.coeffs.begin() + at);
        if (negate) {
            p_.negate_coeffs();
            p_.constant.self_neg();
        }
        p_.products.assign(p_.vars.size(), nullptr);
        *rhs = p_.vars.empty() ? tm->make_number(p_.constant) : poly_to_term_with_constant(tm, p_);
        return TermManager::get_type(*lhs) != tm->get_int_type() ||
               TermManager::get_type(*rhs) == tm->get_int_type();
    }
    bool is_expensive() const override { return true; }
    const char* get_signature() const override { return "(= (+ x t) s)"; }

private:
    Polynomial p_; // kept for its memory
};

/// A bit-vector equality between an application that `match` takes and any other side.
class BvEqSubst : public subst_check_fun {
public:
    bool operator()(ToplevelPropagator* tp, TermManager* tm, const Term_* t, const Term_** lhs,
                    const Term_** rhs) override
    {
        for (size_t side : {0, 1}) {
            const Term_* a = t->child(side);
            if (a->arity() == 1 && is_open_constant(tp, tm, a->child(0)) &&
                match(tp, tm, a, t->child(1 - side), rhs)) {
                *lhs = a->child(0);
                return true;
            }
        }
        return false;
    }

protected:
    virtual bool match(ToplevelPropagator* tp, TermManager* tm, const Term_* a, const Term_* other,
                       const Term_** rhs) = 0;
};

/// An extension of a constant that is a number. If the number does not fit, the equation folds to
/// false once the constant is replaced.
class BVExtendEqSubst : public BvEqSubst {
public:
    explicit BVExtendEqSubst(bool is_signed) : is_signed_(is_signed) {}
    const char* get_signature() const override
    {
        return is_signed_ ? "(= (sign_extend x) n)" : "(= (zero_extend x) n)";
    }

protected:
    bool match(ToplevelPropagator*, TermManager* tm, const Term_* a, const Term_* other,
               const Term_** rhs) override
    {
        size_t amount = 0;
        size_t width = 0;
        if (!tm->is_bv_number(other) || !(is_signed_ ? tm->is_bv_sext(a, &amount, &width)
                                                     : tm->is_bv_zext(a, &amount, &width))) {
            return false;
        }
        *rhs = tm->make_bv_extract(width - 1, 0, other);
        return true;
    }

private:
    bool is_signed_;
};

/// Some bits of a constant. The others become new constants.
class BVSelectEqSubst : public BvEqSubst {
public:
    const char* get_signature() const override { return "(= (extract x) t)"; }

protected:
    bool match(ToplevelPropagator* tp, TermManager* tm, const Term_* a, const Term_* other,
               const Term_** rhs) override
    {
        size_t msb = 0;
        size_t lsb = 0;
        size_t width = 0;
        if (!tm->is_bv_extract(a, &msb, &lsb, &width)) {
            return false;
        }
        const Term_* x = a->child(0);
        *rhs = other;
        if (msb + 1 < width) {
            const Term_* high = make_part(tp, tm, x, width - 1, msb + 1);
            *rhs = tm->make_bv_concat(high, *rhs);
        }
        if (lsb > 0) {
            const Term_* low = make_part(tp, tm, x, lsb - 1, 0);
            *rhs = tm->make_bv_concat(*rhs, low);
        }
        return true;
    }

private:
    /// A constant for bits of `x`; the name tells which, so it comes out the same another time.
    static const Term_* make_part(ToplevelPropagator* tp, TermManager* tm, const Term_* x,
                                  size_t high, size_t low)
    {
        const std::string name = ".ruw" + std::to_string(x->get_id()) + "_" + std::to_string(high) +
                                 "_" + std::to_string(low);
        const Term_* part =
            tm->make_constant(tm->make_symbol(name, tm->get_bv_type(high - low + 1)));
        tp->notify_introduced_var(part);
        return part;
    }
};

/// One bit that is not a number is the other number.
class BVDiseqOneSubst : public subst_check_fun {
public:
    bool operator()(ToplevelPropagator* tp, TermManager* tm, const Term_* t, const Term_** lhs,
                    const Term_** rhs) override
    {
        const Term_* eq = t->child(0);
        size_t width = 0;
        QNumber value;
        if (!tm->is_equal(eq) || !tm->is_bv_type(TermManager::get_type(eq->child(0)), &width) ||
            width != 1) {
            return false;
        }
        for (size_t side : {0, 1}) {
            if (tm->is_bv_number(eq->child(side), &value) &&
                is_open_constant(tp, tm, eq->child(1 - side))) {
                *lhs = eq->child(1 - side);
                *rhs = tm->make_bv_number(QNumber(1) - value, 1);
                return true;
            }
        }
        return false;
    }
    const char* get_signature() const override { return "(not (= x n))"; }
};

} // namespace

std::vector<check_ptr> make_standard_substitutions(SymbolTag::tag tag)
{
    std::vector<check_ptr> checks;
    switch (tag) {
    case SymbolTag::UNKNOWN:
        checks.push_back(std::make_unique<BoolConstSubst>());
        break;
    case SymbolTag::EQ:
        checks.push_back(std::make_unique<EqSubst>());
        checks.push_back(std::make_unique<RatPolyEqSubst>());
        checks.push_back(std::make_unique<BVExtendEqSubst>(false));
        checks.push_back(std::make_unique<BVExtendEqSubst>(true));
        checks.push_back(std::make_unique<BVSelectEqSubst>());
        break;
    case SymbolTag::IFF:
        checks.push_back(std::make_unique<IffSubst>());
        break;
    case SymbolTag::NOT:
        checks.push_back(std::make_unique<NotIffSubst>());
        checks.push_back(std::make_unique<NegBoolConstSubst>());
        checks.push_back(std::make_unique<BVDiseqOneSubst>());
        break;
    default:
        break;
    }
    return checks;
}

} // namespace tarq::tpsubst
