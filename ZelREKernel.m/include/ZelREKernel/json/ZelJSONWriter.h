#pragma once

// What turns a ZelJSONValue tree into text: the base of the two writers, and the formats of numbers
// and strings that they share. ZelCompactJSONWriter writes one line, ZelFancyJSONWriter an indented
// layout.
//
// A writer is used by one thread at a time and only reads the tree; the static functions may be
// called from any thread. Nothing fails but for want of memory (std::bad_alloc), and no depth of a
// tree costs stack.

#include <cstdint>
#include <string>

#include "ZelREKernel/ZelREKernelExport.h"
#include "ZelREKernel/json/ZelJSONValue.h"

class ZELREKERNEL_EXPORT ZelJSONWriter {
public:
    ZelJSONWriter() = default;
    ZelJSONWriter(const ZelJSONWriter&) = default;
    ZelJSONWriter& operator=(const ZelJSONWriter&) = default;
    virtual ~ZelJSONWriter();

    // The whole text, with one line feed at its end.
    virtual std::string Write(const ZelJSONValue& root) = 0;

    // Decimal digits, with a minus where it is due, under any locale; "true" or "false".
    static std::string ValueToString(int value);
    static std::string ValueToString(unsigned int value);
    static std::string ValueToString(std::int64_t value);
    static std::string ValueToString(std::uint64_t value);
    static std::string ValueToString(bool value);
    // As the integer of the same width and sign.
    template <ZelJSONOtherLong Long>
    static std::string ValueToString(Long value) {
        return ValueToString(static_cast<ZelJSONLongOf<Long>>(value));
    }
    // "NaN", "Infinity", "-Infinity", or the shortest text that reads back as the same double, as
    // std::to_chars writes it: no ".0" at the end, and an exponent where that is shorter.
    static std::string ValueToString(double value);
    // Between double quotes. Double quote, backslash and the control characters with a letter of
    // their own (b, f, n, r, t) get a backslash; other bytes from 1 to 31 are dropped; all others,
    // from 0x80 up too, are copied. A null text counts as an empty one.
    static std::string ValueToQuotedString(const char* value);
    // Writes a zero just before `current` and the digits before that, 21 bytes at most, and moves
    // `current` back to the first digit.
    static void UlongLongToString(std::uint64_t value, char*& current);
    // Byte values 1 to 31.
    static bool IsControlCharacter(char c);
    // Whether any byte of the zero-terminated text is one.
    static bool ContainsControlCharacter(const char* text);
};
