#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "KrTesIO.h"

namespace {

std::string TempPath(const std::string& name) { return ::testing::TempDir() + "krtes_io_" + name; }

std::string Write(const std::string& name, const std::string& text)
{
    const std::string p = TempPath(name);
    std::ofstream(p, std::ios::binary) << text;
    return p;
}

bool Exists(const std::string& p) { return std::ifstream(p).good(); }

}  // namespace

TEST(KrTesIO, PointFilesAcceptTheCommonLayouts)
{
    std::vector<CKrPoint3d> pts;
    std::string err;
    const std::string p = Write("layouts.xyz",
                                "X,Y,Z\n"
                                "# surveyed 2026-11-02\n"
                                "1 2 3\n"
                                "4\t5\t6   # trailing comment\n"
                                "\n"
                                "7,8,9\r\n"
                                "+1e3, -2.5E-1 ,0\n");
    ASSERT_TRUE(krtes::ReadPointFile(p, pts, err)) << err;
    ASSERT_EQ(pts.size(), 4u);
    EXPECT_EQ(pts[1].y, 5.0);
    EXPECT_EQ(pts[2].z, 9.0);
    EXPECT_EQ(pts[3].x, 1000.0);
    EXPECT_EQ(pts[3].y, -0.25);
}

TEST(KrTesIO, BadPointFilesNameTheFileAndLine)
{
    struct Case {
        std::string text, expect;
    };
    const std::vector<Case> cases{
        {"1 2 3\n4 5\n", ":2: expected 3 values"},
        {"1 2 3\n4 five 6\n", ":2: 'five' is not a number"},
        {"1 2 3\n4 5 6 7\n", ":2: expected 3 values"},
        {"1 2 3\n1 nan 3\n", ":2: coordinate is not finite"},
        {"1 2 3\n1 2 inf\n", ":2: coordinate is not finite"},
        {"x y z\nlabel a b\n", ":2: 'label' is not a number"},  // only one header line
    };
    for (const Case& c : cases) {
        const std::string p = Write("bad.xyz", c.text);
        std::vector<CKrPoint3d> pts{CKrPoint3d(9, 9, 9)};
        std::string err;
        EXPECT_FALSE(krtes::ReadPointFile(p, pts, err)) << c.text;
        EXPECT_NE(err.find(p + c.expect), std::string::npos) << err;
        EXPECT_EQ(pts.size(), 1u);  // the output is untouched on failure
    }
    std::vector<CKrPoint3d> pts;
    std::string err;
    EXPECT_FALSE(krtes::ReadPointFile(TempPath("does_not_exist.xyz"), pts, err));
    EXPECT_NE(err.find("cannot open"), std::string::npos);
}

TEST(KrTesIO, PolylineFilesSplitOnBlankLines)
{
    std::vector<std::vector<CKrPoint3d>> lines;
    std::string err;
    const std::string p = Write("lines.txt",
                                "0 0 1\n1 0 1\n# a comment does not end a block\n2 1 1\n"
                                "\n   \n"
                                "5 5 0\n6 6 0\n");
    ASSERT_TRUE(krtes::ReadPolylineFile(p, lines, 2, err)) << err;
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].size(), 3u);
    EXPECT_EQ(lines[1][1].x, 6.0);
    // A hole or outline needs three points; the message names the block.
    EXPECT_FALSE(krtes::ReadPolylineFile(p, lines, 3, err));
    EXPECT_NE(err.find(p + ":7: polyline has 2 point(s)"), std::string::npos) << err;
}

TEST(KrTesIO, MeshFilesAreWrittenWholeOrNotAtAll)
{
    const std::vector<CKrPoint3d> pts{CKrPoint3d(500000.125, 4000000.5, 312.25), CKrPoint3d(1, 0, 0),
                                      CKrPoint3d(0, 1, 0)};
    const std::vector<KrTesGeo::_sTri_ID> tris{KrTesGeo::_sTri_ID(0, 1, 2)};
    std::string err;
    const std::string obj = TempPath("mesh.obj");
    ASSERT_TRUE(krtes::WriteMeshFile(obj, pts, tris, err)) << err;
    std::ifstream in(obj);
    std::string all((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    EXPECT_NE(all.find("v 500000.125 4000000.5 312.25\n"), std::string::npos);  // exact, shortest form
    EXPECT_NE(all.find("f 1 2 3\n"), std::string::npos);                        // 1-based
    EXPECT_FALSE(Exists(obj + ".part"));

    const std::string ply = TempPath("mesh.ply");
    ASSERT_TRUE(krtes::WriteMeshFile(ply, pts, tris, err)) << err;
    std::ifstream pin(ply, std::ios::binary);
    std::string head((std::istreambuf_iterator<char>(pin)), std::istreambuf_iterator<char>());
    const std::size_t body = head.find("end_header\n");
    ASSERT_NE(body, std::string::npos);
    EXPECT_NE(head.find("element vertex 3\n"), std::string::npos);
    EXPECT_EQ(head.size() - body - 11, 3 * 24 + 1 + 3 * 4u);  // doubles, then count + int indices

    EXPECT_FALSE(krtes::WriteMeshFile(TempPath("mesh.stl"), pts, tris, err));
    EXPECT_NE(err.find("unknown output format"), std::string::npos);
    EXPECT_FALSE(krtes::WriteMeshFile(TempPath("no_such_dir/mesh.obj"), pts, tris, err));
    EXPECT_FALSE(Exists(TempPath("mesh.stl")));
}
