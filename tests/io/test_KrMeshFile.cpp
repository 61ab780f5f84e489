// Mesh files by extension: into both mesh types, surfaces from points, and
// writing that reads back exactly.
#include <gtest/gtest.h>

#include <random>

#include "IoTestFiles.h"
#include "KrTesGeometry/io/KrMeshFile.h"
#include "KrTesGeometry/math/CGeDataTriMesh.h"
#include "KrTesGeometry/mesh/KrMeshData.h"
#include "KrTesGeometry/query/KrMeshQuery.h"

TEST(KrMeshFile, ByExtensionIntoEveryMeshTypeAndSurfacesFromPoints)
{
    iotest::Files files;
    const std::string obj = files.Write("Quad.OBJ", "v 0 0 0\nv 1 0 0.5\nv 1 1 1\nv 0 1 1.5\nf 1 2 3 4\nf 1 2 3\n");
    EXPECT_TRUE(krtes::IsMeshFileName(obj));
    EXPECT_EQ(krtes::Extension("dir.v2/file"), "");
    EXPECT_EQ(krtes::Extension("a\\b.Ply"), ".ply");

    // Into a mesh (octree built, repeated face kept) and into the
    // interchange mesh, which is replaced.
    std::string how, err;
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

    iotest::ExpectMeshErrors(files, {
        {"none.obj", "v 0 0 0\n", "@: the file holds no triangles"},
        {"surface.dxf", "0\n", "@: unknown mesh format '.dxf' (use .obj, .ply or .stl)"},
        {"empty.stl", "solid x\nendsolid x\n", "@: the file holds no triangles"},
    });
    EXPECT_FALSE(krtes::ReadMeshFile(files.Path("missing.obj"), gm, err));
    EXPECT_EQ(err, files.Path("missing.obj") + ": cannot open file");
    // A triangle that collapses when vertices merge is no surface.
    EXPECT_TRUE(iotest::Refused(krtes::ReadMeshFile(files.Write("tiny.obj", "v 0 0 0\nv 0.001 0 0\nv 0 0.001 0\nf 1 2 3\n"), mesh, err), err,
            "no usable triangle"));

    // A surface from a point file is their TIN; from a mesh file, the mesh.
    ASSERT_TRUE(krtes::ReadSurfaceFile(files.Write("pts.xyz", "0 0 0\n10 0 1\n10 10 2\n0 10 3\n5 5 9\n"), mesh, how, err))
        << err;
    EXPECT_EQ(mesh.TriNum(), 4);
    EXPECT_NE(how.find("TIN of 5 points"), std::string::npos) << how;
    ASSERT_TRUE(TesTriMesh::CKrMeshQuery(mesh).GetMapPoint(5, 5, z));
    EXPECT_NEAR(z, 9.0, 1e-12);
    ASSERT_TRUE(krtes::ReadSurfaceFile(iotest::Foreign("octa_bin.stl"), mesh, how, err)) << err;
    EXPECT_EQ(how, "mesh of 8 triangles");
    EXPECT_TRUE(iotest::Refused(krtes::ReadSurfaceFile(files.Write("line.xyz", "0 0 0\n1 1 0\n2 2 0\n"), mesh, how, err), err,
            "do not form a surface"));
}

TEST(KrMeshFile, WrittenMeshesReadBackExactly)
{
    // Survey-sized coordinates with full binary precision survive OBJ text
    // and binary PLY unchanged.
    std::mt19937_64 rng(5);
    std::uniform_real_distribution<double> u(-1.0, 1.0);
    iotest::Pts pts;
    for (int i = 0; i < 300; ++i) pts.emplace_back(500000 + 1000 * u(rng), 4000000 + 1000 * u(rng), 300 * u(rng));
    iotest::Ids tris;
    for (int i = 0; i + 2 < 300; ++i) tris.emplace_back(i, (i * 7 + 1) % 300, (i * 13 + 2) % 300);
    iotest::Files files;
    std::string err;
    for (const char* name : {"m.obj", "m.ply"}) {
        const std::string p = files.Path(name);
        ASSERT_TRUE(krtes::WriteMeshFile(p, pts, tris, err)) << err;
        EXPECT_FALSE(iotest::Exists(p + ".part"));
        const iotest::Mesh back = iotest::MustRead([](auto&&... a) { return krtes::ReadMeshFile(a...); }, p);
        ASSERT_EQ(back.pts.size(), pts.size());
        for (std::size_t i = 0; i < pts.size(); ++i) EXPECT_TRUE(iotest::Same(back.pts[i], pts[i])) << i;
        ASSERT_EQ(back.ids.size(), tris.size());
        for (std::size_t i = 0; i < tris.size(); ++i)
            EXPECT_TRUE(iotest::Tri(back.ids[i], tris[i][0], tris[i][1], tris[i][2]));
    }
    EXPECT_TRUE(iotest::Refused(krtes::WriteMeshFile(files.Path("m.stl"), pts, tris, err), err, "unknown output format '.stl'"));
    EXPECT_FALSE(iotest::Exists(files.Path("m.stl")));
    EXPECT_TRUE(iotest::Refused(krtes::WriteMeshFile(files.Path("no_such_dir/m.obj"), pts, tris, err), err, "cannot create file"));
}
