// The heap state of a base64 section of a kvfbuf.
#ifndef KVSUPPORT_STREAM_BASE64_STATE_H
#define KVSUPPORT_STREAM_BASE64_STATE_H

/// Decoding table, counters and the two 3000-byte blocks of a section.
struct Base64State {
    /// Size of one block of decoded or pending bytes.
    static const unsigned blockSize = 3000;
    /// Table value of a character outside the alphabet.
    static const unsigned char invalid = 255;
    /// Table value of '='.
    static const unsigned char pad = 254;
    /// Table value of space, tab, line feed and carriage return.
    static const unsigned char space = 253;

    unsigned char table[256];         ///< character -> 0..63, or one of the marks above
    unsigned readAvailable;           ///< decoded bytes in readBuffer
    unsigned writePending;            ///< bytes waiting in writeBuffer
    unsigned readPosition;            ///< next byte of readBuffer to hand out
    unsigned char readBuffer[blockSize];  ///< decoded bytes
    unsigned char writeBuffer[blockSize]; ///< bytes not yet encoded

    /// Fills the table; both blocks empty.
    Base64State();
};

#endif
