#pragma once

#include <cstdio>

#include "collect/NetDevReader.h"

// The push reader of the interface counters: everything as collect/network.h says of the regular one, on a
// state of its own, so that a pass for push rows and a regular one share neither a place in the table nor a
// record.

extern int push_procnetdev_vsn;
extern FILE* push_fh;
extern struct interface* push_ife;
extern int l_nPushskfd;

int init_push_netinfo();
int get_push_next_netinfo(char* name, char* link, unsigned long long* inPkt, unsigned long long* outPkt,
                          unsigned long long* inByte, unsigned long long* outByte, unsigned long long* inErr,
                          unsigned long long* outErr, unsigned long long* collisions,
                          unsigned long long* spare);
int fin_push_netinfo();
