// A host written in C that logs through the macros.
#ifndef TESTS_C_HOST_H
#define TESTS_C_HOST_H

#ifdef __cplusplus
extern "C" {
#endif

void c_host_prints(int level, const char *name);
void c_host_prints_without_arguments(int level);
void c_host_dumps(int level);
int c_host_counted(int level); /* how often a site evaluated its argument */

#ifdef __cplusplus
}
#endif

#endif
