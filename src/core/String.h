#pragma once

// The library's string class: file names, paths and formatted messages.
//
// A String holds its bytes in a std::string (local code page; case mapping byte by byte). Lengths
// and positions are int, and -1 means "not found". Strings compare and order by their text
// everywhere, also against literals, so std::map<String, ...> finds an entry by an equal text.
//
// Paths accept both separators, the backslash and '/': where the first or last separator is
// sought, both are looked for and the larger position wins.

#include "Export.h"

#include <string>

namespace OGL_ZEP6_AE {

class ZEP6_API String {
public:
    String();
    String(const String& other);
    String(const std::string& text);
    // printf-style formatting of format and the further arguments; a null format gives the empty
    // text. The result holds at most 4095 characters. A single argument is a format too: pass a
    // text that may hold '%' as String("%s", text) or as a std::string. (No printf format check
    // here: it would warn on the everyday String("").)
    String(const char* format, ...);
    virtual ~String();

    String& operator=(const String& other);

    // Replaces the text with the formatted result (at most 4095 characters); a null format leaves
    // the text unchanged.
    String& Format(const char* format, ...) __attribute__((format(printf, 2, 3)));

    // The terminated text, valid until this string changes.
    operator const char*() const { return text_.c_str(); }

    int GetLength() const;
    void Empty();
    String& MakeLower();
    String& MakeUpper();

    // Position of the first c, or -1.
    int FindFirst(char c) const;
    // Position of the first c at or after start, or -1.
    int Find(char c, int start) const;
    // Position of the last c, or -1.
    int ReverseFind(char c) const;
    // Whether text occurs in this string; false when this string is empty or text is null.
    bool Contains(const char* text) const;
    // Whether this string occurs in text; false when either is empty or text is null.
    bool IsContainedIn(const char* text) const;
    // Whether this string ends in suffix, case-sensitive; false for a null or empty suffix or one
    // longer than this string.
    bool EndsWith(const char* suffix) const;

    // At most count bytes from start (a negative count gives none). A start beyond the end throws
    // std::out_of_range.
    String Mid(int start, int count) const;
    // The first count bytes; a count below 1 gives the empty text.
    String Left(int count) const;

    // A copy in which pattern is replaced by with until it no longer occurs: each replacement is
    // followed by a new search from the start, so runs collapse completely ("\\\\" by "\\" turns
    // three backslashes into one). A null or empty pattern changes nothing; when with itself
    // contains pattern, each occurrence is replaced once, left to right, since repeating could
    // never end.
    String Replace(const char* pattern, const char* with) const;
    // A copy in which every byte that is one of characters becomes with.
    String Replace(const char* characters, char with) const;

    // The text up to and including the last separator ("" without separator).
    String Path() const;
    // The text after the last separator (the whole text without separator).
    String FileName() const;
    // The text after the last '.', lower-cased (the whole text, lower-cased, without '.').
    String Extension() const;
    // Cuts the text before the last '.'; a text without '.' becomes empty.
    String& RemoveExtension();
    // Removes the extension, then appends '.' (unless extension begins with one) and extension.
    String& ReplaceFileExtension(const char* extension);
    // Collapses runs of backslashes to one, then runs of '/' to one.
    void FixPath();
    // Removes and returns the first path component; without separator returns "" and keeps the
    // text.
    String RemoveFirstSubDir();
    // Removes and returns the last directory of the path, keeping the file name: "a/b/c/f.txt"
    // returns "c" and becomes "a/b/f.txt". Without separator returns "" and keeps the text.
    String RemoveLastSubDir();

    // The text as a standard string.
    const std::string& Text() const { return text_; }

private:
    std::string text_;
};

// Comparison and order by text, byte by byte as unsigned values (a proper prefix first); a null
// pointer compares as the empty text. Negative, zero or positive as a is before, equal to or after b.
ZEP6_API int Compare(const String& a, const String& b);
ZEP6_API int Compare(const String& a, const char* b);

inline bool operator==(const String& a, const String& b) {
    return Compare(a, b) == 0;
}
inline bool operator!=(const String& a, const String& b) {
    return Compare(a, b) != 0;
}
inline bool operator<(const String& a, const String& b) {
    return Compare(a, b) < 0;
}
inline bool operator>(const String& a, const String& b) {
    return Compare(a, b) > 0;
}
inline bool operator<=(const String& a, const String& b) {
    return Compare(a, b) <= 0;
}
inline bool operator>=(const String& a, const String& b) {
    return Compare(a, b) >= 0;
}
inline bool operator==(const String& a, const char* b) {
    return Compare(a, b) == 0;
}
inline bool operator!=(const String& a, const char* b) {
    return Compare(a, b) != 0;
}
inline bool operator<(const String& a, const char* b) {
    return Compare(a, b) < 0;
}
inline bool operator>(const String& a, const char* b) {
    return Compare(a, b) > 0;
}
inline bool operator<=(const String& a, const char* b) {
    return Compare(a, b) <= 0;
}
inline bool operator>=(const String& a, const char* b) {
    return Compare(a, b) >= 0;
}
inline bool operator==(const char* a, const String& b) {
    return Compare(b, a) == 0;
}
inline bool operator!=(const char* a, const String& b) {
    return Compare(b, a) != 0;
}
inline bool operator<(const char* a, const String& b) {
    return Compare(b, a) > 0;
}
inline bool operator>(const char* a, const String& b) {
    return Compare(b, a) < 0;
}
inline bool operator<=(const char* a, const String& b) {
    return Compare(b, a) >= 0;
}
inline bool operator>=(const char* a, const String& b) {
    return Compare(b, a) <= 0;
}

} // namespace OGL_ZEP6_AE
