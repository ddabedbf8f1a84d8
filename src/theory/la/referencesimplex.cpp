#include "theory/la/referencesimplex.h"

#include <algorithm>
#include <map>

namespace tarq::la {

namespace {

/// Columns are the variables that are not basic, rows the basic ones. Quantities are numbered: the
/// ranges first, then the variables of their forms, which have no bounds.
class Table {
public:
    explicit Table(const std::vector<ReferenceRange>& ranges) : ranges_(ranges)
    {
        std::map<int, size_t> column_of;
        for (const ReferenceRange& r : ranges) {
            for (const VarCoeff& t : r.form.terms()) {
                column_of.emplace(t.var, 0);
            }
        }
        for (auto& [var, column] : column_of) {
            column = columns_.size();
            columns_.push_back(ranges.size() + column);
        }
        for (size_t i = 0; i < ranges.size(); ++i) {
            rows_.push_back(i);
            coefficients_.emplace_back(columns_.size());
            for (const VarCoeff& t : ranges[i].form.terms()) {
                coefficients_.back()[column_of[t.var]] = t.coeff;
            }
        }
        values_.assign(ranges.size() + columns_.size(), DNumber::zero);
    }

    bool solve()
    {
        for (;;) {
            size_t row = rows_.size();
            for (size_t i = 0; i < rows_.size(); ++i) {
                if (direction(rows_[i]) != 0 && (row == rows_.size() || rows_[i] < rows_[row])) {
                    row = i;
                }
            }
            if (row == rows_.size()) {
                return true;
            }
            const int up = direction(rows_[row]);
            size_t column = columns_.size();
            for (size_t j = 0; j < columns_.size(); ++j) {
                const QNumber& c = coefficients_[row][j];
                if (!c.is_zero() && can_move(columns_[j], c.is_pos() ? up : -up) &&
                    (column == columns_.size() || columns_[j] < columns_[column])) {
                    column = j;
                }
            }
            if (column == columns_.size()) {
                return false;
            }
            const size_t leaving = rows_[row];
            const DNumber target = up > 0 ? lower(leaving) : upper(leaving);
            move(column, (target - values_[leaving]) * coefficients_[row][column].inv());
            pivot(row, column);
        }
    }

private:
    DNumber lower(size_t k) const
    {
        return k < ranges_.size() ? ranges_[k].lower : DNumber::minus_inf;
    }
    DNumber upper(size_t k) const
    {
        return k < ranges_.size() ? ranges_[k].upper : DNumber::plus_inf;
    }
    /// Where the quantity has to go: 1 up, -1 down, 0 nowhere.
    int direction(size_t k) const
    {
        return values_[k] < lower(k) ? 1 : values_[k] > upper(k) ? -1 : 0;
    }
    bool can_move(size_t k, int up) const
    {
        return up > 0 ? values_[k] < upper(k) : values_[k] > lower(k);
    }
    void move(size_t column, const DNumber& by)
    {
        values_[columns_[column]] += by;
        for (size_t i = 0; i < rows_.size(); ++i) {
            values_[rows_[i]].add_mult(by, coefficients_[i][column]);
        }
    }
    void pivot(size_t row, size_t column)
    {
        std::vector<QNumber>& r = coefficients_[row];
        const QNumber inverse = r[column].inv();
        for (QNumber& c : r) {
            c *= inverse.neg();
        }
        r[column] = inverse;
        for (size_t i = 0; i < rows_.size(); ++i) {
            const QNumber factor = coefficients_[i][column];
            if (i == row || factor.is_zero()) {
                continue;
            }
            coefficients_[i][column] = 0;
            for (size_t j = 0; j < columns_.size(); ++j) {
                coefficients_[i][j] += factor * r[j];
            }
        }
        std::swap(rows_[row], columns_[column]);
    }

    const std::vector<ReferenceRange>& ranges_;
    std::vector<size_t> columns_, rows_; // to quantities
    std::vector<std::vector<QNumber>> coefficients_;
    std::vector<DNumber> values_; // by quantity
};

bool is_empty(const ReferenceRange& r)
{
    return r.lower > r.upper ||
           (r.form.empty() && (r.lower > DNumber::zero || r.upper < DNumber::zero));
}

bool solve(const std::vector<ReferenceRange>& ranges)
{
    return std::none_of(ranges.begin(), ranges.end(), is_empty) && Table(ranges).solve();
}

} // namespace

/// What is convex and avoids each hole somewhere avoids all of them somewhere.
bool is_satisfiable(std::vector<ReferenceRange> ranges)
{
    if (!solve(ranges)) {
        return false;
    }
    const DNumber delta(QNumber(0), QNumber(1));
    for (ReferenceRange& r : ranges) {
        for (const DNumber& hole : r.holes) {
            const ReferenceRange whole = r;
            r.upper = std::min(whole.upper, hole - delta);
            bool avoided = solve(ranges);
            r.upper = whole.upper;
            r.lower = std::max(whole.lower, hole + delta);
            avoided = avoided || solve(ranges);
            r.lower = whole.lower;
            if (!avoided) {
                return false;
            }
        }
    }
    return true;
}

} // namespace tarq::la
