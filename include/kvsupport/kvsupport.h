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

#endif
