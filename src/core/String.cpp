#include "core/String.h"

#include <algorithm>
#include <cctype>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>

namespace OGL_ZEP6_AE {

namespace {

constexpr std::size_t kFormatBufferSize = 4096;
constexpr int kNotFound = -1;

int PositionOf(std::string::size_type position) {
    return position == std::string::npos ? kNotFound : static_cast<int>(position);
}

// Formats into a heap buffer of 4096 bytes: results stay within 4095 characters.
std::string Formatted(const char* format, va_list arguments) {
    std::unique_ptr<char[]> buffer(new char[kFormatBufferSize]);
    std::vsnprintf(buffer.get(), kFormatBufferSize, format, arguments);
    return std::string(buffer.get());
}

// The larger of the last positions of the two separators, or -1.
int LastSeparator(const std::string& text) {
    return std::max(PositionOf(text.rfind('\\')), PositionOf(text.rfind('/')));
}

// Replaces pattern by with, searching again from the start after every replacement, so that
// runs collapse completely.
void ReplaceRepeatedly(std::string& text, const std::string& pattern, const std::string& with) {
    for (auto hit = text.find(pattern); hit != std::string::npos; hit = text.find(pattern)) {
        text.erase(hit, pattern.size());
        text.insert(hit, with);
    }
}

} // namespace

String::String() = default;

String::String(const String& other) = default;

String::String(const std::string& text) : text_(text) {}

String::String(const char* format, ...) {
    if (format == nullptr)
        return;
    va_list arguments;
    va_start(arguments, format);
    text_ = Formatted(format, arguments);
    va_end(arguments);
}

String::~String() = default;

String& String::operator=(const String& other) = default;

String& String::Format(const char* format, ...) {
    if (format == nullptr)
        return *this;
    va_list arguments;
    va_start(arguments, format);
    text_ = Formatted(format, arguments);
    va_end(arguments);
    return *this;
}

int String::GetLength() const {
    return static_cast<int>(text_.size());
}

void String::Empty() {
    text_.clear();
}

String& String::MakeLower() {
    for (char& c : text_)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return *this;
}

String& String::MakeUpper() {
    for (char& c : text_)
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return *this;
}

int String::FindFirst(char c) const {
    return PositionOf(text_.find(c));
}

int String::Find(char c, int start) const {
    return PositionOf(text_.find(c, static_cast<std::string::size_type>(std::max(start, 0))));
}

int String::ReverseFind(char c) const {
    return PositionOf(text_.rfind(c));
}

bool String::Contains(const char* text) const {
    if (text_.empty() || text == nullptr)
        return false;
    return text_.find(text) != std::string::npos;
}

bool String::IsContainedIn(const char* text) const {
    if (text_.empty() || text == nullptr || *text == '\0')
        return false;
    return std::strstr(text, text_.c_str()) != nullptr;
}

bool String::EndsWith(const char* suffix) const {
    if (suffix == nullptr || *suffix == '\0')
        return false;
    const std::size_t length = std::strlen(suffix);
    if (length > text_.size())
        return false;
    return text_.compare(text_.size() - length, length, suffix) == 0;
}

String String::Mid(int start, int count) const {
    // A negative start becomes a huge position, which substr rejects as out of range like one
    // past the end.
    return String(text_.substr(static_cast<std::string::size_type>(start),
                               static_cast<std::string::size_type>(std::max(count, 0))));
}

String String::Left(int count) const {
    if (count < 1)
        return String();
    return String(text_.substr(0, static_cast<std::string::size_type>(count)));
}

String String::Replace(const char* pattern, const char* with) const {
    std::string result = text_;
    if (pattern == nullptr || *pattern == '\0')
        return String(result);
    const std::string from(pattern);
    const std::string to(with != nullptr ? with : "");
    if (to.find(from) == std::string::npos) {
        ReplaceRepeatedly(result, from, to);
        return String(result);
    }
    // Repeating would never end: replace each occurrence once.
    for (auto hit = result.find(from); hit != std::string::npos; hit = result.find(from, hit + to.size()))
        result.replace(hit, from.size(), to);
    return String(result);
}

String String::Replace(const char* characters, char with) const {
    std::string result = text_;
    if (characters == nullptr)
        return String(result);
    for (auto i = result.size(); i-- > 0;) {
        if (result[i] != '\0' && std::strchr(characters, result[i]) != nullptr)
            result[i] = with;
    }
    return String(result);
}

String String::Path() const {
    return Left(LastSeparator(text_) + 1);
}

String String::FileName() const {
    return String(text_.substr(static_cast<std::string::size_type>(LastSeparator(text_) + 1)));
}

String String::Extension() const {
    const int dot = ReverseFind('.');
    String result(text_.substr(static_cast<std::string::size_type>(dot + 1)));
    return result.MakeLower();
}

String& String::RemoveExtension() {
    *this = Left(ReverseFind('.'));
    return *this;
}

String& String::ReplaceFileExtension(const char* extension) {
    RemoveExtension();
    if (extension == nullptr)
        extension = "";
    if (extension[0] != '.')
        text_ += '.';
    text_ += extension;
    return *this;
}

void String::FixPath() {
    ReplaceRepeatedly(text_, "\\\\", "\\");
    ReplaceRepeatedly(text_, "//", "/");
}

String String::RemoveFirstSubDir() {
    const int separator = std::max(FindFirst('\\'), FindFirst('/'));
    if (separator < 0)
        return String();
    String first = Left(separator);
    text_.erase(0, static_cast<std::string::size_type>(separator) + 1);
    return first;
}

String String::RemoveLastSubDir() {
    FixPath();
    const int last = LastSeparator(text_);
    if (last < 0)
        return String();
    const std::string head = text_.substr(0, static_cast<std::string::size_type>(last));
    const std::string tail = text_.substr(static_cast<std::string::size_type>(last) + 1);
    const auto directoryStart = static_cast<std::string::size_type>(LastSeparator(head) + 1);
    String directory(head.substr(directoryStart));
    text_ = head.substr(0, directoryStart) + tail;
    return directory;
}

int Compare(const String& a, const String& b) {
    return a.Text().compare(b.Text());
}

int Compare(const String& a, const char* b) {
    return a.Text().compare(b != nullptr ? b : "");
}

} // namespace OGL_ZEP6_AE
