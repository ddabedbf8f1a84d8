#include "theory/arr/arraysolverlod.h"

#include "theory/euf/eufsolver.h"

#include <algorithm>

namespace tarq::arr {

// -- Values

/// The value in the candidate model. What nobody has a value for has that of its class.
const Term_* ArraySolverLOD::compute_model_value(const Term_* t)
{
    const uint64_t id = t->get_id();
    if (id >= model_values_.size()) {
        model_values_.resize(id + id / 2 + 1, nullptr);
    }
    if (!model_values_[id]) {
        const Term_* value = evaluate_(t);
        model_values_[id] = value ? value : representative(t);
        valued_.push_back(id);
    }
    return model_values_[id];
}

/// Arrays have no values before the model is built, and formulas are true or false by their class.
const Term_* ArraySolverLOD::key_of(const Term_* t)
{
    if (by_class_ || is_array(t) || TermManager::get_type(t) == tm_->get_bool_type()) {
        return representative(t);
    }
    return compute_model_value(t);
}

/// Different classes of arrays may get one value, other values are what the model will have.
bool ArraySolverLOD::are_apart(const Read& a, const Read& b)
{
    return by_class_ || is_array(a.term) ? are_surely_apart(a.term, b.term) : a.value != b.value;
}

// -- Check

void ArraySolverLOD::check()
{
    if (!lemmas_.empty() || arrays_.empty()) {
        return;
    }
    poll();
    make_write_lemmas();
    if (!lemmas_.empty() || !prepare_()) {
        return;
    }
    by_class_ = false;
    if (!make_refinement_lemmas()) {
        by_class_ = true;
        ++num_by_class_;
        make_refinement_lemmas();
    }
    if (lemmas_.empty()) {
        make_const_lemmas();
    }
    if (lemmas_.empty()) {
        make_ext_lemmas();
    }
}

/// Returns false when there are violations but no new clause.
bool ArraySolverLOD::make_refinement_lemmas()
{
    for (uint64_t id : valued_) {
        model_values_[id] = nullptr;
    }
    valued_.clear();
    group();
    sort_reads();
    table_.resize(classes_.size());
    repeated_ = false;
    size_t end = 0;
    for (size_t begin = 0; begin < order_.size(); begin = end) {
        poll();
        index_ = read_infos_[order_[begin]].index;
        ++stamp_;
        queue_.clear();
        for (end = begin; end < order_.size() && read_infos_[order_[end]].index == index_; ++end) {
            const uint32_t r = order_[end];
            if (!enter(r, read_infos_[r].array, NO_CLASS, {}) && config_.lazy_lemmas) {
                return true;
            }
        }
        if (!check_queue() && config_.lazy_lemmas) {
            return true;
        }
    }
    return !repeated_ || !lemmas_.empty();
}

/// Index values in the order of their first reads, and the reads of each in theirs: a read is made
/// after the terms in it, so ids ascend with the depth.
void ArraySolverLOD::sort_reads()
{
    hsh::HashMap<const Term_*, uint64_t> first; // by index value, the lowest id of a read
    for (const Read& r : read_infos_) {
        const auto [it, fresh] = first.insert({r.index, r.term->get_id()});
        it->second = std::min(it->second, r.term->get_id());
    }
    std::vector<std::pair<uint64_t, uint32_t>> keyed;
    keyed.reserve(read_infos_.size());
    for (uint32_t i = 0; i < read_infos_.size(); ++i) {
        keyed.emplace_back(first.find(read_infos_[i].index)->second, i);
    }
    std::sort(keyed.begin(), keyed.end(), [this](const auto& a, const auto& b) {
        return a.first != b.first
                   ? a.first < b.first
                   : read_infos_[a.second].term->get_id() < read_infos_[b.second].term->get_id();
    });
    order_.clear();
    for (const auto& [key, i] : keyed) {
        order_.push_back(i);
    }
}

/// Carries the reads of the index value at hand on. Returns false when one met a contradiction.
bool ArraySolverLOD::check_queue()
{
    bool result = true;
    for (size_t i = 0; i < queue_.size(); ++i) { // grows meanwhile
        const uint32_t c = queue_[i];
        for (const Step& s : classes_[c].steps) {
            if (s.index != index_ && !enter(table_[c].read, s.to, c, s)) {
                result = false;
                if (config_.lazy_lemmas) {
                    return result;
                }
            }
        }
    }
    return result;
}

/// A read comes to a class. Returns false when it contradicts what is there; it goes no further
/// then.
/// from  where it comes from, by the step `s`; or none
bool ArraySolverLOD::enter(uint32_t read, uint32_t c, uint32_t from, const Step& s)
{
    ToCheck& entry = table_[c];
    const Read& r = read_infos_[read];
    if (entry.stamp == stamp_) {
        const Read& q = read_infos_[entry.read];
        if (q.value == r.value) {
            return true;
        }
        std::vector<TheoryLit> clause;
        if (add_equality(clause, r.term, q.term, false)) {
            return true;
        }
        const Term_* at = conflict_add_reason(clause, read, from, s);
        const Term_* there = add_path(clause, q.term->child(0), q.term->child(1), table_, c);
        add_reasons(clause, at, there);
        const Term_* i = r.term->child(1);
        const Term_* j = q.term->child(1);
        if (are_equal(i, j)) {
            add_reasons(clause, i, j);
        } else if (add_equality(clause, i, j, true)) {
            return true;
        }
        add_refinement(std::move(clause));
        return false;
    }
    for (const Term_* k : classes_[c].constants) {
        if (key_of(k->child(0)) != r.value) {
            std::vector<TheoryLit> clause;
            if (add_equality(clause, r.term, k->child(0), false)) {
                return true;
            }
            add_reasons(clause, conflict_add_reason(clause, read, from, s), k);
            add_refinement(std::move(clause));
            return false;
        }
    }
    entry = {stamp_, read, from, s.write, s.down};
    queue_.push_back(c);
    return true;
}

/// Appends the negation of what brings the read to the class where the step leads. The classes on
/// the way are its own: it went on from there. Returns the array that it comes to.
const Term_* ArraySolverLOD::conflict_add_reason(std::vector<TheoryLit>& clause, uint32_t read,
                                                 uint32_t from, const Step& s)
{
    const Term_* array = read_infos_[read].term->child(0);
    const Term_* index = read_infos_[read].term->child(1);
    if (from == NO_CLASS) {
        return array;
    }
    return add_step(clause, add_path(clause, array, index, table_, from), index, s.write, s.down);
}

void ArraySolverLOD::add_refinement(std::vector<TheoryLit> clause)
{
    if (push_lemma(Kind::READ_OVER_WRITE, nullptr, nullptr, std::move(clause), true)) {
        ++num_row_lemmas_;
    } else {
        repeated_ = true;
    }
}

std::vector<std::pair<std::string, std::string>> ArraySolverLOD::get_stats() const
{
    std::vector<std::pair<std::string, std::string>> out = SolverBase::get_stats();
    out.emplace_back("checks by classes", std::to_string(num_by_class_));
    return out;
}

} // namespace tarq::arr
