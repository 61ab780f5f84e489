#ifndef KRTES_STRIID_H
#define KRTES_STRIID_H

#include <cstdint>

namespace KrTesGeo {

// The indices of a triangle's three corners in a separate point list, in
// winding order; -1 means "no vertex".
struct _sTri_ID {
    int32_t nID[3];

    _sTri_ID() : nID{-1, -1, -1} {}
    _sTri_ID(int32_t a, int32_t b, int32_t c) : nID{a, b, c} {}
    _sTri_ID(const _sTri_ID& o) = default;
    _sTri_ID& operator=(const _sTri_ID& o) = default;

    int32_t& operator[](int k) { return nID[k]; }
    const int32_t& operator[](int k) const { return nID[k]; }
};

}  // namespace KrTesGeo

#endif
