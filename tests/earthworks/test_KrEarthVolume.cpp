#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "KrTesGeometry/earthworks/KrEarthVolume.h"
#include "earthworks/EarthTestUtil.h"

using namespace TesTriMesh;
using earthtest::Solid;
using testmesh::Grid;

namespace {

KrEarthVolume Between(const Solid& a, const Solid& b, const KrEarthVolumeOptions& opt = {})
{
    KrEarthVolume v;
    EXPECT_TRUE(KrVolumeBetween(a.pts, a.ids, b.pts, b.ids, opt, v)) << v.error;
    return v;
}

// Relative closeness for volumes and areas of order 1 to 1e6.
::testing::AssertionResult Close(double got, double want, double rel = 1e-10)
{
    if (std::fabs(got - want) <= rel * std::max(1.0, std::fabs(want))) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "got " << got << ", want " << want;
}

// Cut, fill and their areas as expected, and the net their difference.
void ExpectVolume(const KrEarthVolume& v, double cut, double fill, double cutArea, double fillArea, double rel = 1e-10)
{
    EXPECT_TRUE(Close(v.cut, cut, rel));
    EXPECT_TRUE(Close(v.fill, fill, rel));
    EXPECT_TRUE(Close(v.cutArea, cutArea, rel));
    EXPECT_TRUE(Close(v.fillArea, fillArea, rel));
    EXPECT_NEAR(v.net, cut - fill, rel * std::max({1.0, cut, fill}));
}

// One zero line, closed or not, of the given length, with off(p) = 0 at its points.
void ExpectZeroLine(const KrEarthVolume& v, bool closed, double length, double (*off)(const CKrPoint3d&))
{
    ASSERT_EQ(v.zeroLines.size(), 1u);
    const CKrPolyLine& z = v.zeroLines[0];
    EXPECT_EQ(z.IsClosed(), closed);
    EXPECT_TRUE(Close(z.GetLength2d(), length, 1e-9));
    for (const CKrPoint3d& p : z.GetVerts()) EXPECT_NEAR(off(p), 0.0, 1e-9) << p.x << " " << p.y;
}

// Adds the integral of max(h, 0) over a triangle of area A, h linear with
// corner values h[k], and the area where h > 0: in closed form.
void PositivePart(const double h[3], double A, double& vol, double& area)
{
    const int pos = (h[0] > 0) + (h[1] > 0) + (h[2] > 0), neg = (h[0] < 0) + (h[1] < 0) + (h[2] < 0);
    const double mean = (h[0] + h[1] + h[2]) / 3.0;
    if (pos == 0) return;
    if (neg == 0) {
        vol += A * mean, area += A;
        return;
    }
    // One corner alone on its side of zero: the part at it is a similar
    // triangle scaled by h0 / (h0 - h1) and h0 / (h0 - h2).
    int k = 0;
    while (pos == 1 ? !(h[k] > 0) : !(h[k] < 0)) ++k;
    const double h0 = h[k], h1 = h[(k + 1) % 3], h2 = h[(k + 2) % 3];
    const double s = (h0 / (h0 - h1)) * (h0 / (h0 - h2));
    if (pos == 1) vol += A * s * h0 / 3.0, area += A * s;
    else vol += A * mean - A * s * h0 / 3.0, area += A * (1.0 - s);
}

}  // namespace

// Two planes over a square: the volume is a prism-like solid whose volume is
// the area times the difference at the centroid. The triangulations differ
// (7 x 7 cells against 5 x 3 skewed cells reaching past the square), so
// the overlay cuts every triangle.
TEST(KrEarthVolume, PlanesOverSquareAndBoundary)
{
    const Solid top = Grid(7, 7, 0.0, 0.0, 10.0 / 7.0, [](double x, double y) { return 10.0 + 0.1 * x + 0.2 * y; });
    Solid base = Grid(5, 3, -1.0, -2.0, 4.4, [](double, double) { return 2.0; });
    ExpectVolume(Between(top, base), 100.0 * 9.5, 0.0, 100.0, 0.0);
    // The other way round, with the first surface's winding reversed (either
    // winding is accepted).
    Solid flipped = base;
    for (auto& t : flipped.ids) std::swap(t.nID[1], t.nID[2]);
    ExpectVolume(Between(flipped, top), 0.0, 950.0, 0.0, 100.0);
    // A boundary over the left half (clockwise, closing point repeated,
    // reaching past the surfaces): 50 x (8 + 0.25 + 1). A non-convex
    // (L-shaped) boundary with a corner in line with its neighbours:
    // [0,10]x[0,5] (450) and [0,5]x[5,10] (25 x 9.75).
    KrEarthVolumeOptions half, ell;
    half.boundary = {{-3, -3, 0}, {-3, 13, 0}, {5, 13, 0}, {5, -3, 0}, {-3, -3, 0}};
    ExpectVolume(Between(top, base, half), 462.5, 0.0, 50.0, 0.0);
    ell.boundary = {{0, 0, 0}, {10, 0, 0}, {10, 5, 0}, {7, 5, 0}, {5, 5, 0}, {5, 10, 0}, {0, 10, 0}};
    ExpectVolume(Between(top, base, ell), 450.0 + 243.75, 0.0, 75.0, 0.0);
}

// A square pyramid (apex 6 over a 10 x 10 base) against planes: the whole
// pyramid over z = 0 (its base on the plane: every vertex at z = 0 exactly
// on it), and against z = 3, where the surfaces cross along a square: 25 of
// volume above (a pyramid of height 3 on a 5 x 5 base) and 300 - (200 - 25)
// below; the zero line is that square, closed. The same against the level
// directly.
TEST(KrEarthVolume, PyramidAgainstPlanes)
{
    Solid pyr;
    pyr.pts = {{0, 0, 0}, {10, 0, 0}, {10, 10, 0}, {0, 10, 0}, {5, 5, 6}};
    pyr.ids = {{0, 1, 4}, {1, 2, 4}, {2, 3, 4}, {3, 0, 4}};
    ExpectVolume(Between(pyr, Grid(3, 4, -2.0, -1.0, 5.0, [](double, double) { return 0.0; })), 200.0, 0.0, 100.0, 0.0);
    KrEarthVolumeOptions opt;
    opt.zeroLine = true;
    KrEarthVolume lv;
    ASSERT_TRUE(KrVolumeToLevel(pyr.pts, pyr.ids, 3.0, opt, lv)) << lv.error;
    for (const KrEarthVolume& v : {Between(pyr, Grid(3, 3, -1.0, -1.0, 4.5, [](double, double) { return 3.0; }), opt), lv}) {
        ExpectVolume(v, 25.0, 125.0, 25.0, 75.0);
        ExpectZeroLine(v, true, 20.0, [](const CKrPoint3d& p) {
            return std::fabs(std::max(std::fabs(p.x - 5.0), std::fabs(p.y - 5.0)) - 2.5) + std::fabs(p.z - 3.0);
        });
    }
}

// Two tilted planes crossing along x + y = 10, with triangulations whose
// edges do not follow that line: cut and fill are each a triangle of area 50
// with the difference rising to 10 at one corner: 50 x 10 / 3. The zero
// line runs across the square along x + y = 10.
TEST(KrEarthVolume, CrossingSurfaces)
{
    const Solid a = Grid(3, 3, 0.0, 0.0, 10.0 / 3.0, [](double x, double) { return x; });
    const Solid b = Grid(4, 4, 0.0, 0.0, 2.5, [](double, double y) { return 10.0 - y; });
    KrEarthVolumeOptions opt;
    opt.zeroLine = true;
    const KrEarthVolume v = Between(a, b, opt);
    ExpectVolume(v, 500.0 / 3.0, 500.0 / 3.0, 50.0, 50.0);
    ExpectZeroLine(v, false, 10.0 * std::sqrt(2.0), [](const CKrPoint3d& p) { return p.x + p.y - 10.0; });
}

// Real terrain: the Delaunay surface of the bundled survey points.
//  - against itself: nothing at all, exactly;
//  - against a level: the sum over its triangles of the closed-form
//    integrals of max(z - level, 0) and max(level - z, 0), computed here
//    independently of the overlay;
//  - against a coarser surface of every third point plus the hull: the net
//    equals the difference of the two surfaces' nets to a level, cut and
//    fill swap when the surfaces do, and the thread count changes nothing.
TEST(KrEarthVolume, JacksboroTerrain)
{
    const earthtest::Pts pts = earthtest::JacksboroPoints();
    ASSERT_GT(pts.size(), 20000u);
    CKrMeshData mesh;
    const Solid tin = earthtest::Tin(pts, mesh);

    ExpectVolume(Between(tin, tin), 0.0, 0.0, 0.0, 0.0, 0.0);

    const double level = 500.0;  // inside the relief, through many surveyed heights
    double wantCut = 0.0, wantFill = 0.0, wantCutArea = 0.0, wantFillArea = 0.0, area = 0.0;
    for (const auto& t : tin.ids) {
        const CKrPoint3d &a = tin.pts[t[0]], &b = tin.pts[t[1]], &c = tin.pts[t[2]];
        const double A = 0.5 * std::fabs((b.x - a.x) * (c.y - a.y) - (c.x - a.x) * (b.y - a.y));
        area += A;
        const double h[3] = {a.z - level, b.z - level, c.z - level}, g[3] = {-h[0], -h[1], -h[2]};
        PositivePart(h, A, wantCut, wantCutArea);
        PositivePart(g, A, wantFill, wantFillArea);
    }
    ASSERT_GT(wantCut, 0.0);
    ASSERT_GT(wantFill, 0.0);
    KrEarthVolume lv;
    ASSERT_TRUE(KrVolumeToLevel(tin.pts, tin.ids, level, {}, lv)) << lv.error;
    ExpectVolume(lv, wantCut, wantFill, wantCutArea, wantFillArea, 1e-11);
    EXPECT_TRUE(Close(lv.cutArea + lv.fillArea, area, 1e-11));
    // The mesh form gives the same (its triangles come in another order).
    KrEarthVolume lm;
    ASSERT_TRUE(KrVolumeToLevel(mesh, level, {}, lm));
    EXPECT_TRUE(Close(lm.cut, lv.cut, 1e-12));
    EXPECT_TRUE(Close(lm.fill, lv.fill, 1e-12));

    // A coarser surface over the same hull.
    std::vector<CKrPolyLine> border;
    ASSERT_TRUE(mesh.GetBorderLine(border, true));
    earthtest::Pts sub;
    for (std::size_t i = 0; i < pts.size(); i += 3) sub.push_back(pts[i]);
    for (const CKrPolyLine& l : border)
        for (const CKrPoint3d& p : l.GetVerts()) sub.push_back(p);
    CKrMeshData coarseMesh;
    const Solid coarse = earthtest::Tin(sub, coarseMesh);
    const KrEarthVolume ab = Between(tin, coarse, {{}, false, 1});
    const KrEarthVolume ab3 = Between(tin, coarse, {{}, false, 3});
    const KrEarthVolume ba = Between(coarse, tin);
    EXPECT_GT(ab.cut, 1000.0);
    EXPECT_GT(ab.fill, 1000.0);
    EXPECT_EQ(ab.cut, ab3.cut);
    EXPECT_EQ(ab.fill, ab3.fill);
    EXPECT_EQ(ab.cutArea, ab3.cutArea);
    EXPECT_TRUE(Close(ab.cut, ba.fill, 1e-9));
    EXPECT_TRUE(Close(ab.fill, ba.cut, 1e-9));
    EXPECT_TRUE(Close(ab.cutArea, ba.fillArea, 1e-9));
    EXPECT_LE(ab.cutArea + ab.fillArea, area * (1.0 + 1e-12));  // less where they are equal
    KrEarthVolume cl;
    ASSERT_TRUE(KrVolumeToLevel(coarse.pts, coarse.ids, level, {}, cl));
    EXPECT_NEAR(ab.net, lv.net - cl.net, 1e-10 * (ab.cut + ab.fill + lv.cut + lv.fill));
}

// Bad input is refused with a message naming the surface, the triangle and
// the point; the result stays empty.
TEST(KrEarthVolume, BadInput)
{
    const Solid a = Grid(2, 2, 0.0, 0.0, 1.0, [](double, double) { return 1.0; });
    Solid b = a;
    b.ids[1] = KrTesGeo::_sTri_ID(0, 1, 99);
    KrEarthVolume v;
    EXPECT_FALSE(KrVolumeBetween(a.pts, a.ids, b.pts, b.ids, {}, v));
    EXPECT_NE(v.error.find("second surface: triangle 1 names point 99"), std::string::npos) << v.error;
    EXPECT_EQ(v.cut, 0.0);

    Solid nan = a;
    nan.pts[4].z = std::nan("");
    EXPECT_FALSE(KrVolumeToLevel(nan.pts, nan.ids, 0.0, {}, v));
    EXPECT_NE(v.error.find("point 4"), std::string::npos) << v.error;
    EXPECT_FALSE(KrVolumeToLevel(a.pts, a.ids, std::nan(""), {}, v));

    // Two distinct corners; a bow tie, of no area.
    for (const KrEarthVolumeOptions& opt : {KrEarthVolumeOptions{{{0, 0, 0}, {1, 1, 0}, {0, 0, 0}}},
                                            KrEarthVolumeOptions{{{0, 0, 0}, {2, 2, 0}, {2, 0, 0}, {0, 2, 0}}}}) {
        EXPECT_FALSE(KrVolumeToLevel(a.pts, a.ids, 0.0, opt, v));
        EXPECT_NE(v.error.find("boundary"), std::string::npos) << v.error;
    }
}
