// The rows of options.def as a table that code can walk.
#pragma once

#include "base/configuration.h"
#include "base/optparse.h"

#include <limits>
#include <span>
#include <string>

namespace tarq {

/// The headings that options are listed under, in this order.
enum class OptionGroup { GENERAL, DEBUG, PRINTER, PREPROCESSOR, DPLL, THEORY };
inline constexpr int NUM_OPTION_GROUPS = 6;
const char* get_group_text(OptionGroup group);

/// Which values of an option pass the transfer, beyond what its type allows.
struct OptionRange {
    double low = 0;
    double high = std::numeric_limits<double>::infinity();
    bool non_zero = false;

    bool accepts(const OptionValue& value) const;
    /// "any", "0 to 3", "at least 1" or "non-zero".
    std::string to_str() const;
};

/// One option and the field of a Configuration that it sets.
struct OptionRow {
    const char* name;
    OptionType type;
    OptionRange range;
    OptionGroup group;
    bool is_dumped;
    const char* help; // lines separated by \n
    OptionValue (*get)(const Configuration&);
    void (*set)(Configuration&, const OptionValue&); // the value must be of the row's type
};

/// All options, in the order of options.def.
std::span<const OptionRow> get_option_rows();

} // namespace tarq
