// arr::ArraySolverLOD: lemmas on demand: the axioms of arrays, checked in a candidate model.
#pragma once

#include "theory/arr/arrsolverbase.h"

#include <functional>

namespace tarq::arr {

/// Takes the model that the other solvers have found so far, and propagates the reads through the
/// classes of arrays by the values that their indices have in it. Two reads that meet at one value
/// of their indices with different values of their own, or a read that meets a constant array of
/// another element, give a clause: the equality of the two, or one of those steps was not possible,
/// or the indices differ.
///
/// All reads of one index value share a table: a class that one of them has reached is closed to
/// the others, since what they hold is equal up to there. So a check costs as much as the classes
/// that each index value reaches, however many reads have it.
///
/// Values of arrays are their classes. A clause that has been made already and did not change the
/// model concerns an equality that some solver has not been told of yet. If there are no others, the
/// check goes by the classes of the closure as the lazy procedure does, and the manager's equalities
/// do the rest.
class ArraySolverLOD : public SolverBase {
public:
    /// Makes the candidate model; false when there is none, since some solver has lemmas.
    using Prepare = std::function<bool()>;
    /// The value of a term in it; null when nobody has one.
    using Evaluate = std::function<const Term_*(const Term_*)>;

    using SolverBase::SolverBase;

    /// Before the first check.
    void set_model_computer(Prepare prepare, Evaluate evaluate)
    {
        prepare_ = std::move(prepare);
        evaluate_ = std::move(evaluate);
    }

    void check() override;
    std::vector<std::pair<std::string, std::string>> get_stats() const override;

private:
    /// How a read came to a class first.
    struct ToCheck {
        uint32_t stamp = 0; // of the index value; older ones are void
        uint32_t read = 0;
        uint32_t from = NO_CLASS;
        const Term_* write = nullptr;
        bool down = false;
    };

    const Term_* key_of(const Term_* t) override;
    bool are_apart(const Read& a, const Read& b) override;
    const Term_* compute_model_value(const Term_* t);
    bool make_refinement_lemmas();
    void sort_reads();
    bool check_queue();
    bool enter(uint32_t read, uint32_t c, uint32_t from, const Step& s);
    const Term_* conflict_add_reason(std::vector<TheoryLit>& clause, uint32_t read, uint32_t from,
                                     const Step& s);
    void add_refinement(std::vector<TheoryLit> clause);

    Prepare prepare_;
    Evaluate evaluate_;
    bool by_class_ = false; // keys are classes, for want of progress by values

    // of one check
    std::vector<const Term_*> model_values_; // by term id; null: not asked for yet
    std::vector<uint64_t> valued_;           // ids of those that were
    std::vector<uint32_t> order_;            // the reads, those with one index value in a row
    std::vector<ToCheck> table_;             // by class, for the index value at hand
    const Term_* index_ = nullptr;           // that value
    bool repeated_ = false;                  // some clause had been made before

    uint64_t num_by_class_ = 0;
};

} // namespace tarq::arr
