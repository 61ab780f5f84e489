#include "io/KrTextScanner.h"

#include <algorithm>
#include <charconv>
#include <cstring>
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
    in.seekg(0, std::ios::end);
    const std::streamoff size = in.tellg();
    in.seekg(0, std::ios::beg);
    if (size < 0) in.clear();  // a pipe: its size is known only at the end
    const CKrReadBudget budget;
    if (size > 0 && static_cast<unsigned long long>(size) > budget.Limit() / 2) {
        err = path + ": " + budget.TooLarge(std::to_string(size) + " bytes");
        return false;
    }
    data.clear();
    if (size > 0) data.reserve(static_cast<std::size_t>(size));
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

CKrLineReader::CKrLineReader(const std::string& path, std::size_t chunk)
    : m_path(path), m_chunk(chunk < 16 ? 16 : chunk)
{
}

CKrLineReader::~CKrLineReader()
{
    if (m_file) std::fclose(m_file);
}

bool CKrLineReader::Open(std::string& err)
{
    m_file = std::fopen(m_path.c_str(), "rb");
    if (!m_file) {
        err = m_path + ": cannot open file";
        return false;
    }
    // A small file needs no large buffer: a reader opened on many small
    // files would spend its time clearing memory it never uses.
    if (std::fseek(m_file, 0, SEEK_END) == 0) {
        const long size = std::ftell(m_file);
        if (size >= 0 && static_cast<unsigned long>(size) < m_chunk)
            m_chunk = std::min(m_chunk, std::max<std::size_t>(static_cast<std::size_t>(size) + 1, 4096));
        std::rewind(m_file);
    }
    return true;
}

bool CKrLineReader::Fill()
{
    if (m_eof || m_failed || !m_file) return false;
    // Keep the unread rest (a line begun) at the front, then read behind it.
    if (m_pos > 0) {
        std::copy(m_buf.begin() + static_cast<std::ptrdiff_t>(m_pos), m_buf.begin() + static_cast<std::ptrdiff_t>(m_end),
                  m_buf.begin());
        m_end -= m_pos;
        m_pos = 0;
    }
    if (m_buf.size() < m_end + m_chunk) m_buf.resize(m_end + m_chunk);
    const std::size_t got = std::fread(m_buf.data() + m_end, 1, m_chunk, m_file);
    if (got < m_chunk) {
        if (std::ferror(m_file)) m_failed = true;
        m_eof = true;
    }
    m_end += got;
    if (!m_started && m_end >= 3) {
        m_started = true;
        if (std::string_view(m_buf.data(), 3) == "\xEF\xBB\xBF") m_pos = 3;
    } else if (!m_started && m_eof) {
        m_started = true;  // shorter than a mark
    }
    return got > 0;
}

bool CKrLineReader::NextLine()
{
    std::size_t scanFrom = m_pos;
    for (;;) {
        const char* base = m_buf.data();
        const void* nl = m_end > scanFrom ? std::memchr(base + scanFrom, '\n', m_end - scanFrom) : nullptr;
        if (nl) {
            const std::size_t e = static_cast<std::size_t>(static_cast<const char*>(nl) - base);
            std::size_t lineEnd = e;
            if (lineEnd > m_pos && base[lineEnd - 1] == '\r') --lineEnd;
            m_line = std::string_view(base + m_pos, lineEnd - m_pos);
            m_pos = e + 1;
            ++m_lineNo;
            return true;
        }
        const std::size_t scanned = m_end - m_pos;  // bytes already searched, relative to the rest
        if (!Fill()) break;
        scanFrom = m_pos + scanned;
    }
    if (m_failed || m_pos >= m_end) return false;
    // The last line, without a line end.
    std::size_t lineEnd = m_end;
    if (lineEnd > m_pos && m_buf[lineEnd - 1] == '\r') --lineEnd;
    m_line = std::string_view(m_buf.data() + m_pos, lineEnd - m_pos);
    m_pos = m_end;
    ++m_lineNo;
    return true;
}

bool CKrLineReader::Finish(std::string& err) const
{
    if (!m_failed) return true;
    err = m_path + ": read error";
    return false;
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
