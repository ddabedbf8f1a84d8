#include "apirunnerimpl.h"
#include "temporaryfile.h"

#include <algorithm>
#include <cstring>

namespace tarq::fuzz {

// Checks

bool ApiRunner::read_result(Env& x, const ApiCall& c)
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

void ApiRunner::solve_with_assumptions(Env& x, const ApiCall& c)
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

void ApiRunner::check_answer(Env& x, tarq_result r, const std::vector<tarq_term>& assumptions,
                             Legal legal)
{
    std::vector<tarq_term> formulas = x.formulas(Formula::excluded);
    formulas.insert(formulas.end(), assumptions.begin(), assumptions.end());
    const bool beyond = any_beyond(x.e, formulas) ||
                        (x.off("theory.bv.eager") && // floats and words are refused together
                         std::any_of(formulas.begin(), formulas.end(), [&](tarq_term t) {
                             return has_part(x.e, t, [](tarq_env, tarq_term, tarq_symbol_tag tag) {
                                 return tag >= TARQ_TAG_FP_EQ && tag <= TARQ_TAG_FP_FROM_IEEEBV;
                             });
                         }));
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
            throw Fault("a failed assumption is none of those given: " + text_of(failed.get()[i]));
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

void ApiRunner::evaluate(Env& x, tarq_env e, tarq_model m, const std::vector<tarq_term>& formulas)
{
    test::Interpretation meaning = interpretation(x, e, m);
    for (tarq_term f : formulas) {
        if (is_beyond(e, f)) {
            continue;
        }
        const tarq_term v = tarq_model_eval(m, f);
        if (TARQ_ERROR_TERM(v)) {
            if (x.stop.late || x.stop.fired || any_beyond(e, formulas)) {
                return; // constants may be defined by what has no value
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

test::Interpretation ApiRunner::interpretation(const Env& x, tarq_env e, tarq_model m)
{
    test::Interpretation meaning(api::wrapper(e)->tm(), 1, x.on("theory.bv.div_by_zero_mode"));
    meaning.follow([m](const Term_* t) {
        const tarq_term v = tarq_model_eval(m, api::wrap(t));
        return static_cast<const Term_*>(v.repr);
    });
    return meaning;
}

tarq_result ApiRunner::recheck(Env& x, const std::vector<tarq_term>& formulas)
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
            throw Fault(std::string("no model by other options: ") + tarq_last_error_message(e));
        }
        if (!stop.late) {
            evaluate(x, e, guard.m, copies);
        }
    }
    return r;
}

void ApiRunner::expect_unsat(Env& x, const std::vector<tarq_term>& formulas,
                             const std::string& what)
{
    if (recheck(x, formulas) == TARQ_SAT) {
        throw Fault(what + ", but there is a model");
    }
    if (!judge_.solver.empty() && report_->unsat % judge_.sample == 0) {
        ask_judge(x, formulas, what);
    }
}

void ApiRunner::ask_judge(Env& x, const std::vector<tarq_term>& formulas, const std::string& what)
{
    tarq_term all = tarq_make_true(x.e);
    for (tarq_term f : formulas) {
        all = tarq_make_and(x.e, all, f);
    }
    const Owned<char> text(tarq_to_smtlib2(x.e, all));
    if (!text) { // with what the language has no name for
        ++report_->unjudged;
        return;
    }
    for (const char* word : {"fp.min", "fp.max", "fp.to_", "divisible", "bv_to_int", "to_bv",
                             "(pow", "(exp", "(sin"}) {
        if (std::strstr(text.get(), word)) {
            ++report_->unjudged; // languages differ in these
            return;
        }
    }
    const TemporaryFile script(std::string("(set-logic ALL)\n") + text.get() + "\n(check-sat)\n");
    FILE* out = popen((judge_.solver + " " + script.path() + " 2>&1").c_str(), "r");
    char answer[200] = "";
    const size_t size = out ? fread(answer, 1, sizeof answer - 1, out) : 0;
    answer[size] = 0;
    if (out) {
        pclose(out);
    }
    const bool is_answer =
        std::strncmp(answer, "sat", 3) == 0 || std::strncmp(answer, "unsat", 5) == 0;
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

Legal ApiRunner::model_is_legal(const Env& x) const
{
    if (!x.on("model_generation")) {
        return x.on("bool_model_generation") ? Legal::open : Legal::no;
    }
    return !x.fresh ? Legal::open : x.last == TARQ_SAT ? Legal::yes : Legal::no;
}

void ApiRunner::read_model(Env& x, const ApiCall& c)
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
        if (is_beyond(x.e, t.t) ||
            (TARQ_ERROR_TERM(v) && (x.stop.fired || any_beyond(x.e, x.held_formulas)))) {
            continue;
        }
        if (TARQ_ERROR_TERM(v) || !fits(sort_of(x.e, tarq_term_get_type(v)), t.sort)) {
            throw Fault("no value, or of another type, for " + text_of(t.t));
        }
        if (meaning(api::unwrap(t.t)) != meaning(api::unwrap(v))) {
            throw Fault("by the independent evaluator the value of " + text_of(t.t) + " is not " +
                        text_of(v));
        }
        ++report_->values;
    }
    const tarq_model_iterator it = tarq_model_create_iterator(m);
    tarq_term t{nullptr}, v{nullptr};
    std::string bad;
    while (tarq_model_iterator_has_next(it) && bad.empty()) {
        bad = tarq_model_iterator_next(it, &t, &v) != 0 ? "an iterator without an end"
              : !same(tarq_model_eval(m, t), v) ? "two values for " + text_of(t) + ": " + text_of(v)
                                                : "";
    }
    tarq_destroy_model_iterator(it);
    if (!bad.empty() && !x.stop.fired) {
        throw Fault(bad);
    }
}

int ApiRunner::choose_clauses(int*, int* core, size_t* size, void* data)
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

void ApiRunner::read_core(Env& x, const ApiCall& c)
{
    const bool extract = c.verb == "core_ext";
    size_t kind = extract ? index(c, 0) : 1, n = 0;
    const bool wanted = x.on("unsat_core_generation");
    const bool lifts = wanted && x.options.at("unsat_core_generation") == "2";
    const Legal legal = !wanted                         ? Legal::no
                        : !x.fresh || x.enumerated()    ? Legal::open
                        : x.last != TARQ_UNSAT          ? Legal::no
                        : kind != 1 || lifts != extract ? Legal::open
                                                        : Legal::yes;
    provoke(x);
    const Owned<tarq_term> core(extract ? tarq_get_unsat_core_ext(x.e, &n, choose_clauses, &kind)
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

void ApiRunner::enumerate(Env& x, const ApiCall& c)
{
    Enumeration all{x.e, index(c, 0), {}};
    std::vector<tarq_term> important;
    Legal legal = Legal::yes;
    for (size_t i = 1; i < c.args.size(); ++i) {
        important.push_back(term(x, c.args[i]).t);
        legal = tarq_term_is_boolean_constant(x.e, important.back()) ? legal : Legal::no;
    }
    const std::vector<tarq_term> before = x.formulas(Formula::excluded);
    const bool beyond = any_beyond(x.e, before);
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
    const bool good = cut || expect(x, beyond && legal == Legal::yes ? Legal::open : legal, r != -1,
                                    "an enumeration");
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

void ApiRunner::diversify(Env& x, const ApiCall& c)
{
    std::vector<tarq_term> terms;
    Legal legal = x.on("model_generation") ? Legal::yes : Legal::no;
    const std::vector<tarq_term> before = x.formulas(Formula::excluded);
    for (size_t i = 1; i < c.args.size(); ++i) {
        const Term& t = term(x, c.args[i]);
        terms.push_back(t.t);
        const char kind = t.sort[0];
        if (legal == Legal::yes &&
            (kind == 'U' || kind == 'A' || kind == 'R' || is_beyond(x.e, t.t) ||
             x.off("theory.bv.eager") || x.off("theory.fp.mode"))) {
            legal = Legal::open; // refused only when there is a model
        }
    }
    if (legal == Legal::yes && any_beyond(x.e, before)) {
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

} // namespace tarq::fuzz
