#include "KrTesGeometry/io/KrStlFile.h"

#include <unordered_map>

#include "io/KrMeshParts.h"
#include "io/KrTextScanner.h"

namespace krtes {

using KrTesGeo::_sTri_ID;

namespace {

// Corners of an STL file are stored per facet; equal coordinates become one
// point so that the facets are connected.
class PointMerger {
public:
    explicit PointMerger(std::vector<CKrPoint3d>& pts) : m_pts(pts) {}
    int32_t Add(const CKrPoint3d& p)
    {
        const Key k{p.x + 0.0, p.y + 0.0, p.z + 0.0};  // + 0.0 makes -0 and 0 one key
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

// 80-byte header, uint32 triangle count, then 50 bytes a triangle: normal,
// three corners (float32 x, y, z each, little-endian), attribute word.
bool ReadStlBinary(const std::string& path, const std::string& data, std::vector<CKrPoint3d>& pts,
                   std::vector<_sTri_ID>& tris, std::string& err)
{
    if (data.size() < 84) {
        err = path + ": file ends early (a binary STL needs an 84-byte header, found " + std::to_string(data.size()) +
              " bytes)";
        return false;
    }
    const uint32_t n = io::LoadBytes<uint32_t>(data.data() + 80, false);
    const uint64_t need = 84 + 50 * static_cast<uint64_t>(n);
    if (data.size() != need) {
        err = path + (data.size() < need ? ": file ends early" : ": trailing data") + " (binary STL of " +
              std::to_string(n) + " triangles has " + std::to_string(need) + " bytes, found " +
              std::to_string(data.size()) + ")";
        return false;
    }
    PointMerger merge(pts);
    tris.reserve(n);
    for (uint32_t t = 0; t < n; ++t) {
        const char* rec = data.data() + 84 + 50 * static_cast<std::size_t>(t) + 12;  // after the normal
        int32_t id[3];
        for (int k = 0; k < 3; ++k) {
            const char* c = rec + 12 * k;
            const CKrPoint3d p(io::LoadBytes<float>(c, false), io::LoadBytes<float>(c + 4, false),
                               io::LoadBytes<float>(c + 8, false));
            if (!io::Finite(p)) {
                err = path + ": coordinate is not finite in triangle " + std::to_string(t + 1);
                return false;
            }
            id[k] = merge.Add(p);
        }
        tris.emplace_back(id[0], id[1], id[2]);
    }
    return true;
}

// solid / facet normal / outer loop / vertex x y z ... / endloop / endfacet
// / endsolid; several solids in one file are read as one surface. The text
// must end with endsolid: a file cut between facets would lose them.
bool ReadStlAscii(const std::string& path, const std::string& data, std::vector<CKrPoint3d>& pts,
                  std::vector<_sTri_ID>& tris, std::string& err)
{
    io::CKrTextScanner sc(path, data);
    PointMerger merge(pts);
    std::vector<std::string_view> tok;
    std::vector<int32_t> loop;
    bool inLoop = false, ended = false;  // ended: the last statement was endsolid
    while (sc.NextLine()) {
        io::SplitFields(sc.Line(), tok);
        if (tok.empty()) continue;
        const std::string_view w = tok[0];
        ended = w == "endsolid";
        if (w == "outer") {
            inLoop = true;
            loop.clear();
        } else if (w == "vertex") {
            double c[3];
            if (!inLoop || tok.size() != 4 || !io::ToDouble(tok[1], c[0]) || !io::ToDouble(tok[2], c[1]) ||
                !io::ToDouble(tok[3], c[2])) {
                err = sc.Here() + "malformed vertex line";
                return false;
            }
            const CKrPoint3d p(c[0], c[1], c[2]);
            if (!io::Finite(p)) {
                err = sc.Here() + "coordinate is not finite (NaN or infinite)";
                return false;
            }
            loop.push_back(merge.Add(p));
        } else if (w == "endloop") {
            if (!inLoop || loop.size() < 3) {
                err = sc.Here() + "facet with " + std::to_string(loop.size()) + " vertices, needs 3";
                return false;
            }
            io::AddFan(loop, tris);
            inLoop = false;
        } else if (w != "solid" && w != "facet" && w != "endfacet" && w != "endsolid") {
            err = sc.Here() + "unexpected '" + std::string(w) + "' in an ASCII STL file";
            return false;
        }
    }
    if (inLoop) {
        err = path + ": file ends early (inside a facet)";
        return false;
    }
    // Without its last line the text may have lost facets too.
    if (!ended) {
        err = path + ": file ends early (no endsolid)";
        return false;
    }
    return true;
}

}  // namespace

bool ReadStlFile(const std::string& path, std::vector<CKrPoint3d>& pts, std::vector<_sTri_ID>& tris,
                 std::string& err)
{
    std::string data;
    if (!io::ReadWholeFile(path, data, err)) return false;
    std::size_t first = data.compare(0, 3, "\xEF\xBB\xBF") == 0 ? 3 : 0;  // a UTF-8 byte-order mark
    while (first < data.size() && io::IsSpace(data[first])) ++first;
    // Some binary files also begin with "solid": text is text only when it
    // has no NUL byte (a binary file has them at least in its triangle count).
    const bool saysSolid = data.compare(first, 5, "solid") == 0;
    const bool binary = !saysSolid || std::memchr(data.data(), 0, data.size()) != nullptr;
    std::vector<CKrPoint3d> p;
    std::vector<_sTri_ID> t;
    const bool ok = binary ? ReadStlBinary(path, data, p, t, err) : ReadStlAscii(path, data, p, t, err);
    if (!ok) return false;
    pts.swap(p);
    tris.swap(t);
    return true;
}

}  // namespace krtes
