// A second reading of the rule texts, for the tests of the first: the patterns as trees, to build
// instances from, and the conditions, to tell whether a rule should fire on one.
#pragma once

#include "terms/termmanager.h"

#include <cctype>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace tarq::test {

/// A term of a rule text.
struct RuleNode {
    std::string head; // operator, "==", a name, or a literal
    std::vector<std::string> indices;
    std::vector<RuleNode> kids;

    bool is_literal() const { return kids.empty() && (std::isdigit(head[0]) || head[0] == '-'); }
    bool is_name() const { return kids.empty() && !is_literal(); }
};

/// "rewrite(PATTERN, CONDITION, ...) >> RESULT" taken apart.
class RuleText {
public:
    explicit RuleText(const std::string& text) : text_(text)
    {
        pos_ = text_.find('(') + 1;
        pattern = node();
        while (text_[pos_] == ',') {
            ++pos_;
            std::string c = until_comma();
            const size_t first = c.find_first_not_of(' ');
            if (first != std::string::npos) {
                conditions.push_back(c.substr(first));
            }
        }
    }

    RuleNode pattern;
    std::vector<std::string> conditions;

    bool has_condition(const std::string& begin) const
    {
        for (const std::string& c : conditions) {
            if (c.rfind(begin, 0) == 0) {
                return true;
            }
        }
        return false;
    }

private:
    void blanks()
    {
        while (text_[pos_] == ' ') {
            ++pos_;
        }
    }
    std::string word()
    {
        blanks();
        const size_t begin = pos_;
        while (std::isalnum(text_[pos_]) || text_[pos_] == '_' || text_[pos_] == '-') {
            ++pos_;
        }
        return text_.substr(begin, pos_ - begin);
    }
    void skip(char c)
    {
        blanks();
        if (text_[pos_++] != c) {
            throw std::runtime_error("bad rule text: " + text_);
        }
    }
    std::string until_comma()
    {
        const size_t begin = pos_;
        for (int depth = 0; depth > 0 || (text_[pos_] != ',' && text_[pos_] != ')'); ++pos_) {
            depth += (text_[pos_] == '(') - (text_[pos_] == ')');
        }
        return text_.substr(begin, pos_ - begin);
    }
    RuleNode node()
    {
        blanks();
        RuleNode n;
        if (text_[pos_] == '(') {
            ++pos_;
            n.kids.push_back(node());
            blanks();
            n.head = text_.substr(pos_, 2);
            pos_ += 2;
            n.kids.push_back(node());
            skip(')');
            return n;
        }
        n.head = word();
        if (text_[pos_] != '(') {
            return n;
        }
        ++pos_;
        const size_t num_indices =
            n.head == "extract"                                                              ? 2
            : n.head == "zext" || n.head == "sext" || n.head == "bvrol" || n.head == "bvror" ? 1
                                                                                             : 0;
        for (size_t i = 0; i < num_indices; ++i) {
            n.indices.push_back(word());
            skip(',');
        }
        n.kids.push_back(node());
        for (blanks(); text_[pos_] == ','; blanks()) {
            ++pos_;
            n.kids.push_back(node());
        }
        skip(')');
        return n;
    }

    std::string text_;
    size_t pos_ = 0;
};

/// The names of an instance: terms by leaf, numbers by index.
struct RuleInstance {
    TermManager* tm = nullptr;
    std::map<std::string, const Term_*> terms;
    std::map<std::string, long> numbers;

    std::optional<long> value(const std::string& name) const
    {
        QNumber q;
        long n = 0;
        if (!tm->is_bv_number(terms.at(name), &q) || !q.to_int(&n)) {
            return std::nullopt;
        }
        return n;
    }
    long size(const std::string& name) const
    {
        size_t width = 0;
        tm->is_bv_type(TermManager::get_type(terms.at(name)), &width);
        return static_cast<long>(width);
    }
};

/// Evaluates one condition of an instance; a binding extends the instance.
class RuleCondition {
public:
    RuleCondition(const std::string& text, RuleInstance& instance) : text_(text), in_(instance) {}

    bool holds()
    {
        const bool negated = accept("~");
        if (accept("const(")) {
            return in_.value(word()).has_value() != negated;
        }
        if (accept("identity(")) {
            const Term_* a = in_.terms.at(word());
            accept(", ");
            return a == in_.terms.at(word());
        }
        if (accept("prec(")) {
            const uint64_t a = in_.terms.at(word())->get_id();
            accept(", ");
            return a < in_.terms.at(word())->get_id();
        }
        if (accept("varvalue(")) {
            return in_.value(word()) == 0;
        }
        if (accept("pow2(")) {
            const auto v = in_.value(word());
            accept(", ");
            const std::string n = word();
            for (long i = 0; i < 62; ++i) {
                if (v == 1L << i) {
                    in_.numbers[n] = i;
                    return true;
                }
            }
            return false;
        }
        if (accept("fits(")) {
            const auto width = expression();
            accept(", ");
            const auto sum = expression();
            return sum && *sum < 1L << *width;
        }
        if (accept("(")) {
            return comparison(negated);
        }
        const std::string name = word();
        accept("=");
        const auto v = expression();
        if (v) {
            in_.numbers[name] = *v;
        }
        return v.has_value();
    }

private:
    bool accept(const std::string& s)
    {
        while (pos_ < text_.size() && text_[pos_] == ' ' && s[0] != ' ') {
            ++pos_;
        }
        if (text_.compare(pos_, s.size(), s) != 0) {
            return false;
        }
        pos_ += s.size();
        return true;
    }
    /// A name ends at the underscore that closes an expression.
    std::string word()
    {
        while (text_[pos_] == ' ') {
            ++pos_;
        }
        const size_t begin = pos_;
        while (pos_ < text_.size() && (std::isalnum(text_[pos_]) ||
                                       (text_[pos_] == '_' && std::isdigit(text_[pos_ + 1])))) {
            ++pos_;
        }
        return text_.substr(begin, pos_ - begin);
    }
    std::optional<long> operand()
    {
        if (accept("_")) {
            const auto v = expression();
            accept("_");
            return v;
        }
        if (accept("size(")) {
            const long v = in_.size(word());
            accept(")");
            return v;
        }
        const std::string w = word();
        if (std::isdigit(w[0])) {
            return std::stol(w);
        }
        return in_.numbers.count(w) ? in_.numbers.at(w) : in_.value(w);
    }
    std::optional<long> expression()
    {
        auto v = operand();
        for (;;) {
            const bool plus = accept("+ ");
            if (!plus && !accept("- ")) {
                return v;
            }
            const auto right = operand();
            if (!v || !right) {
                return std::nullopt;
            }
            *v += plus ? *right : -*right;
        }
    }
    bool comparison(bool negated)
    {
        if (accept("-1 == -1)")) {
            return true;
        }
        // all ones, if the other side is a term
        const size_t start = pos_;
        const std::string left = word();
        if (in_.terms.count(left) && accept(" == -1)")) {
            return in_.value(left) == (1L << in_.size(left)) - 1;
        }
        pos_ = start;
        const auto a = expression();
        const std::string op = accept("==") ? "==" : accept("<=") ? "<=" : accept("<") ? "<" : ">";
        if (op == ">") {
            accept(">");
        }
        const auto b = expression();
        if (!a || !b) {
            return false;
        }
        const bool result = op == "=="   ? *a == *b
                            : op == "<=" ? *a <= *b
                            : op == "<"  ? *a < *b
                                         : *a > *b;
        return result != negated;
    }

    std::string text_;
    RuleInstance& in_;
    size_t pos_ = 0;
};

} // namespace tarq::test
