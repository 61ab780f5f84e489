#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "KrTesGeometry/tin/KrFit.h"
#include "KrTesGeometry/mesh/KrMeshData.h"
#include "support/GeomTestUtil.h"

namespace TesTriMesh {
// Reaches the working difference lists.
class CKrFitTestAccess {
public:
    static const std::vector<CKrPolyLine>& Lines(const CKrFit& f) { return f.m_vecDiffLines; }
    static const std::vector<CKrPoint3d>& Bj(const CKrFit& f) { return f.m_vecDiffBj; }
};
}  // namespace TesTriMesh

using TesTriMesh::CKrFit;
using Access = TesTriMesh::CKrFitTestAccess;

namespace {

// The reference: the plane z = 100 + 0.1 x + 0.05 y over [0, 100]^2. The
// known difference (reference minus data) is linear, so that any
// triangulation of it interpolates it exactly.
double RefZ(double x, double y) { return 100.0 + 0.1 * x + 0.05 * y; }
double Diff(double x, double y) { return 2.0 + 0.01 * x - 0.02 * y; }
CKrPoint3d D(double x, double y) { return CKrPoint3d(x, y, Diff(x, y)); }           // as a difference
CKrPoint3d H(double x, double y) { return CKrPoint3d(x, y, RefZ(x, y) - Diff(x, y)); }  // as a height
// The fitted height expected at (x, y) when the difference is taken at (dx, dy).
double Want(double x, double y, double dx, double dy) { return RefZ(x, y) - Diff(dx, dy); }

// The reference surface over [0, 100]^2, its octree current.
const TesTriMesh::CKrMeshData& Ref()
{
    static TesTriMesh::CKrMeshData ref;
    if (ref.TriNum() == 0)
        ref.InputData({CKrPoint3d(0, 0, RefZ(0, 0)), CKrPoint3d(100, 0, RefZ(100, 0)), CKrPoint3d(100, 100, RefZ(100, 100)),
                       CKrPoint3d(0, 100, RefZ(0, 100))},
                      {KrTesGeo::_sTri_ID(0, 1, 2), KrTesGeo::_sTri_ID(0, 2, 3)}, true);
    return ref;
}

// The fitted z, or NAN when refused (the point must then stay unchanged).
double Fit(CKrFit& f, double x, double y)
{
    CKrPoint3d p(x, y, -999.0);
    if (f.FitPt(p)) return p.z;
    EXPECT_EQ(p.z, -999.0);
    return NAN;
}

}  // namespace

TEST(FitTest, Type0SurfaceThenNearestOutline)
{
    const std::vector<CKrPoint3d> sq = {D(20, 20), D(80, 20), D(80, 80), D(20, 80), D(50, 50)};
    for (int input = 0; input < 3; ++input) {  // differences, heights, both
        SCOPED_TRACE(input);
        CKrFit f(Ref());
        if (input != 1) f.SetLSD(sq, true);
        if (input == 1) f.SetLSD({H(20, 20), H(80, 20), H(80, 80), H(20, 80), H(150, 50)}, false);  // last one off
        if (input == 2) f.SetLSD({CKrPoint3d(30, 30, 0.0), CKrPoint3d(70, 60, 0.0)}, false);  // ignored
        EXPECT_NEAR(Fit(f, 30, 60), Want(30, 60, 30, 60), 1e-9);
        EXPECT_EQ(f.GetFitLine().NumVerts(), 4u);  // the outline: the square
        EXPECT_NEAR(Fit(f, 95, 50), Want(95, 50, 80, 50), 1e-9);
        EXPECT_NEAR(Fit(f, 5, 5), Want(5, 5, 20, 20), 1e-9);
        EXPECT_TRUE(std::isnan(Fit(f, 120, 50)));  // off the reference
    }
    // A closed difference line alone; data given after the first fit are ignored.
    CKrFit f(Ref());
    f.SetYSX({Line({D(10, 10), D(90, 10), D(90, 60), D(10, 60)}, true)}, true);
    EXPECT_NEAR(Fit(f, 40, 30), Want(40, 30, 40, 30), 1e-9);
    f.SetLSD({CKrPoint3d(40, 90, 50.0)}, true);
    EXPECT_NEAR(Fit(f, 40, 90), Want(40, 90, 40, 60), 1e-9);
}

TEST(FitTest, Type0FallbackWhenNothingCanBeTriangulated)
{
    CKrFit two(Ref());  // along the line, then the nearest end
    two.SetLSD({D(20, 50), D(80, 50)}, true);
    EXPECT_NEAR(Fit(two, 50, 70), Want(50, 70, 50, 50), 1e-9);
    EXPECT_NEAR(Fit(two, 95, 10), Want(95, 10, 80, 50), 1e-9);
    EXPECT_FALSE(two.IsReady());
    // Collinear data out of order, a repeat within 0.01 (the first one given stays), a line.
    CKrFit diag(Ref());
    diag.SetLSD({D(60, 60), D(20, 20), CKrPoint3d(60.004, 60.004, 99.0)}, true);
    diag.SetYSX({Line({D(40, 40), D(80, 80)})}, true);
    EXPECT_NEAR(Fit(diag, 60, 60), Want(60, 60, 60, 60), 1e-9);
    EXPECT_NEAR(Fit(diag, 100, 0), Want(100, 0, 50, 50), 1e-9);
    EXPECT_NEAR(Fit(diag, 90, 95), Want(90, 95, 80, 80), 1e-9);
    CKrFit one(Ref());  // one point: its difference everywhere
    one.SetLSD({H(30, 40)}, false);
    EXPECT_NEAR(Fit(one, 90, 5), Want(90, 5, 30, 40), 1e-9);
    // Nothing on the reference: refused, and still dirty, so later data count.
    CKrFit none(Ref());
    none.SetLSD({CKrPoint3d(-50, -50, 3.0)}, false);
    EXPECT_TRUE(std::isnan(Fit(none, 50, 50)));
    none.SetLSD({D(10, 10)}, true);
    EXPECT_NEAR(Fit(none, 50, 50), Want(50, 50, 10, 10), 1e-9);
    // Three points triangulate into one isolated triangle, which has no outline: refused.
    CKrFit three(Ref());
    three.SetLSD({D(20, 20), D(80, 20), D(50, 70)}, true);
    EXPECT_TRUE(std::isnan(Fit(three, 50, 40)));
}

TEST(FitTest, Type1LineAndType2Fan)
{
    CKrFit f(Ref());  // two pieces meeting at (50, 10), the second backwards
    f.SetFitType(1);
    f.SetYSX({Line({H(10, 10), H(50, 10)}), Line({H(90, 30), H(50, 10)})}, false);
    EXPECT_NEAR(Fit(f, 30, 40), Want(30, 40, 30, 10), 1e-9);
    EXPECT_NEAR(Fit(f, 95, 50), Want(95, 50, 90, 30), 1e-9);
    CKrFit g(Ref());  // pieces that do not join are refused until a piece links them
    g.SetFitType(1);
    g.SetYSX({Line({D(10, 10), D(50, 10)}), Line({D(60, 10), D(90, 10)})}, true);
    EXPECT_TRUE(std::isnan(Fit(g, 30, 30)));
    g.SetYSX({Line({D(50, 10), D(60, 10)})}, true);
    EXPECT_NEAR(Fit(g, 55, 30), Want(55, 30, 55, 10), 1e-9);
    EXPECT_EQ(Access::Lines(g).size(), 3u);  // rebuilt on the retry, not appended

    for (bool clockwise : {false, true}) {
        CKrFit fan(Ref());
        fan.SetFitType(2);
        fan.SetLSD({H(40, 50)}, false);
        std::vector<CKrPoint3d> b = {D(20, 20), D(80, 20), D(80, 80), D(20, 80)};
        if (clockwise) std::reverse(b.begin(), b.end());
        fan.SetBJX(b, true);
        EXPECT_NEAR(Fit(fan, 60, 30), Want(60, 30, 60, 30), 1e-9);
        EXPECT_EQ(fan.GetDiffMesh().TriNum(), 4);
        EXPECT_TRUE(std::isnan(Fit(fan, 90, 50)));  // outside the fan
    }
}

TEST(FitTest, CheckDataRefusalsPerType)
{
    // type, height points, difference points, line (1 heights, 2 differences), boundary, expected
    const int table[][6] = {
        {1, 0, 0, 1, 0, 1}, {1, 1, 0, 1, 0, 0}, {1, 0, 1, 2, 0, 0}, {1, 0, 0, 1, 1, 0}, {1, 0, 0, 2, 2, 0},
        {2, 1, 0, 0, 1, 1}, {2, 0, 1, 0, 2, 1}, {2, 1, 3, 0, 1, 1}, {2, 2, 0, 0, 1, 0}, {2, 0, 2, 0, 1, 0},
        {2, 0, 0, 0, 1, 0}, {2, 1, 0, 1, 1, 0}, {2, 0, 1, 2, 1, 0}, {0, 2, 2, 2, 2, 1}, {7, 0, 0, 0, 0, 1},
        {-1, 1, 0, 0, 0, 0},
    };
    for (const auto& t : table) {
        CKrFit f(Ref());
        f.SetFitType(t[0]);
        for (int i = 0; i < t[1]; ++i) f.SetLSD({H(10 + i, 10)}, false);
        for (int i = 0; i < t[2]; ++i) f.SetLSD({D(10 + i, 20)}, true);
        if (t[3]) f.SetYSX({Line({D(10, 30), D(90, 30)})}, t[3] > 1);
        if (t[4]) f.SetBJX({D(10, 40), D(90, 40), D(50, 90)}, t[4] > 1);
        EXPECT_EQ(f.CheckData(), t[5] == 1) << "row " << (&t - table);
        if (!t[5]) {
            EXPECT_TRUE(std::isnan(Fit(f, 50, 50)));
        }
    }
}

TEST(FitTest, HeightsBecomeDifferencesOnTheReference)
{
    CKrFit f(Ref());
    // Four vertices keep the closed state; losing one of four leaves an open
    // line of three; a line wholly off the reference comes back empty but kept.
    f.SetYSX({Line({H(10, 10), H(90, 10), H(90, 90), H(10, 90)}, true),
              Line({H(10, 10), H(90, 10), CKrPoint3d(200, 90, 1.0), H(10, 90)}, true),
              Line({CKrPoint3d(-5, -5, 0.0), CKrPoint3d(-9, -9, 0.0)})},
             false);
    f.SetBJX({H(20, 20), H(30, 20)}, false);
    ASSERT_TRUE(f.TraGaoChengToGaoCha());
    const auto& lines = Access::Lines(f);
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_TRUE(lines[0].IsClosed());
    EXPECT_EQ(lines[1].NumVerts(), 3u);
    EXPECT_FALSE(lines[1].IsClosed());
    EXPECT_EQ(lines[2].NumVerts(), 0u);
    EXPECT_NEAR(lines[0].GetVerts()[2].z, Diff(90, 90), 1e-9);
    ASSERT_EQ(Access::Bj(f).size(), 2u);
    // SetBJX replaces; one boundary point off the reference drops the whole boundary.
    f.SetBJX({H(10, 10), H(90, 10), H(110, 90)}, false);
    ASSERT_TRUE(f.TraGaoChengToGaoCha());
    EXPECT_TRUE(Access::Bj(f).empty());
}
