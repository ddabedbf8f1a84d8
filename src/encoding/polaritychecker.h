// Records in which polarities the Boolean subterms of the asserted formulas occur.
#pragma once

#include "base/exception.h"
#include "terms/termmanager.h"

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace tarq {

/// Maps a Boolean term to the polarities it was seen in: 0 not known, 1 negative only, 2 positive
/// only, 3 both. Borrows the term manager.
///
/// Invariant: the trail holds the old value of every change since the oldest backtrack point;
/// nothing is recorded while there is no point, since nothing could be undone.
class PolarityChecker {
public:
    class error : public Exception {
    public:
        using Exception::Exception;
    };

    explicit PolarityChecker(TermManager* tm) : tm_(tm) {}
    PolarityChecker(const PolarityChecker&) = delete;
    PolarityChecker& operator=(const PolarityChecker&) = delete;

    /// The polarity of `t`, 0 when it was never seen.
    /// throws  PolarityChecker::error "polarity information is meaningful only for terms of type
    ///         Bool"
    int operator()(const Term_* t) const;

    /// Records the asserted formula `f` and everything below it down to the atoms; no effect when
    /// the checker is off. Linear in the nodes whose polarity grows.
    void add_formula(const Term_* f);

    /// Records one more occurrence of `t`, negative when `negated`, without looking below it; no
    /// effect when the checker is off.
    void add_literal(const Term_* t, bool negated);

    void push_backtrack_point();
    /// Undoes what was recorded since the newest point; there must be one.
    void pop_backtrack_point();

    void set_enabled(bool b) { enabled_ = b; }
    bool enabled() const { return enabled_; }

private:
    bool merge(const Term_* t, uint8_t polarity);

    struct Change {
        const Term_* term; // null at a backtrack point
        uint8_t old_polarity;
    };

    TermManager* tm_;
    bool enabled_ = true;
    std::vector<uint8_t> polarity_; // by term id
    std::vector<Change> trail_;
    size_t num_points_ = 0;
    std::vector<std::pair<const Term_*, uint8_t>> stack_;
};

} // namespace tarq
