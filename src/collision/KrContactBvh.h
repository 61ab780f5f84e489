#ifndef KRTES_KRCONTACTBVH_H
#define KRTES_KRCONTACTBVH_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "geom/KrClosestSegSeg.h"

// The bounding volume hierarchy of CKrMeshContact and the closest-point
// routines its distance query runs on.
namespace TesTriMesh {
namespace detail {

// A closed axis-aligned box.
struct KrAabb {
    double lo[3];
    double hi[3];
};

// A node of the hierarchy. Inner nodes (count == 0) have their children at
// `first` and `first + 1`; leaves hold `count` triangle slots from `first`,
// sorted by triangle index. minTri is the smallest triangle index below.
struct KrBvhNode {
    KrAabb box;
    int32_t first;
    int32_t count;
    int32_t minTri;
    int32_t pad;
};

// The hierarchy over a triangle soup: corners gathered per triangle in leaf
// order (nine doubles a slot), so that a leaf's triangles sit together.
class CKrContactBvh {
public:
    static constexpr int kLeafSize = 4;

    // xyz: three doubles a point; tri: three point indices a triangle (already
    // checked). Replaces whatever was built before.
    void Build(const std::vector<double>& xyz, const std::vector<int32_t>& tri);
    void Clear();

    bool Empty() const { return m_nodes.empty(); }
    const std::vector<KrBvhNode>& Nodes() const { return m_nodes; }
    // The corners of slot s: nine doubles.
    const double* SlotXyz(int32_t s) const { return &m_slotXyz[static_cast<std::size_t>(s) * 9]; }
    int32_t SlotTri(int32_t s) const { return m_slotTri[static_cast<std::size_t>(s)]; }

private:
    std::vector<KrBvhNode> m_nodes;
    std::vector<double> m_slotXyz;
    std::vector<int32_t> m_slotTri;
};

// The squared distance between two closed boxes (0 when they meet).
inline double BoxDist2(const KrAabb& a, const KrAabb& b)
{
    double d2 = 0.0;
    for (int k = 0; k < 3; ++k) {
        double g = a.lo[k] - b.hi[k];
        if (g < 0.0) g = b.lo[k] - a.hi[k];
        if (g > 0.0) d2 += g * g;
    }
    return d2;
}

// The closed boxes share a point. Exact: a difference of doubles has the sign
// of the true difference.
inline bool BoxMeet(const KrAabb& a, const KrAabb& b)
{
    return a.lo[0] <= b.hi[0] && b.lo[0] <= a.hi[0] && a.lo[1] <= b.hi[1] && b.lo[1] <= a.hi[1] &&
           a.lo[2] <= b.hi[2] && b.lo[2] <= a.hi[2];
}

// The box of a triangle's nine coordinates.
KrAabb TriBox(const double* t);

using KrTesGeo::detail::ClosestSegSeg;

// Closest points of two triangles (nine doubles each) that do not cross:
// the minimum over the nine edge pairs and every corner whose projection
// falls inside the other triangle. For crossing triangles the value is not
// their distance (0); the caller settles crossing first. Returns the squared
// distance; ca, cb receive the points.
double ClosestTriTriApart(const double* a, const double* b, double* ca, double* cb);

// The exact decision whether two closed triangles meet (nine doubles each):
// a quick exact plane-side rejection, then the library's exact test.
// Triangles with exactly collinear corners meet nothing.
bool TrianglesMeet(const double* a, const double* b);

}  // namespace detail
}  // namespace TesTriMesh

#endif
