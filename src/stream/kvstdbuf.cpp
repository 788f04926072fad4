// The message-handler device and its streams, and the boxed-text writers
// on a kvstream.
#include <kvsupport/kvstream.h>
#include <kvsupport/message.h>

#include "format/boxed_text.h"

kvstdbuf::kvstdbuf() : handler(sp_GetDefaultMessageHandler()) {}

kvstdbuf::kvstdbuf(const YRef<MessageHandler> &h) : handler(h) {}

kvstdbuf::~kvstdbuf() = default;

int kvstdbuf::messageKind() const
{
    return MsgPrintf;
}

unsigned kvstdbuf::write(const char *data, unsigned n)
{
    MessageHandler *target = handler.get();
    if (target == nullptr)
        return 0;
    int length = n > 0x7FFFFFFFu ? 0x7FFFFFFF : static_cast<int>(n);
    target->rawOutput(static_cast<MessageType>(messageKind()), YString(data, length));
    return n;
}

kvstdbuf_html::kvstdbuf_html() = default;

kvstdbuf_html::kvstdbuf_html(const YRef<MessageHandler> &h) : kvstdbuf(h) {}

int kvstdbuf_html::messageKind() const
{
    return MsgHtml;
}

kvstdstream::kvstdstream() : kvstream(new kvstdbuf) {}

kvstdstream::kvstdstream(const YRef<MessageHandler> &h) : kvstream(new kvstdbuf(h)) {}

kvstdstream_html::kvstdstream_html() : kvstream(new kvstdbuf_html) {}

kvstdstream_html::kvstdstream_html(const YRef<MessageHandler> &h) : kvstream(new kvstdbuf_html(h)) {}

namespace {

// The box layout's sink: each piece is one write to the stream.
struct StreamSink {
    kvstream &stream;
    void operator()(const char *text, std::size_t length) const
    {
        stream.write(text, static_cast<unsigned>(length));
    }
};

} // namespace

void sp_PrintBoxEdge(kvstream &stream, int width)
{
    kv::detail::boxEdge(StreamSink{stream}, width);
}

void sp_PrintSides(kvstream &stream, int width)
{
    kv::detail::boxSides(StreamSink{stream}, width);
}

void sp_PrintLineCentred(kvstream &stream, const char *text, int width)
{
    kv::detail::boxLineCentred(StreamSink{stream}, text, width);
}

void sp_PrintBoxedText(kvstream &stream, const char *text, int width)
{
    kv::detail::boxText(StreamSink{stream}, text, width);
}
