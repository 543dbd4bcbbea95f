/* ad_debug.h: the debug configuration.  How verbose this process logs, for which client and server, and where its log goes.
 *
 * A host calls ad_init_debug_lib() first.  Processes that log to the same socket share one record, so that a change made by one of
 * them (or by a tool) takes effect in all at once; a process that finds no shared record uses a private one. */
#ifndef AD_DEBUG_H
#define AD_DEBUG_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#define AD_STATIC_ASSERT(condition, text) static_assert(condition, text)
#else
#define AD_STATIC_ASSERT(condition, text) _Static_assert(condition, text)
#endif

/* Marks what libnprm.so exports. */
#define AD_API __attribute__((visibility("default")))

enum {
    AD_DEBUG_KEY_ID = 100,      /* ftok(socket path, this) is the key of the shared record */
    AD_DEBUG_LEVEL_MAX = 3,     /* the highest level that the setters store */
    AD_DEBUG_LEVEL_SPECIAL = 4, /* copies every message to the special socket; only a write into the record selects it */
    AD_DEBUG_PROCESS_NAME_BYTES = 256
};

/* The record, 140 bytes in shared memory on both ABIs.  Any process may change a word at any time. */
typedef struct ad_debug_cfg {
    int32_t level;         /*   0  messages above it are dropped; levels 0 and 1 never are */
    uint32_t client_ip;    /*   4  network byte order, as inet_addr() gives it; 0: no filter */
    uint32_t server_ip;    /*   8  the same for servers */
    uint8_t reserved[128]; /*  12  zero */
} ad_debug_cfg;
AD_STATIC_ASSERT(sizeof(ad_debug_cfg) == 140, "the shared record must be 140 bytes");
AD_STATIC_ASSERT(offsetof(ad_debug_cfg, level) == 0, "ad_debug_cfg.level must be at 0");
AD_STATIC_ASSERT(offsetof(ad_debug_cfg, client_ip) == 4, "ad_debug_cfg.client_ip must be at 4");
AD_STATIC_ASSERT(offsetof(ad_debug_cfg, server_ip) == 8, "ad_debug_cfg.server_ip must be at 8");
AD_STATIC_ASSERT(offsetof(ad_debug_cfg, reserved) == 12, "ad_debug_cfg.reserved must be at 12");

/* The record in use; null until configured.   Owns: the library. */
extern AD_API ad_debug_cfg *ad_debug_cfg_p;

/* The private record, used where no shared one is to be had. */
extern AD_API ad_debug_cfg ad_debug_cfg_no_share_mem;

/* Who speaks to the system log; ad_debug_set_default_module_id() sets it. */
extern AD_API uint32_t ad_debug_module_id;

/* Stands at the head of error-log lines; ad_debug_set_process_name() sets it. */
extern AD_API char ad_debug_process_name[AD_DEBUG_PROCESS_NAME_BYTES];

/* Tells whether there is a record in use.
 * Returns 1 when ad_debug_cfg_p is set, else 0.   Blocks: no.   Threads: any. */
AD_API unsigned int ad_debug_inited(void);

/* Puts the private record in use, with what the environment says: DEBUG_LEVEL (unset or outside 0 to 3: 1; no number counts as 0),
 * DEBUG_CLIENT_IP (unset or malformed: no filter) and DEBUG_SERVER_IP (unset: as it was; malformed: no filter).
 * Returns nothing.   Blocks: no.   Threads: while no other changes the environment. */
AD_API void ad_read_debug_cfg_direct_read_from_env(void);

/* Find the shared record of a log socket.
 *   path: the socket's path, which must exist for a shared record; null: the private record
 *   out: gets the record's address, always
 *   no_create: nonzero to leave a record that does not exist alone;   ..._cfg_p() makes it, ..._no_create() does not
 * Return 0 for a shared record, 1 for the private one; what failed on the way is on standard error.
 * Owns: a shared record is attached anew by each call, until ad_return_ad_debug_cfg_p().   Blocks: no.   Threads: any. */
AD_API int ad_get_ad_debug_cfg_p_impl(const char *path, ad_debug_cfg **out, int no_create);
AD_API int ad_get_ad_debug_cfg_p(const char *path, ad_debug_cfg **out);
AD_API int ad_get_ad_debug_cfg_p_no_create(const char *path, ad_debug_cfg **out);

/* Detaches a record that one of the three above gave; when it was the one in use, the private one takes its place first.
 * Returns 1 for null and the private record, which stay; else what shmdt() returned: -1 with nothing changed.   Blocks: no.
 * Threads: while no other logs through that record. */
AD_API int ad_return_ad_debug_cfg_p(ad_debug_cfg *record);

/* Sets the library up: the log goes to the socket "NAME.UID", or to "NAME.0" where the first does not exist; the record is the
 * socket's; level and filters come from the file "SOCKET.cfg", else from the environment, now and again at each SIGUSR1.
 *   name: null: the value of ERROR_LOG_SOCKET.   What does not fit the 107 characters of a socket's path is cut.
 * The special log is off afterwards, until ad_set_special_log_path(): at level 4 nothing is sent to it then, and nothing printed in
 * its place.  A handler that SIGUSR1 had before is called too, after the library's own; it may call the library's again, which then
 * does nothing.
 * Returns 0, also when the name is the last one again, which changes nothing; -1 when there is no name: nothing is sent then, what
 * is logged goes to standard error and SIGUSR1 reads the environment alone, until another name is given: the last one still changes
 * nothing.
 * Blocks: for one small file.   Threads: before others log. */
AD_API int ad_init_debug_lib(const char *name);

/* Turns the special log on, at the socket "NAME.UID", and uses that socket's record from now on ("NAME.0" as above).
 *   name: null: nothing changes
 * Returns 0.   Blocks: no.   Threads: before others log. */
AD_API int ad_set_special_log_path(const char *name);

/* Sets ad_debug_module_id.   Returns nothing.   Blocks: no.   Threads: any. */
AD_API void ad_debug_set_default_module_id(unsigned int id);

/* Sets ad_debug_process_name to the first 255 characters of name.
 * Returns the characters of name.   Blocks: no.   Threads: before others log. */
AD_API int ad_debug_set_process_name(const char *name);

/* The process's name.   Returns ad_debug_process_name.   Owns: the library.   Blocks: no.   Threads: any. */
AD_API const char *getprocname(void);

#ifdef __cplusplus
}
#endif

#endif
