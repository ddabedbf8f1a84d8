#include "apicase.h"

#include "apiterms.h"

#include <algorithm>
#include <map>
#include <sstream>
#include <stdexcept>

namespace tarq::fuzz {

// Text

std::string to_text(const ApiCase& c)
{
    std::ostringstream out;
    out << "check " << c.check_seed << '\n';
    for (const ApiCall& call : c.calls) {
        out << call.env << ' ';
        if (!call.result.empty()) {
            out << call.result << " = ";
        }
        out << call.verb;
        for (const std::string& a : call.args) {
            out << ' ' << a;
        }
        out << '\n';
    }
    return out.str();
}

ApiCase read_api_case(const std::string& text)
{
    ApiCase c;
    std::istringstream lines(text);
    int number = 0;
    for (std::string line; std::getline(lines, line);) {
        ++number;
        std::istringstream in(line);
        Words words;
        for (std::string w; in >> w;) {
            words.push_back(w);
        }
        if (words.empty() || words[0][0] == '#') {
            continue;
        }
        try {
            if (words.size() == 2 && words[0] == "check") {
                c.check_seed = std::stoull(words[1]);
                continue;
            }
            ApiCall call;
            call.env = std::stoi(words.at(0));
            size_t at = 1;
            if (words.size() > 3 && words[2] == "=") {
                call.result = words[1];
                at = 3;
            }
            call.verb = words.at(at);
            call.args.assign(words.begin() + static_cast<ptrdiff_t>(at) + 1, words.end());
            c.calls.push_back(call);
        } catch (const std::logic_error&) {
            throw std::runtime_error("line " + std::to_string(number) + " is no call: " + line);
        }
    }
    return c;
}

// Options

namespace {

struct Range {
    double low, high;
};
struct OptionRow {
    std::string name;
    char type;
    Range range;
};

std::vector<OptionRow> list_options()
{
    constexpr double huge = 1e9;
    [[maybe_unused]] constexpr Range ANY{0, huge}, NON_ZERO{1, huge};
    const auto RANGE = [](double low, double high) { return Range{low, high}; };
    const auto AT_LEAST = [](double low) { return Range{low, huge}; };
    constexpr bool OPTION = true, NOT_DUMPED = true, FIELD = false;
    constexpr char BOOL = 'b', INT = 'i', FLOAT = 'f';
    std::vector<OptionRow> rows;
    const auto add = [&](bool option, const char* name, char type, Range range) {
        if (option) {
            rows.push_back({name, type, range});
        }
    };
#define OPT_PREPROCESSOR(f, type, d, range, flag, ...) add(flag, "preprocessor." #f, type, range);
#define OPT_DPLL(f, type, d, range, flag, ...) add(flag, "dpll." #f, type, range);
#define OPT_DPLL_PREPROCESSOR(f, type, d, range, flag, ...)                                        \
    add(flag, "dpll.preprocessor." #f, type, range);
#define OPT_THEORY(f, type, d, range, flag, ...) add(flag, "theory." #f, type, range);
#define OPT_LA(f, type, d, range, flag, ...) add(flag, "theory.la." #f, type, range);
#define OPT_EUF(f, type, d, range, flag, ...) add(flag, "theory.euf." #f, type, range);
#define OPT_ARR(f, type, d, range, flag, ...) add(flag, "theory.arr." #f, type, range);
#define OPT_BV(f, type, d, range, flag, ...) add(flag, "theory.bv." #f, type, range);
#define OPT_FP(f, type, d, range, flag, ...) add(flag, "theory.fp." #f, type, range);
#include "base/options.def"
    (void)NOT_DUMPED;
    // What switches theories off, changes meanings or asks for what is not there.
    std::erase_if(rows, [](const OptionRow& r) {
        for (const char* word : {"enabled", "interpol", "proof", "div_by_zero", "minmax_zero",
                                 "policy", "restart_geometric", "fp.mode", "store_tlemmas"}) {
            if (r.name.find(word) != std::string::npos && r.name != "theory.la.deduction_enabled") {
                return true;
            }
        }
        return false;
    });
    rows.push_back({"theory.fp.mode", INT, {0, 1}});
    rows.push_back({"theory.interface_eq_policy", INT, {0, 2}});
    rows.push_back({"dpll.restart_geometric_factor", FLOAT, {1.1, 3}});
    rows.push_back({"random_seed", INT, {1, huge}});
    for (const char* engine : {"theory.bv.lazydpll.", "theory.fp.dpll."}) {
        rows.push_back({engine + std::string("restart_strategy"), INT, {0, 3}});
        rows.push_back({engine + std::string("ghost_filtering"), BOOL, {0, 1}});
    }
    return rows;
}

std::string random_value(std::mt19937_64& rng, const OptionRow& row)
{
    if (row.type == 'b') {
        return rng() % 2 ? "true" : "false";
    }
    if (row.type == 'f') {
        const double share = static_cast<double>(rng() % 11) / 10;
        std::ostringstream out;
        out << row.range.low +
                   share * (std::min(row.range.high, row.range.low + 4) - row.range.low);
        return out.str();
    }
    const auto low = static_cast<uint64_t>(row.range.low);
    if (row.range.high <= 31) {
        return std::to_string(low + rng() % (static_cast<uint64_t>(row.range.high) - low + 1));
    }
    constexpr uint64_t values[] = {0, 1, 2, 3, 10, 100, 2000};
    return std::to_string(std::max(low, values[rng() % std::size(values)]));
}

} // namespace

Options random_api_options(std::mt19937_64& rng, size_t most)
{
    static const std::vector<OptionRow> rows = list_options();
    Options out;
    for (size_t n = rng() % (most + 1); n > 0; --n) {
        const OptionRow& row = rows[rng() % rows.size()];
        out.emplace_back(row.name, random_value(rng, row));
    }
    return out;
}

// Generation

namespace {

/// Draws calls and keeps in mind roughly what they lead to; what exactly, the run finds out.
class Generator {
public:
    explicit Generator(std::mt19937_64& rng) : rng_(rng) {}

    ApiCase run()
    {
        choose_world();
        case_.check_seed = rng_() % 100000;
        add_env(-1);
        const size_t length = 10 + below(50);
        while (case_.calls.size() < length + num_leaves_) {
            step();
        }
        return case_;
    }

private:
    struct Item {
        std::string name;
        Sort sort;
    };
    struct Family {
        std::vector<Item> terms;
        std::vector<std::pair<std::string, std::vector<Sort>>> functions; // the result comes last
        bool bool_args = false;
    };
    struct Env {
        size_t family;
        int depth;
    };

    size_t below(size_t n) { return rng_() % n; }
    bool chance(size_t one_in) { return below(one_in) == 0; }
    template <class T>
    const T& pick(const std::vector<T>& v)
    {
        return v[below(v.size())];
    }

    /// A few types, so that terms meet.
    void choose_world()
    {
        sorts_ = {"B"};
        std::vector<std::vector<Sort>> groups = {{"I"},   {"Q"},          {"I", "Q"},
                                                 {"U"},   {"V2.", "V3."}, {"V4."},
                                                 {"V7."}, {"F2,2.", "R"}, {"F3,4.", "R"}};
        for (size_t n = below(4); n > 0; --n) {
            for (const Sort& s : pick(groups)) {
                sorts_.push_back(s);
            }
        }
        if (sorts_.size() > 1 && chance(3)) {
            const Sort index = pick(sorts_);
            sorts_.push_back("A" + index + pick(sorts_));
        }
    }

    Family& family() { return families_[envs_[env_].family]; }

    void call(const std::string& verb, const Words& args = {}, const std::string& result = "")
    {
        case_.calls.push_back({env_, result, verb, args});
    }

    std::string fresh() { return "t" + std::to_string(++num_terms_); }

    void keep(const std::string& name, const Sort& sort) { family().terms.push_back({name, sort}); }

    /// owner  the environment to share with, -1 for a family of its own
    void add_env(int owner)
    {
        const int number = static_cast<int>(envs_.size());
        const bool is_new = owner < 0;
        const size_t f = is_new ? families_.size() : envs_[owner].family;
        if (is_new) {
            families_.emplace_back();
            families_.back().bool_args = chance(3);
        }
        envs_[number] = {f, 0};
        Words args = {chance(3) ? "text" : "set", is_new ? "own" : std::to_string(owner)};
        Options options = random_api_options(rng_, 6);
        options.emplace_back("model_generation", chance(4) ? "false" : "true");
        options.emplace_back("unsat_core_generation", std::to_string(below(3) ? 1 + below(3) : 0));
        if (options.back().second == "1") {
            options.pop_back();
        }
        if (families_[f].bool_args) {
            options.emplace_back("allow_bool_function_args", "true");
        }
        if (chance(5)) {
            options.emplace_back("theory.bv.div_by_zero_mode", "1");
        }
        if (chance(3)) {
            options.emplace_back("theory.fp.minmax_zero_mode", std::to_string(below(5)));
        }
        for (const auto& [name, value] : options) {
            args.push_back(name + "=" + value);
        }
        env_ = number;
        call("env", args);
        if (is_new) {
            declare();
        }
    }

    void declare()
    {
        const size_t before = case_.calls.size();
        for (const Sort& s : sorts_) {
            for (size_t n = s == "B" ? 3 : 1 + below(3); n > 0; --n) {
                const std::string name = fresh();
                call("const", {"c" + std::to_string(n) + s, s}, name);
                keep(name, s);
            }
            if (s != "B" && s != "R" && s[0] != 'A') {
                number(s);
            }
        }
        for (size_t n = below(3); n > 0; --n) {
            std::vector<Sort> types = {pick(sorts_), pick(sorts_)};
            if (chance(2)) {
                types.push_back(pick(sorts_));
            }
            const std::string name = "f" + std::to_string(++num_functions_);
            call("fun", Words(types.begin(), types.end()), name);
            family().functions.emplace_back(name, types);
        }
        num_leaves_ += case_.calls.size() - before;
    }

    void number(const Sort& s)
    {
        const std::string name = fresh();
        size_t exp = 0, mant = 0;
        format_of(s, &exp, &mant);
        if (s == "I" || s == "Q") {
            const std::string text = std::to_string(static_cast<long>(below(9)) - 4);
            call("number",
                 {s == "Q" && chance(2) ? text + "/" + std::to_string(1 + below(3)) : text}, name);
        } else if (s[0] == 'V') {
            call("bv_number",
                 {std::to_string(below(size_t(1) << width_of(s))), std::to_string(width_of(s))},
                 name);
        } else if (s[0] == 'F') {
            call("fp_bits",
                 {std::to_string(below(size_t(2) << (exp + mant))), std::to_string(exp),
                  std::to_string(mant)},
                 name);
        } else {
            return;
        }
        keep(name, s);
    }

    /// A term of the family, mostly a late one; of the type, or of any where that is empty.
    const Item* any_term(const Sort& type)
    {
        const std::vector<Item>& all = family().terms;
        for (int tries = 0; tries < 12 && !all.empty(); ++tries) {
            const size_t back =
                chance(2) ? below(std::min<size_t>(all.size(), 8)) : below(all.size());
            const Item& item = all[all.size() - 1 - back];
            if (type.empty() || fits(item.sort, type)) {
                return &item;
            }
        }
        return nullptr;
    }

    std::string formula()
    {
        const Item* t = any_term("B");
        return t ? t->name : "t1";
    }

    size_t random_index(const Constructor& c, size_t at)
    {
        constexpr size_t odd[] = {0, 1, 64, 100000, size_t{1} << 40, SIZE_MAX};
        if (chance(25)) {
            return odd[below(std::size(odd))];
        }
        const Sort& s = pick(sorts_);
        size_t exp = 0, mant = 0;
        format_of(s, &exp, &mant);
        if (exp > 0 && std::string(c.signature).back() == 'f') {
            return at == 0 ? exp : mant;
        }
        return s[0] == 'V' && chance(2) ? width_of(s) : below(7);
    }

    /// An application. A tenth of them do not care for types.
    void make_term()
    {
        const std::vector<Constructor>& all = constructors();
        for (int tries = 0; tries < 40; ++tries) {
            const Constructor& c = pick(all);
            const bool wild = chance(25) && tries == 0;
            if (below(20) >= static_cast<size_t>(c.weight) && !(c.weight == 0 && chance(60)) &&
                !wild) {
                continue;
            }
            std::vector<Sort> types;
            Words words;
            std::vector<size_t> indices;
            for (int i = 0; i < c.num_indices; ++i) {
                indices.push_back(random_index(c, static_cast<size_t>(i)));
                words.push_back(std::to_string(indices.back()));
            }
            bool good = true;
            for (const char* letter = c.signature; *letter != ':' && good; ++letter) {
                const Item* t =
                    any_term(*letter == 'B' || *letter == 'R' ? Sort(1, *letter) : Sort());
                good = t != nullptr;
                if (good) {
                    types.push_back(t->sort);
                    words.push_back(t->name);
                }
            }
            Sort sort;
            if (!good) {
                continue;
            }
            const bool fit =
                check_types(c, types, indices, family().bool_args, &sort) == Legal::yes;
            if (fit || wild) {
                const std::string name = fresh();
                call(c.name, words, name);
                if (fit) {
                    keep(name, sort);
                }
                return;
            }
        }
    }

    void apply_function()
    {
        if (family().functions.empty()) {
            return;
        }
        const auto& [f, types] = pick(family().functions);
        Words words{f};
        for (size_t i = 0; i + 1 < types.size(); ++i) {
            const Item* t = any_term(chance(30) ? "" : types[i]);
            if (!t) {
                return;
            }
            words.push_back(t->name);
        }
        const std::string name = fresh(); // not through keep: the vector must stay as it is
        call("uf", words, name);
        keep(name, types.back());
    }

    Words some_constants(size_t most)
    {
        Words out;
        for (size_t n = below(most + 1); n > 0; --n) {
            const std::vector<Item>& all = family().terms;
            const Item& t = chance(20) ? pick(all) : all[below(std::min<size_t>(3, all.size()))];
            out.push_back((chance(2) ? "-" : "") + t.name);
        }
        return out;
    }

    Words some_terms(size_t most)
    {
        Words out;
        for (size_t n = below(most + 1); n > 0; --n) {
            if (const Item* t = any_term("")) {
                out.push_back(t->name);
            }
        }
        return out;
    }

    void step()
    {
        auto at = envs_.begin();
        std::advance(at, below(3) ? 0 : below(envs_.size()));
        env_ = at->first;
        const size_t kind = below(100);
        if (kind < 40) {
            make_term();
        } else if (kind < 44) {
            apply_function();
        } else if (kind < 60) {
            call("assert", {chance(25) ? pick(family().terms).name : formula()});
        } else if (kind < 70) {
            call("solve");
        } else if (kind < 75) {
            call("assume", some_constants(4));
        } else if (kind < 80) {
            call("push");
        } else if (kind < 83) {
            call("pop");
        } else if (kind < 92) {
            read_results();
        } else if (kind < 97) {
            use_term();
        } else {
            rare();
        }
    }

    void read_results()
    {
        switch (below(8)) {
        case 0:
        case 1:
            call("model", some_terms(4));
            break;
        case 2:
            call("value", some_terms(3));
            break;
        case 3:
        case 4:
            call("core");
            break;
        case 5:
            call("core_ext", {std::to_string(below(3))});
            break;
        case 6: {
            Words args{std::to_string(1 + below(10))};
            for (const std::string& w : some_constants(3)) {
                args.push_back(w[0] == '-' ? w.substr(1) : w);
            }
            call("all_sat", args);
            break;
        }
        default: {
            Words args{std::to_string(1 + below(4))};
            for (const std::string& w : some_terms(2)) {
                args.push_back(w);
            }
            call("diversify", args);
        }
        }
    }

    void use_term()
    {
        const Item t = pick(family().terms);
        switch (below(8)) {
        case 0:
            make_result("simplify", {t.name, std::to_string(chance(3))}, t.sort);
            break;
        case 1:
            make_result("nnf", {t.name}, t.sort);
            break;
        case 2:
            make_result("aig", {t.name}, t.sort);
            break;
        case 3: {
            const Item from = pick(family().terms);
            const Item* to = any_term(chance(20) ? "" : from.sort);
            make_result("substitute", {t.name, from.name, to ? to->name : from.name}, t.sort);
            break;
        }
        case 4:
        case 5:
            call("print", {t.name});
            break;
        case 6:
            call("query", {t.name});
            break;
        default:
            if (envs_.size() > 1) {
                auto to = envs_.begin();
                std::advance(to, below(envs_.size()));
                const std::string from = std::to_string(env_);
                env_ = to->first;
                make_result("copy", {t.name, from}, t.sort);
            }
        }
    }

    void make_result(const std::string& verb, const Words& args, const Sort& sort)
    {
        const std::string name = fresh();
        call(verb, args, name);
        keep(name, sort);
    }

    void rare()
    {
        switch (below(12)) {
        case 0:
            call("reset");
            break;
        case 1: {
            Words kept;
            for (const Item& t : family().terms) {
                if (!chance(4)) {
                    kept.push_back(t.name);
                }
            }
            call("gc", kept);
            break;
        }
        case 2:
        case 3:
            call("stop", {std::to_string(below(30))});
            break;
        case 4:
            call("prefer", {chance(9) ? pick(family().terms).name : family().terms[below(3)].name,
                            std::to_string(static_cast<int>(below(3)) - 1)});
            break;
        case 5:
            call("unprefer");
            break;
        case 6:
            if (envs_.size() < 3) {
                add_env(chance(2) ? env_ : -1);
            }
            break;
        case 7:
            if (env_ > 0) {
                call("destroy");
                envs_.erase(env_);
            }
            break;
        default:
            call("misuse", {std::to_string(below(1000)), pick(family().terms).name});
        }
    }

    std::mt19937_64& rng_;
    ApiCase case_;
    std::vector<Sort> sorts_;
    std::vector<Family> families_;
    std::map<int, Env> envs_; // by number
    int env_ = 0;             // the one in use
    size_t num_terms_ = 0, num_functions_ = 0, num_leaves_ = 0;
};

} // namespace

ApiCase random_api_case(std::mt19937_64& rng)
{
    return Generator(rng).run();
}

// Shrinking

std::vector<ApiCase> smaller_cases(const ApiCase& c, int size)
{
    std::vector<ApiCase> out;
    const size_t run = static_cast<size_t>(std::max(size, 1));
    for (size_t end = c.calls.size(); size > 0 && end >= run; end -= std::max<size_t>(run / 2, 1)) {
        ApiCase smaller = c;
        smaller.calls.erase(smaller.calls.begin() + static_cast<ptrdiff_t>(end - run),
                            smaller.calls.begin() + static_cast<ptrdiff_t>(end));
        out.push_back(std::move(smaller));
    }
    for (size_t i = 0; size == 0 && i < c.calls.size(); ++i) {
        const ApiCall& call = c.calls[i];
        for (size_t k = 0; k < call.args.size(); ++k) {
            ApiCase smaller = c;
            if (call.result.empty() && !find_constructor(call.verb)) {
                Words& args = smaller.calls[i].args;
                args.erase(args.begin() + static_cast<ptrdiff_t>(k));
                out.push_back(std::move(smaller));
            } else if (call.args[k][0] == 't') {
                for (ApiCall& user : smaller.calls) {
                    for (std::string& a : user.args) {
                        a = a == call.result         ? call.args[k]
                            : a == "-" + call.result ? "-" + call.args[k]
                                                     : a;
                    }
                }
                smaller.calls.erase(smaller.calls.begin() + static_cast<ptrdiff_t>(i));
                out.push_back(std::move(smaller));
            }
        }
    }
    return out;
}

} // namespace tarq::fuzz
