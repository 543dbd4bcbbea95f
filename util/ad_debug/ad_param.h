/* ad_param.h: level, filters and the system-log switch changed at run time, and memory that ends the process when there is none. */
#ifndef AD_PARAM_H
#define AD_PARAM_H

#include "ad_debug.h"

#ifdef __cplusplus
extern "C" {
#endif

enum {
    AD_EXIT_NO_MEMORY = 126,
    AD_SYSLOG_CRITICAL_PRIORITY = 2, /* how my_xmalloc() speaks to the system log */
    AD_SYSLOG_NO_MEMORY_NUMBER = 512035
};

/* Changes a record.
 *   client_ip, server_ip: network byte order, 0 turns the filter off; all ones: left as it is
 *   level: above 3 it counts as 3; negative: left as it is
 *   cfg_p: not null; the process is aborted otherwise, in every build
 * Leaving level 4 sends "reset special log" to the special socket first, if that has a path.
 * Returns nothing.   Blocks: 200 ms at most, when level 4 is left.   Threads: any. */
AD_API void ad_set_debug_parameter(unsigned int client_ip, unsigned int server_ip, int level, ad_debug_cfg *cfg_p);

/* The same for the record in use.  Without one nothing is changed: the environment is read, and a message says so.
 * Returns nothing.   Blocks: as ad_debug_print_impl().   Threads: any. */
AD_API void ad_debug_set_debug_parameter_directly(unsigned int client_ip, unsigned int server_ip, int level);

/* The level alone.  A level above 0 first keeps all but critical messages out of the system log.
 * Returns nothing.   Blocks: as ad_debug_print_impl().   Threads: any. */
AD_API void ad_debug_set_debug_level_directly(int level);

/* Sets ad_debug_syslog_critical_msg_only; turning it on is logged, in two messages.
 * Returns nothing.   Blocks: as ad_debug_print_impl().   Threads: any. */
AD_API void ad_debug_set_syslog_critical_msg_only(int on);

/* malloc() that returns memory or not at all.
 *   size: bytes;   file, line: the caller's, for the message
 * Returns what malloc(size) returns unless that is null: then the error log and the system log are told, and the process ends with
 * exit(126).   Owns: the caller, free().   Blocks: as ad_debug_print_impl().   Threads: any. */
AD_API void *my_xmalloc(size_t size, const char *file, int line);

#ifdef __cplusplus
}
#endif

#endif
