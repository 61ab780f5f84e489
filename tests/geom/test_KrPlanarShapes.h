#ifndef KRTES_TEST_KRPLANARSHAPES_H
#define KRTES_TEST_KRPLANARSHAPES_H

// Small builders shared by the plan-geometry and polyline tests.

#include <initializer_list>
#include <utility>
#include <vector>

#include "geom/KrPoint3d.h"
#include "geom/KrPolyLine.h"

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
