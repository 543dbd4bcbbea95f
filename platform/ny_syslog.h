/* ny_syslog.h: the platform's system-log call, found at load time by the soname libsyslog.so.1. */
#ifndef NY_SYSLOG_H
#define NY_SYSLOG_H

#ifdef __cplusplus
extern "C" {
#endif

/* Writes one message to the system log.
 *   priority: as in syslog(3), 0 to 7;   module_id: who speaks;   zero: always 0;   message_number: the message's catalogue number
 *   format: as in printf(3)
 * Returns nothing: a message that cannot be written is lost.   Blocks: as syslog(3) does.   Threads: any. */
__attribute__((visibility("default"), format(printf, 5, 6))) void ny_syslog(int priority, unsigned module_id, int zero,
                                                                            unsigned message_number, const char *format, ...);

#ifdef __cplusplus
}
#endif

#endif
