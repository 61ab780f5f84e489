// The krtes tin command.
#include "tools/KrtesToolTest.h"

using namespace krtes_test;

// The bundled sample terrain clipped to an outline with a hole and a
// breakline; points a TIN cannot be made of, and a hole of two points:
// nothing written.
TEST(KrtesTin, OutlineClipsAndBadInputWritesNothing)
{
    const std::string outline = Write("outline.txt", "1000 1000 0\n29000 1000 0\n29000 30000 0\n1000 30000 0\n");
    const std::string holes = Write("holes.txt", "10000 10000 0\n12000 10000 0\n12000 12000 0\n10000 12000 0\n");
    const std::string brk = Write("brk.txt", "2000 2000 500\n20000 25000 700\n");
    const CliRun clipped = Krtes("tin --outline " + outline + " --holes " + holes + " --breaklines " + brk);
    ASSERT_EQ(clipped.code, 0) << clipped.out;
    EXPECT_NE(clipped.out.find("extent        x 1000.000 .. 29000.000\n              y 1000.000 .. 30000.000"),
              std::string::npos) << clipped.out;

    const std::string out = Temp("bad.obj");
    const std::string two = Write("two.xyz", "1 2 3\n4 5 6\n4.001 5.001 7\n");
    const std::string line = Write("line.xyz", "0 0 0\n1 1 0\n2 2 0\n3 3 0\n");
    const std::string shortHole = Write("short.txt", "0 0 0\n1 1 0\n");
    const std::string ok = Write("ok.xyz", "0 0 0\n10 0 0\n0 10 0\n10 10 1\n");
    const std::pair<std::string, std::string> cases[] = {
        {two, "fewer than 3 usable points (2)"},
        {line, "could not be triangulated"},
        {ok + " --holes " + shortHole, shortHole + ":1: polyline has 2 point(s)"},
    };
    for (const auto& [args, expect] : cases) {
        const CliRun r = Krtes("tin " + args + " -o " + out);
        EXPECT_EQ(r.code, 1) << args;
        EXPECT_NE(r.out.find(expect), std::string::npos) << args << "\n" << r.out;
        EXPECT_FALSE(Exists(out)) << args;
    }
}

// Spot heights at x 100/110, y 200/215 with z 5 .. 8, as a spreadsheet
// export whose columns are named on the command line (point number first,
// northing before easting, a code after) and as 2D points of a GIS layer with
// the elevation in an attribute. Without the names, or the attribute, they
// are refused.
TEST(KrtesTin, ColumnsAndElevationFieldNamedOnTheCommandLine)
{
    const std::string csv = Write("export.csv", "1,200,100,5,GND\n2,200,110,6,GND\n3,215,100,7,TOE\n4,215,110,8,TOE\n");
    std::vector<std::pair<std::string, std::string>> runs = {{csv, " --columns id,n,e,z,code"}};
#ifdef KRTES_HAVE_GDAL
    std::string layer = "{\"type\":\"FeatureCollection\",\"features\":[";
    const double pts[4][3] = {{100, 200, 5}, {110, 200, 6}, {100, 215, 7}, {110, 215, 8}};
    for (int i = 0; i < 4; ++i)
        layer += std::string(i ? "," : "") + "{\"type\":\"Feature\",\"properties\":{\"ELEV\":" +
                 std::to_string(pts[i][2]) + "},\"geometry\":{\"type\":\"Point\",\"coordinates\":[" +
                 std::to_string(pts[i][0]) + "," + std::to_string(pts[i][1]) + "]}}";
    runs.emplace_back(Write("spots.geojson", layer + "]}"), " --z-field ELEV");
#endif
    for (const auto& [file, names] : runs) {
        const json j = JsonRun("tin " + file + names);
        EXPECT_EQ(j.value("triangles", 0), 2);
        EXPECT_EQ(j["extent"]["min"], json::array({100.0, 200.0, 5.0})) << file;
        EXPECT_EQ(j["extent"]["max"], json::array({110.0, 215.0, 8.0})) << file;
        EXPECT_EQ(Krtes("tin " + file).code, 1) << file;
    }
}
