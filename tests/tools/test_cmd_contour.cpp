// The krtes contour command.
#include <cstdlib>
#include <sstream>

#include "tools/KrtesToolTest.h"

#ifdef KRTES_HAVE_GDAL
#include <ogrsf_frmts.h>
#endif

using namespace krtes_test;

TEST(KrtesContour, ConeLevelsClosedRingsAndTextBack)
{
    // The cone on a 40 x 40 grid, every 2 from base 1: levels -3, -1, ..., 9
    // (7 of them); those above 0 (1 .. 9, radius 9 .. 1) are whole rings inside
    // the square, the ones at -3 and -1 (radius 13, 11) are cut by its sides
    // into four arcs each.
    const std::string cone = GridFile("cone.obj", 40, 0, 0.5, Cone);
    const std::string out = Temp("c.txt");
    CliRun r = Krtes("contour " + cone + " --interval 2 --base 1 --index 2 -o " + out);
    ASSERT_EQ(r.code, 0) << r.out;
    EXPECT_NE(r.out.find("levels        7\n"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("lines         13 (5 closed"), std::string::npos) << r.out;

    // Read the blocks back: each '# level Z' line is followed by points at
    // that height, at distance 10 - Z from the apex (up to the facets' chord).
    std::istringstream in(Read(out));
    std::string line;
    int blocks = 0, closed = 0, index = 0;
    double level = std::nan("");
    std::size_t points = 0;
    while (std::getline(in, line)) {
        if (line.rfind("# level ", 0) == 0) {
            ++blocks;
            level = std::atof(line.c_str() + 8);
            closed += line.find("closed") != std::string::npos;
            index += line.find("index") != std::string::npos;
            EXPECT_EQ(std::fmod(level - 1 + 100, 2.0), 0.0) << line;
        } else if (!line.empty() && line[0] != '#') {
            double x, y, z;
            ASSERT_EQ(std::sscanf(line.c_str(), "%lf %lf %lf", &x, &y, &z), 3) << line;
            EXPECT_EQ(z, level);
            const double rad = std::hypot(x - 10, y - 10);
            EXPECT_NEAR(rad, 10 - level, 0.1) << line;
            ++points;
        }
    }
    EXPECT_EQ(blocks, 13);
    EXPECT_EQ(closed, 5);
    EXPECT_EQ(index, 3 + 4);  // level = 1 + 2k, k even: rings at 1, 5, 9, four arcs at -3
    EXPECT_GT(points, 100u);


#ifdef KRTES_HAVE_GDAL
    // As a GeoPackage layer, read back with GDAL: one feature per line, its
    // "level" attribute equal to the height of every point on it.
    const std::string gpkg = Temp("c.gpkg");
    ASSERT_EQ(Krtes("contour " + cone + " --interval 2 --base 1 -o " + gpkg).code, 0);
    GDALAllRegister();
    GDALDataset* ds = static_cast<GDALDataset*>(GDALOpenEx(gpkg.c_str(), GDAL_OF_VECTOR, nullptr, nullptr, nullptr));
    ASSERT_NE(ds, nullptr);
    OGRLayer* layer = ds->GetLayer(0);
    ASSERT_NE(layer, nullptr);
    const int field = layer->GetLayerDefn()->GetFieldIndex("level");
    ASSERT_GE(field, 0);
    int features = 0;
    for (auto& f : *layer) {
        ++features;
        const OGRLineString* ls = f->GetGeometryRef()->toLineString();
        for (int k = 0; k < ls->getNumPoints(); ++k) EXPECT_EQ(ls->getZ(k), f->GetFieldAsDouble(field));
    }
    EXPECT_EQ(features, 13);
    GDALClose(ds);
#endif
}
