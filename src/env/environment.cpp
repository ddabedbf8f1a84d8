// Construction, the assertion stack and the road of a formula to the engine.
#include "env/environment.h"

#include "dpll/externaldpllenginehook.h"
#include "encoding/commonequalities.h"
#include "encoding/normrules.h"
#include "encoding/realequalities.h"
#include "env/environment_solvers.h"
#include "results/modelstore.h"
#include "terms/stdtermsimplifier.h"
#include "theory/bv/eagerbvsolver.h"
#include "theory/fp/fpbveagersolver.h"

#include <algorithm>
#include <iterator>
#include <ostream>

namespace tarq {

template class TseitinCNFGenerator<DpllClauseSink>;

namespace {

ConstraintEncoder::config encoder_config(const Configuration& config)
{
    ConstraintEncoder::config c;
    c.basic_ite_simplification = config.preprocessor.simplification & 1;
    c.ite_minimization = config.preprocessor.ite_minimization;
    c.ite_call_limit = config.preprocessor.ite_minimization_call_limit;
    c.bv_ite_circuits = bv::eager::EagerBVSolver::builds_ites(config.theory);
    c.fp_ite_circuits = fp::FpBvEagerSolver::builds_ites(config.theory);
    c.bv_div_uf = config.theory.bv.div_by_zero_mode == 1;
    c.real_div_uf = config.theory.na.div_by_zero_mode == 1;
    if (!config.debug.term_simplifications) {
        c.basic_ite_simplification = c.ite_minimization = false; // they work by simplification
    }
    return c;
}

} // namespace

Environment::Solvers::Solvers(const Configuration& config, TermManager* tm,
                              dpll::ExternalDpllInterface* external)
    : own_engine(external ? std::make_unique<ExternalDpllEngineHook>(config.dpll, tm, external)
                          : std::make_unique<DpllSolver>(config.dpll, tm)),
      engine(*own_engine), polarity(tm),
      cores(config.unsat_core_generation != 0
                ? std::make_unique<UnsatCoreStore>(config, tm, &engine)
                : nullptr),
      sink(config, tm, &engine, &polarity, cores.get()),
      cnf(tm, &sink, config.preprocessor.full_cnf_conversion),
      nnf(config.preprocessor.partial_nnf_conversion ? std::make_unique<NNFGenerator>(tm)
                                                     : nullptr),
      // what it learns from one formula would end up in others, unseen by cores
      propagator(config.preprocessor.toplevel_propagation && !cores
                     ? std::make_unique<ToplevelPropagator>(tm, &rewrites, config.model_generation,
                                                            config.theory.na.div_by_zero_mode == 1)
                     : nullptr),
      free_coder(config.preprocessor.free_input_propagation && !cores
                     ? std::make_unique<FreeCoder>(tm, &rewrites)
                     : nullptr),
      encoder(tm, encoder_config(config))
{
    make_theories(config, tm);
}

void Environment::gc_hook::operator()(TermVector&, std::vector<const Symbol*>&, TypeVector&) {}

namespace {

/// Tells a formula on the assertion stack from a backtrack point.
bool is_formula(const Term_* t)
{
    return t != nullptr;
}

} // namespace

// Construction

Environment::Environment(const Configuration* config) : Environment(config, nullptr) {}

Environment::Environment(const Configuration* config, TermManager* tm) : tm_(tm)
{
    config->copy_to(&config_);
    pure_literal_filtering_ = config_.theory.pure_literal_filtering;
    pure_equality_filtering_ = config_.theory.la.pure_equality_filtering;
    refuse_unsupported_options();
    if (!tm_) {
        owned_tm_ = std::make_unique<TermManager>();
        tm_ = owned_tm_.get();
        simplifier_ = std::make_unique<StdTermSimplifier>(tm_);
        tm_->set_simplifier(simplifier_.get());
        tm_->set_simplify(true);
        tm_->set_refuse_bool_args(!config_.allow_bool_function_args);
    }
    if (!config_.debug.term_simplifications) {
        tm_->set_simplify(false);
    }
    logger_.set_level(config_.verbosity);
    if (!config_.debug.log_sections.empty()) {
        logger_.disable_sections();
        for (const std::string& section : config_.debug.log_sections) {
            logger_.enable_section(section);
        }
    }
    Environment::init();
    tm_->add_user();
}

Environment::~Environment()
{
    drop_model();
    solvers_.reset();
    tm_->remove_user();
    if (owned_tm_) {
        tm_->set_simplifier(nullptr);
    }
}

/// Refuses the options whose whole effect is a result that nothing here can produce yet; a caller
/// who asks for one must not be left believing that it is there. Options that only tune a search
/// are harmless while what they tune is absent.
void Environment::refuse_unsupported_options() const
{
    const std::pair<const char*, bool> requested[] = {
        {"unsat_core_generation=1", config_.unsat_core_generation == 1}, // brings the next along
        {"proof_generation", config_.proof_generation},
        {"interpolation", config_.interpolation},
        {"debug.api_call_trace", config_.debug.api_call_trace != 0},
        {"theory.fp.mode", config_.theory.fp.enabled && config_.theory.fp.mode > 1},
    };
    for (auto [name, on] : requested) {
        if (on) {
            throw make_error<error>("option `", name, "' is not supported");
        }
    }
}

void Environment::init()
{
    interrupted_ = false;
    assertions_done_ = 0;
    trivially_unsat_at_ = -1;
    enumerated_at_ = -1;
    last_result_ = -1;
    symmetries_done_ = false;
    reset_model();
    unsat_assumptions_.clear();
    collected_stats_ = RawStats();
    make_solvers();
    solvers_->engine.set_logger(&logger_, config_.verbosity > 2 ? "DPLL" : "", "");
    next_bt_label_ = 1;
    solvers_->theories->set_logger(&logger_);
    set_termination_test(termination_test_);
}

/// Builds the solver objects. A foreign SAT engine that does not take part any more is given up.
void Environment::make_solvers()
{
    // Literals that the theories are not told may have to be told later, at a level to which the
    // search goes back; a foreign one can't be made to.
    config_.theory.pure_literal_filtering = pure_literal_filtering_ && !external_;
    config_.theory.la.pure_equality_filtering = pure_equality_filtering_ && !external_;
    if (!external_) {
        solvers_ = std::make_unique<Solvers>(config_, tm_, nullptr);
        return;
    }
    try {
        external_->reset_interface();
        solvers_ = std::make_unique<Solvers>(config_, tm_, external_);
    } catch (...) {
        external_ = nullptr;
        make_solvers();
        throw;
    }
}

void Environment::set_external_solver(dpll::ExternalDpllInterface* external)
{
    if (!assertions_.empty()) {
        throw make_error<error>("can't set external solver, assertion stack is not empty");
    }
    external_ = external;
    do_reset();
    init();
}

void Environment::do_reset()
{
    reset_model();
    solvers_.reset();
    assertions_.clear();
    assertions_done_ = 0;
    num_backtrack_points_ = 0;
    bt_labels_.clear();
    enumeration_ = {};
}

void Environment::reset_model()
{
    has_model_ = false;
    drop_model();
}

void Environment::reset_assertions()
{
    do_reset();
    init();
}

void Environment::reset_after_interrupted()
{
    std::vector<const Term_*> assertions;
    assertions.swap(assertions_);
    EnumerationClauses enumeration = std::move(enumeration_);
    int points = num_backtrack_points_;
    reset_assertions();
    assertions_.swap(assertions);
    enumeration_ = std::move(enumeration);
    enumeration_.done = 0;
    num_backtrack_points_ = points;
}

void Environment::set_termination_test(const TerminationTest* test)
{
    termination_test_ = test;
    solvers_->engine.set_termination_test(test);
    solvers_->cnf.set_termination_test(test);
    solvers_->encoder.set_termination_test(test);
    if (solvers_->propagator) {
        solvers_->propagator->set_termination_test(test);
    }
    if (solvers_->free_coder) {
        solvers_->free_coder->set_termination_test(test);
        solvers_->free_coder->set_logger(&logger_);
    }
    solvers_->theories->set_termination_test(test);
    if (model_) {
        model_->set_termination_test(test);
    }
}

// The assertion stack

void Environment::assert_formula(const Term_* t)
{
    tm_->typecheck(t, tm_->get_bool_type(), "assert_formula");
    assertions_.push_back(t);
}

void Environment::push_backtrack_point()
{
    assertions_.push_back(nullptr);
    ++num_backtrack_points_;
}

void Environment::pop_backtrack_point()
{
    if (num_backtrack_points_ == 0) {
        throw make_error<error>("no backtrack points to pop");
    }
    // What the engines never saw is cut without them. After a failed check that is the whole stack.
    while (assertions_.size() > assertions_done_) {
        bool marker = !assertions_.back();
        assertions_.pop_back();
        if (marker) {
            --num_backtrack_points_;
            drop_enumeration_clauses();
            return;
        }
    }
    do_pop_backtrack_point();
}

void Environment::get_asserted_formulas(std::vector<const Term_*>* out) const
{
    std::copy_if(assertions_.begin(), assertions_.end(), std::back_inserter(*out), is_formula);
}

/// The backtrack points that the engines have been told of.
int Environment::num_solver_levels() const
{
    return config_.shallow_incrementality ? static_cast<int>(bt_labels_.size())
                                          : solvers_->engine.num_backtrack_points();
}

void Environment::do_push_backtrack_point()
{
    logger_("ENV") << loglevel(1) << "push" << EndLog;
    if (config_.shallow_incrementality) {
        do_push_shallow_backtrack_point();
        return;
    }
    solvers_->rewrites.push_backtrack_point();
    if (solvers_->propagator) {
        solvers_->propagator->push_backtrack_point();
    }
    if (solvers_->free_coder) {
        solvers_->free_coder->push_backtrack_point();
    }
    solvers_->polarity.push_backtrack_point();
    solvers_->cnf.push_backtrack_point();
    solvers_->engine.push_backtrack_point();
    if (solvers_->cores) {
        solvers_->cores->push_backtrack_point();
    }
}

/// A shallow point is a Boolean label that weakens every later formula; checks assume it false, and
/// the pop makes it true for good.
void Environment::do_push_shallow_backtrack_point()
{
    const Term_* label = make_label(".btlabel" + std::to_string(next_bt_label_++));
    bt_labels_.push_back(label);
    int var;
    solvers_->engine.make_proxy(label, &var);
    if (solvers_->cores) {
        solvers_->cores->push_backtrack_point();
    }
}

/// A Boolean constant that no user can name and preprocessing leaves alone.
const Term_* Environment::make_label(const std::string& prefix)
{
    const std::string name = tm_->get_unused_symbol_name(prefix);
    const Term_* label = tm_->make_constant(tm_->make_symbol(name, tm_->get_bool_type()));
    tm_->remove_symbol(name);
    if (solvers_->propagator) {
        solvers_->propagator->set_protected(label);
    }
    if (solvers_->free_coder) {
        solvers_->free_coder->set_protected(label);
    }
    return label;
}

void Environment::do_pop_backtrack_point()
{
    logger_("ENV") << loglevel(1) << "pop" << EndLog;
    reset_model();
    bool marker = false;
    while (!marker) {
        marker = !assertions_.back();
        assertions_.pop_back();
    }
    --num_backtrack_points_;
    assertions_done_ = assertions_.size();
    drop_enumeration_clauses();
    if (config_.shallow_incrementality) {
        do_pop_shallow_backtrack_point();
    } else {
        solvers_->engine.pop_backtrack_point();
        solvers_->encoder.reset();
        solvers_->rewrites.pop_backtrack_point();
        solvers_->cnf.pop_backtrack_point();
        if (solvers_->propagator) {
            solvers_->propagator->pop_backtrack_point();
        }
        if (solvers_->free_coder) {
            solvers_->free_coder->pop_backtrack_point();
        }
        solvers_->polarity.pop_backtrack_point();
    }
    if (trivially_unsat_at_ > num_solver_levels()) {
        trivially_unsat_at_ = -1;
    }
    if (enumerated_at_ > num_solver_levels()) {
        enumerated_at_ = -1;
    }
    if (UnsatCoreStore* cores = solvers_->cores.get()) {
        cores->pop_backtrack_point(config_.shallow_incrementality);
        if (trivially_unsat_at_ < 0) {
            cores->forget_refutation();
        }
    }
}

void Environment::do_pop_shallow_backtrack_point()
{
    const Term_* label = bt_labels_.back();
    bt_labels_.pop_back();
    solvers_->sink.begin_clause(true);
    solvers_->sink.add_literal(label, false);
    solvers_->sink.end_clause();
}

// Preprocessing

/// Brings the engines level with the assertion stack. All formulas between two backtrack points are
/// processed as one conjunction, so that a stage that looks for top-level facts sees all of them,
/// unless cores have to tell them apart.
void Environment::do_assert_stack()
{
    const Term_* running = nullptr;
    while (assertions_done_ < assertions_.size()) {
        const Term_* t = assertions_[assertions_done_++];
        if (t && solvers_->cores) {
            do_assert_formula(t);
            continue;
        }
        if (t) {
            running = running ? tm_->make_and(running, t) : t;
            continue;
        }
        if (running) {
            do_assert_formula(running);
            running = nullptr;
        }
        restore_enumeration_clauses(assertions_done_ - 1);
        do_push_backtrack_point();
    }
    if (running) {
        do_assert_formula(running);
    }
    restore_enumeration_clauses(assertions_done_);
}

void Environment::do_assert_formula(const Term_* f)
{
    UnsatCoreStore* cores = solvers_->cores.get();
    const Term_* asserted = f;
    if (config_.preprocessor.simplification && trivially_unsat_at_ < 0) {
        f = add_common_equalities(tm_, f); // before a label hides the cases
    }
    if (cores) {
        f = cores->add_formula(asserted, f);
    }
    if (trivially_unsat_at_ >= 0) {
        return;
    }
    if (config_.shallow_incrementality && !bt_labels_.empty()) {
        f = tm_->make_or(bt_labels_.back(), f);
    }
    if (solvers_->nnf) {
        f = solvers_->nnf->apply_partial(f);
    }
    logger_("ENV") << loglevel(1) << "preprocessing..." << EndLog;
    f = propagate_formula(f);
    f = free_formula(f);
    f = simplify_formula(f);
    f = encode_formula(f);
    const bool is_constant = tm_->is_true(f) || tm_->is_false(f);
    if (!is_constant) {
        reset_model();
        f = prepare_for_theories(f);
    }
    solvers_->polarity.add_formula(f);
    if (tm_->is_false(f)) {
        reset_model();
        trivially_unsat_at_ = num_solver_levels();
        if (cores) {
            cores->set_trivial_unsat_core();
        }
    } else if (!is_constant) {
        logger_("ENV") << loglevel(2) << " converting to cnf..." << FlushLog;
        solvers_->cnf(f);
        logger_("ENV") << loglevel(2) << "done" << EndLog;
    }
}

TermNormalizer& Environment::normalizer()
{
    std::unique_ptr<TermNormalizer>& n = solvers_->normalizer;
    if (!n) {
        n = std::make_unique<TermNormalizer>(tm_);
        n->set_logger(&logger_);
        register_preprocessing_normalizations(config_, n.get());
    }
    return *n;
}

const Term_* Environment::propagate_formula(const Term_* f)
{
    if (!solvers_->propagator) {
        return f;
    }
    logger_("ENV") << loglevel(2) << " propagating top-level information..." << FlushLog;
    f = (*solvers_->propagator)(f, config_.preprocessor.toplevel_propagation_limit);
    logger_("ENV") << loglevel(2) << "done" << EndLog;
    return f;
}

const Term_* Environment::free_formula(const Term_* f)
{
    FreeCoder* coder = solvers_->free_coder.get();
    if (!coder) {
        return f;
    }
    logger_("ENV") << loglevel(2) << " propagating free inputs..." << FlushLog;
    coder->open_session();
    f = (*coder)(f);
    const Term_* side_conditions = nullptr;
    coder->close_session(&side_conditions);
    logger_("ENV") << loglevel(2) << "done" << EndLog;
    return tm_->make_and(f, side_conditions);
}

/// The rules are about other terms than Boolean constants, except those for whole conjunctions, so
/// a formula without such terms is spared the walk.
const Term_* Environment::simplify_formula(const Term_* f)
{
    const int rules = config_.preprocessor.simplification;
    if (!(rules & NORM_ALL) || (!(rules & NORM_CONJUNCTIONS) && is_plain(f))) {
        return f;
    }
    logger_("ENV") << loglevel(2) << " simplifying..." << FlushLog;
    f = normalizer()(f);
    logger_("ENV") << loglevel(2) << "done" << EndLog;
    return f;
}

/// Whether `f` consists of Boolean constants and connectives. Each node that does is looked at once
/// in the life of the solvers.
bool Environment::is_plain(const Term_* f)
{
    BitVector& plain = solvers_->plain;
    TermVector seen;
    TermVector stack{f};
    while (!stack.empty()) {
        const Term_* t = stack.back();
        stack.pop_back();
        plain.grow(t->get_id() + 1);
        if (plain.get(t->get_id())) {
            continue;
        }
        if (!tm_->is_connective(t->get_symbol()) && t->arity() > 0) {
            for (const Term_* u : seen) {
                plain.unset(u->get_id()); // they may stand above this one
            }
            return false;
        }
        plain.set(t->get_id());
        seen.push_back(t);
        stack.insert(stack.end(), t->children().begin(), t->children().end());
    }
    return true;
}

const Term_* Environment::encode_formula(const Term_* f)
{
    logger_("ENV") << loglevel(2) << " constraint encoding..." << FlushLog;
    f = solvers_->encoder(f);
    logger_("ENV") << loglevel(2) << "done" << EndLog;
    return f;
}

/// Whether a walk over the terms of `f` could find anything but Boolean constants.
bool Environment::has_theory_atoms(const Term_* f) const
{
    TermSet seen;
    TermVector stack{f};
    while (!stack.empty()) {
        const Term_* t = stack.back();
        stack.pop_back();
        if (tm_->is_connective(t->get_symbol())) {
            for (const Term_* c : t->children()) {
                if (c->arity() > 0 && seen.insert(c).second) {
                    stack.push_back(c);
                }
            }
        } else if (t->arity() > 0) {
            return true;
        }
    }
    return false;
}

/// The last step before the conversion to clauses: refuses atoms that no engine decides, and shapes
/// equalities for those that do.
/// throws  error "unsupported atom (no theory solver for it): " and the atom
const Term_* Environment::prepare_for_theories(const Term_* f)
{
    if (const Term_* atom = find_unsupported_atom(f)) {
        throw make_error<error>("unsupported atom (no theory solver for it): ",
                                atom->to_shallow_str());
    }
    // Other solvers need the equality itself, and a model of atoms alone its value.
    const Configuration::Theory::La& la = config_.theory.la;
    const bool split = la.enabled && la.split_rat_eq && !solvers_->has_other_terms &&
                       !config_.bool_model_generation;
    return split ? split_real_equalities(tm_, f) : f;
}

/// An atom of `f` that no engine can decide, or null: as a free variable it would give wrong
/// answers. Each node without such an atom is looked at once in the life of the solvers.
/// Quantifiers are left to the clause conversion, which names them better.
const Term_* Environment::find_unsupported_atom(const Term_* f)
{
    BitVector& seen = solvers_->supported;
    // With an atom to name for what is found below it; null above atoms.
    std::vector<std::pair<const Term_*, const Term_*>> stack{{f, nullptr}};
    while (!stack.empty()) {
        const auto [t, above] = stack.back();
        stack.pop_back();
        seen.grow(t->get_id() + 1);
        if (seen.get(t->get_id())) {
            continue;
        }
        seen.set(t->get_id());
        const Term_* atom = above;
        if (!above) {
            if (tm_->is_connective(t->get_symbol())) {
                for (const Term_* c : t->children()) {
                    stack.emplace_back(c, nullptr);
                }
                continue;
            }
            if (!tm_->is_boolean_atom(t) || tm_->is_boolean_constant(t) || tm_->is_quantifier(t)) {
                continue;
            }
            atom = t;
        }
        if ((above && TermManager::get_type(t) == tm_->get_bool_type()) ||
            !solvers_->decides(tm_, t)) {
            seen = BitVector(); // nodes above this one were marked on the way
            return atom;
        }
        // Integers have a solver that wants their equalities.
        const DataType* type = TermManager::get_type(t);
        solvers_->has_other_terms = solvers_->has_other_terms ||
                                    tm_->is_uninterpreted_function(t) ||
                                    (type != tm_->get_bool_type() && type != tm_->get_real_type() &&
                                     !tm_->is_arith_number(t));
        if (!tm_->is_term_ite(t)) {
            const bool takes_formulas = encoders::has_bool_argument(tm_, t);
            for (const Term_* c : t->children()) {
                const bool is_formula =
                    takes_formulas && TermManager::get_type(c) == tm_->get_bool_type();
                stack.emplace_back(c, is_formula ? nullptr : atom);
            }
        }
    }
    return nullptr;
}

// Terms

void Environment::gc(const TermSet& keep)
{
    gc_hook no_more;
    gc(keep, no_more);
}

void Environment::gc(const TermSet& keep, gc_hook& hook)
{
    logger_("ENV") << loglevel(2) << "gc" << EndLog;
    std::vector<const Term_*> assertions;
    assertions.swap(assertions_);
    EnumerationClauses enumeration = std::move(enumeration_);
    int points = num_backtrack_points_;
    const RawStats stats = get_raw_stats();
    // The solver objects hold terms, so they go first. The labels of shallow points go with them:
    // the markers bring new ones when the stack is processed again.
    do_reset();
    if (owned_tm_ && tm_->num_users() == 1) {
        TermVector terms(keep.begin(), keep.end());
        std::vector<const Symbol*> symbols;
        TypeVector types;
        std::copy_if(assertions.begin(), assertions.end(), std::back_inserter(terms), is_formula);
        for (TheoryLit l : enumeration.lits) {
            terms.push_back(l.get_term());
        }
        hook(terms, symbols, types);
        tm_->gc(terms, symbols, types);
        auto fresh = std::make_unique<StdTermSimplifier>(tm_);
        tm_->set_simplifier(fresh.get());
        simplifier_ = std::move(fresh);
    }
    init();
    collected_stats_ = stats;
    assertions_.swap(assertions);
    enumeration_ = std::move(enumeration);
    enumeration_.done = 0;
    num_backtrack_points_ = points;
}

const Term_* Environment::apply_substitution(const Term_* t, TermArgs from, TermArgs to)
{
    for (size_t i = 0; i < from.size(); ++i) { // also those that do not occur
        tm_->typecheck(to[i], TermManager::get_type(from[i]), "apply_substitution");
    }
    return tm_->substitute(t, from, to);
}

const Term_* Environment::simplify(const Term_* t)
{
    return normalizer()(t);
}

const Term_* Environment::simplify(const Term_* t, TermArgs to_protect, bool toplevel)
{
    t = simplify(t);
    if (!toplevel || TermManager::get_type(t) != tm_->get_bool_type() || t->arity() == 0) {
        return t;
    }
    ToplevelPropagator propagator(tm_, nullptr, config_.model_generation,
                                  config_.theory.na.div_by_zero_mode == 1);
    propagator.set_termination_test(termination_test_);
    for (const Term_* p : to_protect) {
        propagator.set_protected(p);
    }
    return propagator(t, -1);
}

const Term_* Environment::to_nnf(const Term_* t)
{
    tm_->typecheck(t, tm_->get_bool_type(), "to_nnf");
    return NNFGenerator(tm_)(t);
}

// Statistics

Environment::RawStats Environment::get_raw_stats() const
{
    RawStats r = collected_stats_;
    const DpllClauseSink::Stats& c = solvers_->sink.get_stats();
    r.cnf_variables += c.variables;
    r.cnf_literals += c.literals;
    r.cnf_clauses += c.clauses;
    const DpllSolver::Stats& s = solvers_->engine.get_stats();
    r.sat_checks += s.checks;
    r.sat_restarts += s.restarts;
    r.sat_decisions += s.decisions;
    r.sat_random_decisions += s.random_decisions;
    r.sat_propagations += s.propagations;
    r.sat_theory_propagations += s.theory_propagations;
    r.sat_watched_clauses_visited += s.watched_clauses_visited;
    r.sat_binary_watched_clauses_visited += s.binary_watched_clauses_visited;
    r.sat_conflicts += s.conflicts;
    r.sat_theory_conflicts += s.theory_conflicts;
    if (r.first_decision_seconds == 0) {
        r.first_decision_seconds = s.first_decision_seconds;
    }
    return r;
}

Environment::StatsList Environment::get_stats() const
{
    RawStats r = get_raw_stats();
    const std::pair<const char*, uint64_t> rows[] = {
        {":cnf-variables", r.cnf_variables},
        {":cnf-literals", r.cnf_literals},
        {":cnf-clauses", r.cnf_clauses},
        {":sat-checks", r.sat_checks},
        {":sat-restarts", r.sat_restarts},
        {":sat-decisions", r.sat_decisions},
        {":sat-random-decisions", r.sat_random_decisions},
        {":sat-propagations", r.sat_propagations},
        {":sat-theory-propagations", r.sat_theory_propagations},
        {":sat-watched-clauses-visited", r.sat_watched_clauses_visited},
        {":sat-binary-watched-clauses-visited", r.sat_binary_watched_clauses_visited},
        {":sat-conflicts", r.sat_conflicts},
        {":sat-theory-conflicts", r.sat_theory_conflicts},
    };
    StatsList out;
    for (auto [name, value] : rows) {
        out.emplace_back(name, std::to_string(value));
    }
    return out;
}

void Environment::print_stats(std::ostream& out, const char* prefix) const
{
    for (const auto& [name, value] : get_stats()) {
        out << prefix << name << " " << value << "\n";
    }
    out.flush();
}

} // namespace tarq
