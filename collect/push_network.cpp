#include "collect/push_network.h"

int push_procnetdev_vsn = 1;
FILE* push_fh = nullptr;
struct interface* push_ife = nullptr;
int l_nPushskfd = -1;

namespace
{
char m_strTable[NET_TABLE_BUFFER];
constexpr CNetDevReader READER(push_procnetdev_vsn, push_fh, push_ife, l_nPushskfd, m_strTable,
                               "4.6(NWT) TAQ network get_next_netinfo fgets push_fh is null\n");
} // namespace

int init_push_netinfo()
{
    return READER.fInit();
}

int get_push_next_netinfo(char* name, char* link, unsigned long long* inPkt, unsigned long long* outPkt,
                          unsigned long long* inByte, unsigned long long* outByte, unsigned long long* inErr,
                          unsigned long long* outErr, unsigned long long* collisions,
                          unsigned long long* /*spare*/)
{
    return READER.fNext(name, link, {inPkt, outPkt, inByte, outByte, inErr, outErr, collisions});
}

int fin_push_netinfo()
{
    return READER.fFin();
}
