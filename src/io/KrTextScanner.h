#ifndef KRTES_IO_KRTEXTSCANNER_H
#define KRTES_IO_KRTEXTSCANNER_H

// The one text scanner of the file formats: every text reader takes its
// lines, fields and numbers from here, so that line ends, a byte-order mark,
// comments and number syntax are treated the same in every format.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

namespace krtes {
namespace io {

// The memory one read may hold (SetReadMemoryLimit), fixed when the read
// starts. A reader counts the bytes of what it has stored and asks before
// each addition; a growing vector briefly holds its old and its doubled
// block, hence the factor of three.
class CKrReadBudget {
public:
    CKrReadBudget();
    std::size_t Limit() const { return m_limit; }
    // Whether `bytes` more may be stored; counts them when they may.
    bool Take(std::size_t bytes)
    {
        m_held += bytes;
        return m_held <= m_limit / 3;
    }
    // "the file is too large ... (<what>, limit X MB) ...".
    std::string TooLarge(const std::string& what) const;

private:
    std::size_t m_limit;
    std::size_t m_held = 0;
};

// Reads the whole file into data. On failure err is "path: cannot open
// file", "path: read error" or, when the text alone would take more than
// half the read memory limit, "path: the file is too large ...".
bool ReadWholeFile(const std::string& path, std::string& data, std::string& err);

// The location prefix of a message: "path:line: ".
std::string At(const std::string& path, std::size_t line);

// Walks the lines of a text held in memory. A line ends at LF; a CR before
// the LF (a file written on Windows) is not part of the line. A UTF-8
// byte-order mark at the very start of the text is skipped.
class CKrTextScanner {
public:
    // text must outlive the scanner; scanning starts at offset.
    CKrTextScanner(const std::string& path, std::string_view text, std::size_t offset = 0);

    // Moves to the next line; false at the end of the text.
    bool NextLine();
    std::string_view Line() const { return m_line; }
    std::size_t LineNo() const { return m_lineNo; }
    // Where the line after the current one starts (the end of a text header).
    std::size_t Offset() const { return m_pos; }
    const std::string& Path() const { return m_path; }
    // "path:line: " for the current line.
    std::string Here() const { return At(m_path, m_lineNo); }

private:
    const std::string& m_path;
    std::string_view m_text;
    std::size_t m_pos;
    std::size_t m_lineNo = 0;
    std::string_view m_line;
};

// Walks the lines of a file read in chunks: only the current chunk (at
// least as long as the longest line) is held, so a file of any size reads in
// bounded memory. Lines, line numbers, CR and byte-order mark as
// CKrTextScanner.
class CKrLineReader {
public:
    explicit CKrLineReader(const std::string& path, std::size_t chunk = std::size_t(1) << 20);
    ~CKrLineReader();
    CKrLineReader(const CKrLineReader&) = delete;
    CKrLineReader& operator=(const CKrLineReader&) = delete;

    // Opens the file; on failure err is "path: cannot open file".
    bool Open(std::string& err);
    // Moves to the next line; false at the end of the file or on a read
    // error (then Failed() is true and err, when given, says so).
    bool NextLine();
    bool Failed() const { return m_failed; }
    // "path: read error" after a failed read; true otherwise.
    bool Finish(std::string& err) const;
    std::string_view Line() const { return m_line; }
    std::size_t LineNo() const { return m_lineNo; }
    const std::string& Path() const { return m_path; }
    std::string Here() const { return At(m_path, m_lineNo); }

private:
    bool Fill();  // reads the next chunk behind the unread rest; false when nothing more came

    std::string m_path;
    std::size_t m_chunk;
    std::FILE* m_file = nullptr;
    std::vector<char> m_buf;
    std::size_t m_pos = 0, m_end = 0;  // the unread bytes are m_buf[m_pos, m_end)
    bool m_eof = false, m_failed = false, m_started = false;
    std::size_t m_lineNo = 0;
    std::string_view m_line;
};

bool IsSpace(char c);
bool IsBlank(std::string_view s);
// The part before a '#' comment.
std::string_view CutComment(std::string_view s);

// Splits s at white space, and at commas when commas is set.
void SplitFields(std::string_view s, std::vector<std::string_view>& out, bool commas = false);

// Text that is exactly one number (a leading '+' allowed). Reads "inf" and
// "nan" too: callers that need finite values check.
bool ToDouble(std::string_view s, double& d);
bool ToInt(std::string_view s, int64_t& v);

// The numeric fields of a line (split at white space and commas). Returns
// their count; bad is the first field that is not a number (empty if none).
std::size_t ScanNumbers(std::string_view line, std::vector<double>& values, std::string_view& bad);

}  // namespace io
}  // namespace krtes

#endif
