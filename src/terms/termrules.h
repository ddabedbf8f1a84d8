// Rewrite rules that are run from their texts: the parser of a text, and the matcher it yields. The
// texts themselves stand in rewriterules.def.
//
// A text is `rewrite(PATTERN, CONDITION, ...) >> RESULT`. In patterns and results:
//   bvadd(a, b), extract(m, l, a), ite(c, a, b) ...   applications of the bit-vector operators
//   (a == b), ~a, (a & b), true, false                equality, negation, conjunction, constants
//   0, 1, 2, -1                                       the numeral of that value, -1 being all ones
//   other names                                       terms, or numbers in the place of an index;
//                                                     a number where a term stands is the numeral
//                                                     of that value with the width of its sibling
// Conditions, which must all hold, are tested from left to right:
//   const(a), ~const(a)     a is (is not) a numeral      identity(a, b)   the same term
//   prec(a, b)              a has the smaller term id    pow2(a, n)       the numeral a is 2^n
//   fits(size(a), _x + y_)  the sum needs at most size(a) bits
//   varvalue(a, 0)          a is the numeral 0
//   (x < y), <=, >, ==, ~   comparison of numbers: size(a), numerals by their value, indices, sums
//                           and differences (between underscores). A term that is no numeral has no
//                           value: the condition fails, negated or not
//   x=EXPRESSION            binds x to a number. An unbound number in a result is 0
#pragma once

#include "terms/numbers.h"
#include "terms/symboltags.h"
#include "terms/term.h"

#include <array>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

namespace tarq {

class TermManager;

/// What must hold of a root's child for a rule to have a chance; compared before any matching.
/// A tag (positive), 0 for terms without a tag, or one of the three below.
struct ChildShape {
    static constexpr int ANY = -10;
    static constexpr int NUMERAL = -11;
    static constexpr int NO_NUMERAL = -12;

    /// Whether a child of shape `have` (a tag, 0, or NUMERAL) can match the wanted shape.
    static bool admits(int wanted, int have)
    {
        return wanted == ANY || wanted == have || (wanted == NO_NUMERAL && have != NUMERAL);
    }
    /// The shape of a term: NUMERAL for number terms, else its tag.
    static int of(TermManager* tm, const Term_* t);
};

/// A rule compiled from its text. Immutable, so one rule serves any number of term managers.
class TermRule {
public:
    /// signature  the text by which the rule is known
    /// meant      the text that is compiled; both must outlive the rule (they are literals)
    /// A malformed text is a bug of the table and asserted.
    TermRule(const char* signature, const char* meant);

    const char* get_signature() const { return signature_; }
    /// The tag of the terms that the rule can rewrite.
    SymbolTag::tag get_applicant() const { return pattern_[0].tag; }
    /// The wanted shapes of the root's first two children (ANY where there is no such child).
    int child_shape(size_t i) const { return shapes_[i]; }

    /// Tries the rule at the root of `t`, whose tag is get_applicant().
    /// Returns the result, or null when the rule does not match. Cost: the size of the rule.
    const Term_* apply(TermManager* tm, const Term_* t) const;

private:
    friend class TermRuleParser;
    static constexpr size_t MAX_VARS = 8;

    /// A node of a pattern or of a result; children are indices into the same vector.
    struct Node {
        enum class Kind : uint8_t { TERM, LITERAL, NUMBER, APPLICATION, TRUE, FALSE, NOT, AND };
        Kind kind = Kind::TERM;
        SymbolTag::tag tag = SymbolTag::UNKNOWN; // of an APPLICATION
        uint8_t num_indices = 0;
        uint8_t num_children = 0;
        int8_t literal = 0;               // of a LITERAL
        uint8_t slot = 0;                 // of a TERM (term slot) or a NUMBER (number slot)
        std::array<uint8_t, 2> indices{}; // number slots
        std::array<uint8_t, 3> children{};
    };

    /// An arithmetic expression in postfix order.
    struct Arith {
        enum class Kind : uint8_t { INTEGER, NUMBER, SIZE, VALUE, ADD, SUB };
        Kind kind = Kind::INTEGER;
        uint8_t slot = 0;
        int8_t integer = 0;
    };
    using Expression = std::vector<Arith>;

    struct Condition {
        enum class Kind : uint8_t {
            CONST,
            IDENTITY,
            PREC,
            POW2,
            FITS,
            NUMERAL,
            LESS,
            LEQ,
            EQUAL,
            BIND
        };
        Kind kind = Kind::CONST;
        bool negated = false;
        uint8_t a = 0; // first slot
        uint8_t b = 0; // second slot
        int8_t literal = 0;
        Expression left, right;
    };

    struct Bindings {
        std::array<const Term_*, MAX_VARS> terms{};
        std::array<QNumber, MAX_VARS> numbers{};
    };

    bool match(TermManager* tm, const Node& node, const Term_* t, Bindings& b) const;
    bool holds(TermManager* tm, const Condition& c, Bindings& b) const;
    static bool evaluate(TermManager* tm, const Expression& e, const Bindings& b, QNumber* out);
    const Term_* build(TermManager* tm, const Node& node, uint64_t width, const Bindings& b) const;

    const char* signature_;
    std::vector<Node> pattern_; // [0] is the root
    std::vector<Node> result_;  // [0] is the root
    std::vector<Condition> conditions_;
    std::array<int, 2> shapes_{ChildShape::ANY, ChildShape::ANY};
};

/// The standard rules, tried as terms are built, in their order. Compiled on the first call.
const std::vector<std::unique_ptr<TermRule>>& standard_term_rules();

/// The rules for whole formulas, in their order. Compiled on the first call.
/// fixed_zero_divisor  whether the rules that fix the value of a division by zero take part
const std::vector<const TermRule*>& preprocessing_term_rules(bool fixed_zero_divisor);

} // namespace tarq
