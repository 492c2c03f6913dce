#include "ZelREKernel/json/ZelJSONValue.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <map>
#include <random>
#include <set>
#include <thread>

#include "ZelREKernel/json/ZelJSONRange.h"
#include "ZelREKernel/json/ZelJSONReader.h"
#include "json/DescribeJSON.h"
#include "json/FailingNew.h"
#include "support/ScopedCheckHandler.h"

namespace {

using test::Describe;
using V = ZelJSONValue;

struct Conversions {
    V value;
    bool asBool;
    int asInt;
    unsigned asUInt;
    std::int64_t asLongLong;
    std::uint64_t asULongLong;
    float asFloat;
    double asDouble;
    std::string asString;
};

constexpr std::uint64_t kTop = std::uint64_t{1} << 63;

const Conversions kConversions[] = {
    {V(-7), true, -7, 0xFFFFFFF9u, -7, 0xFFFFFFFFFFFFFFF9u, -7.0f, -7.0, "-7"},
    {V(0), false, 0, 0, 0, 0, 0.0f, 0.0, "0"},
    {V(3000000000u), true, -1294967296, 3000000000u, -1294967296, 0xFFFFFFFFB2D05E00u, 3e9f, 3e9,
     "3000000000"},
    {V(4294967295u), true, -1, 0xFFFFFFFFu, -1, ~std::uint64_t{0}, 4294967295.0f, 4294967295.0,
     "4294967295"},
    {V(std::int64_t{-2}), true, -2, 0xFFFFFFFEu, -2, ~std::uint64_t{0} - 1, 18446744073709551614.0f,
     -2.0, "-2"},
    {V(std::int64_t{1} << 32), true, 0, 0, 1ll << 32, 1ull << 32, 4294967296.0f, 4294967296.0,
     "4294967296"},
    {V(kTop + 5), true, 5, 5, INT64_MIN + 5, kTop + 5, -9223372036854775803.0f,
     9223372036854775813.0, "9223372036854775813"},
    {V(-1.75f), true, -1, 0xFFFFFFFFu, -1, ~std::uint64_t{0}, -1.75f, -1.75, "-1.750000"},
    {V(-0.0f), false, 0, 0, 0, 0, -0.0f, -0.0, "-0.000000"},
    {V(6e9f), true, INT32_MIN, 1705032704u, 6000000000, 6000000000u, 6e9f, 6e9,
     "6000000000.000000"},
    {V(1e19f), true, INT32_MIN, 0, INT64_MIN, 9999999980506447872u, 1e19f, 9999999980506447872.0,
     "9999999980506447872.000000"},
    {V(1.5), true, 1, 1, 1, 1, 1.5f, 1.5, "1.500000"},
    {V(12345678901234567.0), true, INT32_MIN, 1567312776u, 12345678901234568, 12345678901234568u,
     12345678901234567.0f, 12345678901234567.0, "12345678901234568.000000"},
    {V(1e20), true, INT32_MIN, 0, INT64_MIN, kTop, 1e20f, 1e20, "100000000000000000000.000000"},
    {V(DBL_MAX), true, INT32_MIN, 0, INT64_MIN, kTop, HUGE_VALF, DBL_MAX,
     "179769313486231570814527423731704356798070567525844996598917476803157260780028538760589558632"
     "7"
     "668781715404589535143824642343213"},
    {V(""), false, 0, 0, 0, 0, 0.0f, 0.0, ""},
    {V("false"), true, 0, 0, 0, 0, 0.0f, 0.0, "false"},
    {V(" -12.5e1x"), true, -12, 0xFFFFFFF4u, -12, ~std::uint64_t{0} - 11, -125.0f, -125.0,
     " -12.5e1x"},
    {V("18446744073709551615 is out of line"), true, -1, 0xFFFFFFFFu, INT64_MAX, ~std::uint64_t{0},
     18446744073709551616.0f, 18446744073709551616.0, "18446744073709551615 is out of line"},
    {V(V::stringValue), false, 0, 0, 0, 0, 0.0f, 0.0, ""},
    {V(true), true, 1, 1, 1, 1, 1.0f, 1.0, "1"},
    {V(false), false, 0, 0, 0, 0, 0.0f, 0.0, "0"},
};

void ExpectConversions(const Conversions& c) {
    EXPECT_EQ(c.value.AsBool(), c.asBool);
    if (c.asString.size() < 20 || !c.value.IsString()) {  // beyond the range atoi may do anything
        EXPECT_EQ(c.value.AsInt(), c.asInt);
    }
    EXPECT_EQ(c.value.AsUInt(), c.asUInt);
    EXPECT_EQ(c.value.AsLongLong(), c.asLongLong);
    EXPECT_EQ(c.value.AsULongLong(), c.asULongLong);
    EXPECT_EQ(c.value.AsFloat(), c.asFloat);
    EXPECT_EQ(c.value.AsDouble(), c.asDouble);
    EXPECT_EQ(c.value.AsString(), c.asString);
}

TEST(ZelJSONValue, Converts) {
    const test::ScopedCheckHandler checks;
    for (const Conversions& c : kConversions) {
        SCOPED_TRACE(Describe(c.value));
        ExpectConversions(c);
        const V copy = c.value;
        EXPECT_EQ(Describe(copy), Describe(c.value));
    }
    EXPECT_TRUE(checks.Checks().empty());
    test::ScopedCheckHandler reported;
    for (const V& value : {V(), V(V::arrayValue), V(V::objectValue)}) {
        const std::string empty;
        ExpectConversions({value, false, -1, 0xFFFFFFFFu, -1, ~std::uint64_t{0}, 0.0f, 0.0, empty});
    }
    EXPECT_EQ(reported.Checks().size(), 7 + 8 + 8u);  // the text of null is no mistake
}

TEST(ZelJSONValue, TellsItsType) {
    const V values[] = {V(static_cast<const char*>(nullptr)),
                        V(1),
                        V(1u),
                        V(std::int64_t{1}),
                        V(std::uint64_t{1}),
                        V(1.f),
                        V(1.),
                        V(std::string("x")),
                        V(true),
                        V(V::arrayValue),
                        V(V::objectValue)};
    bool (V::*const queries[])() const noexcept = {
        &V::IsNULL,   &V::IsInt,    &V::IsUInt, &V::IsLongLong, &V::IsULongLong, &V::IsFloat,
        &V::IsDouble, &V::IsString, &V::IsBool, &V::IsArray,    &V::IsObject};
    for (unsigned type = 0; type <= V::objectValue; ++type) {
        const V& value = values[type];
        EXPECT_EQ(value.GetValueType(), type);
        EXPECT_EQ(V(static_cast<V::ValueType>(type)).GetValueType(), type);
        for (unsigned asked = 0; asked <= V::objectValue; ++asked) {
            const auto query = queries[asked];
            EXPECT_EQ((value.*query)(), asked == type);
        }
        EXPECT_EQ(!value, type == V::nullValue);
        EXPECT_EQ(value.IsEmpty(), type == V::nullValue || type >= V::arrayValue);
    }
    EXPECT_EQ(V(std::string("cut\0off", 7)).AsString(), "cut");
    EXPECT_TRUE(V(-5LL).IsLongLong());
    EXPECT_TRUE(V(5ULL).IsULongLong());
    EXPECT_EQ(V(5L).IsInt(), sizeof(long) == sizeof(int));
}

// Every misuse: its expression, its fallback, and a line that no other site has.
TEST(ZelJSONValue, ReportsMisuseBySite) {
    test::ScopedCheckHandler handler;
    V number(1);
    V object;
    object["a"] = 1;
    V array;
    array[2] = 1;
    const V& constNumber = number;
    const V& constObject = object;
    const V& constArray = array;
    const std::string a = "a";
    const std::string notArray = "m_ValType == nullValue || m_ValType == arrayValue";
    const std::string notObject = "m_ValType == nullValue || m_ValType == objectValue";

    EXPECT_EQ(number.Size(), 0u);
    V(static_cast<V::ValueType>(11)).Swap(number);  // its end and its making are two sites
    EXPECT_EQ(&object[0u], &object);
    EXPECT_EQ(&array["a"], &array);
    EXPECT_EQ(&array[a], &array);
    EXPECT_EQ(&array[std::string_view(a)], &array);
    EXPECT_EQ(&constObject[0u], &V::theNULL);
    EXPECT_EQ(&constArray["a"], &V::theNULL);
    EXPECT_EQ(&constArray[a], &V::theNULL);
    EXPECT_EQ(&constArray[std::string_view(a)], &V::theNULL);
    constArray.AsBool();
    constArray.AsInt();
    constArray.AsUInt();
    constArray.AsLongLong();
    constArray.AsULongLong();
    constArray.AsFloat();
    constArray.AsDouble();
    constArray.AsString();
    number.Clear();
    EXPECT_EQ(constNumber.GetValueType(), 11u);
    number.Swap(object);
    number = V();

    std::set<int> lines;
    for (const auto& check : handler.Checks()) {
        EXPECT_EQ(check.path, "src/ZelJSONValue");
        lines.insert(check.line);
    }
    const std::vector<std::string> expected = {"0",       "0",      notArray,  notObject, notObject,
                                               notObject, notArray, notObject, notObject, notObject,
                                               "0",       "0",      "0",       "0",       "0",
                                               "0",       "0",      "0",       "0"};
    EXPECT_EQ(handler.Expressions(), expected);
    EXPECT_EQ(lines.size(), expected.size());
    object = V(1);  // the unknown type ends inside
    EXPECT_EQ(Describe(array), "[11]");
}

TEST(ZelJSONValue, LooksUpWithoutInserting) {
    V value;
    EXPECT_EQ(&std::as_const(value)["a"], &V::theNULL);
    EXPECT_EQ(&std::as_const(value)[0], &V::theNULL);
    EXPECT_TRUE(value.IsNULL());
    V nameless;
    nameless[static_cast<const char*>(nullptr)] = V(std::string_view());
    EXPECT_EQ(Describe(std::as_const(nameless)[std::string_view()]), "\"\"");
    EXPECT_EQ(&nameless[std::string_view()], &nameless[""]);
    value[5] = "x";
    EXPECT_EQ(value.Size(), 6u);
    EXPECT_EQ(value.GetMemberNames(), std::vector<std::string>{""});
    EXPECT_EQ(&std::as_const(value)[0], &V::theNULL);
    value[4294967295u] = 1;
    EXPECT_EQ(value.Size(), 4294967296u);
    EXPECT_EQ(Describe(value), "[\"x\",11]");

    // What is left in a value that was moved from is part of its contract.
    // NOLINTBEGIN(bugprone-use-after-move)
    V source(std::move(value));
    EXPECT_TRUE(value.IsNULL());
    V target("old");
    target = std::move(source);
    EXPECT_EQ(source.AsStringView(), "old");
    source.Clear();
    EXPECT_TRUE(source.IsString());
    EXPECT_EQ(source.AsString(), "");
    // NOLINTEND(bugprone-use-after-move)
    target.Clear();
    EXPECT_TRUE(target.IsArray() && target.IsEmpty());
    target = V::theNULL;
    EXPECT_TRUE(V::theNULL.IsNULL());
}

// Containers against maps, while references to all values are kept: parsed or not, copied or not.
TEST(ZelJSONValue, KeepsMembersInOrderAndInPlace) {
    const char* const pool[] = {"",
                                "a",
                                "ab",
                                "b",
                                "key",
                                "fifteen letters",
                                "sixteen letters!",
                                "sixteen letters?",
                                "Z",
                                "\xC3\xA9",
                                "aaaaaaaa",
                                "aaaaaaab",
                                "aaaaaaaaa"};
    std::mt19937 random(1);
    for (int round = 0; round < 200; ++round) {
        V object;
        if (round % 2 != 0) {
            ASSERT_TRUE(ZelJSONReader().Parse(
                R"({"key":-1,"b":-1,"sixteen letters!":-1,"aaaaaaab":-1})", object));
        }
        std::map<std::string, V*> model;
        for (auto [name, value] : ZelJSONMembers(object)) {
            model.emplace(name, &value);
        }
        for (int i = 0; i < 30; ++i) {
            const std::string name = pool[random() % std::size(pool)] +
                                     (random() % 2 != 0 ? std::to_string(random() % 10) : "");
            V& value = object[name];
            EXPECT_EQ(model.emplace(name, &value).first->second, &value);
            value = name + " has a text of its own";
        }
        std::vector<std::string> names;
        for (const auto& [name, value] : model) {
            names.push_back(name);
            EXPECT_EQ(&std::as_const(object)[name], value);
            EXPECT_EQ(&std::as_const(object)[name.c_str()], value);
        }
        EXPECT_EQ(object.GetMemberNames(), names);
        EXPECT_EQ(object.Size(), names.size());
        const V copy = object;
        EXPECT_EQ(Describe(copy), Describe(object));
    }
}

TEST(ZelJSONValue, KeepsElementsInOrderAndInPlace) {
    std::mt19937 random(2);
    for (int round = 0; round < 60; ++round) {
        V array;
        if (round % 3 == 0) {
            ASSERT_TRUE(ZelJSONReader().Parse("[0,1,2,3,4,5,6,7,8,9]", array));
        }
        std::map<unsigned, V*> model;
        for (V& element : ZelJSONElements(array)) {
            model.emplace(model.size(), &element);
        }
        const unsigned dense = round % 2 != 0 ? 10000 : 20;
        for (unsigned i = 0; i < dense + 200; ++i) {
            const unsigned index = i < dense ? i : static_cast<unsigned>(random() >> random() % 32);
            V& element = array[index];
            EXPECT_EQ(model.emplace(index, &element).first->second, &element);
            element = index;
        }
        const V copy = array;
        for (const V* const checked : {&std::as_const(array), &copy}) {
            auto at = ZelJSONElements(*checked).begin();
            for (const auto& [index, element] : model) {
                ASSERT_EQ(at.Index(), index);
                ASSERT_EQ(&*at, &(*checked)[index]);
                ASSERT_EQ((*at).AsUInt(), element->AsUInt());
                ++at;
            }
            EXPECT_TRUE(at == std::default_sentinel);
            EXPECT_EQ(checked->Size(), std::uint64_t{model.rbegin()->first} + 1);
        }
    }
}

TEST(ZelJSONValue, DepthCostsNoStack) {
    V root;
    V* inner = &root;
    for (unsigned i = 0; i < 1000000; ++i) {
        inner = i % 2 != 0 ? &(*inner)["a"] : &(*inner)[i % 3];
    }
    V copy = root;
    root = V();
    inner = &copy;
    unsigned depth = 0;
    for (; !inner->IsNULL(); ++depth) {
        inner = depth % 2 != 0 ? &(*inner)["a"] : &(*inner)[depth % 3];
    }
    EXPECT_EQ(depth, 1000000u);
}

// The pieces of one document, scattered over threads and values, end in any order.
TEST(ZelJSONValue, PiecesOutliveTheirDocument) {
    for (int round = 0; round < 20; ++round) {
        V root;
        std::string text = "[";
        for (int i = 0; i < 2000; ++i) {
            text += i != 0 ? "," : "";
            text += R"([{"name":"piece number )" + std::to_string(i) + "\"},[]]";
        }
        ASSERT_TRUE(ZelJSONReader().Parse(text + "]", root));
        std::vector<std::vector<V>> parts(2);
        for (V& element : ZelJSONElements(root)) {
            parts[parts[0].size() == parts[1].size() ? 0 : 1].push_back(std::move(element));
        }
        root = V();
        std::thread other([part = std::move(parts[1])]() mutable { part.clear(); });
        const V last = std::move(parts[0].back());
        parts.clear();
        other.join();
        EXPECT_EQ(last[0]["name"].AsStringView(), "piece number 1998");
    }
}

// Every allocation fails once: the value stays as it was, and nothing is lost (the sanitizers
// look).
TEST(ZelJSONValue, SurvivesTheLackOfMemory) {
    if (!test::FailingNew::ReachesLibrary()) {
        GTEST_SKIP() << "the library's allocations cannot be made to fail here";
    }
    const auto text = std::string(100, 'x');
    V big;
    big["list"][3000] = text;
    big["list"][0] = text;
    big[text][text] = big;
    const std::string before = Describe(big);
    void (*const works[])(V&, const std::string&) = {
        [](V& value, const std::string&) { value = V(value); },
        [](V& value, const std::string& name) { value[name + "1"] = 1; },
        [](V& value, const std::string& name) { value["list"][1] = name; },
        [](V& value, const std::string& name) {
            V copy(value);
            copy["list"][70000] = V(name);
        },
        [](V&, const std::string& name) {
            V fresh;
            for (unsigned i = 0; i < 9; ++i) {
                fresh[i][name] = i;
            }
        }};
    for (const auto work : works) {
        bool failed = true;
        for (std::size_t after = 0; failed; ++after) {
            V value = big;
            {
                const test::FailingNew failing(after);
                try {
                    work(value, text);
                    failed = false;
                } catch (const std::bad_alloc&) {
                }
            }
            ASSERT_LT(after, 1000u);
            const std::string now = Describe(value);
            // At most the null that was inserted before its value failed.
            EXPECT_TRUE(!failed || now == before || now.size() == before.size() + 5) << now;
        }
    }
}

}  // namespace
