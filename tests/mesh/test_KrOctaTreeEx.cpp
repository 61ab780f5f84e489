#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <random>
#include <set>
#include <vector>

#include "KrTesGeometry/mesh/octree/KrOctaTreeEx.h"

using GeoTreeEx::_sOctaNode;
using GeoTreeEx::CKrOctaTreeEx;

namespace {

// Depth of the node holding item, or -1.
int DepthOf(const _sOctaNode* n, const void* item, int level = 0)
{
    if (std::find(n->m_vecItems.begin(), n->m_vecItems.end(), item) != n->m_vecItems.end()) return level;
    if (n->IsLeaf()) return -1;
    for (const _sOctaNode* c : n->m_pChild) {
        const int d = DepthOf(c, item, level + 1);
        if (d >= 0) return d;
    }
    return -1;
}

void ExpectBox(const double* b, const std::array<double, 6>& want)
{
    for (int k = 0; k < 6; ++k) EXPECT_DOUBLE_EQ(b[k], want[k]) << k;
}

int g_items[64];  // addresses used as items

bool Has(const std::vector<_sOctaNode*>& nodes, const _sOctaNode* n)
{
    return std::find(nodes.begin(), nodes.end(), n) != nodes.end();
}

std::vector<void*> All(const CKrOctaTreeEx& t)
{
    std::vector<void*> all;
    t.GetAllItems(all);
    return all;
}

std::set<void*> LeafItems(const CKrOctaTreeEx& t, double x0, double y0, double z0, double x1, double y1, double z1)
{
    std::set<void*> out;
    t.GetLeafItemsInBox(x0, y0, z0, x1, y1, z1, out);
    return out;
}

// The nodes a box query returns.
std::vector<_sOctaNode*> InBox(const CKrOctaTreeEx& t, double x0, double y0, double z0, double x1, double y1, double z1)
{
    std::vector<_sOctaNode*> nodes;
    t.GetNodesInBox(x0, y0, z0, x1, y1, z1, nodes);
    return nodes;
}

// Items below a node, counted the slow way.
std::size_t Count(const _sOctaNode* n)
{
    std::size_t c = n->m_vecItems.size();
    if (!n->IsLeaf())
        for (const _sOctaNode* k : n->m_pChild) c += Count(k);
    return c;
}

bool CountsHold(const _sOctaNode* n)
{
    if (n->m_nTreeItems != Count(n)) return false;
    if (!n->IsLeaf())
        for (const _sOctaNode* k : n->m_pChild)
            if (!CountsHold(k)) return false;
    return true;
}

}  // namespace

TEST(Octree, InitAndChildLayout)
{
    CKrOctaTreeEx tree;
    EXPECT_EQ(tree.AddItem(&g_items[0], 1, 1, 1, 2, 2, 2), nullptr);  // no root yet

    tree.Init(0, 0, 0, 10, 20, 40, 8, 0.2);
    ExpectBox(tree.m_pRoot->m_dBox, {-1, -2, -4, 11, 22, 44});
    EXPECT_TRUE(tree.m_pRoot->IsLeaf());

    // An item straddling everything stays at the root, but the root is split on the way.
    ASSERT_EQ(tree.AddItem(&g_items[0], 0, 0, 0, 10, 20, 40), tree.m_pRoot);
    ASSERT_FALSE(tree.m_pRoot->IsLeaf());
    // Child extents are 60% of the parent (7.2 x 14.4 x 28.8), anchored at
    // the corners: the upper layer first, each layer going (x0, y0), (x0, y1),
    // (x1, y1), (x1, y0). hi[i] tells which corner child i holds on each axis.
    const double lo[3] = {-1, -2, -4}, up[3] = {11, 22, 44}, ext[3] = {7.2, 14.4, 28.8};
    const int hi[8][3] = {{0, 0, 1}, {0, 1, 1}, {1, 1, 1}, {1, 0, 1}, {0, 0, 0}, {0, 1, 0}, {1, 1, 0}, {1, 0, 0}};
    for (int i = 0; i < 8; ++i) {
        std::array<double, 6> want;
        for (int a = 0; a < 3; ++a) {
            want[a] = hi[i][a] ? up[a] - ext[a] : lo[a];
            want[a + 3] = hi[i][a] ? up[a] : lo[a] + ext[a];
        }
        SCOPED_TRACE(i);
        ExpectBox(tree.m_pRoot->m_pChild[i]->m_dBox, want);
        EXPECT_TRUE(tree.m_pRoot->m_pChild[i]->IsLeaf());
    }
    // The root's item bounds enclose its item.
    ExpectBox(tree.m_pRoot->m_dItemBox, {0, 0, 0, 10, 20, 40});

    tree.Clear();
    EXPECT_EQ(tree.AddItem(&g_items[0], 1, 1, 1, 2, 2, 2), nullptr);
    EXPECT_TRUE(All(tree).empty());
}

TEST(Octree, ContainmentIsClosedAndChildrenAreLoose)
{
    CKrOctaTreeEx tree;
    tree.Init(0, 0, 0, 100, 100, 100, 8, 0.2);  // root -10 .. 110
    // Exactly the root box: stored (closed containment), at the root.
    EXPECT_EQ(tree.AddItem(&g_items[0], -10, -10, -10, 110, 110, 110), tree.m_pRoot);
    // Lying on the root's min faces: stored and descends.
    _sOctaNode* n = tree.AddItem(&g_items[1], -10, -10, -10, -9, -9, -9);
    ASSERT_NE(n, nullptr);
    EXPECT_GT(DepthOf(tree.m_pRoot, &g_items[1]), 0);
    // Poking out of the root by a hair: not stored.
    EXPECT_EQ(tree.AddItem(&g_items[2], -10.0000001, 0, 0, 1, 1, 1), nullptr);
    EXPECT_EQ(tree.AddItem(&g_items[2], 0, 0, 0, 1, 1, 110.0000001), nullptr);

    // Child 0 spans x, y in [-10, 62] and z in [38, 110] (60% of 120): an
    // item crossing the root's middle (50) by less than a tenth of the extent
    // still descends, into child 0 as the first child that contains it.
    _sOctaNode* c0 = tree.m_pRoot->m_pChild[0];
    n = tree.AddItem(&g_items[3], 45, 45, 45, 55, 55, 55);
    ASSERT_NE(n, nullptr);
    EXPECT_NE(n, tree.m_pRoot);
    EXPECT_GE(DepthOf(c0, &g_items[3]), 0);
    // Ending exactly on child 0's max faces (62) is still inside it; spanning
    // its whole height keeps it from going further down.
    EXPECT_EQ(tree.AddItem(&g_items[4], 40, 40, 38, 62, 62, 110), c0);
    // Crossing by more than that stays at the root.
    EXPECT_EQ(tree.AddItem(&g_items[5], 30, 30, 30, 70, 70, 70), tree.m_pRoot);
}

TEST(Octree, DegenerateBoxesDescendToMaxDepth)
{
    CKrOctaTreeEx tree;
    tree.Init(0, 0, 0, 100, 100, 10, 8, 0.2);
    _sOctaNode* n = tree.AddItem(&g_items[0], 37, 61, 5, 37, 61, 5);
    ASSERT_NE(n, nullptr);
    EXPECT_EQ(DepthOf(tree.m_pRoot, &g_items[0]), 8);
    // A second point in the same place goes to the same node, which stays a
    // leaf: level-8 nodes are never split.
    EXPECT_EQ(tree.AddItem(&g_items[1], 37, 61, 5, 37, 61, 5), n);
    EXPECT_TRUE(n->IsLeaf());
    EXPECT_EQ(n->m_vecItems, (std::vector<void*>{&g_items[0], &g_items[1]}));
    // The node's box encloses the point and has 0.6^8 of the root's extent.
    EXPECT_TRUE(n->m_dBox[0] <= 37 && n->m_dBox[3] >= 37);
    EXPECT_NEAR(n->m_dBox[3] - n->m_dBox[0], 120 * std::pow(0.6, 8), 1e-9);

    // A custom depth limit holds too.
    CKrOctaTreeEx shallow;
    shallow.Init(0, 0, 0, 1, 1, 1, 3, 0.2);
    shallow.AddItem(&g_items[2], 0.5, 0.5, 0.5, 0.5, 0.5, 0.5);
    EXPECT_EQ(DepthOf(shallow.m_pRoot, &g_items[2]), 3);
}

TEST(Octree, BoxAndRectQueries)
{
    CKrOctaTreeEx tree;
    tree.Init(0, 0, 0, 100, 100, 100, 8, 0.2);
    _sOctaNode* low = tree.AddItem(&g_items[0], 10, 10, 0, 11, 11, 0);
    _sOctaNode* high = tree.AddItem(&g_items[1], 10, 10, 100, 11, 11, 100);
    _sOctaNode* root = tree.AddItem(&g_items[2], 0, 0, 0, 100, 100, 100);
    ASSERT_TRUE(low && high && root);

    // A plan rectangle finds items at any height, parents first.
    std::vector<_sOctaNode*> nodes;
    tree.GetNodesInRect(10.5, 10.5, 10.6, 10.6, nodes);
    ASSERT_EQ(nodes.size(), 3u);
    EXPECT_EQ(nodes[0], root);
    EXPECT_TRUE(Has(nodes, low) && Has(nodes, high));

    // A spatial box near the bottom only reaches the low item's node (and the root).
    nodes = InBox(tree, 10, 10, -1, 11, 11, 1);
    EXPECT_TRUE(Has(nodes, low) && !Has(nodes, high));

    // Touching counts as overlap: a query box whose max x equals the low
    // node's min x, or whose min x equals its max x, still returns it; one a
    // hair short does not.
    const double* lb = low->m_dBox;
    EXPECT_TRUE(Has(InBox(tree, lb[0] - 5, lb[1], lb[2], lb[0], lb[4], lb[5]), low));
    EXPECT_TRUE(Has(InBox(tree, lb[3], lb[1], lb[2], lb[3] + 5, lb[4], lb[5]), low));
    nodes = InBox(tree, lb[0] - 5, lb[1], lb[2], lb[0] - 1e-9, lb[4], lb[5]);
    EXPECT_FALSE(Has(nodes, low));

    // Only nodes holding items are returned, and results are appended.
    for (_sOctaNode* n : nodes) EXPECT_FALSE(n->m_vecItems.empty());
    const size_t before = nodes.size();
    tree.GetNodesInRect(-1000, -1000, 1000, 1000, nodes);
    EXPECT_EQ(nodes.size(), before + 3);

    // Queries on an empty tree return nothing.
    CKrOctaTreeEx empty;
    nodes = InBox(empty, 0, 0, 0, 1, 1, 1);
    empty.GetNodesInRect(0, 0, 1, 1, nodes);
    EXPECT_TRUE(nodes.empty());
}

TEST(Octree, LeafItemsSkipInnerNodes)
{
    CKrOctaTreeEx tree;
    tree.Init(0, 0, 0, 100, 100, 100, 8, 0.2);
    tree.AddItem(&g_items[0], 0, 0, 0, 100, 100, 100);  // straddles: filed at the root
    tree.AddItem(&g_items[1], 20, 20, 20, 20, 20, 20);  // a point: a leaf at level 8
    tree.AddItem(&g_items[2], 80, 80, 80, 80, 80, 80);
    EXPECT_EQ(LeafItems(tree, -1000, -1000, -1000, 1000, 1000, 1000), (std::set<void*>{&g_items[1], &g_items[2]}));
    EXPECT_EQ(LeafItems(tree, 0, 0, 0, 30, 30, 30), (std::set<void*>{&g_items[1]}));

    // A tree that is a single leaf returns its items.
    CKrOctaTreeEx leaf;
    leaf.Init(0, 0, 0, 1, 1, 1, 0, 0.2);
    leaf.AddItem(&g_items[3], 0, 0, 0, 0, 0, 0);
    EXPECT_EQ(LeafItems(leaf, 0, 0, 0, 1, 1, 1), (std::set<void*>{&g_items[3]}));
}

TEST(Octree, RemoveItem)
{
    CKrOctaTreeEx tree;
    tree.Init(0, 0, 0, 10, 10, 10, 8, 0.2);
    _sOctaNode* n = tree.AddItem(&g_items[0], 5, 5, 5, 5, 5, 5);
    tree.AddItem(&g_items[1], 5, 5, 5, 5, 5, 5);
    tree.AddItem(&g_items[2], 5, 5, 5, 5, 5, 5);
    tree.AddItem(&g_items[3], 0, 0, 0, 10, 10, 10);

    // A pointer never added, a box outside the root, the right pointer under
    // the wrong box: false, nothing changes.
    EXPECT_FALSE(tree.RemoveItem(&g_items[9], 5, 5, 5, 5, 5, 5));
    EXPECT_FALSE(tree.RemoveItem(&g_items[0], 50, 50, 50, 51, 51, 51));
    EXPECT_FALSE(tree.RemoveItem(&g_items[3], 5, 5, 5, 5, 5, 5));
    EXPECT_EQ(n->m_vecItems.size(), 3u);

    EXPECT_TRUE(tree.RemoveItem(&g_items[1], 5, 5, 5, 5, 5, 5));
    EXPECT_EQ(n->m_vecItems, (std::vector<void*>{&g_items[0], &g_items[2]}));  // order of the others kept
    EXPECT_FALSE(tree.RemoveItem(&g_items[1], 5, 5, 5, 5, 5, 5));
    EXPECT_TRUE(tree.RemoveItem(&g_items[3], 0, 0, 0, 10, 10, 10));
    EXPECT_TRUE(tree.m_pRoot->m_vecItems.empty());
    // Item bounds are not shrunk by removal.
    EXPECT_DOUBLE_EQ(tree.m_pRoot->m_dItemBox[3], 10);

    EXPECT_EQ(All(tree), (std::vector<void*>{&g_items[0], &g_items[2]}));
}

TEST(Octree, PruneAgainstEmptiesFarNodes)
{
    CKrOctaTreeEx a, b;
    a.Init(0, 0, 0, 100, 100, 100, 8, 0.2);
    b.Init(0, 0, 0, 100, 100, 100, 8, 0.2);
    a.AddItem(&g_items[0], 10, 10, 10, 12, 12, 12);  // near b's item
    a.AddItem(&g_items[1], 80, 80, 80, 82, 82, 82);  // far from b
    a.AddItem(&g_items[2], 80, 10, 50, 82, 12, 50);  // far, but flat in z: never emptied
    b.AddItem(&g_items[10], 11, 11, 11, 13, 13, 13);

    a.PruneAgainst(b);
    // Child order: the flat item sits under child 3 (upper layer), the near
    // one under child 4 (lower layer).
    EXPECT_EQ(All(a), (std::vector<void*>{&g_items[2], &g_items[0]}));

    // Against an empty tree every node with a solid item box is emptied.
    CKrOctaTreeEx c, empty;
    c.Init(0, 0, 0, 10, 10, 10, 8, 0.2);
    c.AddItem(&g_items[3], 1, 1, 1, 2, 2, 2);
    c.PruneAgainst(empty);
    EXPECT_TRUE(All(c).empty());
}

TEST(Octree, ItemsAlongRay)
{
    CKrOctaTreeEx tree;
    tree.Init(0, 0, 0, 100, 100, 100, 8, 0.2);
    tree.AddItem(&g_items[0], 10, 10, 10, 11, 11, 11);
    tree.AddItem(&g_items[1], 50, 50, 50, 51, 51, 51);
    tree.AddItem(&g_items[2], 10, 90, 10, 11, 91, 11);
    auto along = [&tree](const CKrPoint3d& o, const KrTesGeo::CGeoVector& d) {
        std::set<void*> out;
        tree.GetItemsAlongRay(o, d, out);
        return out;
    };
    // The diagonal passes through the first two boxes only (the candidates
    // are the items of the nodes the ray meets).
    const std::set<void*> diag = along(CKrPoint3d(0, 0, 0), KrTesGeo::CGeoVector(1, 1, 1));
    EXPECT_TRUE(diag.count(&g_items[0]) == 1u && diag.count(&g_items[1]) == 1u && diag.count(&g_items[2]) == 0u);
    EXPECT_TRUE(along(CKrPoint3d(-50, -50, -50), KrTesGeo::CGeoVector(-1, 0, 0)).empty());  // pointing away
    const std::set<void*> down = along(CKrPoint3d(10.5, 90.5, 200), KrTesGeo::CGeoVector(0, 0, -1));
    EXPECT_TRUE(down.count(&g_items[2]) == 1u && down.count(&g_items[0]) == 0u);
}

// Queries skip subtrees by their item counts, so the counts must follow every
// add, remove and prune exactly.
TEST(Octree, CountsFollowAddRemoveAndPrune)
{
    CKrOctaTreeEx a, b;
    a.Init(0, 0, 0, 100, 100, 100, 8, 0.2);
    b.Init(0, 0, 0, 100, 100, 100, 8, 0.2);
    std::mt19937 rng(9);
    std::uniform_real_distribution<double> u(0.0, 95.0), s(0.01, 5.0);
    std::vector<std::vector<double>> boxes;
    int tag = 0;  // every item is this one pointer: a removal takes any match
    for (int i = 0; i < 3000; ++i) {
        const double x = u(rng), y = u(rng), z = u(rng), w = s(rng);
        boxes.push_back({x, y, z, x + w, y + w, z + w});
        const auto& q = boxes.back();
        ASSERT_NE(a.AddItem(&tag, q[0], q[1], q[2], q[3], q[4], q[5]), nullptr);
    }
    EXPECT_EQ(a.m_pRoot->m_nTreeItems, 3000u);
    EXPECT_TRUE(CountsHold(a.m_pRoot));
    // Remove a third.
    for (int i = 0; i < 1000; ++i) {
        const auto& q = boxes[static_cast<std::size_t>(i)];
        EXPECT_TRUE(a.RemoveItem(&tag, q[0], q[1], q[2], q[3], q[4], q[5]));
    }
    EXPECT_FALSE(a.RemoveItem(&rng, 1, 1, 1, 2, 2, 2));  // never added: counts unchanged
    EXPECT_EQ(a.m_pRoot->m_nTreeItems, 2000u);
    EXPECT_TRUE(CountsHold(a.m_pRoot));
    std::size_t seen = 0;
    for (const _sOctaNode* n : InBox(a, 0, 0, 0, 100, 100, 100)) seen += n->m_vecItems.size();
    EXPECT_EQ(seen, 2000u);
    // Prune against a tree holding one small item in a corner.
    b.AddItem(&rng, 1, 1, 1, 3, 3, 3);
    a.PruneAgainst(b);
    EXPECT_TRUE(CountsHold(a.m_pRoot));
    EXPECT_LT(a.m_pRoot->m_nTreeItems, 2000u);
    EXPECT_EQ(All(a).size(), a.m_pRoot->m_nTreeItems);
}
