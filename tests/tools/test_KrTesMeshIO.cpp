#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "KrTesIO.h"
#include "KrTesMeshIO.h"
#include "edit/KrMeshQuery.h"
#include "krtesmath/CGeDataTriMesh.h"
#include "mesh/KrMeshData.h"

namespace {

using Ids = std::vector<KrTesGeo::_sTri_ID>;

std::string Write(const std::string& name, const std::string& data)
{
    const std::string p = ::testing::TempDir() + "krtes_meshio_" + name;
    std::ofstream(p, std::ios::binary) << data;
    return p;
}

// Appends v in little-endian (or big-endian) byte order.
template <class T>
void Put(std::string& buf, T v, bool big = false)
{
    unsigned char b[sizeof(T)];
    std::memcpy(b, &v, sizeof(T));
    const uint16_t probe = 1;
    unsigned char first;
    std::memcpy(&first, &probe, 1);
    if ((first != 1) != big)
        for (std::size_t i = 0; i < sizeof(T) / 2; ++i) std::swap(b[i], b[sizeof(T) - 1 - i]);
    buf.append(reinterpret_cast<const char*>(b), sizeof(T));
}

// Reads the file, expecting failure with a message containing `expect`.
void ExpectError(const std::string& path, const std::string& expect)
{
    std::vector<CKrPoint3d> pts;
    Ids ids;
    std::string err;
    EXPECT_FALSE(krtes::ReadMeshFile(path, pts, ids, err)) << path;
    EXPECT_NE(err.find(expect), std::string::npos) << "expected '" << expect << "' in: " << err;
}

bool SameTri(const KrTesGeo::_sTri_ID& t, int a, int b, int c) { return t[0] == a && t[1] == b && t[2] == c; }

}  // namespace

TEST(KrTesMeshIO, ObjFacesInEveryFormAndFans)
{
    const std::string p = Write("forms.obj",
                                "# a quad and two triangles\r\n"
                                "mtllib x.mtl\n"
                                "o thing\n"
                                "v 0 0 0\n"
                                "v 1 0 0.5 1.0\n"  // an optional w
                                "v 1 1 1\n"
                                "v 0 1 1.5\n"
                                "vt 0 0\n"
                                "vn 0 0 1\n"
                                "usemtl a\n"
                                "s off\n"
                                "f 1/1/1 2/1/1 3/1/1 4/1/1\n"  // quad: a fan from corner 1
                                "v 2 0 0\n"
                                "f -4//1 -1//1 -3//1   # relative\n"
                                "f 2/1 5/1 3/1\n"
                                "l 1 2\n");
    std::vector<CKrPoint3d> pts;
    Ids ids;
    std::string err;
    ASSERT_TRUE(krtes::ReadMeshFile(p, pts, ids, err)) << err;
    ASSERT_EQ(pts.size(), 5u);
    EXPECT_EQ(pts[1].z, 0.5);
    EXPECT_EQ(pts[4].x, 2.0);
    ASSERT_EQ(ids.size(), 4u);
    EXPECT_TRUE(SameTri(ids[0], 0, 1, 2));
    EXPECT_TRUE(SameTri(ids[1], 0, 2, 3));
    EXPECT_TRUE(SameTri(ids[2], 1, 4, 2));  // -4, -1, -3 of five vertices
    EXPECT_TRUE(SameTri(ids[3], 1, 4, 2));

    // A face may name a vertex defined further down.
    ASSERT_TRUE(krtes::ReadMeshFile(Write("forward.obj", "f 1 2 3\nv 0 0 0\nv 1 0 0\nv 0 1 0\n"), pts, ids, err))
        << err;
    EXPECT_EQ(ids.size(), 1u);

    // Into a mesh (with its octree) and into the interchange mesh.
    TesTriMesh::CKrMeshData mesh;
    ASSERT_TRUE(krtes::ReadMeshFile(p, mesh, err)) << err;
    EXPECT_EQ(mesh.TriNum(), 4);  // the repeated face is kept: the mesh does not look for duplicates
    TesTriMesh::CKrMeshQuery q(mesh);
    double z = 0.0;
    ASSERT_TRUE(q.GetMapPoint(0.25, 0.5, z));
    CGeDataTriMesh gm;
    gm.AddPoint(9, 9, 9);  // replaced
    ASSERT_TRUE(krtes::ReadMeshFile(p, gm, err)) << err;
    EXPECT_EQ(gm.GetPointCount(), 5);
    EXPECT_EQ(gm.GetTriCount(), 4);
    EXPECT_TRUE(gm.IsValid());
    EXPECT_EQ(gm.GetTri(2)->n[1], 4);
}

TEST(KrTesMeshIO, ObjErrorsNameTheFileAndLine)
{
    const std::string zero = Write("zero.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 0 1 2\n");
    ExpectError(zero, zero + ":4: face index 0");
    const std::string far = Write("far.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\n\nf 1 2 3\nf 1 2 7\n");
    ExpectError(far, far + ":6: face index 7 out of range (3 vertices)");
    const std::string rel = Write("rel.obj", "v 0 0 0\nv 1 0 0\nf -1 -2 -3\nv 0 1 0\n");
    ExpectError(rel, rel + ":3: relative face index -3");
    const std::string two = Write("two.obj", "v 0 0 0\nv 1 0 0\nf 1 2\n");
    ExpectError(two, two + ":3: face needs at least 3 corners, found 2");
    const std::string word = Write("word.obj", "v 0 0 0\nv 1 zero 0\n");
    ExpectError(word, word + ":2: 'zero' is not a number");
    const std::string shortv = Write("shortv.obj", "v 0 0\n");
    ExpectError(shortv, shortv + ":1: vertex needs 3 coordinates");
    const std::string nan = Write("nan.obj", "v 0 0 nan\n");
    ExpectError(nan, nan + ":1: coordinate is not finite");
    const std::string idx = Write("idx.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 x/3\n");
    ExpectError(idx, idx + ":4: bad face index 'x/3'");
    const std::string none = Write("none.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\n");
    ExpectError(none, none + ": the file holds no triangles");
    ExpectError(::testing::TempDir() + "krtes_meshio_missing.obj", "cannot open file");
    ExpectError(Write("surface.dxf", "0\nSECTION\n"), "unknown mesh format '.dxf'");

    // A triangle that collapses when vertices merge is no surface.
    const std::string tiny = Write("tiny.obj", "v 0 0 0\nv 0.001 0 0\nv 0 0.001 0\nf 1 2 3\n");
    TesTriMesh::CKrMeshData mesh;
    std::string err;
    EXPECT_FALSE(krtes::ReadMeshFile(tiny, mesh, err));
    EXPECT_NE(err.find("no usable triangle"), std::string::npos) << err;
}

TEST(KrTesMeshIO, PlyAsciiAndBinaryWithOtherElementsSkipped)
{
    // ASCII: extra vertex properties, a list property before the faces'
    // own, an extra element between vertices and faces, a quad.
    const std::string ascii = Write("a.ply",
                                    "ply\n"
                                    "format ascii 1.0\n"
                                    "comment made by hand\n"
                                    "element vertex 4\n"
                                    "property float x\nproperty float y\nproperty uchar red\nproperty double z\n"
                                    "element edge 1\n"
                                    "property int vertex1\nproperty int vertex2\n"
                                    "element face 2\n"
                                    "property list uchar float texcoord\n"
                                    "property list uchar int vertex_indices\n"
                                    "end_header\n"
                                    "0 0 255 0\n1 0 0 0.5\n1 1 7 1\n0 1 0 1.5\n"
                                    "0 1\n"
                                    "2 0.5 0.5 4 0 1 2 3\n"
                                    "0 3 3 2 1\n");
    std::vector<CKrPoint3d> pts;
    Ids ids;
    std::string err;
    ASSERT_TRUE(krtes::ReadMeshFile(ascii, pts, ids, err)) << err;
    ASSERT_EQ(pts.size(), 4u);
    EXPECT_EQ(pts[3].z, 1.5);
    EXPECT_EQ(pts[2].y, 1.0);
    ASSERT_EQ(ids.size(), 3u);
    EXPECT_TRUE(SameTri(ids[0], 0, 1, 2));
    EXPECT_TRUE(SameTri(ids[1], 0, 2, 3));
    EXPECT_TRUE(SameTri(ids[2], 3, 2, 1));

    // Binary, both byte orders: float and double coordinates, an extra
    // element with a list, face lists with uchar and int counts and int and
    // uint indices.
    for (bool big : {false, true}) {
        std::string b = std::string("ply\nformat ") + (big ? "binary_big_endian" : "binary_little_endian") +
                        " 1.0\n"
                        "element vertex 4\nproperty float x\nproperty double y\nproperty float z\nproperty short s\n"
                        "element material 2\nproperty list int ushort ids\nproperty double gloss\n"
                        "element face 2\nproperty list uchar uint vertex_indices\nproperty list int int vertex_index\n"
                        "end_header\n";
        const double xyz[4][3] = {{0, 0, 0}, {2, 0, 1}, {2, 2, 2}, {0, 2, 3}};
        for (const auto& v : xyz) {
            Put(b, static_cast<float>(v[0]), big);
            Put(b, v[1], big);
            Put(b, static_cast<float>(v[2]), big);
            Put(b, static_cast<int16_t>(-3), big);
        }
        for (int m = 0; m < 2; ++m) {
            Put(b, static_cast<int32_t>(3), big);
            for (int k = 0; k < 3; ++k) Put(b, static_cast<uint16_t>(k), big);
            Put(b, 0.25, big);
        }
        // The first list named vertex_indices is the face; vertex_index after
        // it is another property and skipped.
        Put(b, static_cast<uint8_t>(3), big);
        for (uint32_t k : {0u, 1u, 2u}) Put(b, k, big);
        Put(b, static_cast<int32_t>(1), big);
        Put(b, static_cast<int32_t>(77), big);
        Put(b, static_cast<uint8_t>(3), big);
        for (uint32_t k : {0u, 2u, 3u}) Put(b, k, big);
        Put(b, static_cast<int32_t>(0), big);
        const std::string path = Write(big ? "be.ply" : "le.ply", b);
        ASSERT_TRUE(krtes::ReadMeshFile(path, pts, ids, err)) << err;
        ASSERT_EQ(pts.size(), 4u);
        EXPECT_EQ(pts[2].x, 2.0);
        EXPECT_EQ(pts[3].y, 2.0);
        EXPECT_EQ(pts[3].z, 3.0);
        ASSERT_EQ(ids.size(), 2u);
        EXPECT_TRUE(SameTri(ids[1], 0, 2, 3));

        // Cut short: the error names the element and record.
        const std::string cut = Write("cut.ply", b.substr(0, b.size() - 9));
        ExpectError(cut, "file ends early");
        ExpectError(cut, "in element 'face' (record 2 of 2)");
    }
}

TEST(KrTesMeshIO, PlyErrors)
{
    const std::string head = "ply\nformat ascii 1.0\nelement vertex 3\nproperty float x\nproperty float y\n"
                             "property float z\nelement face 1\nproperty list uchar int vertex_indices\nend_header\n";
    const std::string verts = "0 0 0\n1 0 0\n0 1 0\n";
    const std::string bad = Write("badidx.ply", head + verts + "3 0 1 3\n");
    ExpectError(bad, "face index 3 out of range (3 vertices) in element 'face' (record 1 of 1)");
    ExpectError(Write("negidx.ply", head + verts + "3 0 -1 2\n"), "face index -1 out of range");
    ExpectError(Write("twoc.ply", head + verts + "2 0 1\n"), "face has 2 corner(s)");
    const std::string word = Write("word.ply", head + "0 0 0\n1 x 0\n");
    ExpectError(word, word + ":11: 'x' is not a number");
    ExpectError(Write("shorta.ply", head + verts), "file ends early");
    ExpectError(Write("magic.ply", "plyx\n"), "not a PLY file");
    ExpectError(Write("fmt.ply", "ply\nformat binary_middle_endian 1.0\nend_header\n"),
                ":2: unsupported PLY format 'binary_middle_endian'");
    ExpectError(Write("type.ply", "ply\nformat ascii 1.0\nelement vertex 1\nproperty quad x\nend_header\n"),
                ":4: unsupported property type 'quad'");
    ExpectError(Write("listf.ply", "ply\nformat ascii 1.0\nelement face 1\nproperty list float int v\nend_header\n"),
                "unsupported list property types");
    ExpectError(Write("nohead.ply", "ply\nformat ascii 1.0\nelement vertex 1\n"), "no end_header");
    ExpectError(Write("noxyz.ply", "ply\nformat ascii 1.0\nelement vertex 1\nproperty float x\nend_header\n0\n"),
                "vertex element lacks an x, y or z property");
    ExpectError(Write("noface.ply", "ply\nformat ascii 1.0\nelement vertex 3\nproperty float x\nproperty float y\n"
                                    "property float z\nend_header\n" + verts),
                "no face element");
    ExpectError(Write("nolist.ply", "ply\nformat ascii 1.0\nelement vertex 1\nproperty float x\nproperty float y\n"
                                    "property float z\nelement face 1\nproperty int v\nend_header\n"),
                "face element has no vertex_indices list");
    ExpectError(Write("what.ply", "ply\nformat ascii 1.0\nvertex 3\nend_header\n"), ":3: unknown header line");
}

TEST(KrTesMeshIO, StlAsciiAndBinaryShareCorners)
{
    const std::string ascii = Write("a.stl",
                                    "solid two\n"
                                    " facet normal 0 0 1\n  outer loop\n"
                                    "   vertex 0 0 0\n   vertex 1 0 0\n   vertex 1 1 0\n"
                                    "  endloop\n endfacet\n"
                                    " facet normal 0 0 1\n  outer loop\n"
                                    "   vertex 0 0 0\n   vertex 1 1 0\n   vertex 0 1 0\n"
                                    "  endloop\n endfacet\n"
                                    "endsolid two\n");
    std::vector<CKrPoint3d> pts;
    Ids ids;
    std::string err;
    ASSERT_TRUE(krtes::ReadMeshFile(ascii, pts, ids, err)) << err;
    EXPECT_EQ(pts.size(), 4u);  // the shared corners are one point each
    ASSERT_EQ(ids.size(), 2u);
    EXPECT_TRUE(SameTri(ids[1], 0, 2, 3));

    // Binary; its header even starts with "solid", as some writers do.
    std::string b = "solid but binary";
    b.resize(80, ' ');
    Put(b, static_cast<uint32_t>(2));
    const float tri[2][9] = {{0, 0, 0, 1, 0, 0, 1, 1, 0}, {0, 0, 0, 1, 1, 0, -0.0f, 1, 0}};
    for (const auto& t : tri) {
        for (int k = 0; k < 3; ++k) Put(b, 0.0f);
        for (float c : t) Put(b, c);
        Put(b, static_cast<uint16_t>(0));
    }
    const std::string bin = Write("b.stl", b);
    ASSERT_TRUE(krtes::ReadMeshFile(bin, pts, ids, err)) << err;
    EXPECT_EQ(pts.size(), 4u);
    EXPECT_TRUE(SameTri(ids[1], 0, 2, 3));
    TesTriMesh::CKrMeshData mesh;
    ASSERT_TRUE(krtes::ReadMeshFile(bin, mesh, err)) << err;
    EXPECT_EQ(mesh.TriNum(), 2);
    EXPECT_EQ(mesh.m_setEdge.size(), 5u);  // connected along the diagonal

    ExpectError(Write("cut.stl", b.substr(0, b.size() - 5)),
                "file ends early (binary STL of 2 triangles has 184 bytes, found 179)");
    ExpectError(Write("long.stl", b + "xyz"), "trailing data (binary STL of 2 triangles");
    ExpectError(Write("tiny.stl", "abc"), "file ends early (a binary STL needs an 84-byte header");
    const std::string two = Write("two.stl", "solid x\nfacet normal 0 0 1\nouter loop\nvertex 0 0 0\nvertex 1 0 0\n"
                                             "endloop\nendfacet\nendsolid x\n");
    ExpectError(two, two + ":6: facet with 2 vertices");
    const std::string junk = Write("junk.stl", "solid x\nfacet normal 0 0 1\nouter loop\nvertex 0 0\n");
    ExpectError(junk, junk + ":4: malformed vertex line");
    ExpectError(Write("open.stl", "solid x\nfacet normal 0 0 1\nouter loop\nvertex 0 0 0\n"), "inside a facet");
}

TEST(KrTesMeshIO, SurfaceFromPointsOrMesh)
{
    TesTriMesh::CKrMeshData mesh;
    std::string how, err;
    const std::string pts = Write("pts.xyz", "0 0 0\n10 0 1\n10 10 2\n0 10 3\n5 5 9\n");
    ASSERT_TRUE(krtes::ReadSurfaceFile(pts, mesh, how, err)) << err;
    EXPECT_EQ(mesh.TriNum(), 4);
    EXPECT_NE(how.find("TIN of 5 points"), std::string::npos) << how;
    TesTriMesh::CKrMeshQuery q(mesh);
    double z = 0.0;
    ASSERT_TRUE(q.GetMapPoint(5, 5, z));
    EXPECT_NEAR(z, 9.0, 1e-12);

    EXPECT_FALSE(krtes::ReadSurfaceFile(Write("line.xyz", "0 0 0\n1 1 0\n2 2 0\n"), mesh, how, err));
    EXPECT_NE(err.find("do not form a surface"), std::string::npos) << err;
    EXPECT_FALSE(krtes::ReadSurfaceFile(Write("bad.xyz", "0 0 0\n1 1\n"), mesh, how, err));
    EXPECT_NE(err.find(":2: expected 3 values"), std::string::npos) << err;
}
