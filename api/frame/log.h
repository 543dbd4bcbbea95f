// NPRM_LOG and NPRM_FAIL: the one way to log, the mask tested first.
#ifndef NPRM_FRAME_LOG_H
#define NPRM_FRAME_LOG_H

#include "nprm_result.h"

// Logs "FUNCTION(LINE): ..." of a site whose function name or line is part of the interface.  127 is the facility that every site
// passes.
#define NPRM_LOG_AT(level, function, line, format, ...)                                                                            \
    ((__atomic_load_n(&nprm_syslog_flag, __ATOMIC_RELAXED) & (level)) != 0                                                         \
         ? (void)nprm_syslog(127, 0, 0, level, "%s(%d): " format, function, line __VA_OPT__(, ) __VA_ARGS__)                       \
         : (void)0)

#define NPRM_LOG(level, format, ...) NPRM_LOG_AT(level, __func__, __LINE__, format __VA_OPT__(, ) __VA_ARGS__)

// Logs a failure under a function's name and has its code as value: return NPRM_FAIL(__func__, NPRM_ERROR_PARAM, "...").
#define NPRM_FAIL(function, code, format, ...)                                                                                     \
    (NPRM_LOG_AT(NPRM_LEVEL_ERROR, function, __LINE__, format __VA_OPT__(, ) __VA_ARGS__), static_cast<uint32_t>(code))

namespace nprm {

// The code's name for a message; never null.
const char *result_name(uint32_t code);

}  // namespace nprm

#endif
