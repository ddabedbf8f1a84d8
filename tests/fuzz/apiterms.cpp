#include "apiterms.h"

#include <algorithm>
#include <cctype>
#include <cstring>

namespace tarq::fuzz {

namespace {

size_t read_number(const Sort& code, size_t* at)
{
    size_t n = 0;
    for (; *at < code.size() && std::isdigit(static_cast<unsigned char>(code[*at])); ++*at) {
        n = 10 * n + static_cast<size_t>(code[*at] - '0');
    }
    ++*at; // the point or comma
    return n;
}

tarq_type read_type(tarq_env e, const Sort& code, size_t* at)
{
    switch (*at < code.size() ? code[(*at)++] : ' ') {
    case 'B':
        return tarq_get_bool_type(e);
    case 'I':
        return tarq_get_integer_type(e);
    case 'Q':
        return tarq_get_rational_type(e);
    case 'R':
        return tarq_get_fp_roundingmode_type(e);
    case 'U':
        return tarq_get_simple_type(e, "U");
    case 'V':
        return tarq_get_bv_type(e, read_number(code, at));
    case 'F': {
        const size_t exp = read_number(code, at);
        return tarq_get_fp_type(e, exp, read_number(code, at));
    }
    case 'A': {
        const tarq_type index = read_type(e, code, at);
        return tarq_get_array_type(e, index, read_type(e, code, at));
    }
    default:
        return tarq_type{nullptr};
    }
}

/// The code that starts at a place within another.
Sort part(const Sort& code, size_t at)
{
    size_t end = at + 1;
    if (code[at] == 'A') {
        end += part(code, end).size();
        end += part(code, end).size();
    } else if (code[at] == 'V' || code[at] == 'F') {
        end = code.find('.', at) + 1;
    }
    return code.substr(at, end - at);
}

std::string word(size_t width)
{
    return "V" + std::to_string(width) + ".";
}

/// Brings a type together with what its letter stands for so far.
bool bind(Sort* bound, const Sort& s)
{
    if (bound->empty() || fits(*bound, s)) {
        *bound = s;
    }
    return fits(s, *bound);
}

} // namespace

tarq_type make_type(tarq_env e, const Sort& code)
{
    size_t at = 0;
    return read_type(e, code, &at);
}

Sort sort_of(tarq_env e, tarq_type t)
{
    size_t a = 0, b = 0;
    tarq_type index, element;
    if (tarq_is_bv_type(e, t, &a)) {
        return word(a);
    }
    if (tarq_is_fp_type(e, t, &a, &b)) {
        return "F" + std::to_string(a) + "," + std::to_string(b) + ".";
    }
    if (tarq_is_array_type(e, t, &index, &element)) {
        return "A" + sort_of(e, index) + sort_of(e, element);
    }
    return tarq_is_bool_type(e, t)                                  ? "B"
           : tarq_is_integer_type(e, t)                             ? "I"
           : tarq_is_rational_type(e, t)                            ? "Q"
           : tarq_is_fp_roundingmode_type(e, t)                     ? "R"
           : tarq_type_equals(t, tarq_get_simple_type(e, "U")) != 0 ? "U"
                                                                    : "";
}

bool fits(const Sort& s, const Sort& expected)
{
    return s == expected || (s == "I" && expected == "Q");
}

bool is_number(const Sort& s)
{
    return s == "I" || s == "Q";
}

size_t width_of(const Sort& s)
{
    size_t at = 1;
    return s[0] == 'V' ? read_number(s, &at) : 0;
}

void format_of(const Sort& s, size_t* exp, size_t* mant)
{
    size_t at = 1;
    *exp = s[0] == 'F' ? read_number(s, &at) : 0;
    *mant = s[0] == 'F' ? read_number(s, &at) : 0;
}

#define T0(name, sig, weight)                                                                      \
    {                                                                                              \
#name, sig, 0, weight,                                                                     \
            [](tarq_env e, const tarq_term*, const size_t*) { return tarq_make_##name(e); }        \
    }
#define T1(name, sig, weight)                                                                      \
    {                                                                                              \
#name, sig, 0, weight,                                                                     \
            [](tarq_env e, const tarq_term* a,                                                     \
               const size_t*) { return tarq_make_##name(e, a[0]); }                                \
    }
#define T2(name, sig, weight)                                                                      \
    {                                                                                              \
#name, sig, 0, weight,                                                                     \
            [](tarq_env e, const tarq_term* a,                                                     \
               const size_t*) { return tarq_make_##name(e, a[0], a[1]); }                          \
    }
#define T3(name, sig, weight)                                                                      \
    {                                                                                              \
#name, sig, 0, weight,                                                                     \
            [](tarq_env e, const tarq_term* a,                                                     \
               const size_t*) { return tarq_make_##name(e, a[0], a[1], a[2]); }                    \
    }
#define N1T1(name, sig, weight)                                                                    \
    {                                                                                              \
#name, sig, 1, weight,                                                                     \
            [](tarq_env e, const tarq_term* a,                                                     \
               const size_t* n) { return tarq_make_##name(e, n[0], a[0]); }                        \
    }
#define N2T1(name, sig, weight)                                                                    \
    {                                                                                              \
#name, sig, 2, weight,                                                                     \
            [](tarq_env e, const tarq_term* a,                                                     \
               const size_t* n) { return tarq_make_##name(e, n[0], n[1], a[0]); }                  \
    }
#define N2T2(name, sig, weight)                                                                    \
    {                                                                                              \
#name, sig, 2, weight,                                                                     \
            [](tarq_env e, const tarq_term* a,                                                     \
               const size_t* n) { return tarq_make_##name(e, n[0], n[1], a[0], a[1]); }            \
    }
#define N2(name, sig, weight)                                                                      \
    {                                                                                              \
#name, sig, 2, weight,                                                                     \
            [](tarq_env e, const tarq_term*,                                                       \
               const size_t* n) { return tarq_make_##name(e, n[0], n[1]); }                        \
    }

const std::vector<Constructor>& constructors()
{
    static const std::vector<Constructor> table = {
        T0(true, ":B", 1),
        T0(false, ":B", 1),
        T0(fp_roundingmode_nearest_even, ":R", 1),
        T0(fp_roundingmode_zero, ":R", 1),
        T0(fp_roundingmode_plus_inf, ":R", 1),
        T0(fp_roundingmode_minus_inf, ":R", 1),
        T1(not, "B:B", 9),
        T2(and, "BB:B", 6),
        T2(or, "BB:B", 12),
        T2(iff, "BB:B", 5),
        T2(eq, "**:B", 16),
        T2(equal, "**:B", 6),
        T3(term_ite, "B**:*", 10),
        T2(leq, "NN:B", 20),
        T2(plus, "NN:N", 12),
        T1(floor, "N:I", 2),
        // the products that theories decide
        {"scale", "N:N", 1, 8,
         [](tarq_env e, const tarq_term* a, const size_t* n) {
             return tarq_make_times(e, tarq_make_int_number(e, static_cast<int>(n[0] % 9) - 4),
                                    a[0]);
         }},
        {"congruent", "II:B", 1, 4,
         [](tarq_env e, const tarq_term* a, const size_t* n) {
             mpz_t modulus;
             mpz_init_set_ui(modulus, n[0]);
             const tarq_term t = tarq_make_int_modular_congruence(e, modulus, a[0], a[1]);
             mpz_clear(modulus);
             return t;
         }},
        T2(times, "NN:N", 0),
        T2(divide, "NN:Q", 0),
        T2(pow, "NN:Q", 0),
        T1(exp, "N:Q", 0),
        T1(sin, "N:Q", 0),
        T2(array_read, "Ai:e", 14),
        T3(array_write, "Aie:A", 10),
        T2(bv_concat, "VW:C", 2),
        N2T1(bv_extract, "V:x", 3),
        T1(bv_not, "V:V", 1),
        T1(bv_neg, "V:V", 1),
        T2(bv_and, "VV:V", 1),
        T2(bv_or, "VV:V", 1),
        T2(bv_xor, "VV:V", 1),
        T2(bv_plus, "VV:V", 3),
        T2(bv_minus, "VV:V", 1),
        T2(bv_times, "VV:V", 1),
        T2(bv_udiv, "VV:V", 1),
        T2(bv_urem, "VV:V", 1),
        T2(bv_sdiv, "VV:V", 1),
        T2(bv_srem, "VV:V", 1),
        T2(bv_lshl, "VV:V", 1),
        T2(bv_lshr, "VV:V", 1),
        T2(bv_ashr, "VV:V", 1),
        T2(bv_ult, "VV:B", 4),
        T2(bv_uleq, "VV:B", 4),
        T2(bv_slt, "VV:B", 4),
        T2(bv_sleq, "VV:B", 4),
        T2(bv_comp, "VV:1", 2),
        N1T1(bv_rol, "V:V", 1),
        N1T1(bv_ror, "V:V", 1),
        N1T1(bv_zext, "V:z", 2),
        N1T1(bv_sext, "V:z", 2),
        N1T1(int_to_bv, "I:w", 1),
        T1(int_from_ubv, "V:I", 1),
        T1(int_from_sbv, "V:I", 1),
        T2(fp_equal, "FF:B", 4),
        T2(fp_lt, "FF:B", 5),
        T2(fp_leq, "FF:B", 5),
        T1(fp_neg, "F:F", 1),
        T1(fp_abs, "F:F", 1),
        T3(fp_plus, "RFF:F", 2),
        T3(fp_minus, "RFF:F", 1),
        T3(fp_times, "RFF:F", 1),
        T3(fp_div, "RFF:F", 1),
        T2(fp_sqrt, "RF:F", 1),
        T2(fp_round_to_int, "RF:F", 1),
        T2(fp_min, "FF:F", 1),
        T2(fp_max, "FF:F", 1),
        N2T2(fp_cast, "RF:f", 1),
        N2T2(fp_from_sbv, "RV:f", 1),
        N2T2(fp_from_ubv, "RV:f", 1),
        {"fp_to_bv", "RF:w", 1, 1,
         [](tarq_env e, const tarq_term* a, const size_t* n) {
             return tarq_make_fp_to_bv(e, n[0], a[0], a[1]);
         }},
        T1(fp_as_ieeebv, "F:b", 1),
        N2T1(fp_from_ieeebv, "V:f", 1),
        N2(fp_plus_inf, ":f", 1),
        N2(fp_minus_inf, ":f", 1),
        N2(fp_nan, ":f", 1),
        T1(fp_isnan, "F:B", 1),
        T1(fp_isinf, "F:B", 1),
        T1(fp_iszero, "F:B", 1),
        T1(fp_issubnormal, "F:B", 1),
        T1(fp_isnormal, "F:B", 1),
        T1(fp_isneg, "F:B", 1),
        T1(fp_ispos, "F:B", 1),
    };
    return table;
}

const Constructor* find_constructor(const std::string& name)
{
    const auto& all = constructors();
    const auto it =
        std::find_if(all.begin(), all.end(), [&](const Constructor& c) { return name == c.name; });
    return it == all.end() ? nullptr : &*it;
}

Legal check_types(const Constructor& c, const std::vector<Sort>& args, const std::vector<size_t>& n,
                  bool bool_args, Sort* result)
{
    const std::string name = c.name;
    const char* letter = c.signature;
    Sort any, array, words, other, floats;
    bool ints = true;
    Legal legal = Legal::yes;
    for (const Sort& s : args) {
        bool good = false;
        switch (*letter) {
        case 'N':
            good = is_number(s);
            ints = ints && s == "I";
            break;
        case 'V':
            good = s[0] == 'V' && bind(&words, s);
            break;
        case 'W':
            good = s[0] == 'V';
            other = s;
            break;
        case 'F':
            good = s[0] == 'F' && bind(&floats, s);
            break;
        case 'A':
            good = s[0] == 'A';
            array = s;
            break;
        case 'i':
            good = fits(s, part(array, 1));
            break;
        case 'e':
            good = fits(s, part(array, 1 + part(array, 1).size()));
            break;
        case '*':
            good = bind(&any, s);
            break;
        default:
            good = fits(s, Sort(1, *letter));
        }
        if (!good) {
            return Legal::no;
        }
        ++letter;
    }
    if (any == "B" && name == "equal") {
        legal = Legal::open;
    }
    if (any == "B" && name == "term_ite" && !bool_args) {
        return Legal::no;
    }
    size_t exp = 0, mant = 0;
    const size_t width = width_of(words);
    switch (*++letter) {
    case 'N':
        *result = ints ? "I" : "Q";
        break;
    case 'V':
        *result = words;
        break;
    case 'F':
        *result = floats;
        break;
    case '*':
        *result = any;
        break;
    case 'A':
        *result = array;
        break;
    case 'e':
        *result = part(array, 1 + part(array, 1).size());
        break;
    case 'C':
        *result = word(width + width_of(other));
        break;
    case '1':
        *result = word(1);
        break;
    case 'w':
        *result = word(n[0]);
        legal = n[0] == 0 || n[0] > 1000 ? Legal::open : legal;
        break;
    case 'x':
        *result = word(n[0] - n[1] + 1);
        legal = n[0] < n[1] || n[0] >= width ? Legal::no : legal;
        break;
    case 'z':
        *result = word(width + n[0]);
        legal = n[0] > 1000 ? Legal::open : legal;
        break;
    case 'f':
        *result = "F" + std::to_string(n[0]) + "," + std::to_string(n[1]) + ".";
        legal = n[0] < 2 || n[1] < 2                                   ? Legal::no
                : n[0] > 20 || n[1] > 200                              ? Legal::open
                : name == "fp_from_ieeebv" && width != n[0] + n[1] + 1 ? Legal::no
                                                                       : legal;
        break;
    case 'b':
        format_of(floats, &exp, &mant);
        *result = word(exp + mant + 1);
        break;
    default:
        *result = Sort(1, *letter);
    }
    if (name == "congruent" && n[0] == 0) {
        return Legal::no;
    }
    return legal;
}

} // namespace tarq::fuzz
