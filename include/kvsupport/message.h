/// \file message.h
/// Message handlers and console output.
///
/// Everything the library says to a user goes through a MessageHandler: the
/// handler counts each kind of message, adds the kind's prefix and hands the
/// finished text to its one real operation, finalOutput. The process's
/// default handler comes from the application through the dynamic function
/// "getDefaultMessageHandler"; without one, messages vanish silently.
///
/// All handlers of the process share one recursive mutex, taken by the
/// prefixing step (output), so a message is never cut by another thread's
/// message. rawOutput and fprintf to stdout or stderr take no lock.
///
/// Also here: the error lists (sp_WriteErrorList, sp_AddError) and the
/// writers of boxed text for log files.
#ifndef KVSUPPORT_MESSAGE_H
#define KVSUPPORT_MESSAGE_H

#include <kvsupport/containers.h>
#include <kvsupport/exception.h>
#include <kvsupport/export.h>
#include <kvsupport/printf.h>
#include <kvsupport/ystring.h>

#include <atomic>
#include <cstdio>
#include <memory>

/// The kinds of message, with the prefix format each one gets from output.
enum MessageType {
    MsgError = 0,      ///< "Error : %s\n"
    MsgWarning = 1,    ///< "Warning : %s\n"
    MsgUnexpected = 2, ///< "Unexpected error, please contact support : %s\n"
    MsgInfo = 3,       ///< "%s\n"
    MsgPrintf = 4,     ///< the text as it is
    MsgHtml = 5,       ///< the text as it is; counted as a printf
    MsgFatal = 6       ///< "Fatal Error : %s\n"
};

/// Receives messages: counts them by kind, prefixes them, and passes the
/// finished text to finalOutput. Derive and implement finalOutput.
class KVSUPPORT_API MessageHandler {
    /// Receives the finished text of a message.
    virtual void finalOutput(MessageType kind, const YString &text) = 0;
    /// Takes the process-wide message mutex, adds the kind's prefix (an
    /// unknown kind gives an empty text) and calls finalOutput.
    virtual void output(MessageType kind, const YString &text);

public:
    /// All counters zero.
    MessageHandler();
    /// Copies the counters.
    MessageHandler(const MessageHandler &other);
    /// Copies the counters.
    MessageHandler &operator=(const MessageHandler &other);
    virtual ~MessageHandler();
    /// Asks the handler to send its output to a file; false here and in all
    /// the library's handlers.
    virtual bool redirectToFile(int mode, const YString &fileName);

    /// An error: "Error : " and the formatted text.
    void error(const char *format, const PrintfArg &a1, const PrintfArg &a2,
               const PrintfArg &a3 = PrintfArg(), const PrintfArg &a4 = PrintfArg());
    /// An error with at most one argument.
    void error(const char *format, const PrintfArg &a1 = PrintfArg());
    /// An error whose format is the exception's text: a '%' in it is read as a
    /// conversion (and shows "<arg-missing>").
    void error(const KvExceptionInterface &exception);
    /// A warning: "Warning : " and the formatted text.
    void warning(const char *format, const PrintfArg &a1, const PrintfArg &a2,
                 const PrintfArg &a3 = PrintfArg());
    /// A warning with at most one argument.
    void warning(const char *format, const PrintfArg &a1 = PrintfArg());
    /// A warning whose format is the exception's text.
    void warning(const KvExceptionInterface &exception);
    /// An unexpected (internal) error; counts as fatal.
    void unexpected(const char *format, const PrintfArg &a1 = PrintfArg(),
                    const PrintfArg &a2 = PrintfArg(), const PrintfArg &a3 = PrintfArg());
    /// A line of information, ended by a newline. Only the first three
    /// arguments reach the formatter; \p a4 is accepted and ignored.
    void info(const char *format, const PrintfArg &a1 = PrintfArg(), const PrintfArg &a2 = PrintfArg(),
              const PrintfArg &a3 = PrintfArg(), const PrintfArg &a4 = PrintfArg());
    /// Ordinary output, passed on as it is.
    void printf(const char *format, const PrintfArg &a1 = PrintfArg(), const PrintfArg &a2 = PrintfArg(),
                const PrintfArg &a3 = PrintfArg(), const PrintfArg &a4 = PrintfArg());
    /// Formats, then: to stdout, counts a printf and calls finalOutput
    /// (MsgPrintf); to stderr, counts an error and calls finalOutput (MsgError)
    /// with no prefix; to any other file, counts a printf and writes the text
    /// to the file directly. No lock is taken. A null file does nothing.
    void fprintf(FILE *file, const char *format, const PrintfArg &a1 = PrintfArg(),
                 const PrintfArg &a2 = PrintfArg(), const PrintfArg &a3 = PrintfArg(),
                 const PrintfArg &a4 = PrintfArg());
    /// fprintf with any number of arguments.
    void fprintf(FILE *file, const char *format, const YArray<PrintfArg> &args);
    /// Counts the message, then output (prefix and lock).
    void formattedOutput(MessageType kind, const YString &text);
    /// Counts the message, then finalOutput directly: no prefix, no lock.
    void rawOutput(MessageType kind, const YString &text);
    /// Passes each line of \p file through printf("%s\n"); null does nothing.
    void outputFile(FILE *file);

    /// Errors, fatal errors or unexpected errors were reported.
    bool hasErrors() const { return errors > 0 || fatals > 0 || unexpecteds > 0; }
    /// Fatal or unexpected errors were reported.
    bool hasFatal() const { return fatals > 0 || unexpecteds > 0; }
    /// Warnings were reported.
    bool hasWarnings() const { return warnings > 0; }

    /// Number of errors counted (MsgError, and fprintf to stderr).
    int getErrorCount() const { return errors; }
    /// Number of warnings counted.
    int getWarningCount() const { return warnings; }
    /// Number of fatal errors counted.
    int getFatalCount() const { return fatals; }
    /// Number of unexpected errors counted.
    int getUnexpectedCount() const { return unexpecteds; }
    /// Number of printf and HTML messages counted.
    int getPrintfCount() const { return printfs; }
    /// Number of info messages counted.
    int getInfoCount() const { return infos; }

private:
    void count(MessageType kind);
    void emitFormatted(MessageType kind, const char *format, const PrintfArg *const *args, int argCount);
    void emitToFile(FILE *file, const char *format, const PrintfArg *const *args, int argCount);

    std::atomic<int> errors;
    std::atomic<int> warnings;
    std::atomic<int> fatals;
    std::atomic<int> unexpecteds;
    std::atomic<int> printfs;
    std::atomic<int> infos;
};

/// A handler that throws every message away; its counters still count.
class KVSUPPORT_API NullMessageHandler : public MessageHandler {
    void finalOutput(MessageType kind, const YString &text) override;
    void output(MessageType kind, const YString &text) override;

public:
    NullMessageHandler();
    ~NullMessageHandler() override;
};

/// A handler that writes to a C file it does not own, without flushing.
class KVSUPPORT_API FileMessageHandler : public MessageHandler {
    void finalOutput(MessageType kind, const YString &text) override;

public:
    /// No file attached: messages go nowhere.
    FileMessageHandler();
    ~FileMessageHandler() override;
    /// Sets the file (null detaches). stdout and stderr are refused, since
    /// writing to them would come back to this handler: they detach.
    void attach(FILE *file);
    /// The attached file, or null.
    FILE *getFile() const { return file; }

private:
    FILE *file;
};

/// A handler that collects each finished message as a string.
class KVSUPPORT_API StringMessageHandler : public MessageHandler {
    void finalOutput(MessageType kind, const YString &text) override;

public:
    /// An empty collection.
    StringMessageHandler();
    /// Shares \p other's collection; only the counters are the copy's own.
    StringMessageHandler(const StringMessageHandler &other);
    ~StringMessageHandler() override;
    StringMessageHandler &operator=(const StringMessageHandler &) = delete;

    /// The messages collected, oldest first.
    const YArray<YString> &getStrings() const { return *strings; }
    /// Destroys the collected strings, from the last to the first.
    void flush();

private:
    std::shared_ptr<YArray<YString>> strings;
};

/// The process's default handler: the application's, through the dynamic
/// function "getDefaultMessageHandler", or a NullMessageHandler when there is
/// none or it gives no object. Never empty.
KVSUPPORT_API YRef<MessageHandler> sp_GetDefaultMessageHandler();

/// printf on the default handler.
KVSUPPORT_API void kv_printf(const char *format, const PrintfArg &a1 = PrintfArg(),
                             const PrintfArg &a2 = PrintfArg(), const PrintfArg &a3 = PrintfArg(),
                             const PrintfArg &a4 = PrintfArg());
/// error on the default handler.
KVSUPPORT_API void kv_error(const char *format, const PrintfArg &a1 = PrintfArg(),
                            const PrintfArg &a2 = PrintfArg());
/// fprintf on the default handler.
KVSUPPORT_API void kv_fprintf(FILE *file, const char *format, const PrintfArg &a1 = PrintfArg(),
                              const PrintfArg &a2 = PrintfArg(), const PrintfArg &a3 = PrintfArg(),
                              const PrintfArg &a4 = PrintfArg());
/// fprintf with an argument array on the default handler.
KVSUPPORT_API void kv_fprintf_array(FILE *file, const char *format, const YArray<PrintfArg> &args);

/// Formats the text, puts "*** ERROR *** " before it and inserts it at the
/// head of \p list, duplicates included.
KVSUPPORT_API void sp_WriteErrorList(YList<YString> *list, const char *format,
                                     const PrintfArg &a1 = PrintfArg(), const PrintfArg &a2 = PrintfArg(),
                                     const PrintfArg &a3 = PrintfArg(), const PrintfArg &a4 = PrintfArg());

/// Formats like the C library's printf (at most 511 characters) and inserts
/// the text at the head of \p list unless the list holds it already,
/// ignoring case.
KVSUPPORT_API void sp_AddError(YList<YString> *list, const char *format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 2, 3)))
#endif
    ;

/// \p width asterisks and a newline. Like every boxed-text writer, it writes
/// nothing to a null file, stdout or stderr: boxes are for log files.
KVSUPPORT_API void sp_PrintBoxEdge(FILE *file, int width);
/// "***", width - 6 blanks, "***\n".
KVSUPPORT_API void sp_PrintSides(FILE *file, int width);
/// "*** ", the text, width - length - 7 blanks (when above 0), "***\n".
KVSUPPORT_API void sp_PrintLine(FILE *file, const char *text, int width);
/// "*** ", the text centred in width - length - 7 blanks (the left part
/// rounded down), "***\n".
KVSUPPORT_API void sp_PrintLineCentred(FILE *file, const char *text, int width);
/// Edge, sides, each line of \p text centred, sides, edge.
KVSUPPORT_API void sp_PrintBoxedText(FILE *file, const char *text, int width);

#endif
