// Exported functions: types and declarations.
#include "api/frame.h"

using namespace tarq::api;
using tarq::DataType;

namespace {

template <class Body>
tarq_type make_type(tarq_env e, Body&& body) noexcept
{
    return frame(e, error_type, [&](EnvWrapper& w) { return wrap(body(w.tm())); });
}

/// A test of a type; an error handle passes none.
template <class Body>
int test_type(tarq_env e, tarq_type t, Body&& body) noexcept
{
    return frame(e, 0, [&](EnvWrapper& w) -> int {
        return t.repr && body(w.tm(), static_cast<const DataType*>(t.repr));
    });
}

/// Reads something off a symbol; `failure` for an error handle.
template <class R, class Body>
R read_decl(tarq_decl d, R failure, Body&& body) noexcept
{
    return frame_without_env(failure, [&] { return body(*unwrap(d)); });
}

} // namespace

// Types

tarq_type tarq_get_bool_type(tarq_env e)
{
    return make_type(e, [](tarq::TermManager& tm) { return tm.get_bool_type(); });
}

tarq_type tarq_get_rational_type(tarq_env e)
{
    return make_type(e, [](tarq::TermManager& tm) { return tm.get_real_type(); });
}

tarq_type tarq_get_integer_type(tarq_env e)
{
    return make_type(e, [](tarq::TermManager& tm) { return tm.get_int_type(); });
}

tarq_type tarq_get_bv_type(tarq_env e, size_t width)
{
    return make_type(e, [&](tarq::TermManager& tm) { return tm.get_bv_type(width); });
}

tarq_type tarq_get_array_type(tarq_env e, tarq_type index, tarq_type element)
{
    return make_type(e, [&](tarq::TermManager& tm) {
        return tm.get_array_type(unwrap(index), unwrap(element));
    });
}

tarq_type tarq_get_fp_roundingmode_type(tarq_env e)
{
    return make_type(e, [](tarq::TermManager& tm) { return tm.get_rounding_type(); });
}

tarq_type tarq_get_fp_type(tarq_env e, size_t exp_width, size_t mant_width)
{
    return make_type(e,
                     [&](tarq::TermManager& tm) { return tm.get_fp_type(exp_width, mant_width); });
}

tarq_type tarq_get_simple_type(tarq_env e, const char* name)
{
    return make_type(e, [&](tarq::TermManager& tm) { return tm.get_simple_type(text_arg(name)); });
}

tarq_type tarq_get_function_type(tarq_env e, const tarq_type* params, size_t num_params,
                                 tarq_type result)
{
    if (num_params == 0) {
        return error_type;
    }
    return make_type(e, [&](tarq::TermManager& tm) {
        if (!params) {
            throw tarq::make_error<tarq::Exception>("null array argument");
        }
        tarq::TypeVector args;
        for (size_t i = 0; i < num_params; ++i) {
            args.push_back(unwrap(params[i]));
        }
        return tm.get_function_type(args, unwrap(result));
    });
}

int tarq_is_bool_type(tarq_env e, tarq_type t)
{
    return test_type(e, t, [](tarq::TermManager& tm, const DataType* type) {
        return type == tm.get_bool_type();
    });
}

int tarq_is_rational_type(tarq_env e, tarq_type t)
{
    return test_type(e, t, [](tarq::TermManager& tm, const DataType* type) {
        return type == tm.get_real_type();
    });
}

int tarq_is_integer_type(tarq_env e, tarq_type t)
{
    return test_type(e, t, [](tarq::TermManager& tm, const DataType* type) {
        return type == tm.get_int_type();
    });
}

int tarq_is_array_type(tarq_env e, tarq_type t, tarq_type* out_index, tarq_type* out_element)
{
    return test_type(e, t, [&](tarq::TermManager& tm, const DataType* type) {
        const DataType* index = nullptr;
        const DataType* element = nullptr;
        if (!tm.is_array_type(type, &index, &element)) {
            return false;
        }
        if (out_index) {
            *out_index = wrap(index);
        }
        if (out_element) {
            *out_element = wrap(element);
        }
        return true;
    });
}

int tarq_is_bv_type(tarq_env e, tarq_type t, size_t* out_width)
{
    return test_type(e, t, [&](tarq::TermManager& tm, const DataType* type) {
        return tm.is_bv_type(type, out_width);
    });
}

int tarq_is_fp_roundingmode_type(tarq_env e, tarq_type t)
{
    return test_type(e, t, [](tarq::TermManager& tm, const DataType* type) {
        return type == tm.get_rounding_type();
    });
}

int tarq_is_fp_type(tarq_env e, tarq_type t, size_t* out_exp_width, size_t* out_mant_width)
{
    return test_type(e, t, [&](tarq::TermManager& tm, const DataType* type) {
        return tm.is_fp_type(type, out_exp_width, out_mant_width);
    });
}

int tarq_type_equals(tarq_type a, tarq_type b)
{
    return a.repr == b.repr;
}

char* tarq_type_repr(tarq_type t)
{
    return frame_without_env<char*>(nullptr, [&] { return copy_text(unwrap(t)->to_str()); });
}

// Declarations

tarq_decl tarq_declare_function(tarq_env e, const char* name, tarq_type type)
{
    return frame(e, error_decl, [&](EnvWrapper& w) {
        return wrap(w.tm().make_symbol(text_arg(name), unwrap(type)));
    });
}

tarq_decl tarq_find_decl(tarq_env e, const char* name)
{
    return frame(e, error_decl,
                 [&](EnvWrapper& w) { return wrap(w.tm().get_symbol(text_arg(name))); });
}

tarq_decl tarq_term_get_decl(tarq_term t)
{
    return frame_without_env(error_decl, [&] { return wrap(unwrap(t)->get_symbol()); });
}

size_t tarq_decl_id(tarq_decl d)
{
    return read_decl(d, size_t(0), [](const tarq::Symbol& s) { return s.get_id(); });
}

tarq_symbol_tag tarq_decl_get_tag(tarq_env e, tarq_decl d)
{
    return frame(e, TARQ_TAG_ERROR, [&](EnvWrapper& w) {
        return static_cast<tarq_symbol_tag>(w.tm().get_tag(unwrap(d)));
    });
}

tarq_type tarq_decl_get_return_type(tarq_decl d)
{
    return read_decl(d, error_type,
                     [](const tarq::Symbol& s) { return wrap(s.get_output_type()); });
}

size_t tarq_decl_get_arity(tarq_decl d)
{
    return read_decl(d, size_t(0), [](const tarq::Symbol& s) { return s.arity(); });
}

tarq_type tarq_decl_get_arg_type(tarq_decl d, size_t n)
{
    return read_decl(d, error_type, [&](const tarq::Symbol& s) {
        return n < s.arity() ? wrap(s.get_arg_type(n)) : error_type;
    });
}

char* tarq_decl_get_name(tarq_decl d)
{
    return read_decl<char*>(d, nullptr,
                            [](const tarq::Symbol& s) { return copy_text(s.get_name()); });
}

char* tarq_decl_repr(tarq_decl d)
{
    return read_decl<char*>(d, nullptr,
                            [](const tarq::Symbol& s) { return copy_text(s.to_str()); });
}
