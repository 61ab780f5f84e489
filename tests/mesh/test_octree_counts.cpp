#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "mesh/octree/KrOctaTreeEx.h"

using GeoTreeEx::CKrOctaTreeEx;
using GeoTreeEx::_sOctaNode;

namespace {
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

// Queries skip subtrees by their item counts, so the counts must follow every
// add, remove and prune exactly.
TEST(OctreeCounts, FollowAddRemoveAndPrune)
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
    std::vector<_sOctaNode*> nodes;
    a.GetNodesInBox(0, 0, 0, 100, 100, 100, nodes);
    std::size_t seen = 0;
    for (const _sOctaNode* n : nodes) seen += n->m_vecItems.size();
    EXPECT_EQ(seen, 2000u);
    // Prune against a tree holding one small item in a corner.
    b.AddItem(&rng, 1, 1, 1, 3, 3, 3);
    a.PruneAgainst(b);
    EXPECT_TRUE(CountsHold(a.m_pRoot));
    EXPECT_LT(a.m_pRoot->m_nTreeItems, 2000u);
    std::vector<void*> all;
    a.GetAllItems(all);
    EXPECT_EQ(all.size(), a.m_pRoot->m_nTreeItems);
}
