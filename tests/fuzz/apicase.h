// A sequence of calls of the exported interface as data: its text form, its random generation and
// the ways to make it smaller. Makes no calls.
#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace tarq::fuzz {

using Words = std::vector<std::string>;
using Options = std::vector<std::pair<std::string, std::string>>;

/// A call on environment number `env`. Where it makes a term or a function, `result` is the name
/// under which later calls refer to that: t1, t2, ... and f1, f2, ...
struct ApiCall {
    int env = 0;
    std::string result; // empty for none
    std::string verb;
    Words args;
};

/// Calls that refer to what is not there, because an earlier call is missing or failed, are left
/// out; so every part of a case is a case.
struct ApiCase {
    uint64_t check_seed = 1; // of the options of the environments that check the answers
    std::vector<ApiCall> calls;
};

/// One line per call; read_api_case reads it back.
std::string to_text(const ApiCase& c);
/// Throws std::runtime_error, naming the line, on text that is no case.
ApiCase read_api_case(const std::string& text);

ApiCase random_api_case(std::mt19937_64& rng);
/// Up to `most` options of the search and of the theories, without those that change what formulas
/// mean or that ask for results.
Options random_api_options(std::mt19937_64& rng, size_t most);

/// All results of removing `size` calls in a row; for size 0 of replacing a term by an argument of
/// its constructor or removing a word.
std::vector<ApiCase> smaller_cases(const ApiCase& c, int size);

} // namespace tarq::fuzz
