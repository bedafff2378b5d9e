// The library's string class: formatting, comparison and order, search, and the path helpers
// with both separators.

#include "core/String.h"

#include <gtest/gtest.h>

#include <map>
#include <stdexcept>
#include <string>

using OGL_ZEP6_AE::String;

namespace {

// Texts compared as texts, so a failure prints both.
std::string T(const String& s) {
    return std::string(s.Text());
}

TEST(String, Construction) {
    EXPECT_EQ(T(String()), "");
    EXPECT_EQ(T(String("%d-%s", 3, "a")), "3-a");
    EXPECT_EQ(T(String("%5.2f|%x", 3.14159, 255u)), " 3.14|ff");
    EXPECT_EQ(T(String(nullptr)), "");
    EXPECT_EQ(T(String("")), "");
    EXPECT_EQ(T(String("plain")), "plain");
    EXPECT_EQ(T(String(std::string("from std"))), "from std");
    const String literal = "converted";
    EXPECT_EQ(T(literal), "converted");
}

TEST(String, CopiesAreIndependent) {
    String original("path/File");
    String copy(original);
    String assigned;
    assigned = original;
    copy.MakeUpper();
    assigned.Empty();
    EXPECT_EQ(T(original), "path/File");
    EXPECT_EQ(T(copy), "PATH/FILE");
    EXPECT_EQ(assigned.GetLength(), 0);
}

TEST(String, FormatReplacesTheTextWithin4095Characters) {
    String s("old");
    EXPECT_EQ(&s.Format("%03d", 7), &s);
    EXPECT_EQ(T(s), "007");
    s.Format(nullptr);
    EXPECT_EQ(T(s), "007");

    const std::string longText(5000, 'x');
    EXPECT_EQ(String("%s", longText.c_str()).GetLength(), 4095);
    EXPECT_EQ(s.Format("%s!", longText.c_str()).GetLength(), 4095);
}

TEST(String, ComparesByText) {
    const String abc("abc");
    char buffer[] = "abc"; // same text at another address
    EXPECT_TRUE(abc == buffer);
    EXPECT_TRUE(buffer == abc);
    EXPECT_TRUE(abc == String("%s", "abc"));
    EXPECT_FALSE(abc != "abc");
    EXPECT_TRUE(abc != "abd");
    EXPECT_TRUE("abd" != abc);
    EXPECT_TRUE(abc != String("ab"));
    EXPECT_TRUE(String() == "");
    EXPECT_TRUE(String() == static_cast<const char*>(nullptr));
}

TEST(String, OrdersByteByByteAsUnsigned) {
    // Each pair is strictly ordered first < second.
    const struct {
        const char* first;
        const char* second;
    } ordered[] = {
        {"", "a"}, {"a", "b"}, {"ab", "abc"}, {"B", "a"}, {"z", "\xE9"}, {"file1", "file2"},
    };
    for (const auto& o : ordered) {
        SCOPED_TRACE(std::string(o.first) + " < " + o.second);
        const String first(o.first), second(o.second);
        EXPECT_TRUE(first < second);
        EXPECT_FALSE(second < first);
        EXPECT_TRUE(second > first);
        EXPECT_TRUE(first <= second && second >= first);
        EXPECT_TRUE(first < o.second);
        EXPECT_TRUE(o.first < second);
        EXPECT_FALSE(o.second < first);
    }
}

TEST(String, MapKeyFoundByEqualText) {
    std::map<String, int> map;
    map[String("Source")] = 1;
    map[String("Mask")] = 2;
    map[String("%s", "\xE9tage")] = 3;
    const std::string name = "Mas";
    const auto found = map.find(String("%sk", name.c_str()));
    ASSERT_NE(found, map.end());
    EXPECT_EQ(found->second, 2);
    EXPECT_EQ(map.count(String("mask")), 0u);
    EXPECT_EQ(map.count(String("\xE9tage")), 1u);
}

TEST(String, CaseMapping) {
    String s("MiXeD 09_z.VRB");
    EXPECT_EQ(&s.MakeLower(), &s);
    EXPECT_EQ(T(s), "mixed 09_z.vrb");
    EXPECT_EQ(T(s.MakeUpper()), "MIXED 09_Z.VRB");
    String high("\xC9t\xE9");
    EXPECT_EQ(T(high.MakeLower()), "\xC9t\xE9"); // bytes above 127 are left alone in the C locale
}

TEST(String, FindFamily) {
    const String s("a.b.c");
    EXPECT_EQ(s.FindFirst('.'), 1);
    EXPECT_EQ(s.FindFirst('x'), -1);
    EXPECT_EQ(s.Find('.', 0), 1);
    EXPECT_EQ(s.Find('.', 1), 1);
    EXPECT_EQ(s.Find('.', 2), 3);
    EXPECT_EQ(s.Find('.', 4), -1);
    EXPECT_EQ(s.Find('a', 100), -1);
    EXPECT_EQ(s.ReverseFind('.'), 3);
    EXPECT_EQ(s.ReverseFind('a'), 0);
    EXPECT_EQ(s.ReverseFind('x'), -1);
    EXPECT_EQ(String().FindFirst('a'), -1);
}

TEST(String, ContainsAndIsContainedIn) {
    const String s("shader");
    EXPECT_TRUE(s.Contains("ade"));
    EXPECT_TRUE(s.Contains("shader"));
    EXPECT_FALSE(s.Contains("Shader"));
    EXPECT_FALSE(s.Contains("shaders"));
    EXPECT_FALSE(s.Contains(nullptr));
    EXPECT_FALSE(String().Contains("a"));
    EXPECT_FALSE(String().Contains(""));

    EXPECT_TRUE(s.IsContainedIn("myshaders"));
    EXPECT_TRUE(s.IsContainedIn("shader"));
    EXPECT_FALSE(s.IsContainedIn("shade"));
    EXPECT_FALSE(s.IsContainedIn(""));
    EXPECT_FALSE(s.IsContainedIn(nullptr));
    EXPECT_FALSE(String().IsContainedIn("anything"));
    // The text is taken literally, not as a pattern.
    EXPECT_TRUE(String("a.b").IsContainedIn("xa.by"));
    EXPECT_FALSE(String("a.b").IsContainedIn("axb"));
}

TEST(String, EndsWith) {
    EXPECT_TRUE(String("pos_z").EndsWith("_z"));
    EXPECT_FALSE(String("pos_Z").EndsWith("_z"));
    EXPECT_FALSE(String("").EndsWith("_z"));
    EXPECT_FALSE(String("z").EndsWith("_z"));
    EXPECT_TRUE(String("_z").EndsWith("_z"));
    EXPECT_FALSE(String("pos_z").EndsWith(""));
    EXPECT_FALSE(String("pos_z").EndsWith(nullptr));
    EXPECT_FALSE(String("_z_").EndsWith("_z"));
}

TEST(String, MidAndLeft) {
    const String s("hello");
    EXPECT_EQ(T(s.Mid(1, 2)), "el");
    EXPECT_EQ(T(s.Mid(3, 100)), "lo");
    EXPECT_EQ(T(s.Mid(0, 0)), "");
    EXPECT_EQ(T(s.Mid(5, 1)), "");
    EXPECT_EQ(T(s.Mid(2, -1)), "");
    EXPECT_THROW(s.Mid(6, 1), std::out_of_range);
    EXPECT_THROW(s.Mid(-1, 1), std::out_of_range);

    EXPECT_EQ(T(s.Left(2)), "he");
    EXPECT_EQ(T(s.Left(10)), "hello");
    EXPECT_EQ(T(s.Left(0)), "");
    EXPECT_EQ(T(s.Left(-3)), "");
}

TEST(String, ReplacePatternUntilGone) {
    const struct {
        const char* text;
        const char* pattern;
        const char* with;
        const char* result;
    } cases[] = {
        {"a\\\\\\b", "\\\\", "\\", "a\\b"}, // three backslashes collapse to one
        {"aaaa", "aa", "a", "a"},
        {"x--y--z", "--", "+", "x+y+z"},
        {"abc", "abc", "", ""},
        {"abc", "d", "e", "abc"},
        {"abc", "", "e", "abc"},
        {"abc", nullptr, "e", "abc"},
        {"a.b", ".", nullptr, "ab"},
        // A replacement holding the pattern would repeat for ever; each hit is replaced once.
        {"aba", "a", "aa", "aabaa"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.text) + " / " + (c.pattern ? c.pattern : "(null)"));
        const String s(c.text);
        EXPECT_EQ(T(s.Replace(c.pattern, c.with)), c.result);
        EXPECT_EQ(T(s), c.text); // the original stays as it was
    }
}

TEST(String, ReplaceCharacters) {
    const String s("a\\b/c:d");
    EXPECT_EQ(T(s.Replace("\\/", '_')), "a_b_c:d");
    EXPECT_EQ(T(s.Replace(":", '/')), "a\\b/c/d");
    EXPECT_EQ(T(s.Replace("", '_')), "a\\b/c:d");
    EXPECT_EQ(T(s.Replace(static_cast<const char*>(nullptr), '_')), "a\\b/c:d");
    EXPECT_EQ(T(s), "a\\b/c:d");
}

TEST(String, PathPieces) {
    const struct {
        const char* text;
        const char* path;
        const char* fileName;
        const char* extension;
        const char* withoutExtension;
    } cases[] = {
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
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        String s(c.text);
        EXPECT_EQ(T(s.Path()), c.path);
        EXPECT_EQ(T(s.FileName()), c.fileName);
        EXPECT_EQ(T(s.Extension()), c.extension);
        EXPECT_EQ(&s.RemoveExtension(), &s);
        EXPECT_EQ(T(s), c.withoutExtension);
    }

    EXPECT_EQ(T(String("dir/shader.vrb").ReplaceFileExtension("txt")), "dir/shader.txt");
    EXPECT_EQ(T(String("dir/shader.vrb").ReplaceFileExtension(".txt")), "dir/shader.txt");
    EXPECT_EQ(T(String("README").ReplaceFileExtension("txt")), ".txt");
}

TEST(String, FixPathCollapsesRuns) {
    const struct {
        const char* text;
        const char* fixed;
    } cases[] = {
        {"a\\\\\\b//c", "a\\b/c"},
        {"a////b", "a/b"},
        {"a\\/\\/b", "a\\/\\/b"}, // alternating separators are not runs
        {"\\\\server\\share", "\\server\\share"},
        {"plain", "plain"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        String s(c.text);
        s.FixPath();
        EXPECT_EQ(T(s), c.fixed);
    }
}

TEST(String, RemoveFirstAndLastSubDir) {
    const auto first = &String::RemoveFirstSubDir;
    const auto last = &String::RemoveLastSubDir;
    const struct {
        String (String::*remove)();
        const char* text;
        const char* removed;
        const char* rest;
    } cases[] = {
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
        {last, "dir/file", "dir", "file"},
        {last, "a//b//file", "b", "a/file"}, // doubled separators are fixed first
        {last, "file", "", "file"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.remove == first ? "first of " : "last of ") + c.text);
        String s(c.text);
        EXPECT_EQ(T((s.*c.remove)()), c.removed);
        EXPECT_EQ(T(s), c.rest);
    }
}

} // namespace
