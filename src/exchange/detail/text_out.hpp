// A block buffer in front of a `FILE*` for the text writers: each line is
// built in place behind `at()`, where `room` characters are free, and handed
// back with `done()`. Blocks go out with fwrite; the results of the writes are
// not examined, as the writers do not report them.
#pragma once

#include <cstddef>
#include <cstdio>
#include <cstring>

namespace tq5 {
namespace cellworks {
namespace detail {

/// Copies the text `s` to `out`, without its terminating zero; returns the end.
inline char* put_text(char* out, const char* s) noexcept {
    const std::size_t n = std::strlen(s);
    std::memcpy(out, s, n);
    return out + n;
}

class text_out {
public:
    /// Free characters behind `at()`: three reals of `%f` and more.
    static constexpr std::size_t room = 1024;

    explicit text_out(std::FILE* file) noexcept : file_(file) {}
    ~text_out() { flush(); }
    text_out(const text_out&) = delete;
    text_out& operator=(const text_out&) = delete;

    char* at() noexcept {
        if (used_ > block) flush();
        return buffer_ + used_;
    }
    void done(char* end) noexcept { used_ = std::size_t(end - buffer_); }
    /// Appends a text of fewer than `room` characters.
    void text(const char* s) noexcept { done(put_text(at(), s)); }
    void flush() noexcept {
        std::fwrite(buffer_, 1, used_, file_);
        used_ = 0;
    }

private:
    static constexpr std::size_t block = 1u << 14;
    std::FILE* file_;
    std::size_t used_ = 0;
    char buffer_[block + room];
};

}  // namespace detail
}  // namespace cellworks
}  // namespace tq5
