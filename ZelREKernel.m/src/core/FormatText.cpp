#include "core/FormatText.h"

#include <charconv>
#include <cstdio>
#include <cstring>
#include <type_traits>

namespace ZKL {
namespace {

// Writes a message as long as it is plain and fits.
class PlainFormatter {
public:
    // Uses `arguments` up.
    PlainFormatter(char* text, std::size_t capacity, std::va_list& arguments)
        : at_(text), end_(text + capacity), arguments_(arguments) {}

    // The end of the text; null when the format is not plain or the text would not fit.
    char* Format(const char* format) {
        for (;;) {
            const char* const percent = std::strchr(format, '%');
            const std::size_t literal =
                percent ? static_cast<std::size_t>(percent - format) : std::strlen(format);
            if (!Put(format, literal)) {
                return nullptr;
            }
            if (!percent) {
                return at_;
            }
            format = percent + 1;
            if (!PutConversion(format)) {
                return nullptr;
            }
        }
    }

private:
    // Moves `format` behind the conversion.
    bool PutConversion(const char*& format) {
        if (*format == 'z') {
            return PutNumber<std::size_t>(*++format) && ++format;
        }
        if (format[0] == 'l' && format[1] == 'l') {
            format += 2;
            return PutNumber<unsigned long long>(*format) && ++format;
        }
        if (*format == 'l') {
            return PutNumber<unsigned long>(*++format) && ++format;
        }
        return PutShort(*format) && ++format;
    }

    bool PutShort(char conversion) {
        switch (conversion) {
            case '%':
                return Put("%", 1);
            case 'c': {
                const char character = static_cast<char>(va_arg(arguments_, int));
                return Put(&character, 1);
            }
            case 's': {
                const char* const string = va_arg(arguments_, const char*);
                return string && Put(string, std::strlen(string));
            }
            default:
                return PutNumber<unsigned>(conversion);
        }
    }

    template <typename Unsigned>
    bool PutNumber(char conversion) {
        switch (conversion) {
            case 'd':  // NOLINT(bugprone-branch-clone): the next branch takes another type
            case 'i':
                return PutDigits(va_arg(arguments_, std::make_signed_t<Unsigned>), 10);
            case 'u':
                return PutDigits(va_arg(arguments_, Unsigned), 10);
            case 'x':
                return PutDigits(va_arg(arguments_, Unsigned), 16);
            default:
                return false;
        }
    }

    template <typename Number>
    bool PutDigits(Number number, int base) {
        const std::to_chars_result result = std::to_chars(at_, end_, number, base);
        at_ = result.ptr;
        return result.ec == std::errc();
    }

    bool Put(const char* characters, std::size_t count) {
        if (static_cast<std::size_t>(end_ - at_) < count) {
            return false;
        }
        std::memcpy(at_, characters, count);
        at_ += count;
        return true;
    }

    char* at_;
    char* end_;
    std::va_list& arguments_;
};

}  // namespace

int FormatText(char* text, std::size_t capacity, const char* format, std::va_list arguments) {
    std::va_list plain;
    va_copy(plain, arguments);
    // One place less: a text that fills all of it would have been cut by vsnprintf.
    const char* const end = PlainFormatter(text, capacity - 1, plain).Format(format);
    va_end(plain);
    return end ? static_cast<int>(end - text) : std::vsnprintf(text, capacity, format, arguments);
}

}  // namespace ZKL
