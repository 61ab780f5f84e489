// Elevation grids sampled from a TIN, against the mesh query at every centre.
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "KrTesGeometry/io/KrDemGrid.h"
#include "KrTesGeometry/mesh/KrMeshData.h"
#include "KrTesGeometry/query/KrMeshQuery.h"
#include "KrTesGeometry/tin/KrDelaunay.h"

namespace {

// Samples a Delaunay TIN (whole hull) of the points on the grid over the
// given extent; every centre must hold the query's height where the query
// finds the surface and NoData where it does not. Returns the cells set.
std::size_t SampleLikeQuery(const std::vector<CKrPoint3d>& in, double x0, double y0, double x1, double y1, double cell,
                            krtes::SKrDemGrid& g)
{
    TesTriMesh::CKrMeshData mesh;
    {
        TesTriMesh::CKrDelaunay tin(mesh, 0.001);
        tin.SetFullHull(true);
        for (const CKrPoint3d& p : in) tin.AddVertex(p);
        EXPECT_TRUE(tin.Delaunay());
    }
    std::vector<CKrPoint3d> pts;
    std::vector<KrTesGeo::_sTri_ID> tris;
    mesh.OutputData(pts, tris);
    mesh.ResetOctTree();
    std::string err;
    EXPECT_TRUE(krtes::MakeDemGrid(x0, y0, x1, y1, cell, g, err)) << err;
    const std::size_t set = krtes::SampleSurface(pts, tris, g);
    TesTriMesh::CKrMeshQuery q(mesh);
    std::size_t on = 0;
    for (int32_t r = 0; r < g.rows; ++r)
        for (int32_t c = 0; c < g.cols; ++c) {
            double z = 0;
            if (!q.GetMapPoint(g.CentreX(c), g.CentreY(r), z)) {
                EXPECT_EQ(g.At(c, r), g.noData) << c << " " << r;
                continue;
            }
            ++on;
            EXPECT_NE(g.At(c, r), g.noData) << "missed centre " << c << " " << r;
            EXPECT_NEAR(g.At(c, r), z, 1e-6 * std::fabs(z) + 1e-9) << c << " " << r;
        }
    EXPECT_EQ(on, set);
    return set;
}

}  // namespace

TEST(KrDemGrid, SampledTinsMatchTheQueryAtEveryCentreAndGridLayout)
{
    // TIN corners on the cell centres themselves (x.5, y.5) so that centres
    // fall on corners, on axis-parallel and on diagonal edges, inside and on
    // the hull: each must get the surface's height.
    std::mt19937 rng(17);
    std::vector<CKrPoint3d> in;
    for (int j = 0; j < 30; ++j)
        for (int i = 0; i < 30; ++i)
            if (rng() % 3 || i == 0 || j == 0 || i == 29 || j == 29)
                in.emplace_back(i + 0.5, j + 0.5, std::uniform_real_distribution<double>(50, 60)(rng));
    krtes::SKrDemGrid g;
    EXPECT_EQ(SampleLikeQuery(in, -2, -2, 32, 32, 1.0, g), 900u);  // the 30 x 30 centres of the square the TIN covers
    ASSERT_EQ(g.cols, 34);
    // A corner's cell holds the corner's own height.
    EXPECT_EQ(g.At(2, 2 + 29 - 0), static_cast<float>(in[0].z));

    // A random TIN far from the origin sampled at an odd cell size over a
    // wider extent: heights inside, NoData outside.
    std::mt19937_64 rng64(4);
    std::uniform_real_distribution<double> u(0, 200);
    in.clear();
    for (int i = 0; i < 2000; ++i) {
        const double x = u(rng64), y = u(rng64);
        in.emplace_back(480000 + x, 6100000 + y, 300 + 20 * std::sin(x / 30) + y / 10);
    }
    EXPECT_GT(SampleLikeQuery(in, 479990, 6099990, 480210, 6100210, 0.73, g), 60000u);
    EXPECT_EQ(g.cols, static_cast<int32_t>(std::ceil(220 / 0.73)));

    // Layout: whole cells, a size that is nearly a whole count is that count.
    std::string err;
    ASSERT_TRUE(krtes::MakeDemGrid(0, 0, 100, 50, 0.1, g, err));
    EXPECT_EQ(g.cols, 1000);
    EXPECT_EQ(g.rows, 500);
    EXPECT_EQ(g.CentreY(0), 49.95);
    for (double bad : {0.0, -1.0, std::nan("")})
        EXPECT_FALSE(krtes::MakeDemGrid(0, 0, 1, 1, bad, g, err));
    EXPECT_FALSE(krtes::MakeDemGrid(0, 0, 0, 1, 1, g, err));
    EXPECT_FALSE(krtes::MakeDemGrid(0, 0, 1e6, 1e6, 0.01, g, err));
    EXPECT_NE(err.find("too many cells"), std::string::npos);
}
