#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <set>
#include <vector>

#include "KrTesGeometry/mesh/octree/KrOctaTreeEx.h"

using GeoTreeEx::_sOctaNode;
using GeoTreeEx::CKrOctaTreeEx;

namespace {

// Node n's box lies within node outer's.
bool Within(const _sOctaNode* n, const _sOctaNode* outer)
{
    for (int k = 0; k < 3; ++k)
        if (n->m_dBox[k] < outer->m_dBox[k] || n->m_dBox[k + 3] > outer->m_dBox[k + 3]) return false;
    return true;
}

void ExpectBox(const double* b, const std::array<double, 6>& want)
{
    for (int k = 0; k < 6; ++k) EXPECT_DOUBLE_EQ(b[k], want[k]) << k;
}

int g_items[64];  // addresses used as items

std::vector<void*> All(const CKrOctaTreeEx& t)
{
    std::vector<void*> all;
    t.GetAllItems(all);
    return all;
}

// The nodes a box query returns.
std::vector<_sOctaNode*> InBox(const CKrOctaTreeEx& t, double x0, double y0, double z0, double x1, double y1, double z1)
{
    std::vector<_sOctaNode*> nodes;
    t.GetNodesInBox(x0, y0, z0, x1, y1, z1, nodes);
    return nodes;
}

bool Has(const std::vector<_sOctaNode*>& nodes, const _sOctaNode* n)
{
    return std::find(nodes.begin(), nodes.end(), n) != nodes.end();
}

// Every node's item count is that of its subtree, counted the slow way; returns the root's.
std::size_t CheckCounts(const _sOctaNode* n)
{
    std::size_t c = n->m_vecItems.size();
    if (!n->IsLeaf())
        for (const _sOctaNode* k : n->m_pChild) c += CheckCounts(k);
    EXPECT_EQ(n->m_nTreeItems, c);
    return c;
}

}  // namespace

TEST(Octree, ItemsGoDownTheFirstLooseChildThatHoldsThem)
{
    CKrOctaTreeEx tree;
    tree.Init(0, 0, 0, 10, 20, 40, 8, 0.2);
    ExpectBox(tree.m_pRoot->m_dBox, {-1, -2, -4, 11, 22, 44});
    // An item straddling everything stays at the root, but the root is split on the way.
    ASSERT_TRUE(tree.AddItem(&g_items[0], 0, 0, 0, 10, 20, 40) == tree.m_pRoot && !tree.m_pRoot->IsLeaf());
    ExpectBox(tree.m_pRoot->m_dItemBox, {0, 0, 0, 10, 20, 40});
    // Child extents are 60% of the parent (7.2 x 14.4 x 28.8), anchored at
    // the corners: the upper layer first, each layer going (x0, y0), (x0, y1),
    // (x1, y1), (x1, y0).
    ExpectBox(tree.m_pRoot->m_pChild[1]->m_dBox, {-1, 22 - 14.4, 44 - 28.8, -1 + 7.2, 22, 44});
    ExpectBox(tree.m_pRoot->m_pChild[7]->m_dBox, {11 - 7.2, -2, -4, 11, -2 + 14.4, -4 + 28.8});

    tree.Init(0, 0, 0, 100, 100, 100, 8, 0.2);  // root -10 .. 110
    // Containment is closed: exactly the root box is stored (at the root);
    // lying on its min faces descends; poking out by a hair is not stored.
    EXPECT_EQ(tree.AddItem(&g_items[0], -10, -10, -10, 110, 110, 110), tree.m_pRoot);
    _sOctaNode* n = tree.AddItem(&g_items[1], -10, -10, -10, -9, -9, -9);
    EXPECT_TRUE(n && n != tree.m_pRoot);
    EXPECT_EQ(tree.AddItem(&g_items[2], -10.0000001, 0, 0, 1, 1, 110.0000001), nullptr);
    // Child 0 spans x, y in [-10, 62] and z in [38, 110]: an item crossing
    // the root's middle by less than a tenth of the extent descends into it
    // as the first child that contains it; ending exactly on its max faces
    // is inside, and spanning its whole height stops there; crossing by more
    // stays at the root.
    _sOctaNode* c0 = tree.m_pRoot->m_pChild[0];
    n = tree.AddItem(&g_items[3], 45, 45, 45, 55, 55, 55);
    EXPECT_TRUE(n && n != tree.m_pRoot && Within(n, c0));
    EXPECT_EQ(tree.AddItem(&g_items[4], 40, 40, 38, 62, 62, 110), c0);
    EXPECT_EQ(tree.AddItem(&g_items[5], 30, 30, 30, 70, 70, 70), tree.m_pRoot);

    // Points descend to the depth limit, into a leaf of 0.6^8 of the root's
    // extent that keeps both, in order.
    n = tree.AddItem(&g_items[6], 37, 61, 5, 37, 61, 5);
    ASSERT_NE(n, nullptr);
    EXPECT_EQ(tree.AddItem(&g_items[7], 37, 61, 5, 37, 61, 5), n);
    EXPECT_TRUE(n->IsLeaf() && n->m_dBox[0] <= 37 && n->m_dBox[3] >= 37);
    EXPECT_EQ(n->m_vecItems, (std::vector<void*>{&g_items[6], &g_items[7]}));
    EXPECT_NEAR(n->m_dBox[3] - n->m_dBox[0], 120 * std::pow(0.6, 8), 1e-9);
}

TEST(Octree, BoxRectLeafAndRayQueries)
{
    CKrOctaTreeEx tree;
    tree.Init(0, 0, 0, 100, 100, 100, 8, 0.2);
    // Three points, each in a leaf at the depth limit, and one straddling item at the root.
    _sOctaNode* low = tree.AddItem(&g_items[0], 10.5, 10.5, 0, 10.5, 10.5, 0);
    _sOctaNode* high = tree.AddItem(&g_items[1], 10.5, 10.5, 100, 10.5, 10.5, 100);
    _sOctaNode* root = tree.AddItem(&g_items[2], 0, 0, 0, 100, 100, 100);
    tree.AddItem(&g_items[3], 50.5, 50.5, 50.5, 50.5, 50.5, 50.5);
    ASSERT_TRUE(low && high && root == tree.m_pRoot);

    // A plan rectangle finds items at any height, parents first.
    std::vector<_sOctaNode*> nodes;
    tree.GetNodesInRect(10.5, 10.5, 10.6, 10.6, nodes);
    ASSERT_EQ(nodes.size(), 3u);
    EXPECT_TRUE(nodes[0] == root && Has(nodes, low) && Has(nodes, high));
    // A spatial box near the bottom reaches the low item's node, not the high one's.
    nodes = InBox(tree, 10, 10, -1, 11, 11, 1);
    EXPECT_TRUE(Has(nodes, low) && !Has(nodes, high));
    // Touching counts as overlap, on either side; a hair short does not.
    const double* lb = low->m_dBox;
    EXPECT_TRUE(Has(InBox(tree, lb[0] - 5, lb[1], lb[2], lb[0], lb[4], lb[5]), low));
    EXPECT_TRUE(Has(InBox(tree, lb[3], lb[1], lb[2], lb[3] + 5, lb[4], lb[5]), low));
    nodes = InBox(tree, lb[0] - 5, lb[1], lb[2], lb[0] - 1e-9, lb[4], lb[5]);
    EXPECT_FALSE(Has(nodes, low));
    // Only nodes holding items are returned.
    for (_sOctaNode* n : InBox(tree, -1000, -1000, -1000, 1000, 1000, 1000)) EXPECT_FALSE(n->m_vecItems.empty());

    // Leaf queries skip the items filed at inner nodes (the straddling one).
    std::set<void*> leaf;
    tree.GetLeafItemsInBox(-1000, -1000, -1000, 1000, 1000, 1000, leaf);
    EXPECT_EQ(leaf, (std::set<void*>{&g_items[0], &g_items[1], &g_items[3]}));
    leaf.clear();
    tree.GetLeafItemsInBox(0, 0, 0, 30, 30, 30, leaf);
    EXPECT_EQ(leaf, (std::set<void*>{&g_items[0]}));

    // A ray collects the items of the nodes it meets: the diagonal passes the
    // root and the middle point, far from the high one; a ray pointing away meets nothing.
    auto along = [&tree](const CKrPoint3d& o, const KrTesGeo::CGeoVector& d) {
        std::set<void*> out;
        tree.GetItemsAlongRay(o, d, out);
        return out;
    };
    const std::set<void*> diag = along(CKrPoint3d(0, 0, 0), KrTesGeo::CGeoVector(1, 1, 1));
    EXPECT_TRUE(diag.count(&g_items[2]) && diag.count(&g_items[3]) && !diag.count(&g_items[1]));
    EXPECT_TRUE(along(CKrPoint3d(-50, -50, -50), KrTesGeo::CGeoVector(-1, 0, 0)).empty());
}

// Queries skip subtrees by their item counts, so the counts must follow every
// add, remove and prune exactly.
TEST(Octree, RemoveAndPruneKeepTheCounts)
{
    CKrOctaTreeEx tree;
    tree.Init(0, 0, 0, 10, 10, 10, 8, 0.2);
    _sOctaNode* n = tree.AddItem(&g_items[0], 5, 5, 5, 5, 5, 5);
    tree.AddItem(&g_items[1], 5, 5, 5, 5, 5, 5);
    tree.AddItem(&g_items[2], 5, 5, 5, 5, 5, 5);
    tree.AddItem(&g_items[3], 0, 0, 0, 10, 10, 10);
    // A pointer never added, a box outside the root, the right pointer under
    // the wrong box: false, nothing changes.
    EXPECT_FALSE(tree.RemoveItem(&g_items[9], 5, 5, 5, 5, 5, 5) ||
                 tree.RemoveItem(&g_items[0], 50, 50, 50, 51, 51, 51) ||
                 tree.RemoveItem(&g_items[3], 5, 5, 5, 5, 5, 5));
    EXPECT_TRUE(tree.RemoveItem(&g_items[1], 5, 5, 5, 5, 5, 5));
    EXPECT_EQ(n->m_vecItems, (std::vector<void*>{&g_items[0], &g_items[2]}));  // order of the others kept
    EXPECT_FALSE(tree.RemoveItem(&g_items[1], 5, 5, 5, 5, 5, 5));
    EXPECT_TRUE(tree.RemoveItem(&g_items[3], 0, 0, 0, 10, 10, 10));
    EXPECT_EQ(All(tree), (std::vector<void*>{&g_items[0], &g_items[2]}));
    EXPECT_EQ(CheckCounts(tree.m_pRoot), 2u);

    // Pruning empties the nodes whose item bounds come near nothing of the
    // other tree, except those flat in some axis.
    CKrOctaTreeEx a, b;
    a.Init(0, 0, 0, 100, 100, 100, 8, 0.2);
    b.Init(0, 0, 0, 100, 100, 100, 8, 0.2);
    a.AddItem(&g_items[0], 10, 10, 10, 12, 12, 12);  // near b's item
    a.AddItem(&g_items[1], 80, 80, 80, 82, 82, 82);  // far from b
    a.AddItem(&g_items[2], 80, 10, 50, 82, 12, 50);  // far, but flat in z
    b.AddItem(&g_items[10], 11, 11, 11, 13, 13, 13);
    a.PruneAgainst(b);
    // Child order: the flat item sits under child 3 (upper layer), the near
    // one under child 4 (lower layer).
    EXPECT_EQ(All(a), (std::vector<void*>{&g_items[2], &g_items[0]}));
    EXPECT_EQ(CheckCounts(a.m_pRoot), 2u);
    CKrOctaTreeEx empty;
    b.PruneAgainst(empty);
    EXPECT_EQ(CheckCounts(b.m_pRoot), 0u);
}
