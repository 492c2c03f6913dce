#pragma once

// The two words of a JSON value as plain data: payload, a word of the library's own, and the type
// tag. ZelJSONValue gives them meaning and owns what they point to; nobody else should write them.
//
// Plain data: whoever owns a slot says which thread may touch it.

#include <cstdint>

struct ZelJSONSlot {
    // Which member counts is told by the type; `bits` are all of it.
    union Payload {
        // A number, or all bits of the word:
        std::uint64_t bits = 0;
        std::int32_t intNumber;
        std::uint32_t uintNumber;
        std::int64_t longLongNumber;
        std::uint64_t ulongLongNumber;
        float floatNumber;
        double doubleNumber;
        bool boolean;
        char* text;       // of a string that does not stand in the slot itself
        void* container;  // of an array or object; null while it is empty
    };

    Payload payload;         // the value, or what it is kept in
    std::uint32_t aux = 0;   // where a string is kept, and its length if that fits
    std::uint32_t type = 0;  // ZelJSONValue::ValueType
};

static_assert(sizeof(ZelJSONSlot) == 16);
