#include "base/optiontable.h"

#include "base/assertion.h"

#include <array>
#include <string_view>
#include <type_traits>

namespace tarq {

namespace {

// The words of the column `accepted`.
constexpr double INFINITE = std::numeric_limits<double>::infinity();
constexpr OptionRange ANY = {0, INFINITE, false};
constexpr OptionRange NON_ZERO = {0, INFINITE, true};
constexpr OptionRange RANGE(double low, double high)
{
    return {low, high, false};
}
constexpr OptionRange AT_LEAST(double low)
{
    return {low, INFINITE, false};
}

template <class T>
constexpr OptionType option_type()
{
    if constexpr (std::is_same_v<T, bool>) {
        return OptionType::BOOL;
    } else if constexpr (std::is_same_v<T, int>) {
        return OptionType::UINT;
    } else if constexpr (std::is_same_v<T, double>) {
        return OptionType::FLOAT;
    } else {
        static_assert(std::is_same_v<T, std::string>);
        return OptionType::STRING;
    }
}

struct DpllRange {
    std::string_view field;
    OptionRange range;
};

constexpr DpllRange DPLL_RANGES[] = {
#define OPT_DPLL(field, type, value, accepted, flag, help) {#field, accepted},
#include "base/options.def"
};

/// The inner engines share the ranges of the main one. A field that it does not have makes the
/// table no constant, hence an error of the compiler.
constexpr OptionRange get_dpll_range(std::string_view field)
{
    for (const DpllRange& r : DPLL_RANGES) {
        if (r.field == field) {
            return r.range;
        }
    }
    throw "an inner engine has a field that the main one lacks";
}

// clang-format off
#define ROW(group, prefix, path, field, accepted, is_dumped, help)                                 \
    OptionRow { prefix #field, option_type<decltype(Configuration::path field)>(), accepted,       \
        OptionGroup::group, is_dumped, help,                                                       \
        [](const Configuration& c) { return OptionValue(c.path field); },                          \
        [](Configuration& c, const OptionValue& v) {                                               \
            c.path field = std::get<decltype(Configuration::path field)>(v);                       \
        } },
#define ROW_OPTION(group, prefix, path, field, accepted, help)                                     \
    ROW(group, prefix, path, field, accepted, true, help)
#define ROW_NOT_DUMPED(group, prefix, path, field, accepted, help)                                 \
    ROW(group, prefix, path, field, accepted, false, help)
#define ROW_FIELD(...)
#define INNER_ROW(prefix, path, field, help)                                                       \
    ROW(THEORY, prefix, path, field, get_dpll_range(#field), true, "\"dpll." #field "\"" help)

#define OPT_TOP(f, t, v, a, flag, h) ROW_##flag(GENERAL, "", , f, a, h)
#define OPT_DEBUG(f, t, v, a, flag, h) ROW_##flag(DEBUG, "debug.", debug., f, a, h)
#define OPT_PRINTER(f, t, v, a, flag, h) ROW_##flag(PRINTER, "printer.", printer., f, a, h)
#define OPT_PREPROCESSOR(f, t, v, a, flag, h)                                                      \
    ROW_##flag(PREPROCESSOR, "preprocessor.", preprocessor., f, a, h)
#define OPT_DPLL(f, t, v, a, flag, h) ROW_##flag(DPLL, "dpll.", dpll., f, a, h)
#define OPT_DPLL_PREPROCESSOR(f, t, v, a, flag, h)                                                 \
    ROW_##flag(DPLL, "dpll.preprocessor.", dpll.preprocessor., f, a, h)
#define OPT_THEORY(f, t, v, a, flag, h) ROW_##flag(THEORY, "theory.", theory., f, a, h)
#define OPT_LA(f, t, v, a, flag, h) ROW_##flag(THEORY, "theory.la.", theory.la., f, a, h)
#define OPT_EUF(f, t, v, a, flag, h) ROW_##flag(THEORY, "theory.euf.", theory.euf., f, a, h)
#define OPT_ARR(f, t, v, a, flag, h) ROW_##flag(THEORY, "theory.arr.", theory.arr., f, a, h)
#define OPT_BV(f, t, v, a, flag, h) ROW_##flag(THEORY, "theory.bv.", theory.bv., f, a, h)
#define OPT_FP(f, t, v, a, flag, h) ROW_##flag(THEORY, "theory.fp.", theory.fp., f, a, h)
#define OPT_NA(f, t, v, a, flag, h) ROW_##flag(THEORY, "theory.na.", theory.na., f, a, h)
#define OPT_BV_LAZYDPLL(f, v)                                                                      \
    INNER_ROW("theory.bv.lazydpll.", theory.bv.lazydpll., f,                                       \
        " option for the inner DPLL solver used by BV in lazy mode.")
#define OPT_FP_DPLL(f, v)                                                                          \
    INNER_ROW("theory.fp.dpll.", theory.fp.bv.lazydpll., f,                                        \
        " option for the inner DPLL solver used by FP.")
// clang-format on

constexpr OptionRow ROWS[] = {
#include "base/options.def"
};

static_assert(std::size(ROWS) == 138, "an option was added or lost: adjust the number");

std::string bound_text(double bound)
{
    TARQ_ASSERT(bound == static_cast<int>(bound));
    return std::to_string(static_cast<int>(bound));
}

} // namespace

const char* get_group_text(OptionGroup group)
{
    switch (group) {
    case OptionGroup::GENERAL:
        return "General options:";
    case OptionGroup::DEBUG:
        return "Debug options:";
    case OptionGroup::PRINTER:
        return "Printer options:";
    case OptionGroup::PREPROCESSOR:
        return "Preprocessor options:";
    case OptionGroup::DPLL:
        return "DPLL options:";
    case OptionGroup::THEORY:
        return "Theory options:";
    }
    TARQ_UNREACHABLE(group);
}

bool OptionRange::accepts(const OptionValue& value) const
{
    double v = 0;
    if (const int* i = std::get_if<int>(&value)) {
        v = *i;
    } else if (const double* d = std::get_if<double>(&value)) {
        v = *d;
    } else {
        return true;
    }
    return low <= v && v <= high && !(non_zero && v == 0);
}

std::string OptionRange::to_str() const
{
    if (non_zero) {
        return "non-zero";
    }
    if (high != INFINITE) {
        return bound_text(low) + " to " + bound_text(high);
    }
    return low > 0 ? "at least " + bound_text(low) : "any";
}

std::span<const OptionRow> get_option_rows()
{
    return ROWS;
}

} // namespace tarq
