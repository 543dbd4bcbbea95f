/* The names of the classification statistics. */
#ifndef NPRM_STATS_H
#define NPRM_STATS_H

#include "../frame/nprm_result.h"

#ifdef __cplusplus
extern "C" {
#endif

enum { NPRM_CLASS_STAT_COUNT = 39 };

/* What each counter of an entry of the classification statistics (table 14) counts, by its index within the entry. */
extern NPRM_API const char *const nprm_class_stat_str[NPRM_CLASS_STAT_COUNT];

#ifdef __cplusplus
}
#endif

#endif
