/// \file exception.h
/// The exception values of the library.
///
/// KelvoranException is a plain value (a 32-bit category and 1000 bytes of
/// text) thrown and caught by value. MemoryException is the out-of-memory
/// form raised by the sequences; it always carries category 5.
#ifndef KVSUPPORT_EXCEPTION_H
#define KVSUPPORT_EXCEPTION_H

#include <kvsupport/export.h>

/// Interface through which a MessageHandler receives an exception's text.
class KVSUPPORT_API KvExceptionInterface {
public:
    virtual ~KvExceptionInterface();
    /// The exception's text.
    virtual const char *getMessage() const = 0;
};

/// Root exception of the library: a category code and a text of at most 999
/// characters. No virtual operations; thrown and caught by value.
class KVSUPPORT_API KelvoranException {
public:
    /// Category of an exception built from a text.
    static constexpr int CategoryGeneral = 8;
    /// Category of MemoryException.
    static constexpr int CategoryMemory = 5;
    /// Size of the text field, terminator included.
    static constexpr int TextSize = 1000;

    /// Category 8 and an empty text.
    KelvoranException();
    /// Category 8; copies at most 999 characters of \p text (null is empty).
    explicit KelvoranException(const char *text);

    /// The category code.
    int getCategory() const { return category; }
    /// The text, always terminated.
    const char *getText() const { return text; }

protected:
    int category;
    char text[TextSize];
};

/// Out-of-memory exception: text "*** Fatal error, out of memory ***\n"
/// followed by the detail, limited to 1000 bytes with the terminator;
/// category 5.
class KVSUPPORT_API MemoryException : public KelvoranException {
public:
    /// Wraps \p detail (null counts as empty).
    explicit MemoryException(const char *detail);
};

/// Adapter that lets a KelvoranException travel where a KvExceptionInterface
/// is expected (for example to MessageHandler::error). It refers to the
/// exception; it does not copy it.
class KVSUPPORT_API KvExceptionRef : public KvExceptionInterface {
public:
    explicit KvExceptionRef(const KelvoranException &e) : ex(e) {}
    const char *getMessage() const override { return ex.getText(); }

private:
    const KelvoranException &ex;
};

#endif
