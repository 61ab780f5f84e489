#ifndef KRTES_KRBOX_H
#define KRTES_KRBOX_H

// Axis-aligned boxes as the library passes them around: double[6] holding
// min x, y, z, then max x, y, z. Also the finiteness test of a point. Shared
// inside the library (not part of its binary interface).

#include <algorithm>
#include <cfloat>
#include <cmath>

#include "KrTesGeometry/geom/KrPoint3d.h"

namespace KrTesGeo {
namespace detail {

// Every coordinate of p is finite.
inline bool IsFinite(const CKrPoint3d& p) { return std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z); }

// Every bound of the box is finite.
inline bool IsFiniteBox(const double* b)
{
    for (int i = 0; i < 6; ++i)
        if (!std::isfinite(b[i])) return false;
    return true;
}

// The empty box: anything added to it becomes its box.
inline void SetEmptyBox(double* b)
{
    b[0] = b[1] = b[2] = DBL_MAX;
    b[3] = b[4] = b[5] = -DBL_MAX;
}

// Widens b to hold the point (x, y, z); a NaN coordinate widens nothing.
inline void AddToBox(double* b, double x, double y, double z)
{
    const double c[3] = {x, y, z};
    for (int a = 0; a < 3; ++a) {
        if (c[a] < b[a]) b[a] = c[a];
        if (c[a] > b[a + 3]) b[a + 3] = c[a];
    }
}

// Widens b to hold the box o.
inline void MergeBox(double* b, const double* o)
{
    for (int k = 0; k < 3; ++k) {
        b[k] = std::min(b[k], o[k]);
        b[k + 3] = std::max(b[k + 3], o[k + 3]);
    }
}

// The box of three corners.
inline void CornerBox(const CKrPoint3d& a, const CKrPoint3d& b, const CKrPoint3d& c, double* box)
{
    box[0] = std::min({a.x, b.x, c.x});
    box[1] = std::min({a.y, b.y, c.y});
    box[2] = std::min({a.z, b.z, c.z});
    box[3] = std::max({a.x, b.x, c.x});
    box[4] = std::max({a.y, b.y, c.y});
    box[5] = std::max({a.z, b.z, c.z});
}

// Moves every side of the box out by `widen`.
inline void WidenBox(double* box, double widen)
{
    for (int i = 0; i < 3; ++i) {
        box[i] -= widen;
        box[i + 3] += widen;
    }
}

// Closed containment: a contains b.
inline bool BoxContains(const double* a, const double* b)
{
    return a[0] <= b[0] && a[1] <= b[1] && a[2] <= b[2] && b[3] <= a[3] && b[4] <= a[4] && b[5] <= a[5];
}

// Closed overlap: touching boxes overlap.
inline bool BoxOverlaps(const double* a, const double* b)
{
    return !(a[3] < b[0] || b[3] < a[0] || a[4] < b[1] || b[4] < a[1] || a[5] < b[2] || b[5] < a[2]);
}

// Euclidean gap between two boxes, 0 when they overlap.
inline double BoxGap(const double* a, const double* b)
{
    double s = 0.0;
    for (int i = 0; i < 3; ++i) {
        double g = 0.0;
        if (a[i] > b[i + 3])
            g = a[i] - b[i + 3];
        else if (b[i] > a[i + 3])
            g = b[i] - a[i + 3];
        s += g * g;
    }
    return std::sqrt(s);
}

// Squared distance from p to the box; 0 inside.
inline double PointBoxDist2(const CKrPoint3d& p, const double* box)
{
    const double c[3] = {p.x, p.y, p.z};
    double d2 = 0.0;
    for (int k = 0; k < 3; ++k) {
        const double d = c[k] < box[k] ? box[k] - c[k] : (c[k] > box[k + 3] ? c[k] - box[k + 3] : 0.0);
        d2 += d * d;
    }
    return d2;
}

}  // namespace detail
}  // namespace KrTesGeo

#endif
