#include "boolean/KrImplicitPoint.h"

#include "KrTesGeometry/geom/KrExactPredicates.h"

namespace TesTriMesh {
namespace exact {

namespace {

double Coord(const CKrPoint3d& p, int k) { return k == 0 ? p.x : (k == 1 ? p.y : p.z); }

template <class T>
void Homog(const KrImplicitPoint& ip, std::array<T, 4>& o)
{
    const CKrPoint3d& p = ip.p;
    const CKrPoint3d& q = ip.q;
    if (ip.kind == KrImplicitPoint::kInput) {
        o = {T(p.x), T(p.y), T(p.z), T(1.0)};
        return;
    }
    T dp, w;
    if (ip.kind == KrImplicitPoint::kSegPlane) {
        const CKrPoint3d& a = ip.a;
        const T ux = T(ip.b.x) - T(a.x), uy = T(ip.b.y) - T(a.y), uz = T(ip.b.z) - T(a.z);
        const T vx = T(ip.c.x) - T(a.x), vy = T(ip.c.y) - T(a.y), vz = T(ip.c.z) - T(a.z);
        const T nx = uy * vz - uz * vy, ny = uz * vx - ux * vz, nz = ux * vy - uy * vx;
        dp = nx * (T(p.x) - T(a.x)) + ny * (T(p.y) - T(a.y)) + nz * (T(p.z) - T(a.z));
        w = nx * (T(p.x) - T(q.x)) + ny * (T(p.y) - T(q.y)) + nz * (T(p.z) - T(q.z));
    } else {
        const int i = (ip.axis + 1) % 3, j = (ip.axis + 2) % 3;
        const T si = T(Coord(ip.b, i)) - T(Coord(ip.a, i)), sj = T(Coord(ip.b, j)) - T(Coord(ip.a, j));
        dp = si * (T(Coord(p, j)) - T(Coord(ip.a, j))) - sj * (T(Coord(p, i)) - T(Coord(ip.a, i)));
        w = si * (T(Coord(p, j)) - T(Coord(q, j))) - sj * (T(Coord(p, i)) - T(Coord(q, i)));
    }
    for (int k = 0; k < 3; ++k) o[k] = T(Coord(p, k)) * w + (T(Coord(q, k)) - T(Coord(p, k))) * dp;
    o[3] = w;
}

int FSign(const KrFilt& f) { return f.Sign(); }
int FSign(const KrExpan& x) { return x.Sign(); }

template <class T>
int CompareT(const std::array<T, 4>& P, const std::array<T, 4>& Q, int k)
{
    const int wp = FSign(P[3]), wq = FSign(Q[3]);
    if (wp == 2 || wq == 2) return 2;
    const int s = FSign(P[k] * Q[3] - Q[k] * P[3]);
    return s == 2 ? 2 : s * wp * wq;
}

template <class T>
int Orient2dT(const std::array<T, 4>& P, const std::array<T, 4>& Q, const std::array<T, 4>& R, int i, int j)
{
    const int wp = FSign(P[3]), wq = FSign(Q[3]), wr = FSign(R[3]);
    if (wp == 2 || wq == 2 || wr == 2) return 2;
    const T d = P[i] * (Q[j] * R[3] - R[j] * Q[3]) - P[j] * (Q[i] * R[3] - R[i] * Q[3]) +
                P[3] * (Q[i] * R[j] - R[i] * Q[j]);
    const int s = FSign(d);
    return s == 2 ? 2 : s * wp * wq * wr;
}

template <class T>
int Orient3dT(const std::array<T, 4>& P, const std::array<T, 4>& Q, const std::array<T, 4>& R,
              const std::array<T, 4>& S)
{
    int w = 1;
    for (const auto* x : {&P, &Q, &R, &S}) {
        const int s = FSign((*x)[3]);
        if (s == 2) return 2;
        w *= s;
    }
    auto m = [](const std::array<T, 4>& A, const std::array<T, 4>& B, int a, int b) { return A[a] * B[b] - A[b] * B[a]; };
    const T d = m(P, Q, 0, 1) * m(R, S, 2, 3) - m(P, Q, 0, 2) * m(R, S, 1, 3) + m(P, Q, 0, 3) * m(R, S, 1, 2) +
                m(P, Q, 1, 2) * m(R, S, 0, 3) - m(P, Q, 1, 3) * m(R, S, 0, 2) + m(P, Q, 2, 3) * m(R, S, 0, 1);
    const int s = FSign(d);
    return s == 2 ? 2 : -s * w;
}

}  // namespace

KrImplicitPoint KrImplicitPoint::Input(const CKrPoint3d& pt)
{
    KrImplicitPoint ip;
    ip.kind = kInput;
    ip.p = pt;
    return ip;
}

KrImplicitPoint KrImplicitPoint::SegPlane(const CKrPoint3d& p, const CKrPoint3d& q, const CKrPoint3d& a,
                                          const CKrPoint3d& b, const CKrPoint3d& c)
{
    KrImplicitPoint ip;
    ip.kind = kSegPlane;
    ip.p = p;
    ip.q = q;
    ip.a = a;
    ip.b = b;
    ip.c = c;
    return ip;
}

KrImplicitPoint KrImplicitPoint::SegLine(const CKrPoint3d& p, const CKrPoint3d& q, const CKrPoint3d& r,
                                         const CKrPoint3d& s, int axis)
{
    KrImplicitPoint ip;
    ip.kind = kSegLine;
    ip.axis = static_cast<unsigned char>(axis);
    ip.p = p;
    ip.q = q;
    ip.a = r;
    ip.b = s;
    return ip;
}

KrPointRec::KrPointRec(const KrImplicitPoint& ip) : m_ip(ip) { Homog(m_ip, m_f); }

const std::array<KrExpan, 4>& KrPointRec::Exact() const
{
    if (!m_x) {
        m_x.reset(new std::array<KrExpan, 4>());
        Homog(m_ip, *m_x);
    }
    return *m_x;
}

CKrPoint3d KrPointRec::Round() const
{
    if (IsInput()) return m_ip.p;
    double out[3];
    bool good = m_f[3].Sign() != 2;
    for (int k = 0; k < 3 && good; ++k) {
        const double q = m_f[k].v / m_f[3].v;
        const double err = (m_f[k].e + std::fabs(q) * m_f[3].e) / std::fabs(m_f[3].v);
        good = err <= 1e-13 * std::fabs(q) || err == 0.0;
        out[k] = q;
    }
    if (!good) {
        const auto& x = Exact();
        const double w = x[3].Approx();
        for (int k = 0; k < 3; ++k) out[k] = x[k].Approx() / w;
    }
    return CKrPoint3d(out[0], out[1], out[2]);
}

int CompareAxis(const KrPointRec& P, const KrPointRec& Q, int k)
{
    if (P.IsInput() && Q.IsInput()) {
        const double a = Coord(P.Def().p, k), b = Coord(Q.Def().p, k);
        return a < b ? -1 : (a > b ? 1 : 0);
    }
    const int s = CompareT(P.Filt(), Q.Filt(), k);
    return s != 2 ? s : CompareT(P.Exact(), Q.Exact(), k);
}

int Orient2d(const KrPointRec& P, const KrPointRec& Q, const KrPointRec& R, int i, int j)
{
    if (P.IsInput() && Q.IsInput() && R.IsInput()) {
        const CKrPoint3d &a = P.Def().p, &b = Q.Def().p, &c = R.Def().p;
        return KrTesGeo::Orient2dExact(Coord(a, i), Coord(a, j), Coord(b, i), Coord(b, j), Coord(c, i), Coord(c, j));
    }
    const int s = Orient2dT(P.Filt(), Q.Filt(), R.Filt(), i, j);
    return s != 2 ? s : Orient2dT(P.Exact(), Q.Exact(), R.Exact(), i, j);
}

int Orient3d(const KrPointRec& P, const KrPointRec& Q, const KrPointRec& R, const KrPointRec& S)
{
    if (P.IsInput() && Q.IsInput() && R.IsInput() && S.IsInput())
        return KrTesGeo::Orient3dExact(P.Def().p, Q.Def().p, R.Def().p, S.Def().p);
    const int s = Orient3dT(P.Filt(), Q.Filt(), R.Filt(), S.Filt());
    return s != 2 ? s : Orient3dT(P.Exact(), Q.Exact(), R.Exact(), S.Exact());
}

}  // namespace exact
}  // namespace TesTriMesh
