// The option table from end to end: texts and priorities, sections, transfer, ranges, effects,
// dump.
#include "base/configurationsetter.h"
#include "base/optiontable.h"

#include <gtest/gtest.h>

#include <cmath>
#include <set>
#include <sstream>
#include <type_traits>

namespace tarq {

namespace {

/// A setter with the table in it.
struct Setter : ConfigurationSetter {
    Setter() { initialize_options(); }
    void load_text(const std::string& text, int priority = TEXT_PRIORITY)
    {
        std::istringstream in(text);
        load(in, priority);
    }
    /// The text of an option after the transfer.
    std::string get(const std::string& name)
    {
        Configuration c;
        update_config(&c);
        return value_in(c, name);
    }
    static std::string value_in(const Configuration& c, const std::string& name)
    {
        for (const OptionRow& row : get_option_rows()) {
            if (name == row.name) {
                return to_option_text(row.get(c));
            }
        }
        ADD_FAILURE() << "no option " << name;
        return "";
    }
};

/// The message of the E that f throws.
template <class E, class F>
std::string message(const F& f)
{
    try {
        f();
    } catch (const E& e) {
        return e.get_msg();
    }
    return "nothing thrown";
}

std::string set_error(const std::string& name, const std::string& value)
{
    Setter s;
    return message<OptionParser::error>([&] { s.set_option(name, value); });
}

/// A text within the range of the option that is not its default.
std::string other_value(const OptionRow& row)
{
    const OptionValue value = row.get(Configuration());
    if (const bool* b = std::get_if<bool>(&value)) {
        return *b ? "false" : "true";
    }
    if (const int* i = std::get_if<int>(&value)) {
        return std::to_string(*i + 1 <= row.range.high ? *i + 1 : *i - 1);
    }
    if (std::holds_alternative<double>(value)) {
        return "0.625";
    }
    return "some text";
}

const char* const EFFECT_TARGETS[] = {"proof_generation", "preprocessor.toplevel_propagation",
                                      "dpll.store_tlemmas"};

} // namespace

TEST(OptionTable, every_option_sets_its_own_field_and_no_other)
{
    const Configuration defaults;
    for (const OptionRow& row : get_option_rows()) {
        Setter s;
        const std::string text = other_value(row);
        s.set_option(row.name, text);
        Configuration c;
        s.update_config(&c);
        for (const OptionRow& r : get_option_rows()) {
            if (&r == &row) {
                EXPECT_EQ(to_option_text(r.get(c)), text) << r.name;
            } else if (std::ranges::find(EFFECT_TARGETS, std::string(r.name)) ==
                       std::end(EFFECT_TARGETS)) {
                EXPECT_EQ(r.get(c), r.get(defaults)) << row.name << " changed " << r.name;
            }
        }
    }
}

TEST(OptionTable, ranges_accept_their_ends_and_refuse_what_lies_beyond)
{
    int checked = 0;
    for (const OptionRow& row : get_option_rows()) {
        const auto transfer = [&row](const std::string& text) {
            Setter s;
            s.set_option(row.name, text);
            return message<OptionParser::error>([&] {
                Configuration c;
                s.update_config(&c);
            });
        };
        const auto refusal = [&row](const std::string& text) {
            return std::string("invalid value for option ") + row.name + ": " + row.name +
                   ", value: " + text;
        };
        EXPECT_TRUE(row.range.accepts(row.get(Configuration()))) << row.name;
        if (row.type != OptionType::UINT && row.type != OptionType::FLOAT) {
            continue;
        }
        if (std::isfinite(row.range.high)) {
            const std::string high = std::to_string(static_cast<int>(row.range.high));
            const std::string above = row.type == OptionType::FLOAT
                                          ? high + ".001"
                                          : std::to_string(static_cast<int>(row.range.high) + 1);
            EXPECT_EQ(transfer(high), "nothing thrown") << row.name;
            EXPECT_EQ(transfer(above), refusal(above));
            ++checked;
        }
        const bool takes_zero = row.range.low == 0 && !row.range.non_zero;
        EXPECT_EQ(transfer("0"), takes_zero ? "nothing thrown" : refusal("0")) << row.name;
    }
    EXPECT_EQ(checked, 35);
    EXPECT_EQ(Setter().get("random_seed"), "91648253");
}

TEST(OptionTable, listing_names_every_option_once_with_a_default_that_can_be_set)
{
    std::set<std::string> names;
    for (const auto& info : ConfigurationSetter::get_option_infos()) {
        EXPECT_TRUE(names.insert(info.name).second) << info.name;
        EXPECT_FALSE(info.help.empty());
        Setter s;
        s.set_option(info.name, info.default_text);
        EXPECT_EQ(s.get(info.name), info.default_text);
        if (info.name == "theory.fp.dpll.branching_random_frequency") {
            EXPECT_EQ(info.type, "float");
            EXPECT_EQ(info.default_text, "0.01");
            EXPECT_EQ(info.range, "0 to 1");
            EXPECT_EQ(info.group, "Theory options:");
            EXPECT_EQ(
                info.help,
                "\"dpll.branching_random_frequency\" option for the inner DPLL solver used by FP.");
        }
    }
    EXPECT_EQ(names.size(), get_option_rows().size());
    EXPECT_FALSE(names.contains("shallow_incrementality"));
}

TEST(OptionParser, texts_are_checked_by_type)
{
    EXPECT_EQ(set_error("verbosity", "3"),
              "nothing thrown"); // the range is the transfer's business
    EXPECT_EQ(set_error("verbosity", "-1"), "bad value for option: verbosity, value: -1");
    EXPECT_EQ(set_error("shallow_incrementality", "true"),
              "unknown option: shallow_incrementality, value: true");
    const char* const factor = "dpll.restart_geometric_factor";
    for (const char* good : {"1", ".5", "2.", "0001.500"}) {
        EXPECT_EQ(set_error(factor, good), "nothing thrown") << good;
    }
    const std::string huge(400, '9');
    for (const std::string& bad :
         {std::string("1e3"), std::string("+1"), std::string("-1"), std::string(""),
          std::string("."), std::string("1.2.3"), std::string(" 1"), huge}) {
        EXPECT_EQ(set_error(factor, bad),
                  "bad value for option: dpll.restart_geometric_factor, value: " + bad);
    }
    for (const char* bad : {"", "1.0", "0x1", "2147483648", "99999999999999999999"}) {
        EXPECT_NE(set_error("random_seed", bad), "nothing thrown") << bad;
    }
    EXPECT_EQ(set_error("random_seed", "2147483647"), "nothing thrown");
    for (const char* bad : {"", "1", "True", "true "}) {
        EXPECT_NE(set_error("interpolation", bad), "nothing thrown") << bad;
    }
    EXPECT_EQ(set_error("printer.defines_prefix", ""), "nothing thrown");
}

TEST(OptionParser, lower_priority_numbers_win_in_any_order)
{
    Setter s;
    s.set_option("verbosity", "1", 2);
    s.set_option("verbosity", "2", 3);
    EXPECT_EQ(s.get("verbosity"), "1");
    s.set_option("verbosity", "2", 2);
    EXPECT_EQ(s.get("verbosity"), "2");
    s.set_option("verbosity", "0", 0);
    s.load_text("verbosity = 1");
    EXPECT_EQ(s.get("verbosity"), "0");
    EXPECT_THROW(s.set_option("verbosity", "x", 9),
                 OptionParser::error); // checked even if it loses
    bool b = true;
    int i = 5;
    EXPECT_FALSE(s.get_options().get_bool_option("interpolation", &b)); // not set
    EXPECT_FALSE(s.get_options().get_bool_option("verbosity", &b));     // of another type
    EXPECT_FALSE(s.get_options().get_int_option("no.such", &i));
    EXPECT_TRUE(b);
    EXPECT_TRUE(s.get_options().get_int_option("verbosity", &i));
    EXPECT_EQ(i, 0);
}

TEST(ConfigurationText, entries_go_to_the_sections_of_the_last_header)
{
    const char* const text = "  # comment\n"
                             "printer.defines_prefix = base = 1 \r\n"
                             "\t[ a , b ]\n"
                             "verbosity=1\n"
                             "random_seed = 5\n"
                             "[a]\n"
                             "verbosity = 2\n"
                             "[default]\n"
                             "\n"
                             "dpll.restart_strategy = 3\n"
                             "debug.api_call_trace_filename";
    for (const auto& [active, verbosity, seed] :
         {std::tuple("", "0", "91648253"), std::tuple("a", "2", "5"), std::tuple("b", "1", "5"),
          std::tuple("c", "0", "91648253")}) {
        Setter s;
        s.load_text(text);
        s.set_active_config(active);
        EXPECT_EQ(s.get("verbosity"), verbosity) << active;
        EXPECT_EQ(s.get("random_seed"), seed) << active;
        EXPECT_EQ(s.get("printer.defines_prefix"), "base = 1");
        EXPECT_EQ(s.get("dpll.restart_strategy"), "3");
    }
}

TEST(ConfigurationText, format_errors_name_the_line_and_load_nothing)
{
    for (const char* bad : {"[", "[]", "[ ]", "[a", "[a,]", "[,a]", "[a,,b]", "[a] x"}) {
        Setter s;
        EXPECT_EQ(message<OptionParser::error>(
                      [&] { s.load_text(std::string("verbosity = 2\n  ") + bad + " \nx = y"); }),
                  std::string("bad format of configuration file: ") + bad + ", value: ");
        EXPECT_EQ(s.get("verbosity"), "0");
    }
    std::istringstream broken("verbosity = 1");
    broken.setstate(std::ios::badbit);
    EXPECT_THROW(Setter().load(broken), OptionParser::error);
}

TEST(ConfigurationText, wrong_entries_warn_together_and_the_others_are_transferred)
{
    Setter s;
    s.load_text("no.such = 1\nverbosity = 2\n[on]\ninterpolation = yes\nrandom_seed = 3");
    s.set_active_config("on");
    Configuration c;
    for (int again = 0; again < 2; ++again) {
        EXPECT_EQ(message<ConfigurationSetter::warning>([&] { s.update_config(&c); }),
                  "2 error(s) while parsing the configuration file:\n"
                  "unknown option: no.such, value: 1\n"
                  "bad value for option: interpolation, value: yes");
    }
    EXPECT_EQ(c.verbosity, 2);
    EXPECT_EQ(c.random_seed, 3);
}

TEST(ConfigurationText, built_in_text_changes_nothing)
{
    Setter s;
    s.load_default();
    s.set_active_config("QF_LRA");
    Configuration c;
    s.update_config(&c);
    for (const OptionRow& row : get_option_rows()) {
        EXPECT_EQ(row.get(c), row.get(Configuration())) << row.name;
    }
}

TEST(Transfer, effects_override_explicit_values_except_for_stored_lemmas)
{
    struct Case {
        const char* name;
        const char* value;
        bool proof, toplevel, tlemmas;
    };
    for (const Case& k : {Case{"interpolation", "true", true, false, false},
                          Case{"interpolation", "false", false, true, false},
                          Case{"bool_model_generation", "true", false, false, false},
                          Case{"model_generation", "true", false, true, false},
                          Case{"unsat_core_generation", "0", false, true, false},
                          Case{"unsat_core_generation", "1", true, false, false},
                          Case{"unsat_core_generation", "2", false, false, true},
                          Case{"unsat_core_generation", "3", false, false, false}}) {
        for (bool is_explicit : {false, true}) {
            Setter s;
            s.set_option(k.name, k.value);
            if (is_explicit) {
                s.set_option("proof_generation", "false");
                s.set_option("preprocessor.toplevel_propagation", "true");
                s.set_option("dpll.store_tlemmas", "false");
            }
            Configuration c;
            s.update_config(&c);
            EXPECT_EQ(c.proof_generation, k.proof) << k.name << k.value;
            EXPECT_EQ(c.preprocessor.toplevel_propagation, k.toplevel) << k.name << k.value;
            EXPECT_EQ(c.dpll.store_tlemmas, k.tlemmas && !is_explicit) << k.name << k.value;
        }
    }
}

TEST(Transfer, nothing_of_an_earlier_transfer_stays)
{
    Setter s;
    Configuration c;
    s.set_option("interpolation", "true");
    s.update_config(&c);
    s.set_option("interpolation", "false");
    s.update_config(&c);
    EXPECT_FALSE(c.proof_generation);
    EXPECT_TRUE(c.preprocessor.toplevel_propagation);
}

TEST(Transfer, a_value_out_of_range_leaves_the_target_alone)
{
    Setter s;
    Configuration c;
    c.verbosity = 1;
    s.set_option("debug.api_call_trace", "1");
    s.set_option("verbosity", "3");
    EXPECT_THROW(s.update_config(&c), OptionParser::error);
    EXPECT_EQ(c.debug.api_call_trace, 0);
    EXPECT_EQ(c.verbosity, 1);
    s.set_option("verbosity", "2"); // the setter is still usable
    s.update_config(&c);
    EXPECT_EQ(c.verbosity, 2);
}

TEST(Dump, a_loaded_dump_gives_the_same_configuration)
{
    Setter s;
    for (const OptionRow& row : get_option_rows()) {
        if (row.is_dumped) {
            s.set_option(row.name, other_value(row));
        }
    }
    s.set_option("dpll.restart_geometric_factor", "0.0000001");
    s.set_option("dpll.branching_random_frequency", "0.1234567890123456789");
    Configuration c;
    s.update_config(&c);
    std::ostringstream out;
    s.dump(&c, out, "mine");
    EXPECT_EQ(out.str().rfind("[mine]\nverbosity = 1\n", 0), 0u) << out.str();
    EXPECT_NE(out.str().find("\nmodel_generation = true\n"), std::string::npos);
    Setter t;
    t.load_text(out.str());
    t.set_active_config("mine");
    Configuration d;
    t.update_config(&d);
    for (const OptionRow& row : get_option_rows()) {
        EXPECT_EQ(row.get(c), row.get(d)) << row.name;
    }
}

TEST(Dump, printers_see_each_option_with_its_type_except_the_three_that_are_left_out)
{
    struct Printer : ConfigurationSetter::ConfigEntryPrinter {
        void operator()(std::ostream&, const std::string& n, bool) override { see(n, "bool"); }
        void operator()(std::ostream&, const std::string& n, int) override { see(n, "int"); }
        void operator()(std::ostream&, const std::string& n, double) override { see(n, "float"); }
        void operator()(std::ostream&, const std::string& n, const std::string&) override
        {
            see(n, "string");
        }
        void see(const std::string& name, const std::string& type) { seen.push_back({name, type}); }
        std::vector<std::pair<std::string, std::string>> seen;
    } printer;
    std::ostringstream out;
    const Configuration c;
    Setter().dump(&c, out, printer);
    std::vector<std::pair<std::string, std::string>> expected;
    for (const auto& info : ConfigurationSetter::get_option_infos()) {
        if (info.name != "allow_bool_function_args" && info.name != "theory.na.div_by_zero_mode" &&
            info.name != "theory.la.interpolation_laz_split_mixed_eq") {
            expected.push_back({info.name, info.type});
        }
    }
    EXPECT_EQ(printer.seen, expected);
}

TEST(Configuration, copies_keep_the_parents_of_the_target)
{
    Configuration a;
    Configuration b;
    a.dpll.restart_initial = 7;
    a.dpll.preprocessor.mode = 2;
    a.theory.fp.bv.lazydpll.restart_initial = 8;
    a.debug.log_sections = {"ENV"};
    a.copy_to(&b);
    EXPECT_EQ(b.dpll.restart_initial, 7);
    EXPECT_EQ(b.theory.fp.bv.lazydpll.restart_initial, 8);
    EXPECT_EQ(b.debug.log_sections, a.debug.log_sections);
    EXPECT_EQ(b.dpll.parent, &b);
    EXPECT_EQ(b.dpll.preprocessor.parent, &b.dpll);
    EXPECT_EQ(b.theory.fp.bv.parent, &b.theory);
    EXPECT_EQ(b.theory.fp.bv.lazydpll.parent, &b);
    b.dpll.copy_to(&b.theory.bv.lazydpll);
    EXPECT_EQ(b.theory.bv.lazydpll.preprocessor.mode, 2);
    EXPECT_EQ(b.theory.bv.lazydpll.preprocessor.parent, &b.theory.bv.lazydpll);
    static_assert(!std::is_copy_constructible_v<Configuration>);
    static_assert(!std::is_copy_constructible_v<Configuration::Dpll>);
}

} // namespace tarq
