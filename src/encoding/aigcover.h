// AigCover: irredundant sums of products for the functions of four inputs.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace tarq {

/// Covers of truth tables by cubes, each found when it is first asked for and kept.
///
/// A truth table is 16 bits: bit i is the value where input k is bit k of i. The cubes of a cover
/// together hold exactly where the table has ones, and none can be left out.
class AigCover {
public:
    /// A conjunction of inputs and negated inputs.
    struct Cube {
        uint8_t positive = 0; // bit k: input k
        uint8_t negative = 0; // bit k: the negation of input k
        bool has_positive(unsigned k) const { return (positive >> k & 1) != 0; }
        bool has_negative(unsigned k) const { return (negative >> k & 1) != 0; }
    };

    /// The truth tables of the four inputs.
    static constexpr std::array<uint16_t, 4> INPUTS{0xaaaa, 0xcccc, 0xf0f0, 0xff00};

    /// The cover of `table`; valid until the next call. Constant once it is known.
    std::span<const Cube> operator()(uint16_t table);

private:
    struct Range {
        uint32_t start = 0;
        uint32_t length = UNKNOWN;
    };
    static constexpr uint32_t UNKNOWN = ~uint32_t{0};

    uint16_t minimize(uint16_t must, uint16_t may, unsigned num_inputs);

    std::vector<Range> ranges_; // by truth table
    std::vector<Cube> cubes_;
};

} // namespace tarq
