#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <memory>
#include <numeric>
#include <random>
#include <set>
#include <vector>

#include "support/MeshTestUtil.h"
#include "KrTesGeometry/mesh/KrMeshData.h"
#include "KrTesGeometry/mesh/detail/KrOrderedSet.h"

using meshtest::Items;
using TesTriMesh::detail::CKrOrderedSet;

namespace {

// Elements are pointers into a pool of distinct ints, ordered by the value
// they point to: the same shape as a vertex set, with a strict order.
struct IntPtrLess {
    bool operator()(const int* a, const int* b) const { return *a < *b; }
};

struct Pool {
    std::vector<int> v;
    explicit Pool(int n) : v(static_cast<size_t>(n)) { std::iota(v.begin(), v.end(), 0); }
    const int* operator[](int i) const { return &v[static_cast<size_t>(i)]; }
};

template <class S, class It>
const int* Deref(const S& s, It it)
{
    return it == s.end() ? nullptr : *it;
}

// Mixed random operations checked one by one against std::set, with whole
// contents (both ways) and the tree's invariants compared after each phase,
// after which the run goes on with a copy of the set.
template <class S>
void RunDifferential(unsigned seed)
{
    const int kRange = 4000;
    Pool pool(kRange);
    S s;
    std::set<const int*, IntPtrLess> ref;
    std::mt19937 rng(seed);
    std::uniform_int_distribution<int> key(0, kRange - 1), op(0, 99);
    // Per phase: percentage of inserts, then of erases (the rest are lookups).
    const int mix[4][2] = {{80, 5}, {40, 35}, {10, 80}, {60, 20}};
    for (int phase = 0; phase < 4; ++phase) {
        for (int n = 0; n < 6000; ++n) {
            const int* k = pool[key(rng)];
            const int o = op(rng);
            if (o < mix[phase][0] && o % 4 == 0) {  // with a hint: right, wrong, or end()
                auto hint = (o % 8 == 0) ? s.lower_bound(k) : (o % 3 ? s.end() : s.begin());
                ASSERT_EQ(*s.insert(hint, k), k);
                ref.insert(k);
            } else if (o < mix[phase][0]) {
                auto r = s.insert(k);
                auto e = ref.insert(k);
                ASSERT_EQ(r.second, e.second);
                ASSERT_EQ(*r.first, *e.first);
            } else if (o < mix[phase][0] + mix[phase][1] && o % 2) {
                ASSERT_EQ(s.erase(k), ref.erase(k));
            } else if (o < mix[phase][0] + mix[phase][1]) {
                auto it = s.find(k);
                auto e = ref.find(k);
                ASSERT_EQ(it == s.end(), e == ref.end());
                if (e != ref.end()) {
                    ASSERT_EQ(Deref(s, s.erase(it)), Deref(ref, ref.erase(e)));
                }
            } else {
                ASSERT_EQ(s.count(k), ref.count(k));
                ASSERT_EQ(Deref(s, s.lower_bound(k)), Deref(ref, ref.lower_bound(k)));
                ASSERT_EQ(Deref(s, s.upper_bound(k)), Deref(ref, ref.upper_bound(k)));
            }
            ASSERT_EQ(s.size(), ref.size());
        }
        ASSERT_TRUE(s.CheckStructure()) << "phase " << phase;
        ASSERT_EQ(Items(s), Items(ref)) << "phase " << phase;
        ASSERT_TRUE(std::equal(s.rbegin(), s.rend(), ref.rbegin(), ref.rend())) << "phase " << phase;
        // A copy has nodes of its own (the original goes out of scope); a
        // moved-from set is empty and usable.
        S copy(s), moved;
        moved = std::move(copy);
        ASSERT_TRUE(copy.empty() && copy.begin() == copy.end());
        copy.insert(pool[0]);
        s.clear();
        s = moved;
    }
    // Emptying from the back, then reuse.
    while (!s.empty()) {
        auto next = s.erase(std::prev(s.end()));
        ASSERT_EQ(next, s.end());
    }
    EXPECT_TRUE(s.CheckStructure() && s.find(pool[0]) == s.end());
    EXPECT_TRUE(s.insert(pool[42]).second && **s.begin() == 42);
}

}  // namespace

TEST(KrOrderedSet, MatchesStdSetUnderRandomOperations)
{
    RunDifferential<CKrOrderedSet<const int*, IntPtrLess>>(1);
    // Tiny nodes: deep trees, every split, borrow and merge path taken often.
    RunDifferential<CKrOrderedSet<const int*, IntPtrLess, 4, 4>>(2);
    RunDifferential<CKrOrderedSet<const int*, IntPtrLess, 5, 5>>(3);
}

TEST(KrOrderedSet, OrderedInputFillsNodes)
{
    const int n = 30000;
    Pool pool(n);
    // In order, with and without the end() hint, and in reverse: the
    // one-sided splits keep leaves full instead of half full.
    CKrOrderedSet<const int*, IntPtrLess> up, hinted, down, random;
    std::vector<int> order(static_cast<size_t>(n));
    for (int i = 0; i < n; ++i) {
        up.insert(pool[i]);
        hinted.insert(hinted.end(), pool[i]);
        down.insert(pool[n - 1 - i]);
        order[static_cast<size_t>(i)] = i;
    }
    std::shuffle(order.begin(), order.end(), std::mt19937(3));
    for (int i : order) random.insert(pool[i]);
    // A full 512-byte leaf holds 60; half-full leaves would cost 17 bytes.
    for (const auto* s : {&up, &hinted, &down, &random}) {
        ASSERT_TRUE(s->CheckStructure() && s->size() == static_cast<size_t>(n));
        EXPECT_EQ(*std::prev(s->end()), pool[n - 1]);
        EXPECT_LT(static_cast<double>(s->NodeBytes()) / n, s == &random ? 16.0 : 10.0);
    }

}

namespace {

// Points on a line merged within 0.01: not transitive, like the vertex order.
struct Pt {
    double x;
};
struct TolLess {
    bool operator()(const Pt* a, const Pt* b) const { return std::fabs(a->x - b->x) >= 0.01 && a->x < b->x; }
};

}  // namespace

TEST(KrOrderedSet, TolerantOrderMergesLikeStdSet)
{
    // 10.008 is equivalent to both 10.0 and 10.016, which are distinct: the
    // key is compared only with the element before its position, as in std::set.
    std::vector<Pt> p = {{10.0}, {10.016}, {10.008}, {9.995}, {10.006}};
    CKrOrderedSet<Pt*, TolLess> chain;
    std::set<Pt*, TolLess> chainRef;
    for (size_t i = 0; i < 3; ++i) {
        auto r = chain.insert(&p[i]);
        auto e = chainRef.insert(&p[i]);
        EXPECT_EQ(r.second, e.second);
        EXPECT_EQ(*r.first, *e.first);
    }
    EXPECT_EQ(chain.size(), 2u);
    EXPECT_EQ(*chain.insert(&p[2]).first, &p[1]);

    // Erasing by key removes every element equivalent to it, as std::set does.
    CKrOrderedSet<Pt*, TolLess> two{&p[3], &p[4]};
    std::set<Pt*, TolLess> twoRef{&p[3], &p[4]};
    ASSERT_EQ(two.size(), 2u);
    Pt probe{10.0};
    EXPECT_EQ(twoRef.erase(&probe), 2u);
    EXPECT_EQ(two.erase(&probe), 2u);

    // 500 clusters a unit apart, five points each within 0.003 of the centre:
    // every cluster is one equivalence class, kept by its first point.
    std::mt19937 rng(11);
    std::uniform_real_distribution<double> jitter(-0.003, 0.003);
    std::vector<Pt> pts;
    for (int c = 0; c < 500; ++c)
        for (int k = 0; k < 5; ++k) pts.push_back({c + jitter(rng)});
    std::vector<Pt*> order;
    for (Pt& q : pts) order.push_back(&q);
    std::shuffle(order.begin(), order.end(), rng);
    CKrOrderedSet<Pt*, TolLess, 8, 6> clusters;
    std::set<Pt*, TolLess> ref;
    for (Pt* q : order) {
        auto r = clusters.insert(q);
        auto e = ref.insert(q);
        ASSERT_EQ(r.second, e.second);
        ASSERT_EQ(*r.first, *e.first);
    }
    ASSERT_EQ(clusters.size(), 500u);
    for (Pt* q : order) ASSERT_EQ(*clusters.find(q), *ref.find(q));
    for (size_t i = 0; i < order.size(); i += 3) ASSERT_EQ(clusters.erase(order[i]), ref.erase(order[i]));
    EXPECT_TRUE(clusters.CheckStructure());
    EXPECT_EQ(Items(clusters), Items(ref));
}

// The vertex order on lidar-like scan lines: x jittered by twice the
// tolerance, so that a line's points interleave in the set far beyond any
// walk from a search position, and 30 % of them repeated within the
// tolerance. Every repeat must merge (no two vertices closer than the
// tolerance, checked by brute force), a lookup must find a vertex within the
// tolerance of every point, and that must stay so after erasures.
TEST(KrOrderedSet, VertexSetMergesOnDenseScanLines)
{
    using TesTriMesh::_sVertex;
    TesTriMesh::CKrMeshData mesh(0.01);  // sets the tolerance the order uses
    std::mt19937_64 rng(3);
    std::uniform_real_distribution<double> u(-1.0, 1.0);
    std::vector<CKrPoint3d> pts;
    for (int i = 0; i < 20000; ++i) {
        const double x = (i % 20) * 0.5 + 0.02 * u(rng), y = (i / 20) * 0.03 + 0.002 * u(rng);
        pts.emplace_back(x, y, 0.0);
        if (rng() % 10 < 3) pts.emplace_back(x + 0.004 * u(rng), y + 0.004 * u(rng), 0.001);
    }
    std::shuffle(pts.begin(), pts.end(), rng);
    std::vector<std::unique_ptr<_sVertex>> owned;
    TesTriMesh::CKrMeshData::VerSet& set = mesh.m_setVer;
    for (const CKrPoint3d& p : pts) {
        owned.emplace_back(new _sVertex(p));
        if (!set.insert(owned.back().get()).second) owned.pop_back();
    }
    auto close = [](const CKrPoint3d& a, const CKrPoint3d& b) { return a.Dist2(b) < 1e-4; };
    std::vector<const _sVertex*> kept(set.begin(), set.end());
    ASSERT_EQ(kept.size(), 20000u);
    std::sort(kept.begin(), kept.end(), [](const _sVertex* a, const _sVertex* b) { return a->pt.x < b->pt.x; });
    for (std::size_t i = 0; i < kept.size(); ++i)
        for (std::size_t j = i + 1; j < kept.size() && kept[j]->pt.x - kept[i]->pt.x < 0.01; ++j)
            ASSERT_FALSE(close(kept[i]->pt, kept[j]->pt)) << i << " " << j;
    for (const CKrPoint3d& p : pts) {
        _sVertex probe(p);
        const auto it = set.find(&probe);
        ASSERT_TRUE(it != set.end() && close((*it)->pt, p));
    }
    // Erase every third vertex: its points then find nothing, the others
    // still find theirs.
    std::vector<char> gone(owned.size(), 0);
    for (std::size_t i = 0; i < owned.size(); i += 3) {
        const auto it = set.find(owned[i].get());
        ASSERT_TRUE(it != set.end() && *it == owned[i].get());
        set.erase(it);
        gone[i] = 1;
    }
    EXPECT_EQ(set.size(), owned.size() - (owned.size() + 2) / 3);
    for (std::size_t i = 0; i < owned.size(); ++i) {
        _sVertex probe(owned[i]->pt);
        const auto it = set.find(&probe);
        EXPECT_EQ(it == set.end(), gone[i] != 0) << i;
    }
    set.clear();  // the vertices are owned here, not by the mesh
}
