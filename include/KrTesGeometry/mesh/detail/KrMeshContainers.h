#ifndef KRTES_KRMESHCONTAINERS_H
#define KRTES_KRMESHCONTAINERS_H

// Containers behind the mesh's record sets. A mesh of millions of triangles
// is edited millions of times by the triangulator, so the sets are built for
// O(1) insert, erase and lookup, while still offering the std::set-like
// interface (begin/end/size/empty/find/count/insert/erase) and the iteration
// orders the algorithms rely on. Each class states its order and which
// iterators stay valid across edits.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <iterator>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#if defined(_MSC_VER) && !defined(__clang__)
#include <intrin.h>
#endif

namespace TesTriMesh {
// Building blocks of the mesh's record sets: public only because the mesh
// types are made of them; hosts use them through CKrMeshData.
namespace detail {

inline uintptr_t KrPtrValue(const void* p)
{
    return reinterpret_cast<uintptr_t>(p);
}

// Index of the lowest set bit of a non-zero word.
inline unsigned KrLowestBit(uint64_t w)
{
#if defined(_MSC_VER) && !defined(__clang__)
    unsigned long i;
    _BitScanForward64(&i, w);
    return static_cast<unsigned>(i);
#else
    return static_cast<unsigned>(__builtin_ctzll(w));
#endif
}

// ---------------------------------------------------------------------------
// CKrSmallPtrSet: a set of pointers kept as a sorted array, ascending by
// pointer value, with the first N elements stored inline (a vertex touches six
// triangles on average, so most sets never allocate).
//
// Iteration is in ascending pointer order. insert and erase shift elements:
// they invalidate iterators at or after the position edited; erase(iterator)
// returns the iterator to the element that followed the erased one.
// ---------------------------------------------------------------------------
template <class T, unsigned N = 8>
class CKrSmallPtrSet {
public:
    using value_type = T*;
    using key_type = T*;
    using size_type = size_t;
    using iterator = T* const*;
    using const_iterator = T* const*;

    CKrSmallPtrSet() : m_n(0), m_cap(N) {}
    ~CKrSmallPtrSet() { FreeHeap(); }
    CKrSmallPtrSet(const CKrSmallPtrSet& o) : m_n(0), m_cap(N) { CopyFrom(o); }
    CKrSmallPtrSet& operator=(const CKrSmallPtrSet& o)
    {
        if (this != &o) {
            m_n = 0;
            CopyFrom(o);
        }
        return *this;
    }

    size_t size() const { return m_n; }
    bool empty() const { return m_n == 0; }
    const_iterator begin() const { return Data(); }
    const_iterator end() const { return Data() + m_n; }

    const_iterator find(const T* p) const
    {
        const_iterator it = LowerBound(p);
        return (it != end() && *it == p) ? it : end();
    }
    size_t count(const T* p) const { return find(p) != end() ? 1 : 0; }

    std::pair<iterator, bool> insert(T* p)
    {
        size_t pos = static_cast<size_t>(LowerBound(p) - Data());
        if (pos < m_n && Data()[pos] == p) return {Data() + pos, false};
        if (m_n == m_cap) Grow();
        T** d = Data();
        for (size_t i = m_n; i > pos; --i) d[i] = d[i - 1];
        d[pos] = p;
        ++m_n;
        return {d + pos, true};
    }

    size_t erase(const T* p)
    {
        const_iterator it = find(p);
        if (it == end()) return 0;
        erase(it);
        return 1;
    }
    iterator erase(const_iterator it)
    {
        T** d = Data();
        const size_t pos = static_cast<size_t>(it - d);
        for (size_t i = pos + 1; i < m_n; ++i) d[i - 1] = d[i];
        --m_n;
        return d + pos;
    }

    // Empties the set and returns to the inline storage.
    void clear()
    {
        FreeHeap();
        m_n = 0;
        m_cap = N;
    }

private:
    T** Data() { return m_cap > N ? m_heap : m_buf; }
    T* const* Data() const { return m_cap > N ? m_heap : m_buf; }
    // The position of the first element not below p. Small sets (the usual
    // case) are counted without branches: a binary search over a handful of
    // unpredictable pointer comparisons costs more in mispredictions.
    const_iterator LowerBound(const T* p) const
    {
        T* const* d = Data();
        if (m_n <= 16) {
            const uintptr_t v = KrPtrValue(p);
            size_t k = 0;
            for (uint32_t i = 0; i < m_n; ++i) k += KrPtrValue(d[i]) < v;
            return d + k;
        }
        return std::lower_bound(d, d + m_n, p,
                                [](const T* a, const T* b) { return KrPtrValue(a) < KrPtrValue(b); });
    }
    void Grow()
    {
        const uint32_t cap = m_cap * 2;
        T** p = new T*[cap];
        std::memcpy(p, Data(), m_n * sizeof(T*));
        FreeHeap();
        m_heap = p;
        m_cap = cap;
    }
    void FreeHeap()
    {
        if (m_cap > N) delete[] m_heap;
    }
    void CopyFrom(const CKrSmallPtrSet& o)
    {
        if (o.m_n > m_cap) {
            FreeHeap();
            m_cap = N;
            while (m_cap < o.m_n) m_cap *= 2;
            m_heap = new T*[m_cap];
        }
        std::memcpy(Data(), o.Data(), o.m_n * sizeof(T*));
        m_n = o.m_n;
    }

    // The counts come first: they share a cache line with the record fields
    // in front of the set.
    uint32_t m_n;
    uint32_t m_cap;  // N while inline
    union {
        T* m_buf[N];
        T** m_heap;
    };
};

// ---------------------------------------------------------------------------
// CKrEdgeIndex: the edges that start at one vertex, each stored with its other
// end so that a lookup compares without reading the edge. Unordered; the
// first N entries are inline.
// ---------------------------------------------------------------------------
template <class E, unsigned N = 2>
class CKrEdgeIndex {
public:
    struct Entry {
        const void* other;
        E* e;
    };

    CKrEdgeIndex() : m_n(0), m_cap(N) {}
    ~CKrEdgeIndex() { FreeHeap(); }
    CKrEdgeIndex(const CKrEdgeIndex& o) : m_n(0), m_cap(N) { *this = o; }
    CKrEdgeIndex& operator=(const CKrEdgeIndex& o)
    {
        if (this != &o) {
            m_n = 0;
            for (const Entry& x : o) Add(x.other, x.e);
        }
        return *this;
    }

    size_t size() const { return m_n; }
    bool empty() const { return m_n == 0; }
    const Entry* begin() const { return Data(); }
    const Entry* end() const { return Data() + m_n; }

    E* Find(const void* other) const
    {
        for (const Entry& x : *this)
            if (x.other == other) return x.e;
        return nullptr;
    }
    void Add(const void* other, E* e)
    {
        if (m_n == m_cap) Grow();
        Data()[m_n++] = Entry{other, e};
    }
    bool Remove(const E* e)
    {
        Entry* d = Data();
        for (uint32_t i = 0; i < m_n; ++i) {
            if (d[i].e == e) {
                d[i] = d[--m_n];
                return true;
            }
        }
        return false;
    }
    void clear()
    {
        FreeHeap();
        m_n = 0;
        m_cap = N;
    }

private:
    Entry* Data() { return m_cap > N ? m_heap : m_buf; }
    const Entry* Data() const { return m_cap > N ? m_heap : m_buf; }
    void Grow()
    {
        const uint32_t cap = m_cap * 2;
        Entry* p = new Entry[cap];
        std::memcpy(static_cast<void*>(p), Data(), m_n * sizeof(Entry));
        FreeHeap();
        m_heap = p;
        m_cap = cap;
    }
    void FreeHeap()
    {
        if (m_cap > N) delete[] m_heap;
    }

    uint32_t m_n;
    uint32_t m_cap;  // N while inline
    union {
        Entry m_buf[N];
        Entry* m_heap;
    };
};

// ---------------------------------------------------------------------------
// CKrPoolSet: a pool of records of type T plus the set of pointers to those
// records, ordered as if addresses were handed out in allocation order.
//
// Records are allocated in chunks (growing from 64 to 65536 records); every
// chunk has a membership bitmap. Create() and
// Destroy() allocate and recycle records (freed records are reused first, most
// recently freed first); insert/erase/find/count only change or read the
// membership bit, in O(1) apart from a binary search over the chunks. Only
// records created by this pool can be members: insert of any other pointer
// fails and find/count answer "absent".
//
// Iteration visits the chunks in the order they were made and each chunk's
// members in address order: for records never recycled, the order they were
// created in. Where the allocator placed the chunks (which depends on what
// the process did before) therefore never changes the order; equal histories
// of one set give equal orders. An iterator stays valid while other elements
// are inserted or erased, also when new chunks are created; erasing the
// element it stands on invalidates only that iterator (erase(iterator)
// returns the next one). Members created during an iteration are visited
// when they lie ahead in that order (always, when they fill a new chunk).
// ReleaseAll() frees every record and chunk.
// ---------------------------------------------------------------------------
template <class T>
class CKrPoolSet {
    struct Chunk {
        T* recs;
        size_t age;  // position in m_byAge
        uint32_t cap;
        uint32_t members;
        std::vector<uint64_t> member;  // membership bits
        std::vector<uint64_t> live;    // allocated (created, not destroyed) bits
    };

public:
    using value_type = T*;
    using key_type = T*;
    using size_type = size_t;

    class const_iterator {
    public:
        using iterator_category = std::forward_iterator_tag;
        using value_type = T*;
        using difference_type = std::ptrdiff_t;
        using pointer = T* const*;
        using reference = T* const&;

        const_iterator() : m_s(nullptr), m_c(nullptr), m_slot(0), m_cur(nullptr) {}
        reference operator*() const { return m_cur; }
        pointer operator->() const { return &m_cur; }
        const_iterator& operator++()
        {
            m_s->Advance(*this, m_slot + 1);
            return *this;
        }
        const_iterator operator++(int)
        {
            const_iterator r = *this;
            ++*this;
            return r;
        }
        bool operator==(const const_iterator& o) const { return m_cur == o.m_cur; }
        bool operator!=(const const_iterator& o) const { return m_cur != o.m_cur; }

    private:
        friend class CKrPoolSet;
        const CKrPoolSet* m_s;
        Chunk* m_c;  // null at end()
        uint32_t m_slot;
        T* m_cur;  // null at end()
    };
    using iterator = const_iterator;

    CKrPoolSet()
        : m_free(nullptr), m_size(0), m_tail(nullptr), m_mru(nullptr), m_tailUsed(0), m_nextCap(kMinChunk)
    {
    }
    ~CKrPoolSet() { ReleaseAll(); }
    CKrPoolSet(const CKrPoolSet&) = delete;
    CKrPoolSet& operator=(const CKrPoolSet&) = delete;

    // ---- the pool ---------------------------------------------------------
    // A new record constructed from args; not yet a member of the set.
    template <class... A>
    T* Create(A&&... args)
    {
        T* p;
        Chunk* c;
        if (m_free) {
            p = m_free;
            std::memcpy(static_cast<void*>(&m_free), static_cast<const void*>(p), sizeof(T*));
            c = ChunkOf(p);
        } else {
            if (!m_tail || m_tailUsed == m_tail->cap) NewChunk();
            c = m_tail;
            p = c->recs + m_tailUsed++;
        }
        const size_t i = static_cast<size_t>(p - c->recs);
        ::new (static_cast<void*>(p)) T(std::forward<A>(args)...);
        c->live[i >> 6] |= uint64_t(1) << (i & 63);
        return p;
    }

    // Destroys a record of this pool (erasing it from the set first) and
    // recycles its storage. False, and nothing done, for any other pointer.
    bool Destroy(T* p)
    {
        Chunk* c = ChunkOf(p);
        if (!c) return false;
        const size_t i = static_cast<size_t>(p - c->recs);
        uint64_t& lw = c->live[i >> 6];
        const uint64_t bit = uint64_t(1) << (i & 63);
        if (!(lw & bit)) return false;
        EraseBit(c, i);
        lw &= ~bit;
        p->~T();
        std::memcpy(static_cast<void*>(p), static_cast<const void*>(&m_free), sizeof(T*));
        m_free = p;
        return true;
    }

    // Destroys p only if it is a member of the set (so erases it, then
    // recycles it); false otherwise, with nothing done.
    bool EraseAndDestroy(T* p)
    {
        Chunk* c = ChunkOf(p);
        if (!c) return false;
        const size_t i = static_cast<size_t>(p - c->recs);
        if (!((c->member[i >> 6] >> (i & 63)) & 1u)) return false;
        EraseBit(c, i);
        c->live[i >> 6] &= ~(uint64_t(1) << (i & 63));
        p->~T();
        std::memcpy(static_cast<void*>(p), static_cast<const void*>(&m_free), sizeof(T*));
        m_free = p;
        return true;
    }

    // True when p is a live record of this pool.
    bool Owns(const T* p) const
    {
        const Chunk* c = ChunkOf(p);
        if (!c) return false;
        const size_t i = static_cast<size_t>(p - c->recs);
        return (c->live[i >> 6] >> (i & 63)) & 1u;
    }

    // Frees every record and chunk; the set becomes empty.
    void ReleaseAll()
    {
        for (Chunk* c : m_chunks) {
            ::operator delete(static_cast<void*>(c->recs));
            delete c;
        }
        m_chunks.clear();
        m_byAge.clear();
        m_free = nullptr;
        m_size = 0;
        m_tail = nullptr;
        m_mru = nullptr;
        m_tailUsed = 0;
        m_nextCap = kMinChunk;
    }

    // ---- the set ------------------------------------------------------------
    size_t size() const { return m_size; }
    bool empty() const { return m_size == 0; }

    const_iterator begin() const
    {
        const_iterator it;
        it.m_s = this;
        if (!m_byAge.empty()) {
            it.m_c = m_byAge[0];
            Advance(it, 0);
        }
        return it;
    }
    const_iterator end() const
    {
        const_iterator it;
        it.m_s = this;
        return it;
    }

    const_iterator find(const T* p) const
    {
        Chunk* c = ChunkOf(p);
        if (!c) return end();
        const uint32_t i = static_cast<uint32_t>(p - c->recs);
        if (!((c->member[i >> 6] >> (i & 63)) & 1u)) return end();
        return At(c, i);
    }
    size_t count(const T* p) const
    {
        const Chunk* c = ChunkOf(p);
        if (!c) return 0;
        const size_t i = static_cast<size_t>(p - c->recs);
        return (c->member[i >> 6] >> (i & 63)) & 1u;
    }

    // Makes a live record of this pool a member. {end(), false} for a pointer
    // that is not a live record of this pool.
    std::pair<const_iterator, bool> insert(T* p)
    {
        Chunk* c = ChunkOf(p);
        if (!c) return {end(), false};
        const uint32_t i = static_cast<uint32_t>(p - c->recs);
        const uint64_t bit = uint64_t(1) << (i & 63);
        if (!(c->live[i >> 6] & bit)) return {end(), false};
        uint64_t& w = c->member[i >> 6];
        if (w & bit) return {At(c, i), false};
        w |= bit;
        ++c->members;
        ++m_size;
        return {At(c, i), true};
    }

    // Removes p from the set; the record itself stays alive.
    size_t erase(const T* p)
    {
        Chunk* c = ChunkOf(p);
        if (!c) return 0;
        return EraseBit(c, static_cast<size_t>(p - c->recs)) ? 1 : 0;
    }
    const_iterator erase(const_iterator it)
    {
        const_iterator next = it;
        ++next;
        erase(*it);
        return next;
    }

    // Removes every member; the records stay alive until ReleaseAll.
    void clear()
    {
        for (Chunk* c : m_chunks) {
            std::fill(c->member.begin(), c->member.end(), 0);
            c->members = 0;
        }
        m_size = 0;
    }

private:
    static constexpr uint32_t kMinChunk = 64;
    static constexpr uint32_t kMaxChunk = 65536;

    void NewChunk()
    {
        Chunk* c = new Chunk;
        c->cap = m_nextCap;
        c->members = 0;
        c->member.assign(c->cap / 64, 0);
        c->live.assign(c->cap / 64, 0);
        c->recs = static_cast<T*>(::operator new(sizeof(T) * c->cap));
        auto pos = std::upper_bound(m_chunks.begin(), m_chunks.end(), c, [](const Chunk* a, const Chunk* b) {
            return KrPtrValue(a->recs) < KrPtrValue(b->recs);
        });
        m_chunks.insert(pos, c);
        c->age = m_byAge.size();
        m_byAge.push_back(c);
        m_tail = c;
        m_tailUsed = 0;
        if (m_nextCap < kMaxChunk) m_nextCap *= 2;
    }

    // The chunk holding record p, or null. The chunk found last is tried
    // first: edits tend to stay in one chunk for a while.
    Chunk* ChunkOf(const T* p) const
    {
        const uintptr_t v = KrPtrValue(p);
        if (m_mru) {
            const uintptr_t off = v - KrPtrValue(m_mru->recs);
            if (off < uintptr_t(sizeof(T)) * m_mru->cap && off % sizeof(T) == 0) return m_mru;
        }
        auto it = std::upper_bound(m_chunks.begin(), m_chunks.end(), v,
                                   [](uintptr_t x, const Chunk* c) { return x < KrPtrValue(c->recs); });
        if (it == m_chunks.begin()) return nullptr;
        --it;
        Chunk* c = *it;
        const uintptr_t base = KrPtrValue(c->recs);
        const uintptr_t off = v - base;
        if (off >= uintptr_t(sizeof(T)) * c->cap || off % sizeof(T) != 0) return nullptr;
        m_mru = c;
        return c;
    }

    bool EraseBit(Chunk* c, size_t i)
    {
        uint64_t& w = c->member[i >> 6];
        const uint64_t bit = uint64_t(1) << (i & 63);
        if (!(w & bit)) return false;
        w &= ~bit;
        --c->members;
        --m_size;
        return true;
    }

    // An iterator on slot of chunk c.
    const_iterator At(Chunk* c, uint32_t slot) const
    {
        const_iterator it;
        it.m_s = this;
        it.m_c = c;
        it.m_slot = slot;
        it.m_cur = c->recs + slot;
        return it;
    }

    // Moves it to the first member at or after `slot` of its chunk, then of
    // the following chunks; to end() when there is none.
    void Advance(const_iterator& it, uint32_t slot) const
    {
        if (!it.m_c) return;
        size_t ci = it.m_c->age;
        Chunk* c = it.m_c;
        while (true) {
            if (c->members != 0 && slot < c->cap) {
                size_t w = slot >> 6;
                uint64_t bits = c->member[w] & (~uint64_t(0) << (slot & 63));
                const size_t nw = c->cap / 64;
                while (!bits && ++w < nw) bits = c->member[w];
                if (bits) {
                    const uint32_t s = static_cast<uint32_t>(w * 64 + KrLowestBit(bits));
                    it.m_c = c;
                    it.m_slot = s;
                    it.m_cur = c->recs + s;
                    return;
                }
            }
            if (++ci >= m_byAge.size()) break;
            c = m_byAge[ci];
            slot = 0;
        }
        it.m_c = nullptr;
        it.m_cur = nullptr;
    }

    std::vector<Chunk*> m_chunks;  // sorted by record address, for ChunkOf
    std::vector<Chunk*> m_byAge;   // in the order they were made, for iteration
    T* m_free;                     // recycled records, linked through their storage
    size_t m_size;
    Chunk* m_tail;  // the chunk still handing out never-used records
    mutable Chunk* m_mru;  // the chunk found last by ChunkOf
    uint32_t m_tailUsed;
    uint32_t m_nextCap;
};

// ---------------------------------------------------------------------------
// CKrEdgeSet: the pool of edge records of a mesh and the set of edges, keyed
// by the vertex pair (pVer[0], pVer[1]): two edge objects with the same pair
// are equivalent, as in a std::set ordered by that pair.
//
// Lookup by pair goes through the vertices: every vertex V keeps, in its
// field edgeIdx, the member edges whose pVer[0] is V. A lookup therefore
// reads one vertex record and its few edges (memory the mesh algorithms have
// just touched) instead of a global table, and find/insert/erase cost
// O(edges at the vertex).
//
// Iteration is in ascending (pVer[0], pVer[1]) pointer-value order: the first
// iteration after an insert sorts a snapshot of the members (O(n log n)),
// later ones reuse it, and erase keeps it current. An iterator stays valid
// across the erasure of other elements, and erase(iterator) returns the next
// one. Elements inserted while an iteration is under way are not visited by
// it; it still skips elements erased meanwhile.
//
// As with a std::set, an edge's vertex pair must not change while the edge is
// a member (pVer[0] must stay a live vertex), or lookups go wrong.
// ---------------------------------------------------------------------------
template <class E, class V>
class CKrEdgeSet {
    struct Entry {
        uintptr_t a, b;
        E* e;  // null once erased
    };
    struct Snap {
        std::vector<Entry> v;
        bool detached = false;  // the set has changed by inserts since it was taken
    };

public:
    using value_type = E*;
    using key_type = E*;
    using size_type = size_t;

    class const_iterator {
    public:
        using iterator_category = std::forward_iterator_tag;
        using value_type = E*;
        using difference_type = std::ptrdiff_t;
        using pointer = E* const*;
        using reference = E* const&;

        const_iterator() : m_s(nullptr), m_idx(0), m_cur(nullptr), m_a(0), m_b(0), m_after(false) {}

        reference operator*() const
        {
            Resolve();
            return m_cur;
        }
        pointer operator->() const
        {
            Resolve();
            return &m_cur;
        }
        const_iterator& operator++()
        {
            Resolve();
            if (!m_cur) return *this;
            if (!m_snap) {
                // Made by find/insert: place it in the sorted snapshot first.
                m_snap = m_s->Snapshot();
                m_idx = m_s->LowerBound(*m_snap, m_a, m_b);
            }
            m_s->SkipDead(*this, m_idx + 1);
            return *this;
        }
        const_iterator operator++(int)
        {
            const_iterator r = *this;
            ++*this;
            return r;
        }
        bool operator==(const const_iterator& o) const
        {
            Resolve();
            o.Resolve();
            return m_cur == o.m_cur;
        }
        bool operator!=(const const_iterator& o) const { return !(*this == o); }

    private:
        friend class CKrEdgeSet;
        // An iterator returned by erase() without a snapshot stands "after the
        // erased key": it finds its element only when first used.
        void Resolve() const
        {
            if (!m_after) return;
            m_after = false;
            m_snap = m_s->Snapshot();
            m_s->SkipDead(*this, m_s->UpperBound(*m_snap, m_a, m_b));
        }

        const CKrEdgeSet* m_s;
        mutable std::shared_ptr<Snap> m_snap;  // null for iterators from find/insert
        mutable size_t m_idx;
        mutable E* m_cur;  // null at end()
        mutable uintptr_t m_a, m_b;
        mutable bool m_after;
    };
    using iterator = const_iterator;

    CKrEdgeSet() = default;
    CKrEdgeSet(const CKrEdgeSet&) = delete;
    CKrEdgeSet& operator=(const CKrEdgeSet&) = delete;

    // ---- the pool -------------------------------------------------------------
    // A new edge record (not yet a member).
    template <class... A>
    E* Create(A&&... args)
    {
        return m_pool.Create(std::forward<A>(args)...);
    }
    // Erases the record from the set if it is a member, then frees it. False
    // for a pointer that is not a live record of this pool.
    bool Destroy(E* e)
    {
        if (!m_pool.Owns(e)) return false;
        Unindex(e);
        return m_pool.Destroy(e);  // also drops the membership
    }
    // Frees every record at once. The vertices' edgeIdx are not touched: the
    // caller empties those of the vertices that live on.
    void ReleaseAll()
    {
        m_pool.ReleaseAll();
        DropSnapshot();
    }

    // ---- the set ----------------------------------------------------------------
    size_t size() const { return m_pool.size(); }
    bool empty() const { return m_pool.empty(); }

    const_iterator begin() const
    {
        const_iterator it;
        it.m_s = this;
        it.m_snap = Snapshot();
        SkipDead(it, 0);
        return it;
    }
    const_iterator end() const
    {
        const_iterator it;
        it.m_s = this;
        return it;
    }

    // The member with the vertex pair (a, b), taken as given (pVer order).
    E* Lookup(const V* a, const V* b) const
    {
        if (!a) return nullptr;
        E* e = a->edgeIdx.Find(b);
        // The index lives in the vertex: make sure the edge is this set's
        // (a key built from another mesh's vertices finds nothing here).
        return e && m_pool.count(e) ? e : nullptr;
    }
    // Lookup of the pair in either order (the lower pointer value first).
    E* FindPair(const V* a, const V* b) const
    {
        return KrPtrValue(a) <= KrPtrValue(b) ? Lookup(a, b) : Lookup(b, a);
    }

    const_iterator find(const E* key) const { return Iter(Lookup(key->pVer[0], key->pVer[1])); }
    size_t count(const E* key) const { return Lookup(key->pVer[0], key->pVer[1]) ? 1 : 0; }

    // Makes a record of this pool a member, unless an equivalent member
    // exists (returned with false). {end(), false} for a pointer that is not
    // a live record of this pool or has no pVer[0].
    std::pair<const_iterator, bool> insert(E* e)
    {
        if (!e->pVer[0]) return {end(), false};
        if (E* old = Lookup(e->pVer[0], e->pVer[1])) return {Iter(old), false};
        if (!m_pool.insert(e).second) return {end(), false};  // not a live record of this pool
        e->pVer[0]->edgeIdx.Add(e->pVer[1], e);
        if (m_snap) {
            m_snap->detached = true;
            m_snap.reset();
        }
        return {Iter(e), true};
    }

    // insert() for a record just made by Create() whose pair is known to be
    // absent (the caller has just looked it up): skips the repeated lookup.
    void InsertFresh(E* e)
    {
        m_pool.insert(e);
        e->pVer[0]->edgeIdx.Add(e->pVer[1], e);
        DropSnapshot();
    }

    // Erases the member equivalent to key (same vertex pair); the record is
    // not freed. Returns the number erased (0 or 1).
    size_t erase(const E* key)
    {
        E* e = Lookup(key->pVer[0], key->pVer[1]);
        if (!e) return 0;
        EraseMember(e);
        return 1;
    }

    const_iterator erase(const_iterator it)
    {
        E* e = *it;
        const uintptr_t a = KrPtrValue(e->pVer[0]), b = KrPtrValue(e->pVer[1]);
        const bool knownIdx = it.m_snap && it.m_snap == m_snap;
        const size_t idx = it.m_idx;
        EraseMember(e, knownIdx ? &idx : nullptr);
        const_iterator next;
        next.m_s = this;
        if (m_snap) {
            next.m_snap = m_snap;
            SkipDead(next, knownIdx ? idx + 1 : UpperBound(*m_snap, a, b));
        } else {
            next.m_a = a;
            next.m_b = b;
            next.m_after = true;
        }
        return next;
    }

    // Removes every member (the records stay alive until ReleaseAll).
    void clear()
    {
        for (E* e : m_pool)
            if (e->pVer[0]) e->pVer[0]->edgeIdx.Remove(e);
        m_pool.clear();
        DropSnapshot();
    }

private:
    void DropSnapshot()
    {
        if (m_snap) {
            m_snap->detached = true;
            m_snap.reset();
        }
    }

    const_iterator Iter(E* e) const
    {
        const_iterator it;
        it.m_s = this;
        it.m_cur = e;
        if (e) {
            it.m_a = KrPtrValue(e->pVer[0]);
            it.m_b = KrPtrValue(e->pVer[1]);
        }
        return it;
    }

    // Takes a member out of the vertex index and the pool's membership, and
    // marks it erased in the current snapshot.
    void EraseMember(E* e, const size_t* snapIdx = nullptr)
    {
        Unindex(e, snapIdx);
        m_pool.erase(e);
    }
    // The vertex index and the snapshot let go of e (nothing when it is not
    // a member).
    void Unindex(E* e, const size_t* snapIdx = nullptr)
    {
        if (e->pVer[0]) e->pVer[0]->edgeIdx.Remove(e);
        if (m_snap) {
            const uintptr_t a = KrPtrValue(e->pVer[0]), b = KrPtrValue(e->pVer[1]);
            size_t idx = snapIdx ? *snapIdx : LowerBound(*m_snap, a, b);
            std::vector<Entry>& v = m_snap->v;
            // Several entries can share a key only if pairs were changed
            // behind the set's back; look for e among them.
            while (idx < v.size() && v[idx].a == a && v[idx].b == b && v[idx].e != e) ++idx;
            if (idx < v.size() && v[idx].e == e) v[idx].e = nullptr;
        }
    }

    static bool KeyLess(const Entry& x, uintptr_t a, uintptr_t b) { return x.a < a || (x.a == a && x.b < b); }

    size_t LowerBound(const Snap& s, uintptr_t a, uintptr_t b) const
    {
        auto it = std::lower_bound(s.v.begin(), s.v.end(), 0,
                                   [a, b](const Entry& x, int) { return KeyLess(x, a, b); });
        return static_cast<size_t>(it - s.v.begin());
    }
    size_t UpperBound(const Snap& s, uintptr_t a, uintptr_t b) const
    {
        auto it = std::lower_bound(s.v.begin(), s.v.end(), 0, [a, b](const Entry& x, int) {
            return x.a < a || (x.a == a && x.b <= b);
        });
        return static_cast<size_t>(it - s.v.begin());
    }

    // Positions it at the first element of its snapshot at or after idx that
    // is still a member; end() when none.
    void SkipDead(const const_iterator& it, size_t idx) const
    {
        const Snap& s = *it.m_snap;
        for (; idx < s.v.size(); ++idx) {
            const Entry& x = s.v[idx];
            if (!x.e) continue;
            // In a snapshot the set has moved on from, an entry counts only if
            // its record is still a member under the same pair (records are
            // recycled).
            if (s.detached && (!m_pool.count(x.e) || KrPtrValue(x.e->pVer[0]) != x.a ||
                               KrPtrValue(x.e->pVer[1]) != x.b))
                continue;
            it.m_idx = idx;
            it.m_cur = x.e;
            it.m_a = x.a;
            it.m_b = x.b;
            return;
        }
        it.m_idx = s.v.size();
        it.m_cur = nullptr;
    }

    // The sorted snapshot of the current members, taken when missing.
    const std::shared_ptr<Snap>& Snapshot() const
    {
        if (!m_snap) {
            auto s = std::make_shared<Snap>();
            s->v.reserve(m_pool.size());
            for (E* e : m_pool) s->v.push_back(Entry{KrPtrValue(e->pVer[0]), KrPtrValue(e->pVer[1]), e});
            std::stable_sort(s->v.begin(), s->v.end(),
                             [](const Entry& x, const Entry& y) { return KeyLess(x, y.a, y.b); });
            m_snap = std::move(s);
        }
        return m_snap;
    }

    CKrPoolSet<E> m_pool;  // the records; its membership bits are the set's
    mutable std::shared_ptr<Snap> m_snap;
};

}  // namespace detail
}  // namespace TesTriMesh

#endif
