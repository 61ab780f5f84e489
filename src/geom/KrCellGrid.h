#ifndef KRTES_KRCELLGRID_H
#define KRTES_KRCELLGRID_H

// Uniform cell grids shared inside the library: the cell of a coordinate, the
// hash of a cell, a sparse grid of cells keyed by their integer coordinates,
// and packed buckets filled in two passes.
//
// Nothing here depends on memory addresses or on a hash seed: the hash is a
// fixed function of the cell, and the sparse grid iterates its cells in the
// order they were created, so a result built from a walk over a grid is the
// same in every run.

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace KrTesGeo {
namespace detail {

// Cell numbers stay inside this bound, so that a neighbour's number (one
// more or one less) is still an int64.
constexpr double kCellCoordLimit = 4.0e18;

// The cell of coordinate v on an axis cut into cells `size` wide:
// floor(v / size), held inside the bound (NaN goes to cell 0).
inline int64_t CellCoord(double v, double size)
{
    double q = std::floor(v / size);
    if (!(std::fabs(q) < kCellCoordLimit)) q = std::isnan(q) ? 0.0 : std::copysign(kCellCoordLimit, q);
    return static_cast<int64_t>(q);
}

// A fixed hash of a cell's coordinates (each taken as 64 bits). For two
// coordinates below 2^32 it is the hash the triangulator's vertex index has
// always used, which keeps its table layout unchanged.
template <std::size_t D>
inline std::size_t HashCell(const std::array<uint64_t, D>& k)
{
    static_assert(D >= 1, "a cell has at least one coordinate");
    uint64_t h = k[0] * 0x9E3779B97F4A7C15ull;
    for (std::size_t i = 1; i < D; ++i) h ^= k[i] + 0x7F4A7C159E3779B9ull + (h << 6) + (h >> 2);
    h ^= h >> 29;
    h *= 0xBF58476D1CE4E5B9ull;
    h ^= h >> 32;
    return static_cast<std::size_t>(h);
}

template <std::size_t D>
inline std::size_t HashCell(const std::array<int64_t, D>& k)
{
    std::array<uint64_t, D> u;
    for (std::size_t i = 0; i < D; ++i) u[i] = static_cast<uint64_t>(k[i]);
    return HashCell<D>(u);
}

// A sparse grid: a list of T per occupied cell, cells found by their integer
// coordinates through an open-addressing table. Cells are kept in the order
// they were created, and a cell's list in the order of its appends; the
// table only finds them.
template <std::size_t D, class T>
class CKrCellGrid {
public:
    using Key = std::array<int64_t, D>;

    // The key of a point (D coordinates) in cells `size` wide on every axis.
    static Key KeyOf(const double* c, double size)
    {
        Key k;
        for (std::size_t i = 0; i < D; ++i) k[i] = CellCoord(c[i], size);
        return k;
    }

    // The list of cell k, or null when the cell was never created.
    std::vector<T>* Find(const Key& k)
    {
        const std::size_t s = Slot(k);
        return s == kNone ? nullptr : &m_cells[s].items;
    }
    const std::vector<T>* Find(const Key& k) const
    {
        const std::size_t s = Slot(k);
        return s == kNone ? nullptr : &m_cells[s].items;
    }

    // The list of cell k, created empty when missing.
    std::vector<T>& Get(const Key& k)
    {
        if (!m_table.empty()) {
            const std::size_t mask = m_table.size() - 1;
            for (std::size_t i = HashCell<D>(k) & mask;; i = (i + 1) & mask) {
                const uint32_t s = m_table[i];
                if (s == 0) break;
                if (m_cells[s - 1].key == k) return m_cells[s - 1].items;
            }
        }
        if ((m_cells.size() + 1) * 2 > m_table.size()) Grow();
        m_cells.push_back(Cell{k, {}});
        Place(m_cells.size() - 1);
        return m_cells.back().items;
    }

    // Calls f(list) for every existing cell within `reach` cells of k on
    // every axis, in ascending order of the offsets (first axis slowest).
    template <class F>
    void ForEachNear(const Key& k, int reach, F&& f) const
    {
        Key c = k;
        Near(0, k, c, reach, f);
    }

    // Creates every missing cell within `reach` cells of k (empty).
    void Touch(const Key& k, int reach)
    {
        Key c = k;
        TouchNear(0, k, c, reach);
    }

    std::size_t CellCount() const { return m_cells.size(); }

private:
    static constexpr std::size_t kNone = static_cast<std::size_t>(-1);
    struct Cell {
        Key key;
        std::vector<T> items;
    };

    std::size_t Slot(const Key& k) const
    {
        if (m_table.empty()) return kNone;
        const std::size_t mask = m_table.size() - 1;
        for (std::size_t i = HashCell<D>(k) & mask;; i = (i + 1) & mask) {
            const uint32_t s = m_table[i];
            if (s == 0) return kNone;
            if (m_cells[s - 1].key == k) return s - 1;
        }
    }

    void Place(std::size_t cell)
    {
        const std::size_t mask = m_table.size() - 1;
        std::size_t i = HashCell<D>(m_cells[cell].key) & mask;
        while (m_table[i] != 0) i = (i + 1) & mask;
        m_table[i] = static_cast<uint32_t>(cell + 1);
    }

    void Grow()
    {
        m_table.assign(m_table.empty() ? 64 : m_table.size() * 2, 0);
        for (std::size_t c = 0; c < m_cells.size(); ++c) Place(c);
    }

    template <class F>
    void Near(std::size_t axis, const Key& k, Key& c, int reach, F& f) const
    {
        for (int d = -reach; d <= reach; ++d) {
            c[axis] = k[axis] + d;
            if (axis + 1 < D) {
                Near(axis + 1, k, c, reach, f);
            } else if (const std::vector<T>* items = Find(c)) {
                f(*items);
            }
        }
    }

    void TouchNear(std::size_t axis, const Key& k, Key& c, int reach)
    {
        for (int d = -reach; d <= reach; ++d) {
            c[axis] = k[axis] + d;
            if (axis + 1 < D)
                TouchNear(axis + 1, k, c, reach);
            else
                Get(c);
        }
    }

    std::vector<Cell> m_cells;      // in creation order
    std::vector<uint32_t> m_table;  // cell number + 1; 0: empty slot
};

// Items packed by bucket: bucket b holds Items()[Start(b) .. Start(b + 1)).
// Built in two passes over the same registrations, the first counting the
// entries of each bucket and the second filling them, so that an item's
// place within its bucket is the order in which it was registered.
template <class T>
class CKrCellBuckets {
public:
    // forEach(visit) must call visit(bucket, item) for every registration,
    // the same calls in the same order each time it is run.
    template <class ForEach>
    void Build(std::size_t buckets, ForEach&& forEach)
    {
        m_start.assign(buckets + 1, 0);
        forEach([&](std::size_t b, const T&) { ++m_start[b + 1]; });
        for (std::size_t b = 0; b < buckets; ++b) m_start[b + 1] += m_start[b];
        m_items.resize(m_start.back());
        std::vector<uint32_t> fill(m_start.begin(), m_start.end() - 1);
        forEach([&](std::size_t b, const T& item) { m_items[fill[b]++] = item; });
    }

    std::size_t BucketCount() const { return m_start.empty() ? 0 : m_start.size() - 1; }
    // The entries of bucket b: count of them from the returned pointer.
    const T* Bucket(std::size_t b, std::size_t& count) const
    {
        count = m_start[b + 1] - m_start[b];
        return m_items.data() + m_start[b];
    }

private:
    std::vector<uint32_t> m_start;
    std::vector<T> m_items;
};

}  // namespace detail
}  // namespace KrTesGeo

#endif
