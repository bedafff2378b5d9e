// The library's string class in three tables (texts made, answers given, positions found),
// then the order and the path helpers with both separators.

#include "core/String.h"

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

using OGL_ZEP6_AE::String;

namespace {

// Texts compared as texts, so a failure prints both.
std::string T(const String& s) {
    return std::string(s.Text());
}

const std::string kLong(5000, 'x');

TEST(String, TextsMadeAndPathPieces) {
    const String hello("hello"), path("a\\b/c:d");
    // clang-format off
    const struct {
        const char* what;
        std::function<std::string()> make;
        std::string expected;
    } cases[] = {
        {"format", [] { return T(String("%d-%s", 3, "a")); }, "3-a"},
        {"null", [] { return T(String(nullptr)); }, ""},
        {"copies are independent",
         [] {
             String original("path/File"), copy(original), assigned;
             assigned = original;
             copy.MakeUpper();
             assigned.Empty();
             return T(original) + "|" + T(copy) + "|" + T(assigned);
         },
         "path/File|PATH/FILE|"},
        {"Format replaces, null keeps",
         [] { String s("old"); s.Format("%03d", 7); return T(s.Format(nullptr)); }, "007"},
        {"cut at 4095", [] { return std::to_string(String("%s", kLong.c_str()).GetLength()); }, "4095"},
        {"Format cut at 4095",
         [] { String s; return std::to_string(s.Format("%s!", kLong.c_str()).GetLength()); }, "4095"},
        {"upper", [] { String s("MiXeD 09_z.VRB"); return T(s.MakeUpper()); }, "MIXED 09_Z.VRB"},
        // Bytes above 127 are left alone in the C locale.
        {"high bytes", [] { String s("\xC9t\xE9"); return T(s.MakeLower()); }, "\xC9t\xE9"},
        {"Mid past the end", [&] { return T(hello.Mid(3, 100)); }, "lo"},
        {"Mid at the end", [&] { return T(hello.Mid(5, 1)); }, ""},
        {"Mid negative count", [&] { return T(hello.Mid(2, -1)); }, ""},
        {"Left past the end", [&] { return T(hello.Left(10)); }, "hello"},
        {"Left negative", [&] { return T(hello.Left(-3)); }, ""},
        // Replace until gone, each hit once (a replacement holding the pattern would repeat for ever).
        {"runs", [] { return T(String("aaaa").Replace("aa", "a")); }, "a"},
        {"all of it", [] { return T(String("abc").Replace("abc", "")); }, ""},
        {"empty pattern", [] { return T(String("abc").Replace("", "e")); }, "abc"},
        {"null pattern", [] { return T(String("abc").Replace(nullptr, "e")); }, "abc"},
        {"null replacement", [] { return T(String("a.b").Replace(".", nullptr)); }, "ab"},
        {"replacement holds the pattern", [] { return T(String("aba").Replace("a", "aa")); }, "aabaa"},
        {"characters", [&] { return T(path.Replace("\\/", '_')); }, "a_b_c:d"},
        {"null characters",
         [&] { return T(path.Replace(static_cast<const char*>(nullptr), '_')); }, "a\\b/c:d"},
        {"new extension",
         [] { String s("dir/shader.vrb"); return T(s.ReplaceFileExtension("txt")); }, "dir/shader.txt"},
        {"new extension with dot",
         [] { String s("dir/shader.vrb"); return T(s.ReplaceFileExtension(".txt")); }, "dir/shader.txt"},
        {"extension of no name", [] { String s("README"); return T(s.ReplaceFileExtension("txt")); }, ".txt"},
    };
    // clang-format on
    for (const auto& c : cases)
        EXPECT_EQ(c.make(), c.expected) << c.what;
    EXPECT_THROW(hello.Mid(6, 1), std::out_of_range);
    EXPECT_THROW(hello.Mid(-1, 1), std::out_of_range);

    // Path pieces with both separators.
    const struct {
        const char *text, *path, *fileName, *extension, *withoutExtension;
    } pieces[] = {
        {"C:/dir/sub/file.VRB", "C:/dir/sub/", "file.VRB", "vrb", "C:/dir/sub/file"},
        {"C:\\dir\\sub\\file.VRB", "C:\\dir\\sub\\", "file.VRB", "vrb", "C:\\dir\\sub\\file"},
        {"C:\\dir/sub\\file.VRB", "C:\\dir/sub\\", "file.VRB", "vrb", "C:\\dir/sub\\file"},
        {"C:/dir\\sub/file.VRB", "C:/dir\\sub/", "file.VRB", "vrb", "C:/dir\\sub/file"},
        {"file.txt", "", "file.txt", "txt", "file"},
        {"dir/", "dir/", "", "dir/", ""},
        {"README", "", "README", "readme", ""},
        {"a.tar.GZ", "", "a.tar.GZ", "gz", "a.tar"},
        {".profile", "", ".profile", "profile", ""},
        {"x.", "", "x.", "", "x"},
        {"", "", "", "", ""},
    };
    for (const auto& c : pieces) {
        SCOPED_TRACE(c.text);
        String s(c.text);
        const std::vector<std::string> pieces = {T(s.Path()), T(s.FileName()), T(s.Extension())};
        EXPECT_EQ(&s.RemoveExtension(), &s);
        EXPECT_EQ(pieces, (std::vector<std::string>{c.path, c.fileName, c.extension}));
        EXPECT_EQ(T(s), c.withoutExtension);
    }

    // FixPath collapses runs of one separator; alternating separators are not runs.
    for (const auto& c :
         {std::make_pair("a\\\\\\b//c", "a\\b/c"), std::make_pair("a\\/\\/b", "a\\/\\/b"),
          std::make_pair("\\\\server\\share", "\\server\\share"), std::make_pair("plain", "plain")}) {
        String s(c.first);
        s.FixPath();
        EXPECT_EQ(T(s), c.second) << c.first;
    }

    const auto first = &String::RemoveFirstSubDir;
    const auto last = &String::RemoveLastSubDir;
    const struct {
        String (String::*remove)();
        const char *text, *removed, *rest;
    } subDirs[] = {
        {first, "a/b/c", "a", "b/c"},
        {first, "a\\b\\c", "a", "b\\c"},
        // The first backslash and the first '/' are found separately and the later one wins.
        {first, "a\\b/c", "a\\b", "c"},
        {first, "a/b\\c", "a/b", "c"},
        {first, "/abs", "", "abs"},
        {first, "abc", "", "abc"},
        {last, "a/b/c/file.txt", "c", "a/b/file.txt"},
        {last, "a\\b\\c\\file.txt", "c", "a\\b\\file.txt"},
        {last, "a\\b/c\\file.txt", "c", "a\\b/file.txt"},
        {last, "a/b\\c/file.txt", "c", "a/b\\file.txt"},
        {last, "a//b//file", "b", "a/file"}, // doubled separators are fixed first
        {last, "file", "", "file"},
    };
    for (const auto& c : subDirs) {
        SCOPED_TRACE(std::string(c.remove == first ? "first of " : "last of ") + c.text);
        String s(c.text);
        EXPECT_EQ(T((s.*c.remove)()), c.removed);
        EXPECT_EQ(T(s), c.rest);
    }
}

TEST(String, AnswersGivenAndTheByteOrder) {
    const String abc("abc"), shader("shader");
    char buffer[] = "abc"; // the same text at another address
    const struct {
        const char* what;
        bool answer, expected;
    } cases[] = {
        {"equal to a buffer", abc == buffer, true}, {"buffer equal", buffer == abc, true},
        {"equal to a formatted text", abc == String("%s", "abc"), true}, {"not unequal", abc != "abc", false},
        {"unequal", abc != "abd", true}, {"text unequal", "abd" != abc, true},
        {"prefix unequal", abc != String("ab"), true}, {"empty equals empty", String() == "", true},
        {"empty equals null", String() == static_cast<const char*>(nullptr), true},
        {"contains", shader.Contains("ade"), true}, {"contains by case", shader.Contains("Shader"), false},
        {"contains null", shader.Contains(nullptr), false}, {"empty contains", String().Contains("a"), false},
        {"empty contains empty", String().Contains(""), false},
        {"contained", shader.IsContainedIn("myshaders"), true},
        {"contained in empty", shader.IsContainedIn(""), false},
        {"contained in null", shader.IsContainedIn(nullptr), false},
        {"empty contained", String().IsContainedIn("anything"), false},
        // The text is taken literally, not as a pattern.
        {"literal", String("a.b").IsContainedIn("xa.by"), true},
        {"not a pattern", String("a.b").IsContainedIn("axb"), false},
        {"ends with", String("pos_z").EndsWith("_z"), true},
        {"ends with by case", String("pos_Z").EndsWith("_z"), false},
        {"empty ends with", String("").EndsWith("_z"), false},
        {"ends with empty", String("pos_z").EndsWith(""), false},
        {"ends with null", String("pos_z").EndsWith(nullptr), false},
        {"ends before the end", String("_z_").EndsWith("_z"), false},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.answer, c.expected) << c.what;

    const String dots("a.b.c");
    EXPECT_EQ(std::vector<int>({dots.FindFirst('.'), dots.FindFirst('x'), dots.Find('.', 0), dots.Find('.', 1),
                                dots.Find('.', 2), dots.Find('.', 4), dots.Find('a', 100), dots.ReverseFind('.'),
                                dots.ReverseFind('a'), dots.ReverseFind('x'), String().FindFirst('a')}),
              std::vector<int>({1, -1, 1, 1, 3, -1, -1, 3, 0, -1, -1}));

    // The order is byte by byte as unsigned, also for map keys.
    for (const auto& o :
         {std::make_pair("", "a"), std::make_pair("a", "b"), std::make_pair("ab", "abc"),
          std::make_pair("B", "a"), std::make_pair("z", "\xE9"), std::make_pair("file1", "file2")}) {
        SCOPED_TRACE(std::string(o.first) + " < " + o.second);
        const String first(o.first), second(o.second);
        EXPECT_TRUE(first < second && !(second < first) && second > first);
        EXPECT_TRUE(first <= second && second >= first);
        EXPECT_TRUE(first < o.second && o.first < second && !(o.second < first));
    }
    std::map<String, int> map = {{String("Source"), 1}, {String("Mask"), 2}, {String("%s", "\xE9tage"), 3}};
    const std::string name = "Mas";
    const auto found = map.find(String("%sk", name.c_str()));
    ASSERT_NE(found, map.end());
    EXPECT_EQ(found->second, 2);
    EXPECT_EQ(map.count(String("mask")), 0u);
    EXPECT_EQ(map.count(String("\xE9tage")), 1u);
}

} // namespace
