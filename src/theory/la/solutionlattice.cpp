#include "theory/la/solutionlattice.h"

#include "base/terminationtest.h"

#include <algorithm>
#include <utility>

namespace tarq::laz {

namespace {

size_t idx(int i)
{
    return static_cast<size_t>(i);
}

/// The whole number nearest to a / b.
mpz_class nearest_quotient(const mpz_class& a, const mpz_class& b)
{
    mpz_class q = 2 * a + b;
    mpz_fdiv_q(q.get_mpz_t(), q.get_mpz_t(), mpz_class(2 * b).get_mpz_t());
    return q;
}

bool divides(const mpz_class& d, const mpz_class& n)
{
    return mpz_divisible_p(n.get_mpz_t(), d.get_mpz_t()) != 0;
}

size_t num_bits(const mpz_class& n)
{
    return mpz_sizeinbase(n.get_mpz_t(), 2);
}

/// The number at a row of a sparse vector, which is there.
template <class Vector>
const mpz_class& at(const Vector& v, int row)
{
    const auto it = std::lower_bound(v.begin(), v.end(), row,
                                     [](const auto& e, int limit) { return e.row < limit; });
    TARQ_ASSERT(it != v.end() && it->row == row);
    return it->value;
}

void add_multiple_of(la::Equation& to, const la::Equation& o, const QNumber& factor)
{
    la::Equation::Terms scratch;
    to.add_row(
        o, factor, scratch, [](int) {}, [](int) {});
}

} // namespace

void SolutionLattice::poll() const
{
    if (termination_test_) {
        (*termination_test_)();
    }
}

bool SolutionLattice::contains(int var) const
{
    const auto it = rows_.find(var);
    return it != rows_.end() && idx(it->second) < wanted_vars_;
}

// -- Vectors

SolutionLattice::Vector& SolutionLattice::vector_of(int name)
{
    return name == OFFSET      ? offset_
           : name == DIRECTION ? solved_.back().direction
                               : columns_[idx(name)].v;
}

/// target += factor * source
void SolutionLattice::add_multiple(Vector& target, const mpz_class& factor, const Vector& source)
{
    merged_.clear();
    merged_.reserve(target.size() + source.size());
    auto a = target.begin();
    for (const Entry& b : source) {
        for (; a != target.end() && a->row < b.row; ++a) {
            merged_.push_back(std::move(*a));
        }
        if (a != target.end() && a->row == b.row) {
            mpz_addmul(a->value.get_mpz_t(), factor.get_mpz_t(), b.value.get_mpz_t());
            if (a->value != 0) {
                merged_.push_back(std::move(*a));
            }
            ++a;
        } else {
            merged_.push_back({b.row, factor * b.value});
        }
    }
    for (; a != target.end(); ++a) {
        merged_.push_back(std::move(*a));
    }
    target.swap(merged_);
}

/// Spreads a vector out for times_loaded.
void SolutionLattice::load(const Vector& v)
{
    loaded_.assign(vars_.size(), mpz_class());
    for (const Entry& e : v) {
        loaded_[idx(e.row)] = e.value;
    }
}

mpz_class SolutionLattice::times_loaded(const Vector& v) const
{
    mpz_class sum;
    for (const Entry& e : v) {
        const mpz_class& w = loaded_[idx(e.row)];
        if (w != 0) {
            mpz_addmul(sum.get_mpz_t(), w.get_mpz_t(), e.value.get_mpz_t());
        }
    }
    return sum;
}

// -- Combinations of columns, and back

/// target -= factor * source; takes the factor.
void SolutionLattice::subtract(int target, int source, mpz_class& factor)
{
    poll();
    factor = -factor;
    add_multiple(vector_of(target), factor, vector_of(source));
    factor = -factor;
    Op op{false, target, source, {}, {}, {}, {}};
    op.p.swap(factor);
    ops_.push_back(std::move(op));
}

/// Makes the direction have the greatest common divisor of both in d, and the column 0.
void SolutionLattice::mix(int target, const mpz_class& d_direction, const mpz_class& d_target)
{
    poll();
    Op op{true, target, DIRECTION, {}, {}, {}, {}};
    mpz_class h;
    mpz_gcdext(h.get_mpz_t(), op.u.get_mpz_t(), op.v.get_mpz_t(), d_direction.get_mpz_t(),
               d_target.get_mpz_t());
    op.p = d_target / h;
    op.w = d_direction / h;
    Vector& x = solved_.back().direction;
    Vector& y = columns_[idx(target)].v;
    Vector combined;
    add_multiple(combined, op.u, x);
    add_multiple(combined, op.v, y);
    for (Entry& e : y) {
        e.value *= -op.w;
    }
    add_multiple(y, op.p, x);
    x.swap(combined);
    std::erase_if(x, [](const Entry& e) { return e.value == 0; }); // u or v may be 0
    ops_.push_back(std::move(op));
}

void SolutionLattice::undo(const Op& op)
{
    Vector& x = vector_of(op.source);
    Vector& y = vector_of(op.target);
    if (!op.mixed) {
        add_multiple(y, op.p, x);
        return;
    }
    Vector source;
    add_multiple(source, op.w, x);
    add_multiple(source, op.v, y);
    const mpz_class minus_u = -op.u;
    for (Entry& e : y) {
        e.value *= minus_u;
    }
    add_multiple(y, op.p, x);
    x.swap(source);
    for (Vector* v : {&x, &y}) {
        std::erase_if(*v, [](const Entry& e) { return e.value == 0; });
    }
}

/// Makes the numbers of a vector at the pivots of the columns before `end` less than those.
void SolutionLattice::reduce(int target, size_t end)
{
    size_t limit = end;
    while (limit > 0) {
        int next = -1;
        const mpz_class* value = nullptr;
        for (const Entry& e : vector_of(target)) {
            const int c = column_of_[idx(e.row)];
            if (c > next && idx(c) < limit) {
                next = c;
                value = &e.value;
            }
        }
        if (next < 0) {
            return;
        }
        limit = idx(next);
        const Column& column = columns_[limit];
        mpz_class q = nearest_quotient(*value, at(column.v, column.pivot));
        if (q != 0) {
            subtract(target, next, q);
        }
    }
}

// -- Equations

int SolutionLattice::enter(int var)
{
    const auto it = rows_.find(var);
    if (it != rows_.end()) {
        return it->second;
    }
    const int row = static_cast<int>(vars_.size());
    rows_[var] = row;
    vars_.push_back(var);
    column_of_.push_back(static_cast<int>(columns_.size()));
    columns_.push_back({row, {}});
    columns_.back().v.push_back({row, 1});
    ++wanted_vars_;
    return row;
}

/// The column to begin with: one whose own variable, no longer free, adds least to the index. It
/// must be 0 at the pivots of those from the first one with a number in d up to itself, so that they
/// keep theirs.
size_t SolutionLattice::choose_start(const std::vector<mpz_class>& d) const
{
    size_t first = 0;
    while (d[first] == 0) {
        ++first;
    }
    size_t best = first;
    long best_bits = 0;
    for (size_t s = first; s < d.size(); ++s) {
        if (d[s] == 0) {
            continue;
        }
        const Column& column = columns_[s];
        const long cost = static_cast<long>(num_bits(d[s])) -
                          static_cast<long>(num_bits(at(column.v, column.pivot)));
        if (s != first && cost >= best_bits) {
            continue;
        }
        const bool in_order =
            s == first || std::none_of(column.v.begin(), column.v.end(), [&](const Entry& e) {
                const int c = column_of_[idx(e.row)];
                return c >= static_cast<int>(first) && idx(c) < s;
            });
        if (in_order) {
            best = s;
            best_bits = cost;
        }
    }
    return best;
}

/// Takes the column `start` for the direction, and makes all others satisfy the equation.
/// d  the equation times the columns; without `start` afterwards
void SolutionLattice::eliminate(std::vector<mpz_class>& d, size_t start)
{
    Solved& s = solved_.back();
    s.position = start;
    s.pivot = columns_[start].pivot;
    s.direction = std::move(columns_[start].v);
    s.divisor.swap(d[start]);
    columns_.erase(columns_.begin() + static_cast<ptrdiff_t>(start));
    d.erase(d.begin() + static_cast<ptrdiff_t>(start));
    column_of_[idx(s.pivot)] = -1;
    for (size_t j = start; j < columns_.size(); ++j) {
        --column_of_[idx(columns_[j].pivot)];
    }
    for (size_t j = 0; j < columns_.size(); ++j) {
        if (d[j] == 0) {
            continue;
        }
        const int target = static_cast<int>(j);
        if (divides(s.divisor, d[j])) {
            mpz_class q = d[j] / s.divisor;
            subtract(target, DIRECTION, q);
            reduce(target, j);
        } else {
            mix(target, s.divisor, d[j]);
            s.divisor = gcd(s.divisor, d[j]);
            reduce(target, j);
            reduce(DIRECTION, j + 1);
        }
    }
    reduce(DIRECTION, columns_.size());
}

bool SolutionLattice::add(Equation& in_out)
{
    settle();
    Vector form;
    for (const la::VarCoeff& t : in_out.form.terms()) {
        TARQ_ASSERT(t.coeff.is_int());
        form.push_back({enter(t.var), t.coeff.num_to_mpz()});
    }
    std::sort(form.begin(), form.end(),
              [](const Entry& a, const Entry& b) { return a.row < b.row; });
    std::vector<mpz_class> d(columns_.size());
    mpz_class divisor;
    load(form);
    for (size_t j = 0; j < columns_.size(); ++j) {
        d[j] = times_loaded(columns_[j].v);
        divisor = gcd(divisor, d[j]);
    }
    const mpz_class rest = times_loaded(offset_) + in_out.form.constant().num_to_mpz();
    if (divisor == 0 ? rest != 0 : !divides(divisor, rest)) {
        substitute(in_out, true);
        return false;
    }
    solved_.emplace_back();
    ++wanted_equations_;
    Solved& s = solved_.back();
    s.form = std::move(form);
    s.sources = in_out.sources;
    s.first_op = ops_.size();
    if (divisor == 0) {
        return true; // nothing new; no direction
    }
    try {
        eliminate(d, choose_start(d));
        TARQ_ASSERT(abs(s.divisor) == divisor);
        mpz_class q = rest / s.divisor;
        if (q != 0) {
            subtract(OFFSET, DIRECTION, q);
        }
        reduce(OFFSET, columns_.size());
    } catch (...) {
        --wanted_equations_;
        settle();
        throw;
    }
    TARQ_HEAVY_ASSERT(vars_.size() > 30 || check_invariants());
    return true;
}

void SolutionLattice::undo_equation()
{
    Solved& s = solved_.back();
    if (s.divisor != 0) {
        while (ops_.size() > s.first_op) {
            undo(ops_.back());
            ops_.pop_back();
        }
        columns_.insert(columns_.begin() + static_cast<ptrdiff_t>(s.position),
                        {s.pivot, std::move(s.direction)});
        for (size_t j = s.position; j < columns_.size(); ++j) {
            column_of_[idx(columns_[j].pivot)] = static_cast<int>(j);
        }
    }
    solved_.pop_back();
}

void SolutionLattice::truncate(size_t num_equations, size_t num_vars)
{
    TARQ_ASSERT(num_equations <= wanted_equations_ && num_vars <= wanted_vars_);
    wanted_equations_ = num_equations;
    wanted_vars_ = num_vars;
    if (num_vars == 0) {
        reset();
    }
}

void SolutionLattice::reset()
{
    vars_.clear();
    rows_.clear();
    column_of_.clear();
    columns_.clear();
    offset_.clear();
    solved_.clear();
    ops_.clear();
    wanted_equations_ = 0;
    wanted_vars_ = 0;
}

/// Carries out the pops.
void SolutionLattice::settle()
{
    while (solved_.size() > wanted_equations_) {
        undo_equation();
    }
    while (vars_.size() > wanted_vars_) {
        // In no equation any more: its column is as when it came.
        TARQ_ASSERT(columns_.back().pivot == static_cast<int>(vars_.size()) - 1);
        TARQ_ASSERT(columns_.back().v.size() == 1);
        columns_.pop_back();
        column_of_.pop_back();
        rows_.erase(vars_.back());
        vars_.pop_back();
    }
    while (!offset_.empty() && idx(offset_.back().row) >= vars_.size()) {
        offset_.pop_back();
    }
}

// -- What the equations say of a form

/// Adds to `sources` what the vector that is loaded takes of the equations.
/// modulus  greatest common divisor of vector times columns; 0 when that is 0
/// scale    what all that is said is to be divided by
void SolutionLattice::append_sources(const mpz_class& modulus, const mpz_class& scale,
                                     la::Equation& sources)
{
    mpz_class common(1); // denominator of what is loaded
    mpz_class num;
    mpz_class den;
    mpz_class g;
    for (size_t k = solved_.size(); k-- > 0;) {
        poll();
        const Solved& s = solved_[k];
        if (s.divisor == 0) {
            continue;
        }
        num = times_loaded(s.direction);
        if (num == 0) {
            continue;
        }
        den = s.divisor * common;
        if (modulus != 0) {
            const mpz_class m = den * modulus;
            num -= nearest_quotient(num, m) * m;
            if (num == 0) {
                continue;
            }
        }
        g = gcd(num, den);
        num /= g;
        den /= g;
        if (!divides(den, common)) {
            g = lcm(common, den);
            const mpz_class factor = g / common;
            common = g;
            for (mpz_class& w : loaded_) {
                w *= factor;
            }
        }
        g = num * (common / den);
        for (const Entry& e : s.form) {
            mpz_submul(loaded_[idx(e.row)].get_mpz_t(), g.get_mpz_t(), e.value.get_mpz_t());
        }
        add_multiple_of(sources, s.sources, -QNumber(num, mpz_class(den * scale)));
    }
}

bool SolutionLattice::substitute(Equation& in_out, bool with_sources)
{
    settle();
    la::Equation form;
    QNumber multiple(1);
    for (const la::VarCoeff& t : in_out.form.terms()) {
        if (contains(t.var)) {
            multiple = lcm(multiple, t.coeff.get_den());
        } else {
            form.add_var(t.var, t.coeff);
        }
    }
    if (form.size() == in_out.form.size()) {
        return false;
    }
    loaded_.assign(vars_.size(), mpz_class());
    for (const la::VarCoeff& t : in_out.form.terms()) {
        if (contains(t.var)) {
            loaded_[idx(rows_[t.var])] = (t.coeff * multiple).num_to_mpz();
        }
    }
    const mpz_class scale = multiple.num_to_mpz();
    mpz_class modulus;
    for (size_t j = 0; j < columns_.size(); ++j) {
        const mpz_class d = times_loaded(columns_[j].v);
        if (d != 0) {
            modulus = gcd(modulus, d);
            form.add_var(FIRST_PARAMETER + static_cast<int>(j), QNumber(d, scale));
        }
    }
    form.add_const(in_out.form.constant());
    form.add_const(QNumber(times_loaded(offset_), scale));
    in_out.form = std::move(form);
    if (with_sources) {
        append_sources(modulus, scale, in_out.sources);
    }
    return true;
}

void SolutionLattice::nearest(std::vector<QNumber>& in_out)
{
    settle();
    std::vector<mpz_class> x(vars_.size());
    for (const Entry& e : offset_) {
        x[idx(e.row)] = e.value;
    }
    for (size_t j = columns_.size(); j-- > 0;) {
        poll();
        const Column& c = columns_[j];
        const QNumber rest = in_out[idx(c.pivot)] - QNumber(x[idx(c.pivot)]);
        const QNumber steps = (rest / QNumber(at(c.v, c.pivot)) + QNumber(1, 2)).floor();
        if (!steps.is_zero()) {
            const mpz_class n = steps.num_to_mpz();
            for (const Entry& e : c.v) {
                mpz_addmul(x[idx(e.row)].get_mpz_t(), n.get_mpz_t(), e.value.get_mpz_t());
            }
        }
    }
    for (size_t i = 0; i < x.size(); ++i) {
        in_out[i] = QNumber(x[i]);
    }
}

bool SolutionLattice::check_invariants() const
{
    for (const Solved& s : solved_) {
        for (const Column& c : columns_) {
            mpz_class sum;
            for (const Entry& e : s.form) {
                for (const Entry& f : c.v) {
                    if (e.row == f.row) {
                        sum += e.value * f.value;
                    }
                }
            }
            if (sum != 0) {
                return false;
            }
        }
    }
    for (size_t j = 0; j < columns_.size(); ++j) {
        for (const Entry& e : columns_[j].v) {
            const int c = column_of_[idx(e.row)];
            const bool ok = c < 0 || idx(c) == j ||
                            (idx(c) < j && 2 * abs(e.value) <=
                                               abs(at(columns_[idx(c)].v, columns_[idx(c)].pivot)));
            if (!ok || e.value == 0) {
                return false;
            }
        }
    }
    return true;
}

} // namespace tarq::laz
