#include "libraryoptions.h"

#include "base/configuration.h"
#include "base/configurationsetter.h"
#include "base/exception.h"
#include "env/environment.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>
#include <utility>

namespace tarq::tool {

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
    ConfigurationSetter setter;
    setter.initialize_options();
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
