#include "KrTesMeshIO.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <limits>
#include <memory>
#include <sstream>
#include <unordered_map>

#include "KrTesIO.h"
#include "KrTesGeometry/tin/KrDelaunay.h"
#include "KrTesGeometry/math/CGeDataTriMesh.h"
#include "KrTesGeometry/mesh/KrMeshData.h"

namespace krtes {

using KrTesGeo::_sTri_ID;

namespace {

constexpr int64_t kMaxCount = std::numeric_limits<int32_t>::max();

std::string At(const std::string& path, std::size_t line) { return path + ":" + std::to_string(line) + ": "; }

bool IsSpace(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }

// Splits a line at white space.
void Tokens(const std::string& line, std::vector<std::string>& out)
{
    out.clear();
    std::size_t i = 0, n = line.size();
    while (i < n) {
        while (i < n && IsSpace(line[i])) ++i;
        std::size_t j = i;
        while (j < n && !IsSpace(line[j])) ++j;
        if (j > i) out.emplace_back(line, i, j - i);
        i = j;
    }
}

bool ToDouble(const std::string& s, double& d)
{
    const char* first = s.data();
    const char* last = s.data() + s.size();
    if (first != last && *first == '+') ++first;
    const auto r = std::from_chars(first, last, d);
    return r.ec == std::errc() && r.ptr == last;
}

bool ToInt(const std::string& s, int64_t& v)
{
    const char* first = s.data();
    const char* last = s.data() + s.size();
    if (first != last && *first == '+') ++first;
    const auto r = std::from_chars(first, last, v);
    return r.ec == std::errc() && r.ptr == last;
}

bool Finite(const CKrPoint3d& p) { return std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z); }

// Splits a polygon of corner indices into a fan from its first corner.
void AddFan(const std::vector<int32_t>& corners, std::vector<_sTri_ID>& tris)
{
    for (std::size_t k = 1; k + 1 < corners.size(); ++k) tris.emplace_back(corners[0], corners[k], corners[k + 1]);
}

// ---- OBJ ---------------------------------------------------------------------

bool ReadObj(const std::string& path, std::vector<CKrPoint3d>& pts, std::vector<_sTri_ID>& tris, std::string& err)
{
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        err = path + ": cannot open file";
        return false;
    }
    struct Forward {
        int64_t index;
        std::size_t line;
    };
    std::vector<Forward> forward;  // indices naming vertices not read yet
    std::vector<std::string> tok;
    std::vector<int32_t> corners;
    std::string line;
    std::size_t lineNo = 0;
    while (std::getline(in, line)) {
        ++lineNo;
        const std::size_t hash = line.find('#');
        if (hash != std::string::npos) line.erase(hash);
        Tokens(line, tok);
        if (tok.empty()) continue;
        if (tok[0] == "v") {
            double c[3];
            if (tok.size() < 4) {
                err = At(path, lineNo) + "vertex needs 3 coordinates, found " + std::to_string(tok.size() - 1);
                return false;
            }
            for (int k = 0; k < 3; ++k) {
                if (!ToDouble(tok[1 + k], c[k])) {
                    err = At(path, lineNo) + "'" + tok[1 + k] + "' is not a number";
                    return false;
                }
            }
            const CKrPoint3d p(c[0], c[1], c[2]);
            if (!Finite(p)) {
                err = At(path, lineNo) + "coordinate is not finite (NaN or infinite)";
                return false;
            }
            if (static_cast<int64_t>(pts.size()) >= kMaxCount) {
                err = At(path, lineNo) + "too many vertices";
                return false;
            }
            pts.push_back(p);
        } else if (tok[0] == "f") {
            if (tok.size() < 4) {
                err = At(path, lineNo) + "face needs at least 3 corners, found " + std::to_string(tok.size() - 1);
                return false;
            }
            corners.clear();
            const int64_t count = static_cast<int64_t>(pts.size());
            for (std::size_t k = 1; k < tok.size(); ++k) {
                const std::string idx = tok[k].substr(0, tok[k].find('/'));
                int64_t v = 0;
                if (!ToInt(idx, v)) {
                    err = At(path, lineNo) + "bad face index '" + tok[k] + "'";
                    return false;
                }
                if (v == 0) {
                    err = At(path, lineNo) + "face index 0 is not valid (indices start at 1)";
                    return false;
                }
                if (v < 0) {
                    if (-v > count) {
                        err = At(path, lineNo) + "relative face index " + std::to_string(v) + " reaches before the first vertex (" +
                              std::to_string(count) + " read so far)";
                        return false;
                    }
                    v = count + v;
                } else {
                    if (v > kMaxCount) {
                        err = At(path, lineNo) + "face index " + std::to_string(v) + " out of range";
                        return false;
                    }
                    if (v > count) forward.push_back({v, lineNo});
                    v -= 1;
                }
                corners.push_back(static_cast<int32_t>(v));
            }
            AddFan(corners, tris);
        }
        // Texture coordinates, normals, groups, materials, lines, ...: not
        // part of the surface.
    }
    if (in.bad()) {
        err = path + ": read error";
        return false;
    }
    for (const Forward& f : forward) {
        if (f.index > static_cast<int64_t>(pts.size())) {
            err = At(path, f.line) + "face index " + std::to_string(f.index) + " out of range (" +
                  std::to_string(pts.size()) + " vertices)";
            return false;
        }
    }
    return true;
}

// ---- PLY ---------------------------------------------------------------------

enum class PlyType { None, Int8, UInt8, Int16, UInt16, Int32, UInt32, Float32, Float64 };

PlyType PlyTypeOf(const std::string& s)
{
    if (s == "char" || s == "int8") return PlyType::Int8;
    if (s == "uchar" || s == "uint8") return PlyType::UInt8;
    if (s == "short" || s == "int16") return PlyType::Int16;
    if (s == "ushort" || s == "uint16") return PlyType::UInt16;
    if (s == "int" || s == "int32") return PlyType::Int32;
    if (s == "uint" || s == "uint32") return PlyType::UInt32;
    if (s == "float" || s == "float32") return PlyType::Float32;
    if (s == "double" || s == "float64") return PlyType::Float64;
    return PlyType::None;
}

std::size_t PlySize(PlyType t)
{
    switch (t) {
    case PlyType::Int8:
    case PlyType::UInt8: return 1;
    case PlyType::Int16:
    case PlyType::UInt16: return 2;
    case PlyType::Int32:
    case PlyType::UInt32:
    case PlyType::Float32: return 4;
    case PlyType::Float64: return 8;
    default: return 0;
    }
}

struct PlyProperty {
    std::string name;
    PlyType type = PlyType::None;   // the value type (of the items for a list)
    PlyType count = PlyType::None;  // the count type of a list; None for a scalar
};

struct PlyElement {
    std::string name;
    int64_t count = 0;
    std::size_t line = 0;  // header line, for messages
    std::vector<PlyProperty> props;
};

// The values of the body, one at a time, whatever the encoding.
class PlyBody {
public:
    virtual ~PlyBody() {}
    // False at the end of the data or on a malformed value; why() tells which.
    virtual bool Next(PlyType t, double& v) = 0;
    virtual std::string Why() const = 0;
};

class PlyAscii : public PlyBody {
public:
    PlyAscii(std::istream& in, const std::string& path, std::size_t line) : m_in(in), m_path(path), m_line(line) {}
    bool Next(PlyType, double& v) override
    {
        while (m_pos >= m_tok.size()) {
            std::string line;
            if (!std::getline(m_in, line)) {
                m_why = m_path + ": file ends early";
                return false;
            }
            ++m_line;
            Tokens(line, m_tok);
            m_pos = 0;
        }
        const std::string& s = m_tok[m_pos++];
        if (!ToDouble(s, v)) {
            m_why = At(m_path, m_line) + "'" + s + "' is not a number";
            return false;
        }
        return true;
    }
    std::string Why() const override { return m_why; }

private:
    std::istream& m_in;
    const std::string& m_path;
    std::size_t m_line;
    std::vector<std::string> m_tok;
    std::size_t m_pos = 0;
    std::string m_why;
};

class PlyBinary : public PlyBody {
public:
    PlyBinary(std::string data, bool bigEndian, const std::string& path)
        : m_data(std::move(data)), m_big(bigEndian), m_path(path)
    {
    }
    bool Next(PlyType t, double& v) override
    {
        const std::size_t n = PlySize(t);
        if (m_pos + n > m_data.size()) {
            m_why = m_path + ": file ends early (short binary data)";
            return false;
        }
        unsigned char b[8];
        std::memcpy(b, m_data.data() + m_pos, n);
        m_pos += n;
        if (m_big != HostBig()) std::reverse(b, b + n);
        switch (t) {
        case PlyType::Int8: v = static_cast<int8_t>(b[0]); break;
        case PlyType::UInt8: v = b[0]; break;
        case PlyType::Int16: v = Get<int16_t>(b); break;
        case PlyType::UInt16: v = Get<uint16_t>(b); break;
        case PlyType::Int32: v = Get<int32_t>(b); break;
        case PlyType::UInt32: v = Get<uint32_t>(b); break;
        case PlyType::Float32: v = Get<float>(b); break;
        case PlyType::Float64: v = Get<double>(b); break;
        default: return false;
        }
        return true;
    }
    std::string Why() const override { return m_why; }
    std::size_t Remaining() const { return m_data.size() - m_pos; }

private:
    template <class T>
    static T Get(const unsigned char* b)
    {
        T x;
        std::memcpy(&x, b, sizeof(T));
        return x;
    }
    static bool HostBig()
    {
        const uint16_t probe = 1;
        unsigned char first;
        std::memcpy(&first, &probe, 1);
        return first != 1;
    }
    std::string m_data;
    std::size_t m_pos = 0;
    bool m_big;
    const std::string& m_path;
    std::string m_why;
};

bool ReadPly(const std::string& path, std::vector<CKrPoint3d>& pts, std::vector<_sTri_ID>& tris, std::string& err)
{
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        err = path + ": cannot open file";
        return false;
    }
    std::string line, format;
    std::vector<std::string> tok;
    std::vector<PlyElement> elems;
    std::size_t lineNo = 0;
    bool ended = false;
    while (std::getline(in, line)) {
        ++lineNo;
        if (!line.empty() && line.back() == '\r') line.pop_back();
        Tokens(line, tok);
        if (lineNo == 1) {
            if (tok.size() != 1 || tok[0] != "ply") {
                err = path + ": not a PLY file (it does not start with 'ply')";
                return false;
            }
            continue;
        }
        if (tok.empty() || tok[0] == "comment" || tok[0] == "obj_info") continue;
        if (tok[0] == "end_header") {
            ended = true;
            break;
        }
        if (tok[0] == "format") {
            if (tok.size() < 2 ||
                (tok[1] != "ascii" && tok[1] != "binary_little_endian" && tok[1] != "binary_big_endian")) {
                err = At(path, lineNo) + "unsupported PLY format '" + (tok.size() > 1 ? tok[1] : "") + "'";
                return false;
            }
            format = tok[1];
        } else if (tok[0] == "element") {
            int64_t count = -1;
            if (tok.size() != 3 || !ToInt(tok[2], count) || count < 0) {
                err = At(path, lineNo) + "malformed element line";
                return false;
            }
            elems.push_back({tok[1], count, lineNo, {}});
        } else if (tok[0] == "property") {
            if (elems.empty()) {
                err = At(path, lineNo) + "property before any element";
                return false;
            }
            PlyProperty p;
            if (tok.size() == 5 && tok[1] == "list") {
                p.count = PlyTypeOf(tok[2]);
                p.type = PlyTypeOf(tok[3]);
                p.name = tok[4];
                if (p.count == PlyType::None || p.type == PlyType::None || p.count == PlyType::Float32 ||
                    p.count == PlyType::Float64) {
                    err = At(path, lineNo) + "unsupported list property types '" + tok[2] + " " + tok[3] + "'";
                    return false;
                }
            } else if (tok.size() == 3) {
                p.type = PlyTypeOf(tok[1]);
                p.name = tok[2];
                if (p.type == PlyType::None) {
                    err = At(path, lineNo) + "unsupported property type '" + tok[1] + "'";
                    return false;
                }
            } else {
                err = At(path, lineNo) + "malformed property line";
                return false;
            }
            elems.back().props.push_back(p);
        } else {
            err = At(path, lineNo) + "unknown header line '" + tok[0] + "'";
            return false;
        }
    }
    if (!ended) {
        err = path + ": file ends inside the PLY header (no end_header)";
        return false;
    }
    if (format.empty()) {
        err = path + ": PLY header has no format line";
        return false;
    }

    // Which element and properties carry the surface.
    int64_t nVer = -1;
    int ix = -1, iy = -1, iz = -1;
    bool haveFaces = false;
    for (const PlyElement& e : elems) {
        if (e.name == "vertex") {
            if (e.count > kMaxCount) {
                err = At(path, e.line) + "too many vertices";
                return false;
            }
            nVer = e.count;
            for (std::size_t k = 0; k < e.props.size(); ++k) {
                const PlyProperty& p = e.props[k];
                if (p.count != PlyType::None) continue;
                if (p.name == "x") ix = static_cast<int>(k);
                if (p.name == "y") iy = static_cast<int>(k);
                if (p.name == "z") iz = static_cast<int>(k);
            }
            if (ix < 0 || iy < 0 || iz < 0) {
                err = At(path, e.line) + "vertex element lacks an x, y or z property";
                return false;
            }
        } else if (e.name == "face") {
            haveFaces = std::any_of(e.props.begin(), e.props.end(), [](const PlyProperty& p) {
                return p.count != PlyType::None && (p.name == "vertex_indices" || p.name == "vertex_index");
            });
            if (!haveFaces) {
                err = At(path, e.line) + "face element has no vertex_indices list";
                return false;
            }
        }
    }
    if (nVer < 0) {
        err = path + ": PLY file has no vertex element";
        return false;
    }
    if (!haveFaces) {
        err = path + ": PLY file has no face element";
        return false;
    }

    std::unique_ptr<PlyBody> body;
    PlyBinary* binary = nullptr;
    if (format == "ascii") {
        body.reset(new PlyAscii(in, path, lineNo));
    } else {
        std::string data((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        binary = new PlyBinary(std::move(data), format == "binary_big_endian", path);
        body.reset(binary);
    }
    auto where = [&](const PlyElement& e, int64_t rec) {
        return " in element '" + e.name + "' (record " + std::to_string(rec + 1) + " of " + std::to_string(e.count) +
               ")";
    };

    pts.clear();
    tris.clear();
    std::vector<int32_t> corners;
    for (const PlyElement& e : elems) {
        const bool isVer = e.name == "vertex", isFace = e.name == "face";
        if (isVer && binary) pts.reserve(static_cast<std::size_t>(std::min<int64_t>(e.count, binary->Remaining() / 3)));
        bool faceListRead = false;
        for (int64_t rec = 0; rec < e.count; ++rec) {
            double xyz[3] = {0.0, 0.0, 0.0};
            faceListRead = false;
            for (std::size_t k = 0; k < e.props.size(); ++k) {
                const PlyProperty& p = e.props[k];
                double v = 0.0;
                if (p.count == PlyType::None) {
                    if (!body->Next(p.type, v)) {
                        err = body->Why() + where(e, rec);
                        return false;
                    }
                    if (isVer) {
                        if (static_cast<int>(k) == ix) xyz[0] = v;
                        if (static_cast<int>(k) == iy) xyz[1] = v;
                        if (static_cast<int>(k) == iz) xyz[2] = v;
                    }
                    continue;
                }
                double cnt = 0.0;
                if (!body->Next(p.count, cnt)) {
                    err = body->Why() + where(e, rec);
                    return false;
                }
                if (cnt < 0 || cnt != std::floor(cnt) || cnt > 1e6) {
                    err = path + ": bad list length " + std::to_string(cnt) + where(e, rec);
                    return false;
                }
                const bool mine = isFace && !faceListRead && (p.name == "vertex_indices" || p.name == "vertex_index");
                if (mine) {
                    faceListRead = true;
                    corners.clear();
                    if (cnt < 3) {
                        err = path + ": face has " + std::to_string(static_cast<int>(cnt)) + " corner(s), needs 3" +
                              where(e, rec);
                        return false;
                    }
                }
                for (int64_t i = 0; i < static_cast<int64_t>(cnt); ++i) {
                    if (!body->Next(p.type, v)) {
                        err = body->Why() + where(e, rec);
                        return false;
                    }
                    if (!mine) continue;
                    if (v != std::floor(v) || v < 0 || v >= static_cast<double>(nVer)) {
                        std::ostringstream s;
                        s << path << ": face index " << v << " out of range (" << nVer << " vertices)" << where(e, rec);
                        err = s.str();
                        return false;
                    }
                    corners.push_back(static_cast<int32_t>(v));
                }
                if (mine) AddFan(corners, tris);
            }
            if (isVer) {
                const CKrPoint3d p(xyz[0], xyz[1], xyz[2]);
                if (!Finite(p)) {
                    err = path + ": coordinate is not finite (NaN or infinite)" + where(e, rec);
                    return false;
                }
                pts.push_back(p);
            }
        }
    }
    return true;
}

// ---- STL ---------------------------------------------------------------------

// Corners of an STL file are stored per facet; equal coordinates become one
// point so that the facets are connected.
class PointMerger {
public:
    explicit PointMerger(std::vector<CKrPoint3d>& pts) : m_pts(pts) {}
    int32_t Add(const CKrPoint3d& p)
    {
        Key k{p.x + 0.0, p.y + 0.0, p.z + 0.0};  // + 0.0 makes -0 and 0 one key
        const auto it = m_index.find(k);
        if (it != m_index.end()) return it->second;
        const int32_t i = static_cast<int32_t>(m_pts.size());
        m_pts.push_back(p);
        m_index.emplace(k, i);
        return i;
    }

private:
    struct Key {
        double x, y, z;
        bool operator==(const Key& o) const { return x == o.x && y == o.y && z == o.z; }
    };
    struct Hash {
        std::size_t operator()(const Key& k) const
        {
            uint64_t h = 1469598103934665603ull;
            for (double d : {k.x, k.y, k.z}) {
                uint64_t b;
                std::memcpy(&b, &d, sizeof b);
                h = (h ^ b) * 1099511628211ull;
                h ^= h >> 29;
            }
            return static_cast<std::size_t>(h);
        }
    };
    std::vector<CKrPoint3d>& m_pts;
    std::unordered_map<Key, int32_t, Hash> m_index;
};

bool ReadStl(const std::string& path, std::vector<CKrPoint3d>& pts, std::vector<_sTri_ID>& tris, std::string& err)
{
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        err = path + ": cannot open file";
        return false;
    }
    const std::string data((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    pts.clear();
    tris.clear();
    PointMerger merge(pts);

    uint32_t n = 0;
    if (data.size() >= 84) {
        unsigned char b[4];
        std::memcpy(b, data.data() + 80, 4);
        n = static_cast<uint32_t>(b[0]) | (static_cast<uint32_t>(b[1]) << 8) | (static_cast<uint32_t>(b[2]) << 16) |
            (static_cast<uint32_t>(b[3]) << 24);
    }
    std::size_t first = 0;
    while (first < data.size() && IsSpace(data[first])) ++first;
    // Some binary files also begin with "solid": text is text only when it
    // has no NUL byte (a binary file has them at least in its triangle count).
    const bool saysSolid = data.compare(first, 5, "solid") == 0;
    const bool binary = !saysSolid || std::memchr(data.data(), 0, data.size()) != nullptr;
    const uint64_t need = 84 + 50 * static_cast<uint64_t>(n);
    if (binary && data.size() < 84) {
        err = path + ": file ends early (a binary STL needs an 84-byte header, found " + std::to_string(data.size()) +
              " bytes)";
        return false;
    }
    if (binary && data.size() != need) {
        err = path + (data.size() < need ? ": file ends early" : ": trailing data") + " (binary STL of " +
              std::to_string(n) + " triangles has " + std::to_string(need) + " bytes, found " +
              std::to_string(data.size()) + ")";
        return false;
    }
    if (binary) {
        tris.reserve(n);
        for (uint32_t t = 0; t < n; ++t) {
            const char* rec = data.data() + 84 + 50 * static_cast<std::size_t>(t) + 12;  // after the normal
            int32_t id[3];
            for (int k = 0; k < 3; ++k) {
                float c[3];
                for (int j = 0; j < 3; ++j) {
                    unsigned char b[4];
                    std::memcpy(b, rec + 12 * k + 4 * j, 4);
                    const uint32_t u = static_cast<uint32_t>(b[0]) | (static_cast<uint32_t>(b[1]) << 8) |
                                       (static_cast<uint32_t>(b[2]) << 16) | (static_cast<uint32_t>(b[3]) << 24);
                    std::memcpy(&c[j], &u, 4);
                }
                const CKrPoint3d p(static_cast<double>(c[0]), static_cast<double>(c[1]), static_cast<double>(c[2]));
                if (!Finite(p)) {
                    err = path + ": coordinate is not finite in triangle " + std::to_string(t + 1);
                    return false;
                }
                id[k] = merge.Add(p);
            }
            tris.emplace_back(id[0], id[1], id[2]);
        }
        return true;
    }

    // ASCII: solid / facet normal / outer loop / vertex x y z ... / endloop /
    // endfacet / endsolid.
    std::istringstream text(data);
    std::string line;
    std::vector<std::string> tok;
    std::vector<int32_t> loop;
    std::size_t lineNo = 0;
    bool inLoop = false;
    while (std::getline(text, line)) {
        ++lineNo;
        Tokens(line, tok);
        if (tok.empty()) continue;
        const std::string& w = tok[0];
        if (w == "outer") {
            inLoop = true;
            loop.clear();
        } else if (w == "vertex") {
            double c[3];
            if (!inLoop || tok.size() != 4 || !ToDouble(tok[1], c[0]) || !ToDouble(tok[2], c[1]) ||
                !ToDouble(tok[3], c[2])) {
                err = At(path, lineNo) + "malformed vertex line";
                return false;
            }
            const CKrPoint3d p(c[0], c[1], c[2]);
            if (!Finite(p)) {
                err = At(path, lineNo) + "coordinate is not finite (NaN or infinite)";
                return false;
            }
            loop.push_back(merge.Add(p));
        } else if (w == "endloop") {
            if (!inLoop || loop.size() < 3) {
                err = At(path, lineNo) + "facet with " + std::to_string(loop.size()) + " vertices, needs 3";
                return false;
            }
            AddFan(loop, tris);
            inLoop = false;
        } else if (w != "solid" && w != "facet" && w != "endfacet" && w != "endsolid") {
            err = At(path, lineNo) + "unexpected '" + w + "' in an ASCII STL file";
            return false;
        }
    }
    if (inLoop) {
        err = path + ": file ends early (inside a facet)";
        return false;
    }
    return true;
}

}  // namespace

bool IsMeshFileName(const std::string& path)
{
    const std::string ext = Extension(path);
    return ext == ".obj" || ext == ".ply" || ext == ".stl";
}

bool ReadMeshFile(const std::string& path, std::vector<CKrPoint3d>& pts, std::vector<_sTri_ID>& tris, std::string& err)
{
    const std::string ext = Extension(path);
    std::vector<CKrPoint3d> p;
    std::vector<_sTri_ID> t;
    bool ok = false;
    if (ext == ".obj")
        ok = ReadObj(path, p, t, err);
    else if (ext == ".ply")
        ok = ReadPly(path, p, t, err);
    else if (ext == ".stl")
        ok = ReadStl(path, p, t, err);
    else
        err = path + ": unknown mesh format '" + ext + "' (use .obj, .ply or .stl)";
    if (!ok) return false;
    if (t.empty()) {
        err = path + ": the file holds no triangles";
        return false;
    }
    if (static_cast<int64_t>(t.size()) > kMaxCount) {
        err = path + ": too many triangles";
        return false;
    }
    pts.swap(p);
    tris.swap(t);
    return true;
}

bool ReadMeshFile(const std::string& path, TesTriMesh::CKrMeshData& mesh, std::string& err)
{
    std::vector<CKrPoint3d> pts;
    std::vector<_sTri_ID> tris;
    if (!ReadMeshFile(path, pts, tris, err)) return false;
    mesh.InputData(pts, tris, true);
    if (mesh.TriNum() == 0) {
        err = path + ": no usable triangle (all collapse when vertices closer than " +
              std::to_string(TesTriMesh::g_dVerTol) + " are merged)";
        return false;
    }
    return true;
}

bool ReadSurfaceFile(const std::string& path, TesTriMesh::CKrMeshData& mesh, std::string& how, std::string& err)
{
    if (IsMeshFileName(path)) {
        if (!ReadMeshFile(path, mesh, err)) return false;
        how = "mesh of " + std::to_string(mesh.TriNum()) + " triangles";
        return true;
    }
    std::vector<CKrPoint3d> pts;
    if (!ReadPointFile(path, pts, err)) return false;
    mesh.ClearAllData();
    bool ok = false;
    {
        TesTriMesh::CKrDelaunay tin(mesh, 0.01);
        for (const CKrPoint3d& p : pts) tin.AddVertex(p);
        ok = mesh.m_setVer.size() >= 3 && tin.Delaunay();
    }
    if (!ok) {
        err = path + ": the points do not form a surface (fewer than 3 distinct points, or all collinear)";
        return false;
    }
    how = "TIN of " + std::to_string(pts.size()) + " points, " + std::to_string(mesh.TriNum()) + " triangles";
    return true;
}

bool ReadMeshFile(const std::string& path, CGeDataTriMesh& mesh, std::string& err)
{
    std::vector<CKrPoint3d> pts;
    std::vector<_sTri_ID> tris;
    if (!ReadMeshFile(path, pts, tris, err)) return false;
    mesh.Clear();
    mesh.m_arrPts.SetSize(static_cast<int32_t>(pts.size()));
    for (std::size_t i = 0; i < pts.size(); ++i) mesh.m_arrPts.m_pData[i] = new CGeDataPoint3D(pts[i].x, pts[i].y, pts[i].z);
    mesh.m_arrTris.SetSize(static_cast<int32_t>(tris.size()));
    for (std::size_t i = 0; i < tris.size(); ++i)
        mesh.m_arrTris.m_pData[i] = new CGeDataTriIndex(tris[i][0], tris[i][1], tris[i][2]);
    return true;
}

bool WriteTextOutput(const std::string& path, const std::string& text, std::string& err)
{
    if (path.empty()) {
        if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0) {
            err = "standard output: write failed";
            return false;
        }
        return true;
    }
    return WriteFileWhole(
        path, [&](std::FILE* f) { return std::fwrite(text.data(), 1, text.size(), f) == text.size(); }, err);
}

}  // namespace krtes
