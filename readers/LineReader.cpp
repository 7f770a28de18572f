#include "LineReader.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>

namespace Vireo {

namespace {

// Room for an unfinished line carried over (at most 99 bytes), a chunk, and
// the terminator of a last line without '\n'.
char gBuffer[LineReader::kMaxLineLength + LineReader::kLargeChunk + 1];

struct LineEnd {
    char* newline;  // null when [begin, limit) holds no '\n'
    bool colon;     // a ':' before the newline (or before limit)
};

constexpr uint64_t kLowBits = 0x0101010101010101u;
constexpr uint64_t kHighBits = 0x8080808080808080u;

// Flags (bit 7 of) each zero byte of word. Bytes above a true zero byte may
// be flagged wrongly, so only the lowest flag is exact; for the colon, which
// only has to be found, not placed, that is enough.
uint64_t ZeroBytes(uint64_t word) { return (word - kLowBits) & ~word & kHighBits; }

// Value lines are a handful of characters, where memchr's set-up costs more
// than the search: look at eight bytes at a time instead, and note a ':' in
// the same pass.
LineEnd FindLineEnd(char* begin, char* limit) {
    char* p = begin;
    bool colon = false;
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    for (; limit - p >= 8; p += 8) {
        uint64_t word;
        std::memcpy(&word, p, sizeof word);
        const uint64_t newlines = ZeroBytes(word ^ (kLowBits * '\n'));
        const uint64_t colons = ZeroBytes(word ^ (kLowBits * ':'));
        if (newlines != 0) {
            const uint64_t before = (newlines & (0 - newlines)) - 1;  // the bytes before it
            return {p + __builtin_ctzll(newlines) / 8, colon || (colons & before) != 0};
        }
        colon = colon || colons != 0;
    }
#endif
    for (; p < limit; ++p) {
        if (*p == '\n') {
            return {p, colon};
        }
        colon = colon || *p == ':';
    }
    return {nullptr, colon};
}

}  // namespace

LineReader::LineReader(const char* path, size_t chunkSize)
    : fd_(::open(path, O_RDONLY | O_CLOEXEC)),
      chunkSize_(chunkSize < kLargeChunk ? chunkSize : kLargeChunk),
      next_(gBuffer),
      end_(gBuffer) {}

LineReader::~LineReader() {
    if (fd_ >= 0) {
        ::close(fd_);
    }
}

bool LineReader::Next(Line& line) {
    while (!failed_) {
        const size_t available = static_cast<size_t>(end_ - next_);
        // Only the first 100 bytes can hold the '\n' of an acceptable line.
        const size_t window = available < kMaxLineLength + 1 ? available : kMaxLineLength + 1;
        const LineEnd end = FindLineEnd(next_, next_ + window);
        if (end.newline != nullptr) {
            *end.newline = '\0';
            line.text = next_;
            line.length = static_cast<size_t>(end.newline - next_);
            line.hasColon = end.colon;
            next_ = end.newline + 1;
            return true;
        }
        if (available > kMaxLineLength) {
            failed_ = true;  // 100 characters and still no line end
        } else if (atEnd_) {
            if (available == 0) {
                failed_ = true;
            } else {
                *end_ = '\0';
                line.text = next_;
                line.length = available;
                line.hasColon = end.colon;  // the window was the whole rest
                next_ = end_;
                return true;
            }
        } else {
            Refill();
        }
    }
    return false;
}

void LineReader::Refill() {
    if (fd_ < 0) {
        failed_ = true;
        return;
    }
    const size_t rest = static_cast<size_t>(end_ - next_);
    std::memmove(gBuffer, next_, rest);
    next_ = gBuffer;
    end_ = gBuffer + rest;
    ssize_t count;
    do {
        count = ::read(fd_, end_, chunkSize_);
    } while (count < 0 && errno == EINTR);
    if (count > 0) {
        end_ += count;
    } else if (count == 0) {
        atEnd_ = true;
    } else {
        // The stream library drops a line cut short by a read error.
        failed_ = true;
    }
}

}  // namespace Vireo
