#include "KrTesGeometry/io/KrObjFile.h"

#include "KrTesGeometry/io/KrPointFile.h"
#include "io/KrMeshParts.h"
#include "io/KrTextScanner.h"

namespace krtes {

using KrTesGeo::_sTri_ID;

namespace {

// One "v" line into pts.
bool ObjVertex(const io::CKrTextScanner& sc, const std::vector<std::string_view>& tok, std::vector<CKrPoint3d>& pts,
               std::string& err)
{
    if (tok.size() < 4) {
        err = sc.Here() + "vertex needs 3 coordinates, found " + std::to_string(tok.size() - 1);
        return false;
    }
    double c[3];
    for (int k = 0; k < 3; ++k) {
        if (!io::ToDouble(tok[1 + k], c[k])) {
            err = sc.Here() + "'" + std::string(tok[1 + k]) + "' is not a number";
            return false;
        }
    }
    const CKrPoint3d p(c[0], c[1], c[2]);
    if (!io::Finite(p)) {
        err = sc.Here() + "coordinate is not finite (NaN or infinite)";
        return false;
    }
    if (static_cast<int64_t>(pts.size()) >= io::kMaxCount) {
        err = sc.Here() + "too many vertices";
        return false;
    }
    pts.push_back(p);
    return true;
}

// An index naming a vertex not read yet, checked at the end of the file.
struct ForwardIndex {
    int64_t index;
    std::size_t line;
};

// One "f" line's corners (0-based) from its 1-based or negative indices.
bool ObjFace(const io::CKrTextScanner& sc, const std::vector<std::string_view>& tok, int64_t count,
             std::vector<int32_t>& corners, std::vector<ForwardIndex>& forward, std::string& err)
{
    if (tok.size() < 4) {
        err = sc.Here() + "face needs at least 3 corners, found " + std::to_string(tok.size() - 1);
        return false;
    }
    corners.clear();
    for (std::size_t k = 1; k < tok.size(); ++k) {
        int64_t v = 0;
        if (!io::ToInt(tok[k].substr(0, tok[k].find('/')), v)) {
            err = sc.Here() + "bad face index '" + std::string(tok[k]) + "'";
            return false;
        }
        if (v == 0) {
            err = sc.Here() + "face index 0 is not valid (indices start at 1)";
            return false;
        }
        if (v < 0) {
            if (-v > count) {
                err = sc.Here() + "relative face index " + std::to_string(v) + " reaches before the first vertex (" +
                      std::to_string(count) + " read so far)";
                return false;
            }
            v = count + v;
        } else {
            if (v > io::kMaxCount) {
                err = sc.Here() + "face index " + std::to_string(v) + " out of range";
                return false;
            }
            if (v > count) forward.push_back({v, sc.LineNo()});
            v -= 1;
        }
        corners.push_back(static_cast<int32_t>(v));
    }
    return true;
}

}  // namespace

bool ReadObjFile(const std::string& path, std::vector<CKrPoint3d>& pts, std::vector<_sTri_ID>& tris,
                 std::string& err)
{
    std::string text;
    if (!io::ReadWholeFile(path, text, err)) return false;
    io::CKrTextScanner sc(path, text);
    std::vector<CKrPoint3d> p;
    std::vector<_sTri_ID> t;
    std::vector<ForwardIndex> forward;
    std::vector<std::string_view> tok;
    std::vector<int32_t> corners;
    while (sc.NextLine()) {
        io::SplitFields(io::CutComment(sc.Line()), tok);
        if (tok.empty()) continue;
        if (tok[0] == "v") {
            if (!ObjVertex(sc, tok, p, err)) return false;
        } else if (tok[0] == "f") {
            if (!ObjFace(sc, tok, static_cast<int64_t>(p.size()), corners, forward, err)) return false;
            io::AddFan(corners, t);
        }
        // Texture coordinates, normals, groups, materials, lines, ...: not
        // part of the surface.
    }
    for (const ForwardIndex& f : forward) {
        if (f.index > static_cast<int64_t>(p.size())) {
            err = io::At(path, f.line) + "face index " + std::to_string(f.index) + " out of range (" +
                  std::to_string(p.size()) + " vertices)";
            return false;
        }
    }
    pts.swap(p);
    tris.swap(t);
    return true;
}

bool WriteObjFile(const std::string& path, const std::vector<CKrPoint3d>& pts, const std::vector<_sTri_ID>& tris,
                  std::string& err)
{
    const std::string head =
        "# " + std::to_string(pts.size()) + " vertices, " + std::to_string(tris.size()) + " triangles\n";
    const auto putPoint = [](std::string& buf, const CKrPoint3d& p) {
        buf += "v ";
        AppendPoint(buf, p);
    };
    const auto putTri = [](std::string& buf, const _sTri_ID& t) {
        buf += "f " + std::to_string(t[0] + 1) + ' ' + std::to_string(t[1] + 1) + ' ' + std::to_string(t[2] + 1) + '\n';
    };
    return io::WriteMeshWhole(path, head, pts, tris, putPoint, putTri, err);
}

}  // namespace krtes
