#include "LineReader.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace Vireo {

namespace {

// Room for an unfinished line carried over (at most 99 bytes), a chunk, and
// the terminator of a last line without '\n'.
char gBuffer[LineReader::kMaxLineLength + LineReader::kLargeChunk + 1];

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
        if (char* newline = static_cast<char*>(std::memchr(next_, '\n', window))) {
            *newline = '\0';
            line.text = next_;
            line.length = static_cast<size_t>(newline - next_);
            next_ = newline + 1;
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
