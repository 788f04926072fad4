/// \file export.h
/// Symbol visibility for the public interface of libkvsupport.
///
/// The library is built with hidden visibility (-fvisibility=hidden); only
/// declarations marked KVSUPPORT_API are exported from libkvsupport.so.
#ifndef KVSUPPORT_EXPORT_H
#define KVSUPPORT_EXPORT_H

#define KVSUPPORT_API __attribute__((visibility("default")))

#endif
