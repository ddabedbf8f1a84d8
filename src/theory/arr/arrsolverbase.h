// arr::SolverBase: what both decision procedures for arrays share: the terms told, their classes,
// and all axioms but the ones about reads that meet.
//
// Sources by verb: arrsolverbase.cpp (terms, classes, clauses), arrsolverbase_ext.cpp (constant
// arrays, arrays that differ).
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

/// Finds instances of the axioms of arrays that a complete assignment contradicts, and hands them
/// out as clauses. It assumes nothing itself, so it has no levels: all that comes and goes with the
/// search are the classes of the congruence closure, which it reads.
///
/// What an array holds at an index is visible in every class that is reached from its own through
/// writes at other indices, in both directions. Indices, and elements, count as the same when they
/// have one key; the two procedures differ in what that is, and in how they find reads that meet.
///
/// Terms are told with the atoms they stand in and forgotten with them, newest first. Owns nothing
/// but its lists; borrows term manager and closure.
class SolverBase {
public:
    static constexpr uint32_t NO_CLASS = ~uint32_t{0};

    /// A clause of the theory.
    struct Lemma {
        size_t id = 0;
        std::vector<TheoryLit> clause;
    };
    /// From one class of arrays to another, between a write and its base.
    struct Step {
        const Term_* write;
        const Term_* index; // its key
        uint32_t to;
        bool down; // towards the base
    };
    struct Read {
        const Term_* term;
        const Term_* index; // its key
        const Term_* value; // its key
        uint32_t array;     // the class
    };
    /// Arrays that are equal. Lists are in the order in which terms were told.
    struct Class {
        TermVector arrays;
        std::vector<uint32_t> reads; // of a member; places in get_reads()
        TermVector constants;        // constant arrays that are members
        std::vector<Step> steps;
    };

    SolverBase(const Configuration::Theory::Arr& config, TermManager* tm, euf::Solver* euf);
    virtual ~SolverBase();
    SolverBase(const SolverBase&) = delete;
    SolverBase& operator=(const SolverBase&) = delete;

    void set_termination_test(const TerminationTest* test) { termination_test_ = test; }
    void set_polarity_checker(const PolarityChecker* p) { polarity_ = p; }

    /// Returns whether the atom has to do with arrays. Terms that earlier atoms brought are not
    /// walked again.
    bool tell_atom(const Term_* atom);
    /// Forgets what the newest atom for which tell_atom returned true brought.
    void retract_atom(const Term_* atom);

    /// Looks for contradicted instances; has_lemmas says whether there are some. The classes are
    /// those of a complete assignment.
    virtual void check() = 0;
    bool has_lemmas() const { return !lemmas_.empty(); }
    Lemma get_lemma();
    /// The clause is gone, so its instance may be needed again.
    void retract_lemma(size_t id);

    /// Whether the two are known to be the same array.
    bool are_equal(const Term_* a, const Term_* b) const
    {
        return representative(a) == representative(b);
    }

    /// Finds the classes as they are now, for the operations below.
    void group();
    const std::vector<Class>& get_classes() const { return classes_; }
    const std::vector<Read>& get_reads() const { return read_infos_; }
    /// Calls f(class) for each class that what class `from` holds at the index with that key is
    /// visible in; with null for the key, for each class that writes connect with it. Returns false
    /// when f does, which ends the walk.
    template <class F>
    bool walk(uint32_t from, const Term_* index, F&& f);

    virtual std::vector<std::pair<std::string, std::string>> get_stats() const;

protected:
    enum class Kind : uint8_t { WRITE, READ_OVER_WRITE, EXTENSIONALITY, CONSTANT };
    /// How a class was reached.
    struct Visit {
        uint32_t stamp = 0; // of the walk; older ones are void
        uint32_t from = NO_CLASS;
        const Term_* write = nullptr;
        bool down = false;
    };
    struct LemmaKey {
        Kind kind;
        const Term_* a;
        const Term_* b;
        uint64_t fingerprint;
    };

    /// What tells indices and elements apart: two terms with one key count as equal. Terms of one
    /// class of the closure have one key.
    virtual const Term_* key_of(const Term_* t) = 0;
    /// Whether two reads with one index key show that their arrays differ.
    virtual bool are_apart(const Read& a, const Read& b) = 0;

    bool are_surely_apart(const Term_* a, const Term_* b) const;
    void poll() const;
    bool is_array(const Term_* t) const;
    bool is_formula(const Term_* t) const;
    const Term_* representative(const Term_* t) const;
    uint32_t class_of(const Term_* array) const;

    const Term_* make_read(const Term_* array, const Term_* index);
    bool add_equality(std::vector<TheoryLit>& clause, const Term_* a, const Term_* b, bool negated);
    bool add_truth(std::vector<TheoryLit>& clause, const Term_* f, bool value);
    void add_equality_fully(std::vector<std::vector<TheoryLit>>& clauses, const Term_* a,
                            const Term_* b, bool negated);
    void add_reasons(std::vector<TheoryLit>& clause, const Term_* a, const Term_* b);
    const Term_* add_step(std::vector<TheoryLit>& clause, const Term_* at, const Term_* index,
                          const Term_* write, bool down);
    template <class V>
    const Term_* add_path(std::vector<TheoryLit>& clause, const Term_* array, const Term_* index,
                          const V& visits, uint32_t to);
    bool push_lemma(Kind kind, const Term_* a, const Term_* b, std::vector<TheoryLit> clause,
                    bool once = false);

    void make_write_lemmas();
    void make_const_lemmas();
    void make_ext_lemmas();

    const Configuration::Theory::Arr& config_;
    TermManager* tm_;
    euf::Solver* euf_;

    TermVector arrays_, writes_, reads_, constants_, equalities_;
    std::deque<Lemma> lemmas_;

    // of one check
    std::vector<Class> classes_;
    std::vector<Read> read_infos_; // those of reads_ that have a key
    std::vector<Visit> visits_;    // of the newest walk, by class
    uint32_t stamp_ = 0;
    std::vector<uint32_t> queue_;
    std::vector<uint32_t> path_;

    uint64_t num_row_lemmas_ = 0;

private:
    struct Undo {
        enum What : uint8_t {
            ATOM,
            SEEN,
            ARRAY,
            WRITE,
            READ,
            CONST,
            EQUALITY,
            ARGUMENT,
            APPLICATION
        } what;
        const Term_* term;
    };
    /// Where an array stands as an argument that is compared as a whole.
    struct ArgPos {
        uint64_t symbol;
        int position;
        bool operator==(const ArgPos&) const = default;
    };
    using PositionKey = std::pair<uint64_t, uint64_t>;

    void tell_term(const Term_* t);
    bool has_plain_arguments(const Term_* t) const;
    bool join_constants(const Term_* first);
    bool instantiate_everywhere(const Term_* constant);
    void list_positions(std::vector<TermVector>& lists);
    void note_known_pairs();
    bool are_told_apart(uint32_t a, uint32_t b);
    bool has_witness(uint32_t a, uint32_t b);
    bool is_full() const;
    void separate(const Term_* a, const Term_* b);
    void separate_arguments(size_t s, size_t t);
    void separate_all_arguments();
    bool is_irrelevant(const Term_* eq) const;
    void make_ext_lemma(const Term_* a, const Term_* b);

    const TerminationTest* termination_test_ = nullptr;
    const PolarityChecker* polarity_ = nullptr;

    BitVector seen_;  // by term id: told
    BitVector plain_; // by term id: no array in it
    std::vector<Undo> undo_;
    hsh::HashMap<const Term_*, std::vector<ArgPos>> arg_positions_; // in reads, writes, constants
    TermVector applications_; // of uninterpreted functions to arrays

    std::vector<LemmaKey> lemma_keys_; // by id - 1
    std::vector<size_t> free_ids_;
    hsh::HashSet<const Term_*> writes_done_;
    hsh::HashSet<const Term_*> exts_done_; // equality atoms
    hsh::HashSet<const Term_*> witnesses_; // fresh indices of all such lemmas
    hsh::HashSet<std::pair<const Term_*, const Term_*>> consts_done_; // constant array and index
    hsh::HashSet<uint64_t> rows_done_;                                // fingerprints

    hsh::HashMap<const Term_*, uint32_t> class_places_; // by representative
    // while arrays that have to differ are looked for
    hsh::HashMap<std::pair<uint32_t, const Term_*>, uint32_t> read_at_; // by class and index
    hsh::HashSet<std::pair<uint32_t, uint32_t>> apart_; // classes, the lower one first
    TermVector group_;                                  // applications of one function
    TermVector representatives_; // for each of these that of itself and those of its arguments

    uint64_t num_write_lemmas_ = 0;
    uint64_t num_ext_lemmas_ = 0;
    uint64_t num_const_lemmas_ = 0;
};

template <class F>
bool SolverBase::walk(uint32_t from, const Term_* index, F&& f)
{
    visits_.resize(classes_.size());
    ++stamp_;
    queue_.clear();
    const auto enter = [&](uint32_t c, uint32_t before, const Step& s) {
        if (visits_[c].stamp != stamp_) {
            visits_[c] = {stamp_, before, s.write, s.down};
            queue_.push_back(c);
        }
    };
    enter(from, NO_CLASS, {});
    for (size_t i = 0; i < queue_.size(); ++i) { // grows meanwhile
        const uint32_t c = queue_[i];
        if (!f(c)) {
            return false;
        }
        for (const Step& s : classes_[c].steps) {
            if (!index || s.index != index) {
                enter(s.to, c, s);
            }
        }
    }
    return true;
}

/// Appends the negation of what lets a value at `index` get from `array` to the class `to`, by
/// visits that were made from there. Without index all steps count as passable. Returns the array
/// that is reached there.
template <class V>
const Term_* SolverBase::add_path(std::vector<TheoryLit>& clause, const Term_* array,
                                  const Term_* index, const V& visits, uint32_t to)
{
    path_.clear();
    for (uint32_t c = to; visits[c].from != NO_CLASS; c = visits[c].from) {
        path_.push_back(c);
    }
    const Term_* at = array;
    for (size_t i = path_.size(); i > 0; --i) {
        const auto& v = visits[path_[i - 1]];
        at = add_step(clause, at, index, v.write, v.down);
    }
    return at;
}

} // namespace tarq::arr
