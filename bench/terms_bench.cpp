// What building terms costs: random binary Boolean terms over 1,000 constants, each made once (a
// new node) and then once more (a hit of the table), at sizes from 50,000 to 5,000,000. Children
// are drawn from all terms so far, so nearly every access is to a random place: the worst case. The
// list they are drawn from is fetched ahead and lies in large pages: a caller has its terms at hand,
// and the wait for this program's own list would hide what is measured.
//
// Usage: terms_bench [--json] [MAX_TERMS]
#include "random.h"
#include "terms/stdtermsimplifier.h"
#include "terms/termarena.h"
#include "terms/termmanager.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace tarq;

constexpr size_t NUM_CONSTANTS = 1000;
constexpr size_t AHEAD = 16; // draws between the choice of an operand and its use

struct Mode {
    const char* name;
    bool simplify;
    bool typecheck;
};

struct Result {
    double build_ns;    // per constructor call that makes the term
    double hit_ns;      // per call that finds it
    double cell_bytes;  // per term, without the buckets
    double table_bytes; // per term, the buckets alone
    size_t terms;
};

class Run {
public:
    Run(size_t num_terms, const Mode& mode) : num_terms_(num_terms), simplifier_(&tm_)
    {
        tm_.set_typecheck(mode.typecheck);
        tm_.set_simplify(mode.simplify);
        tm_.set_simplifier(&simplifier_);
        pool_.reserve(num_terms + NUM_CONSTANTS);
        prefer_large_pages(pool_.data(), pool_.capacity() * sizeof(const Term_*));
        for (size_t i = 0; i < NUM_CONSTANTS; ++i) {
            const std::string name = "c" + std::to_string(i);
            pool_.push_back(tm_.make_constant(tm_.make_symbol(name, tm_.get_bool_type())));
        }
    }

    Result measure()
    {
        const size_t before = tm_.get_bank().size();
        const double build = timed([this](size_t, const Term_* t) { pool_.push_back(t); });
        const double hit = timed([this](size_t i, const Term_* t) {
            if (t != pool_[NUM_CONSTANTS + i]) {
                std::fprintf(stderr, "a term was made twice\n");
                std::abort();
            }
        });
        const TermBank& bank = tm_.get_bank();
        const double n = static_cast<double>(num_terms_);
        const double size = static_cast<double>(bank.size());
        return {build / n, hit / n, static_cast<double>(bank.cell_bytes()) / size,
                static_cast<double>(bank.bucket_bytes()) / size, bank.size() - before};
    }

private:
    /// Makes the sequence of terms, hands each to `use`, and gives the nanoseconds.
    template <class Use>
    double timed(Use use)
    {
        Random random(12345);
        struct Draw {
            size_t left, right, kind;
        };
        std::array<Draw, AHEAD> draws;
        const auto draw = [&](size_t i) {
            const size_t n = NUM_CONSTANTS + (i < AHEAD ? 0 : i - AHEAD);
            Draw& d = draws[i % AHEAD];
            d = {random.below(n), random.below(n), random.below(3)};
            __builtin_prefetch(pool_.data() + d.left);
            __builtin_prefetch(pool_.data() + d.right);
        };
        const std::clock_t start = std::clock();
        for (size_t i = 0; i < AHEAD; ++i) {
            draw(i);
        }
        for (size_t i = 0; i < num_terms_; ++i) {
            const Draw d = draws[i % AHEAD];
            const Term_* a = pool_[d.left];
            const Term_* b = pool_[d.right];
            draw(i + AHEAD);
            switch (d.kind) {
            case 0:
                use(i, tm_.make_and(a, b));
                break;
            case 1:
                use(i, tm_.make_or(a, b));
                break;
            default:
                use(i, tm_.make_iff(a, b));
                break;
            }
        }
        return static_cast<double>(std::clock() - start) * (1e9 / CLOCKS_PER_SEC);
    }

    size_t num_terms_;
    TermManager tm_;
    StdTermSimplifier simplifier_;
    std::vector<const Term_*> pool_;
};

/// One measurement in a process of its own: memory comes fresh from the system at every size, as it
/// does in a program that builds its terms once.
Result measure_alone(size_t num_terms, const Mode& mode)
{
    int ends[2];
    if (pipe(ends) != 0) {
        std::perror("pipe");
        std::exit(1);
    }
    const pid_t child = fork();
    if (child == 0) {
        const Result r = Run(num_terms, mode).measure();
        const bool sent = write(ends[1], &r, sizeof r) == static_cast<ssize_t>(sizeof r);
        _exit(sent ? 0 : 1);
    }
    Result r{};
    const bool received =
        child > 0 && read(ends[0], &r, sizeof r) == static_cast<ssize_t>(sizeof r);
    close(ends[0]);
    close(ends[1]);
    waitpid(child, nullptr, 0);
    if (!received) {
        std::fputs("a measurement failed\n", stderr);
        std::exit(1);
    }
    return r;
}

/// The fastest of several measurements: what else runs on the machine only adds.
Result measure(size_t num_terms, const Mode& mode)
{
    const size_t repetitions = num_terms <= 50000 ? 41 : num_terms <= 500000 ? 15 : 9;
    Result best = measure_alone(num_terms, mode);
    for (size_t i = 1; i < repetitions; ++i) {
        const Result r = measure_alone(num_terms, mode);
        best.build_ns = std::min(best.build_ns, r.build_ns);
        best.hit_ns = std::min(best.hit_ns, r.hit_ns);
    }
    return best;
}

} // namespace

int main(int argc, char** argv)
{
    bool json = false;
    size_t max_terms = 5000000;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--json") == 0) {
            json = true;
        } else {
            max_terms = std::strtoull(argv[i], nullptr, 10);
        }
    }
    const Mode modes[] = {
        {"plain", false, false}, {"typecheck", false, true}, {"typecheck+simplify", true, true}};
    if (!json) {
        std::printf("%-20s %9s %10s %10s %10s %10s %10s\n", "mode", "calls", "new terms",
                    "build ns", "hit ns", "bytes/term", "+buckets");
    }
    for (const Mode& mode : modes) {
        for (size_t n : {50000u, 500000u, 5000000u}) {
            if (n > max_terms) {
                continue;
            }
            const Result r = measure(n, mode);
            std::printf(json ? "{\"mode\": \"%s\", \"calls\": %zu, \"terms\": %zu, \"build_ns\": "
                               "%.1f, \"hit_ns\": %.1f, \"cell_bytes\": %.1f, \"bucket_bytes\": "
                               "%.1f}\n"
                             : "%-20s %9zu %10zu %10.1f %10.1f %10.1f %10.1f\n",
                        mode.name, n, r.terms, r.build_ns, r.hit_ns, r.cell_bytes, r.table_bytes);
        }
    }
    return 0;
}
