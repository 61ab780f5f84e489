#ifndef KRTES_KROCTATREEEX_H
#define KRTES_KROCTATREEEX_H

#include <cstddef>
#include <set>
#include <vector>

#include "KrTesGeometry/geom/GeoVector.h"
#include "KrTesGeometry/geom/KrPoint3d.h"
#include "KrTesGeometry/KrTesExport.h"

// Loose octree of untyped item pointers filed under axis-aligned boxes.
//
// A box is always six doubles: min x, min y, min z, max x, max y, max z.
// Containment is closed (a box lying on a face of another is inside it) and
// two boxes overlap unless one's max is below the other's min on some axis,
// so touching boxes overlap.
//
// Every item is filed at exactly one node: the deepest one reached by walking
// down through the first child (0..7) whose box contains the item's box. The
// children are "loose": each spans (1 + looseness) / 2 of its parent on every
// axis, so neighbouring children overlap and a small item straddling a split
// plane can still descend. The tree never owns its items.
namespace GeoTreeEx {

// One node. A node owns its eight children (allocated together as one block
// of eight) and its item list, never the items.
struct KRTES_API _sOctaNode {
    double m_dBox[6];               // the node's region
    std::vector<void*> m_vecItems;  // items filed here, in the order they were added
    _sOctaNode* m_pChild[8];        // all null (a leaf) or all set
    double m_dItemBox[6];           // grows to enclose every item filed here; empty at creation
    // Items filed at this node and below it. Eager splitting leaves most
    // nodes empty; queries skip subtrees that hold nothing.
    std::size_t m_nTreeItems;

    _sOctaNode();
    ~_sOctaNode();
    _sOctaNode(const _sOctaNode&) = delete;
    _sOctaNode& operator=(const _sOctaNode&) = delete;

    bool IsLeaf() const { return m_pChild[0] == nullptr; }
};

class KRTES_API CKrOctaTreeEx {
public:
    _sOctaNode* m_pRoot;  // null while the tree is empty
    int m_nMaxDepth;      // 10 after construction, -1 after Clear
    double m_dLooseness;  // 0.2 after construction and after Clear

    CKrOctaTreeEx();
    ~CKrOctaTreeEx();
    CKrOctaTreeEx(const CKrOctaTreeEx&) = delete;
    CKrOctaTreeEx& operator=(const CKrOctaTreeEx&) = delete;

    // Discards every node and creates the root over the given box widened by
    // looseness/2 of its extent on each side.
    void Init(double minX, double minY, double minZ, double maxX, double maxY, double maxZ, int maxDepth,
              double looseness);

    // Files the item under its box. Returns the node it was filed at, or null
    // (item not stored) when the root's box does not contain the item's box or
    // the tree has no root. Leaves on the way down are split eagerly.
    _sOctaNode* AddItem(void* item, double minX, double minY, double minZ, double maxX, double maxY,
                        double maxZ);

    // Removes the item, looked up under the box it was added with. True when
    // found. Empty nodes and item bounds are left as they are.
    bool RemoveItem(void* item, double minX, double minY, double minZ, double maxX, double maxY, double maxZ);

    // Appends every node that holds items and whose box overlaps the query
    // box, parents before children, children 0..7.
    void GetNodesInBox(double minX, double minY, double minZ, double maxX, double maxY, double maxZ,
                       std::vector<_sOctaNode*>& out) const;

    // GetNodesInBox over the whole height of the root: a plan query.
    void GetNodesInRect(double minX, double minY, double maxX, double maxY, std::vector<_sOctaNode*>& out) const;

    // Inserts the items of every node whose box the ray meets (the test is
    // CKrSpaceMath::Test_Intersect_Ray_And_BoxAABB on the node's box).
    void GetItemsAlongRay(const CKrPoint3d& origin, const KrTesGeo::CGeoVector& dir, std::set<void*>& out) const;

    // Inserts the items of the leaves whose boxes overlap the query box. Items
    // filed at inner nodes (those straddling their node's children) are not
    // reported, even when the query box covers them.
    void GetLeafItemsInBox(double minX, double minY, double minZ, double maxX, double maxY, double maxZ,
                           std::set<void*>& out) const;

    // Empties the item list of every node of this tree whose item bounds have
    // a positive extent on all three axes and overlap no item-holding node of
    // `other` (a node whose box and item bounds both overlap them). Destructive:
    // afterwards this tree indexes only the candidates near `other` and must
    // be rebuilt before it serves general queries again.
    void PruneAgainst(const CKrOctaTreeEx& other);

    // Appends the items of every node, parents before children, children 0..7.
    void GetAllItems(std::vector<void*>& out) const;

    // Deletes every node; max depth becomes -1, looseness 0.2.
    void Clear();
};

}  // namespace GeoTreeEx

#endif
