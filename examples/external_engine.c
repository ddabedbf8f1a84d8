/* A SAT engine of our own choice does the search: CaDiCaL, as a library, behind the table of functions
 * that tarq_set_external_dpll_engine takes. Tarq keeps the formulas, the theories and the models.
 *
 *   external_engine            runs the demonstration below
 *   external_engine FILE...    prints for each SMT-LIB 2 file whether its assertions are satisfiable
 *
 * CaDiCaL in this form doesn't let anybody look into its search, so the theories are asked afterwards:
 * it finds an assignment, which is then built up again, one decision and its consequences after the
 * other, and reported to Tarq. Only what some clause needs is decided first; the rest comes last.
 * Where the theories object, their clauses go to CaDiCaL, and the decision is reversed, so that one
 * assignment yields many clauses. After a number of objections CaDiCaL continues. Where it takes long
 * to find an assignment, a variation of the last is examined: the clauses may be what it lacks. */
#include <ccadical.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <tarq.h>

typedef struct list {
    int* items;
    int size;
    int capacity;
} list;

/* The table comes first, so that a pointer to it is a pointer to the engine. */
typedef struct engine {
    tarq_ext_dpll_interface table;
    CCaDiCaL* sat;
    tarq_dpll_callback callback;
    int num_vars;
    int capacity;
    signed char* phase;     /* by variable: its value in CaDiCaL's assignment, or 0 */
    signed char* value;     /* by variable: what Tarq has been told, -1, 0 or 1 */
    signed char* undecided; /* by variable: not to be decided */
    int* level;             /* by variable with a value: where it got it */
    list trail;             /* the reported literals in their order */
    list level_start;       /* by level: size of the trail when it was opened */
    list cursor;            /* by level: no clause before this needed a decision */
    int propagated;         /* this many of the trail have been looked at for units */
    int broken;             /* a clause is false */
    unsigned random;
    list clauses;   /* each with its size in front; two watched literals come first */
    list* watches;  /* by literal: its clauses */
    list falsified; /* clauses that came since the last check without a literal left */
    list units;     /* literals that new clauses derive */
    list implied;   /* and theories */
    list failed;    /* the list that `solve` delivers */
} engine;

static void* checked(void* memory)
{
    if (!memory) {
        fputs("out of memory\n", stderr);
        exit(1);
    }
    return memory;
}

static void append_item(list* l, int item)
{
    if (l->size == l->capacity) {
        l->capacity = 2 * l->capacity + 16;
        l->items = checked(realloc(l->items, (size_t)l->capacity * sizeof(int)));
    }
    l->items[l->size++] = item;
}

static engine* self(tarq_ext_dpll_interface* table)
{
    return (engine*)table;
}

static CCaDiCaL* new_solver(void)
{
    CCaDiCaL* sat = ccadical_init();
    ccadical_set_option(sat, "lucky", 0); /* searches are many and short */
    ccadical_set_option(sat, "phase", 0); /* atoms that no clause needs are best left false */
    ccadical_set_option(sat, "stabilizeonly", 1); /* assignments are wanted more than proofs */
    return sat;
}

/* -- Variables and clauses */

static int new_var(tarq_ext_dpll_interface* table, int decision, int problem)
{
    engine* e = self(table);
    int v = ++e->num_vars;
    (void)decision;
    (void)problem;
    if (v >= e->capacity) {
        size_t n = 2 * (size_t)v + 64;
        e->phase = checked(realloc(e->phase, n));
        e->value = checked(realloc(e->value, n));
        e->undecided = checked(realloc(e->undecided, n));
        e->level = checked(realloc(e->level, n * sizeof(int)));
        e->watches = checked(realloc(e->watches, 2 * n * sizeof(list)));
        memset(e->watches + 2 * e->capacity, 0, 2 * (n - (size_t)e->capacity) * sizeof(list));
        e->capacity = (int)n;
    }
    e->phase[v] = e->value[v] = e->undecided[v] = 0;
    return 0;
}

static int literal_value(const engine* e, int lit)
{
    return lit > 0 ? e->value[lit] : -e->value[-lit];
}

static list* watches(engine* e, int lit)
{
    return &e->watches[lit > 0 ? 2 * lit : 1 - 2 * lit];
}

/* Literals without a value, then true ones, then false ones, the newest first. */
static int goes_before(const engine* e, int a, int b)
{
    const int value_a = literal_value(e, a);
    const int value_b = literal_value(e, b);
    if (value_a >= 0 || value_b >= 0) {
        return value_a >= 0 && value_b < 0;
    }
    return e->level[abs(a)] > e->level[abs(b)];
}

/* Sends a clause to CaDiCaL and keeps it here. */
static void take_clause(engine* e, const int* lits)
{
    const int clause = e->clauses.size;
    int i, k, size;
    int* c;
    append_item(&e->clauses, 0);
    for (; *lits; ++lits) {
        ccadical_add(e->sat, *lits);
        append_item(&e->clauses, *lits);
    }
    ccadical_add(e->sat, 0);
    c = e->clauses.items + clause + 1;
    size = e->clauses.items[clause] = e->clauses.size - clause - 1;
    for (i = 0; i < 2 && i < size; ++i) {
        for (k = i + 1; k < size; ++k) {
            if (goes_before(e, c[k], c[i])) {
                const int lit = c[i];
                c[i] = c[k];
                c[k] = lit;
            }
        }
    }
    for (i = 0; i < 2 && size >= 2; ++i) {
        append_item(watches(e, c[i]), clause);
    }
    if (size == 0 || literal_value(e, c[0]) < 0) {
        append_item(&e->falsified, clause);
    } else if (literal_value(e, c[0]) == 0 && (size == 1 || literal_value(e, c[1]) < 0)) {
        append_item(&e->units, c[0]);
    }
}

static int add_clause(tarq_ext_dpll_interface* table, int* lits, int ghost, int in_callback)
{
    (void)ghost;
    (void)in_callback;
    take_clause(self(table), lits);
    return 0;
}

static int set_decision_var(tarq_ext_dpll_interface* table, int var, int flag)
{
    self(table)->undecided[var] = !flag;
    return 0;
}

/* CaDiCaL takes care of variables that come back by itself. */
static int set_frozen(tarq_ext_dpll_interface* table, int var, int flag)
{
    (void)table;
    (void)var;
    (void)flag;
    return 0;
}

static int remove_clauses_containing(tarq_ext_dpll_interface* table, int var)
{
    int unit[2];
    unit[0] = -var; /* satisfies them all */
    unit[1] = 0;
    take_clause(self(table), unit);
    return 0;
}

static int enqueue_assignment(tarq_ext_dpll_interface* table, int lit)
{
    append_item(&self(table)->implied, lit);
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
    int i;
    ccadical_release(e->sat);
    e->sat = new_solver();
    for (i = 0; i < 2 * e->capacity; ++i) {
        e->watches[i].size = 0;
    }
    e->num_vars = e->clauses.size = 0;
    return 0;
}

static tarq_truth_value model_value(tarq_ext_dpll_interface* table, int var)
{
    const int value = self(table)->value[var];
    return value > 0 ? TARQ_TRUE : value < 0 ? TARQ_FALSE : TARQ_UNDEF;
}

/* -- Reports. All return 0, or -1 when Tarq wants the search to end. */

static int open_level(engine* e)
{
    const int at = e->level_start.size > 0 ? e->cursor.items[e->cursor.size - 1] : 0;
    append_item(&e->level_start, e->trail.size);
    append_item(&e->cursor, at);
    return tarq_dpll_callback_notify_new_level(e->callback);
}

static int back_to(engine* e, int level)
{
    if (level >= e->level_start.size) {
        return 0;
    }
    while (e->trail.size > e->level_start.items[level]) {
        e->value[abs(e->trail.items[--e->trail.size])] = 0;
    }
    e->propagated = e->trail.size;
    e->level_start.size = e->cursor.size = level;
    return tarq_dpll_callback_notify_backtrack(e->callback, level);
}

static int report(engine* e, int lit)
{
    const int var = abs(lit);
    e->value[var] = lit > 0 ? 1 : -1;
    e->level[var] = e->level_start.size;
    append_item(&e->trail, lit);
    return tarq_dpll_callback_notify_assignment(e->callback, lit);
}

/* -- Examination of an assignment. Functions return -1 when Tarq wants the search to end. */

/* Reports what clauses derive from the reported literals. A false clause shows that the reported is no
 * model any more, but the theories may have more to object to, so the examination continues. */
static int propagate(engine* e)
{
    while (e->propagated < e->trail.size) {
        const int falsified = -e->trail.items[e->propagated++];
        list* of = watches(e, falsified);
        int from, to = 0;
        for (from = 0; from < of->size; ++from) {
            const int clause = of->items[from];
            int* c = e->clauses.items + clause + 1;
            const int size = c[-1];
            int other, k = 2;
            of->items[to++] = clause;
            if (c[0] == falsified) {
                c[0] = c[1];
                c[1] = falsified;
            }
            other = literal_value(e, c[0]);
            if (other > 0) {
                continue;
            }
            while (k < size && literal_value(e, c[k]) < 0) {
                ++k;
            }
            if (k < size) {
                c[1] = c[k];
                c[k] = falsified;
                append_item(watches(e, c[1]), clause);
                --to;
            } else if (other < 0) {
                e->broken = 1;
            } else if (report(e, c[0]) != 0) {
                return -1;
            }
        }
        of->size = to;
    }
    return 0;
}

/* The newest level among the literals of a list. */
static int newest_level(const engine* e, const int* lits, int size)
{
    int result = 0;
    int i;
    for (i = 0; i < size; ++i) {
        if (e->level[abs(lits[i])] > result) {
            result = e->level[abs(lits[i])];
        }
    }
    return result;
}

/* Reverses the decision that led to a conflict in which no level above `level` takes part. Returns 1,
 * or 0 if there is none to be reversed. */
static int reverse_decision(engine* e, int level, int num_assumptions)
{
    int decision;
    if (level <= num_assumptions) {
        return 0;
    }
    decision = e->trail.items[e->level_start.items[level - 1]];
    return back_to(e, level - 1) != 0 || report(e, -decision) != 0 ? -1 : 1;
}

/* Reports what the theories and their clauses derive. Returns 1, or 0 if a clause is false: the newest
 * level that takes part is put into *level then. */
static int take_news(engine* e, int* level)
{
    int i;
    for (i = 0; i < e->implied.size; ++i) {
        const int lit = e->implied.items[i];
        const int phase = lit > 0 ? e->phase[lit] : -e->phase[-lit];
        if (literal_value(e, lit) == 0 && (phase < 0 || e->level_start.size == 0)) {
            int* reason; /* CaDiCaL ought to know */
            if (tarq_dpll_callback_ask_theory_reason(e->callback, lit, &reason) != 0) {
                return -1;
            }
            take_clause(e, reason);
        } else {
            append_item(&e->units, lit);
        }
    }
    *level = e->level_start.size;
    for (i = 0; i < e->falsified.size; ++i) {
        const int* c = e->clauses.items + e->falsified.items[i] + 1;
        const int newest = newest_level(e, c, c[-1]);
        *level = newest < *level ? newest : *level;
    }
    for (i = 0; i < e->units.size && e->falsified.size == 0; ++i) {
        const int lit = e->units.items[i];
        if (literal_value(e, lit) == 0 && report(e, lit) != 0) {
            return -1;
        }
    }
    i = e->falsified.size == 0;
    e->implied.size = e->units.size = e->falsified.size = 0;
    return i;
}

/* The next literal to be decided, 0 if there is none. Clauses come first. */
static int next_decision(engine* e)
{
    int* at = e->cursor.size > 0 ? &e->cursor.items[e->cursor.size - 1] : NULL;
    int clause = at ? *at : 0;
    int var;
    while (clause < e->clauses.size) {
        const int* c = e->clauses.items + clause + 1;
        int best = 0;
        int k;
        for (k = 0; k < c[-1] && literal_value(e, c[k]) <= 0; ++k) {
            if (literal_value(e, c[k]) == 0 &&
                (best == 0 || (c[k] > 0 ? e->phase[c[k]] : -e->phase[-c[k]]) > 0)) {
                best = c[k];
            }
        }
        if (at) {
            *at = clause;
        }
        if (k == c[-1] && best != 0) {
            return best;
        }
        clause += c[-1] + 1;
    }
    for (var = 1; var <= e->num_vars; ++var) {
        if (e->value[var] == 0 && !e->undecided[var]) {
            return e->phase[var] > 0 ? var : -var;
        }
    }
    return 0;
}

/* Asks the theories about what was reported, of all variables if `complete`. *reaction: their answer.
 * Returns as take_news. */
static int ask(engine* e, int complete, tarq_truth_value* reaction, int* level)
{
    int* clause;
    if ((complete
             ? tarq_dpll_callback_model_found(e->callback, reaction, &clause)
             : tarq_dpll_callback_no_conflict_after_bcp(e->callback, reaction, &clause)) != 0) {
        return -1;
    }
    if (*reaction == TARQ_FALSE) {
        take_clause(e, clause);
    }
    return take_news(e, level);
}

/* Builds CaDiCaL's assignment up again. Returns 1 if the theories accept it, or one that came out of it
 * by the reversal of decisions; 0 if CaDiCaL has to continue with the clauses that came. */
static int examine(engine* e, const int* assumptions)
{
    enum { MAX_CONFLICTS = 30 };
    int num_assumptions = 0;
    int conflicts = 0;
    int var;
    while (assumptions[num_assumptions]) {
        ++num_assumptions;
    }
    e->falsified.size = e->units.size = e->implied.size = 0;
    e->propagated = 0;
    e->broken = 0;
    for (var = 1; var <= e->num_vars; ++var) { /* what no search can change */
        const int fixed = ccadical_fixed(e->sat, var);
        if (fixed != 0 && e->value[var] == 0 && report(e, fixed > 0 ? var : -var) != 0) {
            return -1;
        }
    }
    for (;;) {
        tarq_truth_value reaction;
        int level, good, reported, lit = 0;
        if (propagate(e) != 0) {
            return -1;
        }
        reported = e->trail.size;
        good = ask(e, 0, &reaction, &level);
        if (good > 0 && e->trail.size > reported) {
            continue;
        }
        if (good > 0 && e->level_start.size >= num_assumptions && (lit = next_decision(e)) == 0) {
            const int num_vars = e->num_vars;
            if (e->broken) {
                return 0;
            }
            good = ask(e, 1, &reaction, &level);
            if (good > 0 && reaction == TARQ_TRUE) {
                return 1;
            }
            if (good > 0 && e->trail.size == reported && e->num_vars == num_vars) {
                return -1; /* nothing that this engine could do about it */
            }
            if (good > 0) {
                continue;
            }
        }
        if (good < 0) {
            return -1;
        }
        if (good == 0) {
            good = ++conflicts < MAX_CONFLICTS ? reverse_decision(e, level, num_assumptions) : 0;
            if (good <= 0) {
                return good;
            }
            continue;
        }
        if (e->level_start.size < num_assumptions) {
            lit = assumptions[e->level_start.size];
        }
        if (literal_value(e, lit) < 0) {
            return 0;
        }
        if (open_level(e) != 0 || (literal_value(e, lit) == 0 && report(e, lit) != 0)) {
            return -1;
        }
    }
}

/* Reverses an eighth of the values that were last examined. */
static void vary_phases(engine* e)
{
    int var;
    for (var = 1; var <= e->num_vars; ++var) {
        e->random = e->random * 1103515245u + 12345u;
        if (e->phase[var] == 0) {
            e->phase[var] = -1;
        } else if ((e->random >> 16) % 8 == 0) {
            e->phase[var] = (signed char)-e->phase[var];
        }
    }
}

static tarq_result solve(tarq_ext_dpll_interface* table, int* assumptions, int** conflict)
{
    engine* e = self(table);
    int max_conflicts = 500; /* of CaDiCaL before it is interrupted */
    e->trail.size = e->level_start.size = e->cursor.size = 0; /* where Tarq stands, too */
    if (e->num_vars > 0) {
        memset(e->value, 0, (size_t)e->num_vars + 1);
    }
    for (;;) {
        int status, var, accepted;
        const int* a;
        for (a = assumptions; *a; ++a) {
            ccadical_assume(e->sat, *a);
        }
        ccadical_limit(e->sat, "conflicts", max_conflicts);
        status = ccadical_solve(e->sat);
        if (status == 20) {
            e->failed.size = 0;
            for (a = assumptions; *a; ++a) {
                if (ccadical_failed(e->sat, *a)) {
                    append_item(&e->failed, *a);
                }
            }
            append_item(&e->failed, 0);
            *conflict = e->failed.items;
            return TARQ_UNSAT;
        }
        if (status == 10) {
            for (var = 1; var <= e->num_vars; ++var) {
                e->phase[var] = ccadical_val(e->sat, var) > 0 ? 1 : -1;
            }
        } else {
            max_conflicts += max_conflicts / 20; /* it shall come to an end some time */
            vary_phases(e);
        }
        accepted = examine(e, assumptions);
        if (accepted > 0) {
            return TARQ_SAT;
        }
        if (accepted < 0 || back_to(e, 0) != 0) {
            return TARQ_UNKNOWN;
        }
    }
}

static void init_engine(engine* e)
{
    memset(e, 0, sizeof *e);
    e->table.new_var = new_var;
    e->table.set_decision_var = set_decision_var;
    e->table.set_frozen = set_frozen;
    e->table.add_clause = add_clause;
    e->table.solve = solve;
    e->table.model_value = model_value;
    e->table.enqueue_assignment = enqueue_assignment;
    e->table.remove_clauses_containing = remove_clauses_containing;
    e->table.reset = reset;
    e->table.set_callback = set_callback;
    e->sat = new_solver();
}

static void free_engine(engine* e)
{
    int i;
    ccadical_release(e->sat);
    for (i = 0; i < 2 * e->capacity; ++i) {
        free(e->watches[i].items);
    }
    free(e->watches);
    free(e->phase);
    free(e->value);
    free(e->undecided);
    free(e->level);
    free(e->trail.items);
    free(e->level_start.items);
    free(e->cursor.items);
    free(e->clauses.items);
    free(e->falsified.items);
    free(e->units.items);
    free(e->implied.items);
    free(e->failed.items);
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
