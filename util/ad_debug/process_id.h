// The process's id, without a system call for each message.
#ifndef AD_PROCESS_ID_H
#define AD_PROCESS_ID_H

int process_id();

#endif
