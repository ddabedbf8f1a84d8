// The options of the library as a run collects them: a configuration file, then the command line,
// then the script. Also the listing of all of them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tarq {
struct Configuration;
}

namespace tarq::tool {

/// A list of settings that is turned into a Configuration on demand. Every prefix of it has been
/// accepted by the library, an environment included, so building it does not fail.
class LibraryOptions {
public:
    /// Takes the text of a configuration file; settings made by `set` win over it.
    /// throws  Exception "can't read file `NAME': REASON", the errors of the library for a bad
    ///         format, an unknown option or a bad value; nothing is changed then
    void load_file(const std::string& name);
    /// Sets one option; of two settings of the same option the later one counts.
    /// throws  the errors of the library for an unknown option, a bad value, or a value that it
    ///         does not support; nothing is changed then
    void set(const std::string& name, const std::string& value);
    /// The same, below the file and everything set by `set`, in whatever order they come.
    void set_default(const std::string& name, const std::string& value);
    /// Puts the settings that suit a logic below all others; an unknown logic has none. Returns
    /// whether anything changes. Never fails.
    bool set_logic(std::string_view logic);
    /// Realise backtrack points by assumed labels.
    void set_shallow(bool on) { shallow_ = on; }

    /// Writes all settings over the defaults.
    /// config  a fresh record
    void build(Configuration* config) const;

private:
    struct Setting {
        std::string name;
        std::string value;
        int priority;
    };

    void add(const Setting& setting);
    void check() const;
    void do_build(Configuration* config, bool with_logic) const;

    std::string file_text_;
    std::string logic_; // empty when it has no settings of its own
    std::vector<Setting> settings_;
    bool shallow_ = false;
};

/// Every option of the library with type, default, accepted values and help, by group, for people.
std::string list_library_options();

} // namespace tarq::tool
