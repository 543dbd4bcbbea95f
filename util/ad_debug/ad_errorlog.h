/* ad_errorlog.h: the error log.  One message is one datagram to the log daemon; where the daemon cannot be reached, standard error.
 *
 * Hosts log with ad_debug_print(level, tag, format, ...):
 *
 *     level  is logged          error log   system log                                                  special log
 *     0      always             yes         yes, but in signal handlers or with ad_debug_to_syslogd 0   at configured level 4
 *     1      always             yes         as 0, at configured level 1 and up, and while               at configured level 4
 *                                           ad_debug_syslog_critical_msg_only is 0
 *     2, 3   at its level up    yes         no                                                          at configured level 4
 *     4      at level 4         no          no                                                          yes
 *
 * Nothing is logged while a filter of the record and the address being handled are both set and differ.  The special log is off
 * while it has no path (ad_set_special_log_path() gives it one): the columns of the other two hold as they stand.
 *
 * A daemon that does not read costs its senders 200 ms once: when a datagram found no room in the daemon's queue for that long, the
 * following ones do not wait at all (standard error gets what finds no room), until one has been sent again.  The error log and the
 * special log each have a wait of their own; threads that wait at the same time each wait.
 *
 * A datagram is the text (at most 4,086 bytes), a zero byte, and the time of day: seconds, microseconds, signed 32-bit words in the
 * host's byte order, not aligned. */
#ifndef AD_ERRORLOG_H
#define AD_ERRORLOG_H

#include "ad_debug.h"

#include <stdarg.h>

#ifdef __cplusplus
extern "C" {
#endif

enum {
    AD_ERRORLOG_TEXT_BYTES_MAX = 4086,
    AD_ERRORLOG_TAIL_BYTES = 9, /* the zero byte and the time */
    AD_ERRORLOG_DATAGRAM_BYTES_MAX = AD_ERRORLOG_TEXT_BYTES_MAX + AD_ERRORLOG_TAIL_BYTES,
    AD_ERRORLOG_SEND_MS_MAX = 200, /* what one datagram may wait for room in the daemon's queue */
    AD_SYSLOG_PRIORITY = 7,        /* how the sequence speaks to the system log */
    AD_SYSLOG_MESSAGE_NUMBER = 100000
};

/* Nonzero: the host is in a signal handler; no warning is printed then, and the system log is not called.  The host's to write. */
extern AD_API int32_t ad_debug_in_sighandler;

/* Nonzero (as it is at first): messages may be copied to the system log. */
extern AD_API int32_t ad_debug_to_syslogd;

/* Nonzero (as it is at first): only messages of level 0 are.  ad_debug_set_syslog_critical_msg_only() and the configuration change
 * it. */
extern AD_API int32_t ad_debug_syslog_critical_msg_only;

/* The client and the server that the host is handling, network byte order; 0: none.  The host's to write. */
extern AD_API uint32_t ad_current_client_ip;
extern AD_API uint32_t ad_current_server_ip;

/* Write one message to the log daemon, or to the special socket; text above 4,086 bytes is cut, an empty text is dropped.  A socket
 * without a path counts as unreachable.
 *   format: as in printf(3)
 * Return a number without meaning.   errno stays as it was.
 * Blocks: 200 ms at most, for a daemon that does not read, and not again before a datagram has gone through.   Threads: any. */
AD_API unsigned int ad_errorlog_vprintf(const char *format, va_list arguments) __attribute__((format(printf, 1, 0)));
AD_API unsigned int ad_errorlog_printf(const char *format, ...) __attribute__((format(printf, 1, 2)));
AD_API unsigned int ad_errorlog_printf_special(const char *format, ...) __attribute__((format(printf, 1, 2)));

/* What ad_debug_print() calls for a message that its level lets through: asks the filters, puts "(PID)TAG:FILE:LINE-> " in front
 * (on the error log with the process's name before it) and writes the message wherever it goes; the system log gets a long one
 * whole.  Without a record in use, the environment is read first.
 *   level, tag: see above; the tag is 4 characters by custom;   file, line: the site's
 *   format: as in printf(3), with its newline
 * Returns nothing.   errno stays as it was.
 * Blocks: 200 ms at most for each of the two logs, as above, and as ny_syslog() does.   Threads: any. */
AD_API void ad_debug_print_impl(int level, const char *tag, const char *file, int line, const char *format, ...)
    __attribute__((format(printf, 5, 6)));

/* ad_debug_print(int level, const char *tag, const char *format, ...): logs one message.  A site that the level turns off costs two
 * loads and does not evaluate its arguments. */
#define ad_debug_print(message_level, tag, ...)                                                                                    \
    do {                                                                                                                           \
        const int ad_debug_level_ = (message_level);                                                                               \
        ad_debug_cfg *const ad_debug_record_ = __atomic_load_n(&ad_debug_cfg_p, __ATOMIC_RELAXED);                                 \
        if (ad_debug_level_ <= 1 || !ad_debug_record_ ||                                                                           \
            ad_debug_level_ <= __atomic_load_n(&ad_debug_record_->level, __ATOMIC_RELAXED))                                        \
            ad_debug_print_impl(ad_debug_level_, tag, __FILE__, __LINE__, __VA_ARGS__);                                            \
    } while (0)

#ifdef __cplusplus
}
#endif

#endif
