#include "lang/smtlibtermprinter.h"

#include "lang/symbolhandler.h"
#include "terms/bvnumber.h"
#include "terms/ieeefloat.h"

#include <algorithm>
#include <iterator>
#include <ostream>
#include <sstream>
#include <string_view>

namespace tarq {

namespace {

/// Words that are no symbols without bars.
constexpr std::string_view RESERVED_WORDS[] = {"!",
                                               "_",
                                               "as",
                                               "let",
                                               "forall",
                                               "exists",
                                               "match",
                                               "par",
                                               "BINARY",
                                               "DECIMAL",
                                               "HEXADECIMAL",
                                               "NUMERAL",
                                               "STRING",
                                               "assert",
                                               "check-sat",
                                               "check-sat-assuming",
                                               "declare-const",
                                               "declare-datatype",
                                               "declare-datatypes",
                                               "declare-fun",
                                               "declare-sort",
                                               "define-const",
                                               "define-fun",
                                               "define-fun-rec",
                                               "define-funs-rec",
                                               "define-sort",
                                               "echo",
                                               "exit",
                                               "get-assertions",
                                               "get-assignment",
                                               "get-info",
                                               "get-model",
                                               "get-option",
                                               "get-proof",
                                               "get-unsat-assumptions",
                                               "get-unsat-core",
                                               "get-value",
                                               "pop",
                                               "push",
                                               "reset",
                                               "reset-assertions",
                                               "set-info",
                                               "set-logic",
                                               "set-option"};

bool is_simple_name(const std::string& name)
{
    constexpr std::string_view marks = "!$%&*+-./<=>?@^_~";
    if (name.empty() || (name[0] >= '0' && name[0] <= '9')) {
        return false;
    }
    const auto is_plain = [marks](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
               marks.find(c) != std::string_view::npos;
    };
    return std::all_of(name.begin(), name.end(), is_plain) &&
           std::find(std::begin(RESERVED_WORDS), std::end(RESERVED_WORDS), name) ==
               std::end(RESERVED_WORDS);
}

std::string binary(const QNumber& value, size_t width)
{
    std::string text(width, '0');
    for (size_t i = 0; i < width; ++i) {
        if (BVNumber::test_bit(value, i)) {
            text[width - 1 - i] = '1';
        }
    }
    return text;
}

std::string hexadecimal(const QNumber& value, size_t width)
{
    std::string text = value.num_to_mpz().get_str(16);
    return std::string(width / 4 - text.size(), '0') + text;
}

std::string format_text(size_t exp, size_t mant)
{
    return std::to_string(exp) + " " + std::to_string(mant + 1); // the hidden bit counts
}

} // namespace

const char* SmtLibTermPrinter::amount_name(SymbolTag::tag tag)
{
    switch (tag) {
    case SymbolTag::BV_ZEXT:
        return "zero_extend";
    case SymbolTag::BV_SEXT:
        return "sign_extend";
    case SymbolTag::BV_ROL:
        return "rotate_left";
    case SymbolTag::BV_ROR:
        return "rotate_right";
    default:
        return nullptr;
    }
}

const char* SmtLibTermPrinter::plain_name(SymbolTag::tag tag)
{
    switch (tag) {
    case SymbolTag::TRUE:
        return "true";
    case SymbolTag::FALSE:
        return "false";
    case SymbolTag::AND:
        return "and";
    case SymbolTag::OR:
        return "or";
    case SymbolTag::NOT:
        return "not";
    case SymbolTag::IFF:
    case SymbolTag::EQ:
        return "=";
    case SymbolTag::PLUS:
        return "+";
    case SymbolTag::TIMES:
        return "*";
    case SymbolTag::DIVIDE:
        return "/";
    case SymbolTag::FLOOR:
        return "to_int";
    case SymbolTag::LEQ:
        return "<=";
    case SymbolTag::ITE:
        return "ite";
    case SymbolTag::BV_CONCAT:
        return "concat";
    case SymbolTag::BV_NOT:
        return "bvnot";
    case SymbolTag::BV_AND:
        return "bvand";
    case SymbolTag::BV_OR:
        return "bvor";
    case SymbolTag::BV_XOR:
        return "bvxor";
    case SymbolTag::BV_ULT:
        return "bvult";
    case SymbolTag::BV_SLT:
        return "bvslt";
    case SymbolTag::BV_ULE:
        return "bvule";
    case SymbolTag::BV_SLE:
        return "bvsle";
    case SymbolTag::BV_COMP:
        return "bvcomp";
    case SymbolTag::BV_NEG:
        return "bvneg";
    case SymbolTag::BV_ADD:
        return "bvadd";
    case SymbolTag::BV_SUB:
        return "bvsub";
    case SymbolTag::BV_MUL:
        return "bvmul";
    case SymbolTag::BV_UDIV:
        return "bvudiv";
    case SymbolTag::BV_SDIV:
        return "bvsdiv";
    case SymbolTag::BV_UREM:
        return "bvurem";
    case SymbolTag::BV_SREM:
        return "bvsrem";
    case SymbolTag::BV_LSHL:
        return "bvshl";
    case SymbolTag::BV_LSHR:
        return "bvlshr";
    case SymbolTag::BV_ASHR:
        return "bvashr";
    case SymbolTag::ARRAY_READ:
        return "select";
    case SymbolTag::ARRAY_WRITE:
        return "store";
    case SymbolTag::FP_EQ:
        return "fp.eq";
    case SymbolTag::FP_LT:
        return "fp.lt";
    case SymbolTag::FP_LE:
        return "fp.leq";
    case SymbolTag::FP_NEG:
        return "fp.neg";
    case SymbolTag::FP_ADD:
        return "fp.add";
    case SymbolTag::FP_SUB:
        return "fp.sub";
    case SymbolTag::FP_MUL:
        return "fp.mul";
    case SymbolTag::FP_DIV:
        return "fp.div";
    case SymbolTag::FP_SQRT:
        return "fp.sqrt";
    case SymbolTag::FP_ABS:
        return "fp.abs";
    case SymbolTag::FP_MIN:
        return "fp.min";
    case SymbolTag::FP_MAX:
        return "fp.max";
    case SymbolTag::FP_ROUND_TO_INT:
        return "fp.roundToIntegral";
    case SymbolTag::FP_ISNAN:
        return "fp.isNaN";
    case SymbolTag::FP_ISINF:
        return "fp.isInfinite";
    case SymbolTag::FP_ISZERO:
        return "fp.isZero";
    case SymbolTag::FP_ISSUBNORMAL:
        return "fp.isSubnormal";
    case SymbolTag::FP_ISNORMAL:
        return "fp.isNormal";
    case SymbolTag::FP_ISNEG:
        return "fp.isNegative";
    case SymbolTag::FP_ISPOS:
        return "fp.isPositive";
    case SymbolTag::INT_FROM_UBV:
        return "ubv_to_int";
    case SymbolTag::INT_FROM_SBV:
        return "sbv_to_int";
    case SymbolTag::PI:
        return "pi";
    case SymbolTag::EXP:
        return "exp";
    case SymbolTag::SIN:
        return "sin";
    case SymbolTag::LOG:
        return "log";
    case SymbolTag::POW:
        return "pow";
    case SymbolTag::ASIN:
        return "asin";
    default:
        return nullptr;
    }
}

bool SmtLibTermPrinter::is_reserved(const std::string& name) const
{
    static const hsh::HashSet<std::string> names = [] {
        hsh::HashSet<std::string> all;
        for (int tag = 0; tag <= SymbolTag::EXISTS; ++tag) {
            if (const char* plain = plain_name(static_cast<SymbolTag::tag>(tag))) {
                all.insert(plain);
            }
        }
        all.erase("pi");
        return all;
    }();
    return names.contains(name);
}

std::string SmtLib2TermPrinter::to_smtlib(const std::string& name)
{
    if (is_simple_name(name)) {
        return name;
    }
    std::string text = "|";
    for (const char c : name) {
        text += c == '|' ? "\\|" : std::string(1, c);
    }
    text += '|';
    return text;
}

/// A backslash before a bar would take the bar with it, and no text has a zero byte.
std::string SmtLib2TermPrinter::clean(const std::string& name) const
{
    std::string text = name;
    for (size_t i = 0; i < name.size(); ++i) {
        const bool at_bar = i + 1 == name.size() || name[i + 1] == '|';
        if ((name[i] == '\\' && at_bar) || name[i] == '\0') {
            text[i] = '_';
        }
    }
    return text;
}

std::string SmtLib2TermPrinter::to_smtlib(const QNumber& q, bool as_real)
{
    const QNumber size = abs(q);
    std::string text = size.get_num().to_str();
    if (!size.is_int()) {
        text =
            "(/ " + (q.is_neg() ? "(- " + text + ")" : text) + " " + size.get_den().to_str() + ")";
        return text;
    }
    text += as_real ? ".0" : "";
    return q.is_neg() ? "(- " + text + ")" : text;
}

std::string SmtLib2TermPrinter::to_smtlib(const DataType* type) const
{
    size_t width = 0;
    size_t mant = 0;
    const DataType* index = nullptr;
    const DataType* element = nullptr;
    if (type == tm_->get_rounding_type()) {
        return "RoundingMode";
    }
    if (tm_->is_bv_type(type, &width)) {
        return "(_ BitVec " + std::to_string(width) + ")";
    }
    if (tm_->is_fp_type(type, &width, &mant)) {
        return "(_ FloatingPoint " + format_text(width, mant) + ")";
    }
    if (tm_->is_array_type(type, &index, &element)) {
        return "(Array " + to_smtlib(index) + " " + to_smtlib(element) + ")";
    }
    return type->is_simple() ? to_smtlib(type->get_name()) : type->to_str(1000);
}

std::string SmtLib2TermPrinter::bv_to_smtlib(const QNumber& value, size_t width) const
{
    switch (config_->bv_number_format) {
    case 1:
        return "#b" + binary(value, width);
    case 2:
        return width % 4 == 0 ? "#x" + hexadecimal(value, width) : "#b" + binary(value, width);
    default:
        return "(_ bv" + value.to_str() + " " + std::to_string(width) + ")";
    }
}

std::string SmtLib2TermPrinter::fp_to_smtlib(const QNumber& bits, size_t exp, size_t mant) const
{
    const IEEEFloat value = IEEEFloat::from_bits(bits, {exp, mant});
    const std::string format = format_text(exp, mant);
    if (value.is_nan()) {
        return "(_ NaN " + format + ")";
    }
    if (value.is_inf()) {
        return (value.get_sign() ? "(_ -oo " : "(_ +oo ") + format + ")";
    }
    const std::string all = binary(bits, exp + mant + 1);
    switch (config_->fp_number_format) {
    case 0:
        return "((_ to_fp " + format + ") (_ bv" + bits.to_str() + " " +
               std::to_string(exp + mant + 1) + "))";
    case 2:
        if (value.is_zero()) {
            return (value.get_sign() ? "(_ -zero " : "(_ +zero ") + format + ")";
        }
        return "((_ to_fp " + format + ") RNE " + to_smtlib(value.to_number(), true) + ")";
    default:
        return "(fp #b" + all.substr(0, 1) + " #b" + all.substr(1, exp) + " #b" +
               all.substr(1 + exp) + ")";
    }
}

bool SmtLib2TermPrinter::is_abstract_value(const Symbol* symbol) const
{
    return tm_->is_constant(symbol) && symbol->get_name().starts_with('@');
}

/// A number, a rounding mode or an abstract value; empty for other terms.
std::string SmtLib2TermPrinter::literal(const Term_* t, bool as_real) const
{
    QNumber value;
    size_t width = 0;
    size_t mant = 0;
    int mode = 0;
    if (t->arity() > 0) {
        return std::string();
    }
    if (tm_->is_arith_number(t, &value)) {
        return to_smtlib(value, as_real || TermManager::get_type(t) == tm_->get_real_type());
    }
    if (tm_->is_bv_number(t, &value, &width)) {
        return bv_to_smtlib(value, width);
    }
    if (tm_->is_fp_number(t, &value, &width, &mant)) {
        return fp_to_smtlib(value, width, mant);
    }
    if (tm_->is_fprounding(t, &mode)) {
        constexpr const char* modes[] = {"RNE", "RTZ", "RTP", "RTN"};
        return modes[mode];
    }
    if (is_abstract_value(t->get_symbol())) {
        return "(as " + t->get_symbol()->get_name() + " " + to_smtlib(TermManager::get_type(t)) +
               ")";
    }
    return std::string();
}

std::string SmtLib2TermPrinter::value_to_smtlib(const Term_* value, const DataType* type)
{
    const std::string text = literal(value, type == tm_->get_real_type());
    if (!text.empty()) {
        return text;
    }
    std::ostringstream out;
    print_term(out, value);
    return out.str();
}

/// The head of an application.
std::string SmtLib2TermPrinter::symbol_to_smtlib(const Symbol* s)
{
    if (!tm_->is_interpreted(s)) {
        return name_of(s);
    }
    const SymbolTag::tag tag = tm_->get_tag(s);
    if (const char* name = plain_name(tag)) {
        return name;
    }
    SymbolTag::tag family;
    SymbolIndices indices;
    const auto indexed = [](const char* name, uint64_t i) {
        return "(_ " + std::string(name) + " " + std::to_string(i) + ")";
    };
    if (tm_->get_family_indices(s, &family, &indices)) {
        const auto& n = indices.n;
        if (const char* name = amount_name(tag)) {
            return indexed(name, n[1]);
        }
        switch (tag) {
        case SymbolTag::BV_EXTRACT:
            return "(_ extract " + std::to_string(n[0]) + " " + std::to_string(n[1]) + ")";
        case SymbolTag::INT_TO_BV:
            return indexed("to_bv", n[0]);
        case SymbolTag::FP_TO_BV:
            return indexed("fp.to_sbv", n[2]);
        case SymbolTag::FP_CAST:
            return "(_ to_fp " + format_text(n[2], n[3]) + ")";
        case SymbolTag::FP_FROM_SBV:
            return "(_ to_fp " + format_text(n[1], n[2]) + ")";
        case SymbolTag::FP_FROM_UBV:
            return "(_ to_fp_unsigned " + format_text(n[1], n[2]) + ")";
        case SymbolTag::FP_FROM_IEEEBV:
            return "(_ to_fp " + format_text(n[0], n[1]) + ")";
        case SymbolTag::ARRAY_CONST:
            return "(as const " + to_smtlib(s->get_output_type()) + ")";
        default:
            break;
        }
    }
    throw make_error<error>("can't print interpreted symbol ", s->get_name(), " in SMT-LIB format");
}

void SmtLibTermPrinter::print_arguments(const Term_* t, std::string head, Items& out)
{
    const Symbol* s = t->get_symbol();
    out.push_back({nullptr, "(" + std::move(head), false});
    for (size_t i = 0; i < t->arity(); ++i) {
        const Term_* c = t->child(i);
        out.push_back({nullptr, " ", false});
        const bool as_real = s->get_arg_type(i) == tm_->get_real_type() &&
                             TermManager::get_type(c) == tm_->get_int_type();
        out.push_back({c, {}, as_real});
    }
    out.push_back({nullptr, ")", false});
}

/// Applications that are not written as a head and its arguments. Returns false for the others.
bool SmtLib2TermPrinter::print_special(const Term_* t, Items& out)
{
    const Symbol* s = t->get_symbol();
    QNumber modulus;
    QNumber value;
    if (tm_->is_int_modular_congruence(s, &modulus)) {
        out.push_back({nullptr, "((_ divisible " + modulus.to_str() + ") ", false});
        const bool is_zero = tm_->is_arith_number(t->child(1), &value) && value.is_zero();
        out.push_back({nullptr, is_zero ? "" : "(+ ", false});
        out.push_back({t->child(0), {}, false});
        if (!is_zero) {
            out.push_back({nullptr, " (* (- 1) ", false});
            out.push_back({t->child(1), {}, false});
            out.push_back({nullptr, "))", false});
        }
        out.push_back({nullptr, ")", false});
        return true;
    }
    if (tm_->is_quantifier(s)) {
        const Symbol* var = t->child(0)->get_symbol();
        out.push_back({nullptr,
                       std::string(tm_->is_forall(s) ? "(forall ((" : "(exists ((") + name_of(var) +
                           " " + to_smtlib(var->get_type()) + ")) ",
                       false});
        out.push_back({t->child(1), {}, false});
        out.push_back({nullptr, ")", false});
        return true;
    }
    // division by zero has no name in the language
    const std::string& name = s->get_name();
    if (name == INT_DIV_BY_ZERO || name == INT_MOD_BY_ZERO) {
        out.push_back({nullptr, name == INT_DIV_BY_ZERO ? "(div " : "(mod ", false});
        out.push_back({t->child(0), {}, false});
        out.push_back({nullptr, " 0)", false});
        return true;
    }
    return false;
}

void SmtLibTermPrinter::print_term_and_children(const Term_* t, Items& out)
{
    std::string text = literal(t, false);
    if (text.empty()) {
        if (print_special(t, out)) {
            return;
        }
        text = symbol_to_smtlib(t->get_symbol());
        if (t->arity() > 0) {
            print_arguments(t, std::move(text), out);
            return;
        }
    }
    out.push_back({nullptr, std::move(text), false});
}

/// A constant has no label, so its annotations are printed where it is a root only.
void SmtLib2TermPrinter::print_term_and_children(const Term_* t, Items& out)
{
    const std::string annotation = t->arity() > 0 ? annotation_of(t) : std::string();
    if (!annotation.empty()) {
        out.push_back({nullptr, "(! ", false});
    }
    SmtLibTermPrinter::print_term_and_children(t, out);
    if (!annotation.empty()) {
        out.push_back({nullptr, annotation + ")", false});
    }
}

/// The attributes of a term, a blank before each.
std::string SmtLib2TermPrinter::annotation_of(const Term_* t) const
{
    std::string text;
    if (annotations_) {
        const auto it = annotations_->find(t);
        if (it != annotations_->end()) {
            for (const auto& [name, value] : it->second) {
                text += " " + name + (value.empty() ? "" : " " + value);
            }
        }
    }
    return text;
}

void SmtLibTermPrinter::print_as_real(const Term_* t, Items& out)
{
    if (tm_->is_arith_number(t)) {
        out.push_back({nullptr, literal(t, true), false});
        return;
    }
    out.push_back({nullptr, "(to_real ", false});
    out.push_back({t, {}, false});
    out.push_back({nullptr, ")", false});
}

std::string SmtLib2TermPrinter::label_application(const Term_* t, const std::string& label)
{
    const TermVector& params = free_variables(t);
    if (params.empty()) {
        return label;
    }
    std::string text = "(" + label;
    for (const Term_* v : params) {
        text += " " + name_of(v->get_symbol());
    }
    return text + ")";
}

void SmtLib2TermPrinter::print_type_declaration(std::ostream& out, const DataType* type)
{
    out << "(declare-sort " << to_smtlib(type->get_name()) << " 0)\n";
}

void SmtLib2TermPrinter::print_symbol_declaration(std::ostream& out, const Symbol* s)
{
    const std::string& name = s->get_name();
    if (is_abstract_value(s) || name == INT_DIV_BY_ZERO || name == INT_MOD_BY_ZERO) {
        return;
    }
    out << "(declare-fun " << name_of(s) << " (";
    for (size_t i = 0; i < s->arity(); ++i) {
        out << (i > 0 ? " " : "") << to_smtlib(s->get_arg_type(i));
    }
    out << ") " << to_smtlib(s->get_output_type()) << ")\n";
}

void SmtLib2TermPrinter::print_define_start(std::ostream& out, const Term_* t,
                                            const std::string& label)
{
    out << "(define-fun " << label << " (";
    const char* separator = "";
    for (const Term_* v : free_variables(t)) {
        out << separator << "(" << name_of(v->get_symbol()) << " "
            << to_smtlib(TermManager::get_type(v)) << ")";
        separator = " ";
    }
    out << ") " << to_smtlib(TermManager::get_type(t)) << " ";
}

void SmtLib2TermPrinter::print_define_end(std::ostream& out, const Term_*)
{
    out << ")\n";
}

void SmtLib2TermPrinter::print_definitions(std::ostream& out, TermArgs terms)
{
    TermSet seen;
    TermVector once;
    std::copy_if(terms.begin(), terms.end(), std::back_inserter(once),
                 [&](const Term_* t) { return seen.insert(t).second; });
    as_definitions_ = true;
    print_formulas(out, once);
    as_definitions_ = false;
}

void SmtLib2TermPrinter::print_formula_start(std::ostream& out, const Term_* t)
{
    if (as_definitions_) {
        out << "(define-fun " << to_smtlib(unused_name(".term_" + std::to_string(t->get_id())))
            << " () " << to_smtlib(TermManager::get_type(t)) << " ";
    } else {
        out << "(assert ";
    }
    if (!annotation_text_.empty() || (t->arity() == 0 && !annotation_of(t).empty())) {
        out << "(! ";
    }
}

void SmtLib2TermPrinter::print_formula_end(std::ostream& out, const Term_* t)
{
    std::string annotation = annotation_text_.empty() ? "" : " " + annotation_text_;
    if (t->arity() == 0) {
        annotation += annotation_of(t);
    }
    out << annotation << (annotation.empty() ? ")\n" : "))\n");
}

void SmtLib2TermPrinter::print_start(std::ostream& out)
{
    if (!logic_.empty()) {
        out << "(set-logic " << to_smtlib(logic_) << ")\n";
    }
    if (!status_.empty()) {
        out << "(set-info :status " << status_ << ")\n";
    }
    out << "(set-info :source |printed by Tarq|)\n";
}

void SmtLib2TermPrinter::print_end(std::ostream&) {}

void SmtLib2TermPrinter::print_let_start(std::ostream& out, const std::string& label)
{
    out << "(let ((" << label << " ";
}

void SmtLib2TermPrinter::print_let_end(std::ostream& out, size_t count)
{
    for (; count > 0; --count) {
        out << ")";
    }
}

} // namespace tarq
