// When and how the terms go that no command can reach any more.
#include "scriptinterpreter.h"

#include <algorithm>

namespace tarq::tool {

namespace {

/// The roots besides the assertions.
class Roots : public Environment::gc_hook {
public:
    Roots(const SmtLib2BaseParser& parser, const std::vector<const Symbol*>& declared)
        : parser_(parser), declared_(declared)
    {
    }
    void operator()(TermVector& terms, std::vector<const Symbol*>& symbols,
                    TypeVector& types) override
    {
        parser_.get_roots(&terms, &types);
        symbols.insert(symbols.end(), declared_.begin(), declared_.end());
    }

private:
    const SmtLib2BaseParser& parser_;
    const std::vector<const Symbol*>& declared_;
};

} // namespace

/// What the search has done, on the scale of terms: about this many are made and encoded in the time
/// of its conflicts.
uint64_t ScriptInterpreter::work_since_collection()
{
    const uint64_t work = 8 * env_->get_raw_stats().sat_conflicts;
    work_at_collection_ = std::min(work_at_collection_, work); // a reset starts the count anew
    return work - work_at_collection_;
}

/// Remembers what the first check after a collection took.
void ScriptInterpreter::note_base()
{
    if (!has_base_) {
        has_base_ = true;
        base_terms_ = get_term_manager()->get_bank().size();
        base_work_ = work_since_collection();
    }
}

/// Frees the terms that no command can reach, if it is time to. Between commands, with no check to
/// ask about: what named terms and definitions mean and the assertions are all that is kept.
///
/// The solvers start over from the assertions after that, so it waits until terms and search have
/// come to several times what the assertions took, and longer where the search is most of the work:
/// what it has learned is worth more there. That bounds its share in the run, and the terms by a
/// multiple of those in use. Times would tell as well, but runs could differ.
void ScriptInterpreter::collect_terms()
{
    const size_t terms = get_term_manager()->get_bank().size();
    const size_t fresh = terms - std::min(terms, base_terms_);
    const uint64_t search = work_since_collection();
    const size_t patience = search > fresh ? 8 : 1;
    if (options_->collect > 0 && (fresh < patience * std::max(options_->collect, 2 * base_terms_) ||
                                  fresh + search < 4 * base_work_)) {
        return;
    }
    Roots roots(*this, declared_);
    env_->gc(TermSet(), roots);
    forget_unused_names();
    has_base_ = false;
    base_terms_ = get_term_manager()->get_bank().size();
    base_work_ = 0;
    work_at_collection_ += work_since_collection();
}

} // namespace tarq::tool
