// TheoryEq and the defaults of TheorySolver.
#include "theory/theoryeq.h"

#include "base/logger.h"
#include "base/terminationtest.h"
#include "theory/theorysolver.h"

namespace tarq {

bool TheoryEq::explain(std::vector<TheoryLit>&)
{
    return false;
}

TheoryEq* TheoryEq::new_copy() const
{
    return new TheoryEq(*this);
}

void TheoryEq::destroy()
{
    delete this;
}

std::string TheoryEq::to_str() const
{
    return "Teq(= " + left->to_shallow_str() + " " + right->to_shallow_str() + ")";
}

TheorySolver::TheorySolver(TermManager* tm)
    : tm_(tm), own_logger_(std::make_unique<Logger>()), logger_(own_logger_.get())
{
}

TheorySolver::~TheorySolver() = default;

void TheorySolver::set_logger(Logger* logger)
{
    own_logger_.reset();
    logger_ = logger;
}

Logger& TheorySolver::log(int level, const char* tag)
{
    return (*logger_)(tag) << loglevel(level) << tag << " - ";
}

bool TheorySolver::is_logging(int level, const char* tag) const
{
    return logger_->enabled(level, tag);
}

void TheorySolver::poll() const
{
    if (termination_test_) {
        (*termination_test_)();
    }
}

TellAtomResult TheorySolver::tell_atom(const Term_*)
{
    return {};
}

void TheorySolver::retract_atom(const Term_* atom)
{
    throw make_error<error>("can't retract atom: ", atom->to_shallow_str());
}

void TheorySolver::get_conflict(std::vector<TheoryLit>&)
{
    throw error("can't be in conflict");
}

bool TheorySolver::get_explanation(TheoryLit, bool, std::vector<TheoryLit>&)
{
    throw error("can't explain");
}

LemmaInfo TheorySolver::get_lemma(std::vector<TheoryLit>&)
{
    throw error("can't generate lemmas");
}

void TheorySolver::retract_lemma(void*)
{
    throw error("can't retract lemmas");
}

void TheorySolver::build_abstract_model()
{
    throw error("can't build abstract model");
}

lbool TheorySolver::equal_in_model(const Term_* a, const Term_* b)
{
    throw make_error<error>("can't check equality of ", a->to_shallow_str(), " and ",
                            b->to_shallow_str());
}

bool TheorySolver::is_alien(const Term_*)
{
    throw error("can't detect alien terms");
}

} // namespace tarq
