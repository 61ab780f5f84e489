// The krtes collide command.
#include "tools/KrtesToolTest.h"

using namespace krtes_test;
using testmesh::Box;

namespace {

// A grid on the plane z = 0.1 x, as a mesh file.
std::string Grid(const std::string& name, double x0)
{
    return GridFile(name, 5, x0, 1, [](double x, double) { return 0.1 * x; });
}

}  // namespace

// The true gap and the closest points (NaN: a coordinate the geometry leaves
// free) of boxes and open grids touching or apart.
TEST(KrtesCollide, TouchingOrTheTrueGap)
{
    const double any = std::nan("");
    const std::string box = SolidFile("a.obj", Box(0, 0, 0, 1, 1, 1));
    const std::string grid = Grid("g.obj", 0), apart = Grid("c.obj", 20);
    const struct {
        std::string a, b;
        double distance, pa[3], pb[3];
    } cases[] = {
        // Face to face, corner to corner, an edge over a face.
        {box, SolidFile("b.obj", Box(1, 0.2, 0.3, 2, 1.2, 1.3)), 0.0, {any, any, any}, {any, any, any}},
        {box, SolidFile("c.ply", Box(2, 3, 3, 3, 4, 4)), 3.0, {1, 1, 1}, {2, 3, 3}},
        {box, SolidFile("d.obj", Box(0.2, 0.2, 1.25, 0.8, 0.8, 2)), 0.25, {any, any, 1}, {any, any, 1.25}},
        {grid, Grid("b.ply", 5), 0.0, {any, any, any}, {any, any, any}},  // sharing the edge x = 5
        // From A's edge x = 5 (z 0.5) to C's edge x = 20 (z 2).
        {grid, apart, std::hypot(15.0, 1.5), {5, any, 0.5}, {20, any, 2}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.b);
        const json j = JsonRun("collide " + c.a + " " + c.b);
        EXPECT_EQ(j["touching"].get<bool>(), c.distance == 0.0);
        EXPECT_NEAR(j["distance"].get<double>(), c.distance, 1e-12);
        const json& p = j["closest_points"];
        for (int k = 0; k < 3; ++k) {
            // A coordinate the geometry leaves free is the same on both sides.
            EXPECT_NEAR(p["a"][k].get<double>(), std::isnan(c.pa[k]) ? p["b"][k].get<double>() : c.pa[k], 1e-9) << k;
            EXPECT_NEAR(p["b"][k].get<double>(), std::isnan(c.pb[k]) ? p["a"][k].get<double>() : c.pb[k], 1e-9) << k;
        }
    }

    // The pairwise report: pairs that do not meet measured between their
    // centroids, the nearest (4 + 2/3, j + 1/3) in A's last column and
    // (20 + 1/3, j + 2/3) in C's first.
    const json j = JsonRun("collide " + grid + " " + apart + " --pairwise");
    const double dx = 20.0 + 1.0 / 3 - (4.0 + 2.0 / 3), dz = 0.1 * dx;
    EXPECT_NEAR(j["distance"].get<double>(), std::sqrt(dx * dx + 1.0 / 9 + dz * dz), 1e-9);
    EXPECT_EQ(j["distance_between"], "centroids");
    EXPECT_FALSE(j["touching"].get<bool>());
}
