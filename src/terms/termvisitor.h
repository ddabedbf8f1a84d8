// The walk over a term graph: post-order, without recursion, each shared term once.
#pragma once

#include "base/bitvector.h"
#include "terms/term.h"

#include <cstddef>

namespace tarq {

/// What a visit tells the walk to do next.
enum class VisitResult : int {
    ABORT = 0,   // end the whole walk
    SKIP = 1,    // at the entry: leave out the children; the exit visit still comes
    PROCESS = 2, // go on
};

/// A callback with a virtual operation, for walks whose callback is not known at compile time. Any
/// class with a `visit` of this shape serves TermVisitor as well.
class TermVisitorCallback {
public:
    virtual ~TermVisitorCallback() = default;
    /// t    the term at hand
    /// pre  true at the entry, before the children; false at the exit, after them
    virtual VisitResult visit(const Term_* t, bool pre)
    {
        (void)t;
        (void)pre;
        return VisitResult::PROCESS;
    }
};

/// Walks term graphs on an explicit stack, so depth is limited by memory only.
///
/// Marks: bit 2 * id says that the term is finished, bit 2 * id + 1 that it is entered. With `once`
/// a finished term is not visited again; without it a shared term is visited on each path.
/// Borrows the callback, and the marks if they are given; these must be all zero at the first walk
/// and are all zero after a walk that clears, also when it ends by an exception.
template <class Callback = TermVisitorCallback>
class TermVisitor {
public:
    explicit TermVisitor(Callback& callback, bool once = true)
        : callback_(callback), marks_(own_marks_), once_(once)
    {
    }
    /// marks  shared between walks that are not nested, to save their allocation; borrowed
    TermVisitor(BitVector& marks, Callback& callback, bool once = true)
        : callback_(callback), marks_(marks), once_(once)
    {
    }
    TermVisitor(const TermVisitor&) = delete;
    TermVisitor& operator=(const TermVisitor&) = delete;
    ~TermVisitor() { clear(); }

    /// Walks t.
    /// clear  when false, the marks stay, so that the next walk of this visitor leaves out what
    ///        this one has finished; they are cleared by `clear` or with the visitor
    /// Returns false if the callback ended the walk. Linear in the size of the graph with `once`.
    bool visit(const Term_* t, bool clear = true)
    {
        const CacheCleaner cleaner(clear ? this : nullptr);
        return walk(t);
    }

    /// Clears exactly the marks that the walks of this visitor have set.
    void clear()
    {
        for (uint64_t id : touched_) {
            marks_.unset(2 * id);
            marks_.unset(2 * id + 1);
        }
        touched_.clear();
        stack_.clear();
    }

private:
    /// Clears the marks on every way out of a walk; null does nothing.
    class CacheCleaner {
    public:
        explicit CacheCleaner(TermVisitor* visitor) : visitor_(visitor) {}
        CacheCleaner(const CacheCleaner&) = delete;
        CacheCleaner& operator=(const CacheCleaner&) = delete;
        ~CacheCleaner()
        {
            if (visitor_) {
                visitor_->clear();
            }
        }

    private:
        TermVisitor* visitor_;
    };

    bool is_marked(uint64_t bit) const { return bit < marks_.size() && marks_.get(bit); }

    void enter(uint64_t id)
    {
        marks_.grow(2 * id + 2);
        if (!marks_.get(2 * id) && !marks_.get(2 * id + 1)) {
            touched_.push_back(id);
        }
        marks_.set(2 * id + 1);
    }

    bool walk(const Term_* root)
    {
        stack_.clear();
        stack_.push_back(root);
        while (!stack_.empty()) {
            const Term_* t = stack_.back();
            const uint64_t id = t->get_id();
            if (once_ && is_marked(2 * id)) {
                stack_.pop_back();
                continue;
            }
            if (!is_marked(2 * id + 1)) {
                // marked first: a callback that throws must find its term in the list to clear
                enter(id);
                const VisitResult result = callback_.visit(t, true);
                if (result == VisitResult::ABORT) {
                    return false;
                }
                if (result != VisitResult::SKIP && push_children(t)) {
                    continue;
                }
            }
            stack_.pop_back();
            if (callback_.visit(t, false) == VisitResult::ABORT) {
                return false;
            }
            marks_.set(2 * id);
            // a repeated visit must find the term not entered
            marks_.unset(2 * id + 1);
        }
        return true;
    }

    bool push_children(const Term_* t)
    {
        const size_t size = stack_.size();
        for (const Term_* c : t->children()) {
            if (!once_ || !is_marked(2 * c->get_id())) {
                stack_.push_back(c);
            }
        }
        return stack_.size() != size;
    }

    Callback& callback_;
    BitVector own_marks_;
    BitVector& marks_;
    const bool once_;
    TermVector stack_;
    std::vector<uint64_t> touched_; // ids with a mark
};

} // namespace tarq
