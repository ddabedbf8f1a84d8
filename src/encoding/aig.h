// Aig: the handle of a node of an and-inverter graph. The graph itself is in aigmanager.h.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace tarq {

/// A node with a sign in one 32-bit word, `id * 2 + negated`. The zero word is no node.
class Aig {
public:
    /// No node.
    constexpr Aig() = default;
    static constexpr Aig from_word(uint32_t word)
    {
        Aig a;
        a.word_ = word;
        return a;
    }
    constexpr Aig(uint32_t id, bool negated) : word_(id * 2 + static_cast<uint32_t>(negated)) {}

    constexpr uint32_t word() const { return word_; }
    /// The number of the node, from 1 in the order of creation.
    constexpr uint32_t id() const { return word_ >> 1; }
    constexpr bool is_negated() const { return (word_ & 1) != 0; }
    constexpr bool is_null() const { return word_ == 0; }
    constexpr Aig operator~() const { return from_word(word_ ^ 1); }
    /// The handle itself, or its negation when `flip` is set.
    constexpr Aig operator^(bool flip) const
    {
        return from_word(word_ ^ static_cast<uint32_t>(flip));
    }
    /// The positive handle of the node.
    constexpr Aig strip() const { return from_word(word_ & ~uint32_t{1}); }

    constexpr bool operator==(const Aig&) const = default;

    size_t hash() const { return word_; }

private:
    uint32_t word_ = 0;
};

static_assert(sizeof(Aig) == 4 && std::is_trivially_copyable_v<Aig>,
              "a word of a bit-vector term is an array of these");

} // namespace tarq
