// FreeVariableMap: what TermManager::get_free_variable_map gives.
#pragma once

#include "base/hashmap.h"
#include "terms/term.h"

#include <memory>
#include <vector>

namespace tarq {

/// For each subterm of a term its free bound variables, sorted by id. Equal sets of neighbouring
/// terms share their memory.
class FreeVariableMap {
public:
    /// t  a subterm of the term that the map was made for
    const TermVector& operator[](const Term_* t) const { return *sets_.find(t)->second; }
    bool contains(const Term_* t) const { return sets_.contains(t); }
    size_t size() const { return sets_.size(); }

private:
    friend class TermManager;
    hsh::HashMap<const Term_*, const TermVector*> sets_;
    std::vector<std::unique_ptr<const TermVector>> pool_;
};

} // namespace tarq
