#include "theory/la/tableau.h"

#include "theory/la/dnumber.h"

#include <algorithm>
#include <functional>
#include <utility>

namespace tarq::la {

namespace {

const QNumber coeff_zero;

} // namespace

const QNumber& Row::get_coefficient(int var) const
{
    const auto it =
        std::find_if(terms_.begin(), terms_.end(), [var](const Term& t) { return t.var == var; });
    return it == terms_.end() ? coeff_zero : it->coeff;
}

void Tableau::make_room(int v)
{
    if (idx(v) >= columns_.size()) {
        const size_t n = std::max(idx(v) + 1, 2 * columns_.size());
        columns_.resize(n);
        row_of_.resize(n, -1);
        stored_of_.resize(n, -1);
        pivot_place_.resize(n, 0);
    }
}

// -- Terms and entries

void Tableau::append_term(int z, int var, QNumber coeff)
{
    std::vector<Row::Term>& terms = rows_[idx(z)].terms_;
    Column& column = columns_[idx(var)];
    const auto place = static_cast<uint32_t>(terms.size());
    terms.push_back({var, column.size(), std::move(coeff)});
    column.push({z, place});
}

/// The last entry takes its place.
void Tableau::remove_entry(int var, uint32_t place)
{
    Column& column = columns_[idx(var)];
    const Entry last = column.back();
    column[place] = last;
    rows_[idx(last.row)].terms_[last.place].place = place;
    column.pop();
}

/// Takes a term out of a row, whose last term takes its place; the column entry of the term has
/// been dealt with.
void Tableau::remove_term(int z, size_t place)
{
    Row& row = rows_[idx(z)];
    if (place + 1 != row.terms_.size()) {
        row.terms_[place] = std::move(row.terms_.back());
        const Row::Term& moved = row.terms_[place];
        if (moved.var != row.row_var_) {
            columns_[idx(moved.var)][moved.place].place = static_cast<uint32_t>(place);
        }
    }
    row.terms_.pop_back();
}

// -- Rows

void Tableau::add_equation(const Equation& eq, std::vector<int>* changed)
{
    TARQ_ASSERT(eq.row_var() > 0 && !is_basic(eq.row_var()) && !is_eliminated(eq.row_var()) &&
                column(eq.row_var()).empty());
    make_room(eq.terms().back().var);
    std::vector<int> back;
    collect_eliminated(eq, &back);
    bring_back(back, changed);
    Equation copy(eq);
    substitute_basics(copy);
    enter(copy);
}

/// Appends the eliminated variables of eq, and takes the mark of elimination from them, so that
/// each is met once.
void Tableau::collect_eliminated(const Equation& eq, std::vector<int>* vars)
{
    for (const VarCoeff& t : eq.terms()) {
        if (is_eliminated(t.var)) {
            vars->push_back(stored_of_[idx(t.var)]);
            stored_of_[idx(t.var)] = -1;
        }
    }
}

/// Re-enters stored rows with all that they mention.
/// vars  places in stored_
void Tableau::bring_back(std::vector<int>& vars, std::vector<int>* changed)
{
    for (size_t i = 0; i < vars.size(); ++i) {
        collect_eliminated(stored_[idx(vars[i])], &vars);
    }
    // A stored row mentions variables that went after its own, so the newest comes back first.
    std::sort(vars.begin(), vars.end(), std::greater<>());
    for (int place : vars) {
        Equation eq;
        std::swap(eq, stored_[idx(place)]);
        changed->push_back(eq.row_var());
        substitute_basics(eq);
        enter(eq);
    }
    while (!stored_.empty() && stored_.back().empty()) {
        stored_.pop_back();
    }
}

void Tableau::substitute_basics(Equation& eq)
{
    std::vector<int> basics;
    for (const VarCoeff& t : eq.terms()) {
        if (t.var != eq.row_var() && is_basic(t.var)) {
            basics.push_back(t.var);
        }
    }
    for (int b : basics) {
        Equation definition;
        for (const Row::Term& t : row(b).terms_) {
            definition.add_var(t.var, t.coeff);
        }
        definition.change_basic_var(b);
        eq.substitute_var(b, definition, scratch_);
    }
}

/// eq  over non-basic variables, but for its row variable
void Tableau::enter(const Equation& eq)
{
    int r;
    if (free_rows_.empty()) {
        r = static_cast<int>(rows_.size());
        rows_.emplace_back();
        row_version_.push_back(0);
    } else {
        r = free_rows_.back();
        free_rows_.pop_back();
    }
    const int b = eq.row_var();
    ++row_version_[idx(r)];
    rows_[idx(r)].row_var_ = b;
    row_of_[idx(b)] = r;
    for (const VarCoeff& t : eq.terms()) {
        if (t.var == b) {
            rows_[idx(r)].terms_.push_back({b, 0, t.coeff});
        } else {
            append_term(r, t.var, t.coeff);
        }
    }
    ++num_rows_;
}

/// Takes a row out of the matrix; its variable is not basic any more.
Equation Tableau::detach_row(int r)
{
    Row& row = rows_[idx(r)];
    Equation eq;
    for (const Row::Term& t : row.terms_) {
        eq.add_var(t.var, t.coeff);
        if (t.var != row.row_var_) {
            remove_entry(t.var, t.place);
        }
    }
    eq.change_basic_var(row.row_var_);
    row_of_[idx(row.row_var_)] = -1;
    row = Row();
    free_rows_.push_back(r);
    --num_rows_;
    return eq;
}

// -- Pivoting

/// Makes y, of the term at y_place, the variable of the row, by scaling it with -1/a.
void Tableau::scale(Row& row, int y, size_t y_place)
{
    const QNumber& a = row.terms_[y_place].coeff;
    if (a == 1L) {
        for (Row::Term& t : row.terms_) {
            t.coeff.self_neg();
        }
    } else if (!(a == -1L)) {
        const QNumber factor = a.inv().neg();
        for (Row::Term& t : row.terms_) {
            t.coeff *= factor;
            shrink(t.coeff);
        }
    }
    row.row_var_ = y;
}

void Tableau::pivot(int x, int y)
{
    TARQ_ASSERT(is_basic(x) && !is_basic(y));
    const int r = row_of_[idx(x)];
    Row& row = rows_[idx(r)];
    Column& old_column = columns_[idx(y)];
    Column& new_column = columns_[idx(x)];
    size_t y_place = 0;
    for (size_t i = 0; i < row.terms_.size(); ++i) {
        const int v = row.terms_[i].var;
        pivot_place_[idx(v)] = static_cast<uint32_t>(i) + 1;
        if (v == y) {
            y_place = i;
        }
    }
    met_.resize(row.terms_.size());
    scale(row, y, y_place);
    row_of_[idx(x)] = -1;
    row_of_[idx(y)] = r;
    // y leaves all other rows, and x enters each of them, since it has a coefficient here: the
    // term of y becomes that of x, and the column of y that of x.
    TARQ_ASSERT(new_column.empty());
    old_column.swap(new_column);
    for (uint32_t i = 0; i < new_column.size(); ++i) {
        const Entry e = new_column[i];
        if (e.row == r) {
            const uint32_t x_place = pivot_place_[idx(x)] - 1;
            row.terms_[x_place].place = i;
            new_column[i].place = x_place;
        } else {
            add_multiple(e.row, e.place, row, y, x);
        }
    }
    for (const Row::Term& t : row.terms_) {
        pivot_place_[idx(t.var)] = 0;
    }
}

/// Replaces y in row z by what `row` says it is. The term of y becomes that of x, so that it keeps
/// its places in row and column.
void Tableau::add_multiple(int z, size_t y_place, const Row& row, int y, int x)
{
    ++row_version_[idx(z)];
    std::vector<Row::Term>& terms = rows_[idx(z)].terms_;
    const QNumber factor = terms[y_place].coeff;
    const bool one = factor == 1L;
    const bool minus_one = !one && factor == -1L;
    const auto product = [&](const QNumber& c) {
        if (one) {
            return c;
        }
        if (minus_one) {
            return c.neg();
        }
        QNumber result = c * factor;
        shrink(result);
        return result;
    };
    std::fill(met_.begin(), met_.end(), 0);
    const uint32_t x_at = pivot_place_[idx(x)] - 1;
    met_[x_at] = met_[pivot_place_[idx(y)] - 1] = 1;
    terms[y_place].var = x;
    terms[y_place].coeff = product(row.terms_[x_at].coeff);
    for (size_t i = 0; i < terms.size();) {
        const uint32_t at = pivot_place_[idx(terms[i].var)];
        if (at == 0 || terms[i].var == x) {
            ++i;
            continue;
        }
        met_[at - 1] = 1;
        QNumber& c = terms[i].coeff;
        const QNumber& d = row.terms_[at - 1].coeff;
        if (one) {
            c += d;
        } else if (minus_one) {
            c -= d;
        } else {
            c += d * factor;
        }
        shrink(c);
        if (c.is_zero()) {
            remove_entry(terms[i].var, terms[i].place);
            remove_term(z, i);
        } else {
            ++i;
        }
    }
    for (size_t k = 0; k < met_.size(); ++k) {
        if (!met_[k]) {
            append_term(z, row.terms_[k].var, product(row.terms_[k].coeff));
        }
    }
}

// -- Elimination

int Tableau::shortest_row(int v) const
{
    int best = -1;
    for (const Entry& e : column(v)) {
        if (best < 0 || rows_[idx(e.row)].size() < rows_[idx(best)].size() ||
            (rows_[idx(e.row)].size() == rows_[idx(best)].size() && e.row < best)) {
            best = e.row;
        }
    }
    return best;
}

/// Whether no number of the row needs more than a word or two. Elimination with longer ones costs
/// more than the smaller tableau gains.
bool Tableau::has_small_numbers(const Row& row)
{
    return std::all_of(row.terms().begin(), row.terms().end(),
                       [](const Row::Term& t) { return t.coeff.is_small(); });
}

void Tableau::eliminate_variables(const std::vector<int>& vars)
{
    for (int v : vars) {
        make_room(v);
        TARQ_ASSERT(!is_eliminated(v));
        if (!is_basic(v)) {
            const int r = shortest_row(v);
            if (r < 0) {
                continue; // in no row: nothing to keep, and the value does not matter
            }
            if (!has_small_numbers(rows_[idx(r)])) {
                continue;
            }
            pivot(basic_of_row(r), v);
        }
        stored_of_[idx(v)] = static_cast<int>(stored_.size());
        stored_.push_back(detach_row(row_of_[idx(v)]));
    }
}

void Tableau::uneliminate(int v, std::vector<int>* changed)
{
    std::vector<int> back = {stored_of_[idx(v)]};
    TARQ_ASSERT(back[0] >= 0);
    stored_of_[idx(v)] = -1;
    bring_back(back, changed);
}

void Tableau::remove_variable(int v)
{
    TARQ_ASSERT(!is_eliminated(v));
    if (!is_basic(v)) {
        const int r = shortest_row(v);
        if (r < 0) {
            return;
        }
        pivot(basic_of_row(r), v);
    }
    detach_row(row_of_[idx(v)]);
}

void Tableau::eliminated_users(int v, std::vector<int>* out) const
{
    for (const Equation& e : stored_) {
        if (!e.empty() && e.contains(v)) {
            out->push_back(e.row_var());
        }
    }
}

bool Tableau::check_invariants() const
{
    size_t entries = 0;
    int count = 0;
    for (size_t r = 0; r < rows_.size(); ++r) {
        const Row& row = rows_[r];
        if (row.empty()) {
            continue;
        }
        ++count;
        if (slot(row_of_, row.row_var()) != static_cast<int>(r) ||
            !(row.get_coefficient(row.row_var()) == -1L) || !column(row.row_var()).empty()) {
            return false;
        }
        for (size_t i = 0; i < row.size(); ++i) {
            const Row::Term& t = row.terms()[i];
            if (t.coeff.is_zero() || is_eliminated(t.var)) {
                return false;
            }
            if (t.var == row.row_var()) {
                continue;
            }
            ++entries;
            if (is_basic(t.var) || t.place >= column(t.var).size() ||
                column(t.var)[t.place].row != static_cast<int>(r) ||
                column(t.var)[t.place].place != i) {
                return false;
            }
        }
    }
    for (const Column& c : columns_) {
        entries -= c.size();
    }
    return entries == 0 && count == num_rows_;
}

} // namespace tarq::la
