// Names to terms: the order of look-up, definitions, numerals. Scopes stand in
// smtlibtermparser_scopes.cpp.
#include "lang/smtlibtermparser.h"

#include <algorithm>
#include <functional>

namespace tarq {

namespace {

using error = ParserInterface::error;

bool is_digits(std::string_view s)
{
    return !s.empty() &&
           std::all_of(s.begin(), s.end(), [](char c) { return c >= '0' && c <= '9'; });
}

/// A numeral of base 2 or 16, checked digit by digit.
QNumber read_digits(std::string_view text, int base)
{
    const std::string_view digits = base == 2 ? "01" : "0123456789abcdefABCDEF";
    if (text.empty() || text.find_first_not_of(digits) != std::string_view::npos) {
        throw make_error<error>("bad value for number in base ", base, ": ", text);
    }
    mpz_class value;
    value.set_str(std::string(text), base);
    return QNumber(value);
}

} // namespace

SmtLibTermParser::SmtLibTermParser(TermManager* tm, bool smtlib1) : tm_(tm)
{
    init_symbol_handlers(smtlib1);
    const std::pair<const char*, const Term_*> constants[] = {
        {"bit0", tm->make_bv_number(0, 1)},
        {"bit1", tm->make_bv_number(1, 1)},
        {"roundNearestTiesToEven", tm->make_fprounding_even()},
        {"RNE", tm->make_fprounding_even()},
        {"roundTowardZero", tm->make_fprounding_zero()},
        {"RTZ", tm->make_fprounding_zero()},
        {"roundTowardPositive", tm->make_fprounding_plus_inf()},
        {"RTP", tm->make_fprounding_plus_inf()},
        {"roundTowardNegative", tm->make_fprounding_minus_inf()},
        {"RTN", tm->make_fprounding_minus_inf()},
        {"pi", tm->make_pi()},
    };
    for (const auto& [name, term] : constants) {
        intern_name(name)->predefined = term;
    }
    if (tm->get_symbol("pi")) {
        hide_predefined("pi"); // somebody's constant
    }
}

SmtLibTermParser::~SmtLibTermParser() = default;

void SmtLibTermParser::init_symbol_handlers(bool smtlib1)
{
    add_core_handlers(handlers_, smtlib1);
    add_arith_handlers(handlers_, smtlib1, &context_);
    add_bv_handlers(handlers_);
    add_fp_handlers(handlers_);
    for (const auto& [name, handler] : handlers_) {
        intern_name(name)->handler = handler.get();
    }
}

std::size_t SmtLibTermParser::ViewHash::operator()(std::string_view s) const
{
    return std::hash<std::string_view>()(s);
}

SmtLibTermParser::Name* SmtLibTermParser::find_name(std::string_view name) const
{
    const auto it = names_.find(name);
    return it == names_.end() ? nullptr : it->second;
}

SmtLibTermParser::Name* SmtLibTermParser::intern_name(std::string_view name)
{
    if (Name* known = find_name(name)) {
        return known;
    }
    name_store_.push_back(std::make_unique<Name>());
    Name* entry = name_store_.back().get();
    entry->text = name;
    names_[entry->text] = entry;
    return entry;
}

const Symbol* SmtLibTermParser::find_symbol(const Name* known, std::string_view name) const
{
    if (known) {
        return tm_->get_symbol(known->text);
    }
    scratch_name_.assign(name);
    return tm_->get_symbol(scratch_name_);
}

const Term_* SmtLibTermParser::check_sort(std::string_view name, const DataType* requested,
                                          const Term_* term) const
{
    if (requested && !tm_->is_subtype(TermManager::get_type(term), requested)) {
        throw make_error<error>("bad type requested for symbol `", name, "'");
    }
    return term;
}

const Term_* SmtLibTermParser::make_term(std::string_view name, const DataType* sort,
                                         const std::vector<QNumber>& indices, TermArgs args)
{
    const Name* known = find_name(name);
    if (!indices.empty()) {
        return make_indexed(known, name, sort, indices, args);
    }
    if (known) {
        const Term_* bound = known->scopes.empty() ? nullptr : known->scopes.back().term;
        if (!bound && known->definition && !known->definition->params.empty()) {
            return check_sort(name, sort, expand(*known->definition, name, args));
        }
        if (!bound) {
            bound = get_binding(name);
        }
        if (bound) {
            check_sort(name, sort, bound);
            if (!args.empty()) {
                throw make_error<error>("wrong number of arguments for symbol `", name, "'");
            }
            return bound;
        }
    }
    if (const Symbol* symbol = find_symbol(known, name)) {
        if (args.empty() && symbol->arity() != 0) {
            throw make_error<error>("symbol `", name, "' has non-zero arity");
        }
        return check_sort(name, sort,
                          args.empty() ? tm_->make_constant(symbol)
                                       : tm_->make_uninterpreted_function(symbol, args));
    }
    const Term_* result = nullptr;
    if (args.empty()) {
        result = name == "true" ? tm_->make_true() : name == "false" ? tm_->make_false() : nullptr;
    } else if (known && known->handler) {
        result = (*known->handler)(tm_, name, sort, args);
    }
    if (!result) {
        throw make_error<error>("unknown symbol: ", name);
    }
    return check_sort(name, sort, result);
}

const Term_* SmtLibTermParser::make_indexed(const Name* known, std::string_view name,
                                            const DataType* sort,
                                            const std::vector<QNumber>& indices, TermArgs args)
{
    const Term_* result = nullptr;
    if (known && known->handler) {
        result = (*known->handler)(tm_, name, sort, indices, args);
    } else if (args.empty()) {
        result = make_bv_literal(name, indices);
    }
    if (!result) {
        throw make_error<error>("unknown indexed symbol: ", name);
    }
    return check_sort(name, sort, result);
}

/// `(_ bvN w)`, null for anything else.
const Term_* SmtLibTermParser::make_bv_literal(std::string_view name,
                                               const std::vector<QNumber>& indices)
{
    int width = 0;
    if (indices.size() != 1 || !indices[0].to_int(&width) || width <= 0 ||
        !name.starts_with("bv") || !is_digits(name.substr(2))) {
        return nullptr;
    }
    return make_number_term(name.substr(2), static_cast<std::size_t>(width), 10);
}

const Term_* SmtLibTermParser::expand(const Definition& definition, std::string_view name,
                                      TermArgs args)
{
    if (args.size() == definition.params.size() && tm_->get_typecheck()) {
        scratch_name_.assign(name);
        for (std::size_t i = 0; i < args.size(); ++i) {
            tm_->typecheck(args[i], TermManager::get_type(definition.params[i]),
                           scratch_name_.c_str());
        }
    }
    return tm_->substitute(definition.term, definition.params, args);
}

const Term_* SmtLibTermParser::make_number_term(std::string_view text, int base)
{
    if (base != 10) {
        throw error("only base-10 numbers implemented");
    }
    scratch_name_.assign(text);
    return tm_->make_number(QNumber::from_str(scratch_name_));
}

const Term_* SmtLibTermParser::make_number_term(std::string_view text, std::size_t width, int base)
{
    switch (base) {
    case 2:
    case 16:
        return tm_->make_bv_number(read_digits(text, base), width);
    case 10:
        return tm_->make_bv_number(QNumber::from_str(std::string(text)), width);
    default:
        throw make_error<error>("unsupported base for number: ", base);
    }
}

bool SmtLibTermParser::is_reserved(std::string_view name)
{
    return name == "true" || name == "false" || name == INT_DIV_BY_ZERO || name == INT_MOD_BY_ZERO;
}

bool SmtLibTermParser::is_builtin(std::string_view name) const
{
    const Name* known = find_name(name);
    return (known && known->handler) || is_reserved(name);
}

bool SmtLibTermParser::is_defined(const Name* known)
{
    return known && (known->definition || (known->predefined && !known->hidden));
}

void SmtLibTermParser::define(std::string_view name, Definition definition)
{
    const Name* known = find_name(name);
    if (is_defined(known) || find_symbol(known, name)) {
        throw make_error<error>("symbol `", name, "' already defined");
    }
    intern_name(name)->definition = std::make_unique<Definition>(std::move(definition));
}

void SmtLibTermParser::define_binding(std::string_view name, const Term_* term)
{
    define(name, {term, {}});
}

void SmtLibTermParser::define_binding(std::string_view name, TermArgs params, const Term_* term)
{
    define(name, {term, {params.begin(), params.end()}});
}

const Term_* SmtLibTermParser::get_binding(std::string_view name) const
{
    const Name* known = find_name(name);
    if (!known) {
        return nullptr;
    }
    if (!known->scopes.empty()) {
        return known->scopes.back().term;
    }
    if (known->definition) {
        return known->definition->term;
    }
    return known->hidden ? nullptr : known->predefined;
}

void SmtLibTermParser::remove_binding(std::string_view name)
{
    if (Name* known = find_name(name)) {
        known->definition.reset();
    }
}

bool SmtLibTermParser::is_predefined(std::string_view name) const
{
    const Name* known = find_name(name);
    return known && known->predefined && !known->hidden && !known->definition;
}

void SmtLibTermParser::hide_predefined(std::string_view name)
{
    Name* known = find_name(name);
    if (known && known->predefined) {
        known->hidden = true;
    }
}

void SmtLibTermParser::restore_predefined(std::string_view name)
{
    if (Name* known = find_name(name)) {
        known->hidden = false;
    }
}

} // namespace tarq
