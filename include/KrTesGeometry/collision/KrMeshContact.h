#ifndef KRTES_KRMESHCONTACT_H
#define KRTES_KRMESHCONTACT_H

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "KrTesGeometry/KrTesExport.h"
#include "KrTesGeometry/geom/KrPoint3d.h"
#include "KrTesGeometry/geom/sTriID.h"

class CGeDataTriMesh;

namespace TesTriMesh {

class CKrMeshData;

// A placement of the second mesh of a query in the frame of the first:
// p' = R p + t, R row-major. Meant for rigid motions; any affine map is
// applied as given (the bounds stay conservative for it too).
struct KRTES_API KrRigidTransform {
    double R[3][3] = {{1.0, 0.0, 0.0}, {0.0, 1.0, 0.0}, {0.0, 0.0, 1.0}};
    double t[3] = {0.0, 0.0, 0.0};

    static KrRigidTransform Identity() { return KrRigidTransform(); }
    static KrRigidTransform Translation(double dx, double dy, double dz);
    // A turn by `angle` radians about the unit axis (ax, ay, az) through the
    // origin, followed by the shift (dx, dy, dz).
    static KrRigidTransform AxisAngle(double ax, double ay, double az, double angle, double dx, double dy,
                                      double dz);
    // This placement after `first`: p -> this(first(p)).
    KrRigidTransform After(const KrRigidTransform& first) const;
    // True when R is exactly the identity and t exactly zero.
    bool IsIdentity() const;
    CKrPoint3d Apply(const CKrPoint3d& p) const;
};

// A triangle of the first mesh and one of the second, by their indices.
struct CKrContactPair {
    int32_t triA = -1;
    int32_t triB = -1;
};

// The answer of CKrMeshContact::Distance.
struct CKrMeshDistance {
    // The smallest distance between the two surfaces; +infinity when either
    // mesh has no triangle. 0 exactly when `contact`.
    double distance = std::numeric_limits<double>::infinity();
    int32_t triA = -1;  // the pair that gives it
    int32_t triB = -1;
    CKrPoint3d ptA;     // closest point on triA
    CKrPoint3d ptB;     // closest point on triB, placed (in the first mesh's frame)
    bool contact = false;  // the exact test found triA and triB meeting
    bool stoppedEarly = false;  // a pair closer than the stop distance ended the search
};

// Exact contact and true distance between triangle meshes.
//
// Build indexes every triangle of one mesh in a bounding volume hierarchy
// (axis-aligned boxes, a binary tree with at most four triangles a leaf), once;
// the object then answers any number of queries against other built objects,
// each optionally placed by a transform applied on the fly (the hierarchies
// are never rebuilt for a new placement).
//
// Contact means the two surfaces touch or cross: some triangle of one meets
// some triangle of the other, closed triangles, touching at a single point
// included. The decision is exact on the double coordinates the triangles
// have in the first mesh's frame (for a placed second mesh: its corners after
// the transform, rounded to doubles): every pair is settled with exact
// orientation predicates, never with a tolerance. Meshes need not be closed
// (a terrain against a solid works the same). A solid strictly inside another
// without touching surfaces is NOT contact; Containment answers that question
// separately for closed meshes.
//
// Triangles whose corners are exactly collinear never count as meeting
// anything; in a connected mesh their neighbours along the shared edges do.
// They still take part in the distance through their edges.
//
// Triangles are numbered as given (for a CKrMeshData, see Build). Queries are
// const and may run concurrently on shared objects.
class KRTES_API CKrMeshContact {
public:
    CKrMeshContact();
    ~CKrMeshContact();
    CKrMeshContact(CKrMeshContact&&) noexcept;
    CKrMeshContact& operator=(CKrMeshContact&&) noexcept;
    CKrMeshContact(const CKrMeshContact&) = delete;
    CKrMeshContact& operator=(const CKrMeshContact&) = delete;

    // Builds the hierarchy over the triangles (index triples into pts), in
    // their order: triangle i of the result is tris[i]. False, with Error()
    // naming the fault and the object left empty, when a triple names a
    // missing point or a coordinate is not finite. An empty mesh builds (and
    // meets nothing).
    bool Build(const std::vector<CKrPoint3d>& pts, const std::vector<KrTesGeo::_sTri_ID>& tris);
    // The interchange mesh: triangle i is mesh.GetTri(i). A null record is a
    // fault.
    bool Build(const CGeDataTriMesh& mesh);
    // The topological mesh, without touching it: its vertices numbered in its
    // tolerant vertex order (the order of OutputData's points), its
    // triangles ordered by their corners' numbers (first corner, then second,
    // then third), so that the numbering does not depend on memory addresses.
    bool Build(const CKrMeshData& mesh);

    // Why the last Build failed; empty after a success.
    const std::string& Error() const;
    std::size_t TriCount() const;
    std::size_t PointCount() const;
    // Every edge (pair of point indices) is shared by exactly two triangles.
    // Points repeated under different indices leave a mesh open here.
    bool IsClosed() const;
    // The corners of triangle i as built; false when i is out of range.
    bool GetTriangle(int32_t i, CKrPoint3d& a, CKrPoint3d& b, CKrPoint3d& c) const;

    // True when this mesh and `other` (placed by xfOther) touch or cross.
    // `first` receives the smallest meeting pair in the order (triA, triB),
    // so the answer does not depend on how the search went.
    bool Intersects(const CKrMeshContact& other, CKrContactPair* first = nullptr) const;
    bool Intersects(const CKrMeshContact& other, const KrRigidTransform& xfOther,
                    CKrContactPair* first = nullptr) const;
    // Every meeting pair, sorted by (triA, triB), at most maxPairs of them (the
    // smallest ones). Returns how many.
    std::size_t ContactPairs(const CKrMeshContact& other, const KrRigidTransform& xfOther,
                             std::vector<CKrContactPair>& pairs, std::size_t maxPairs = SIZE_MAX) const;

    // The true minimum distance between the two surfaces, with the pair and
    // the two closest points (computed in double precision; the distance is
    // exactly 0 for meeting surfaces, decided exactly). With stopBelow > 0
    // the search ends at the first pair closer than stopBelow (stoppedEarly),
    // whose distance is then an upper bound below stopBelow rather than the
    // minimum. Of several pairs at the same distance the one found first is
    // reported; the search order is fixed by the two meshes alone.
    CKrMeshDistance Distance(const CKrMeshContact& other, double stopBelow = 0.0) const;
    CKrMeshDistance Distance(const CKrMeshContact& other, const KrRigidTransform& xfOther,
                             double stopBelow = 0.0) const;

    // The generalized winding number of the surface around p (sum of the
    // triangles' signed solid angles over 4 pi): about +1 inside a closed
    // mesh wound counter-clockwise seen from outside, -1 for the opposite
    // winding, 0 outside. Meaningless for points on the surface.
    double WindingNumber(const CKrPoint3d& p) const;
    // p is strictly inside this closed mesh (|winding number| > 1/2); false
    // for an open mesh.
    bool Contains(const CKrPoint3d& p) const;
    // For surfaces that do not meet: 1 when `other` (placed) lies inside this
    // closed mesh, -1 when this mesh lies inside the closed `other`, 0 when
    // neither (or the surfaces meet, or a mesh is empty). Costs one
    // Intersects plus a winding number over each closed mesh.
    int Containment(const CKrMeshContact& other, const KrRigidTransform& xfOther) const;

    class Impl;

private:
    std::unique_ptr<Impl> m_impl;
};

}  // namespace TesTriMesh

#endif
