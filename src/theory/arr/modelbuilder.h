// arr::ModelBuilder: the values of arrays in a model.
#pragma once

#include "base/hashmap.h"
#include "terms/termmanager.h"
#include "theory/arr/arrsolverbase.h"

#include <functional>
#include <vector>

namespace tarq::arr {

/// Gives each class of arrays a value: what the reads say that are visible in it, and elsewhere one
/// element for all classes that writes connect. So a write and its base agree but where one of them
/// is read, and a constant array has its element everywhere.
///
/// A value is a chain of writes with ascending indices over a constant array; entries equal to the
/// element elsewhere are left out.
class ModelBuilder {
public:
    /// The value of an index or an element in the model; null when nobody has one.
    using Evaluate = std::function<const Term_*(const Term_*)>;

    /// Both are borrowed.
    ModelBuilder(TermManager* tm, SolverBase* solver) : tm_(tm), solver_(solver) {}
    ModelBuilder(const ModelBuilder&) = delete;
    ModelBuilder& operator=(const ModelBuilder&) = delete;

    /// Takes down which reads are visible where. No value is asked for yet.
    void build_model();
    /// The value of an array that the solver was told of, else null.
    const Term_* get_value(const Term_* array, const Evaluate& evaluate);

private:
    size_t component(size_t c);
    const Term_* any_value(const DataType* type);
    const Term_* base_element(size_t c, const Evaluate& evaluate);

    /// A class, by place.
    struct Entry {
        const DataType* type;
        TermVector reads;                // visible ones
        const Term_* constant = nullptr; // element of a constant array in it
        size_t parent;                   // towards the component's first class
        const Term_* value = nullptr;    // once it was asked for
    };

    TermManager* tm_;
    SolverBase* solver_;
    std::vector<Entry> entries_;
    hsh::HashMap<const Term_*, size_t> places_; // by array
    std::vector<const Term_*> base_elements_;   // by place of a component's first class
};

} // namespace tarq::arr
