#include "number_guard.h"

#include <cerrno>
#include <string_view>

namespace kj {

namespace {

// Digits of the largest magnitudes the parser keeps exactly.
constexpr std::string_view kMaxNegative = "9223372036854775808";                       // 2^63
constexpr std::string_view kMaxPositive = "340282366920938463463374607431768211455";  // 2^128 - 1

// a > b for decimal digit strings without leading zeros.
bool greater(std::string_view a, std::string_view b)
{
    return a.size() != b.size() ? a.size() > b.size() : a > b;
}

bool all_digits(std::string_view s)
{
    return !s.empty() && s.find_first_not_of("0123456789") == std::string_view::npos;
}

// Integers only: a fraction or an exponent makes a double, which the
// serializer writes exactly. Malformed tokens are left to the parser.
bool out_of_range(std::string_view token)
{
    bool negative = !token.empty() && token[0] == '-';
    std::string_view digits = negative ? token.substr(1) : token;
    if (!all_digits(digits) || (digits.size() > 1 && digits[0] == '0'))
        return false;
    return greater(digits, negative ? kMaxNegative : kMaxPositive);
}

bool number_byte(char c)
{
    return (c >= '0' && c <= '9') || c == '-' || c == '+' || c == '.' || c == 'e' || c == 'E';
}

}  // namespace

void NumberGuard::feed(const char *bytes, size_t n)
{
    for (size_t i = 0; i < n; ++i) {
        char c = bytes[i];
        if (state_ == State::kNumber) {
            if (number_byte(c))
                token_ += c;
            else
                end_token();
        }
        // The counters follow the parser's: lines from 1, columns counting
        // characters (UTF-8 continuation bytes do not count).
        ++position_;
        if (c == '\n') {
            ++line_;
            column_ = 0;
        } else if ((static_cast<unsigned char>(c) & 0xC0) != 0x80) {
            ++column_;
        }
        switch (state_) {
        case State::kOutside:
            if (c == '"') {
                state_ = State::kString;
            } else if (c == '-' || (c >= '0' && c <= '9')) {
                state_ = State::kNumber;
                token_.assign(1, c);
            }
            break;
        case State::kString:
            if (c == '\\')
                state_ = State::kEscape;
            else if (c == '"')
                state_ = State::kOutside;
            break;
        case State::kEscape:
            state_ = State::kString;
            break;
        case State::kNumber:
            break;
        }
    }
}

// Called with the counters on the literal's last character.
void NumberGuard::end_token()
{
    if (!found() && out_of_range(token_)) {
        literal_ = token_;
        at_line_ = line_;
        at_column_ = column_;
        at_position_ = position_;
    }
    token_.clear();
    state_ = State::kOutside;
}

void NumberGuard::finish()
{
    if (state_ == State::kNumber)
        end_token();
}

void NumberGuard::report(KelError **err) const
{
    if (err == nullptr)
        return;
    kel_set_error(err, kel_json_error_domain(), KEL_JSON_PARSE_ERROR,
                  "Integer out of range: %s (the library keeps integers from -2^63 to 2^128-1 "
                  "exactly)",
                  literal_.c_str());
    auto *pos = reinterpret_cast<KelJsonErrorDataPosition *>(
        kel_error_data_new(*err, kel_json_error_domain(), KEL_JSON_ERROR_DATA_POSITION,
                           sizeof(KelJsonErrorDataPosition), nullptr));
    pos->line = at_line_;
    pos->column = at_column_;
    pos->position = at_position_;
}

// ---- The watching stream ------------------------------------------------------

namespace {

ssize_t guarded_read(void *cookie, char *buf, size_t size)
{
    auto *guard = static_cast<NumberGuard *>(cookie);
    return guard->read_for_stream(buf, size);
}

}  // namespace

ssize_t NumberGuard::read_for_stream(char *buf, size_t size)
{
    errno = 0;
    size_t n = std::fread(buf, 1, size, source_);
    if (n == 0 && std::ferror(source_)) {
        if (errno == 0)
            errno = EIO;
        return -1;  // the stream's error flag tells the loader's caller
    }
    if (n == 0)
        finish();
    else
        feed(buf, n);
    return static_cast<ssize_t>(n);
}

FILE *NumberGuard::wrap(FILE *source)
{
    source_ = source;
    cookie_io_functions_t io = {guarded_read, nullptr, nullptr, nullptr};
    return fopencookie(this, "r", io);
}

}  // namespace kj
