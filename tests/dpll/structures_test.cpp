// Clause records, their pool, and the heap.
#include "dpll/clause.h"
#include "dpll/heap.h"
#include "testsupport.h"

#include <gtest/gtest.h>

#include <cstring>
#include <set>

using namespace tarq;
using namespace tarq::dpll;
using tarq::test::Rng;

namespace {

std::vector<Lit> lits_of(size_t n)
{
    std::vector<Lit> lits;
    for (size_t i = 0; i < n; ++i) {
        lits.emplace_back(static_cast<int>(3 * i), i % 2 == 1);
    }
    return lits;
}

TEST(ClauseRecord, fields_do_not_disturb_each_other)
{
    ClausePool pool;
    for (size_t n : {0, 1, 2, 3, 7, 1000}) {
        for (int kind = 0; kind < 8; ++kind) {
            const bool learnt = (kind & 1) != 0, theory = (kind & 2) != 0,
                       extension = (kind & 4) != 0;
            const auto lits = lits_of(n);
            Clause* c = Clause_new(pool, lits.data(), n, 0x7ffffff0, learnt, theory, extension);
            c->set_lbd(300);
            c->add_reference();
            if (learnt) {
                c->set_activity(1.5F);
            }
            if (extension) {
                c->set_preprocessor_state(7);
                c->set_guard_var(11);
            }
            EXPECT_EQ(n, c->size());
            EXPECT_EQ(255U, c->lbd());
            EXPECT_EQ(lits, std::vector<Lit>(c->begin(), c->end()));
            EXPECT_EQ(0x7ffffff0U, c->id());
            EXPECT_EQ(2U, c->num_references());
            EXPECT_EQ(learnt, c->is_learnt());
            EXPECT_EQ(theory, c->is_theory());
            EXPECT_EQ(extension, c->has_extension());
            if (learnt) {
                EXPECT_EQ(1.5F, c->activity());
            }
            if (extension) {
                EXPECT_EQ(7U, c->preprocessor_state());
                EXPECT_EQ(11, c->guard_var());
            }
            if (n > 0) {
                Clause* copy = Clause_copy(pool, c);
                c->set_moved(copy);
                EXPECT_TRUE(c->is_garbage());
                EXPECT_EQ(copy, c->moved_to());
                EXPECT_EQ(2U, copy->num_references());
                EXPECT_EQ(lits, std::vector<Lit>(copy->begin(), copy->end()));
            }
        }
    }
    Clause* c = Clause_new(pool, lits_of(3).data(), 3, 1, false, false, false);
    EXPECT_EQ(1U | 1U << 3 | 1U << 6, c->abstraction());
    c->compute_abstraction(3);
    EXPECT_EQ(1U | 1U << 6, c->abstraction());
}

TEST(ClauseRecord, refuses_more_literals_than_fit)
{
    ClausePool pool;
    try {
        Clause_new(pool, nullptr, Clause::max_size + 1, 0, false, false, false);
        FAIL();
    } catch (const Exception& e) {
        EXPECT_STREQ("max clause size exceeded (size: 16777216, max: 16777215)", e.what());
    }
}

/// Each piece is filled with its own byte; a piece given out twice would lose it.
TEST(ClausePool, pieces_never_overlap_and_are_reused)
{
    ClausePool pool;
    Rng rng(5);
    struct Piece {
        uint32_t* p;
        size_t n;
        unsigned char byte;
    };
    std::vector<Piece> live;
    std::set<uint32_t*> seen;
    size_t reused = 0;
    for (int i = 0; i < 20000; ++i) {
        if (live.size() < 300 || rng.chance(50)) {
            const auto n =
                static_cast<size_t>(rng.chance(3) ? rng.range(500, 3000) : rng.range(4, 40));
            const Piece piece{pool.allocate(n), n, static_cast<unsigned char>(i)};
            std::memset(piece.p, piece.byte, n * sizeof(uint32_t));
            live.push_back(piece);
            reused += static_cast<size_t>(!seen.insert(piece.p).second);
        } else {
            const auto at = static_cast<size_t>(rng.range(0, static_cast<int>(live.size()) - 1));
            const auto* bytes = reinterpret_cast<const unsigned char*>(live[at].p);
            ASSERT_TRUE(std::all_of(bytes, bytes + live[at].n * sizeof(uint32_t),
                                    [&](unsigned char b) { return b == live[at].byte; }));
            pool.release(live[at].p, live[at].n);
            std::swap(live[at], live.back());
            live.pop_back();
        }
    }
    if (ClausePool::max_pooled > 0) { // under the address sanitizer nothing is pooled
        EXPECT_GT(reused, 5000U);
    }
}

TEST(Heap, random_changes_keep_the_order)
{
    struct ByKey {
        const std::vector<int>* key;
        bool operator()(int a, int b) const
        {
            const auto x = static_cast<size_t>(a), y = static_cast<size_t>(b);
            return (*key)[x] > (*key)[y] || ((*key)[x] == (*key)[y] && a < b);
        }
    };
    std::vector<int> key(60, 0);
    Heap<ByKey> heap(ByKey{&key});
    std::set<int, ByKey> model(ByKey{&key});
    Rng rng(7);
    for (int i = 0; i < 20000; ++i) {
        const int v = rng.range(0, 59);
        ASSERT_EQ(model.count(v) != 0, heap.contains(v));
        switch (rng.range(0, 5)) {
        case 0:
            if (!heap.contains(v)) {
                heap.insert(v);
                model.insert(v);
            }
            break;
        case 1:
            heap.remove(v);
            model.erase(v);
            break;
        case 2:
            if (!heap.empty()) {
                ASSERT_EQ(*model.begin(), heap.pop());
                model.erase(model.begin());
            }
            break;
        case 3:
        case 4: {
            const bool up = rng.chance(50), in = heap.contains(v);
            model.erase(v);
            key[static_cast<size_t>(v)] += up ? 1 : rng.range(-3, 3);
            if (in) {
                model.insert(v);
                up ? heap.moved_up(v) : heap.update(v);
            }
            break;
        }
        default:
            if (rng.chance(5)) {
                const std::vector<int> all(model.begin(), model.end());
                heap.build(all.rbegin(), all.rend());
            }
        }
        ASSERT_EQ(model.size(), static_cast<size_t>(heap.size()));
        ASSERT_TRUE(heap.check_invariants());
    }
}

} // namespace
