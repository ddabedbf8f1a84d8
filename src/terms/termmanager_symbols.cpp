// Symbols: the user's, the fixed ones, and the families made on demand from the table.
#include "terms/termmanager.h"

#include "base/assertion.h"
#include "terms/termtext.h"

#include <limits>

namespace tarq {

namespace {

size_t combine(size_t hash, size_t part)
{
    return hash ^ (part + (hash << 6) + (hash >> 2));
}

// Widths are added up in symbols of extension and concatenation.
size_t add_widths(size_t a, size_t b)
{
    if (a > std::numeric_limits<size_t>::max() - b) {
        throw TermManager::error("bit-vector width too large");
    }
    return a + b;
}

} // namespace

size_t TermManager::FamilyKey::hash() const
{
    size_t h = static_cast<size_t>(tag);
    for (uint64_t n : indices.n) {
        h = combine(h, n);
    }
    for (const DataType* t : indices.types) {
        h = combine(h, t ? t->hash() : 0);
    }
    return h;
}

void TermManager::set_class(const Symbol* s, SymbolClass c)
{
    const uint64_t id = s->get_id();
    if (id >= classes_.size()) {
        classes_.resize(id + 1);
    }
    classes_[id] = c;
}

// User symbols.

const Symbol* TermManager::make_symbol(const std::string& name, const DataType* type)
{
    if (name.empty()) {
        throw error("Empty name for symbol");
    }
    if (name[0] == '`' || name[0] == '\'') {
        throw make_error<error>("Symbols can't start with the \"", name[0], "\" character");
    }
    if (const Symbol* s = signature_.get_symbol(name)) {
        if (s->get_type() != type) {
            throw make_error<error>("A symbol with name `", cut_text(name),
                                    "' already exists, with type: ", type_text(s->get_type()));
        }
        return s;
    }
    return signature_.add_symbol(name, type);
}

const Symbol* TermManager::add_user_symbol(const std::string& name, const DataType* type,
                                           SymbolKind kind)
{
    const Symbol* s = signature_.add_symbol(name, type);
    if (kind != SymbolKind::USER) {
        set_class(s, {0, kind, SymbolTag::UNKNOWN});
    }
    return s;
}

void TermManager::remove_symbol(const std::string& name)
{
    const Symbol* s = signature_.get_symbol(name);
    if (s && class_of(s).kind != SymbolKind::USER) {
        throw make_error<Signature::error>("No symbol with name `", name, "' is present");
    }
    signature_.remove_symbol(name);
    unused_names_.clear();
}

std::string TermManager::get_unused_symbol_name(const std::string& base)
{
    if (!signature_.get_symbol(base)) {
        return base;
    }
    // All suffixes below the remembered one were taken when it was stored, and names are freed
    // only where unused_names_ is cleared.
    uint64_t& suffix = unused_names_[base];
    for (;; ++suffix) {
        std::string name = base + "_" + std::to_string(suffix);
        if (!signature_.get_symbol(name)) {
            return name;
        }
    }
}

// Interpreted symbols.

const Symbol* TermManager::add_interpreted_symbol(const std::string& name, const DataType* type,
                                                  SymbolTag::tag tag)
{
    std::string quoted = "`" + name + "`";
    // Two types can have one text, so can the names of their symbols.
    for (uint64_t i = 0; signature_.get_symbol(quoted); ++i) {
        quoted = "`" + name + "#" + std::to_string(i) + "`";
    }
    const Symbol* s = signature_.add_symbol(quoted, type);
    set_class(s, {0, SymbolKind::INTERPRETED, static_cast<int8_t>(tag)});
    return s;
}

const Symbol* TermManager::add_fixed_symbol(const char* name, const DataType* arg, size_t arity,
                                            const DataType* result, int tag)
{
    const DataType* type = arity == 0 ? result : application_type(TypeVector(arity, arg), result);
    const Symbol* s = add_interpreted_symbol(name, type, static_cast<SymbolTag::tag>(tag));
    TARQ_ASSERT(s->get_id() == fixed_symbols_.size() + 1);
    fixed_symbols_.push_back(s);
    return s;
}

void TermManager::register_family(const Symbol* s, SymbolTag::tag tag, const SymbolIndices& indices)
{
    uint32_t record = static_cast<uint32_t>(families_.size());
    if (free_families_.empty()) {
        families_.emplace_back();
    } else {
        record = free_families_.back();
        free_families_.pop_back();
    }
    families_[record] = {s, tag, indices};
    set_class(s, {record, SymbolKind::INTERPRETED, static_cast<int8_t>(tag)});
    family_symbols_[{tag, indices}] = s;
}

std::string TermManager::family_name(const SymbolFamily& family, const SymbolIndices& indices)
{
    std::string name = family.prefix;
    const size_t num_types = num_type_indices(family.shape);
    for (size_t i = 0; i < num_types; ++i) {
        const DataType* t = indices.types[i];
        name += i > 0 ? "_" : "";
        name += t == int_type_ ? "int" : t == real_type_ ? "rat" : type_text(t);
    }
    const size_t num_numbers = num_number_indices(family.shape);
    for (size_t i = 0; i < num_numbers; ++i) {
        name += i > 0 ? "_" : "";
        name += std::to_string(indices.n[i]);
    }
    return name;
}

const DataType* TermManager::family_type(SymbolShape shape, const SymbolIndices& indices)
{
    const auto& [n0, n1, n2, n3] = indices.n;
    const auto& [t0, t1] = indices.types;
    const auto bv = [this](size_t width) { return get_bv_type(width); };
    const auto fp = [this](size_t exp, size_t mant) { return get_fp_type(exp, mant); };
    const auto fun = [this](const TypeVector& args, const DataType* result) {
        return application_type(args, result);
    };
    const auto array = [this, t0 = t0, t1 = t1] {
        return types_.make_type(TypeVector{array_marker_, t0, t1});
    };
    const auto fp_bits = [&bv, n0 = n0, n1 = n1] { return bv(add_widths(add_widths(n0, n1), 1)); };
    switch (shape) {
    case SymbolShape::EQUALITY:
        return fun({t0, t0}, bool_type_);
    case SymbolShape::TERM_ITE:
        return fun({bool_type_, t0, t0}, t0);
    case SymbolShape::QUANTIFIER:
        return fun({t0, bool_type_}, bool_type_);
    case SymbolShape::ARRAY_READ:
        return fun({array(), t0}, t1);
    case SymbolShape::ARRAY_WRITE:
        return fun({array(), t0, t1}, array());
    case SymbolShape::ARRAY_CONST:
        return fun({t1}, array());
    case SymbolShape::BV_UNARY:
    case SymbolShape::BV_ROTATE:
        return fun({bv(n0)}, bv(n0));
    case SymbolShape::BV_BINARY:
        return fun({bv(n0), bv(n0)}, bv(n0));
    case SymbolShape::BV_COMPARE:
        return fun({bv(n0), bv(n0)}, bool_type_);
    case SymbolShape::BV_COMP:
        return fun({bv(n0), bv(n0)}, bv(1));
    case SymbolShape::BV_TO_INT:
        return fun({bv(n0)}, int_type_);
    case SymbolShape::INT_TO_BV:
        return fun({int_type_}, bv(n0));
    case SymbolShape::BV_CONCAT:
        return fun({bv(n0), bv(n1)}, bv(add_widths(n0, n1)));
    case SymbolShape::BV_EXTRACT:
        return fun({bv(n2)}, bv(n0 - n1 + 1));
    case SymbolShape::BV_EXTEND:
        return fun({bv(n0)}, bv(add_widths(n0, n1)));
    case SymbolShape::FP_COMPARE:
        return fun({fp(n0, n1), fp(n0, n1)}, bool_type_);
    case SymbolShape::FP_ARITH:
        return fun({rounding_type_, fp(n0, n1), fp(n0, n1)}, fp(n0, n1));
    case SymbolShape::FP_BINARY:
        return fun({fp(n0, n1), fp(n0, n1)}, fp(n0, n1));
    case SymbolShape::FP_UNARY:
        return fun({fp(n0, n1)}, fp(n0, n1));
    case SymbolShape::FP_CLASS:
        return fun({fp(n0, n1)}, bool_type_);
    case SymbolShape::FP_ROUNDED:
        return fun({rounding_type_, fp(n0, n1)}, fp(n0, n1));
    case SymbolShape::FP_CAST:
        return fun({rounding_type_, fp(n0, n1)}, fp(n2, n3));
    case SymbolShape::FP_FROM_BV:
        return fun({rounding_type_, bv(n0)}, fp(n1, n2));
    case SymbolShape::FP_TO_BV:
        return fun({rounding_type_, fp(n0, n1)}, bv(n2));
    case SymbolShape::FP_AS_BV:
        return fun({fp(n0, n1)}, fp_bits());
    case SymbolShape::FP_FROM_IEEEBV:
        return fun({fp_bits()}, fp(n0, n1));
    }
    TARQ_UNREACHABLE(shape);
}

const Symbol* TermManager::make_family_symbol(SymbolTag::tag tag, const SymbolIndices& indices)
{
    auto it = family_symbols_.find({tag, indices});
    if (it != family_symbols_.end()) {
        return it->second;
    }
    const SymbolFamily* family = find_symbol_family(tag);
    TARQ_ASSERT(family);
    const DataType* type = family_type(family->shape, indices);
    const Symbol* s = add_interpreted_symbol(family_name(*family, indices), type, tag);
    register_family(s, tag, indices);
    has_quantifiers_ = has_quantifiers_ || family->shape == SymbolShape::QUANTIFIER;
    return s;
}

bool TermManager::get_family_indices(const Symbol* s, SymbolTag::tag* tag, SymbolIndices* out) const
{
    const SymbolClass& c = class_of(s);
    if (c.kind != SymbolKind::INTERPRETED || c.record == 0 || c.tag == SymbolTag::INT_MOD_CONGR) {
        return false;
    }
    if (tag) {
        *tag = families_[c.record].tag;
    }
    if (out) {
        *out = families_[c.record].indices;
    }
    return true;
}

const Symbol* TermManager::make_equality_symbol(const DataType* type)
{
    if (refuse_bool_args_ && type == bool_type_) {
        throw error("Equality arguments can't be Boolean");
    }
    return make_family_symbol(SymbolTag::EQ, {{}, {type, nullptr}});
}

const Symbol* TermManager::make_term_ite_symbol(const DataType* type)
{
    if (refuse_bool_args_ && type == bool_type_) {
        throw error("Term-ITE arguments can't be Boolean");
    }
    return make_family_symbol(SymbolTag::ITE, {{}, {type, nullptr}});
}

const Symbol* TermManager::make_forall_symbol(const DataType* type)
{
    return make_family_symbol(SymbolTag::FORALL, {{}, {type, nullptr}});
}

const Symbol* TermManager::make_exists_symbol(const DataType* type)
{
    return make_family_symbol(SymbolTag::EXISTS, {{}, {type, nullptr}});
}

} // namespace tarq
