#include "libraryoptions.h"

#include "base/configuration.h"
#include "base/configurationsetter.h"
#include "base/exception.h"
#include "env/environment.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>
#include <utility>

namespace tarq::tool {

namespace {

/// What pays for the scripts of a logic.
struct LogicSetting {
    std::string_view logic;
    const char* option;
    const char* value;
};

// Words alone: without a solver for equalities their term-ITEs become circuits, and of the three
// conversions to clauses the one by cut mapping finds most of what two circuits have in common.
// Arrays of words: going by the values of a model saves comparisons of indices, and lifting term-ITEs
// out of reads costs more than it finds. Functions or arrays over integers: lemmas that repeat the
// congruences of a conflict save many of these, and all interface equalities at once save final checks.
constexpr LogicSetting LOGIC_SETTINGS[] = {
    {"QF_UF", "preprocessor.symmetry_breaking", "true"},
    {"QF_UF", "dpll.glucose_var_activity", "true"},
    {"QF_BV", "theory.euf.enabled", "false"},
    {"QF_BV", "theory.la.enabled", "false"},
    {"QF_BV", "theory.bv.bit_blast_mode", "2"},
    {"QF_FP", "theory.euf.enabled", "false"},
    {"QF_FP", "theory.la.enabled", "false"},
    {"QF_BVFP", "theory.euf.enabled", "false"},
    {"QF_BVFP", "theory.la.enabled", "false"},
    {"QF_BVFP", "theory.bv.bit_blast_mode", "2"},
    {"QF_AUFBV", "theory.arr.mode", "1"},
    {"QF_AUFBV", "preprocessor.simplification", "22"},
    {"QF_AUFLIA", "theory.euf.dyn_ack", "2"},
    {"QF_AUFLIA", "theory.interface_eq_batch_size", "0"},
    {"QF_UFIDL", "theory.euf.dyn_ack", "1"},
};

bool is_tuned(std::string_view logic)
{
    return std::any_of(std::begin(LOGIC_SETTINGS), std::end(LOGIC_SETTINGS),
                       [logic](const LogicSetting& s) { return s.logic == logic; });
}

} // namespace

bool LibraryOptions::set_logic(std::string_view logic)
{
    const std::string old = std::exchange(logic_, is_tuned(logic) ? std::string(logic) : "");
    return old != logic_;
}

void LibraryOptions::load_file(const std::string& name)
{
    std::ifstream in(name);
    std::string text{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    if (!in.is_open() || in.bad()) {
        throw make_error<Exception>("can't read file `", name, "': ", strerror(errno));
    }
    std::string old = std::exchange(file_text_, std::move(text));
    try {
        check();
    } catch (...) {
        file_text_ = std::move(old);
        throw;
    }
}

void LibraryOptions::set(const std::string& name, const std::string& value)
{
    add({name, value, ConfigurationSetter::API_PRIORITY});
}

void LibraryOptions::set_default(const std::string& name, const std::string& value)
{
    add({name, value, ConfigurationSetter::BUILTIN_PRIORITY});
}

void LibraryOptions::add(const Setting& setting)
{
    settings_.push_back(setting);
    try {
        check();
    } catch (...) {
        settings_.pop_back();
        throw;
    }
}

void LibraryOptions::check() const
{
    Configuration config;
    build(&config);
    // Some values are known to the table, but not to an environment of this version.
    const Environment probe(&config);
}

void LibraryOptions::build(Configuration* config) const
{
    // A division by zero that is left open is a function of the dividend, which no table of a logic
    // without functions foresees.
    do_build(config, false);
    if (!logic_.empty() && config->theory.bv.div_by_zero_mode == 0) {
        do_build(config, true);
    }
}

void LibraryOptions::do_build(Configuration* config, bool with_logic) const
{
    ConfigurationSetter setter;
    setter.initialize_options();
    // scripts may declare functions of formulas, which the library takes when it is told to
    setter.set_option("allow_bool_function_args", "true", ConfigurationSetter::BUILTIN_PRIORITY);
    // the language leaves open which zero the minimum of two different ones is
    setter.set_option("theory.fp.minmax_zero_mode", "4", ConfigurationSetter::BUILTIN_PRIORITY);
    if (with_logic) {
        for (const LogicSetting& s : LOGIC_SETTINGS) {
            if (s.logic == logic_) {
                setter.set_option(s.option, s.value, ConfigurationSetter::BUILTIN_PRIORITY);
            }
        }
    }
    if (!file_text_.empty()) {
        std::istringstream in(file_text_);
        setter.load(in, ConfigurationSetter::TEXT_PRIORITY);
    }
    for (const Setting& s : settings_) {
        setter.set_option(s.name, s.value, s.priority);
    }
    setter.update_config(config);
    config->shallow_incrementality = shallow_;
}

std::string list_library_options()
{
    std::ostringstream out;
    std::string group;
    for (const ConfigurationSetter::OptionInfo& option : ConfigurationSetter::get_option_infos()) {
        if (option.group != group) {
            out << (group.empty() ? "" : "\n") << option.group << '\n';
            group = option.group;
        }
        out << "\n  " << option.name << " = "
            << (option.default_text.empty() ? "(empty)" : option.default_text) << "   ("
            << option.type << (option.range == "any" ? "" : ", " + option.range) << ")\n";
        std::istringstream help(option.help);
        for (std::string line; std::getline(help, line);) {
            out << "      " << line << '\n';
        }
    }
    return out.str();
}

} // namespace tarq::tool
