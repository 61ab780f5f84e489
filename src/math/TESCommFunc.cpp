#include "KrTesGeometry/math/TESCommFunc.h"

#include <cmath>

namespace TESCommFunc {

int TesCompDouble(double a, double b, double eps)
{
    const double d = a - b;
    if (std::fabs(d) <= eps) return 0;
    return d > 0.0 ? 1 : -1;
}

int CompDouble2(double a, double b, double eps)
{
    // Kept as its own function: it is a separate entry point of the contract,
    // even though it currently decides exactly like TesCompDouble.
    return TesCompDouble(a, b, eps);
}

}  // namespace TESCommFunc
