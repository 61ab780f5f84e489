#include "io/KrTextScanner.h"

#include <charconv>
#include <fstream>
#include <iterator>

namespace krtes {
namespace io {

bool ReadWholeFile(const std::string& path, std::string& data, std::string& err)
{
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        err = path + ": cannot open file";
        return false;
    }
    data.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    if (in.bad()) {
        err = path + ": read error";
        return false;
    }
    return true;
}

std::string At(const std::string& path, std::size_t line) { return path + ":" + std::to_string(line) + ": "; }

CKrTextScanner::CKrTextScanner(const std::string& path, std::string_view text, std::size_t offset)
    : m_path(path), m_text(text), m_pos(offset)
{
    if (offset == 0 && text.substr(0, 3) == "\xEF\xBB\xBF") m_pos = 3;
}

bool CKrTextScanner::NextLine()
{
    if (m_pos >= m_text.size()) return false;
    std::size_t end = m_text.find('\n', m_pos);
    const std::size_t next = end == std::string_view::npos ? m_text.size() : end + 1;
    if (end == std::string_view::npos) end = m_text.size();
    if (end > m_pos && m_text[end - 1] == '\r') --end;
    m_line = m_text.substr(m_pos, end - m_pos);
    m_pos = next;
    ++m_lineNo;
    return true;
}

bool IsSpace(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\v' || c == '\f'; }

bool IsBlank(std::string_view s)
{
    for (char c : s)
        if (!IsSpace(c)) return false;
    return true;
}

std::string_view CutComment(std::string_view s) { return s.substr(0, s.find('#')); }

namespace {

// Calls take(field) for each field of s, split at white space and, when
// commas is set, at commas.
template <class Take>
void ForEachField(std::string_view s, bool commas, Take take)
{
    const auto sep = [commas](char c) { return IsSpace(c) || (commas && c == ','); };
    std::size_t i = 0;
    const std::size_t n = s.size();
    while (i < n) {
        while (i < n && sep(s[i])) ++i;
        std::size_t j = i;
        while (j < n && !sep(s[j])) ++j;
        if (j > i) take(s.substr(i, j - i));
        i = j;
    }
}

}  // namespace

void SplitFields(std::string_view s, std::vector<std::string_view>& out, bool commas)
{
    out.clear();
    ForEachField(s, commas, [&out](std::string_view f) { out.push_back(f); });
}

namespace {

template <class T>
bool FromChars(std::string_view s, T& v)
{
    const char* first = s.data();
    const char* last = first + s.size();
    if (first != last && *first == '+') {
        ++first;
        if (first != last && *first == '-') return false;  // "+-1"
    }
    const auto r = std::from_chars(first, last, v);
    return r.ec == std::errc() && r.ptr == last;
}

}  // namespace

bool ToDouble(std::string_view s, double& d) { return FromChars(s, d); }

bool ToInt(std::string_view s, int64_t& v) { return FromChars(s, v); }

std::size_t ScanNumbers(std::string_view line, std::vector<double>& values, std::string_view& bad)
{
    values.clear();
    bad = std::string_view();
    ForEachField(line, true, [&](std::string_view f) {
        double d = 0.0;
        if (ToDouble(f, d))
            values.push_back(d);
        else if (bad.empty())
            bad = f;
    });
    return values.size();
}

}  // namespace io
}  // namespace krtes
