#include "KrTesGeometry/mesh/octree/KrOctaTreeEx.h"

#include <algorithm>
#include <cfloat>

#include "KrTesGeometry/geom/KrSpaceMath.h"
#include "geom/KrBox.h"

namespace GeoTreeEx {

namespace {

using KrTesGeo::detail::BoxContains;
using KrTesGeo::detail::BoxOverlaps;
using KrTesGeo::detail::SetEmptyBox;

// Creates the eight loose children of a leaf in the fixed order: the upper
// layer (z near max) first, then the lower one; within a layer the corners go
// (x0,y0), (x0,y1), (x1,y1), (x1,y0).
void Split(_sOctaNode* node, double looseness)
{
    const double* b = node->m_dBox;
    const double w = (b[3] - b[0]) * (1.0 + looseness) / 2.0;
    const double h = (b[4] - b[1]) * (1.0 + looseness) / 2.0;
    const double d = (b[5] - b[2]) * (1.0 + looseness) / 2.0;
    const double xLo[2] = {b[0], b[3] - w};  // [0]: anchored at x0, [1]: anchored at x1
    const double yLo[2] = {b[1], b[4] - h};
    const double zLo[2] = {b[5] - d, b[2]};  // [0]: upper layer, [1]: lower layer
    static const int kX[4] = {0, 0, 1, 1};
    static const int kY[4] = {0, 1, 1, 0};

    _sOctaNode* block = new _sOctaNode[8];
    for (int i = 0; i < 8; ++i) {
        const int layer = i / 4;
        const int c = i % 4;
        double* cb = block[i].m_dBox;
        cb[0] = xLo[kX[c]];
        cb[3] = kX[c] ? b[3] : b[0] + w;
        cb[1] = yLo[kY[c]];
        cb[4] = kY[c] ? b[4] : b[1] + h;
        cb[2] = zLo[layer];
        cb[5] = layer == 0 ? b[5] : b[2] + d;
        node->m_pChild[i] = &block[i];
    }
}

// The first child, in the order 0..7, whose box contains the box; null for
// none. This is the one path an item goes down, and is looked up again by.
_sOctaNode* FirstChildContaining(_sOctaNode* node, const double* box)
{
    for (_sOctaNode* c : node->m_pChild)
        if (BoxContains(c->m_dBox, box)) return c;
    return nullptr;
}

void CollectNodesInBox(_sOctaNode* node, const double* q, std::vector<_sOctaNode*>& out)
{
    if (node->m_nTreeItems == 0 || !BoxOverlaps(node->m_dBox, q)) return;
    if (!node->m_vecItems.empty()) out.push_back(node);
    if (node->IsLeaf()) return;
    for (_sOctaNode* c : node->m_pChild) CollectNodesInBox(c, q, out);
}

void CollectAlongRay(const _sOctaNode* node, const CKrPoint3d& origin, const KrTesGeo::CGeoVector& dir,
                     std::set<void*>& out)
{
    if (node->m_nTreeItems == 0) return;
    const double* b = node->m_dBox;
    if (!CKrSpaceMath::Test_Intersect_Ray_And_BoxAABB(origin, dir, CKrPoint3d(b[0], b[1], b[2]),
                                                      CKrPoint3d(b[3], b[4], b[5])))
        return;
    out.insert(node->m_vecItems.begin(), node->m_vecItems.end());
    if (node->IsLeaf()) return;
    for (const _sOctaNode* c : node->m_pChild) CollectAlongRay(c, origin, dir, out);
}

void CollectLeafItems(const _sOctaNode* node, const double* q, std::set<void*>& out)
{
    if (node->m_nTreeItems == 0) return;
    if (node->IsLeaf()) {
        out.insert(node->m_vecItems.begin(), node->m_vecItems.end());
        return;
    }
    for (const _sOctaNode* c : node->m_pChild)
        if (BoxOverlaps(c->m_dBox, q)) CollectLeafItems(c, q, out);
}

// True when the subtree holds a node with items whose box and item bounds
// both overlap `bounds`; only nodes whose box overlaps are descended.
bool HasNearNode(const _sOctaNode* node, const double* bounds)
{
    if (node->m_nTreeItems == 0 || !BoxOverlaps(node->m_dBox, bounds)) return false;
    if (!node->m_vecItems.empty() && BoxOverlaps(node->m_dItemBox, bounds)) return true;
    if (node->IsLeaf()) return false;
    for (const _sOctaNode* c : node->m_pChild)
        if (HasNearNode(c, bounds)) return true;
    return false;
}

void Prune(_sOctaNode* node, const _sOctaNode* otherRoot)
{
    const double* ib = node->m_dItemBox;
    if (ib[3] > ib[0] && ib[4] > ib[1] && ib[5] > ib[2]) {
        if (!otherRoot || !HasNearNode(otherRoot, ib)) node->m_vecItems.clear();
    }
    node->m_nTreeItems = node->m_vecItems.size();
    if (node->IsLeaf()) return;
    for (_sOctaNode* c : node->m_pChild) {
        Prune(c, otherRoot);
        node->m_nTreeItems += c->m_nTreeItems;
    }
}

void CollectAll(const _sOctaNode* node, std::vector<void*>& out)
{
    if (node->m_nTreeItems == 0) return;
    out.insert(out.end(), node->m_vecItems.begin(), node->m_vecItems.end());
    if (node->IsLeaf()) return;
    for (const _sOctaNode* c : node->m_pChild) CollectAll(c, out);
}

}  // namespace

_sOctaNode::_sOctaNode() : m_dBox{0, 0, 0, 0, 0, 0}, m_pChild{}, m_nTreeItems(0)
{
    SetEmptyBox(m_dItemBox);
}

_sOctaNode::~_sOctaNode()
{
    // The eight children were allocated as one block whose first element is
    // child 0; the block's other nodes are freed with it.
    delete[] m_pChild[0];
}

CKrOctaTreeEx::CKrOctaTreeEx() : m_pRoot(nullptr), m_nMaxDepth(10), m_dLooseness(0.2) {}

CKrOctaTreeEx::~CKrOctaTreeEx()
{
    Clear();
}

void CKrOctaTreeEx::Init(double minX, double minY, double minZ, double maxX, double maxY, double maxZ,
                         int maxDepth, double looseness)
{
    m_nMaxDepth = maxDepth;
    m_dLooseness = looseness;
    const double dx = (maxX - minX) * looseness * 0.5;
    const double dy = (maxY - minY) * looseness * 0.5;
    const double dz = (maxZ - minZ) * looseness * 0.5;
    delete m_pRoot;
    m_pRoot = nullptr;
    m_pRoot = new _sOctaNode;
    double* b = m_pRoot->m_dBox;
    b[0] = minX - dx;
    b[1] = minY - dy;
    b[2] = minZ - dz;
    b[3] = maxX + dx;
    b[4] = maxY + dy;
    b[5] = maxZ + dz;
}

_sOctaNode* CKrOctaTreeEx::AddItem(void* item, double minX, double minY, double minZ, double maxX, double maxY,
                                   double maxZ)
{
    const double box[6] = {minX, minY, minZ, maxX, maxY, maxZ};
    if (!m_pRoot || !BoxContains(m_pRoot->m_dBox, box)) return nullptr;
    _sOctaNode* node = m_pRoot;
    ++node->m_nTreeItems;
    for (int level = 0; level < m_nMaxDepth; ++level) {
        if (node->IsLeaf()) Split(node, m_dLooseness);
        _sOctaNode* next = FirstChildContaining(node, box);
        if (!next) break;
        node = next;
        ++node->m_nTreeItems;
    }
    node->m_vecItems.push_back(item);
    KrTesGeo::detail::MergeBox(node->m_dItemBox, box);
    return node;
}

bool CKrOctaTreeEx::RemoveItem(void* item, double minX, double minY, double minZ, double maxX, double maxY,
                               double maxZ)
{
    const double box[6] = {minX, minY, minZ, maxX, maxY, maxZ};
    if (!m_pRoot || !BoxContains(m_pRoot->m_dBox, box)) return false;
    _sOctaNode* node = m_pRoot;
    std::vector<_sOctaNode*> path{node};
    while (!node->IsLeaf()) {
        _sOctaNode* next = FirstChildContaining(node, box);
        if (!next) break;
        node = next;
        path.push_back(node);
    }
    std::vector<void*>& items = node->m_vecItems;
    for (size_t i = items.size(); i-- > 0;) {
        if (items[i] == item) {
            items.erase(items.begin() + static_cast<std::ptrdiff_t>(i));
            for (_sOctaNode* n : path) --n->m_nTreeItems;
            return true;
        }
    }
    return false;
}

void CKrOctaTreeEx::GetNodesInBox(double minX, double minY, double minZ, double maxX, double maxY, double maxZ,
                                  std::vector<_sOctaNode*>& out) const
{
    if (!m_pRoot) return;
    const double q[6] = {minX, minY, minZ, maxX, maxY, maxZ};
    CollectNodesInBox(m_pRoot, q, out);
}

void CKrOctaTreeEx::GetNodesInRect(double minX, double minY, double maxX, double maxY,
                                   std::vector<_sOctaNode*>& out) const
{
    if (!m_pRoot) return;
    GetNodesInBox(minX, minY, m_pRoot->m_dBox[2], maxX, maxY, m_pRoot->m_dBox[5], out);
}

void CKrOctaTreeEx::GetItemsAlongRay(const CKrPoint3d& origin, const KrTesGeo::CGeoVector& dir,
                                     std::set<void*>& out) const
{
    if (m_pRoot) CollectAlongRay(m_pRoot, origin, dir, out);
}

void CKrOctaTreeEx::GetLeafItemsInBox(double minX, double minY, double minZ, double maxX, double maxY,
                                      double maxZ, std::set<void*>& out) const
{
    if (!m_pRoot) return;
    const double q[6] = {minX, minY, minZ, maxX, maxY, maxZ};
    CollectLeafItems(m_pRoot, q, out);
}

void CKrOctaTreeEx::PruneAgainst(const CKrOctaTreeEx& other)
{
    if (m_pRoot) Prune(m_pRoot, other.m_pRoot);
}

void CKrOctaTreeEx::GetAllItems(std::vector<void*>& out) const
{
    if (m_pRoot) CollectAll(m_pRoot, out);
}

void CKrOctaTreeEx::Clear()
{
    delete m_pRoot;
    m_pRoot = nullptr;
    m_nMaxDepth = -1;
    m_dLooseness = 0.2;
}

}  // namespace GeoTreeEx
