/// \file kvsupport.h
/// Umbrella header: includes the whole public interface of libkvsupport.
#ifndef KVSUPPORT_KVSUPPORT_H
#define KVSUPPORT_KVSUPPORT_H

#include <kvsupport/export.h>
#include <kvsupport/version.h>
#include <kvsupport/memory.h>
#include <kvsupport/exception.h>
#include <kvsupport/ystring.h>
#include <kvsupport/printf.h>
#include <kvsupport/containers.h>
#include <kvsupport/dynfunc.h>
#include <kvsupport/encoding.h>
#include <kvsupport/engnum.h>
#include <kvsupport/pattern.h>
#include <kvsupport/paths.h>
#include <kvsupport/scan.h>
#include <kvsupport/message.h>
#include <kvsupport/filelock.h>
#include <kvsupport/kvstream.h>
#include <kvsupport/threads.h>
#include <kvsupport/sysinfo.h>
#include <kvsupport/jfile.h>
#include <kvsupport/profile.h>
#include <kvsupport/spicestream.h>

#endif
