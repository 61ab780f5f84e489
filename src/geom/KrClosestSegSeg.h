#ifndef KRTES_GEOM_KRCLOSESTSEGSEG_H
#define KRTES_GEOM_KRCLOSESTSEGSEG_H

// The closest points of two segments, shared by the segment intersection
// tests and the mesh distance queries (inside the library only).

namespace KrTesGeo {
namespace detail {

// Closest points of the closed segments p1-q1 and p2-q2 (three doubles each):
// c1, c2 receive them; returns the squared distance. Parallel and
// zero-length segments included (then one of the closest pairs).
double ClosestSegSeg(const double* p1, const double* q1, const double* p2, const double* q2, double* c1,
                     double* c2);

}  // namespace detail
}  // namespace KrTesGeo

#endif
