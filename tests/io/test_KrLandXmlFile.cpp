// LandXML surfaces: round trips, the N E Z order, source data, and the
// errors of broken files.
#ifdef KRTES_HAVE_PUGIXML
#include <gtest/gtest.h>

#include <random>

#include "IoTestFiles.h"
#include "KrTesGeometry/io/KrLandXmlFile.h"
#include "KrTesGeometry/io/KrSurveyFiles.h"
#include "KrTesGeometry/mesh/KrMeshData.h"
#include "KrTesGeometry/tin/KrDelaunay.h"

namespace {

const char* kHead =
    "<?xml version=\"1.0\"?>\n<LandXML xmlns=\"http://www.landxml.org/schema/LandXML-1.2\" version=\"1.2\">\n"
    "<Units><Imperial areaUnit=\"squareFoot\" linearUnit=\"USSurveyFoot\" volumeUnit=\"cubicYard\" "
    "temperatureUnit=\"fahrenheit\" pressureUnit=\"inHG\"/></Units>\n"
    "<CoordinateSystem name=\"NAD83 / Texas Central\" epsgCode=\"2277\"/>\n";

}  // namespace

TEST(KrLandXmlFile, RoundTripKeepsEveryDigitFaceAndOutline)
{
    // A Delaunay TIN of random survey-sized points (full binary precision)
    // with a hole cut out: written and read back, the same points to the
    // last bit, the same faces, one outer boundary around the hull and one
    // void around the hole; units and coordinate system come back as they
    // went in.
    std::mt19937_64 rng(7);
    std::uniform_real_distribution<double> u(0, 100);
    TesTriMesh::CKrMeshData mesh;
    {
        TesTriMesh::CKrDelaunay tin(mesh, 0.01);
        tin.SetFullHull(true);
        for (int i = 0; i < 400; ++i) tin.AddVertex(CKrPoint3d(500000 + u(rng), 6000000 + u(rng), 100 + u(rng) / 7));
        tin.AddHoleLine({CKrPoint3d(500040, 6000040, 0), CKrPoint3d(500060, 6000040, 0), CKrPoint3d(500060, 6000060, 0),
                         CKrPoint3d(500040, 6000060, 0)});
        ASSERT_TRUE(tin.Delaunay());
    }
    iotest::Pts pts;
    iotest::Ids tris;
    mesh.OutputData(pts, tris);

    iotest::Files files;
    krtes::SKrLandXmlFile f;
    std::string err;
    const std::string units = std::string(kHead) + "<Surfaces><Surface name=\"s\"/></Surfaces></LandXML>";
    ASSERT_TRUE(krtes::ReadLandXmlFile(files.Write("units.xml", units), f, err)) << err;
    EXPECT_EQ(f.linearUnit, "USSurveyFoot");
    EXPECT_EQ(f.crs, "EPSG:2277");
    f.surfaces = {krtes::MakeLandXmlSurface("ground <EG>", pts, tris)};
    f.surfaces[0].breaklines.push_back({"ridge", "standard", {pts[0], pts[1], pts[2]}});
    const std::string out = files.Path("ground.xml");
    ASSERT_TRUE(krtes::WriteLandXmlFile(out, f, err)) << err;

    krtes::SKrLandXmlFile back;
    ASSERT_TRUE(krtes::ReadLandXmlFile(out, back, err)) << err;
    EXPECT_TRUE(back.unitsXml == f.unitsXml && back.coordinateSystemXml == f.coordinateSystemXml);
    EXPECT_EQ(back.crs, "EPSG:2277");
    ASSERT_EQ(back.surfaces.size(), 1u);
    const krtes::SKrLandXmlSurface& s = back.surfaces[0];
    EXPECT_EQ(s.name, "ground <EG>");
    ASSERT_EQ(s.pts.size(), pts.size());
    for (std::size_t i = 0; i < pts.size(); ++i) ASSERT_TRUE(iotest::Same(s.pts[i], pts[i])) << i;
    ASSERT_EQ(s.tris.size(), tris.size());
    for (std::size_t i = 0; i < tris.size(); ++i) ASSERT_TRUE(iotest::Tri(s.tris[i], tris[i][0], tris[i][1], tris[i][2]));
    ASSERT_EQ(s.breaklines.size(), 1u);
    EXPECT_TRUE(iotest::Same(s.breaklines[0].pts[2], pts[2]));

    // The boundaries: closed loops whose plan areas are the TIN's area (outer
    // minus void), counted here from the triangles.
    double triArea = 0, outer = 0, voids = 0;
    for (const auto& t : tris) {
        const CKrPoint3d &a = pts[t[0]], &b = pts[t[1]], &c = pts[t[2]];
        triArea += 0.5 * std::fabs((b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x));
    }
    ASSERT_EQ(s.boundaries.size(), 2u);
    for (const krtes::SKrLandXmlLine& b : s.boundaries) {
        ASSERT_TRUE(iotest::Same(b.pts.front(), b.pts.back()));
        double a = 0;
        for (std::size_t i = 0; i + 1 < b.pts.size(); ++i) a += b.pts[i].x * b.pts[i + 1].y - b.pts[i + 1].x * b.pts[i].y;
        (b.type == "outer" ? outer : voids) += std::fabs(a) / 2;
    }
    EXPECT_GT(voids, 300.0);  // the 20 x 20 hole, less the triangles reaching into it
    EXPECT_NEAR(outer - voids, triArea, 1e-6 * triArea);

    // Written twice, the same bytes.
    const std::string again = files.Path("again.xml");
    ASSERT_TRUE(krtes::WriteLandXmlFile(again, back, err)) << err;
    EXPECT_EQ(iotest::Read(again), iotest::Read(out));
}

TEST(KrLandXmlFile, ReadsNorthingEastingAndPicksSurfaces)
{
    // Hand-written as another program would: N E Z order, ids that are not
    // positions, an invisible face, source data, two surfaces.
    iotest::Files files;
    const std::string doc = std::string(kHead) +
        "<Surfaces>\n<Surface name=\"EG\"><SourceData>"
        "<Breaklines><Breakline brkType=\"standard\"><PntList3D>10 20 1 11 21 2</PntList3D></Breakline></Breaklines>"
        "<Boundaries><Boundary bndType=\"outer\" edgeTrim=\"true\"><PntList2D>0 0 0 5 5 5 0 0</PntList2D></Boundary>"
        "</Boundaries></SourceData>\n"
        "<Definition surfType=\"TIN\"><Pnts>\n<P id=\"10\">100 200 5</P>\n<P id=\"20\">100 210 6</P>\n"
        "<P id=\"30\">110 200 7</P>\n<P id=\"40\">110 210 8</P>\n</Pnts>\n"
        "<Faces><F>10 20 30</F><F>20 40 30</F><F i=\"1\">10 30 40</F></Faces></Definition></Surface>\n"
        "<Surface name=\"FG\"><Definition surfType=\"TIN\"><Pnts><P id=\"1\">0 0 1</P><P id=\"2\">0 1 1</P>"
        "<P id=\"3\">1 0 1</P></Pnts><Faces><F>1 2 3</F></Faces></Definition></Surface>\n</Surfaces></LandXML>\n";
    const std::string p = files.Write("two.xml", doc);
    krtes::SKrLandXmlFile f;
    std::string err;
    ASSERT_TRUE(krtes::ReadLandXmlFile(p, f, err)) << err;
    ASSERT_EQ(f.surfaces.size(), 2u);
    const krtes::SKrLandXmlSurface& eg = f.surfaces[0];
    ASSERT_EQ(eg.pts.size(), 4u);
    EXPECT_TRUE(iotest::Same(eg.pts[0], CKrPoint3d(200, 100, 5)));  // x easting, y northing
    EXPECT_TRUE(iotest::Same(eg.pts[2], CKrPoint3d(200, 110, 7)));
    ASSERT_EQ(eg.tris.size(), 2u);  // the invisible face is left out
    EXPECT_TRUE(iotest::Tri(eg.tris[1], 1, 3, 2));
    ASSERT_EQ(eg.breaklines.size(), 1u);
    EXPECT_TRUE(iotest::Same(eg.breaklines[0].pts[1], CKrPoint3d(21, 11, 2)));
    ASSERT_EQ(eg.boundaries.size(), 1u);
    EXPECT_EQ(eg.boundaries[0].type, "outer");
    EXPECT_EQ(eg.boundaries[0].pts.size(), 4u);

    std::vector<CKrPoint3d> pts;
    iotest::Ids tris;
    ASSERT_TRUE(krtes::ReadLandXmlSurface(p, "FG", pts, tris, err)) << err;
    EXPECT_EQ(pts.size(), 3u);
    EXPECT_TRUE(iotest::Refused(krtes::ReadLandXmlSurface(p, "XX", pts, tris, err), err, "no surface named 'XX' (the file holds 'EG', 'FG')"));
    // As a surface for the commands: the first surface with faces, and the
    // coordinate system it names.
    std::string crs, how;
    ASSERT_TRUE(krtes::ReadSurvey(p, pts, tris, crs, how, err)) << err;
    EXPECT_EQ(tris.size(), 2u);
    EXPECT_EQ(crs, "EPSG:2277");
}

TEST(KrLandXmlFile, BrokenFilesNameTheFileAndLine)
{
    iotest::Files files;
    const std::string surf = std::string(kHead) + "<Surfaces><Surface name=\"EG\"><Definition surfType=\"TIN\"><Pnts>\n"
                             "<P id=\"1\">0 0 1</P>\n<P id=\"2\">0 1 1</P>\n<P id=\"3\">1 0 1</P>\n</Pnts><Faces>\n";
    const std::string end = "</Faces></Definition></Surface></Surfaces></LandXML>";
    iotest::ExpectErrors(files, {
        {"cut.xml", surf, "@:9: not well-formed XML"},  // cut off after <Faces> (line 9)
        {"far.xml", surf + "<F>1 2 3</F>\n<F>1 2 77</F>\n" + end,
         "@:11: surface 'EG': face names point 77, which <Pnts> does not hold"},
        {"two.xml", surf + "<F>1 2</F>\n" + end, "@:10: surface 'EG': a face names 2 points, not 3"},
        {"ne.xml", std::string(kHead) + "<Surfaces><Surface name=\"EG\"><Definition><Pnts>\n<P id=\"1\">0 0</P></Pnts>"
                                        "</Definition></Surface></Surfaces></LandXML>",
         "@:6: surface 'EG': point 1: expected \"northing easting elevation\""},
        {"none.xml", std::string(kHead) + "<Surfaces/></LandXML>", "@: the file holds no <Surface>"},
        {"other.xml", "<Other/>", "@: not a LandXML document"},
    }, [](const std::string& p, std::string& err) {
        krtes::SKrLandXmlFile f;
        return krtes::ReadLandXmlFile(p, f, err);
    });
    // A write that cannot happen leaves nothing behind.
    krtes::SKrLandXmlFile f;
    f.surfaces.push_back(krtes::MakeLandXmlSurface("s", {CKrPoint3d(0, 0, 0)}, {KrTesGeo::_sTri_ID(0, 1, 2)}));
    std::string err;
    EXPECT_TRUE(iotest::Refused(krtes::WriteLandXmlFile(files.Path("out.xml"), f, err), err, "a face names point index 1 of 1"));
    EXPECT_FALSE(iotest::Exists(files.Path("out.xml")));
}
#endif
