#include "lang/smtlib1termprinter.h"

#include "terms/symbolfamilies.h"

#include <algorithm>
#include <iterator>
#include <ostream>
#include <string_view>

namespace tarq {

namespace {

/// Names that the language or its theories have taken.
constexpr std::string_view RESERVED_WORDS[] = {
    "and",   "or",     "not",   "xor",     "implies", "iff",      "if_then_else", "ite",  "let",
    "flet",  "true",   "false", "forall",  "exists",  "distinct", "Int",          "Real", "BitVec",
    "Array", "select", "store", "concat",  "to_int",  "to_real",  "exp",          "sin",  "log",
    "pow",   "asin",   "pi",    "extract", "sat",     "unsat",    "unknown"};

} // namespace

/// Characters that the language does not have become underscores; a name begins with a letter.
std::string SmtLib1TermPrinter::clean(const std::string& name) const
{
    const auto is_letter = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); };
    std::string text;
    for (const char c : name) {
        text += is_letter(c) || (c >= '0' && c <= '9') || c == '.' || c == '_' ? c : '_';
    }
    const bool is_reserved =
        text.starts_with("bv") || std::find(std::begin(RESERVED_WORDS), std::end(RESERVED_WORDS),
                                            text) != std::end(RESERVED_WORDS);
    return text.empty() || !is_letter(text[0]) || is_reserved ? "x" + text : text;
}

std::string SmtLib1TermPrinter::quote_label(const std::string& name, const Term_* term) const
{
    return (TermManager::get_type(term) == tm_->get_bool_type() ? "$" : "?") + name;
}

std::string SmtLib1TermPrinter::to_smtlib(const DataType* type) const
{
    size_t width = 0;
    const DataType* index = nullptr;
    const DataType* element = nullptr;
    if (type == tm_->get_bool_type()) {
        throw make_error<error>("SMT-LIB v1 format doesn't have an explicit Bool type");
    }
    if (tm_->is_bv_type(type, &width)) {
        return "BitVec[" + std::to_string(width) + "]";
    }
    if (tm_->is_array_type(type, &index, &element)) {
        size_t element_width = 0;
        if (!tm_->is_bv_type(index, &width)) {
            throw make_error<error>("unsupported index type for Array: ", index->to_str(1000));
        }
        if (!tm_->is_bv_type(element, &element_width)) {
            throw make_error<error>("unsupported element type for Array: ", element->to_str(1000));
        }
        return "Array[" + std::to_string(width) + ":" + std::to_string(element_width) + "]";
    }
    if (type == tm_->get_rounding_type() || !type->is_simple()) {
        throw make_error<error>("type ", type->to_str(1000), " unsupported in SMT-LIB v1");
    }
    return tm_->is_arith_type(type) ? type->get_name() : clean(type->get_name());
}

std::string SmtLib1TermPrinter::literal(const Term_* t, bool as_real) const
{
    QNumber value;
    size_t width = 0;
    if (t->arity() > 0) {
        return std::string();
    }
    if (tm_->is_arith_number(t, &value)) {
        const QNumber size = abs(value);
        std::string text = size.get_num().to_str();
        if (!size.is_int()) {
            text = value.is_neg() ? "(~ " + text + ")" : text;
            return "(/ " + text + " " + size.get_den().to_str() + ")";
        }
        text += as_real || TermManager::get_type(t) == tm_->get_real_type() ? ".0" : "";
        return value.is_neg() ? "(~ " + text + ")" : text;
    }
    if (tm_->is_bv_number(t, &value, &width)) {
        return "bv" + value.to_str() + "[" + std::to_string(width) + "]";
    }
    return std::string();
}

std::string SmtLib1TermPrinter::symbol_to_smtlib(const Symbol* s)
{
    if (!tm_->is_interpreted(s)) {
        return name_of(s);
    }
    const SymbolTag::tag tag = tm_->get_tag(s);
    SymbolTag::tag family;
    SymbolIndices indices;
    const bool is_fp = SymbolTag::FP_EQ <= tag && tag <= SymbolTag::FP_ISPOS;
    if (tag == SymbolTag::IFF) {
        return "iff";
    }
    if (const char* name = is_fp ? nullptr : plain_name(tag)) {
        return name;
    }
    if (tm_->get_family_indices(s, &family, &indices)) {
        const auto& n = indices.n;
        if (tag == SymbolTag::BV_EXTRACT) {
            return "extract[" + std::to_string(n[0]) + ":" + std::to_string(n[1]) + "]";
        }
        if (const char* name = amount_name(tag)) {
            return std::string(name) + "[" + std::to_string(n[1]) + "]";
        }
    }
    throw make_error<error>("can't print interpreted symbol ", s->get_name(), " in SMT-LIB format");
}

bool SmtLib1TermPrinter::print_special(const Term_* t, Items& out)
{
    const Symbol* s = t->get_symbol();
    if (!tm_->is_quantifier(s)) {
        return false;
    }
    const Symbol* var = t->child(0)->get_symbol();
    out.push_back({nullptr,
                   std::string(tm_->is_forall(s) ? "(forall (" : "(exists (") + name_of(var) + " " +
                       to_smtlib(var->get_type()) + ") ",
                   false});
    out.push_back({t->child(1), {}, false});
    out.push_back({nullptr, ")", false});
    return true;
}

std::string SmtLib1TermPrinter::label_application(const Term_*, const std::string& label)
{
    return label; // a labelled term has no free variables here
}

void SmtLib1TermPrinter::print_type_declaration(std::ostream& out, const DataType* type)
{
    out << ":extrasorts (" << to_smtlib(type) << ")\n";
}

void SmtLib1TermPrinter::print_symbol_declaration(std::ostream& out, const Symbol* s)
{
    const bool is_predicate = s->get_output_type() == tm_->get_bool_type();
    out << (is_predicate ? ":extrapreds ((" : ":extrafuns ((") << name_of(s);
    for (size_t i = 0; i < s->arity(); ++i) {
        out << " " << to_smtlib(s->get_arg_type(i));
    }
    if (!is_predicate) {
        out << " " << to_smtlib(s->get_output_type());
    }
    out << "))\n";
}

/// Definitions are bindings inside the formula.
void SmtLib1TermPrinter::print_define_start(std::ostream&, const Term_*, const std::string&) {}

void SmtLib1TermPrinter::print_define_end(std::ostream&, const Term_*) {}

void SmtLib1TermPrinter::print_formula_start(std::ostream& out, const Term_*)
{
    out << "\n:formula\n";
}

void SmtLib1TermPrinter::print_formula_end(std::ostream&, const Term_*) {}

void SmtLib1TermPrinter::print_start(std::ostream& out)
{
    out << "(benchmark unnamed\n";
    if (!status_.empty()) {
        out << ":status " << status_ << "\n";
    }
    if (!logic_.empty()) {
        out << ":logic " << logic_ << "\n";
    }
    out << ":source { printed by Tarq }\n";
}

void SmtLib1TermPrinter::print_end(std::ostream& out)
{
    out << "\n)\n";
}

void SmtLib1TermPrinter::print_let_start(std::ostream& out, const std::string& label)
{
    out << (label[0] == '$' ? "(flet (" : "(let (") << label << " ";
}

void SmtLib1TermPrinter::print_let_end(std::ostream& out, size_t count)
{
    out << std::string(count, ')');
}

} // namespace tarq
