#include "KrTesIO.h"

#include <cctype>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <utility>

namespace krtes {

namespace {

std::string Where(const std::string& path, std::size_t line)
{
    return path + ":" + std::to_string(line) + ": ";
}

// Strips a '#' comment and trailing white space (including a CR from a
// file written on Windows).
std::string StripComment(const std::string& s)
{
    std::string t = s.substr(0, s.find('#'));
    while (!t.empty() && std::isspace(static_cast<unsigned char>(t.back()))) t.pop_back();
    return t;
}

bool IsBlank(const std::string& s)
{
    for (char c : s)
        if (!std::isspace(static_cast<unsigned char>(c))) return false;
    return true;
}

// Reads one "x y z" data line; on failure err gets the reason (without the
// location prefix).
bool ParsePointLine(const std::string& line, CKrPoint3d& p, std::string& err)
{
    std::vector<double> v;
    std::string bad;
    const std::size_t n = ParseNumbers(line, v, bad);
    if (!bad.empty()) {
        err = "'" + bad + "' is not a number";
        return false;
    }
    if (n != 3) {
        err = "expected 3 values (x y z), found " + std::to_string(n);
        return false;
    }
    for (double d : v) {
        if (!std::isfinite(d)) {
            err = "coordinate is not finite (NaN or infinite)";
            return false;
        }
    }
    p = CKrPoint3d(v[0], v[1], v[2]);
    return true;
}

}  // namespace

std::size_t ParseNumbers(const std::string& line, std::vector<double>& values, std::string& bad)
{
    values.clear();
    bad.clear();
    std::size_t i = 0, n = line.size();
    while (i < n) {
        while (i < n && (std::isspace(static_cast<unsigned char>(line[i])) || line[i] == ',')) ++i;
        if (i >= n) break;
        std::size_t j = i;
        while (j < n && !std::isspace(static_cast<unsigned char>(line[j])) && line[j] != ',') ++j;
        const char* first = line.data() + i;
        const char* last = line.data() + j;
        if (*first == '+') ++first;
        double d = 0.0;
        const auto r = std::from_chars(first, last, d);
        if (r.ec != std::errc() || r.ptr != last) {
            if (bad.empty()) bad = line.substr(i, j - i);
        } else {
            values.push_back(d);
        }
        i = j;
    }
    return values.size();
}

bool ReadPointFile(const std::string& path, std::vector<CKrPoint3d>& pts, std::string& err)
{
    std::ifstream in(path);
    if (!in) {
        err = path + ": cannot open file";
        return false;
    }
    std::vector<CKrPoint3d> out;
    std::string raw, why;
    std::size_t lineNo = 0;
    bool seenData = false;
    while (std::getline(in, raw)) {
        ++lineNo;
        const std::string line = StripComment(raw);
        if (IsBlank(line)) continue;
        CKrPoint3d p;
        if (!ParsePointLine(line, p, why)) {
            std::vector<double> v;
            std::string bad;
            if (!seenData && ParseNumbers(line, v, bad) == 0) {  // a column header
                seenData = true;
                continue;
            }
            err = Where(path, lineNo) + why;
            return false;
        }
        seenData = true;
        out.push_back(p);
    }
    if (in.bad()) {
        err = path + ": read error";
        return false;
    }
    pts.swap(out);
    return true;
}

bool ReadPolylineFile(const std::string& path, std::vector<std::vector<CKrPoint3d>>& lines, std::size_t minPoints,
                      std::string& err)
{
    std::ifstream in(path);
    if (!in) {
        err = path + ": cannot open file";
        return false;
    }
    std::vector<std::vector<CKrPoint3d>> out;
    std::vector<CKrPoint3d> cur;
    std::size_t lineNo = 0, blockStart = 0;
    auto close = [&]() -> bool {
        if (cur.empty()) return true;
        if (cur.size() < minPoints) {
            err = Where(path, blockStart) + "polyline has " + std::to_string(cur.size()) + " point(s), needs at least " +
                  std::to_string(minPoints);
            return false;
        }
        out.push_back(cur);
        cur.clear();
        return true;
    };
    std::string raw, why;
    while (std::getline(in, raw)) {
        ++lineNo;
        if (IsBlank(raw)) {
            if (!close()) return false;
            continue;
        }
        const std::string line = StripComment(raw);
        if (IsBlank(line)) continue;  // a comment line does not end a block
        CKrPoint3d p;
        if (!ParsePointLine(line, p, why)) {
            std::vector<double> v;
            std::string bad;
            if (out.empty() && cur.empty() && ParseNumbers(line, v, bad) == 0) continue;  // header
            err = Where(path, lineNo) + why;
            return false;
        }
        if (cur.empty()) blockStart = lineNo;
        cur.push_back(p);
    }
    if (!close()) return false;
    lines.swap(out);
    return true;
}

std::string Extension(const std::string& path)
{
    const std::size_t slash = path.find_last_of("/\\");
    const std::size_t dot = path.find_last_of('.');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return "";
    std::string e = path.substr(dot);
    for (char& c : e) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return e;
}

namespace {

void PutNumber(std::string& buf, double d)
{
    char tmp[32];
    const auto r = std::to_chars(tmp, tmp + sizeof tmp, d);  // shortest form that reads back exactly
    buf.append(tmp, r.ptr);
}

template <class T>
void PutLE(std::string& buf, T v)
{
    unsigned char b[sizeof(T)];
    std::memcpy(b, &v, sizeof(T));
    const uint16_t probe = 1;
    unsigned char first;
    std::memcpy(&first, &probe, 1);
    if (first != 1) {  // big-endian host: PLY asks for little-endian
        for (std::size_t i = 0; i < sizeof(T) / 2; ++i) std::swap(b[i], b[sizeof(T) - 1 - i]);
    }
    buf.append(reinterpret_cast<const char*>(b), sizeof(T));
}

}  // namespace

void AppendPoint(std::string& buf, const CKrPoint3d& p)
{
    PutNumber(buf, p.x);
    buf += ' ';
    PutNumber(buf, p.y);
    buf += ' ';
    PutNumber(buf, p.z);
    buf += '\n';
}

namespace {

bool WriteAll(std::FILE* f, const std::string& buf) { return std::fwrite(buf.data(), 1, buf.size(), f) == buf.size(); }

}  // namespace

bool WriteMeshFile(const std::string& path, const std::vector<CKrPoint3d>& pts,
                   const std::vector<KrTesGeo::_sTri_ID>& tris, std::string& err)
{
    const std::string ext = Extension(path);
    if (ext != ".obj" && ext != ".ply") {
        err = path + ": unknown output format '" + ext + "' (use .obj or .ply)";
        return false;
    }
    return WriteFileWhole(path, [&](std::FILE* f) {
        bool ok = true;
        std::string buf;
        buf.reserve(1 << 20);
        auto flush = [&](bool force) {
            if (ok && (force || buf.size() > (1u << 20))) {
                ok = WriteAll(f, buf);
                buf.clear();
            }
        };
        if (ext == ".obj") {
            buf += "# " + std::to_string(pts.size()) + " vertices, " + std::to_string(tris.size()) + " triangles\n";
            for (const CKrPoint3d& p : pts) {
                buf += "v ";
                AppendPoint(buf, p);
                flush(false);
            }
            for (const KrTesGeo::_sTri_ID& t : tris) {
                buf += "f " + std::to_string(t[0] + 1) + ' ' + std::to_string(t[1] + 1) + ' ' + std::to_string(t[2] + 1) +
                       '\n';
                flush(false);
            }
        } else {
            buf += "ply\nformat binary_little_endian 1.0\ncomment written by krtes\n";
            buf += "element vertex " + std::to_string(pts.size()) + "\n";
            buf += "property double x\nproperty double y\nproperty double z\n";
            buf += "element face " + std::to_string(tris.size()) + "\n";
            buf += "property list uchar int vertex_indices\nend_header\n";
            for (const CKrPoint3d& p : pts) {
                PutLE(buf, p.x);
                PutLE(buf, p.y);
                PutLE(buf, p.z);
                flush(false);
            }
            for (const KrTesGeo::_sTri_ID& t : tris) {
                PutLE(buf, static_cast<unsigned char>(3));
                for (int k = 0; k < 3; ++k) PutLE(buf, static_cast<int32_t>(t[k]));
                flush(false);
            }
        }
        flush(true);
        return ok;
    }, err);
}

bool WriteFileWhole(const std::string& path, const std::function<bool(std::FILE*)>& body, std::string& err)
{
    const std::string tmp = path + ".part";
    std::FILE* f = std::fopen(tmp.c_str(), "wb");
    if (!f) {
        err = path + ": cannot create file: " + std::strerror(errno);
        return false;
    }
    bool ok = body(f);
    ok = std::fclose(f) == 0 && ok;
    ok = ok && std::rename(tmp.c_str(), path.c_str()) == 0;
    if (!ok) {
        err = path + ": write failed: " + std::strerror(errno);
        std::remove(tmp.c_str());
        return false;
    }
    return true;
}

}  // namespace krtes
