// Fills a Configuration from options that were set one by one and from configuration texts.
#pragma once

#include "base/configuration.h"
#include "base/hashmap.h"
#include "base/optparse.h"

#include <istream>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace tarq {

/// Collects option values in three layers: values set by name stand in an OptionParser; the entries
/// of configuration texts wait in named sections; update_config() applies the sections and
/// transfers everything into a Configuration. A lower priority number wins, whatever the order of
/// the calls.
///
/// A configuration text has lines `name = value`, lines `[section]` or `[section, section]` that
/// tell where the entries after them belong, comment lines that begin with #, and blank lines. The
/// entries before the first header, and those under `[default]`, belong to the default section,
/// which applies always; another section applies while it is the active one.
///
/// Every failure leaves the setter usable.
class ConfigurationSetter {
public:
    // Priorities of the sources of values.
    static constexpr int API_PRIORITY = 0;
    static constexpr int TEXT_PRIORITY = 2;
    static constexpr int BUILTIN_PRIORITY = 3;

    /// Entries of a section were wrong, while all others have been applied.
    class warning : public Exception {
    public:
        using Exception::Exception;
    };

    /// Receives the options of a dump.
    class ConfigEntryPrinter {
    public:
        virtual ~ConfigEntryPrinter() = default;
        virtual void operator()(std::ostream& out, const std::string& name, bool value) = 0;
        virtual void operator()(std::ostream& out, const std::string& name, int value) = 0;
        virtual void operator()(std::ostream& out, const std::string& name, double value) = 0;
        virtual void operator()(std::ostream& out, const std::string& name,
                                const std::string& value) = 0;
    };

    /// What a listing of the options shows.
    struct OptionInfo {
        std::string name;
        std::string type; // bool, int, float or string
        std::string default_text;
        std::string range; // "any", "0 to 3", "at least 1" or "non-zero"
        std::string group; // a heading such as "DPLL options:"
        std::string help;  // lines separated by \n
    };

    /// Call initialize_options() before anything else.
    ConfigurationSetter();

    /// Fills the table with all options, none of them set. To be called once.
    void initialize_options();

    /// Sets one option; see OptionParser::parse_option for the checks and the errors.
    void set_option(std::string_view name, std::string_view value, int priority = API_PRIORITY);

    /// Reads a configuration text into the sections; names and values are not looked at yet.
    /// throws  OptionParser::error "bad format of configuration file" with the offending line as
    ///         the option, or "can't read the configuration file", with the sections unchanged
    void load(std::istream& in, int priority = TEXT_PRIORITY);
    /// Reads the built-in text.
    void load_default();

    /// Chooses the section that applies besides the default one. There need not be one of that
    /// name; the empty name chooses none.
    void set_active_config(std::string_view name) { active_config_ = name; }

    /// Sets the options from the entries of the default section and then of the active one.
    /// throws  warning with the text of every entry's error; the other entries have been applied
    void parse_active_config();

    /// Makes *c the configuration that the sections and the options describe. It starts from the
    /// defaults, so nothing of an earlier transfer stays, and some options change further fields:
    ///   interpolation true          proof_generation on, preprocessor.toplevel_propagation off
    ///   bool_model_generation true  preprocessor.toplevel_propagation off
    ///   unsat_core_generation       not 0: preprocessor.toplevel_propagation off;
    ///                               1: proof_generation on; 2: dpll.store_tlemmas on
    /// The effects override an explicit value, except for dpll.store_tlemmas.
    /// throws  OptionParser::error "invalid value for option NAME" for the first value out of
    ///         range, with *c unchanged; warning as parse_active_config() does, after a complete
    ///         transfer of the valid options
    void update_config(Configuration* c);

    /// Shows the options with their values in *c to a printer, group by group, except those that
    /// the table marks as not dumped.
    void dump(const Configuration* c, std::ostream& out, ConfigEntryPrinter& printer) const;
    /// Writes the same options as a configuration text, which gives these values again when it is
    /// loaded. Only a string value with a line feed or with blanks at its ends can't be written so.
    /// section  the section's name, or empty for no header
    void dump(const Configuration* c, std::ostream& out, const std::string& section) const;

    /// All options in the order of a listing: group by group.
    static std::vector<OptionInfo> get_option_infos();

    const OptionParser& get_options() const { return options_; }

private:
    struct OptEntry {
        std::string name;
        std::string value;
        int priority;
    };

    OptionParser options_;
    hsh::HashMap<std::string, std::vector<OptEntry>> sections_; // the default one has no name
    std::string active_config_;
};

} // namespace tarq
