#include "KrTesGeometry/io/KrPointFile.h"

#include <charconv>
#include <cmath>

#include "io/KrTextScanner.h"

namespace krtes {

namespace {

// The data lines of a point-like file: '#' comments and blank lines are
// skipped, and so is a first non-blank line without any number (a column
// header). Every other line goes to take(values, why), which returns false
// with the reason when the line is not acceptable.
template <class Take>
bool ReadNumberLines(const std::string& path, Take take, std::string& err)
{
    io::CKrLineReader sc(path);
    if (!sc.Open(err)) return false;
    std::vector<double> v;
    std::string_view bad;
    std::string why;
    bool seenData = false;
    while (sc.NextLine()) {
        const std::string_view line = io::CutComment(sc.Line());
        const std::size_t n = io::ScanNumbers(line, v, bad);
        if (n == 0 && bad.empty()) continue;  // blank or comment
        if (n == 0 && !seenData) {            // a column header
            seenData = true;
            continue;
        }
        seenData = true;
        if (!bad.empty()) {
            err = sc.Here() + "'" + std::string(bad) + "' is not a number";
            return false;
        }
        if (!take(v, why)) {
            err = sc.Here() + why;
            return false;
        }
    }
    return sc.Finish(err);
}

const char* kNotFinite = "coordinate is not finite (NaN or infinite)";

}  // namespace

bool ReadPointFile(const std::string& path, std::vector<CKrPoint3d>& pts, std::string& err)
{
    std::vector<CKrPoint3d> out;
    io::CKrReadBudget budget;
    const auto take = [&out, &budget](const std::vector<double>& v, std::string& why) {
        if (v.size() != 3) {
            why = "expected 3 values (x y z), found " + std::to_string(v.size());
            return false;
        }
        const CKrPoint3d p(v[0], v[1], v[2]);
        if (!std::isfinite(p.x) || !std::isfinite(p.y) || !std::isfinite(p.z)) {
            why = kNotFinite;
            return false;
        }
        if (!budget.Take(sizeof(CKrPoint3d))) {
            why = budget.TooLarge(std::to_string(out.size()) + " points read");
            return false;
        }
        out.push_back(p);
        return true;
    };
    if (!ReadNumberLines(path, take, err)) return false;
    pts.swap(out);
    return true;
}

bool ReadPlanPointFile(const std::string& path, std::vector<CKrPoint3d>& pts, std::string& err)
{
    std::vector<CKrPoint3d> out;
    io::CKrReadBudget budget;
    const auto take = [&out, &budget](const std::vector<double>& v, std::string& why) {
        if (v.size() != 2 && v.size() != 3) {
            why = "expected x y (or x y z), found " + std::to_string(v.size()) + " values";
            return false;
        }
        if (!std::isfinite(v[0]) || !std::isfinite(v[1])) {
            why = kNotFinite;
            return false;
        }
        if (!budget.Take(sizeof(CKrPoint3d))) {
            why = budget.TooLarge(std::to_string(out.size()) + " points read");
            return false;
        }
        out.emplace_back(v[0], v[1], 0.0);
        return true;
    };
    if (!ReadNumberLines(path, take, err)) return false;
    pts.swap(out);
    return true;
}

std::size_t ParseNumbers(const std::string& line, std::vector<double>& values, std::string& bad)
{
    std::string_view b;
    const std::size_t n = io::ScanNumbers(line, values, b);
    bad.assign(b);
    return n;
}

bool ParseNumber(const std::string& text, double& value) { return io::ToDouble(text, value); }

void AppendNumber(std::string& buf, double d)
{
    char tmp[32];
    const auto r = std::to_chars(tmp, tmp + sizeof tmp, d);  // shortest form that reads back exactly
    buf.append(tmp, r.ptr);
}

void AppendPoint(std::string& buf, const CKrPoint3d& p)
{
    AppendNumber(buf, p.x);
    buf += ' ';
    AppendNumber(buf, p.y);
    buf += ' ';
    AppendNumber(buf, p.z);
    buf += '\n';
}

}  // namespace krtes
