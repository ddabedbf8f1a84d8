#include "encoding/symmetrybreaker.h"

#include "base/terminationtest.h"

#include <algorithm>
#include <set>

namespace tarq {

namespace {

constexpr size_t MAX_STEPS = 10'000'000;
constexpr size_t POLL_INTERVAL = 1 << 16; // in steps

} // namespace

size_t SymmetryBreaker::Key::hash() const
{
    size_t h = parts.size();
    for (uint32_t p : parts) {
        h = (h ^ p) * size_t{0x9e3779b97f4a7c15};
        h ^= h >> 32;
    }
    return h;
}

/// False when the steps are used up.
bool SymmetryBreaker::spend(size_t steps)
{
    if (termination_test_ && steps_ / POLL_INTERVAL != (steps_ + steps) / POLL_INTERVAL) {
        (*termination_test_)();
    }
    steps_ += steps;
    return steps_ <= MAX_STEPS;
}

const Term_* SymmetryBreaker::operator()(TermArgs formulas)
{
    if (!add_conjuncts(formulas)) {
        return tm_->make_true();
    }
    find_covers();
    if (covers_.empty()) {
        return tm_->make_true();
    }
    number_nodes();
    used_.assign(nodes_.size(), 0);
    std::set<Indices> seen;
    for (size_t i = 0; i < covers_.size() && spend(0); ++i) {
        if (!seen.insert(covers_[i].values).second) {
            continue;
        }
        for (const Indices& c : get_classes(covers_[i].values)) {
            // What was added is not symmetric in the constants that it mentions.
            if (c.size() > 1 &&
                std::none_of(c.begin(), c.end(), [&](Index x) { return used_[x]; })) {
                break_class(c);
            }
        }
    }
    const Term_* result = tm_->make_true();
    for (const Term_* f : found_) {
        result = tm_->make_and(result, f);
    }
    return result;
}

// The terms

bool SymmetryBreaker::add_conjuncts(TermArgs formulas)
{
    TermVector conjuncts;
    for (const Term_* f : formulas) {
        steps_ += nests_.add_conjuncts(f, conjuncts);
    }
    for (const Term_* c : conjuncts) {
        if (!add_nodes(c)) {
            return false;
        }
        nodes_[index_of_[c]].is_conjunct = true;
    }
    return true;
}

bool SymmetryBreaker::add_nodes(const Term_* root)
{
    TermVector stack{root};
    TermVector arguments;
    while (!stack.empty()) {
        const Term_* t = stack.back();
        if (index_of_.contains(t)) {
            stack.pop_back();
            continue;
        }
        arguments.clear();
        if (is_nest(t)) {
            steps_ += nests_.add_arguments(t, arguments);
        } else {
            arguments.assign(t->children().begin(), t->children().end());
        }
        if (!spend(arguments.size() + 1)) {
            return false;
        }
        const size_t size = stack.size();
        for (size_t i = arguments.size(); i-- > 0;) {
            if (!index_of_.contains(arguments[i])) {
                stack.push_back(arguments[i]);
            }
        }
        if (stack.size() == size) {
            index_of_[t] = add_node(t, arguments);
            stack.pop_back();
        }
    }
    return true;
}

SymmetryBreaker::Index SymmetryBreaker::add_node(const Term_* t, const TermVector& arguments)
{
    Node node{t, static_cast<Index>(arguments_.size()), 0, 0, false};
    for (const Term_* a : arguments) {
        const Index i = index_of_[a];
        ++nodes_[i].count;
        arguments_.push_back(i);
    }
    node.end = static_cast<Index>(arguments_.size());
    nodes_.push_back(node);
    return static_cast<Index>(nodes_.size() - 1);
}

/// The symbol and the numbers of the arguments, in order where their order does not matter.
void SymmetryBreaker::make_key(const Node& node, const std::vector<uint32_t>& ids, Key* key) const
{
    key->parts.clear();
    key->parts.push_back(static_cast<uint32_t>(node.term->get_symbol()->get_id()));
    for (Index i = node.begin; i < node.end; ++i) {
        key->parts.push_back(ids[arguments_[i]]);
    }
    if (is_nest(node.term) || tm_->is_equal(node.term) || tm_->is_iff(node.term)) {
        std::sort(key->parts.begin() + 1, key->parts.end());
    }
}

void SymmetryBreaker::number_nodes()
{
    Key key;
    number_.assign(nodes_.size(), 0);
    for (Index i = 0; i < nodes_.size(); ++i) {
        make_key(nodes_[i], number_, &key);
        number_[i] = numbers_.insert({key, static_cast<uint32_t>(numbers_.size())}).first->second;
    }
    is_conjunct_number_.assign(numbers_.size(), 0);
    for (Index i = 0; i < nodes_.size(); ++i) {
        if (nodes_[i].is_conjunct) {
            is_conjunct_number_[number_[i]] = 1;
        }
    }
    image_ = number_;
}

// Symmetries

void SymmetryBreaker::find_covers()
{
    for (const Node& d : nodes_) {
        if (!d.is_conjunct || !tm_->is_or(d.term)) {
            continue;
        }
        const Term_* first = nodes_[arguments_[d.begin]].term;
        Cover cover;
        if (tm_->is_equal(first) &&
            (get_cover(d, first->child(0), &cover) || get_cover(d, first->child(1), &cover))) {
            covers_.push_back(std::move(cover));
        }
    }
}

bool SymmetryBreaker::get_cover(const Node& disjunction, const Term_* term, Cover* cover) const
{
    const auto index = [this](const Term_* t) { return index_of_.find(t)->second; };
    cover->term = index(term);
    cover->values.clear();
    for (Index i = disjunction.begin; i < disjunction.end; ++i) {
        const Term_* e = nodes_[arguments_[i]].term;
        if (!tm_->is_equal(e) || (e->child(0) != term && e->child(1) != term)) {
            return false;
        }
        const Term_* value = e->child(e->child(0) == term ? 1 : 0);
        if (!tm_->is_constant(value)) {
            return false;
        }
        cover->values.push_back(index(value));
    }
    std::sort(cover->values.begin(), cover->values.end());
    return true;
}

/// Splits constants into sets within which each pair can be exchanged.
std::vector<SymmetryBreaker::Indices> SymmetryBreaker::get_classes(const Indices& constants)
{
    std::vector<Indices> classes;
    for (Index c : constants) {
        const auto home = std::find_if(classes.begin(), classes.end(), [&](const Indices& k) {
            return is_symmetric(k.front(), c);
        });
        if (home != classes.end()) {
            home->push_back(c);
        } else {
            classes.push_back({c});
        }
    }
    return classes;
}

/// Whether the conjunction stays the same when two constants change places. A permutation of
/// symbols is injective on terms, so it is enough that each image of a conjunct is a conjunct.
bool SymmetryBreaker::is_symmetric(Index a, Index b)
{
    if (nodes_[a].count != nodes_[b].count ||
        TermManager::get_type(nodes_[a].term) != TermManager::get_type(nodes_[b].term)) {
        return false;
    }
    Key key;
    bool same = true;
    Indices changed{a, b};
    image_[a] = number_[b];
    image_[b] = number_[a];
    for (Index i = std::min(a, b) + 1; i < nodes_.size() && same; ++i) {
        const Node& node = nodes_[i];
        same = spend(node.end - node.begin + 1);
        const auto moves = [this](Index x) { return image_[x] != number_[x]; };
        if (std::none_of(arguments_.begin() + node.begin, arguments_.begin() + node.end, moves)) {
            continue;
        }
        make_key(node, image_, &key);
        const auto known = numbers_.find(key);
        if (known == numbers_.end() || (node.is_conjunct && !is_conjunct_number_[known->second])) {
            same = false;
        } else if (known->second != number_[i]) {
            image_[i] = known->second;
            changed.push_back(i);
        }
    }
    for (Index i : changed) {
        image_[i] = number_[i];
    }
    return same;
}

/// The nodes at or below `root` that are wanted.
SymmetryBreaker::Indices SymmetryBreaker::get_parts(Index root, const std::vector<char>& wanted)
{
    Indices parts;
    Indices stack{root};
    hsh::HashMap<Index, bool> seen;
    while (!stack.empty()) {
        const Index i = stack.back();
        stack.pop_back();
        if (!seen.insert({i, true}).second || !spend(1)) {
            continue;
        }
        if (wanted[i]) {
            parts.push_back(i);
        }
        stack.insert(stack.end(), arguments_.begin() + nodes_[i].begin,
                     arguments_.begin() + nodes_[i].end);
    }
    std::sort(parts.begin(), parts.end());
    return parts;
}

/// Terms that bring the fewest constants into play go first, since a term can have the more
/// values the later it comes; of these, the ones with the most occurrences.
void SymmetryBreaker::break_class(const Indices& constants)
{
    struct Candidate {
        const Cover* cover;
        Indices parts; // constants of the class in the term
        bool done;
    };
    std::vector<char> in_class(nodes_.size(), 0);
    for (Index c : constants) {
        in_class[c] = 1;
    }
    std::vector<Candidate> candidates;
    for (const Cover& c : covers_) {
        if (std::includes(c.values.begin(), c.values.end(), constants.begin(), constants.end())) {
            candidates.push_back({&c, get_parts(c.term, in_class), false});
        }
    }
    std::vector<char> played(nodes_.size(), 0); // constants of the class that terms can be told by
    size_t num_played = 0;
    const auto play = [&](Index c) {
        num_played += !played[c];
        played[c] = 1;
    };
    while (num_played + 1 < constants.size() && spend(nodes_.size())) {
        Candidate* best = nullptr;
        size_t best_new = 0;
        for (Candidate& c : candidates) {
            const size_t fresh = static_cast<size_t>(
                std::count_if(c.parts.begin(), c.parts.end(), [&](Index i) { return !played[i]; }));
            spend(c.parts.size() + 1);
            if (!c.done && (!best || fresh < best_new ||
                            (fresh == best_new &&
                             nodes_[c.cover->term].count > nodes_[best->cover->term].count))) {
                best = &c;
                best_new = fresh;
            }
        }
        if (!best) {
            return;
        }
        best->done = true;
        std::for_each(best->parts.begin(), best->parts.end(), play);
        const auto next =
            std::find_if(constants.begin(), constants.end(), [&](Index c) { return !played[c]; });
        if (next == constants.end()) {
            return;
        }
        play(*next);
        if (num_played < constants.size()) {
            std::vector<char> allowed = played;
            for (Index v : best->cover->values) {
                allowed[v] |= !in_class[v];
            }
            restrict_term(*best->cover, allowed);
        }
    }
}

void SymmetryBreaker::restrict_term(const Cover& cover, const std::vector<char>& allowed)
{
    const Term_* clause = tm_->make_false();
    for (Index v : cover.values) {
        if (allowed[v]) {
            clause = tm_->make_or(clause, tm_->make_equal(nodes_[cover.term].term, nodes_[v].term));
        }
        used_[v] = 1;
    }
    found_.push_back(clause);
    const std::vector<char> all(nodes_.size(), 1);
    for (Index i : get_parts(cover.term, all)) {
        used_[i] = 1;
    }
}

} // namespace tarq
