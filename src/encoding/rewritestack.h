// RewriteStack: what preprocessing has taken out of the problem, in order.
#pragma once

#include "terms/term.h"

#include <cstddef>
#include <iterator>
#include <memory>
#include <vector>

namespace tarq {

/// One term that preprocessing replaced.
class RewriteStep {
public:
    virtual ~RewriteStep() = default;
    /// Takes the replacement back, when its backtrack point is popped.
    virtual void undo() = 0;
    /// The term that was taken out.
    virtual const Term_* src() const = 0;
    /// The term that stands for it now.
    virtual const Term_* dst() const = 0;
    virtual std::unique_ptr<RewriteStep> new_copy() const = 0;
    /// Whether the value of `src` was chosen and that of the arguments of `dst` has to follow.
    virtual bool is_adhoc() const { return false; }
    /// False when the problem has got the term back.
    virtual bool is_active() const { return true; }
};

/// The steps, oldest first, with backtrack points between them. Owns copies of the steps.
class RewriteStack {
public:
    /// Walks over the steps, without the backtrack points.
    class iterator {
    public:
        using Inner = std::vector<std::unique_ptr<RewriteStep>>::const_iterator;
        iterator(Inner at, Inner end) : at_(at), end_(end) { skip(); }
        const RewriteStep& operator*() const { return **at_; }
        const RewriteStep* operator->() const { return at_->get(); }
        iterator& operator++()
        {
            ++at_;
            skip();
            return *this;
        }
        bool operator==(const iterator& o) const { return at_ == o.at_; }

    private:
        void skip()
        {
            while (at_ != end_ && !*at_) {
                ++at_;
            }
        }

        Inner at_;
        Inner end_;
    };

    void push_rewrite(const RewriteStep& step) { steps_.push_back(step.new_copy()); }
    void push_backtrack_point() { steps_.push_back(nullptr); }
    /// Undoes the steps since the newest point, newest first; there must be one.
    void pop_backtrack_point()
    {
        while (steps_.back()) {
            steps_.back()->undo();
            steps_.pop_back();
        }
        steps_.pop_back();
    }

    iterator begin() const { return {steps_.begin(), steps_.end()}; }
    iterator end() const { return {steps_.end(), steps_.end()}; }
    bool empty() const { return begin() == end(); }

private:
    std::vector<std::unique_ptr<RewriteStep>> steps_; // null for a backtrack point
};

} // namespace tarq
