/// \file printf.h
/// The typed printf engine.
///
/// Formatting without variable argument lists: a caller passes a format and
/// up to four PrintfArg values, each of which knows its own type. The engine
/// (PrintfBuf::process) takes each conversion apart and converts the value to
/// what the conversion letter asks for, whatever its type: a number can be
/// printed by "%s" and a text by "%g". A wrong or missing argument never
/// crashes; it produces a placeholder text:
///   "<arg-missing>"              a conversion with no argument left
///   "<unsupported-format-type>"  the conversions n, p, C and S
///   "<unrecognised-format-type>" any other unknown conversion letter
///   "<unsupported>"              an argument of type PrintfArgUnsupported, as text
///   "<undefined>"                an undefined argument, as text
///   "<error>"                    an argument with an unknown type code, as text
/// The size modifiers h, l, ll, w, I32, I64 and I are accepted; ll and I64
/// select 64-bit integers, the others change nothing.
///
/// Widths and precisions above 1000000 count as 1000000, and a growing sink
/// drops a piece that would need more than 256 MiB.
///
/// Numbers are always formatted as in the C locale, whatever the process
/// locale is.
#ifndef KVSUPPORT_PRINTF_H
#define KVSUPPORT_PRINTF_H

#include <kvsupport/export.h>

#include <cstdarg>
#include <cstdio>

class YString;
class QString;
template <typename T>
class YArray;

/// Type codes of PrintfArg.
enum PrintfArgType {
    PrintfArgString = 0,      ///< text pointer (may be null)
    PrintfArgInt = 1,         ///< signed 32-bit integer
    PrintfArgInt64 = 2,       ///< signed 64-bit integer
    PrintfArgDouble = 3,      ///< double
    PrintfArgUnsupported = 4, ///< no value
    PrintfArgUndefined = 5    ///< no value: an argument the caller did not give
};

/// One typed argument of the printf engine, passed by value.
///
/// A `const char *` source is referenced, not copied; a YString or QString
/// source is copied into text owned by the argument (as UTF-8).
class KVSUPPORT_API PrintfArg {
public:
    /// An undefined argument (PrintfArgUndefined).
    PrintfArg() : type(PrintfArgUndefined), owned(nullptr) { value.i64 = 0; }
    /// A text argument referring to the caller's text.
    PrintfArg(const char *text) : type(PrintfArgString), owned(nullptr) { value.text = text; }
    /// A text argument referring to the caller's text.
    PrintfArg(char *text) : type(PrintfArgString), owned(nullptr) { value.text = text; }
    /// A text argument holding a copy of \p text.
    PrintfArg(const YString &text);
    /// A text argument holding a UTF-8 copy of \p text.
    PrintfArg(const QString &text);
    /// A 32-bit integer argument.
    PrintfArg(int v) : type(PrintfArgInt), owned(nullptr) { value.i32 = v; }
    /// A 32-bit integer argument (same bits as the unsigned value).
    PrintfArg(unsigned int v) : type(PrintfArgInt), owned(nullptr) { value.i32 = static_cast<int>(v); }
    /// A 32-bit integer argument.
    PrintfArg(short v) : type(PrintfArgInt), owned(nullptr) { value.i32 = v; }
    /// A 32-bit integer argument.
    PrintfArg(unsigned short v) : type(PrintfArgInt), owned(nullptr) { value.i32 = v; }
    /// A 32-bit integer argument holding the character code.
    PrintfArg(char v) : type(PrintfArgInt), owned(nullptr) { value.i32 = v; }
    /// A 32-bit integer argument: 1 or 0.
    PrintfArg(bool v) : type(PrintfArgInt), owned(nullptr) { value.i32 = v ? 1 : 0; }
    /// A 64-bit integer argument.
    PrintfArg(long long v) : type(PrintfArgInt64), owned(nullptr) { value.i64 = v; }
    /// A 64-bit integer argument.
    PrintfArg(long v) : type(PrintfArgInt64), owned(nullptr) { value.i64 = v; }
    /// A 64-bit integer argument (same bits as the unsigned value).
    PrintfArg(unsigned long long v) : type(PrintfArgInt64), owned(nullptr) { value.i64 = static_cast<long long>(v); }
    /// A 64-bit integer argument (same bits as the unsigned value).
    PrintfArg(unsigned long v) : type(PrintfArgInt64), owned(nullptr) { value.i64 = static_cast<long long>(v); }
    /// A double argument.
    PrintfArg(double v) : type(PrintfArgDouble), owned(nullptr) { value.d = v; }
    /// A double argument.
    PrintfArg(float v) : type(PrintfArgDouble), owned(nullptr) { value.d = v; }
    /// An argument of the given type code with no value: use it for
    /// PrintfArgUnsupported (or any code above 3, which prints "<error>" as text).
    static PrintfArg ofType(int typeCode);

    /// Copies the value; owned text is copied too.
    PrintfArg(const PrintfArg &other);
    /// Copies the value; owned text is copied too.
    PrintfArg &operator=(const PrintfArg &other);
    /// Frees the owned text.
    ~PrintfArg();

    /// The type code (a PrintfArgType value).
    int getType() const { return type; }
    /// The value as a 32-bit integer (see the engine's conversion table).
    int asInt() const;
    /// The value as a 64-bit integer.
    long long asInt64() const;
    /// The value as a double.
    double asDouble() const;
    /// The value as text, formatted into \p scratch (at least 64 bytes) when
    /// it is a number; null for a null text argument.
    const char *asText(char *scratch, int scratchSize) const;

private:
    int type;
    char *owned;
    union {
        const char *text;
        int i32;
        long long i64;
        double d;
    } value;
};

/// The engine and its sink interface. Derived classes decide where text goes.
class KVSUPPORT_API PrintfBuf {
public:
    virtual ~PrintfBuf();

    /// Formats \p format with no arguments.
    bool printf(const char *format);
    /// Formats \p format with one argument.
    bool printf(const char *format, const PrintfArg &a1);
    /// Formats \p format with two arguments.
    bool printf(const char *format, const PrintfArg &a1, const PrintfArg &a2);
    /// Formats \p format with three arguments.
    bool printf(const char *format, const PrintfArg &a1, const PrintfArg &a2, const PrintfArg &a3);
    /// Formats \p format with four arguments.
    bool printf(const char *format, const PrintfArg &a1, const PrintfArg &a2, const PrintfArg &a3,
                const PrintfArg &a4);
    /// Formats \p format with any number of arguments, taken from \p args in
    /// order (include <kvsupport/containers.h> to build the array). The array
    /// is taken by value: its copies of the arguments are destroyed at the end.
    bool printf(const char *format, YArray<PrintfArg> args);
    /// Formats \p format with \p argCount arguments; \p argsUsed (may be null)
    /// receives the index of the next argument after the format. True unless
    /// the conversions outran the arguments.
    bool printfArgs(const char *format, const PrintfArg *const *args, int argCount, int *argsUsed = nullptr);

protected:
    /// The engine. Returns true unless the conversions outran the arguments.
    bool process(const char *format, int *argsUsed, const PrintfArg **args, int argCount);

    /// Writes \p value formatted by the single conversion \p format.
    virtual void printf_local(const char *format, long long value, int width) = 0;
    /// Writes \p value formatted by the single conversion \p format.
    virtual void printf_local(const char *format, int value, int width) = 0;
    /// Writes \p value formatted by the single conversion \p format.
    virtual void printf_local(const char *format, double value, int width) = 0;
    /// Writes \p value formatted by the single conversion \p format.
    virtual void printf_local(const char *format, const char *value, int width) = 0;
    /// Writes literal text, read as a format without arguments: "%%" gives '%'.
    virtual void printf_local(const char *text) = 0;
    /// Called once at the end of each format; does nothing here.
    virtual void write();
};

/// A sink over a fixed caller buffer. It never overflows: a piece that does
/// not fit is cut (the bounded formatter's cut text stays behind the write
/// position) and later pieces are still tried.
class KVSUPPORT_API StringPrintfBuf : public PrintfBuf {
public:
    /// Terminates \p buffer at once; the capacity is size - 1 characters.
    StringPrintfBuf(char *buffer, int size);
    /// The start of the buffer.
    char *getBuffer() const { return start; }

protected:
    void printf_local(const char *format, long long value, int width) override;
    void printf_local(const char *format, int value, int width) override;
    void printf_local(const char *format, double value, int width) override;
    void printf_local(const char *format, const char *value, int width) override;
    void printf_local(const char *text) override;
    /// Asks for room for \p needed more characters; false here.
    virtual bool reallocate(int needed);

    char *position;  ///< write position
    int remaining;   ///< characters still free, not counting the terminator
    char *start;     ///< start of the buffer

private:
    template <typename Fn> void emit(Fn &&format, int width, int literalLength);
};

/// A sink that grows: text of up to 127 characters stays in an inline buffer,
/// longer text moves to the heap. getBuffer() gives the text.
class KVSUPPORT_API VarStringPrintfBuf : public StringPrintfBuf {
public:
    /// Empty, on the inline buffer (capacity 127).
    VarStringPrintfBuf();
    /// Member-wise copy: the copy's pointers still lead into \p other's buffer,
    /// and only \p other frees its heap buffer.
    VarStringPrintfBuf(const VarStringPrintfBuf &other);
    /// Frees the heap buffer, if any.
    ~VarStringPrintfBuf() override;

protected:
    bool reallocate(int needed) override;

private:
    VarStringPrintfBuf &operator=(const VarStringPrintfBuf &) = delete;
    char inlineBuffer[128];
    int total;
    bool usingInline;
    bool ownsHeap;
};

/// A sink that writes to a C file, which it does not own.
class KVSUPPORT_API FilePrintfBuf : public PrintfBuf {
public:
    /// Writes to \p file (null writes nothing).
    explicit FilePrintfBuf(FILE *file) : file(file) {}

protected:
    void printf_local(const char *format, long long value, int width) override;
    void printf_local(const char *format, int value, int width) override;
    void printf_local(const char *format, double value, int width) override;
    void printf_local(const char *format, const char *value, int width) override;
    void printf_local(const char *text) override;

private:
    FILE *file;
};

/// Formats into \p buffer of \p size bytes, which never overflows. False only
/// when a conversion found no argument.
KVSUPPORT_API bool sp_sprintf(char *buffer, int size, const char *format);
/// \copydoc sp_sprintf(char*,int,const char*)
KVSUPPORT_API bool sp_sprintf(char *buffer, int size, const char *format, const PrintfArg &a1);
/// \copydoc sp_sprintf(char*,int,const char*)
KVSUPPORT_API bool sp_sprintf(char *buffer, int size, const char *format, const PrintfArg &a1,
                              const PrintfArg &a2);
/// \copydoc sp_sprintf(char*,int,const char*)
KVSUPPORT_API bool sp_sprintf(char *buffer, int size, const char *format, const PrintfArg &a1,
                              const PrintfArg &a2, const PrintfArg &a3);
/// \copydoc sp_sprintf(char*,int,const char*)
KVSUPPORT_API bool sp_sprintf(char *buffer, int size, const char *format, const PrintfArg &a1,
                              const PrintfArg &a2, const PrintfArg &a3, const PrintfArg &a4);

/// Formats to \p file. False only when a conversion found no argument.
KVSUPPORT_API bool sp_fprintf(FILE *file, const char *format);
/// \copydoc sp_fprintf(FILE*,const char*)
KVSUPPORT_API bool sp_fprintf(FILE *file, const char *format, const PrintfArg &a1);
/// \copydoc sp_fprintf(FILE*,const char*)
KVSUPPORT_API bool sp_fprintf(FILE *file, const char *format, const PrintfArg &a1, const PrintfArg &a2);
/// \copydoc sp_fprintf(FILE*,const char*)
KVSUPPORT_API bool sp_fprintf(FILE *file, const char *format, const PrintfArg &a1, const PrintfArg &a2,
                              const PrintfArg &a3);
/// \copydoc sp_fprintf(FILE*,const char*)
KVSUPPORT_API bool sp_fprintf(FILE *file, const char *format, const PrintfArg &a1, const PrintfArg &a2,
                              const PrintfArg &a3, const PrintfArg &a4);

/// Estimates the room a C-style format needs with the arguments in \p args,
/// by the library's sizing pass: ordinary characters count 1, "%%" nothing;
/// after flags and width a '.' ends the conversion (the precision is not
/// read and nothing is consumed); s adds the text's length (0 for null), S
/// the wide text's length, g G e E f d i o u x X n add 50, p 32, C 10, c 1,
/// anything else 0; after each conversion the total is at least the width.
/// An argument that the walk takes as a text but that the format's real
/// arguments do not hold as a pointer counts as an empty text, so the
/// estimate never follows a number as a pointer. Allocates nothing.
KVSUPPORT_API int sp_EstimatePrintfBufferSize(const char *format, va_list args);

/// 64-bit form of atoi: optional white space and sign, then decimal digits;
/// 0 for null or no digits; saturates on overflow.
KVSUPPORT_API long long sp_atoi64(const char *text);

#endif
