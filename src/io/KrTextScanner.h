#ifndef KRTES_IO_KRTEXTSCANNER_H
#define KRTES_IO_KRTEXTSCANNER_H

// The one text scanner of the file formats: every text reader takes its
// lines, fields and numbers from here, so that line ends, a byte-order mark,
// comments and number syntax are treated the same in every format.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace krtes {
namespace io {

// Reads the whole file into data. On failure err is "path: cannot open
// file" or "path: read error".
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
