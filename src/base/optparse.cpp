#include "base/optparse.h"

#include "base/assertion.h"

#include <charconv>
#include <limits>
#include <system_error>

namespace tarq {

namespace {

bool has_only(std::string_view text, std::string_view allowed)
{
    return text.find_first_not_of(allowed) == text.npos;
}

bool parse_int(std::string_view text, OptionValue* value)
{
    int v = 0;
    if (text.empty() || !has_only(text, "0123456789") ||
        std::from_chars(text.data(), text.data() + text.size(), v).ec != std::errc()) {
        return false;
    }
    value->emplace<int>(v);
    return true;
}

/// Not strtod: that takes the decimal point of the caller's locale.
bool parse_float(std::string_view text, OptionValue* value)
{
    double v = 0;
    if (!has_only(text, "0123456789.")) {
        return false;
    }
    const char* end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, v, std::chars_format::fixed);
    if (result.ec != std::errc() || result.ptr != end) {
        return false; // no digit, a second point, or too large a number
    }
    value->emplace<double>(v);
    return true;
}

/// False if the text is none of this type.
bool parse_value(OptionType type, std::string_view text, OptionValue* value)
{
    switch (type) {
    case OptionType::BOOL:
        value->emplace<bool>(text == "true");
        return text == "true" || text == "false";
    case OptionType::UINT:
        return parse_int(text, value);
    case OptionType::FLOAT:
        return parse_float(text, value);
    case OptionType::STRING:
        value->emplace<std::string>(text);
        return true;
    }
    TARQ_UNREACHABLE(type);
}

std::string float_text(double v)
{
    // The longest plain form has some 309 digits before the point, or 1074 places after it.
    char buffer[std::numeric_limits<double>::max_exponent10 + 1100];
    const auto result = std::to_chars(buffer, buffer + sizeof(buffer), v, std::chars_format::fixed);
    TARQ_ASSERT(result.ec == std::errc());
    return std::string(buffer, result.ptr);
}

std::string error_text(const std::string& msg, const std::string& option, const std::string& value,
                       const std::string& command_line)
{
    std::string text = msg + ": " + option + ", value: " + value;
    if (!command_line.empty()) {
        text += ", command-line: " + command_line;
    }
    return text;
}

} // namespace

std::string to_option_text(const OptionValue& value)
{
    if (const bool* b = std::get_if<bool>(&value)) {
        return *b ? "true" : "false";
    }
    if (const int* i = std::get_if<int>(&value)) {
        return std::to_string(*i);
    }
    if (const double* d = std::get_if<double>(&value)) {
        return float_text(*d);
    }
    return std::get<std::string>(value);
}

OptionParser::error::error(const std::string& msg, std::string option, std::string value,
                           std::string command_line)
    : Exception(error_text(msg, option, value, command_line)), option_(std::move(option)),
      value_(std::move(value)), command_line_(std::move(command_line))
{
}

void OptionParser::add_option(std::string_view name, OptionType type, std::string_view help,
                              std::string_view default_text)
{
    Option& option = options_[std::string(name)];
    TARQ_ASSERT(option.name.empty());
    option.name = name;
    option.type = type;
    option.group = cur_help_group_;
    option.help = help;
    option.default_text = default_text;
}

void OptionParser::parse_option(std::string_view name, std::string_view value, int priority)
{
    auto it = options_.find(std::string(name));
    if (it == options_.end()) {
        throw error("unknown option", std::string(name), std::string(value));
    }
    Option& option = it->second;
    OptionValue parsed;
    if (!parse_value(option.type, value, &parsed)) {
        throw error("bad value for option", std::string(name), std::string(value));
    }
    if (!option.is_set || priority <= option.priority) {
        option.value = std::move(parsed);
        option.is_set = true;
        option.priority = priority;
    }
}

const Option* OptionParser::get_option(std::string_view name) const
{
    auto it = options_.find(std::string(name));
    return it == options_.end() ? nullptr : &it->second;
}

template <class T>
bool OptionParser::get_value(std::string_view name, T* value) const
{
    const Option* option = get_option(name);
    if (!option || !option->is_set) {
        return false;
    }
    const T* held = std::get_if<T>(&option->value);
    if (!held) {
        return false;
    }
    *value = *held;
    return true;
}

bool OptionParser::get_bool_option(std::string_view name, bool* value) const
{
    return get_value(name, value);
}

bool OptionParser::get_int_option(std::string_view name, int* value) const
{
    return get_value(name, value);
}

bool OptionParser::get_float_option(std::string_view name, double* value) const
{
    return get_value(name, value);
}

bool OptionParser::get_str_option(std::string_view name, std::string* value) const
{
    return get_value(name, value);
}

} // namespace tarq
