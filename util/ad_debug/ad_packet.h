/* ad_packet.h: a packet in the log, as a header line and rows of sixteen bytes in hexadecimal. */
#ifndef AD_PACKET_H
#define AD_PACKET_H

#include "ad_errorlog.h"

#ifdef __cplusplus
extern "C" {
#endif

/* What ad_debug_print_pkt() calls for a dump that its level lets through.  The lines go where a message of the level goes, without
 * the process's name, one by one.  Without a record in use nothing is printed, and the environment is not read.
 *   level, tag: as for ad_debug_print();   file, line: the site's;   description: stands in the header
 *   data: length bytes; null, or a length of 0 or less: the header alone
 * Returns nothing.   errno stays as it was.   Threads: any.
 * Blocks: 200 ms at most for each of the two logs, however many the lines, while their daemon does not read; a daemon that reads
 * but now and then may have each line wait; and as ny_syslog() does, for each line. */
AD_API void ad_debug_print_pkt_impl(int level, const char *tag, const void *data, int length, const char *file, int line,
                                    const char *description);

/* ad_debug_print_pkt(int level, const char *tag, const void *data, int length, const char *description): dumps one packet.  A site
 * that the level turns off costs two loads and does not evaluate its arguments. */
#define ad_debug_print_pkt(message_level, tag, data, length, description)                                                          \
    do {                                                                                                                           \
        const int ad_debug_level_ = (message_level);                                                                               \
        ad_debug_cfg *const ad_debug_record_ = __atomic_load_n(&ad_debug_cfg_p, __ATOMIC_RELAXED);                                 \
        if (ad_debug_record_ &&                                                                                                    \
            (ad_debug_level_ <= 1 || ad_debug_level_ <= __atomic_load_n(&ad_debug_record_->level, __ATOMIC_RELAXED)))              \
            ad_debug_print_pkt_impl(ad_debug_level_, tag, data, length, __FILE__, __LINE__, description);                          \
    } while (0)

#ifdef __cplusplus
}
#endif

#endif
