// The simplex alone: pivots per second and time per pushed bound, on dense and sparse systems of
// 100 to 5,000 rows, with small coefficients and with ones beyond 64 bits.
//
//     la_bench [--rows N]... [--smt2 DIR] [--seconds S]
//
// A system has as many rows as variables. A row is the sum of neighbouring variables, of 4 when
// sparse and of 40 when dense, so that no basis has large entries; each variable is scaled by a
// number of its own, from 1 to 3, or beyond 2^65 ("big"). In each round bounds on some rows (400,
// or all if there are fewer) are pushed, with a check after every eighth, and popped; each round's
// bounds lie further from the values of one hidden solution, so rounds end in a conflict sooner or
// later. With --smt2 the first round of each system is written as a script, for other solvers.
#include "theory/la/solver.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <new>
#include <random>
#include <string>

namespace {

size_t num_allocations = 0;

} // namespace

// Counts what the pivots allocate; big coefficients allocate inside GMP, which goes another way.
void* operator new(size_t n)
{
    ++num_allocations;
    if (void* p = std::malloc(n)) {
        return p;
    }
    throw std::bad_alloc();
}
void operator delete(void* p) noexcept
{
    std::free(p);
}
void operator delete(void* p, size_t) noexcept
{
    std::free(p);
}

using namespace tarq;
using namespace tarq::la;

namespace {

double now()
{
    using namespace std::chrono;
    return duration<double>(steady_clock::now().time_since_epoch()).count();
}

class System {
public:
    System(int rows, bool dense, bool big, unsigned seed)
        : rng_(seed), rows_(rows), bounded_(std::min(rows, 400))
    {
        const int terms = std::min(dense ? 40 : 4, rows);
        const QNumber unit = big ? QNumber::from_str("36893488147419103232") : QNumber(1); // 2^65
        std::vector<QNumber> factors;
        for (int v = 1; v <= rows; ++v) {
            values_.push_back(below(201) - 100);
            factors.push_back(big ? unit + QNumber(below(1000)) : QNumber(1 + below(3)));
        }
        forms_.resize(static_cast<size_t>(rows));
        for (int r = 0; r < rows; ++r) {
            Equation& form = forms_[static_cast<size_t>(r)];
            for (int i = 0; i < terms; ++i) {
                const int v = (r + i) % rows;
                form.add_var(v + 1, factors[static_cast<size_t>(v)]);
            }
            QNumber value;
            for (const VarCoeff& t : form.terms()) {
                value += t.coeff * QNumber(values_[static_cast<size_t>(t.var) - 1]);
            }
            form_values_.push_back(value);
            Equation row(form);
            row.add_var(rows + 1 + r, QNumber(-1));
            row.change_basic_var(rows + 1 + r);
            solver_.tell_equation(row);
        }
        scale_ = unit;
        for (int v = 1; v <= rows; ++v) {
            // never pushed; without it the variable would be eliminated
            solver_.tell_upper_bound(ROUNDS * 2 * bounded_ + v, v, DNumber(QNumber(1000000)));
        }
        for (int round = 0; round < ROUNDS; ++round) {
            tell_round(round);
        }
    }

    /// Pushes all bounds of a round with a check after every eighth, and pops them.
    void run(int round)
    {
        const int first = 1 + (round % ROUNDS) * 2 * bounded_;
        int pushed = 0;
        bool ok = true;
        for (int i = 0; ok && i < 2 * bounded_; ++i) {
            ok = solver_.push_constraint(first + i);
            ++pushed;
            if (i % 8 == 7) {
                ok = ok && solver_.check(true);
            }
        }
        num_pushes_ += static_cast<size_t>(pushed);
        for (; pushed > 0; --pushed) {
            solver_.pop_constraint();
        }
    }

    void write(const std::string& path) const
    {
        std::ofstream out(path);
        out << "(set-logic QF_LRA)\n";
        for (int v = 1; v <= rows_; ++v) {
            out << "(declare-const x" << v << " Real)\n";
        }
        for (int i = 0; i < 2 * bounded_; ++i) {
            const RangeConstraint& r = solver_.get_constraint(1 + i);
            out << "(assert (" << (r.kind == BoundKind::LOWER ? ">=" : "<=") << " (+";
            for (const VarCoeff& t : forms_[static_cast<size_t>(r.var - rows_ - 1)].terms()) {
                out << " (* " << text(t.coeff) << " x" << t.var << ")";
            }
            out << ") " << text(r.bound.real()) << "))\n";
        }
        out << "(check-sat)\n";
    }

    const Solver& solver() const { return solver_; }
    size_t num_pushes() const { return num_pushes_; }

    static constexpr int ROUNDS = 8;

private:
    int below(int n) { return static_cast<int>(rng_() % static_cast<unsigned>(n)); }
    static std::string text(const QNumber& q)
    {
        return q.is_neg() ? "(- " + q.neg().to_str() + ")" : q.to_str();
    }

    void tell_round(int round)
    {
        const int shift = round * 7;
        std::vector<int> order;
        for (int r = 0; r < rows_; ++r) {
            order.push_back(r);
        }
        std::shuffle(order.begin(), order.end(), rng_);
        order.resize(static_cast<size_t>(bounded_));
        for (int r : order) {
            const QNumber center =
                form_values_[static_cast<size_t>(r)] + QNumber(below(9) * shift) * scale_;
            const QNumber width = QNumber(1 + below(20)) * scale_;
            solver_.tell_lower_bound(next_++, rows_ + 1 + r, DNumber(center - width));
            solver_.tell_upper_bound(next_++, rows_ + 1 + r, DNumber(center + width));
        }
    }

    std::mt19937 rng_;
    int rows_;
    int bounded_; // rows with bounds in a round
    Solver solver_;
    std::vector<int> values_;
    std::vector<Equation> forms_;
    std::vector<QNumber> form_values_;
    QNumber scale_;
    int next_ = 1;
    size_t num_pushes_ = 0;
};

} // namespace

int main(int argc, char** argv)
{
    std::vector<int> sizes;
    std::string smt2;
    double seconds = 2;
    for (int i = 1; i + 1 < argc; i += 2) {
        if (std::strcmp(argv[i], "--rows") == 0) {
            sizes.push_back(std::atoi(argv[i + 1]));
        } else if (std::strcmp(argv[i], "--smt2") == 0) {
            smt2 = argv[i + 1];
        } else if (std::strcmp(argv[i], "--seconds") == 0) {
            seconds = std::atof(argv[i + 1]);
        } else {
            std::fprintf(stderr, "unknown option: %s\n", argv[i]);
            return 2;
        }
    }
    if (sizes.empty()) {
        sizes = {100, 300, 1000, 5000};
    }
    std::printf("%-7s %-6s %5s %9s %11s %11s %8s %12s\n", "kind", "coeffs", "rows", "pivots",
                "pivots/s", "us/push", "avg row", "allocs/pivot");
    for (const bool dense : {false, true}) {
        for (const bool big : {false, true}) {
            for (int rows : sizes) {
                System system(rows, dense, big, 1);
                if (!smt2.empty()) {
                    system.write(smt2 + "/" + (dense ? "dense" : "sparse") + (big ? "_big_" : "_") +
                                 std::to_string(rows) + ".smt2");
                }
                system.run(0); // warm
                const size_t pivots0 = system.solver().stats().pivots;
                const size_t pushes0 = system.num_pushes();
                const size_t allocs0 = num_allocations;
                const double start = now();
                double used = 0;
                for (int round = 1; used < seconds; ++round) {
                    system.run(round);
                    used = now() - start;
                }
                const auto pivots = static_cast<double>(system.solver().stats().pivots - pivots0);
                const auto pushes = static_cast<double>(system.num_pushes() - pushes0);
                std::printf("%-7s %-6s %5d %9.0f %11.0f %11.2f %8s %12.3f\n",
                            dense ? "dense" : "sparse", big ? "big" : "small", rows, pivots,
                            pivots / used, 1e6 * used / pushes,
                            system.solver().get_stats()[2].second.substr(0, 6).c_str(),
                            static_cast<double>(num_allocations - allocs0) / std::max(1.0, pivots));
                std::fflush(stdout);
            }
        }
    }
    return 0;
}
