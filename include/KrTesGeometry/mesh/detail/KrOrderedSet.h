#ifndef KRTES_KRORDEREDSET_H
#define KRTES_KRORDEREDSET_H

// CKrOrderedSet: an ordered set kept in a B+tree, a drop-in for the parts of
// std::set<T, Less> the mesh code uses.
//
// Why not std::set: a red-black tree of a million vertices is a million
// separately allocated nodes, so an insert pays a cache miss on almost every
// one of its ~20 levels and an in-order walk is a million dependent pointer
// loads. Here the elements live in sorted arrays of ~60 in leaves that are
// linked in order, under a tree of fan-out ~63 that is three or four levels
// deep: a descent touches a handful of nodes, a walk streams through arrays,
// and the structure costs about 12 bytes per element instead of ~40.
//
// Element type: T must be trivially copyable (elements are moved with memmove
// when arrays shift); it is meant for pointers and small values. Less is a
// comparator object.
//
// Equivalence follows std::set's own insert, which matters when Less is not a
// strict weak order (the tolerant vertex order merges points closer than a
// tolerance, and "closer than" is not transitive). insert finds the position
// of the key, the first element e with Less(key, e), and compares the key
// only with the element just before that position: when !Less(before, key),
// that element is the existing equivalent, returned with nothing inserted.
// find(key) is the first e with !Less(e, key), when also !Less(key, e). For a
// strict weak order this is exactly std::set's behaviour. When Less is not
// transitive, a search can pass by an element that is present; which ones
// depends on the shape of the structure, so this set and std::set do not
// always miss the same ones. A comparator that names its bands and cells
// (SameBand, CellSize: the tolerant vertex order does) gets an element-by-
// -cell grid once its bands prove too dense to search around a position, and
// then misses none (see NearFind).
//
// Iterators are bidirectional and read-only (iterator and const_iterator are
// the same type). Iterator validity: any insert or erase may invalidate every
// iterator into the set except the one it returns; erase(it) returns the
// iterator to the element that followed the erased one, so
//     for (it = s.begin(); it != s.end(); ) it = cond(*it) ? s.erase(it) : ++it;
// works. Lookups, iteration, copies and swaps invalidate nothing (swap and
// move keep iterators pointing into the container that now owns the nodes).
//
// The set owns its nodes only: clear() and the destructor never touch the
// elements (a set of pointers does not delete what they point to).

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <iterator>
#include <memory>
#include <type_traits>
#include <unordered_map>
#include <utility>

#if defined(_MSC_VER) && !defined(__clang__)
#include <xmmintrin.h>
#endif

namespace TesTriMesh {
// Building blocks of the mesh's record sets: public only because the mesh
// types are made of them; hosts use them through CKrMeshData.
namespace detail {

namespace KrOrderedSetDetail {

// A hint to start loading the cache line at p. A comparison of two pointer
// elements reads both objects; loading them ahead of the comparison lets the
// misses of a search overlap instead of queueing one behind the other.
inline void Prefetch(const void* p)
{
#if defined(_MSC_VER) && !defined(__clang__)
    _mm_prefetch(static_cast<const char*>(p), _MM_HINT_T0);
#else
    __builtin_prefetch(p);
#endif
}

template <class T>
inline void PrefetchElement(const T& v)
{
    if constexpr (std::is_pointer<T>::value) Prefetch(v);
}

// Slot counts that make a leaf 512 bytes and an inner node 1 KiB for 8-byte
// elements: small enough that inserting into a node shifts little, large
// enough that the tree stays shallow.
template <class T>
constexpr unsigned DefaultLeafCap()
{
    return (512 - 32) / sizeof(T) < 8 ? 8u : static_cast<unsigned>((512 - 32) / sizeof(T));
}

template <class T>
constexpr unsigned DefaultInnerCap()
{
    return (1024 - 16 + sizeof(T)) / (sizeof(T) + sizeof(void*)) < 4
               ? 4u
               : static_cast<unsigned>((1024 - 16 + sizeof(T)) / (sizeof(T) + sizeof(void*)));
}

// A comparator may declare a prefix of its elements that alone decides most
// comparisons:
//     static P Prefix(const T& x);
//     static int ComparePrefix(P a, P b);  // < 0: a's element comes first,
//                                          // > 0: it comes after, 0: undecided
// The set then keeps each element's prefix beside it in the nodes, and a
// search compares the stored prefixes, reading the elements themselves only
// where the prefixes leave the order undecided. For pointer elements that
// is the difference between touching a handful of nodes and touching the
// scattered objects of every comparison.
template <class C, class T, class = void>
struct PrefixTraits {
    static constexpr bool kHas = false;
    using P = char;
};
template <class C, class T>
struct PrefixTraits<C, T,
                    std::void_t<decltype(C::ComparePrefix(C::Prefix(std::declval<const T&>()),
                                                          C::Prefix(std::declval<const T&>())))>> {
    static constexpr bool kHas = true;
    using P = decltype(C::Prefix(std::declval<const T&>()));
};

// The prefix array of a node; nothing at all for comparators without prefixes.
template <bool Has, class P, unsigned N>
struct PrefixSlots {
    P prefix[N];
    P* Prefixes() { return prefix; }
    const P* Prefixes() const { return prefix; }
};
template <class P, unsigned N>
struct PrefixSlots<false, P, N> {
    P* Prefixes() { return nullptr; }
    const P* Prefixes() const { return nullptr; }
};

}  // namespace KrOrderedSetDetail

template <class T, class Less = std::less<T>, unsigned LeafCap = KrOrderedSetDetail::DefaultLeafCap<T>(),
          unsigned InnerCap = KrOrderedSetDetail::DefaultInnerCap<T>()>
class CKrOrderedSet {
    static_assert(std::is_trivially_copyable<T>::value, "CKrOrderedSet moves elements with memmove");
    static_assert(LeafCap >= 4 && InnerCap >= 4, "nodes must hold at least four entries");

    static constexpr bool kPrefix = KrOrderedSetDetail::PrefixTraits<Less, T>::kHas;
    using P = typename KrOrderedSetDetail::PrefixTraits<Less, T>::P;
    static_assert(std::is_trivially_copyable<P>::value, "prefixes are moved with memmove");

    struct Inner;
    struct Node {
        Inner* parent;
        uint32_t count;  // elements of a leaf, children of an inner node
        bool leaf;
        explicit Node(bool isLeaf) : parent(nullptr), count(0), leaf(isLeaf) {}
    };
    // Prefixes()[i] is the prefix of v[i].
    struct alignas(64) Leaf : Node, KrOrderedSetDetail::PrefixSlots<kPrefix, P, LeafCap> {
        Leaf* prev;
        Leaf* next;
        T v[LeafCap];
        Leaf() : Node(true), prev(nullptr), next(nullptr) {}
        T* Elems() { return v; }
        const T* Elems() const { return v; }
    };
    // key[i] is always the first element of the subtree under child[i + 1].
    // Keeping it exact (rather than any value between the two children) means
    // no key ever refers to an element that has been erased: the pointed-to
    // object may already be freed by then and must not be read again.
    // Prefixes()[i] is the prefix of key[i].
    struct alignas(64) Inner : Node, KrOrderedSetDetail::PrefixSlots<kPrefix, P, InnerCap - 1> {
        T key[InnerCap - 1];
        Node* child[InnerCap];
        Inner() : Node(false) {}
        T* Elems() { return key; }
        const T* Elems() const { return key; }
    };

    static constexpr unsigned kLeafMin = LeafCap / 2;
    static constexpr unsigned kInnerMin = InnerCap / 2;

public:
    using key_type = T;
    using value_type = T;
    using key_compare = Less;
    using value_compare = Less;
    using size_type = size_t;
    using difference_type = ptrdiff_t;
    using reference = const T&;
    using const_reference = const T&;
    using pointer = const T*;
    using const_pointer = const T*;

    class const_iterator {
    public:
        using iterator_category = std::bidirectional_iterator_tag;
        using value_type = T;
        using difference_type = ptrdiff_t;
        using pointer = const T*;
        using reference = const T&;

        const_iterator() : m_leaf(nullptr), m_i(0) {}
        reference operator*() const { return m_leaf->v[m_i]; }
        pointer operator->() const { return &m_leaf->v[m_i]; }
        const_iterator& operator++()
        {
            if (++m_i == m_leaf->count && m_leaf->next) {
                m_leaf = m_leaf->next;
                m_i = 0;
            }
            return *this;
        }
        const_iterator operator++(int)
        {
            const_iterator r = *this;
            ++*this;
            return r;
        }
        const_iterator& operator--()
        {
            if (m_i == 0) {
                m_leaf = m_leaf->prev;
                m_i = m_leaf->count - 1;
            } else {
                --m_i;
            }
            return *this;
        }
        const_iterator operator--(int)
        {
            const_iterator r = *this;
            --*this;
            return r;
        }
        friend bool operator==(const const_iterator& a, const const_iterator& b)
        {
            return a.m_leaf == b.m_leaf && a.m_i == b.m_i;
        }
        friend bool operator!=(const const_iterator& a, const const_iterator& b) { return !(a == b); }

    private:
        friend class CKrOrderedSet;
        // An element is (leaf, index < count); end() is (last leaf, its count),
        // or (null, 0) for an empty set. Positions are kept in that form, so
        // equal positions compare equal.
        const_iterator(const Leaf* leaf, size_t i) : m_leaf(leaf), m_i(static_cast<uint32_t>(i)) {}
        const Leaf* m_leaf;
        uint32_t m_i;
    };
    using iterator = const_iterator;
    using const_reverse_iterator = std::reverse_iterator<const_iterator>;
    using reverse_iterator = const_reverse_iterator;

    // ---- construction -------------------------------------------------------
    CKrOrderedSet() : m_root(nullptr), m_first(nullptr), m_last(nullptr), m_size(0), m_comp() {}
    explicit CKrOrderedSet(const Less& comp)
        : m_root(nullptr), m_first(nullptr), m_last(nullptr), m_size(0), m_comp(comp)
    {
    }
    template <class InputIt>
    CKrOrderedSet(InputIt first, InputIt last) : CKrOrderedSet()
    {
        insert(first, last);
    }
    CKrOrderedSet(std::initializer_list<T> il) : CKrOrderedSet() { insert(il.begin(), il.end()); }
    ~CKrOrderedSet() { clear(); }

    // A copy has its own nodes with the same elements in the same shape; the
    // pointed-to objects are shared, not copied.
    CKrOrderedSet(const CKrOrderedSet& o) : CKrOrderedSet(o.m_comp) { CopyFrom(o); }
    CKrOrderedSet& operator=(const CKrOrderedSet& o)
    {
        if (this != &o) {
            CKrOrderedSet tmp(o);
            swap(tmp);
        }
        return *this;
    }
    CKrOrderedSet(CKrOrderedSet&& o) noexcept : CKrOrderedSet(o.m_comp) { swap(o); }
    CKrOrderedSet& operator=(CKrOrderedSet&& o) noexcept
    {
        if (this != &o) {
            clear();
            swap(o);
        }
        return *this;
    }
    void swap(CKrOrderedSet& o) noexcept
    {
        std::swap(m_root, o.m_root);
        std::swap(m_first, o.m_first);
        std::swap(m_last, o.m_last);
        std::swap(m_size, o.m_size);
        std::swap(m_comp, o.m_comp);
        std::swap(m_near, o.m_near);
    }
    friend void swap(CKrOrderedSet& a, CKrOrderedSet& b) noexcept { a.swap(b); }

    // ---- capacity and iteration ------------------------------------------------
    size_t size() const { return m_size; }
    bool empty() const { return m_size == 0; }
    key_compare key_comp() const { return m_comp; }
    value_compare value_comp() const { return m_comp; }

    const_iterator begin() const { return const_iterator(m_first, 0); }
    const_iterator end() const { return m_last ? const_iterator(m_last, m_last->count) : const_iterator(); }
    const_iterator cbegin() const { return begin(); }
    const_iterator cend() const { return end(); }
    const_reverse_iterator rbegin() const { return const_reverse_iterator(end()); }
    const_reverse_iterator rend() const { return const_reverse_iterator(begin()); }
    const_reverse_iterator crbegin() const { return rbegin(); }
    const_reverse_iterator crend() const { return rend(); }

    // Frees every node; the elements themselves are left alone.
    void clear()
    {
        if (m_root) FreeNode(m_root);
        m_root = nullptr;
        m_first = m_last = nullptr;
        m_size = 0;
        m_near.reset();
    }

    // ---- lookup -------------------------------------------------------------------
    // First element e with !Less(e, key).
    const_iterator lower_bound(const T& key) const
    {
        if (!m_root) return end();
        const P pkey = PrefixOf(key);
        const Node* n = m_root;
        while (!n->leaf) {
            const Inner* in = static_cast<const Inner*>(n);
            n = in->child[LowerIn(in->key, in->Prefixes(), in->count - 1, key, pkey)];
            PrefetchNode(n);
        }
        const Leaf* l = static_cast<const Leaf*>(n);
        return Normal(l, LowerIn(l->v, l->Prefixes(), l->count, key, pkey));
    }
    // First element e with Less(key, e).
    const_iterator upper_bound(const T& key) const
    {
        if (!m_root) return end();
        const P pkey = PrefixOf(key);
        const Leaf* l = DescendUpper(key, pkey);
        return Normal(l, UpperIn(l->v, l->Prefixes(), l->count, key, pkey));
    }
    std::pair<const_iterator, const_iterator> equal_range(const T& key) const
    {
        return {lower_bound(key), upper_bound(key)};
    }
    const_iterator find(const T& key) const
    {
        const_iterator it = lower_bound(key);
        if (it != end() && !m_comp(key, *it)) return it;
        const P pkey = PrefixOf(key);
        bool cut = false;
        const const_iterator near = FindInBand(it, key, pkey, cut);
        if (near != end() || !cut) return near;
        // A band too dense to walk: the grid when it is current, else the
        // whole band (a lookup must not build anything: it may run on
        // several threads at once).
        if (NearCurrent()) return NearFind(key, pkey);
        return FindInBand(it, key, pkey, cut, kWholeBand);
    }
    size_t count(const T& key) const { return find(key) != end() ? 1 : 0; }
    bool contains(const T& key) const { return find(key) != end(); }

    // ---- insertion ---------------------------------------------------------------------
    // Inserts key unless an equivalent element is found (see the header
    // comment); returns the new or the existing element and whether key went in.
    std::pair<const_iterator, bool> insert(const T& key) { return Insert(key, true); }
    // The same, looking for an equivalent element only around the key's
    // position (never in the grid of dense bands, which it neither builds nor
    // asks): for a caller that knows from elsewhere that no element is
    // equivalent to key, such as a triangulator checking its own vertex
    // index first, and must not pay for the grid.
    std::pair<const_iterator, bool> InsertNearby(const T& key) { return Insert(key, false); }

private:
    std::pair<const_iterator, bool> Insert(const T& key, bool useGrid)
    {
        if (!m_root) return {InsertFirst(key), true};
        const P pkey = PrefixOf(key);
        Leaf* l = DescendUpper(key, pkey);
        const size_t pos = UpperIn(l->v, l->Prefixes(), l->count, key, pkey);
        const Leaf* pl = l;
        size_t pi = pos;
        if (pi == 0) {
            pl = l->prev;
            pi = pl ? pl->count : 0;
        }
        if (pl && !LessAt(pl->v[pi - 1], LeafPrefix(pl, pi - 1), key, pkey))
            return {const_iterator(pl, pi - 1), false};
        bool cut = false;
        // Once a grid stands, it answers for the dense bands: a short walk first.
        const size_t reach = useGrid && !NearCurrent() ? kSearchReach : kNearbyReach;
        const_iterator near = FindInBand(Normal(l, pos), key, pkey, cut, reach);
        if (near == end() && useGrid && (cut || m_near)) {
            if (!NearCurrent()) NearBuild();
            near = NearFind(key, pkey);
        }
        if (near != end()) return {near, false};
        return {InsertAt(l, pos, key, pkey), true};
    }

public:
    // Inserts key just before hint when that is its place (the element before
    // hint is less than key and key is less than *hint): O(1) amortized for
    // keys arriving in order with hint end(). Otherwise an ordinary insert.
    // Returns the new or the existing equivalent element.
    const_iterator insert(const_iterator hint, const T& key)
    {
        if (hint.m_leaf) {
            const bool beforeHint = hint == end() || m_comp(key, *hint);
            if (beforeHint) {
                bool afterPrev = hint == begin();
                if (!afterPrev) {
                    const_iterator p = hint;
                    --p;
                    afterPrev = m_comp(*p, key);
                }
                if (afterPrev) {
                    const P pkey = PrefixOf(key);
                    if (m_near) {
                        if (!NearCurrent()) NearBuild();
                        const const_iterator near = NearFind(key, pkey);
                        if (near != end()) return near;
                    }
                    return InsertAt(const_cast<Leaf*>(hint.m_leaf), hint.m_i, key, pkey);
                }
            }
        }
        return insert(key).first;
    }
    template <class InputIt>
    void insert(InputIt first, InputIt last)
    {
        for (; first != last; ++first) insert(*first);
    }

    // ---- erasure ---------------------------------------------------------------------------
    // Removes the element at it; returns the iterator to the element that
    // followed it (end() when it was the last).
    const_iterator erase(const_iterator it)
    {
        Leaf* l = const_cast<Leaf*>(it.m_leaf);
        size_t i = it.m_i;
        if (m_near) NearRemove(l->v[i], LeafPrefix(l, i));
        SlotMove(l, i, l, i + 1, l->count - i - 1);
        --l->count;
        --m_size;
        if (m_size == 0) {
            clear();
            return end();
        }
        if (i == 0 && l->count > 0) SetFirstKey(l, l, 0);
        if (l != m_root && l->count < kLeafMin) RebalanceLeaf(l, i);
        return Normal(l, i);
    }
    // Removes [first, last); returns last's element (or end()).
    const_iterator erase(const_iterator first, const_iterator last)
    {
        // Erasing reshapes nodes, so last may not survive; count instead.
        size_t n = static_cast<size_t>(std::distance(first, last));
        while (n-- > 0) first = erase(first);
        return first;
    }
    // Removes the elements equivalent to key, from lower_bound(key) up to the
    // first element greater than key; returns how many. With a strict weak
    // order that is equal_range(key), 0 or 1 element; a tolerant order can
    // hold two elements that are both equivalent to key.
    size_t erase(const T& key)
    {
        size_t n = 0;
        for (const_iterator it = lower_bound(key); it != end() && !m_comp(key, *it); ++n) it = erase(it);
        return n;
    }

    // Re-reads every element's prefix. The prefixes are cached in the nodes,
    // so code that moves elements in place (a uniform shift that keeps their
    // order) must call this afterwards; without prefixes it does nothing.
    void RefreshPrefixes()
    {
        if constexpr (kPrefix) {
            if (m_root) RefreshPrefixes(m_root);
        }
        m_near.reset();  // built again from the new prefixes when needed
    }

    // ---- diagnostics -------------------------------------------------------------------------
    // Bytes held in nodes (what the set itself costs besides its own object).
    size_t NodeBytes() const { return m_root ? NodeBytes(m_root) : 0; }

    // Checks every structural invariant: parent links, leaf chain, counts,
    // order within and across nodes, each key being the first element of the
    // subtree to its right, and equal leaf depth. For tests and debugging.
    bool CheckStructure() const
    {
        if (!m_root) return m_size == 0 && !m_first && !m_last;
        if (m_root->parent) return false;
        const Leaf* prevLeaf = nullptr;
        size_t n = 0;
        int leafDepth = -1;
        if (!CheckNode(m_root, 0, leafDepth, prevLeaf, n)) return false;
        return n == m_size && prevLeaf == m_last && m_last->next == nullptr && m_first->prev == nullptr;
    }

private:
    Node* m_root;
    Leaf* m_first;
    Leaf* m_last;
    size_t m_size;
    Less m_comp;
    struct NearGrid;
    std::unique_ptr<NearGrid> m_near;  // see NearFind; null until a band proves too dense

    // ---- prefixes -------------------------------------------------------------------
    static P PrefixOf(const T& x)
    {
        if constexpr (kPrefix)
            return Less::Prefix(x);
        else
            return P();
    }
    // Less(a, b), decided by the prefixes where they can.
    bool LessAt(const T& a, P pa, const T& b, P pb) const
    {
        if constexpr (kPrefix) {
            const int c = Less::ComparePrefix(pa, pb);
            if (c != 0) return c < 0;
        } else {
            (void)pa;
            (void)pb;
        }
        return m_comp(a, b);
    }
    // Element moves keep each prefix with its element (memmove semantics).
    // N is a leaf (its elements) or an inner node (its keys).
    template <class N>
    static void SlotMove(N* d, size_t di, const N* s, size_t si, size_t n)
    {
        std::memmove(static_cast<void*>(d->Elems() + di), s->Elems() + si, n * sizeof(T));
        if constexpr (kPrefix)
            std::memmove(static_cast<void*>(d->Prefixes() + di), s->Prefixes() + si, n * sizeof(P));
    }
    template <class N>
    static void SlotPut(N* d, size_t i, const T& x, const P& px)
    {
        d->Elems()[i] = x;
        if constexpr (kPrefix) d->Prefixes()[i] = px;
    }
    // The prefix of l->v[i] (a default value without prefixes).
    static P LeafPrefix(const Leaf* l, size_t i)
    {
        if constexpr (kPrefix)
            return l->Prefixes()[i];
        else
            return P();
    }

    // ---- searching within a node ----------------------------------------------------
    // Index of the first of a[0..n) that does not precede the answer, given
    // before(i) true for a leading run of indexes and false after it. When the
    // result is i > 0, a[i - 1] has itself been tested, which insert relies on.
    //
    // The search halves the range without branching on the outcome. For
    // pointer elements compared through the objects (no prefixes) it starts
    // loading every candidate of the next two probes before it compares, so
    // that the reads of scattered elements overlap instead of following one
    // another. Once base has moved, base is known to precede the answer and
    // needs no last comparison.
    template <class Before>
    static size_t Search(const T* a, size_t n, Before before)
    {
        if (n == 0) return 0;
        size_t base = 0;
        if constexpr (!kPrefix) {
            using KrOrderedSetDetail::PrefetchElement;
            if (n > 1) PrefetchElement(a[n / 2]);
        }
        while (n > 1) {
            const size_t half = n / 2, n2 = n - half;
            if constexpr (!kPrefix) {
                using KrOrderedSetDetail::PrefetchElement;
                const size_t h2 = n2 / 2, h3 = (n2 - h2) / 2;
                if (n2 > 1) {
                    PrefetchElement(a[base + h2]);
                    PrefetchElement(a[base + half + h2]);
                    if (n2 - h2 > 1) {
                        PrefetchElement(a[base + h3]);
                        PrefetchElement(a[base + h2 + h3]);
                        PrefetchElement(a[base + half + h3]);
                        PrefetchElement(a[base + half + h2 + h3]);
                    }
                }
            }
            if (before(base + half)) base += half;
            n = n2;
        }
        if (base != 0) return base + 1;
        return before(0) ? 1 : 0;
    }
    // Index of the first of a[0..n) with Less(key, a[i]); n when none.
    size_t UpperIn(const T* a, const P* pa, size_t n, const T& key, const P& pkey) const
    {
        return Search(a, n, [&](size_t i) { return !LessAt(key, pkey, a[i], kPrefix ? pa[i] : P()); });
    }
    // Index of the first of a[0..n) with !Less(a[i], key); n when none.
    size_t LowerIn(const T* a, const P* pa, size_t n, const T& key, const P& pkey) const
    {
        return Search(a, n, [&](size_t i) { return LessAt(a[i], kPrefix ? pa[i] : P(), key, pkey); });
    }

    // Starts loading the part of a node that its search reads (a leaf's
    // elements or prefixes, an inner node's keys or prefixes) as soon as the
    // node is chosen.
    static void PrefetchNode(const Node* n)
    {
        const char* c = reinterpret_cast<const char*>(n);
        size_t bytes = std::min<size_t>(1024, std::max(sizeof(Leaf), 16 + sizeof(T) * (InnerCap - 1)));
        if constexpr (kPrefix) {
            if (n->leaf) {
                c = reinterpret_cast<const char*>(static_cast<const Leaf*>(n)->Prefixes());
                bytes = sizeof(P) * LeafCap;
            } else {
                c = reinterpret_cast<const char*>(static_cast<const Inner*>(n)->Prefixes());
                bytes = sizeof(P) * (InnerCap - 1);
            }
        }
        for (size_t k = 0; k < bytes; k += 64) KrOrderedSetDetail::Prefetch(c + k);
    }

    Leaf* DescendUpper(const T& key, const P& pkey) const
    {
        Node* n = m_root;
        while (!n->leaf) {
            Inner* in = static_cast<Inner*>(n);
            n = in->child[UpperIn(in->key, in->Prefixes(), in->count - 1, key, pkey)];
            PrefetchNode(n);
        }
        return static_cast<Leaf*>(n);
    }

    // (l, i) with i == l->count names the first element of the next leaf.
    const_iterator Normal(const Leaf* l, size_t i) const
    {
        if (i == l->count && l->next) return const_iterator(l->next, 0);
        return const_iterator(l, i);
    }

    static size_t ChildIndex(const Inner* p, const Node* c)
    {
        size_t j = 0;
        while (p->child[j] != c) ++j;
        return j;
    }

    // The key naming the first element of l's subtree lives in the nearest
    // ancestor reached through a child other than its first; none for the
    // leftmost leaf.
    static void SetFirstKey(Node* n, const Leaf* l, size_t i)
    {
        while (Inner* p = n->parent) {
            const size_t j = ChildIndex(p, n);
            if (j > 0) {
                SlotPut(p, j - 1, l->v[i], LeafPrefix(l, i));
                return;
            }
            n = p;
        }
    }

    // ---- inserting ----------------------------------------------------------------------
    const_iterator InsertFirst(const T& key)
    {
        Leaf* l = new Leaf;
        SlotPut(l, 0, key, PrefixOf(key));
        l->count = 1;
        m_root = m_first = m_last = l;
        m_size = 1;
        return const_iterator(l, 0);
    }

    // Puts key at position pos of leaf l, splitting as needed.
    // A comparator that is not transitive (a tolerant order, where elements
    // closer than a tolerance are equivalent) may leave an equivalent element
    // a few places away from the position a search lands on. Such a
    // comparator declares "static bool SameBand(a, b)": true when a and b are
    // close enough on its first criterion for the order between them to be
    // unreliable. The elements around the position are then checked for an
    // equivalent one as long as they stay in the key's band. Comparators
    // without it (strict orders) skip this: their equivalents are adjacent.
    template <class C, class = void>
    struct HasBand : std::false_type {};
    template <class C>
    struct HasBand<C, std::void_t<decltype(C::SameBand(std::declval<const T&>(), std::declval<const T&>()))>>
        : std::true_type {};

    // (With prefixes, the comparator's SameBand also takes two prefixes.)
    bool InBand(const_iterator it, const T& key, const P& pkey) const
    {
        if constexpr (kPrefix)
            return Less::SameBand(LeafPrefix(it.m_leaf, it.m_i), pkey);
        else
            return Less::SameBand(*it, key);
    }
    // Neither element precedes the other (the prefixes rule it out where they can).
    bool Equivalent(const_iterator it, const T& key, const P& pkey) const
    {
        if constexpr (kPrefix) {
            if (Less::ComparePrefix(LeafPrefix(it.m_leaf, it.m_i), pkey) != 0) return false;
        } else {
            (void)pkey;
        }
        return !m_comp(*it, key) && !m_comp(key, *it);
    }
    // The walk stops at `reach` elements each way (none: the whole band);
    // `cut` tells whether it stopped there with the band going on. A band is
    // usually a handful of elements; random points a few centimetres apart
    // put some tens in one, a scan line along y thousands.
    static constexpr size_t kNearbyReach = 16, kSearchReach = 256, kWholeBand = static_cast<size_t>(-1);
    const_iterator FindInBand(const_iterator at, const T& key, const P& pkey, bool& cut,
                              size_t reach = kSearchReach) const
    {
        if constexpr (HasBand<Less>::value) {
            const_iterator r = at;
            size_t k = 0;
            for (; k < reach && r != end() && InBand(r, key, pkey); ++k, ++r)
                if (Equivalent(r, key, pkey)) return r;
            cut = k == reach && r != end() && InBand(r, key, pkey);
            const_iterator l = at;
            for (k = 0; l != begin(); ++k) {
                if (k == reach) {
                    const_iterator before = l;
                    --before;
                    cut = cut || InBand(before, key, pkey);
                    break;
                }
                --l;
                if (!InBand(l, key, pkey)) break;
                if (Equivalent(l, key, pkey)) return l;
            }
        } else {
            (void)at;
            (void)key;
            (void)pkey;
            (void)reach;
            cut = false;
        }
        return end();
    }

    // ---- the near grid -------------------------------------------------------------
    // A tolerant order can scatter the elements of a dense band (thousands of
    // points whose first coordinates agree within a few tolerances, as along
    // a lidar scan line) so widely that no walk from the search position
    // reaches the equivalent element. A comparator whose prefix is a plan
    // position (x, y) and that declares "static double CellSize()" (its
    // tolerance) gets a hashed grid of cells of that size over the prefixes,
    // built by the first insert whose band walk was cut short and kept
    // current by every insert and erase after that. An element equivalent to
    // a key lies in the 3 x 3 cells around the key's, so the grid answers in
    // a few probes. A change of the cell size or of the prefixes drops it.
    template <class C, class = void>
    struct HasCell : std::false_type {};
    template <class C>
    struct HasCell<C, std::void_t<decltype(C::CellSize())>> : std::true_type {};
    static constexpr bool kNear = HasBand<Less>::value && kPrefix && HasCell<Less>::value;

    struct NearGrid {
        double cell = 0.0;
        std::unordered_multimap<uint64_t, T> at;  // cell key -> elements
    };
    static double NearCellSize()
    {
        if constexpr (kNear)
            return Less::CellSize();
        else
            return 0.0;
    }
    // The cell of a prefix; false for one too far out (or not finite) to grid.
    static bool NearCell(const P& p, double cell, int64_t& cx, int64_t& cy)
    {
        if constexpr (kNear) {
            const double fx = std::floor(p.x / cell), fy = std::floor(p.y / cell);
            if (!(std::fabs(fx) < 4e18 && std::fabs(fy) < 4e18)) return false;
            cx = static_cast<int64_t>(fx);
            cy = static_cast<int64_t>(fy);
            return true;
        } else {
            (void)p;
            (void)cell;
            (void)cx;
            (void)cy;
            return false;
        }
    }
    static uint64_t NearKey(int64_t cx, int64_t cy)
    {
        return static_cast<uint64_t>(cx) * 0x9E3779B97F4A7C15ull ^ (static_cast<uint64_t>(cy) + 0x632BE59BD9B4E019ull);
    }
    bool NearCurrent() const { return m_near && m_near->cell == NearCellSize(); }
    void NearBuild()
    {
        m_near.reset();
        const double cell = NearCellSize();
        if (!(cell > 0.0)) return;
        m_near.reset(new NearGrid);
        m_near->cell = cell;
        m_near->at.reserve(m_size);
        for (const Leaf* l = m_first; l; l = l->next)
            for (size_t i = 0; i < l->count; ++i) NearAdd(l->v[i], LeafPrefix(l, i));
    }
    void NearAdd(const T& x, const P& px)
    {
        int64_t cx, cy;
        if (NearCell(px, m_near->cell, cx, cy)) m_near->at.emplace(NearKey(cx, cy), x);
    }
    void NearRemove(const T& x, const P& px)
    {
        int64_t cx, cy;
        if (!NearCell(px, m_near->cell, cx, cy)) return;
        const auto range = m_near->at.equal_range(NearKey(cx, cy));
        for (auto it = range.first; it != range.second; ++it)
            if (it->second == x) {
                m_near->at.erase(it);
                return;
            }
    }
    // An element equivalent to key by the grid (which must be current), the
    // first one under the order when several are; end() when none is.
    const_iterator NearFind(const T& key, const P& pkey) const
    {
        int64_t cx, cy;
        if (!m_near || !NearCell(pkey, m_near->cell, cx, cy)) return end();
        const T* best = nullptr;
        for (int64_t dx = -1; dx <= 1; ++dx)
            for (int64_t dy = -1; dy <= 1; ++dy) {
                const auto range = m_near->at.equal_range(NearKey(cx + dx, cy + dy));
                for (auto it = range.first; it != range.second; ++it)
                    if (!m_comp(it->second, key) && !m_comp(key, it->second) && (!best || m_comp(it->second, *best)))
                        best = &it->second;
            }
        if (!best) return end();
        // Where the element stands: near where a search for it lands, on
        // either side, so look both ways at once.
        const_iterator r = lower_bound(*best), l = r;
        while (r != end() || l != begin()) {
            if (r != end()) {
                if (*r == *best) return r;
                ++r;
            }
            if (l != begin() && *--l == *best) return l;
        }
        return end();
    }

    const_iterator InsertAt(Leaf* l, size_t pos, const T& key, const P& pkey)
    {
        if (m_near) NearAdd(key, pkey);
        // Position 0 of a leaf other than the first is the same place as the
        // end of the previous leaf; going there keeps the keys above exact.
        if (pos == 0 && l->prev) {
            l = l->prev;
            pos = l->count;
        }
        if (l->count < LeafCap) {
            SlotMove(l, pos + 1, l, pos, l->count - pos);
            SlotPut(l, pos, key, pkey);
            ++l->count;
            ++m_size;
            return const_iterator(l, pos);
        }
        // Split. Keys arriving in order (appended at the right end or put in
        // front at the left end) would leave every leaf half full with an even
        // split, so there the full leaf stays full and the newcomer opens a
        // new one.
        size_t keep = LeafCap / 2;
        const bool atRightEnd = pos == LeafCap && !l->next;
        if (atRightEnd)
            keep = LeafCap;
        else if (pos == 0 && !l->prev)
            keep = 0;
        Leaf* r = new Leaf;
        SlotMove(r, 0, l, keep, LeafCap - keep);
        r->count = static_cast<uint32_t>(LeafCap - keep);
        l->count = static_cast<uint32_t>(keep);
        r->prev = l;
        r->next = l->next;
        if (l->next)
            l->next->prev = r;
        else
            m_last = r;
        l->next = r;
        Leaf* target = l;
        if (pos > keep || (pos == keep && keep == LeafCap)) {
            target = r;
            pos -= keep;
        }
        SlotMove(target, pos + 1, target, pos, target->count - pos);
        SlotPut(target, pos, key, pkey);
        ++target->count;
        ++m_size;
        InsertChild(l, r, r->v[0], LeafPrefix(r, 0), atRightEnd);
        return const_iterator(target, pos);
    }

    // Files the new node right, whose subtree starts with first, just after
    // left in left's parent.
    void InsertChild(Node* left, Node* right, T first, P pfirst, bool atRightEnd)
    {
        Inner* p = left->parent;
        if (!p) {
            Inner* root = new Inner;
            root->child[0] = left;
            root->child[1] = right;
            SlotPut(root, 0, first, pfirst);
            root->count = 2;
            left->parent = right->parent = root;
            m_root = root;
            return;
        }
        const size_t j = ChildIndex(p, left) + 1;  // where right goes
        if (p->count < InnerCap) {
            const size_t n = p->count;
            std::memmove(static_cast<void*>(p->child + j + 1), p->child + j, (n - j) * sizeof(Node*));
            SlotMove(p, j, p, j - 1, n - j);
            p->child[j] = right;
            SlotPut(p, j - 1, first, pfirst);
            ++p->count;
            right->parent = p;
            return;
        }
        // Split p over InnerCap + 1 children: gather them in order first.
        Node* ch[InnerCap + 1];
        T ks[InnerCap];
        P ps[kPrefix ? InnerCap : 1];
        std::memcpy(static_cast<void*>(ch), p->child, j * sizeof(Node*));
        ch[j] = right;
        std::memcpy(static_cast<void*>(ch + j + 1), p->child + j, (InnerCap - j) * sizeof(Node*));
        std::memcpy(static_cast<void*>(ks), p->key, (j - 1) * sizeof(T));
        ks[j - 1] = first;
        std::memcpy(static_cast<void*>(ks + j), p->key + j - 1, (InnerCap - j) * sizeof(T));
        if constexpr (kPrefix) {
            std::memcpy(static_cast<void*>(ps), p->Prefixes(), (j - 1) * sizeof(P));
            ps[j - 1] = pfirst;
            std::memcpy(static_cast<void*>(ps + j), p->Prefixes() + j - 1, (InnerCap - j) * sizeof(P));
        }
        // Children 0..m-1 stay, m..InnerCap move; ks[m - 1] goes up. At the
        // right end the new node takes only two children (a node with a
        // single child would leave its leaf without a sibling to rebalance with).
        const bool rightEdge = atRightEnd && j == InnerCap;
        const size_t m = rightEdge ? InnerCap - 1 : (InnerCap + 1) / 2;
        Inner* q = new Inner;
        std::memcpy(static_cast<void*>(p->child), ch, m * sizeof(Node*));
        std::memcpy(static_cast<void*>(p->key), ks, (m - 1) * sizeof(T));
        p->count = static_cast<uint32_t>(m);
        std::memcpy(static_cast<void*>(q->child), ch + m, (InnerCap + 1 - m) * sizeof(Node*));
        std::memcpy(static_cast<void*>(q->key), ks + m, (InnerCap - m) * sizeof(T));
        if constexpr (kPrefix) {
            std::memcpy(static_cast<void*>(p->Prefixes()), ps, (m - 1) * sizeof(P));
            std::memcpy(static_cast<void*>(q->Prefixes()), ps + m, (InnerCap - m) * sizeof(P));
        }
        q->count = static_cast<uint32_t>(InnerCap + 1 - m);
        for (size_t k = 0; k < m; ++k) p->child[k]->parent = p;
        for (size_t k = 0; k < q->count; ++k) q->child[k]->parent = q;
        InsertChild(p, q, ks[m - 1], ps[kPrefix ? m - 1 : 0], rightEdge);
    }

    // ---- erasing --------------------------------------------------------------------
    // Refills leaf l, below its minimum, from a sibling; pos follows the
    // position erase will return (it may move to the sibling's leaf).
    void RebalanceLeaf(Leaf*& l, size_t& pos)
    {
        Inner* p = l->parent;
        const size_t j = ChildIndex(p, l);
        if (j > 0) {
            Leaf* s = static_cast<Leaf*>(p->child[j - 1]);
            if (s->count + l->count <= LeafCap) {
                pos += s->count;
                MergeLeaves(s, l, p, j);
                l = s;
            } else {
                const size_t k = (s->count - l->count) / 2;
                SlotMove(l, k, l, 0, l->count);
                SlotMove(l, 0, s, s->count - k, k);
                s->count -= static_cast<uint32_t>(k);
                l->count += static_cast<uint32_t>(k);
                pos += k;
                SlotPut(p, j - 1, l->v[0], LeafPrefix(l, 0));
                return;
            }
        } else {
            Leaf* s = static_cast<Leaf*>(p->child[1]);
            if (s->count + l->count <= LeafCap) {
                const bool wasEmpty = l->count == 0;
                MergeLeaves(l, s, p, 1);
                // l's old first element (the one just erased) may still
                // name l's subtree higher up.
                if (wasEmpty) SetFirstKey(l, l, 0);
            } else {
                const size_t k = (s->count - l->count) / 2;
                SlotMove(l, l->count, s, 0, k);
                SlotMove(s, 0, s, k, s->count - k);
                s->count -= static_cast<uint32_t>(k);
                l->count += static_cast<uint32_t>(k);
                SlotPut(p, 0, s->v[0], LeafPrefix(s, 0));
                return;
            }
        }
        RebalanceInner(p);
    }

    // Moves all of r (child j of p) to the end of its left neighbour l and
    // frees r.
    void MergeLeaves(Leaf* l, Leaf* r, Inner* p, size_t j)
    {
        SlotMove(l, l->count, r, 0, r->count);
        l->count += r->count;
        l->next = r->next;
        if (r->next)
            r->next->prev = l;
        else
            m_last = l;
        RemoveChild(p, j);
        delete r;
    }

    static void RemoveChild(Inner* p, size_t j)
    {
        std::memmove(static_cast<void*>(p->child + j), p->child + j + 1, (p->count - j - 1) * sizeof(Node*));
        SlotMove(p, j - 1, p, j, p->count - j - 1);
        --p->count;
    }

    // Restores the minimum fill of inner node n and its ancestors after n lost
    // a child; the root shrinks away when it is left with one child.
    void RebalanceInner(Inner* n)
    {
        for (;;) {
            if (n == m_root) {
                if (n->count == 1) {
                    m_root = n->child[0];
                    m_root->parent = nullptr;
                    delete n;
                }
                return;
            }
            if (n->count >= kInnerMin) return;
            Inner* p = n->parent;
            const size_t j = ChildIndex(p, n);
            Inner* l = j > 0 ? static_cast<Inner*>(p->child[j - 1]) : n;
            Inner* r = j > 0 ? n : static_cast<Inner*>(p->child[1]);
            const size_t jr = j > 0 ? j : 1;  // r's index in p
            if (l->count + r->count <= InnerCap) {
                // Merge r into l; the key between them comes down from p.
                const size_t ln = l->count, rn = r->count;
                SlotMove(l, ln - 1, p, jr - 1, 1);
                SlotMove(l, ln, r, 0, rn - 1);
                std::memcpy(static_cast<void*>(l->child + ln), r->child, rn * sizeof(Node*));
                for (size_t k = 0; k < rn; ++k) l->child[ln + k]->parent = l;
                l->count = static_cast<uint32_t>(ln + rn);
                RemoveChild(p, jr);
                delete r;
                n = p;
                continue;
            }
            if (l == n) {
                // Take k children from the front of r.
                const size_t k = (r->count - l->count) / 2, ln = l->count;
                SlotMove(l, ln - 1, p, 0, 1);
                SlotMove(l, ln, r, 0, k - 1);
                std::memcpy(static_cast<void*>(l->child + ln), r->child, k * sizeof(Node*));
                for (size_t i = 0; i < k; ++i) l->child[ln + i]->parent = l;
                l->count = static_cast<uint32_t>(ln + k);
                SlotMove(p, 0, r, k - 1, 1);
                SlotMove(r, 0, r, k, r->count - k - 1);
                std::memmove(static_cast<void*>(r->child), r->child + k, (r->count - k) * sizeof(Node*));
                r->count -= static_cast<uint32_t>(k);
            } else {
                // Take k children from the back of l.
                const size_t k = (l->count - r->count) / 2, rn = r->count, ln = l->count;
                SlotMove(r, k, r, 0, rn - 1);
                std::memmove(static_cast<void*>(r->child + k), r->child, rn * sizeof(Node*));
                SlotMove(r, k - 1, p, j - 1, 1);
                SlotMove(r, 0, l, ln - k, k - 1);
                std::memcpy(static_cast<void*>(r->child), l->child + ln - k, k * sizeof(Node*));
                for (size_t i = 0; i < k; ++i) r->child[i]->parent = r;
                r->count = static_cast<uint32_t>(rn + k);
                SlotMove(p, j - 1, l, ln - k - 1, 1);
                l->count = static_cast<uint32_t>(ln - k);
            }
            return;
        }
    }

    // ---- whole-tree work --------------------------------------------------------------
    static void FreeNode(Node* n)
    {
        if (n->leaf) {
            delete static_cast<Leaf*>(n);
            return;
        }
        Inner* in = static_cast<Inner*>(n);
        for (size_t k = 0; k < in->count; ++k) FreeNode(in->child[k]);
        delete in;
    }

    void CopyFrom(const CKrOrderedSet& o)
    {
        if (!o.m_root) return;
        Leaf* prev = nullptr;
        try {
            CloneInto(o.m_root, nullptr, m_root, prev);
        } catch (...) {
            clear();
            throw;
        }
        m_last = prev;
        m_size = o.m_size;
    }

    // Builds a copy of src in slot; the slot is filled (and the parent's count
    // raised) before recursing, so a failed allocation leaves a tree that
    // clear() can free.
    void CloneInto(const Node* src, Inner* parent, Node*& slot, Leaf*& prev)
    {
        if (src->leaf) {
            const Leaf* s = static_cast<const Leaf*>(src);
            Leaf* d = new Leaf;
            SlotMove(d, 0, s, 0, s->count);
            d->count = s->count;
            d->parent = parent;
            d->prev = prev;
            if (prev)
                prev->next = d;
            else
                m_first = d;
            prev = d;
            slot = d;
            if (parent) ++parent->count;
            return;
        }
        const Inner* s = static_cast<const Inner*>(src);
        Inner* d = new Inner;
        SlotMove(d, 0, s, 0, s->count - 1);
        d->parent = parent;
        slot = d;
        if (parent) ++parent->count;
        for (size_t k = 0; k < s->count; ++k) CloneInto(s->child[k], d, d->child[k], prev);
    }

    static void RefreshPrefixes(Node* n)
    {
        if (n->leaf) {
            Leaf* l = static_cast<Leaf*>(n);
            for (size_t k = 0; k < l->count; ++k) SlotPut(l, k, l->v[k], PrefixOf(l->v[k]));
            return;
        }
        Inner* in = static_cast<Inner*>(n);
        for (size_t k = 0; k + 1 < in->count; ++k) SlotPut(in, k, in->key[k], PrefixOf(in->key[k]));
        for (size_t k = 0; k < in->count; ++k) RefreshPrefixes(in->child[k]);
    }

    static size_t NodeBytes(const Node* n)
    {
        if (n->leaf) return sizeof(Leaf);
        const Inner* in = static_cast<const Inner*>(n);
        size_t b = sizeof(Inner);
        for (size_t k = 0; k < in->count; ++k) b += NodeBytes(in->child[k]);
        return b;
    }

    bool CheckNode(const Node* n, int depth, int& leafDepth, const Leaf*& prevLeaf, size_t& total) const
    {
        if (n->leaf) {
            const Leaf* l = static_cast<const Leaf*>(n);
            if (leafDepth < 0) leafDepth = depth;
            if (depth != leafDepth || l->count == 0 || l->count > LeafCap) return false;
            if (l->prev != prevLeaf || (prevLeaf ? prevLeaf->next != l : m_first != l)) return false;
            if (prevLeaf && !m_comp(prevLeaf->v[prevLeaf->count - 1], l->v[0])) return false;
            for (size_t k = 1; k < l->count; ++k)
                if (!m_comp(l->v[k - 1], l->v[k])) return false;
            if constexpr (kPrefix) {
                for (size_t k = 0; k < l->count; ++k) {
                    const P pk = PrefixOf(l->v[k]);
                    if (std::memcmp(&pk, l->Prefixes() + k, sizeof(P)) != 0) return false;
                }
            }
            prevLeaf = l;
            total += l->count;
            return true;
        }
        const Inner* in = static_cast<const Inner*>(n);
        if (in->count < 2 || in->count > InnerCap) return false;
        for (size_t k = 0; k < in->count; ++k) {
            const Node* c = in->child[k];
            if (c->parent != in) return false;
            if (k > 0) {
                const Node* f = c;
                while (!f->leaf) f = static_cast<const Inner*>(f)->child[0];
                if (std::memcmp(&static_cast<const Leaf*>(f)->v[0], &in->key[k - 1], sizeof(T)) != 0)
                    return false;
                if constexpr (kPrefix) {
                    const P pk = PrefixOf(in->key[k - 1]);
                    if (std::memcmp(&pk, in->Prefixes() + k - 1, sizeof(P)) != 0) return false;
                }
            }
            if (!CheckNode(c, depth + 1, leafDepth, prevLeaf, total)) return false;
        }
        return true;
    }
};

}  // namespace detail
}  // namespace TesTriMesh

#endif  // KRTES_KRORDEREDSET_H
