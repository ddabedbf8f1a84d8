// Values that someone else worked out.
#include "theory/la/solver.h"

namespace tarq::la {

void Solver::set_values(const std::function<DNumber(int)>& value)
{
    TARQ_ASSERT(!inconsistent_);
    for (size_t v = 1; v < vars_.size(); ++v) {
        const int var = static_cast<int>(v);
        if (vars_[v].known && !tableau_.is_basic(var) && !tableau_.is_eliminated(var)) {
            const DNumber wanted = value(var);
            if (!(wanted == vars_[v].value)) {
                update(var, wanted);
            }
        }
    }
    commit();
    TARQ_HEAVY_ASSERT(values_satisfy_all(false));
}

} // namespace tarq::la
