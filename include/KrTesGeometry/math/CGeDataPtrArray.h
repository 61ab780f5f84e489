#ifndef KRTES_CGEDATAPTRARRAY_H
#define KRTES_CGEDATAPTRARRAY_H

#include <cstddef>
#include <cstdint>

// Growable array of pointers to separately allocated elements, as the
// interchange records hold their points and index triples. The array owns
// its elements: they are allocated with plain new and released with plain
// delete, on both sides of the library boundary.
//
// Layout (relied upon by the geometry library): data pointer, capacity,
// count, growth step, in this order.
template <class T>
class CGeDataPtrArray {
public:
    T** m_pData;
    int32_t m_nMaxSize;  // allocated element count
    int32_t m_nSize;     // number of elements in use
    int32_t m_nGrowBy;   // minimum growth when the array must grow

    CGeDataPtrArray() : m_pData(nullptr), m_nMaxSize(0), m_nSize(0), m_nGrowBy(0) {}
    ~CGeDataPtrArray()
    {
        RemoveAll();
        delete[] m_pData;
    }
    CGeDataPtrArray(const CGeDataPtrArray& o) : CGeDataPtrArray() { CopyFrom(o); }
    CGeDataPtrArray& operator=(const CGeDataPtrArray& o)
    {
        if (this != &o) {
            RemoveAll();
            CopyFrom(o);
        }
        return *this;
    }

    int32_t GetSize() const { return m_nSize; }
    bool IsEmpty() const { return m_nSize == 0; }

    // Element i, or null when i is out of range.
    T* GetAt(int32_t i) const { return (i >= 0 && i < m_nSize) ? m_pData[i] : nullptr; }

    // Sizes the array to n elements. Growing follows the interchange growth
    // rule: step = capacity (16384 once capacity * 4 >= 65536), at least the
    // growth step; new capacity = max(capacity + step, n). New slots are null.
    // Shrinking frees the elements that fall off the end. Negative n is 0.
    void SetSize(int32_t n)
    {
        if (n < 0) n = 0;
        if (n > m_nMaxSize) {
            int64_t step = (static_cast<int64_t>(m_nMaxSize) * 4 >= 65536) ? 16384 : m_nMaxSize;
            if (step < m_nGrowBy) step = m_nGrowBy;
            int64_t cap = static_cast<int64_t>(m_nMaxSize) + step;
            if (cap < n) cap = n;
            if (cap > INT32_MAX) cap = INT32_MAX;
            T** p = new T*[static_cast<size_t>(cap)];
            for (int32_t i = 0; i < m_nSize; ++i) p[i] = m_pData[i];
            for (int64_t i = m_nSize; i < cap; ++i) p[i] = nullptr;
            delete[] m_pData;
            m_pData = p;
            m_nMaxSize = static_cast<int32_t>(cap);
        }
        for (int32_t i = n; i < m_nSize; ++i) {
            delete m_pData[i];
            m_pData[i] = nullptr;
        }
        m_nSize = n;
    }

    // Appends an element (taking ownership); returns its index.
    int32_t Add(T* p)
    {
        const int32_t i = m_nSize;
        SetSize(m_nSize + 1);
        m_pData[i] = p;
        return i;
    }

    // Frees every element and sets the count to 0; the capacity is kept.
    void RemoveAll()
    {
        for (int32_t i = 0; i < m_nSize; ++i) {
            delete m_pData[i];
            m_pData[i] = nullptr;
        }
        m_nSize = 0;
    }

private:
    void CopyFrom(const CGeDataPtrArray& o)
    {
        m_nGrowBy = o.m_nGrowBy;
        SetSize(o.m_nSize);
        for (int32_t i = 0; i < o.m_nSize; ++i)
            m_pData[i] = o.m_pData[i] ? new T(*o.m_pData[i]) : nullptr;
    }
};

#endif
