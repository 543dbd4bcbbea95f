#include "c_host.h"

#include "util/ad_debug/ad_debug.h"
#include "util/ad_debug/ad_errorlog.h"
#include "util/ad_debug/ad_packet.h"
#include "util/ad_debug/ad_param.h"

void c_host_prints(int level, const char *name) {
#line 101
    ad_debug_print(level, "INFO", "%s is %d\n", name, 5);
}

void c_host_prints_without_arguments(int level) {
    if (level >= 0)
#line 102
        ad_debug_print(level, "INFO", "no arguments\n");
    else
        ad_debug_print(0, "CRTC", "negative\n");
}

void c_host_dumps(int level) {
    static const unsigned char packet[2] = {0x80, 0x01};
#line 103
    ad_debug_print_pkt(level, "PKTS", packet, 2, "from C");
}

static int counted;

static int count(void) {
    return ++counted;
}

int c_host_counted(int level) {
    counted = 0;
    ad_debug_print(level, "INFO", "%d\n", count());
    ad_debug_print_pkt(level, "INFO", 0, count(), "count");
    return counted;
}
