#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>
#include <vector>

#include "support/MeshTestUtil.h"
#include "KrTesGeometry/mesh/KrMeshData.h"

using namespace TesTriMesh;
using meshtest::Items;

TEST(MeshContainers, SmallPtrSetMatchesStdSet)
{
    // 24 candidates: the set's size wanders around 16, where lookups switch
    // from counting to a binary search, and beyond the 4 inline slots.
    std::vector<int> pool(24);
    std::mt19937 rng(7);
    detail::CKrSmallPtrSet<int, 4> small;
    std::set<int*> ref;
    for (int step = 0; step < 5000; ++step) {
        int* p = &pool[rng() % pool.size()];
        if (rng() % 3 == 0) {
            ASSERT_EQ(small.erase(p), ref.erase(p));
        } else {
            const bool fresh = ref.insert(p).second;
            auto r = small.insert(p);
            ASSERT_EQ(r.second, fresh);
            ASSERT_EQ(*r.first, p);
        }
        ASSERT_EQ(Items(small), Items(ref));
    }
    for (int& x : pool) EXPECT_EQ(small.count(&x), ref.count(&x));

    // Copies are deep; clear returns to inline storage.
    detail::CKrSmallPtrSet<int, 4> copy(small);
    copy.erase(*copy.begin());
    EXPECT_EQ(Items(copy), std::vector<int*>(std::next(ref.begin()), ref.end()));
    EXPECT_EQ(Items(small), Items(ref));
    small.clear();
    small.insert(&pool[3]);
    EXPECT_EQ(Items(small), std::vector<int*>{&pool[3]});
}

TEST(MeshContainers, PoolSetMatchesStdSet)
{
    struct Rec {
        int v[5];
    };
    detail::CKrPoolSet<Rec> set;
    std::set<Rec*> ref;
    std::vector<Rec*> live;
    // The set iterates in the order the records' storage was first handed
    // out (a recycled record keeps its place), whatever the addresses.
    std::vector<Rec*> made;
    std::set<Rec*> seen;
    auto inMadeOrder = [&made](const std::set<Rec*>& members) {
        std::vector<Rec*> v;
        for (Rec* p : made)
            if (members.count(p)) v.push_back(p);
        return v;
    };
    std::mt19937 rng(11);
    for (int step = 0; step < 8000; ++step) {
        const unsigned op = rng() % 10;
        Rec* r = live.empty() ? nullptr : live[rng() % live.size()];
        if (op < 4 || !r) {
            live.push_back(set.Create());
            if (seen.insert(live.back()).second) made.push_back(live.back());
            ASSERT_TRUE(set.insert(live.back()).second);
            ref.insert(live.back());
        } else if (op < 6) {
            ASSERT_EQ(set.erase(r), ref.erase(r));
        } else if (op < 8) {
            ASSERT_EQ(set.insert(r).second, ref.insert(r).second);
        } else {
            // Destroy recycles the record and drops it from the set.
            ASSERT_TRUE(set.Destroy(r));
            ASSERT_FALSE(set.Owns(r));
            ref.erase(r);
            live.erase(std::find(live.begin(), live.end(), r));
        }
    }
    EXPECT_EQ(Items(set), inMadeOrder(ref));

    // Foreign pointers are never members: one on the stack, one into a
    // record but misaligned, one just past the records of a chunk.
    detail::CKrPoolSet<Rec> fresh;
    Rec* r0 = fresh.Create();
    Rec outside;
    for (Rec* p : {&outside, reinterpret_cast<Rec*>(reinterpret_cast<char*>(r0) + 4), r0 + 64}) {
        EXPECT_EQ(fresh.count(p), 0u);
        EXPECT_FALSE(fresh.insert(p).second || fresh.Destroy(p));
    }

    // Erase while iterating, every other element.
    bool odd = false;
    for (auto it = set.begin(); it != set.end(); odd = !odd) {
        if (odd) ref.erase(*it);
        it = odd ? set.erase(it) : std::next(it);
    }
    EXPECT_EQ(Items(set), inMadeOrder(ref));
    set.ReleaseAll();
    EXPECT_TRUE(set.empty() && set.begin() == set.end());
}

// Chunks of large records come from the system's map, which hands them out
// downwards: the set must still list its records in the order they were made.
TEST(MeshContainers, PoolSetOrderIgnoresWhereChunksLie)
{
    struct Big {
        char bytes[8192];
    };
    detail::CKrPoolSet<Big> set;
    std::vector<Big*> made;
    for (int i = 0; i < 300; ++i) {
        made.push_back(set.Create());
        set.insert(made.back());
    }
    EXPECT_EQ(Items(set), made);
}

TEST(MeshContainers, EdgeSetMatchesOrderedSet)
{
    std::vector<_sVertex> verts(60);
    detail::CKrEdgeSet<_sEdge, _sVertex> set;
    std::set<_sEdge*, CKrEdgeLess> ref;
    std::mt19937 rng(3);
    for (int step = 0; step < 6000; ++step) {
        _sVertex* a = &verts[rng() % verts.size()];
        _sVertex* b = &verts[rng() % verts.size()];
        if (a == b) continue;
        if (rng() % 3 == 0) {
            _sEdge key(b, a);  // either order finds the same edge
            auto it = ref.find(&key);
            _sEdge* found = set.FindPair(a, b);
            ASSERT_EQ(found, it == ref.end() ? nullptr : *it);
            ASSERT_EQ(set.erase(&key), it == ref.end() ? 0u : 1u);
            if (it != ref.end()) {
                ref.erase(it);
                ASSERT_TRUE(set.Destroy(found));
            }
        } else {
            _sEdge* e = set.Create(a, b);
            auto r = set.insert(e);
            auto rr = ref.insert(e);
            ASSERT_EQ(r.second, rr.second);
            ASSERT_EQ(*r.first, *rr.first);
            if (!r.second) set.Destroy(e);
        }
        if (step % 499 == 0) {
            ASSERT_EQ(Items(set), Items(ref));
        }
    }
    ASSERT_EQ(Items(set), Items(ref));

    // Erase while iterating returns the follower.
    int n = 0;
    for (auto i = set.begin(); i != set.end(); ++n) {
        _sEdge* e = *i;
        i = n % 3 == 0 ? set.erase(i) : std::next(i);
        if (n % 3 == 0) {
            ref.erase(e);
            set.Destroy(e);
        }
    }
    EXPECT_EQ(Items(set), Items(ref));
    // erase(find(...)) on a set whose order was never taken gives a usable
    // follower. (A set of its own needs vertices of its own: the index lives in them.)
    std::vector<_sVertex> own(6);
    detail::CKrEdgeSet<_sEdge, _sVertex> small;
    std::set<_sEdge*, CKrEdgeLess> sref;
    for (auto [p, q] : {std::pair{1, 2}, std::pair{1, 3}, std::pair{4, 5}}) {
        _sEdge* e = small.Create(&own[static_cast<size_t>(p)], &own[static_cast<size_t>(q)]);
        small.insert(e);
        sref.insert(e);
    }
    auto after = small.erase(small.find(*sref.begin()));
    ASSERT_NE(after, small.end());
    EXPECT_EQ(*after, *std::next(sref.begin()));
    EXPECT_EQ(*++after, *std::next(sref.begin(), 2));
    EXPECT_EQ(++after, small.end());
    small.clear();
    EXPECT_TRUE(small.empty());
    for (const _sVertex& v : own) EXPECT_TRUE(v.edgeIdx.empty());

    // Records of another pool, or without a first vertex, are never members.
    _sEdge outside(&own[0], &own[1]);
    EXPECT_FALSE(small.insert(&outside).second || small.Destroy(&outside));
    _sEdge* headless = small.Create(nullptr, &own[1]);
    EXPECT_FALSE(small.insert(headless).second);
    EXPECT_TRUE(small.Destroy(headless));
}
