// The krtes tin command.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "KrTesGeometry/io/KrTesIO.h"
#include "support/KrtesCliRun.h"

using namespace krtes_test;

TEST(KrtesTin, SampleTerrainWithOutlineAndHole)
{
    const std::string out = Temp("sample.obj");
    const std::string outline = Write("outline.txt", "1000 1000 0\n29000 1000 0\n29000 30000 0\n1000 30000 0\n");
    const std::string holes = Write("holes.txt", "10000 10000 0\n12000 10000 0\n12000 12000 0\n10000 12000 0\n");
    const std::string brk = Write("brk.txt", "2000 2000 500\n20000 25000 700\n");
    const CliRun r = Krtes("tin --outline " + outline + " --holes " + holes + " --breaklines " + brk + " -o " + out);
    ASSERT_EQ(r.code, 0) << r.out;
    EXPECT_NE(r.out.find("points read   27726"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("extent        x 1000.000 .. 29000.000"), std::string::npos) << r.out;
    std::vector<CKrPoint3d> v;
    std::vector<KrTesGeo::_sTri_ID> f;
    std::string err;
    ASSERT_TRUE(krtes::ReadMeshFile(out, v, f, err)) << err;
    EXPECT_GT(v.size(), 20000u);
    EXPECT_GT(f.size(), 2 * v.size() - 400);
}

TEST(KrtesTin, BadInputIsReportedAndNothingIsWritten)
{
    const std::string out = Temp("bad.obj");
    struct Case {
        std::string args, expect;
    };
    const std::string malformed = Write("malformed.xyz", "1 2 3\n4 5 6\n7 8\n");
    const std::string nan = Write("nan.xyz", "1 2 3\n4 5 nan\n7 8 9\n");
    const std::string two = Write("two.xyz", "1 2 3\n4 5 6\n4.001 5.001 7\n");
    const std::string line = Write("line.xyz", "0 0 0\n1 1 0\n2 2 0\n3 3 0\n");
    const std::string shortHole = Write("short.txt", "0 0 0\n1 1 0\n");
    const std::string ok = Write("ok.xyz", "0 0 0\n10 0 0\n0 10 0\n10 10 1\n");
    const Case cases[] = {
        {malformed + " -o " + out, malformed + ":3: expected 3 values"},
        {nan + " -o " + out, nan + ":2: coordinate is not finite"},
        {Temp("missing.xyz") + " -o " + out, "cannot open file"},
        {two + " -o " + out, "fewer than 3 usable points"},
        {line + " -o " + out, "could not be triangulated"},
        {ok + " --holes " + shortHole + " -o " + out, shortHole + ":1: polyline has 2 point(s)"},
        {ok + " -o " + Temp("bad.dxf"), "unknown output format"},
        {ok + " --frobnicate", "unknown option '--frobnicate'"},
        {ok + " --outline", "--outline needs a value"},
    };
    for (const Case& c : cases) {
        const CliRun r = Krtes("tin " + c.args);
        EXPECT_NE(r.code, 0) << c.args;
        EXPECT_NE(r.out.find(c.expect), std::string::npos) << c.args << "\n" << r.out;
        EXPECT_FALSE(Exists(out)) << c.args;
    }
}

// The TIN of four spot heights at x 100/110, y 200/215 with z 5 + [x = 110] +
// 2 [y = 215]: two triangles on exactly those corners.
void ExpectFourSpotHeights(const std::string& out)
{
    std::vector<CKrPoint3d> v;
    std::vector<KrTesGeo::_sTri_ID> f;
    std::string err;
    ASSERT_TRUE(krtes::ReadMeshFile(out, v, f, err)) << err;
    ASSERT_EQ(v.size(), 4u);
    EXPECT_EQ(f.size(), 2u);
    for (const CKrPoint3d& p : v) {
        EXPECT_TRUE(p.x == 100 || p.x == 110) << p.x;
        EXPECT_TRUE(p.y == 200 || p.y == 215) << p.y;
        EXPECT_EQ(p.z, 5 + (p.x == 110) + 2 * (p.y == 215));
    }
}

// A spreadsheet export whose columns are named on the command line: point
// number first, northing before easting, a code after; the written TIN
// carries x = easting and y = northing.
TEST(KrtesTin, ColumnsNamedOnTheCommandLine)
{
    const std::string csv = Write("export.csv", "1,200,100,5,GND\n2,200,110,6,GND\n3,215,100,7,TOE\n4,215,110,8,TOE\n");
    const std::string out = Temp("cols.obj");
    const CliRun r = Krtes("tin " + csv + " --columns id,n,e,z,code -o " + out);
    ASSERT_EQ(r.code, 0) << r.out;
    ExpectFourSpotHeights(out);
    // Without the names the five columns are not a point file.
    EXPECT_NE(Krtes("tin " + csv + " -o " + out).code, 0);
}

#ifdef KRTES_HAVE_GDAL
// Spot heights as 2D points of a GeoJSON layer with the elevation in an
// attribute, as GIS exports often have them; without --z-field they are
// refused, since they carry no elevation.
TEST(KrtesTin, ElevationFromALayerAttribute)
{
    std::string json = "{\"type\":\"FeatureCollection\",\"features\":[";
    const double pts[4][3] = {{100, 200, 5}, {110, 200, 6}, {100, 215, 7}, {110, 215, 8}};
    for (int i = 0; i < 4; ++i)
        json += std::string(i ? "," : "") + "{\"type\":\"Feature\",\"properties\":{\"ELEV\":" +
                std::to_string(pts[i][2]) + "},\"geometry\":{\"type\":\"Point\",\"coordinates\":[" +
                std::to_string(pts[i][0]) + "," + std::to_string(pts[i][1]) + "]}}";
    const std::string layer = Write("spots.geojson", json + "]}");
    const std::string out = Temp("spots.obj");
    const CliRun r = Krtes("tin " + layer + " --z-field ELEV -o " + out);
    ASSERT_EQ(r.code, 0) << r.out;
    ExpectFourSpotHeights(out);
    EXPECT_NE(Krtes("tin " + layer + " -o " + Temp("noz.obj")).code, 0);
}
#endif
