// The parser of rule texts. Texts are literals of this library, so a fault in one is a bug and
// asserted, never reported.

#include "terms/termrules.h"

#include "base/assertion.h"

#include <cctype>
#include <cstring>
#include <string>

namespace tarq {

namespace {

struct Operator {
    const char* name;
    SymbolTag::tag tag;
    uint8_t num_indices;
    uint8_t num_children;
};

constexpr Operator OPERATORS[] = {
    {"bvadd", SymbolTag::BV_ADD, 0, 2},       {"bvsub", SymbolTag::BV_SUB, 0, 2},
    {"bvmul", SymbolTag::BV_MUL, 0, 2},       {"bvneg", SymbolTag::BV_NEG, 0, 1},
    {"bvnot", SymbolTag::BV_NOT, 0, 1},       {"bvand", SymbolTag::BV_AND, 0, 2},
    {"bvor", SymbolTag::BV_OR, 0, 2},         {"bvxor", SymbolTag::BV_XOR, 0, 2},
    {"bvudiv", SymbolTag::BV_UDIV, 0, 2},     {"bvsdiv", SymbolTag::BV_SDIV, 0, 2},
    {"bvurem", SymbolTag::BV_UREM, 0, 2},     {"bvsrem", SymbolTag::BV_SREM, 0, 2},
    {"bvlshl", SymbolTag::BV_LSHL, 0, 2},     {"bvlshr", SymbolTag::BV_LSHR, 0, 2},
    {"bvashr", SymbolTag::BV_ASHR, 0, 2},     {"bvrol", SymbolTag::BV_ROL, 1, 1},
    {"bvror", SymbolTag::BV_ROR, 1, 1},       {"bvult", SymbolTag::BV_ULT, 0, 2},
    {"bvule", SymbolTag::BV_ULE, 0, 2},       {"bvslt", SymbolTag::BV_SLT, 0, 2},
    {"bvsle", SymbolTag::BV_SLE, 0, 2},       {"concat", SymbolTag::BV_CONCAT, 0, 2},
    {"extract", SymbolTag::BV_EXTRACT, 2, 1}, {"zext", SymbolTag::BV_ZEXT, 1, 1},
    {"sext", SymbolTag::BV_SEXT, 1, 1},       {"ite", SymbolTag::ITE, 0, 3},
};

const Operator* find_operator(std::string_view name)
{
    for (const Operator& op : OPERATORS) {
        if (name == op.name) {
            return &op;
        }
    }
    return nullptr;
}

} // namespace

/// Reads one text from left to right into a TermRule. Recursive, to the depth of the text.
class TermRuleParser {
public:
    TermRuleParser(const char* text, TermRule* rule) : rest_(text), rule_(rule) {}

    void run()
    {
        expect("rewrite(");
        in_pattern_ = true;
        term(rule_->pattern_);
        in_pattern_ = false;
        while (accept(",")) {
            if (!at(")")) {
                condition();
            }
        }
        expect(")");
        expect(">>");
        term(rule_->result_);
        skip_blanks();
        TARQ_ASSERT(rest_.empty());
    }

private:
    using Node = TermRule::Node;
    using Kind = Node::Kind;
    using Condition = TermRule::Condition;
    using Arith = TermRule::Arith;

    void skip_blanks()
    {
        while (!rest_.empty() && rest_[0] == ' ') {
            rest_.remove_prefix(1);
        }
    }
    bool at(std::string_view s)
    {
        skip_blanks();
        return rest_.substr(0, s.size()) == s;
    }
    bool accept(std::string_view s)
    {
        if (!at(s)) {
            return false;
        }
        rest_.remove_prefix(s.size());
        return true;
    }
    void expect([[maybe_unused]] std::string_view s)
    {
        [[maybe_unused]] const bool there = accept(s);
        TARQ_ASSERT(there);
    }

    static bool is_name_char(char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0; }

    /// A name: letters and digits, with one "_" and digits at the end for t_0, n_1 and the like.
    std::string_view name()
    {
        skip_blanks();
        size_t n = 0;
        while (n < rest_.size() && is_name_char(rest_[n])) {
            ++n;
        }
        if (n + 1 < rest_.size() && rest_[n] == '_' &&
            std::isdigit(static_cast<unsigned char>(rest_[n + 1]))) {
            ++n;
            while (n < rest_.size() && is_name_char(rest_[n])) {
                ++n;
            }
        }
        TARQ_ASSERT(n > 0);
        const std::string_view result = rest_.substr(0, n);
        rest_.remove_prefix(n);
        return result;
    }

    static int find(const std::vector<std::string_view>& names, std::string_view name)
    {
        for (size_t i = 0; i < names.size(); ++i) {
            if (names[i] == name) {
                return static_cast<int>(i);
            }
        }
        return -1;
    }
    static uint8_t slot(std::vector<std::string_view>& names, std::string_view name)
    {
        const int found = find(names, name);
        if (found >= 0) {
            return static_cast<uint8_t>(found);
        }
        TARQ_ASSERT(names.size() < TermRule::MAX_VARS);
        names.push_back(name);
        return static_cast<uint8_t>(names.size() - 1);
    }
    uint8_t number_slot() { return slot(numbers_, name()); }
    uint8_t term_slot()
    {
        const std::string_view n = name();
        TARQ_ASSERT(find(terms_, n) >= 0);
        return slot(terms_, n);
    }

    /// Appends a term to `nodes`, children behind their parent; returns its index.
    uint8_t term(std::vector<Node>& nodes)
    {
        const auto index = static_cast<uint8_t>(nodes.size());
        nodes.emplace_back();
        Node node;
        if (accept("(")) {
            binary(nodes, node, index);
        } else if (accept("~")) {
            node.kind = Kind::NOT;
            node.num_children = 1;
            node.children[0] = term(nodes);
        } else if (accept("-1")) {
            node.kind = Kind::LITERAL;
            node.literal = -1;
        } else {
            named(nodes, node);
        }
        nodes[index] = node;
        return index;
    }

    /// What stands between parentheses: an equality, a conjunction, or just one term.
    void binary(std::vector<Node>& nodes, Node& node, [[maybe_unused]] uint8_t index)
    {
        const uint8_t left = term(nodes);
        if (accept(")")) {
            // a pair of parentheses around one term: the inner node takes the outer's place
            TARQ_ASSERT(left == index + 1);
            node = nodes[left];
            return;
        }
        if (accept("==")) {
            node.kind = Kind::APPLICATION;
            node.tag = SymbolTag::EQ;
        } else {
            expect("&");
            node.kind = Kind::AND;
        }
        node.num_children = 2;
        node.children[0] = left;
        node.children[1] = term(nodes);
        expect(")");
    }

    void named(std::vector<Node>& nodes, Node& node)
    {
        const std::string_view n = name();
        if (n == "true" || n == "false") {
            node.kind = n == "true" ? Kind::TRUE : Kind::FALSE;
        } else if (std::isdigit(static_cast<unsigned char>(n[0]))) {
            TARQ_ASSERT(n.size() == 1);
            node.kind = Kind::LITERAL;
            node.literal = static_cast<int8_t>(n[0] - '0');
        } else if (const Operator* op = at("(") ? find_operator(n) : nullptr) {
            application(nodes, node, *op);
        } else if (in_pattern_ || find(terms_, n) >= 0) {
            TARQ_ASSERT(!at("("));
            // each name stands once in a pattern: equality of terms is said by a condition
            TARQ_ASSERT(!in_pattern_ || find(terms_, n) < 0);
            node.kind = Kind::TERM;
            node.slot = slot(terms_, n);
        } else {
            node.kind = Kind::NUMBER;
            node.slot = slot(numbers_, n);
        }
    }

    void application(std::vector<Node>& nodes, Node& node, const Operator& op)
    {
        node.kind = Kind::APPLICATION;
        node.tag = op.tag;
        node.num_indices = op.num_indices;
        node.num_children = op.num_children;
        expect("(");
        for (uint8_t i = 0; i < op.num_indices; ++i) {
            node.indices[i] = number_slot();
            expect(",");
        }
        for (uint8_t i = 0; i < op.num_children; ++i) {
            if (i > 0) {
                expect(",");
            }
            node.children[i] = term(nodes);
        }
        expect(")");
    }

    void condition()
    {
        Condition c;
        c.negated = accept("~");
        if (accept("const(")) {
            c.kind = Condition::Kind::CONST;
            c.a = term_slot();
            expect(")");
        } else if (accept("identity(") || at("prec(")) {
            c.kind = accept("prec(") ? Condition::Kind::PREC : Condition::Kind::IDENTITY;
            c.a = term_slot();
            expect(",");
            c.b = term_slot();
            expect(")");
        } else if (accept("pow2(")) {
            c.kind = Condition::Kind::POW2;
            c.a = term_slot();
            expect(",");
            c.b = number_slot();
            expect(")");
        } else if (accept("varvalue(")) {
            c.kind = Condition::Kind::NUMERAL;
            c.a = term_slot();
            expect(",");
            expect("0");
            expect(")");
        } else if (accept("fits(")) {
            c.kind = Condition::Kind::FITS;
            c.left = expression();
            expect(",");
            c.right = expression();
            expect(")");
        } else if (accept("(")) {
            if (!comparison(c)) {
                return;
            }
        } else {
            c.kind = Condition::Kind::BIND;
            c.a = number_slot();
            expect("=");
            c.left = expression();
        }
        rule_->conditions_.push_back(std::move(c));
    }

    /// Reads a comparison behind its "("; false for one between two literals, which only repeats
    /// what the pattern says.
    bool comparison(Condition& c)
    {
        c.left = expression();
        bool swapped = false;
        if (accept("<=")) {
            c.kind = Condition::Kind::LEQ;
        } else if (accept("<")) {
            c.kind = Condition::Kind::LESS;
        } else if (accept(">")) {
            c.kind = Condition::Kind::LESS;
            swapped = true;
        } else {
            expect("==");
            c.kind = Condition::Kind::EQUAL;
        }
        c.right = expression();
        expect(")");
        if (swapped) {
            std::swap(c.left, c.right);
        }
        const bool literal = c.right.size() == 1 && c.right[0].kind == Arith::Kind::INTEGER;
        if (literal && c.left.size() == 1 && c.kind == Condition::Kind::EQUAL) {
            if (c.left[0].kind == Arith::Kind::INTEGER) {
                TARQ_ASSERT(c.left[0].integer == c.right[0].integer && !c.negated);
                return false;
            }
            if (c.left[0].kind == Arith::Kind::VALUE) {
                c.kind = Condition::Kind::NUMERAL;
                c.a = c.left[0].slot;
                c.literal = c.right[0].integer;
            }
        }
        return true;
    }

    /// A sum of atoms, possibly between underscores, in postfix order.
    std::vector<Arith> expression()
    {
        std::vector<Arith> out;
        const bool enclosed = accept("_");
        operand(out);
        while (at("+") || (at("-") && !at("-1"))) {
            const bool plus = accept("+");
            if (!plus) {
                expect("-");
            }
            operand(out);
            out.push_back({plus ? Arith::Kind::ADD : Arith::Kind::SUB, 0, 0});
        }
        if (enclosed) {
            expect("_");
        }
        return out;
    }

    void operand(std::vector<Arith>& out)
    {
        if (at("_")) {
            const std::vector<Arith> inner = expression();
            out.insert(out.end(), inner.begin(), inner.end());
        } else if (accept("-1")) {
            out.push_back({Arith::Kind::INTEGER, 0, -1});
        } else if (accept("size(")) {
            out.push_back({Arith::Kind::SIZE, term_slot(), 0});
            expect(")");
        } else {
            const std::string_view n = name();
            if (std::isdigit(static_cast<unsigned char>(n[0]))) {
                out.push_back({Arith::Kind::INTEGER, 0, static_cast<int8_t>(n[0] - '0')});
            } else if (find(terms_, n) >= 0) {
                out.push_back({Arith::Kind::VALUE, slot(terms_, n), 0});
            } else {
                out.push_back({Arith::Kind::NUMBER, slot(numbers_, n), 0});
            }
        }
    }

    std::string_view rest_;
    TermRule* rule_;
    bool in_pattern_ = false;
    std::vector<std::string_view> terms_;   // names by term slot
    std::vector<std::string_view> numbers_; // names by number slot
};

TermRule::TermRule(const char* signature, const char* meant) : signature_(signature)
{
    TermRuleParser(meant, this).run();
    const Node& root = pattern_[0];
    TARQ_ASSERT(root.kind == Node::Kind::APPLICATION);
    for (size_t i = 0; i < 2 && i < root.num_children; ++i) {
        const Node& child = pattern_[root.children[i]];
        if (child.kind == Node::Kind::APPLICATION) {
            shapes_[i] = child.tag;
        } else if (child.kind == Node::Kind::LITERAL) {
            shapes_[i] = ChildShape::NUMERAL;
        } else {
            for (const Condition& c : conditions_) {
                if (c.a != child.slot) {
                    continue;
                }
                if (c.kind == Condition::Kind::CONST) {
                    shapes_[i] = c.negated ? ChildShape::NO_NUMERAL : ChildShape::NUMERAL;
                } else if (c.kind == Condition::Kind::NUMERAL || c.kind == Condition::Kind::POW2) {
                    shapes_[i] = ChildShape::NUMERAL;
                }
            }
        }
    }
}

} // namespace tarq
