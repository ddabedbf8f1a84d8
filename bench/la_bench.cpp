// The simplex alone: pivots per second and time per pushed bound, on dense and sparse systems of
// 100 to 5,000 rows, with small coefficients and with ones beyond 64 bits.
//
//     la_bench [--rows N]... [--seconds S] [--smt2 DIR [--solver COMMAND]]
//
// A system has as many rows as variables. A row is the sum of neighbouring variables, of 4 when
// sparse and of 40 when dense, so that no basis has large entries; each variable is scaled by a
// number of its own. Atoms over the rows go through the mappers, as those of a script do. The
// coefficients are of one of three kinds:
//   small    the numbers of the variables are from 1 to 3
//   scaled   the same, and each row is multiplied by a number of its own beyond 2^65
//   coprime  the numbers of the variables are beyond 2^65, so that no common factor can be divided
//            out
// In each round bounds on some rows (400, or all if there are fewer) are pushed, with a check after
// every eighth, and popped; each round's bounds lie further from the values of one hidden solution,
// so rounds end in a conflict sooner or later. Every round runs once before the measurement, which
// thus sees memory that has settled. Times are of the processor; "x small" is the time per pivot
// compared with the small system of the same shape.
//
// With --smt2 the first and the last round of each system are written as a script with two checks,
// and with --solver a command ("z3 -smt2") is run on it: its answers must be those found here, and
// the last two columns are the processor time of the two rounds here, in a new system, and that of
// the whole command.
#include "allocations.h"
#include "terms/termmanager.h"
#include "theory/la/constraintmapper.h"
#include "theory/la/lineartermmapper.h"
#include "theory/la/solver.h"

#include <sys/resource.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <random>
#include <string>
#include <vector>

using namespace tarq;
using namespace tarq::la;

namespace {

/// Processor time of this process, in seconds.
double now()
{
    timespec t;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
}

/// Processor time of the commands run so far, in seconds.
double children_time()
{
    rusage r;
    getrusage(RUSAGE_CHILDREN, &r);
    return static_cast<double>(r.ru_utime.tv_sec + r.ru_stime.tv_sec) +
           1e-6 * static_cast<double>(r.ru_utime.tv_usec + r.ru_stime.tv_usec);
}

enum class Coeffs { SMALL, SCALED, COPRIME };

class System {
public:
    static constexpr int ROUNDS = 8;

    System(int rows, bool dense, Coeffs coeffs, unsigned seed)
        : rng_(seed), rows_(rows), bounded_(std::min(rows, 400))
    {
        const int terms = std::min(dense ? 40 : 4, rows);
        const QNumber huge = QNumber::from_str("36893488147419103232"); // 2^65
        const bool big_variables = coeffs == Coeffs::COPRIME;
        std::vector<QNumber> factors;
        std::vector<int> values;
        for (int v = 0; v < rows; ++v) {
            const std::string name = "x" + std::to_string(v);
            vars_.push_back(tm_.make_constant(tm_.make_symbol(name, tm_.get_real_type())));
            values.push_back(below(201) - 100);
            const int small = below(1000);
            factors.push_back(big_variables ? huge + QNumber(small) : QNumber(1 + small % 3));
        }
        const QNumber unit = big_variables ? huge : QNumber(1);
        for (int r = 0; r < rows; ++r) {
            const QNumber factor =
                coeffs == Coeffs::SCALED ? huge + QNumber(below(1000)) : QNumber(1);
            Form form;
            for (int i = 0; i < terms; ++i) {
                const size_t v = static_cast<size_t>((r + i) % rows);
                const QNumber c = factor * factors[v];
                form.terms.push_back({static_cast<int>(v), c});
                form.value += c * QNumber(values[v]);
                const Term_* t = tm_.make_times(tm_.make_number(c), vars_[v]);
                form.sum = form.sum ? tm_.make_plus(form.sum, t) : t;
            }
            form.unit = factor * unit;
            forms_.push_back(std::move(form));
        }
        for (int round = 0; round < ROUNDS; ++round) {
            tell_round(round);
        }
        // never pushed; without a bound the row or the variable would be eliminated
        const QNumber far = unit * QNumber(1000000000);
        for (int r = 0; r < rows; ++r) {
            const Form& form = forms_[static_cast<size_t>(r)];
            tell(tm_.make_leq(form.sum, tm_.make_number(form.unit * far)));
            tell(tm_.make_leq(vars_[static_cast<size_t>(r)], tm_.make_number(far)));
        }
    }

    /// Pushes all bounds of a round with a check after every eighth, and pops them. Returns whether
    /// they can be met.
    bool run(int round)
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
        return ok;
    }

    void write(const std::string& path) const
    {
        std::ofstream out(path);
        out << "(set-logic QF_LRA)\n";
        for (int v = 0; v < rows_; ++v) {
            out << "(declare-const x" << v << " Real)\n";
        }
        for (int round : {0, ROUNDS - 1}) {
            out << "(push 1)\n";
            for (int i = 0; i < 2 * bounded_; ++i) {
                const Bound& b = bounds_[static_cast<size_t>(round * 2 * bounded_ + i)];
                out << "(assert (" << (b.is_lower ? ">=" : "<=") << " (+";
                for (const VarCoeff& t : forms_[static_cast<size_t>(b.row)].terms) {
                    out << " (* " << t.coeff.to_str() << " x" << t.var << ")";
                }
                out << ") "
                    << (b.value.is_neg() ? "(- " + b.value.neg().to_str() + ")" : b.value.to_str())
                    << "))\n";
            }
            out << "(check-sat)\n(pop 1)\n";
        }
    }

    const Solver& solver() const { return solver_; }
    size_t num_pushes() const { return num_pushes_; }

private:
    struct Form {
        std::vector<VarCoeff> terms; // variables from 0
        const Term_* sum = nullptr;
        QNumber value; // in the hidden solution
        QNumber unit;  // what its values and bounds are multiples of, about
    };
    struct Bound {
        int row;
        bool is_lower;
        QNumber value;
    };

    int below(int n) { return static_cast<int>(rng_() % static_cast<unsigned>(n)); }

    void tell(const Term_* atom)
    {
        LinearTerm lt;
        mapper_.make_linear(atom, &lt);
        constraints_.tell_constraint(mapper_.new_constraint(tlit_Undef), lt);
    }

    void tell_bound(int row, bool is_lower, const QNumber& value)
    {
        bounds_.push_back({row, is_lower, value});
        const Term_* sum = forms_[static_cast<size_t>(row)].sum;
        const Term_* number = tm_.make_number(value);
        tell(is_lower ? tm_.make_leq(number, sum) : tm_.make_leq(sum, number));
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
            const Form& form = forms_[static_cast<size_t>(r)];
            const QNumber center = form.value + QNumber(below(9) * shift) * form.unit;
            const QNumber width = QNumber(1 + below(20)) * form.unit;
            tell_bound(r, true, center - width);
            tell_bound(r, false, center + width);
        }
    }

    std::mt19937 rng_;
    int rows_;
    int bounded_; // rows with bounds in a round
    TermManager tm_;
    LinearTermMapper mapper_{&tm_};
    Solver solver_;
    ConstraintMapper constraints_{&mapper_, &solver_};
    std::vector<const Term_*> vars_;
    std::vector<Form> forms_;
    std::vector<Bound> bounds_; // of the rounds, as constraints from 1
    size_t num_pushes_ = 0;
};

const char* name_of(Coeffs coeffs)
{
    constexpr std::array<const char*, 3> names = {"small", "scaled", "coprime"};
    return names[static_cast<size_t>(coeffs)];
}

/// The lines "sat" and "unsat" that a command prints, or "failed".
std::string answers_of(const std::string& command)
{
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) {
        return "failed";
    }
    std::string text;
    std::array<char, 256> buffer;
    while (std::fgets(buffer.data(), buffer.size(), pipe)) {
        text += buffer.data();
    }
    return pclose(pipe) == 0 ? text : "failed";
}

struct Options {
    std::vector<int> sizes;
    std::string smt2;
    std::string solver;
    double seconds = 2;
};

/// Writes a system as a script and compares with another solver, if there is one.
void compare(const Options& o, int rows, bool dense, Coeffs coeffs)
{
    if (o.smt2.empty()) {
        return;
    }
    System system(rows, dense, coeffs, 1);
    const std::string path = o.smt2 + "/" + (dense ? "dense_" : "sparse_") + name_of(coeffs) + "_" +
                             std::to_string(rows) + ".smt2";
    system.write(path);
    if (o.solver.empty()) {
        return;
    }
    const double start = now();
    std::string answers;
    for (int round : {0, System::ROUNDS - 1}) {
        answers += system.run(round) ? "sat\n" : "unsat\n";
    }
    const double own = now() - start;
    const double before = children_time();
    const std::string others = answers_of(o.solver + " " + path);
    std::printf(" %8.3f %8.3f%s", own, children_time() - before,
                others == answers ? "" : " OTHER ANSWERS");
}

/// Prints one line. Returns the microseconds per pivot.
/// small  the same of the small system, 0 for that itself
double measure(const Options& o, int rows, bool dense, Coeffs coeffs, double small)
{
    System system(rows, dense, coeffs, 1);
    for (int round = 0; round < System::ROUNDS; ++round) {
        system.run(round);
    }
    const size_t pivots0 = system.solver().stats().pivots;
    const size_t pushes0 = system.num_pushes();
    const size_t allocs0 = num_allocations;
    const double start = now();
    double used = 0;
    for (int round = 0; used < o.seconds || round < System::ROUNDS; ++round) {
        system.run(round);
        used = now() - start;
    }
    const size_t allocs = num_allocations - allocs0;
    const auto pivots = static_cast<double>(system.solver().stats().pivots - pivots0);
    const auto pushes = static_cast<double>(system.num_pushes() - pushes0);
    const double per_pivot = 1e6 * used / std::max(1.0, pivots);
    std::printf("%-7s %-8s %5d %8.0f %9.0f %8.2f %8s %12.4f %8.2f", dense ? "dense" : "sparse",
                name_of(coeffs), rows, pivots, pivots / used, 1e6 * used / pushes,
                system.solver().get_stats()[2].second.substr(0, 6).c_str(),
                static_cast<double>(allocs) / std::max(1.0, pivots),
                small > 0 ? per_pivot / small : 1.0);
    compare(o, rows, dense, coeffs);
    std::printf("\n");
    std::fflush(stdout);
    return per_pivot;
}

} // namespace

int main(int argc, char** argv)
{
    Options o;
    for (int i = 1; i < argc; i += 2) {
        const bool has_value = i + 1 < argc;
        if (has_value && std::strcmp(argv[i], "--rows") == 0) {
            o.sizes.push_back(std::atoi(argv[i + 1]));
        } else if (has_value && std::strcmp(argv[i], "--smt2") == 0) {
            o.smt2 = argv[i + 1];
        } else if (has_value && std::strcmp(argv[i], "--solver") == 0) {
            o.solver = argv[i + 1];
        } else if (has_value && std::strcmp(argv[i], "--seconds") == 0) {
            o.seconds = std::atof(argv[i + 1]);
        } else {
            std::fprintf(stderr, "unknown or incomplete option: %s\n", argv[i]);
            return 2;
        }
    }
    if (!o.solver.empty() && o.smt2.empty()) {
        std::fprintf(stderr, "--solver needs --smt2\n");
        return 2;
    }
    if (o.sizes.empty()) {
        o.sizes = {100, 300, 1000, 5000};
    }
    std::printf("%-7s %-8s %5s %8s %9s %8s %8s %12s %8s%s\n", "kind", "coeffs", "rows", "pivots",
                "pivots/s", "us/push", "avg row", "allocs/pivot", "x small",
                o.solver.empty() ? "" : "    own s  other s");
    for (const bool dense : {false, true}) {
        for (int rows : o.sizes) {
            const double small = measure(o, rows, dense, Coeffs::SMALL, 0);
            measure(o, rows, dense, Coeffs::SCALED, small);
            measure(o, rows, dense, Coeffs::COPRIME, small);
        }
    }
    return 0;
}
