#include "terms/stdtermsimplifier.h"

#include "terms/termmanager.h"
#include "terms/termnormalizer.h"

namespace tarq {

namespace {

/// Whether a standard rule may apply to terms of this tag; of equalities, to those of bit-vectors.
bool has_rules(SymbolTag::tag tag)
{
    return (tag >= SymbolTag::BV_CONCAT && tag <= SymbolTag::BV_SEXT) || tag == SymbolTag::EQ;
}

} // namespace

StdTermSimplifier::StdTermSimplifier(TermManager* tm) : tm_(tm)
{
    termsimpl::register_standard_simplifications(tm, this);
}

StdTermSimplifier::~StdTermSimplifier() = default;

const Term_* StdTermSimplifier::operator()(const Symbol* symbol, TermArgs args)
{
    if (args.empty()) {
        return nullptr;
    }
    const SymbolTag::tag tag = tm_->get_tag(symbol);
    simpl_fun* fun = funs_[static_cast<size_t>(tag)].get();
    const Term_* t = fun ? (*fun)(tm_, symbol, args) : tm_->do_make_term(symbol, args);
    // a result with another head is an argument, a value, or what a constructor gave: it has seen
    // the rules
    if (!has_rules(tag) || t->get_symbol() != symbol ||
        (tag == SymbolTag::EQ && !tm_->is_bv_type(TermManager::get_type(t->child(0))))) {
        return t;
    }
    return rules().norm_single(t);
}

void StdTermSimplifier::forget_terms()
{
    rules_.reset();
}

TermNormalizer& StdTermSimplifier::rules()
{
    if (!rules_) {
        rules_ = std::make_unique<TermNormalizer>(tm_);
        rules_->set_logger(logger_);
        for (const auto& rule : standard_term_rules()) {
            rules_->register_rule(rule.get());
        }
    }
    return *rules_;
}

void StdTermSimplifier::register_simplification(SymbolTag::tag tag, std::unique_ptr<simpl_fun> fun)
{
    funs_[static_cast<size_t>(tag)] = std::move(fun);
}

void StdTermSimplifier::set_logger(Logger* logger)
{
    logger_ = logger;
    if (rules_) {
        rules_->set_logger(logger);
    }
}

} // namespace tarq
