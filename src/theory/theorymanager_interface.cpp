// Terms shared between theories, and the equalities between them.
#include "base/logger.h"
#include "base/scopedvalue.h"
#include "base/terminationtest.h"
#include "dpll/dpllsolver.h"
#include "encoding/polaritychecker.h"
#include "terms/termvisitor.h"
#include "theory/equalityclasses.h"
#include "theory/iesimplifier.h"
#include "theory/theorymanager.h"

#include <algorithm>

namespace tarq {

namespace {

/// Above this many candidates pairs are not tried one by one any more.
constexpr size_t MAX_PAIRWISE = 500;

enum Policy { LAZY = 0, EAGER = 1, INTERESTING = 2, OFF = 3 };

} // namespace

// Detection

/// Finds the shared terms of one atom. Walks what no earlier atom has: `combination_seen_` marks
/// that.
class InterfaceTermDetector {
public:
    explicit InterfaceTermDetector(TheoryManager* m) : m_(m)
    {
        for (size_t i : m->active_) {
            TheorySolver* s = m->solvers_[i].get();
            groups_[s->is_euf_extension() ? 0 : 1].push_back(s);
        }
    }

    bool needed() const { return !groups_[0].empty() && !groups_[1].empty(); }

    void detect(const Term_* atom)
    {
        TermVector stack{atom};
        while (!stack.empty()) {
            const Term_* t = stack.back();
            stack.pop_back();
            if (!m_->mark_seen(t) || is_const_equality(t)) {
                continue;
            }
            visit(t);
            if (!m_->tm_->is_term_ite(t)) {
                stack.insert(stack.end(), t->children().begin(), t->children().end());
            }
        }
        update_const_eqs();
        // by id, so that the order depends on nothing else
        std::sort(new_terms_.begin(), new_terms_.end(), term_lt());
        for (const Term_* t : new_terms_) {
            for (size_t i : m_->active_) {
                m_->solvers_[i]->notify_interface_term(t);
            }
        }
    }

private:
    bool as_constant(const Term_* t) const
    {
        return m_->tm_->is_constant(t) || m_->tm_->is_term_ite(t);
    }

    bool is_taken(int group, const Term_* t) const
    {
        return std::any_of(groups_[group].begin(), groups_[group].end(),
                           [t](TheorySolver* s) { return !s->is_alien(t); });
    }

    /// An equality of two constants tells only that both are seen by the same solvers.
    bool is_const_equality(const Term_* t)
    {
        if (!m_->tm_->is_equal(t) || !as_constant(t->child(0)) || !as_constant(t->child(1))) {
            return false;
        }
        m_->combination_undo_.push_back({TheoryManager::CombinationUndo::CONST_EQ, 0, t, nullptr});
        for (const Term_* side : t->children()) {
            m_->const_eq_index_[side].push_back(t);
        }
        new_const_eqs_.push_back(t);
        return true;
    }

    void visit(const Term_* t)
    {
        const bool is_equality = m_->tm_->is_equal(t);
        const bool owned0 = is_taken(0, t);
        if (owned0) {
            visit_arguments(0, t, t->arity() > 0 && !is_equality);
        }
        bool equals_application = false;
        if (is_equality && owned0) {
            for (size_t i = 0; i < 2; ++i) {
                const Term_* other = t->child(1 - i);
                if (other->arity() > 0 && is_taken(0, other)) {
                    m_->add_arg_position(t->child(i), other->get_symbol(), -1);
                    equals_application = true;
                }
            }
        }
        const bool owned1 = is_taken(1, t);
        if (owned1) {
            visit_arguments(1, t, false);
        }
        if (is_equality && !owned1 && (!owned0 || equals_application)) {
            // EUF passes on what it finds equal to a constant, unless nobody propagates equalities
            const bool both =
                !m_->eq_propagator_ || (!as_constant(t->child(0)) && !as_constant(t->child(1)));
            for (const Term_* side : t->children()) {
                if (both || is_read_in_model(side)) {
                    make_interface_term(side);
                }
            }
        }
    }

    bool is_read_in_model(const Term_* t) const
    {
        return m_->config_.parent->model_generation && m_->tm_->is_array_read(t);
    }

    void visit_arguments(int group, const Term_* t, bool record_positions)
    {
        if (m_->tm_->is_term_ite(t)) {
            return;
        }
        for (size_t i = 0; i < t->arity(); ++i) {
            const Term_* c = t->child(i);
            if (is_taken(group, c)) {
                if (as_constant(c)) {
                    add_group(c, group);
                }
            } else {
                make_interface_term(c);
                if (group == 1) {
                    for (const Term_* below : c->children()) {
                        make_interface_term(below);
                    }
                }
            }
            if (record_positions) {
                if (is_read_in_model(c) ||
                    m_->tm_->is_finite_domain_type(TermManager::get_type(c))) {
                    make_interface_term(c);
                }
                m_->add_arg_position(c, t->get_symbol(), static_cast<int>(i));
            }
        }
    }

    void add_group(const Term_* t, int group)
    {
        if (m_->add_term_group(t, group)) {
            new_groups_.emplace_back(t, group);
            if (m_->term_groups_[t].count > 1) {
                make_interface_term(t);
            }
        }
    }

    void make_interface_term(const Term_* t)
    {
        if (m_->insert_interface_term(t)) {
            new_terms_.push_back(t);
        }
    }

    /// Closes the groups over the equalities of constants.
    void update_const_eqs()
    {
        for (const Term_* eq : new_const_eqs_) {
            for (size_t i = 0; i < 2; ++i) {
                const auto it = m_->term_groups_.find(eq->child(i));
                const unsigned mask = it == m_->term_groups_.end() ? 0 : it->second.mask;
                for (int group = 0; group < 2; ++group) {
                    if (mask >> group & 1) {
                        add_group(eq->child(1 - i), group);
                    }
                }
            }
        }
        for (size_t i = 0; i < new_groups_.size(); ++i) { // grows meanwhile
            const auto [t, group] = new_groups_[i];
            const auto it = m_->const_eq_index_.find(t);
            if (it == m_->const_eq_index_.end()) {
                continue;
            }
            for (const Term_* eq : it->second) {
                add_group(eq->child(eq->child(0) == t ? 1 : 0), group);
            }
        }
    }

    TheoryManager* m_;
    std::array<std::vector<TheorySolver*>, 2> groups_;
    TermVector new_terms_;
    TermVector new_const_eqs_;
    std::vector<std::pair<const Term_*, int>> new_groups_;
};

bool TheoryManager::mark_seen(const Term_* t)
{
    const uint64_t id = t->get_id();
    combination_seen_.grow(id + 1);
    if (combination_seen_.get(id)) {
        return false;
    }
    combination_seen_.set(id);
    combination_undo_.push_back({CombinationUndo::SEEN, 0, t, nullptr});
    return true;
}

bool TheoryManager::insert_interface_term(const Term_* t)
{
    if (!interface_terms_.insert(t).second) {
        return false;
    }
    interface_list_.push_back(t);
    combination_undo_.push_back({CombinationUndo::INTERFACE_TERM, 0, t, nullptr});
    terms_changed_ = true;
    return true;
}

bool TheoryManager::add_term_group(const Term_* t, int group)
{
    TermGroups& g = term_groups_[t];
    const auto bit = static_cast<uint16_t>(1U << group);
    if (g.mask & bit) {
        return false;
    }
    g.mask |= bit;
    ++g.count;
    combination_undo_.push_back({CombinationUndo::GROUP, group, t, nullptr});
    return true;
}

void TheoryManager::add_arg_position(const Term_* t, const Symbol* symbol, int position)
{
    std::vector<ArgPos>& list = arg_positions_[t];
    const ArgPos p{symbol, position};
    if (std::find(list.begin(), list.end(), p) == list.end()) {
        list.push_back(p);
        combination_undo_.push_back({CombinationUndo::ARG_POSITION, position, t, symbol});
    }
}

void TheoryManager::update_interface_terms(const Term_* atom)
{
    InterfaceTermDetector detector(this);
    if (detector.needed()) {
        detector.detect(atom);
    }
}

void TheoryManager::undo_theory_combination_info(int var)
{
    for (bool done = false; !done;) {
        const CombinationUndo u = combination_undo_.back();
        combination_undo_.pop_back();
        switch (u.kind) {
        case CombinationUndo::ATOM:
            TARQ_ASSERT(u.n == var);
            (void)var;
            done = true;
            break;
        case CombinationUndo::SEEN:
            combination_seen_.unset(u.term->get_id());
            break;
        case CombinationUndo::INTERFACE_TERM:
            for (size_t i : active_) {
                solvers_[i]->retract_interface_term(u.term);
            }
            interface_terms_.erase(u.term);
            interface_list_.pop_back();
            break;
        case CombinationUndo::GROUP: {
            TermGroups& g = term_groups_[u.term];
            g.mask &= static_cast<uint16_t>(~(1U << u.n));
            if (--g.count == 0) {
                term_groups_.erase(u.term);
            }
            break;
        }
        case CombinationUndo::ARG_POSITION: {
            std::vector<ArgPos>& list = arg_positions_[u.term];
            list.pop_back();
            if (list.empty()) {
                arg_positions_.erase(u.term);
            }
            break;
        }
        case CombinationUndo::CONST_EQ:
            for (const Term_* side : u.term->children()) {
                TermVector& list = const_eq_index_[side];
                list.pop_back();
                if (list.empty()) {
                    const_eq_index_.erase(side);
                }
            }
            break;
        }
    }
}

// Interface equalities

int TheoryManager::boolean_model_found()
{
    if (termination_test_) {
        (*termination_test_)();
    }
    const int level = level_below_needed_literals();
    if (level >= 0) {
        return level;
    }
    bool generated = false;
    return generate_interface_equalities(&generated);
}

void TheoryManager::add_in_both_polarities(const Term_* atom)
{
    if (polarity_) {
        polarity_->add_literal(atom, false);
        polarity_->add_literal(atom, true);
    }
}

int TheoryManager::generate_interface_equalities(bool* generated)
{
    *generated = false;
    if (!solvers_[EUF] || config_.interface_eq_policy == OFF || interface_list_.empty()) {
        return -1;
    }
    for (size_t i : active_) {
        solvers_[i]->build_abstract_model();
    }
    const bool changed = terms_changed_;
    terms_changed_ = false;
    candidates_.clear();
    collect_candidates();
    TermVector batch;
    if (candidates_.size() > MAX_PAIRWISE) {
        collect_mismatches_by_value(batch);
    } else {
        collect_mismatches(batch);
    }
    const ScopedValue<bool> suspension(&detection_suspended_, true);
    const size_t extra = add_extra_equalities(changed);
    int level = -1;
    const size_t necessary = activate(batch, &level);
    num_extra_equalities_ += extra;
    num_necessary_equalities_ += necessary;
    if (logger_ && logger_->enabled(2, "TMANAGER")) {
        (*logger_)("TMANAGER") << loglevel(2) << "TMANAGER - generated " << necessary + extra
                               << " interface equalities" << EndLog;
    }
    *generated = necessary != 0;
    return level;
}

/// One entry for each class of terms that EUF takes for equal, if all solvers know of that, else
/// one for each term.
void TheoryManager::collect_candidates()
{
    if (!eq_propagator_) {
        for (const Term_* t : interface_list_) {
            candidates_.push_back({t, {t}});
        }
        return;
    }
    TermVector sorted = interface_list_;
    std::sort(sorted.begin(), sorted.end(), term_lt());
    hsh::HashMap<const Term_*, size_t> places;
    for (const Term_* t : sorted) {
        const Term_* r = classes_->get_representative(t);
        const auto it = places.find(r);
        if (it != places.end()) {
            candidates_[it->second].members.push_back(t);
        } else {
            places[r] = candidates_.size();
            candidates_.push_back({t, {t}});
        }
    }
}

/// Whether values of the type concern more than one theory.
bool TheoryManager::is_combined_type(const DataType* type) const
{
    return tm_->is_arith_type(type) || tm_->is_array_type(type) ||
           (type != tm_->get_bool_type() && tm_->is_finite_domain_type(type));
}

bool TheoryManager::is_pair(const Term_* a, const Term_* b) const
{
    const DataType* ta = TermManager::get_type(a);
    const DataType* tb = TermManager::get_type(b);
    return (tm_->is_subtype(ta, tb) || tm_->is_subtype(tb, ta)) && is_combined_type(ta);
}

/// A member that the solver has a value for; null if there is none.
const Term_* TheoryManager::known_member(TheorySolver* solver, const Candidate& c) const
{
    for (const Term_* t : c.members) {
        if (!solver->equal_in_model(t, t).is_undef()) {
            return t;
        }
    }
    return nullptr;
}

/// Whether some solver has the two equal, but EUF has not; without propagation of equalities, also
/// the other way round.
bool TheoryManager::is_mismatch(const Candidate& a, const Candidate& b)
{
    const bool equal_in_euf =
        !eq_propagator_ && solvers_[EUF]->equal_in_model(a.term, b.term).is_true();
    for (size_t i : active_) {
        if (i == EUF) {
            continue;
        }
        TheorySolver* s = solvers_[i].get();
        const Term_* x = known_member(s, a);
        const Term_* y = x ? known_member(s, b) : nullptr;
        if (!y) {
            continue;
        }
        const lbool equal = s->equal_in_model(x, y);
        if (equal.is_undef() || equal.is_true() != equal_in_euf) {
            return true;
        }
    }
    return false;
}

/// Whether members of the two classes stand as the same argument of the same function. Equality of
/// others can't make applications equal.
bool TheoryManager::check_same_args(const Term_* a, const Term_* b)
{
    if (!config_.pairwise_interface_eq) {
        return true;
    }
    TermVector members_a;
    TermVector members_b;
    classes_->get_congruence_class(a, members_a);
    classes_->get_congruence_class(b, members_b);
    hsh::HashSet<std::pair<uint64_t, int>> positions;
    for (const Term_* t : members_a) {
        const auto it = arg_positions_.find(t);
        if (it != arg_positions_.end()) {
            for (const ArgPos& p : it->second) {
                if (p.position >= 0) {
                    positions.insert({p.symbol->get_id(), p.position});
                }
            }
        }
    }
    for (const Term_* t : members_b) {
        const auto it = arg_positions_.find(t);
        if (it != arg_positions_.end()) {
            for (const ArgPos& p : it->second) {
                if (p.position >= 0 && positions.contains({p.symbol->get_id(), p.position})) {
                    return true;
                }
            }
        }
    }
    return false;
}

/// Returns false when the batch is full.
bool TheoryManager::add_to_batch(const Term_* a, const Term_* b, TermVector& batch)
{
    const Term_* eq = make_interface_equality(tm_, a, b);
    if (tm_->is_equal(eq)) {
        batch.push_back(eq);
    }
    const auto limit = static_cast<size_t>(config_.interface_eq_batch_size);
    return limit == 0 || batch.size() <= limit;
}

void TheoryManager::collect_mismatches(TermVector& batch)
{
    for (size_t i = 0; i < candidates_.size(); ++i) {
        for (size_t j = i + 1; j < candidates_.size(); ++j) {
            const Candidate& a = candidates_[i];
            const Candidate& b = candidates_[j];
            if (is_pair(a.term, b.term) && is_mismatch(a, b) &&
                (!eq_propagator_ || check_same_args(a.term, b.term)) &&
                !add_to_batch(a.term, b.term, batch)) {
                return;
            }
        }
    }
}

/// For many candidates: only those with one value in some solver are compared. Terms that a solver
/// knows but has no value for are compared with all.
void TheoryManager::collect_mismatches_by_value(TermVector& batch)
{
    for (size_t i : active_) {
        if (i == EUF) {
            continue;
        }
        TheorySolver* s = solvers_[i].get();
        s->build_model();
        hsh::HashMap<const Term_*, std::vector<const Candidate*>> groups;
        TermVector values; // in the order they came up
        for (const Candidate& c : candidates_) {
            const Term_* t = known_member(s, c);
            const Term_* value = t ? s->get_model_value(t) : nullptr;
            if (!t) {
                continue;
            }
            // no value: stands with its own kind, and mismatches are told apart below
            std::vector<const Candidate*>& group = groups[value];
            if (group.empty()) {
                values.push_back(value);
            }
            group.push_back(&c);
        }
        const auto compare = [&](const Candidate& a, const Candidate& b) {
            return !is_pair(a.term, b.term) ||
                   (eq_propagator_ && !check_same_args(a.term, b.term)) ||
                   (!eq_propagator_ && solvers_[EUF]->equal_in_model(a.term, b.term).is_true()) ||
                   add_to_batch(a.term, b.term, batch);
        };
        for (const Term_* value : values) {
            const std::vector<const Candidate*>& group = groups[value];
            for (size_t x = 0; x < group.size(); ++x) {
                for (size_t y = x + 1; y < group.size(); ++y) {
                    if (!compare(*group[x], *group[y])) {
                        return;
                    }
                }
                if (!value) {
                    for (const Candidate& c : candidates_) {
                        if (std::find(group.begin(), group.end(), &c) == group.end() &&
                            !compare(*group[x], c)) {
                            return;
                        }
                    }
                }
            }
        }
        if (eq_propagator_) {
            continue;
        }
        // Equal in EUF and of different values here: neighbours in each class are enough.
        hsh::HashMap<const Term_*, const Candidate*> last;
        for (const Candidate& c : candidates_) {
            const Candidate*& before = last[classes_->get_representative(c.term)];
            if (before && is_pair(before->term, c.term) && is_mismatch(*before, c) &&
                !add_to_batch(before->term, c.term, batch)) {
                return;
            }
            before = &c;
        }
    }
}

/// Atoms that help the solvers to propagate but need not be decided.
size_t TheoryManager::add_extra_equalities(bool changed)
{
    const int policy = config_.interface_eq_policy;
    if (policy != EAGER &&
        !(policy == INTERESTING && changed && interface_list_.size() <= MAX_PAIRWISE)) {
        return 0;
    }
    size_t count = 0;
    for (size_t i = 0; i < candidates_.size(); ++i) {
        for (size_t j = i + 1; j < candidates_.size(); ++j) {
            const Term_* a = candidates_[i].term;
            const Term_* b = candidates_[j].term;
            const auto interesting = [&](size_t s) {
                return s != EUF && solvers_[s]->is_interesting_interface_equality(a, b);
            };
            if (!is_pair(a, b) || (policy == INTERESTING &&
                                   std::none_of(active_.begin(), active_.end(), interesting))) {
                continue;
            }
            const Term_* eq = make_interface_equality(tm_, a, b);
            int var;
            if (!tm_->is_equal(eq) || !engine_->make_proxy(eq, &var)) {
                continue;
            }
            ++count;
            engine_->set_polarity(var, l_True);
            no_tcomb_vars_.set(static_cast<size_t>(var));
            engine_->set_decision_var(var, false);
            add_in_both_polarities(eq);
        }
    }
    return count;
}

/// Makes the equalities of the batch variables that the search has to decide.
/// level    set to where to go back to, if one of them is assigned but was kept from the solvers
/// Returns the number of new atoms.
size_t TheoryManager::activate(const TermVector& batch, int* level)
{
    size_t count = 0;
    for (const Term_* eq : batch) {
        int var;
        if (engine_->make_proxy(eq, &var)) {
            ++count;
            engine_->set_polarity(var, l_True);
            no_tcomb_vars_.set(static_cast<size_t>(var));
        } else {
            engine_->set_decision_var(var, true);
            const lbool value = engine_->value(var);
            const int var_level = engine_->level(var);
            const bool arithmetic =
                tm_->is_arith_type(TermManager::get_type(eq->child(0))) && solvers_[LA];
            if (!value.is_undef() && var_level > 0 &&
                (is_filtered(dpll::Lit(var, value.is_false())) ||
                 (arithmetic && config_.la.pure_equality_filtering))) {
                *level = *level < 0 ? var_level - 1 : std::min(*level, var_level - 1);
            }
        }
        engine_->set_never_ghost(var); // no clause says why it matters
        add_in_both_polarities(eq);
    }
    return count;
}

} // namespace tarq
