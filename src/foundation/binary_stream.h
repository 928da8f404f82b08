// binary_stream.h - typed values in a memory buffer or a file, with a read cursor and a write cursor of their
// own.
//
// Numbers of more than one byte are big-endian on the wire. Nothing throws; callers learn of failures through
// Good() or `error`, where each failure overwrites the one before it and nothing clears it. A read or write
// on a stream in error is tried all the same, except where a line below says otherwise.
//
// Offsets are signed 32-bit: a buffer, or a file, of 2^31 bytes or more is refused, and so is growth beyond
// that. Thread: no lock; one thread at a time. File streams block on the file: never in a tick or a pass.
#pragma once

#include <cstdint>
#include <cstdio>

class String_t;

class BinaryStream {
  public:
    // Codes in `error`.
    static constexpr uint32_t noError = 0;
    static constexpr uint32_t charNotStored = 1;  // WriteChar and WriteText; replaces the 5 or 6 of its cause
    static constexpr uint32_t seekOutOfRange = 2;  // the cursor has not moved
    static constexpr uint32_t readFailed = 3;      // not enough bytes, or the file's error indicator
    static constexpr uint32_t fileFailed = 4;      // not opened, or in error after a change of cursor
    static constexpr uint32_t noRoom = 5;          // WriteBytes on a file in error; memory that cannot grow
    static constexpr uint32_t byteNotStored = 6;   // one byte to a file; WriteU32 and WriteU16 also in memory

    // Owned memory: size bytes, all zero, that grow by doubling. With size 0 there is nothing to double:
    // every write fails. Memory that cannot be had leaves a stream without a buffer, in error noRoom.
    explicit BinaryStream(uint32_t size) noexcept;

    // Borrowed memory: the caller's buffer and its content; it never grows and must outlive the stream. A
    // null buffer counts as size 0; one that is too large leaves a stream without a buffer, in error noRoom.
    BinaryStream(uint8_t* buffer, uint32_t size) noexcept;

    // File: openMode 0 opens an existing file for reading, any other one for both directions, and exactly 1
    // creates a file that does not exist. Both cursors start at 0; nothing is truncated. What cannot be
    // opened (a directory and a pipe included) is told on the standard error stream and leaves a stream
    // without a file, in error fileFailed, which fails like an exhausted buffer that may not grow.
    BinaryStream(const char* path, int32_t openMode) noexcept;

    ~BinaryStream();
    BinaryStream(const BinaryStream&) = delete;
    BinaryStream& operator=(const BinaryStream&) = delete;

    bool Good() const noexcept { return error == noError; }
    uint32_t ErrorBit1() const noexcept { return error & 1u; }
    uint32_t ErrorBit2() const noexcept { return error & 2u; }
    uint32_t ErrorBit4() const noexcept { return error & 4u; }

    // Stores the code; the cause goes to the standard error stream first if the file's error indicator is
    // set.
    void SetError(uint32_t code) noexcept;

    // Hands buffered bytes to the file. Does nothing on memory.
    void Flush() noexcept;

    // From the start. Memory refuses every offset outside the buffer, its very end included; a file only what
    // is negative: behind its end, reads fail and a write fills the gap with zeros.
    BinaryStream& SeekWrite(int32_t offset) noexcept;
    BinaryStream& SeekRead(int32_t offset) noexcept;

    // From where the cursor stands, forward or back, by a distance in bytes; the same limits.
    BinaryStream& SeekWriteBy(uint32_t distance, bool forward) noexcept;
    BinaryStream& SeekReadBy(uint32_t distance, bool forward) noexcept;

    // Bytes from the start.
    int32_t TellWrite() noexcept;
    int32_t TellRead() noexcept;

    // Bytes between the read cursor and the end of the buffer or file: what a record may claim at most.
    // Memory counts up to `end`, written or not.
    uint32_t ReadableBytes() noexcept;

    // Memory reads all or nothing. A file reads what there is: a short read at its end is no error, so ask
    // ReadableBytes() first.
    BinaryStream& ReadBytes(void* buffer, uint32_t count) noexcept;

    // Memory writes all or nothing. The source must not lie in the stream's own buffer.
    BinaryStream& WriteBytes(const void* buffer, uint32_t count) noexcept;

    BinaryStream& WriteChar(char value) noexcept;
    BinaryStream& ReadChar(char& value) noexcept;  // 0xFF when it failed

    // Nothing is stored on a stream in error; the bytes before a failure stay.
    BinaryStream& WriteU32(uint32_t value) noexcept;
    BinaryStream& WriteU16(uint16_t value) noexcept;
    BinaryStream& WriteFloat(
        float value) noexcept;  // the bits of the IEEE 754 single, as WriteU32 writes them

    // The out value is 0 when they failed; the bytes that were there are used up.
    BinaryStream& ReadU32(uint32_t& value) noexcept;
    BinaryStream& ReadU16(uint16_t& value) noexcept;
    BinaryStream& ReadFloat(float& value) noexcept;

    // The characters, then a zero byte. On a stream in error only the zero byte is tried. Null counts as
    // empty.
    BinaryStream& WriteText(const char* text) noexcept;

    // Reads up to and including the zero byte into `capacity` bytes. The out text is always terminated: where
    // the data end it ends too, and a text that does not fit is cut; both are readFailed. The byte that did
    // not fit is used up. A capacity of 0 reads nothing and fails.
    BinaryStream& ReadText(char* text, uint32_t capacity) noexcept;

    uint8_t* base;          // first byte of the buffer; null for a file
    uint8_t* writeCursor;   // next byte to write; memory only
    uint8_t* readCursor;    // next byte to read; memory only
    uint8_t* end;           // one past the last byte of the buffer
    int32_t ownsBuffer;     // 1 if the stream allocated the buffer, which may then grow
    uint32_t error;         // code of the latest failure
    FILE* file;             // null for memory
    int32_t savedReadPos;   // offset of the read cursor while the file position is the write cursor's
    int32_t savedWritePos;  // the other way round
    int32_t fileCursor;     // whose the file position is now: 0 the read cursor, 1 the write cursor

  private:
    void ClearFields() noexcept;
    bool OpenFile(const char* path, int32_t openMode) noexcept;
    bool ProbeFile() noexcept;
    void TakeFilePosition(int32_t cursor) noexcept;
    int32_t FilePosition() noexcept;
    void SeekTo(uint8_t*& cursor, int32_t cursorId, int32_t offset) noexcept;
    void SeekBy(uint8_t*& cursor, int32_t cursorId, uint32_t distance, bool forward) noexcept;
    int32_t Tell(const uint8_t* cursor, int32_t cursorId) noexcept;
    bool MakeRoom(uint32_t count) noexcept;
    int PutByte(uint8_t value) noexcept;
    int GetByte() noexcept;
    void PutNumber(uint32_t value, int byteCount) noexcept;
    uint32_t GetNumber(int byteCount) noexcept;
};

// Wire form of a String_t: the length as 32-bit number, the characters, a zero byte.
BinaryStream& operator<<(BinaryStream& stream, const String_t& text) noexcept;

// The length only sizes the buffer, and only as far as bytes exist; the zero byte ends the text. A text that
// is longer than its length, or not ended, is cut and readFailed; so is one for which there is no memory,
// which leaves `text` as it was.
BinaryStream& operator>>(BinaryStream& stream, String_t& text) noexcept;
