#include "theory/euf/eufsolverinterface.h"

#include "base/assertion.h"
#include "base/logger.h"
#include "theory/euf/referenceclosure.h"
#include "theory/theoryeqpropagator.h"

#include <algorithm>

namespace tarq {

namespace {

constexpr const char* LOG_TAG = "EUF";

/// Whether the reasons imply the literal, by the second closure.
[[maybe_unused]] bool is_valid(TermManager* tm, const std::vector<TheoryLit>& reasons, size_t first,
                               TheoryLit implied)
{
    std::vector<TheoryLit> lits(reasons.begin() + static_cast<ptrdiff_t>(first), reasons.end());
    if (implied != tlit_Undef) {
        lits.push_back(~implied);
    }
    return euf::is_inconsistent(tm, lits);
}

} // namespace

/// Explained on demand from the proof forest.
class EufSolverInterface::EufEq : public TheoryEq {
public:
    EufEq(EufSolverInterface* owner, const Term_* a, const Term_* b) : TheoryEq(a, b), owner_(owner)
    {
    }
    bool explain(std::vector<TheoryLit>& reasons) override
    {
        [[maybe_unused]] const size_t first = reasons.size();
        if (!owner_->solver_.get_congruence_reason(left, right, reasons)) {
            return false;
        }
        TARQ_HEAVY_ASSERT(euf::implies_equality(
            owner_->tm_,
            std::vector<TheoryLit>(reasons.begin() + static_cast<ptrdiff_t>(first), reasons.end()),
            left, right));
        return true;
    }
    TheoryEq* new_copy() const override { return new EufEq(*this); }

private:
    EufSolverInterface* owner_;
};

EufSolverInterface::EufSolverInterface(const Configuration::Theory::Euf& config, TermManager* tm)
    : TheorySolver(tm), config_(config), solver_(tm)
{
    solver_.set_collect_congruences(config.dyn_ack != 0);
}

EufSolverInterface::~EufSolverInterface() = default;

void EufSolverInterface::set_eq_propagator(TheoryEqPropagator* p)
{
    eq_propagator_ = p;
    solver_.set_eq_propagator(p ? this : nullptr);
}

void EufSolverInterface::propagate(const Term_* a, const Term_* b)
{
    EufEq eq(this, a, b);
    eq_propagator_->propagate(this, &eq);
}

// Atoms

bool EufSolverInterface::owns_atom(const Term_* t) const
{
    if (!tm_->is_equal(t)) {
        return tm_->is_uninterpreted_function(t) || tm_->is_array_read(t);
    }
    return std::any_of(t->children().begin(), t->children().end(),
                       [this](const Term_* side) { return tm_->is_uninterpreted_function(side); });
}

/// Atoms of other theories get no nodes: what EUF has to know of them are their shared terms, of
/// which it is notified.
TellAtomResult EufSolverInterface::tell_atom(const Term_* atom)
{
    TellAtomResult result;
    result.owned = owns_atom(atom);
    result.interested = result.owned || tm_->is_equal(atom);
    solver_.tell_atom(atom, result.interested);
    if (tm_->is_equal(atom) && is_shared_type(TermManager::get_type(atom->child(0)))) {
        // The other solver sees both sides. Constants get equal by literals only, which it gets
        // too; applications get equal by congruence, which has to be told.
        for (const Term_* side : atom->children()) {
            if (side->arity() > 0 && !tm_->is_term_ite(side)) {
                solver_.add_interface_term(side);
            }
        }
    }
    return result;
}

void EufSolverInterface::retract_atom(const Term_* atom)
{
    // Pairs may be over terms that go.
    solver_.forget_congruences();
    dyn_ack_queue_.clear();
    spare_clause_.clear();
    if (dyn_ack_lemmas_.empty()) {
        dyn_ack_pairs_.clear();
    }
    if (tm_->is_equal(atom) && is_shared_type(TermManager::get_type(atom->child(0)))) {
        for (const Term_* side : atom->children()) {
            if (side->arity() > 0 && !tm_->is_term_ite(side)) {
                solver_.remove_interface_term(side);
            }
        }
    }
    solver_.retract_atom(atom);
}

bool EufSolverInterface::is_alien(const Term_* t)
{
    if (tm_->is_equal(t)) {
        return is_alien(t->child(0)) || is_alien(t->child(1));
    }
    if (tm_->is_term_ite(t)) {
        return tm_->is_finite_domain_type(tm_->get_type(t));
    }
    switch (tm_->get_tag(t)) {
    case SymbolTag::DIVIDE:
    case SymbolTag::EXP:
    case SymbolTag::SIN:
    case SymbolTag::LOG:
        return false;
    default:
        break;
    }
    if (tm_->is_interpreted(t)) {
        return true;
    }
    return t->arity() == 0 && tm_->is_finite_domain_type(tm_->get_type(t));
}

/// Whether other theories can make use of equalities of that type.
bool EufSolverInterface::is_shared_type(const DataType* type) const
{
    return tm_->is_arith_type(type) || tm_->is_array_type(type) ||
           (type != tm_->get_bool_type() && tm_->is_finite_domain_type(type));
}

void EufSolverInterface::notify_interface_term(const Term_* t)
{
    if (is_shared_type(tm_->get_type(t))) {
        solver_.add_interface_term(t);
    } else {
        solver_.tell_term(t);
    }
}

void EufSolverInterface::retract_interface_term(const Term_* t)
{
    solver_.remove_interface_term(t);
}

// Search

void EufSolverInterface::new_decision_level()
{
    check(true); // what was assumed belongs to the level that ends
    solver_.push_checkpoint();
}

void EufSolverInterface::cancel_until(int level)
{
    pending_lits_.clear();
    const auto target = static_cast<size_t>(level);
    if (target < solver_.num_checkpoints()) {
        solver_.backtrack(solver_.num_checkpoints() - target);
    }
}

bool EufSolverInterface::assume(TheoryLit l)
{
    pending_lits_.push_back(l);
    return true;
}

/// EUF is the only solver that derives equalities, so there is nothing to learn from one.
bool EufSolverInterface::assume(TheoryEq*)
{
    return true;
}

bool EufSolverInterface::check(bool approx)
{
    if (!pending_lits_.empty()) {
        poll();
        for (TheoryLit l : pending_lits_) {
            if (!solver_.push_constraint(l.get_term(), !l.is_neg())) {
                break;
            }
        }
        pending_lits_.clear();
    }
    const bool result = solver_.check();
    TARQ_HEAVY_ASSERT(solver_.num_nodes() > 300 || solver_.check_invariants());
    if (!result && approx && config_.dyn_ack != 0) {
        count_congruences();
    }
    return result;
}

void EufSolverInterface::get_conflict(std::vector<TheoryLit>& out)
{
    [[maybe_unused]] const size_t first = out.size();
    solver_.get_conflict(out);
    TARQ_HEAVY_ASSERT(is_valid(tm_, out, first, tlit_Undef));
}

TheoryLit EufSolverInterface::get_next_implied()
{
    const Term_* atom;
    bool negated;
    if (!solver_.get_next_implied(&atom, &negated)) {
        return tlit_Undef;
    }
    return TheoryLit(atom, negated);
}

bool EufSolverInterface::get_explanation(TheoryLit l, bool required, std::vector<TheoryLit>& out)
{
    if (!required) {
        return false;
    }
    [[maybe_unused]] const size_t first = out.size();
    solver_.get_implied_reason(l.get_term(), l.is_neg(), out);
    TARQ_HEAVY_ASSERT(is_valid(tm_, out, first, l));
    return true;
}

// Dynamic Ackermann expansion

/// Counts the congruences behind the present conflict; pairs that come up often enough get a lemma.
void EufSolverInterface::count_congruences()
{
    const auto limit = static_cast<size_t>(config_.dyn_ack_limit);
    if (limit != 0 && dyn_ack_lemmas_.size() >= limit) {
        return;
    }
    std::vector<TheoryLit> unused;
    solver_.get_conflict(unused);
    const auto& used = solver_.congruences_used();
    size_t n = used.size();
    if (config_.dyn_ack == 1) {
        n = solver_.toplevel_congruence() ? 1 : 0;
    }
    for (size_t i = 0; i < n; ++i) {
        const Symbol* symbol = used[i].first->get_symbol();
        if (!tm_->is_uninterpreted_function(symbol) &&
            std::find(dyn_ack_tags_.begin(), dyn_ack_tags_.end(), tm_->get_tag(symbol)) ==
                dyn_ack_tags_.end()) {
            continue;
        }
        DynAckPair& p = dyn_ack_pairs_[used[i]];
        ++p.count;
        if (!p.has_lemma && p.count == config_.dyn_ack_threshold && has_literals(used[i])) {
            dyn_ack_queue_.push_back(used[i]);
        }
    }
}

bool EufSolverInterface::has_lemmas()
{
    return !spare_clause_.empty() || !dyn_ack_queue_.empty();
}

LemmaInfo EufSolverInterface::get_lemma(std::vector<TheoryLit>& clause)
{
    TermPair p = spare_pair_;
    if (!spare_clause_.empty()) {
        clause.insert(clause.end(), spare_clause_.begin(), spare_clause_.end());
        spare_clause_.clear();
    } else {
        p = dyn_ack_queue_.front();
        dyn_ack_queue_.pop_front();
        make_dyn_ack_lemma(p, clause);
    }
    const size_t id = next_dyn_ack_id_++;
    dyn_ack_lemmas_[id] = p;
    dyn_ack_pairs_[p].has_lemma = true;
    ++dyn_ack_generated_;
    const auto limit = static_cast<size_t>(config_.dyn_ack_limit);
    if (limit != 0 && dyn_ack_lemmas_.size() >= limit) {
        for (const TermPair& rest : dyn_ack_queue_) {
            dyn_ack_pairs_.erase(rest);
        }
        dyn_ack_queue_.clear();
    }
    LemmaInfo info;
    info.id = reinterpret_cast<void*>(id);
    info.flags = LEMMA_NO_TCOMB;
    return info;
}

/// The literal that says that two terms are equal; undefined if there is none. Formulas give one when
/// either is a truth value. An equality that is true or false as it stands is none.
TheoryLit EufSolverInterface::equality_literal(const Term_* a, const Term_* b) const
{
    const Term_* same = nullptr;
    bool negated = false;
    if (tm_->get_type(a) != tm_->get_bool_type()) {
        same = tm_->make_equal(a, b);
    } else if (tm_->is_true(a) || tm_->is_false(a)) {
        same = b;
        negated = tm_->is_false(a);
    } else if (tm_->is_true(b) || tm_->is_false(b)) {
        same = a;
        negated = tm_->is_false(b);
    } else {
        return tlit_Undef;
    }
    for (; tm_->is_not(same); same = same->child(0)) {
        negated = !negated;
    }
    return tm_->is_boolean_atom(same) ? TheoryLit(same, negated) : tlit_Undef;
}

/// Whether there are literals for a lemma about the pair.
bool EufSolverInterface::has_literals(TermPair p) const
{
    const Term_* a = p.first;
    const Term_* b = p.second;
    for (size_t i = 0; i < a->arity(); ++i) {
        if (a->child(i) != b->child(i) &&
            equality_literal(a->child(i), b->child(i)) == tlit_Undef) {
            return false;
        }
    }
    return tm_->get_type(a) == tm_->get_bool_type() || equality_literal(a, b) != tlit_Undef;
}

/// Equal arguments, equal results, for a pair that has literals.
void EufSolverInterface::make_dyn_ack_lemma(TermPair p, std::vector<TheoryLit>& clause)
{
    const Term_* a = p.first;
    const Term_* b = p.second;
    for (size_t i = 0; i < a->arity(); ++i) {
        if (a->child(i) != b->child(i)) {
            clause.push_back(~equality_literal(a->child(i), b->child(i)));
        }
    }
    if (tm_->get_type(a) != tm_->get_bool_type()) {
        clause.push_back(equality_literal(a, b));
    } else {
        spare_clause_ = clause;
        spare_pair_ = p;
        spare_clause_.insert(spare_clause_.end(), {TheoryLit(a, false), TheoryLit(b, true)});
        clause.insert(clause.end(), {TheoryLit(a, true), TheoryLit(b, false)});
    }
}

void EufSolverInterface::retract_lemma(void* id)
{
    const auto it = dyn_ack_lemmas_.find(reinterpret_cast<size_t>(id));
    if (it == dyn_ack_lemmas_.end()) {
        return;
    }
    dyn_ack_pairs_.erase(it->second);
    dyn_ack_lemmas_.erase(it);
    ++dyn_ack_deleted_;
}

// Models

lbool EufSolverInterface::equal_in_model(const Term_* a, const Term_* b)
{
    if (!solver_.is_known(a) || !solver_.is_known(b)) {
        return l_Undef;
    }
    return solver_.are_equal(a, b) ? l_True : l_False;
}

/// Whether `b` is a better value of their class than `a`: terms to keep come first, then those
/// without arguments, then term-ITEs.
bool EufSolverInterface::is_better_value(const Term_* a, const Term_* b, const TermSet& keep) const
{
    const bool keep_a = keep.contains(a);
    const bool keep_b = keep.contains(b);
    if (keep_a != keep_b) {
        return keep_b;
    }
    if ((a->arity() == 0) != (b->arity() == 0)) {
        return b->arity() == 0;
    }
    return b->arity() != 0 && tm_->is_term_ite(b) && !tm_->is_term_ite(a);
}

void EufSolverInterface::build_model(const TermSet& keep)
{
    model_.clear();
    model_members_.clear();
    Logger& l = log(2, LOG_TAG);
    l << "build_model - CONGRUENCE CLASSES:" << EndLog;
    TermVector representatives;
    solver_.get_all_representatives(representatives);
    for (const Term_* r : representatives) {
        TermVector members;
        solver_.get_congruence_class(r, members);
        const Term_* value = r;
        if (!(r->arity() == 0 && tm_->is_interpreted(r))) {
            for (const Term_* m : members) {
                if (is_better_value(value, m, keep)) {
                    value = m;
                }
            }
        }
        for (const Term_* m : members) {
            model_[m] = value;
        }
        model_members_[value] = std::move(members);
    }
}

const Term_* EufSolverInterface::get_model_value(const Term_* t)
{
    const auto it = model_.find(t);
    return it == model_.end() ? nullptr : it->second;
}

void EufSolverInterface::get_model_congruence_class(const Term_* value, TermVector& out)
{
    const auto it = model_members_.find(value);
    if (it == model_members_.end()) {
        out.push_back(value);
    } else {
        out.insert(out.end(), it->second.begin(), it->second.end());
    }
}

std::vector<std::pair<std::string, std::string>> EufSolverInterface::get_stats() const
{
    const euf::Solver::Stats& s = solver_.get_stats();
    const std::pair<const char*, uint64_t> rows[] = {
        {"egraph nodes created", s.nodes_created},
        {"egraph nodes deleted", s.nodes_deleted},
        {"num asserted equalities", s.asserted_equalities},
        {"num asserted inequalities", s.asserted_inequalities},
        {"num merges", s.merges},
        {"num merges undone", s.merges_undone},
        {"num atoms retold", s.atoms_retold},
        {"dynamic ackermann lemmas generated", dyn_ack_generated_},
        {"dynamic ackermann lemmas deleted", dyn_ack_deleted_},
    };
    std::vector<std::pair<std::string, std::string>> out;
    for (auto [name, value] : rows) {
        out.emplace_back(name, std::to_string(value));
    }
    return out;
}

} // namespace tarq
