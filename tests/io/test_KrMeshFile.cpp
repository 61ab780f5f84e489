// Mesh files by extension: the formats agree, into both mesh types, surfaces
// from points, and writing that reads back exactly.
#include <gtest/gtest.h>

#include <random>

#include "IoTestFiles.h"
#include "KrTesGeometry/io/KrMeshFile.h"
#include "KrTesGeometry/math/CGeDataTriMesh.h"
#include "KrTesGeometry/mesh/KrMeshData.h"
#include "KrTesGeometry/query/KrMeshQuery.h"

using iotest::Ids;

TEST(KrMeshFile, ByExtensionIntoEveryMeshType)
{
    iotest::Files files;
    const std::string obj = files.Write("Quad.OBJ", "v 0 0 0\nv 1 0 0.5\nv 1 1 1\nv 0 1 1.5\nf 1 2 3 4\nf 1 2 3\n");
    EXPECT_TRUE(krtes::IsMeshFileName(obj));
    EXPECT_EQ(krtes::Extension("dir.v2/file"), "");
    EXPECT_EQ(krtes::Extension("a\\b.Ply"), ".ply");

    // Into a mesh (octree built, repeated face kept) and into the
    // interchange mesh, which is replaced.
    std::string err;
    TesTriMesh::CKrMeshData mesh;
    ASSERT_TRUE(krtes::ReadMeshFile(obj, mesh, err)) << err;
    EXPECT_EQ(mesh.TriNum(), 3);
    double z = 0.0;
    EXPECT_TRUE(TesTriMesh::CKrMeshQuery(mesh).GetMapPoint(0.25, 0.5, z));
    EXPECT_NEAR(z, 0.625, 1e-12);  // on the fan's second triangle, z = 1.5y - 0.5x
    CGeDataTriMesh gm;
    gm.AddPoint(9, 9, 9);
    ASSERT_TRUE(krtes::ReadMeshFile(obj, gm, err)) << err;
    EXPECT_EQ(gm.GetPointCount(), 4);
    EXPECT_EQ(gm.GetTriCount(), 3);
    EXPECT_TRUE(gm.IsValid());

    std::vector<CKrPoint3d> pts;
    Ids ids;
    iotest::ExpectMeshErrors(files, {
        {"none.obj", "v 0 0 0\n", "@: the file holds no triangles"},
        {"none.ply", "ply\nformat ascii 1.0\nelement vertex 0\nproperty float x\nproperty float y\n"
                     "property float z\nelement face 0\nproperty list uchar int vertex_indices\nend_header\n",
         "@: the file holds no triangles"},
        {"empty.stl", "solid x\nendsolid x\n", "@: the file holds no triangles"},
        {"surface.dxf", "0\n", "@: unknown mesh format '.dxf' (use .obj, .ply or .stl)"},
    });
    EXPECT_FALSE(krtes::ReadMeshFile(files.Path("missing.obj"), pts, ids, err));
    EXPECT_EQ(err, files.Path("missing.obj") + ": cannot open file");
    // A triangle that collapses when vertices merge is no surface.
    EXPECT_FALSE(krtes::ReadMeshFile(files.Write("tiny.obj", "v 0 0 0\nv 0.001 0 0\nv 0 0.001 0\nf 1 2 3\n"), mesh, err));
    EXPECT_NE(err.find("no usable triangle"), std::string::npos) << err;

    // The cube written elsewhere as PLY and as OBJ is one closed solid.
    for (const char* name : {"cube_be.ply", "cube_crlf.obj"}) {
        ASSERT_TRUE(krtes::ReadMeshFile(iotest::Foreign(name), mesh, err)) << err;
        EXPECT_EQ(mesh.TriNum(), 12) << name;
        EXPECT_EQ(mesh.m_setEdge.size(), 18u) << name;  // closed: every edge shared
    }
}

TEST(KrMeshFile, SurfaceFromPointsOrMesh)
{
    iotest::Files files;
    TesTriMesh::CKrMeshData mesh;
    std::string how, err;
    ASSERT_TRUE(krtes::ReadSurfaceFile(files.Write("pts.xyz", "0 0 0\n10 0 1\n10 10 2\n0 10 3\n5 5 9\n"), mesh, how,
                                       err))
        << err;
    EXPECT_EQ(mesh.TriNum(), 4);
    EXPECT_NE(how.find("TIN of 5 points"), std::string::npos) << how;
    double z = 0.0;
    ASSERT_TRUE(TesTriMesh::CKrMeshQuery(mesh).GetMapPoint(5, 5, z));
    EXPECT_NEAR(z, 9.0, 1e-12);
    ASSERT_TRUE(krtes::ReadSurfaceFile(iotest::Foreign("octa_bin.stl"), mesh, how, err)) << err;
    EXPECT_EQ(how, "mesh of 8 triangles");
    EXPECT_FALSE(krtes::ReadSurfaceFile(files.Write("line.xyz", "0 0 0\n1 1 0\n2 2 0\n"), mesh, how, err));
    EXPECT_NE(err.find("do not form a surface"), std::string::npos) << err;
}

TEST(KrMeshFile, WrittenMeshesReadBackExactly)
{
    // Survey-sized coordinates with full binary precision survive OBJ text
    // and binary PLY unchanged.
    std::mt19937_64 rng(5);
    std::uniform_real_distribution<double> u(-1.0, 1.0);
    std::vector<CKrPoint3d> pts;
    for (int i = 0; i < 300; ++i) pts.emplace_back(500000 + 1000 * u(rng), 4000000 + 1000 * u(rng), 300 * u(rng));
    Ids tris;
    for (int i = 0; i + 2 < 300; ++i) tris.emplace_back(i, (i * 7 + 1) % 300, (i * 13 + 2) % 300);
    iotest::Files files;
    for (const char* name : {"m.obj", "m.ply"}) {
        std::string err;
        const std::string p = files.Path(name);
        ASSERT_TRUE(krtes::WriteMeshFile(p, pts, tris, err)) << err;
        EXPECT_FALSE(iotest::Exists(p + ".part"));
        std::vector<CKrPoint3d> back;
        Ids ids;
        ASSERT_TRUE(krtes::ReadMeshFile(p, back, ids, err)) << err;
        ASSERT_EQ(back.size(), pts.size());
        for (std::size_t i = 0; i < pts.size(); ++i)
            EXPECT_TRUE(back[i].x == pts[i].x && back[i].y == pts[i].y && back[i].z == pts[i].z) << i;
        ASSERT_EQ(ids.size(), tris.size());
        for (std::size_t i = 0; i < ids.size(); ++i) EXPECT_TRUE(iotest::Tri(ids[i], tris[i][0], tris[i][1], tris[i][2]));
    }
    // OBJ numbers its vertices from 1; the PLY is binary little-endian:
    // doubles, then a count and int indices.
    EXPECT_NE(iotest::Read(files.Path("m.obj")).find("\nf 1 2 3\n"), std::string::npos);  // tris[0] = 0 1 2
    const std::string ply = iotest::Read(files.Path("m.ply"));
    const std::size_t body = ply.find("end_header\n") + 11;
    EXPECT_EQ(ply.size() - body, pts.size() * 24 + tris.size() * 13);
    double x0 = 0;
    std::memcpy(&x0, ply.data() + body, 8);  // on a little-endian host
    EXPECT_EQ(x0, pts[0].x);

    std::string err;
    EXPECT_FALSE(krtes::WriteMeshFile(files.Path("m.stl"), pts, tris, err));
    EXPECT_NE(err.find("unknown output format '.stl'"), std::string::npos);
    EXPECT_FALSE(iotest::Exists(files.Path("m.stl")));
    EXPECT_FALSE(krtes::WriteMeshFile(files.Path("no_such_dir/m.obj"), pts, tris, err));
    EXPECT_NE(err.find("cannot create file"), std::string::npos);
}
