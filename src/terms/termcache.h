// TermCache: what terms became, by term id.
#pragma once

#include "terms/term.h"

#include <array>
#include <cstddef>
#include <memory>
#include <vector>

namespace tarq {

/// A map from terms to terms, as an array by id in pages that are made on first use: walks meet ids
/// mostly in order, so a look-up seldom leaves the page that the last one touched. A page that is
/// in use costs 8 bytes per id.
class TermCache {
public:
    /// The value of `t`, or null.
    const Term_* find(const Term_* t) const
    {
        const size_t page = t->get_id() / PAGE;
        return page < pages_.size() && pages_[page] ? (*pages_[page])[t->get_id() % PAGE] : nullptr;
    }
    bool contains(const Term_* t) const { return find(t) != nullptr; }

    /// value  not null
    void set(const Term_* t, const Term_* value)
    {
        const size_t page = t->get_id() / PAGE;
        if (page >= pages_.size()) {
            pages_.resize(page + 1);
        }
        if (!pages_[page]) {
            pages_[page] = std::make_unique<Page>();
        }
        const Term_*& entry = (*pages_[page])[t->get_id() % PAGE];
        size_ += entry == nullptr;
        entry = value;
    }

    /// Number of terms that have a value.
    size_t size() const { return size_; }

private:
    static constexpr size_t PAGE = 512;
    using Page = std::array<const Term_*, PAGE>; // made with null entries

    std::vector<std::unique_ptr<Page>> pages_;
    size_t size_ = 0;
};

} // namespace tarq
