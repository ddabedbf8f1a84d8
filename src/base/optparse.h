// Options by name: values as text, checked by type, held with the priority of who gave them.
#pragma once

#include "base/exception.h"
#include "base/hashmap.h"

#include <string>
#include <string_view>
#include <variant>

namespace tarq {

/// What the text of an option must look like.
enum class OptionType : int {
    BOOL = 0,   // exactly true or false
    UINT = 1,   // digits, at most the largest int
    FLOAT = 3,  // digits and at most one point, without sign and exponent
    STRING = 4, // anything
};

/// The value of an option, in the alternative of its type.
using OptionValue = std::variant<bool, int, double, std::string>;

/// The text that parses back to exactly this value; a float in plain decimal notation, as short as
/// that allows.
std::string to_option_text(const OptionValue& value);

/// One entry of the option table.
struct Option {
    std::string name;
    OptionType type = OptionType::STRING;
    std::string group; // the heading it is listed under
    std::string help;  // lines separated by \n
    std::string default_text;
    bool is_set = false;
    int priority = 0;  // of the value held
    OptionValue value; // meaningful while is_set
};

/// The option table: a map from name to Option. Ranges are not its business: they are checked when
/// the values are transferred into a Configuration.
class OptionParser {
public:
    /// What failed, for which option and value. The text is
    /// "MSG: OPTION, value: VALUE[, command-line: COMMAND_LINE]".
    class error : public Exception {
    public:
        error(const std::string& msg, std::string option, std::string value,
              std::string command_line = "");

        const std::string& get_option() const { return option_; }
        const std::string& get_value() const { return value_; }
        const std::string& get_command_line() const { return command_line_; }

    private:
        std::string option_;
        std::string value_;
        std::string command_line_;
    };

    /// Sets the heading for the options added from now on.
    void set_cur_help_group(std::string_view group) { cur_help_group_ = group; }

    /// Adds an option without a value. The name must be new.
    void add_option(std::string_view name, OptionType type, std::string_view help,
                    std::string_view default_text = "");

    /// Gives an option the value that a text stands for, unless it holds one of a lower priority
    /// number: the lower number wins, and of equals the later. The text is checked in any case.
    /// throws  error "unknown option" or "bad value for option", with nothing changed
    void parse_option(std::string_view name, std::string_view value, int priority);

    /// The option of this name, or null.
    const Option* get_option(std::string_view name) const;

    /// Fetch a value. True, with the value in *value, when the option exists, is of this type and
    /// is set; otherwise false, and *value is left alone.
    bool get_bool_option(std::string_view name, bool* value) const;
    bool get_int_option(std::string_view name, int* value) const;
    bool get_float_option(std::string_view name, double* value) const;
    bool get_str_option(std::string_view name, std::string* value) const;

private:
    template <class T>
    bool get_value(std::string_view name, T* value) const;

    hsh::HashMap<std::string, Option> options_;
    std::string cur_help_group_;
};

} // namespace tarq
