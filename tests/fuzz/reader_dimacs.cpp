// A target for libFuzzer: any bytes as a DIMACS text. Whether it is right or not, the engine that it
// was read into can solve what came before the error.
#include "base/terminationtest.h"
#include "dpll/dimacs.h"
#include "dpll/dpllsolver.h"

#include <cctype>
#include <cstdint>
#include <sstream>
#include <string>

namespace {

// Larger variables mean memory, not other paths.
constexpr size_t most_digits = 3;
constexpr int most_polls = 1000;

class Polls : public tarq::TerminationTest {
public:
    void operator()() const override
    {
        if (++polls_ > most_polls) {
            throw terminated("enough");
        }
    }

private:
    mutable int polls_ = 0;
};

bool has_long_number(const std::string& text)
{
    size_t digits = 0;
    for (char c : text) {
        digits = std::isdigit(static_cast<unsigned char>(c)) ? digits + 1 : 0;
        if (digits > most_digits) {
            return true;
        }
    }
    return false;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string text(data, data + size);
    if (has_long_number(text)) {
        return 0;
    }
    const tarq::Configuration config;
    tarq::DpllSolver solver(config.dpll, nullptr);
    Polls polls;
    solver.set_termination_test(&polls);
    std::istringstream in(text);
    try {
        tarq::dimacs::read(in, &solver);
    } catch (const tarq::dimacs::error&) {
    }
    try {
        solver.solve();
    } catch (const tarq::TerminationTest::terminated&) {
    }
    return 0;
}
