// The process's default handler, the kv_ reporting functions, the error
// lists and the boxed-text writers for C files.
#include <kvsupport/dynfunc.h>
#include <kvsupport/message.h>
#include <kvsupport/scan.h>

#include "core/text_util.h"
#include "format/boxed_text.h"
#include "format/c_format.h"

#include <cstdarg>

namespace {

// Bound by the application's definition of "getDefaultMessageHandler"; null
// while there is none.
YRef<MessageHandler> (*applicationHandler)() = nullptr;

RegisterDynFuncCall applicationHandlerCall(&applicationHandler, "getDefaultMessageHandler",
                                           "Support\\SupportMessageHandler", 72);

// The handler used while no application handler is bound. Never destroyed,
// so that messages sent during static destruction still have a handler.
YRef<MessageHandler> &unboundFallback()
{
    static YRef<MessageHandler> *ref = new YRef<MessageHandler>(new NullMessageHandler);
    return *ref;
}

// The handler used when the application's function gives no object.
YRef<MessageHandler> &emptyFallback()
{
    static YRef<MessageHandler> *ref = new YRef<MessageHandler>(new NullMessageHandler);
    return *ref;
}

// Runs \p use on the default handler. The fallbacks are used through plain
// references rather than YRef copies, so concurrent reporting threads never
// touch the shared (non-atomic) count of the static references.
template <class Use> void onDefaultHandler(Use &&use)
{
    if (applicationHandler == nullptr) {
        use(*unboundFallback().get());
        return;
    }
    YRef<MessageHandler> handler = applicationHandler();
    if (handler.isNull())
        use(*emptyFallback().get());
    else
        use(*handler.get());
}

// Writes boxed text to a C file; the console is never written.
struct FileSink {
    FILE *file;
    void operator()(const char *text, std::size_t length) const { std::fwrite(text, 1, length, file); }
};

inline bool boxTarget(FILE *file)
{
    return file != nullptr && file != stdout && file != stderr;
}

} // namespace

YRef<MessageHandler> sp_GetDefaultMessageHandler()
{
    if (applicationHandler == nullptr)
        return unboundFallback();
    YRef<MessageHandler> handler = applicationHandler();
    if (handler.isNull())
        return emptyFallback();
    return handler;
}

void kv_printf(const char *format, const PrintfArg &a1, const PrintfArg &a2, const PrintfArg &a3,
               const PrintfArg &a4)
{
    onDefaultHandler([&](MessageHandler &h) { h.printf(format, a1, a2, a3, a4); });
}

void kv_error(const char *format, const PrintfArg &a1, const PrintfArg &a2)
{
    onDefaultHandler([&](MessageHandler &h) { h.error(format, a1, a2); });
}

void kv_fprintf(FILE *file, const char *format, const PrintfArg &a1, const PrintfArg &a2,
                const PrintfArg &a3, const PrintfArg &a4)
{
    onDefaultHandler([&](MessageHandler &h) { h.fprintf(file, format, a1, a2, a3, a4); });
}

void kv_fprintf_array(FILE *file, const char *format, const YArray<PrintfArg> &args)
{
    onDefaultHandler([&](MessageHandler &h) { h.fprintf(file, format, args); });
}

void sp_WriteErrorList(YList<YString> *list, const char *format, const PrintfArg &a1,
                       const PrintfArg &a2, const PrintfArg &a3, const PrintfArg &a4)
{
    if (list == nullptr)
        return;
    VarStringPrintfBuf buffer;
    buffer.printf(format, a1, a2, a3, a4);
    YString text = YString("*** ERROR *** ") & buffer.getBuffer();
    list->prepend(text);
}

void sp_AddError(YList<YString> *list, const char *format, ...)
{
    if (list == nullptr)
        return;
    char buffer[512];
    buffer[0] = 0;
    if (format != nullptr) {
        va_list args;
        va_start(args, format);
        kv::detail::vformatC(buffer, sizeof buffer, format, args);
        va_end(args);
    }
    for (const YString &entry : *list)
        if (kv::detail::stricmp(entry.tocs(), buffer) == 0)
            return;
    list->prepend(YString(buffer));
}

void sp_PrintBoxEdge(FILE *file, int width)
{
    if (boxTarget(file))
        kv::detail::boxEdge(FileSink{file}, width);
}

void sp_PrintSides(FILE *file, int width)
{
    if (boxTarget(file))
        kv::detail::boxSides(FileSink{file}, width);
}

void sp_PrintLine(FILE *file, const char *text, int width)
{
    if (boxTarget(file))
        kv::detail::boxLine(FileSink{file}, text, width);
}

void sp_PrintLineCentred(FILE *file, const char *text, int width)
{
    if (boxTarget(file))
        kv::detail::boxLineCentred(FileSink{file}, text, width);
}

void sp_PrintBoxedText(FILE *file, const char *text, int width)
{
    if (boxTarget(file))
        kv::detail::boxText(FileSink{file}, text, width);
}
