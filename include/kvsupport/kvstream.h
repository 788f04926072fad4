/// \file kvstream.h
/// The library's stream types: a device (kvbuf) and the stream that callers
/// hold (kvstream), which owns one device and delegates to it.
///
/// Devices: kvfbuf (a C file, optionally with a FileLock and a base64
/// section), kvstrbuf (bytes in memory), kvstdbuf and kvstdbuf_html (text to
/// a MessageHandler). Streams: kvfstream, kvstrstream, kvstdstream and
/// kvstdstream_html, each on the device of its kind.
///
/// Positions are 64-bit. Failure is never reported by a message: ask the
/// stream afterwards through operator bool, fail(), eof() and writeFailed().
///
/// A kvstream can decrypt protected lines while it reads them: after
/// setAllowEncryption(), get() reads the device line by line, and a line that
/// begins with "?@@" is handed to the EncryptInterface, whose output is read
/// in its place.
///
/// A stream and its device belong to one thread.
#ifndef KVSUPPORT_KVSTREAM_H
#define KVSUPPORT_KVSTREAM_H

#include <kvsupport/containers.h>
#include <kvsupport/export.h>
#include <kvsupport/filelock.h>
#include <kvsupport/ystring.h>

#include <cstdarg>
#include <cstdio>

class MessageHandler;

/// Bits of the open mode of kvfbuf::open.
enum KvOpenMode {
    KvOpenIn = 0x001,       ///< reading
    KvOpenOut = 0x002,      ///< writing
    KvOpenAppend = 0x008,   ///< appending
    KvOpenExisting = 0x010, ///< with in and out: the file must exist (no truncation)
    KvOpenBinary = 0x080,   ///< binary ('b' in the fopen mode)
    KvOpenReplace = 0x100   ///< remove an existing file first, if the mode truncates
};

/// The fopen mode that kvfbuf::open uses for \p mode, without the 'b': the
/// first matching row of (mode & 3) == 1 "r", (mode & 11) == 2 "w",
/// (mode & 9) == 8 "a", (mode & 27) == 3 "w+", (mode & 27) == 19 "r+",
/// (mode & 9) == 9 "a+", otherwise "r".
KVSUPPORT_API const char *kv_OpenModeString(int mode);

/// A device: the abstract end of a kvstream.
class KVSUPPORT_API kvbuf {
public:
    virtual ~kvbuf();
    /// Closes the device; nothing here.
    virtual void close();
    /// True at the end of the data.
    virtual bool eof() = 0;
    /// True after an error; false here.
    virtual bool fail();
    /// The next byte, or -1 at the end.
    virtual int get() = 0;
    /// Reads up to \p n bytes; returns the number read.
    virtual unsigned read(char *buffer, unsigned n) = 0;
    /// Writes \p n bytes; returns the number written.
    virtual unsigned write(const char *data, unsigned n) = 0;
    /// Writes one byte; here a one-byte write().
    virtual void put(char c);
    /// Writes at once, whatever the device's queueing; here write().
    virtual unsigned writeSync(const char *data, unsigned n);
    /// Writes a block that the device takes over: \p data must come from
    /// new[] and belongs to the device from the call on, whatever happens.
    /// Here: writeSync(), then delete[]. Returns writeSync's count.
    virtual unsigned takeAndWrite(const char *data, unsigned n);
    /// Writes \p n bytes at \p position and returns to the previous position:
    /// here tellg(), seekg(position), write(), seekg(back). Returns write's
    /// count. The data stay the caller's.
    virtual unsigned writeAt(long long position, const char *data, unsigned n);
    /// Writes up to \p size bytes of the shared block \p blockId of the
    /// shared heap named by \p token, then releases and frees the block.
    /// Returns the count written; 0 if the block can't be reached.
    virtual long long takeAndwriteSharedBlock(int token, long long blockId, long long size);
    /// True while the device can be used.
    virtual explicit operator bool() = 0;
    /// Moves to \p position; -1 here.
    virtual int seekg(long long position);
    /// Moves by \p offset from the start (\p whence 0), the current position
    /// (1) or the end (any other value); -1 here.
    virtual int seekg(long long offset, int whence);
    /// The current position; -1 here.
    virtual long long tellg();
    /// Pushes buffered output on; nothing here.
    virtual void flush();
    /// True once a write was short; false here.
    virtual bool writeFailed() const;
    /// Starts a base64 section; nothing here.
    virtual void openBase64();
    /// Ends a base64 section; nothing here.
    virtual void closeBase64();
};

struct Base64State;

/// A device on a C file. All operations are safe on a closed buffer.
///
/// Base64 sections: between openBase64() and closeBase64(), read(), write()
/// and put() go through base64. Written text is standard base64 with a line
/// feed after every 80 characters, encoded in blocks of 3000 bytes (a full
/// block is exactly 50 lines); the last group is padded with '='. Reading
/// decodes up to 3000 bytes at a time, skips white space, and stops at
/// padding, at any character outside the alphabet (which stays unread for
/// the next reader) and at the end of the file; read() then returns a short
/// count, which marks the end of the section. get() ignores the section.
class KVSUPPORT_API kvfbuf : public kvbuf {
public:
    /// Closed.
    kvfbuf();
    /// On the open \p file (null gives a closed buffer); close() closes it.
    explicit kvfbuf(FILE *file);
    /// As close().
    ~kvfbuf() override;

    /// Gives the file to the caller without closing it; the buffer is closed.
    virtual FILE *detach();
    /// Opens \p name in \p mode (KvOpenMode bits). With \p lock, the lock of
    /// \p name must be taken first (FileLock); if that fails nothing further
    /// happens and the buffer stays as it was. The open file replaces the
    /// present one. With a truncating mode ("w" or "w+") and KvOpenReplace,
    /// an existing file is removed first, and if it can't be, nothing is
    /// opened. A null or empty name opens nothing. Returns operator bool.
    /// A lock taken here is held until close(); it is given up again at
    /// once if the file does not open.
    virtual bool open(const char *name, int mode, bool lock);
    /// The file descriptor; -1 when closed.
    virtual int fd();
    /// Closes the present file (giving up its lock) and uses the open
    /// \p file instead; close() closes it.
    void adopt(FILE *file);

    /// Closes the file and gives up the lock. A pending base64 block is not
    /// written: call closeBase64() first.
    void close() override;
    /// True when closed, otherwise the end-of-file indicator.
    bool eof() override;
    /// True when closed, otherwise the error indicator.
    bool fail() override;
    /// The next byte (0 to 255); -1 at the end and when closed.
    int get() override;
    /// Reads through the base64 section if one is open; 0 when closed.
    unsigned read(char *buffer, unsigned n) override;
    /// Writes through the base64 section if one is open; 0 when closed. A
    /// count other than \p n sets the write-failed flag for good, and a file
    /// in error takes nothing more (0). Small writes are buffered: a failure
    /// to pass them on shows in the flag by flush() or close(). Inside a
    /// base64 section the full count is returned; the flag is set if the
    /// encoded text can't be written.
    unsigned write(const char *data, unsigned n) override;
    /// Writes one byte (through the base64 section if one is open).
    void put(char c) override;
    /// A file is open.
    explicit operator bool() override { return file != nullptr; }
    /// Moves to \p position; 0 on success, -1 on failure, 0 when closed.
    int seekg(long long position) override;
    /// Moves relative to \p whence (0 start, 1 current, other end); 0 on
    /// success, -1 on failure, 0 when closed.
    int seekg(long long offset, int whence) override;
    /// The 64-bit position; -1 when closed.
    long long tellg() override;
    /// Flushes the file; a failure sets the write-failed flag.
    void flush() override;
    /// True once a write came up short.
    bool writeFailed() const override { return failedWrite; }
    /// Ends an open section, then starts a new one.
    void openBase64() override;
    /// Writes what is pending of the section and ends it.
    void closeBase64() override;

    /// The size of the open file; 0 when closed.
    long long getFileSize() const;
    /// The open file, or null (it stays the buffer's).
    FILE *getFile() const { return file; }
    /// The lock taken by open().
    const FileLock &getLock() const { return fileLock; }

private:
    kvfbuf(const kvfbuf &) = delete;
    kvfbuf &operator=(const kvfbuf &) = delete;
    void closeFile(bool keepLock);
    unsigned writeFile(const char *data, unsigned n);
    unsigned readBase64(char *buffer, unsigned n);
    unsigned writeBase64(const char *data, unsigned n);
    unsigned decodeBase64();
    void encodeBase64(const unsigned char *data, unsigned n);

    FILE *file;
    FileLock fileLock;
    Base64State *base64;
    bool failedWrite;
};

/// A device on bytes in memory, held in a CharQueue with its read position.
class KVSUPPORT_API kvstrbuf : public kvbuf {
public:
    /// Empty, with room for 80 bytes.
    kvstrbuf();
    ~kvstrbuf() override;

    /// Sets the end flag to (read position == length); at the end -1, else
    /// the next byte as a signed value, so that 0xFF reads as -1.
    int get() override;
    /// A count of 0x7FFFFFFF or more gives 0. Sets the end flag as get()
    /// does before reading, then copies what there is.
    unsigned read(char *buffer, unsigned n) override;
    /// Clears the end flag; a count of 0x7FFFFFFF or more gives 0. Appends.
    unsigned write(const char *data, unsigned n) override;
    /// The end flag: true only after a read found the end.
    bool eof() override { return atEnd; }
    /// Always true.
    explicit operator bool() override { return true; }
    /// Moves the read position to \p position, clamped to 0 .. length, and
    /// returns it; a position outside -2147483647 .. 2147483646 gives -1.
    int seekg(long long position) override;
    /// As seekg(position), relative to \p whence.
    int seekg(long long offset, int whence) override;
    /// The read position.
    long long tellg() override;
    /// Empties the bytes but leaves the read position: a later get() past
    /// the length gives 0, not -1, and starts the queue again.
    void flush() override;

    /// Total bytes held.
    int getNumBytes() const;
    /// The start of the bytes, always terminated.
    const char *getString() const;

private:
    kvstrbuf(const kvstrbuf &) = delete;
    kvstrbuf &operator=(const kvstrbuf &) = delete;

    bool atEnd;
    CharQueue *bytes;
};

/// A device that passes written text to a MessageHandler as printf output,
/// without the handler's lock: it counts a printf and calls finalOutput.
class KVSUPPORT_API kvstdbuf : public kvbuf {
public:
    /// On the process's default handler.
    kvstdbuf();
    /// On \p handler (an empty reference writes nothing).
    explicit kvstdbuf(const YRef<MessageHandler> &handler);
    ~kvstdbuf() override;

    /// Passes YString(data, n) on (text stops at a NUL) and returns \p n;
    /// 0 without a handler.
    unsigned write(const char *data, unsigned n) override;
    /// 0: nothing can be read.
    int get() override { return 0; }
    /// 0: nothing can be read.
    unsigned read(char *, unsigned) override { return 0; }
    /// Never at an end.
    bool eof() override { return false; }
    /// Never failed.
    bool fail() override { return false; }
    /// Always usable.
    explicit operator bool() override { return true; }
    /// The handler.
    const YRef<MessageHandler> &getHandler() const { return handler; }

protected:
    /// The kind of message that write() passes on.
    virtual int messageKind() const;

private:
    YRef<MessageHandler> handler;
};

/// As kvstdbuf, passing the text on as HTML messages.
class KVSUPPORT_API kvstdbuf_html : public kvstdbuf {
public:
    /// On the process's default handler.
    kvstdbuf_html();
    /// On \p handler.
    explicit kvstdbuf_html(const YRef<MessageHandler> &handler);

protected:
    int messageKind() const override;
};

/// What an application gives a kvstream to decrypt protected lines. The
/// library holds no algorithm or key of its own.
class KVSUPPORT_API EncryptInterface {
public:
    virtual ~EncryptInterface();
    /// Decrypts the NUL-terminated \p line (with its line feed) into \p out,
    /// which has room for 512 bytes, and sets \p *outLength. 0 is success.
    virtual int decrypt(const char *line, char *out, int *outLength) = 0;
    /// An encrypted section has ended (a plain line followed encrypted ones).
    virtual void encryptedSectionEnded() = 0;
};

/// The stream that callers hold. It owns its device and delegates to it; the
/// result in brackets is what an operation gives when there is no device.
///
/// A copy shares the device of the original without owning it, for passing
/// a stream on; the original must be the last to go.
class KVSUPPORT_API kvstream {
public:
    /// A stream on \p buffer, which it owns; null gives no device.
    explicit kvstream(kvbuf *buffer = nullptr);
    /// Shares \p other's device and decryption state, without owning them.
    kvstream(const kvstream &other);
    /// Gives up what this stream owns, then shares \p other's state.
    kvstream &operator=(const kvstream &other);
    /// Deletes the device and the queue of decoded lines, if owned.
    virtual ~kvstream();
    /// Gives this stream a fresh, empty device of its kind; none here.
    virtual void makeBuffer();
    /// The device's openBase64 (nothing).
    virtual void openBase64();
    /// The device's closeBase64 (nothing).
    virtual void closeBase64();

    /// The device's (false).
    explicit operator bool() const;
    /// The device's (false).
    bool fail() const;
    /// With decryption on: true only when the queue is empty and the device
    /// is at its end. Otherwise the device's (false).
    bool eof() const;
    /// The device's close (nothing).
    void close();
    /// The device's (false).
    bool writeFailed() const;
    /// The device's (-1).
    int seekg(long long position);
    /// The device's (-1).
    int seekg(long long offset, int whence);
    /// The device's (-1).
    long long tellg();
    /// The device's write (0).
    unsigned write(const char *data, unsigned n);
    /// The device's (0); without a device \p data is deleted here.
    unsigned takeAndWrite(const char *data, unsigned n);
    /// The device's (0).
    long long takeAndwriteSharedBlock(int token, long long blockId, long long size);
    /// The device.
    kvbuf *rdbuf() const { return buffer; }

    /// The next character: the device's get() (0 without a device). With
    /// decryption on, lines are read whole, decrypted when they begin with
    /// "?@@", and served from the queue as 0 to 255; -1 at the end.
    int get();
    /// get() stored as a char.
    void get(char &c);
    /// With decryption on, character by character through get(), stopping
    /// at the end. Otherwise the device's read (0), which leaves the
    /// character count alone.
    unsigned read(char *buffer, unsigned n);
    /// Reads a stored string: restoreLong if \p isLong, else restore with no
    /// limit. 1 on success, 0 on failure (the string is then unchanged).
    int read(YString *text, bool isLong);
    /// Writes a stored string: saveLong if \p isLong, else save.
    bool write(const YString &text, bool isLong);
    /// Reads into \p line until a line feed, the byte 0xFF or the end, which
    /// is replaced by a terminator. If \p size characters are stored before
    /// that, there is no terminator. \p size <= 0 does nothing.
    void getline(char *line, int size);
    /// Reads one line without its line feed into \p line. False at the end,
    /// and for a last line without a line feed: that line is not delivered,
    /// apart from whole chunks of 511 characters.
    bool getline(YString *line);
    /// Formats as printf does (C locale), then writes in one write().
    void printf(const char *format, ...)
#if defined(__GNUC__)
        __attribute__((format(printf, 2, 3)))
#endif
        ;
    /// As printf with an argument list.
    void vprintf(const char *format, va_list args);
    /// Writes one byte.
    kvstream &operator<<(char c);
    /// Writes \p value by "%d".
    kvstream &operator<<(int value);
    /// Writes \p value by "%g" (C locale).
    kvstream &operator<<(double value);
    /// Writes \p text; null writes "(null)".
    kvstream &operator<<(const char *text);

    /// Characters taken from the device, less those still waiting in the
    /// queue when decryption is on and the current line is not encrypted.
    int getCharCount() const;
    /// Sets the character count to 0.
    void clearCount() { charCount = 0; }
    /// Turns decryption on with \p encrypt (not owned; null turns it off)
    /// and makes a fresh queue of decoded lines.
    void setAllowEncryption(EncryptInterface *encrypt);
    /// True if an EncryptInterface is set.
    bool encryptionAllowed() const { return encrypt != nullptr; }
    /// Whether the line being read was encrypted.
    bool lineIsEncrypted() const { return lineEncrypted; }
    /// The first non-zero result of decrypt, else 0.
    int getEncryptReturn() const { return encryptReturn; }

    /// Deletes the device of \p to, gives it the device of \p from, and then
    /// gives \p from a fresh empty device of its kind (makeBuffer()).
    static void transferBuffer(kvstream *from, kvstream *to);

protected:
    /// Replaces the device (deleting the old one if owned).
    void setBuffer(kvbuf *newBuffer);

private:
    bool fillLine();
    bool getlineFromFile(YString *line, FILE *file);
    void releaseOwned();

    bool lineEncrypted;
    CharQueue *queue;
    int charCount;
    int encryptReturn;
    EncryptInterface *encrypt;
    kvbuf *buffer;
    bool ownsBuffer;
    bool ownsQueue;
};

/// A stream on a file.
class KVSUPPORT_API kvfstream : public kvstream {
public:
    /// Closed, on a new file device (the asynchronous one if \p async).
    explicit kvfstream(bool async = false);
    /// Opens \p name as kvfbuf::open does.
    kvfstream(const char *name, int mode, bool lock = false, bool async = false);
    /// On the open \p file.
    explicit kvfstream(FILE *file, bool async = false);

    /// The device's open, if the device is a file device; false otherwise.
    bool open(const char *name, int mode, bool lock = false);
    /// Replaces the device by a plain, synchronous file device on \p file.
    void open(FILE *file);
    /// A new, closed, synchronous file device.
    void makeBuffer() override;
    /// The device's put.
    void put(char c);
    /// The device's flush.
    void flush();
    /// fgets straight from the file, then removes a trailing line feed.
    /// Null at the end, on error, when closed and for \p size <= 0.
    char *gets(char *line, int size);
    /// Reads a number by "%d" from the file (C locale); unchanged on failure.
    kvfstream &operator>>(int &value);
    /// Reads a number by "%lg" from the file (C locale); unchanged on failure.
    kvfstream &operator>>(double &value);
    /// The size of the open file; 0 if none.
    long long getFileSize() const;

private:
    kvfbuf *fileBuffer() const;
};

/// A stream on bytes in memory.
class KVSUPPORT_API kvstrstream : public kvstream {
public:
    /// Empty.
    kvstrstream();
    /// Holding \p text (null gives empty).
    explicit kvstrstream(const char *text);
    /// Holding \p length bytes of \p text, NUL bytes included.
    kvstrstream(const char *text, int length);

    /// The device's flush: empties the bytes.
    void flush();
    /// Total bytes held.
    int getNumBytes() const;
    /// The start of the bytes, always terminated.
    const char *getString() const;
    /// A new empty memory device.
    void makeBuffer() override;

private:
    kvstrbuf *stringBuffer() const;
};

/// A stream to a message handler (text passes on as printf output).
class KVSUPPORT_API kvstdstream : public kvstream {
public:
    /// On the process's default handler.
    kvstdstream();
    /// On \p handler.
    explicit kvstdstream(const YRef<MessageHandler> &handler);
};

/// A stream to a message handler, passing text on as HTML messages.
class KVSUPPORT_API kvstdstream_html : public kvstream {
public:
    /// On the process's default handler.
    kvstdstream_html();
    /// On \p handler.
    explicit kvstdstream_html(const YRef<MessageHandler> &handler);
};

/// \p width asterisks, then a line feed, written to \p stream.
KVSUPPORT_API void sp_PrintBoxEdge(kvstream &stream, int width);
/// "***", width - 6 blanks, "***\n", written to \p stream.
KVSUPPORT_API void sp_PrintSides(kvstream &stream, int width);
/// "*** ", \p text centred in width - length - 7 blanks (the left part
/// rounded down), "***\n", written to \p stream.
KVSUPPORT_API void sp_PrintLineCentred(kvstream &stream, const char *text, int width);
/// Edge, sides, each line of \p text centred, sides, edge, written to
/// \p stream.
KVSUPPORT_API void sp_PrintBoxedText(kvstream &stream, const char *text, int width);

#endif
