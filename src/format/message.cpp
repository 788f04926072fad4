// MessageHandler and its library handlers.
#include <kvsupport/message.h>
#include <kvsupport/scan.h>

#include <mutex>

namespace {

// The one lock of all handlers of the process. It is made on first use and
// never destroyed, so that messages sent while static objects are being
// destroyed still find it.
std::recursive_mutex &messageMutex()
{
    static std::recursive_mutex *mutex = new std::recursive_mutex;
    return *mutex;
}

const char *prefixFormat(MessageType kind)
{
    switch (kind) {
    case MsgError:
        return "Error : %s\n";
    case MsgWarning:
        return "Warning : %s\n";
    case MsgUnexpected:
        return "Unexpected error, please contact support : %s\n";
    case MsgInfo:
        return "%s\n";
    case MsgFatal:
        return "Fatal Error : %s\n";
    default:
        return nullptr;
    }
}

inline bool isConsole(FILE *file)
{
    return file == stdout || file == stderr;
}

} // namespace

MessageHandler::MessageHandler()
    : errors(0), warnings(0), fatals(0), unexpecteds(0), printfs(0), infos(0)
{
}

MessageHandler::MessageHandler(const MessageHandler &other)
    : errors(other.errors.load()), warnings(other.warnings.load()), fatals(other.fatals.load()),
      unexpecteds(other.unexpecteds.load()), printfs(other.printfs.load()), infos(other.infos.load())
{
}

MessageHandler &MessageHandler::operator=(const MessageHandler &other)
{
    errors = other.errors.load();
    warnings = other.warnings.load();
    fatals = other.fatals.load();
    unexpecteds = other.unexpecteds.load();
    printfs = other.printfs.load();
    infos = other.infos.load();
    return *this;
}

MessageHandler::~MessageHandler() = default;

bool MessageHandler::redirectToFile(int, const YString &)
{
    return false;
}

void MessageHandler::count(MessageType kind)
{
    switch (kind) {
    case MsgError:
        ++errors;
        break;
    case MsgWarning:
        ++warnings;
        break;
    case MsgUnexpected:
        ++unexpecteds;
        break;
    case MsgInfo:
        ++infos;
        break;
    case MsgPrintf:
    case MsgHtml:
        ++printfs;
        break;
    case MsgFatal:
        ++fatals;
        break;
    }
}

void MessageHandler::output(MessageType kind, const YString &text)
{
    std::lock_guard<std::recursive_mutex> hold(messageMutex());
    YString finalText;
    if (kind == MsgPrintf || kind == MsgHtml) {
        finalText = text;
    } else if (const char *prefix = prefixFormat(kind)) {
        finalText.sprintf(prefix, text.tocs());
    }
    finalOutput(kind, finalText);
}

void MessageHandler::emitFormatted(MessageType kind, const char *format, const PrintfArg *const *args,
                                   int argCount)
{
    VarStringPrintfBuf buffer;
    buffer.printfArgs(format, args, argCount);
    YString text(buffer.getBuffer());
    count(kind);
    output(kind, text);
}

void MessageHandler::error(const char *format, const PrintfArg &a1, const PrintfArg &a2,
                           const PrintfArg &a3, const PrintfArg &a4)
{
    const PrintfArg *args[] = {&a1, &a2, &a3, &a4};
    emitFormatted(MsgError, format, args, 4);
}

void MessageHandler::error(const char *format, const PrintfArg &a1)
{
    const PrintfArg *args[] = {&a1};
    emitFormatted(MsgError, format, args, 1);
}

void MessageHandler::error(const KvExceptionInterface &exception)
{
    const char *text = exception.getMessage();
    error(text != nullptr ? text : "", PrintfArg());
}

void MessageHandler::warning(const char *format, const PrintfArg &a1, const PrintfArg &a2,
                             const PrintfArg &a3)
{
    const PrintfArg *args[] = {&a1, &a2, &a3};
    emitFormatted(MsgWarning, format, args, 3);
}

void MessageHandler::warning(const char *format, const PrintfArg &a1)
{
    const PrintfArg *args[] = {&a1};
    emitFormatted(MsgWarning, format, args, 1);
}

void MessageHandler::warning(const KvExceptionInterface &exception)
{
    const char *text = exception.getMessage();
    warning(text != nullptr ? text : "", PrintfArg());
}

void MessageHandler::unexpected(const char *format, const PrintfArg &a1, const PrintfArg &a2,
                                const PrintfArg &a3)
{
    const PrintfArg *args[] = {&a1, &a2, &a3};
    emitFormatted(MsgUnexpected, format, args, 3);
}

void MessageHandler::info(const char *format, const PrintfArg &a1, const PrintfArg &a2,
                          const PrintfArg &a3, const PrintfArg & /*a4: accepted, never formatted*/)
{
    const PrintfArg *args[] = {&a1, &a2, &a3};
    emitFormatted(MsgInfo, format, args, 3);
}

void MessageHandler::printf(const char *format, const PrintfArg &a1, const PrintfArg &a2,
                            const PrintfArg &a3, const PrintfArg &a4)
{
    const PrintfArg *args[] = {&a1, &a2, &a3, &a4};
    emitFormatted(MsgPrintf, format, args, 4);
}

void MessageHandler::emitToFile(FILE *file, const char *format, const PrintfArg *const *args,
                                int argCount)
{
    if (file == nullptr)
        return;
    VarStringPrintfBuf buffer;
    buffer.printfArgs(format, args, argCount);
    YString text(buffer.getBuffer());
    if (file == stdout) {
        ++printfs;
        finalOutput(MsgPrintf, text);
    } else if (file == stderr) {
        ++errors;
        finalOutput(MsgError, text);
    } else {
        ++printfs;
        std::fwrite(text.tocs(), 1, static_cast<std::size_t>(text.length()), file);
    }
}

void MessageHandler::fprintf(FILE *file, const char *format, const PrintfArg &a1, const PrintfArg &a2,
                             const PrintfArg &a3, const PrintfArg &a4)
{
    const PrintfArg *args[] = {&a1, &a2, &a3, &a4};
    emitToFile(file, format, args, 4);
}

void MessageHandler::fprintf(FILE *file, const char *format, const YArray<PrintfArg> &args)
{
    const int n = args.getCount();
    YVector<const PrintfArg *> pointers(static_cast<unsigned int>(n > 0 ? n : 0), true);
    for (int i = 0; i < n; ++i)
        pointers[static_cast<unsigned int>(i)] = &args.at(i);
    emitToFile(file, format, n > 0 ? &pointers[0u] : nullptr, n);
}

void MessageHandler::formattedOutput(MessageType kind, const YString &text)
{
    count(kind);
    output(kind, text);
}

void MessageHandler::rawOutput(MessageType kind, const YString &text)
{
    count(kind);
    finalOutput(kind, text);
}

void MessageHandler::outputFile(FILE *file)
{
    if (file == nullptr)
        return;
    YString line;
    for (;;) {
        const bool fed = sp_ReadNextLine(file, &line);
        if (!fed && line.isEmpty())
            break;
        printf("%s\n", line);
        if (!fed)
            break;
    }
}

// NullMessageHandler

NullMessageHandler::NullMessageHandler() = default;
NullMessageHandler::~NullMessageHandler() = default;

void NullMessageHandler::finalOutput(MessageType, const YString &)
{
}

void NullMessageHandler::output(MessageType, const YString &)
{
}

// FileMessageHandler

FileMessageHandler::FileMessageHandler() : file(nullptr)
{
}

FileMessageHandler::~FileMessageHandler() = default;

void FileMessageHandler::attach(FILE *f)
{
    file = isConsole(f) ? nullptr : f;
}

void FileMessageHandler::finalOutput(MessageType, const YString &text)
{
    if (file != nullptr)
        fprintf(file, "%s", text);
}

// StringMessageHandler

StringMessageHandler::StringMessageHandler() : strings(std::make_shared<YArray<YString>>(5))
{
}

StringMessageHandler::StringMessageHandler(const StringMessageHandler &other)
    : MessageHandler(other), strings(other.strings)
{
}

StringMessageHandler::~StringMessageHandler() = default;

void StringMessageHandler::finalOutput(MessageType, const YString &text)
{
    strings->add(text);
}

void StringMessageHandler::flush()
{
    strings->clear();
}
