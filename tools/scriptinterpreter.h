// The commands of a script, run against an environment. Sources by theme: scriptinterpreter.cpp
// (names, levels, assertions), scriptinterpreter_check.cpp (checks and what follows from them),
// scriptinterpreter_results.cpp (unsat cores, enumerations), scriptinterpreter_model.cpp (models and
// values), scriptinterpreter_ask.cpp (options, information, echo, what is not supported),
// scriptinterpreter_collect.cpp (collection of unused terms).
#pragma once

#include "env/environment.h"
#include "lang/smtlib2baseparser.h"
#include "lang/smtlib2driver.h"
#include "lang/smtlibtermprinter.h"
#include "results/modelstore.h"
#include "scriptoptions.h"
#include "stop.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tarq::tool {

/// Runs commands that the driver parses and answers them on the regular channel.
///
/// Life cycle: one interpreter per environment. A command that needs another environment, (reset)
/// or an option of the library, only says so in `wants()`; the caller then makes both anew. Around
/// each command the caller calls `begin_command` and then `end_command` or, when an exception
/// passed, `undo_command`, which takes back the names that the command had made.
///
/// Borrows everything it is given.
///
/// Invariants: (1) `levels_` has as many entries as the environment has backtrack points, besides
/// the one of a check under named assumptions. (2) `names_` are the names that a pop or a reset of
/// the assertions may take back, in the order of their making.
class ScriptInterpreter : public SmtLib2BaseParser {
public:
    enum class Wish { nothing, new_environment, reset, exit };

    /// env     fresh, made of the library options in `options`
    /// driver  read for the text of the running command
    ScriptInterpreter(Environment* env, ScriptOptions* options, Channels* channels,
                      const SmtLib2Driver* driver, const TerminationTest* test);

    void begin_command();
    /// Prints `success` when it is due.
    void end_command();
    void undo_command();
    Wish wants() const { return wish_; }

    // Names
    void declare_sort(std::string_view name, unsigned arity) override;
    void define_sort(std::string_view name, SortArgs params, const DataType* body) override;
    void declare_function(std::string_view name, const DataType* sort) override;
    void define_function(std::string_view name, const DataType* sort, const Term_* term) override;
    void define_function(std::string_view name, TermArgs params, const DataType* sort,
                         const Term_* term) override;

    // Levels and assertions
    void push(int n) override;
    void pop(int n) override;
    void push_default() override { push(1); }
    void pop_default() override { pop(1); }
    void assert_formula(const Term_* term) override;
    void get_assertions() override;
    void reset_assertions() override;
    void reset() override;
    void exit() override;

    // Checks
    void check_sat() override;
    void check_sat_assumptions(TermArgs terms) override;
    void get_unsat_assumptions() override;
    void get_unsat_core() override;
    void check_allsat(TermArgs terms) override;

    // Models
    void get_assignment() override;
    void get_model() override;
    void get_value(const std::vector<std::string>& texts) override;

    // Options and information
    void set_logic(std::string_view name) override;
    void set_option(std::string_view key, std::string_view value) override;
    void set_option(std::string_view key, int value) override;
    void set_option(std::string_view key, double value) override;
    void get_option(std::string_view key) override;
    void get_info(std::string_view key) override;
    void set_info(std::string_view key, std::string_view value) override;
    void echo(std::string_view text) override;

    // What is not there
    void get_proof() override { unsupported(); }
    void get_interpolant(const std::vector<std::string>&) override { unsupported(); }
    void push_minimize(const Term_*, const OptAttributes&) override { unsupported(); }
    void push_maximize(const Term_*, const OptAttributes&) override { unsupported(); }
    void push_minmax(TermArgs, const OptAttributes&) override { unsupported(); }
    void push_maxmin(TermArgs, const OptAttributes&) override { unsupported(); }
    void assert_soft_formula(const Term_*, const OptAttributes&) override { unsupported(); }
    void get_objectives() override { unsupported(); }
    void load_objective_model(std::string_view) override { unsupported(); }
    void generic_command(std::string_view name) override;
    void generic_command(std::string_view name, const std::vector<std::string>& args) override;
    void internal_set_parsed_terms(TermArgs terms) override;
    void handle_error(const std::string& message) override;

    // Term building, with a look at the stop flag: a single command may hold millions of terms.
    const Term_* make_term(std::string_view name, const DataType* sort) override;
    const Term_* make_term(std::string_view name, const DataType* sort,
                           const std::vector<QNumber>& indices) override;
    const Term_* make_term(std::string_view name, const DataType* sort, TermArgs args) override;
    const Term_* make_term(std::string_view name, const DataType* sort,
                           const std::vector<QNumber>& indices, TermArgs args) override;

protected:
    void name_term(std::string_view name, const Term_* term) override;

private:
    enum class NameKind { symbol, definition, sort };
    struct Name {
        NameKind kind;
        std::string text;
    };
    struct Level {
        size_t names;
        size_t assertions;
        size_t named_assertions;
    };
    /// What the last check came to, as far as later commands ask for it.
    enum class CheckState { none, sat, unsat, unknown };
    /// An assumption of the last check: the literal that stood for it and its source text.
    struct Assumption {
        TheoryLit literal; // tlit_Undef for the term true and the term false
        std::string text;
        bool is_false; // it is the term false
    };

    void respond(std::string_view text);
    void unsupported();
    void record_name(NameKind kind, std::string_view name);
    void remove_names(size_t down_to);
    void want_user_name(std::string_view name);
    void want_free_name(std::string_view name);
    void set_option(std::string_view key, ValueKind kind, std::string_view value);
    void forget_check();
    void want_model(const char* command, bool enabled, const char* option);
    SmtLib2TermPrinter printer();
    std::string model_text();
    std::string model_as_formula();
    std::string function_body(const Symbol* s, const std::vector<ModelStore::Entry>& points,
                              ModelStore* model, SmtLib2TermPrinter& print);
    TermVector parse_terms(const std::vector<std::string>& texts);
    void answer(int result);
    void answer_unknown(std::string reason);
    template <class Check>
    void run_check(Check check);
    const Term_* make_hidden_constant(const char* name);
    TheoryLit literal_of_assumption(const Term_* t);
    bool is_contradictory() const;
    void note_named_assertion(const Term_* term);
    void collect_terms();
    void note_base();
    uint64_t work_since_collection();
    void print_statistics_info();

    Environment* env_;
    ScriptOptions* options_;
    Channels* channels_;
    const SmtLib2Driver* driver_;
    const TerminationTest* test_;

    std::vector<Name> names_;
    std::vector<const Symbol*> declared_;                     // that have their names now
    std::vector<std::pair<std::string, const Term_*>> named_; // by annotations, the same
    TermVector* parsed_terms_ = nullptr;                      // where parse_terms wants them
    std::vector<Level> levels_;
    std::vector<std::string> assertion_texts_;
    std::vector<std::pair<std::string, const Term_*>> named_assertions_; // by the name of the whole
    bool is_started_ = false; // something was declared, asserted or pushed

    size_t names_at_begin_ = 0; // of the running command
    bool responded_ = false;    // the running command has answered
    Wish wish_ = Wish::nothing;

    CheckState check_state_ = CheckState::none;
    std::string reason_unknown_;
    std::vector<Assumption> assumptions_; // of the last check
    bool has_assumption_level_ =
        false; // formulas that name assumptions stand on a level of their own

    // What there was when all that the problem needs had been built anew: after the first check
    // since the last collection.
    bool has_base_ = false;
    size_t base_terms_ = 0;
    uint64_t base_work_ = 0; // of that check
    uint64_t work_at_collection_ = 0;
};

} // namespace tarq::tool
