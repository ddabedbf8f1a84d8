#include "theory/arr/arrsolver.h"

#include "theory/euf/eufsolver.h"

#include <utility>

namespace tarq::arr {

void Solver::check()
{
    if (!lemmas_.empty() || arrays_.empty()) {
        return;
    }
    poll();
    make_write_lemmas();
    if (!lemmas_.empty()) {
        return;
    }
    group();
    make_row_lemmas();
    if (lemmas_.empty()) {
        make_const_lemmas();
    }
    if (lemmas_.empty()) {
        make_ext_lemmas();
    }
}

/// Being in different classes is not enough: they may still be merged.
bool Solver::are_apart(const Read& a, const Read& b)
{
    return are_surely_apart(a.term, b.term);
}

void Solver::make_row_lemmas()
{
    for (const Read& r : read_infos_) {
        poll();
        if (!check_read(r) && config_.lazy_lemmas) {
            return;
        }
    }
}

/// Returns false when the read met another value; there is a lemma then.
bool Solver::check_read(const Read& read)
{
    const Term_* array = read.term->child(0);
    const Term_* index = read.term->child(1);
    const auto add_lemma = [&](std::vector<TheoryLit> clause) {
        ++num_row_lemmas_;
        push_lemma(Kind::READ_OVER_WRITE, nullptr, nullptr, std::move(clause));
        return false;
    };
    return walk(read.array, read.index, [&](uint32_t c) {
        for (uint32_t i : classes_[c].reads) {
            const Read& s = read_infos_[i];
            if (s.index == read.index && s.value != read.value) {
                std::vector<TheoryLit> clause;
                [[maybe_unused]] const bool valid = add_equality(clause, read.term, s.term, false);
                const Term_* at = add_path(clause, array, index, visits_, c);
                add_reasons(clause, at, s.term->child(0));
                add_reasons(clause, index, s.term->child(1));
                TARQ_ASSERT(!valid);
                return add_lemma(std::move(clause));
            }
        }
        for (const Term_* k : classes_[c].constants) {
            if (key_of(k->child(0)) != read.value) {
                std::vector<TheoryLit> clause;
                add_equality(clause, read.term, k->child(0), false);
                const Term_* at = add_path(clause, array, index, visits_, c);
                add_reasons(clause, at, k);
                return add_lemma(std::move(clause));
            }
        }
        return true;
    });
}

} // namespace tarq::arr
