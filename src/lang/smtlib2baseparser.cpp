// Sorts and terms for every client of the reader.
#include "lang/smtlib2baseparser.h"

#include "terms/termmanager.h"

#include <algorithm>

namespace tarq {

namespace {

/// Names that `make_parametric_sort` and indexed sorts give a meaning to.
bool is_sort_constructor(std::string_view name)
{
    return name == "Array" || name == "BitVec" || name == "FloatingPoint";
}

/// Placeholders are made on demand and kept, so the arity is bounded by sense, not by memory.
constexpr unsigned MAX_SORT_ARITY = 1u << 16;

} // namespace

SmtLib2BaseParser::SmtLib2BaseParser(TermManager* tm) : tm_(tm), term_parser_(tm, false)
{
    builtin_sorts_["Bool"] = tm->get_bool_type();
    builtin_sorts_["Int"] = tm->get_int_type();
    builtin_sorts_["Real"] = tm->get_real_type();
    builtin_sorts_["RoundingMode"] = tm->get_rounding_type();
    builtin_sorts_["Float16"] = tm->get_fp_type(5, 10);
    builtin_sorts_["Float32"] = tm->get_fp_type(8, 23);
    builtin_sorts_["Float64"] = tm->get_fp_type(11, 52);
    builtin_sorts_["Float128"] = tm->get_fp_type(15, 112);
}

void SmtLib2BaseParser::raise(const std::string& message) const
{
    throw ParserInterface::error(locate(message));
}

std::string SmtLib2BaseParser::locate(const std::string& message) const
{
    return message;
}

void SmtLib2BaseParser::name_term(std::string_view, const Term_*) {}

void SmtLib2BaseParser::record_annotations(const Term_*, const std::vector<Attribute>&) {}

// ---- sorts ----

bool SmtLib2BaseParser::is_sort(std::string_view name) const
{
    const std::string key(name);
    return is_sort_constructor(name) || builtin_sorts_.contains(key) ||
           parametric_sorts_.contains(key) ||
           (!removed_sorts_.contains(key) && tm_->get_simple_type(key, true));
}

void SmtLib2BaseParser::remove_sort(std::string_view name)
{
    const std::string key(name);
    if (parametric_sorts_.erase(key) > 0) {
        removed_sorts_[key] = true;
    }
}

void SmtLib2BaseParser::get_roots(TermVector* terms, TypeVector* types) const
{
    term_parser_.get_roots(terms);
    for (const auto& builtin : builtin_sorts_) {
        types->push_back(builtin.second);
    }
    for (const auto& sort : parametric_sorts_) {
        types->push_back(sort.second.type.get_body());
    }
    types->insert(types->end(), placeholders_.begin(), placeholders_.end());
}

void SmtLib2BaseParser::forget_unused_names()
{
    term_parser_.forget_unused_names();
    for (auto it = removed_sorts_.begin(); it != removed_sorts_.end();) {
        it = tm_->get_simple_type(it->first, true) ? ++it : removed_sorts_.erase(it);
    }
}

void SmtLib2BaseParser::check_new_sort(std::string_view name)
{
    const std::string key(name);
    if (is_sort_constructor(name) || builtin_sorts_.contains(key) ||
        parametric_sorts_.contains(key)) {
        raise("sort `" + key + "' is already defined");
    }
}

const DataType* SmtLib2BaseParser::placeholder(std::size_t i)
{
    while (placeholders_.size() <= i) {
        placeholders_.push_back(
            tm_->make_hidden_type("{sort-" + std::to_string(placeholders_.size()) + "}"));
    }
    return placeholders_[i];
}

void SmtLib2BaseParser::declare_sort(std::string_view name, unsigned arity)
{
    const std::string key(name);
    const auto known = parametric_sorts_.find(key);
    if (known != parametric_sorts_.end() && known->second.declared &&
        known->second.type.num_params() == arity) {
        return;
    }
    check_new_sort(name);
    if (arity > MAX_SORT_ARITY) {
        raise("number too large: " + std::to_string(arity));
    }
    const DataType* type = tm_->get_simple_type(key);
    std::vector<const DataType*> params;
    if (arity > 0) {
        TypeVector parts{type};
        for (unsigned i = 0; i < arity; ++i) {
            params.push_back(placeholder(i));
            parts.push_back(params.back());
        }
        type = tm_->get_compound_type(parts);
    }
    parametric_sorts_[key] = {ParametricDataType(tm_, type, std::move(params)), true};
    removed_sorts_.erase(key);
}

void SmtLib2BaseParser::define_sort(std::string_view name, SortArgs params, const DataType* body)
{
    check_new_sort(name);
    const std::string key(name);
    parametric_sorts_[key] = {ParametricDataType(tm_, body, {params.begin(), params.end()}), false};
    removed_sorts_.erase(key);
}

const DataType* SmtLib2BaseParser::push_sort_parameter(std::string_view name)
{
    std::string key(name);
    for (const auto& param : sort_params_) {
        if (param.first == key) {
            raise("name `" + key + "' already used");
        }
    }
    if (sort_params_.size() >= MAX_SORT_ARITY) {
        raise("number too large: " + std::to_string(sort_params_.size() + 1));
    }
    const DataType* type = placeholder(sort_params_.size());
    sort_params_.emplace_back(std::move(key), type);
    return type;
}

void SmtLib2BaseParser::pop_sort_parameters()
{
    sort_params_.clear();
}

const DataType* SmtLib2BaseParser::make_sort(std::string_view name)
{
    const std::string key(name);
    for (const auto& param : sort_params_) {
        if (param.first == key) {
            return param.second;
        }
    }
    const auto builtin = builtin_sorts_.find(key);
    if (builtin != builtin_sorts_.end()) {
        return builtin->second;
    }
    const auto known = parametric_sorts_.find(key);
    if (known != parametric_sorts_.end()) {
        if (known->second.type.num_params() > 0) {
            raise("wrong number of parameters for sort " + key);
        }
        return known->second.type.get_body();
    }
    const DataType* type = removed_sorts_.contains(key) ? nullptr : tm_->get_simple_type(key, true);
    if (!type) {
        raise("undeclared sort " + key);
    }
    return type;
}

const DataType* SmtLib2BaseParser::make_sort(std::string_view name,
                                             const std::vector<unsigned>& indices)
{
    if (name == "BitVec" && indices.size() == 1 && indices[0] > 0) {
        return tm_->get_bv_type(indices[0]);
    }
    if (name == "FloatingPoint" && indices.size() == 2) {
        return tm_->get_fp_type(indices[0], indices[1] > 0 ? indices[1] - 1 : 0);
    }
    std::string message = "Unknown indexed sort " + std::string(name);
    for (unsigned index : indices) {
        message += " " + std::to_string(index);
    }
    raise(message);
}

const DataType* SmtLib2BaseParser::make_parametric_sort(std::string_view name, SortArgs sorts)
{
    if (sorts.empty()) {
        raise("parse error");
    }
    const std::string key(name);
    if (name == "Array") {
        if (sorts.size() != 2) {
            raise("wrong number of parameters for sort Array");
        }
        return tm_->get_array_type(sorts[0], sorts[1]);
    }
    const auto known = parametric_sorts_.find(key);
    if (known == parametric_sorts_.end()) {
        raise("sort " + key + " is not parametric");
    }
    if (known->second.type.num_params() != sorts.size()) {
        raise("wrong number of parameters for sort " + key);
    }
    return known->second.type.instantiate(sorts);
}

const DataType* SmtLib2BaseParser::make_function_sort(SortArgs sorts)
{
    if (sorts.empty()) {
        raise("parse error");
    }
    if (sorts.size() == 1) {
        return sorts[0];
    }
    return tm_->get_function_type(TypeVector(sorts.begin(), sorts.end() - 1), sorts.back());
}

// ---- declarations ----

void SmtLib2BaseParser::declare_function(std::string_view name, const DataType* sort)
{
    const std::string key(name);
    if (term_parser_.is_builtin(name)) {
        raise("`" + key + "' is a built-in function");
    }
    if (name == "pi") {
        // not a name of the standard, and a usual one for constants
        term_parser_.hide_predefined(name);
    }
    if (term_parser_.get_binding(name)) {
        raise("`" + key + "' is already defined");
    }
    tm_->make_symbol(key, sort);
}

void SmtLib2BaseParser::check_type(const Term_* term, const DataType* sort, const char* operation)
{
    tm_->typecheck(term, sort, operation);
}

void SmtLib2BaseParser::define_function(std::string_view name, const DataType* sort,
                                        const Term_* term)
{
    define_function(name, TermArgs(), sort, term);
}

void SmtLib2BaseParser::define_function(std::string_view name, TermArgs params,
                                        const DataType* sort, const Term_* term)
{
    if (SmtLibTermParser::is_reserved(name)) {
        raise("`" + std::string(name) + "' is a built-in function");
    }
    check_type(term, sort, "define-fun");
    if (params.empty()) {
        term_parser_.define_binding(name, term);
    } else {
        term_parser_.define_binding(name, params, term);
    }
}

void SmtLib2BaseParser::abandon_command()
{
    term_parser_.close_scopes();
    sort_params_.clear();
}

// ---- terms ----

void SmtLib2BaseParser::push_let_namespace(bool is_definition)
{
    term_parser_.push_let_namespace(is_definition);
}

void SmtLib2BaseParser::pop_let_namespace(bool recycle)
{
    term_parser_.pop_let_namespace(recycle);
}

void SmtLib2BaseParser::push_bound_variable(std::string_view name, const Term_* var)
{
    term_parser_.push_bound_variable(name, var);
}

void SmtLib2BaseParser::pop_bound_variables(std::size_t count)
{
    term_parser_.pop_bound_variables(count);
}

const Term_* SmtLib2BaseParser::make_term(std::string_view name, const DataType* sort)
{
    return term_parser_.make_term(name, sort, {}, {});
}

const Term_* SmtLib2BaseParser::make_term(std::string_view name, const DataType* sort,
                                          const std::vector<QNumber>& indices)
{
    return term_parser_.make_term(name, sort, indices, {});
}

const Term_* SmtLib2BaseParser::make_term(std::string_view name, const DataType* sort,
                                          TermArgs args)
{
    return term_parser_.make_term(name, sort, {}, args);
}

const Term_* SmtLib2BaseParser::make_term(std::string_view name, const DataType* sort,
                                          const std::vector<QNumber>& indices, TermArgs args)
{
    return term_parser_.make_term(name, sort, indices, args);
}

const Term_* SmtLib2BaseParser::make_number_term(std::string_view text)
{
    return term_parser_.make_number_term(text, 10);
}

const Term_* SmtLib2BaseParser::make_number_term(std::string_view text, std::size_t width, int base)
{
    return term_parser_.make_number_term(text, width, base);
}

const Term_* SmtLib2BaseParser::make_fresh_variable(const DataType* sort)
{
    return term_parser_.make_fresh_variable(sort);
}

const Term_* SmtLib2BaseParser::make_named_variable(std::string_view name, const DataType* sort)
{
    return term_parser_.make_named_variable(name, sort);
}

const Term_* SmtLib2BaseParser::make_quantifier_term(QuantifierMaker make, TermArgs vars,
                                                     const Term_* body)
{
    // The scopes close whatever happens; a client may go on after an error.
    try {
        for (std::size_t i = vars.size(); i-- > 0;) {
            body = (tm_->*make)(vars[i], body);
        }
    } catch (...) {
        term_parser_.pop_bound_variables(vars.size());
        throw;
    }
    pop_bound_variables(vars.size());
    return body;
}

const Term_* SmtLib2BaseParser::make_forall_term(TermArgs vars, const Term_* body)
{
    return make_quantifier_term(&TermManager::make_forall, vars, body);
}

const Term_* SmtLib2BaseParser::make_exists_term(TermArgs vars, const Term_* body)
{
    return make_quantifier_term(&TermManager::make_exists, vars, body);
}

void SmtLib2BaseParser::define_let_binding(std::string_view name, const Term_* term,
                                           bool allow_shadow)
{
    term_parser_.define_let_binding(name, term, allow_shadow);
}

void SmtLib2BaseParser::annotate_term(const Term_* term, const std::vector<Attribute>& attributes)
{
    for (const auto& [key, value] : attributes) {
        if (key != ":named") {
            continue;
        }
        if (value.empty()) {
            raise("attribute :named needs a symbol");
        }
        const Term_* bound = term_parser_.get_binding(value);
        if (bound == term) {
            continue;
        }
        if (bound) {
            raise("name `" + value + "' already used");
        }
        // A variable in scope means something else, or nothing, where the name is used later.
        if (term_parser_.has_open_variables(term)) {
            raise("term named `" + value + "' is not closed");
        }
        define_function(value, TermManager::get_type(term), term);
        name_term(value, term);
    }
    record_annotations(term, attributes);
}

} // namespace tarq
