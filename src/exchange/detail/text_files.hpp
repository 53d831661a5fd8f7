// Text files read and written in blocks, for the readers and writers of text
// formats: a stream that closes itself, lines handed out from a buffer of
// the file, and lines built in a buffer and written out in blocks.
#pragma once

#include <cstddef>
#include <cstdio>
#include <cstring>
#include <memory>
#include <utility>

namespace tq5 {
namespace cellworks {
namespace detail {

struct file_closer {
    void operator()(std::FILE* f) const noexcept { std::fclose(f); }
};
using file_ptr = std::unique_ptr<std::FILE, file_closer>;

// The lines of a file read in blocks, as std::getline hands them out: a line
// ends before a '\n', or at the end of the file when no '\n' follows; an
// empty rest after the last '\n' is no line.
class line_reader {
public:
    // 64 KiB: a read is a few hundred lines, and a small file costs little.
    explicit line_reader(std::FILE* file) : file_(file), buffer_(new char[1u << 16]), size_(1u << 16) {}

    // The next line in [begin, end); `ended` tells whether a '\n' closed it.
    // False when no line is left. Throws std::bad_alloc for a line that does
    // not fit the buffer when a bigger one cannot be had.
    bool next(const char*& begin, const char*& end, bool& ended) {
        for (;;) {
            char* const first = buffer_.get() + first_;
            if (void* nl = std::memchr(first, '\n', last_ - first_)) {
                begin = first;
                end = static_cast<char*>(nl);
                first_ = std::size_t(end - buffer_.get()) + 1;
                ended = true;
                return true;
            }
            if (at_end_) {
                if (first_ == last_) return false;
                begin = first;
                end = buffer_.get() + last_;
                first_ = last_;
                ended = false;
                return true;
            }
            refill();
        }
    }

private:
    // Moves the unfinished line to the front, doubles a full buffer, reads on.
    // A read error counts as the end of the file.
    void refill() {
        std::memmove(buffer_.get(), buffer_.get() + first_, last_ - first_);
        last_ -= first_;
        first_ = 0;
        if (last_ == size_) {
            std::unique_ptr<char[]> bigger(new char[2 * size_]);
            std::memcpy(bigger.get(), buffer_.get(), last_);
            buffer_ = std::move(bigger);
            size_ *= 2;
        }
        const std::size_t got = std::fread(buffer_.get() + last_, 1, size_ - last_, file_);
        last_ += got;
        at_end_ = got == 0;
    }

    std::FILE* file_;
    std::unique_ptr<char[]> buffer_;
    std::size_t size_, first_ = 0, last_ = 0;
    bool at_end_ = false;
};

// Text gathered in a buffer and written out in blocks. Each line, or record
// of a few lines, is built in place, where `line_room` characters are free.
class text_writer {
public:
    static constexpr std::size_t line_room = 512;

    explicit text_writer(std::FILE* file) : file_(file), buffer_(new char[size + line_room]) {}
    ~text_writer() { flush(); }

    char* line() {
        if (used_ > size) flush();
        return buffer_.get() + used_;
    }
    void done(char* end) { used_ = std::size_t(end - buffer_.get()); }

private:
    static constexpr std::size_t size = 1u << 16;
    void flush() {
        std::fwrite(buffer_.get(), 1, used_, file_);
        used_ = 0;
    }
    std::FILE* file_;
    std::unique_ptr<char[]> buffer_;
    std::size_t used_ = 0;
};

inline char* put_text(char* out, const char* text) {
    const std::size_t n = std::strlen(text);
    std::memcpy(out, text, n);
    return out + n;
}

// Decimal digits of an unsigned integer: 32-bit values divide by 10 in 32 bits.
template <class U> char* put_unsigned(char* out, U v) {
    char digits[20];
    int n = 0;
    do digits[n++] = char('0' + v % 10);
    while (v /= 10);
    while (n) *out++ = digits[--n];
    return out;
}

}  // namespace detail
}  // namespace cellworks
}  // namespace tq5
