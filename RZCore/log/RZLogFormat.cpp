#include <RZCore/log/RZLogFormat_p.h>

#include <cstdint>
#include <cstdio>
#include <type_traits>

namespace RZBaseLog::detail {

namespace {

enum class Length { none, hh, h, l, ll, z, j, t };

template <typename U>
void appendUnsigned(MessageBuffer& out, U value, unsigned base, bool upper)
{
    static constexpr char kLower[] = "0123456789abcdef";
    static constexpr char kUpper[] = "0123456789ABCDEF";
    const char* digits = upper ? kUpper : kLower;
    char buffer[24];
    char* p = buffer + sizeof buffer;
    do {
        *--p = digits[value % base];
        value /= base;
    } while (value != 0);
    out.append(p, static_cast<std::size_t>(buffer + sizeof buffer - p));
}

template <typename S>
void appendSigned(MessageBuffer& out, S value)
{
    using U = std::make_unsigned_t<S>;
    if (value < 0) {
        out.push('-');
        appendUnsigned(out, static_cast<U>(U(0) - static_cast<U>(value)), 10, false);
    } else {
        appendUnsigned(out, static_cast<U>(value), 10, false);
    }
}

// The common conversions without flags, width or precision: %d %i %u %x %X %o %s %c %% with the
// integer length modifiers. Anything else is left to the C runtime (returns false).
bool fastFormat(MessageBuffer& out, const char* p, va_list args)
{
    while (*p) {
        const char* literal = p;
        while (*p && *p != '%')
            ++p;
        out.append(literal, static_cast<std::size_t>(p - literal));
        if (!*p)
            break;
        ++p;
        if (*p == '%') {
            out.push('%');
            ++p;
            continue;
        }
        Length length = Length::none;
        switch (*p) {
        case 'h':
            length = (p[1] == 'h') ? Length::hh : Length::h;
            p += (length == Length::hh) ? 2 : 1;
            break;
        case 'l':
            length = (p[1] == 'l') ? Length::ll : Length::l;
            p += (length == Length::ll) ? 2 : 1;
            break;
        case 'z':
            length = Length::z;
            ++p;
            break;
        case 'j':
            length = Length::j;
            ++p;
            break;
        case 't':
            length = Length::t;
            ++p;
            break;
        default:
            break;
        }
        const char conversion = *p;
        switch (conversion) {
        case 'd':
        case 'i':
            switch (length) {
            case Length::none: appendSigned(out, va_arg(args, int)); break;
            case Length::hh: appendSigned(out, static_cast<signed char>(va_arg(args, int))); break;
            case Length::h: appendSigned(out, static_cast<short>(va_arg(args, int))); break;
            case Length::l: appendSigned(out, va_arg(args, long)); break;
            case Length::ll: appendSigned(out, va_arg(args, long long)); break;
            case Length::z: appendSigned(out, va_arg(args, std::make_signed_t<std::size_t>)); break;
            case Length::j: appendSigned(out, va_arg(args, std::intmax_t)); break;
            case Length::t: appendSigned(out, va_arg(args, std::ptrdiff_t)); break;
            }
            break;
        case 'u':
        case 'x':
        case 'X':
        case 'o': {
            const unsigned base = conversion == 'u' ? 10 : conversion == 'o' ? 8 : 16;
            const bool upper = conversion == 'X';
            switch (length) {
            case Length::none: appendUnsigned(out, va_arg(args, unsigned), base, upper); break;
            case Length::hh:
                appendUnsigned(out, static_cast<unsigned char>(va_arg(args, unsigned)), base, upper);
                break;
            case Length::h:
                appendUnsigned(out, static_cast<unsigned short>(va_arg(args, unsigned)), base, upper);
                break;
            case Length::l: appendUnsigned(out, va_arg(args, unsigned long), base, upper); break;
            case Length::ll: appendUnsigned(out, va_arg(args, unsigned long long), base, upper); break;
            case Length::z: appendUnsigned(out, va_arg(args, std::size_t), base, upper); break;
            case Length::j: appendUnsigned(out, va_arg(args, std::uintmax_t), base, upper); break;
            case Length::t:
                appendUnsigned(out, static_cast<std::make_unsigned_t<std::ptrdiff_t>>(va_arg(args, std::ptrdiff_t)),
                               base, upper);
                break;
            }
            break;
        }
        case 's': {
            if (length != Length::none)
                return false;
            const char* text = va_arg(args, const char*);
            if (!text)
                text = "(null)"; // as the C runtime prints it
            const char* end = text;
            while (*end)
                ++end;
            out.append(text, static_cast<std::size_t>(end - text));
            break;
        }
        case 'c':
            if (length != Length::none)
                return false;
            out.push(static_cast<char>(static_cast<unsigned char>(va_arg(args, int))));
            break;
        default:
            return false;
        }
        ++p;
    }
    return true;
}

bool runtimeFormat(MessageBuffer& out, const char* format, va_list args)
{
    // Two passes, measure then write; the first writes into a stack buffer and is the only one for
    // a short line.
    va_list again;
    va_copy(again, args);
    char buffer[512];
    const int length = std::vsnprintf(buffer, sizeof buffer, format, args);
    bool ok = length >= 0;
    if (ok && static_cast<std::size_t>(length) < sizeof buffer) {
        out.append(buffer, static_cast<std::size_t>(length));
    } else if (ok) {
        std::string text(static_cast<std::size_t>(length) + 1, '\0');
        std::vsnprintf(&text[0], text.size(), format, again);
        out.append(text.data(), static_cast<std::size_t>(length));
    }
    va_end(again);
    return ok;
}

} // namespace

bool formatMessage(MessageBuffer& out, const char* format, va_list args)
{
    va_list original;
    va_copy(original, args);
    bool ok = fastFormat(out, format, args);
    if (!ok) {
        out.clear();
        ok = runtimeFormat(out, format, original);
        if (!ok)
            out.clear();
    }
    va_end(original);
    return ok;
}

} // namespace RZBaseLog::detail
