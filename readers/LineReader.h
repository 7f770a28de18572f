// The line rule shared by the three sample-file readers. It reproduces, byte
// for byte, what a loop `while (stream.getline(buffer, 100))` over a
// std::ifstream sees, without the stream's per-line cost:
// - a line holds at most 99 characters before its '\n', which is dropped;
// - a line of 100 or more characters ends the reading, and that partial line
//   is not handed out (the stream would be in its failure state);
// - a carriage return stays in the line, an empty line is a line, and a last
//   line without '\n' is a line, but an empty rest at the end of file is not;
// - a read error ends the reading like the end of file (a directory opens
//   but reads as an empty file);
// - a NUL byte inside a line counts towards the 99 characters, but the line
//   as a C string ends there, so key search and number conversion stop there.
//
// The file is read once from its start with read() into one static buffer
// that is reused for every file. Only one LineReader may be alive at a time,
// and only on one thread: the readers are called one after the other from
// the driver's single thread.
#ifndef VIREO_LINE_READER_H
#define VIREO_LINE_READER_H

#include <cstddef>
#include <cstring>

namespace Vireo {

// One line, NUL-terminated in place inside the reader's buffer. It stays
// valid until the next call of LineReader::Next.
struct Line {
    const char* text = nullptr;
    size_t length = 0;      // bytes before the line end, NUL bytes included
    bool hasColon = false;  // a ':' among those bytes, noted while finding the line end

    // Every key ends in ':', so a line without one holds no key and is a
    // value line; this spares the substring searches on almost every line.
    bool MayHoldKey() const { return hasColon; }

    // Substring search over the line as a C string, as strstr does.
    bool Contains(const char* key) const { return std::strstr(text, key) != nullptr; }
};

class LineReader {
public:
    // Longest line the rule accepts, without its '\n'.
    static constexpr size_t kMaxLineLength = 99;
    // The header and calibration readers need only the first few kilobytes
    // of a file; the channel reader goes through nearly all of it.
    static constexpr size_t kSmallChunk = 4096;
    static constexpr size_t kLargeChunk = 65536;

    // Opens the file for reading; each read() asks for at most chunkSize
    // bytes (at most kLargeChunk).
    LineReader(const char* path, size_t chunkSize);
    ~LineReader();
    LineReader(const LineReader&) = delete;
    LineReader& operator=(const LineReader&) = delete;

    bool IsOpen() const { return fd_ >= 0; }

    // The next line, or false when no line can be read any more. Once it
    // has returned false it keeps doing so.
    bool Next(Line& line);

private:
    // Moves the unread rest to the buffer's start and appends the next
    // chunk. Sets atEnd_ at the end of file and failed_ on a read error.
    void Refill();

    int fd_;
    size_t chunkSize_;
    char* next_;  // first unread byte in the buffer
    char* end_;   // one past the last byte read from the file
    bool atEnd_ = false;
    bool failed_ = false;
};

}  // namespace Vireo

#endif  // VIREO_LINE_READER_H
