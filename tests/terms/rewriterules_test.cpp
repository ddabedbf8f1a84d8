// Every bit-vector rewrite rule on all its instances at widths 1 to 4: it fires exactly where its
// text says, and what it gives is equal under all values of the variables.
#include "terms/termrules.h"

#include "terms/bvnumber.h"
#include "terms/bvsemantics.h"
#include "terms/ruletext.h"
#include "terms/termmanager.h"

#include <gtest/gtest.h>

#include <functional>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

namespace tarq::test {
namespace {

constexpr size_t MAX_WIDTH = 4;
constexpr size_t ANY_WIDTH = SIZE_MAX; // of a literal, which takes that of its neighbour

/// The values of terms under every assignment of the variables, one entry per assignment.
class TruthTables {
public:
    using Table = std::vector<uint32_t>;

    /// any_quotient  a division by zero is some function of the dividend
    TruthTables(const TermManager& tm, const std::vector<const Term_*>& variables,
                bool any_quotient)
        : tm_(tm), any_quotient_(any_quotient)
    {
        size_t bits = 0;
        for (const Term_* v : variables) {
            bits += width(v);
        }
        size_ = size_t{1} << bits;
        size_t shift = 0;
        for (const Term_* v : variables) {
            Table t(size_);
            for (size_t i = 0; i < size_; ++i) {
                t[i] = static_cast<uint32_t>(i >> shift) & ones<uint32_t>(width(v));
            }
            shift += width(v);
            tables_.emplace(v, std::move(t));
        }
    }

    /// Recursive: instances of rules are shallow.
    const Table& operator[](const Term_* t)
    {
        const auto it = tables_.find(t);
        return it == tables_.end() ? tables_.emplace(t, compute(t)).first->second : it->second;
    }

private:
    size_t width(const Term_* v) const
    {
        size_t w = 1;
        tm_.is_bv_type(TermManager::get_type(v), &w);
        return w;
    }

    Table compute(const Term_* t)
    {
        QNumber value;
        long n = 0;
        if (tm_.is_true(t) || tm_.is_false(t)) {
            return Table(size_, tm_.is_true(t));
        }
        if (tm_.is_bv_number(t, &value) && value.to_int(&n)) {
            return Table(size_, static_cast<uint32_t>(n));
        }
        const Table& a = (*this)[t->child(0)];
        const Table& b = (*this)[t->child(t->arity() > 1 ? 1 : 0)];
        Table r(size_);
        if (tm_.is_term_ite(t)) {
            const Table& c = (*this)[t->child(2)];
            for (size_t i = 0; i < size_; ++i) {
                r[i] = a[i] ? b[i] : c[i];
            }
            return r;
        }
        BvOperator op = bv_operator(tm_, t);
        op.any_quotient = any_quotient_;
        for (size_t i = 0; i < size_; ++i) {
            r[i] = tm_.is_not(t)     ? !a[i]
                   : tm_.is_and(t)   ? a[i] & b[i]
                   : tm_.is_equal(t) ? a[i] == b[i]
                                     : apply_bv<uint32_t>(op, a[i], b[i]);
        }
        return r;
    }

    const TermManager& tm_;
    bool any_quotient_;
    size_t size_ = 0;
    std::unordered_map<const Term_*, Table> tables_; // references to entries stay valid
};

const std::map<std::string, SymbolTag::tag>& operators()
{
    static const std::map<std::string, SymbolTag::tag> map = {
        {"bvadd", SymbolTag::BV_ADD},   {"bvsub", SymbolTag::BV_SUB},
        {"bvmul", SymbolTag::BV_MUL},   {"bvneg", SymbolTag::BV_NEG},
        {"bvnot", SymbolTag::BV_NOT},   {"bvand", SymbolTag::BV_AND},
        {"bvor", SymbolTag::BV_OR},     {"bvxor", SymbolTag::BV_XOR},
        {"bvudiv", SymbolTag::BV_UDIV}, {"bvsdiv", SymbolTag::BV_SDIV},
        {"bvurem", SymbolTag::BV_UREM}, {"bvsrem", SymbolTag::BV_SREM},
        {"bvlshl", SymbolTag::BV_LSHL}, {"bvlshr", SymbolTag::BV_LSHR},
        {"bvashr", SymbolTag::BV_ASHR}, {"bvult", SymbolTag::BV_ULT},
        {"bvule", SymbolTag::BV_ULE},   {"bvslt", SymbolTag::BV_SLT},
        {"bvsle", SymbolTag::BV_SLE},
    };
    return map;
}

/// All instances of one rule.
class RuleChecker {
public:
    /// text          how the rule reads
    /// any_quotient  whether it must also hold when a division by zero is not fixed
    RuleChecker(TermManager& tm, const TermRule& rule, const char* text, bool any_quotient)
        : tm_(tm), rule_(rule), text_(text), any_quotient_(any_quotient)
    {
        collect(text_.pattern, false);
    }

    /// Whether each instance behaved; the first that did not is reported.
    bool run()
    {
        const bool identities = text_.has_condition("identity");
        for (const bool aliased : {true, false}) {
            if (!aliased && !identities) {
                break;
            }
            aliases_.clear();
            for (const std::string& c : text_.conditions) {
                if (aliased && c.rfind("identity(", 0) == 0) {
                    const size_t comma = c.find(',');
                    const std::string a = c.substr(9, comma - 9);
                    aliases_[c.substr(comma + 2, c.size() - comma - 3)] = a;
                }
            }
            for (const bool reversed : {false, true}) {
                if (reversed && !text_.has_condition("prec")) {
                    break;
                }
                reversed_ = reversed;
                choose_width(0);
            }
        }
        return ok_;
    }

    bool fired() const { return fired_; }

private:
    struct Leaf {
        std::string name;
        bool boolean;
        bool by_value; // a condition looks at its value
        bool no_numeral;
    };

    void collect(const RuleNode& n, bool boolean)
    {
        if (n.is_name()) {
            Leaf leaf{n.head, boolean, false, false};
            for (const std::string& c : text_.conditions) {
                for (const char* form :
                     {"const(%)", "pow2(%,", "(% ==", "(% >", "> %)", "<= %)", "varvalue(%,"}) {
                    std::string pattern = form;
                    pattern.replace(pattern.find('%'), 1, n.head);
                    leaf.by_value = leaf.by_value || c.find(pattern) != std::string::npos;
                }
                leaf.no_numeral = leaf.no_numeral || c == "~const(" + n.head + ")";
            }
            leaves_.push_back(leaf);
        }
        for (const std::string& name : n.indices) {
            indices_.push_back({name, n.head});
        }
        for (size_t i = 0; i < n.kids.size(); ++i) {
            collect(n.kids[i], n.head == "ite" && i == 0);
        }
    }

    void choose_width(size_t i)
    {
        if (!ok_) {
            return;
        }
        if (i == leaves_.size()) {
            choose_index(0);
            return;
        }
        const Leaf& leaf = leaves_[i];
        const auto alias = aliases_.find(leaf.name);
        if (alias != aliases_.end() || leaf.boolean) {
            widths_[leaf.name] = leaf.boolean ? 0 : widths_[alias->second];
            choose_width(i + 1);
            return;
        }
        for (size_t w = 1; w <= MAX_WIDTH; ++w) {
            widths_[leaf.name] = w;
            choose_width(i + 1);
        }
    }

    void choose_index(size_t i)
    {
        size_t width = 0;
        if (i == indices_.size()) {
            if (pattern_width(text_.pattern, &width)) {
                instance_.terms.clear();
                choose_term(0);
            }
            return;
        }
        const std::string& kind = indices_[i].second;
        const long max = kind == "extract"                  ? 2 * MAX_WIDTH - 1
                         : kind == "zext" || kind == "sext" ? 3
                                                            : 2 * MAX_WIDTH + 2;
        for (long n = 0; n <= max && ok_; ++n) {
            numbers_[indices_[i].first] = n;
            choose_index(i + 1);
        }
    }

    void choose_term(size_t i)
    {
        if (i == leaves_.size()) {
            check();
            return;
        }
        const Leaf& leaf = leaves_[i];
        const size_t width = widths_[leaf.name];
        const Term_*& term = instance_.terms[leaf.name];
        const auto alias = aliases_.find(leaf.name);
        if (alias != aliases_.end()) {
            term = instance_.terms[alias->second];
            choose_term(i + 1);
            return;
        }
        term = variable(reversed_ ? leaves_.size() - 1 - i : i, width);
        choose_term(i + 1);
        if (leaf.boolean) {
            return;
        }
        const long first = leaf.by_value ? 0 : 1;
        const long last = leaf.by_value ? (1L << width) - 1 : leaf.no_numeral ? 1 : 0;
        for (long v = first; v <= last && ok_; ++v) {
            instance_.terms[leaf.name] = tm_.make_bv_number(QNumber(v), width);
            choose_term(i + 1);
        }
    }

    const Term_* variable(size_t k, size_t width)
    {
        const std::string name = "v" + std::to_string(k) + "_" + std::to_string(width);
        const DataType* type = width == 0 ? tm_.get_bool_type() : tm_.get_bv_type(width);
        return tm_.make_constant(tm_.make_symbol(name, type));
    }

    /// The width of a pattern node, 0 for a Boolean; false if nothing of this shape exists.
    bool pattern_width(const RuleNode& n, size_t* out)
    {
        if (n.kids.empty()) {
            *out = n.is_literal() ? ANY_WIDTH : widths_[n.head];
            return true;
        }
        size_t w[3] = {0, 0, 0};
        for (size_t i = 0; i < n.kids.size(); ++i) {
            if (!pattern_width(n.kids[i], &w[i])) {
                return false;
            }
        }
        const auto number = [&](size_t i) { return static_cast<size_t>(numbers_[n.indices[i]]); };
        if (n.head == "concat") {
            *out = w[0] + w[1];
        } else if (n.head == "extract") {
            *out = number(0) - number(1) + 1;
            return number(1) <= number(0) && number(0) < w[0];
        } else if (n.head == "zext" || n.head == "sext") {
            *out = w[0] + number(0);
        } else if (n.head == "bvrol" || n.head == "bvror") {
            *out = w[0];
            return number(0) <= 2 * w[0] + 2;
        } else {
            const size_t first = n.head == "ite" ? 1 : 0;
            size_t common = w[first];
            for (size_t i = first; i < n.kids.size(); ++i) {
                common = common == ANY_WIDTH ? w[i] : common;
                if (w[i] != ANY_WIDTH && w[i] != common) {
                    return false;
                }
            }
            const bool predicate =
                n.head == "==" || n.head.rfind("bvul", 0) == 0 || n.head.rfind("bvsl", 0) == 0;
            *out = predicate ? 0 : common;
        }
        return true;
    }

    /// width  taken by a literal
    const Term_* build(const RuleNode& n, size_t width)
    {
        if (n.is_literal()) {
            const long v = std::stol(n.head);
            return tm_.make_bv_number(QNumber(v < 0 ? (1L << width) - 1 : v), width);
        }
        if (n.kids.empty()) {
            return instance_.terms[n.head];
        }
        size_t operand_width = ANY_WIDTH;
        for (const RuleNode& kid : n.kids) {
            size_t w = 0;
            pattern_width(kid, &w);
            operand_width = w == ANY_WIDTH || w == 0 ? operand_width : w;
        }
        std::vector<const Term_*> kids;
        for (const RuleNode& kid : n.kids) {
            kids.push_back(build(kid, operand_width));
        }
        const auto number = [&](size_t i) { return static_cast<size_t>(numbers_[n.indices[i]]); };
        if (n.head == "==") {
            return tm_.make_equal(kids[0], kids[1]);
        }
        if (n.head == "ite") {
            return tm_.make_term_ite(kids[0], kids[1], kids[2]);
        }
        if (n.head == "concat") {
            return tm_.make_bv_concat(kids[0], kids[1]);
        }
        if (n.head == "extract") {
            return tm_.make_bv_extract(number(0), number(1), kids[0]);
        }
        if (n.head == "zext") {
            return tm_.make_bv_zero_extend(number(0), kids[0]);
        }
        if (n.head == "sext") {
            return tm_.make_bv_sign_extend(number(0), kids[0]);
        }
        if (n.head == "bvrol") {
            return tm_.make_bv_rotate_left(number(0), kids[0]);
        }
        if (n.head == "bvror") {
            return tm_.make_bv_rotate_right(number(0), kids[0]);
        }
        const SymbolTag::tag tag = operators().at(n.head);
        return tm_.make_term(tm_.make_family_symbol(tag, {{operand_width}, {}}), kids);
    }

    /// A literal 2 or more does not fit everywhere; texts have none in patterns.
    void check()
    {
        const Term_* t = build(text_.pattern, ANY_WIDTH);
        RuleInstance instance{&tm_, instance_.terms, numbers_};
        bool expected = true;
        for (const std::string& c : text_.conditions) {
            expected = expected && RuleCondition(c, instance).holds();
        }
        const Term_* result = rule_.apply(&tm_, t);
        if ((result != nullptr) != expected) {
            fail(t, expected ? "does not fire" : "fires where it should not");
            return;
        }
        if (!result) {
            return;
        }
        fired_ = true;
        if (TermManager::get_type(result) != TermManager::get_type(t)) {
            fail(t, "changes the type");
            return;
        }
        std::set<const Term_*, term_lt> variables;
        for (const auto& [name, term] : instance_.terms) {
            if (tm_.is_constant(term)) {
                variables.insert(term);
            }
        }
        for (const bool any_quotient : {false, true}) {
            if (any_quotient && !any_quotient_) {
                break;
            }
            TruthTables tables(tm_, {variables.begin(), variables.end()}, any_quotient);
            if (tables[t] != tables[result]) {
                fail(t, "gives the different " + result->to_str());
            }
        }
    }

    void fail(const Term_* t, const std::string& what)
    {
        ok_ = false;
        ADD_FAILURE() << rule_.get_signature() << "\non " << t->to_str() << "\n" << what;
    }

    TermManager& tm_;
    const TermRule& rule_;
    RuleText text_;
    bool any_quotient_;
    std::vector<Leaf> leaves_;
    std::vector<std::pair<std::string, std::string>> indices_; // name and operator
    std::map<std::string, std::string> aliases_;
    std::map<std::string, size_t> widths_;
    std::map<std::string, long> numbers_;
    RuleInstance instance_;
    bool reversed_ = false;
    bool fired_ = false;
    bool ok_ = true;
};

/// The rules that run otherwise than they are called, and how they run.
const std::map<std::string, const char*>& corrected_rules()
{
    static const std::map<std::string, const char*> map = {
        {"rewrite((bvadd(t1, bvneg(t2)) == bvadd(t_0, bvneg(t3))), identity(t2, t_0)) >> "
         "(t1 == t3)",
         "rewrite((bvadd(t1, bvneg(t2)) == bvadd(t_0, bvneg(t3))), identity(t2, t_0)) >> "
         "(t1 == bvsub(bvadd(t2, t2), t3))"},
        {"rewrite((zext(n, t) == t2), (t2 == -1), (t2 > 0)) >> false",
         "rewrite((zext(n, t) == t2), (t2 == -1), (n > 0)) >> false"},
        {"rewrite((t2 == zext(n, t)), (t2 == -1), (t2 > 0)) >> false",
         "rewrite((t2 == zext(n, t)), (t2 == -1), (n > 0)) >> false"},
    };
    return map;
}

void make_variables(TermManager& tm)
{
    // in order, so that the ids of the variables ascend
    for (int k = 0; k < 8; ++k) {
        for (size_t w = 0; w <= MAX_WIDTH; ++w) {
            const std::string name = "v" + std::to_string(k) + "_" + std::to_string(w);
            tm.make_constant(tm.make_symbol(name, w == 0 ? tm.get_bool_type() : tm.get_bv_type(w)));
        }
    }
}

void check_rule(const TermRule& rule, bool any_quotient)
{
    TermManager tm;
    make_variables(tm);
    const auto corrected = corrected_rules().find(rule.get_signature());
    const char* text =
        corrected == corrected_rules().end() ? rule.get_signature() : corrected->second;
    RuleChecker checker(tm, rule, text, any_quotient);
    if (checker.run()) {
        EXPECT_TRUE(checker.fired()) << "never fires: " << rule.get_signature();
    }
}

TEST(RewriteRules, every_standard_rule_holds_and_fires_where_its_text_says)
{
    ASSERT_EQ(standard_term_rules().size(), 178u);
    for (const auto& rule : standard_term_rules()) {
        check_rule(*rule, true);
    }
}

TEST(RewriteRules, every_preprocessing_rule_holds_and_fires_where_its_text_says)
{
    const auto& all = preprocessing_term_rules(true);
    const auto& unfixed = preprocessing_term_rules(false);
    ASSERT_EQ(all.size(), 36u);
    ASSERT_EQ(unfixed.size(), 29u);
    const std::set<const TermRule*> always(unfixed.begin(), unfixed.end());
    for (const TermRule* rule : all) {
        check_rule(*rule, always.count(rule) > 0);
    }
}

TEST(RewriteRules, no_two_rules_have_one_text)
{
    std::set<std::string> texts;
    for (const auto& rule : standard_term_rules()) {
        texts.insert(rule->get_signature());
    }
    for (const TermRule* rule : preprocessing_term_rules(true)) {
        texts.insert(rule->get_signature());
    }
    EXPECT_EQ(texts.size(), 214u);
}

/// A rule whose text is not what it does is known to the log by a text that does not hold; here is
/// why the text itself must not run.
TEST(RewriteRules, the_corrected_texts_do_not_hold_as_they_read)
{
    TermManager tm;
    make_variables(tm);
    for (const auto& [text, meant] : corrected_rules()) {
        const TermRule literal(text.c_str(), text.c_str());
        bool refuted = false;
        for (const char* name : {"v0_1", "v0_2"}) {
            const Term_* x = tm.make_constant(tm.get_symbol(name));
            size_t width = 0;
            tm.is_bv_type(TermManager::get_type(x), &width);
            const std::string suffix = "_" + std::to_string(width);
            const Term_* y = tm.make_constant(tm.get_symbol("v1" + suffix));
            const Term_* z = tm.make_constant(tm.get_symbol("v2" + suffix));
            const Term_* minus_y = tm.make_bv_neg(y);
            const Term_* difference = tm.make_bv_add(y, tm.make_bv_neg(z));
            const Term_* sums = tm.make_equal(tm.make_bv_add(x, minus_y), difference);
            const Term_* all_ones = tm.make_bv_number(BVNumber::pow2(width) - QNumber(1), width);
            const Term_* extended = tm.make_bv_zero_extend(0, x);
            for (const Term_* t :
                 {sums, tm.make_equal(extended, all_ones), tm.make_equal(all_ones, extended)}) {
                const Term_* result = literal.apply(&tm, t);
                TruthTables tables(tm, {x, y, z}, false);
                refuted = refuted || (result && tables[t] != tables[result]);
            }
        }
        EXPECT_TRUE(refuted) << text;
    }
}

} // namespace
} // namespace tarq::test
