#ifndef KRTES_IO_KRMESHPARTS_H
#define KRTES_IO_KRMESHPARTS_H

// Pieces the mesh formats share: limits, fans, byte order and a buffered
// whole-or-nothing mesh writer.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "KrTesGeometry/geom/KrPoint3d.h"
#include "KrTesGeometry/geom/sTriID.h"
#include "KrTesGeometry/io/KrFileWrite.h"

namespace krtes {
namespace io {

// Vertex and triangle numbers are 32-bit.
constexpr int64_t kMaxCount = std::numeric_limits<int32_t>::max();

inline bool Finite(const CKrPoint3d& p) { return std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z); }

// Splits a polygon of corner indices into a fan from its first corner.
inline void AddFan(const std::vector<int32_t>& corners, std::vector<KrTesGeo::_sTri_ID>& tris)
{
    for (std::size_t k = 1; k + 1 < corners.size(); ++k) tris.emplace_back(corners[0], corners[k], corners[k + 1]);
}

inline bool HostBigEndian()
{
    const uint16_t probe = 1;
    unsigned char first;
    std::memcpy(&first, &probe, 1);
    return first != 1;
}

// A value of type T stored at p in the given byte order.
template <class T>
T LoadBytes(const char* p, bool bigEndian)
{
    unsigned char b[sizeof(T)];
    std::memcpy(b, p, sizeof(T));
    if (bigEndian != HostBigEndian()) std::reverse(b, b + sizeof(T));
    T v;
    std::memcpy(&v, b, sizeof(T));
    return v;
}

// Appends v in little-endian byte order.
template <class T>
void PutLE(std::string& buf, T v)
{
    unsigned char b[sizeof(T)];
    std::memcpy(b, &v, sizeof(T));
    if (HostBigEndian()) std::reverse(b, b + sizeof(T));
    buf.append(reinterpret_cast<const char*>(b), sizeof(T));
}

// Writes a mesh whole or not at all: head, then putPoint(buf, p) for each
// point and putTri(buf, t) for each triangle, passed to the file a megabyte
// at a time.
template <class PutPoint, class PutTri>
bool WriteMeshWhole(const std::string& path, const std::string& head, const std::vector<CKrPoint3d>& pts,
                    const std::vector<KrTesGeo::_sTri_ID>& tris, PutPoint putPoint, PutTri putTri, std::string& err)
{
    return WriteFileWhole(
        path,
        [&](std::FILE* f) {
            constexpr std::size_t kChunk = 1u << 20;
            std::string buf = head;
            buf.reserve(kChunk + 4096);
            bool ok = true;
            const auto flush = [&](bool force) {
                if (ok && (force || buf.size() > kChunk)) {
                    ok = std::fwrite(buf.data(), 1, buf.size(), f) == buf.size();
                    buf.clear();
                }
            };
            for (const CKrPoint3d& p : pts) {
                putPoint(buf, p);
                flush(false);
            }
            for (const KrTesGeo::_sTri_ID& t : tris) {
                putTri(buf, t);
                flush(false);
            }
            flush(true);
            return ok;
        },
        err);
}

}  // namespace io
}  // namespace krtes

#endif
