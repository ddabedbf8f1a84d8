// Types: the families built on marker types, and the tests that take them apart.
#include "terms/termmanager.h"

#include "terms/bvnumber.h"
#include "terms/termtext.h"

namespace tarq {

const DataType* TermManager::get_type_from_width(size_t width)
{
    auto it = type_of_width_.find(width);
    if (it != type_of_width_.end()) {
        return it->second;
    }
    const DataType* t = types_.make_type(std::to_string(width));
    type_of_width_[width] = t;
    width_of_type_[t] = width;
    return t;
}

const DataType* TermManager::get_bv_type(size_t width)
{
    if (width > MAX_WIDTH) {
        throw error("bit-vector width too large");
    }
    return types_.make_type(TypeVector{bv_marker_, get_type_from_width(width)});
}

const DataType* TermManager::get_fp_type(size_t exp, size_t mant)
{
    if (typecheck_ && (exp < 2 || mant < 2)) {
        throw make_error<error>("too small exponent and/or mantissa width for FP numbers: ", exp,
                                ", ", mant, " (min is 2, 2)");
    }
    if (exp >= MAX_WIDTH || mant >= MAX_WIDTH - exp) {
        throw make_error<error>("FP format too large: ", exp, ", ", mant);
    }
    const std::pair<size_t, size_t> key(exp, mant);
    auto it = type_of_format_.find(key);
    const DataType* format;
    if (it != type_of_format_.end()) {
        format = it->second;
    } else {
        format = types_.make_type(std::to_string(exp) + ":" + std::to_string(mant));
        type_of_format_[key] = format;
        format_of_type_[format] = key;
    }
    return types_.make_type(TypeVector{fp_marker_, format});
}

const DataType* TermManager::get_array_type(const DataType* index, const DataType* element)
{
    if (refuse_bool_args_ && (index == bool_type_ || element == bool_type_)) {
        throw error("Arrays with Bool as argument are not supported");
    }
    if (is_function_type(index) || is_function_type(element)) {
        throw error("Arrays with functions as arguments are not supported");
    }
    return types_.make_type(TypeVector{array_marker_, index, element});
}

const DataType* TermManager::get_function_type(const TypeVector& args, const DataType* result)
{
    if (args.empty()) {
        throw error("function type without arguments");
    }
    for (const DataType* a : args) {
        if (is_function_type(a)) {
            throw error("Higher-order functions not supported");
        }
        if (refuse_bool_args_ && a == bool_type_) {
            throw error("Functions with Bool arguments not supported");
        }
    }
    if (is_function_type(result)) {
        throw error("Higher-order functions not supported");
    }
    return application_type(args, result);
}

const DataType* TermManager::application_type(const TypeVector& args, const DataType* result)
{
    TypeVector components;
    components.reserve(args.size() + 2);
    components.push_back(types_.get_application_type());
    components.insert(components.end(), args.begin(), args.end());
    components.push_back(result);
    return types_.make_type(components);
}

const DataType* TermManager::get_compound_type(const TypeVector& components)
{
    for (const DataType* c : components) {
        if (is_function_type(c) || (refuse_bool_args_ && c == bool_type_)) {
            throw error("Higher-order compound types not supported");
        }
    }
    return types_.make_type(components);
}

const DataType* TermManager::get_simple_type(const std::string& name, bool existing_only)
{
    auto it = simple_types_.find(name);
    if (it != simple_types_.end()) {
        return it->second;
    }
    if (existing_only) {
        return nullptr;
    }
    const DataType* t = types_.make_type(name);
    simple_types_[name] = t;
    return t;
}

const DataType* TermManager::make_hidden_type(const std::string& name)
{
    return types_.make_type(name);
}

bool TermManager::is_bv_type(const DataType* t, size_t* width) const
{
    if (t->num_components() != 2 || t->get_components()[0] != bv_marker_) {
        return false;
    }
    auto it = width_of_type_.find(t->get_components()[1]);
    if (it == width_of_type_.end()) {
        return false;
    }
    if (width) {
        *width = it->second;
    }
    return true;
}

bool TermManager::is_fp_type(const DataType* t, size_t* exp, size_t* mant) const
{
    if (t->num_components() != 2 || t->get_components()[0] != fp_marker_) {
        return false;
    }
    auto it = format_of_type_.find(t->get_components()[1]);
    if (it == format_of_type_.end()) {
        return false;
    }
    if (exp) {
        *exp = it->second.first;
    }
    if (mant) {
        *mant = it->second.second;
    }
    return true;
}

bool TermManager::is_array_type(const DataType* t, const DataType** index,
                                const DataType** element) const
{
    if (t->num_components() != 3 || t->get_components()[0] != array_marker_) {
        return false;
    }
    if (index) {
        *index = t->get_components()[1];
    }
    if (element) {
        *element = t->get_components()[2];
    }
    return true;
}

bool TermManager::is_function_type(const DataType* t, TypeVector* args,
                                   const DataType** result) const
{
    const TypeVector& parts = t->get_components();
    if (parts.size() < 3 || parts[0] != types_.get_application_type()) {
        return false;
    }
    if (args) {
        args->assign(parts.begin() + 1, parts.end() - 1);
    }
    if (result) {
        *result = parts.back();
    }
    return true;
}

bool TermManager::is_finite_domain_type(const DataType* t, QNumber* size) const
{
    size_t bits = 0;
    size_t mant = 0;
    if (t == bool_type_) {
        bits = 1;
    } else if (t == rounding_type_) {
        bits = 2;
    } else if (is_fp_type(t, &bits, &mant)) {
        bits += mant + 1;
    } else if (!is_bv_type(t, &bits)) {
        return false;
    }
    if (size) {
        BVNumber::pow2(bits, size);
    }
    return true;
}

const DataType* TermManager::get_supertype(const DataType* a, const DataType* b) const
{
    if (is_subtype(a, b)) {
        return b;
    }
    if (is_subtype(b, a)) {
        return a;
    }
    throw make_error<error>("unrelated types: ", type_text(a), " and ", type_text(b));
}

} // namespace tarq
