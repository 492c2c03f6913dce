#include "ZelREKernel/json/ZelJSONWriter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <nlohmann/json.hpp>
#include <random>

#include "ZelREKernel/json/ZelCompactJSONWriter.h"
#include "ZelREKernel/json/ZelFancyJSONWriter.h"

namespace {

std::string Compact(const ZelJSONValue& value) {
    return ZelCompactJSONWriter().Write(value);
}

std::string Fancy(const ZelJSONValue& value) {
    return ZelFancyJSONWriter().Write(value);
}

std::string Judged(double value) {
    char text[64];
    return std::string(text, std::to_chars(text, std::end(text), value).ptr);
}

TEST(ZelJSONWriter, WritesNumbersAsTheStandardLibraryDoes) {
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    const std::pair<double, const char*> words[] = {
        {NAN, "NaN"}, {-NAN, "NaN"}, {kInfinity, "Infinity"}, {-kInfinity, "-Infinity"}};
    for (const auto& [value, text] : words) {
        EXPECT_EQ(ZelJSONWriter::ValueToString(value), text);
    }
    std::mt19937_64 random(1);
    const auto check = [](double value) {
        if (std::isfinite(value)) {
            ASSERT_EQ(ZelJSONWriter::ValueToString(value), Judged(value));
        }
    };
    for (int i = 0; i < 100000; ++i) {
        const std::uint64_t bits = random();
        check(std::bit_cast<double>(bits));
        // Decimals of every length and size, and the doubles beside them.
        const auto digits = static_cast<double>(bits >> (11 + random() % 53));
        const double decimal = digits * std::pow(10.0, static_cast<double>(random() % 40)) / 1e20;
        for (const double value : {decimal, std::nextafter(decimal, 0.0), -decimal * 10.0}) {
            check(value);
            check(static_cast<double>(static_cast<float>(value)));
        }
        const std::uint64_t number = bits >> random() % 64;
        const auto negative = -static_cast<std::int64_t>(number >> 1);
        ASSERT_EQ(ZelJSONWriter::ValueToString(number), std::to_string(number));
        ASSERT_EQ(ZelJSONWriter::ValueToString(negative), std::to_string(negative));
    }
    check(-0.0);
    EXPECT_EQ(ZelJSONWriter::ValueToString(std::numeric_limits<int>::min()), "-2147483648");
    EXPECT_EQ(ZelJSONWriter::ValueToString(4294967295U), "4294967295");
    EXPECT_EQ(ZelJSONWriter::ValueToString(true), "true");

    char buffer[24];
    char* current = std::end(buffer);
    ZelJSONWriter::UlongLongToString(UINT64_MAX, current);
    EXPECT_STREQ(current, "18446744073709551615");
    EXPECT_EQ(current + 21, std::end(buffer));
}

// The format in one line for each kind of byte, as the judge of the fast one.
std::string SlowlyQuoted(const std::string& text) {
    std::string quoted = "\"";
    for (const char c : text) {
        const char* const escape = std::strchr("\"\"\\\\\bb\ff\nn\rr\tt", c);
        if (escape != nullptr) {
            quoted += {'\\', escape[c == '"' || c == '\\' ? 0 : 1]};
        } else if (!ZelJSONWriter::IsControlCharacter(c)) {
            quoted += c;
        }
    }
    return quoted + '"';
}

TEST(ZelJSONWriter, EscapesAndDropsBytesWhereverTheyStand) {
    for (int byte = 1; byte < 256; ++byte) {
        const char c = static_cast<char>(byte);
        EXPECT_EQ(ZelJSONWriter::ContainsControlCharacter(std::string(1, c).c_str()), byte < 32);
        if (std::strchr("bfnrt", c) != nullptr) {
            continue;  // strchr of the judge would find the letters
        }
        for (std::size_t length = 1; length < 40; ++length) {
            for (const std::size_t at : {std::size_t{0}, length / 2, length - 1}) {
                std::string text(length, 'x');
                text[at] = c;
                const std::string quoted = SlowlyQuoted(text);
                ASSERT_EQ(ZelJSONWriter::ValueToQuotedString(text.c_str()), quoted);
                ASSERT_EQ(Compact(text), quoted + '\n');
            }
        }
    }
    std::string text;
    for (std::size_t length = 0; length < 70000; length += 1 + length / 3) {
        text.resize(length, text.size() % 5 == 0 ? '"' : 'y');
        ASSERT_EQ(Compact(text), SlowlyQuoted(text) + '\n');
    }
    ZelJSONValue object;
    object[std::string("a\0b", 3)] = "\xC3\xA9/";
    EXPECT_EQ(Compact(object), "{\"a\":\"\xC3\xA9/\"}\n");
    EXPECT_EQ(Fancy(object), "{\n   \"a\" : \"\xC3\xA9/\"\n}\n");
}

ZelJSONValue Numbers(unsigned count, int value) {
    ZelJSONValue array(ZelJSONValue::arrayValue);
    for (unsigned i = 0; i < count; ++i) {
        array[i] = value;
    }
    return array;
}

TEST(ZelJSONWriter, LaysOutContainers) {
    ZelJSONValue sparse;
    sparse[2U] = 1.5F;
    ZelJSONValue nested;
    nested[0U][0U] = 1;
    ZelJSONValue hollow;
    hollow[0U] = ZelJSONValue(ZelJSONValue::arrayValue);
    hollow[1U] = ZelJSONValue(ZelJSONValue::objectValue);
    ZelJSONValue mixed;
    mixed["b"] = 1;
    mixed["a"][0U] = true;
    mixed["a"][1U] = ZelJSONValue();
    ZelJSONValue deep;
    deep["x"]["y"] = Numbers(3, -7);
    deep["x"]["z"][0U] = mixed;
    deep["x"]["z"][2U] = NAN;
    const struct {
        ZelJSONValue value;
        const char* compact;
        const char* fancy;
    } cases[] = {
        {ZelJSONValue(), "null", "null"},
        {ZelJSONValue(ZelJSONValue::stringValue), "\"\"", "\"\""},
        {ZelJSONValue(std::uint64_t{1} << 63), "9223372036854775808", "9223372036854775808"},
        {ZelJSONValue(0.1F), "0.10000000149011612", "0.10000000149011612"},
        {Numbers(0, 0), "[]", "[]"},
        {ZelJSONValue(ZelJSONValue::objectValue), "{}", "{}"},
        {sparse, "[null,null,1.5]", "[ null, null, 1.5 ]"},
        {nested, "[[1]]", "[\n   [ 1 ]\n]"},
        {hollow, "[[],{}]", "[ [], {} ]"},
        {mixed, "{\"a\":[true,null],\"b\":1}", "{\n   \"a\" : [ true, null ],\n   \"b\" : 1\n}"},
        {deep, "{\"x\":{\"y\":[-7,-7,-7],\"z\":[{\"a\":[true,null],\"b\":1},null,NaN]}}",
         "{\n   \"x\" : {\n      \"y\" : [ -7, -7, -7 ],\n      \"z\" : [\n         {\n"
         "            \"a\" : [ true, null ],\n            \"b\" : 1\n         },\n"
         "         null,\n         NaN\n      ]\n   }\n}"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(Compact(c.value), std::string(c.compact) + '\n');
        EXPECT_EQ(Fancy(c.value), std::string(c.fancy) + '\n');
    }
}

// 2 n + 2 and the texts stay below 74 on one line; 25 elements never do.
TEST(ZelJSONWriter, SplitsArraysAtTheRightMargin) {
    const struct {
        unsigned count;
        int value;
        bool oneLine;
    } cases[] = {{23, 1, true},   {24, 1, false},   {24, 0, false}, {25, 1, false},
                 {14, 111, true}, {15, 111, false}, {17, 11, true}, {18, 11, false}};
    ZelFancyJSONWriter writer;
    for (const auto& c : cases) {
        const std::string text = writer.Write(Numbers(c.count, c.value));
        const auto lines = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
        EXPECT_EQ(lines, c.oneLine ? 1 : c.count + 2) << c.count << " of " << c.value;
        EXPECT_EQ(nlohmann::json::parse(text).size(), c.count);
    }
}

}  // namespace
