#include <arpa/inet.h>

#include "fuzz/Fuzz.h"
#include "lib/CheckNfs.h"
#include "lib/NfsTcpCheck.h"

// Sources of NFS mounts, and addresses, those of servers' ports among them.

namespace
{
void fSource(std::string_view input)
{
    const std::string_view host = fgNfsHost(input);
    fgFuzzMust(host.empty() ||
                   (host.data() >= input.data() && host.data() + host.size() <= input.data() + input.size()),
               "a host is part of its source");
    const CFuzzText text(input);
    const int loose = fgIPCheck(text);
    const int strict = fgIPVaildCheck(text);
    in_addr address;
    if (inet_pton(AF_INET, text, &address) == 1)
        fgFuzzMust(loose == 1 && strict == 1, "an address passes both tests");
    fgFuzzMust(fgUniversalPort(input) <= 0xFFFF, "a port has two bytes");
}

const CFuzzTarget TARGET("nfs", fSource);
} // namespace
