#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>
#include <vector>

#include "mesh/KrMeshData.h"

using namespace TesTriMesh;

namespace {

template <class C>
std::vector<typename C::value_type> Items(const C& c)
{
    return std::vector<typename C::value_type>(c.begin(), c.end());
}

template <class T>
std::vector<T*> Items(const std::set<T*>& s)
{
    return std::vector<T*>(s.begin(), s.end());
}

}  // namespace

TEST(MeshContainers, SmallPtrSetMatchesStdSet)
{
    std::vector<int> pool(200);
    std::mt19937 rng(7);
    CKrSmallPtrSet<int, 4> small;
    std::set<int*> ref;
    for (int step = 0; step < 5000; ++step) {
        int* p = &pool[rng() % pool.size()];
        if (rng() % 3 == 0) {
            EXPECT_EQ(small.erase(p), ref.erase(p));
        } else {
            const bool fresh = ref.insert(p).second;
            auto r = small.insert(p);
            EXPECT_EQ(r.second, fresh);
            EXPECT_EQ(*r.first, p);
        }
        if (step % 97 == 0) {
            ASSERT_EQ(Items(small), Items(ref));
            ASSERT_EQ(small.size(), ref.size());
        }
    }
    EXPECT_EQ(Items(small), Items(ref));
    for (int& x : pool) EXPECT_EQ(small.count(&x), ref.count(&x));

    // Copies are deep; erase(iterator) returns the follower; clear returns to inline storage.
    CKrSmallPtrSet<int, 4> copy(small);
    copy.insert(&pool[0]);
    copy.erase(&pool[1]);
    EXPECT_EQ(Items(small), Items(ref));
    auto it = small.begin();
    int* second = *(it + 1);
    EXPECT_EQ(*small.erase(it), second);
    small.clear();
    EXPECT_TRUE(small.empty());
    EXPECT_EQ(small.find(&pool[0]), small.end());
    small.insert(&pool[3]);
    EXPECT_EQ(small.size(), 1u);
}

TEST(MeshContainers, PoolSetMatchesStdSet)
{
    struct Rec {
        int v[5];
    };
    CKrPoolSet<Rec> set;
    std::set<Rec*> ref;
    std::vector<Rec*> live;
    std::mt19937 rng(11);
    for (int step = 0; step < 30000; ++step) {
        const unsigned op = rng() % 10;
        if (op < 4 || live.empty()) {
            Rec* r = set.Create();
            live.push_back(r);
            EXPECT_TRUE(set.insert(r).second);
            ref.insert(r);
        } else if (op < 6) {
            Rec* r = live[rng() % live.size()];
            EXPECT_EQ(set.erase(r), ref.erase(r));
        } else if (op < 8) {
            Rec* r = live[rng() % live.size()];
            const bool fresh = ref.insert(r).second;
            EXPECT_EQ(set.insert(r).second, fresh);
        } else {
            // Destroy recycles the record and drops it from the set.
            const size_t i = rng() % live.size();
            Rec* r = live[i];
            EXPECT_TRUE(set.Destroy(r));
            EXPECT_FALSE(set.Owns(r));
            ref.erase(r);
            live[i] = live.back();
            live.pop_back();
        }
        if (step % 1013 == 0) {
            ASSERT_EQ(Items(set), Items(ref));
        }
    }
    EXPECT_EQ(Items(set), Items(ref));
    EXPECT_EQ(set.size(), ref.size());

    // Foreign pointers are never members.
    Rec outside;
    EXPECT_EQ(set.find(&outside), set.end());
    EXPECT_EQ(set.count(&outside), 0u);
    EXPECT_FALSE(set.insert(&outside).second);
    EXPECT_EQ(set.erase(&outside), 0u);
    EXPECT_FALSE(set.Destroy(&outside));

    // Erase while iterating, every other element.
    bool odd = false;
    for (auto it = set.begin(); it != set.end();) {
        if (odd) {
            ref.erase(*it);
            it = set.erase(it);
        } else {
            ++it;
        }
        odd = !odd;
    }
    EXPECT_EQ(Items(set), Items(ref));

    // Creating records (and chunks) during an iteration keeps the iterator valid.
    size_t seen = 0;
    Rec* prev = nullptr;
    for (auto it = set.begin(); it != set.end(); ++it, ++seen) {
        if (prev) {
            EXPECT_LT(reinterpret_cast<uintptr_t>(prev), reinterpret_cast<uintptr_t>(*it));
        }
        prev = *it;
        if (seen < 3000) set.Create();  // not inserted: never visited
    }
    EXPECT_EQ(seen, ref.size());

    set.ReleaseAll();
    EXPECT_TRUE(set.empty());
    EXPECT_EQ(set.begin(), set.end());
}

TEST(MeshContainers, EdgeSetMatchesOrderedSet)
{
    std::vector<_sVertex> verts(60);
    CKrEdgeSet<_sEdge, _sVertex> set;
    std::set<_sEdge*, CKrEdgeLess> ref;
    std::mt19937 rng(3);
    for (int step = 0; step < 20000; ++step) {
        _sVertex* a = &verts[rng() % verts.size()];
        _sVertex* b = &verts[rng() % verts.size()];
        if (a == b) continue;
        if (rng() % 3 == 0) {
            _sEdge key(b, a);  // either order finds the same edge
            auto it = ref.find(&key);
            _sEdge* found = set.FindPair(a, b);
            EXPECT_EQ(found, it == ref.end() ? nullptr : *it);
            EXPECT_EQ(set.erase(&key), it == ref.end() ? 0u : 1u);
            EXPECT_EQ(set.count(&key), 0u);
            if (it != ref.end()) {
                ref.erase(it);
                EXPECT_TRUE(set.Destroy(found));
            }
        } else {
            _sEdge* e = set.Create(a, b);
            auto r = set.insert(e);
            auto rr = ref.insert(e);
            EXPECT_EQ(r.second, rr.second);
            EXPECT_EQ(*r.first, *rr.first);
            if (!r.second) set.Destroy(e);
        }
        if (step % 499 == 0) {
            ASSERT_EQ(Items(set), (std::vector<_sEdge*>(ref.begin(), ref.end())));
        }
    }
    ASSERT_EQ(Items(set), (std::vector<_sEdge*>(ref.begin(), ref.end())));
    EXPECT_EQ(set.size(), ref.size());

    // Iterating from a found element continues in order.
    _sEdge* mid = *std::next(ref.begin(), static_cast<long>(ref.size() / 2));
    auto it = set.find(mid);
    auto rit = ref.find(mid);
    for (int i = 0; i < 5 && rit != ref.end(); ++i, ++it, ++rit) EXPECT_EQ(*it, *rit);

    // Erase while iterating returns the follower; elements erased behind the
    // iterator's back are skipped; elements inserted meanwhile are not visited.
    std::vector<_sEdge*> kept;
    int n = 0;
    for (auto i = set.begin(); i != set.end(); ++n) {
        if (n % 3 == 0) {
            _sEdge* e = *i;
            i = set.erase(i);
            ref.erase(e);
            set.Destroy(e);
        } else {
            kept.push_back(*i);
            ++i;
        }
    }
    EXPECT_EQ(kept, (std::vector<_sEdge*>(ref.begin(), ref.end())));

    std::vector<_sEdge*> visited;
    _sEdge* late = nullptr;
    for (auto i = set.begin(); i != set.end(); ++i) {
        visited.push_back(*i);
        if (visited.size() == 2) {
            // Free the element after next and insert a new one, which
            // recycles the freed record.
            _sEdge* doomed = *std::next(ref.find(*i), 2);
            ref.erase(doomed);
            set.Destroy(doomed);
            for (_sVertex& v : verts) {
                if (!set.FindPair(&verts[0], &v) && &v != &verts[0]) {
                    late = set.Create(&verts[0], &v);
                    break;
                }
            }
            EXPECT_EQ(late, doomed);
            ASSERT_NE(late, nullptr);
            set.insert(late);
        }
    }
    std::vector<_sEdge*> expect(ref.begin(), ref.end());
    EXPECT_EQ(visited, expect);
    ref.insert(late);
    EXPECT_EQ(Items(set), (std::vector<_sEdge*>(ref.begin(), ref.end())));

    // erase(find(...)) on a set whose order was never taken gives a usable follower.
    // (A set of its own needs vertices of its own: the index lives in them.)
    std::vector<_sVertex> own(6);
    CKrEdgeSet<_sEdge, _sVertex> small;
    _sEdge* e1 = small.Create(&own[1], &own[2]);
    _sEdge* e2 = small.Create(&own[1], &own[3]);
    _sEdge* e3 = small.Create(&own[4], &own[5]);
    small.insert(e1);
    small.insert(e2);
    small.insert(e3);
    std::set<_sEdge*, CKrEdgeLess> sref{e1, e2, e3};
    auto after = small.erase(small.find(*sref.begin()));
    ASSERT_NE(after, small.end());
    EXPECT_EQ(*after, *std::next(sref.begin()));
    ++after;
    EXPECT_EQ(*after, *std::next(sref.begin(), 2));
    ++after;
    EXPECT_EQ(after, small.end());
    EXPECT_EQ(small.size(), 2u);
    small.clear();
    EXPECT_TRUE(small.empty());
    EXPECT_EQ(small.begin(), small.end());
    for (const _sVertex& v : own) EXPECT_TRUE(v.edgeIdx.empty());

    // Records of another pool, or without a first vertex, are never members.
    _sEdge outside(&own[0], &own[1]);
    EXPECT_FALSE(small.insert(&outside).second);
    EXPECT_FALSE(small.Destroy(&outside));
    _sEdge* headless = small.Create(nullptr, &own[1]);
    EXPECT_FALSE(small.insert(headless).second);
    EXPECT_TRUE(small.Destroy(headless));
}
