// kvtool sysinfo: what the library tells about the machine, the session and
// the processors.
#include "command.h"

#include <kvsupport/sysinfo.h>
#include <kvsupport/threads.h>

#include <cstdio>

KVTOOL_COMMAND(sysinfo, "sysinfo", "show the system information the library reports")
(int argc, char **)
{
    if (argc != 1)
        return kvtool::fail(2, "sysinfo takes no arguments; usage: kvtool sysinfo");
    SystemMemoryInfo memory;
    sp_GetSystemMemoryInfo(&memory);
    int major = 0, minor = 0, sp = 0;
    sp_GetOsVersion(&major, &minor, &sp);
    std::printf("os name              %s\n", sp_GetOsName().tocs());
    std::printf("os class             %s\n", sp_GetOSClassName().tocs());
    std::printf("os version           %d.%d (service pack %d)\n", major, minor, sp);
    std::printf("architecture         %s\n", sp_GetProcessorArchitecture().tocs());
    std::printf("cores                %d\n", sp_GetNumCores());
    std::printf("logical processors   %d\n", sp_GetNumLogicalProcessors());
    std::printf("packages             %d\n", sp_GetNumPhysicalProcessors());
    std::printf("physical memory      %lld (available %lld)\n", memory.totalPhysical, memory.availablePhysical);
    std::printf("virtual memory       %lld (available %lld)\n", memory.totalVirtual, memory.availableVirtual);
    std::printf("tick count           %u\n", sp_GetTickCount());
    std::printf("system time          %lld\n", sp_GetSystemTime());
    std::printf("user                 %s\n", sp_GetUserName().tocs());
    std::printf("administrator        %s\n", sp_IsAdmin() ? "yes" : "no");
    std::printf("remote session       %s\n", sp_IsRemoteSession() ? "yes" : "no");
    std::printf("command processor    %s\n", sp_GetCommandProcessor().tocs());
    std::printf("thread priority      %d\n", static_cast<int>(sp_GetThreadPriority()));
    std::printf("summary              %s\n", sp_GetSystemSpecString().tocs());
    return 0;
}
