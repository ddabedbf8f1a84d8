#include "apirunner.h"

#include "api/frame.h"
#include "apimisuse.h"
#include "apiterms.h"
#include "terms/termeval.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>
#include <stdexcept>

#include <unistd.h>

namespace tarq::fuzz {

namespace {

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
    void changed()
    {
        fresh = false;
    }
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

bool same(tarq_term a, tarq_term b)
{
    return a.repr == b.repr;
}

std::string text_of(tarq_term t)
{
    const Owned<char> text(tarq_term_repr(t));
    return text ? std::string(text.get()).substr(0, 800) : "no term";
}

/// Whether a term has a part that no theory here decides.
bool is_beyond(tarq_env e, tarq_term t)
{
    bool found = false;
    tarq_visit_term(
        e, t,
        [](tarq_env env, tarq_term s, int, void* out) {
            const tarq_symbol_tag tag = tarq_decl_get_tag(env, tarq_term_get_decl(s));
            const bool product = tag == TARQ_TAG_TIMES || tag == TARQ_TAG_DIVIDE;
            if ((product && !tarq_term_is_number(env, tarq_term_get_arg(s, 0)) &&
                 !tarq_term_is_number(env, tarq_term_get_arg(s, 1))) ||
                tag == TARQ_TAG_DIVIDE || tag == TARQ_TAG_POW || tag == TARQ_TAG_EXP ||
                tag == TARQ_TAG_SIN) {
                *static_cast<bool*>(out) = true;
                return TARQ_VISIT_ABORT;
            }
            return TARQ_VISIT_PROCESS;
        },
        &found);
    return found;
}

class Runner {
public:
    Runner(const ApiCase& c, const ApiJudge& judge, ApiReport* report)
        : case_(c), judge_(judge), report_(report)
    {
    }
    ~Runner()
    {
        for (auto& [number, x] : envs_) {
            x.drop_held();
        }
        for (auto it = envs_.rbegin(); it != envs_.rend(); ++it) {
            tarq_destroy_env(it->second.e); // owners have the smaller numbers
        }
    }

    std::string run()
    {
        size_t at = 0;
        for (const ApiCall& c : case_.calls) {
            ++at;
            try {
                make_call(c);
            } catch (const LeftOut&) {
            } catch (const std::exception& e) {
                return "call " + std::to_string(at) + " (" + c.verb + "): " + e.what();
            }
            ++report_->calls;
        }
        return "";
    }

private:
    // Names

    const Term& term(const Env& x, const std::string& name)
    {
        const auto it = terms_.find(name[0] == '-' ? name.substr(1) : name);
        if (it == terms_.end() || it->second.family != x.family) {
            throw LeftOut();
        }
        return it->second;
    }
    tarq_term literal(const Env& x, const std::string& name)
    {
        const tarq_term t = term(x, name).t;
        return name[0] != '-' || sort_of(x.e, tarq_term_get_type(t)) != "B"
                   ? t
                   : tarq_make_not(x.e, t);
    }
    static const std::string& arg(const ApiCall& c, size_t i)
    {
        if (i >= c.args.size()) {
            throw LeftOut();
        }
        return c.args[i];
    }
    static size_t index(const ApiCall& c, size_t i)
    {
        return std::stoull(arg(c, i));
    }
    bool bool_args(const Env& x) const { return family_bool_args_.at(x.family); }

    // Expectations

    /// To be called before a call that has to fail: its message must not be this one.
    void provoke(Env& x)
    {
        tarq_make_number(x.e, "no number at all");
        older_message_ = tarq_last_error_message(x.e);
    }

    /// Judges whether a call worked, with the message it left. Returns whether it did.
    bool expect(Env& x, Legal legal, bool worked, const std::string& what)
    {
        if (worked) {
            if (legal == Legal::no) {
                throw Fault("misuse was not refused: " + what);
            }
            return true;
        }
        const std::string message = tarq_last_error_message(x.e);
        if (message == "user-requested termination" && (x.stop.fired || x.stop.late)) {
            ++(x.stop.fired ? report_->stopped : report_->given_up);
            x.stop.fired = x.stop.late = false;
            return false;
        }
        if (legal == Legal::yes) {
            throw Fault(what + " failed: " + message);
        }
        if (message.empty() || (legal == Legal::no && message == older_message_)) {
            throw Fault(what + " failed without a message");
        }
        ++report_->refused;
        return false;
    }

    void keep(Env& x, const ApiCall& c, Legal legal, const Sort& predicted, tarq_term t)
    {
        if (!expect(x, legal, !TARQ_ERROR_TERM(t), "making a term")) {
            return;
        }
        const Sort sort = sort_of(x.e, tarq_term_get_type(t));
        if (legal == Legal::yes && !fits(sort, predicted)) {
            throw Fault("a term of type " + sort + " instead of " + predicted + ": " + text_of(t));
        }
        if (!sort.empty() && width_of(sort) <= 100) {
            terms_[c.result] = {x.family, t, sort};
        }
    }

    // The calls

    void make_call(const ApiCall& c)
    {
        if (c.verb == "env") {
            return make_env(c);
        }
        const auto at = envs_.find(c.env);
        if (at == envs_.end()) {
            throw LeftOut();
        }
        Env& x = at->second;
        x.stop.begin_call();
        if (const Constructor* k = find_constructor(c.verb)) {
            construct(x, c, *k);
        } else if (!make_leaf(x, c) && !change(x, c) && !read_result(x, c) && !rewrite(x, c)) {
            throw Fault("unknown call");
        }
        check_assertions(x);
    }

    /// The assertions are those that were made, whatever failed or was stopped.
    void check_assertions(Env& x)
    {
        if (!envs_.count(current_number(x))) {
            return;
        }
        size_t n = 0;
        const Owned<tarq_term> have(tarq_get_asserted_formulas(x.e, &n));
        const std::vector<tarq_term> want = x.formulas(Formula::asserted);
        if (!have || n != want.size() || !std::equal(want.begin(), want.end(), have.get(), same)) {
            throw Fault("the asserted formulas are not those that were asserted");
        }
        if (tarq_num_backtrack_points(x.e) + 1 != x.stack.size()) {
            throw Fault("wrong number of backtrack points");
        }
    }

    int current_number(const Env& x) const
    {
        for (const auto& [number, env] : envs_) {
            if (&env == &x) {
                return number;
            }
        }
        return -1;
    }

    static tarq_env new_env(const std::map<std::string, std::string>& options, bool as_text,
                            tarq_env sibling)
    {
        std::string text;
        for (const auto& [name, value] : options) {
            text += name;
            text += " = " + value + "\n";
        }
        const tarq_config config = as_text ? tarq_parse_config(text.c_str()) : tarq_create_config();
        for (const auto& [name, value] : options) {
            if (!as_text && tarq_set_option(config, name.c_str(), value.c_str()) != 0) {
                tarq_destroy_config(config);
                throw Fault("option refused: " + name + "=" + value);
            }
        }
        const tarq_env e =
            sibling.repr ? tarq_create_shared_env(config, sibling) : tarq_create_env(config);
        tarq_destroy_config(config);
        if (TARQ_ERROR_ENV(e)) {
            throw Fault("no environment for options " + text);
        }
        return e;
    }

    void make_env(const ApiCall& c)
    {
        if (envs_.count(c.env)) {
            throw LeftOut();
        }
        tarq_env sibling{nullptr};
        size_t family = family_bool_args_.size();
        if (arg(c, 1) != "own") {
            const auto of = envs_.find(std::stoi(c.args[1]));
            if (of == envs_.end() || of->first > c.env) {
                throw LeftOut();
            }
            sibling = of->second.e;
            family = of->second.family;
        }
        std::map<std::string, std::string> options;
        for (size_t i = 2; i < c.args.size(); ++i) {
            const size_t at = c.args[i].find('=');
            options[c.args[i].substr(0, at)] = c.args[i].substr(at + 1);
        }
        const tarq_env e = new_env(options, arg(c, 0) == "text", sibling);
        Env& x = envs_[c.env];
        x.e = e;
        x.family = family;
        x.options = options;
        x.owner = !sibling.repr;
        x.fresh = true;
        if (x.owner) {
            family_bool_args_.push_back(x.on("allow_bool_function_args"));
        }
        tarq_set_termination_test(e, Stop::ask, &x.stop);
    }

    void construct(Env& x, const ApiCall& c, const Constructor& k)
    {
        std::vector<size_t> indices;
        std::vector<Sort> sorts;
        std::vector<tarq_term> args;
        const size_t want =
            static_cast<size_t>(k.num_indices) + (std::strchr(k.signature, ':') - k.signature);
        for (size_t i = 0; i < want; ++i) {
            if (i < static_cast<size_t>(k.num_indices)) {
                indices.push_back(index(c, i));
            } else {
                const Term& t = term(x, arg(c, i));
                sorts.push_back(t.sort);
                args.push_back(t.t);
            }
        }
        Sort sort;
        const Legal legal = check_types(k, sorts, indices, bool_args(x), &sort);
        provoke(x);
        keep(x, c, legal, sort, k.make(x.e, args.data(), indices.data()));
    }

    bool make_leaf(Env& x, const ApiCall& c)
    {
        if (c.verb == "const") {
            const Sort sort = arg(c, 1);
            const bool odd = sort[0] == 'A' && sort.find('B') != Sort::npos && !bool_args(x);
            provoke(x);
            const tarq_type type = make_type(x.e, sort);
            if (expect(x, odd ? Legal::no : Legal::yes, !TARQ_ERROR_TYPE(type), "making a type")) {
                const tarq_decl d = tarq_declare_function(x.e, arg(c, 0).c_str(), type);
                keep(x, c, Legal::yes, sort, tarq_make_constant(x.e, d));
            }
        } else if (c.verb == "number") {
            keep(x, c, Legal::yes, "Q", tarq_make_number(x.e, arg(c, 0).c_str()));
        } else if (c.verb == "bv_number") {
            const size_t width = index(c, 1);
            keep(x, c, Legal::yes, "V" + std::to_string(width) + ".",
                 tarq_make_bv_number(x.e, arg(c, 0).c_str(), width, 10));
        } else if (c.verb == "fp_bits") {
            const size_t exp = index(c, 1), mant = index(c, 2);
            keep(x, c, Legal::yes, "F" + arg(c, 1) + "," + arg(c, 2) + ".",
                 tarq_make_fp_bits_number(x.e, arg(c, 0).c_str(), exp, mant));
        } else if (c.verb == "fun") {
            declare(x, c);
        } else if (c.verb == "uf") {
            apply(x, c);
        } else {
            return false;
        }
        return true;
    }

    void declare(Env& x, const ApiCall& c)
    {
        std::vector<tarq_type> types;
        Legal legal = Legal::yes;
        for (const std::string& sort : c.args) {
            types.push_back(make_type(x.e, sort));
            if (TARQ_ERROR_TYPE(types.back())) {
                throw LeftOut();
            }
            legal = sort == "B" && types.size() < c.args.size() && !bool_args(x) ? Legal::no : legal;
        }
        if (types.size() < 2) {
            throw LeftOut();
        }
        provoke(x);
        const tarq_type type =
            tarq_get_function_type(x.e, types.data(), types.size() - 1, types.back());
        if (expect(x, legal, !TARQ_ERROR_TYPE(type), "making a function type")) {
            const tarq_decl d = tarq_declare_function(x.e, c.result.c_str(), type);
            expect(x, Legal::yes, !TARQ_ERROR_DECL(d), "declaring a function");
            functions_[c.result] = {x.family, d, c.args};
        }
    }

    void apply(Env& x, const ApiCall& c)
    {
        const auto f = functions_.find(arg(c, 0));
        if (f == functions_.end() || f->second.family != x.family ||
            f->second.types.size() != c.args.size()) {
            throw LeftOut();
        }
        std::vector<tarq_term> args;
        Legal legal = Legal::yes;
        for (size_t i = 1; i < c.args.size(); ++i) {
            const Term& t = term(x, c.args[i]);
            args.push_back(t.t);
            legal = fits(t.sort, f->second.types[i - 1]) ? legal : Legal::no;
        }
        provoke(x);
        keep(x, c, legal, f->second.types.back(), tarq_make_uf(x.e, f->second.d, args.data()));
    }

    // What changes the state of an environment

    bool change(Env& x, const ApiCall& c)
    {
        if (c.verb == "assert") {
            const Term& t = term(x, arg(c, 0));
            const Legal legal = t.sort == "B" ? Legal::yes : Legal::no;
            provoke(x);
            if (expect(x, legal, tarq_assert_formula(x.e, t.t) == 0, "asserting")) {
                x.stack.back().push_back({t.t, Formula::asserted});
                x.changed();
            }
        } else if (c.verb == "push") {
            if (expect(x, Legal::yes, tarq_push_backtrack_point(x.e) == 0, "push")) {
                x.stack.emplace_back();
                x.changed();
            }
        } else if (c.verb == "pop") {
            const Legal legal = x.stack.size() > 1 ? Legal::yes : Legal::no;
            provoke(x);
            if (expect(x, legal, tarq_pop_backtrack_point(x.e) == 0, "pop")) {
                x.stack.pop_back();
                x.changed();
            }
        } else if (c.verb == "reset") {
            expect(x, Legal::yes, tarq_reset_env(x.e) == 0, "reset");
            x.stack.assign(1, {});
            x.forget_check();
        } else if (c.verb == "gc") {
            collect(x, c);
        } else if (c.verb == "destroy") {
            destroy(x);
        } else if (c.verb == "stop") {
            x.stop.left = static_cast<long>(index(c, 0));
        } else if (c.verb == "prefer") {
            const Term& t = term(x, arg(c, 0));
            const bool is_constant = tarq_term_is_boolean_constant(x.e, t.t) != 0;
            provoke(x);
            const int r = tarq_add_preferred_for_branching(
                x.e, t.t, static_cast<tarq_truth_value>(std::stoi(arg(c, 1))));
            expect(x, is_constant ? Legal::yes : Legal::no, r == 0, "preferring");
            x.changed();
        } else if (c.verb == "unprefer") {
            expect(x, Legal::yes, tarq_clear_preferred_for_branching(x.e) == 0, "unprefer");
            x.changed();
        } else if (c.verb == "misuse") {
            const auto& all = misuses();
            const Misuse& m = all[index(c, 0) % all.size()];
            const tarq_term t = term(x, arg(c, 1)).t;
            provoke(x);
            if (!m.is_refused(x.e, t)) {
                throw Fault(std::string("misuse was not refused: ") + m.name);
            }
            if (m.leaves_message) {
                expect(x, Legal::no, false, m.name);
            }
        } else {
            return false;
        }
        return true;
    }

    void collect(Env& x, const ApiCall& c)
    {
        std::vector<tarq_term> kept;
        for (const std::string& name : c.args) {
            const auto it = terms_.find(name);
            if (it != terms_.end() && it->second.family == x.family) {
                kept.push_back(it->second.t);
            }
        }
        for (auto& [number, y] : envs_) {
            if (y.family == x.family) {
                y.drop_held();
                y.forget_check();
            }
        }
        expect(x, Legal::yes, tarq_gc_env(x.e, kept.data(), kept.size()) == 0, "gc");
        // Excluded models are not assertions, and go.
        for (auto& level : x.stack) {
            std::erase_if(level, [](const Formula& f) { return f.kind != Formula::asserted; });
        }
        std::erase_if(terms_, [&](const auto& entry) {
            return entry.second.family == x.family &&
                   std::none_of(kept.begin(), kept.end(),
                                [&](tarq_term t) { return same(t, entry.second.t); });
        });
        // Functions go with their last term.
        std::erase_if(functions_,
                      [&](const auto& entry) { return entry.second.family == x.family; });
    }

    void destroy(Env& x)
    {
        const auto is_kin = [&](const auto& entry) {
            return &entry.second != &x && entry.second.family == x.family;
        };
        if (x.owner && std::any_of(envs_.begin(), envs_.end(), is_kin)) {
            throw LeftOut();
        }
        if (x.owner) {
            std::erase_if(terms_, [&](const auto& t) { return t.second.family == x.family; });
            std::erase_if(functions_, [&](const auto& f) { return f.second.family == x.family; });
        }
        x.drop_held();
        tarq_destroy_env(x.e);
        envs_.erase(current_number(x));
        throw LeftOut(); // nothing is left to look at
    }

    // Checks

    bool read_result(Env& x, const ApiCall& c)
    {
        if (c.verb == "solve") {
            check_answer(x, tarq_solve(x.e), {}, Legal::yes);
        } else if (c.verb == "assume") {
            solve_with_assumptions(x, c);
        } else if (c.verb == "model") {
            read_model(x, c);
        } else if (c.verb == "value") {
            for (const std::string& name : c.args) {
                const tarq_term t = term(x, name).t;
                const Legal legal = is_beyond(x.e, t) ? Legal::open : model_is_legal(x);
                provoke(x);
                expect(x, legal, !TARQ_ERROR_TERM(tarq_get_model_value(x.e, t)), "a value");
            }
        } else if (c.verb == "core" || c.verb == "core_ext") {
            read_core(x, c);
        } else if (c.verb == "all_sat") {
            enumerate(x, c);
        } else if (c.verb == "diversify") {
            diversify(x, c);
        } else {
            return false;
        }
        return true;
    }

    void solve_with_assumptions(Env& x, const ApiCall& c)
    {
        std::vector<tarq_term> lits;
        Legal legal = Legal::yes;
        for (const std::string& name : c.args) {
            lits.push_back(literal(x, name));
            tarq_term atom = lits.back();
            while (tarq_term_is_not(x.e, atom)) {
                atom = tarq_term_get_arg(atom, 0);
            }
            if (!tarq_term_is_boolean_constant(x.e, atom)) {
                legal = tarq_term_is_atom(x.e, atom) && legal != Legal::no ? Legal::open : Legal::no;
            }
        }
        provoke(x);
        check_answer(x, tarq_solve_with_assumptions(x.e, lits.data(), lits.size()), lits, legal);
    }

    void check_answer(Env& x, tarq_result r, const std::vector<tarq_term>& assumptions, Legal legal)
    {
        std::vector<tarq_term> formulas = x.formulas(Formula::excluded);
        formulas.insert(formulas.end(), assumptions.begin(), assumptions.end());
        const bool beyond = std::any_of(formulas.begin(), formulas.end(),
                                        [&](tarq_term t) { return is_beyond(x.e, t); });
        if (!expect(x, beyond && legal == Legal::yes ? Legal::open : legal, r != TARQ_UNKNOWN,
                    "a check")) {
            ++report_->no_answer;
            if (legal == Legal::yes) {
                x.forget_check();
            }
            x.changed(); // misuse may leave the older result
            return;
        }
        x.forget_check();
        x.checked = std::move(formulas);
        x.last = r;
        size_t n = 0;
        const Owned<tarq_term> failed(tarq_get_unsat_assumptions(x.e, &n));
        if (!failed || (r == TARQ_SAT && n > 0)) {
            throw Fault("bad list of failed assumptions");
        }
        for (size_t i = 0; i < n; ++i) {
            if (std::none_of(assumptions.begin(), assumptions.end(),
                             [&](tarq_term t) { return same(t, failed.get()[i]); })) {
                throw Fault("a failed assumption is none of those given: " +
                            text_of(failed.get()[i]));
            }
            x.failed.push_back(failed.get()[i]);
        }
        if (r == TARQ_UNSAT) {
            ++report_->unsat;
            std::vector<tarq_term> refuted = x.formulas(Formula::perhaps);
            refuted.insert(refuted.end(), x.failed.begin(), x.failed.end());
            expect_unsat(x, refuted, "unsat");
            return;
        }
        ++report_->sat;
        if (!x.on("model_generation")) {
            if (recheck(x, x.checked) == TARQ_UNSAT) {
                throw Fault("sat, but unsat by other options");
            }
            return;
        }
        const long left = std::exchange(x.stop.left, -1);
        x.stop.begin_call();
        const tarq_model m = tarq_get_model(x.e);
        if (expect(x, Legal::yes, !TARQ_ERROR_MODEL(m), "the model of a check")) {
            evaluate(x, x.e, m, x.checked);
        }
        tarq_destroy_model(m);
        x.stop.left = left;
    }

    /// Evaluates formulas in a model, by itself and by the evaluator of the tests.
    void evaluate(Env& x, tarq_env e, tarq_model m, const std::vector<tarq_term>& formulas)
    {
        test::Interpretation meaning = interpretation(x, e, m);
        for (tarq_term f : formulas) {
            if (is_beyond(e, f)) {
                continue;
            }
            const tarq_term v = tarq_model_eval(m, f);
            if (TARQ_ERROR_TERM(v)) {
                if (x.stop.late || x.stop.fired) {
                    return;
                }
                throw Fault("a model gives no value for " + text_of(f));
            }
            if (!tarq_term_is_true(e, v)) {
                throw Fault("the model does not satisfy " + text_of(f));
            }
            if (meaning(api::unwrap(f)).word != 1) {
                throw Fault("by the independent evaluator the model does not satisfy " + text_of(f));
            }
            ++report_->values;
        }
    }

    static test::Interpretation interpretation(const Env& x, tarq_env e, tarq_model m)
    {
        test::Interpretation meaning(api::wrapper(e)->tm(), 1, x.on("theory.bv.div_by_zero_mode"));
        meaning.follow([m](const Term_* t) {
            const tarq_term v = tarq_model_eval(m, api::wrap(t));
            return static_cast<const Term_*>(v.repr);
        });
        return meaning;
    }

    /// Decides formulas of an environment in a new one with the other options of this case, and
    /// evaluates the model.
    tarq_result recheck(Env& x, const std::vector<tarq_term>& formulas)
    {
        ++report_->rechecks;
        std::mt19937_64 rng(case_.check_seed);
        std::map<std::string, std::string> options = {{"model_generation", "true"}};
        for (const auto& [name, value] : random_api_options(rng, 6)) {
            options[name] = value;
        }
        for (const char* name : {"theory.bv.div_by_zero_mode", "theory.fp.minmax_zero_mode"}) {
            if (x.options.count(name)) {
                options[name] = x.options[name];
            }
        }
        if (bool_args(x)) {
            options["allow_bool_function_args"] = "true";
        }
        Stop stop;
        stop.begin_call();
        const tarq_env e = new_env(options, false, tarq_env{nullptr});
        struct Guard {
            tarq_env e;
            tarq_model m{nullptr};
            ~Guard()
            {
                tarq_destroy_model(m);
                tarq_destroy_env(e);
            }
        } guard{e};
        tarq_set_termination_test(e, Stop::ask, &stop);
        std::vector<tarq_term> copies;
        for (tarq_term f : formulas) {
            copies.push_back(tarq_make_copy_from(e, f, x.e));
            if (TARQ_ERROR_TERM(copies.back()) || tarq_assert_formula(e, copies.back()) != 0) {
                throw Fault(std::string("copy failed: ") + tarq_last_error_message(e));
            }
        }
        const tarq_result r = tarq_solve(e);
        if (r == TARQ_UNKNOWN) {
            const std::string message = tarq_last_error_message(e);
            if (stop.late) {
                ++report_->given_up;
            } else if (message.find("unsupported atom") == std::string::npos) {
                throw Fault("check by other options failed: " + message);
            }
        } else if (r == TARQ_SAT) {
            guard.m = tarq_get_model(e);
            if (TARQ_ERROR_MODEL(guard.m) && !stop.late) {
                throw Fault(std::string("no model by other options: ") +
                            tarq_last_error_message(e));
            }
            if (!stop.late) {
                evaluate(x, e, guard.m, copies);
            }
        }
        return r;
    }

    void expect_unsat(Env& x, const std::vector<tarq_term>& formulas, const std::string& what)
    {
        if (recheck(x, formulas) == TARQ_SAT) {
            throw Fault(what + ", but there is a model");
        }
        if (!judge_.solver.empty() && report_->unsat % judge_.sample == 0) {
            ask_judge(x, formulas, what);
        }
    }

    void ask_judge(Env& x, const std::vector<tarq_term>& formulas, const std::string& what)
    {
        tarq_term all = tarq_make_true(x.e);
        for (tarq_term f : formulas) {
            all = tarq_make_and(x.e, all, f);
        }
        const Owned<char> text(tarq_to_smtlib2(x.e, all));
        if (!text) {
            throw Fault(std::string("printing failed: ") + tarq_last_error_message(x.e));
        }
        for (const char* word : {"fp.min", "fp.max", "fp.to_", "ieee", "int_mod_congr"}) {
            if (std::strstr(text.get(), word)) {
                ++report_->unjudged; // languages differ in these
                return;
            }
        }
        char path[] = "/tmp/tarq-fuzz-XXXXXX";
        const int fd = mkstemp(path);
        if (fd < 0) {
            throw Fault("no temporary file");
        }
        close(fd);
        std::ofstream(path) << "(set-logic ALL)\n" << text.get() << "\n(check-sat)\n";
        FILE* out = popen((judge_.solver + " " + path + " 2>&1").c_str(), "r");
        char answer[200] = "";
        const size_t size = out ? fread(answer, 1, sizeof answer - 1, out) : 0;
        answer[size] = 0;
        if (out) {
            pclose(out);
        }
        unlink(path);
        const bool is_answer = std::strncmp(answer, "sat", 3) == 0 ||
                               std::strncmp(answer, "unsat", 5) == 0;
        ++(is_answer ? report_->judged : report_->unjudged);
        if (std::strncmp(answer, "sat", 3) == 0) {
            throw Fault(what + ", but the external solver says sat: " +
                        std::string(text.get()).substr(0, 1500));
        }
        if (std::strncmp(answer, "(error", 6) == 0) {
            throw Fault("the external solver can't read what is printed: " + std::string(answer) +
                        std::string(text.get()).substr(0, 1500));
        }
    }

    // Results

    Legal model_is_legal(const Env& x) const
    {
        if (!x.on("model_generation")) {
            return x.on("bool_model_generation") ? Legal::open : Legal::no;
        }
        return !x.fresh ? Legal::open : x.last == TARQ_SAT ? Legal::yes : Legal::no;
    }

    void read_model(Env& x, const ApiCall& c)
    {
        if (x.held.repr) {
            evaluate(x, x.e, x.held, x.held_formulas);
        }
        provoke(x);
        const tarq_model m = tarq_get_model(x.e);
        if (!expect(x, model_is_legal(x), !TARQ_ERROR_MODEL(m), "a model")) {
            return;
        }
        x.drop_held();
        x.held = m;
        x.held_formulas = x.checked;
        if (!x.on("model_generation")) {
            x.held_formulas.clear();
            return;
        }
        evaluate(x, x.e, m, x.held_formulas);
        test::Interpretation meaning = interpretation(x, x.e, m);
        for (const std::string& name : c.args) {
            const Term& t = term(x, name);
            const tarq_term v = tarq_model_eval(m, t.t);
            if (is_beyond(x.e, t.t) || (TARQ_ERROR_TERM(v) && x.stop.fired)) {
                continue;
            }
            if (TARQ_ERROR_TERM(v) || !fits(sort_of(x.e, tarq_term_get_type(v)), t.sort)) {
                throw Fault("no value, or of another type, for " + text_of(t.t));
            }
            if (meaning(api::unwrap(t.t)) != meaning(api::unwrap(v))) {
                throw Fault("by the independent evaluator the value of " + text_of(t.t) +
                            " is not " + text_of(v));
            }
            ++report_->values;
        }
        const tarq_model_iterator it = tarq_model_create_iterator(m);
        tarq_term t{nullptr}, v{nullptr};
        std::string bad;
        while (tarq_model_iterator_has_next(it) && bad.empty()) {
            bad = tarq_model_iterator_next(it, &t, &v) != 0 ? "an iterator without an end"
                  : !same(tarq_model_eval(m, t), v)
                      ? "two values for " + text_of(t) + ": " + text_of(v)
                      : "";
        }
        tarq_destroy_model_iterator(it);
        if (!bad.empty() && !x.stop.fired) {
            throw Fault(bad);
        }
    }

    /// An extractor that chooses all clauses, fails, or names one that does not exist.
    static int choose_clauses(int*, int* core, size_t* size, void* data)
    {
        const size_t kind = *static_cast<size_t*>(data);
        for (size_t i = 0; i < *size; ++i) {
            core[i] = static_cast<int>(i);
        }
        if (kind == 2 && *size > 0) {
            core[0] = static_cast<int>(*size);
        }
        return kind == 0;
    }

    void read_core(Env& x, const ApiCall& c)
    {
        const bool extract = c.verb == "core_ext";
        size_t kind = extract ? index(c, 0) : 1, n = 0;
        const bool wanted = x.on("unsat_core_generation");
        const bool lifts = wanted && x.options.at("unsat_core_generation") == "2";
        const Legal legal = !wanted                                         ? Legal::no
                            : !x.fresh || x.enumerated()                    ? Legal::open
                            : x.last != TARQ_UNSAT                          ? Legal::no
                            : kind != 1 || lifts != extract                 ? Legal::open
                                                                            : Legal::yes;
        provoke(x);
        const Owned<tarq_term> core(
            extract ? tarq_get_unsat_core_ext(x.e, &n, choose_clauses, &kind)
                    : tarq_get_unsat_core(x.e, &n));
        if (!expect(x, legal, core != nullptr, "a core") || !x.fresh) {
            return;
        }
        ++report_->cores;
        std::vector<tarq_term> refuted(core.get(), core.get() + n);
        const std::vector<tarq_term> formulas = x.formulas(Formula::asserted);
        for (tarq_term t : refuted) {
            if (std::none_of(formulas.begin(), formulas.end(),
                             [&](tarq_term f) { return same(t, f); })) {
                throw Fault("the core has a formula that is not asserted: " + text_of(t));
            }
        }
        refuted.insert(refuted.end(), x.failed.begin(), x.failed.end());
        expect_unsat(x, refuted, "a core");
    }

    struct Enumeration {
        tarq_env e{nullptr};
        size_t limit = 0;
        std::vector<tarq_term> models; // conjunctions
    };

    void enumerate(Env& x, const ApiCall& c)
    {
        Enumeration all{x.e, index(c, 0), {}};
        std::vector<tarq_term> important;
        Legal legal = Legal::yes;
        for (size_t i = 1; i < c.args.size(); ++i) {
            important.push_back(term(x, c.args[i]).t);
            legal = tarq_term_is_boolean_constant(x.e, important.back()) ? legal : Legal::no;
        }
        const std::vector<tarq_term> before = x.formulas(Formula::excluded);
        const bool beyond = std::any_of(before.begin(), before.end(),
                                        [&](tarq_term t) { return is_beyond(x.e, t); });
        provoke(x);
        x.changed();
        const int r = tarq_all_sat(
            x.e, important.data(), important.size(),
            [](tarq_term* model, int size, void* data) {
                Enumeration& a = *static_cast<Enumeration*>(data);
                tarq_term cube = tarq_make_true(a.e);
                for (int i = 0; i < size; ++i) {
                    cube = tarq_make_and(a.e, cube, model[i]);
                }
                a.models.push_back(cube);
                return a.models.size() < a.limit ? 1 : 0;
            },
            &all);
        const bool cut = r == -1 && all.models.size() == all.limit;
        const bool good = cut || expect(x, beyond && legal == Legal::yes ? Legal::open : legal,
                                        r != -1, "an enumeration");
        x.forget_check();
        x.fresh = false;
        if (good && !cut && r != -2 && r != static_cast<int>(all.models.size())) {
            throw Fault("a wrong number of models");
        }
        for (tarq_term m : all.models) {
            std::vector<tarq_term> both = before;
            both.push_back(m);
            if (recheck(x, both) == TARQ_UNSAT) {
                throw Fault("an enumeration tells what is no model: " + text_of(m));
            }
        }
        const bool certain = good && !x.on("dpll.allsat_allow_duplicates");
        for (size_t i = 0; i < all.models.size(); ++i) {
            const bool last = cut && i + 1 == all.models.size();
            x.stack.back().push_back({tarq_make_not(x.e, all.models[i]),
                                      certain && !last ? Formula::excluded : Formula::perhaps});
        }
        if (good && !cut && r >= 0) {
            expect_unsat(x, x.formulas(Formula::perhaps), "an enumeration without more models");
        }
    }

    void diversify(Env& x, const ApiCall& c)
    {
        std::vector<tarq_term> terms;
        Legal legal = x.on("model_generation") ? Legal::yes : Legal::no;
        const std::vector<tarq_term> before = x.formulas(Formula::excluded);
        for (size_t i = 1; i < c.args.size(); ++i) {
            const Term& t = term(x, c.args[i]);
            terms.push_back(t.t);
            const char kind = t.sort[0];
            if (legal == Legal::yes && (kind == 'U' || kind == 'A' || kind == 'R' || is_beyond(x.e, t.t))) {
                legal = Legal::open; // refused only when there is a model
            }
        }
        if (legal == Legal::yes && std::any_of(before.begin(), before.end(), [&](tarq_term t) {
                return is_beyond(x.e, t);
            })) {
            legal = Legal::open;
        }
        struct Progress {
            size_t found = 0, limit;
        } progress{0, index(c, 0)};
        x.changed();
        provoke(x);
        const int r = tarq_solve_diversify(
            x.e, terms.data(), terms.size(),
            [](tarq_model_iterator it, void* data) {
                Progress& p = *static_cast<Progress*>(data);
                tarq_term t, v;
                while (tarq_model_iterator_next(it, &t, &v) == 0) {
                }
                return ++p.found < p.limit ? 1 : 0;
            },
            &progress);
        // What it asserts is told by the environment itself.
        size_t n = 0;
        const Owned<tarq_term> have(tarq_get_asserted_formulas(x.e, &n));
        for (size_t i = x.formulas(Formula::asserted).size(); have && i < n; ++i) {
            x.stack.back().push_back({have.get()[i], Formula::asserted});
        }
        x.forget_check();
        x.fresh = false;
        if (expect(x, legal, r >= 0, "diversification") && progress.found < progress.limit &&
            !terms.empty()) {
            expect_unsat(x, x.formulas(Formula::perhaps), "a diversification without more models");
        }
    }

    // Terms from terms

    bool rewrite(Env& x, const ApiCall& c)
    {
        if (c.verb == "copy") {
            copy(x, c);
            return true;
        }
        if (c.verb != "simplify" && c.verb != "nnf" && c.verb != "aig" && c.verb != "substitute" &&
            c.verb != "print" && c.verb != "query") {
            return false;
        }
        const Term t = term(x, arg(c, 0));
        const Legal if_bool = t.sort == "B" ? Legal::yes : Legal::no;
        provoke(x);
        if (c.verb == "print") {
            print(x, t);
        } else if (c.verb == "query") {
            query(x, t);
        } else if (c.verb == "substitute") {
            const Term from = term(x, arg(c, 1)), to = term(x, arg(c, 2));
            const Legal legal = from.sort == to.sort     ? Legal::yes
                                : fits(to.sort, from.sort) || fits(from.sort, to.sort)
                                    ? Legal::open
                                    : Legal::no;
            keep(x, c, legal, t.sort, tarq_apply_substitution(x.e, t.t, &from.t, &to.t, 1));
        } else if (c.verb == "simplify") {
            const bool toplevel = index(c, 1) != 0 && t.sort == "B";
            const tarq_term s = tarq_simplify(x.e, t.t, nullptr, 0, toplevel);
            keep(x, c, Legal::yes, t.sort, s);
            if (!TARQ_ERROR_TERM(s)) {
                toplevel ? same_answer(x, t.t, s) : same_meaning(x, t.t, s, "simplification");
            }
        } else {
            const bool is_nnf = c.verb == "nnf";
            const tarq_term s = is_nnf ? tarq_to_nnf(x.e, t.t) : tarq_aig_simplify(x.e, t.t);
            keep(x, c, if_bool, "B", s);
            if (!TARQ_ERROR_TERM(s)) {
                same_meaning(x, t.t, s, c.verb);
            }
            if (!is_nnf) {
                use_circuit(x, t);
            }
        }
        return true;
    }

    void same_meaning(Env& x, tarq_term a, tarq_term b, const std::string& what)
    {
        if (!same(a, b) &&
            recheck(x, {tarq_make_not(x.e, tarq_make_eq(x.e, a, b))}) == TARQ_SAT) {
            throw Fault(what + " changes the meaning: " + text_of(a) + " to " + text_of(b));
        }
    }

    void same_answer(Env& x, tarq_term a, tarq_term b)
    {
        const tarq_result r = recheck(x, {a}), s = recheck(x, {b});
        if (r != s && r != TARQ_UNKNOWN && s != TARQ_UNKNOWN) {
            throw Fault("simplification changes the answer: " + text_of(a) + " to " + text_of(b));
        }
    }

    void copy(Env& x, const ApiCall& c)
    {
        const auto from = envs_.find(std::stoi(arg(c, 1)));
        if (from == envs_.end()) {
            throw LeftOut();
        }
        const Term t = term(from->second, arg(c, 0));
        const bool alike = bool_args(x) == bool_args(from->second);
        const tarq_term s = tarq_make_copy_from(x.e, t.t, from->second.e);
        keep(x, c, alike ? Legal::yes : Legal::open, t.sort, s);
        if (!TARQ_ERROR_TERM(s) && alike) {
            if (text_of(s) != text_of(t.t)) {
                same_meaning(x, s, tarq_make_copy_from(x.e, t.t, from->second.e), "a copy");
            }
        }
    }

    /// What is printed reads back as the same.
    void print(Env& x, const Term& t)
    {
        const Owned<char> term_text(tarq_to_smtlib2_term(x.e, t.t));
        const Legal legal = is_beyond(x.e, t.t) ? Legal::open : Legal::yes;
        if (expect(x, legal, term_text != nullptr, "printing")) {
            read_back(x, t, tarq_from_string(x.e, term_text.get()), term_text.get());
        }
        const char* names[] = {"n 1"};
        const Owned<char> list(tarq_named_list_to_smtlib2(x.e, 1, names, &t.t));
        if (expect(x, legal, list != nullptr, "printing a list")) {
            size_t n = 0;
            char** read_names = nullptr;
            tarq_term* read = nullptr;
            const int r = tarq_named_list_from_smtlib2(x.e, list.get(), &n, &read_names, &read);
            if (r != 0 || n != 1 || std::strcmp(read_names[0], names[0]) != 0) {
                throw Fault(std::string("a list does not read back: ") +
                            tarq_last_error_message(x.e) + ": " + list.get());
            }
            read_back(x, t, read[0], list.get());
            tarq_free(read_names[0]);
            tarq_free(read_names);
            tarq_free(read);
        }
        if (t.sort != "B") {
            return;
        }
        for (int defines = 0; defines < 2; ++defines) {
            const Owned<char> script(tarq_to_smtlib2_ext(x.e, t.t, defines ? "ALL" : nullptr,
                                                         defines));
            if (expect(x, legal, script != nullptr, "printing a script")) {
                read_back(x, t, tarq_from_smtlib2(x.e, script.get()), script.get());
            }
        }
        expect(x, Legal::open, Owned<char>(tarq_to_smtlib1(x.e, t.t)) != nullptr, "SMT-LIB 1");
    }

    void read_back(Env& x, const Term& t, tarq_term read, const char* text)
    {
        if (TARQ_ERROR_TERM(read)) {
            if (x.stop.fired) {
                return;
            }
            throw Fault(std::string("does not read back: ") + tarq_last_error_message(x.e) + ": " +
                        text);
        }
        if (!same(read, t.t)) {
            const Sort sort = sort_of(x.e, tarq_term_get_type(read));
            if (sort != t.sort && !is_number(sort)) {
                throw Fault(std::string("reads back with another type: ") + text);
            }
            same_meaning(x, t.t, read, "printing and reading");
        }
    }

    void query(Env& x, const Term& t)
    {
        const tarq_decl d = tarq_term_get_decl(t.t);
        std::vector<tarq_term> args;
        for (size_t i = 0; i < tarq_term_arity(t.t); ++i) {
            args.push_back(tarq_term_get_arg(t.t, i));
        }
        if (!TARQ_ERROR_TERM(tarq_term_get_arg(t.t, args.size()))) {
            throw Fault("an argument past the last");
        }
        if (tarq_decl_get_arity(d) != args.size() || tarq_decl_id(d) == 0) {
            throw Fault("the symbol does not fit the term " + text_of(t.t));
        }
        const tarq_term again = tarq_make_term(x.e, d, args.data());
        if (expect(x, Legal::yes, !TARQ_ERROR_TERM(again), "making a term again")) {
            same_meaning(x, t.t, again, "making a term again");
        }
        mpq_t q;
        mpq_init(q);
        const bool number = tarq_term_is_number(x.e, t.t) != 0;
        const bool is_mode = t.sort == "R" || t.sort == "B";
        if ((tarq_term_to_number(x.e, t.t, q) == 0) != number && !is_mode) {
            mpq_clear(q);
            throw Fault("number or not: " + text_of(t.t));
        }
        if (number && is_number(t.sort) && !same(tarq_make_mpq_number(x.e, q), t.t)) {
            mpq_clear(q);
            throw Fault("not that number: " + text_of(t.t));
        }
        mpq_clear(q);
        const Owned<char> name(tarq_decl_get_name(d)), decl(tarq_decl_repr(d));
        const Owned<char> type(tarq_type_repr(tarq_term_get_type(t.t)));
        const Owned<char> stats(tarq_get_search_stats(x.e));
        if (!name || !decl || !type || !stats || text_of(t.t).empty()) {
            throw Fault("a text is missing");
        }
    }

    void use_circuit(Env& x, const Term& t)
    {
        const tarq_aig_manager m = tarq_create_aig_manager(x.e);
        struct Guard {
            tarq_aig_manager m;
            ~Guard() { tarq_destroy_aig_manager(m); }
        } guard{m};
        const bool is_bits = t.sort == "B" || t.sort[0] == 'V';
        size_t n = 0;
        provoke(x);
        const Owned<tarq_aig> bits(tarq_aig_encode(m, t.t, &n));
        if (!expect(x, is_bits ? Legal::open : Legal::no, bits != nullptr, "a circuit")) {
            return;
        }
        if (n != (t.sort == "B" ? 1 : width_of(t.sort))) {
            throw Fault("wrong number of bits");
        }
        tarq_aig all = tarq_aig_true(m);
        for (size_t i = 0; i < n; ++i) {
            const tarq_aig a = bits.get()[i], b = bits.get()[(i + 1) % n];
            const tarq_aig either = tarq_aig_xor(m, a, b);
            if (tarq_aig_and(m, a, tarq_aig_not(m, a)).repr != tarq_aig_false(m).repr ||
                tarq_aig_not(m, tarq_aig_iff(m, a, b)).repr != either.repr ||
                tarq_aig_ite(m, a, b, b).repr != b.repr) {
                throw Fault("gates that should be one are not");
            }
            all = tarq_aig_or(m, tarq_aig_and(m, all, a), either);
        }
        if (!Owned<char>(tarq_aig_to_aiger(m, all))) {
            throw Fault(std::string("no circuit text: ") + tarq_last_error_message(x.e));
        }
    }

    const ApiCase& case_;
    const ApiJudge& judge_;
    ApiReport* report_;
    std::map<int, Env> envs_;
    std::vector<bool> family_bool_args_;
    std::map<std::string, Term> terms_;
    std::map<std::string, Function> functions_;
    std::string older_message_;
};

} // namespace

std::string run_api_case(const ApiCase& c, const ApiJudge& judge, ApiReport* report)
{
    return Runner(c, judge, report).run();
}

} // namespace tarq::fuzz
