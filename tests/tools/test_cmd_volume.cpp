// The krtes volume command.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "KrTesGeometry/io/KrPointFile.h"
#include "KrTesGeometry/io/KrPolylineFile.h"
#include "KrTesGeometry/mesh/KrMeshData.h"
#include "KrTesGeometry/tin/KrDelaunay.h"
#include "support/KrtesCliRun.h"

using namespace krtes_test;

namespace {

// Integral and area of max(h, 0) over a triangle of plan area A whose
// corners lie h[0..2] above the level, from the closed forms for a linear
// function: with h sorted, one corner above gives the small corner triangle
// A h3^3 / (3 (h3-h1)(h3-h2)), two above give the whole minus the part below.
void PositivePart(double A, double h0, double h1, double h2, double& vol, double& area)
{
    double h[3] = {h0, h1, h2};
    std::sort(h, h + 3);
    if (h[0] >= 0) {
        vol = A * (h[0] + h[1] + h[2]) / 3, area = A;
    } else if (h[2] <= 0) {
        vol = 0, area = 0;
    } else if (h[1] <= 0) {
        const double s = (h[2] - h[0]) * (h[2] - h[1]);
        vol = A * h[2] * h[2] * h[2] / (3 * s), area = A * h[2] * h[2] / s;
    } else {
        const double s = (h[1] - h[0]) * (h[2] - h[0]);
        vol = A * (h[0] + h[1] + h[2]) / 3 + A * -h[0] * h[0] * h[0] / (3 * s);
        area = A - A * h[0] * h[0] / s;
    }
}

double Field(const std::string& text, const char* key)
{
    const std::size_t at = text.find(key);
    return at == std::string::npos ? std::nan("") : std::atof(text.c_str() + at + std::string(key).size());
}

}  // namespace

TEST(KrtesVolume, LevelOnTheBundledTerrainAgainstPerTriangleSums)
{
    // The TIN the command makes of the points, built here the same way.
    const std::string file = std::string(KRTES_DATA_DIR) + "/jacksboro_scattered.xyz";
    std::vector<CKrPoint3d> read, pts;
    std::vector<KrTesGeo::_sTri_ID> tris;
    std::string err;
    ASSERT_TRUE(krtes::ReadPointFile(file, read, err)) << err;
    TesTriMesh::CKrMeshData mesh;
    {
        TesTriMesh::CKrDelaunay tin(mesh, 0.01);
        tin.SetFullHull(true);
        for (const CKrPoint3d& p : read) tin.AddVertex(p);
        ASSERT_TRUE(tin.Delaunay());
    }
    mesh.OutputData(pts, tris);
    double zmin = HUGE_VAL, zmax = -HUGE_VAL;
    for (const CKrPoint3d& p : pts) zmin = std::min(zmin, p.z), zmax = std::max(zmax, p.z);
    const double level = std::floor((zmin + zmax) / 2) + 0.25;

    double cut = 0, fill = 0, cutArea = 0, fillArea = 0;
    for (const auto& t : tris) {
        const CKrPoint3d &a = pts[t[0]], &b = pts[t[1]], &c = pts[t[2]];
        const double A = std::fabs((b.x - a.x) * (c.y - a.y) - (c.x - a.x) * (b.y - a.y)) / 2;
        double v, s;
        PositivePart(A, a.z - level, b.z - level, c.z - level, v, s);
        cut += v, cutArea += s;
        PositivePart(A, level - a.z, level - b.z, level - c.z, v, s);
        fill += v, fillArea += s;
    }
    ASSERT_GT(cut, 1000.0);
    ASSERT_GT(fill, 1000.0);

    char lv[32];
    std::snprintf(lv, sizeof lv, "%.2f", level);
    CliRun r = Krtes("volume " + file + " --level " + lv);
    ASSERT_EQ(r.code, 0) << r.out;
    EXPECT_NEAR(Field(r.out, "\ncut"), cut, 0.01) << r.out;
    EXPECT_NEAR(Field(r.out, "\nfill"), fill, 0.01) << r.out;
    EXPECT_NEAR(Field(r.out, "\nnet"), cut - fill, 0.01) << r.out;

    const CliStreams j = KrtesStreams("volume " + file + " --level " + lv + " --json");
    ASSERT_EQ(j.code, 0) << j.err;
    const nlohmann::json doc = nlohmann::json::parse(j.out);
    EXPECT_NEAR(doc["cut"].get<double>(), cut, 0.01);
    EXPECT_NEAR(doc["fill"].get<double>(), fill, 0.01);
    EXPECT_NEAR(doc["net"].get<double>(), cut - fill, 0.01);
    EXPECT_NEAR(doc["cut_area"].get<double>(), cutArea, 0.01);
    EXPECT_NEAR(doc["fill_area"].get<double>(), fillArea, 0.01);
    EXPECT_EQ(doc["level"].get<double>(), std::atof(lv));
}

TEST(KrtesVolume, TwoPlanesBoundaryZeroLineAndBadInput)
{
    // Existing z = x over [0, 10]^2 against the design z = 5: cut where x > 5.
    // Inside the boundary [2, 8] x [0, 4]: cut = fill = 3 * 3/2 * 4 = 18, the
    // zero line is x = 5 from y = 0 to 4.
    const std::string ground = GridFile("ground.obj", 10, 0, 1, [](double x, double) { return x; });
    const std::string design = GridFile("design.ply", 10, 0, 1, [](double, double) { return 5.0; });
    const std::string site = Write("site.txt", "2 0 0\n8 0 0\n8 4 0\n2 4 0\n2 0 0\n");
    const std::string zero = Temp("zero.txt");
    const CliStreams j = KrtesStreams("volume " + ground + " " + design + " --boundary " + site + " --zero-line " +
                                      zero + " --json");
    ASSERT_EQ(j.code, 0) << j.err;
    const nlohmann::json doc = nlohmann::json::parse(j.out);
    EXPECT_NEAR(doc["cut"].get<double>(), 18.0, 1e-9);
    EXPECT_NEAR(doc["fill"].get<double>(), 18.0, 1e-9);
    EXPECT_NEAR(doc["cut_area"].get<double>(), 12.0, 1e-9);
    std::vector<std::vector<CKrPoint3d>> lines;
    std::string err;
    ASSERT_TRUE(krtes::ReadPolylineFile(zero, lines, 2, err)) << err;
    ASSERT_EQ(lines.size(), 1u);
    double ylo = HUGE_VAL, yhi = -HUGE_VAL;
    for (const CKrPoint3d& p : lines[0]) {
        EXPECT_NEAR(p.x, 5.0, 1e-9);
        ylo = std::min(ylo, p.y), yhi = std::max(yhi, p.y);
    }
    EXPECT_NEAR(ylo, 0.0, 1e-9);
    EXPECT_NEAR(yhi, 4.0, 1e-9);

    EXPECT_EQ(Krtes("volume " + ground).code, 2);                           // neither DESIGN nor --level
    EXPECT_EQ(Krtes("volume " + ground + " " + design + " --level 3").code, 2);  // both
    const CliRun bad = Krtes("volume " + ground + " --level 3 --boundary " + Write("b.txt", "0 0 0\n1 1 0\n"));
    EXPECT_EQ(bad.code, 1);
    EXPECT_NE(bad.out.find("b.txt"), std::string::npos) << bad.out;
}
