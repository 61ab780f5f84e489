// CKrMeshContact against independent brute force: every triangle pair settled
// by the exact triangle test (contact) or by closest points written here
// without the library's routines (distance). Touching placements are built so
// that the contact is exact in double arithmetic: the meshes meet in an
// axis-aligned plane z = const that both hold exactly.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "KrTesGeometry/collision/KrMeshContact.h"
#include "KrTesGeometry/geom/KrSpaceMath.h"
#include "KrTesGeometry/math/CGeDataTriMesh.h"
#include "KrTesGeometry/mesh/KrMeshData.h"
#include "support/KrTestMeshes.h"

using TesTriMesh::CKrContactPair;
using TesTriMesh::CKrMeshContact;
using TesTriMesh::CKrMeshDistance;
using TesTriMesh::KrRigidTransform;
using testmesh::Solid;

namespace {

constexpr double kPi = 3.14159265358979323846;

// ---- independent closest points ------------------------------------------------

struct V {
    double x, y, z;
};
V operator-(V a, V b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
V operator+(V a, V b) { return {a.x + b.x, a.y + b.y, a.z + b.z}; }
V operator*(V a, double s) { return {a.x * s, a.y * s, a.z * s}; }
double Dot(V a, V b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
double Len(V a) { return std::sqrt(Dot(a, a)); }
V ToV(const CKrPoint3d& p) { return {p.x, p.y, p.z}; }

double PointSeg(V p, V a, V b)
{
    const V ab = b - a;
    const double l2 = Dot(ab, ab);
    const double t = l2 > 0.0 ? std::clamp(Dot(p - a, ab) / l2, 0.0, 1.0) : 0.0;
    return Len(p - (a + ab * t));
}

// Foot of p on the triangle's plane by barycentric coordinates (Gram system);
// inside: the plane distance, else the nearest edge.
double PointTri(V p, V a, V b, V c)
{
    const V u = b - a, v = c - a, w = p - a;
    const double uu = Dot(u, u), uv = Dot(u, v), vv = Dot(v, v), wu = Dot(w, u), wv = Dot(w, v);
    const double den = uu * vv - uv * uv;
    if (den > 0.0) {
        const double s = (wu * vv - wv * uv) / den, t = (wv * uu - wu * uv) / den;
        if (s >= 0.0 && t >= 0.0 && s + t <= 1.0) return Len(w - u * s - v * t);
    }
    return std::min({PointSeg(p, a, b), PointSeg(p, b, c), PointSeg(p, c, a)});
}

// The interior critical point of the two lines when both parameters fall in
// [0, 1]; otherwise an end of one segment is nearest.
double SegSeg(V p, V q, V r, V s)
{
    const V d1 = q - p, d2 = s - r, w = p - r;
    const double a = Dot(d1, d1), b = Dot(d1, d2), c = Dot(d2, d2), d = Dot(d1, w), e = Dot(d2, w);
    const double den = a * c - b * b;
    double best = std::min({PointSeg(p, r, s), PointSeg(q, r, s), PointSeg(r, p, q), PointSeg(s, p, q)});
    if (den > 1e-12 * a * c) {
        const double sc = (b * e - c * d) / den, tc = (a * e - b * d) / den;
        if (sc >= 0.0 && sc <= 1.0 && tc >= 0.0 && tc <= 1.0) best = std::min(best, Len((p + d1 * sc) - (r + d2 * tc)));
    }
    return best;
}

double TriTri(const V A[3], const V B[3])
{
    double best = std::numeric_limits<double>::infinity();
    for (int i = 0; i < 3; ++i) {
        best = std::min(best, PointTri(A[i], B[0], B[1], B[2]));
        best = std::min(best, PointTri(B[i], A[0], A[1], A[2]));
        for (int j = 0; j < 3; ++j) best = std::min(best, SegSeg(A[i], A[(i + 1) % 3], B[j], B[(j + 1) % 3]));
    }
    return best;
}

void Corners(const Solid& s, std::size_t t, V out[3])
{
    for (int k = 0; k < 3; ++k) out[k] = ToV(s.pts[s.ids[t].nID[k]]);
}

bool Meet(const Solid& a, std::size_t i, const Solid& b, std::size_t j)
{
    const auto& p = a.pts;
    const auto& q = b.pts;
    const auto& s = a.ids[i].nID;
    const auto& t = b.ids[j].nID;
    // Triangles whose boxes are apart cannot meet (a shortcut, not a filter
    // of the answer).
    const auto apart = [](double a0, double a1, double a2, double b0, double b1, double b2) {
        return std::max({a0, a1, a2}) < std::min({b0, b1, b2}) || std::max({b0, b1, b2}) < std::min({a0, a1, a2});
    };
    if (apart(p[s[0]].x, p[s[1]].x, p[s[2]].x, q[t[0]].x, q[t[1]].x, q[t[2]].x) ||
        apart(p[s[0]].y, p[s[1]].y, p[s[2]].y, q[t[0]].y, q[t[1]].y, q[t[2]].y) ||
        apart(p[s[0]].z, p[s[1]].z, p[s[2]].z, q[t[0]].z, q[t[1]].z, q[t[2]].z))
        return false;
    return CKrSpaceMath::Test_Intersect_Tri_And_Tri_3D(p[s[0]], p[s[1]], p[s[2]], q[t[0]], q[t[1]], q[t[2]]) == 2;
}

// Distance over all pairs (for surfaces that do not cross).
double BruteDistance(const Solid& a, const Solid& b)
{
    double best = std::numeric_limits<double>::infinity();
    for (std::size_t i = 0; i < a.ids.size(); ++i) {
        V A[3];
        Corners(a, i, A);
        for (std::size_t j = 0; j < b.ids.size(); ++j) {
            V B[3];
            Corners(b, j, B);
            best = std::min(best, TriTri(A, B));
        }
    }
    return best;
}

// All meeting pairs, in (A, B) order.
std::vector<std::pair<int, int>> BruteContacts(const Solid& a, const Solid& b)
{
    std::vector<std::pair<int, int>> r;
    for (std::size_t i = 0; i < a.ids.size(); ++i)
        for (std::size_t j = 0; j < b.ids.size(); ++j)
            if (Meet(a, i, b, j)) r.emplace_back(static_cast<int>(i), static_cast<int>(j));
    return r;
}

// ---- meshes --------------------------------------------------------------------

// A sphere of radius r about c with both poles cut flat: the caps lie exactly
// in z = zBot and z = zTop (given, so that a placement can share them),
// nLat rings between, nLon points a ring turned by phi. Outward-facing.
Solid CappedSphere(V c, double r, double zBot, double zTop, int nLon, int nLat, double phi)
{
    Solid s;
    const double capLat = std::asin(std::clamp((zTop - c.z) / r, -1.0, 1.0));
    const double botLat = std::asin(std::clamp((zBot - c.z) / r, -1.0, 1.0));
    s.pts.emplace_back(c.x, c.y, zBot);
    for (int k = 0; k <= nLat + 1; ++k) {
        const double lat = botLat + (capLat - botLat) * k / (nLat + 1);
        const double z = k == 0 ? zBot : (k == nLat + 1 ? zTop : c.z + r * std::sin(lat));
        const double rr = r * std::cos(lat);
        for (int i = 0; i < nLon; ++i) {
            const double lon = phi + 2.0 * kPi * i / nLon;
            s.pts.emplace_back(c.x + rr * std::cos(lon), c.y + rr * std::sin(lon), z);
        }
    }
    s.pts.emplace_back(c.x, c.y, zTop);
    const int top = static_cast<int>(s.pts.size()) - 1;
    const auto ring = [nLon](int k, int i) { return 1 + k * nLon + (i % nLon); };
    for (int i = 0; i < nLon; ++i) s.ids.emplace_back(0, ring(0, i + 1), ring(0, i));
    for (int k = 0; k <= nLat; ++k)
        for (int i = 0; i < nLon; ++i) {
            s.ids.emplace_back(ring(k, i), ring(k, i + 1), ring(k + 1, i + 1));
            s.ids.emplace_back(ring(k, i), ring(k + 1, i + 1), ring(k + 1, i));
        }
    for (int i = 0; i < nLon; ++i) s.ids.emplace_back(top, ring(nLat + 1, i), ring(nLat + 1, i + 1));
    return s;
}

CKrMeshContact Built(const Solid& s)
{
    CKrMeshContact c;
    EXPECT_TRUE(c.Build(s.pts, s.ids)) << c.Error();
    return c;
}

KrRigidTransform RandomTurn(std::mt19937_64& rng, double dx, double dy, double dz)
{
    std::uniform_real_distribution<double> u(-1.0, 1.0);
    V ax{u(rng), u(rng), u(rng)};
    while (Len(ax) < 0.1) ax = {u(rng), u(rng), u(rng)};
    ax = ax * (1.0 / Len(ax));
    return KrRigidTransform::AxisAngle(ax.x, ax.y, ax.z, kPi * u(rng), dx, dy, dz);
}

Solid Placed(const Solid& s, const KrRigidTransform& xf)
{
    Solid r = s;
    for (CKrPoint3d& p : r.pts) p = xf.Apply(p);
    return r;
}

// Every pair the object reports is a brute-force pair and the other way round;
// the first pair is the smallest.
void ExpectSamePairs(const CKrMeshContact& a, const CKrMeshContact& b, const KrRigidTransform& xf,
                     const std::vector<std::pair<int, int>>& brute)
{
    std::vector<CKrContactPair> pairs;
    a.ContactPairs(b, xf, pairs);
    ASSERT_EQ(pairs.size(), brute.size());
    for (std::size_t i = 0; i < pairs.size(); ++i) {
        EXPECT_EQ(pairs[i].triA, brute[i].first);
        EXPECT_EQ(pairs[i].triB, brute[i].second);
    }
    CKrContactPair first;
    EXPECT_EQ(a.Intersects(b, xf, &first), !brute.empty());
    if (!brute.empty()) {
        EXPECT_EQ(first.triA, brute[0].first);
        EXPECT_EQ(first.triB, brute[0].second);
    }
}

}  // namespace

// Exact touching at random placements: sphere A ends at its flat top cap
// z = zTop, sphere B (turned about z) stands on that plane with its flat bottom
// cap. Every trial must report contact, exactly the brute-force pairs (so no
// pair that merely comes close), the smallest pair first, and distance 0.
// (Touching at one shared vertex: KrContactBvh.SpheresSharingOneVertex.)
TEST(MeshContact, TouchingSpheresFaceToFace)
{
    std::mt19937_64 rng(20240611);
    std::uniform_real_distribution<double> u(-1.0, 1.0);
    for (int trial = 0; trial < 300; ++trial) {
        const V ca{0.5 * u(rng), 0.5 * u(rng), 0.25 * u(rng)};
        // The cap plane: a dyadic height a little above the centre.
        const double zTop = std::ldexp(std::round(std::ldexp(ca.z + 0.8, 10)), -10);
        const Solid a = CappedSphere(ca, 1.0, ca.z - 0.9, zTop, 16, 7, 0.3 * u(rng));
        const Solid b = CappedSphere({ca.x + 0.15 * u(rng), ca.y + 0.15 * u(rng), zTop + 0.4}, 0.5, zTop, zTop + 0.8, 12,
                                     5, kPi * u(rng));
        const std::vector<std::pair<int, int>> brute = BruteContacts(a, b);
        ASSERT_FALSE(brute.empty()) << "construction failed";
        const CKrMeshContact ma = Built(a), mb = Built(b);
        ExpectSamePairs(ma, mb, KrRigidTransform::Identity(), brute);
        const CKrMeshDistance d = ma.Distance(mb);
        EXPECT_TRUE(d.contact);
        EXPECT_EQ(d.distance, 0.0);
        ASSERT_FALSE(::testing::Test::HasFailure()) << "trial " << trial;
    }
}

// B's flat bottom cap at zTop + gap over A's flat top cap, B turned about z
// (cap stays level) or fully at random (then its lowest corner sits at
// zTop + gap), and given as a placement of a mesh built once at the origin.
// Overlap by 1e-6 is contact; gaps of 1e-6, 0.1 and 10 agree with the brute
// force to 1e-9 relative, and the reported points are that far apart and on
// the reported triangles.
TEST(MeshContact, OverlapAndGapsAgainstBruteForce)
{
    std::mt19937_64 rng(7);
    std::uniform_real_distribution<double> u(-1.0, 1.0);
    const V ca{0.0, 0.0, 0.0};
    const double zTop = 0.75;
    const Solid a = CappedSphere(ca, 1.0, -0.8, zTop, 14, 6, 0.1);
    const CKrMeshContact ma = Built(a);
    const Solid local = CappedSphere({0, 0, 0}, 0.5, -0.4, 0.4, 12, 5, 0.0);
    const CKrMeshContact ml = Built(local);
    for (const double gap : {-1e-6, 1e-6, 0.1, 10.0}) {
        for (int trial = 0; trial < 12; ++trial) {
            const bool level = trial % 2 == 0;
            KrRigidTransform xf =
                level ? KrRigidTransform::AxisAngle(0, 0, 1, kPi * u(rng), 0.2 * u(rng), 0.2 * u(rng), 0.0)
                      : RandomTurn(rng, 0.2 * u(rng), 0.2 * u(rng), 0.0);
            double low = std::numeric_limits<double>::infinity();
            for (const CKrPoint3d& p : local.pts) low = std::min(low, xf.Apply(p).z);
            xf.t[2] = zTop + gap - low;
            const Solid b = Placed(local, xf);
            const CKrMeshContact mb = Built(b);
            const CKrMeshDistance viaXf = ma.Distance(ml, xf);
            const CKrMeshDistance direct = ma.Distance(mb);
            EXPECT_EQ(viaXf.distance, direct.distance);
            EXPECT_EQ(ma.Intersects(ml, xf), ma.Intersects(mb));
            if (gap < 0.0) {
                EXPECT_TRUE(viaXf.contact) << trial;
                EXPECT_EQ(viaXf.distance, 0.0);
                ExpectSamePairs(ma, ml, xf, BruteContacts(a, b));
                continue;
            }
            EXPECT_FALSE(ma.Intersects(ml, xf));
            const double bf = BruteDistance(a, b);
            EXPECT_NEAR(viaXf.distance, bf, 1e-9 * bf) << "gap " << gap << " trial " << trial;
            if (level) {
                EXPECT_NEAR(bf, gap, 1e-6 * gap);  // the caps face each other
            }
            EXPECT_NEAR(viaXf.ptA.Distance(viaXf.ptB), viaXf.distance, 1e-12);
            V A[3], B[3];
            Corners(a, static_cast<std::size_t>(viaXf.triA), A);
            Corners(b, static_cast<std::size_t>(viaXf.triB), B);
            EXPECT_LT(PointTri(ToV(viaXf.ptA), A[0], A[1], A[2]), 1e-12);
            EXPECT_LT(PointTri(ToV(viaXf.ptB), B[0], B[1], B[2]), 1e-12);
            // Stopping early: below a bound above the distance it returns a
            // pair under the bound at once; below one under it, the minimum.
            const CKrMeshDistance early = ma.Distance(ml, xf, 2.0 * gap + 0.5);
            EXPECT_LT(early.distance, 2.0 * gap + 0.5);
            EXPECT_GE(early.distance, viaXf.distance);
            EXPECT_EQ(ma.Distance(ml, xf, 0.5 * gap).distance, viaXf.distance);
        }
    }
}

// An open terrain (a height field on a dyadic grid) against a box over a
// grid-aligned footprint: resting on the highest corner under it (exact
// touching), raised by 0.25 (apart: brute-force distance), lowered by 1e-6
// (crossing), and buried wholly below the surface (apart, and no containment
// from an open mesh). The box against a sphere inside it: no contact, but
// containment either way round; and the mesh kinds build alike.
TEST(MeshContact, TerrainBoxAndContainment)
{
    const auto height = [](double x, double y) {
        return std::ldexp(std::round(std::ldexp(std::sin(0.9 * x) + 0.5 * std::cos(1.3 * y), 8)), -8);
    };
    const Solid terrain = testmesh::Grid(16, 12, 0.0, 0.0, 0.5, height);
    const CKrMeshContact mt = Built(terrain);
    EXPECT_FALSE(mt.IsClosed());
    const double x0 = 2.0, x1 = 4.5, y0 = 1.5, y1 = 3.0;
    double top = -std::numeric_limits<double>::infinity(), bottom = std::numeric_limits<double>::infinity();
    for (const CKrPoint3d& p : terrain.pts) {
        bottom = std::min(bottom, p.z);
        if (p.x >= x0 && p.x <= x1 && p.y >= y0 && p.y <= y1) top = std::max(top, p.z);
    }
    struct Case {
        double z0;
        bool contact;
    };
    for (const Case& c : {Case{top, true}, Case{top + 0.25, false}, Case{top - 1e-6, true}, Case{bottom - 3.0, false}}) {
        const Solid box = testmesh::Box(x0, y0, c.z0, x1, y1, c.z0 + 1.0);
        const CKrMeshContact mb = Built(box);
        EXPECT_TRUE(mb.IsClosed());
        const std::vector<std::pair<int, int>> brute = BruteContacts(terrain, box);
        EXPECT_EQ(!brute.empty(), c.contact) << c.z0;
        ExpectSamePairs(mt, mb, KrRigidTransform::Identity(), brute);
        const CKrMeshDistance d = mt.Distance(mb);
        EXPECT_EQ(d.contact, c.contact);
        if (!c.contact) {
            const double bf = BruteDistance(terrain, box);
            EXPECT_NEAR(d.distance, bf, 1e-9 * bf);
        }
        EXPECT_EQ(mt.Containment(mb, KrRigidTransform::Identity()), 0);
    }

    const Solid big = testmesh::Box(-2, -2, -2, 2, 2, 2);
    const Solid ball = testmesh::Sphere(CKrPoint3d(0.3, -0.2, 0.1), 1.0, 2);
    const CKrMeshContact mBig = Built(big), mBall = Built(ball);
    EXPECT_FALSE(mBig.Intersects(mBall));
    EXPECT_EQ(mBig.Containment(mBall, KrRigidTransform::Identity()), 1);
    EXPECT_EQ(mBall.Containment(mBig, KrRigidTransform::Identity()), -1);
    EXPECT_EQ(mBig.Containment(mBall, KrRigidTransform::Translation(2.5, 0, 0)), 0);  // crossing
    EXPECT_EQ(mBig.Containment(mBall, KrRigidTransform::Translation(9, 0, 0)), 0);    // apart
    EXPECT_NEAR(mBig.WindingNumber(CKrPoint3d(1.9, 1.9, -1.9)), 1.0, 1e-9);
    EXPECT_NEAR(mBig.WindingNumber(CKrPoint3d(2.1, 0, 0)), 0.0, 1e-9);
    const double bf = BruteDistance(big, ball);
    EXPECT_NEAR(mBig.Distance(mBall).distance, bf, 1e-9 * bf);

    // The interchange mesh builds the same triangles; the topological mesh
    // numbers them the same way whatever order (and so addresses) they were
    // made in.
    CKrMeshContact fromGe;
    ASSERT_TRUE(fromGe.Build(testmesh::ToGeData(ball)));
    EXPECT_EQ(fromGe.Distance(mBig).distance, mBall.Distance(mBig).distance);
    Solid reversed = ball;
    std::reverse(reversed.ids.begin(), reversed.ids.end());
    TesTriMesh::CKrMeshData d1, d2;
    testmesh::Load(d1, ball);
    testmesh::Load(d2, reversed);
    CKrMeshContact m1, m2;
    ASSERT_TRUE(m1.Build(d1));
    ASSERT_TRUE(m2.Build(d2));
    ASSERT_EQ(m1.TriCount(), ball.ids.size());
    ASSERT_EQ(m1.TriCount(), m2.TriCount());
    for (int i = 0; i < static_cast<int>(m1.TriCount()); ++i) {
        CKrPoint3d a1, b1, c1, a2, b2, c2;
        m1.GetTriangle(i, a1, b1, c1);
        m2.GetTriangle(i, a2, b2, c2);
        ASSERT_TRUE(a1.x == a2.x && a1.y == a2.y && a1.z == a2.z && c1.x == c2.x && c1.z == c2.z) << i;
    }
    EXPECT_NEAR(m1.Distance(mBig).distance, mBall.Distance(mBig).distance, 1e-12);
}

// Faults name themselves and leave an empty object behind; empty meshes
// meet nothing.
TEST(MeshContact, BadInputAndEmptyMeshes)
{
    Solid s = testmesh::Box(0, 0, 0, 1, 1, 1);
    s.ids[5].nID[1] = 8;
    CKrMeshContact c;
    EXPECT_FALSE(c.Build(s.pts, s.ids));
    EXPECT_EQ(c.Error(), "triangle 5 names point 8 of 8");
    EXPECT_EQ(c.TriCount(), 0u);
    s = testmesh::Box(0, 0, 0, 1, 1, 1);
    s.pts[3].y = std::numeric_limits<double>::quiet_NaN();
    EXPECT_FALSE(c.Build(s.pts, s.ids));
    EXPECT_EQ(c.Error(), "point 3 has a coordinate that is not finite");
    CGeDataTriMesh g = testmesh::ToGeData(testmesh::Box(0, 0, 0, 1, 1, 1));
    delete g.m_arrTris.m_pData[2];
    g.m_arrTris.m_pData[2] = nullptr;
    EXPECT_FALSE(c.Build(g));
    EXPECT_EQ(c.Error(), "triangle 2 is missing (null record)");

    CKrMeshContact empty, box;
    ASSERT_TRUE(empty.Build(std::vector<CKrPoint3d>{}, {}));
    ASSERT_TRUE(box.Build(testmesh::Box(0, 0, 0, 1, 1, 1).pts, testmesh::Box(0, 0, 0, 1, 1, 1).ids));
    EXPECT_FALSE(box.Intersects(empty));
    EXPECT_TRUE(std::isinf(box.Distance(empty).distance));
    EXPECT_EQ(box.Distance(empty).triA, -1);
}
