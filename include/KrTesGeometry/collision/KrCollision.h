#ifndef KRTES_KRCOLLISION_H
#define KRTES_KRCOLLISION_H

#include <cstddef>
#include <memory>
#include <set>

#include "KrTesGeometry/geom/KrPoint3d.h"
#include "KrTesGeometry/KrTesExport.h"
#include "KrTesGeometry/geom/KrTri3d.h"
#include "KrTesGeometry/mesh/octree/KrOctaTreeEx.h"

class CGeDataTriMesh;

namespace TesTriMesh {

// Tells whether two interchange meshes touch and how close they come.
//
// Each check indexes both meshes in octrees, narrows the triangle pairs with
// them and measures the remaining pairs with
// CKrSpaceMath::Test_Dist_Tri_And_Tri_3D: 0 for triangles that meet,
// otherwise the distance between their centroids. The object keeps the
// smallest distance measured and the pair that gave it.
//
// Results accumulate over the life of the object: a later check replaces the
// closest distance only with a smaller one, and the collision flag, once set,
// stays set. Use a fresh object for independent answers.
//
// The two trees of the last check are shared by copies made by assignment
// and freed with their last holder; a new check releases them.
class KRTES_API CCollision {
public:
    using CKrOctaTreeEx = GeoTreeEx::CKrOctaTreeEx;

    CCollision();
    ~CCollision();
    CCollision(const CCollision& other);
    CCollision& operator=(const CCollision& other);

    // True once any check has found two triangles within 1e-6 of each other.
    bool IsColl() const { return m_bColl; }
    // The smallest distance measured so far; the largest double before any.
    double DistClose() const { return m_dDistClose; }
    // The pair that gave DistClose: a triangle of the first mesh and one of
    // the second (all corners at the origin before any pair was found).
    void GetClosePair(CKrTri3d& triA, CKrTri3d& triB) const;

    // False when either mesh has no points or no usable triangle (one whose
    // three indices name points), a coordinate is infinite, or no pair was
    // measured closer than the distance already held. True when this check
    // found a new closest pair. Stops at the first pair in contact.
    bool CollisionCheck(const CGeDataTriMesh& meshA, const CGeDataTriMesh& meshB);

    // How many triangles GetNearTri returns at most.
    static constexpr std::size_t kNearTriCount = 32;

private:
    friend class CCollisionTestAccess;  // test hook: defined only by the unit tests

    // The box of the mesh's points; false when it has none.
    bool GetTrisRange(double& minX, double& minY, double& minZ, double& maxX, double& maxY, double& maxZ,
                      const CGeDataTriMesh& mesh) const;
    // A new tree (depth 8, looseness 0.2) over the triangles' records, each
    // under the box of its corners; the caller owns it. Null when the mesh
    // has no points, a coordinate is infinite, or no triangle can be filed.
    CKrOctaTreeEx* CreateTree(const CGeDataTriMesh& mesh);
    // True when the root boxes overlap (touching counts).
    bool IsCollTree(const CKrOctaTreeEx*& treeA, const CKrOctaTreeEx*& treeB) const;
    // Triangles filed in the leaves of X whose boxes overlap Y's root box.
    std::set<void*> GetCollRegionTri(const CKrOctaTreeEx*& treeX, const CKrOctaTreeEx*& treeY);
    // At most kNearTriCount triangles of X, taken from the pairs (X, Y) with
    // the closest centroids, nearest first; never empty while X holds a
    // triangle. Both directions follow one pair order, so the closest pair
    // is in both sets.
    std::set<void*> GetNearTri(const CKrOctaTreeEx*& treeX, const CKrOctaTreeEx*& treeY);
    // Measures the pairs of trisA x trisB in set order, keeping the smallest
    // distance; stops at the first pair in contact. True when a pair closer
    // than the distance already held was found.
    bool CollisionCheck_Tri(const CGeDataTriMesh& meshA, const CGeDataTriMesh& meshB, const std::set<void*>& trisA,
                            const std::set<void*>& trisB);

    // The side-th members (0: of treeA, 1: of treeB) of the pairs of
    // triangles in the order of their centroid distance, until k distinct
    // ones are found. Degenerate triangles are left out.
    static std::set<void*> NearPairMembers(const CKrOctaTreeEx& treeA, const CGeDataTriMesh& meshA,
                                           const CKrOctaTreeEx& treeB, const CGeDataTriMesh& meshB, int side,
                                           std::size_t k);

    std::shared_ptr<CKrOctaTreeEx> m_pTreeA;  // index of the first mesh of the last check
    std::shared_ptr<CKrOctaTreeEx> m_pTreeB;  // index of the second mesh
    bool m_bColl;
    double m_dDistClose;
    CKrPoint3d m_ptClose[6];  // closest triangle of the first mesh, then of the second
    // The meshes of the check in progress (null between checks): the trees
    // hold only record pointers, and GetNearTri needs their corners.
    const CGeDataTriMesh* m_pMeshA;
    const CGeDataTriMesh* m_pMeshB;
};

}  // namespace TesTriMesh

#endif
