// The SAT engine on a DIMACS file without anything around it, for measuring:
//     sat_driver FILE.cnf [NAME=VALUE ...]
// NAME is a library option, or `field.F` for a field F of the engine's record that has no option.
// Answers with "s" and "v" lines and the exit status of SAT competitions; figures go to the
// standard error output as "name value" lines.
#include "base/configurationsetter.h"
#include "dpll/dimacs.h"
#include "dpll/dpllsolver.h"

#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>
#include <sys/resource.h>

using namespace std::string_literals;

namespace {

double cpu_seconds()
{
    rusage u{};
    getrusage(RUSAGE_SELF, &u);
    return static_cast<double>(u.ru_utime.tv_sec + u.ru_stime.tv_sec) +
           1e-6 * static_cast<double>(u.ru_utime.tv_usec + u.ru_stime.tv_usec);
}

/// From the kernel's account of this program alone: ru_maxrss would count the launcher before exec.
uint64_t peak_kib()
{
    std::ifstream in("/proc/self/status");
    for (std::string word; in >> word;) {
        if (word == "VmHWM:") {
            uint64_t n = 0;
            in >> n;
            return n;
        }
    }
    return 0;
}

void set_value(bool& field, const std::string& v)
{
    field = v == "true";
}
void set_value(int& field, const std::string& v)
{
    field = std::stoi(v);
}
void set_value(double& field, const std::string& v)
{
    field = std::stod(v);
}

bool set_field(tarq::Configuration::Dpll& config, const std::string& name, const std::string& value)
{
#define OPT_DPLL(field, ...)                                                                       \
    if (name == #field) {                                                                          \
        set_value(config.field, value);                                                            \
        return true;                                                                               \
    }
#include "base/options.def"
    return false;
}

void print_model(const tarq::DpllSolver& solver, int num_vars)
{
    std::string line = "v";
    for (int var = 0; var <= num_vars; ++var) {
        const std::string word = var == num_vars ? "0"s
                                 : solver.get_model_value(var).is_false()
                                     ? "-" + std::to_string(var + 1)
                                     : std::to_string(var + 1);
        if (line.size() + 1 + word.size() > 78) {
            std::puts(line.c_str());
            line = "v";
        }
        line += " " + word;
    }
    std::puts(line.c_str());
}

int run(int argc, char** argv)
{
    tarq::ConfigurationSetter setter;
    setter.initialize_options();
    tarq::Configuration config;
    std::vector<std::pair<std::string, std::string>> fields;
    for (int i = 2; i < argc; ++i) {
        const std::string arg = argv[i];
        const size_t eq = arg.find('=');
        if (eq == std::string::npos) {
            throw tarq::Exception("expected NAME=VALUE: " + arg);
        }
        const std::string name = arg.substr(0, eq);
        const std::string value = arg.substr(eq + 1);
        if (name.rfind("field.", 0) == 0) {
            fields.emplace_back(name.substr(6), value);
        } else {
            setter.set_option(name, value);
        }
    }
    setter.update_config(&config);
    for (const auto& [name, value] : fields) {
        if (!set_field(config.dpll, name, value)) {
            throw tarq::Exception("no such field: " + name);
        }
    }
    std::ifstream in(argv[1], std::ios::binary);
    if (!in) {
        throw tarq::Exception("can't read "s + argv[1]);
    }
    tarq::DpllSolver solver(config.dpll, nullptr);
    const tarq::dimacs::Summary summary = tarq::dimacs::read(in, &solver);
    const double read_time = cpu_seconds();
    const bool sat = solver.solve();
    const double total = cpu_seconds();
    std::puts(sat ? "s SATISFIABLE" : "s UNSATISFIABLE");
    if (sat) {
        print_model(solver, summary.num_vars);
    }
    const tarq::DpllSolver::Stats& s = solver.get_stats();
    const auto count = [](const char* name, uint64_t n) {
        std::fprintf(stderr, "%-16s %llu\n", name, static_cast<unsigned long long>(n));
    };
    count("restarts", s.restarts);
    count("conflicts", s.conflicts);
    count("decisions", s.decisions);
    count("propagations", s.propagations);
    count("visits", s.watched_clauses_visited);
    count("binary-visits", s.binary_watched_clauses_visited);
    count("reductions", s.reductions);
    count("learnts", solver.num_learnts());
    count("learnt-before", s.max_literals);
    count("learnt-after", s.tot_literals);
    std::fprintf(stderr, "%-16s %.3f\n", "read-seconds", read_time);
    std::fprintf(stderr, "%-16s %.3f\n", "seconds", total);
    std::fprintf(stderr, "%-16s %.0f\n", "props-per-second",
                 static_cast<double>(s.propagations) / std::max(total - read_time, 1e-6));
    count("peak-kib", peak_kib());
    return sat ? 10 : 20;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 2) {
        std::fprintf(stderr, "usage: sat_driver FILE.cnf [NAME=VALUE ...]\n");
        return 1;
    }
    try {
        return run(argc, argv);
    } catch (const tarq::Exception& e) {
        std::fprintf(stderr, "error: %s\n", e.what());
        return 1;
    }
}
