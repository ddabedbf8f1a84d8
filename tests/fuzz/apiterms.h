// The term constructors of the exported interface as a table, with the types they want.
#pragma once

#include <tarq.h>

#include <string>
#include <vector>

namespace tarq::fuzz {

/// A type as text: B, I, Q (rationals), R (rounding modes), U (an uninterpreted one), V8. (words),
/// F3,5. (floats), A and the codes of index and element (arrays).
using Sort = std::string;

/// Makes the type of a code, or an error handle for what is no code and what `e` refuses.
tarq_type make_type(tarq_env e, const Sort& code);
/// The code of a type; empty for one that has none.
Sort sort_of(tarq_env e, tarq_type t);
/// Whether terms of the type can stand where `expected` is.
bool fits(const Sort& s, const Sort& expected);
bool is_number(const Sort& s);
/// Bits of a word, 0 for other types.
size_t width_of(const Sort& s);
/// Bits of exponent and significand; both 0 for types that are no floats.
void format_of(const Sort& s, size_t* exp, size_t* mant);

enum class Legal { no, yes, open };

/// One constructor. A signature has a letter per argument and, after a colon, one for the result:
/// B I Q R as in codes; N a number; V words, F floats, each of one kind throughout; W any word; *
/// anything, of one kind throughout; A an array, i and e its index and element. Of results also: C
/// both words joined, 1 one bit, w the first index, x the indices as a range of bits, z the width
/// and the first index, f the format of the indices, b the bits of F.
struct Constructor {
    const char* name;
    const char* signature;
    int num_indices;
    int weight; // in random choice; 0 for what no theory here decides
    tarq_term (*make)(tarq_env e, const tarq_term* args, const size_t* indices);
};

const std::vector<Constructor>& constructors();
const Constructor* find_constructor(const std::string& name);

/// Whether the call has to work with arguments of these types.
/// bool_args  the option allow_bool_function_args
/// result     the type of its term, if it works
Legal check_types(const Constructor& c, const std::vector<Sort>& args,
                  const std::vector<size_t>& indices, bool bool_args, Sort* result);

} // namespace tarq::fuzz
