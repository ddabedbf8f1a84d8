// The settings of an environment as typed fields, expanded from options.def: look there for the
// fields, their meaning and their defaults. What is here is how the records nest.
#pragma once

#include <string>
#include <vector>

namespace tarq {

/// A back pointer inside a record. Assigning records leaves it alone, and records that hold one
/// can't be copy-constructed: a copy would point into the wrong configuration.
template <class Record>
class ConfigurationParent {
public:
    explicit ConfigurationParent(Record* p) : p_(p) {}
    ConfigurationParent(const ConfigurationParent&) = delete;
    ConfigurationParent& operator=(const ConfigurationParent&) { return *this; }

    operator Record*() const { return p_; }
    Record* operator->() const { return p_; }

private:
    Record* p_;
};

// clang-format off
#define TARQ_CONFIG_BOOL bool
#define TARQ_CONFIG_INT int
#define TARQ_CONFIG_FLOAT double
#define TARQ_CONFIG_STRING std::string
#define TARQ_CONFIG_SECTIONS std::vector<std::string>
#define TARQ_CONFIG_FIELD(field, type, value, ...) TARQ_CONFIG_##type field = value;
// clang-format on

/// All settings, as plain fields in nested records, each with its default. A record knows its
/// parent, so a component that is given its own record can reach the common fields, as in
/// `config.parent->random_seed`. Assignment and copy_to copy the values and leave the parents of
/// the target as they are.
struct Configuration {
    struct Debug {
        explicit Debug(Configuration* parent) : parent(parent) {}
#define OPT_DEBUG TARQ_CONFIG_FIELD
#include "base/options.def"

        ConfigurationParent<Configuration> parent;
    };

    struct Printer {
        explicit Printer(Configuration* parent) : parent(parent) {}
#define OPT_PRINTER TARQ_CONFIG_FIELD
#include "base/options.def"

        ConfigurationParent<Configuration> parent;
    };

    struct Preprocessor {
        explicit Preprocessor(Configuration* parent) : parent(parent) {}
#define OPT_PREPROCESSOR TARQ_CONFIG_FIELD
#include "base/options.def"

        ConfigurationParent<Configuration> parent;
    };

    /// One SAT engine: the main one, or an inner one of a theory.
    struct Dpll {
        struct Preprocessor {
            explicit Preprocessor(Dpll* parent) : parent(parent) {}
#define OPT_DPLL_PREPROCESSOR TARQ_CONFIG_FIELD
#include "base/options.def"

            ConfigurationParent<Dpll> parent;
        };

        /// parent  the configuration that holds this record, at any depth
        explicit Dpll(Configuration* parent) : preprocessor(this), parent(parent) {}
        /// Copies every value, nested ones included.
        void copy_to(Dpll* target) const
        {
            *target = *this;
        }

#define OPT_DPLL TARQ_CONFIG_FIELD
#include "base/options.def"

        Preprocessor preprocessor;
        ConfigurationParent<Configuration> parent;
    };

    struct Theory {
        struct Euf {
            explicit Euf(Theory* parent) : parent(parent) {}
#define OPT_EUF TARQ_CONFIG_FIELD
#include "base/options.def"

            ConfigurationParent<Theory> parent;
        };

        struct La {
            explicit La(Theory* parent) : parent(parent) {}
#define OPT_LA TARQ_CONFIG_FIELD
#include "base/options.def"

            ConfigurationParent<Theory> parent;
        };

        struct Arr {
            explicit Arr(Theory* parent) : parent(parent) {}
#define OPT_ARR TARQ_CONFIG_FIELD
#include "base/options.def"

            ConfigurationParent<Theory> parent;
        };

        struct Bv {
            explicit Bv(Theory* parent) : lazydpll(parent->parent), parent(parent)
            {
                // before the constructor's end no other code sees the defaults of the main engine
#define OPT_BV_LAZYDPLL(field, value) lazydpll.field = value;
#include "base/options.def"
            }
#define OPT_BV TARQ_CONFIG_FIELD
#include "base/options.def"

            /// The inner engine of lazy bit-vector solving.
            Dpll lazydpll;
            ConfigurationParent<Theory> parent;
        };

        struct Fp {
            explicit Fp(Theory* parent) : bv(parent), parent(parent)
            {
#define OPT_FP_DPLL(field, value) bv.lazydpll.field = value;
#include "base/options.def"
            }
#define OPT_FP TARQ_CONFIG_FIELD
#include "base/options.def"

            /// For the bit-vector solver that works below the floating-point one. The options
            /// `theory.fp.dpll.X` set its engine, `bv.lazydpll`; the other fields have no option.
            Bv bv;
            ConfigurationParent<Theory> parent;
        };

        struct Na {
            explicit Na(Theory* parent) : parent(parent) {}
#define OPT_NA TARQ_CONFIG_FIELD
#include "base/options.def"

            ConfigurationParent<Theory> parent;
        };

        explicit Theory(Configuration* parent) : parent(parent) {}
#define OPT_THEORY TARQ_CONFIG_FIELD
#include "base/options.def"

        ConfigurationParent<Configuration> parent; // before the records that read it
        Euf euf{this};
        La la{this};
        Arr arr{this};
        Bv bv{this};
        Fp fp{this};
        Na na{this};
    };

    struct Optimization {
        explicit Optimization(Configuration* parent) : parent(parent) {}
#define OPT_OPTIMIZATION TARQ_CONFIG_FIELD
#include "base/options.def"

        ConfigurationParent<Configuration> parent;
    };

    Configuration() = default;
    Configuration(const Configuration&) = delete;
    Configuration& operator=(const Configuration&) = default;
    /// Copies every value, nested ones included.
    void copy_to(Configuration* target) const
    {
        *target = *this;
    }

#define OPT_TOP TARQ_CONFIG_FIELD
#include "base/options.def"

    Debug debug{this};
    Printer printer{this};
    Preprocessor preprocessor{this};
    Dpll dpll{this};
    Theory theory{this};
    Optimization optimization{this};
};

#undef TARQ_CONFIG_FIELD
#undef TARQ_CONFIG_SECTIONS
#undef TARQ_CONFIG_STRING
#undef TARQ_CONFIG_FLOAT
#undef TARQ_CONFIG_INT
#undef TARQ_CONFIG_BOOL

} // namespace tarq
