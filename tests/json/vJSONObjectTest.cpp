#include "ZelREKernel/json/vJSONObject.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <limits>
#include <new>

#include "json/CommaLocale.h"
#include "json/FailingNew.h"

namespace {

using ZKL::vJSONArray;
using ZKL::vJSONObject;
using ZKL::vSmartPtr;

constexpr char kLong[] = "longer than what a string holds without memory of its own";

std::string Text(const vSmartPtr<vJSONObject>& object) {
    std::string text = "before ";
    object->Serialize(text);
    return text;
}

template <class T>
concept Pushable = requires(vJSONArray array, T value) {
    array.PushValue(value);
};
static_assert(Pushable<float> && !Pushable<int>);

TEST(vJSONObject, WritesEachKindByteForByte) {
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    const auto object = vJSONObject::Create();
    EXPECT_EQ(Text(object), "before {\n\n}");

    vJSONArray inner;
    inner.PushValue(std::nextafter(1e9f, 0.0f)).PushValue(-1e9f).PushValue(1e-7f);
    const vJSONArray copy = inner;
    inner.PushValue(NAN).PushValue(kInfinity).PushValue(-kInfinity).PushValue(2e9f);
    vJSONArray array;
    array.PushValue(true).PushValue("a\\b").PushValue(copy).PushValue(inner);
    array.PushValue(vJSONArray()).PushValue(vJSONObject::Create());

    const auto child = vJSONObject::Create();
    child->PushEntry("key \"\\\n", static_cast<const char*>(nullptr));
    const vSmartPtr<vJSONObject> none;
    object->PushEntry("a", std::numeric_limits<int>::min()).PushEntry("a", 1.5f);
    object->PushEntry("b", false).PushEntry("s", "\"\\\n\x01").PushEntry("array", array);
    object->PushEntry("child", child).PushEntry("again", child);
    object->PushEntry("none", none).PushEntry("none", none);
    array.PushValue("later");
    EXPECT_EQ(Text(object),
              "before {\n\"a\" : -2147483648,\n\"a\" : 1.500000,\n\"b\" : false,\n"
              "\"s\" : \"\"\\\\\n\x01\",\n\"array\" : [true, \"a\\\\b\", "
              "[999999936.000000, -1.000000e+09, 0.000000], [999999936.000000, -1.000000e+09, "
              "0.000000, null, inf, -inf, 2.000000e+09], [], {\n\n}],\n"
              "\"child\" : {\n\"key \"\\\n\" : \"\"\n},\n\"none\" : \n}");

    // The next child may well get the address of one that was destroyed.
    const auto parent = vJSONObject::Create();
    const auto gone = vJSONObject::Create();
    parent->PushEntry("gone", gone);
    gone->Destroy();
    parent->PushEntry("new", vJSONObject::Create());
    EXPECT_EQ(Text(parent), "before {\n\"gone\" : ,\n\"new\" : {\n\n}\n}");
}

TEST(vJSONObject, WritesPointsUnderACommaLocaleAndRestoresIt) {
    const auto object = vJSONObject::Create();
    const auto child = vJSONObject::Create();
    child->PushEntry("x", 2e9f);
    object->PushEntry("child", child).PushEntry("y", 1.5f);
    const test::CommaLocale locale;
    if (locale.Name().empty()) {
        GTEST_SKIP() << "no locale with a decimal comma on this machine";
    }
    EXPECT_EQ(Text(object),
              "before {\n\"child\" : {\n\"x\" : 2.000000e+09\n},\n\"y\" : 1.500000\n}");
    EXPECT_EQ(locale.Name(), std::setlocale(LC_NUMERIC, nullptr));
}

// Each allocation of a push fails in turn: nothing was pushed, nothing leaks, and a later push
// works.
TEST(vJSONObject, APushWithoutMemoryPushesNothing) {
    if (!test::FailingNew::ReachesLibrary()) {
        GTEST_SKIP() << "the library has an operator new of its own on this system";
    }
    const auto child = vJSONObject::Create();
    const vJSONArray array = vJSONArray().PushValue(kLong);
    void (*const pushes[])(vJSONObject&, const vJSONArray&, const vSmartPtr<vJSONObject>&) = {
        [](auto& object, auto&, auto& other) { object.PushEntry(kLong, other); },
        [](auto& object, auto& list, auto&) { object.PushEntry(kLong, list); },
        [](auto& object, auto&, auto&) { object.PushEntry(kLong, kLong); },
        [](auto& object, auto&, auto&) { object.PushEntry(kLong, 1); },
    };
    const std::ptrdiff_t before = test::LiveBlocks();
    for (const auto push : pushes) {
        for (std::size_t after = 0;; ++after) {
            const auto object = vJSONObject::Create();
            const test::FailingNew failing(after);
            try {
                push(*object, array, child);
                EXPECT_GE(after, 3U);
                break;
            } catch (const std::bad_alloc&) {
            }
            test::FailingNew::Stop();
            EXPECT_EQ(Text(object), "before {\n\n}");
            push(*object, array, child);
            EXPECT_NE(Text(object).find(kLong), std::string::npos);
        }
    }
    EXPECT_EQ(test::LiveBlocks(), before);
    const test::FailingNew failing(0);
    EXPECT_FALSE(vJSONObject::Create());
}

}  // namespace
