// Tests of the message handlers, the default handler, the error lists and the
// boxed-text writers.
#include <kvsupport/dynfunc.h>
#include <kvsupport/exception.h>
#include <kvsupport/message.h>

#include "support/test_support.h"

#include <gtest/gtest.h>

#include <atomic>
#include <clocale>
#include <cstdio>
#include <fstream>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {

std::vector<std::string> collected(const StringMessageHandler &h)
{
    std::vector<std::string> v;
    for (int i = 0; i < h.getStrings().getCount(); ++i)
        v.emplace_back(h.getStrings().at(i).tocs());
    return v;
}

using Strings = std::vector<std::string>;

// A file in a fresh temporary directory, open for writing and reading back.
class ScratchFile {
public:
    ScratchFile() : path(kvtest::makeTempDir("msg") + "/out.txt"), file(std::fopen(path.c_str(), "w+b")) {}
    ~ScratchFile() { std::fclose(file); }
    FILE *get() const { return file; }
    std::string text() const
    {
        std::fflush(file);
        return kvtest::readFile(path);
    }

    std::string path;
    FILE *file;
};

// Records each final text with its kind.
class RecordingHandler : public MessageHandler {
    void finalOutput(MessageType kind, const YString &text) override
    {
        kinds.push_back(kind);
        texts.emplace_back(text.tocs());
    }

public:
    std::vector<MessageType> kinds;
    Strings texts;
};

} // namespace

// ------------------------------------------------------------ prefixes, counts

TEST(MessageHandlerTest, KindsHaveTheirFixedValues)
{
    // The values travel between modules built apart: they never change.
    EXPECT_EQ(static_cast<int>(MsgError), 0);
    EXPECT_EQ(static_cast<int>(MsgWarning), 1);
    EXPECT_EQ(static_cast<int>(MsgUnexpected), 2);
    EXPECT_EQ(static_cast<int>(MsgInfo), 3);
    EXPECT_EQ(static_cast<int>(MsgPrintf), 4);
    EXPECT_EQ(static_cast<int>(MsgHtml), 5);
    EXPECT_EQ(static_cast<int>(MsgFatal), 6);
}

TEST(MessageHandlerTest, ErrorIsPrefixedAndCounted)
{
    StringMessageHandler h;
    h.error("x %d", 5);
    EXPECT_EQ(collected(h), (Strings{"Error : x 5\n"}));
    EXPECT_TRUE(h.hasErrors());
    EXPECT_FALSE(h.hasFatal());
    EXPECT_FALSE(h.hasWarnings());
    EXPECT_EQ(h.getErrorCount(), 1);
    h.error("%s and %d and %s", "a", 2, "c", 4);
    EXPECT_EQ(collected(h).back(), "Error : a and 2 and c\n");
    h.error("plain");
    EXPECT_EQ(collected(h).back(), "Error : plain\n");
    EXPECT_EQ(h.getErrorCount(), 3);
}

TEST(MessageHandlerTest, UnexpectedIsFatal)
{
    StringMessageHandler h;
    h.unexpected("x");
    EXPECT_EQ(collected(h), (Strings{"Unexpected error, please contact support : x\n"}));
    EXPECT_TRUE(h.hasFatal());
    EXPECT_TRUE(h.hasErrors());
    EXPECT_EQ(h.getUnexpectedCount(), 1);
    EXPECT_EQ(h.getErrorCount(), 0);
}

TEST(MessageHandlerTest, PrintfPassesAsItIsAndInfoAddsNewline)
{
    StringMessageHandler h;
    h.printf("a\n");
    h.info("a");
    h.printf("%d-%d-%d-%d", 1, 2, 3, 4);
    EXPECT_EQ(collected(h), (Strings{"a\n", "a\n", "1-2-3-4"}));
    EXPECT_EQ(h.getPrintfCount(), 2);
    EXPECT_EQ(h.getInfoCount(), 1);
    EXPECT_FALSE(h.hasErrors());
}

TEST(MessageHandlerTest, InfoIgnoresItsFourthArgument)
{
    StringMessageHandler h;
    h.info("%s %s %s %s", "a", "b", "c", "d");
    EXPECT_EQ(collected(h), (Strings{"a b c <arg-missing>\n"}));
}

TEST(MessageHandlerTest, Warnings)
{
    StringMessageHandler h;
    h.warning("w %s", "one");
    h.warning("w %s %d %s", "x", 2, "z");
    EXPECT_EQ(collected(h), (Strings{"Warning : w one\n", "Warning : w x 2 z\n"}));
    EXPECT_TRUE(h.hasWarnings());
    EXPECT_FALSE(h.hasErrors());
    EXPECT_EQ(h.getWarningCount(), 2);
}

TEST(MessageHandlerTest, ExceptionTextIsTheFormat)
{
    StringMessageHandler h;
    KelvoranException plain("disk full");
    h.error(KvExceptionRef(plain));
    KelvoranException percent("load at %s now");
    h.error(KvExceptionRef(percent));
    h.warning(KvExceptionRef(percent));
    EXPECT_EQ(collected(h), (Strings{"Error : disk full\n", "Error : load at <arg-missing> now\n",
                                     "Warning : load at <arg-missing> now\n"}));
    EXPECT_EQ(h.getErrorCount(), 2);
    EXPECT_EQ(h.getWarningCount(), 1);
}

TEST(MessageHandlerTest, FormattedAndRawOutput)
{
    StringMessageHandler h;
    h.formattedOutput(MsgFatal, "boom");
    h.formattedOutput(MsgHtml, "<b>x</b>");
    h.formattedOutput(MsgInfo, "i");
    h.rawOutput(MsgError, "raw");
    h.rawOutput(MsgFatal, "raw fatal");
    EXPECT_EQ(collected(h), (Strings{"Fatal Error : boom\n", "<b>x</b>", "i\n", "raw", "raw fatal"}));
    EXPECT_EQ(h.getFatalCount(), 2);
    EXPECT_EQ(h.getPrintfCount(), 1);
    EXPECT_EQ(h.getInfoCount(), 1);
    EXPECT_EQ(h.getErrorCount(), 1);
    EXPECT_TRUE(h.hasFatal());
}

TEST(MessageHandlerTest, UnknownKindGivesEmptyTextAndNoCount)
{
    RecordingHandler h;
    h.formattedOutput(static_cast<MessageType>(42), "lost");
    ASSERT_EQ(h.texts.size(), 1u);
    EXPECT_EQ(h.texts[0], "");
    EXPECT_EQ(h.kinds[0], static_cast<MessageType>(42));
    EXPECT_FALSE(h.hasErrors());
    EXPECT_EQ(h.getPrintfCount() + h.getInfoCount() + h.getWarningCount(), 0);
}

TEST(MessageHandlerTest, PercentInTextOfPrefixIsKept)
{
    StringMessageHandler h;
    h.error("%s", "100% sure");
    h.info("50%%");
    EXPECT_EQ(collected(h), (Strings{"Error : 100% sure\n", "50%\n"}));
}

TEST(MessageHandlerTest, RedirectToFileIsRefused)
{
    StringMessageHandler s;
    NullMessageHandler n;
    FileMessageHandler f;
    EXPECT_FALSE(s.redirectToFile(1, "x.log"));
    EXPECT_FALSE(n.redirectToFile(0, "x.log"));
    EXPECT_FALSE(f.redirectToFile(2, "x.log"));
}

TEST(MessageHandlerTest, FatalAloneIsAnErrorAndErrorsAloneAreNotFatal)
{
    NullMessageHandler fatal;
    EXPECT_FALSE(fatal.hasErrors());
    EXPECT_FALSE(fatal.hasFatal());
    EXPECT_FALSE(fatal.hasWarnings());
    fatal.rawOutput(MsgFatal, "x");
    EXPECT_TRUE(fatal.hasErrors());
    EXPECT_TRUE(fatal.hasFatal());
    EXPECT_EQ(fatal.getErrorCount(), 0);

    NullMessageHandler plain;
    plain.error("e");
    plain.warning("w");
    plain.info("i");
    plain.printf("p");
    EXPECT_TRUE(plain.hasErrors());
    EXPECT_FALSE(plain.hasFatal());
    EXPECT_TRUE(plain.hasWarnings());
    EXPECT_EQ(plain.getInfoCount(), 1);
    EXPECT_EQ(plain.getPrintfCount(), 1);
    EXPECT_EQ(plain.getFatalCount(), 0);
    EXPECT_EQ(plain.getUnexpectedCount(), 0);
}

TEST(MessageHandlerTest, ShortFormsFormatOnlyTheirArguments)
{
    StringMessageHandler h;
    h.error("%s %s", "one");
    h.warning("%d %d", 1);
    h.unexpected("%s/%s/%s", "a", "b", "c");
    h.unexpected("none %d");
    EXPECT_EQ(collected(h), (Strings{"Error : one <arg-missing>\n", "Warning : 1 <arg-missing>\n",
                                     "Unexpected error, please contact support : a/b/c\n",
                                     "Unexpected error, please contact support : none <arg-missing>\n"}));
    EXPECT_EQ(h.getUnexpectedCount(), 2);
}

TEST(MessageHandlerTest, EveryPrefixThroughFormattedOutput)
{
    StringMessageHandler h;
    h.formattedOutput(MsgError, "e");
    h.formattedOutput(MsgWarning, "w");
    h.formattedOutput(MsgUnexpected, "u");
    h.formattedOutput(MsgInfo, "i");
    h.formattedOutput(MsgPrintf, "p");
    h.formattedOutput(MsgHtml, "h");
    h.formattedOutput(MsgFatal, "f");
    EXPECT_EQ(collected(h), (Strings{"Error : e\n", "Warning : w\n",
                                     "Unexpected error, please contact support : u\n", "i\n", "p", "h",
                                     "Fatal Error : f\n"}));
    EXPECT_EQ(h.getErrorCount(), 1);
    EXPECT_EQ(h.getWarningCount(), 1);
    EXPECT_EQ(h.getUnexpectedCount(), 1);
    EXPECT_EQ(h.getInfoCount(), 1);
    EXPECT_EQ(h.getPrintfCount(), 2);
    EXPECT_EQ(h.getFatalCount(), 1);
}

TEST(MessageHandlerTest, RawOutputOfUnknownKindPassesTheTextUncounted)
{
    RecordingHandler h;
    h.rawOutput(static_cast<MessageType>(-1), "as is");
    ASSERT_EQ(h.texts.size(), 1u);
    EXPECT_EQ(h.texts[0], "as is");
    EXPECT_EQ(h.getErrorCount() + h.getWarningCount() + h.getFatalCount() + h.getUnexpectedCount() +
                  h.getPrintfCount() + h.getInfoCount(),
              0);
}

TEST(MessageHandlerTest, LongMessagesAreKeptWhole)
{
    const std::string big(100000, 'x');
    StringMessageHandler h;
    h.error("%s", big.c_str());
    h.printf("%s", big.c_str());
    h.info(big.c_str());
    EXPECT_EQ(collected(h), (Strings{"Error : " + big + "\n", big, big + "\n"}));
    YList<YString> list;
    sp_WriteErrorList(&list, "%s", big.c_str());
    ASSERT_EQ(list.getCount(), 1);
    EXPECT_EQ(std::string(list.first()->tocs()), "*** ERROR *** " + big);
}

// -------------------------------------------------------------------- fprintf

TEST(MessageHandlerFprintf, StderrCountsAnErrorWithoutPrefix)
{
    RecordingHandler h;
    h.fprintf(stderr, "bad %d\n", 7);
    ASSERT_EQ(h.texts.size(), 1u);
    EXPECT_EQ(h.texts[0], "bad 7\n");
    EXPECT_EQ(h.kinds[0], MsgError);
    EXPECT_TRUE(h.hasErrors());
    EXPECT_EQ(h.getErrorCount(), 1);
}

TEST(MessageHandlerFprintf, StdoutIsAPrintf)
{
    RecordingHandler h;
    h.fprintf(stdout, "out %s", "x");
    ASSERT_EQ(h.texts.size(), 1u);
    EXPECT_EQ(h.texts[0], "out x");
    EXPECT_EQ(h.kinds[0], MsgPrintf);
    EXPECT_EQ(h.getPrintfCount(), 1);
}

TEST(MessageHandlerFprintf, OtherFileIsWrittenDirectly)
{
    RecordingHandler h;
    ScratchFile f;
    h.fprintf(f.get(), "v=%g;", 2.5);
    h.fprintf(f.get(), "%s", "end");
    EXPECT_TRUE(h.texts.empty());
    EXPECT_EQ(h.getPrintfCount(), 2);
    EXPECT_EQ(f.text(), "v=2.5;end");
    h.fprintf(nullptr, "nothing");
    EXPECT_EQ(h.getPrintfCount(), 2);
}

TEST(MessageHandlerFprintf, FailingWriteIsIgnoredButCounted)
{
    ScratchFile f;
    std::FILE *readOnly = std::fopen(f.path.c_str(), "rb");
    ASSERT_NE(readOnly, nullptr);
    RecordingHandler h;
    h.fprintf(readOnly, "lost %d", 1);
    std::fclose(readOnly);
    EXPECT_TRUE(h.texts.empty());
    EXPECT_EQ(h.getPrintfCount(), 1);
    EXPECT_FALSE(h.hasErrors());
    EXPECT_EQ(f.text(), "");
}

TEST(MessageHandlerFprintf, ArrayForm)
{
    RecordingHandler h;
    YArray<PrintfArg> args;
    args.add(PrintfArg(1));
    args.add(PrintfArg("two"));
    args.add(PrintfArg(3.5));
    args.add(PrintfArg(4LL));
    args.add(PrintfArg("five"));
    h.fprintf(stdout, "%d %s %g %lld %s", args);
    YArray<PrintfArg> none;
    h.fprintf(stdout, "none %d", none);
    EXPECT_EQ(h.texts, (Strings{"1 two 3.5 4 five", "none <arg-missing>"}));
}

TEST(MessageHandlerFprintf, StderrReachesAStringHandlerUnprefixed)
{
    StringMessageHandler h;
    h.fprintf(stderr, "%s%%", "50");
    EXPECT_EQ(collected(h), (Strings{"50%"}));
    EXPECT_TRUE(h.hasErrors());
    EXPECT_FALSE(h.hasFatal());
    EXPECT_EQ(h.getPrintfCount(), 0);
}

// ----------------------------------------------------------------- outputFile

TEST(MessageHandlerOutputFile, EachLineThroughPrintf)
{
    ScratchFile f;
    std::fputs("l1\r\n\nl3", f.get());
    std::rewind(f.get());
    StringMessageHandler h;
    h.outputFile(f.get());
    h.outputFile(nullptr);
    EXPECT_EQ(collected(h), (Strings{"l1\n", "\n", "l3\n"}));
    EXPECT_EQ(h.getPrintfCount(), 3);
}

TEST(MessageHandlerOutputFile, FinalLineFeedAddsNoLine)
{
    ScratchFile f;
    std::fputs("a\nb\n", f.get());
    std::rewind(f.get());
    StringMessageHandler h;
    h.outputFile(f.get());
    EXPECT_EQ(collected(h), (Strings{"a\n", "b\n"}));
    EXPECT_EQ(h.getPrintfCount(), 2);

    ScratchFile empty;
    StringMessageHandler none;
    none.outputFile(empty.get());
    EXPECT_TRUE(collected(none).empty());
    EXPECT_EQ(none.getPrintfCount(), 0);
}

TEST(MessageHandlerOutputFile, PercentInALineIsText)
{
    ScratchFile f;
    std::fputs("100% %d\n", f.get());
    std::rewind(f.get());
    StringMessageHandler h;
    h.outputFile(f.get());
    EXPECT_EQ(collected(h), (Strings{"100% %d\n"}));
}

// ------------------------------------------------------- the library handlers

TEST(NullMessageHandlerTest, CountsButWritesNothing)
{
    NullMessageHandler h;
    h.error("e");
    h.unexpected("u");
    h.printf("p");
    h.fprintf(stderr, "x");
    EXPECT_EQ(h.getErrorCount(), 2);
    EXPECT_EQ(h.getUnexpectedCount(), 1);
    EXPECT_EQ(h.getPrintfCount(), 1);
    EXPECT_TRUE(h.hasFatal());
}

TEST(FileMessageHandlerTest, WritesFinishedTextAndCountsAgain)
{
    ScratchFile f;
    FileMessageHandler h;
    h.error("lost before attach");
    EXPECT_EQ(h.getFile(), nullptr);
    h.attach(f.get());
    EXPECT_EQ(h.getFile(), f.get());
    h.error("e %d", 1);
    h.printf("p\n");
    h.info("%s", "i");
    EXPECT_EQ(f.text(), "Error : e 1\np\ni\n");
    EXPECT_EQ(h.getErrorCount(), 2);
    EXPECT_EQ(h.getPrintfCount(), 4); // one for printf, one for each write to the file
    EXPECT_EQ(h.getInfoCount(), 1);
}

TEST(FileMessageHandlerTest, ConsoleIsRefused)
{
    FileMessageHandler h;
    h.attach(stdout);
    EXPECT_EQ(h.getFile(), nullptr);
    h.attach(stderr);
    EXPECT_EQ(h.getFile(), nullptr);
    h.error("goes nowhere");
    EXPECT_EQ(h.getErrorCount(), 1);
}

TEST(FileMessageHandlerTest, StderrTextGoesToTheFileUnprefixed)
{
    ScratchFile f;
    FileMessageHandler h;
    h.attach(f.get());
    h.fprintf(stderr, "raw %d", 1);
    h.warning("w");
    EXPECT_EQ(f.text(), "raw 1Warning : w\n");
    EXPECT_EQ(h.getErrorCount(), 1);
    EXPECT_EQ(h.getWarningCount(), 1);
    EXPECT_EQ(h.getPrintfCount(), 2); // one for each write to the file
    h.attach(nullptr);
    EXPECT_EQ(h.getFile(), nullptr);
    h.error("after detach");
    EXPECT_EQ(f.text(), "raw 1Warning : w\n");
    EXPECT_EQ(h.getPrintfCount(), 2);
}

TEST(FileMessageHandlerTest, NeitherFlushesNorClosesTheFile)
{
    ScratchFile f;
    {
        FileMessageHandler h;
        h.attach(f.get());
        h.info("buffered");
        EXPECT_EQ(kvtest::readFile(f.path), ""); // still in the stream's buffer
    }
    // The handler has gone; the file is still the caller's and still open.
    EXPECT_GE(std::fputs("more\n", f.get()), 0);
    EXPECT_EQ(f.text(), "buffered\nmore\n");
}

TEST(StringMessageHandlerTest, CopySharesStringsNotCounters)
{
    StringMessageHandler original;
    original.error("first");
    StringMessageHandler copy(original);
    EXPECT_EQ(copy.getErrorCount(), 1);
    copy.warning("second");
    EXPECT_EQ(collected(original), (Strings{"Error : first\n", "Warning : second\n"}));
    EXPECT_FALSE(original.hasWarnings());
    EXPECT_TRUE(copy.hasWarnings());
    EXPECT_EQ(&copy.getStrings(), &original.getStrings());
    original.flush();
    EXPECT_EQ(copy.getStrings().getCount(), 0);
    EXPECT_EQ(original.getErrorCount(), 1);
}

TEST(StringMessageHandlerTest, HandlerOutlivesCopy)
{
    auto *original = new StringMessageHandler;
    original->printf("kept");
    StringMessageHandler copy(*original);
    delete original;
    copy.printf(" more");
    EXPECT_EQ(collected(copy), (Strings{"kept", " more"}));
}

// ------------------------------------------------------------------ threading

namespace {

// Writes each message one character at a time into a shared text, yielding
// between characters, so that unserialised messages would mix.
std::string sharedText;

class SlowHandler : public MessageHandler {
    void finalOutput(MessageType, const YString &text) override
    {
        for (const char *p = text.tocs(); *p != 0; ++p) {
            sharedText.push_back(*p);
            if ((p - text.tocs()) % 4 == 0)
                std::this_thread::yield();
        }
    }
};

// Emits a further message from inside finalOutput: the lock is recursive.
class EchoHandler : public MessageHandler {
    void finalOutput(MessageType kind, const YString &text) override
    {
        seen.emplace_back(text.tocs());
        if (kind == MsgError)
            info("echo of %s", text);
    }

public:
    Strings seen;
};

} // namespace

TEST(MessageThreads, MessagesNeverInterleave)
{
    sharedText.clear();
    SlowHandler first, second;
    const int threads = 6, perThread = 60, length = 40;
    std::vector<std::thread> pool;
    for (int t = 0; t < threads; ++t) {
        pool.emplace_back([&, t] {
            std::string body(length, static_cast<char>('a' + t));
            MessageHandler &h = t % 2 == 0 ? static_cast<MessageHandler &>(first) : second;
            for (int i = 0; i < perThread; ++i) {
                if (i % 3 == 0)
                    h.printf("[%s]", body.c_str());
                else if (i % 3 == 1)
                    h.info("[%s]", body.c_str());
                else
                    h.formattedOutput(MsgPrintf, ("[" + body + "]").c_str());
            }
        });
    }
    for (std::thread &th : pool)
        th.join();
    // Every message is "[" + 40 equal letters + "]", with "\n" after infos.
    std::size_t pos = 0;
    int messages = 0;
    while (pos < sharedText.size()) {
        ASSERT_EQ(sharedText[pos], '[') << "at " << pos;
        const char letter = sharedText[pos + 1];
        ASSERT_EQ(sharedText.compare(pos + 1, length, std::string(length, letter)), 0) << "at " << pos;
        ASSERT_EQ(sharedText[pos + 1 + length], ']') << "at " << pos;
        pos += length + 2;
        if (pos < sharedText.size() && sharedText[pos] == '\n')
            ++pos;
        ++messages;
    }
    EXPECT_EQ(messages, threads * perThread);
    EXPECT_EQ(first.getPrintfCount() + first.getInfoCount(), threads / 2 * perThread);
    EXPECT_EQ(second.getPrintfCount() + second.getInfoCount(), threads / 2 * perThread);
}

TEST(MessageThreads, StringHandlerLosesNothingUnderContention)
{
    StringMessageHandler h;
    const int threads = 4, perThread = 500;
    std::vector<std::thread> pool;
    for (int t = 0; t < threads; ++t)
        pool.emplace_back([&h, t] {
            for (int i = 0; i < perThread; ++i) {
                if (i % 2 == 0)
                    h.info("t%d m%d", t, i);
                else
                    h.warning("t%d m%d", t, i);
            }
        });
    for (std::thread &th : pool)
        th.join();
    const Strings got = collected(h);
    ASSERT_EQ(got.size(), static_cast<std::size_t>(threads * perThread));
    std::vector<int> next(threads, 0);
    for (const std::string &text : got) {
        int t = -1, i = -1;
        if (text.rfind("Warning : ", 0) == 0)
            ASSERT_EQ(std::sscanf(text.c_str(), "Warning : t%d m%d", &t, &i), 2) << text;
        else
            ASSERT_EQ(std::sscanf(text.c_str(), "t%d m%d", &t, &i), 2) << text;
        ASSERT_TRUE(t >= 0 && t < threads) << text;
        EXPECT_EQ(i, next[t]) << text; // each thread's messages in its own order
        next[t] = i + 1;
        EXPECT_EQ(text.back(), '\n');
    }
    EXPECT_EQ(h.getInfoCount(), threads * perThread / 2);
    EXPECT_EQ(h.getWarningCount(), threads * perThread / 2);
}

TEST(MessageThreads, FinalOutputMayReportAgain)
{
    EchoHandler h;
    h.error("e");
    EXPECT_EQ(h.seen, (Strings{"Error : e\n", "echo of Error : e\n\n"}));
    EXPECT_EQ(h.getInfoCount(), 1);
}

// ----------------------------------------------------------- default handler

TEST(DefaultMessageHandler, WithoutApplicationMessagesVanish)
{
    YRef<MessageHandler> h = sp_GetDefaultMessageHandler();
    ASSERT_FALSE(h.isNull());
    EXPECT_NE(dynamic_cast<NullMessageHandler *>(h.get()), nullptr);
    EXPECT_EQ(sp_GetDefaultMessageHandler().get(), h.get());
    const int before = h->getErrorCount();
    kv_error("nobody sees %s", "this");
    kv_printf("or this");
    EXPECT_EQ(h->getErrorCount(), before + 1);
}

KVTEST_CHILD(default_handler_console_silence)
{
    (void)args;
    kv_error("kv_error %s", "text");
    kv_printf("kv_printf %d\n", 1);
    kv_fprintf(stdout, "kv_fprintf to stdout\n");
    kv_fprintf(stderr, "kv_fprintf to stderr\n");
    YArray<PrintfArg> list;
    list.add(PrintfArg("array"));
    kv_fprintf_array(stdout, "%s\n", list);
    kv_fprintf_array(stderr, "%s\n", list);
    sp_GetDefaultMessageHandler()->unexpected("unexpected");
    std::fflush(stdout);
    std::fflush(stderr);
    return sp_GetDefaultMessageHandler()->getErrorCount() == 3 ? 0 : 10;
}

TEST(DefaultMessageHandler, WithoutApplicationNothingReachesTheConsole)
{
    auto child = kvtest::startChild("default_handler_console_silence");
    ASSERT_TRUE(child->waitForFinished(30000));
    EXPECT_EQ(child->exitCode(), 0);
    EXPECT_EQ(child->readAllStandardOutput().toStdString(), "");
    EXPECT_EQ(child->readAllStandardError().toStdString(), "");
}

TEST(DefaultMessageHandler, FprintfToAFileWritesItEvenWithoutApplication)
{
    ScratchFile f;
    kv_fprintf(f.get(), "x=%d;", 3);
    YArray<PrintfArg> args;
    args.add(PrintfArg(2.5));
    kv_fprintf_array(f.get(), "y=%g", args);
    kv_fprintf(nullptr, "nowhere");
    EXPECT_EQ(f.text(), "x=3;y=2.5");
}

namespace {

YRef<MessageHandler> &applicationHandler()
{
    static YRef<MessageHandler> ref(new StringMessageHandler);
    return ref;
}

YRef<MessageHandler> giveApplicationHandler()
{
    return applicationHandler();
}

YRef<MessageHandler> giveNothing()
{
    return YRef<MessageHandler>();
}

} // namespace

// A definition of "getDefaultMessageHandler" binds the library's call only
// once per process (a call whose definition went keeps its default), so each
// of these runs in a process of its own. The child's exit code names the
// first check that failed.
KVTEST_CHILD(default_handler_application)
{
    (void)args;
    auto *strings = static_cast<StringMessageHandler *>(applicationHandler().get());
    MessageHandler *unbound = sp_GetDefaultMessageHandler().get();
    {
        RegisterDynFuncDef def("getDefaultMessageHandler", &giveApplicationHandler, __FILE__, __LINE__);
        if (sp_GetDefaultMessageHandler().get() != strings)
            return 10;
        kv_printf("p%d", 1);
        kv_error("e %s %s", "a", "b");
        kv_fprintf(stdout, "o");
        kv_fprintf(stderr, "x");
        YArray<PrintfArg> list;
        list.add(PrintfArg("arr"));
        kv_fprintf_array(stdout, "%s", list);
        if (collected(*strings) != Strings{"p1", "Error : e a b\n", "o", "x", "arr"})
            return 11;
        if (strings->getErrorCount() != 2 || strings->getPrintfCount() != 3)
            return 12;
    }
    if (sp_GetDefaultMessageHandler().get() != unbound)
        return 13;
    kv_printf("after");
    if (strings->getStrings().getCount() != 5)
        return 14;
    return 0;
}

TEST(DefaultMessageHandler, ApplicationHandlerReceivesEverything)
{
    EXPECT_EQ(kvtest::runChild("default_handler_application"), 0);
}

KVTEST_CHILD(default_handler_empty_answer)
{
    (void)args;
    MessageHandler *unbound = sp_GetDefaultMessageHandler().get();
    RegisterDynFuncDef def("getDefaultMessageHandler", &giveNothing, __FILE__, __LINE__);
    YRef<MessageHandler> h = sp_GetDefaultMessageHandler();
    if (h.isNull())
        return 10;
    if (dynamic_cast<NullMessageHandler *>(h.get()) == nullptr)
        return 11;
    if (h.get() == unbound)
        return 12;
    if (sp_GetDefaultMessageHandler().get() != h.get())
        return 13;
    const int before = h->getErrorCount();
    kv_error("vanishes");
    return h->getErrorCount() == before + 1 ? 0 : 14;
}

TEST(DefaultMessageHandler, EmptyApplicationAnswerGivesNullHandler)
{
    EXPECT_EQ(kvtest::runChild("default_handler_empty_answer"), 0);
}

// ---------------------------------------------------------------- error lists

namespace {

Strings listTexts(const YList<YString> &list)
{
    Strings v;
    for (const YString &s : list)
        v.emplace_back(s.tocs());
    return v;
}

} // namespace

TEST(ErrorLists, WriteErrorListInsertsAtHeadWithDuplicates)
{
    YList<YString> list;
    sp_WriteErrorList(&list, "missing %s", "R1");
    sp_WriteErrorList(&list, "count %d %d %d %d", 1, 2, 3, 4);
    sp_WriteErrorList(&list, "missing %s", "R1");
    EXPECT_EQ(listTexts(list), (Strings{"*** ERROR *** missing R1", "*** ERROR *** count 1 2 3 4",
                                        "*** ERROR *** missing R1"}));
    EXPECT_EQ(list.getCount(), 3);
    sp_WriteErrorList(nullptr, "ignored");
}

TEST(ErrorLists, AddErrorIgnoresCaseDuplicates)
{
    YList<YString> list;
    sp_AddError(&list, "FILE MISSING");
    sp_AddError(&list, "File missing");
    EXPECT_EQ(listTexts(list), (Strings{"FILE MISSING"}));
    sp_AddError(&list, "node %d at %.2f %s", 4, 1.5, "V");
    EXPECT_EQ(listTexts(list), (Strings{"node 4 at 1.50 V", "FILE MISSING"}));
    EXPECT_EQ(list.getCount(), 2);
    sp_AddError(nullptr, "ignored");
}

TEST(ErrorLists, AddErrorLooksThroughTheWholeList)
{
    YList<YString> list;
    sp_AddError(&list, "first");
    sp_AddError(&list, "second");
    sp_AddError(&list, "third");
    sp_AddError(&list, "FIRST");
    sp_AddError(&list, "Second");
    EXPECT_EQ(listTexts(list), (Strings{"third", "second", "first"}));
    sp_AddError(&list, "first ");
    EXPECT_EQ(list.getCount(), 4);
    EXPECT_EQ(listTexts(list).front(), "first ");
}

TEST(ErrorLists, WriteErrorListPercentShowsPlaceholder)
{
    YList<YString> list;
    sp_WriteErrorList(&list, "%s at %d%%", "R1");
    EXPECT_EQ(listTexts(list), (Strings{"*** ERROR *** R1 at <arg-missing>%"}));
}

TEST(ErrorLists, NumbersWhateverTheLocale)
{
    const std::string saved = std::setlocale(LC_NUMERIC, nullptr);
    if (std::setlocale(LC_NUMERIC, "de_DE.utf8") == nullptr)
        GTEST_SKIP() << "no German locale installed";
    YList<YString> list;
    sp_AddError(&list, "%.2f", 1.5);
    StringMessageHandler h;
    h.error("%g", 2.5);
    std::setlocale(LC_NUMERIC, saved.c_str());
    EXPECT_EQ(listTexts(list), (Strings{"1.50"}));
    EXPECT_EQ(collected(h), (Strings{"Error : 2.5\n"}));
}

TEST(ErrorLists, AddErrorCutsAt511Characters)
{
    YList<YString> list;
    std::string big(700, 'x');
    sp_AddError(&list, "%s", big.c_str());
    ASSERT_EQ(list.getCount(), 1);
    EXPECT_EQ(list.first()->length(), 511);
}

// ----------------------------------------------------------------- boxed text

TEST(BoxedText, HiInTwenty)
{
    ScratchFile f;
    sp_PrintBoxedText(f.get(), "Hi", 20);
    EXPECT_EQ(f.text(), "********************\n"
                        "***              ***\n"
                        "***      Hi      ***\n"
                        "***              ***\n"
                        "********************\n");
}

TEST(BoxedText, SeveralLines)
{
    ScratchFile f;
    sp_PrintBoxedText(f.get(), "one\ntwo2\n", 16);
    EXPECT_EQ(f.text(), "****************\n"
                        "***          ***\n"
                        "***    one   ***\n"
                        "***   two2   ***\n"
                        "***          ***\n"
                        "****************\n");
}

TEST(BoxedText, EmptyTextAndBlankLines)
{
    ScratchFile f;
    sp_PrintBoxedText(f.get(), "", 12);
    EXPECT_EQ(f.text(), "************\n"
                        "***      ***\n"
                        "***      ***\n"
                        "************\n");
    ScratchFile g;
    sp_PrintBoxedText(g.get(), "a\n\nb", 12);
    EXPECT_EQ(g.text(), "************\n"
                        "***      ***\n"
                        "***   a  ***\n"
                        "***      ***\n"
                        "***   b  ***\n"
                        "***      ***\n"
                        "************\n");
    ScratchFile h;
    sp_PrintBoxedText(h.get(), nullptr, 8);
    EXPECT_EQ(h.text(), "********\n***  ***\n***  ***\n********\n");
}

TEST(BoxedText, OddAndShortPadding)
{
    ScratchFile f;
    sp_PrintLineCentred(f.get(), "abcd", 10); // padding -1: none on either side
    sp_PrintLineCentred(f.get(), "abc", 10);  // padding 0
    sp_PrintLineCentred(f.get(), "ab", 10);   // padding 1: all on the right
    sp_PrintLine(f.get(), "abc", 10);         // padding 0
    sp_PrintSides(f.get(), 6);
    EXPECT_EQ(f.text(), "*** abcd***\n"
                        "*** abc***\n"
                        "*** ab ***\n"
                        "*** abc***\n"
                        "******\n");
}

TEST(BoxedText, Pieces)
{
    ScratchFile f;
    sp_PrintBoxEdge(f.get(), 5);
    sp_PrintBoxEdge(f.get(), 0);
    sp_PrintSides(f.get(), 8);
    sp_PrintSides(f.get(), 3);
    sp_PrintLine(f.get(), "abc", 12);
    sp_PrintLine(f.get(), "toolong", 10);
    sp_PrintLineCentred(f.get(), "ab", 12);
    sp_PrintLineCentred(f.get(), "abc", 12);
    sp_PrintLineCentred(f.get(), "wide", 4);
    EXPECT_EQ(f.text(), "*****\n"
                        "\n"
                        "***  ***\n"
                        "******\n"
                        "*** abc  ***\n"
                        "*** toolong***\n"
                        "***  ab  ***\n"
                        "***  abc ***\n"
                        "*** wide***\n");
}

TEST(BoxedText, LongTextHasNoPadding)
{
    ScratchFile f;
    std::string text(200, 't');
    sp_PrintLineCentred(f.get(), text.c_str(), 80);
    EXPECT_EQ(f.text(), "*** " + text + "***\n");
}

TEST(BoxedText, NullFileDoesNothing)
{
    sp_PrintBoxEdge(nullptr, 10);
    sp_PrintSides(nullptr, 10);
    sp_PrintLine(nullptr, "x", 10);
    sp_PrintLineCentred(nullptr, "x", 10);
    sp_PrintBoxedText(nullptr, "x", 10);
    ScratchFile f;
    sp_PrintLine(f.get(), nullptr, 10);
    EXPECT_EQ(f.text(), "***    ***\n");
}

KVTEST_CHILD(box_to_console)
{
    (void)args;
    sp_PrintBoxEdge(stdout, 10);
    sp_PrintSides(stdout, 10);
    sp_PrintLine(stderr, "x", 10);
    sp_PrintLineCentred(stdout, "x", 10);
    sp_PrintBoxedText(stderr, "Hi", 20);
    sp_PrintBoxedText(stdout, "Hi", 20);
    std::fflush(stdout);
    std::fflush(stderr);
    return 0;
}

TEST(BoxedText, ConsoleIsNeverWritten)
{
    auto child = kvtest::startChild("box_to_console");
    ASSERT_TRUE(child->waitForFinished(30000));
    EXPECT_EQ(child->exitCode(), 0);
    EXPECT_EQ(child->readAllStandardOutput().size(), 0);
    EXPECT_EQ(child->readAllStandardError().size(), 0);
}
