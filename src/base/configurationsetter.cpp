#include "base/configurationsetter.h"

#include "base/assertion.h"
#include "base/optiontable.h"
#include "base/tarqdefaultconfig.h"

#include <cctype>
#include <sstream>
#include <utility>

namespace tarq {

namespace {

std::string_view strip(std::string_view s)
{
    const auto is_space = [](char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; };
    while (!s.empty() && is_space(s.front())) {
        s.remove_prefix(1);
    }
    while (!s.empty() && is_space(s.back())) {
        s.remove_suffix(1);
    }
    return s;
}

[[noreturn]] void throw_bad_format(std::string_view line)
{
    throw OptionParser::error("bad format of configuration file", std::string(line), "");
}

/// The section names of a header line, which begins with `[`; "" for the default section.
std::vector<std::string> parse_header(std::string_view line)
{
    if (line.size() == 1 || line.back() != ']') {
        throw_bad_format(line);
    }
    std::vector<std::string> names;
    std::string_view rest = line.substr(1, line.size() - 2);
    for (bool more = true; more;) {
        const size_t comma = rest.find(',');
        more = comma != rest.npos;
        const std::string_view name = strip(rest.substr(0, comma));
        if (name.empty()) {
            throw_bad_format(line);
        }
        names.emplace_back(name == "default" ? std::string_view() : name);
        rest = more ? rest.substr(comma + 1) : std::string_view();
    }
    return names;
}

const char* type_text(OptionType type)
{
    switch (type) {
    case OptionType::BOOL:
        return "bool";
    case OptionType::UINT:
        return "int";
    case OptionType::FLOAT:
        return "float";
    case OptionType::STRING:
        return "string";
    }
    TARQ_UNREACHABLE(type);
}

/// Walks the rows group by group, within a group in table order.
template <class Visit>
void for_rows_by_group(const Visit& visit)
{
    for (int group = 0; group < NUM_OPTION_GROUPS; ++group) {
        for (const OptionRow& row : get_option_rows()) {
            if (row.group == static_cast<OptionGroup>(group)) {
                visit(row);
            }
        }
    }
}

bool get_option_value(const OptionParser& options, const OptionRow& row, OptionValue* value)
{
    switch (row.type) {
    case OptionType::BOOL:
        return options.get_bool_option(row.name, &value->emplace<bool>());
    case OptionType::UINT:
        return options.get_int_option(row.name, &value->emplace<int>());
    case OptionType::FLOAT:
        return options.get_float_option(row.name, &value->emplace<double>());
    case OptionType::STRING:
        return options.get_str_option(row.name, &value->emplace<std::string>());
    }
    TARQ_UNREACHABLE(row.type);
}

/// What an option changes besides its own field, at the moment it is transferred.
void apply_effects(std::string_view name, Configuration& c)
{
    if (name == "interpolation" && c.interpolation) {
        c.proof_generation = true;
        c.preprocessor.toplevel_propagation = false;
    } else if (name == "bool_model_generation" && c.bool_model_generation) {
        c.preprocessor.toplevel_propagation = false;
    } else if (name == "unsat_core_generation" && c.unsat_core_generation != 0) {
        c.preprocessor.toplevel_propagation = false;
        if (c.unsat_core_generation == 1) {
            c.proof_generation = true;
        } else if (c.unsat_core_generation == 2) {
            c.dpll.store_tlemmas = true;
        }
    }
}

/// Writes entries as lines of a configuration text. Numbers go through to_option_text: the
/// stream's own notation may have an exponent, which the reader refuses.
class TextPrinter : public ConfigurationSetter::ConfigEntryPrinter {
public:
    void operator()(std::ostream& out, const std::string& name, bool value) override
    {
        print(out, name, value);
    }
    void operator()(std::ostream& out, const std::string& name, int value) override
    {
        print(out, name, value);
    }
    void operator()(std::ostream& out, const std::string& name, double value) override
    {
        print(out, name, value);
    }
    void operator()(std::ostream& out, const std::string& name, const std::string& value) override
    {
        print(out, name, value);
    }

private:
    static void print(std::ostream& out, const std::string& name, const OptionValue& value)
    {
        out << name << " = " << to_option_text(value) << '\n';
    }
};

} // namespace

ConfigurationSetter::ConfigurationSetter()
{
    sections_[""];
}

void ConfigurationSetter::initialize_options()
{
    const Configuration defaults;
    for_rows_by_group([&](const OptionRow& row) {
        options_.set_cur_help_group(get_group_text(row.group));
        options_.add_option(row.name, row.type, row.help, to_option_text(row.get(defaults)));
    });
}

void ConfigurationSetter::set_option(std::string_view name, std::string_view value, int priority)
{
    options_.parse_option(name, value, priority);
}

void ConfigurationSetter::load(std::istream& in, int priority)
{
    // Collected aside first, so that an error in the last line loads nothing.
    std::vector<std::pair<std::string, std::vector<OptEntry>>> loaded;
    loaded.emplace_back("", std::vector<OptEntry>());
    size_t first = 0; // the current sections are the last ones of `loaded`, from here
    for (std::string text; std::getline(in, text);) {
        const std::string_view line = strip(text);
        if (line.empty() || line.front() == '#') {
            continue;
        }
        if (line.front() == '[') {
            first = loaded.size();
            for (std::string& name : parse_header(line)) {
                loaded.emplace_back(std::move(name), std::vector<OptEntry>());
            }
            continue;
        }
        const size_t equals = line.find('=');
        const std::string_view value =
            equals == line.npos ? std::string_view() : strip(line.substr(equals + 1));
        for (size_t i = first; i < loaded.size(); ++i) {
            loaded[i].second.push_back(
                {std::string(strip(line.substr(0, equals))), std::string(value), priority});
        }
    }
    if (in.bad()) {
        throw OptionParser::error("can't read the configuration file", "", "");
    }
    for (auto& [name, entries] : loaded) {
        std::vector<OptEntry>& section = sections_[name];
        section.insert(section.end(), std::make_move_iterator(entries.begin()),
                       std::make_move_iterator(entries.end()));
    }
}

void ConfigurationSetter::load_default()
{
    std::string text;
    for (const char* const* piece = tarq_default_config; *piece; ++piece) {
        text += *piece;
    }
    std::istringstream in(text);
    load(in, BUILTIN_PRIORITY);
}

void ConfigurationSetter::parse_active_config()
{
    std::vector<std::string> failures;
    const auto apply = [&](const std::vector<OptEntry>& entries) {
        for (const OptEntry& e : entries) {
            try {
                set_option(e.name, e.value, e.priority);
            } catch (const Exception& failure) {
                failures.push_back(failure.get_msg());
            }
        }
    };
    apply(sections_[""]);
    if (!active_config_.empty()) {
        auto it = sections_.find(active_config_);
        if (it != sections_.end()) {
            apply(it->second);
        }
    }
    if (!failures.empty()) {
        std::string text =
            std::to_string(failures.size()) + " error(s) while parsing the configuration file:";
        for (const std::string& f : failures) {
            text += "\n" + f;
        }
        throw warning(text);
    }
}

void ConfigurationSetter::update_config(Configuration* c)
{
    Configuration fresh;
    std::string warning_text;
    try {
        parse_active_config();
    } catch (const warning& w) {
        warning_text = w.get_msg();
    }
    for (const OptionRow& row : get_option_rows()) {
        OptionValue value;
        if (!get_option_value(options_, row, &value)) {
            continue;
        }
        if (!row.range.accepts(value)) {
            throw OptionParser::error(std::string("invalid value for option ") + row.name, row.name,
                                      to_option_text(value));
        }
        row.set(fresh, value);
        apply_effects(row.name, fresh);
    }
    fresh.copy_to(c);
    if (!warning_text.empty()) {
        throw warning(warning_text);
    }
}

void ConfigurationSetter::dump(const Configuration* c, std::ostream& out,
                               ConfigEntryPrinter& printer) const
{
    for_rows_by_group([&](const OptionRow& row) {
        if (row.is_dumped) {
            std::visit([&](const auto& value) { printer(out, row.name, value); }, row.get(*c));
        }
    });
}

void ConfigurationSetter::dump(const Configuration* c, std::ostream& out,
                               const std::string& section) const
{
    if (!section.empty()) {
        out << '[' << section << "]\n";
    }
    TextPrinter printer;
    dump(c, out, printer);
}

std::vector<ConfigurationSetter::OptionInfo> ConfigurationSetter::get_option_infos()
{
    const Configuration defaults;
    std::vector<OptionInfo> infos;
    for_rows_by_group([&](const OptionRow& row) {
        infos.push_back({row.name, type_text(row.type), to_option_text(row.get(defaults)),
                         row.range.to_str(), get_group_text(row.group), row.help});
    });
    return infos;
}

} // namespace tarq
