// The rewrite engine: choice of candidates, one step at a root, and the walk over a whole term.

#include "terms/termnormalizer.h"

#include "base/assertion.h"
#include "terms/termmanager.h"

namespace tarq {

namespace {

/// A rule text as a rule object.
class TextRule : public TermNormalizer::norm_fun {
public:
    explicit TextRule(const TermRule* rule) : rule_(rule) {}

    SymbolTag::tag get_applicant() const override { return rule_->get_applicant(); }
    bool operator()(TermManager* tm, const Term_* t, const Term_** out) const override
    {
        *out = rule_->apply(tm, t);
        return *out != nullptr;
    }
    std::string get_signature() const override { return rule_->get_signature(); }
    TermNormalizer::norm_group get_group() const override
    {
        return TermNormalizer::norm_group::BITVECTOR;
    }
    int child_shape(size_t i) const override { return rule_->child_shape(i); }

private:
    const TermRule* rule_;
};

/// Ends the sessions that were begun, last first, however the block is left.
class Session {
public:
    explicit Session(const std::vector<std::unique_ptr<TermNormalizer::session_fun>>& handlers)
        : handlers_(handlers)
    {
        for (const auto& h : handlers_) {
            h->begin();
        }
    }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
    ~Session()
    {
        for (auto it = handlers_.rbegin(); it != handlers_.rend(); ++it) {
            (*it)->end();
        }
    }

private:
    const std::vector<std::unique_ptr<TermNormalizer::session_fun>>& handlers_;
};

constexpr size_t NUM_GROUPS = 4;
const char* const LOG_PREFIX = "TermNormalizer - ";
constexpr size_t MAX_LOGGED = 100000; // characters of a term: written out, sharing is exponential

} // namespace

TermNormalizer::TermNormalizer(TermManager* tm)
    : tm_(tm), rules_(static_cast<size_t>(SymbolTag::EXISTS) + 1), eq_rules_(NUM_GROUPS)
{
}

TermNormalizer::~TermNormalizer() = default;

void TermNormalizer::register_rule(std::unique_ptr<norm_fun> rule)
{
    const SymbolTag::tag tag = rule->get_applicant();
    Entries& entries = tag == SymbolTag::EQ ? eq_rules_[static_cast<size_t>(rule->get_group())]
                                            : rules_[static_cast<size_t>(tag)];
    entries.push_back({{rule->child_shape(0), rule->child_shape(1)}, rule.get()});
    owned_.push_back(std::move(rule));
}

void TermNormalizer::register_rule(const TermRule* rule)
{
    register_rule(std::make_unique<TextRule>(rule));
}

void TermNormalizer::register_global_rule(std::unique_ptr<global_norm_fun> rule)
{
    global_rules_.push_back(std::move(rule));
}

void TermNormalizer::register_session_handler(std::unique_ptr<session_fun> handler)
{
    session_handlers_.push_back(std::move(handler));
}

TermNormalizer::norm_group TermNormalizer::group_of(TermManager* tm, const Term_* equality)
{
    const DataType* type = TermManager::get_type(equality->child(0));
    if (tm->is_arith_type(type)) {
        return norm_group::ARITHMETIC;
    }
    if (tm->is_bv_type(type) || tm->is_fp_type(type)) {
        return norm_group::BITVECTOR;
    }
    return tm->is_array_type(type) ? norm_group::ARRAY : norm_group::OTHER;
}

const TermNormalizer::Entries& TermNormalizer::candidates(const Term_* t) const
{
    const SymbolTag::tag tag = tm_->get_tag(t);
    return tag == SymbolTag::EQ ? eq_rules_[static_cast<size_t>(group_of(tm_, t))]
                                : rules_[static_cast<size_t>(tag)];
}

void TermNormalizer::log_step(const norm_fun& rule, const Term_* from, const Term_* to)
{
    // most terms are never shown, so their texts are made only when they are
    if (!logger_ || logger_->get_level() < 3) {
        return;
    }
    *logger_ << loglevel(3) << LOG_PREFIX << "normalizing with " << rule.get_signature();
    if (logger_->get_level() >= 4) {
        *logger_ << loglevel(4) << " :=\n"
                 << from->to_str(MAX_LOGGED) << " ===> " << to->to_str(MAX_LOGGED);
    }
    *logger_ << EndLog;
}

const Term_* TermNormalizer::normalize(const Term_* t)
{
    if (t->arity() == 0) {
        return t;
    }
    const Entries& entries = candidates(t);
    if (entries.empty()) {
        return t;
    }
    const int shape0 = ChildShape::of(tm_, t->child(0));
    const int shape1 = t->arity() > 1 ? ChildShape::of(tm_, t->child(1)) : ChildShape::ANY;
    // by index: a rule may build terms, and with them reach this table again, but never extend it
    for (const Entry& e : entries) {
        const Term_* out = nullptr;
        if (ChildShape::admits(e.shapes[0], shape0) && ChildShape::admits(e.shapes[1], shape1) &&
            (*e.rule)(tm_, t, &out) && out != t) {
            log_step(*e.rule, t, out);
            return out;
        }
    }
    return t;
}

const Term_* TermNormalizer::find_in_cache(const Term_* t) const
{
    [[maybe_unused]] size_t steps = 0;
    for (const Term_* next = cache_.find(t); next && next != t; next = cache_.find(t)) {
        t = next;
        TARQ_ASSERT(++steps <= cache_.size()); // rules that undo each other would go on for ever
    }
    return t;
}

const Term_* TermNormalizer::norm_single(const Term_* t)
{
    if (candidates(t).empty() || depth_ >= MAX_DEPTH) {
        return t;
    }
    if (cache_.contains(t)) {
        return find_in_cache(t);
    }
    struct Depth {
        int& depth;
        explicit Depth(int& d) : depth(++d) {}
        ~Depth() { --depth; }
    } guard(depth_);
    const Term_* r = normalize(t);
    if (r != t) {
        cache_.set(t, r);
    }
    return r;
}

const Term_* TermNormalizer::rebuild(const Term_* t)
{
    constexpr size_t USUAL_ARITY = 4;
    const Term_* usual[USUAL_ARITY];
    TermVector more;
    const size_t arity = t->arity();
    const Term_** args = usual;
    if (arity > USUAL_ARITY) {
        more.resize(arity);
        args = more.data();
    }
    bool changed = false;
    for (size_t i = 0; i < arity; ++i) {
        args[i] = find_in_cache(t->child(i));
        changed = changed || args[i] != t->child(i);
    }
    return changed ? tm_->make_term(t->get_symbol(), TermArgs(args, arity)) : t;
}

const Term_* TermNormalizer::apply_global_rules(const Term_* t)
{
    for (const auto& rule : global_rules_) {
        const SymbolTag::tag applicant = rule->get_applicant();
        const Term_* out = nullptr;
        if ((applicant == SymbolTag::UNKNOWN || applicant == tm_->get_tag(t)) &&
            (*rule)(tm_, t, &out) && out != t) {
            log_step(*rule, t, out);
            t = out;
        }
    }
    return t;
}

const Term_* TermNormalizer::operator()(const Term_* t)
{
    if (logger_ && logger_->get_level() >= 4) {
        *logger_ << loglevel(4) << LOG_PREFIX << "normalizing " << t->to_str(MAX_LOGGED) << EndLog;
    }
    Session session(session_handlers_);
    // what the walk makes may let a global rule fire that could not before
    for (const Term_* last = nullptr; t != last;) {
        t = apply_global_rules(t);
        walk(t);
        last = find_in_cache(t);
        t = last == t ? t : apply_global_rules(last);
    }
    if (logger_ && logger_->get_level() >= 4) {
        *logger_ << loglevel(4) << LOG_PREFIX << "done normalizing" << EndLog;
    }
    return t;
}

void TermNormalizer::walk(const Term_* t)
{
    TermVector stack;
    stack.swap(stack_); // reused, yet safe if a rule normalises on its own
    stack.clear();
    stack.push_back(t);
    while (!stack.empty()) {
        const Term_* x = stack.back();
        if (x->arity() == 0 || cache_.contains(x)) {
            stack.pop_back();
            continue;
        }
        const size_t size = stack.size();
        for (const Term_* child : x->children()) {
            if (child->arity() != 0 && !cache_.contains(child)) {
                stack.push_back(child);
            }
        }
        if (stack.size() != size) {
            continue;
        }
        const Term_* r = normalize(rebuild(x));
        cache_.set(x, r);
        if (r != x) {
            stack.push_back(r);
        }
    }
    stack_.swap(stack);
}

} // namespace tarq
