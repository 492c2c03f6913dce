#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "TraceTexts.h"

namespace {

using nlohmann::json;

std::size_t Count(const std::string& text, const std::string& part) {
    std::size_t count = 0;
    for (std::size_t at = 0; (at = text.find(part, at)) != std::string::npos; ++at) {
        ++count;
    }
    return count;
}

json DataOf(const std::string& page) {
    const std::string open = "type=\"application/json\">";
    const std::size_t begin = page.find(open) + open.size();
    return json::parse(page.substr(begin, page.find("</script>", begin) - begin));
}

// Whatever the names are, the page has the same elements, and its data the same names.
TEST(TraceReport, KeepsHostileNamesText) {
    const test::Tool tool;
    tool.Write("plain", test::TraceText({"B 0 1 a", "E 0 2 a"}));
    const std::string plain = tool.Run("report @plain").output;
    const char* const names[] = {"</script><script>alert(1)</script>",
                                 "<!-- <script>",
                                 "]]>",
                                 "@DATA@ @PROGRAM@",
                                 "\\\"quote\\\\",
                                 "\\u0001\\n\\u001b[31m",
                                 "&lt;\xC3\xA9\xE2\x80\xA8"};
    for (const std::string name : names) {
        tool.Write("a", test::TraceText({("M 0 0 " + name).c_str(), ("B 0 1 " + name).c_str(),
                                         ("E 0 2 " + name).c_str()}));
        const std::string page = tool.Run("report @a").output;
        const std::string text = json::parse("\"" + name + "\"");
        const json data = DataOf(page);
        EXPECT_EQ(data["threads"][0]["name"], text);
        EXPECT_EQ(data["names"][data["sliceName"][0].get<std::size_t>()], text);
        for (const char* part : {"<script", "</script", "<!--", "<"}) {
            EXPECT_EQ(Count(page, part), Count(plain, part)) << name;
        }
    }
}

TEST(TraceReport, HoldsTheWholeTrace) {
    const test::Tool tool;
    tool.Write("a", test::TraceText({"i 0 10 5", "B 0 10 a", "s 0 11 3", "B 1 12.5 b", "t 1 13 3",
                                     "E 1 20 b", "E 0 30 a"}));
    const json data = DataOf(tool.Run("report @a").output);
    EXPECT_EQ(data["duration"], 20);
    EXPECT_EQ(data["sliceBegin"], json({0, 2.5}));
    EXPECT_EQ(data["sliceDuration"], json({20, 7.5}));
    EXPECT_EQ(data["sliceThread"], json({0, 1}));
    EXPECT_EQ(data["flows"], json({0, 1, 1, 3}));
    ASSERT_EQ(data["frames"].size(), 1u);
    EXPECT_EQ(data["frames"][0]["index"], "5");
    EXPECT_EQ(data["frames"][0]["path"], json({0, 0, 0, 0, 20}));
    EXPECT_EQ(data["summary"], json::parse("[[1,1,20,20,20,20,20],[2,1,7.5,7.5,7.5,7.5,7.5]]"));
}

// A page has room for so many steps; they go to the slowest frames.
TEST(TraceReport, KeepsThePathsOfTheSlowestFrames) {
    const test::Tool tool;
    tool.Write("a", test::TraceText({"i 0 0 1", "B 0 0 a", "E 0 5 a", "i 0 10 2", "B 0 10 a",
                                     "E 0 19 a", "i 0 20 3", "B 0 20 a", "E 0 23 a"}));
    for (const std::size_t room : {0U, 1U, 2U, 3U}) {
        const json data = DataOf(tool.Run("report @a --steps " + std::to_string(room)).output);
        std::size_t there[3];
        for (std::size_t i = 0; i < 3; ++i) {
            there[i] = data["frames"][i]["path"].is_null() ? 0 : 1;
        }
        EXPECT_EQ(there[1], room >= 1);
        EXPECT_EQ(there[0], room >= 2);
        EXPECT_EQ(there[2], room >= 3);
    }
}

}  // namespace
