// A recording system log in place of libsyslog.so.
#ifndef TESTS_FAKE_SYSLOG_H
#define TESTS_FAKE_SYSLOG_H

#include <string>
#include <vector>

#include "platform/ny_syslog.h"

struct fake_syslog_call {
    int priority;
    unsigned module_id;
    int zero;
    unsigned message_number;
    std::string text;
};

// The calls since the test cleared them.
std::vector<fake_syslog_call> &fake_syslog_calls();

#endif
