#include "ZelREKernel/json/ZelJSONReader.h"

#include <gtest/gtest.h>

#include <charconv>
#include <cmath>
#include <cstring>
#include <random>

#include "ZelREKernel/json/ZelJSONErrorText.h"
#include "json/DescribeJSON.h"
#include "json/FailingNew.h"

namespace {

using test::Describe;
using namespace std::string_literals;

// The list of errors as "<message> @<start>+<length>", in the document's bytes.
std::string Errors(const ZelJSONReader& reader) {
    std::string text;
    for (std::size_t i = 0; i < reader.GetErrorList().size(); ++i) {
        const auto& error = reader.GetErrorList()[i];
        const char* const start = reader.GetErrorDocument(i).data();
        text += (i != 0 ? " | " : "") + error.message + " @" +
                std::to_string(error.token.start - start) + "+" +
                std::to_string(error.token.end - error.token.start);
        EXPECT_GE(error.extra, error.token.end);
    }
    return text;
}

struct Case {
    std::string text;
    std::string tree;
    std::string errors = {};
};

const std::string kSyntax = "Syntax error: value, object or array expected.";
const std::string kNoName = "Missing '}' or object member name";
const std::string kNoColon = "Missing ':' after object member name";
const std::string kNoComma = "Missing ',' or '}' in object declaration";
const std::string kFourDigits = "Bad unicode escape sequence in string: four digits expected.";
const std::string kHexDigit = "Bad unicode escape sequence in string: hexadecimal digit expected.";

const Case kCases[] = {
    {"{}", "{}"},
    {" \t\r\n[ ] ", "[]"},
    {"", "null", kSyntax + " @0+0"},
    {"\v1", "null", kSyntax + " @0+1"},
    {R"({"b":1,"a":true,"ab":null,"b":[2]})", "{a:true,ab:null,b:[12]}"},
    {R"({"b":{"x":1},"b":x})", "{b:{x:11}}", kSyntax + " @17+1"},
    // separators, comments and what comes behind
    {"[1 2 3]", "[11,13]"},
    {"[1 [2] 3]", "[11,12]"},
    {"[1,]", "[11,null]", kSyntax + " @3+1"},
    {"[1\0 2]"s, "[11,12]"},
    {"[1 \0"s, "[11,null]", kSyntax + " @4+0"},
    {"[1 /* c */ , 2]", "[11,12]"},
    {"[1 // c\r, 2]", "[11,12]"},
    {"[1 /*/ , 2]", "[11,null]", kSyntax + " @11+0"},
    {"[1, /* c */ 2]", "[11,null]", kSyntax + " @4+7"},
    {"/* c */ 1", "null", kSyntax + " @0+7"},
    {R"({/* c */"a":1 /**/ , /**/ "b":2})", "{a:11,b:12}"},
    {R"({"a":1 /**/ "b":2})", "{a:11}", kNoName + " @15+1"},
    {R"({"a":1,})", "{a:11}", kNoName + " @7+1"},
    {R"({"":1,})", "{:11}"},
    {R"({"a":1 2})", "{a:11}", kNoComma + " @7+1"},
    {R"({"a" 1})", "{}", kNoColon + " @5+1"},
    {"{1:2}", "{}", kNoName + " @1+1"},
    {R"([{"a":[1,x],"b":2},3])", "[{a:[11,null]}]", kSyntax + " @9+1"},
    {R"([{"a":1 2}, {"b"} ])", "[{a:11}]", kNoComma + " @8+1"},
    {"truex", "true"},
    {"tru", "null", kSyntax + " @0+1"},
    {"[1] garbage", "[11]"},
    {"\xFF", "null", kSyntax + " @0+1"},
    // numbers
    {"2147483647", "17fffffff"},
    {"2147483648", "380000000"},
    {"9223372036854775807", "37fffffffffffffff"},
    {"9223372036854775808", "48000000000000000"},
    {"18446744073709551615", "4ffffffffffffffff"},
    {"18446744073709551616", Describe(ZelJSONValue(18446744073709551616.0))},
    {"-1", "1ffffffffffffffff"},
    {"-2147483649", "17fffffff"},
    {"-5000000000", Describe(ZelJSONValue(-705032704))},
    {"-9223372036854775808", "10"},
    {"-9223372036854775809", Describe(ZelJSONValue(-9223372036854775809.0))},
    {"[-, 007]", "[10,17]"},
    {"Infinity", "f7f800000"},
    {"-Infinity", "fff800000"},
    {"NaN", "f7fc00000"},
    {"-NaN", "10"},
    {"1Infinity", "null", "'1Infinity' is not a number. @0+9"},
    {"Infinit", "null", kSyntax + " @0+1"},
    {"1e999", "null", "'1e999' is not a number. @0+5"},
    {"1e-999", "null", "'1e-999' is not a number. @0+6"},
    {"--5", "null", "'--5' is not a number. @0+3"},
    {"[1.5.3, 1-2, 1., 2e, 3e+]",
     "[d3ff8000000000000,d3ff0000000000000,d3ff0000000000000,"
     "d4000000000000000,d4008000000000000]"},
    {"[-0.0, -0]", "[d8000000000000000,10]"},
    // strings
    {R"("\"\\\/\b\f\n\r\t")", "\"\"\\/\b\f\n\r\t\""},
    {R"("\u00e9\uD83D\uDE00\u20AC")", "\"\xC3\xA9\xF0\x9F\x98\x80\xE2\x82\xAC\""},
    {R"("\uDC00")", "\"\xED\xB0\x80\""},
    {R"("\uD800\u0041")", "\"\xF0\x90\x81\x81\""},
    {R"("a\u0000b")", "\"a\""},
    {"\"a\0b\""s, "\"a\""},
    {"{\"a\0b\":1,\"a\\u0000a\":2}"s, "{a\0a:12,a\0b:11}"s},
    {"\"tab\there\nlong enough for blocks\"", "\"tab\there\nlong enough for blocks\""},
    {R"("abc)", "null", kSyntax + " @0+4"},
    {R"("abc\")", "null", kSyntax + " @0+6"},
    {R"("abc\)", "null", kSyntax + " @0+5"},
    {R"("\q")", "null", "Bad escape sequence in string @0+4"},
    {R"("\u12")", "null", kFourDigits + " @0+6"},
    {R"("\u12G4")", "null", kHexDigit + " @0+8"},
    {R"("\ud800")", "null",
     "additional six characters expected to parse unicode surrogate pair. @0+8"},
    {R"("\ud800abcdef")", "null",
     "expecting another \\u token to begin the second half of a unicode surrogate pair @0+14"},
    {R"("\ud800\u00")", "null",
     "additional six characters expected to parse unicode surrogate pair. @0+12"},
    {R"("\ud800\u00xx")", "null", kHexDigit + " @0+14"},
    {R"({"\q":1, "b":2} )", "{}", "Bad escape sequence in string @1+4"},
};

TEST(ZelJSONReader, ReadsAndExplains) {
    for (const Case& c : kCases) {
        ZelJSONReader reader;
        ZelJSONValue root("old contents");
        root = ZelJSONValue();
        EXPECT_EQ(reader.Parse(c.text, root), c.errors.empty()) << c.text;
        EXPECT_EQ(Describe(root), c.tree) << c.text;
        EXPECT_EQ(Errors(reader), c.errors) << c.text;
    }
}

TEST(ZelJSONReader, KeepsErrorsAndTheirTexts) {
    ZelJSONReader reader;
    ZelJSONValue root;
    EXPECT_FALSE(reader.Parse("[1,\r\n {\"\xC3\xA9\t\" 2}]", root));
    EXPECT_TRUE(reader.Parse("[1 2 3]", root));
    EXPECT_FALSE(reader.Parse(std::string(100, ' ') + "x" + std::string(100, '-'), root));
    EXPECT_EQ(Errors(reader), kNoColon + " @13+1 | " + kSyntax + " @100+1");
    EXPECT_EQ(ZelJSONErrorText(reader, 0), "2:8: " + kNoColon + "\n {\"\xC3\xA9?\" 2}]\n       ^");
    EXPECT_EQ(ZelJSONErrorText(reader, 1), "1:101: " + kSyntax + "\n" + std::string(36, ' ') + "x" +
                                               std::string(35, '-') + "\n" + std::string(36, ' ') +
                                               "^");
}

TEST(ZelJSONReader, BoundsNesting) {
    for (const char* const open : {"[", "{\"a\":"}) {
        const auto nested = [open](std::size_t depth) {
            std::string text;
            for (std::size_t i = 0; i < depth; ++i) {
                text += open;
            }
            return text;
        };
        const char* const close = *open == '[' ? "]" : "}";
        std::string allowed = nested(ZelJSONReader::kDeepestNesting) + "1";
        for (std::size_t i = 0; i < ZelJSONReader::kDeepestNesting; ++i) {
            allowed += close;
        }
        ZelJSONReader reader;
        ZelJSONValue root;
        EXPECT_TRUE(reader.Parse(allowed, root));
        allowed.insert(0, *open == '[' ? "[1 /**/ ," : "{\"a\":1 /**/ ,\"a\":");
        EXPECT_FALSE(reader.Parse(allowed, root));
        EXPECT_FALSE(reader.Parse(nested(1000000), root));
        ASSERT_EQ(reader.GetErrorList().size(), 2u);
        EXPECT_EQ(reader.GetErrorList()[1].message, "Arrays and objects are nested too deeply.");
    }
}

// Documents of every kind of value, blank and escape; most keep to the grammar.
class Author {
public:
    explicit Author(unsigned seed) : random_(seed) {}

    unsigned Below(unsigned n) { return static_cast<unsigned>(random_() % n); }

    std::string Value(int depth) {
        switch (Below(depth > 0 ? 9 : 6)) {
            case 0:
                return Of({"true", "false", "null", "0", "-0", "1E5", "18446744073709551616"});
            case 1:
                return std::to_string(static_cast<std::int64_t>(random_()) >> Below(64));
            case 2:
            case 3:
                return Real();
            case 4:
            case 5:
                return String();
            case 6:
                return List('[', ']', depth, [this, depth] { return Value(depth - 1); });
            default:
                return List('{', '}', depth,
                            [this, depth] { return String() + Blank() + ":" + Value(depth - 1); });
        }
    }

    // A document with a byte changed, dropped or doubled.
    std::string Spoil(std::string text) {
        const auto at = Below(static_cast<unsigned>(text.size()));
        switch (Below(3)) {
            case 0:
                text[at] = Of({"\"", "\\", "[", "]", "{", "}", ",", ":", "/", "u", "0", "."})[0];
                break;
            case 1:
                text.erase(at, 1);
                break;
            default:
                text.insert(at, 1, text[at]);
        }
        return text;
    }

private:
    std::string Of(std::initializer_list<const char*> texts) {
        return texts.begin()[Below(static_cast<unsigned>(texts.size()))];
    }
    std::string Blank() { return Of({"", "", "", " ", "\n\t", "\r\n                   "}); }
    std::string Real() {
        char text[64];
        const auto bits = Below(2) != 0 ? random_() : std::uint64_t{0x3FF} << 52 | random_() >> 12;
        const auto value = std::bit_cast<double>(bits);
        if (!std::isnormal(value)) {
            return "0.25";
        }
        const auto format =
            Below(2) != 0 ? std::chars_format::scientific : std::chars_format::general;
        return std::string(text, std::to_chars(text, text + 64, value, format, int(Below(22))).ptr);
    }
    std::string String() {
        std::string text = "\"";
        for (unsigned i = Below(4) == 0 ? Below(40) : Below(4); i > 0; --i) {
            text += Of({"a", "b", "key", "\xC3\xA9", "\\n", "\\/", "\\u00e9", "\\uD83D\\uDE00",
                        "twelve bytes", "\\\\", "\\\"", "/", "z"});
        }
        return Below(300) == 0 ? text + std::string(5000, 'x') + '"' : text + '"';
    }
    template <class Item>
    std::string List(char open, char close, int depth, Item item) {
        std::string text(1, open);
        const unsigned count = Below(40) == 0 ? 60 + Below(100) : Below(6);
        for (unsigned i = 0; i < count && depth > 0; ++i) {
            text += (i != 0 ? "," : "") + Blank() + item() + Blank();
        }
        return text + close;
    }

    std::mt19937_64 random_;
};

// A comment sends the reader through the document token by token. Both ways make the same tree of
// it, and the judge agrees where the document keeps to the grammar.
TEST(ZelJSONReader, AgreesWithItselfAndTheJudge) {
    Author author(1);
    int judged = 0;
    for (int i = 0; i < 6000; ++i) {
        std::string text = author.Value(5);
        if (i % 2 != 0) {
            text = author.Spoil(text);
        }
        ZelJSONReader reader;
        ZelJSONValue quick;
        ZelJSONValue slow;
        const bool read = reader.Parse(text, quick);
        ZelJSONReader().Parse("[0 /**/ ," + text + "]", slow);
        if (read) {
            ASSERT_EQ(Describe(quick), Describe(slow[1])) << text;
        }
        const auto judge = nlohmann::json::parse(text, nullptr, false);
        // What is too small for a double is no number here, and 0 to the judge.
        const bool small = Errors(reader).find("is not a number") != std::string::npos;
        if (!judge.is_discarded() && !small) {
            ASSERT_TRUE(read) << text << Errors(reader);
            ASSERT_EQ(Describe(quick), Describe(judge)) << text;
            ++judged;
        }
    }
    EXPECT_GT(judged, 3000);
}

// The quick ways to a double against the standard library's.
TEST(ZelJSONReader, RoundsNumbersExactly) {
    std::mt19937_64 random(2);
    const auto check = [](const std::string& text) {
        ZelJSONValue root;
        double judged = 0;
        std::from_chars(text.data(), text.data() + text.size(), judged);
        ASSERT_TRUE(ZelJSONReader().Parse(text, root)) << text;
        ASSERT_EQ(root.AsDouble(), judged) << text;
    };
    for (int i = 0; i < 200000; ++i) {
        const auto digits = random() >> random() % 64;
        check(std::to_string(digits) + "e" + std::to_string(static_cast<int>(random() % 160) - 80));
        // Halfway between two doubles, and just beside.
        const auto half = (std::uint64_t{1} << 53 | random() >> 11) * 2 + 1;
        check(std::to_string(half) + (i % 2 != 0 ? "." : ".0000000000000000000000") +
              std::to_string(i % 3) + (i % 5 == 0 ? "e-4" : "e0"));
    }
}

TEST(ZelJSONReader, GrowsLinearly) {
    std::string numbers = "[0";
    std::string members = "{";
    for (unsigned i = 1; i < 300000; ++i) {
        const unsigned scattered = i * 7919u % 300007u;
        numbers += "," + std::to_string(i);
        members +=
            (i != 1 ? ",\"n" : "\"n") + std::to_string(scattered) + "\":" + std::to_string(i);
    }
    ZelJSONValue root;
    ASSERT_TRUE(ZelJSONReader().Parse(numbers + "]", root));
    ASSERT_EQ(root.Size(), 300000u);
    for (unsigned i = 0; i < 300000; ++i) {
        ASSERT_EQ(root[i].AsUInt(), i);
    }
    root[300000] = "more";
    EXPECT_EQ(root[299999].AsUInt(), 299999u);
    ASSERT_TRUE(ZelJSONReader().Parse(members + "}", root));
    ASSERT_EQ(root.Size(), 299999u);
    EXPECT_EQ(std::as_const(root)["n7919"].AsUInt(), 1u);
    const auto names = root.GetMemberNames();
    EXPECT_TRUE(std::is_sorted(names.begin(), names.end()));
}

// [0,[1],2,[3],...
std::string Rows(unsigned count) {
    std::string text = "[0";
    for (unsigned i = 1; i < count; ++i) {
        text += i % 2 != 0 ? ",[" + std::to_string(i) + "]" : "," + std::to_string(i);
    }
    return text + "]";
}

// Every allocation of a parse fails once: the exception comes out, nothing is lost (the sanitizers
// look), and the reader serves again.
TEST(ZelJSONReader, SurvivesTheLackOfMemory) {
    if (!test::FailingNew::ReachesLibrary()) {
        GTEST_SKIP() << "the library's allocations cannot be made to fail here";
    }
    const std::string texts[] = {
        R"({"b":[1,[2,3],"a text for a block"],"a name that is long, and its text":{"c":")" +
            std::string(5000, 'x') + R"("},"esc\u0061ped, and longer than others":0,"b":"twice"})",
        R"([1 /**/,{"a":[1,2,3,4,5,6,7]}])", R"([{"a":["text beyond the slot",x]}])", Rows(9000)};
    for (const std::string& text : texts) {
        bool failed = true;
        for (std::size_t after = 0; failed; ++after) {
            ZelJSONReader reader;
            ZelJSONValue root;
            {
                const test::FailingNew failing(after);
                try {
                    reader.Parse(text, root);
                    failed = false;
                } catch (const std::bad_alloc&) {
                }
            }
            ASSERT_LT(after, 1000u);
            EXPECT_TRUE(reader.Parse("[1]", root));
            EXPECT_EQ(Describe(root), "[11]");
        }
    }
}

}  // namespace
