#include "apirunnerimpl.h"

#include <cstring>

namespace tarq::fuzz {

bool ApiRunner::rewrite(Env& x, const ApiCall& c)
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
        const Legal legal = from.sort == to.sort                                   ? Legal::yes
                            : fits(to.sort, from.sort) || fits(from.sort, to.sort) ? Legal::open
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

void ApiRunner::same_meaning(Env& x, tarq_term a, tarq_term b, const std::string& what)
{
    if (!same(a, b) && recheck(x, {tarq_make_not(x.e, tarq_make_eq(x.e, a, b))}) == TARQ_SAT) {
        throw Fault(what + " changes the meaning: " + text_of(a) + " to " + text_of(b));
    }
}

void ApiRunner::same_answer(Env& x, tarq_term a, tarq_term b)
{
    const tarq_result r = recheck(x, {a}), s = recheck(x, {b});
    if (r != s && r != TARQ_UNKNOWN && s != TARQ_UNKNOWN) {
        throw Fault("simplification changes the answer: " + text_of(a) + " to " + text_of(b));
    }
}

void ApiRunner::copy(Env& x, const ApiCall& c)
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

void ApiRunner::print(Env& x, const Term& t)
{
    const Owned<char> term_text(tarq_to_smtlib2_term(x.e, t.t));
    // The language has no name for the bits of a float.
    const bool unnamed = has_part(x.e, t.t, [](tarq_env, tarq_term, tarq_symbol_tag tag) {
        return tag == TARQ_TAG_FP_AS_IEEEBV;
    });
    const Legal legal = unnamed || is_beyond(x.e, t.t) ? Legal::open : Legal::yes;
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
            throw Fault(std::string("a list does not read back: ") + tarq_last_error_message(x.e) +
                        ": " + list.get());
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
        const Owned<char> script(tarq_to_smtlib2_ext(x.e, t.t, defines ? "ALL" : nullptr, defines));
        if (expect(x, legal, script != nullptr, "printing a script")) {
            read_back(x, t, tarq_from_smtlib2(x.e, script.get()), script.get());
        }
    }
    expect(x, Legal::open, Owned<char>(tarq_to_smtlib1(x.e, t.t)) != nullptr, "SMT-LIB 1");
}

void ApiRunner::read_back(Env& x, const Term& t, tarq_term read, const char* text)
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

void ApiRunner::query(Env& x, const Term& t)
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

void ApiRunner::use_circuit(Env& x, const Term& t)
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

} // namespace tarq::fuzz
