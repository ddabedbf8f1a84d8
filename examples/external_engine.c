/* A SAT engine of our own choice does the search: CaDiCaL, as a library, behind the table of functions
 * that tarq_set_external_dpll_engine takes. Tarq keeps the formulas, the theories and the models.
 *
 *   external_engine            runs the demonstration below
 *   external_engine FILE...    prints for each SMT-LIB 2 file whether its assertions are satisfiable
 *
 * CaDiCaL in this form doesn't let anybody look into its search, so the theories are asked afterwards:
 * it finds an assignment, which is then reported to Tarq as if it were decided literal by literal.
 * Where the theories object, their clauses go to CaDiCaL, which continues. Before it does, the literals
 * that took part in the objection are taken back and the rest is asked about again, so that one
 * assignment yields many clauses. */
#include <ccadical.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <tarq.h>

/* The table comes first, so that a pointer to it is a pointer to the engine. */
typedef struct engine {
    tarq_ext_dpll_interface table;
    CCaDiCaL* sat;
    tarq_dpll_callback callback;
    int num_vars;
    int capacity;
    signed char* value;    /* by variable: the assignment under examination, -1, 0 or 1 */
    signed char* reported; /* by variable: what Tarq has been told of it */
    signed char* dropped;  /* by variable: not told to Tarq in this round */
    int* order;            /* the reported literals in their order */
    int num_reported;
    int* level_start; /* by level: length of `order` when it was opened */
    int num_levels;
    int clauses_came;
    int* implied; /* literals that the theories derived since the last report */
    int num_implied;
    int implied_capacity;
    int* failed; /* the list that `solve` delivers */
    int failed_capacity;
} engine;

static void* checked(void* memory)
{
    if (!memory) {
        fputs("out of memory\n", stderr);
        exit(1);
    }
    return memory;
}

static engine* self(tarq_ext_dpll_interface* table)
{
    return (engine*)table;
}

/* Searches are many and short, so what CaDiCaL does at the start of each has to be cheap. */
static CCaDiCaL* new_solver(void)
{
    CCaDiCaL* sat = ccadical_init();
    ccadical_set_option(sat, "lucky", 0);
    ccadical_set_option(sat, "walk", 0);
    ccadical_set_option(sat, "rephase", 0);
    ccadical_set_option(sat, "phase", 0); /* atoms that no clause needs are best left false */
    return sat;
}

/* -- Variables and clauses */

static int new_var(tarq_ext_dpll_interface* table, int decision, int problem)
{
    engine* e = self(table);
    (void)decision;
    (void)problem;
    if (++e->num_vars >= e->capacity) {
        size_t n = 2 * (size_t)e->num_vars + 64;
        e->value = checked(realloc(e->value, n));
        e->reported = checked(realloc(e->reported, n));
        e->dropped = checked(realloc(e->dropped, n));
        e->order = checked(realloc(e->order, n * sizeof(int)));
        e->level_start = checked(realloc(e->level_start, n * sizeof(int)));
        e->capacity = (int)n;
    }
    e->value[e->num_vars] = e->reported[e->num_vars] = e->dropped[e->num_vars] = 0;
    return 0;
}

static int add_clause(tarq_ext_dpll_interface* table, int* lits, int ghost, int in_callback)
{
    engine* e = self(table);
    (void)ghost;
    (void)in_callback;
    for (; *lits; ++lits) {
        ccadical_add(e->sat, *lits);
    }
    ccadical_add(e->sat, 0);
    e->clauses_came = 1;
    return 0;
}

/* CaDiCaL takes care of variables that come back by itself. */
static int set_flag(tarq_ext_dpll_interface* table, int var, int flag)
{
    (void)table;
    (void)var;
    (void)flag;
    return 0;
}

static int remove_clauses_containing(tarq_ext_dpll_interface* table, int var)
{
    engine* e = self(table);
    ccadical_add(e->sat, -var); /* satisfies them all */
    ccadical_add(e->sat, 0);
    return 0;
}

static int enqueue_assignment(tarq_ext_dpll_interface* table, int lit)
{
    engine* e = self(table);
    if (e->num_implied == e->implied_capacity) {
        e->implied_capacity = 2 * e->implied_capacity + 64;
        e->implied = checked(realloc(e->implied, (size_t)e->implied_capacity * sizeof(int)));
    }
    e->implied[e->num_implied++] = lit;
    return 0;
}

static int set_callback(tarq_ext_dpll_interface* table, tarq_dpll_callback callback)
{
    self(table)->callback = callback;
    return 0;
}

static int reset(tarq_ext_dpll_interface* table)
{
    engine* e = self(table);
    ccadical_release(e->sat);
    e->sat = new_solver();
    e->num_vars = e->num_reported = e->num_levels = 0;
    return 0;
}

static tarq_truth_value model_value(tarq_ext_dpll_interface* table, int var)
{
    engine* e = self(table);
    return e->value[var] > 0 ? TARQ_TRUE : e->value[var] < 0 ? TARQ_FALSE : TARQ_UNDEF;
}

/* -- Reports. All return 0, or -1 when Tarq wants the search to end. */

static int open_level(engine* e)
{
    e->level_start[e->num_levels++] = e->num_reported;
    return tarq_dpll_callback_notify_new_level(e->callback);
}

static int back_to(engine* e, int level)
{
    if (level >= e->num_levels) {
        return 0;
    }
    while (e->num_reported > e->level_start[level]) {
        e->reported[abs(e->order[--e->num_reported])] = 0;
    }
    e->num_levels = level;
    return tarq_dpll_callback_notify_backtrack(e->callback, level);
}

static int report(engine* e, int lit)
{
    if (e->reported[abs(lit)]) {
        return 0;
    }
    e->reported[abs(lit)] = lit > 0 ? 1 : -1;
    e->order[e->num_reported++] = lit;
    return tarq_dpll_callback_notify_assignment(e->callback, lit);
}

/* Takes over the clause of an objection. Its newest literal will be left out of what is reported
 * next. */
static void learn(engine* e, const int* clause)
{
    int newest = 0;
    int place = -1;
    const int* l;
    for (l = clause; *l; ++l) {
        int i;
        ccadical_add(e->sat, *l);
        for (i = e->num_reported - 1; i > place; --i) {
            if (abs(e->order[i]) == abs(*l)) {
                place = i;
                newest = abs(*l);
                break;
            }
        }
    }
    ccadical_add(e->sat, 0);
    e->dropped[newest] = 1;
}

/* Asks whether the theories agree with what was reported. Returns 1 if they do, 0 if they objected or
 * derived something, -1 on failure. */
static int ask(engine* e, int* objections)
{
    for (;;) {
        tarq_truth_value code;
        int* clause;
        int i;
        int taken = 0;
        e->num_implied = 0;
        e->clauses_came = 0;
        if (tarq_dpll_callback_no_conflict_after_bcp(e->callback, &code, &clause) != 0) {
            return -1;
        }
        if (code == TARQ_TRUE) {
            return 1;
        }
        if (code == TARQ_FALSE) {
            learn(e, clause);
            ++*objections;
            return 0;
        }
        if (e->clauses_came) {
            ++*objections;
        }
        for (i = 0; i < e->num_implied; ++i) {
            int lit = e->implied[i];
            int var = abs(lit);
            if (!e->dropped[var] && e->value[var] == (lit > 0 ? 1 : -1)) {
                taken += !e->reported[var];
                if (report(e, lit) != 0) {
                    return -1;
                }
            } else if (!e->dropped[var] && e->value[var] != 0) {
                int* reason;
                if (tarq_dpll_callback_ask_theory_reason(e->callback, lit, &reason) != 0) {
                    return -1;
                }
                for (; *reason; ++reason) {
                    ccadical_add(e->sat, *reason);
                }
                ccadical_add(e->sat, 0);
                e->dropped[var] = 1; /* it has the other value in CaDiCaL's assignment */
                ++*objections;
            }
        }
        if (taken == 0) {
            return 1; /* what came is for CaDiCaL, this assignment can't take it into account */
        }
    }
}

/* Reports CaDiCaL's assignment, a level for each literal. Returns 1 if the theories accept it, 0 if
 * they had objections, -1 on failure. */
static int examine(engine* e, const int* assumptions)
{
    enum { CHUNK = 4, MAX_OBJECTIONS = 30 };
    int objections = 0;
    int num_vars = e->num_vars; /* more may come, without values */
    int unasked = 0;
    int var = 1;
    tarq_truth_value code;
    int* clause;
    memset(e->dropped, 0, (size_t)e->num_vars + 1);
    /* What no search can change comes first and at once: it need not be taken back literal by literal. */
    for (var = 1; var <= num_vars; ++var) {
        const int fixed = e->num_levels == 0 ? ccadical_fixed(e->sat, var) : 0;
        if (fixed != 0 && report(e, fixed > 0 ? var : -var) != 0) {
            return -1;
        }
    }
    var = 1;
    for (; *assumptions; ++assumptions) {
        if (open_level(e) != 0 || report(e, *assumptions) != 0) {
            return -1;
        }
    }
    for (;;) {
        int agreed = 1;
        if (var <= num_vars) {
            if (!e->reported[var] && !e->dropped[var] && e->value[var] != 0) {
                if (open_level(e) != 0 || report(e, e->value[var] * var) != 0) {
                    return -1;
                }
                ++unasked;
            }
            ++var;
        }
        if (unasked >= CHUNK || var > num_vars) {
            agreed = ask(e, &objections);
            unasked = 0;
        }
        if (agreed < 0) {
            return -1;
        }
        if (agreed == 0) {
            /* back to before the oldest literal that is left out */
            int level = 0;
            while (level < e->num_levels) {
                int end = level + 1 < e->num_levels ? e->level_start[level + 1] : e->num_reported;
                int i = e->level_start[level];
                while (i < end && !e->dropped[abs(e->order[i])]) {
                    ++i;
                }
                if (i < end) {
                    break;
                }
                ++level;
            }
            if (objections >= MAX_OBJECTIONS || level == e->num_levels) {
                return 0;
            }
            if (back_to(e, level) != 0) {
                return -1;
            }
            var = 1;
        } else if (var > num_vars) {
            break;
        }
    }
    if (objections > 0) {
        return 0;
    }
    e->clauses_came = 0;
    if (tarq_dpll_callback_model_found(e->callback, &code, &clause) != 0) {
        return -1;
    }
    if (code == TARQ_FALSE) {
        learn(e, clause);
    } else if (code == TARQ_UNDEF && !e->clauses_came && e->num_vars == num_vars) {
        return -1; /* nothing that this engine could do about it */
    }
    return code == TARQ_TRUE;
}

static tarq_result solve(tarq_ext_dpll_interface* table, int* assumptions, int** conflict)
{
    engine* e = self(table);
    e->num_levels = e->num_reported = 0; /* where Tarq stands, too */
    memset(e->reported, 0, (size_t)e->num_vars + 1);
    for (;;) {
        int status, var, accepted;
        const int* a;
        for (a = assumptions; *a; ++a) {
            ccadical_assume(e->sat, *a);
        }
        status = ccadical_solve(e->sat);
        if (status == 20) {
            int n = 0;
            for (a = assumptions; *a; ++a) {
                ++n;
            }
            if (n >= e->failed_capacity) {
                e->failed_capacity = 2 * n + 64;
                e->failed = checked(realloc(e->failed, (size_t)e->failed_capacity * sizeof(int)));
            }
            n = 0;
            for (a = assumptions; *a; ++a) {
                if (ccadical_failed(e->sat, *a)) {
                    e->failed[n++] = *a;
                }
            }
            e->failed[n] = 0;
            *conflict = e->failed;
            return TARQ_UNSAT;
        }
        if (status != 10) {
            return TARQ_UNKNOWN;
        }
        for (var = 1; var <= e->num_vars; ++var) {
            e->value[var] = ccadical_val(e->sat, var) > 0 ? 1 : -1;
        }
        accepted = examine(e, assumptions);
        if (accepted < 0) {
            return TARQ_UNKNOWN;
        }
        if (accepted) {
            return TARQ_SAT;
        }
        if (back_to(e, 0) != 0) {
            return TARQ_UNKNOWN;
        }
    }
}

static void init_engine(engine* e)
{
    memset(e, 0, sizeof *e);
    e->table.new_var = new_var;
    e->table.set_decision_var = set_flag;
    e->table.set_frozen = set_flag;
    e->table.add_clause = add_clause;
    e->table.solve = solve;
    e->table.model_value = model_value;
    e->table.enqueue_assignment = enqueue_assignment;
    e->table.remove_clauses_containing = remove_clauses_containing;
    e->table.reset = reset;
    e->table.set_callback = set_callback;
    e->capacity = 64;
    e->value = checked(calloc(64, 1));
    e->reported = checked(calloc(64, 1));
    e->dropped = checked(calloc(64, 1));
    e->order = checked(calloc(64, sizeof(int)));
    e->level_start = checked(calloc(64, sizeof(int)));
    e->sat = new_solver();
}

static void free_engine(engine* e)
{
    ccadical_release(e->sat);
    free(e->value);
    free(e->reported);
    free(e->dropped);
    free(e->order);
    free(e->level_start);
    free(e->implied);
    free(e->failed);
}

/* -- The rest is a user of Tarq like any other */

/* only_words: all formulas are about bit-vectors, which need nothing but clauses then */
static tarq_env make_env(engine* e, const char* models, int only_words)
{
    tarq_config config = tarq_create_config();
    tarq_env env;
    tarq_set_option(config, "model_generation", models);
    tarq_set_option(config, "allow_bool_function_args", "true");
    if (only_words) {
        tarq_set_option(config, "theory.euf.enabled", "false");
        tarq_set_option(config, "theory.la.enabled", "false");
        tarq_set_option(config, "theory.bv.bit_blast_mode", "2");
    }
    env = tarq_create_env(config);
    tarq_destroy_config(config);
    init_engine(e);
    if (tarq_set_external_dpll_engine(env, &e->table) != 0) {
        fprintf(stderr, "%s\n", tarq_last_error_message(env));
        exit(1);
    }
    return env;
}

static void print_result(tarq_env env, tarq_result r)
{
    puts(r == TARQ_SAT ? "sat" : r == TARQ_UNSAT ? "unsat" : tarq_last_error_message(env));
}

static void demonstrate(void)
{
    static const char declarations[] = "(declare-fun f (Real) Real) (declare-const x Real)"
                                       "(declare-const y Real) (declare-const a (_ BitVec 8))"
                                       "(declare-const p Bool) (declare-const q Bool)";
    static const char* const formulas[] = {
        "(assert (or (not p) (< (f x) (f y))))",
        "(assert (or (not q) (and (<= x y) (<= y x))))",
        "(assert (= (bvmul a a) #x51))",
    };
    engine e;
    tarq_env env = make_env(&e, "true", 0);
    tarq_term p, q, a, assumptions[2];
    tarq_model model;
    char text[1000];
    size_t i, n;
    tarq_term* failed;
    char* value;
    for (i = 0; i < sizeof formulas / sizeof *formulas; ++i) {
        snprintf(text, sizeof text, "%s%s", declarations, formulas[i]);
        tarq_assert_formula(env, tarq_from_smtlib2(env, text));
    }
    p = tarq_make_constant(env, tarq_find_decl(env, "p"));
    q = tarq_make_constant(env, tarq_find_decl(env, "q"));
    a = tarq_make_constant(env, tarq_find_decl(env, "a"));
    print_result(env, tarq_solve(env));

    /* p and q can't both be true: equal arguments, equal values */
    assumptions[0] = p;
    assumptions[1] = q;
    print_result(env, tarq_solve_with_assumptions(env, assumptions, 2));
    failed = tarq_get_unsat_assumptions(env, &n);
    printf("%d assumptions failed\n", (int)n);
    tarq_free(failed);

    tarq_push_backtrack_point(env);
    snprintf(text, sizeof text, "%s(assert (and p q))", declarations);
    tarq_assert_formula(env, tarq_from_smtlib2(env, text));
    print_result(env, tarq_solve(env));
    tarq_pop_backtrack_point(env);

    snprintf(text, sizeof text, "%s(assert (bvult #x80 a))", declarations);
    tarq_assert_formula(env, tarq_from_smtlib2(env, text));
    print_result(env, tarq_solve(env));
    snprintf(text, sizeof text, "%s(assert (bvult a #x88))", declarations);
    tarq_assert_formula(env, tarq_from_smtlib2(env, text));
    print_result(env, tarq_solve(env));

    tarq_reset_env(env);
    snprintf(text, sizeof text, "%s(assert (= (bvmul a a) #x51))(assert (bvult a #x10))",
             declarations);
    tarq_assert_formula(env, tarq_from_smtlib2(env, text));
    print_result(env, tarq_solve(env));
    model = tarq_get_model(env);
    value = tarq_term_repr(tarq_model_eval(model, a));
    printf("a = %s\n", value);
    tarq_free(value);
    tarq_destroy_model(model);
    tarq_destroy_env(env);
    free_engine(&e);
}

/* -- Scripts. Declarations are kept as text, in front of every formula that is read. */

typedef struct text {
    char* chars;
    size_t size;
} text;

static void append(text* t, const char* begin, const char* end)
{
    size_t n = (size_t)(end - begin);
    t->chars = checked(realloc(t->chars, t->size + n + 1));
    memcpy(t->chars + t->size, begin, n);
    t->size += n;
    t->chars[t->size] = '\0';
}

/* Skips blanks and comments. */
static const char* skip_blanks(const char* s)
{
    for (;;) {
        s += strspn(s, " \t\r\n");
        if (*s != ';') {
            return s;
        }
        s += strcspn(s, "\n");
    }
}

/* The end of the expression that starts at s. */
static const char* end_of_expression(const char* s)
{
    int depth = 0;
    do {
        if (*s == '(') {
            ++depth;
            ++s;
        } else if (*s == ')') {
            --depth;
            ++s;
        } else if (*s == '"' || *s == '|') {
            const char* end = strchr(s + 1, *s);
            s = end ? end + 1 : s + strlen(s);
        } else {
            s += strcspn(s, " \t\r\n();\"|");
        }
        if (depth > 0) {
            s = skip_blanks(s);
        }
    } while (depth > 0 && *s);
    return s;
}

static int starts_with(const char* s, const char* word)
{
    return strncmp(s, word, strlen(word)) == 0;
}

/* The conjunction of what is asserted in `formulas`. */
static tarq_term read_formulas(tarq_env env, const text* declarations, const text* formulas)
{
    text all = {NULL, 0};
    tarq_term t;
    append(&all, declarations->chars, declarations->chars + declarations->size);
    append(&all, formulas->chars, formulas->chars + formulas->size);
    t = tarq_from_smtlib2(env, all.chars);
    free(all.chars);
    if (TARQ_ERROR_TERM(t)) {
        fprintf(stderr, "%s\n", tarq_last_error_message(env));
        exit(1);
    }
    return t;
}

static void flush_formulas(tarq_env env, const text* declarations, text* formulas)
{
    if (formulas->size > 0) {
        tarq_assert_formula(env, read_formulas(env, declarations, formulas));
        formulas->size = 0;
    }
}

/* (check-sat-assuming (formulas)), from the list on: assertions for this check only. */
static tarq_result solve_assuming(tarq_env env, const text* declarations, const char* s)
{
    text formulas = {NULL, 0};
    tarq_result r;
    tarq_push_backtrack_point(env);
    s = skip_blanks(skip_blanks(s) + 1);
    while (*s && *s != ')') {
        static const char begin[] = "(assert ";
        static const char end_of_command[] = ")";
        const char* end = end_of_expression(s);
        append(&formulas, begin, begin + sizeof begin - 1);
        append(&formulas, s, end);
        append(&formulas, end_of_command, end_of_command + 1);
        s = skip_blanks(end);
    }
    flush_formulas(env, declarations, &formulas);
    free(formulas.chars);
    r = tarq_solve(env);
    tarq_pop_backtrack_point(env);
    return r;
}

static void run_script(const char* name, const char* s)
{
    enum { MAX_POINTS = 1000 };
    static size_t marks[MAX_POINTS];
    int num_points = 0;
    text declarations = {NULL, 0};
    text formulas = {NULL, 0};
    engine e;
    tarq_env env = make_env(&e, "false", strstr(s, "(set-logic QF_BV)") != NULL);
    append(&declarations, "", "");
    printf("%s:\n", name);
    for (s = skip_blanks(s); *s == '(';) {
        const char* end = end_of_expression(s);
        const char* command = skip_blanks(s + 1);
        if (starts_with(command, "declare-") || starts_with(command, "define-")) {
            append(&declarations, s, end);
        } else if (starts_with(command, "assert")) {
            append(&formulas, s, end);
        } else if (starts_with(command, "check-sat")) {
            flush_formulas(env, &declarations, &formulas);
            print_result(env, starts_with(command, "check-sat-assuming")
                                  ? solve_assuming(env, &declarations, command + 18)
                                  : tarq_solve(env));
            fflush(stdout);
        } else if (starts_with(command, "push") || starts_with(command, "pop")) {
            int is_push = command[1] == 'u';
            int n = atoi(command + (is_push ? 4 : 3));
            flush_formulas(env, &declarations, &formulas);
            if (command[is_push ? 4 : 3] == ')') {
                n = 1;
            }
            for (; n > 0; --n) {
                if (is_push && num_points < MAX_POINTS) {
                    tarq_push_backtrack_point(env);
                    marks[num_points++] = declarations.size;
                } else if (!is_push && num_points > 0) {
                    tarq_pop_backtrack_point(env);
                    declarations.size = marks[--num_points];
                }
            }
        } else if (starts_with(command, "reset-assertions")) {
            tarq_reset_env(env);
            declarations.size = formulas.size = 0;
            num_points = 0;
        } else if (starts_with(command, "exit")) {
            break;
        }
        s = skip_blanks(end);
    }
    free(declarations.chars);
    free(formulas.chars);
    tarq_destroy_env(env);
    free_engine(&e);
}

int main(int argc, char** argv)
{
    int i;
    if (argc == 1) {
        demonstrate();
    }
    for (i = 1; i < argc; ++i) {
        char buffer[4096];
        text script = {NULL, 0};
        size_t n;
        FILE* f = fopen(argv[i], "r");
        if (!f) {
            perror(argv[i]);
            return 1;
        }
        append(&script, "", "");
        while ((n = fread(buffer, 1, sizeof buffer, f)) > 0) {
            append(&script, buffer, buffer + n);
        }
        fclose(f);
        run_script(argv[i], script.chars);
        free(script.chars);
    }
    return 0;
}
