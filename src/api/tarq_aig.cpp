// And-inverter graphs: circuits made by hand, of terms, and as text.
#include "api/frame.h"
#include "encoding/termaigsimplifier.h"
#include "theory/bv/aigwordclausifier.h"

#include <sstream>

using namespace tarq::api;
using tarq::Aig;
using tarq::AigManager;

namespace {

/// Behind tarq_aig_manager: the circuits of one environment's terms.
struct AigWrapper {
    explicit AigWrapper(EnvWrapper* e)
        : env(e), words(&e->tm(), nullptr, tarq::bv::WordClausifierInterface::Ites::CIRCUITS)
    {
        words.set_termination_test(&e->termination_test);
    }

    AigManager& aigs() { return words.manager(); }

    EnvWrapper* env; // borrowed
    tarq::bv::AigWordClausifier words;
};

AigWrapper* wrapper(tarq_aig_manager m)
{
    return static_cast<AigWrapper*>(m.repr);
}

tarq_aig wrap(Aig a)
{
    return tarq_aig{a.word()};
}

constexpr tarq_aig null_aig{0};

/// throws  Exception "bad aig handle" for one that is null or not of this manager
Aig unwrap(const AigManager& m, tarq_aig a)
{
    const auto word = static_cast<uint32_t>(a.repr);
    if (word != a.repr || word < 2 || Aig::from_word(word).id() >= m.num_ids()) {
        throw tarq::make_error<tarq::Exception>("bad aig handle");
    }
    return Aig::from_word(word);
}

/// The frame of a function that has a manager: `body` gets its wrapper, and errors go to the
/// environment.
template <class R, class Body>
R aig_frame(tarq_aig_manager m, R failure, Body&& body) noexcept
{
    AigWrapper* w = wrapper(m);
    if (!w) {
        return failure;
    }
    return guarded(
        failure, [&]() -> R { return body(*w); }, [&](const char* msg) { w->env->fail(msg); });
}

template <class Make>
tarq_aig combine(tarq_aig_manager m, tarq_aig a, tarq_aig b, Make&& make)
{
    return aig_frame(m, null_aig, [&](AigWrapper& w) {
        AigManager& aigs = w.aigs();
        const Aig x = unwrap(aigs, a);
        const Aig y = unwrap(aigs, b);
        return wrap(make(aigs, x, y));
    });
}

} // namespace

tarq_aig_manager tarq_create_aig_manager(tarq_env e)
{
    return frame(e, tarq_aig_manager{nullptr},
                 [](EnvWrapper& w) { return tarq_aig_manager{new AigWrapper(&w)}; });
}

void tarq_destroy_aig_manager(tarq_aig_manager m)
{
    delete wrapper(m);
}

tarq_aig tarq_aig_null(void)
{
    return null_aig;
}

tarq_aig tarq_aig_true(tarq_aig_manager m)
{
    return aig_frame(m, null_aig, [](AigWrapper& w) { return wrap(w.aigs().aig_true()); });
}

tarq_aig tarq_aig_false(tarq_aig_manager m)
{
    return aig_frame(m, null_aig, [](AigWrapper& w) { return wrap(w.aigs().aig_false()); });
}

tarq_aig tarq_aig_var(tarq_aig_manager m, int var)
{
    return aig_frame(m, null_aig, [&](AigWrapper& w) { return wrap(w.aigs().aig_var(var)); });
}

tarq_aig tarq_aig_not(tarq_aig_manager m, tarq_aig a)
{
    return aig_frame(m, null_aig, [&](AigWrapper& w) { return wrap(~unwrap(w.aigs(), a)); });
}

tarq_aig tarq_aig_and(tarq_aig_manager m, tarq_aig a, tarq_aig b)
{
    return combine(m, a, b, [](AigManager& g, Aig x, Aig y) { return g.aig_and(x, y); });
}

tarq_aig tarq_aig_or(tarq_aig_manager m, tarq_aig a, tarq_aig b)
{
    return combine(m, a, b, [](AigManager& g, Aig x, Aig y) { return g.aig_or(x, y); });
}

tarq_aig tarq_aig_iff(tarq_aig_manager m, tarq_aig a, tarq_aig b)
{
    return combine(m, a, b, [](AigManager& g, Aig x, Aig y) { return g.aig_iff(x, y); });
}

tarq_aig tarq_aig_xor(tarq_aig_manager m, tarq_aig a, tarq_aig b)
{
    return combine(m, a, b, [](AigManager& g, Aig x, Aig y) { return g.aig_xor(x, y); });
}

tarq_aig tarq_aig_ite(tarq_aig_manager m, tarq_aig c, tarq_aig t, tarq_aig f)
{
    return aig_frame(m, null_aig, [&](AigWrapper& w) {
        AigManager& aigs = w.aigs();
        return wrap(aigs.aig_ite(unwrap(aigs, c), unwrap(aigs, t), unwrap(aigs, f)));
    });
}

uint64_t tarq_aig_id(tarq_aig a)
{
    return a.repr >> 1;
}

int tarq_aig_is_negated(tarq_aig a)
{
    return static_cast<int>(a.repr & 1);
}

tarq_aig tarq_aig_strip(tarq_aig a)
{
    return tarq_aig{a.repr & ~uint64_t{1}};
}

int tarq_aig_is_and(tarq_aig_manager m, tarq_aig a)
{
    return aig_frame(m, 0,
                     [&](AigWrapper& w) { return int{w.aigs().is_and(unwrap(w.aigs(), a))}; });
}

int tarq_aig_is_var(tarq_aig_manager m, tarq_aig a)
{
    return aig_frame(m, 0,
                     [&](AigWrapper& w) { return int{w.aigs().is_var(unwrap(w.aigs(), a))}; });
}

int tarq_aig_get_var(tarq_aig_manager m, tarq_aig a)
{
    return aig_frame(m, 0, [&](AigWrapper& w) {
        const Aig x = unwrap(w.aigs(), a);
        if (!w.aigs().is_var(x)) {
            throw tarq::make_error<tarq::Exception>("the aig is no variable");
        }
        return w.aigs().var(x);
    });
}

namespace {

Aig input(AigManager& aigs, tarq_aig a, bool right)
{
    Aig l, r;
    if (!aigs.aig_get_components(unwrap(aigs, a), &l, &r)) {
        throw tarq::make_error<tarq::Exception>("the aig is no conjunction");
    }
    return right ? r : l;
}

} // namespace

tarq_aig tarq_aig_get_left(tarq_aig_manager m, tarq_aig a)
{
    return aig_frame(m, null_aig, [&](AigWrapper& w) { return wrap(input(w.aigs(), a, false)); });
}

tarq_aig tarq_aig_get_right(tarq_aig_manager m, tarq_aig a)
{
    return aig_frame(m, null_aig, [&](AigWrapper& w) { return wrap(input(w.aigs(), a, true)); });
}

tarq_aig* tarq_aig_encode(tarq_aig_manager m, tarq_term t, size_t* out_size)
{
    return aig_frame<tarq_aig*>(m, nullptr, [&](AigWrapper& w) {
        const tarq::Term_* bits = unwrap(t);
        const tarq::DataType* type = tarq::TermManager::get_type(bits);
        if (type != w.env->tm().get_bool_type() && !w.env->tm().is_bv_type(type)) {
            throw tarq::make_error<tarq::Exception>("not supported: ", bits->to_shallow_str());
        }
        const auto word = w.words.bit_blast_aigs(bits);
        auto* out = static_cast<tarq_aig*>(tarq_malloc(word.size() * sizeof(tarq_aig)));
        for (size_t i = 0; i < word.size(); ++i) {
            out[i] = wrap(word[i]);
        }
        *out_size = word.size();
        return out;
    });
}

char* tarq_aig_to_aiger(tarq_aig_manager m, tarq_aig a)
{
    return aig_frame<char*>(m, nullptr, [&](AigWrapper& w) {
        std::ostringstream out;
        w.aigs().aig2aiger(unwrap(w.aigs(), a), out);
        return copy_text(out.str());
    });
}

tarq_term tarq_aig_simplify(tarq_env e, tarq_term t)
{
    return frame(e, tarq_term{nullptr}, [&](EnvWrapper& w) {
        w.tm().typecheck(unwrap(t), w.tm().get_bool_type(), "aig_simplify");
        tarq::TermAigSimplifier simplify(&w.tm());
        return tarq::api::wrap(simplify(tarq::api::unwrap(t)));
    });
}
