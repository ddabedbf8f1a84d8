// The table of encoders and the walk that calls them.
#include "encoding/constraintencoder.h"

#include "encoding/termiteencoder.h"
#include "terms/termvisitor.h"

#include <algorithm>

namespace tarq {

/// Calls the encoders bottom-up, and leaves out what holds no term to define.
class ConstraintEncoder::Visitor {
public:
    Visitor(ConstraintEncoder& encoder, TermVector& axioms) : encoder_(encoder), axioms_(axioms) {}

    VisitResult visit(const Term_* t, bool pre)
    {
        const size_t id = t->get_id();
        encoder_.plain_.grow(id + 1);
        if (pre) {
            return encoder_.plain_.get(id) || encoder_.tm_->is_quantifier(t) ? VisitResult::SKIP
                                                                             : VisitResult::PROCESS;
        }
        if (encoder_.plain_.get(id)) {
            return VisitResult::PROCESS;
        }
        enc_fun* f = encoder_.find(t);
        if (f && !(encoder_.config_.bv_ite_circuits && encoder_.bv_ites_(t)) &&
            !(encoder_.config_.fp_ite_circuits && encoder_.fp_ites_(t))) {
            poll();
            (*f)(encoder_.tm_, t, axioms_, encoder_.added_);
            return VisitResult::PROCESS;
        }
        const auto is_plain = [this](const Term_* c) { return encoder_.plain_.get(c->get_id()); };
        if (encoder_.tm_->is_quantifier(t) ||
            std::all_of(t->children().begin(), t->children().end(), is_plain)) {
            encoder_.plain_.set(id);
        }
        return VisitResult::PROCESS;
    }

private:
    void poll() const
    {
        if (encoder_.termination_test_) {
            (*encoder_.termination_test_)();
        }
    }

    ConstraintEncoder& encoder_;
    TermVector& axioms_;
};

ConstraintEncoder::ConstraintEncoder(TermManager* tm, const config& c) : tm_(tm), config_(c)
{
    using namespace encoders;
    auto ite = std::make_unique<TermIteEncoder>(tm, c.ite_minimization, c.ite_call_limit,
                                                c.basic_ite_simplification);
    ite_ = ite.get();
    register_encoder(SymbolTag::ITE, std::move(ite));
    if (!tm->get_refuse_bool_args()) {
        bool_args_ = make_bool_argument_encoder();
    }
    register_encoder(SymbolTag::INT_MOD_CONGR, make_congruence_encoder());
    register_encoder(SymbolTag::FLOOR, make_floor_encoder());
    register_encoder(SymbolTag::TIMES, make_times_encoder(c.times_zero_line));
    register_encoder(SymbolTag::DIVIDE, make_divide_encoder(c.real_div_uf));
    register_encoder(SymbolTag::INT_TO_BV, make_int_to_bv_encoder());
    register_encoder(SymbolTag::INT_FROM_UBV, make_int_from_bv_encoder(false));
    register_encoder(SymbolTag::INT_FROM_SBV, make_int_from_bv_encoder(true));
    register_encoder(SymbolTag::LOG, make_log_encoder());
    register_encoder(SymbolTag::ASIN, make_asin_encoder());
    register_encoder(SymbolTag::POW, make_pow_encoder());
    if (c.bv_div_uf) {
        for (SymbolTag::tag tag :
             {SymbolTag::BV_UDIV, SymbolTag::BV_SDIV, SymbolTag::BV_UREM, SymbolTag::BV_SREM}) {
            register_encoder(tag, make_bv_div_encoder(tag));
        }
    }
    if (c.fp_minmax_uf) {
        for (SymbolTag::tag tag : {SymbolTag::FP_MIN, SymbolTag::FP_MAX}) {
            register_encoder(tag, make_fp_minmax_encoder(tag));
        }
    }
}

ConstraintEncoder::~ConstraintEncoder() = default;

void ConstraintEncoder::register_encoder(SymbolTag::tag tag, std::unique_ptr<enc_fun> f)
{
    table_[static_cast<size_t>(tag)] = std::move(f);
}

ConstraintEncoder::enc_fun* ConstraintEncoder::find(const Term_* t) const
{
    const SymbolTag::tag tag = tm_->get_tag(t);
    if (tag == SymbolTag::UNKNOWN) {
        return bool_args_ && encoders::has_bool_argument(tm_, t) ? bool_args_.get() : nullptr;
    }
    if (tag == SymbolTag::ARRAY_READ || tag == SymbolTag::ARRAY_WRITE ||
        tag == SymbolTag::ARRAY_CONST) {
        return bool_args_ && encoders::has_bool_argument(tm_, t) ? bool_args_.get() : nullptr;
    }
    return tag > 0 ? table_[static_cast<size_t>(tag)].get() : nullptr;
}

void ConstraintEncoder::set_termination_test(const TerminationTest* test)
{
    termination_test_ = test;
    ite_->set_termination_test(test);
}

void ConstraintEncoder::reset()
{
    ite_->reset();
    added_.clear();
}

const Term_* ConstraintEncoder::operator()(const Term_* f)
{
    TermVector axioms;
    f = encode(f, axioms);
    for (const Term_* a : axioms) {
        f = tm_->make_and(f, a);
    }
    return f;
}

const Term_* ConstraintEncoder::encode(const Term_* f, TermVector& axioms)
{
    f = ite_->simplify(f);
    define(f, axioms);
    return f;
}

void ConstraintEncoder::define(const Term_* f, TermVector& axioms)
{
    Visitor visitor(*this, axioms);
    TermVisitor<Visitor> walk(marks_, visitor);
    size_t next = axioms.size();
    walk.visit(f, false);
    // An axiom may bring terms that want axioms in turn. It never brings back the term it defines,
    // and those below it are smaller, so this ends.
    for (; next < axioms.size(); ++next) {
        const Term_* axiom = axioms[next];
        walk.visit(axiom, false);
    }
}

namespace encoders {

const Term_* make_definition(TermManager* tm, const Term_* t, const Term_* a)
{
    const DataType* type = TermManager::get_type(t);
    if (type == tm->get_bool_type()) {
        return tm->make_iff(t, a);
    }
    if (tm->is_arith_type(type)) {
        return tm->make_equal(t, a);
    }
    const bool is_first = tm->is_number(a) || (!tm->is_number(t) && t->get_id() < a->get_id());
    const Term_* sides[] = {is_first ? t : a, is_first ? a : t};
    return tm->do_make_term(tm->make_equality_symbol(type), sides);
}

const Term_* make_implies(TermManager* tm, const Term_* condition, const Term_* consequence)
{
    return tm->make_or(tm->make_not(condition), consequence);
}

} // namespace encoders

} // namespace tarq
