// Values of terms under a model, and the walk over its entries.
#include "results/modelstore.h"

#include "results/adhoccalculator.h"
#include "results/modeltermsimplifier.h"
#include "terms/stdtermsimplifier.h"

#include <algorithm>

namespace tarq {

/// Puts the term manager in the state for folding values, and back on every way out.
class ModelStore::EvaluationScope {
public:
    explicit EvaluationScope(ModelStore& store)
        : tm_(store.tm_), typecheck_(tm_->get_typecheck()), simplify_(tm_->get_simplify()),
          next_(tm_->get_simplifier()),
          simplifier_(tm_, store.options_, &store.arrays_, inner(store))
    {
        tm_->set_typecheck(false);
        tm_->set_simplify(true);
        tm_->set_simplifier(&simplifier_);
    }
    ~EvaluationScope()
    {
        tm_->set_typecheck(typecheck_);
        tm_->set_simplify(simplify_);
        tm_->set_simplifier(next_);
    }
    EvaluationScope(const EvaluationScope&) = delete;
    EvaluationScope& operator=(const EvaluationScope&) = delete;

private:
    TermSimplifier* inner(ModelStore& store)
    {
        if (next_) {
            return next_;
        }
        if (!store.own_simplifier_) {
            store.own_simplifier_ = std::make_unique<StdTermSimplifier>(tm_);
        }
        return store.own_simplifier_.get();
    }

    TermManager* tm_;
    bool typecheck_;
    bool simplify_;
    TermSimplifier* next_;
    ModelTermSimplifier simplifier_;
};

const Term_* ModelStore::get_default_value(const DataType* type)
{
    const auto it = defaults_.find(type);
    if (it != defaults_.end()) {
        return it->second;
    }
    size_t width = 0;
    size_t mant = 0;
    const DataType* element = nullptr;
    const Term_* value;
    if (type == tm_->get_bool_type()) {
        value = tm_->make_false();
    } else if (tm_->is_arith_type(type)) {
        value = tm_->make_number(QNumber(0));
    } else if (tm_->is_bv_type(type, &width)) {
        value = tm_->make_bv_number(0, width);
    } else if (tm_->is_fp_type(type, &width, &mant)) {
        value = tm_->make_fp_bits_number(0, width, mant);
    } else if (type == tm_->get_rounding_type()) {
        value = tm_->make_fprounding_even();
    } else if (tm_->is_array_type(type, nullptr, &element)) {
        const EvaluationScope scope(*this);
        value = tm_->make_array_const(type, get_default_value(element));
    } else {
        next_abstract_.insert({type, 0});
        const size_t next = next_abstract_[type];
        next_abstract_[type] = 0;
        value = make_abstract_value(type); // the first one: a sort needs no more than it has
        next_abstract_[type] = std::max(next, next_abstract_[type]);
    }
    defaults_[type] = value;
    return value;
}

/// The application on the values of its arguments, as an interned term or what it folds to.
const Term_* ModelStore::point_of(const Term_* t)
{
    TermVector args;
    for (const Term_* c : t->children()) {
        args.push_back(evaluate(c));
    }
    if (is_terminal(t)) {
        return tm_->do_make_term(t->get_symbol(), args);
    }
    const EvaluationScope scope(*this);
    return tm_->make_term(t->get_symbol(), args);
}

/// Gives the constants that preprocessing found to be free the values that its replaced terms need.
void ModelStore::choose_free_values(const ModelSource& source)
{
    std::vector<ModelSource::Choice> choices;
    source.get_choices(choices);
    AdHocCalculator calculate(tm_);
    for (const auto& [proxy, term, free] : choices) {
        const Term_* value = evaluate(proxy);
        TermVector args;
        for (const Term_* c : term->children()) {
            const bool is_free = std::find(free.begin(), free.end(), c) != free.end();
            args.push_back(is_free ? nullptr : evaluate(c));
        }
        if (tm_->is_array_write(term) && !args[1]) {
            args[1] = get_default_value(TermManager::get_type(term->child(1)));
        }
        const EvaluationScope scope(*this);
        calculate(term, value, args);
        for (size_t i = 0; i < args.size(); ++i) {
            const Term_* c = term->child(i);
            if (std::find(free.begin(), free.end(), c) != free.end() && args[i]) {
                values_[c] = args[i];
            }
        }
    }
}

/// Pushes the arguments that `t` needs and that have no value yet. Connectives and term-ITEs ask
/// for what decides them only, so what is open elsewhere does no harm.
bool ModelStore::request_arguments(const Term_* t, TermVector& stack) const
{
    const size_t size = stack.size();
    const auto value = [this](const Term_* c) {
        const auto it = memo_.find(c);
        return it == memo_.end() ? nullptr : it->second;
    };
    const auto request = [&](const Term_* c) {
        if (!value(c)) {
            stack.push_back(c);
        }
    };
    if (tm_->is_constant(t)) {
        const auto it = definitions_.find(t);
        if (it != definitions_.end() && !values_.contains(t)) {
            request(it->second);
        }
    } else if (tm_->is_term_ite(t)) {
        const Term_* c = value(t->child(0));
        if (!c) {
            stack.push_back(t->child(0));
        } else {
            request(t->child(tm_->is_true(c) ? 1 : 2));
        }
    } else if (tm_->is_and(t) || tm_->is_or(t)) {
        const Term_* decides = tm_->make_bool(tm_->is_or(t));
        const Term_* first = value(t->child(0));
        if (!first) {
            stack.push_back(t->child(0));
        } else if (first != decides) {
            request(t->child(1));
        }
    } else {
        for (const Term_* c : t->children()) {
            request(c);
        }
    }
    return stack.size() > size;
}

const Term_* ModelStore::evaluate_node(const Term_* t)
{
    if (t->arity() == 0 && is_good_value(t)) {
        return t;
    }
    if (tm_->is_constant(t)) {
        const auto it = definitions_.find(t);
        return it != definitions_.end() && !values_.contains(t) ? memo_[it->second]
                                                                : value_of_point(t, t);
    }
    if (t->arity() == 0) {
        return value_of_point(t, t); // pi
    }
    if (tm_->is_quantifier(t)) {
        throw make_error<error>("can't evaluate term: ", t->to_str(1000));
    }
    if (tm_->is_term_ite(t)) {
        return memo_[t->child(tm_->is_true(memo_[t->child(0)]) ? 1 : 2)];
    }
    if (tm_->is_and(t) || tm_->is_or(t)) {
        const Term_* first = memo_[t->child(0)];
        return first == tm_->make_bool(tm_->is_or(t)) ? first : memo_[t->child(1)];
    }
    TermVector args;
    for (const Term_* c : t->children()) {
        args.push_back(memo_[c]);
    }
    if (is_terminal(t)) {
        return value_of_point(tm_->do_make_term(t->get_symbol(), args), t);
    }
    const Term_* result = tm_->make_term(t->get_symbol(), args);
    return is_good_value(result) ? result : value_of_point(result, t);
}

const Term_* ModelStore::value_of_point(const Term_* point, const Term_* original)
{
    const auto it = values_.find(point);
    if (it != values_.end()) {
        return it->second;
    }
    if (is_terminal(point)) {
        return get_default_value(TermManager::get_type(point));
    }
    switch (tm_->get_tag(point)) {
    case SymbolTag::DIVIDE:
    case SymbolTag::BV_UDIV:
    case SymbolTag::BV_SDIV:
    case SymbolTag::BV_UREM:
    case SymbolTag::BV_SREM:
    case SymbolTag::FP_TO_BV:
    case SymbolTag::FP_MIN:
    case SymbolTag::FP_MAX:
        // open for these arguments, and no solver had to choose
        return get_default_value(TermManager::get_type(point));
    default:
        throw make_error<error>("can't evaluate term: ", original->to_str(1000));
    }
}

const Term_* ModelStore::evaluate(const Term_* root)
{
    const EvaluationScope scope(*this);
    TermVector stack{root};
    while (!stack.empty()) {
        const Term_* t = stack.back();
        if (memo_.contains(t)) {
            stack.pop_back();
            continue;
        }
        poll();
        if (!tm_->is_quantifier(t) && request_arguments(t, stack)) {
            continue;
        }
        const Term_* value = evaluate_node(t);
        memo_[t] = value;
        stack.pop_back();
    }
    return memo_[root];
}

void ModelStore::check_compute_full()
{
    if (state_ != 1 || !options_.full) {
        return;
    }
    if (!debug_check()) {
        throw make_error<error>("Invalid model");
    }
    state_ = 2;
}

bool ModelStore::debug_check()
{
    bool ok = true;
    for (const Term_* f : formulas_) {
        TermVector conjuncts{f};
        if (tm_->is_true(evaluate(f))) {
            continue;
        }
        ok = false;
        TermSet seen;
        while (logger_ && !conjuncts.empty()) {
            const Term_* t = conjuncts.back();
            conjuncts.pop_back();
            if (!seen.insert(t).second) {
                continue;
            }
            if (tm_->is_and(t)) {
                conjuncts.insert(conjuncts.end(), t->children().begin(), t->children().end());
            } else if (!tm_->is_true(evaluate(t))) {
                (*logger_)("MODELSTORE")
                    << loglevel(1) << "Not satsfied: " << t->to_str(1000) << EndLog;
            }
        }
    }
    return ok;
}

const Term_* ModelStore::get_value(const Term_* t)
{
    if (!options_.full) {
        const auto it = values_.find(t);
        return it == values_.end() ? t : it->second;
    }
    check_compute_full();
    return evaluate(t);
}

const std::vector<ModelStore::Entry>& ModelStore::get_entries()
{
    if (has_entries_) {
        return entries_;
    }
    std::vector<Entry> entries;
    if (options_.full) {
        check_compute_full();
        TermVector terminals;
        collect_terminals(formulas_, &terminals);
        TermSet seen;
        for (const Term_* t : terminals) {
            if (!is_terminal(t)) {
                continue;
            }
            const Term_* point = t->arity() > 0 ? point_of(t) : t;
            if (seen.insert(point).second) {
                entries.emplace_back(point, evaluate(t));
            }
        }
    } else {
        for (const auto& [t, value] : values_) {
            entries.emplace_back(t, value);
        }
    }
    std::sort(entries.begin(), entries.end(), [](const Entry& a, const Entry& b) {
        const uint64_t x = a.first->get_symbol()->get_id();
        const uint64_t y = b.first->get_symbol()->get_id();
        return x != y ? x < y : a.first->get_id() < b.first->get_id();
    });
    entries_.swap(entries);
    has_entries_ = true;
    return entries_;
}

} // namespace tarq
