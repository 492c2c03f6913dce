#pragma once

// Trees as text that tells every difference, types included; ours and the judge's alike.

#include <bit>
#include <cinttypes>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <string>

#include "ZelREKernel/json/ZelJSONRange.h"

namespace test {

inline void PutNumber(std::string& out, char type, std::uint64_t bits) {
    char text[24];
    std::snprintf(text, sizeof text, "%c%" PRIx64, type, bits);
    out += text;
}

inline std::string Describe(const ZelJSONValue& value) {
    std::string out;
    switch (value.GetValueType()) {
        case ZelJSONValue::nullValue:
            return "null";
        case ZelJSONValue::booleanValue:
            return value.AsBool() ? "true" : "false";
        case ZelJSONValue::stringValue:
            return '"' + value.AsString() + '"';
        case ZelJSONValue::floatValue:
            PutNumber(out, 'f', std::bit_cast<std::uint32_t>(value.AsFloat()));
            return out;
        case ZelJSONValue::doubleValue:
            PutNumber(out, 'd', std::bit_cast<std::uint64_t>(value.AsDouble()));
            return out;
        case ZelJSONValue::arrayValue:
            for (const ZelJSONValue& element : ZelJSONElements(value)) {
                out += (out.empty() ? "" : ",") + Describe(element);
            }
            return '[' + out + ']';
        case ZelJSONValue::objectValue:
            for (const auto [name, member] : ZelJSONMembers(value)) {
                (out += out.empty() ? "" : ",").append(name) += ':' + Describe(member);
            }
            return '{' + out + '}';
        default:
            PutNumber(out, static_cast<char>('0' + value.GetValueType()), value.AsULongLong());
            return out;
    }
}

// What our reader makes of the judge's value: texts end at a zero, negative numbers have 32 bits.
inline std::string Describe(const nlohmann::json& value) {
    if (value.is_string()) {
        return Describe(ZelJSONValue(value.get_ref<const std::string&>()));
    }
    if (value.is_number_float()) {
        return Describe(ZelJSONValue(value.get<double>()));
    }
    if (value.is_number_unsigned()) {
        const auto number = value.get<std::uint64_t>();
        return Describe(number <= INT32_MAX   ? ZelJSONValue(static_cast<int>(number))
                        : number <= INT64_MAX ? ZelJSONValue(static_cast<std::int64_t>(number))
                                              : ZelJSONValue(number));
    }
    if (value.is_number_integer()) {
        return Describe(ZelJSONValue(static_cast<int>(value.get<std::int64_t>())));
    }
    std::string out;
    if (value.is_array()) {
        for (const auto& element : value) {
            out += (out.empty() ? "" : ",") + Describe(element);
        }
        return '[' + out + ']';
    }
    if (value.is_object()) {
        for (const auto& [name, member] : value.items()) {
            (out += out.empty() ? "" : ",").append(name) += ':' + Describe(member);
        }
        return '{' + out + '}';
    }
    return value.dump();
}

}  // namespace test
