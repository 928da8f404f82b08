// binary_stream.cpp - a file has one position and a stream two cursors: fileCursor says whose the position
// is, and whoever moves a cursor of a file takes the position first (TakeFilePosition). The seek that this
// costs is also what the C library wants between a read and a write. A stream without a file is a memory
// stream, if need be an empty one.
#include "foundation/binary_stream.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>
#include <memory>
#include <new>

#include "foundation/string.h"

namespace {

constexpr int32_t readOwner = 0;
constexpr int32_t writeOwner = 1;
constexpr int64_t maxBytes = INT32_MAX;  // offsets are signed 32-bit, the one behind the last byte too

}  // namespace

BinaryStream::BinaryStream(uint32_t size) noexcept {
    ClearFields();
    if (size <= maxBytes) base = new (std::nothrow) uint8_t[size]();
    if (base == nullptr) {
        SetError(noRoom);
        return;
    }
    ownsBuffer = 1;
    writeCursor = readCursor = base;
    end = base + size;
}

BinaryStream::BinaryStream(uint8_t* buffer, uint32_t size) noexcept {
    ClearFields();
    if (size > maxBytes) {
        SetError(noRoom);
        return;
    }
    base = writeCursor = readCursor = buffer;
    end = buffer != nullptr ? buffer + size : nullptr;
}

BinaryStream::BinaryStream(const char* path, int32_t openMode) noexcept {
    ClearFields();
    if (path == nullptr) path = "";
    if (OpenFile(path, openMode) && ProbeFile()) return;
    const int cause = errno;
    if (file != nullptr) std::fclose(file);
    file = nullptr;
    std::fprintf(stderr, "ERROR: BinaryStream: Cannot open file %s\n", path);
    errno = cause;
    std::perror("ERROR: BinaryStream");
    SetError(fileFailed);
}

BinaryStream::~BinaryStream() {
    if (ownsBuffer != 0) delete[] base;
    base = nullptr;
    if (file != nullptr) std::fclose(file);
}

void BinaryStream::SetError(uint32_t code) noexcept {
    if (file != nullptr && std::ferror(file) != 0) std::perror("BinaryStream");
    error = code;
}

void BinaryStream::Flush() noexcept {
    if (file != nullptr) std::fflush(file);
}

BinaryStream& BinaryStream::SeekWrite(int32_t offset) noexcept {
    SeekTo(writeCursor, writeOwner, offset);
    return *this;
}

BinaryStream& BinaryStream::SeekRead(int32_t offset) noexcept {
    SeekTo(readCursor, readOwner, offset);
    return *this;
}

BinaryStream& BinaryStream::SeekWriteBy(uint32_t distance, bool forward) noexcept {
    SeekBy(writeCursor, writeOwner, distance, forward);
    return *this;
}

BinaryStream& BinaryStream::SeekReadBy(uint32_t distance, bool forward) noexcept {
    SeekBy(readCursor, readOwner, distance, forward);
    return *this;
}

int32_t BinaryStream::TellWrite() noexcept { return Tell(writeCursor, writeOwner); }

int32_t BinaryStream::TellRead() noexcept { return Tell(readCursor, readOwner); }

uint32_t BinaryStream::ReadableBytes() noexcept {
    if (file == nullptr) return static_cast<uint32_t>(end - readCursor);
    TakeFilePosition(readOwner);
    const int32_t position = FilePosition();
    if (std::fseek(file, 0, SEEK_END) != 0) return 0;
    const int32_t size = FilePosition();
    if (std::fseek(file, position, SEEK_SET) != 0) return 0;
    return size > position ? static_cast<uint32_t>(size - position) : 0;
}

BinaryStream& BinaryStream::ReadBytes(void* buffer, uint32_t count) noexcept {
    if (count == 0) return *this;
    if (file != nullptr) {
        TakeFilePosition(readOwner);
        // The error indicator alone is the verdict; the caller may have asked for more than the file holds.
        [[maybe_unused]] const size_t done = std::fread(buffer, 1, count, file);
        if (std::ferror(file) != 0) SetError(readFailed);
    } else if (count > end - readCursor) {
        SetError(readFailed);
    } else {
        std::memcpy(buffer, readCursor, count);
        readCursor += count;
    }
    return *this;
}

BinaryStream& BinaryStream::WriteBytes(const void* buffer, uint32_t count) noexcept {
    if (count == 0) return *this;
    if (file != nullptr) {
        TakeFilePosition(writeOwner);
        const bool fits = count <= maxBytes - FilePosition();
        if (fits) std::fwrite(buffer, 1, count, file);
        if (!fits || std::ferror(file) != 0) SetError(noRoom);
    } else if (MakeRoom(count)) {
        std::memcpy(writeCursor, buffer, count);
        writeCursor += count;
    }
    return *this;
}

BinaryStream& BinaryStream::WriteChar(char value) noexcept {
    if (PutByte(static_cast<uint8_t>(value)) < 0) SetError(charNotStored);
    return *this;
}

BinaryStream& BinaryStream::ReadChar(char& value) noexcept {
    value = static_cast<char>(GetByte());  // the -1 of a failure becomes 0xFF
    return *this;
}

BinaryStream& BinaryStream::WriteU32(uint32_t value) noexcept {
    PutNumber(value, 4);
    return *this;
}

BinaryStream& BinaryStream::WriteU16(uint16_t value) noexcept {
    PutNumber(value, 2);
    return *this;
}

BinaryStream& BinaryStream::WriteFloat(float value) noexcept {
    return WriteU32(std::bit_cast<uint32_t>(value));
}

BinaryStream& BinaryStream::ReadU32(uint32_t& value) noexcept {
    value = GetNumber(4);
    return *this;
}

BinaryStream& BinaryStream::ReadU16(uint16_t& value) noexcept {
    value = static_cast<uint16_t>(GetNumber(2));
    return *this;
}

BinaryStream& BinaryStream::ReadFloat(float& value) noexcept {
    value = std::bit_cast<float>(GetNumber(4));
    return *this;
}

BinaryStream& BinaryStream::WriteText(const char* text) noexcept {
    if (text == nullptr) text = "";
    for (; *text != '\0' && Good(); ++text) WriteChar(*text);
    return WriteChar('\0');
}

BinaryStream& BinaryStream::ReadText(char* text, uint32_t capacity) noexcept {
    for (uint32_t i = 0; i < capacity; ++i) {
        const int byte = GetByte();
        text[i] = byte < 0 ? '\0' : static_cast<char>(byte);
        if (byte <= 0) return *this;
    }
    if (capacity > 0) text[capacity - 1] = '\0';
    SetError(readFailed);
    return *this;
}

void BinaryStream::ClearFields() noexcept {
    base = writeCursor = readCursor = end = nullptr;
    ownsBuffer = 0;
    error = noError;
    file = nullptr;
    savedReadPos = savedWritePos = 0;
    fileCursor = readOwner;
}

bool BinaryStream::OpenFile(const char* path, int32_t openMode) noexcept {
    file = std::fopen(path, openMode == 0 ? "rb" : "rb+");
    if (file == nullptr && openMode == 1 && errno == ENOENT) file = std::fopen(path, "wb+");
    return file != nullptr;
}

// A directory opens and only fails when it is read; a pipe opens and cannot be seeked. Neither is a file
// here.
bool BinaryStream::ProbeFile() noexcept {
    if (std::fseek(file, 0, SEEK_SET) != 0) return false;
    if (std::fgetc(file) == EOF && std::ferror(file) != 0) return false;
    if (std::fseek(file, 0, SEEK_END) != 0) return false;
    const long size = std::ftell(file);
    if (size > maxBytes) errno = EFBIG;
    if (size < 0 || size > maxBytes) return false;
    return std::fseek(file, 0, SEEK_SET) == 0 && std::ferror(file) == 0;
}

void BinaryStream::TakeFilePosition(int32_t cursor) noexcept {
    if (fileCursor == cursor) return;
    (cursor == writeOwner ? savedReadPos : savedWritePos) = FilePosition();
    const int32_t target = cursor == writeOwner ? savedWritePos : savedReadPos;
    if (std::fseek(file, target, SEEK_SET) != 0 || std::ferror(file) != 0) SetError(fileFailed);
    fileCursor = cursor;
}

int32_t BinaryStream::FilePosition() noexcept {
    return static_cast<int32_t>(std::clamp<int64_t>(std::ftell(file), 0, maxBytes));
}

void BinaryStream::SeekTo(uint8_t*& cursor, int32_t cursorId, int32_t offset) noexcept {
    if (file != nullptr) {
        TakeFilePosition(cursorId);
        if (std::fseek(file, offset, SEEK_SET) != 0) SetError(seekOutOfRange);
    } else if (offset < 0 || offset >= end - base) {
        SetError(seekOutOfRange);
    } else {
        cursor = base + offset;
    }
}

void BinaryStream::SeekBy(uint8_t*& cursor, int32_t cursorId, uint32_t distance, bool forward) noexcept {
    const int64_t step = forward ? int64_t{distance} : -int64_t{distance};
    if (file != nullptr) {
        TakeFilePosition(cursorId);
        const int64_t target = FilePosition() + step;
        if (target < 0 || target > maxBytes || std::fseek(file, static_cast<long>(step), SEEK_CUR) != 0) {
            SetError(seekOutOfRange);
        }
        return;
    }
    const int64_t target = cursor - base + step;
    if (target < 0 || (forward && target >= end - base)) return SetError(seekOutOfRange);
    cursor = base + target;
}

int32_t BinaryStream::Tell(const uint8_t* cursor, int32_t cursorId) noexcept {
    if (file == nullptr) return static_cast<int32_t>(cursor - base);
    TakeFilePosition(cursorId);
    return (cursorId == writeOwner ? savedWritePos : savedReadPos) = FilePosition();
}

// Doubles an owned buffer until count bytes fit behind the write cursor. All the doubling is done at once, so
// that a size that cannot be had takes no memory on the way. The new part is not cleared.
bool BinaryStream::MakeRoom(uint32_t count) noexcept {
    const int64_t needed = writeCursor - base + int64_t{count};
    int64_t capacity = end - base;
    if (needed <= capacity) return true;
    uint8_t* grown = nullptr;
    if (ownsBuffer != 0 && capacity > 0) {
        while (capacity < needed) capacity *= 2;
        if (capacity <= maxBytes) grown = new (std::nothrow) uint8_t[static_cast<size_t>(capacity)];
    }
    if (grown == nullptr) {
        SetError(noRoom);
        return false;
    }
    std::memcpy(grown, base, static_cast<size_t>(end - base));
    writeCursor = grown + (writeCursor - base);
    readCursor = grown + (readCursor - base);
    end = grown + capacity;
    delete[] base;
    base = grown;
    return true;
}

// -1 with an error set when the byte could not be stored.
int BinaryStream::PutByte(uint8_t value) noexcept {
    if (file != nullptr) {
        TakeFilePosition(writeOwner);
        if (FilePosition() < maxBytes && std::fputc(value, file) != EOF) return value;
        SetError(byteNotStored);
        return -1;
    }
    if (!MakeRoom(1)) return -1;
    *writeCursor++ = value;
    return value;
}

// -1 with an error set when there is no byte.
int BinaryStream::GetByte() noexcept {
    int byte = -1;
    if (file != nullptr) {
        TakeFilePosition(readOwner);
        byte = std::fgetc(file);
    } else if (readCursor < end) {
        byte = *readCursor++;
    }
    if (byte < 0) SetError(readFailed);
    return byte < 0 ? -1 : byte;
}

void BinaryStream::PutNumber(uint32_t value, int byteCount) noexcept {
    for (int shift = 8 * (byteCount - 1); shift >= 0 && Good(); shift -= 8) {
        if (PutByte(static_cast<uint8_t>(value >> shift)) < 0) SetError(byteNotStored);
    }
}

uint32_t BinaryStream::GetNumber(int byteCount) noexcept {
    uint32_t value = 0;
    for (int i = 0; i < byteCount; ++i) {
        const int byte = GetByte();
        if (byte < 0) return 0;
        value = value << 8 | static_cast<uint32_t>(byte);
    }
    return value;
}

BinaryStream& operator<<(BinaryStream& stream, const String_t& text) noexcept {
    return stream.WriteU32(static_cast<uint32_t>(std::strlen(text.text))).WriteText(text.text);
}

BinaryStream& operator>>(BinaryStream& stream, String_t& text) noexcept {
    uint32_t length;
    stream.ReadU32(length);
    const uint32_t capacity = std::min(length, stream.ReadableBytes()) + 1;
    const std::unique_ptr<char[]> bytes(new (std::nothrow) char[capacity]);
    if (bytes == nullptr) {
        stream.SetError(BinaryStream::readFailed);
        return stream;
    }
    stream.ReadText(bytes.get(), capacity);
    try {
        text = bytes.get();
    } catch (const std::bad_alloc&) {
        stream.SetError(BinaryStream::readFailed);
    }
    return stream;
}
