// Uses the installed library through its umbrella header and checks a few
// results, so that a broken install fails loudly.
#include <kvsupport/kvsupport.h>

#include <cstdio>
#include <cstring>

int main()
{
    char buffer[64];
    bool complete = sp_sprintf(buffer, sizeof buffer, "%s=%d", PrintfArg("R1"), PrintfArg("4700"));
    YString s = YString("kv") & "support";
    if (!complete || std::strcmp(buffer, "R1=4700") != 0 || std::strcmp(s.tocs(), "kvsupport") != 0) {
        std::fprintf(stderr, "consumer: unexpected results '%s' '%s'\n", buffer, s.tocs());
        return 1;
    }
    std::printf("consumer: libkvsupport %s works (%s, %s)\n", kvsupport_Version(), buffer, s.tocs());
    return 0;
}
