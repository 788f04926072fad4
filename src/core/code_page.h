// Code page numbers to Qt codecs, shared by the encoding conversions.
#ifndef KVSUPPORT_CORE_CODE_PAGE_H
#define KVSUPPORT_CORE_CODE_PAGE_H

class QTextCodec;

namespace kv {
namespace detail {

/// The codec of a code page: 0 (and 1 and 3, the OEM and thread code pages)
/// is the locale codec; null for a number no codec answers to.
QTextCodec *codecForCodePage(int codePage);

} // namespace detail
} // namespace kv

#endif
