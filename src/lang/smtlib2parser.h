// The library's reader of SMT-LIB 2 text: declarations, definitions and asserted formulas, no
// solving. Commands that would ask a solver something are skipped, those that would change a stack
// or an objective are errors.
#pragma once

#include "base/hashmap.h"
#include "lang/smtlib2baseparser.h"

#include <istream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tarq {

class SmtLib2Driver;

/// One reader reads one text. Declared symbols and sorts stay in the term manager, definitions and
/// names die with the reader. Errors found by the reader itself end in " (line: N)".
class SmtLib2Parser : public SmtLib2BaseParser, public ParserInterface {
public:
    struct NamedTerm {
        std::string name;
        const Term_* term = nullptr;
    };
    using Annotations = std::vector<std::pair<std::string, std::string>>;

    /// record_named  whether `parse_named` shall find the terms with a `:named` attribute
    SmtLib2Parser(TermManager* tm, bool record_named);

    /// The single asserted term, `true` without any, else the conjunction in order of the text.
    const Term_* parse(std::istream& in) override;
    /// The asserted terms in order of the text; valid until the next call.
    /// throws  ParserInterface::error and TermManager::error. What was declared up to there stays.
    const std::vector<const Term_*>& parse_list(std::istream& in);
    /// Reads like `parse_list`, and gives the named terms in order of appearance.
    const std::vector<NamedTerm>& parse_named(std::istream& in);

    /// Clears `out` and fills it with all annotated terms, by ascending id.
    void get_annotated_terms(std::vector<const Term_*>& out) const;
    /// The attributes of the term in order of appearance, keys with their colon; null if it was
    /// never annotated.
    const Annotations* get_annotations(const Term_* term) const;

    const std::string& get_logic() const override { return logic_; }
    /// Always 0.
    int get_status() const override { return 0; }

    void set_logic(std::string_view name) override;
    void push(int n) override;
    void pop(int n) override;
    void assert_formula(const Term_* term) override;
    void check_sat() override {}
    void get_assertions() override {}
    void get_unsat_core() override {}
    void get_proof() override {}
    void set_option(std::string_view, std::string_view) override {}
    void set_option(std::string_view, int) override {}
    void set_option(std::string_view, double) override {}
    void get_info(std::string_view) override {}
    void set_info(std::string_view, std::string_view) override {}
    void get_assignment() override {}
    void get_model() override {}
    void get_value(const std::vector<std::string>&) override {}
    void exit() override { exit_seen_ = true; }
    void get_interpolant(const std::vector<std::string>&) override {}
    void check_allsat(TermArgs) override {}
    void check_sat_assumptions(TermArgs) override {}
    void get_unsat_assumptions() override {}
    void reset_assertions() override {}
    void generic_command(std::string_view name) override;
    void generic_command(std::string_view name, const std::vector<std::string>& args) override;
    void handle_error(const std::string& message) override;
    void internal_set_parsed_terms(TermArgs terms) override;
    void push_minimize(const Term_* term, const OptAttributes& attributes) override;
    void push_maximize(const Term_* term, const OptAttributes& attributes) override;
    void push_minmax(TermArgs terms, const OptAttributes& attributes) override;
    void push_maxmin(TermArgs terms, const OptAttributes& attributes) override;
    void assert_soft_formula(const Term_* term, const OptAttributes& attributes) override;
    void get_objectives() override;
    void load_objective_model(std::string_view which) override;

protected:
    /// Appends the line.
    std::string locate(const std::string& message) const override;
    void name_term(std::string_view name, const Term_* term) override;
    void record_annotations(const Term_* term, const std::vector<Attribute>& attributes) override;

private:
    [[noreturn]] void unsupported(std::string_view name) const;

    bool record_named_;
    std::vector<const Term_*> assertions_;
    std::vector<NamedTerm> named_terms_;
    hsh::HashMap<const Term_*, Annotations> annotations_;
    std::string logic_;
    bool logic_unset_ = true;
    bool exit_seen_ = false;
    const SmtLib2Driver* driver_ = nullptr; ///< of the parse under way, null outside of one
};

} // namespace tarq
