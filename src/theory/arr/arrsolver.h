// arr::Solver: the axioms of arrays, instantiated on the classes of the congruence closure.
#pragma once

#include "base/bitvector.h"
#include "base/configuration.h"
#include "base/hashmap.h"
#include "base/hashset.h"
#include "terms/termmanager.h"
#include "terms/theorylit.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <utility>
#include <vector>

namespace tarq {
class PolarityChecker;
class TerminationTest;
} // namespace tarq

namespace tarq::euf {
class Solver;
}

namespace tarq::arr {

/// Finds instances of the axioms that the classes of the moment contradict, and hands them out as
/// clauses. It assumes nothing itself, so it has no levels: all that comes and goes with the search
/// are the classes.
///
/// A read travels: from the class of its array to every class that is reached through writes at
/// other indices, in both directions. Where it meets a read at its own index with another value, or
/// a constant array with another element, the way it came makes a clause.
///
/// Terms are told with the atoms they stand in and forgotten with them, newest first. Owns nothing
/// but its lists; borrows term manager and closure.
class Solver {
public:
    /// A clause of the theory.
    struct Lemma {
        size_t id = 0;
        std::vector<TheoryLit> clause;
    };
    /// What a class has to do with arrays. Lists are in the order in which terms were told.
    struct Class {
        TermVector arrays;
        TermVector reads;       // of a member
        TermVector writes;      // that are members
        TermVector writes_over; // writes whose base is a member
        TermVector constants;   // constant arrays that are members
    };

    Solver(const Configuration::Theory::Arr& config, TermManager* tm, euf::Solver* euf);
    Solver(const Solver&) = delete;
    Solver& operator=(const Solver&) = delete;

    void set_termination_test(const TerminationTest* test) { termination_test_ = test; }
    void set_polarity_checker(const PolarityChecker* p) { polarity_ = p; }

    /// Returns whether the atom has to do with arrays. Terms that earlier atoms brought are not
    /// walked again.
    bool tell_atom(const Term_* atom);
    /// Forgets what the newest atom for which tell_atom returned true brought.
    void retract_atom(const Term_* atom);

    /// Looks for contradicted instances; has_lemmas says whether there are some. The classes are
    /// those of a complete assignment.
    void check();
    bool has_lemmas() const { return !lemmas_.empty(); }
    Lemma get_lemma();
    /// The clause is gone, so its instance may be needed again.
    void retract_lemma(size_t id);

    /// The classes of all arrays, by representative, as they are now.
    void group(hsh::HashMap<const Term_*, Class>& classes, TermVector& order) const;
    /// Calls f(representative) for each class that what `array` holds at `index` is visible in; with
    /// null for the index, for each class that writes connect with it. Returns false when f does,
    /// which ends the walk.
    template <class F>
    bool walk(hsh::HashMap<const Term_*, Class>& classes, const Term_* array, const Term_* index,
              F&& f);
    const Term_* representative(const Term_* t) const;

    std::vector<std::pair<std::string, std::string>> get_stats() const;

    /// The number of values of a type, or 0 when there are infinitely many, or more than a formula
    /// can tell.
    static QNumber num_values(const TermManager* tm, const DataType* type);

private:
    enum class Kind : uint8_t { WRITE, READ_OVER_WRITE, EXTENSIONALITY, CONSTANT };
    /// The step by which a class was reached.
    struct Edge {
        const Term_* from = nullptr; // representative; null for the start
        const Term_* write = nullptr;
        bool down = false; // from the write to its base
    };
    struct Undo {
        enum What : uint8_t { ATOM, SEEN, ARRAY, WRITE, READ, CONST, EQUALITY, ARGUMENT } what;
        const Term_* term;
    };
    /// Where an array stands as an argument that is compared as a whole.
    struct ArgPos {
        uint64_t symbol;
        int position;
        bool operator==(const ArgPos&) const = default;
    };
    struct LemmaKey {
        Kind kind;
        const Term_* a;
        const Term_* b;
    };

    void poll() const;
    bool is_array(const Term_* t) const;
    void tell_term(const Term_* t);
    const Term_* make_read(const Term_* array, const Term_* index);
    bool add_equality(std::vector<TheoryLit>& clause, const Term_* a, const Term_* b, bool negated);
    void add_reasons(std::vector<TheoryLit>& clause, const Term_* a, const Term_* b);
    const Term_* add_path(std::vector<TheoryLit>& clause, const Term_* array, const Term_* index,
                          const Term_* to);
    void push_lemma(LemmaKey key, std::vector<TheoryLit> clause);

    void make_write_lemmas();
    void make_row_lemmas();
    bool check_read(const Term_* read);
    void make_const_lemmas();
    bool join_constants(const Term_* first);
    bool instantiate_everywhere(const Term_* constant);
    void make_ext_lemmas();
    bool has_witness(const Class& a, const Class& b);
    bool is_irrelevant(const Term_* a, const Term_* b);
    void make_ext_lemma(const Term_* a, const Term_* b);

    const Configuration::Theory::Arr& config_;
    TermManager* tm_;
    euf::Solver* euf_;
    const TerminationTest* termination_test_ = nullptr;
    const PolarityChecker* polarity_ = nullptr;

    BitVector seen_;  // by term id: told
    BitVector plain_; // by term id: no array in it
    std::vector<Undo> undo_;
    TermVector arrays_, writes_, reads_, constants_, equalities_;
    hsh::HashMap<const Term_*, std::vector<ArgPos>> arg_positions_;

    std::deque<Lemma> lemmas_;
    std::vector<LemmaKey> lemma_keys_; // by id - 1; a free one has kind WRITE and no term
    std::vector<size_t> free_ids_;
    hsh::HashSet<const Term_*> writes_done_;
    hsh::HashSet<const Term_*> exts_done_;                            // equality atoms
    hsh::HashSet<std::pair<const Term_*, const Term_*>> consts_done_; // constant array and index

    // of one check
    hsh::HashMap<const Term_*, Class> classes_;
    TermVector order_;
    hsh::HashMap<const Term_*, Edge> visited_;
    TermVector queue_;
    std::vector<const Term_*> path_;

    uint64_t num_write_lemmas_ = 0;
    uint64_t num_row_lemmas_ = 0;
    uint64_t num_ext_lemmas_ = 0;
    uint64_t num_const_lemmas_ = 0;
};

template <class F>
bool Solver::walk(hsh::HashMap<const Term_*, Class>& classes, const Term_* array,
                  const Term_* index, F&& f)
{
    const Term_* stop = index ? representative(index) : nullptr;
    const auto is_passed = [&](const Term_* write) {
        return !stop || representative(write->child(1)) != stop;
    };
    visited_.clear();
    queue_.clear();
    const auto enter = [&](const Term_* class_, const Term_* from, const Term_* write, bool down) {
        if (visited_.insert({class_, Edge{from, write, down}}).second) {
            queue_.push_back(class_);
        }
    };
    enter(representative(array), nullptr, nullptr, false);
    for (size_t i = 0; i < queue_.size(); ++i) { // grows meanwhile
        const Term_* c = queue_[i];
        if (!f(c)) {
            return false;
        }
        const Class& members = classes[c];
        for (const Term_* w : members.writes) {
            if (is_passed(w)) {
                enter(representative(w->child(0)), c, w, true);
            }
        }
        for (const Term_* w : members.writes_over) {
            if (is_passed(w)) {
                enter(representative(w), c, w, false);
            }
        }
    }
    return true;
}

} // namespace tarq::arr
