#ifndef KRTES_KRIMPLICITPOINT_H
#define KRTES_KRIMPLICITPOINT_H

// Points of a mesh arrangement kept in implicit form (internal to the
// boolean), and exact predicates on them.
//
// A point is an input point, or where the segment p-q meets the plane of the
// triangle a, b, c (p and q strictly on opposite sides of it), or where the
// segment p-q meets the line r-s in their common plane, seen along the
// coordinate axis `axis` (p and q strictly on opposite sides of the line).
// The two constructed kinds are held as homogeneous coordinates (X, W),
// X / W the point, with
//   W = d(p) - d(q),  X = p W + (q - p) d(p),
// d the signed distance-like determinant of the plane or the line; nothing
// is divided, so the predicates below are exact polynomial signs.

#include <array>
#include <memory>

#include "KrTesGeometry/geom/KrPoint3d.h"
#include "boolean/KrExactArith.h"

namespace TesTriMesh {
namespace exact {

struct KrImplicitPoint {
    enum Kind : unsigned char { kInput, kSegPlane, kSegLine };
    Kind kind = kInput;
    unsigned char axis = 0;  // kSegLine: the coordinate left out
    CKrPoint3d p, q;         // kInput: p is the point
    CKrPoint3d a, b, c;      // the plane (a, b, c) or the line (a, b)

    static KrImplicitPoint Input(const CKrPoint3d& pt);
    static KrImplicitPoint SegPlane(const CKrPoint3d& p, const CKrPoint3d& q, const CKrPoint3d& a,
                                    const CKrPoint3d& b, const CKrPoint3d& c);
    static KrImplicitPoint SegLine(const CKrPoint3d& p, const CKrPoint3d& q, const CKrPoint3d& r,
                                   const CKrPoint3d& s, int axis);
};

// A point with its filtered homogeneous coordinates computed once, and the
// exact ones on demand.
class KrPointRec {
public:
    explicit KrPointRec(const KrImplicitPoint& ip);
    const KrImplicitPoint& Def() const { return m_ip; }
    bool IsInput() const { return m_ip.kind == KrImplicitPoint::kInput; }
    const std::array<KrFilt, 4>& Filt() const { return m_f; }
    const std::array<KrExpan, 4>& Exact() const;
    // The point rounded to doubles (within a few units in the last place).
    CKrPoint3d Round() const;

private:
    KrImplicitPoint m_ip;
    std::array<KrFilt, 4> m_f;
    mutable std::unique_ptr<std::array<KrExpan, 4>> m_x;
};

// Sign of (P - Q) along coordinate k.
int CompareAxis(const KrPointRec& P, const KrPointRec& Q, int k);
// Orientation of P, Q, R projected on the coordinate plane (i, j): 1 counter-
// clockwise, -1 clockwise, 0 collinear.
int Orient2d(const KrPointRec& P, const KrPointRec& Q, const KrPointRec& R, int i, int j);
// Orient3dExact's sign convention on implicit points: 1 when S lies on the
// side of plane PQR towards which (Q - P) x (R - P) points.
int Orient3d(const KrPointRec& P, const KrPointRec& Q, const KrPointRec& R, const KrPointRec& S);

}  // namespace exact
}  // namespace TesTriMesh

#endif
