/* The header stands alone in C99, in both places where the languages differ. */
#include <tarq.h>

int tarq_header_c99(void);

int tarq_header_c99(void)
{
    tarq_term none = TARQ_MAKE_ERROR_TERM();
    tarq_env env = {NULL};
    tarq_config config = {NULL};
    tarq_decl decl = {NULL};
    tarq_type type = {NULL};
    return TARQ_ERROR_TERM(none) && TARQ_ERROR_ENV(env) && TARQ_ERROR_CONFIG(config) &&
           TARQ_ERROR_DECL(decl) && TARQ_ERROR_TYPE(type);
}
