// Matching and building: how a compiled rule runs. The recursions below follow rule texts, whose
// depth is at most four, never terms.

#include "terms/termrules.h"

#include "base/assertion.h"
#include "terms/bvnumber.h"
#include "terms/termmanager.h"

namespace tarq {

namespace {

/// Reads the indices that texts write in front of the term.
void read_indices(TermManager* tm, const Symbol* s, SymbolTag::tag tag, std::array<size_t, 2>* out)
{
    std::array<size_t, 2>& n = *out;
    switch (tag) {
    case SymbolTag::BV_EXTRACT:
        tm->is_bv_extract(s, &n[0], &n[1]);
        break;
    case SymbolTag::BV_ZEXT:
        tm->is_bv_zext(s, &n[0]);
        break;
    case SymbolTag::BV_SEXT:
        tm->is_bv_sext(s, &n[0]);
        break;
    case SymbolTag::BV_ROL:
        tm->is_bv_rol(s, &n[0]);
        break;
    case SymbolTag::BV_ROR:
        tm->is_bv_ror(s, &n[0]);
        break;
    default:
        TARQ_UNREACHABLE(tag);
    }
}

size_t width_of(TermManager* tm, const Term_* t)
{
    size_t width = 0;
    [[maybe_unused]] const bool is_bv = tm->is_bv_type(TermManager::get_type(t), &width);
    TARQ_ASSERT(is_bv);
    return width;
}

/// Whether `t` is the numeral `literal`, -1 being all ones.
bool is_literal(TermManager* tm, const Term_* t, int literal)
{
    QNumber value;
    size_t width = 0;
    if (!tm->is_bv_number(t, &value, &width)) {
        return false;
    }
    return literal >= 0 ? value == static_cast<long>(literal)
                        : value == BVNumber::pow2(width) - QNumber(1);
}

/// The numeral of a literal or a number: values count modulo 2^width, so -1 is all ones.
const Term_* make_numeral(TermManager* tm, QNumber value, size_t width)
{
    if (value.is_neg()) {
        value += BVNumber::pow2(width);
    }
    BVNumber::trim(value, width);
    return tm->make_bv_number(value, width);
}

const Term_* make_application(TermManager* tm, SymbolTag::tag tag, const std::array<size_t, 2>& n,
                              const std::array<const Term_*, 3>& a)
{
    switch (tag) {
    case SymbolTag::EQ:
        return tm->make_equal(a[0], a[1]);
    case SymbolTag::ITE:
        return tm->make_term_ite(a[0], a[1], a[2]);
    case SymbolTag::BV_ADD:
        return tm->make_bv_add(a[0], a[1]);
    case SymbolTag::BV_SUB:
        return tm->make_bv_sub(a[0], a[1]);
    case SymbolTag::BV_MUL:
        return tm->make_bv_mul(a[0], a[1]);
    case SymbolTag::BV_NEG:
        return tm->make_bv_neg(a[0]);
    case SymbolTag::BV_NOT:
        return tm->make_bv_not(a[0]);
    case SymbolTag::BV_AND:
        return tm->make_bv_and(a[0], a[1]);
    case SymbolTag::BV_OR:
        return tm->make_bv_or(a[0], a[1]);
    case SymbolTag::BV_XOR:
        return tm->make_bv_xor(a[0], a[1]);
    case SymbolTag::BV_UDIV:
        return tm->make_bv_udiv(a[0], a[1]);
    case SymbolTag::BV_SDIV:
        return tm->make_bv_sdiv(a[0], a[1]);
    case SymbolTag::BV_UREM:
        return tm->make_bv_urem(a[0], a[1]);
    case SymbolTag::BV_SREM:
        return tm->make_bv_srem(a[0], a[1]);
    case SymbolTag::BV_LSHL:
        return tm->make_bv_lshl(a[0], a[1]);
    case SymbolTag::BV_LSHR:
        return tm->make_bv_lshr(a[0], a[1]);
    case SymbolTag::BV_ASHR:
        return tm->make_bv_ashr(a[0], a[1]);
    case SymbolTag::BV_ULT:
        return tm->make_bv_ult(a[0], a[1]);
    case SymbolTag::BV_SLT:
        return tm->make_bv_slt(a[0], a[1]);
    case SymbolTag::BV_CONCAT:
        return tm->make_bv_concat(a[0], a[1]);
    case SymbolTag::BV_EXTRACT:
        return tm->make_bv_extract(n[0], n[1], a[0]);
    case SymbolTag::BV_ZEXT:
        return tm->make_bv_zero_extend(n[0], a[0]);
    case SymbolTag::BV_SEXT:
        return tm->make_bv_sign_extend(n[0], a[0]);
    case SymbolTag::BV_ROL:
        return tm->make_bv_rotate_left(n[0], a[0]);
    case SymbolTag::BV_ROR:
        return tm->make_bv_rotate_right(n[0], a[0]);
    default:
        TARQ_UNREACHABLE(tag);
    }
}

} // namespace

int ChildShape::of(TermManager* tm, const Term_* t)
{
    const SymbolTag::tag tag = tm->get_tag(t);
    return tag == SymbolTag::UNKNOWN && t->arity() == 0 && tm->is_number(t) ? NUMERAL : tag;
}

bool TermRule::match(TermManager* tm, const Node& node, const Term_* t, Bindings& b) const
{
    switch (node.kind) {
    case Node::Kind::TERM:
        b.terms[node.slot] = t;
        return true;
    case Node::Kind::LITERAL:
        return is_literal(tm, t, node.literal);
    case Node::Kind::APPLICATION: {
        const Symbol* s = t->get_symbol();
        if (tm->get_tag(s) != node.tag) {
            return false;
        }
        if (node.num_indices > 0) {
            std::array<size_t, 2> n{};
            read_indices(tm, s, node.tag, &n);
            for (size_t i = 0; i < node.num_indices; ++i) {
                b.numbers[node.indices[i]] = QNumber(n[i]);
            }
        }
        for (size_t i = 0; i < node.num_children; ++i) {
            if (!match(tm, pattern_[node.children[i]], t->child(i), b)) {
                return false;
            }
        }
        return true;
    }
    default:
        TARQ_UNREACHABLE(node.kind);
    }
}

bool TermRule::evaluate(TermManager* tm, const Expression& e, const Bindings& b, QNumber* out)
{
    std::array<QNumber, 4> stack;
    size_t depth = 0;
    for (const Arith& a : e) {
        switch (a.kind) {
        case Arith::Kind::INTEGER:
            stack[depth++] = QNumber(static_cast<long>(a.integer));
            break;
        case Arith::Kind::NUMBER:
            stack[depth++] = b.numbers[a.slot];
            break;
        case Arith::Kind::SIZE:
            stack[depth++] = QNumber(width_of(tm, b.terms[a.slot]));
            break;
        case Arith::Kind::VALUE:
            if (!tm->is_bv_number(b.terms[a.slot], &stack[depth++])) {
                return false;
            }
            break;
        case Arith::Kind::ADD:
            --depth;
            stack[depth - 1] += stack[depth];
            break;
        case Arith::Kind::SUB:
            --depth;
            stack[depth - 1] -= stack[depth];
            break;
        }
    }
    TARQ_ASSERT(depth == 1);
    out->swap(stack[0]);
    return true;
}

bool TermRule::holds(TermManager* tm, const Condition& c, Bindings& b) const
{
    QNumber left, right;
    switch (c.kind) {
    case Condition::Kind::CONST:
        return tm->is_bv_number(b.terms[c.a]) != c.negated;
    case Condition::Kind::IDENTITY:
        return b.terms[c.a] == b.terms[c.b];
    case Condition::Kind::PREC:
        return b.terms[c.a]->get_id() < b.terms[c.b]->get_id();
    case Condition::Kind::POW2: {
        if (!tm->is_bv_number(b.terms[c.a], &left) || left.is_zero()) {
            return false;
        }
        const unsigned long n = BVNumber::next_one(left, 0);
        if (BVNumber::bit_length(left) != n + 1) {
            return false;
        }
        b.numbers[c.b] = QNumber(n);
        return true;
    }
    case Condition::Kind::FITS:
        return evaluate(tm, c.left, b, &left) && evaluate(tm, c.right, b, &right) &&
               QNumber(BVNumber::bit_length(right)) <= left;
    case Condition::Kind::NUMERAL:
        return tm->is_bv_number(b.terms[c.a]) &&
               is_literal(tm, b.terms[c.a], c.literal) != c.negated;
    case Condition::Kind::BIND:
        return evaluate(tm, c.left, b, &b.numbers[c.a]);
    case Condition::Kind::LESS:
    case Condition::Kind::LEQ:
    case Condition::Kind::EQUAL:
        break;
    }
    if (!evaluate(tm, c.left, b, &left) || !evaluate(tm, c.right, b, &right)) {
        return false;
    }
    const int order = left.compare(right);
    const bool result = c.kind == Condition::Kind::LESS  ? order < 0
                        : c.kind == Condition::Kind::LEQ ? order <= 0
                                                         : order == 0;
    return result != c.negated;
}

const Term_* TermRule::build(TermManager* tm, const Node& node, uint64_t width,
                             const Bindings& b) const
{
    switch (node.kind) {
    case Node::Kind::TERM:
        return b.terms[node.slot];
    case Node::Kind::LITERAL:
        return make_numeral(tm, QNumber(static_cast<long>(node.literal)), width);
    case Node::Kind::NUMBER:
        return make_numeral(tm, b.numbers[node.slot], width);
    case Node::Kind::TRUE:
        return tm->make_true();
    case Node::Kind::FALSE:
        return tm->make_false();
    case Node::Kind::NOT:
        return tm->make_not(build(tm, result_[node.children[0]], width, b));
    case Node::Kind::AND: {
        const Term_* left = build(tm, result_[node.children[0]], width, b);
        return tm->make_and(left, build(tm, result_[node.children[1]], width, b));
    }
    case Node::Kind::APPLICATION:
        break;
    }
    // numerals come last: they take the width of a sibling
    std::array<const Term_*, 3> args{};
    uint64_t sibling_width = 0;
    for (const bool numerals : {false, true}) {
        for (size_t i = 0; i < node.num_children; ++i) {
            const Node& child = result_[node.children[i]];
            const bool is_numeral =
                child.kind == Node::Kind::LITERAL || child.kind == Node::Kind::NUMBER;
            if (is_numeral == numerals) {
                args[i] = build(tm, child, numerals ? sibling_width : width, b);
                if (!numerals) {
                    size_t w = 0;
                    if (tm->is_bv_type(TermManager::get_type(args[i]), &w)) {
                        sibling_width = w;
                    }
                }
            }
        }
    }
    std::array<size_t, 2> indices{};
    for (size_t i = 0; i < node.num_indices; ++i) {
        long n = 0;
        [[maybe_unused]] const bool fits = b.numbers[node.indices[i]].to_int(&n);
        TARQ_ASSERT(fits && n >= 0);
        indices[i] = static_cast<size_t>(n);
    }
    return make_application(tm, node.tag, indices, args);
}

const Term_* TermRule::apply(TermManager* tm, const Term_* t) const
{
    Bindings b;
    if (!match(tm, pattern_[0], t, b)) {
        return nullptr;
    }
    for (const Condition& c : conditions_) {
        if (!holds(tm, c, b)) {
            return nullptr;
        }
    }
    size_t width = 0;
    tm->is_bv_type(TermManager::get_type(t), &width);
    return build(tm, result_[0], width, b);
}

namespace {

struct RuleText {
    const char* signature;
    const char* meant;
    bool fixed_zero_divisor;
};

constexpr RuleText STANDARD_RULES[] = {
#define TARQ_STANDARD_RULE(text) {text, text, false},
#define TARQ_STANDARD_RULE_AS(text, meant) {text, meant, false},
#define TARQ_PREPROCESSING_RULE(text)
#define TARQ_FIXED_ZERO_DIVISOR_RULE(text)
#include "terms/rewriterules.def"
};

constexpr RuleText PREPROCESSING_RULES[] = {
#define TARQ_STANDARD_RULE(text)
#define TARQ_STANDARD_RULE_AS(text, meant)
#define TARQ_PREPROCESSING_RULE(text) {text, text, false},
#define TARQ_FIXED_ZERO_DIVISOR_RULE(text) {text, text, true},
#include "terms/rewriterules.def"
};

static_assert(std::size(STANDARD_RULES) == 178 && std::size(PREPROCESSING_RULES) == 36);

} // namespace

const std::vector<std::unique_ptr<TermRule>>& standard_term_rules()
{
    static const auto rules = [] {
        std::vector<std::unique_ptr<TermRule>> result;
        for (const RuleText& r : STANDARD_RULES) {
            result.push_back(std::make_unique<TermRule>(r.signature, r.meant));
        }
        return result;
    }();
    return rules;
}

const std::vector<const TermRule*>& preprocessing_term_rules(bool fixed_zero_divisor)
{
    static const auto all = [] {
        std::vector<std::unique_ptr<TermRule>> result;
        for (const RuleText& r : PREPROCESSING_RULES) {
            result.push_back(std::make_unique<TermRule>(r.signature, r.meant));
        }
        return result;
    }();
    static const auto select = [](bool with_fixed) {
        std::vector<const TermRule*> result;
        for (size_t i = 0; i < all.size(); ++i) {
            if (with_fixed || !PREPROCESSING_RULES[i].fixed_zero_divisor) {
                result.push_back(all[i].get());
            }
        }
        return result;
    };
    static const auto with = select(true);
    static const auto without = select(false);
    return fixed_zero_divisor ? with : without;
}

} // namespace tarq
