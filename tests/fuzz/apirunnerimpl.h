// The runner of cases: what it knows of the environments, and how its work is divided. Sources:
// apirunner.cpp (names, expectations, making and changing things), apiresults.cpp (checks and what is
// read after them), apirewrites.cpp (terms from terms).
#pragma once

#include "api/frame.h"
#include "apirunner.h"
#include "apiterms.h"
#include "terms/termeval.h"

#include <chrono>
#include <map>
#include <memory>
#include <stdexcept>

namespace tarq::fuzz {

/// What a check finds, by way of an exception.
struct Fault : std::runtime_error {
    using std::runtime_error::runtime_error;
};
/// A call that this run leaves out.
struct LeftOut {};

using Clock = std::chrono::steady_clock;
constexpr auto patience = std::chrono::milliseconds(1500); // for one call, until it is stopped

/// State of a termination test.
struct Stop {
    long left = -1; // polls until it asks to stop, -1 for never
    bool fired = false, late = false;
    unsigned polls = 0;
    Clock::time_point deadline{};

    static int ask(void* data)
    {
        Stop& s = *static_cast<Stop*>(data);
        if (s.left >= 0 && s.left-- == 0) {
            s.fired = true;
        }
        if (++s.polls % 16 == 0 && Clock::now() > s.deadline) {
            s.late = true;
        }
        return s.fired || s.late;
    }
    void begin_call()
    {
        fired = late = false;
        polls = 0;
        deadline = Clock::now() + patience;
    }
};

struct Formula {
    tarq_term term;
    enum Kind { asserted, excluded, perhaps } kind; // the latter two came from enumerations
};

struct Env {
    tarq_env e{nullptr};
    size_t family = 0;
    bool owner = false;
    std::map<std::string, std::string> options;
    std::vector<std::vector<Formula>> stack{1};
    Stop stop;
    // The last check: its answer, what it was about, and whether nothing has changed since.
    tarq_result last = TARQ_UNKNOWN;
    bool fresh = false;
    std::vector<tarq_term> checked, failed;
    tarq_model held{nullptr}; // an older model and the formulas that it satisfies
    std::vector<tarq_term> held_formulas;

    bool on(const std::string& option) const
    {
        const auto it = options.find(option);
        return it != options.end() && it->second != "false" && it->second != "0";
    }
    bool off(const std::string& option) const { return options.contains(option) && !on(option); }
    std::vector<tarq_term> formulas(Formula::Kind most) const
    {
        std::vector<tarq_term> out;
        for (const auto& level : stack) {
            for (const Formula& f : level) {
                if (f.kind <= most) {
                    out.push_back(f.term);
                }
            }
        }
        return out;
    }
    bool enumerated() const
    {
        return formulas(Formula::asserted).size() != formulas(Formula::perhaps).size();
    }
    void changed() { fresh = false; }
    void forget_check()
    {
        last = TARQ_UNKNOWN;
        fresh = true;
        checked.clear();
        failed.clear();
    }
    void drop_held()
    {
        tarq_destroy_model(held);
        held = tarq_model{nullptr};
    }
};

struct Term {
    size_t family;
    tarq_term t;
    Sort sort;
};
struct Function {
    size_t family;
    tarq_decl d;
    std::vector<Sort> types; // the result comes last
};

struct FreeMemory {
    void operator()(void* p) const { tarq_free(p); }
};
template <class T>
using Owned = std::unique_ptr<T, FreeMemory>;

inline bool same(tarq_term a, tarq_term b)
{
    return a.repr == b.repr;
}
/// The start of the term's text.
std::string text_of(tarq_term t);
/// Whether a part of the term, with this kind of symbol, is wanted.
bool has_part(tarq_env e, tarq_term t, bool (*wanted)(tarq_env, tarq_term, tarq_symbol_tag));
/// Whether a term has a part that no theory here decides.
bool is_beyond(tarq_env e, tarq_term t);
bool any_beyond(tarq_env e, const std::vector<tarq_term>& terms);

class ApiRunner {
public:
    ApiRunner(const ApiCase& c, const ApiJudge& judge, ApiReport* report)
        : case_(c), judge_(judge), report_(report)
    {
    }
    ~ApiRunner()
    {
        for (auto& [number, x] : envs_) {
            x.drop_held();
        }
        for (auto it = envs_.rbegin(); it != envs_.rend(); ++it) {
            tarq_destroy_env(it->second.e); // owners have the smaller numbers
        }
    }
    std::string run();

private:
    const Term& term(const Env& x, const std::string& name);
    tarq_term literal(const Env& x, const std::string& name);
    static const std::string& arg(const ApiCall& c, size_t i);
    static size_t index(const ApiCall& c, size_t i) { return std::stoull(arg(c, i)); }
    bool bool_args(const Env& x) const { return family_bool_args_.at(x.family); }
    /// To be called before a call that has to fail: its message must not be this one.
    void provoke(Env& x);
    /// Judges whether a call worked, with the message it left. Returns whether it did.
    bool expect(Env& x, Legal legal, bool worked, const std::string& what);
    void keep(Env& x, const ApiCall& c, Legal legal, const Sort& predicted, tarq_term t);
    void make_call(const ApiCall& c);
    /// The assertions are those that were made, whatever failed or was stopped.
    void check_assertions(Env& x);
    int current_number(const Env& x) const;
    static tarq_env new_env(const std::map<std::string, std::string>& options, bool as_text,
                            tarq_env sibling);
    void make_env(const ApiCall& c);
    void construct(Env& x, const ApiCall& c, const Constructor& k);
    bool make_leaf(Env& x, const ApiCall& c);
    void declare(Env& x, const ApiCall& c);
    void apply(Env& x, const ApiCall& c);
    bool change(Env& x, const ApiCall& c);
    void collect(Env& x, const ApiCall& c);
    void destroy(Env& x);
    bool read_result(Env& x, const ApiCall& c);
    void solve_with_assumptions(Env& x, const ApiCall& c);
    void check_answer(Env& x, tarq_result r, const std::vector<tarq_term>& assumptions,
                      Legal legal);
    /// Evaluates formulas in a model, by itself and by the evaluator of the tests.
    void evaluate(Env& x, tarq_env e, tarq_model m, const std::vector<tarq_term>& formulas);
    static test::Interpretation interpretation(const Env& x, tarq_env e, tarq_model m);
    /// Decides formulas of an environment in a new one with the other options of this case, and
    /// evaluates the model.
    tarq_result recheck(Env& x, const std::vector<tarq_term>& formulas);
    void expect_unsat(Env& x, const std::vector<tarq_term>& formulas, const std::string& what);
    void ask_judge(Env& x, const std::vector<tarq_term>& formulas, const std::string& what);
    Legal model_is_legal(const Env& x) const;
    void read_model(Env& x, const ApiCall& c);
    /// An extractor that chooses all clauses, fails, or names one that does not exist.
    static int choose_clauses(int*, int* core, size_t* size, void* data);
    void read_core(Env& x, const ApiCall& c);
    struct Enumeration {
        tarq_env e{nullptr};
        size_t limit = 0;
        std::vector<tarq_term> models; // conjunctions
    };
    void enumerate(Env& x, const ApiCall& c);
    void diversify(Env& x, const ApiCall& c);
    bool rewrite(Env& x, const ApiCall& c);
    void same_meaning(Env& x, tarq_term a, tarq_term b, const std::string& what);
    void same_answer(Env& x, tarq_term a, tarq_term b);
    void copy(Env& x, const ApiCall& c);
    /// What is printed reads back as the same.
    void print(Env& x, const Term& t);
    void read_back(Env& x, const Term& t, tarq_term read, const char* text);
    void query(Env& x, const Term& t);
    void use_circuit(Env& x, const Term& t);

    const ApiCase& case_;
    const ApiJudge& judge_;
    ApiReport* report_;
    std::map<int, Env> envs_;
    std::vector<bool> family_bool_args_;
    std::map<std::string, Term> terms_;
    std::map<std::string, Function> functions_;
    std::string older_message_;
};

} // namespace tarq::fuzz
