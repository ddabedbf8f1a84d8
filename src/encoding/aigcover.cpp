#include "encoding/aigcover.h"

namespace tarq {

namespace {

constexpr size_t NUM_TABLES = 1 << 16;

uint16_t bits(unsigned x)
{
    return static_cast<uint16_t>(x);
}

/// The function with input k fixed, spread over both values of it.
uint16_t cofactor(uint16_t f, unsigned k, bool value)
{
    const unsigned shift = 1u << k;
    if (value) {
        const unsigned half = f & AigCover::INPUTS[k];
        return bits(half | half >> shift);
    }
    const unsigned half = f & ~unsigned{AigCover::INPUTS[k]};
    return bits(half | half << shift);
}

} // namespace

/// Appends an irredundant cover of some function between `must` and `may`, which depend on the
/// first `num_inputs` inputs only, and returns that function. The recursion of S. Minato, "Fast
/// generation of irredundant sum-of-products forms from binary decision diagrams": first the cubes
/// that need the top input negated, then those that need it, then, for what is still open, cubes
/// without it.
uint16_t AigCover::minimize(uint16_t must, uint16_t may, unsigned num_inputs)
{
    if (must == 0) {
        return 0;
    }
    if (may == 0xffff) {
        cubes_.push_back(Cube{});
        return 0xffff;
    }
    unsigned k = num_inputs - 1;
    while (cofactor(must, k, false) == cofactor(must, k, true) &&
           cofactor(may, k, false) == cofactor(may, k, true)) {
        --k; // some input matters: `must` is not empty and `may` is not full
    }
    const uint16_t must0 = cofactor(must, k, false);
    const uint16_t must1 = cofactor(must, k, true);
    const uint16_t may0 = cofactor(may, k, false);
    const uint16_t may1 = cofactor(may, k, true);
    size_t from = cubes_.size();
    const uint16_t with0 = minimize(must0 & bits(~may1), may0, k);
    for (; from < cubes_.size(); ++from) {
        cubes_[from].negative |= static_cast<uint8_t>(1u << k);
    }
    const uint16_t with1 = minimize(must1 & bits(~may0), may1, k);
    for (; from < cubes_.size(); ++from) {
        cubes_[from].positive |= static_cast<uint8_t>(1u << k);
    }
    const uint16_t open = bits((must0 & ~with0) | (must1 & ~with1));
    const uint16_t without = minimize(open, may0 & may1, k);
    return bits((with0 & ~INPUTS[k]) | (with1 & INPUTS[k]) | without);
}

std::span<const AigCover::Cube> AigCover::operator()(uint16_t table)
{
    if (ranges_.empty()) {
        ranges_.resize(NUM_TABLES);
    }
    Range& r = ranges_[table];
    if (r.length == UNKNOWN) {
        r.start = static_cast<uint32_t>(cubes_.size());
        minimize(table, table, 4);
        r.length = static_cast<uint32_t>(cubes_.size()) - r.start;
    }
    return {cubes_.data() + r.start, r.length};
}

} // namespace tarq
