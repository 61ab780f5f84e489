#ifndef KRTES_IO_KRMESHPARTS_H
#define KRTES_IO_KRMESHPARTS_H

// Pieces the mesh formats share: limits, fans, byte order and a buffered
// writer for the whole-or-nothing file writer.

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

// Collects output in memory and writes it to f a megabyte at a time.
class CKrChunkWriter {
public:
    explicit CKrChunkWriter(std::FILE* f) : m_f(f) { m_buf.reserve(kChunk + 4096); }
    std::string& Buf() { return m_buf; }
    // Writes the buffer when it is full (or always, when force is set).
    bool Flush(bool force = false)
    {
        if (m_ok && (force || m_buf.size() > kChunk)) {
            m_ok = std::fwrite(m_buf.data(), 1, m_buf.size(), m_f) == m_buf.size();
            m_buf.clear();
        }
        return m_ok;
    }

private:
    static constexpr std::size_t kChunk = 1u << 20;
    std::FILE* m_f;
    std::string m_buf;
    bool m_ok = true;
};

}  // namespace io
}  // namespace krtes

#endif
