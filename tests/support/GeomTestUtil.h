#ifndef KRTES_TEST_GEOMUTIL_H
#define KRTES_TEST_GEOMUTIL_H

// Small builders and comparisons shared by the geometry tests.

#include <gtest/gtest.h>

#include <initializer_list>
#include <utility>
#include <vector>

#include "KrTesGeometry/geom/KrPoint3d.h"
#include "KrTesGeometry/geom/KrPolyLine.h"

// p and q within tol of each other (0 asks for the very same coordinates).
inline ::testing::AssertionResult Near(const CKrPoint3d& p, const CKrPoint3d& q, double tol = 1e-9)
{
    if (p.Distance(q) <= tol) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "(" << p.x << ", " << p.y << ", " << p.z << ") vs (" << q.x << ", "
                                         << q.y << ", " << q.z << ")";
}

// Plan points (z = 0) from (x, y) pairs.
inline std::vector<CKrPoint3d> Ring(std::initializer_list<std::pair<double, double>> xy)
{
    std::vector<CKrPoint3d> v;
    for (const auto& p : xy) v.emplace_back(p.first, p.second, 0.0);
    return v;
}

inline CKrPolyLine Line(const std::vector<CKrPoint3d>& pts, bool closed = false)
{
    CKrPolyLine pl;
    for (const CKrPoint3d& p : pts) pl.AddVertex(p);
    pl.SetClosed(closed);
    return pl;
}

#endif
