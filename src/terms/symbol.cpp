#include "terms/symbol.h"

#include "base/assertion.h"

namespace tarq {

Symbol::Symbol(uint64_t id, std::string name, size_t arity, const DataType* type,
               const DataType* bool_type)
    : id_(id), arity_(static_cast<uint32_t>(arity)), term_class_(TermClass::OTHER),
      has_boolean_args_(arity > 0), type_(type),
      output_type_(arity == 0 ? type : type->get_components().back()), name_(std::move(name))
{
    if (output_type_ == bool_type) {
        term_class_ = TermClass::BOOLEAN;
    }
    for (size_t i = 0; i < arity; ++i) {
        has_boolean_args_ = has_boolean_args_ && get_arg_type(i) == bool_type;
    }
}

const DataType* Symbol::get_arg_type(size_t i) const
{
    TARQ_ASSERT(i < arity_);
    return type_->get_components()[i + 1];
}

std::string Symbol::to_str() const
{
    return name_ + ":" + type_->to_str();
}

} // namespace tarq
