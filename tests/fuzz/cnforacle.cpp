#include "cnforacle.h"

#include "temporaryfile.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <sstream>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace tarq::fuzz {

namespace {

std::map<int, int> number_variables(const std::vector<Lits>& clauses)
{
    std::map<int, int> out;
    for (const Lits& c : clauses) {
        for (int l : c) {
            out.emplace(std::abs(l), static_cast<int>(out.size()));
        }
    }
    return out;
}

} // namespace

bool satisfiable_by_table(const std::vector<Lits>& clauses)
{
    const std::map<int, int> number = number_variables(clauses);
    const int n = static_cast<int>(number.size());
    // Row r of the table is the assignment with the bits of r; 64 rows to a word. The lowest six
    // variables have the same pattern in every word.
    const uint64_t pattern[] = {0xAAAAAAAAAAAAAAAA, 0xCCCCCCCCCCCCCCCC, 0xF0F0F0F0F0F0F0F0,
                                0xFF00FF00FF00FF00, 0xFFFF0000FFFF0000, 0xFFFFFFFF00000000};
    const uint64_t words = n > 6 ? uint64_t{1} << (n - 6) : 1;
    for (uint64_t w = 0; w < words; ++w) {
        uint64_t rows = n >= 6 ? ~uint64_t{0} : (uint64_t{1} << (1 << n)) - 1;
        for (const Lits& c : clauses) {
            uint64_t some = 0;
            for (int l : c) {
                const int v = number.at(std::abs(l));
                const uint64_t value = v < 6                     ? pattern[v]
                                       : (w >> (v - 6) & 1) != 0 ? ~uint64_t{0}
                                                                 : 0;
                some |= l > 0 ? value : ~value;
            }
            rows &= some;
            if (rows == 0) {
                break;
            }
        }
        if (rows != 0) {
            return true;
        }
    }
    return false;
}

CnfOracle::Answer CnfOracle::run_solver(const std::vector<Lits>& clauses)
{
    const std::map<int, int> number = number_variables(clauses);
    std::ostringstream text;
    text << "p cnf " << number.size() << ' ' << clauses.size() << '\n';
    for (const Lits& c : clauses) {
        for (int l : c) {
            text << (l > 0 ? "" : "-") << number.at(std::abs(l)) + 1 << ' ';
        }
        text << "0\n";
    }
    const TemporaryFile file(text.str());

    std::istringstream in(solver_);
    std::vector<std::string> words;
    for (std::string w; in >> w;) {
        words.push_back(w);
    }
    words.emplace_back(file.path());
    std::vector<char*> argv;
    for (std::string& w : words) {
        argv.push_back(w.data());
    }
    argv.push_back(nullptr);

    int status = 0;
    pid_t pid = 0;
    posix_spawn_file_actions_t quiet;
    posix_spawn_file_actions_init(&quiet);
    posix_spawn_file_actions_addopen(&quiet, 1, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&quiet, 2, "/dev/null", O_WRONLY, 0);
    if (posix_spawnp(&pid, argv[0], &quiet, nullptr, argv.data(), environ) == 0) {
        while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
        }
        ++num_runs_;
    }
    posix_spawn_file_actions_destroy(&quiet);
    const int code = WIFEXITED(status) ? WEXITSTATUS(status) : 0;
    return code == 10 ? Answer::sat : code == 20 ? Answer::unsat : Answer::unknown;
}

CnfOracle::Answer CnfOracle::decide(const std::vector<Lits>& clauses, const Lits& units)
{
    std::vector<Lits> all = clauses;
    for (int l : units) {
        all.push_back({l});
    }
    if (number_variables(all).size() <= static_cast<size_t>(table_limit)) {
        ++num_tables_;
        return satisfiable_by_table(all) ? Answer::sat : Answer::unsat;
    }
    return solver_.empty() ? Answer::unknown : run_solver(all);
}

} // namespace tarq::fuzz
