// Reading SMT-LIB text into terms, and writing terms as text.
#include "env/environment.h"

#include "lang/multi_istream.h"
#include "lang/smtlib1termprinter.h"
#include "lang/smtlib2parser.h"
#include "lang/smtlibtermprinter.h"

namespace tarq {

const Term_* Environment::from_smt2_script(std::istream& in)
{
    return SmtLib2Parser(tm_, false).parse(in);
}

const Term_*
Environment::from_smt2_script(std::istream& in, TermVector* terms,
                              std::vector<std::pair<std::string, std::string>>* annotations)
{
    SmtLib2Parser parser(tm_, true);
    const Term_* result = parser.parse(in);
    TermVector annotated;
    parser.get_annotated_terms(annotated);
    terms->clear();
    annotations->clear();
    for (const Term_* t : annotated) {
        for (const auto& [key, value] : *parser.get_annotations(t)) {
            terms->push_back(t);
            annotations->emplace_back(key.substr(key.starts_with(':') ? 1 : 0), value);
        }
    }
    return result;
}

void Environment::named_terms_from_smt2_script(std::istream& in, std::vector<std::string>* names,
                                               TermVector* terms)
{
    SmtLib2Parser parser(tm_, true);
    names->clear();
    terms->clear();
    for (const SmtLib2Parser::NamedTerm& named : parser.parse_named(in)) {
        names->push_back(named.name);
        terms->push_back(named.term);
    }
}

const Term_* Environment::from_smt2(std::istream& in)
{
    multi_istream framed;
    framed.add(SMTLIB2_TERMS_PREFIX);
    framed.add(in);
    framed.add(SMTLIB2_TERMS_SUFFIX);
    return from_smt2_script(framed);
}

const Term_* Environment::from_smt2(std::string_view text)
{
    multi_istream framed;
    framed.add(SMTLIB2_TERMS_PREFIX);
    framed.add(text);
    framed.add(SMTLIB2_TERMS_SUFFIX);
    return from_smt2_script(framed);
}

void Environment::to_smt2_script(std::ostream& out, const Term_* t, const std::string& logic,
                                 bool use_defines)
{
    SmtLib2TermPrinter(tm_, &config_.printer, logic, "", use_defines).print_formula(out, t);
}

void Environment::to_smt1_script(std::ostream& out, const Term_* t)
{
    SmtLib1TermPrinter(tm_, &config_.printer, "", "").print_formula(out, t);
}

void Environment::named_terms_to_smt2_script(std::ostream& out,
                                             const std::vector<std::string>& names, TermArgs terms)
{
    std::vector<std::pair<std::string, std::string>> annotations;
    for (const std::string& name : names) {
        annotations.emplace_back("named", SmtLib2TermPrinter::to_smtlib(name));
    }
    to_smt2_script(out, terms, annotations);
}

void Environment::to_smt2_script(
    std::ostream& out, TermArgs terms,
    const std::vector<std::pair<std::string, std::string>>& annotations)
{
    SmtLib2TermPrinter::Annotations by_term;
    for (size_t i = 0; i < terms.size(); ++i) {
        const auto& [key, value] = annotations[i];
        by_term[terms[i]].emplace_back((key.starts_with(':') ? "" : ":") + key, value);
    }
    SmtLib2TermPrinter(tm_, &config_.printer, "", "", true, &by_term).print_definitions(out, terms);
}

void Environment::to_smt2_string(std::ostream& out, const Term_* t)
{
    SmtLib2TermPrinter(tm_, &config_.printer, "", "", false).print_term(out, t);
}

} // namespace tarq
