// Tableau: the rows of the simplex with their columns, pivoting and elimination. It holds no bound
// and no value; those belong to la::Solver.
#pragma once

#include "base/assertion.h"
#include "base/reallocvector.h"
#include "theory/la/equation.h"
#include "theory/la/varsets.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tarq::la {

/// A row of the matrix: -b + sum a_i * x_i = 0 for its variable b. Unlike those of an Equation its
/// terms are in no order: each knows its place in the column of its variable, and the column's
/// entry knows its place here, so that changes need no search.
class Row {
public:
    struct Term {
        int var;
        uint32_t place; // of the entry in the column of var; of no meaning for the row variable
        QNumber coeff;
    };

    const std::vector<Term>& terms() const { return terms_; }
    size_t size() const { return terms_.size(); }
    bool empty() const { return terms_.empty(); }
    int row_var() const { return row_var_; }
    /// 0 for an absent variable. Linear: a column entry has the place of the term.
    const QNumber& get_coefficient(int var) const;

private:
    friend class Tableau;

    std::vector<Term> terms_;
    int row_var_ = Equation::NO_VAR;
};

/// A sparse matrix in two views: rows, each a contiguous form that defines a basic variable in
/// terms of non-basic ones, and for every variable the rows that mention it.
///
/// A row has an index of its own, which it keeps when a pivot makes it the row of another variable:
/// so a pivot touches the columns of fill-in and cancellation only. The columns of its two
/// variables just change places.
///
/// Invariants
///   1. A basic variable stands in its own row only, with coefficient -1.
///   2. column(v) holds exactly the rows in which v stands as another than the row variable; entry
///      and term hold each other's places.
///   3. The stored row of an eliminated variable mentions, besides it, variables of the matrix, or
///      ones that were eliminated after it. No row of the matrix mentions an eliminated variable.
///
/// Cost: a pivot takes time linear in the entries of the rows it changes. It allocates only where a
/// row or column outgrows its memory, so in a matrix that has settled, with small coefficients,
/// nothing.
class Tableau {
public:
    /// An entry of a column.
    struct Entry {
        int row;
        uint32_t place; // of the term in the row
    };
    using Column = ReallocVector<Entry>;

    /// Enters the row `eq` (its row variable stands in no row of the matrix and is not eliminated).
    /// Basic variables in it are replaced by their rows, eliminated ones are brought back first.
    /// changed  receives the variables that came back, in an order in which their values can be
    ///          computed; not cleared
    void add_equation(const Equation& eq, std::vector<int>* changed);

    /// Swaps basic x and non-basic y, which stands in the row of x.
    void pivot(int x, int y);

    /// Takes the variables of a list out of the matrix, where they stay as stored rows; but not one
    /// that would take a pivot on long numbers.
    void eliminate_variables(const std::vector<int>& vars);
    /// Brings an eliminated variable back, with all that its row mentions.
    /// changed  as in add_equation
    void uneliminate(int v, std::vector<int>* changed);
    /// Takes v out for good, with its row if it is basic or can be made basic. Stored rows that
    /// mention v, or their variables, must have been brought back (see eliminated_users).
    void remove_variable(int v);
    /// Appends the eliminated variables whose stored rows mention v. Linear in the stored rows.
    void eliminated_users(int v, std::vector<int>* out) const;

    bool is_basic(int v) const { return slot(row_of_, v) >= 0; }
    bool is_eliminated(int v) const { return slot(stored_of_, v) >= 0; }
    /// The row of a basic variable.
    const Row& row(int basic) const { return rows_[idx(row_of_[idx(basic)])]; }
    int row_index(int basic) const { return row_of_[idx(basic)]; }
    /// By row index, as columns give it; without terms where there is no row any more.
    const Row& row_at(int r) const { return rows_[idx(r)]; }
    int basic_of_row(int r) const { return rows_[idx(r)].row_var(); }
    /// Grows whenever the set of variables of a row changes; from 1.
    uint32_t row_version(int r) const { return row_version_[idx(r)]; }
    const Column& column(int v) const
    {
        return idx(v) < columns_.size() ? columns_[idx(v)] : no_rows_;
    }
    /// The coefficient that a column's entry is about.
    const QNumber& coeff(const Entry& e) const { return rows_[idx(e.row)].terms_[e.place].coeff; }
    /// Rows of eliminated variables, oldest first; those that came back are empty.
    const std::vector<Equation>& eliminated() const { return stored_; }

    int num_rows() const { return num_rows_; }
    /// All rows in ascending order of their indices.
    template <class F>
    void for_each_row(F&& f) const
    {
        for (const Row& r : rows_) {
            if (!r.empty()) {
                f(r);
            }
        }
    }

    /// Whether the invariants hold; quadratic at worst, for assertions.
    bool check_invariants() const;

private:
    static size_t idx(int v) { return static_cast<size_t>(v); }
    static int slot(const std::vector<int>& table, int v)
    {
        return idx(v) < table.size() ? table[idx(v)] : -1;
    }
    void make_room(int v);
    void enter(const Equation& eq);
    void collect_eliminated(const Equation& eq, std::vector<int>* vars);
    void bring_back(std::vector<int>& vars, std::vector<int>* changed);
    void substitute_basics(Equation& eq);
    Equation detach_row(int r);
    int shortest_row(int v) const;
    static bool has_small_numbers(const Row& row);
    void scale(Row& row, int y, size_t y_place);
    void add_multiple(int z, size_t y_place, const Row& row, int y, int x);
    void append_term(int z, int var, QNumber coeff);
    void remove_term(int z, size_t place);
    void remove_entry(int var, uint32_t place);

    std::vector<Row> rows_; // empty ones are free slots
    std::vector<int> free_rows_;
    std::vector<uint32_t> row_version_; // by row index
    std::vector<Column> columns_;       // by variable
    std::vector<int> row_of_;           // by variable: its row, -1 when it is not basic
    std::vector<Equation> stored_;      // of eliminated variables, in the order of elimination
    std::vector<int> stored_of_;        // by variable: place in stored_, -1 when not eliminated
    int num_rows_ = 0;
    std::vector<uint32_t> pivot_place_; // by variable: place + 1 in the pivot row, or 0
    std::vector<char> met_;             // by place in the pivot row
    Equation::Terms scratch_;
    Column no_rows_;
};

} // namespace tarq::la
