#include "KrTesGeometry/collision/KrMeshContact.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <mutex>
#include <unordered_map>

#include "KrTesGeometry/geom/KrSpaceMath.h"
#include "KrTesGeometry/math/CGeDataTriMesh.h"
#include "KrTesGeometry/mesh/KrMeshData.h"
#include "collision/KrContactBvh.h"

namespace TesTriMesh {

using detail::BoxDist2;
using detail::BoxMeet;
using detail::CKrContactBvh;
using detail::KrAabb;
using detail::KrBvhNode;
using detail::TriBox;

// ---- placements ---------------------------------------------------------------

KrRigidTransform KrRigidTransform::Translation(double dx, double dy, double dz)
{
    KrRigidTransform x;
    x.t[0] = dx;
    x.t[1] = dy;
    x.t[2] = dz;
    return x;
}

KrRigidTransform KrRigidTransform::AxisAngle(double ax, double ay, double az, double angle, double dx, double dy,
                                             double dz)
{
    KrRigidTransform x = Translation(dx, dy, dz);
    const double c = std::cos(angle), s = std::sin(angle), C = 1.0 - c;
    x.R[0][0] = c + ax * ax * C;
    x.R[0][1] = ax * ay * C - az * s;
    x.R[0][2] = ax * az * C + ay * s;
    x.R[1][0] = ay * ax * C + az * s;
    x.R[1][1] = c + ay * ay * C;
    x.R[1][2] = ay * az * C - ax * s;
    x.R[2][0] = az * ax * C - ay * s;
    x.R[2][1] = az * ay * C + ax * s;
    x.R[2][2] = c + az * az * C;
    return x;
}

KrRigidTransform KrRigidTransform::After(const KrRigidTransform& first) const
{
    KrRigidTransform x;
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j)
            x.R[i][j] = R[i][0] * first.R[0][j] + R[i][1] * first.R[1][j] + R[i][2] * first.R[2][j];
        x.t[i] = R[i][0] * first.t[0] + R[i][1] * first.t[1] + R[i][2] * first.t[2] + t[i];
    }
    return x;
}

bool KrRigidTransform::IsIdentity() const
{
    for (int i = 0; i < 3; ++i) {
        if (t[i] != 0.0) return false;
        for (int j = 0; j < 3; ++j)
            if (R[i][j] != (i == j ? 1.0 : 0.0)) return false;
    }
    return true;
}

CKrPoint3d KrRigidTransform::Apply(const CKrPoint3d& p) const
{
    return CKrPoint3d(R[0][0] * p.x + R[0][1] * p.y + R[0][2] * p.z + t[0],
                      R[1][0] * p.x + R[1][1] * p.y + R[1][2] * p.z + t[1],
                      R[2][0] * p.x + R[2][1] * p.y + R[2][2] * p.z + t[2]);
}

namespace {

// The second mesh of a query in the first one's frame. Corners are moved with
// exactly the arithmetic of KrRigidTransform::Apply, so every query sees the
// same placed coordinates; boxes are moved as centre and half-extent and
// widened by far more than the rounding of either computation, so a placed
// box always holds its placed triangles.
class CPlacement {
public:
    explicit CPlacement(const KrRigidTransform& xf) : m_xf(xf), m_identity(xf.IsIdentity())
    {
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j) m_abs[i][j] = std::fabs(xf.R[i][j]);
    }
    bool Identity() const { return m_identity; }

    KrAabb Box(const KrAabb& b) const
    {
        if (m_identity) return b;
        double c[3], h[3], ca[3];
        for (int k = 0; k < 3; ++k) {
            c[k] = 0.5 * (b.lo[k] + b.hi[k]);
            h[k] = 0.5 * (b.hi[k] - b.lo[k]);
            ca[k] = std::fabs(c[k]);
        }
        KrAabb r;
        for (int i = 0; i < 3; ++i) {
            const double* R = m_xf.R[i];
            const double* A = m_abs[i];
            const double ci = R[0] * c[0] + R[1] * c[1] + R[2] * c[2] + m_xf.t[i];
            const double hi = A[0] * h[0] + A[1] * h[1] + A[2] * h[2];
            const double mag = A[0] * (ca[0] + h[0]) + A[1] * (ca[1] + h[1]) + A[2] * (ca[2] + h[2]) +
                               std::fabs(m_xf.t[i]);
            const double pad = 1e-13 * mag + std::numeric_limits<double>::denorm_min();
            r.lo[i] = ci - hi - pad;
            r.hi[i] = ci + hi + pad;
        }
        return r;
    }

    // Nine coordinates in, nine out.
    void Tri(const double* in, double* out) const
    {
        if (m_identity) {
            std::copy(in, in + 9, out);
            return;
        }
        for (int c = 0; c < 3; ++c) {
            const double x = in[3 * c], y = in[3 * c + 1], z = in[3 * c + 2];
            for (int i = 0; i < 3; ++i)
                out[3 * c + i] = m_xf.R[i][0] * x + m_xf.R[i][1] * y + m_xf.R[i][2] * z + m_xf.t[i];
        }
    }

private:
    KrRigidTransform m_xf;
    bool m_identity;
    double m_abs[3][3];
};

double Extent(const KrAabb& b) { return (b.hi[0] - b.lo[0]) + (b.hi[1] - b.lo[1]) + (b.hi[2] - b.lo[2]); }

bool PairLess(int32_t a0, int32_t b0, const CKrContactPair& p)
{
    return a0 < p.triA || (a0 == p.triA && b0 < p.triB);
}

// The triangles of one leaf, placed, with their boxes.
struct PlacedLeaf {
    int n = 0;
    double xyz[CKrContactBvh::kLeafSize][9];
    KrAabb box[CKrContactBvh::kLeafSize];
    int32_t tri[CKrContactBvh::kLeafSize];

    void Load(const CKrContactBvh& bvh, const KrBvhNode& leaf, const CPlacement& place)
    {
        n = leaf.count;
        for (int i = 0; i < n; ++i) {
            place.Tri(bvh.SlotXyz(leaf.first + i), xyz[i]);
            box[i] = TriBox(xyz[i]);
            tri[i] = bvh.SlotTri(leaf.first + i);
        }
    }
};

struct NodePair {
    int32_t a, b;
    double d2;
};

// The two node pairs below p: of a leaf and an inner node the inner one is
// opened, of two inner nodes the larger.
void Children(const NodePair& p, const KrBvhNode& a, const KrBvhNode& b, NodePair& c0, NodePair& c1)
{
    c0 = c1 = p;
    if (b.count > 0 || (a.count == 0 && Extent(a.box) >= Extent(b.box))) {
        c0.a = a.first;
        c1.a = a.first + 1;
    } else {
        c0.b = b.first;
        c1.b = b.first + 1;
    }
}

}  // namespace

// ---- the object -------------------------------------------------------------

class CKrMeshContact::Impl {
public:
    std::vector<double> xyz;   // three a point
    std::vector<int32_t> tri;  // three a triangle
    CKrContactBvh bvh;
    std::string error;
    // Closedness is worked out on first use (a sort of every edge would
    // double the cost of a build that never needs it).
    mutable std::once_flag closedOnce;
    mutable bool closed = false;

    void Clear()
    {
        xyz.clear();
        tri.clear();
        bvh.Clear();
    }
    bool Closed() const;

    bool Finish();
    // Pairs meeting. With `all`, gathers every pair; otherwise keeps in
    // `best` the smallest (and prunes by it), or with `anyPair` the first
    // one met (a yes-or-no question needs no more).
    void Meet(const Impl& other, const CPlacement& place, CKrContactPair& best,
              std::vector<CKrContactPair>* all, bool anyPair = false) const;
    CKrMeshDistance Distance(const Impl& other, const CPlacement& place, double stopBelow) const;
    double Winding(const double* p) const;
};

bool CKrMeshContact::Impl::Finish()
{
    const std::size_t np = xyz.size() / 3;
    for (std::size_t i = 0; i < xyz.size(); ++i) {
        if (!std::isfinite(xyz[i])) {
            error = "point " + std::to_string(i / 3) + " has a coordinate that is not finite";
            Clear();
            return false;
        }
    }
    for (std::size_t i = 0; i < tri.size(); ++i) {
        if (tri[i] < 0 || static_cast<std::size_t>(tri[i]) >= np) {
            error = "triangle " + std::to_string(i / 3) + " names point " + std::to_string(tri[i]) + " of " +
                    std::to_string(np);
            Clear();
            return false;
        }
    }
    bvh.Build(xyz, tri);
    error.clear();
    return true;
}

void CKrMeshContact::Impl::Meet(const Impl& other, const CPlacement& place, CKrContactPair& best,
                                std::vector<CKrContactPair>* all, bool anyPair) const
{
    best = CKrContactPair{std::numeric_limits<int32_t>::max(), std::numeric_limits<int32_t>::max()};
    if (bvh.Empty() || other.bvh.Empty()) return;
    const std::vector<KrBvhNode>& NA = bvh.Nodes();
    const std::vector<KrBvhNode>& NB = other.bvh.Nodes();
    std::vector<NodePair> stack;
    stack.reserve(128);
    stack.push_back(NodePair{0, 0, 0.0});
    PlacedLeaf leafB;
    while (!stack.empty()) {
        const NodePair p = stack.back();
        stack.pop_back();
        const KrBvhNode& a = NA[p.a];
        const KrBvhNode& b = NB[p.b];
        if (!all && !PairLess(a.minTri, b.minTri, best)) continue;
        if (!BoxMeet(a.box, place.Box(b.box))) continue;
        if (a.count > 0 && b.count > 0) {
            leafB.Load(other.bvh, b, place);
            for (int i = 0; i < a.count; ++i) {
                const int32_t ta = bvh.SlotTri(a.first + i);
                if (!all && ta > best.triA) break;
                const double* xa = bvh.SlotXyz(a.first + i);
                const KrAabb boxA = TriBox(xa);
                for (int j = 0; j < leafB.n; ++j) {
                    if (!all && !PairLess(ta, leafB.tri[j], best)) break;  // leaf slots ascend
                    if (!BoxMeet(boxA, leafB.box[j])) continue;
                    if (!detail::TrianglesMeet(xa, leafB.xyz[j])) continue;
                    if (all) {
                        all->push_back(CKrContactPair{ta, leafB.tri[j]});
                    } else {
                        best = CKrContactPair{ta, leafB.tri[j]};
                        if (anyPair) return;
                        break;
                    }
                }
            }
            continue;
        }
        // The child holding the smaller triangle index goes first, so the
        // smallest pair tends to be found early and the bound prunes the rest.
        NodePair c0, c1;
        Children(p, a, b, c0, c1);
        if (c0.a != c1.a ? NA[c0.a].minTri > NA[c1.a].minTri : NB[c0.b].minTri > NB[c1.b].minTri) std::swap(c0, c1);
        stack.push_back(c1);
        stack.push_back(c0);
    }
    if (all) {
        std::sort(all->begin(), all->end(), [](const CKrContactPair& x, const CKrContactPair& y) {
            return x.triA < y.triA || (x.triA == y.triA && x.triB < y.triB);
        });
    }
}

bool CKrMeshContact::Impl::Closed() const
{
    // Every undirected edge on exactly two triangles.
    std::call_once(closedOnce, [this] {
        std::vector<uint64_t> edges;
        edges.reserve(tri.size());
        bool collapsed = false;
        for (std::size_t i = 0; i < tri.size(); i += 3) {
            for (int k = 0; k < 3; ++k) {
                const uint32_t u = static_cast<uint32_t>(tri[i + k]), v = static_cast<uint32_t>(tri[i + (k + 1) % 3]);
                if (u == v) collapsed = true;
                edges.push_back((static_cast<uint64_t>(std::min(u, v)) << 32) | std::max(u, v));
            }
        }
        std::sort(edges.begin(), edges.end());
        closed = !edges.empty() && !collapsed;
        for (std::size_t i = 0; closed && i < edges.size();) {
            std::size_t j = i;
            while (j < edges.size() && edges[j] == edges[i]) ++j;
            closed = (j - i == 2);
            i = j;
        }
    });
    return closed;
}

CKrMeshDistance CKrMeshContact::Impl::Distance(const Impl& other, const CPlacement& place, double stopBelow) const
{
    CKrMeshDistance r;
    if (bvh.Empty() || other.bvh.Empty()) return r;
    const std::vector<KrBvhNode>& NA = bvh.Nodes();
    const std::vector<KrBvhNode>& NB = other.bvh.Nodes();
    const double stop2 = stopBelow > 0.0 ? stopBelow * stopBelow : 0.0;
    double best2 = std::numeric_limits<double>::infinity();
    // A pair of boxes cannot beat the best pair so far. At an (approximate)
    // zero, pairs whose boxes meet are still opened: only the exact test
    // may declare contact.
    const auto pruned = [&best2](double d2) { return d2 > best2 || (d2 == best2 && best2 > 0.0); };
    std::vector<NodePair> stack;
    stack.reserve(128);
    stack.push_back(NodePair{0, 0, BoxDist2(NA[0].box, place.Box(NB[0].box))});
    PlacedLeaf leafB;
    while (!stack.empty()) {
        const NodePair p = stack.back();
        stack.pop_back();
        if (pruned(p.d2)) continue;
        const KrBvhNode& a = NA[p.a];
        const KrBvhNode& b = NB[p.b];
        if (a.count > 0 && b.count > 0) {
            leafB.Load(other.bvh, b, place);
            for (int i = 0; i < a.count; ++i) {
                const double* xa = bvh.SlotXyz(a.first + i);
                const KrAabb boxA = TriBox(xa);
                for (int j = 0; j < leafB.n; ++j) {
                    const double bd2 = BoxDist2(boxA, leafB.box[j]);
                    if (pruned(bd2)) continue;
                    if (bd2 == 0.0 && detail::TrianglesMeet(xa, leafB.xyz[j])) {
                        r.distance = 0.0;
                        r.contact = true;
                        r.triA = bvh.SlotTri(a.first + i);
                        r.triB = leafB.tri[j];
                        // A common point: the ends of the crossing segment,
                        // or for coplanar triangles the closest features.
                        const double* xb = leafB.xyz[j];
                        CKrPoint3d P[6], q0, q1;
                        for (int k = 0; k < 3; ++k) {
                            P[k] = CKrPoint3d(xa[3 * k], xa[3 * k + 1], xa[3 * k + 2]);
                            P[3 + k] = CKrPoint3d(xb[3 * k], xb[3 * k + 1], xb[3 * k + 2]);
                        }
                        bool coplanar = false;
                        CKrSpaceMath::Test_Intersect_Tri_And_Tri_3D(P[0], P[1], P[2], P[3], P[4], P[5], q0, q1,
                                                                    coplanar);
                        if (!coplanar) {
                            r.ptA = r.ptB = (q0 + q1) * 0.5;
                        } else {
                            double ca[3], cb[3];
                            detail::ClosestTriTriApart(xa, xb, ca, cb);
                            r.ptA = CKrPoint3d(ca[0], ca[1], ca[2]);
                            r.ptB = CKrPoint3d(cb[0], cb[1], cb[2]);
                        }
                        return r;  // nothing is closer than meeting
                    }
                    double ca[3], cb[3];
                    const double d2 = detail::ClosestTriTriApart(xa, leafB.xyz[j], ca, cb);
                    if (d2 < best2) {
                        best2 = d2;
                        r.triA = bvh.SlotTri(a.first + i);
                        r.triB = leafB.tri[j];
                        r.ptA = CKrPoint3d(ca[0], ca[1], ca[2]);
                        r.ptB = CKrPoint3d(cb[0], cb[1], cb[2]);
                        if (d2 < stop2) {
                            r.distance = std::sqrt(best2);
                            r.stoppedEarly = true;
                            return r;
                        }
                    }
                }
            }
            continue;
        }
        NodePair c0, c1;
        Children(p, a, b, c0, c1);
        const KrAabb& boxA0 = NA[c0.a].box;
        const KrAabb& boxA1 = NA[c1.a].box;
        c0.d2 = BoxDist2(boxA0, place.Box(NB[c0.b].box));
        c1.d2 = BoxDist2(boxA1, place.Box(NB[c1.b].box));
        // The nearer pair is opened first (pushed last).
        if (c1.d2 < c0.d2) std::swap(c0, c1);
        if (!pruned(c1.d2)) stack.push_back(c1);
        if (!pruned(c0.d2)) stack.push_back(c0);
    }
    r.distance = std::sqrt(best2);
    return r;
}

double CKrMeshContact::Impl::Winding(const double* p) const
{
    // Each triangle's signed solid angle seen from p (Van Oosterom and
    // Strackee), summed.
    double sum = 0.0;
    for (std::size_t i = 0; i < tri.size(); i += 3) {
        double v[3][3], len[3];
        for (int c = 0; c < 3; ++c) {
            const double* q = &xyz[static_cast<std::size_t>(tri[i + c]) * 3];
            for (int k = 0; k < 3; ++k) v[c][k] = q[k] - p[k];
            len[c] = std::sqrt(v[c][0] * v[c][0] + v[c][1] * v[c][1] + v[c][2] * v[c][2]);
        }
        const double det = v[0][0] * (v[1][1] * v[2][2] - v[1][2] * v[2][1]) -
                           v[0][1] * (v[1][0] * v[2][2] - v[1][2] * v[2][0]) +
                           v[0][2] * (v[1][0] * v[2][1] - v[1][1] * v[2][0]);
        const auto dot = [&v](int x, int y) { return v[x][0] * v[y][0] + v[x][1] * v[y][1] + v[x][2] * v[y][2]; };
        const double den = len[0] * len[1] * len[2] + dot(0, 1) * len[2] + dot(0, 2) * len[1] + dot(1, 2) * len[0];
        sum += 2.0 * std::atan2(det, den);
    }
    return sum / (4.0 * 3.14159265358979323846);
}

CKrMeshContact::CKrMeshContact() : m_impl(new Impl) {}
CKrMeshContact::~CKrMeshContact() = default;
CKrMeshContact::CKrMeshContact(CKrMeshContact&&) noexcept = default;
CKrMeshContact& CKrMeshContact::operator=(CKrMeshContact&&) noexcept = default;

bool CKrMeshContact::Build(const std::vector<CKrPoint3d>& pts, const std::vector<KrTesGeo::_sTri_ID>& tris)
{
    m_impl.reset(new Impl);
    Impl& m = *m_impl;
    m.xyz.reserve(pts.size() * 3);
    for (const CKrPoint3d& p : pts) {
        m.xyz.push_back(p.x);
        m.xyz.push_back(p.y);
        m.xyz.push_back(p.z);
    }
    m.tri.reserve(tris.size() * 3);
    for (const KrTesGeo::_sTri_ID& t : tris) m.tri.insert(m.tri.end(), t.nID, t.nID + 3);
    return m.Finish();
}

bool CKrMeshContact::Build(const CGeDataTriMesh& mesh)
{
    m_impl.reset(new Impl);
    Impl& m = *m_impl;
    const int32_t np = mesh.GetPointCount(), nt = mesh.GetTriCount();
    m.xyz.reserve(static_cast<std::size_t>(np) * 3);
    for (int32_t i = 0; i < np; ++i) {
        const CGeDataPoint3D* p = mesh.GetPoint(i);
        if (!p) {
            m.error = "point " + std::to_string(i) + " is missing (null record)";
            m.Clear();
            return false;
        }
        m.xyz.push_back(p->x);
        m.xyz.push_back(p->y);
        m.xyz.push_back(p->z);
    }
    m.tri.reserve(static_cast<std::size_t>(nt) * 3);
    for (int32_t i = 0; i < nt; ++i) {
        const CGeDataTriIndex* t = mesh.GetTri(i);
        if (!t) {
            m.error = "triangle " + std::to_string(i) + " is missing (null record)";
            m.Clear();
            return false;
        }
        m.tri.insert(m.tri.end(), t->n, t->n + 3);
    }
    return m.Finish();
}

bool CKrMeshContact::Build(const CKrMeshData& mesh)
{
    m_impl.reset(new Impl);
    Impl& m = *m_impl;
    std::unordered_map<const _sVertex*, int32_t> number;
    number.reserve(mesh.m_setVer.size());
    for (const _sVertex* v : mesh.m_setVer) {
        number.emplace(v, static_cast<int32_t>(number.size()));
        m.xyz.push_back(v->pt.x);
        m.xyz.push_back(v->pt.y);
        m.xyz.push_back(v->pt.z);
    }
    std::vector<std::array<int32_t, 3>> tris;
    tris.reserve(mesh.m_setTri.size());
    for (const _sTri* t : mesh.m_setTri) {
        std::array<int32_t, 3> ids{};
        for (int k = 0; k < 3; ++k) {
            const auto it = number.find(t->pVer[k]);
            if (it == number.end()) {
                m.error = "a triangle has a corner that is not a vertex of the mesh";
                m.Clear();
                return false;
            }
            ids[k] = it->second;
        }
        tris.push_back(ids);
    }
    std::sort(tris.begin(), tris.end());
    m.tri.reserve(tris.size() * 3);
    for (const auto& t : tris) m.tri.insert(m.tri.end(), t.begin(), t.end());
    return m.Finish();
}

const std::string& CKrMeshContact::Error() const
{
    static const std::string none;
    return m_impl ? m_impl->error : none;
}
std::size_t CKrMeshContact::TriCount() const { return m_impl ? m_impl->tri.size() / 3 : 0; }
std::size_t CKrMeshContact::PointCount() const { return m_impl ? m_impl->xyz.size() / 3 : 0; }
bool CKrMeshContact::IsClosed() const { return m_impl && m_impl->Closed(); }

bool CKrMeshContact::GetTriangle(int32_t i, CKrPoint3d& a, CKrPoint3d& b, CKrPoint3d& c) const
{
    if (!m_impl || i < 0 || static_cast<std::size_t>(i) >= TriCount()) return false;
    CKrPoint3d* out[3] = {&a, &b, &c};
    for (int k = 0; k < 3; ++k) {
        const double* p = &m_impl->xyz[static_cast<std::size_t>(m_impl->tri[3 * static_cast<std::size_t>(i) + k]) * 3];
        *out[k] = CKrPoint3d(p[0], p[1], p[2]);
    }
    return true;
}

bool CKrMeshContact::Intersects(const CKrMeshContact& other, CKrContactPair* first) const
{
    return Intersects(other, KrRigidTransform::Identity(), first);
}

bool CKrMeshContact::Intersects(const CKrMeshContact& other, const KrRigidTransform& xfOther,
                                CKrContactPair* first) const
{
    CKrContactPair best;
    m_impl->Meet(*other.m_impl, CPlacement(xfOther), best, nullptr, first == nullptr);
    const bool hit = best.triA != std::numeric_limits<int32_t>::max();
    if (first) *first = hit ? best : CKrContactPair{};
    return hit;
}

std::size_t CKrMeshContact::ContactPairs(const CKrMeshContact& other, const KrRigidTransform& xfOther,
                                         std::vector<CKrContactPair>& pairs, std::size_t maxPairs) const
{
    pairs.clear();
    CKrContactPair best;
    m_impl->Meet(*other.m_impl, CPlacement(xfOther), best, &pairs);
    if (pairs.size() > maxPairs) pairs.resize(maxPairs);
    return pairs.size();
}

CKrMeshDistance CKrMeshContact::Distance(const CKrMeshContact& other, double stopBelow) const
{
    return Distance(other, KrRigidTransform::Identity(), stopBelow);
}

CKrMeshDistance CKrMeshContact::Distance(const CKrMeshContact& other, const KrRigidTransform& xfOther,
                                         double stopBelow) const
{
    return m_impl->Distance(*other.m_impl, CPlacement(xfOther), stopBelow);
}

double CKrMeshContact::WindingNumber(const CKrPoint3d& p) const
{
    const double q[3] = {p.x, p.y, p.z};
    return m_impl->Winding(q);
}

bool CKrMeshContact::Contains(const CKrPoint3d& p) const
{
    return IsClosed() && std::fabs(WindingNumber(p)) > 0.5;
}

int CKrMeshContact::Containment(const CKrMeshContact& other, const KrRigidTransform& xfOther) const
{
    if (TriCount() == 0 || other.TriCount() == 0) return 0;
    if (Intersects(other, xfOther)) return 0;
    CKrPoint3d a, b, c;
    if (IsClosed()) {
        other.GetTriangle(0, a, b, c);
        if (Contains(xfOther.Apply(a))) return 1;
    }
    if (other.IsClosed()) {
        // One corner of this mesh, taken into the other's frame (general
        // inverse of the placement's matrix).
        const double(*R)[3] = xfOther.R;
        const double det = R[0][0] * (R[1][1] * R[2][2] - R[1][2] * R[2][1]) -
                           R[0][1] * (R[1][0] * R[2][2] - R[1][2] * R[2][0]) +
                           R[0][2] * (R[1][0] * R[2][1] - R[1][1] * R[2][0]);
        if (det == 0.0) return 0;
        double inv[3][3];
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j) {
                const int i1 = (j + 1) % 3, i2 = (j + 2) % 3, j1 = (i + 1) % 3, j2 = (i + 2) % 3;
                inv[i][j] = (R[i1][j1] * R[i2][j2] - R[i1][j2] * R[i2][j1]) / det;
            }
        GetTriangle(0, a, b, c);
        const double d[3] = {a.x - xfOther.t[0], a.y - xfOther.t[1], a.z - xfOther.t[2]};
        const CKrPoint3d q(inv[0][0] * d[0] + inv[0][1] * d[1] + inv[0][2] * d[2],
                           inv[1][0] * d[0] + inv[1][1] * d[1] + inv[1][2] * d[2],
                           inv[2][0] * d[0] + inv[2][1] * d[1] + inv[2][2] * d[2]);
        if (other.Contains(q)) return -1;
    }
    return 0;
}

}  // namespace TesTriMesh
