#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <random>
#include <set>
#include <vector>

#include "support/MeshTestUtil.h"
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
    explicit Pool(int n) : v(static_cast<size_t>(n))
    {
        for (int i = 0; i < n; ++i) v[static_cast<size_t>(i)] = i;
    }
    const int* operator[](int i) const { return &v[static_cast<size_t>(i)]; }
};

template <class S, class It>
const int* Deref(const S& s, It it)
{
    return it == s.end() ? nullptr : *it;
}

// Mixed random operations checked one by one against std::set, with whole
// contents and the tree's invariants compared after each phase.
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
    }
}

}  // namespace

TEST(KrOrderedSet, MatchesStdSetUnderRandomOperations)
{
    RunDifferential<CKrOrderedSet<const int*, IntPtrLess>>(1);
    // Tiny nodes: deep trees, every split, borrow and merge path taken often.
    RunDifferential<CKrOrderedSet<const int*, IntPtrLess, 4, 4>>(2);
    RunDifferential<CKrOrderedSet<const int*, IntPtrLess, 5, 5>>(3);
}

TEST(KrOrderedSet, EraseWhileIteratingWalkBothWaysCopyAndMove)
{
    Pool pool(2000);
    using Set = CKrOrderedSet<const int*, IntPtrLess, 4, 4>;
    Set s;
    std::vector<int> order(2000);
    for (int i = 0; i < 2000; ++i) order[static_cast<size_t>(i)] = i;
    std::shuffle(order.begin(), order.end(), std::mt19937(7));
    for (int i : order) s.insert(pool[i]);

    // Drop every value that is not a multiple of 3, including runs that
    // empty whole leaves, with the usual loop.
    for (auto it = s.begin(); it != s.end();) it = (**it % 3 != 0) ? s.erase(it) : std::next(it);
    ASSERT_TRUE(s.CheckStructure());
    ASSERT_EQ(s.size(), 667u);
    // Backwards: reverse iterators and decrementing from end() cross leaves.
    int expect = 1998;
    for (auto it = s.rbegin(); it != s.rend(); ++it, expect -= 3) ASSERT_EQ(**it, expect);
    EXPECT_EQ(expect, -3);
    // Range erase from the middle returns the element after the range.
    EXPECT_EQ(**s.erase(s.find(pool[300]), s.find(pool[1500])), 1500);
    EXPECT_EQ(s.size(), 667u - 400u);
    EXPECT_TRUE(s.CheckStructure());

    // A copy has its own nodes; a moved-from set is empty and usable.
    Set copy(s);
    ASSERT_TRUE(copy.CheckStructure());
    for (int i = 1; i < 300; i += 3) copy.insert(pool[i]);
    EXPECT_EQ(s.size(), 267u);
    Set moved(std::move(copy));
    EXPECT_TRUE(copy.empty());
    EXPECT_EQ(copy.begin(), copy.end());
    copy.insert(pool[5]);
    EXPECT_EQ(moved.size(), 367u);
    moved = s;  // copy over a larger tree
    EXPECT_EQ(Items(moved), Items(s));
    const Set& same = moved;
    moved = same;
    EXPECT_EQ(moved.size(), 267u);
    moved.swap(copy);
    EXPECT_EQ(Items(moved), std::vector<const int*>{pool[5]});
    EXPECT_EQ(copy.size(), 267u);

    // Emptying from the back, then reuse.
    while (!s.empty()) {
        auto next = s.erase(std::prev(s.end()));
        ASSERT_EQ(next, s.end());
    }
    EXPECT_TRUE(s.CheckStructure());
    EXPECT_EQ(s.find(pool[0]), s.end());
    EXPECT_TRUE(s.insert(pool[42]).second);
    EXPECT_EQ(**s.begin(), 42);
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
    for (const auto* s : {&up, &hinted, &down, &random}) {
        ASSERT_TRUE(s->CheckStructure());
        ASSERT_EQ(s->size(), static_cast<size_t>(n));
        EXPECT_EQ(*std::prev(s->end()), pool[n - 1]);
    }
    // A full 512-byte leaf holds 60; half-full leaves would cost 17 bytes.
    EXPECT_LT(static_cast<double>(up.NodeBytes()) / n, 10.0);
    EXPECT_LT(static_cast<double>(hinted.NodeBytes()) / n, 10.0);
    EXPECT_LT(static_cast<double>(down.NodeBytes()) / n, 10.0);
    EXPECT_LT(static_cast<double>(random.NodeBytes()) / n, 16.0);

    // The same one-sided splits with tiny nodes, checked after every step,
    // with the newest element taken out now and then right after a split.
    CKrOrderedSet<const int*, IntPtrLess, 4, 4> small;
    for (int i = 0; i < 1000; ++i) {
        small.insert(small.end(), pool[i]);
        ASSERT_TRUE(small.CheckStructure()) << i;
        if (i % 5 == 4) {
            small.erase(std::prev(small.end()));
            ASSERT_TRUE(small.CheckStructure()) << i;
            small.insert(pool[i]);
        }
    }
    ASSERT_EQ(small.size(), 1000u);
    for (int i = 0; i < 1000; ++i) {
        auto next = small.erase(small.begin());
        ASSERT_EQ(next, small.begin());
        ASSERT_TRUE(small.CheckStructure()) << i;
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
    std::vector<Pt> p = {{10.0}, {10.005}, {10.02}, {10.008}, {10.016}, {9.995}, {10.006}};
    CKrOrderedSet<Pt*, TolLess> s;
    EXPECT_TRUE(s.insert(&p[0]).second);
    auto dup = s.insert(&p[1]);
    EXPECT_FALSE(dup.second);
    EXPECT_EQ(*dup.first, &p[0]);  // the existing one, not the newcomer
    EXPECT_TRUE(s.insert(&p[2]).second);
    Pt probe{10.004};
    EXPECT_EQ(*s.find(&probe), &p[0]);
    probe.x = 10.011;  // 0.011 from 10.0 but within the tolerance of 10.02
    EXPECT_EQ(*s.find(&probe), &p[2]);
    probe.x = 10.5;
    EXPECT_EQ(s.find(&probe), s.end());

    // 10.008 is equivalent to both 10.0 and 10.016, which are distinct: the
    // key is compared only with the element before its position, as in std::set.
    CKrOrderedSet<Pt*, TolLess> chain;
    std::set<Pt*, TolLess> chainRef;
    for (int i : {0, 4, 3}) {
        auto r = chain.insert(&p[static_cast<size_t>(i)]);
        auto e = chainRef.insert(&p[static_cast<size_t>(i)]);
        EXPECT_EQ(r.second, e.second);
        EXPECT_EQ(*r.first, *e.first);
    }
    EXPECT_EQ(chain.size(), 2u);
    EXPECT_EQ(*chain.insert(&p[3]).first, &p[4]);

    // Erasing by key removes every element equivalent to it, as std::set does.
    CKrOrderedSet<Pt*, TolLess> two{&p[5], &p[6]};
    std::set<Pt*, TolLess> twoRef{&p[5], &p[6]};
    ASSERT_EQ(two.size(), 2u);
    probe.x = 10.0;
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
