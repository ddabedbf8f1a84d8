#include "lang/termprinter.h"

#include <algorithm>
#include <ostream>

namespace tarq {

namespace {

bool symbol_less(const Symbol* a, const Symbol* b)
{
    const int c = a->get_name().compare(b->get_name());
    return c != 0 ? c < 0 : a->get_id() < b->get_id();
}

bool type_less(const DataType* a, const DataType* b)
{
    const int c = a->get_name().compare(b->get_name());
    return c != 0 ? c < 0 : a->get_id() < b->get_id();
}

} // namespace

std::string TermPrinter::unused_name(const std::string& base)
{
    std::string name = base;
    for (size_t i = 0; is_reserved(name) || !used_names_.insert(name).second; ++i) {
        name = base + "_" + std::to_string(i);
    }
    return name;
}

const std::string& TermPrinter::name_of(const Symbol* symbol)
{
    auto it = names_.find(symbol);
    if (it == names_.end()) {
        std::string base = symbol->get_name();
        if (tm_->is_variable(symbol)) {
            base.erase(0, 1); // the mark of variables
            names_[symbol] = quote_variable(unused_name(clean(base)));
        } else {
            names_[symbol] = quote(unused_name(clean(base)));
        }
        it = names_.find(symbol);
    }
    return it->second;
}

const TermVector& TermPrinter::free_variables(const Term_* term) const
{
    static const TermVector none;
    const auto it = free_variables_.find(term);
    return it == free_variables_.end() ? none : it->second;
}

/// Finds the symbols and uninterpreted types of the text, and the terms with several parents.
void TermPrinter::collect(TermArgs roots)
{
    labels_.clear();
    defined_.clear();
    symbols_.clear();
    types_.clear();
    names_.clear();
    used_names_.clear();
    free_variables_.clear();
    hsh::HashMap<const Term_*, int> parents;
    hsh::HashSet<const Symbol*> seen_symbols;
    TypeSet seen_types;
    TermVector shared;
    TypeVector types;
    bool has_variables = false;
    TermVector stack(roots.begin(), roots.end());
    while (!stack.empty()) {
        const Term_* t = stack.back();
        stack.pop_back();
        if (++parents[t] > 1) {
            if (t->arity() > 0 && parents[t] == 2) {
                shared.push_back(t);
            }
            continue;
        }
        const Symbol* s = t->get_symbol();
        has_variables = has_variables || tm_->is_variable(s);
        if (t == tm_->make_pi()) {
            used_names_.insert("pi"); // a user symbol may have this name where the number is not
        }
        if (seen_symbols.insert(s).second) {
            types.push_back(s->get_type());
            if (!tm_->is_interpreted(s) && !tm_->is_variable(s)) {
                symbols_.push_back(s);
            }
        }
        stack.insert(stack.end(), t->children().rbegin(), t->children().rend());
    }
    while (!types.empty()) {
        const DataType* type = types.back();
        types.pop_back();
        if (!seen_types.insert(type).second) {
            continue;
        }
        if (!type->is_simple()) {
            types.insert(types.end(), type->get_components().begin(), type->get_components().end());
        } else if (tm_->get_simple_type(type->get_name(), true) == type &&
                   type != tm_->get_bool_type() && !tm_->is_arith_type(type)) {
            types_.push_back(type);
        }
    }
    std::sort(symbols_.begin(), symbols_.end(), symbol_less);
    std::sort(types_.begin(), types_.end(), type_less);
    // user symbols first: they have the first right to their names
    for (const Symbol* s : symbols_) {
        name_of(s);
    }
    std::sort(shared.begin(), shared.end(), term_lt());
    for (const Term_* t : shared) {
        make_label(t);
    }
    if (has_variables) {
        for (const Term_* root : roots) {
            const FreeVariableMap map = tm_->get_free_variable_map(root);
            for (const Term_* t : shared) {
                if (map.contains(t) && !map[t].empty()) {
                    free_variables_[t] = map[t];
                }
            }
        }
    }
}

void TermPrinter::make_label(const Term_* t)
{
    const std::string& prefix = config_->defines_prefix;
    const std::string base = (prefix.empty() ? ".def_" : prefix) + std::to_string(t->get_id());
    labels_[t] = quote_label(unused_name(clean(base)), t);
}

void TermPrinter::print_formula(std::ostream& out, const Term_* term)
{
    print_formulas(out, TermArgs(&term, 1));
}

void TermPrinter::print_formulas(std::ostream& out, TermArgs terms)
{
    collect(terms);
    print_start(out);
    for (const DataType* type : types_) {
        print_type_declaration(out, type);
    }
    for (const Symbol* s : symbols_) {
        print_symbol_declaration(out, s);
    }
    for (const Term_* t : terms) {
        size_t lets = 0;
        if (use_defines()) {
            print_shared(out, t, false, &lets);
            print_formula_start(out, t);
        } else {
            defined_.clear(); // a binding ends with its formula
            print_formula_start(out, t);
            print_shared(out, t, true, &lets);
        }
        print_nested(out, t, false);
        print_let_end(out, lets);
        print_formula_end(out, t);
    }
    print_end(out);
}

void TermPrinter::print_term(std::ostream& out, const Term_* term)
{
    collect(TermArgs(&term, 1));
    size_t lets = 0;
    print_shared(out, term, true, &lets);
    print_nested(out, term, false);
    print_let_end(out, lets);
}

/// Prints the definitions that `root` needs and that were not printed yet, in post-order.
void TermPrinter::print_shared(std::ostream& out, const Term_* root, bool as_let, size_t* lets)
{
    if (labels_.empty()) {
        return;
    }
    TermSet entered;
    TermSet done;
    TermVector stack{root};
    while (!stack.empty()) {
        const Term_* t = stack.back();
        if (entered.insert(t).second) {
            for (size_t i = t->arity(); i-- > 0;) {
                if (!entered.contains(t->child(i))) {
                    stack.push_back(t->child(i));
                }
            }
            continue;
        }
        stack.pop_back();
        if (!done.insert(t).second) {
            continue;
        }
        const auto label = labels_.find(t);
        if (label == labels_.end() || !defined_.insert(t).second) {
            continue;
        }
        if (as_let) {
            if (!free_variables(t).empty()) {
                throw make_error<error>(
                    "printing without use-defines is not supported for quantified formulas");
            }
            print_let_start(out, label->second);
            print_nested(out, t, true);
            out << let_body();
            ++*lets;
        } else {
            print_define_start(out, t, label->second);
            print_nested(out, t, true);
            print_define_end(out, t);
        }
    }
}

/// Prints `root` with labels in place of the labelled terms in it.
/// expand_root  print `root` itself as it is made, though it has a label
void TermPrinter::print_nested(std::ostream& out, const Term_* root, bool expand_root)
{
    Items stack;
    Items items;
    stack.push_back({root, {}, false});
    bool expand = expand_root;
    while (!stack.empty()) {
        const Item item = std::move(stack.back());
        stack.pop_back();
        if (!item.term) {
            out << item.text;
            continue;
        }
        items.clear();
        const auto label = expand ? labels_.end() : labels_.find(item.term);
        expand = false;
        if (item.as_real) {
            print_as_real(item.term, items);
        } else if (label != labels_.end()) {
            out << label_application(item.term, label->second);
            continue;
        } else {
            print_term_and_children(item.term, items);
        }
        stack.insert(stack.end(), std::make_move_iterator(items.rbegin()),
                     std::make_move_iterator(items.rend()));
    }
}

} // namespace tarq
