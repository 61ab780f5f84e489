// The program's file formats: point, polyline and mesh files.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "KrTesIO.h"
#include "KrTesMeshIO.h"
#include "support/KrtesCliRun.h"
#include "KrTesGeometry/query/KrMeshQuery.h"
#include "KrTesGeometry/math/CGeDataTriMesh.h"
#include "KrTesGeometry/mesh/KrMeshData.h"

namespace {

using Ids = std::vector<KrTesGeo::_sTri_ID>;

using krtes_test::Exists;
using krtes_test::Temp;
using krtes_test::Write;

// Appends v in little-endian, or big-endian, byte order.
template <class T>
void Put(std::string& buf, T v, bool big = false)
{
    unsigned char b[sizeof(T)];
    std::memcpy(b, &v, sizeof(T));
    const uint16_t probe = 1;
    if ((*reinterpret_cast<const unsigned char*>(&probe) != 1) != big)
        for (std::size_t i = 0; i < sizeof(T) / 2; ++i) std::swap(b[i], b[sizeof(T) - 1 - i]);
    buf.append(reinterpret_cast<const char*>(b), sizeof(T));
}

struct Bad {
    std::string name, content, expect;  // expect: after the path, "@" stands for the path
};

// Every file must fail with a message holding `expect` ("@" = the path).
void ExpectErrors(const std::vector<Bad>& cases)
{
    for (const Bad& c : cases) {
        const std::string p = Write(c.name, c.content);
        std::string expect = c.expect;
        const std::size_t at = expect.find('@');
        if (at != std::string::npos) expect.replace(at, 1, p);
        std::vector<CKrPoint3d> pts;
        Ids ids;
        std::string err;
        EXPECT_FALSE(krtes::ReadMeshFile(p, pts, ids, err)) << c.name;
        EXPECT_NE(err.find(expect), std::string::npos) << "expected '" << expect << "' in: " << err;
    }
}

bool Tri(const KrTesGeo::_sTri_ID& t, int a, int b, int c) { return t[0] == a && t[1] == b && t[2] == c; }

}  // namespace

TEST(KrTesMeshIO, ObjFacesInEveryFormAndFans)
{
    const std::string p = Write("forms.obj",
                                "# a quad and two triangles\r\nmtllib x.mtl\no thing\n"
                                "v 0 0 0\nv 1 0 0.5 1.0\nv 1 1 1\nv 0 1 1.5\nvt 0 0\nvn 0 0 1\nusemtl a\ns off\n"
                                "f 1/1/1 2/1/1 3/1/1 4/1/1\n"  // a quad: fan from corner 1
                                "v 2 0 0\n"
                                "f -4//1 -1//1 -3//1   # relative\n"
                                "f 2/1 5/1 3/1\nl 1 2\n");
    std::vector<CKrPoint3d> pts;
    Ids ids;
    std::string err;
    ASSERT_TRUE(krtes::ReadMeshFile(p, pts, ids, err)) << err;
    ASSERT_EQ(pts.size(), 5u);
    EXPECT_EQ(pts[1].z, 0.5);
    ASSERT_EQ(ids.size(), 4u);
    EXPECT_TRUE(Tri(ids[0], 0, 1, 2) && Tri(ids[1], 0, 2, 3) && Tri(ids[2], 1, 4, 2) && Tri(ids[3], 1, 4, 2));
    // A face may name a vertex defined further down.
    ASSERT_TRUE(krtes::ReadMeshFile(Write("fwd.obj", "f 1 2 3\nv 0 0 0\nv 1 0 0\nv 0 1 0\n"), pts, ids, err)) << err;

    // Into a mesh (octree built) and into the interchange mesh.
    TesTriMesh::CKrMeshData mesh;
    ASSERT_TRUE(krtes::ReadMeshFile(p, mesh, err)) << err;
    EXPECT_EQ(mesh.TriNum(), 4);  // a repeated face is kept
    double z = 0.0;
    EXPECT_TRUE(TesTriMesh::CKrMeshQuery(mesh).GetMapPoint(0.25, 0.5, z));
    CGeDataTriMesh gm;
    gm.AddPoint(9, 9, 9);  // replaced
    ASSERT_TRUE(krtes::ReadMeshFile(p, gm, err)) << err;
    EXPECT_EQ(gm.GetPointCount(), 5);
    EXPECT_EQ(gm.GetTriCount(), 4);
    EXPECT_TRUE(gm.IsValid());
}

TEST(KrTesMeshIO, ObjErrorsNameTheFileAndLine)
{
    const std::string tri = "v 0 0 0\nv 1 0 0\nv 0 1 0\n";
    ExpectErrors({
        {"zero.obj", tri + "f 0 1 2\n", "@:4: face index 0"},
        {"far.obj", tri + "\nf 1 2 3\nf 1 2 7\n", "@:6: face index 7 out of range (3 vertices)"},
        {"rel.obj", "v 0 0 0\nv 1 0 0\nf -1 -2 -3\n", "@:3: relative face index -3"},
        {"two.obj", tri + "f 1 2\n", "@:4: face needs at least 3 corners, found 2"},
        {"word.obj", "v 0 0 0\nv 1 zero 0\n", "@:2: 'zero' is not a number"},
        {"nan.obj", "v 0 0 nan\n", "@:1: coordinate is not finite"},
        {"idx.obj", tri + "f 1 2 x/3\n", "@:4: bad face index 'x/3'"},
        {"none.obj", tri, "@: the file holds no triangles"},
        {"surface.dxf", "0\n", "unknown mesh format '.dxf'"},
    });
    std::vector<CKrPoint3d> pts;
    Ids ids;
    std::string err;
    EXPECT_FALSE(krtes::ReadMeshFile(krtes_test::Temp("missing.obj"), pts, ids, err));
    EXPECT_NE(err.find("cannot open file"), std::string::npos) << err;
    // A triangle that collapses when vertices merge is no surface.
    TesTriMesh::CKrMeshData mesh;
    EXPECT_FALSE(krtes::ReadMeshFile(Write("tiny.obj", "v 0 0 0\nv 0.001 0 0\nv 0 0.001 0\nf 1 2 3\n"), mesh, err));
    EXPECT_NE(err.find("no usable triangle"), std::string::npos) << err;
}

TEST(KrTesMeshIO, PlyAsciiAndBinarySkipOtherElements)
{
    // Extra vertex properties, an extra element, a list before the faces'
    // own, a quad.
    const std::string ascii = Write("a.ply",
                                    "ply\nformat ascii 1.0\ncomment by hand\nelement vertex 4\n"
                                    "property float x\nproperty float y\nproperty uchar red\nproperty double z\n"
                                    "element edge 1\nproperty int vertex1\nproperty int vertex2\nelement face 2\n"
                                    "property list uchar float texcoord\nproperty list uchar int vertex_indices\n"
                                    "end_header\n0 0 255 0\n1 0 0 0.5\n1 1 7 1\n0 1 0 1.5\n0 1\n"
                                    "2 0.5 0.5 4 0 1 2 3\n0 3 3 2 1\n");
    std::vector<CKrPoint3d> pts;
    Ids ids;
    std::string err;
    ASSERT_TRUE(krtes::ReadMeshFile(ascii, pts, ids, err)) << err;
    ASSERT_EQ(pts.size(), 4u);
    EXPECT_EQ(pts[3].z, 1.5);
    ASSERT_EQ(ids.size(), 3u);
    EXPECT_TRUE(Tri(ids[0], 0, 1, 2) && Tri(ids[1], 0, 2, 3) && Tri(ids[2], 3, 2, 1));

    // Binary in both byte orders: mixed coordinate types, an extra element
    // with a list, face lists with uchar/int counts and uint/int indices (a
    // second index list after the faces' own is skipped).
    for (bool big : {false, true}) {
        std::string b = std::string("ply\nformat ") + (big ? "binary_big_endian" : "binary_little_endian") +
                        " 1.0\nelement vertex 4\nproperty float x\nproperty double y\nproperty float z\n"
                        "property short s\nelement material 1\nproperty list int ushort ids\nproperty double g\n"
                        "element face 2\nproperty list uchar uint vertex_indices\nproperty list int int vertex_index\n"
                        "end_header\n";
        for (const auto& v : {CKrPoint3d(0, 0, 0), CKrPoint3d(2, 0, 1), CKrPoint3d(2, 2, 2), CKrPoint3d(0, 2, 3)}) {
            Put(b, static_cast<float>(v.x), big);
            Put(b, v.y, big);
            Put(b, static_cast<float>(v.z), big);
            Put(b, static_cast<int16_t>(-3), big);
        }
        Put(b, int32_t(2), big);
        Put(b, uint16_t(7), big);
        Put(b, uint16_t(8), big);
        Put(b, 0.25, big);
        for (uint32_t c : {2u, 3u}) {
            Put(b, uint8_t(3), big);
            for (uint32_t k : {0u, c - 1, c}) Put(b, k, big);
            Put(b, int32_t(1), big);
            Put(b, int32_t(77), big);
        }
        ASSERT_TRUE(krtes::ReadMeshFile(Write(big ? "be.ply" : "le.ply", b), pts, ids, err)) << err;
        ASSERT_EQ(pts.size(), 4u);
        EXPECT_EQ(pts[3].y, 2.0);
        EXPECT_EQ(pts[3].z, 3.0);
        ASSERT_EQ(ids.size(), 2u);
        EXPECT_TRUE(Tri(ids[1], 0, 2, 3));
        ExpectErrors({{"cut.ply", b.substr(0, b.size() - 9), "file ends early (short binary data) in element 'face' "
                                                             "(record 2 of 2)"}});
    }
}

TEST(KrTesMeshIO, PlyErrors)
{
    const std::string head = "ply\nformat ascii 1.0\nelement vertex 3\nproperty float x\nproperty float y\n"
                             "property float z\nelement face 1\nproperty list uchar int vertex_indices\nend_header\n";
    const std::string v3 = "0 0 0\n1 0 0\n0 1 0\n";
    const std::string fmt = "ply\nformat ascii 1.0\n";
    ExpectErrors({
        {"idx.ply", head + v3 + "3 0 1 3\n", "face index 3 out of range (3 vertices) in element 'face' (record 1"},
        {"neg.ply", head + v3 + "3 0 -1 2\n", "face index -1 out of range"},
        {"twoc.ply", head + v3 + "2 0 1\n", "face has 2 corner(s)"},
        {"word.ply", head + "0 0 0\n1 x 0\n", "@:11: 'x' is not a number"},
        {"short.ply", head + v3, "file ends early"},
        {"magic.ply", "plyx\n", "not a PLY file"},
        {"fmt.ply", "ply\nformat binary_middle_endian 1.0\n", "@:2: unsupported PLY format 'binary_middle_endian'"},
        {"type.ply", fmt + "element vertex 1\nproperty quad x\n", "@:4: unsupported property type 'quad'"},
        {"list.ply", fmt + "element face 1\nproperty list float int v\n", "unsupported list property types"},
        {"nohead.ply", fmt + "element vertex 1\n", "no end_header"},
        {"noxyz.ply", fmt + "element vertex 1\nproperty float x\nend_header\n0\n", "lacks an x, y or z property"},
        {"noface.ply", head.substr(0, head.find("element face")) + "end_header\n" + v3, "no face element"},
        {"nolist.ply", fmt + "element face 1\nproperty int v\nend_header\n", "face element has no vertex_indices"},
        {"what.ply", fmt + "vertex 3\n", "@:3: unknown header line"},
    });
}

TEST(KrTesMeshIO, StlAsciiAndBinaryShareCorners)
{
    std::vector<CKrPoint3d> pts;
    Ids ids;
    std::string err;
    ASSERT_TRUE(krtes::ReadMeshFile(Write("a.stl", "solid two\n facet normal 0 0 1\n  outer loop\n"
                                                   "vertex 0 0 0\nvertex 1 0 0\nvertex 1 1 0\n endloop\nendfacet\n"
                                                   "facet normal 0 0 1\nouter loop\nvertex 0 0 0\nvertex 1 1 0\n"
                                                   "vertex 0 1 0\nendloop\nendfacet\nendsolid two\n"),
                                    pts, ids, err))
        << err;
    EXPECT_EQ(pts.size(), 4u);  // shared corners are one point
    EXPECT_TRUE(Tri(ids[1], 0, 2, 3));

    // Binary, its header starting with "solid" as some writers do; -0 and 0
    // are one coordinate.
    std::string b = "solid but binary";
    b.resize(80, ' ');
    Put(b, uint32_t(2));
    for (const auto& t : {std::vector<float>{0, 0, 0, 1, 0, 0, 1, 1, 0}, std::vector<float>{0, 0, 0, 1, 1, 0, 0, 1, 0}}) {
        for (int k = 0; k < 3; ++k) Put(b, 0.0f);
        for (std::size_t k = 0; k < t.size(); ++k) Put(b, k == 0 && t[4] == 1 ? -0.0f : t[k]);
        Put(b, uint16_t(0));
    }
    TesTriMesh::CKrMeshData mesh;
    ASSERT_TRUE(krtes::ReadMeshFile(Write("b.stl", b), mesh, err)) << err;
    EXPECT_EQ(mesh.TriNum(), 2);
    EXPECT_EQ(mesh.m_setEdge.size(), 5u);  // connected along the diagonal
    ExpectErrors({
        {"cut.stl", b.substr(0, b.size() - 5), "file ends early (binary STL of 2 triangles has 184 bytes, found 179)"},
        {"long.stl", b + "xyz", "trailing data"},
        {"tiny.stl", "abc", "needs an 84-byte header"},
        {"two.stl", "solid x\nfacet normal 0 0 1\nouter loop\nvertex 0 0 0\nvertex 1 0 0\nendloop\n",
         "@:6: facet with 2 vertices"},
        {"junk.stl", "solid x\nouter loop\nvertex 0 0\n", "@:3: malformed vertex line"},
        {"open.stl", "solid x\nouter loop\nvertex 0 0 0\n", "inside a facet"},
    });
}

TEST(KrTesMeshIO, SurfaceFromPointsOrMesh)
{
    TesTriMesh::CKrMeshData mesh;
    std::string how, err;
    ASSERT_TRUE(krtes::ReadSurfaceFile(Write("pts.xyz", "0 0 0\n10 0 1\n10 10 2\n0 10 3\n5 5 9\n"), mesh, how, err))
        << err;
    EXPECT_EQ(mesh.TriNum(), 4);
    EXPECT_NE(how.find("TIN of 5 points"), std::string::npos) << how;
    double z = 0.0;
    ASSERT_TRUE(TesTriMesh::CKrMeshQuery(mesh).GetMapPoint(5, 5, z));
    EXPECT_NEAR(z, 9.0, 1e-12);
    EXPECT_FALSE(krtes::ReadSurfaceFile(Write("line.xyz", "0 0 0\n1 1 0\n2 2 0\n"), mesh, how, err));
    EXPECT_NE(err.find("do not form a surface"), std::string::npos) << err;
}

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
    EXPECT_FALSE(krtes::ReadPointFile(Temp("does_not_exist.xyz"), pts, err));
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
    const std::string obj = Temp("mesh.obj");
    ASSERT_TRUE(krtes::WriteMeshFile(obj, pts, tris, err)) << err;
    std::ifstream in(obj);
    std::string all((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    EXPECT_NE(all.find("v 500000.125 4000000.5 312.25\n"), std::string::npos);  // exact, shortest form
    EXPECT_NE(all.find("f 1 2 3\n"), std::string::npos);                        // 1-based
    EXPECT_FALSE(Exists(obj + ".part"));

    const std::string ply = Temp("mesh.ply");
    ASSERT_TRUE(krtes::WriteMeshFile(ply, pts, tris, err)) << err;
    std::ifstream pin(ply, std::ios::binary);
    std::string head((std::istreambuf_iterator<char>(pin)), std::istreambuf_iterator<char>());
    const std::size_t body = head.find("end_header\n");
    ASSERT_NE(body, std::string::npos);
    EXPECT_NE(head.find("element vertex 3\n"), std::string::npos);
    EXPECT_EQ(head.size() - body - 11, 3 * 24 + 1 + 3 * 4u);  // doubles, then count + int indices

    EXPECT_FALSE(krtes::WriteMeshFile(Temp("mesh.stl"), pts, tris, err));
    EXPECT_NE(err.find("unknown output format"), std::string::npos);
    EXPECT_FALSE(krtes::WriteMeshFile(Temp("no_such_dir/mesh.obj"), pts, tris, err));
    EXPECT_FALSE(Exists(Temp("mesh.stl")));
}
