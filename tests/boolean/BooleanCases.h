#ifndef KRTES_TESTS_BOOLEAN_BOOLEANCASES_H
#define KRTES_TESTS_BOOLEAN_BOOLEANCASES_H

// What the solid boolean tests share: the four operations by number, a cut
// engine chosen for a scope, a bumpy test solid and the checks of all four
// results of a pair.

#include <cmath>
#include <string>

#include "KrTesGeometry/boolean/KrMeshBoolean.h"
#include "KrTesGeometry/boolean/KrSolidBoolean.h"
#include "support/KrTestMeshes.h"

namespace booltest {

using namespace TesTriMesh;
using testmesh::Solid;

// Union, intersection, A - B, B - A by number.
inline bool Compose(CKrSolidBoolean& sol, int op, CKrMeshData& r)
{
    return op == 0   ? sol.Union_A_And_B(r)
           : op == 1 ? sol.Intersect_A_And_B(r)
           : op == 2 ? sol.Diference_A_And_B(r)
                     : sol.Diference_B_And_A(r);
}

// Selects a cut engine for its lifetime.
struct EngineScope {
    const CKrMeshBoolean::CutEngine saved = CKrMeshBoolean::GetCutEngine();
    explicit EngineScope(CKrMeshBoolean::CutEngine e) { CKrMeshBoolean::SetCutEngine(e); }
    ~EngineScope() { CKrMeshBoolean::SetCutEngine(saved); }
};

// A closed surface with bumps (radius 10 +- 1.5), turned about the vertical
// axis: against a copy turned a little the two surfaces cross along a net of
// shallow lines, where many intersection points fall within the merge
// tolerance of each other and of vertices.
inline Solid Bumpy(double turnDegrees, int levels)
{
    Solid s = testmesh::Sphere({0, 0, 0}, 10.0, levels);
    for (CKrPoint3d& p : s.pts) {
        const double th = std::acos(p.z / 10.0), ph = std::atan2(p.y, p.x);
        p = p * ((10.0 + 1.5 * std::sin(3 * th) * std::cos(4 * ph)) / 10.0);
    }
    return testmesh::Rotated(s, {0, 0, 0}, 0, 0, 1, turnDegrees * M_PI / 180.0);
}

struct Result {
    std::string fault;  // empty when every check passed
    double vol[4] = {0, 0, 0, 0};  // union, intersection, A - B, B - A
};

// Runs the four operations, B - A and A - B first so that a list one of
// them leaves flipped shows in those after it: each result must be closed,
// consistently oriented and (when selfHits) free of self-intersections, no
// triangle may stay unsorted, and the volumes must add up (to relTol of the
// larger input); `inter` (when not NaN) is the exact intersection volume,
// and an operation whose exact volume is zero must give nothing.
inline Result RunFour(const Solid& sa, const Solid& sb, double inter, double relTol, bool selfHits = true)
{
    Result out;
    CKrMeshData a(0.01), b(0.01);
    testmesh::Load(a, sa);
    testmesh::Load(b, sb);
    CKrSolidBoolean sol(a, b);
    if (!sol.IsClassified() || !sol.AFifth().empty() || !sol.BFifth().empty()) out.fault += "not classified; ";
    const double va = testmesh::Volume(sa), vb = testmesh::Volume(sb);
    const double want[4] = {va + vb - inter, inter, va - inter, vb - inter};
    for (int op : {3, 2, 0, 1}) {
        CKrMeshData r(0.01);
        Compose(sol, op, r);
        testmesh::Pts pts;
        testmesh::Ids ids;
        r.OutputData(pts, ids);
        const std::string o = "op " + std::to_string(op);
        if (!CheckClosedSolid(ids).IsSolid()) out.fault += o + " not closed/oriented; ";
        if (selfHits && testmesh::SelfIntersections(pts, ids) != 0) out.fault += o + " self-intersects; ";
        if (!std::isnan(inter) && ids.empty() != (std::fabs(want[op]) <= relTol * std::max(va, vb)))
            out.fault += o + " empty or not; ";
        out.vol[op] = testmesh::Volume(pts, ids);
    }
    auto off = [&](double x, double y) { return std::fabs(x - y) > relTol * std::max(va, vb); };
    if (off(va + vb, out.vol[0] + out.vol[1])) out.fault += "vol(A)+vol(B) != vol(AuB)+vol(AnB); ";
    if (off(out.vol[2], va - out.vol[1])) out.fault += "vol(A-B) != vol(A)-vol(AnB); ";
    if (off(out.vol[3], vb - out.vol[1])) out.fault += "vol(B-A) != vol(B)-vol(AnB); ";
    if (!std::isnan(inter) && off(out.vol[1], inter))
        out.fault += "vol(AnB) " + std::to_string(out.vol[1]) + " != " + std::to_string(inter) + "; ";
    return out;
}

}  // namespace booltest

#endif
