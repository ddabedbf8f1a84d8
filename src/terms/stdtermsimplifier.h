// StdTermSimplifier: the standard construction-time simplification, a function per symbol tag, and
// for bit-vectors the standard rewrite rules behind it. The functions themselves stand in
// termsimpl_*.cpp.
#pragma once

#include "base/hashmap.h"
#include "base/logger.h"
#include "terms/symboltags.h"
#include "terms/termsimplifications.h"

#include <array>
#include <memory>
#include <vector>

namespace tarq {

class TermManager;
class TermNormalizer;

/// Dispatches an application to the function registered for its head's tag, and then to the
/// standard rewrite rules if it is a bit-vector operator or an equality of bit-vectors.
///
/// Borrows the term manager, owns the functions. Install it with TermManager::set_simplifier: it
/// remembers terms, and a collection tells only the installed one to forget them.
class StdTermSimplifier : public TermSimplifier {
public:
    /// The simplification of one or more tags.
    class simpl_fun {
    public:
        virtual ~simpl_fun() = default;
        /// Returns the simplified application, `TermManager::do_make_term` of it when nothing
        /// applies. Must not keep `args`, and may call constructors: it holds no scratch state.
        virtual const Term_* operator()(TermManager* tm, const Symbol* symbol, TermArgs args) = 0;
    };

    /// Makes a simplifier with the standard functions registered.
    explicit StdTermSimplifier(TermManager* tm);
    ~StdTermSimplifier() override;
    StdTermSimplifier(const StdTermSimplifier&) = delete;
    StdTermSimplifier& operator=(const StdTermSimplifier&) = delete;

    /// Null for an empty `args`: a constant is interned as it stands.
    const Term_* operator()(const Symbol* symbol, TermArgs args) override;
    void forget_terms() override;

    /// Takes the ownership of `fun` and lets it serve `tag`, in place of an earlier one.
    void register_simplification(SymbolTag::tag tag, std::unique_ptr<simpl_fun> fun);
    /// logger  may be null; borrowed
    void set_logger(Logger* logger);

private:
    static constexpr size_t NUM_TAGS = static_cast<size_t>(SymbolTag::EXISTS) + 1;

    TermNormalizer& rules();

    TermManager* tm_;
    Logger* logger_ = nullptr;
    std::array<std::unique_ptr<simpl_fun>, NUM_TAGS> funs_; // by tag; null where nothing simplifies
    // The standard rules. Made for the first bit-vector: problems without any need not wait for it.
    std::unique_ptr<TermNormalizer> rules_;
};

namespace termsimpl {

/// Registers the functions of all tags that have one.
void register_standard_simplifications(TermManager* tm, StdTermSimplifier* simplifier);

} // namespace termsimpl

} // namespace tarq
