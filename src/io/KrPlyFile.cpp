#include "KrTesGeometry/io/KrPlyFile.h"

#include <sstream>

#include "io/KrMeshParts.h"
#include "io/KrTextScanner.h"

namespace krtes {

using KrTesGeo::_sTri_ID;

namespace {

enum class PlyType { None, Int8, UInt8, Int16, UInt16, Int32, UInt32, Float32, Float64 };

PlyType PlyTypeOf(std::string_view s)
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
    bool IsList() const { return count != PlyType::None; }
    bool IsFaceList() const { return IsList() && (name == "vertex_indices" || name == "vertex_index"); }
};

struct PlyElement {
    std::string name;
    int64_t count = 0;
    std::size_t line = 0;  // header line, for messages
    std::vector<PlyProperty> props;
};

struct PlyHeader {
    std::string format;  // ascii, binary_little_endian or binary_big_endian
    std::vector<PlyElement> elems;
    std::size_t bodyOffset = 0;  // where the data starts
    std::size_t lines = 0;       // header lines, for the line numbers of an ascii body
    int64_t nVer = -1;           // vertex count
    int ix = -1, iy = -1, iz = -1;  // vertex properties holding x, y, z
};

// One "property" line of the header.
bool ParsePlyProperty(const io::CKrTextScanner& sc, const std::vector<std::string_view>& tok, PlyProperty& p,
                      std::string& err)
{
    if (tok.size() == 5 && tok[1] == "list") {
        p.count = PlyTypeOf(tok[2]);
        p.type = PlyTypeOf(tok[3]);
        p.name = std::string(tok[4]);
        if (p.count == PlyType::None || p.type == PlyType::None || p.count == PlyType::Float32 ||
            p.count == PlyType::Float64) {
            err = sc.Here() + "unsupported list property types '" + std::string(tok[2]) + " " + std::string(tok[3]) +
                  "'";
            return false;
        }
    } else if (tok.size() == 3) {
        p.type = PlyTypeOf(tok[1]);
        p.name = std::string(tok[2]);
        if (p.type == PlyType::None) {
            err = sc.Here() + "unsupported property type '" + std::string(tok[1]) + "'";
            return false;
        }
    } else {
        err = sc.Here() + "malformed property line";
        return false;
    }
    return true;
}

// Finds the vertex coordinates and the face list among the elements.
bool FindPlySurface(const std::string& path, PlyHeader& h, std::string& err)
{
    bool haveFaces = false;
    for (const PlyElement& e : h.elems) {
        if (e.name == "vertex") {
            if (e.count > io::kMaxCount) {
                err = io::At(path, e.line) + "too many vertices";
                return false;
            }
            h.nVer = e.count;
            for (std::size_t k = 0; k < e.props.size(); ++k) {
                const PlyProperty& p = e.props[k];
                if (p.IsList()) continue;
                if (p.name == "x") h.ix = static_cast<int>(k);
                if (p.name == "y") h.iy = static_cast<int>(k);
                if (p.name == "z") h.iz = static_cast<int>(k);
            }
            if (h.ix < 0 || h.iy < 0 || h.iz < 0) {
                err = io::At(path, e.line) + "vertex element lacks an x, y or z property";
                return false;
            }
        } else if (e.name == "face") {
            haveFaces = std::any_of(e.props.begin(), e.props.end(), [](const PlyProperty& p) { return p.IsFaceList(); });
            if (!haveFaces) {
                err = io::At(path, e.line) + "face element has no vertex_indices list";
                return false;
            }
        }
    }
    if (h.nVer < 0) {
        err = path + ": PLY file has no vertex element";
        return false;
    }
    if (!haveFaces) {
        err = path + ": PLY file has no face element";
        return false;
    }
    return true;
}

// The header, from "ply" to "end_header", and where the body starts.
bool ParsePlyHeader(const std::string& path, std::string_view data, PlyHeader& h, std::string& err)
{
    io::CKrTextScanner sc(path, data);
    std::vector<std::string_view> tok;
    bool ended = false;
    while (!ended && sc.NextLine()) {
        io::SplitFields(sc.Line(), tok);
        if (sc.LineNo() == 1) {
            if (tok.size() != 1 || tok[0] != "ply") {
                err = path + ": not a PLY file (it does not start with 'ply')";
                return false;
            }
            continue;
        }
        if (tok.empty() || tok[0] == "comment" || tok[0] == "obj_info") continue;
        if (tok[0] == "end_header") {
            ended = true;
        } else if (tok[0] == "format") {
            if (tok.size() < 2 ||
                (tok[1] != "ascii" && tok[1] != "binary_little_endian" && tok[1] != "binary_big_endian")) {
                err = sc.Here() + "unsupported PLY format '" + std::string(tok.size() > 1 ? tok[1] : "") + "'";
                return false;
            }
            h.format = std::string(tok[1]);
        } else if (tok[0] == "element") {
            int64_t count = -1;
            if (tok.size() != 3 || !io::ToInt(tok[2], count) || count < 0) {
                err = sc.Here() + "malformed element line";
                return false;
            }
            h.elems.push_back({std::string(tok[1]), count, sc.LineNo(), {}});
        } else if (tok[0] == "property") {
            if (h.elems.empty()) {
                err = sc.Here() + "property before any element";
                return false;
            }
            PlyProperty p;
            if (!ParsePlyProperty(sc, tok, p, err)) return false;
            h.elems.back().props.push_back(p);
        } else {
            err = sc.Here() + "unknown header line '" + std::string(tok[0]) + "'";
            return false;
        }
    }
    if (!ended) {
        err = path + ": file ends inside the PLY header (no end_header)";
        return false;
    }
    if (h.format.empty()) {
        err = path + ": PLY header has no format line";
        return false;
    }
    h.bodyOffset = sc.Offset();
    h.lines = sc.LineNo();
    return FindPlySurface(path, h, err);
}

// Values of an ascii body, one at a time, across lines.
class PlyAsciiValues {
public:
    PlyAsciiValues(const std::string& path, std::string_view data, const PlyHeader& h) : m_sc(path, data, h.bodyOffset)
    {
        m_lineBase = h.lines;
    }
    bool Next(PlyType, double& v, std::string& err)
    {
        while (m_pos >= m_tok.size()) {
            if (!m_sc.NextLine()) {
                err = m_sc.Path() + ": file ends early";
                return false;
            }
            io::SplitFields(m_sc.Line(), m_tok);
            m_pos = 0;
        }
        const std::string_view s = m_tok[m_pos++];
        if (!io::ToDouble(s, v)) {
            err = io::At(m_sc.Path(), m_lineBase + m_sc.LineNo()) + "'" + std::string(s) + "' is not a number";
            return false;
        }
        return true;
    }
    // Each value takes at least one digit and one separator.
    static std::size_t MinBytes(PlyType) { return 2; }

private:
    io::CKrTextScanner m_sc;
    std::size_t m_lineBase = 0;
    std::vector<std::string_view> m_tok;
    std::size_t m_pos = 0;
};

// Values of a binary body in either byte order.
class PlyBinaryValues {
public:
    PlyBinaryValues(const std::string& path, std::string_view data, const PlyHeader& h)
        : m_path(path), m_data(data.substr(h.bodyOffset)), m_big(h.format == "binary_big_endian")
    {
    }
    bool Next(PlyType t, double& v, std::string& err)
    {
        const std::size_t n = PlySize(t);
        if (n > m_data.size() - m_pos) {
            err = m_path + ": file ends early (short binary data)";
            return false;
        }
        const char* b = m_data.data() + m_pos;
        m_pos += n;
        switch (t) {
        case PlyType::Int8: v = static_cast<int8_t>(b[0]); break;
        case PlyType::UInt8: v = static_cast<unsigned char>(b[0]); break;
        case PlyType::Int16: v = io::LoadBytes<int16_t>(b, m_big); break;
        case PlyType::UInt16: v = io::LoadBytes<uint16_t>(b, m_big); break;
        case PlyType::Int32: v = io::LoadBytes<int32_t>(b, m_big); break;
        case PlyType::UInt32: v = io::LoadBytes<uint32_t>(b, m_big); break;
        case PlyType::Float32: v = io::LoadBytes<float>(b, m_big); break;
        case PlyType::Float64: v = io::LoadBytes<double>(b, m_big); break;
        default: return false;
        }
        return true;
    }
    static std::size_t MinBytes(PlyType t) { return PlySize(t); }

private:
    const std::string& m_path;
    std::string_view m_data;
    std::size_t m_pos = 0;
    bool m_big;
};

// The fewest bytes a record of e can take: a bound on how many records the
// rest of the file can hold, so that a header count far beyond the file
// does not reserve memory for it.
template <class Values>
std::size_t MinRecordBytes(const PlyElement& e)
{
    std::size_t n = 0;
    for (const PlyProperty& p : e.props) n += Values::MinBytes(p.IsList() ? p.count : p.type);
    return n;
}

std::string InRecord(const PlyElement& e, int64_t rec)
{
    return " in element '" + e.name + "' (record " + std::to_string(rec + 1) + " of " + std::to_string(e.count) + ")";
}

// The records of every element, in header order, from a source of values.
template <class Values>
bool ReadPlyRecords(const std::string& path, Values& in, std::size_t bodyBytes, const PlyHeader& h,
                    std::vector<CKrPoint3d>& pts, std::vector<_sTri_ID>& tris, std::string& err)
{
    std::vector<int32_t> corners;
    for (const PlyElement& e : h.elems) {
        const std::size_t minBytes = MinRecordBytes<Values>(e);
        if (minBytes == 0) continue;  // records without properties hold nothing
        const bool isVer = e.name == "vertex", isFace = e.name == "face";
        const std::size_t fit = bodyBytes / minBytes + 1;
        if (isVer) pts.reserve(static_cast<std::size_t>(std::min<int64_t>(e.count, static_cast<int64_t>(fit))));
        if (isFace) tris.reserve(static_cast<std::size_t>(std::min<int64_t>(e.count, static_cast<int64_t>(fit))));
        for (int64_t rec = 0; rec < e.count; ++rec) {
            const auto fail = [&]() {
                err += InRecord(e, rec);
                return false;
            };
            double xyz[3] = {0.0, 0.0, 0.0};
            bool faceListRead = false;
            for (std::size_t k = 0; k < e.props.size(); ++k) {
                const PlyProperty& p = e.props[k];
                double v = 0.0;
                if (!p.IsList()) {
                    if (!in.Next(p.type, v, err)) return fail();
                    if (isVer) {
                        const int ik = static_cast<int>(k);
                        if (ik == h.ix) xyz[0] = v;
                        if (ik == h.iy) xyz[1] = v;
                        if (ik == h.iz) xyz[2] = v;
                    }
                    continue;
                }
                double cnt = 0.0;
                if (!in.Next(p.count, cnt, err)) return fail();
                if (cnt < 0 || cnt != std::floor(cnt) || cnt > 1e6) {
                    err = path + ": bad list length " + std::to_string(cnt) + InRecord(e, rec);
                    return false;
                }
                const bool mine = isFace && !faceListRead && p.IsFaceList();
                if (mine) {
                    faceListRead = true;
                    corners.clear();
                    if (cnt < 3) {
                        err = path + ": face has " + std::to_string(static_cast<int>(cnt)) + " corner(s), needs 3" +
                              InRecord(e, rec);
                        return false;
                    }
                }
                for (int64_t i = 0; i < static_cast<int64_t>(cnt); ++i) {
                    if (!in.Next(p.type, v, err)) return fail();
                    if (!mine) continue;
                    if (v != std::floor(v) || v < 0 || v >= static_cast<double>(h.nVer)) {
                        std::ostringstream s;
                        s << path << ": face index " << v << " out of range (" << h.nVer << " vertices)"
                          << InRecord(e, rec);
                        err = s.str();
                        return false;
                    }
                    corners.push_back(static_cast<int32_t>(v));
                }
                if (mine) io::AddFan(corners, tris);
            }
            if (isVer) {
                const CKrPoint3d p(xyz[0], xyz[1], xyz[2]);
                if (!io::Finite(p)) {
                    err = path + ": coordinate is not finite (NaN or infinite)" + InRecord(e, rec);
                    return false;
                }
                pts.push_back(p);
            }
        }
    }
    return true;
}

bool ReadPlyAsciiBody(const std::string& path, std::string_view data, const PlyHeader& h,
                      std::vector<CKrPoint3d>& pts, std::vector<_sTri_ID>& tris, std::string& err)
{
    PlyAsciiValues in(path, data, h);
    return ReadPlyRecords(path, in, data.size() - h.bodyOffset, h, pts, tris, err);
}

bool ReadPlyBinaryBody(const std::string& path, std::string_view data, const PlyHeader& h,
                       std::vector<CKrPoint3d>& pts, std::vector<_sTri_ID>& tris, std::string& err)
{
    PlyBinaryValues in(path, data, h);
    return ReadPlyRecords(path, in, data.size() - h.bodyOffset, h, pts, tris, err);
}

}  // namespace

bool ReadPlyFile(const std::string& path, std::vector<CKrPoint3d>& pts, std::vector<_sTri_ID>& tris,
                 std::string& err)
{
    std::string data;
    if (!io::ReadWholeFile(path, data, err)) return false;
    PlyHeader h;
    if (!ParsePlyHeader(path, data, h, err)) return false;
    std::vector<CKrPoint3d> p;
    std::vector<_sTri_ID> t;
    const bool ok = h.format == "ascii" ? ReadPlyAsciiBody(path, data, h, p, t, err)
                                        : ReadPlyBinaryBody(path, data, h, p, t, err);
    if (!ok) return false;
    pts.swap(p);
    tris.swap(t);
    return true;
}

bool WritePlyFile(const std::string& path, const std::vector<CKrPoint3d>& pts, const std::vector<_sTri_ID>& tris,
                  std::string& err)
{
    const std::string head = "ply\nformat binary_little_endian 1.0\ncomment written by krtes\nelement vertex " +
                             std::to_string(pts.size()) +
                             "\nproperty double x\nproperty double y\nproperty double z\nelement face " +
                             std::to_string(tris.size()) + "\nproperty list uchar int vertex_indices\nend_header\n";
    const auto putPoint = [](std::string& buf, const CKrPoint3d& p) {
        io::PutLE(buf, p.x);
        io::PutLE(buf, p.y);
        io::PutLE(buf, p.z);
    };
    const auto putTri = [](std::string& buf, const _sTri_ID& t) {
        io::PutLE(buf, static_cast<unsigned char>(3));
        for (int k = 0; k < 3; ++k) io::PutLE(buf, static_cast<int32_t>(t[k]));
    };
    return io::WriteMeshWhole(path, head, pts, tris, putPoint, putTri, err);
}

}  // namespace krtes
