#ifndef KRTES_TESCOMMFUNC_H
#define KRTES_TESCOMMFUNC_H

#include "KrTesGeometry/math/KrTesMathExport.h"

// Tolerant three-way comparison of doubles.
//
// Both functions answer exactly -1, 0 or 1, so that callers may compare the
// result with those values and multiply two results to learn whether two
// values lie on opposite sides of their references (a product below 1 means
// opposite or touching).
//
// The dead band is closed: |a - b| <= eps counts as equal. A NaN operand is
// never equal to anything and answers -1.
namespace TESCommFunc {

// -1 when a < b - eps, 0 when |a - b| <= eps, 1 when a > b + eps.
KRTESMATH_API int TesCompDouble(double a, double b, double eps);

// Same contract as TesCompDouble; used by the tolerant point orderings and the
// distance comparisons that receive their tolerance from their own caller.
KRTESMATH_API int CompDouble2(double a, double b, double eps);

}  // namespace TESCommFunc

#endif
