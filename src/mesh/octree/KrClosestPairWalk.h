#ifndef KRTES_KRCLOSESTPAIRWALK_H
#define KRTES_KRCLOSESTPAIRWALK_H

// The best-first walk over the pairs of triangles of two octrees, and the
// helpers that read an octree item as a triangle of its interchange mesh.
// Shared inside the library (not part of its binary interface).

#include <cstddef>
#include <cstdint>
#include <queue>
#include <vector>

#include "KrTesGeometry/geom/KrPoint3d.h"
#include "KrTesGeometry/mesh/octree/KrOctaTreeEx.h"

class CGeDataTriMesh;

namespace TesTriMesh {
namespace detail {

// The corners of an item (a triangle record of mesh); false when an index
// names no point.
bool ItemCorners(const CGeDataTriMesh& mesh, const void* item, CKrPoint3d p[3]);

// The centroid as the collision measure computes it.
inline CKrPoint3d TriCentroid(const CKrPoint3d p[3]) { return (p[0] + p[1] + p[2]) / 3.0; }

// The corners are exactly collinear: every projection onto a coordinate
// plane is (the cross product vanishes), which is what makes the
// triangle-triangle test refuse a triangle.
bool IsDegenerateTri(const CKrPoint3d p[3]);

// The box of the mesh's points, from the empty box; false when it has none.
// A NaN coordinate widens nothing.
bool MeshPointBox(const CGeDataTriMesh& mesh, double r[6]);

// Best-first walk over pairs of pieces of two trees, yielding triangle pairs
// as the collision pair loop measures them: pairs that meet first, then by
// centroid distance. A piece's box bounds the triangles in it and their
// centroids, so the gap between two boxes bounds every measure of the pairs
// inside. Ties are broken by the order in which pieces were found, which
// makes the walk deterministic.
class CKrClosestPairWalk {
public:
    CKrClosestPairWalk(const GeoTreeEx::CKrOctaTreeEx& a, const CGeDataTriMesh& ma, const GeoTreeEx::CKrOctaTreeEx& b,
                       const CGeDataTriMesh& mb);

    // The next pair of items, or false when none is left or the work budget
    // is spent (the rest of the queue can still be drained with PopAny).
    bool Next(void*& itemA, void*& itemB);

    // Pops the nearest remaining entry and appends the side's items in it;
    // false when the queue is empty.
    bool PopAny(int side, std::vector<void*>& items);

private:
    static constexpr std::size_t kMaxPops = 200000;
    static constexpr std::size_t kMaxQueue = 500000;

    // A piece of one tree: a whole subtree, the items filed at one node, or
    // one item of such a node.
    struct Piece {
        enum Kind : uint8_t { kSubtree, kGroup, kItem };
        const GeoTreeEx::_sOctaNode* node;
        uint32_t item;  // index into node->m_vecItems for kItem
        Kind kind;
    };
    struct PairEntry {
        double key;  // lower bound of the measure of every triangle pair inside
        uint64_t seq;
        Piece piece[2];
    };
    struct EntryAfter {
        bool operator()(const PairEntry& a, const PairEntry& b) const
        {
            // Equal keys: the latest first, so that a run of overlapping
            // pieces (all at gap 0) is followed down to its triangles at once.
            return a.key > b.key || (a.key == b.key && a.seq < b.seq);
        }
    };

    void* ItemOf(const Piece& p) const { return p.node->m_vecItems[p.item]; }
    // Extent used to choose the piece to split: the larger one is split.
    double Size(const Piece& p, int side) const;
    void BoxOf(const Piece& p, int side, double box[6]) const;
    void Push(const Piece& a, const Piece& b);
    // Subtree: its own items (as one group) and its non-empty children.
    // Group: its items, without the degenerate triangles.
    void Split(const Piece& p, int side, std::vector<Piece>& out) const;
    static void AllItems(const Piece& p, std::vector<void*>& out);
    static void SubtreeItems(const GeoTreeEx::_sOctaNode* n, std::vector<void*>& out);

    const CGeDataTriMesh* m_mesh[2];
    double m_extent[2][6];  // box of each mesh's points
    std::priority_queue<PairEntry, std::vector<PairEntry>, EntryAfter> m_queue;
    std::vector<Piece> m_parts;
    uint64_t m_seq = 0;
    std::size_t m_pops = 0;
};

}  // namespace detail
}  // namespace TesTriMesh

#endif
