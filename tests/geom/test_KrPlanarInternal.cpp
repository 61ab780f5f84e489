#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "KrTesGeometry/geom/KrExactPredicates.h"
#include "geom/KrPlanarInternal.h"
#include "support/GeomTestUtil.h"

using namespace KrTesGeo;

namespace {

double Area(const CKrPoint3d& a, const CKrPoint3d& b, const CKrPoint3d& c)
{
    return -GetTriArea2D(a.x, a.y, b.x, b.y, c.x, c.y);  // counter-clockwise positive
}

// A triangulation covers the polygon exactly: n - 2 triangles wound like
// the polygon, areas adding up to its area, each inside it, no two edges
// crossing.
void ExpectCovers(const std::vector<CKrPoint3d>& poly, const std::vector<_sTri_ID>& tris)
{
    ASSERT_EQ(tris.size() + 2, poly.size());
    double area = 0.0, sum = 0.0;
    for (size_t i = 1; i + 1 < poly.size(); ++i) area += Area(poly[0], poly[i], poly[i + 1]);
    for (const _sTri_ID& t : tris) {
        const CKrPoint3d &a = poly[t[0]], &b = poly[t[1]], &c = poly[t[2]];
        EXPECT_GT(Area(a, b, c) * area, 0.0) << "triangle wound against the polygon";
        sum += Area(a, b, c);
        EXPECT_EQ(IsPtInPolygon(poly, (a + b + c) / 3.0, 1e-9), 1);
    }
    EXPECT_NEAR(sum, area, 1e-9 * std::fabs(area));
    for (const _sTri_ID& s : tris)
        for (const _sTri_ID& t : tris)
            for (int e = 0; e < 3; ++e)
                for (int f = 0; f < 3; ++f) {
                    const CKrPoint3d &a = poly[s[e]], &b = poly[s[(e + 1) % 3]];
                    const CKrPoint3d &c = poly[t[f]], &d = poly[t[(f + 1) % 3]];
                    EXPECT_FALSE(Orient2dExact(a, b, c) * Orient2dExact(a, b, d) < 0 &&
                                 Orient2dExact(c, d, a) * Orient2dExact(c, d, b) < 0);
                }
}

}  // namespace

TEST(KrPlanarInternal, AreasAnglesAndBoxes)
{
    std::vector<double> xs{0, 3, 3, 0}, ys{0, 0, 2, 2};
    EXPECT_EQ(GetPolygonArea2D(4, xs.data(), ys.data()), 6.0);  // counter-clockwise: positive
    EXPECT_DOUBLE_EQ(GetDistPtToLine2D(-7, 3, 0, 0, 10, 0), 3.0);  // the infinite line

    // Shortened constants on the axes; the arctangent rounded to float.
    EXPECT_EQ(GetLineAngle2D(1, 5, 1, 1), 4.712388980385);
    EXPECT_EQ(GetLineAngle2D(0, 0, 3, -3), static_cast<double>(static_cast<float>(std::atan(-1.0))) + 6.28318530718);

    EXPECT_TRUE(IsBoxOverlap2D(0, 0, 2, 2, 1.85, 1, 3, 3, 0.1));
    EXPECT_FALSE(IsBoxOverlap2D(0, 0, 2, 2, 1.95, 1, 3, 3, 0.1));  // overlap below eps
    EXPECT_FALSE(IsBoxOverlap2D(0, 0, 2, 2, 0, 0, 2, 2, 0.1));     // equal ranges
    EXPECT_TRUE(IsBoxOverlap2DEx(0, 0, 2, 2, 2.05, 0, 3, 2, 0.1));  // gap below eps
    EXPECT_FALSE(IsBoxOverlap2DEx(0, 0, 2, 2, 2.1, 0, 3, 2, 0.1));
}

TEST(KrPlanarInternal, LocatePtInTri2DCodes)
{
    // Counter-clockwise A(0,0) B(4,0) C(0,4).
    auto loc = [](double px, double py) { return LocatePtInTri2D(px, py, 0, 0, 4, 0, 0, 4, false, 1e-6); };
    EXPECT_EQ(loc(1, 1), 0);
    EXPECT_EQ(loc(2, 0), -1);
    EXPECT_EQ(loc(2, 2), -2);
    EXPECT_EQ(loc(0, 2), -3);
    EXPECT_EQ(loc(4 + 2e-7, 0), -4);    // on two edge lines, within eps of B
    EXPECT_EQ(loc(5e-7, 4 - 5e-7), -2);  // near C but on one edge line only
    EXPECT_EQ(loc(-1, 2), 3);
    EXPECT_EQ(loc(-1, -1), 1);  // right of AB and CA: AB first
    // Clockwise A(0,0) B(0,4) C(4,0): reversed signs unless fixed; flat counts as clockwise.
    EXPECT_EQ(LocatePtInTri2D(1, 1, 0, 0, 0, 4, 4, 0, false, 1e-6), 1);
    EXPECT_EQ(LocatePtInTri2D(2, -1, 0, 0, 0, 4, 4, 0, true, 1e-6), 3);
    EXPECT_EQ(LocatePtInTri2D(1, 1, 0, 0, 1, 0, 2, 0, true, 1e-6), 1);
    // With a wide eps P lies on two edge lines away from their vertex: the
    // nearer line takes it. Thin corner at A of A(0,0) B(10,0) C(10,1).
    EXPECT_EQ(LocatePtInTri2D(0.9, 0.05, 0, 0, 10, 0, 10, 1, false, 0.5), -3);
    EXPECT_EQ(LocatePtInTri2D(0.8, 0.035, 0, 0, 10, 0, 10, 1, false, 0.5), -1);
    // Exactly as near to BC as to CA of A(-1,0) B(1,0) C(0,h): undecided,
    // whichever corner is named first.
    const double h = 1.0 / 64;
    EXPECT_EQ(LocatePtInTri2D(0.5, h, -1, 0, 1, 0, 0, h, false, 0.01), -4);
    EXPECT_EQ(LocatePtInTri2D(0.5, h, 0, h, -1, 0, 1, 0, false, 0.01), -4);
}

TEST(KrPlanarInternal, IsValidDiagonal)
{
    // Counter-clockwise arrow: vertex 3 (2,1) is reflex.
    const auto arrow = Ring({{0, 0}, {4, 0}, {4, 4}, {2, 1}, {0, 4}});
    EXPECT_TRUE(IsValidDiagonal(arrow, 3, 0, 1e-9));   // inside the reflex vertex's wide cone
    EXPECT_FALSE(IsValidDiagonal(arrow, 2, 4, 1e-9));  // passes outside, over the reflex vertex
    EXPECT_FALSE(IsValidDiagonal(arrow, 0, 1, 1e-9));  // an edge
    // Vertex 1 sits in a straight edge: no diagonal leaves it.
    const auto flat = Ring({{0, 0}, {2, 0}, {4, 0}, {4, 4}, {0, 4}});
    EXPECT_FALSE(IsValidDiagonal(flat, 1, 3, 1e-9));
    EXPECT_TRUE(IsValidDiagonal(flat, 3, 1, 1e-9));
    // Inside the cone at 0 but cut by a far edge with the same x extent.
    const auto notch = Ring({{0, 0}, {6, 0}, {6, 3}, {4, 2}, {4, 0.5}, {0, 1.5}});
    EXPECT_FALSE(IsValidDiagonal(notch, 0, 3, 1e-9));
    EXPECT_TRUE(IsValidDiagonal(notch, 0, 4, 1e-9));
}

TEST(KrPlanarInternal, TriangulatePolygonByAngleCoversConcavePolygons)
{
    std::vector<_sTri_ID> tris(5);
    EXPECT_FALSE(TriangulatePolygonByAngle(Ring({{0, 0}, {1, 0}}), tris, 1e-9));
    EXPECT_TRUE(tris.empty());

    const std::vector<std::vector<CKrPoint3d>> polys = {
        // a spiral-like hook, and a gridded cavity with collinear runs
        Ring({{0, 0}, {6, 0}, {6, 6}, {1, 6}, {1, 2}, {4, 2}, {4, 4}, {3, 4}, {3, 3}, {2, 3}, {2, 5}, {5, 5},
              {5, 1}, {0, 1}}),
        Ring({{0, 0}, {1, 0}, {2, 0}, {3, 0}, {3, 1}, {2, 1}, {2, 2}, {3, 2}, {3, 3}, {0, 3}, {0, 2}, {1, 2},
              {1, 1}, {0, 1}}),
        Ring({{0, -5}, {1, -1}, {5, 0}, {1, 1}, {0, 5}, {-1, 1}, {-5, 0}, {-1, -1}}),  // a star
    };
    for (const auto& poly : polys) {
        // Either winding: the same cover, wound like the input.
        for (const auto& p : {poly, std::vector<CKrPoint3d>(poly.rbegin(), poly.rend())}) {
            ASSERT_TRUE(TriangulatePolygonByAngle(p, tris, 1e-9));
            ExpectCovers(p, tris);
        }
    }

    // The smallest angle goes first: the sharp tip of a kite is cut before
    // its blunt corners.
    ASSERT_TRUE(TriangulatePolygonByAngle(Ring({{0, 0}, {10, 1}, {0, 2}, {-1, 1}}), tris, 1e-9));
    ASSERT_EQ(tris.size(), 2u);
    EXPECT_EQ(tris[0][1], 1);

    // Two squares pinched together at (2,2): each lobe loses its ears, then
    // every remaining candidate is blocked. The partial list is still sound.
    const auto eight = Ring({{0, 0}, {2, 0}, {2, 2}, {4, 2}, {4, 4}, {2, 4}, {2, 2}, {0, 2}});
    EXPECT_FALSE(TriangulatePolygonByAngle(eight, tris, 1e-9));
    ASSERT_FALSE(tris.empty());
    EXPECT_LT(tris.size(), eight.size() - 2);
    for (const _sTri_ID& t : tris) {
        const CKrPoint3d g = (eight[t[0]] + eight[t[1]] + eight[t[2]]) / 3.0;
        EXPECT_GT(Area(eight[t[0]], eight[t[1]], eight[t[2]]), 0.0);  // counter-clockwise like the input
        EXPECT_TRUE((g.x < 2 && g.y < 2) || (g.x > 2 && g.y > 2));
    }
}
