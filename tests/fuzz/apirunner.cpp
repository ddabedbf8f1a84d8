#include "apirunnerimpl.h"

#include "apimisuse.h"

#include <algorithm>
#include <cstring>

namespace tarq::fuzz {

std::string text_of(tarq_term t)
{
    const Owned<char> text(tarq_term_repr(t));
    return text ? std::string(text.get()).substr(0, 800) : "no term";
}

bool has_part(tarq_env e, tarq_term t, bool (*wanted)(tarq_env, tarq_term, tarq_symbol_tag))
{
    struct Search {
        bool (*wanted)(tarq_env, tarq_term, tarq_symbol_tag);
        bool found;
    } search{wanted, false};
    tarq_visit_term(
        e, t,
        [](tarq_env env, tarq_term s, int, void* data) {
            Search& at = *static_cast<Search*>(data);
            at.found = at.wanted(env, s, tarq_decl_get_tag(env, tarq_term_get_decl(s)));
            return at.found ? TARQ_VISIT_ABORT : TARQ_VISIT_PROCESS;
        },
        &search);
    return search.found;
}

bool is_beyond(tarq_env e, tarq_term t)
{
    return has_part(e, t, [](tarq_env env, tarq_term s, tarq_symbol_tag tag) {
        return tag == TARQ_TAG_DIVIDE || tag == TARQ_TAG_POW || tag == TARQ_TAG_EXP ||
               tag == TARQ_TAG_SIN ||
               (tag == TARQ_TAG_TIMES && !tarq_term_is_number(env, tarq_term_get_arg(s, 0)) &&
                !tarq_term_is_number(env, tarq_term_get_arg(s, 1)));
    });
}

bool any_beyond(tarq_env e, const std::vector<tarq_term>& terms)
{
    return std::any_of(terms.begin(), terms.end(), [e](tarq_term t) { return is_beyond(e, t); });
}

std::string ApiRunner::run()
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

// Names

const Term& ApiRunner::term(const Env& x, const std::string& name)
{
    const auto it = terms_.find(name[0] == '-' ? name.substr(1) : name);
    if (it == terms_.end() || it->second.family != x.family) {
        throw LeftOut();
    }
    return it->second;
}

tarq_term ApiRunner::literal(const Env& x, const std::string& name)
{
    const tarq_term t = term(x, name).t;
    return name[0] != '-' || sort_of(x.e, tarq_term_get_type(t)) != "B" ? t : tarq_make_not(x.e, t);
}

const std::string& ApiRunner::arg(const ApiCall& c, size_t i)
{
    if (i >= c.args.size()) {
        throw LeftOut();
    }
    return c.args[i];
}

// Expectations

void ApiRunner::provoke(Env& x)
{
    tarq_make_number(x.e, "no number at all");
    older_message_ = tarq_last_error_message(x.e);
}

bool ApiRunner::expect(Env& x, Legal legal, bool worked, const std::string& what)
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

void ApiRunner::keep(Env& x, const ApiCall& c, Legal legal, const Sort& predicted, tarq_term t)
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

void ApiRunner::make_call(const ApiCall& c)
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

void ApiRunner::check_assertions(Env& x)
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

int ApiRunner::current_number(const Env& x) const
{
    for (const auto& [number, env] : envs_) {
        if (&env == &x) {
            return number;
        }
    }
    return -1;
}

tarq_env ApiRunner::new_env(const std::map<std::string, std::string>& options, bool as_text,
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

void ApiRunner::make_env(const ApiCall& c)
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

void ApiRunner::construct(Env& x, const ApiCall& c, const Constructor& k)
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

bool ApiRunner::make_leaf(Env& x, const ApiCall& c)
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

void ApiRunner::declare(Env& x, const ApiCall& c)
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

void ApiRunner::apply(Env& x, const ApiCall& c)
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

bool ApiRunner::change(Env& x, const ApiCall& c)
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

void ApiRunner::collect(Env& x, const ApiCall& c)
{
    std::vector<tarq_term> kept;
    for (const std::string& name : c.args) {
        const auto it = terms_.find(name);
        if (it != terms_.end() && it->second.family == x.family) {
            kept.push_back(it->second.t);
        }
    }
    for (tarq_term f : x.formulas(Formula::perhaps)) {
        kept.push_back(f);
    }
    for (auto& [number, y] : envs_) {
        if (y.family == x.family) {
            y.drop_held();
            y.forget_check();
            y.fresh = &y == &x; // kin may have a model still
        }
    }
    expect(x, Legal::yes, tarq_gc_env(x.e, kept.data(), kept.size()) == 0, "gc");
    std::erase_if(terms_, [&](const auto& entry) {
        return entry.second.family == x.family &&
               std::none_of(kept.begin(), kept.end(),
                            [&](tarq_term t) { return same(t, entry.second.t); });
    });
    // Functions go with their last term.
    std::erase_if(functions_, [&](const auto& entry) { return entry.second.family == x.family; });
}

void ApiRunner::destroy(Env& x)
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

std::string run_api_case(const ApiCase& c, const ApiJudge& judge, ApiReport* report)
{
    return ApiRunner(c, judge, report).run();
}

} // namespace tarq::fuzz
